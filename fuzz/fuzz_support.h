// Shared checks for the fuzz targets: the public status set, the frame checks a blob
// must pass (so a target can tell a frame refusal from a section refusal and demand
// that the former changes nothing), and a snapshot of everything a caller can
// observe without changing it. Blob export and resealing come from tests/support.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <vector>

#include "blobs.h"
#include "serialization/blob_frame.h"
#include "vorn/vorn.h"

namespace vorn_fuzz {

// A failed invariant is a finding: report where and abort so libFuzzer keeps the input.
[[noreturn]] inline void fail(const char* file, int line, const char* what) {
    std::fprintf(stderr, "fuzz invariant violated at %s:%d: %s\n", file, line, what);
    std::abort();
}
#define FUZZ_CHECK(cond) \
    ((cond) ? (void)0 : ::vorn_fuzz::fail(__FILE__, __LINE__, "FUZZ_CHECK(" #cond ")"))

inline bool oneOf(int32_t s, std::initializer_list<int32_t> set) {
    return std::find(set.begin(), set.end(), s) != set.end();
}

// Codes a blob import may return at all.
inline bool isImportStatus(int32_t s) {
    return oneOf(s, {RC_OK, RC_E_BLOB_TOO_SHORT, RC_E_WORK_BUFFER_SMALL, RC_E_BLOB_VERSION,
                     RC_E_BLOB_KIND, RC_E_BLOB_LENGTH, RC_E_BLOB_CRC, RC_E_SECTION_TOO_LARGE,
                     RC_E_SECTION_UNKNOWN, RC_E_SECTION_SHORT});
}

inline bool isExportStatus(int32_t s) {
    return oneOf(s, {RC_OK, RC_E_SERIALIZE_REQUEST, RC_E_BLOB_OVERFLOW, RC_E_WORK_BUFFER_SMALL});
}

inline bool isSubscriptionStatus(int32_t s) {
    return oneOf(
        s, {RC_OK, RC_E_RATE_ZERO, RC_E_RATE_NOT_ALLOWED, RC_E_OUTPUT_DUPLICATE, RC_E_RATE_RANGE,
            RC_E_REQUIRED_ROOM, RC_E_INTERVAL_NOT_MULTIPLE, RC_E_GAS_INTERVAL_CONFLICT,
            RC_E_INTERVAL_TOO_SHORT, RC_W_OUTPUT_ID_IGNORED, RC_W_TRIGGER_UNAVAILABLE,
            RC_W_NOTHING_REQUESTED, RC_W_TRIGGER_TIMING, RC_W_TRIGGER_TOO_SOON});
}

inline bool isPublicStatus(int32_t s) {
    return isImportStatus(s) || isExportStatus(s) || isSubscriptionStatus(s) ||
           oneOf(s, {RC_E_INPUT_ID, RC_E_INPUT_RANGE, RC_E_INPUT_DUPLICATE, RC_W_NO_OUTPUT_ROOM,
                     RC_W_OUTPUT_OVERFLOW, RC_W_INPUT_REPEATED, RC_W_CALL_TIME_DEVIATION});
}

// ---- Blob frame ----

inline constexpr uint32_t kFrameSize = vorn::kBlobMinSize;  // header and trailer

// The harness's own arithmetic is not what is being explored: keep it out of the
// coverage feedback (and out of the comparison tracing that dominates its cost).
#define VORN_FUZZ_NO_COVERAGE __attribute__((no_sanitize("coverage")))

// The frame checks' verdict on this blob: RC_OK when the frame is sound (the sections
// are then up to the import), else the refusal. Lets a target tell a frame refusal,
// which must change nothing, from a section refusal, which may keep the sections
// before it. The order of the checks themselves is the unit tests' business.
inline int32_t expectedFrameStatus(const uint8_t* blob, uint32_t size, uint32_t workSize) {
    uint32_t position = 0;
    return vorn::validateSerialization(blob, size, workSize, position);
}

// Make a (possibly damaged) blob pass the frame checks again: a fresh checksum and,
// with `header`, exact header words and the length field from its size. Blobs under
// 24 bytes stay as they are.
inline void refreshFrame(std::vector<uint8_t>& blob, bool header = true) {
    header ? vorn_test::restamp(blob) : vorn_test::reseal(blob);
}

// ---- Observation without side effects ----

// Export with ample, zeroed buffers, so that bytes the writer leaves alone
// (reserved trailer bytes, section byte 3) compare equal between two exports.
VORN_FUZZ_NO_COVERAGE inline std::vector<uint8_t> exportBlob(bool configuration) {
    std::vector<uint8_t> blob = vorn_test::exportBlob(
        configuration ? vorn_test::BlobKind::Configuration : vorn_test::BlobKind::State);
    FUZZ_CHECK(blob.size() >= kFrameSize);
    return blob;
}

// Everything observable without changing the instance: both exports and the
// required-input list of the recorded subscription (an empty request answers it).
struct Snapshot {
    std::vector<uint8_t> configuration, state;
    std::array<SensorRate, 8> required{};
    int32_t subscriptionStatus = 0;

    bool operator==(const Snapshot& o) const {
        return configuration == o.configuration && state == o.state &&
               subscriptionStatus == o.subscriptionStatus &&
               std::memcmp(required.data(), o.required.data(), sizeof(required)) == 0;
    }
};

VORN_FUZZ_NO_COVERAGE inline Snapshot takeSnapshot() {
    Snapshot snap{exportBlob(true), exportBlob(false)};
    uint8_t n = 8;
    const SensorRate unused{};
    snap.subscriptionStatus = vorn_update_subscription(&unused, 0, snap.required.data(), &n);
    FUZZ_CHECK(isSubscriptionStatus(snap.subscriptionStatus) && n == 8);
    return snap;
}

// Runs `call` (returning its status); when `mustNotChange` the observable state
// must be the same afterwards.
template <typename Call>
int32_t unchangedIf(bool mustNotChange, Call call) {
    Snapshot before;
    if (mustNotChange) before = takeSnapshot();
    const int32_t status = call();
    if (mustNotChange) FUZZ_CHECK(takeSnapshot() == before);
    return status;
}

// The buffer's storage, never null: an empty buffer is a zero-size heap block that
// AddressSanitizer reports on any access (a null pointer would test the library's
// null checks instead of its size checks).
inline uint8_t* bytesOf(std::vector<uint8_t>& v) {
    static uint8_t* const kEmpty = new uint8_t[0];
    return v.empty() ? kEmpty : v.data();
}

}  // namespace vorn_fuzz
