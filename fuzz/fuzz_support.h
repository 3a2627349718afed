// What every fuzz target shares: the invariant check, the status set of each call, a
// snapshot of everything a caller can observe (so a refused call can be required to
// change nothing), and a well-behaved device driven through the shared test client so
// that the targets reach the learning code between their hostile calls.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <vector>

#include "blobs.h"
#include "client.h"
#include "identifiers/identifiers.h"
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

// The harness's own arithmetic is not what is being explored: keep it out of the
// coverage feedback (and out of the comparison tracing that dominates its cost).
#define VORN_FUZZ_NO_COVERAGE __attribute__((no_sanitize("coverage")))

inline bool oneOf(int32_t s, std::initializer_list<int32_t> set) {
    return std::find(set.begin(), set.end(), s) != set.end();
}

inline bool isImportStatus(int32_t s) {
    return oneOf(s, {RC_OK, RC_E_BLOB_TOO_SHORT, RC_E_WORK_BUFFER_SMALL, RC_E_BLOB_VERSION,
                     RC_E_BLOB_KIND, RC_E_BLOB_LENGTH, RC_E_BLOB_CRC, RC_E_SECTION_TOO_LARGE,
                     RC_E_SECTION_UNKNOWN, RC_E_SECTION_SHORT});
}
inline bool isSubscriptionStatus(int32_t s) {
    return oneOf(
        s, {RC_OK, RC_E_RATE_ZERO, RC_E_RATE_NOT_ALLOWED, RC_E_OUTPUT_DUPLICATE, RC_E_RATE_RANGE,
            RC_E_REQUIRED_ROOM, RC_E_INTERVAL_NOT_MULTIPLE, RC_E_GAS_INTERVAL_CONFLICT,
            RC_E_INTERVAL_TOO_SHORT, RC_W_OUTPUT_ID_IGNORED, RC_W_TRIGGER_UNAVAILABLE,
            RC_W_NOTHING_REQUESTED, RC_W_TRIGGER_TIMING, RC_W_TRIGGER_TOO_SOON});
}
inline bool isStepStatus(int32_t s) {
    return oneOf(s, {RC_OK, RC_E_INPUT_ID, RC_E_INPUT_RANGE, RC_E_INPUT_DUPLICATE,
                     RC_W_NO_OUTPUT_ROOM, RC_W_OUTPUT_OVERFLOW, RC_W_INPUT_REPEATED});
}

// The frame checks' verdict: RC_OK when the sections are up to the import, else the
// refusal, after which nothing may have changed.
inline int32_t frameStatus(const uint8_t* blob, uint32_t size, uint32_t workSize) {
    uint32_t position = 0;
    return vorn::validateSerialization(blob, size, workSize, position);
}

// The storage, never null even when empty (a zero-size block AddressSanitizer guards), so
// that the library's size checks are tested rather than its null checks.
inline uint8_t* bytesOf(std::vector<uint8_t>& v) {
    static uint8_t* const kEmpty = new uint8_t[0];
    return v.empty() ? kEmpty : v.data();
}

// Everything observable without changing the instance, as bytes: both exports and the
// required-input list of the recorded subscription (which an empty request answers).
VORN_FUZZ_NO_COVERAGE inline vorn_test::Bytes snapshot() {
    vorn_test::Bytes all = vorn_test::exportBlob(vorn_test::BlobKind::Configuration);
    const vorn_test::Bytes state = vorn_test::exportBlob(vorn_test::BlobKind::State);
    FUZZ_CHECK(!all.empty() && !state.empty());
    std::array<SensorRate, 8> required{};
    uint8_t n = 8;
    const SensorRate none{};
    all.push_back(static_cast<uint8_t>(vorn_update_subscription(&none, 0, required.data(), &n)));
    const auto* bytes = reinterpret_cast<const uint8_t*>(required.data());
    all.insert(all.end(), bytes, bytes + sizeof(required));
    all.insert(all.end(), state.begin(), state.end());
    return all;
}

// Runs `call` (returning its status); when `mustNotChange` nothing observable may change.
template <typename Call>
int32_t unchangedIf(bool mustNotChange, Call call) {
    const vorn_test::Bytes before = mustNotChange ? snapshot() : vorn_test::Bytes{};
    const int32_t status = call();
    if (mustNotChange) FUZZ_CHECK(snapshot() == before);
    return status;
}

// A device that plans, measures the shared room (one fuzz byte choosing where in its
// week) and processes, with the invariants of a cooperative cycle checked each time.
struct Driver {
    vorn_test::Client client{vorn_test::Scenario({})};  // the targets subscribe themselves

    // One cycle into outputs[0 .. n-1]; n becomes the number reported.
    int32_t run(uint8_t shape, OutputSample* outputs, uint8_t& n) {
        const int64_t offset = int64_t{shape} * 1201 * vorn_test::Room::kPeriodNs;
        const int64_t at = vorn_test::wrapAdd(client.now(), offset);
        const vorn_test::Cycle& c = client.cycle(vorn_test::sharedRoom().at(at), {outputs, n});
        FUZZ_CHECK(c.controlStatus == RC_OK || c.controlStatus == RC_W_CALL_TIME_DEVIATION);
        FUZZ_CHECK((c.plan.input_mask & ~vorn::kInputMask) == 0);
        FUZZ_CHECK(c.status >= 0 && isStepStatus(c.status));
        n = static_cast<uint8_t>(c.outputs.size());
        return c.status;
    }
};

}  // namespace vorn_fuzz
