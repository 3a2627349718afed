// The processing step: validate every input sample before storing any, store
// them in the hub, run one step over all channels, and hand back the subscribed
// outputs that received a value, in ascending identifier order.
#include <bit>

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
        if (sample.timestamp_ns == v.hub.inputTimestamp[slot]) status = RC_W_INPUT_REPEATED;
    }
    return status;
}

// Output identifier of each output slot, ascending.
constexpr std::array<uint8_t, kOutputCount> kOutputIdOfSlot = {1, 2,  3,  4,  6,  7,  8,
                                                               9, 12, 13, 14, 15, 18, 21};

// Bit id-1 for every subscribed output whose value is new: the outputs to hand back,
// found in one pass over the slots instead of a lookup per identifier.
uint32_t collectableMask(const ChannelHub& hub) {
    uint32_t subscribed = 0;
    for (int slot = 0; slot < kOutputCount; ++slot) {
        const uint32_t on = hub.outputSamplIntvl[slot] != kIntervalOff ? 1u : 0u;
        subscribed |= on << (kOutputIdOfSlot[slot] - 1);
    }
    return subscribed & hub.outputValidMask & kOutputMask;
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
    v.hub.doStep();

    uint8_t count = 0;
    if (capacity == 0) {
        status = RC_W_NO_OUTPUT_ROOM;
    } else {
        // Lowest bit first: ascending identifier order.
        for (uint32_t pending = collectableMask(v.hub); pending != 0; pending &= pending - 1) {
            const auto id = static_cast<uint8_t>(std::countr_zero(pending) + 1);
            // Read straight from the hub's arrays: the valid bits are all cleared below.
            if (count == capacity) {
                status = RC_W_OUTPUT_OVERFLOW;
                break;
            }
            const int slot = outputIndex(id);
            OutputSample& out = outputs[count++];
            out.timestamp_ns = v.hub.outputTimestamp[slot];
            out.value = v.hub.outputValue[slot];
            out.dims = 1;
            out.id = id;
            out.accuracy = v.hub.outputAccuracy[slot];
        }
    }
    clearOutputs(outputs + count, static_cast<uint8_t>(capacity - count));
    // Values not collected now are not offered again.
    v.hub.outputValidMask = 0;
    v.applyUpdateSubscription();
    if (nOutputs != nullptr) *nOutputs = count;
    return status;
}

}  // namespace vorn
