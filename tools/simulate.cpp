// The room and sensor model behind `vorn simulate`. Every quantity is advanced with
// the exact solution of a first-order balance over one interval (sources constant
// within the interval), so the interval can change without changing the physics.
#include "simulate.h"

#include <fmt/compile.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <vector>

#include "csv.h"
#include "tool_error.h"

namespace vorn::tools {

namespace {

constexpr double kSecondsPerHour = 3600.0;
constexpr double kSecondsPerDay = 86400.0;
constexpr double kTwoPi = 2.0 * std::numbers::pi;

// ---- random numbers: splitmix64 seeds xoshiro256**; Gaussian by Box-Muller ----

uint64_t splitmix64(uint64_t& state) {
    uint64_t z = (state += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
}

class Rng {
public:
    Rng(uint64_t seed, uint64_t stream) {
        uint64_t s = seed ^ (stream * 0xD1B54A32D192ED03ull);
        for (auto& word : state_) word = splitmix64(s);
    }
    uint64_t next() {
        const uint64_t result = rotl(state_[1] * 5, 7) * 9;
        const uint64_t t = state_[1] << 17;
        state_[2] ^= state_[0];
        state_[3] ^= state_[1];
        state_[1] ^= state_[2];
        state_[0] ^= state_[3];
        state_[2] ^= t;
        state_[3] = rotl(state_[3], 45);
        return result;
    }
    // Uniform in [0, 1) with 53 random bits.
    double uniform() { return static_cast<double>(next() >> 11) * 0x1.0p-53; }
    double uniform(double lo, double hi) { return lo + (hi - lo) * uniform(); }
    bool chance(double p) { return uniform() < p; }
    double gaussian() {
        if (hasSpare_) {
            hasSpare_ = false;
            return spare_;
        }
        const double u1 = 1.0 - uniform();  // (0, 1]: the logarithm stays finite
        const double u2 = uniform();
        const double r = std::sqrt(-2.0 * std::log(u1));
        spare_ = r * std::sin(kTwoPi * u2);
        hasSpare_ = true;
        return r * std::cos(kTwoPi * u2);
    }

private:
    static uint64_t rotl(uint64_t x, int k) { return (x << k) | (x >> (64 - k)); }
    std::array<uint64_t, 4> state_{};
    double spare_ = 0.0;
    bool hasSpare_ = false;
};

// Random streams: one per day for the household's plan, one for sensor noise, one for
// the site; separate streams keep the first days of a long run equal to a short run.
constexpr uint64_t kNoiseStream = 1;
constexpr uint64_t kSiteStream = 2;
constexpr uint64_t kDayStreamBase = 1000;

// ---- physics ----

// Saturation absolute humidity in g/m3 at temperature t (Magnus form).
double saturationAbsHumidity(double t) {
    return 6.112 * std::exp(17.62 * t / (243.12 + t)) * 216.7 / (273.15 + t);
}

// A quantity relaxing toward `target` at `rate` per hour, exact over dt hours.
double relax(double value, double target, double ratePerHour, double dtHours) {
    return target + (value - target) * std::exp(-ratePerHour * dtHours);
}

// An Ornstein-Uhlenbeck process with stationary deviation sigma and time constant tau.
struct Wander {
    double sigma;
    double tauSeconds;
    double value = 0.0;
    double step(Rng& rng, double dtSeconds) {
        const double decay = std::exp(-dtSeconds / tauSeconds);
        value = value * decay + sigma * std::sqrt(1.0 - decay * decay) * rng.gaussian();
        return value;
    }
};

enum class EventKind { Cooking, Cleaning, Ventilation, Shower };

struct Event {
    double start;  // seconds since the start of the run
    double end;
    EventKind kind;
    double strength;
};

struct DayPlan {
    double wake = 0, sleep = 0;         // seconds since the run start
    double awayStart = 0, awayEnd = 0;  // nobody home in between (empty when equal)
    std::vector<Event> events;
};

constexpr int kResidents = 2;
constexpr int kDaysPerWeek = 7;
constexpr int kFirstWeekendDay = 5;

double hours(double h) {
    return h * kSecondsPerHour;
}

void addEvent(DayPlan& plan, double start, double minutes, EventKind kind, double strength) {
    plan.events.push_back({start, start + minutes * 60.0, kind, strength});
}

// One day of the household. The numbers are its habits: hours of the day with a random
// spread, durations in minutes, the chance that something happens on a given day, and
// a strength relative to an ordinary dinner.
DayPlan planDay(uint64_t seed, int64_t day) {
    Rng rng(seed, kDayStreamBase + static_cast<uint64_t>(day));
    const double base = static_cast<double>(day) * kSecondsPerDay;
    const bool weekend = day % kDaysPerWeek >= kFirstWeekendDay;
    DayPlan plan;
    plan.wake = base + hours(6.5 + (weekend ? 1.5 : 0.0) + rng.uniform(-0.5, 0.75));
    plan.sleep = base + hours(22.75 + rng.uniform(-0.5, 0.75));
    if (!weekend) {
        plan.awayStart = base + hours(8.0 + rng.uniform(-0.3, 0.5));
        plan.awayEnd = base + hours(17.5 + rng.uniform(-0.5, 1.5));
    } else if (rng.chance(0.6)) {
        plan.awayStart = base + hours(13.0 + rng.uniform(0.0, 2.0));
        plan.awayEnd = plan.awayStart + hours(rng.uniform(2.0, 4.0));
    }
    // Morning: shower, often an open window, sometimes a cooked breakfast.
    addEvent(plan, plan.wake + hours(0.1), rng.uniform(8, 15), EventKind::Shower, 1.0);
    if (rng.chance(0.7)) {
        addEvent(plan, plan.wake + hours(0.5), rng.uniform(10, 20), EventKind::Ventilation, 1.0);
    }
    if (rng.chance(0.6)) {
        addEvent(plan, plan.wake + hours(0.3), rng.uniform(10, 20), EventKind::Cooking, 0.4);
    }
    if (weekend && rng.chance(0.7)) {
        addEvent(plan, base + hours(12.25 + rng.uniform(0.0, 0.5)), rng.uniform(30, 50),
                 EventKind::Cooking, rng.uniform(0.6, 1.0));
    }
    // Dinner once home, often followed by airing the kitchen.
    if (rng.chance(0.9)) {
        const double home = weekend ? base : plan.awayEnd;
        const double start = std::max(home + hours(0.3), base + hours(18.25 + rng.uniform(0, 1.0)));
        const double minutes = rng.uniform(30, 75);
        addEvent(plan, start, minutes, EventKind::Cooking, rng.uniform(0.7, 1.3));
        if (rng.chance(0.5)) {
            addEvent(plan, start + minutes * 60.0, rng.uniform(15, 30), EventKind::Ventilation,
                     1.0);
        }
    }
    // Cleaning with sprays about twice a week.
    if (rng.chance(2.0 / kDaysPerWeek)) {
        const double start = weekend ? base + hours(rng.uniform(10.0, 12.0))
                                     : base + hours(rng.uniform(19.75, 21.0));
        addEvent(plan, start, rng.uniform(10, 20), EventKind::Cleaning, rng.uniform(0.7, 1.3));
    }
    return plan;
}

// What the household does to the room at one moment.
struct Sources {
    double vocPpbPerHour = 0;
    double moistureGPerM3Hour = 0;
    double heatCPerHour = 0;
    double extraAirChangesPerHour = 0;
};

// Emission and exchange rates of an ordinary flat of about 50 m3.
constexpr double kBackgroundVoc = 40.0;   // ppb/h from furniture and materials
constexpr double kPersonVocAwake = 60.0;  // ppb/h per person
constexpr double kPersonVocAsleep = 30.0;
constexpr double kPersonMoistureAwake = 0.5;  // g/m3/h per person
constexpr double kPersonMoistureAsleep = 0.3;
constexpr double kPersonHeat = 0.1;     // degC/h per person
constexpr double kCookingVoc = 6000.0;  // ppb/h at strength 1
constexpr double kCookingMoisture = 4.0;
constexpr double kCookingHeat = 2.0;
constexpr double kCleaningVoc = 20000.0;
constexpr double kShowerVoc = 500.0;
constexpr double kShowerMoisture = 12.0;
constexpr double kWindowAirChanges = 6.0;  // per hour with a window open
constexpr double kBaseAirChanges = 0.5;
constexpr double kVocSink = 0.6;      // per hour: adsorption on surfaces
constexpr double kOutdoorVoc = 30.0;  // ppb
constexpr double kHeatingRate = 1.0;  // per hour toward the set point
constexpr double kOutdoorRelHumidity = 0.75;

Sources sourcesAt(const DayPlan& plan, double t) {
    Sources s;
    const bool away = t >= plan.awayStart && t < plan.awayEnd;
    const bool awake = t >= plan.wake && t < plan.sleep;
    const int people = away ? 0 : kResidents;
    s.vocPpbPerHour = kBackgroundVoc + people * (awake ? kPersonVocAwake : kPersonVocAsleep);
    s.moistureGPerM3Hour = people * (awake ? kPersonMoistureAwake : kPersonMoistureAsleep);
    s.heatCPerHour = people * kPersonHeat;
    for (const auto& e : plan.events) {
        if (t < e.start || t >= e.end) continue;
        switch (e.kind) {
            case EventKind::Cooking:
                s.vocPpbPerHour += kCookingVoc * e.strength;
                s.moistureGPerM3Hour += kCookingMoisture * e.strength;
                s.heatCPerHour += kCookingHeat * e.strength;
                break;
            case EventKind::Cleaning:
                s.vocPpbPerHour += kCleaningVoc * e.strength;
                break;
            case EventKind::Shower:
                s.vocPpbPerHour += kShowerVoc;
                s.moistureGPerM3Hour += kShowerMoisture;
                break;
            case EventKind::Ventilation:
                s.extraAirChangesPerHour += kWindowAirChanges;
                break;
        }
    }
    return s;
}

void countEvents(const DayPlan& plan, double runEnd, SimulateReport& report) {
    for (const auto& e : plan.events) {
        if (e.start >= runEnd) continue;
        switch (e.kind) {
            case EventKind::Cooking:
                ++report.cooking;
                break;
            case EventKind::Cleaning:
                ++report.cleaning;
                break;
            case EventKind::Ventilation:
                ++report.ventilation;
                break;
            case EventKind::Shower:
                ++report.showers;
                break;
        }
    }
}

// The site: altitude, the sensor's own resistance and how strongly it reacts.
struct Site {
    double pressureBase;
    double pressurePhase1, pressurePhase2;
    double log10R0;
    explicit Site(uint64_t seed) {
        Rng rng(seed, kSiteStream);
        pressureBase = 101325.0 - rng.uniform(0.0, 3000.0);
        pressurePhase1 = rng.uniform(0.0, kTwoPi);
        pressurePhase2 = rng.uniform(0.0, kTwoPi);
        log10R0 = rng.uniform(5.0, 5.4);
    }
};

// Metal-oxide response: log10 R = log10 R0 - a log10(1 + C/k) - b log10(AH/AH0) - c (T - 25).
constexpr double kVocExponent = 0.65;
constexpr double kVocKnee = 40.0;  // ppb
constexpr double kHumidityExponent = 0.7;
constexpr double kHumidityRef = 10.0;  // g/m3
constexpr double kTemperatureCoeff = 0.004;
constexpr double kBurnInDepth = 0.25;  // log10 units below the settled baseline at start
constexpr double kBurnInTau = 8.0 * kSecondsPerHour;
constexpr double kAgingPerDay = -0.0003;  // log10 units per day
constexpr double kSelfHeating = 0.6;      // degC the chip runs above the room
// Readings kept inside the library's accepted input ranges.
constexpr double kGasMin = 200.0, kGasMax = 1.3e7;

struct Reading {
    double temperature, pressure, humidity, gas, voc;
};

class Room {
public:
    explicit Room(uint64_t seed) : seed_(seed), site_(seed), noise_(seed, kNoiseStream) {}

    Reading step(double t, double dt, SimulateReport& report) {
        const auto day = static_cast<int64_t>(std::floor(t / kSecondsPerDay));
        if (day != day_) {
            day_ = day;
            plan_ = planDay(seed_, day);
            countEvents(plan_, runEnd_, report);
        }
        const double hourOfDay = std::fmod(t, kSecondsPerDay) / kSecondsPerHour;
        const Sources s = sourcesAt(plan_, t);
        const double dtHours = dt / kSecondsPerHour;
        const double ach = kBaseAirChanges + s.extraAirChangesPerHour;

        const double outdoorT = 8.0 + 4.0 * std::sin(kTwoPi * (hourOfDay - 9.0) / 24.0) +
                                3.0 * std::sin(kTwoPi * t / (4.3 * kSecondsPerDay));
        const bool night = t >= plan_.sleep || t < plan_.wake;
        const double setPoint = night ? 18.0 : 21.0;
        const double solar = 0.6 * std::max(0.0, std::sin(kTwoPi * (hourOfDay - 8.0) / 24.0));
        const double leak = 0.3 * ach;  // heat lost with the exchanged air, per hour
        const double tEq = (kHeatingRate * (setPoint + solar) + leak * outdoorT + s.heatCPerHour) /
                           (kHeatingRate + leak);
        temperature_ = relax(temperature_, tEq, kHeatingRate + leak, dtHours);

        const double outdoorAh = saturationAbsHumidity(outdoorT) * kOutdoorRelHumidity;
        absHumidity_ = relax(absHumidity_, outdoorAh + s.moistureGPerM3Hour / ach, ach, dtHours);
        const double vocLoss = ach + kVocSink;
        voc_ = relax(voc_, (ach * kOutdoorVoc + s.vocPpbPerHour) / vocLoss, vocLoss, dtHours);

        Reading r{};
        r.voc = voc_;
        const double chipT = temperature_ + kSelfHeating;
        r.temperature = chipT + 0.02 * noise_.gaussian();
        const double rh = 100.0 * absHumidity_ / saturationAbsHumidity(chipT);
        r.humidity = std::clamp(rh + 0.15 * noise_.gaussian(), 0.0, 100.0);
        r.pressure = site_.pressureBase +
                     700.0 * std::sin(kTwoPi * t / (5.3 * kSecondsPerDay) + site_.pressurePhase1) +
                     300.0 * std::sin(kTwoPi * t / (2.2 * kSecondsPerDay) + site_.pressurePhase2) +
                     40.0 * std::sin(2.0 * kTwoPi * t / kSecondsPerDay) +
                     weather_.step(noise_, dt) + 1.5 * noise_.gaussian();
        const double log10R = site_.log10R0 - kBurnInDepth * std::exp(-t / kBurnInTau) +
                              kAgingPerDay * t / kSecondsPerDay + drift_.step(noise_, dt) -
                              kVocExponent * std::log10(1.0 + voc_ / kVocKnee) -
                              kHumidityExponent * std::log10(absHumidity_ / kHumidityRef) -
                              kTemperatureCoeff * (chipT - 25.0) + 0.002 * noise_.gaussian();
        r.gas = std::clamp(std::pow(10.0, log10R), kGasMin, kGasMax);
        report.peakVocPpb = std::max(report.peakVocPpb, voc_);
        return r;
    }

    void setRunEnd(double end) { runEnd_ = end; }

private:
    uint64_t seed_;
    Site site_;
    Rng noise_;
    Wander weather_{150.0, 12.0 * kSecondsPerHour};
    Wander drift_{0.03, 3.0 * kSecondsPerDay};
    int64_t day_ = -1;
    double runEnd_ = 0;
    DayPlan plan_;
    double temperature_ = 20.0;
    double absHumidity_ = 8.0;
    double voc_ = 120.0;
};

// Where the faults go, as fractions of the run, and how long they last.
constexpr double kGapAt = 0.42, kGapSeconds = 30.0 * 60.0;
constexpr double kStuckAt = 0.58, kStuckSeconds = 2.0 * kSecondsPerHour;
constexpr double kHumidityFaultAt = 0.66, kGasFaultAt = 0.67;
constexpr double kNanAt = 0.74;
constexpr double kFaultHumidity = 100.8;  // above the accepted 100 %
constexpr double kFaultGas = 120.0;       // below the accepted 170 ohm

// Fault positions as row numbers (row i lies at i intervals), so that comparisons are exact.
struct FaultPlan {
    int64_t gapStart = -1, gapEnd = -1, stuckStart = -1, stuckEnd = -1;
    int64_t humidityAt = -1, gasAt = -1, nanAt = -1;
};

FaultPlan placeFaults(const FaultSet& faults, int64_t rows, double interval) {
    FaultPlan plan;
    auto row = [&](double fraction) {
        return std::max<int64_t>(1, static_cast<int64_t>(fraction * static_cast<double>(rows)));
    };
    auto span = [&](double seconds) {
        return std::max<int64_t>(1, static_cast<int64_t>(std::ceil(seconds / interval)));
    };
    if (faults.gaps) {
        plan.gapStart = row(kGapAt);
        plan.gapEnd = plan.gapStart + span(kGapSeconds);
    }
    if (faults.stuck) {
        plan.stuckStart = row(kStuckAt);
        plan.stuckEnd = plan.stuckStart + span(kStuckSeconds);
    }
    if (faults.range) {
        plan.humidityAt = row(kHumidityFaultAt);
        plan.gasAt = row(kGasFaultAt);
    }
    if (faults.nan) plan.nanAt = row(kNanAt);
    return plan;
}

void formatTime(fmt::memory_buffer& out, int64_t ms) {
    constexpr int64_t kMsPerSecond = 1000;
    if (ms % kMsPerSecond == 0) {
        fmt::format_to(std::back_inserter(out), FMT_COMPILE("{}"), ms / kMsPerSecond);
    } else {
        fmt::format_to(std::back_inserter(out), FMT_COMPILE("{}.{:03}"), ms / kMsPerSecond,
                       ms % kMsPerSecond);
    }
}

}  // namespace

FaultSet parseFaults(std::string_view list) {
    FaultSet faults;
    if (list == "none" || list.empty()) return faults;
    if (list == "all") return FaultSet{true, true, true, true};
    while (!list.empty()) {
        const size_t comma = list.find(',');
        const std::string_view item = list.substr(0, comma);
        if (item == "gaps")
            faults.gaps = true;
        else if (item == "stuck")
            faults.stuck = true;
        else if (item == "range")
            faults.range = true;
        else if (item == "nan")
            faults.nan = true;
        else {
            throw ToolError("unknown fault '" + std::string(item) +
                            "'; choose from gaps, stuck, range, nan, or all / none");
        }
        list = comma == std::string_view::npos ? std::string_view() : list.substr(comma + 1);
    }
    return faults;
}

void checkSimulateOptions(const SimulateOptions& options) {
    constexpr double kMaxDays = 3660.0;
    constexpr double kMinInterval = 0.01, kMaxInterval = 3600.0;
    if (!(options.days > 0.0 && options.days <= kMaxDays)) {
        throw ToolError(fmt::format("--days must lie in (0, {}]", kMaxDays));
    }
    if (!(options.intervalSeconds >= kMinInterval && options.intervalSeconds <= kMaxInterval)) {
        throw ToolError(
            fmt::format("--interval must lie in [{}, {}] seconds", kMinInterval, kMaxInterval));
    }
}

SimulateReport simulate(const SimulateOptions& options, FILE* out) {
    checkSimulateOptions(options);
    const auto intervalMs = static_cast<int64_t>(std::llround(options.intervalSeconds * 1000.0));
    const double interval = static_cast<double>(intervalMs) / 1000.0;
    const double total = options.days * kSecondsPerDay;
    const auto rows = static_cast<int64_t>(std::floor(total / interval + 1e-9));
    const FaultPlan faults = placeFaults(options.faults, rows, interval);

    SimulateReport report;
    Room room(options.seed);
    room.setRunEnd(total);
    OutputBuffer output(out);
    auto& buf = output.buffer();
    fmt::format_to(std::back_inserter(buf), "{}\n", kLogHeader);
    double stuckGas = -1.0;
    for (int64_t i = 1; i <= rows; ++i) {
        const int64_t ms = i * intervalMs;
        const double t = static_cast<double>(ms) / 1000.0;
        const Reading r = room.step(t, interval, report);
        if (i >= faults.gapStart && i < faults.gapEnd) continue;
        double gas = r.gas;
        if (i >= faults.stuckStart && i < faults.stuckEnd) {
            if (stuckGas < 0) stuckGas = gas;
            gas = stuckGas;
        }
        const double humidity = i == faults.humidityAt ? kFaultHumidity : r.humidity;
        if (i == faults.gasAt) gas = kFaultGas;
        formatTime(buf, ms);
        if (i == faults.nanAt) {
            fmt::format_to(std::back_inserter(buf), FMT_COMPILE(",nan"));
        } else {
            fmt::format_to(std::back_inserter(buf), FMT_COMPILE(",{:.2f}"), r.temperature);
        }
        fmt::format_to(std::back_inserter(buf), FMT_COMPILE(",{:.1f},{:.2f},{:.0f},{:.1f}\n"),
                       r.pressure, humidity, gas, r.voc);
        ++report.rows;
        output.maybeFlush();
    }
    output.flush();
    return report;
}

}  // namespace vorn::tools
