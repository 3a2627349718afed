// The channel hub owns the six processing modules, the latest sample of every
// input and the latest value of every output. One step visits the channels in
// dependency order (5, 3, 1, 2, 9, 10), runs each that is due and hands each
// module's results downstream. It also turns requested output intervals into
// channel and input intervals and routes configuration and state sections.
//
// Callers pass only valid identifiers; should one not be, the hub stays inside its
// arrays and changes nothing: setInput ignores an id outside the input set,
// isOutputValid answers false and getOutput returns 0 values for an id outside the
// output set, isChannelReady answers false for an id without a module, and
// updateOutputSamplIntvl ignores an id outside the output set. A downsampling
// factor of 0, which the interval propagation never produces, counts as 1.
#pragma once

#include <array>
#include <cstdint>

#include "identifiers/identifiers.h"
#include "modules/gas_humidity_baseline_tracker.h"
#include "modules/gas_humidity_pre_processor.h"
#include "modules/humidity_temperature_corrector.h"
#include "modules/iaq_estimator.h"
#include "modules/sensor_heat_compensator.h"
#include "modules/sensor_status_tracker.h"
#include "vorn/vorn.h"

namespace vorn {

// The literals the identifier table replaces, checked once against what it computes
// (only at valid identifiers: the other entries were never read).
namespace previous {
inline constexpr std::array<int16_t, 21> kOutputChannels = {
    23, 23, 23, 23, 29, 0, 0, 0, 0, 352, 480, 16, 16, 256, 768, 21, 21, 21, 21, 21, 23};
inline constexpr std::array<int32_t, 21> kOutputInputs = {
    0xE0000E, 0xE0000E, 0xE0000E, 0xE0000E, 0xE0000E, 0x4,      0x1,
    0x2,      0x8,      0x9FFFF4, 0x9FFFF6, 0x800008, 0x800008, 0x802004,
    0x802006, 0xE0000E, 0xE0000E, 0xE0000E, 0xE0000E, 0xE0000E, 0xE0000E};
inline constexpr std::array<int16_t, 10> kChannelUpstream = {20, 17, 16, 5, 0, 256, 32, 64, 0, 256};
inline constexpr std::array<int8_t, 10> kChannelInputs = {0, 0, 14, 0, 8, 4, 4, 6, 4, 6};
inline constexpr std::array<uint8_t, 21> kOutputSlot = {1, 2,  3,  4,  0, 5, 6,  7, 8, 0, 0,
                                                        9, 10, 11, 12, 0, 0, 13, 0, 0, 14};
inline constexpr std::array<uint8_t, 10> kChannelIndex = {1, 2, 3, 0, 4, 0, 0, 0, 5, 6};
inline constexpr std::array<uint8_t, 24> kInputSlot = {1, 2, 3, 4, 0, 0, 0, 0, 0, 0, 0, 0,
                                                       0, 5, 0, 0, 0, 0, 0, 0, 0, 6, 7, 8};
inline constexpr std::array<bool, 14> kClimatePacedSlot = {
    false, false, false, false, true, true, true, false, false, false, true, true, false, false};
constexpr bool same() {
    bool ok = kInputMask == 0x00E0200Fu && kOutputMask == 0x001279EFu && kChannelMask == 0x317u;
    ok = ok && kInputCount == 8 && kOutputCount == 14 && kChannelCount == 6;
    ok = ok && kMaxInputId == 24 && kMaxOutputId == 21 && kMaxChannelId == 10;
    ok = ok && vorn::kOutputSlot == previous::kOutputSlot &&
         vorn::kChannelIndex == previous::kChannelIndex && vorn::kInputSlot == previous::kInputSlot;
    for (uint32_t id = 1; id <= 21; ++id) {
        if (!isOutputId(id)) continue;
        ok = ok && vorn::kOutputChannels[id - 1] == previous::kOutputChannels[id - 1];
        ok = ok &&
             vorn::kOutputInputs[id - 1] == static_cast<uint32_t>(previous::kOutputInputs[id - 1]);
        ok = ok && hasId(kGasPacedOutputs, id) != kClimatePacedSlot[outputIndex(id)];
    }
    for (uint32_t id = 1; id <= 10; ++id) {
        if (!isChannelId(id)) continue;
        ok = ok && vorn::kChannelUpstream[id - 1] == previous::kChannelUpstream[id - 1];
        ok = ok && vorn::kChannelInputs[id - 1] == previous::kChannelInputs[id - 1];
    }
    const std::array<uint8_t, 10> host = {OUT_IAQ_INDEX,
                                          OUT_COMPENSATED_TEMPERATURE,
                                          OUT_PASSTHROUGH_PRESSURE,
                                          OUT_COMPENSATED_HUMIDITY,
                                          OUT_PASSTHROUGH_GAS,
                                          OUT_PASSTHROUGH_TEMPERATURE,
                                          OUT_PASSTHROUGH_HUMIDITY,
                                          OUT_IAQ_FIXED_SCALE,
                                          OUT_LINEAR_ESTIMATE,
                                          OUT_EXPONENTIAL_ESTIMATE};
    ok = ok && kHostOutputs == host;
    const std::array<float, 8> min = {0.0f, 0.0f, -65.0f, 170.0f, -kUnbounded, 0.0f, 0.0f, 0.0f};
    const std::array<float, 8> max = {2000000.0f, 100.0f, 125.0f, 13200000.0f,
                                      kUnbounded, 2.0f,   2.0f,   9.0f};
    return ok && kInputMinimum == min && kInputMaximum == max;
}
static_assert(same(), "the table computes today's literals");
}  // namespace previous

// An IAQ accuracy as published with an output: rounded half away from zero (2.5
// gives 3); NaN and values at or below 0 give 0, values at or above 255 give 255.
uint8_t accuracyToByte(float accuracy);

struct ChannelHub {
    GasHumidityPreProcessor preProcessor;               // channel 3
    IaqEstimator iaqEstimator;                          // channel 2
    GasHumidityBaselineTracker baselineTracker;         // channel 1
    SensorHeatCompensator heatCompensator;              // channel 9
    SensorStatusTracker statusTracker;                  // channel 5
    HumidityTemperatureCorrector humidityCorrector;     // channel 10
    std::array<int64_t, kInputCount> inputTimestamp;    // ns; 0 = no sample yet
    std::array<int64_t, kOutputCount> outputTimestamp;  // ns
    std::array<float, kInputCount> inputValue;
    std::array<float, kOutputCount> outputValue;
    uint32_t newInputMask;  // bit id-1: new sample since the last step
    std::array<uint8_t, kOutputCount> outputAccuracy;
    uint32_t outputValidMask;  // bit id-1: value produced and not yet read
    uint32_t channelRunMask;   // bit id-1: scheduled in the current step
    std::array<uint16_t, kChannelCount> channelSamplIntvl;  // 10 ms units; 65535 = off
    std::array<uint16_t, kInputCount> inputSamplIntvl;      // 65535 = not required
    uint32_t subscribedOutputs;  // bit id-1: output requested at some interval
    std::array<uint16_t, kChannelCount> downsamplingFactor;
    std::array<uint16_t, kChannelCount> downsamplingCounter;

    ChannelHub();

    // Store a sample of a valid input id unless its time stamp repeats the stored one.
    void setInput(uint8_t id, int64_t timestamp, float value);
    // Readiness of an existing channel; advances its counter and marks it scheduled.
    bool isChannelReady(uint32_t id);
    // One processing step over all channels and the pass-through outputs.
    void doStep();
    bool isOutputValid(uint8_t id) const;
    // Read a valid output id and clear its valid bit.
    void getOutput(uint8_t id, float& value, int64_t& timestamp, uint8_t& accuracy);
    // Hand back every subscribed output that received a value since the last collection,
    // in ascending id order, as whole records into outputs[0 .. capacity-1]; count says how
    // many. RC_W_NO_OUTPUT_ROOM for capacity 0, RC_W_OUTPUT_OVERFLOW when more were ready
    // than fit, else RC_OK. Values not collected now are not offered again.
    [[nodiscard]] int32_t collectOutputs(OutputSample* outputs, uint8_t capacity, uint8_t& count);

    // The latest sample of a valid input id: its value, its time stamp (0 = none yet),
    // and the interval it is needed at (65535 = not needed).
    float latestValue(uint8_t id) const { return inputValue[inputIndex(id)]; }
    int64_t latestTimestamp(uint8_t id) const { return inputTimestamp[inputIndex(id)]; }
    uint16_t inputInterval(uint8_t id) const { return inputSamplIntvl[inputIndex(id)]; }

    // Sample intervals: all off, factors 1, counters 0.
    void resetSamplIntvls();
    // Record one output's interval and lower its channels' and inputs' intervals to it.
    void updateOutputSamplIntvl(uint8_t id, uint16_t interval);
    void recalculateDownsampling();
    // Hand channel id's current interval to its module (ids without a module, and 9, do nothing).
    void updateChannelInterfaceDependency(uint32_t id);

    // Section routing by channel id: length 0 / RC_E_SECTION_UNKNOWN for ids without a module.
    uint32_t getChannelConfiguration(uint32_t id, uint8_t* work, uint32_t workSize,
                                     uint32_t minCount) const;
    uint32_t getChannelState(uint32_t id, uint8_t* work, uint32_t workSize,
                             uint32_t minCount) const;
    int32_t configureChannel(uint32_t id, const uint8_t* section, uint32_t length);
    int32_t setChannelState(uint32_t id, const uint8_t* section, uint32_t length);
};

}  // namespace vorn
