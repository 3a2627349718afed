// Drives the library through the shared client the way a well-behaved device does
// (sensor control at the planned time, measure what it asks for, process), so that
// the fuzz targets reach the learning and estimation code after an import or between
// hostile calls.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <array>
#include <cstdint>

#include "client.h"
#include "fuzz_support.h"
#include "identifiers/identifiers.h"
#include "vorn/vorn.h"

namespace vorn_fuzz {

inline constexpr const auto& kOutputIds = vorn_test::kAllOutputs;
// The library's own identifier table: the valid ids and the built-in input ranges (no
// import can change them).
inline constexpr uint32_t kInputMask = vorn::kInputMask;
inline constexpr uint32_t kOutputMask = vorn::kOutputMask;
inline constexpr auto kInputIds = [] {
    std::array<uint8_t, vorn::kInputTable.size()> ids{};
    for (size_t i = 0; i < ids.size(); ++i) ids[i] = static_cast<uint8_t>(vorn::kInputTable[i].id);
    return ids;
}();

inline bool inMask(uint32_t mask, uint32_t id) {
    return id >= 1 && id <= 32 && ((mask >> (id - 1)) & 1u) != 0;
}

struct Range {
    float min, max;
};
inline Range inputRange(uint8_t id) {
    const vorn::InputRow& row = vorn::kInputTable[static_cast<size_t>(vorn::inputIndex(id))];
    return {row.min, row.max};
}

inline bool inRange(uint8_t id, float v) {
    const Range r = inputRange(id);
    return v >= r.min && v <= r.max;  // false for NaN
}

// A plausible reading: the shared room, one fuzz byte choosing where in its week.
inline const vorn_test::Reading& plausibleReading(uint8_t shape, uint32_t cycle) {
    const int64_t index = int64_t{shape} * 1201 + cycle;
    return vorn_test::sharedRoom().at(index * vorn_test::Room::kPeriodNs);
}

// The shared client, with the fuzzers' invariants checked on every cycle.
struct Driver {
    vorn_test::Client client{vorn_test::Scenario({})};  // the targets subscribe themselves
    uint32_t cycle = 0;

    // One cooperative cycle into outputs[0 .. nOutputs-1]. Returns the status of
    // vorn_do_steps.
    int32_t runCycle(uint8_t shape, OutputSample* outputs, uint8_t& nOutputs) {
        const vorn_test::Cycle& c =
            client.cycle(plausibleReading(shape, cycle), {outputs, nOutputs});
        FUZZ_CHECK(c.controlStatus == RC_OK || c.controlStatus == RC_W_CALL_TIME_DEVIATION);
        FUZZ_CHECK((c.plan.input_mask & ~kInputMask) == 0);
        FUZZ_CHECK(oneOf(c.status,
                         {RC_OK, RC_W_INPUT_REPEATED, RC_W_OUTPUT_OVERFLOW, RC_W_NO_OUTPUT_ROOM}));
        nOutputs = static_cast<uint8_t>(c.outputs.size());
        ++cycle;
        return c.status;
    }
};

// The host's ten outputs at 1/3 Hz.
inline int32_t subscribeLowPower() {
    return vorn_test::subscribeAll(vorn_test::kHostOutputs, vorn_test::kRate3s);
}

}  // namespace vorn_fuzz
