// The version report. Independent of the library instance, so it answers at any
// time, also before vorn_init. Blobs carry the same version in their frame.
#include "math/fp_rules.h"

#include "identifiers/version.h"

#include "vorn/vorn.h"

extern "C" int32_t vorn_get_version(VersionInfo* version) {
    if (version != nullptr) *version = vorn::kVersion;
    return RC_OK;
}
