// Soak test: weeks or a year of simulated operation with the faults a field device
// meets (power gaps, a stuck sensor, out-of-range and NaN readings, repeated time
// stamps) and a restart from the saved state every midnight. Passes when no output
// was NaN or infinite, every status was one the call may return, and once the faults
// stop the IAQ accuracy climbs back to 3 and ends there.
//   vorn_soak [--days N] [--recovery-days N] [--seed N] [--csv LOG]
// Readings come from a built-in room model or from a raw log of `vorn simulate`
// (columns time_s, temperature_c, pressure_pa, humidity_pct, gas_ohm).
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "vorn/vorn.h"

namespace {

constexpr double kDay = 86400.0, kHour = 3600.0;        // seconds
constexpr float kRate = 0.33333f;                       // 1/3 Hz, the host's rate
constexpr double kRecoveryLimitHours = 12;              // accuracy 3 must be back within this
constexpr float kMin[] = {0.0f, 0.0f, -65.0f, 170.0f};  // accepted range per physical input
constexpr float kMax[] = {2e6f, 100.0f, 125.0f, 1.32e7f};

struct Reading {
    double timeS;
    float values[4];  // pressure, humidity, temperature, gas: in input id order
};

// Small deterministic generator (64-bit LCG, upper bits), so runs repeat exactly.
struct Rng {
    explicit Rng(uint64_t seed) : state(seed * 6364136223846793005ull + 1442695040888963407ull) {}
    uint64_t state;
    double uniform() {
        state = state * 6364136223846793005ull + 1442695040888963407ull;
        return static_cast<double>(state >> 11) / 9007199254740992.0;
    }
    double noise() { return (uniform() + uniform() + uniform() + uniform() - 2.0) * 1.7320508; }
};
// A room: daily temperature and humidity cycles, weather in the pressure, and a gas
// sensor whose resistance falls with humidity and with the VOC events of the day
// (morning occupancy, evening cooking) around a slowly drifting clean-air value.
Reading room(double t, Rng& rng) {
    const double day = std::fmod(t, kDay) / kDay;
    auto event = [&](double hour, double hours, double depth) {
        const double h = day * 24.0 - hour;
        return h < 0 || h > hours ? 0.0 : depth * std::sin(M_PI * h / hours);
    };
    const double temperature = 21.0 + 2.0 * std::sin(2 * M_PI * (day - 0.3)) + 0.05 * rng.noise();
    const double humidity = 45.0 + 10.0 * std::sin(2 * M_PI * (day - 0.1)) + 0.3 * rng.noise();
    const double absHumidity = humidity * 6.112 / 100.0 *
                               std::exp(17.62 * temperature / (temperature + 243.12)) /
                               (temperature + 273.15) * 216.7;
    const double log10R = 5.0 + 0.05 * std::sin(2 * M_PI * t / (30 * kDay)) -
                          0.75 * std::log10(absHumidity) - event(7.5, 1.5, 0.35) -
                          event(18.5, 1.0, 0.7) + 0.004 * rng.noise();
    return Reading{t,
                   {static_cast<float>(101325.0 + 400.0 * std::sin(2 * M_PI * t / (5 * kDay))),
                    static_cast<float>(humidity), static_cast<float>(temperature),
                    static_cast<float>(std::pow(10.0, log10R))}};
}

[[noreturn]] void fatal(const std::string& what) {
    std::fprintf(stderr, "soak: %s\n", what.c_str());
    std::exit(2);
}

// Rows of a raw log in the format of `vorn simulate`.
std::vector<Reading> readLog(const std::string& path) {
    std::ifstream in(path);
    std::string line;
    if (!std::getline(in, line)) fatal("cannot read " + path);
    auto split = [](const std::string& l) {
        std::vector<std::string> out;
        std::stringstream ss(l);
        for (std::string item; std::getline(ss, item, ',');) out.push_back(item);
        return out;
    };
    const std::vector<std::string> header = split(line);
    const char* names[] = {"time_s", "pressure_pa", "humidity_pct", "temperature_c", "gas_ohm"};
    size_t column[5];
    for (size_t n = 0; n < 5; ++n) {
        column[n] =
            static_cast<size_t>(std::find(header.begin(), header.end(), names[n]) - header.begin());
        if (column[n] == header.size()) fatal(std::string("log has no column ") + names[n]);
    }
    std::vector<Reading> rows;
    while (std::getline(in, line)) {
        const std::vector<std::string> f = split(line);
        Reading r{std::strtod(f.at(column[0]).c_str(), nullptr), {}};
        for (size_t n = 0; n < 4; ++n)
            r.values[n] = static_cast<float>(std::strtod(f.at(column[n + 1]).c_str(), nullptr));
        rows.push_back(r);
    }
    return rows;
}

class Soak {
public:
    Soak(uint64_t seed, double recoveryDays) : rng_(seed ^ 0x5EED), recoveryDays_(recoveryDays) {}

    int run(const std::vector<Reading>& rows) {
        if (rows.empty()) fatal("no readings");
        faultsEnd_ = std::max(rows.front().timeS, rows.back().timeS - recoveryDays_ * kDay);
        check(vorn_init() == RC_OK, "vorn_init", 0);
        subscribe();
        for (const Reading& r : rows) feed(r);
        const double hours = recoveredAt_ < 0 ? -1 : (recoveredAt_ - faultsEnd_) / kHour;
        std::printf(
            "soak: %llu cycles, %llu restarts, %llu broken readings, %llu repeated steps; "
            "accuracy 3 again %.2f h after the faults, last accuracy %d\n",
            cycles_, restarts_, broken_, repeats_, hours, lastAccuracy_);
        check(recoveredAt_ >= 0 && hours <= kRecoveryLimitHours,
              "IAQ accuracy did not return to 3 after the faults", faultsEnd_);
        check(lastAccuracy_ == 3, "IAQ accuracy is not 3 at the end", faultsEnd_);
        std::printf("soak: %s\n", failures_ == 0 ? "PASS" : "FAIL");
        return failures_ == 0 ? 0 : 1;
    }

private:
    void check(bool ok, const char* what, double t) {
        if (!ok && failures_++ < 20) std::fprintf(stderr, "soak: FAIL at t=%.0f s: %s\n", t, what);
    }

    void subscribe() {
        std::array<SensorRate, 14> req{};
        const uint8_t ids[] = {1, 2, 3, 4, 6, 7, 8, 9, 12, 13, 14, 15, 18, 21};  // all outputs
        for (size_t i = 0; i < req.size(); ++i) req[i] = SensorRate{kRate, ids[i], {}};
        std::array<SensorRate, 8> required{};
        uint8_t n = 8;
        check(vorn_update_subscription(req.data(), 14, required.data(), &n) == RC_OK,
              "subscription refused", 0);
    }

    // Midnight: save the state, rebuild the library, restore, subscribe again.
    void restart(double t) {
        std::array<uint8_t, 256> blob{}, work{};
        uint32_t size = 0;
        check(vorn_get_state(0, blob.data(), 256, work.data(), 256, &size) == RC_OK, "export", t);
        check(vorn_init() == RC_OK, "vorn_init", t);
        check(vorn_set_state(blob.data(), size, work.data(), 256) == RC_OK, "state import", t);
        subscribe();
        ++restarts_;
    }

    // A day of faults: the device off for 10 min to 2 h, and an hour with the gas and
    // temperature readings stuck. The faults end with the device off for two hours,
    // so that the recovery starts from lost continuity (accuracy 0).
    void planDay(double dayStart) {
        gapStart_ = dayStart + rng_.uniform() * 0.8 * kDay;
        gapEnd_ = gapStart_ + (10 + rng_.uniform() * 110) * 60;
        stuckStart_ = dayStart + rng_.uniform() * 0.8 * kDay;
        if (dayStart < faultsEnd_ && dayStart + kDay >= faultsEnd_) {
            gapEnd_ = faultsEnd_;
            gapStart_ = gapEnd_ - 2 * kHour;
        }
    }

    void feed(Reading r) {
        const bool faulty = r.timeS < faultsEnd_;
        const auto day = static_cast<int64_t>(r.timeS / kDay);
        if (day != day_) {
            if (day_ >= 0) restart(r.timeS);
            day_ = day;
            planDay(r.timeS);
        }
        if (faulty && r.timeS >= gapStart_ && r.timeS < gapEnd_) return;  // device off
        if (faulty && r.timeS >= stuckStart_ && r.timeS < stuckStart_ + kHour) {
            std::copy(last_ + 2, last_ + 4, r.values + 2);  // temperature and gas stuck
        } else {
            std::copy(r.values, r.values + 4, last_);
        }
        cycle(r, faulty);
    }

    // Processes the step; returns its status after checking the outputs.
    int32_t steps(const InputSample* in, uint8_t n, double t) {
        std::array<OutputSample, 19> out{};
        uint8_t count = 19;
        const int32_t status = vorn_do_steps(in, n, out.data(), &count);
        check(status >= 0 || count == 0, "outputs with a refusal", t);
        for (uint8_t i = 0; i < count; ++i) {
            check(std::isfinite(out[i].value), "output not finite", t);
            if (out[i].id != OUT_IAQ_INDEX) continue;
            lastAccuracy_ = out[i].accuracy;
            if (t >= faultsEnd_ && recoveredAt_ < 0 && lastAccuracy_ == 3) recoveredAt_ = t;
        }
        return status;
    }

    void cycle(const Reading& r, bool faulty) {
        const int64_t t = std::llround(r.timeS * 1e3) * 1'000'000;
        SensorSettings settings{};
        const int32_t control = vorn_sensor_control(t, &settings);
        check(control == RC_OK || control == RC_W_CALL_TIME_DEVIATION, "control status", r.timeS);
        if (settings.measure_now == 0) return;
        std::array<InputSample, 4> in{};
        uint8_t n = 0;
        for (uint8_t id = IN_PRESSURE; id <= IN_GAS_RESISTANCE; ++id) {
            if ((settings.input_mask >> (id - 1) & 1u) != 0)
                in[n++] = InputSample{t, r.values[id - 1], 0, id, {}};
        }
        if (n == 0) return;
        auto accepted = [](const InputSample& x) {
            return x.value >= kMin[x.id - 1] && x.value <= kMax[x.id - 1];  // false for NaN
        };
        // Now and then one reading is broken (a log may carry its own): the step must be
        // refused as a whole with nothing stored, so that the good readings can follow.
        std::array<InputSample, 4> broken = in;
        if (faulty && rng_.uniform() < 0.003) {
            InputSample& victim = broken[static_cast<size_t>(rng_.uniform() * n)];
            victim.value = rng_.uniform() < 0.5 ? std::nanf("") : kMax[victim.id - 1] * 2 + 1;
        }
        if (!std::all_of(broken.begin(), broken.begin() + n, accepted)) {
            check(steps(broken.data(), n, r.timeS) == RC_E_INPUT_RANGE, "not refused", r.timeS);
            ++broken_;
            n = static_cast<uint8_t>(
                std::remove_if(in.begin(), in.begin() + n, [&](auto& x) { return !accepted(x); }) -
                in.begin());
            if (n == 0) return;
        }
        const int32_t status = steps(in.data(), n, r.timeS);
        check(status == RC_OK || status == RC_W_INPUT_REPEATED, "processing status", r.timeS);
        ++cycles_;
        if (faulty && rng_.uniform() < 0.002) {
            // The same samples again: every one is a repeat, nothing new is taken.
            check(steps(in.data(), n, r.timeS) == RC_W_INPUT_REPEATED,
                  "repeated time stamps not reported", r.timeS);
            ++repeats_;
        }
    }

    Rng rng_;
    double recoveryDays_, faultsEnd_ = 0, recoveredAt_ = -1;
    double gapStart_ = 0, gapEnd_ = 0, stuckStart_ = 0;
    float last_[4] = {};
    int64_t day_ = -1;
    int lastAccuracy_ = -1;
    unsigned long long failures_ = 0, cycles_ = 0, restarts_ = 0, broken_ = 0, repeats_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
    double days = 30, recoveryDays = 2;
    uint64_t seed = 1;
    std::string csv;
    for (int i = 1; i < argc; i += 2) {
        const std::string a = argv[i];
        if (i + 1 >= argc)
            fatal("usage: vorn_soak [--days N] [--recovery-days N] [--seed N] [--csv LOG]");
        if (a == "--days") days = std::atof(argv[i + 1]);
        if (a == "--recovery-days") recoveryDays = std::atof(argv[i + 1]);
        if (a == "--seed") seed = std::strtoull(argv[i + 1], nullptr, 10);
        if (a == "--csv") csv = argv[i + 1];
    }
    std::vector<Reading> rows;
    if (csv.empty()) {
        Rng noise(seed);
        for (double t = 3.0; t <= days * kDay; t += 3.0) rows.push_back(room(t, noise));
    } else {
        rows = readLog(csv);
    }
    return Soak(seed, recoveryDays).run(rows);
}
