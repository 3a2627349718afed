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
    void step();
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
    // Hand channel id's current interval to its module (ids without a module do nothing).
    void applyChannelInterval(uint32_t id);

    // Forget what the IAQ chain has learnt (the baseline bands and statuses, the held
    // indices) and re-derive both modules' interval-dependent values.
    void resetIaqChain();

    // Section routing by channel id: length 0 / RC_E_SECTION_UNKNOWN for ids without a module.
    uint32_t exportChannelSection(SectionKind kind, uint32_t id, uint8_t* work,
                                  uint32_t workSize) const;
    [[nodiscard]] int32_t importChannelSection(SectionKind kind, uint32_t id,
                                               const uint8_t* section, uint32_t length);

    // Calls visit(module) for each of the six modules in channel id order.
    template <typename Self, typename Visit>
    static void forEachModule(Self& self, Visit&& visit) {
        visit(self.baselineTracker);
        visit(self.iaqEstimator);
        visit(self.preProcessor);
        visit(self.statusTracker);
        visit(self.heatCompensator);
        visit(self.humidityCorrector);
    }
};

}  // namespace vorn
