// Soak test: weeks or a year of the shared room (or a raw log) driven by the shared
// client, with the faults a field device meets (power gaps, a stuck sensor,
// out-of-range and NaN readings, repeated time stamps) and a restart from the saved
// state every midnight. Passes when no output was NaN or infinite, every status was
// one the call may return, and once the faults stop the IAQ accuracy climbs back to 3
// and stays calibrated (2 while a VOC event moves the baseline, else 3) to the end.
//   vorn_soak [--days N] [--recovery-days N] [--seed N] [--csv LOG]
// A log is a raw one of `vorn simulate` (columns time_s, temperature_c, pressure_pa,
// humidity_pct, gas_ohm).
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

#include "client.h"

namespace {

using namespace vorn_test;

constexpr int64_t kRecoveryLimit = 12 * kHour;          // accuracy 3 must be back within this
constexpr float kMin[] = {0.0f, 0.0f, -65.0f, 170.0f};  // accepted range per physical input
constexpr float kMax[] = {2e6f, 100.0f, 125.0f, 1.32e7f};

struct Row {
    int64_t t;
    Reading r;
};

// Small deterministic generator (64-bit LCG, upper bits), so runs repeat exactly.
struct Rng {
    explicit Rng(uint64_t seed) : state(seed * 6364136223846793005ull + 1442695040888963407ull) {}
    uint64_t state;
    double uniform() {
        state = state * 6364136223846793005ull + 1442695040888963407ull;
        return static_cast<double>(state >> 11) / 9007199254740992.0;
    }
    int64_t within(int64_t span) {
        return static_cast<int64_t>(uniform() * static_cast<double>(span));
    }
};

[[noreturn]] void fatal(const std::string& what) {
    std::fprintf(stderr, "soak: %s\n", what.c_str());
    std::exit(2);
}

// Rows of a raw log in the format of `vorn simulate`.
std::vector<Row> readLog(const std::string& path) {
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
    std::vector<Row> rows;
    while (std::getline(in, line)) {
        const std::vector<std::string> f = split(line);
        const auto number = [&](size_t n) { return std::strtod(f.at(column[n]).c_str(), nullptr); };
        Row row{std::llround(number(0) * 1e3) * 1'000'000, {}};
        for (uint8_t id = IN_PRESSURE; id <= IN_GAS_RESISTANCE; ++id)
            row.r.value(id) = static_cast<float>(number(id));
        rows.push_back(row);
    }
    if (rows.empty()) fatal("no readings in " + path);
    return rows;
}

bool accepted(const InputSample& x) {
    return x.value >= kMin[x.id - 1] && x.value <= kMax[x.id - 1];  // false for NaN
}

class Soak {
public:
    Soak(uint64_t seed, int64_t first, int64_t last, int64_t recovery)
        : rng_(seed ^ 0x5EED), faultsEnd_(std::max(first, last - recovery)) {
        check(vorn_init() == RC_OK, "vorn_init", 0);
        check(client_.subscribe() == RC_OK, "subscription refused", 0);
    }

    void feed(int64_t t, Reading r) {
        const bool faulty = t < faultsEnd_;
        if (t / kDay != day_) {
            if (day_ >= 0)
                check(client_.restart() == RC_OK, "restart from the state", t), ++restarts_;
            day_ = t / kDay;
            planDay(t);
        }
        if (faulty && t >= gapStart_ && t < gapEnd_) return;  // device off
        if (faulty && t >= stuckStart_ && t < stuckStart_ + kHour) {
            r.temperature = last_.temperature, r.gas = last_.gas;  // stuck
        } else {
            last_ = r;
        }
        cycle(t, r, faulty);
    }

    int finish() {
        const double hours =
            recoveredAt_ < 0 ? -1 : static_cast<double>(recoveredAt_ - faultsEnd_) / kHour;
        std::printf(
            "soak: %llu cycles, %llu restarts, %llu broken readings, %llu repeated steps; "
            "accuracy 3 again %.2f h after the faults, last accuracy %d\n",
            cycles_, restarts_, broken_, repeats_, hours, lastAccuracy_);
        check(recoveredAt_ >= 0 && recoveredAt_ - faultsEnd_ <= kRecoveryLimit,
              "IAQ accuracy did not return to 3 after the faults", faultsEnd_);
        std::printf("soak: %s\n", failures_ == 0 ? "PASS" : "FAIL");
        return failures_ == 0 ? 0 : 1;
    }

private:
    void check(bool ok, const char* what, int64_t t) {
        if (!ok && failures_++ < 20)
            std::fprintf(stderr, "soak: FAIL at t=%lld s: %s\n",
                         static_cast<long long>(t / kSecond), what);
    }

    // A day of faults: the device off for 10 min to 2 h, and an hour with the gas and
    // temperature readings stuck. The faults end with the device off for two hours,
    // so that the recovery starts from lost continuity (accuracy 0).
    void planDay(int64_t dayStart) {
        gapStart_ = dayStart + rng_.within(kDay * 4 / 5);
        gapEnd_ = gapStart_ + 10 * 60 * kSecond + rng_.within(110 * 60 * kSecond);
        stuckStart_ = dayStart + rng_.within(kDay * 4 / 5);
        if (dayStart < faultsEnd_ && dayStart + kDay >= faultsEnd_) {
            gapEnd_ = faultsEnd_;
            gapStart_ = gapEnd_ - 2 * kHour;
        }
    }

    // Every output finite; the IAQ accuracy tracked.
    void checkOutputs(int32_t status, std::span<const OutputSample> outputs, int64_t t) {
        check(status >= 0 || outputs.empty(), "outputs with a refusal", t);
        for (const OutputSample& o : outputs) {
            check(std::isfinite(o.value), "output not finite", t);
            if (o.id != OUT_IAQ_INDEX) continue;
            if (recoveredAt_ >= 0) check(o.accuracy >= 2, "IAQ accuracy fell after recovering", t);
            lastAccuracy_ = o.accuracy;
            if (t >= faultsEnd_ && recoveredAt_ < 0 && lastAccuracy_ == 3) recoveredAt_ = t;
        }
    }

    int32_t steps(const Inputs& in, int64_t t) {
        uint8_t n = static_cast<uint8_t>(out_.size());
        const int32_t status = vorn_do_steps(in.samples.data(), in.n, out_.data(), &n);
        checkOutputs(status, std::span(out_).first(n), t);
        return status;
    }

    void cycle(int64_t t, Reading r, bool faulty) {
        // Now and then one reading is broken (a log may carry its own): the step must be
        // refused as a whole with nothing stored, so that the good readings can follow.
        if (faulty && rng_.uniform() < 0.003) {
            const auto victim = static_cast<uint8_t>(IN_PRESSURE + rng_.within(4));
            r.value(victim) = rng_.uniform() < 0.5 ? std::nanf("") : kMax[victim - 1] * 2 + 1;
        }
        client_.setNow(t);
        const Cycle& c = client_.cycle(r, out_);
        check(c.controlStatus == RC_OK || c.controlStatus == RC_W_CALL_TIME_DEVIATION,
              "control status", t);
        checkOutputs(c.status, c.outputs, t);
        Inputs good = c.inputs;
        good.n = static_cast<uint8_t>(
            std::stable_partition(good.samples.begin(), good.samples.begin() + good.n, accepted) -
            good.samples.begin());
        int32_t status = c.status;
        if (good.n < c.inputs.n) {
            check(status == RC_E_INPUT_RANGE, "not refused", t);
            ++broken_;
            if (good.n == 0) return;
            status = steps(good, t);
        }
        check(status == RC_OK || status == RC_W_INPUT_REPEATED, "processing status", t);
        ++cycles_;
        if (faulty && rng_.uniform() < 0.002) {
            // The same samples again: every one is a repeat, nothing new is taken.
            check(steps(good, t) == RC_W_INPUT_REPEATED, "repeated time stamps not reported", t);
            ++repeats_;
        }
    }

    Client client_{Scenario({std::begin(kAllOutputs), std::end(kAllOutputs)})};
    std::array<OutputSample, 19> out_{};
    Rng rng_;
    int64_t faultsEnd_, recoveredAt_ = -1, gapStart_ = 0, gapEnd_ = 0, stuckStart_ = 0;
    int64_t day_ = -1;
    Reading last_{};
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
    const auto recovery = static_cast<int64_t>(recoveryDays * static_cast<double>(kDay));
    if (!csv.empty()) {
        const std::vector<Row> rows = readLog(csv);
        Soak soak(seed, rows.front().t, rows.back().t, recovery);
        for (const Row& row : rows) soak.feed(row.t, row.r);
        return soak.finish();
    }
    // Three weeks of the room, repeated: every periodic term continues across the seam.
    const Room room(21, seed);
    const auto last = static_cast<int64_t>(days * static_cast<double>(kDay));
    Soak soak(seed, Room::kPeriodNs, last, recovery);
    for (int64_t t = Room::kPeriodNs; t <= last; t += Room::kPeriodNs) soak.feed(t, room.at(t));
    return soak.finish();
}
