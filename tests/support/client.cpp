// The shared client: the room's readings, subscription requests, and the cycle
// every test, benchmark, soak and fuzz target drives the library with. The room's
// arithmetic is fixed: the bit-identity reference was recorded from it.
#include "client.h"

#include <cmath>

#include "blobs.h"

namespace vorn_test {
namespace {

// a - b modulo 2^64, as the library's clock arithmetic: no signed overflow.
int64_t wrapSub(int64_t a, int64_t b) {
    return static_cast<int64_t>(static_cast<uint64_t>(a) - static_cast<uint64_t>(b));
}

}  // namespace

Room::Room(int days, uint64_t seed)
    : readings_(static_cast<size_t>(kReadingsPerDay) * static_cast<size_t>(days)) {
    uint64_t s = 0x9E3779B97F4A7C15ull * (seed + 1);
    auto uniform = [&s] {  // xorshift64*, in [0, 1)
        s ^= s >> 12;
        s ^= s << 25;
        s ^= s >> 27;
        return static_cast<double>((s * 0x2545F4914F6CDD1Dull) >> 11) * 0x1.0p-53;
    };
    double voc = 0.0;
    for (size_t i = 0; i < readings_.size(); ++i) {
        const double phase = 6.283185307179586 * static_cast<double>(i) / kReadingsPerDay;
        if (uniform() < 0.0005) voc += 200.0 + 800.0 * uniform();  // cooking, cleaning
        voc *= 0.9985;                                             // airing out
        const double logR = 5.0 - 0.65 * std::log10(1.0 + voc / 40.0) + 0.002 * (uniform() - 0.5) -
                            0.05 * std::sin(phase / 7);
        readings_[i] = {static_cast<float>(98000.0 + 300.0 * std::sin(phase / 3)),
                        static_cast<float>(45.0 + 10.0 * std::sin(phase + 1.0)),
                        static_cast<float>(22.6 + 2.0 * std::sin(phase)),
                        static_cast<float>(std::pow(10.0, logR))};
    }
}

const Reading& Room::at(int64_t sinceStart) const {
    const auto index = static_cast<uint64_t>(sinceStart) / static_cast<uint64_t>(kPeriodNs);
    return readings_[index % readings_.size()];
}

const Room& sharedRoom() {
    static const Room room;
    return room;
}

Subscription subscribe(const std::vector<std::pair<uint8_t, float>>& requests, uint8_t capacity) {
    std::vector<SensorRate> list;
    for (const auto& [id, rate] : requests) list.push_back(SensorRate{rate, id, {0, 0, 0}});
    Subscription s{};
    s.nRequired = capacity;
    s.status = vorn_update_subscription(list.data(), static_cast<uint8_t>(list.size()),
                                        s.required.data(), &s.nRequired);
    return s;
}

int32_t subscribeAll(std::span<const uint8_t> ids, float rate) {
    std::vector<std::pair<uint8_t, float>> requests;
    for (uint8_t id : ids) requests.emplace_back(id, rate);
    return subscribe(requests).status;
}

void measure(const SensorSettings& plan, int64_t t, const Reading& r, Inputs& in,
             std::optional<float> offset) {
    in.n = 0;
    const auto add = [&](uint8_t id, float value) {
        if ((plan.input_mask >> (id - 1) & 1u) != 0) in.samples[in.n++] = {t, value, 1, id, {}};
    };
    for (uint8_t id = IN_PRESSURE; id <= IN_GAS_RESISTANCE; ++id) add(id, r.value(id));
    if (offset) add(IN_TEMPERATURE_OFFSET, *offset);
}

Client::Client(const Scenario& scenario, const Room& room)
    : scenario_(scenario), room_(room), now_(scenario.start) {}

int32_t Client::subscribe() const {
    return subscribeAll(scenario_.outputs, scenario_.rate);
}

int32_t Client::restart() const {
    const int32_t status = reloadState();
    subscribe();
    return status;
}

const Cycle& Client::cycle() {
    return cycle(room_.at(wrapSub(now_, scenario_.start)), buffer_);
}

const Cycle& Client::cycle(const Reading& r, std::span<OutputSample> out) {
    Cycle& s = last_;
    s.time = now_;
    s.plan = SensorSettings{};
    s.controlStatus = vorn_sensor_control(now_, &s.plan);
    measure(s.plan, now_, r, s.inputs, scenario_.temperatureOffset);
    auto n = static_cast<uint8_t>(out.size());
    s.status = vorn_do_steps(s.inputs.samples.data(), s.inputs.n, out.data(), &n);
    s.outputs = out.first(n);
    now_ = s.plan.next_call_ns > now_ ? s.plan.next_call_ns : wrapAdd(now_, kSecond);
    return s;
}

}  // namespace vorn_test
