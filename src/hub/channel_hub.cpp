// One processing step of the channel hub: the readiness test of each channel, the
// six modules run in dependency order with their results handed downstream on
// the stack, and the pass-through copies of raw inputs. Also the hub's input store
// and output read-out, which the processing step and the scheduler use.
#include "math/fp_rules.h"

#include "hub/channel_hub.h"

#include <bit>
#include <cmath>

#include "math/numeric.h"
#include "vorn/vorn.h"

namespace vorn {

namespace {

// The outputs of the IAQ estimator: it returns its results in ascending output
// identifier order.
constexpr auto fromIaqEstimator = [](const OutputRow& row) {
    return hasId(row.channels, channel::kIaqEstimator);
};
constexpr auto kIaqOutputs =
    detail::idsWhere<std::tuple_size_v<IaqResults>>(kOutputTable, fromIaqEstimator);
static_assert(detail::countWhere(kOutputTable, fromIaqEstimator) == kIaqOutputs.size());

// Raw inputs copied to outputs: the outputs that need no channel, each copying its one input.
struct PassThrough {
    uint32_t output;
    uint32_t input;
};
constexpr auto isPassThrough = [](const OutputRow& row) { return row.channels == 0; };
constexpr auto kPassThroughs = [] {
    std::array<PassThrough, detail::countWhere(kOutputTable, isPassThrough)> out{};
    std::size_t n = 0;
    for (const OutputRow& row : kOutputTable) {
        if (!isPassThrough(row)) continue;
        out[n++] = {row.id, static_cast<uint32_t>(std::countr_zero(row.inputs) + 1)};
        if (std::popcount(row.inputs) != 1) detail::tableBreaksItsRules();
    }
    return out;
}();

constexpr float kMaxAccuracy = 255.0f;  // largest value an accuracy byte holds
constexpr double kHalf = 0.5;

// next % factor (0 for a factor of 0) without a division in the usual case, where
// the counter stays below its factor and next reaches it at most.
constexpr uint16_t wrapCounter(uint16_t next, uint16_t factor) {
    if (next < factor) return next;
    if (next == factor || factor == 0) return 0;
    return static_cast<uint16_t>(next % factor);
}

constexpr uint32_t bit(uint32_t id) {
    return 1u << (id - 1);
}

// Values the modules hand to each other within one step. All start at 0 and the
// gas-step time stamp at "none", so a channel that did not run passes on zeros; the gas
// interval is the one the baseline tracker last applied, which the heat term follows.
struct StepExchange {
    uint16_t gasInterval = kIntervalOff;
    int64_t gasStepTimestamp = kNoTimestamp;
    uint8_t accumulatedFlag = 0;
    uint8_t continuousFlag = 0;
    float progress = 0.0f;
    float logGas = 0.0f;
    float temperature = 0.0f;
    float humidity = 0.0f;
    BaselineBounds bounds{};
    float compensatedLogGas = 0.0f;
    float compensatedTemperature = 0.0f;
};

float inputOf(const ChannelHub& hub, uint32_t id) {
    return hub.inputValue[inputIndex(id)];
}
int64_t timestampOf(const ChannelHub& hub, uint32_t id) {
    return hub.inputTimestamp[inputIndex(id)];
}

void storeOutput(ChannelHub& hub, uint32_t id, float value, int64_t timestamp,
                 uint8_t accuracy = 0) {
    const int slot = outputIndex(id);
    hub.outputValue[slot] = value;
    hub.outputTimestamp[slot] = timestamp;
    hub.outputAccuracy[slot] = accuracy;
    hub.outputValidMask |= bit(id);
}

void runStatusTracker(ChannelHub& hub, StepExchange& x) {
    x.gasStepTimestamp = timestampOf(hub, IN_GAS_RESISTANCE);
    hub.statusTracker.step(x.gasStepTimestamp, x.accumulatedFlag, x.continuousFlag, x.progress);
    storeOutput(hub, OUT_ACCUMULATED_TIME_FLAG, static_cast<float>(x.accumulatedFlag),
                x.gasStepTimestamp);
    storeOutput(hub, OUT_CONTINUOUS_TIME_FLAG, static_cast<float>(x.continuousFlag),
                x.gasStepTimestamp);
}

void runPreProcessor(ChannelHub& hub, StepExchange& x) {
    hub.preProcessor.step(x.logGas, x.temperature, x.humidity, inputOf(hub, IN_GAS_RESISTANCE),
                          inputOf(hub, IN_TEMPERATURE), inputOf(hub, IN_HUMIDITY));
}

void runBaselineTracker(ChannelHub& hub, StepExchange& x) {
    const bool modifiedHeating = inputOf(hub, IN_MOD_HEATING_FLAG) != 0.0f;
    hub.baselineTracker.step(x.accumulatedFlag, x.continuousFlag, modifiedHeating, x.bounds,
                             x.compensatedLogGas, x.logGas, x.temperature, x.humidity,
                             inputOf(hub, IN_BASELINE_INDEX));
    storeOutput(hub, OUT_COMPENSATED_LOG_GAS, x.compensatedLogGas, x.gasStepTimestamp);
}

void runIaqEstimator(ChannelHub& hub, const StepExchange& x) {
    IaqResults results{};
    hub.iaqEstimator.step(x.bounds, results, x.compensatedLogGas, x.progress);
    for (std::size_t i = 0; i < kIaqOutputs.size(); ++i) {
        storeOutput(hub, kIaqOutputs[i], results[i].value, x.gasStepTimestamp,
                    accuracyToByte(results[i].accuracy));
    }
}

void runHeatCompensator(ChannelHub& hub, StepExchange& x) {
    const int64_t temperatureTimestamp = timestampOf(hub, IN_TEMPERATURE);
    x.compensatedTemperature =
        hub.heatCompensator.step(x.gasStepTimestamp, temperatureTimestamp, x.gasInterval,
                                 inputOf(hub, IN_TEMPERATURE), inputOf(hub, IN_TEMPERATURE_OFFSET));
    storeOutput(hub, OUT_COMPENSATED_TEMPERATURE, x.compensatedTemperature, temperatureTimestamp);
}

void runHumidityCorrector(ChannelHub& hub, const StepExchange& x) {
    const float humidity = hub.humidityCorrector.step(
        inputOf(hub, IN_TEMPERATURE), x.compensatedTemperature, inputOf(hub, IN_HUMIDITY));
    storeOutput(hub, OUT_COMPENSATED_HUMIDITY, humidity, timestampOf(hub, IN_TEMPERATURE));
}

// Pass-through outputs ignore the inhibit input and the channels: a subscribed
// output follows every new sample of its input.
void copyPassThroughs(ChannelHub& hub) {
    for (const PassThrough& p : kPassThroughs) {
        const bool subscribed = (hub.subscribedOutputs & bit(p.output)) != 0;
        const bool fresh = (hub.newInputMask & bit(p.input)) != 0;
        if (subscribed && fresh) {
            storeOutput(hub, p.output, inputOf(hub, p.input), timestampOf(hub, p.input));
        }
    }
}

}  // namespace

uint8_t accuracyToByte(float accuracy) {
    // Clamp before converting: an out-of-range float-to-integer cast is undefined.
    if (std::isnan(accuracy) || accuracy <= 0.0f) return 0;
    if (accuracy >= kMaxAccuracy) return static_cast<uint8_t>(kMaxAccuracy);
    // Within (0, 255) adding a half in double is exact, so truncating it rounds half
    // up exactly as roundd does, without its range tests and floor call.
    return static_cast<uint8_t>(static_cast<double>(accuracy) + kHalf);
}

ChannelHub::ChannelHub()
    : preProcessor(),
      iaqEstimator(),
      baselineTracker(),
      heatCompensator(),
      statusTracker(),
      humidityCorrector(),
      inputTimestamp{},
      outputTimestamp{},
      inputValue{},
      outputValue{},
      newInputMask(0),
      outputAccuracy{},
      outputValidMask(0),
      channelRunMask(0),
      channelSamplIntvl{},
      inputSamplIntvl{},
      subscribedOutputs(0),
      downsamplingFactor{},
      downsamplingCounter{} {
    resetSamplIntvls();
}

void ChannelHub::setInput(uint8_t id, int64_t timestamp, float value) {
    if (!isInputId(id)) return;
    const int slot = inputIndex(id);
    // A repeated time stamp is the same sample again: keep the first value and do
    // not make any channel ready a second time.
    if (inputTimestamp[slot] == timestamp) return;
    inputValue[slot] = value;
    inputTimestamp[slot] = timestamp;
    newInputMask |= bit(id);
}

bool ChannelHub::isChannelReady(uint32_t id) {
    if (!isChannelId(id)) return false;
    const int k = channelIndex(id);
    if (channelSamplIntvl[k] == kIntervalOff) return false;
    if ((kChannelUpstream[id - 1] & ~channelRunMask) != 0) return false;
    if ((kChannelInputs[id - 1] & ~newInputMask) != 0) return false;
    // A factor of 0 cannot come out of the interval propagation; should one be
    // stored anyway it counts as 1 instead of dividing by zero.
    const auto next = static_cast<uint16_t>(downsamplingCounter[k] + 1u);
    const uint16_t factor = downsamplingFactor[k];
    downsamplingCounter[k] = wrapCounter(next, factor);
    if (downsamplingCounter[k] != 0) return false;
    channelRunMask |= bit(id);
    return true;
}

void ChannelHub::step() {
    channelRunMask = 0;
    StepExchange x;
    x.gasInterval = baselineTracker.derived.samplIntvl;
    // Readiness is tested before the inhibit input, so an inhibited step still
    // advances the counters and marks channels as scheduled for those downstream.
    const bool inhibited = inputOf(*this, IN_PROCESSING_INHIBIT) != 0.0f;
    if (isChannelReady(channel::kStatusTracker) && !inhibited) runStatusTracker(*this, x);
    if (isChannelReady(channel::kPreProcessor) && !inhibited) runPreProcessor(*this, x);
    if (isChannelReady(channel::kBaselineTracker) && !inhibited) runBaselineTracker(*this, x);
    if (isChannelReady(channel::kIaqEstimator) && !inhibited) runIaqEstimator(*this, x);
    if (isChannelReady(channel::kHeatCompensator) && !inhibited) runHeatCompensator(*this, x);
    if (isChannelReady(channel::kHumidityCorrector) && !inhibited) runHumidityCorrector(*this, x);
    copyPassThroughs(*this);
    newInputMask = 0;
}

bool ChannelHub::isOutputValid(uint8_t id) const {
    return isOutputId(id) && (outputValidMask & bit(id)) != 0;
}

void ChannelHub::getOutput(uint8_t id, float& value, int64_t& timestamp, uint8_t& accuracy) {
    if (!isOutputId(id)) {
        value = 0.0f;
        timestamp = 0;
        accuracy = 0;
        return;
    }
    const int slot = outputIndex(id);
    value = outputValue[slot];
    timestamp = outputTimestamp[slot];
    accuracy = outputAccuracy[slot];
    outputValidMask &= ~bit(id);
}

int32_t ChannelHub::collectOutputs(OutputSample* outputs, uint8_t capacity, uint8_t& count) {
    const uint32_t pending = subscribedOutputs & outputValidMask;
    outputValidMask = 0;
    count = 0;
    if (capacity == 0) return RC_W_NO_OUTPUT_ROOM;
    // Locals throughout: the records' byte fields may alias anything, so a member or the
    // count read after a store would otherwise be read again.
    const auto& values = outputValue;
    const auto& timestamps = outputTimestamp;
    const auto& accuracies = outputAccuracy;
    uint8_t written = 0;
    int32_t status = RC_OK;
    // Lowest bit first: ascending identifier order.
    for (uint32_t left = pending; left != 0; left &= left - 1) {
        if (written == capacity) {
            status = RC_W_OUTPUT_OVERFLOW;
            break;
        }
        const auto id = static_cast<uint8_t>(std::countr_zero(left) + 1);
        const int slot = outputIndex(id);
        OutputSample& out = outputs[written++];  // its reserved byte is not ours to write
        out.timestamp_ns = timestamps[slot];
        out.value = values[slot];
        out.dims = 1;
        out.id = id;
        out.accuracy = accuracies[slot];
    }
    count = written;
    return status;
}

}  // namespace vorn
