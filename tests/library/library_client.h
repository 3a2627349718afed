// Drives the exported C functions the way a client does.
#pragma once

#include <initializer_list>
#include <utility>
#include <vector>

#include "vorn/vorn.h"

namespace vorn_test {

constexpr float kRate3s = 0.33333f;      // interval 300
constexpr float kRate300s = 1.0f / 300;  // interval 30000
constexpr int64_t kSecond = 1'000'000'000;

struct Subscription {
    int32_t status;
    uint8_t nRequired;
    SensorRate required[8];
};

inline Subscription subscribe(const std::vector<std::pair<uint8_t, float>>& requests,
                              uint8_t capacity = 8) {
    std::vector<SensorRate> list;
    for (const auto& [id, rate] : requests) list.push_back(SensorRate{rate, id, {0, 0, 0}});
    Subscription s{};
    s.nRequired = capacity;
    s.status = vorn_update_subscription(list.data(), static_cast<uint8_t>(list.size()), s.required,
                                        &s.nRequired);
    return s;
}

inline InputSample sample(uint8_t id, int64_t t, float value) {
    InputSample s{};
    s.timestamp_ns = t;
    s.value = value;
    s.id = id;
    return s;
}

struct Step {
    int32_t status;
    std::vector<OutputSample> outputs;

    const OutputSample* find(uint8_t id) const {
        for (const OutputSample& o : outputs) {
            if (o.id == id) return &o;
        }
        return nullptr;
    }
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
    if (status != nullptr) *status = rc;
    return s;
}

}  // namespace vorn_test
