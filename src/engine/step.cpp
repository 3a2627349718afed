// The processing step: validate every input sample before storing any, store
// them in the hub, run one step over all channels, and hand back the subscribed
// outputs that received a value, in ascending identifier order.
#include "math/fp_rules.h"

#include "engine/engine.h"

namespace vorn {
namespace {

void clearOutputs(OutputSample* outputs, uint8_t capacity) {
    for (uint8_t i = 0; i < capacity; ++i) {
        // The record's last byte is not the library's to write.
        outputs[i].timestamp_ns = 0;
        outputs[i].value = 0.0f;
        outputs[i].dims = 0;
        outputs[i].id = 0;
        outputs[i].accuracy = 0;
    }
}

bool overlaps(const InputSample* inputs, uint8_t nInputs, const OutputSample* outputs,
              uint8_t capacity) {
    if (inputs == nullptr || outputs == nullptr || nInputs == 0 || capacity == 0) return false;
    const auto in = reinterpret_cast<std::uintptr_t>(inputs);
    const auto out = reinterpret_cast<std::uintptr_t>(outputs);
    return in < out + capacity * sizeof(OutputSample) && out < in + nInputs * sizeof(InputSample);
}

// The whole call is refused on the first bad sample; a repeated time stamp only
// warns. NaN fails both bounds and is refused like any value out of range.
int32_t validateInputs(const Engine& v, const InputSample* inputs, uint8_t nInputs) {
    int32_t status = RC_OK;
    uint32_t seen = 0;
    for (uint8_t i = 0; i < nInputs; ++i) {
        const InputSample& sample = inputs[i];
        if (!isInputId(sample.id)) return RC_E_INPUT_ID;
        const uint32_t bit = 1u << (sample.id - 1);
        if ((seen & bit) != 0) return RC_E_INPUT_DUPLICATE;
        seen |= bit;
        const int slot = inputIndex(sample.id);
        if (!(sample.value >= v.inputMin[slot] && sample.value <= v.inputMax[slot])) {
            return RC_E_INPUT_RANGE;
        }
        if (sample.timestamp_ns == v.hub.latestTimestamp(sample.id)) status = RC_W_INPUT_REPEATED;
    }
    return status;
}

}  // namespace

// A null output array or count means no room: the step still runs, its outputs
// are dropped. A null input array with a non-zero count is refused as invalid.
int32_t doSteps(Engine& v, const InputSample* inputs, uint8_t nInputs, OutputSample* outputs,
                uint8_t* nOutputs) {
    const uint8_t capacity = outputs != nullptr && nOutputs != nullptr ? *nOutputs : 0;
    // Every record the step hands back is written whole, so only the records after
    // them need clearing, once the step is done. Should the caller's output array
    // overlap its inputs, it is cleared first, before any input is read.
    if (overlaps(inputs, nInputs, outputs, capacity)) clearOutputs(outputs, capacity);

    int32_t status = inputs == nullptr && nInputs != 0 ? int32_t{RC_E_INPUT_ID}
                                                       : validateInputs(v, inputs, nInputs);
    if (status < 0) {
        clearOutputs(outputs, capacity);
        if (nOutputs != nullptr) *nOutputs = 0;
        return status;
    }
    for (uint8_t i = 0; i < nInputs; ++i) {
        v.hub.setInput(inputs[i].id, inputs[i].timestamp_ns, inputs[i].value);
    }
    v.hub.step();

    uint8_t count = 0;
    const int32_t collected = v.hub.collectOutputs(outputs, capacity, count);
    if (collected != RC_OK) status = collected;
    clearOutputs(outputs + count, static_cast<uint8_t>(capacity - count));
    v.applyUpdateSubscription();
    if (nOutputs != nullptr) *nOutputs = count;
    return status;
}

}  // namespace vorn
