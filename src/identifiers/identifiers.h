// The identifier table: one row per input, channel and output, saying what each
// needs, and everything the library derives from it at compile time (slot tables,
// validity and routing masks, pacing, the host layer's request list, the accepted
// input ranges). Names are not kept here: an identifier's name is its enum name in
// vorn/vorn.h, which the tools and the Python package read from there.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <limits>

#include "vorn/vorn.h"

namespace vorn {

// Every identifier set is a mask with bit (id - 1) set for each member.
constexpr uint32_t idBits(std::initializer_list<uint32_t> ids) {
    uint32_t bits = 0;
    for (const uint32_t id : ids) bits |= 1u << (id - 1);
    return bits;
}
constexpr bool hasId(uint32_t bits, uint32_t id) {
    return ((bits >> (id - 1)) & 1u) != 0;
}

// Channel identifiers of the six modules; each is also the id of its module's
// configuration and state sections. Ids 4, 6, 7 and 8 have no module.
namespace channel {
inline constexpr uint32_t kBaselineTracker = 1;
inline constexpr uint32_t kIaqEstimator = 2;
inline constexpr uint32_t kPreProcessor = 3;
inline constexpr uint32_t kStatusTracker = 5;
inline constexpr uint32_t kHeatCompensator = 9;
inline constexpr uint32_t kHumidityCorrector = 10;
}  // namespace channel

struct InputRow {
    uint32_t id;
    float min;  // accepted range of the default configuration
    float max;
};

struct ChannelRow {
    uint32_t id;
    uint32_t upstream;  // channels that must have been scheduled earlier in the same step
    uint32_t inputs;    // inputs that need a new sample in the step
};

struct OutputRow {
    uint32_t id;
    uint32_t channels;  // channels the output needs
    uint32_t inputs;    // inputs the output needs
    uint8_t hostPlace;  // 1-based place in the host layer's request list; 0 = not requested
};

// Rows in ascending identifier order: a row's place is the identifier's slot in the
// library's dense arrays.
inline constexpr float kUnbounded = std::numeric_limits<float>::max();
inline constexpr std::array kInputTable = {
    InputRow{IN_PRESSURE, 0.0f, 2000000.0f},           // Pa
    InputRow{IN_HUMIDITY, 0.0f, 100.0f},               // %
    InputRow{IN_TEMPERATURE, -65.0f, 125.0f},          // degrees Celsius
    InputRow{IN_GAS_RESISTANCE, 170.0f, 13200000.0f},  // ohm
    InputRow{IN_TEMPERATURE_OFFSET, -kUnbounded, kUnbounded},
    InputRow{IN_MOD_HEATING_FLAG, 0.0f, 2.0f},
    InputRow{IN_BASELINE_INDEX, 0.0f, 2.0f},
    InputRow{IN_PROCESSING_INHIBIT, 0.0f, 9.0f},
};

inline constexpr std::array kChannelTable = {
    ChannelRow{channel::kBaselineTracker, idBits({channel::kPreProcessor, channel::kStatusTracker}),
               0},
    ChannelRow{channel::kIaqEstimator, idBits({channel::kBaselineTracker, channel::kStatusTracker}),
               0},
    ChannelRow{channel::kPreProcessor, idBits({channel::kStatusTracker}),
               idBits({IN_HUMIDITY, IN_TEMPERATURE, IN_GAS_RESISTANCE})},
    ChannelRow{channel::kStatusTracker, 0, idBits({IN_GAS_RESISTANCE})},
    ChannelRow{channel::kHeatCompensator, 0, idBits({IN_TEMPERATURE})},
    ChannelRow{channel::kHumidityCorrector, idBits({channel::kHeatCompensator}),
               idBits({IN_HUMIDITY, IN_TEMPERATURE})},
};

namespace detail {
// The gas chain up to the baseline, the IAQ estimator on top, and the inputs they read.
inline constexpr uint32_t kBaselineChain =
    idBits({channel::kStatusTracker, channel::kPreProcessor, channel::kBaselineTracker});
inline constexpr uint32_t kIaqChain = kBaselineChain | idBits({channel::kIaqEstimator});
inline constexpr uint32_t kGasChainInputs =
    idBits({IN_HUMIDITY, IN_TEMPERATURE, IN_GAS_RESISTANCE, IN_MOD_HEATING_FLAG, IN_BASELINE_INDEX,
            IN_PROCESSING_INHIBIT});
inline constexpr uint32_t kHeatInputs =
    idBits({IN_TEMPERATURE, IN_TEMPERATURE_OFFSET, IN_PROCESSING_INHIBIT});
}  // namespace detail

// A pass-through output needs no channel and exactly the one input it copies.
inline constexpr std::array kOutputTable = {
    OutputRow{OUT_IAQ_INDEX, detail::kIaqChain, detail::kGasChainInputs, 1},
    OutputRow{OUT_IAQ_FIXED_SCALE, detail::kIaqChain, detail::kGasChainInputs, 8},
    OutputRow{OUT_LINEAR_ESTIMATE, detail::kIaqChain, detail::kGasChainInputs, 9},
    OutputRow{OUT_EXPONENTIAL_ESTIMATE, detail::kIaqChain, detail::kGasChainInputs, 10},
    OutputRow{OUT_PASSTHROUGH_TEMPERATURE, 0, idBits({IN_TEMPERATURE}), 6},
    OutputRow{OUT_PASSTHROUGH_PRESSURE, 0, idBits({IN_PRESSURE}), 3},
    OutputRow{OUT_PASSTHROUGH_HUMIDITY, 0, idBits({IN_HUMIDITY}), 7},
    OutputRow{OUT_PASSTHROUGH_GAS, 0, idBits({IN_GAS_RESISTANCE}), 5},
    OutputRow{OUT_ACCUMULATED_TIME_FLAG, idBits({channel::kStatusTracker}),
              idBits({IN_GAS_RESISTANCE, IN_PROCESSING_INHIBIT}), 0},
    OutputRow{OUT_CONTINUOUS_TIME_FLAG, idBits({channel::kStatusTracker}),
              idBits({IN_GAS_RESISTANCE, IN_PROCESSING_INHIBIT}), 0},
    OutputRow{OUT_COMPENSATED_TEMPERATURE, idBits({channel::kHeatCompensator}), detail::kHeatInputs,
              2},
    OutputRow{OUT_COMPENSATED_HUMIDITY,
              idBits({channel::kHeatCompensator, channel::kHumidityCorrector}),
              detail::kHeatInputs | idBits({IN_HUMIDITY}), 4},
    OutputRow{OUT_COMPENSATED_LOG_GAS, detail::kBaselineChain, detail::kGasChainInputs, 0},
    OutputRow{OUT_GAS_SCALE_PERCENT, detail::kIaqChain, detail::kGasChainInputs, 0},
};

namespace detail {

template <typename Row, std::size_t N>
constexpr bool ascending(const std::array<Row, N>& rows) {
    for (std::size_t i = 1; i < N; ++i) {
        if (rows[i].id <= rows[i - 1].id) return false;
    }
    return rows[0].id >= 1 && rows[N - 1].id <= 32;  // every id has a bit in a mask
}

template <typename Row, std::size_t N>
constexpr uint32_t allIds(const std::array<Row, N>& rows) {
    uint32_t bits = 0;
    for (const Row& row : rows) bits |= idBits({row.id});
    return bits;
}

// 1-based slot by id - 1; 0 for an id without a row.
template <std::size_t MaxId, typename Row, std::size_t N>
constexpr std::array<uint8_t, MaxId> slots(const std::array<Row, N>& rows) {
    std::array<uint8_t, MaxId> out{};
    for (std::size_t i = 0; i < N; ++i) out[rows[i].id - 1] = static_cast<uint8_t>(i + 1);
    return out;
}

// Called only where a table breaks one of its rules (a mask too wide for its column,
// say): as it is no constexpr function, reaching it stops the compile.
void tableBreaksItsRules();

// A mask column by id - 1, 0 for an id without a row, in the narrowest type it fits.
template <typename T, std::size_t MaxId, typename Row, std::size_t N>
constexpr std::array<T, MaxId> column(const std::array<Row, N>& rows, uint32_t Row::*mask) {
    std::array<T, MaxId> out{};
    for (const Row& row : rows) {
        out[row.id - 1] = static_cast<T>(row.*mask);
        if (out[row.id - 1] != row.*mask) tableBreaksItsRules();
    }
    return out;
}

// The ids of the rows that pass `keep`, in ascending order.
template <std::size_t Count, typename Row, std::size_t N, typename Keep>
constexpr std::array<uint8_t, Count> idsWhere(const std::array<Row, N>& rows, Keep keep) {
    std::array<uint8_t, Count> out{};
    std::size_t n = 0;
    for (const Row& row : rows) {
        if (keep(row)) out[n++] = static_cast<uint8_t>(row.id);
    }
    return out;
}
template <typename Row, std::size_t N, typename Keep>
constexpr std::size_t countWhere(const std::array<Row, N>& rows, Keep keep) {
    std::size_t n = 0;
    for (const Row& row : rows) n += keep(row) ? 1 : 0;
    return n;
}

}  // namespace detail

static_assert(detail::ascending(kInputTable) && detail::ascending(kChannelTable) &&
              detail::ascending(kOutputTable));

inline constexpr int kInputCount = kInputTable.size();      // input slots
inline constexpr int kOutputCount = kOutputTable.size();    // output slots
inline constexpr int kChannelCount = kChannelTable.size();  // channel indexes
inline constexpr int kMaxInputId = static_cast<int>(kInputTable.back().id);
inline constexpr int kMaxOutputId = static_cast<int>(kOutputTable.back().id);
inline constexpr int kMaxChannelId = static_cast<int>(kChannelTable.back().id);

// Validity masks, bit (identifier - 1).
inline constexpr uint32_t kInputMask = detail::allIds(kInputTable);
inline constexpr uint32_t kOutputMask = detail::allIds(kOutputTable);
inline constexpr uint32_t kChannelMask = detail::allIds(kChannelTable);

// Interval unit is 10 ms; this value means off / not requested / not required.
inline constexpr uint16_t kIntervalOff = 65535;

// Time stamp meaning "no gas sample in this step".
inline constexpr int64_t kNoTimestamp = INT64_MAX;

// Output slot (1-based) by output identifier - 1; 0 = not an output.
inline constexpr auto kOutputSlot = detail::slots<kMaxOutputId>(kOutputTable);
// Channel index (1-based) by channel identifier - 1; 0 = no module.
inline constexpr auto kChannelIndex = detail::slots<kMaxChannelId>(kChannelTable);
// Input slot (1-based) by input identifier - 1; 0 = not an input.
inline constexpr auto kInputSlot = detail::slots<kMaxInputId>(kInputTable);

// Routing masks by identifier - 1, 0 for identifiers without a row: the channels and
// inputs each output needs, and each channel's upstream channels and fresh inputs.
inline constexpr auto kOutputChannels =
    detail::column<uint16_t, kMaxOutputId>(kOutputTable, &OutputRow::channels);
inline constexpr auto kOutputInputs =
    detail::column<uint32_t, kMaxOutputId>(kOutputTable, &OutputRow::inputs);
inline constexpr auto kChannelUpstream =
    detail::column<uint16_t, kMaxChannelId>(kChannelTable, &ChannelRow::upstream);
inline constexpr auto kChannelInputs =
    detail::column<uint8_t, kMaxChannelId>(kChannelTable, &ChannelRow::inputs);

// Outputs that need the gas sample. They are paced by the gas measurement; the
// others (temperature, pressure, humidity) follow the climate readings.
inline constexpr uint32_t kGasOutputs = [] {
    uint32_t bits = 0;
    for (const OutputRow& row : kOutputTable) {
        if (hasId(row.inputs, IN_GAS_RESISTANCE)) bits |= idBits({row.id});
    }
    return bits;
}();

// Accepted input ranges of the default configuration, by input slot.
inline constexpr auto kInputMinimum = [] {
    std::array<float, kInputCount> out{};
    for (int slot = 0; slot < kInputCount; ++slot) out[slot] = kInputTable[slot].min;
    return out;
}();
inline constexpr auto kInputMaximum = [] {
    std::array<float, kInputCount> out{};
    for (int slot = 0; slot < kInputCount; ++slot) out[slot] = kInputTable[slot].max;
    return out;
}();

// The outputs the host layer requests, in its request order.
inline constexpr auto kHostOutputs = [] {
    constexpr auto requested = [](const OutputRow& row) { return row.hostPlace != 0; };
    std::array<uint8_t, detail::countWhere(kOutputTable, requested)> out{};
    for (const OutputRow& row : kOutputTable) {
        if (requested(row)) out[row.hostPlace - 1] = static_cast<uint8_t>(row.id);
    }
    return out;
}();
static_assert(
    [] {
        for (const uint8_t id : kHostOutputs) {
            if (id == 0) return false;
        }
        return true;
    }(),
    "host places run from 1 without a gap or a repeat");

constexpr bool isInputId(uint32_t id) {
    return id >= 1 && id <= kMaxInputId && hasId(kInputMask, id);
}
constexpr bool isOutputId(uint32_t id) {
    return id >= 1 && id <= kMaxOutputId && hasId(kOutputMask, id);
}
constexpr bool isChannelId(uint32_t id) {
    return id >= 1 && id <= kMaxChannelId && hasId(kChannelMask, id);
}
// 0-based array index of a valid identifier.
constexpr int inputIndex(uint32_t id) {
    return kInputSlot[id - 1] - 1;
}
constexpr int outputIndex(uint32_t id) {
    return kOutputSlot[id - 1] - 1;
}
constexpr int channelIndex(uint32_t id) {
    return kChannelIndex[id - 1] - 1;
}

}  // namespace vorn
