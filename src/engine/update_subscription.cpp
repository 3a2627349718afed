// Subscription requests: check each requested rate against the output's allowed
// intervals and the whole set against the timing rules, record what passes, and
// answer with the rate each input must be supplied at. The same call carries the
// on-demand trigger request.
#include "math/fp_rules.h"

#include "engine/engine.h"
#include "math/numeric.h"

namespace vorn {
namespace {

constexpr float kRateMinHz = 0.0016666667f;  // 1/600 Hz
constexpr float kRateMaxHz = 10.0f;
constexpr float kIntervalUnitsPerSecond = 100.0f;  // 10 ms units
constexpr uint16_t kTriggerIntvl = 30000;          // the trigger needs output 1 or 2 at 1/300 Hz
constexpr double kToleranceFraction = 0.01;        // an allowed interval matches within 1 %
constexpr double kU32Limit = 4294967296.0;
constexpr uint8_t kRequiredRecords = 8;  // one per input identifier

bool isTriggerForm(const SensorRate& first) {
    return (first.id == OUT_IAQ_INDEX || first.id == OUT_IAQ_FIXED_SCALE) && first.rate_hz == 0.0f;
}

int32_t answerTrigger(Engine& v) {
    const bool available =
        v.requestedOutputIntvl[outputIndex(OUT_IAQ_INDEX)] == kTriggerIntvl ||
        v.requestedOutputIntvl[outputIndex(OUT_IAQ_FIXED_SCALE)] == kTriggerIntvl;
    if (!available) return RC_W_TRIGGER_UNAVAILABLE;
    if (v.triggerStatus != RC_OK) return v.triggerStatus;
    v.triggerPending = 1;
    return RC_OK;
}

// round(100 / r) for a rate in (0, 65535), kept to 16 bits. Tiny rates (already
// refused by the range check) would exceed any integer: they saturate at 2^32 - 1
// before the 16 bits are kept, so the conversion is defined for every float.
uint16_t rateToInterval(float rateHz) {
    const double rounded = roundd(static_cast<double>(kIntervalUnitsPerSecond / rateHz));
    const uint32_t wide =
        rounded < kU32Limit ? static_cast<uint32_t>(rounded) : static_cast<uint32_t>(kU32Limit - 1);
    return static_cast<uint16_t>(wide);
}

// A candidate matches an allowed interval A within A - t .. A + t, t = 1 % of A,
// both bounds taken modulo 65536.
bool matchesAllowed(uint16_t allowed, uint16_t interval) {
    const auto tolerance = static_cast<uint32_t>(roundd(allowed * kToleranceFraction));
    const auto low = static_cast<uint16_t>(allowed - tolerance);
    const auto high = static_cast<uint16_t>(allowed + tolerance);
    return low <= interval && interval <= high;
}

bool isAllowed(const Engine& v, int slot, uint16_t interval) {
    for (const OutputIntervals& row : v.allowedOutputIntvl) {
        if (matchesAllowed(row[slot], interval)) return true;
    }
    return false;
}

// Checks the records in order into newIntervals. The status is one value for the
// whole call, the last one set; once any record has set one, later records are
// still checked but no longer kept.
int32_t checkRequests(const Engine& v, const SensorRate* requested, uint8_t nRequested,
                      OutputIntervals& newIntervals) {
    int32_t status = RC_OK;
    uint32_t seen = 0;
    for (uint8_t i = 0; i < nRequested; ++i) {
        const uint8_t id = requested[i].id;
        const float rate = requested[i].rate_hz;
        if (!isOutputId(id)) {
            status = RC_W_OUTPUT_ID_IGNORED;
            continue;
        }
        const uint32_t bit = 1u << (id - 1);
        if ((seen & bit) != 0) {
            status = RC_E_OUTPUT_DUPLICATE;
            continue;
        }
        seen |= bit;
        if (rate == 0.0f) {
            status = RC_E_RATE_ZERO;
        } else if (rate != VORN_RATE_DISABLED && !(rate >= kRateMinHz && rate <= kRateMaxHz)) {
            status = RC_E_RATE_RANGE;  // NaN included
        }
        const int slot = outputIndex(id);
        uint16_t interval = kIntervalOff;
        if (rate > 0.0f && rate < VORN_RATE_DISABLED) {
            interval = rateToInterval(rate);
            if (!isAllowed(v, slot, interval)) {
                status = RC_E_RATE_NOT_ALLOWED;
                continue;
            }
        }
        if (status == RC_OK) newIntervals[slot] = interval;
    }
    return status;
}

// The highest rate any subscribed output needs from each input, 65535.0 where none.
void fillRequired(const Engine& v, SensorRate* required) {
    uint8_t count = 0;
    for (uint8_t input = 1; input <= kMaxInputId; ++input) {
        if (!isInputId(input)) continue;
        float rate = VORN_RATE_DISABLED;
        for (uint8_t id = 1; id <= kMaxOutputId; ++id) {
            if (!isOutputId(id)) continue;
            if (!hasId(kOutputInputs[id - 1], input)) continue;
            const uint16_t interval = v.requestedOutputIntvl[outputIndex(id)];
            if (rate == VORN_RATE_DISABLED) {
                if (interval != kIntervalOff) {
                    rate = kIntervalUnitsPerSecond / static_cast<float>(interval);
                }
            } else {
                const float candidate = kIntervalUnitsPerSecond / static_cast<float>(interval);
                if (candidate > rate) rate = candidate;
            }
        }
        required[count].rate_hz = rate;
        required[count].id = input;
        ++count;
    }
}

}  // namespace

// A null request list counts as empty; a null required array or count as no room
// (the subscription is still recorded, nothing is written).
int32_t updateSubscription(Engine& v, const SensorRate* requested, uint8_t nRequested,
                           SensorRate* required, uint8_t* nRequired) {
    if (requested == nullptr) nRequested = 0;
    const uint8_t capacity = required != nullptr && nRequired != nullptr ? *nRequired : 0;
    if (nRequired != nullptr) *nRequired = 0;
    if (nRequested > 0 && isTriggerForm(requested[0])) return answerTrigger(v);

    OutputIntervals newIntervals = v.requestedOutputIntvl;
    int32_t status = nRequested == 0 ? int32_t{RC_W_NOTHING_REQUESTED}
                                     : checkRequests(v, requested, nRequested, newIntervals);
    if (status >= 0) {
        const int32_t compatibility = v.checkIntervalsCompatible(newIntervals);
        if (compatibility != RC_OK) status = compatibility;
    }
    if (status >= 0) {
        for (uint8_t id = 1; id <= kMaxOutputId; ++id) {
            if (!isOutputId(id)) continue;
            const int slot = outputIndex(id);
            if (newIntervals[slot] != v.requestedOutputIntvl[slot])
                v.requestOutput(id, newIntervals[slot]);
        }
    }
    if (capacity < kRequiredRecords) return RC_E_REQUIRED_ROOM;
    fillRequired(v, required);
    *nRequired = kRequiredRecords;
    return status;
}

}  // namespace vorn
