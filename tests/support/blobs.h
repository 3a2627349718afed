// Configuration and state blobs for tests and fuzzers: export, import, a restart
// through the saved state, and resealing a blob after a deliberate edit so that it
// passes the frame checks again. The frame's facts come from the library's own
// header and checksum routine, so they cannot drift apart from it.
#pragma once

#include <cstdint>
#include <vector>

#include "serialization/blob_frame.h"
#include "serialization/crc.h"
#include "vorn/vorn.h"

namespace vorn_test {

using Bytes = std::vector<uint8_t>;
enum class BlobKind { Configuration, State };
inline constexpr uint32_t kAmple = 2048;  // blob and work buffer room for any export

// vorn_set_configuration or vorn_set_state.
int32_t importRaw(BlobKind kind, const uint8_t* blob, uint32_t size, uint8_t* work,
                  uint32_t workSize);

struct Export {
    int32_t status;
    Bytes blob;    // as long as the reported size
    bool overrun;  // a byte past the capacity was written
};
// Export into zeroed buffers, so that the bytes the writer leaves alone compare equal.
Export exportInto(BlobKind kind, uint32_t capacity, uint32_t workSize);
// Export with ample buffers; empty when refused.
Bytes exportBlob(BlobKind kind);
// Import through a zeroed work buffer of exactly workSize bytes.
int32_t importBlob(BlobKind kind, const Bytes& blob, uint32_t workSize = kAmple);
// State exported, vorn_init, state imported: the import status (or the export's).
int32_t reloadState();

// A fresh checksum over the header and payload, as an export would write it.
inline void reseal(Bytes& blob) {
    if (blob.size() < vorn::kBlobMinSize) return;
    const auto end = static_cast<uint32_t>(blob.size()) - vorn::kBlobTrailerSize;
    const uint16_t crc = vorn::crcCcitt2(blob.data(), end);
    blob[end + 4] = static_cast<uint8_t>(crc & 0xFF);
    blob[end + 5] = static_cast<uint8_t>(crc >> 8);
}

// The exact header words, the length field from the size, and a fresh checksum.
inline void restamp(Bytes& blob) {
    if (blob.size() < vorn::kBlobMinSize) return;
    const auto put = [&blob](uint32_t at, uint64_t value, int bytes) {
        for (int i = 0; i < bytes; ++i) blob[at + i] = static_cast<uint8_t>(value >> (8 * i));
    };
    put(0, vorn::kBlobFormatVersion, 4);
    put(4, vorn::kBlobKind, 8);
    put(12, blob.size() - vorn::kBlobMinSize, 4);
    reseal(blob);
}

}  // namespace vorn_test
