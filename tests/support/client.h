// A client of the exported C functions for tests, benchmarks, the soak and the fuzzers:
// a synthetic room to measure, the plan / measure / process cycle, and a loop over a
// scenario. Written once here so that every driver feeds the library the same way and
// a change to the calling protocol is made in one place.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "identifiers/identifiers.h"
#include "vorn/vorn.h"

namespace vorn_test {

inline constexpr int64_t kSecond = 1'000'000'000;
inline constexpr int64_t kHour = 3600 * kSecond;
inline constexpr int64_t kDay = 24 * kHour;
inline constexpr int64_t kStartNs = 1'700'000'000 * kSecond;  // a wall-clock epoch
inline constexpr float kRate3s = 0.33333f;                    // interval 300, the host's rate
inline constexpr float kRate300s = 1.0f / 300;                // interval 30000
// The host layer's ten outputs in its order, and every output, from the identifier table.
inline constexpr const auto& kHostOutputs = vorn::kHostOutputs;
inline constexpr auto kAllOutputs = [] {
    std::array<uint8_t, vorn::kOutputTable.size()> ids{};
    for (size_t i = 0; i < ids.size(); ++i) ids[i] = static_cast<uint8_t>(vorn::kOutputTable[i].id);
    return ids;
}();

// a + b modulo 2^64, as the library's clock arithmetic: no signed overflow.
inline int64_t wrapAdd(int64_t a, int64_t b) {
    return static_cast<int64_t>(static_cast<uint64_t>(a) + static_cast<uint64_t>(b));
}

// The four physical readings, in input identifier order.
struct Reading {
    float pressure;     // Pa
    float humidity;     // %
    float temperature;  // degrees Celsius
    float gas;          // ohm

    float& value(uint8_t id) {
        return id == IN_PRESSURE      ? pressure
               : id == IN_HUMIDITY    ? humidity
               : id == IN_TEMPERATURE ? temperature
                                      : gas;
    }
    float value(uint8_t id) const { return const_cast<Reading&>(*this).value(id); }
};

// A room read every 3 s: daily temperature and humidity swings, slow pressure waves,
// and random VOC events that pull the gas resistance down, with noise. Precomputed
// for `days` and repeated after that; with a multiple of 21 days every periodic term
// continues smoothly across the repeat.
class Room {
public:
    static constexpr int64_t kPeriodNs = 3 * kSecond;
    static constexpr int kReadingsPerDay = 28800;

    explicit Room(int days = 7, uint64_t seed = 0);
    // The reading `sinceStart` ns after the room's start (any value: it wraps).
    const Reading& at(int64_t sinceStart) const;

private:
    std::vector<Reading> readings_;
};

// The week every test shares, built on first use.
const Room& sharedRoom();

struct Subscription {
    int32_t status;
    uint8_t nRequired;
    std::array<SensorRate, 8> required;
};

// vorn_update_subscription with (output, rate) requests and room for `capacity`
// required-input records.
Subscription subscribe(const std::vector<std::pair<uint8_t, float>>& requests,
                       uint8_t capacity = 8);
// Every output of `ids` at one rate; returns the status.
int32_t subscribeAll(std::span<const uint8_t> ids, float rate);

// The inputs a plan asks for, in identifier order.
struct Inputs {
    std::array<InputSample, 5> samples{};
    uint8_t n = 0;
};

// What the plan asks for at t, measured from r into `in`; IN_TEMPERATURE_OFFSET only
// when an offset is given. (Written in place: a returned copy of freshly written
// records stalls on store forwarding and would show in the benchmarks.)
void measure(const SensorSettings& plan, int64_t t, const Reading& r, Inputs& in,
             std::optional<float> offset = {});

// One measurement cycle as the client saw it.
struct Cycle {
    int64_t time;           // when the plan was asked for
    int32_t controlStatus;  // vorn_sensor_control
    SensorSettings plan;
    Inputs inputs;
    int32_t status;  // vorn_do_steps
    std::span<const OutputSample> outputs;
};

// Outputs subscribed at one rate, driven from the start for a duration.
struct Scenario {
    explicit Scenario(std::vector<uint8_t> ids, float hz = kRate3s, int64_t duration = kDay)
        : outputs(std::move(ids)), rate(hz), end(kStartNs + duration) {}

    std::vector<uint8_t> outputs;
    float rate;
    std::optional<float> temperatureOffset;  // supplied whenever the plan asks for it
    int64_t start = kStartNs, end;
};

class Client {
public:
    explicit Client(const Scenario& scenario, const Room& room = sharedRoom());

    int32_t subscribe() const;  // the scenario's outputs at its rate
    // The learnt state exported, the library rebuilt, the state imported and the
    // scenario subscribed again, as a device does after a restart; the import status.
    int32_t restart() const;

    // A cycle at now(): plan, measure what it asks for, process. Then now() moves to
    // the planned next call (1 s on, wrapping like the clock, when the plan stands still).
    const Cycle& cycle();
    // The same with a given reading, into the caller's output records.
    const Cycle& cycle(const Reading& r, std::span<OutputSample> out);

    int64_t now() const { return now_; }
    void setNow(int64_t t) { now_ = t; }

private:
    Scenario scenario_;
    const Room& room_;
    int64_t now_;
    Cycle last_{};
    std::array<OutputSample, 20> buffer_{};
};

// vorn_init, the scenario's subscription, then cycles until the clock reaches the
// scenario's end; onCycle(const Cycle&, Client&) sees every cycle.
template <typename OnCycle>
void drive(const Scenario& scenario, OnCycle&& onCycle, const Room& room = sharedRoom()) {
    vorn_init();
    Client client(scenario, room);
    client.subscribe();
    while (client.now() < scenario.end) onCycle(client.cycle(), client);
}

}  // namespace vorn_test
