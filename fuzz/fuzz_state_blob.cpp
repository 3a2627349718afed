// Fuzz target: state blobs from outside (what a device reads back after a restart).
// See blob_import_target.h for the input layout and the properties checked.
#include "blob_import_target.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return vorn_fuzz::runBlobImport(vorn_test::BlobKind::State, data, size);
}
