// Shared checks for the fuzz targets: the public status set, an independent model
// of the blob frame checks (so a target can tell a frame refusal from a section
// refusal and demand that the former changes nothing), and a snapshot of
// everything a caller can observe without changing it.
#pragma once

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "vorn/vorn.h"

namespace vorn_fuzz {

// A failed invariant is a finding: report where and abort so libFuzzer keeps the input.
[[noreturn]] inline void fail(const char* file, int line, const char* what) {
    std::fprintf(stderr, "fuzz invariant violated at %s:%d: %s\n", file, line, what);
    std::abort();
}
#define FUZZ_CHECK(cond) \
    ((cond) ? (void)0 : ::vorn_fuzz::fail(__FILE__, __LINE__, "FUZZ_CHECK(" #cond ")"))

inline bool isPublicStatus(int32_t s) {
    switch (s) {
        case RC_OK:
        case RC_E_INPUT_ID:
        case RC_E_INPUT_RANGE:
        case RC_E_INPUT_DUPLICATE:
        case RC_E_RATE_ZERO:
        case RC_E_RATE_NOT_ALLOWED:
        case RC_E_OUTPUT_DUPLICATE:
        case RC_E_RATE_RANGE:
        case RC_E_REQUIRED_ROOM:
        case RC_E_INTERVAL_NOT_MULTIPLE:
        case RC_E_GAS_INTERVAL_CONFLICT:
        case RC_E_INTERVAL_TOO_SHORT:
        case RC_E_SECTION_TOO_LARGE:
        case RC_E_SERIALIZE_REQUEST:
        case RC_E_BLOB_VERSION:
        case RC_E_BLOB_KIND:
        case RC_E_BLOB_CRC:
        case RC_E_BLOB_TOO_SHORT:
        case RC_E_WORK_BUFFER_SMALL:
        case RC_E_BLOB_LENGTH:
        case RC_E_BLOB_OVERFLOW:
        case RC_E_SECTION_UNKNOWN:
        case RC_E_SECTION_SHORT:
        case RC_W_NO_OUTPUT_ROOM:
        case RC_W_OUTPUT_OVERFLOW:
        case RC_W_INPUT_REPEATED:
        case RC_W_OUTPUT_ID_IGNORED:
        case RC_W_TRIGGER_UNAVAILABLE:
        case RC_W_NOTHING_REQUESTED:
        case RC_W_CALL_TIME_DEVIATION:
        case RC_W_TRIGGER_TIMING:
        case RC_W_TRIGGER_TOO_SOON:
            return true;
        default:
            return false;
    }
}

// Codes a blob import may return at all.
inline bool isImportStatus(int32_t s) {
    switch (s) {
        case RC_OK:
        case RC_E_BLOB_TOO_SHORT:
        case RC_E_WORK_BUFFER_SMALL:
        case RC_E_BLOB_VERSION:
        case RC_E_BLOB_KIND:
        case RC_E_BLOB_LENGTH:
        case RC_E_BLOB_CRC:
        case RC_E_SECTION_TOO_LARGE:
        case RC_E_SECTION_UNKNOWN:
        case RC_E_SECTION_SHORT:
            return true;
        default:
            return false;
    }
}

inline bool isExportStatus(int32_t s) {
    return s == RC_OK || s == RC_E_SERIALIZE_REQUEST || s == RC_E_BLOB_OVERFLOW ||
           s == RC_E_WORK_BUFFER_SMALL;
}

inline bool isSubscriptionStatus(int32_t s) {
    switch (s) {
        case RC_OK:
        case RC_E_RATE_ZERO:
        case RC_E_RATE_NOT_ALLOWED:
        case RC_E_OUTPUT_DUPLICATE:
        case RC_E_RATE_RANGE:
        case RC_E_REQUIRED_ROOM:
        case RC_E_INTERVAL_NOT_MULTIPLE:
        case RC_E_GAS_INTERVAL_CONFLICT:
        case RC_E_INTERVAL_TOO_SHORT:
        case RC_W_OUTPUT_ID_IGNORED:
        case RC_W_TRIGGER_UNAVAILABLE:
        case RC_W_NOTHING_REQUESTED:
        case RC_W_TRIGGER_TIMING:
        case RC_W_TRIGGER_TOO_SOON:
            return true;
        default:
            return false;
    }
}

// ---- Blob frame, written here independently of the library ----

inline constexpr uint32_t kHeaderSize = 16;
inline constexpr uint32_t kTrailerSize = 8;
inline constexpr uint32_t kFrameSize = kHeaderSize + kTrailerSize;

// The harness's own arithmetic is not what is being explored: keep it out of the
// coverage feedback (and out of the comparison tracing that dominates its cost).
#define VORN_FUZZ_NO_COVERAGE __attribute__((no_sanitize("coverage")))

// CRC-16/X-25 (reflected 0x1021, init and final XOR 0xFFFF), table built here bit
// by bit, independently of the library's table.
VORN_FUZZ_NO_COVERAGE inline uint16_t crcX25(const uint8_t* data, size_t n) {
    static const std::array<uint16_t, 256> table = [] {
        std::array<uint16_t, 256> t{};
        for (uint32_t i = 0; i < 256; ++i) {
            uint32_t crc = i;
            for (int bit = 0; bit < 8; ++bit)
                crc = (crc & 1u) != 0 ? (crc >> 1) ^ 0x8408u : crc >> 1;
            t[i] = static_cast<uint16_t>(crc);
        }
        return t;
    }();
    uint16_t crc = 0xFFFF;
    for (size_t i = 0; i < n; ++i) {
        crc = static_cast<uint16_t>(table[(crc ^ data[i]) & 0xFFu] ^ (crc >> 8));
    }
    return static_cast<uint16_t>(crc ^ 0xFFFF);
}

inline uint32_t loadU32(const uint8_t* p) {
    return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 |
           static_cast<uint32_t>(p[2]) << 16 | static_cast<uint32_t>(p[3]) << 24;
}

inline void storeU32(uint8_t* p, uint32_t v) {
    for (int i = 0; i < 4; ++i) p[i] = static_cast<uint8_t>(v >> (8 * i));
}

// What the frame checks must answer for this blob: RC_OK when the frame is sound
// (the sections are then up to the library), else the first failing check's code.
VORN_FUZZ_NO_COVERAGE inline int32_t expectedFrameStatus(const uint8_t* blob, uint32_t size,
                                                         uint32_t workSize) {
    if (size < kFrameSize) return RC_E_BLOB_TOO_SHORT;
    if (size > workSize) return RC_E_WORK_BUFFER_SMALL;
    const uint32_t version = loadU32(blob);
    if (version != 0x01040704u && version != 0xFFFFFFFFu) return RC_E_BLOB_VERSION;
    const uint32_t kindLow = loadU32(blob + 4);
    const uint32_t kindHigh = loadU32(blob + 8);
    if (kindHigh != 0 || (kindLow != 61u && kindLow != 0xFFFFFFFFu)) return RC_E_BLOB_KIND;
    const uint32_t payload = loadU32(blob + 12);
    if (payload + kFrameSize != size) return RC_E_BLOB_LENGTH;  // 32-bit wrap as written
    const uint16_t crc = crcX25(blob, kHeaderSize + payload);
    if (blob[size - 4] != (crc & 0xFF) || blob[size - 3] != (crc >> 8) || blob[size - 2] != 0 ||
        blob[size - 1] != 0) {
        return RC_E_BLOB_CRC;
    }
    return RC_OK;
}

// Make a (possibly damaged) blob pass the frame checks again: exact header words,
// the length field from its size, a fresh checksum. Blobs under 24 bytes stay as they are.
inline void refreshFrame(std::vector<uint8_t>& blob) {
    if (blob.size() < kFrameSize) return;
    const uint32_t payload = static_cast<uint32_t>(blob.size()) - kFrameSize;
    storeU32(blob.data(), 0x01040704u);
    storeU32(blob.data() + 4, 61u);
    storeU32(blob.data() + 8, 0u);
    storeU32(blob.data() + 12, payload);
    const uint16_t crc = crcX25(blob.data(), kHeaderSize + payload);
    const size_t end = blob.size();
    blob[end - 4] = static_cast<uint8_t>(crc & 0xFF);
    blob[end - 3] = static_cast<uint8_t>(crc >> 8);
    blob[end - 2] = 0;
    blob[end - 1] = 0;
}

// Recompute only the checksum, keeping whatever header the blob has.
inline void refreshCrc(std::vector<uint8_t>& blob) {
    if (blob.size() < kFrameSize) return;
    const uint32_t payload = static_cast<uint32_t>(blob.size()) - kFrameSize;
    const uint16_t crc = crcX25(blob.data(), kHeaderSize + payload);
    const size_t end = blob.size();
    blob[end - 4] = static_cast<uint8_t>(crc & 0xFF);
    blob[end - 3] = static_cast<uint8_t>(crc >> 8);
    blob[end - 2] = 0;
    blob[end - 1] = 0;
}

// ---- Observation without side effects ----

inline constexpr uint32_t kAmple = 2048;

// Export with ample, zeroed buffers, so that bytes the writer leaves alone
// (reserved trailer bytes, section byte 3) compare equal between two exports.
VORN_FUZZ_NO_COVERAGE inline std::vector<uint8_t> exportBlob(bool configuration,
                                                             int32_t* statusOut = nullptr) {
    std::vector<uint8_t> blob(kAmple, 0);
    std::vector<uint8_t> work(kAmple, 0);
    uint32_t size = 0;
    const int32_t status =
        configuration ? vorn_get_configuration(0, blob.data(), kAmple, work.data(), kAmple, &size)
                      : vorn_get_state(0, blob.data(), kAmple, work.data(), kAmple, &size);
    if (statusOut != nullptr) *statusOut = status;
    FUZZ_CHECK(status == RC_OK);
    FUZZ_CHECK(size >= kFrameSize && size <= kAmple);
    blob.resize(size);
    return blob;
}

// Everything observable without changing the instance: both exports and the
// required-input list of the recorded subscription (an empty request answers it).
struct Snapshot {
    std::vector<uint8_t> configuration;
    std::vector<uint8_t> state;
    std::array<SensorRate, 8> required{};
    int32_t subscriptionStatus = 0;

    bool operator==(const Snapshot& other) const {
        return configuration == other.configuration && state == other.state &&
               subscriptionStatus == other.subscriptionStatus &&
               std::memcmp(required.data(), other.required.data(), sizeof(required)) == 0;
    }
};

VORN_FUZZ_NO_COVERAGE inline Snapshot takeSnapshot() {
    Snapshot snap;
    snap.configuration = exportBlob(true);
    snap.state = exportBlob(false);
    std::memset(snap.required.data(), 0, sizeof(snap.required));
    uint8_t n = 8;
    const SensorRate unused{};
    snap.subscriptionStatus = vorn_update_subscription(&unused, 0, snap.required.data(), &n);
    FUZZ_CHECK(isSubscriptionStatus(snap.subscriptionStatus));
    FUZZ_CHECK(n == 8);
    return snap;
}

// Exact-size heap copy, so that AddressSanitizer sees a read one past the end.
inline std::vector<uint8_t> exactCopy(const uint8_t* data, size_t n) {
    return std::vector<uint8_t>(data, data + n);
}

// The buffer's storage, never null: an empty buffer is a zero-size heap block that
// AddressSanitizer reports on any access (a null pointer would test the library's
// null checks instead of its size checks).
inline uint8_t* bytesOf(std::vector<uint8_t>& v) {
    static uint8_t* const kEmpty = new uint8_t[0];
    return v.empty() ? kEmpty : v.data();
}

}  // namespace vorn_fuzz
