// Blob export and import through the public operations, with buffers laid out so
// that a write past the capacity shows.
#include "blobs.h"

#include <algorithm>

namespace vorn_test {
namespace {

int32_t exportRaw(BlobKind kind, uint8_t* blob, uint32_t capacity, uint8_t* work, uint32_t workSize,
                  uint32_t* size) {
    return kind == BlobKind::Configuration
               ? vorn_get_configuration(0, blob, capacity, work, workSize, size)
               : vorn_get_state(0, blob, capacity, work, workSize, size);
}

}  // namespace

int32_t importRaw(BlobKind kind, const uint8_t* blob, uint32_t size, uint8_t* work,
                  uint32_t workSize) {
    return kind == BlobKind::Configuration ? vorn_set_configuration(blob, size, work, workSize)
                                           : vorn_set_state(blob, size, work, workSize);
}

Export exportInto(BlobKind kind, uint32_t capacity, uint32_t workSize) {
    constexpr uint8_t kGuard = 0xCD;
    Bytes blob(capacity + 64u, kGuard), work(workSize, 0);
    std::fill_n(blob.begin(), capacity, 0);
    uint32_t size = 0;
    Export e{exportRaw(kind, blob.data(), capacity, work.data(), workSize, &size), {}, false};
    e.overrun =
        std::any_of(blob.begin() + capacity, blob.end(), [](uint8_t b) { return b != kGuard; });
    blob.resize(size);
    e.blob = std::move(blob);
    return e;
}

Bytes exportBlob(BlobKind kind) {
    Export e = exportInto(kind, kAmple, kAmple);
    return e.status == RC_OK ? std::move(e.blob) : Bytes{};
}

int32_t importBlob(BlobKind kind, const Bytes& blob, uint32_t workSize) {
    Bytes work(workSize, 0);
    return importRaw(kind, blob.data(), static_cast<uint32_t>(blob.size()), work.data(), workSize);
}

int32_t reloadState() {
    const Export saved = exportInto(BlobKind::State, kAmple, kAmple);
    if (saved.status != RC_OK) return saved.status;
    vorn_init();
    return importBlob(BlobKind::State, saved.blob);
}

}  // namespace vorn_test
