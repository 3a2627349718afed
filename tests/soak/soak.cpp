// Soak test: drives the library as a device would for weeks or a year of simulated
// time while injecting the faults a field device meets (power gaps, a stuck sensor,
// out-of-range and NaN readings, repeated time stamps) and restarting the library
// every simulated midnight from its saved state. Passes when no output was ever NaN
// or infinite, every status was one the call may return, and once the faults stop
// the IAQ accuracy climbs back to 3 and ends there.
//
//   vorn_soak [--days N] [--recovery-days N] [--seed N] [--csv LOG]
//
// Readings come from a built-in room model, or from a raw log written by
// `vorn simulate` (--csv; columns time_s, temperature_c, pressure_pa, humidity_pct,
// gas_ohm), in which case the log's length sets the duration.
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "vorn/vorn.h"

namespace {

constexpr int64_t kNsPerSecond = 1'000'000'000;
constexpr double kSecondsPerDay = 86400.0;
constexpr double kSecondsPerHour = 3600.0;
constexpr float kRate = 0.33333f;           // 1/3 Hz, the host's rate
constexpr double kRecoveryLimitHours = 12;  // accuracy 3 must be back within this

struct Reading {
    double timeS;
    float temperature;
    float pressure;
    float humidity;
    float gas;
};

// Small deterministic generator (64-bit LCG, upper bits), so runs repeat exactly.
class Rng {
public:
    explicit Rng(uint64_t seed) : state_(seed * 6364136223846793005ull + 1442695040888963407ull) {}
    double uniform() {
        state_ = state_ * 6364136223846793005ull + 1442695040888963407ull;
        return static_cast<double>(state_ >> 11) / 9007199254740992.0;
    }
    double gaussian() {  // sum of uniforms: cheap and good enough for sensor noise
        double s = 0;
        for (int i = 0; i < 4; ++i) s += uniform();
        return (s - 2.0) * 1.7320508;
    }

private:
    uint64_t state_;
};

// A room: daily temperature and humidity cycles, weather in the pressure, and a gas
// sensor whose resistance falls with humidity and with the VOC events of the day
// (morning occupancy, evening cooking) around a slowly drifting clean-air value.
class Room {
public:
    explicit Room(uint64_t seed) : rng_(seed) {}

    Reading at(double t) {
        const double day = std::fmod(t, kSecondsPerDay) / kSecondsPerDay;
        const double temperature =
            21.0 + 2.0 * std::sin(2 * M_PI * (day - 0.3)) + 0.05 * rng_.gaussian();
        const double humidity =
            45.0 + 10.0 * std::sin(2 * M_PI * (day - 0.1)) + 0.3 * rng_.gaussian();
        const double pressure = 101325.0 + 400.0 * std::sin(2 * M_PI * t / (5 * kSecondsPerDay));
        const double absHumidity = humidity * 6.112 / 100.0 *
                                   std::exp(17.62 * temperature / (temperature + 243.12)) /
                                   (temperature + 273.15) * 216.7;
        const double drift = 0.05 * std::sin(2 * M_PI * t / (30 * kSecondsPerDay));
        const double voc = event(day, 7.5, 1.5, 0.35) + event(day, 18.5, 1.0, 0.7);
        const double log10R =
            5.0 + drift - 0.75 * std::log10(absHumidity) - voc + 0.004 * rng_.gaussian();
        return Reading{t, static_cast<float>(temperature), static_cast<float>(pressure),
                       static_cast<float>(humidity), static_cast<float>(std::pow(10.0, log10R))};
    }

private:
    // Drop of log10 resistance during an event starting at `hour` lasting `hours`.
    static double event(double day, double hour, double hours, double depth) {
        const double h = day * 24.0 - hour;
        if (h < 0 || h > hours) return 0.0;
        return depth * std::sin(M_PI * h / hours);
    }
    Rng rng_;
};

// Rows of a raw log in the format of `vorn simulate`.
class CsvLog {
public:
    explicit CsvLog(const std::string& path) : in_(path) {
        std::string header;
        if (!in_ || !std::getline(in_, header)) fatal("cannot read " + path);
        const std::array<const char*, 5> names = {"time_s", "temperature_c", "pressure_pa",
                                                  "humidity_pct", "gas_ohm"};
        std::vector<std::string> cols = split(header);
        for (size_t n = 0; n < names.size(); ++n) {
            column_[n] = -1;
            for (size_t c = 0; c < cols.size(); ++c) {
                if (cols[c] == names[n]) column_[n] = static_cast<int>(c);
            }
            if (column_[n] < 0) fatal(std::string("log has no column ") + names[n]);
        }
    }

    std::optional<Reading> next() {
        std::string line;
        if (!std::getline(in_, line)) return std::nullopt;
        const std::vector<std::string> f = split(line);
        auto num = [&](int n) {
            return std::strtod(f.at(static_cast<size_t>(column_[n])).c_str(), nullptr);
        };
        return Reading{num(0), static_cast<float>(num(1)), static_cast<float>(num(2)),
                       static_cast<float>(num(3)), static_cast<float>(num(4))};
    }

private:
    static std::vector<std::string> split(const std::string& line) {
        std::vector<std::string> out;
        std::stringstream ss(line);
        std::string item;
        while (std::getline(ss, item, ',')) out.push_back(item);
        return out;
    }
    [[noreturn]] static void fatal(const std::string& what) {
        std::fprintf(stderr, "soak: %s\n", what.c_str());
        std::exit(2);
    }
    std::ifstream in_;
    std::array<int, 5> column_{};
};

struct Options {
    double days = 30;
    double recoveryDays = 2;
    uint64_t seed = 1;
    std::string csv;
};

struct Stats {
    uint64_t cycles = 0, outputs = 0, failures = 0;
    uint64_t gaps = 0, stuckHours = 0, rangeFaults = 0, nanFaults = 0, repeats = 0, restarts = 0;
    uint64_t lateCalls = 0, accuracy3 = 0, recoveryCycles = 0, logFaults = 0;
    double faultsEndS = 0, recoveredAtS = -1;
    int lastAccuracy = -1;
    float minIaq = 1e9f, maxIaq = -1e9f;
};

class Soak {
public:
    explicit Soak(const Options& o) : o_(o), rng_(o.seed ^ 0x5EED) {}

    int run() {
        start();
        if (o_.csv.empty()) {
            Room room(o_.seed);
            const double end = o_.days * kSecondsPerDay;
            s_.faultsEndS = (o_.days - o_.recoveryDays) * kSecondsPerDay;
            for (double t = 3.0; t <= end; t += 3.0) feed(room.at(t));
        } else {
            CsvLog log(o_.csv);
            std::vector<Reading> rows;
            while (auto r = log.next()) rows.push_back(*r);
            if (rows.empty()) return report("empty log");
            const double first = rows.front().timeS, last = rows.back().timeS;
            s_.faultsEndS = last - o_.recoveryDays * kSecondsPerDay;
            if (s_.faultsEndS < first) s_.faultsEndS = first;
            for (const Reading& r : rows) feed(r);
        }
        return finish();
    }

private:
    // ---- Library plumbing ----

    void check(bool ok, const char* what, double t) {
        if (ok) return;
        if (s_.failures++ < 20) std::fprintf(stderr, "soak: FAIL at t=%.0f s: %s\n", t, what);
    }

    void subscribe() {
        const uint8_t ids[] = {OUT_IAQ_INDEX,
                               OUT_IAQ_FIXED_SCALE,
                               OUT_LINEAR_ESTIMATE,
                               OUT_EXPONENTIAL_ESTIMATE,
                               OUT_PASSTHROUGH_TEMPERATURE,
                               OUT_PASSTHROUGH_PRESSURE,
                               OUT_PASSTHROUGH_HUMIDITY,
                               OUT_PASSTHROUGH_GAS,
                               OUT_ACCUMULATED_TIME_FLAG,
                               OUT_CONTINUOUS_TIME_FLAG,
                               OUT_COMPENSATED_TEMPERATURE,
                               OUT_COMPENSATED_HUMIDITY,
                               OUT_COMPENSATED_LOG_GAS,
                               OUT_GAS_SCALE_PERCENT};
        std::array<SensorRate, 14> req{};
        for (size_t i = 0; i < req.size(); ++i) req[i] = SensorRate{kRate, ids[i], {0, 0, 0}};
        std::array<SensorRate, 8> required{};
        uint8_t n = 8;
        const int32_t status = vorn_update_subscription(req.data(), 14, required.data(), &n);
        check(status == RC_OK, "subscription refused", 0);
    }

    void start() {
        check(vorn_init() == RC_OK, "vorn_init", 0);
        subscribe();
    }

    // Midnight: save the state, rebuild the library, restore, subscribe again.
    void restart(double t) {
        std::array<uint8_t, 256> blob{}, work{};
        uint32_t size = 0;
        check(vorn_get_state(0, blob.data(), blob.size(), work.data(), work.size(), &size) == RC_OK,
              "state export", t);
        check(vorn_init() == RC_OK, "vorn_init", t);
        check(vorn_set_state(blob.data(), size, work.data(), work.size()) == RC_OK, "state import",
              t);
        subscribe();
        ++s_.restarts;
    }

    // ---- One row ----

    void feed(Reading r) {
        const bool faulty = r.timeS < s_.faultsEndS;
        const int64_t dayIndex = static_cast<int64_t>(r.timeS / kSecondsPerDay);
        if (dayIndex != day_) {
            if (day_ >= 0) restart(r.timeS);
            day_ = dayIndex;
            planDay(r.timeS);
        }
        if (faulty && r.timeS >= gapStart_ && r.timeS < gapEnd_) return;  // device off
        if (faulty && r.timeS >= stuckStart_ && r.timeS < stuckStart_ + kSecondsPerHour) {
            r.gas = stuckGas_;
            r.temperature = stuckTemperature_;
        } else {
            stuckGas_ = r.gas;
            stuckTemperature_ = r.temperature;
        }
        cycle(r, faulty);
    }

    void planDay(double dayStart) {
        gapStart_ = dayStart + rng_.uniform() * 0.8 * kSecondsPerDay;
        gapEnd_ = gapStart_ + (10 + rng_.uniform() * 110) * 60;  // 10 min to 2 h off
        stuckStart_ = dayStart + rng_.uniform() * 0.8 * kSecondsPerDay;
        if (dayStart < s_.faultsEndS && dayStart + kSecondsPerDay >= s_.faultsEndS) {
            // The faults end with the device off for two hours, so that the recovery
            // starts from lost continuity (accuracy 0), not from a running estimate.
            gapEnd_ = s_.faultsEndS;
            gapStart_ = gapEnd_ - 2 * kSecondsPerHour;
        }
        if (dayStart < s_.faultsEndS) {
            ++s_.gaps;
            ++s_.stuckHours;
        }
    }

    void cycle(const Reading& r, bool faulty) {
        const int64_t t = static_cast<int64_t>(std::llround(r.timeS * 1e3)) * 1'000'000;
        SensorSettings settings{};
        const int32_t control = vorn_sensor_control(t, &settings);
        check(control == RC_OK || control == RC_W_CALL_TIME_DEVIATION, "sensor control status",
              r.timeS);
        if (control == RC_W_CALL_TIME_DEVIATION) ++s_.lateCalls;
        if (settings.measure_now == 0) return;

        std::array<InputSample, 4> in{};
        uint8_t n = 0;
        const float values[] = {r.pressure, r.humidity, r.temperature, r.gas};
        for (uint8_t id = IN_PRESSURE; id <= IN_GAS_RESISTANCE; ++id) {
            if ((settings.input_mask >> (id - 1) & 1u) != 0)
                in[n++] = InputSample{t, values[id - 1], 0, id, {0, 0}};
        }
        if (faulty && n > 0 && rng_.uniform() < 0.003) sendBrokenReading(in, n, r.timeS);
        n = dropReadingsOutOfRange(in, n, r.timeS);
        process(in.data(), n, r.timeS);
        ++s_.cycles;
        if (faulty && rng_.uniform() < 0.002) {
            // The same samples again: every one is a repeat, nothing new is taken.
            std::array<OutputSample, 19> out{};
            uint8_t count = 19;
            const int32_t status = vorn_do_steps(in.data(), n, out.data(), &count);
            check(n == 0 || status == RC_W_INPUT_REPEATED, "repeated time stamps not reported",
                  r.timeS);
            checkOutputs(out.data(), count, r.timeS);
            ++s_.repeats;
        }
    }

    // Now and then one reading is broken: the step must be refused as a whole with
    // nothing stored, so that the client can send the good readings again.
    void sendBrokenReading(std::array<InputSample, 4> in, uint8_t n, double t) {
        const size_t victim = static_cast<size_t>(rng_.uniform() * n);
        const bool nan = rng_.uniform() < 0.5;
        const float bad[] = {-5.0f, 120.0f, 200.0f, 50.0f};  // per input: outside its range
        in[victim].value = nan ? std::nanf("") : bad[in[victim].id - 1];
        std::array<OutputSample, 19> out{};
        uint8_t count = 19;
        const int32_t status = vorn_do_steps(in.data(), n, out.data(), &count);
        check(status == RC_E_INPUT_RANGE && count == 0, "bad reading not refused", t);
        nan ? ++s_.nanFaults : ++s_.rangeFaults;
    }

    // A log may carry broken readings of its own: the library must refuse such a step
    // as a whole; the client then sends the good readings on their own.
    uint8_t dropReadingsOutOfRange(std::array<InputSample, 4>& in, uint8_t n, double t) {
        constexpr float kMin[] = {0.0f, 0.0f, -65.0f, 170.0f};
        constexpr float kMax[] = {2e6f, 100.0f, 125.0f, 1.32e7f};
        auto accepted = [&](const InputSample& x) {
            return x.value >= kMin[x.id - 1] && x.value <= kMax[x.id - 1];  // false for NaN
        };
        bool broken = false;
        for (uint8_t i = 0; i < n; ++i) broken = broken || !accepted(in[i]);
        if (!broken) return n;
        std::array<OutputSample, 19> out{};
        uint8_t count = 19;
        const int32_t status = vorn_do_steps(in.data(), n, out.data(), &count);
        check(status == RC_E_INPUT_RANGE && count == 0, "broken log reading not refused", t);
        ++s_.logFaults;
        uint8_t kept = 0;
        for (uint8_t i = 0; i < n; ++i) {
            if (accepted(in[i])) in[kept++] = in[i];
        }
        return kept;
    }

    void process(const InputSample* in, uint8_t n, double t) {
        if (n == 0) return;
        std::array<OutputSample, 19> out{};
        uint8_t count = 19;
        const int32_t status = vorn_do_steps(in, n, out.data(), &count);
        check(status == RC_OK || status == RC_W_INPUT_REPEATED, "processing status", t);
        checkOutputs(out.data(), count, t);
    }

    void checkOutputs(const OutputSample* out, uint8_t count, double t) {
        for (uint8_t i = 0; i < count; ++i) {
            ++s_.outputs;
            check(std::isfinite(out[i].value), "output not finite", t);
            if (out[i].id != OUT_IAQ_INDEX) continue;
            s_.lastAccuracy = out[i].accuracy;
            s_.minIaq = std::fmin(s_.minIaq, out[i].value);
            s_.maxIaq = std::fmax(s_.maxIaq, out[i].value);
            if (t >= s_.faultsEndS) {
                ++s_.recoveryCycles;
                if (out[i].accuracy == 3) {
                    ++s_.accuracy3;
                    if (s_.recoveredAtS < 0) s_.recoveredAtS = t;
                }
            }
        }
    }

    int report(const char* what) {
        std::fprintf(stderr, "soak: %s\n", what);
        return 1;
    }

    int finish() {
        const double recoveryHours =
            s_.recoveredAtS < 0 ? -1 : (s_.recoveredAtS - s_.faultsEndS) / kSecondsPerHour;
        std::printf(
            "soak: %llu cycles, %llu outputs, %llu restarts; faults: %llu gaps, %llu stuck hours, "
            "%llu out-of-range, %llu NaN, %llu repeated steps, %llu broken log rows; %llu late "
            "calls\n",
            static_cast<unsigned long long>(s_.cycles), static_cast<unsigned long long>(s_.outputs),
            static_cast<unsigned long long>(s_.restarts), static_cast<unsigned long long>(s_.gaps),
            static_cast<unsigned long long>(s_.stuckHours),
            static_cast<unsigned long long>(s_.rangeFaults),
            static_cast<unsigned long long>(s_.nanFaults),
            static_cast<unsigned long long>(s_.repeats),
            static_cast<unsigned long long>(s_.logFaults),
            static_cast<unsigned long long>(s_.lateCalls));
        std::printf(
            "soak: IAQ %.1f..%.1f; after the faults: accuracy 3 again after %.2f h, in %.1f%% of "
            "%llu steps, last accuracy %d\n",
            s_.minIaq, s_.maxIaq, recoveryHours,
            s_.recoveryCycles == 0 ? 0.0
                                   : 100.0 * static_cast<double>(s_.accuracy3) /
                                         static_cast<double>(s_.recoveryCycles),
            static_cast<unsigned long long>(s_.recoveryCycles), s_.lastAccuracy);
        check(s_.recoveredAtS >= 0 && recoveryHours <= kRecoveryLimitHours,
              "IAQ accuracy did not return to 3 after the faults", s_.faultsEndS);
        check(s_.lastAccuracy == 3, "IAQ accuracy is not 3 at the end", s_.faultsEndS);
        std::printf("soak: %s\n", s_.failures == 0 ? "PASS" : "FAIL");
        return s_.failures == 0 ? 0 : 1;
    }

    Options o_;
    Rng rng_;
    Stats s_;
    int64_t day_ = -1;
    double gapStart_ = 0, gapEnd_ = 0, stuckStart_ = 0;
    float stuckGas_ = 0, stuckTemperature_ = 0;
};

Options parse(int argc, char** argv) {
    Options o;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        const char* v = i + 1 < argc ? argv[i + 1] : nullptr;
        if (v == nullptr) {
            std::fprintf(stderr,
                         "usage: %s [--days N] [--recovery-days N] [--seed N] [--csv LOG]\n",
                         argv[0]);
            std::exit(2);
        }
        if (a == "--days")
            o.days = std::atof(v);
        else if (a == "--recovery-days")
            o.recoveryDays = std::atof(v);
        else if (a == "--seed")
            o.seed = std::strtoull(v, nullptr, 10);
        else if (a == "--csv")
            o.csv = v;
        ++i;
    }
    return o;
}

}  // namespace

int main(int argc, char** argv) {
    return Soak(parse(argc, argv)).run();
}
