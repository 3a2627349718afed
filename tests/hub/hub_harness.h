// Drives a hub as the library does. Each step starts with no valid outputs so that a
// test sees exactly what that step produced.
#pragma once

#include <initializer_list>

#include "hub/channel_hub.h"
#include "vorn/vorn.h"

namespace vorn::test {

struct Request {
    uint8_t output;
    uint16_t interval;
};
struct Sample {
    uint8_t input;
    int64_t timestamp;
    float value;
};

inline void subscribe(ChannelHub& hub, std::initializer_list<Request> requests) {
    hub.resetSamplIntvls();
    for (const Request& r : requests) hub.updateOutputSamplIntvl(r.output, r.interval);
    hub.recalculateDownsampling();
    for (uint32_t c = 1; c <= kMaxChannelId; ++c) hub.applyChannelInterval(c);
}

inline void step(ChannelHub& hub, std::initializer_list<Sample> samples) {
    for (const Sample& s : samples) hub.setInput(s.input, s.timestamp, s.value);
    hub.outputValidMask = 0;
    hub.step();
}

// Bit id-1 for each id, the form of the hub's masks.
constexpr uint32_t bits(std::initializer_list<uint32_t> ids) {
    uint32_t mask = 0;
    for (uint32_t id : ids) mask |= 1u << (id - 1);
    return mask;
}

}  // namespace vorn::test
