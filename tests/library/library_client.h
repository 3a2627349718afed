// Single calls of the exported C functions for the library tests; whole cycles and
// subscriptions come from the shared client.
#pragma once

#include <vector>

#include "client.h"

namespace vorn_test {

inline InputSample sample(uint8_t id, int64_t t, float value) {
    return {t, value, 0, id, {}};
}

// The outputs of one vorn_do_steps call with room for `capacity` records.
struct Step {
    int32_t status;
    std::vector<OutputSample> outputs;
};

inline Step step(const std::vector<InputSample>& inputs, uint8_t capacity = 19) {
    std::vector<OutputSample> out(capacity);
    uint8_t n = capacity;
    const int32_t status =
        vorn_do_steps(inputs.data(), static_cast<uint8_t>(inputs.size()), out.data(), &n);
    out.resize(n);
    return {status, out};
}

inline SensorSettings control(int64_t t, int32_t* status = nullptr) {
    SensorSettings s{};
    const int32_t rc = vorn_sensor_control(t, &s);
    return status != nullptr ? (*status = rc, s) : s;
}

}  // namespace vorn_test
