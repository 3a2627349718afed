// The replay loop and its summary. The hot path parses five numbers per row (an exact
// fast path for plain decimals, std::from_chars otherwise), makes two library calls,
// and formats the outputs with {fmt} into a block buffer; nothing on it allocates.
#include "replay.h"

#include <fmt/compile.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <utility>

#include "blob_file.h"
#include "blob_schema.h"
#include "csv.h"
#include "names.h"
#include "simulate.h"
#include "tool_error.h"
#include "vorn/vorn.h"

namespace vorn::tools {

namespace {

constexpr double kNsPerSecond = 1e9;
constexpr double kMaxAbsTimeSeconds = 9.2e9;  // keeps time * 1e9 inside int64
constexpr uint8_t kOutputCapacity = 16;
constexpr uint32_t kMeasuredInputsMask =
    idBits({IN_PRESSURE, IN_HUMIDITY, IN_TEMPERATURE, IN_GAS_RESISTANCE});

// Set by SIGINT and SIGTERM; the loop stops at the next row and the run ends as if
// the log ended there, marked as interrupted.
volatile std::sig_atomic_t gInterrupted = 0;
extern "C" void onInterrupt(int) {
    gInterrupted = 1;
}
bool interrupted() {
    return gInterrupted != 0;
}

// The plans `--rate auto` chooses between: every 3 s for logs that have a row that
// often, every 300 s for sparser ones (in the library's 10 ms interval units).
constexpr uint16_t kDenseInterval = 300;
constexpr uint16_t kSparseInterval = 30000;
constexpr double kIntervalUnitsPerSecond = 100.0;

float rateOfInterval(uint32_t interval) {
    return static_cast<float>(kIntervalUnitsPerSecond / interval);
}

struct InputColumn {
    Role role;
    uint8_t id;
};
constexpr std::array<InputColumn, 4> kInputColumns = {{
    {kPressure, IN_PRESSURE},
    {kHumidity, IN_HUMIDITY},
    {kTemperature, IN_TEMPERATURE},
    {kGas, IN_GAS_RESISTANCE},
}};

bool contains(const std::vector<uint8_t>& ids, uint8_t id) {
    for (const uint8_t x : ids) {
        if (x == id) return true;
    }
    return false;
}

void importBlob(const std::string& path, bool configuration) {
    const BlobFile file = loadBlobFile(path);
    if (file.blob.empty()) return;  // a state file of length 0 holds nothing to restore
    std::vector<uint8_t> work(kToolWorkBytes);
    const auto size = static_cast<uint32_t>(file.blob.size());
    const int32_t status =
        configuration ? vorn_set_configuration(file.blob.data(), size, work.data(), kToolWorkBytes)
                      : vorn_set_state(file.blob.data(), size, work.data(), kToolWorkBytes);
    if (status != RC_OK) {
        const BlobCheck check =
            checkBlob(file.blob, configuration ? BlobKind::Configuration : BlobKind::State);
        throw ToolError(fmt::format(
            "the library refuses the {} in '{}': {}{}", configuration ? "configuration" : "state",
            path, describeStatus(status), check.problem.empty() ? "" : " (" + check.problem + ")"));
    }
}

// Writes to `path` in the format `namedAs` asks for (a .dat name: the state-file format).
void exportBlob(const std::string& path, const std::string& namedAs, bool configuration) {
    std::vector<uint8_t> blob(kToolWorkBytes, 0), work(kToolWorkBytes, 0);
    uint32_t size = 0;
    const int32_t status =
        configuration
            ? vorn_get_configuration(0, blob.data(), kToolWorkBytes, work.data(), kToolWorkBytes,
                                     &size)
            : vorn_get_state(0, blob.data(), kToolWorkBytes, work.data(), kToolWorkBytes, &size);
    if (status != RC_OK) {
        throw ToolError(fmt::format("the library cannot export its {}: {}",
                                    configuration ? "configuration" : "state",
                                    describeStatus(status)));
    }
    blob.resize(size);
    saveBlobFile(path, blob, wantsStateFileFormat(namedAs));
}

std::vector<uint8_t> subscriptionIds(const ReplayOptions& o, bool& flagsAdded) {
    std::vector<uint8_t> ids = o.outputs;
    flagsAdded = false;
    // Subscribing the status flags next to an output that needs the gas input, at the
    // same rate, changes no schedule and no other output.
    bool gas = false;
    for (const uint8_t id : ids) gas = gas || hasId(kGasOutputs, id);
    if (!gas) return ids;
    for (const uint8_t flag : {OUT_ACCUMULATED_TIME_FLAG, OUT_CONTINUOUS_TIME_FLAG}) {
        if (!contains(ids, flag)) {
            ids.push_back(flag);
            flagsAdded = true;
        }
    }
    return ids;
}

int32_t trySubscribe(const std::vector<uint8_t>& ids, float rate) {
    std::vector<SensorRate> requests;
    for (const uint8_t id : ids) requests.push_back(SensorRate{rate, id, {0, 0, 0}});
    std::array<SensorRate, 8> required{};
    uint8_t nRequired = required.size();
    return vorn_update_subscription(requests.data(), static_cast<uint8_t>(requests.size()),
                                    required.data(), &nRequired);
}

void subscribe(const std::vector<uint8_t>& ids, float rate) {
    const int32_t status = trySubscribe(ids, rate);
    if (status != RC_OK) {
        throw ToolError(fmt::format("the library refuses the subscription at {} Hz: {}{}", rate,
                                    describeStatus(status),
                                    rate == 0.0f ? " (a rate of 0 asks for an on-demand gas "
                                                   "measurement, not a subscription)"
                                                 : ""));
    }
}

class Progress {
public:
    Progress(bool enabled, uint64_t total) : enabled_(enabled && total > 0), total_(total) {}
    void update(uint64_t done, uint64_t steps) {
        if (!enabled_) return;
        const int percent = static_cast<int>(done * 100 / total_);
        if (percent == shown_) return;
        shown_ = percent;
        constexpr int kWidth = 40;
        const int filled = percent * kWidth / 100;
        fmt::print(stderr, "\r  replay [{:#<{}}{:.<{}}] {:3}%  {} steps", "", filled, "",
                   kWidth - filled, percent, steps);
        std::fflush(stderr);
    }
    ~Progress() {
        if (enabled_ && shown_ >= 0) fmt::print(stderr, "\r{:80}\r", "");
    }

private:
    bool enabled_;
    uint64_t total_;
    int shown_ = -1;
};

// ",value,accuracy": the shortest text that reads back to the same f32 ({fmt}'s
// Dragonbox, several times faster here than std::to_chars), then the accuracy.
void appendValue(fmt::memory_buffer& buf, float value, uint8_t accuracy) {
    constexpr size_t kRoom = 48;  // a float needs at most 16 characters, a byte 3
    const size_t used = buf.size();
    buf.resize(used + kRoom);
    char* first = buf.data() + used;
    char* last = buf.data() + buf.size();
    *first++ = ',';
    first = fmt::format_to(first, FMT_COMPILE("{}"), value);
    *first++ = ',';
    first = std::to_chars(first, last, accuracy).ptr;
    buf.resize(static_cast<size_t>(first - buf.data()));
}

// Everything the loop updates per row, kept together so the helpers stay small.
class Replayer {
public:
    Replayer(const ReplayOptions& o, const LogFormat& format, FILE* diagnostics,
             ReplayReport& report)
        : o_(o), format_(format), diag_(diagnostics), report_(report) {}

    void run(LogReader& reader, FILE* csv, bool header);

private:
    void writeHeader(OutputBuffer& out);
    void badRow(const char* reason, const std::string& detail);
    void processRow(const LogRow& row, OutputBuffer& out);
    std::string rangeProblem(const LogRow& row) const;
    bool sleeping(int64_t ns) const;
    void track(const OutputSample& s, int64_t ns);
    void appendTime(const LogRow& row, fmt::memory_buffer& buf) const;
    void lookAtUnits(const LogRow& row);

    const ReplayOptions& o_;
    const LogFormat& format_;
    FILE* diag_;
    ReplayReport& report_;
    std::string path_;
    uint64_t line_ = 0;
    bool haveTime_ = false;
    int64_t lastNs_ = 0;
    float lastContinuous_ = 0.0f;
    static constexpr int64_t kNoPlan = INT64_MIN;
    int64_t lastPlanNs_ = kNoPlan;             // time of the last sensor-control call that planned
    int64_t plannedNs_ = 0;                    // the next call it planned
    static constexpr size_t kUnitSample = 10;  // rows looked at for units that seem wrong
    std::array<std::vector<double>, kRoleCount> sample_;
};

// After the first rows, one hint per reading whose values look like another unit:
// a log in hPa or kOhm often lies inside the accepted ranges and would pass silently.
void Replayer::lookAtUnits(const LogRow& row) {
    for (uint8_t r = kTemperature; r < kRoleCount; ++r) {
        if (row.has(static_cast<Role>(r)) && sample_[r].size() < kUnitSample) {
            sample_[r].push_back(row.value[r]);
        }
    }
    if (sample_[kTemperature].size() + sample_[kGas].size() != 2 * kUnitSample) return;
    for (uint8_t r = kTemperature; r < kRoleCount; ++r) {
        auto& v = sample_[r];
        if (v.empty()) continue;
        std::nth_element(v.begin(), v.begin() + v.size() / 2, v.end());
        const double median = v[v.size() / 2];
        const double largest = *std::max_element(v.begin(), v.end());
        const char* hint =
            r == kPressure && median >= 300 && median <= 1200 ? "hPa? add --units pressure=hpa"
            : r == kPressure && median >= 30 && median <= 120 ? "kPa? add --units pressure=kpa"
            : r == kHumidity && largest <= 1.0  ? "a fraction? add --units humidity=fraction"
            : r == kTemperature && median > 200 ? "kelvin? add --units temperature=k"
            : r == kTemperature && median > 50  ? "degrees Fahrenheit? add --units temperature=f"
            : r == kGas && median < 1000        ? "kOhm? add --units gas=kohm"
                                                : nullptr;
        if (hint != nullptr) {
            fmt::print(diag_, "hint: {} values around {:g} look like {}\n",
                       format_.columnName(static_cast<Role>(r)), median, hint);
        }
    }
    sample_[kTemperature].push_back(0);  // looked at: never again
}

void Replayer::badRow(const char* reason, const std::string& detail) {
    ++report_.badRows[reason];
    if (o_.strict) {
        throw ToolError(fmt::format("{}:{}: {} (--strict stops here)", path_, line_, detail));
    }
    const uint64_t count = report_.badRowCount();
    if (count <= static_cast<uint64_t>(o_.maxReportedBadRows)) {
        fmt::print(diag_, "warning: {}:{}: {}; row skipped\n", path_, line_, detail);
    } else if (count == static_cast<uint64_t>(o_.maxReportedBadRows) + 1) {
        fmt::print(diag_, "warning: further bad rows are counted but not shown\n");
    }
}

// What the library would refuse in the row, by its default accepted ranges (a
// configuration does not change them); "" when nothing.
std::string Replayer::rangeProblem(const LogRow& row) const {
    for (const auto& in : kInputColumns) {
        if (!row.has(in.role)) continue;
        const auto v = static_cast<float>(row.value[in.role]);
        if (std::isnan(v))
            return fmt::format("{} is not a number (NaN)", format_.columnName(in.role));
        const float min = kInputMinimum[inputIndex(in.id)];
        const float max = kInputMaximum[inputIndex(in.id)];
        if (v < min || v > max) {
            return fmt::format("{} {:g} is outside {:g} .. {:g}", format_.columnName(in.role),
                               row.value[in.role], min, max);
        }
    }
    return "";
}

void Replayer::track(const OutputSample& s, int64_t ns) {
    const int64_t since = ns - report_.firstNs;
    switch (s.id) {
        case OUT_IAQ_INDEX:
            ++report_.iaqSteps;
            if (s.accuracy == 3) {
                ++report_.iaqSteps3;
                if (!report_.iaqAccuracy3Ns) report_.iaqAccuracy3Ns = since;
            }
            report_.finalIaq = s.value;
            report_.finalIaqAccuracy = s.accuracy;
            break;
        case OUT_ACCUMULATED_TIME_FLAG:
            if (s.value != 0.0f && !report_.accumulatedFlagNs) report_.accumulatedFlagNs = since;
            break;
        case OUT_CONTINUOUS_TIME_FLAG:
            if (s.value != 0.0f && !report_.continuousFlagNs) report_.continuousFlagNs = since;
            if (s.value == 0.0f && lastContinuous_ != 0.0f) ++report_.continuousFlagLosses;
            lastContinuous_ = s.value;
            break;
        default:
            break;
    }
}

// A device sleeps until the planned call; it wakes no earlier than the library's
// tolerance of 1/16 of the interval allows. Rows before that are skipped unseen.
bool Replayer::sleeping(int64_t ns) const {
    if (lastPlanNs_ == kNoPlan) return false;
    // Both times lie within +/-9.2e18 ns, so the difference is taken without sign.
    const uint64_t interval =
        static_cast<uint64_t>(plannedNs_) - static_cast<uint64_t>(lastPlanNs_);
    const int64_t wake = plannedNs_ - static_cast<int64_t>(interval >> 4);
    return ns < wake;
}

void Replayer::appendTime(const LogRow& row, fmt::memory_buffer& buf) const {
    if (row.timeInSeconds) {
        buf.append(row.timeText);  // as the log wrote it
        return;
    }
    // Seconds from nanoseconds, exactly: the integer part, then the fraction's digits.
    const int64_t whole = row.ns / 1000000000, fraction = row.ns % 1000000000;
    const bool negative = row.ns < 0;
    fmt::format_to(std::back_inserter(buf), "{}{}", negative && whole == 0 ? "-" : "", whole);
    if (fraction != 0) {
        std::string digits = fmt::format("{:09d}", fraction < 0 ? -fraction : fraction);
        while (digits.back() == '0') digits.pop_back();
        fmt::format_to(std::back_inserter(buf), ".{}", digits);
    }
}

void Replayer::processRow(const LogRow& row, OutputBuffer& out) {
    const int64_t ns = row.ns;
    if (sleeping(ns)) {
        // A device would have slept through the row, but a reading it would refuse
        // still counts as a bad row: the summary must not hide them.
        if (const std::string problem = rangeProblem(row); !problem.empty()) {
            badRow("out of range", problem);
        } else {
            ++report_.beforePlannedCall;
        }
        return;
    }
    SensorSettings settings{};
    const int32_t control = vorn_sensor_control(ns, &settings);
    if (control != RC_OK) ++report_.sensorControlWarnings[control];
    // Only a call that came too early leaves the plan as it was.
    const bool early = control == RC_W_CALL_TIME_DEVIATION && settings.next_call_ns == plannedNs_;
    if (!early) lastPlanNs_ = ns;
    plannedNs_ = settings.next_call_ns;
    if ((settings.input_mask & kMeasuredInputsMask) == 0) {
        ++report_.notAsked;
        return;
    }
    std::array<InputSample, 5> inputs{};
    uint8_t n = 0;
    for (const auto& in : kInputColumns) {
        if (((settings.input_mask >> (in.id - 1)) & 1u) && row.has(in.role)) {
            inputs[n++] = InputSample{ns, static_cast<float>(row.value[in.role]), 1, in.id, {0, 0}};
        }
    }
    if (o_.temperatureOffset && ((settings.input_mask >> (IN_TEMPERATURE - 1)) & 1u)) {
        inputs[n++] = InputSample{ns, *o_.temperatureOffset, 1, IN_TEMPERATURE_OFFSET, {0, 0}};
    }
    std::array<OutputSample, kOutputCapacity> outputs{};
    uint8_t count = kOutputCapacity;
    const int32_t status = vorn_do_steps(inputs.data(), n, outputs.data(), &count);
    if (status < 0) {
        const char* reason = status == RC_E_INPUT_RANGE ? "out of range" : statusName(status);
        const std::string problem = rangeProblem(row);
        badRow(reason, fmt::format("{} [{}]", problem.empty() ? "refused" : problem,
                                   describeStatus(status)));
        return;
    }
    if (status != RC_OK) ++report_.doStepsWarnings[status];
    ++report_.steps;
    if (count == 0) return;

    std::array<const OutputSample*, kMaxOutputId + 1> byId{};
    for (uint8_t i = 0; i < count; ++i) {
        track(outputs[i], ns);
        byId[outputs[i].id] = &outputs[i];
    }
    auto& buf = out.buffer();
    appendTime(row, buf);
    for (const uint8_t id : o_.outputs) {
        const OutputSample* s = byId[id];
        if (s == nullptr) {
            buf.append(std::string_view(",,"));
        } else {
            appendValue(buf, s->value, s->accuracy);
        }
    }
    buf.push_back('\n');
    ++report_.outputRows;
    out.maybeFlush();
}

void Replayer::writeHeader(OutputBuffer& out) {
    auto& buf = out.buffer();
    buf.append(std::string_view("time_s"));
    for (const uint8_t id : o_.outputs) {
        const char* name = outputById(id)->name;
        fmt::format_to(std::back_inserter(buf), ",{},{}_accuracy", name, name);
    }
    buf.push_back('\n');
}

void Replayer::run(LogReader& reader, FILE* csv, bool header) {
    path_ = o_.log == "-" ? "<stdin>" : o_.log;
    OutputBuffer out(csv);
    if (header) writeHeader(out);
    Progress progress(o_.progress && isatty(fileno(stderr)) != 0, reader.lines().totalBytes());

    LogRow row;
    std::string problem;
    constexpr uint64_t kProgressEvery = 1u << 16;
    while (!interrupted() && reader.next(row, problem)) {
        line_ = reader.lineNumber();
        ++report_.rows;
        if ((report_.rows & (kProgressEvery - 1)) == 0) {
            progress.update(reader.lines().bytesConsumed(), report_.steps);
        }
        if (!problem.empty()) {
            badRow("unreadable", problem);
            continue;
        }
        for (uint8_t r = kTemperature; row.missing != 0 && r < kRoleCount; ++r) {
            report_.missingReadings[r] += (row.missing >> r) & 1u;
        }
        if (haveTime_ && row.ns <= lastNs_) {
            badRow("time not advancing",
                   fmt::format("{} {} {} the previous row's", format_.columnName(kTime),
                               row.timeText, row.ns == lastNs_ ? "repeats" : "goes back behind"));
            continue;
        }
        if (row.ns == 0) ++report_.zeroTimeRows;
        if (sample_[kTemperature].size() <= kUnitSample) lookAtUnits(row);
        if (!haveTime_) report_.firstNs = row.ns;
        haveTime_ = true;
        lastNs_ = row.ns;
        report_.lastNs = row.ns;
        processRow(row, out);
    }
    out.flush();
}

std::string duration(int64_t ns) {
    const double s = static_cast<double>(ns) / kNsPerSecond;
    if (s >= 86400) return fmt::format("{:.2f} d", s / 86400);
    if (s >= 3600) return fmt::format("{:.2f} h", s / 3600);
    if (s >= 60) return fmt::format("{:.1f} min", s / 60);
    return fmt::format("{:g} s", s);
}

std::string after(const std::optional<int64_t>& ns, bool tracked) {
    if (!tracked) return "not tracked (no gas-dependent output subscribed)";
    if (!ns) return "never reached";
    return "after " + duration(*ns);
}

}  // namespace

uint64_t ReplayReport::badRowCount() const {
    uint64_t total = 0;
    for (const auto& [reason, count] : badRows) total += count;
    return total;
}

std::optional<double> parseRate(const std::string& text) {
    if (text == "auto") return std::nullopt;
    const auto bad = [&] {
        return ToolError(
            fmt::format("--rate '{}': give auto, a rate in Hz (0.33333), a fraction "
                        "(1/300) or a period (300s)",
                        text));
    };
    double value = 0;
    std::string_view t = text;
    if (const size_t slash = t.find('/'); slash != std::string_view::npos) {
        double num = 0, den = 0;
        if (!parseNumber(t.substr(0, slash), num) || !parseNumber(t.substr(slash + 1), den) ||
            !(den > 0)) {
            throw bad();
        }
        value = num / den;
    } else if (t.ends_with('s')) {
        double period = 0;
        if (!parseNumber(t.substr(0, t.size() - 1), period) || !(period > 0)) throw bad();
        value = 1.0 / period;
    } else if (!parseNumber(t, value)) {
        throw bad();
    }
    if (!std::isfinite(value) || value < 0) throw bad();
    return value;
}

namespace {

// The library starts over, with the configuration and the state given, or the
// state carried over from the previous log.
void setUp(const ReplayOptions& options, const std::vector<uint8_t>* carried) {
    vorn_init();
    if (!options.configIn.empty()) importBlob(options.configIn, true);
    if (carried != nullptr) {
        std::vector<uint8_t> work(kToolWorkBytes);
        const int32_t status = vorn_set_state(
            carried->data(), static_cast<uint32_t>(carried->size()), work.data(), kToolWorkBytes);
        if (status != RC_OK)
            throw ToolError("the library refuses its own state: " + describeStatus(status));
    } else if (!options.stateIn.empty()) {
        importBlob(options.stateIn, false);
    }
}

uint32_t intervalOf(float rateHz) {
    return static_cast<uint32_t>(std::lround(kIntervalUnitsPerSecond / rateHz));
}

// The median spacing of the first rows, read ahead from a file (stdin cannot be read
// twice: 0 then).
int64_t medianSpacing(const ReplayOptions& options, bool pressureRequired) {
    if (options.log == "-") return 0;
    LogFormat format(options.format);
    LogReader reader(options.log, format, pressureRequired);
    std::vector<int64_t> gaps;
    LogRow row;
    std::string problem;
    int64_t last = 0;
    bool have = false;
    while (gaps.size() < 64 && reader.next(row, problem)) {
        if (!problem.empty()) continue;
        if (have && row.ns > last) gaps.push_back(row.ns - last);
        have = true;
        last = row.ns;
    }
    if (gaps.empty()) return 0;
    std::nth_element(gaps.begin(), gaps.begin() + gaps.size() / 2, gaps.end());
    return gaps[gaps.size() / 2];
}

std::string rateText(uint32_t interval) {
    const double seconds = interval / kIntervalUnitsPerSecond;
    return seconds > 1 ? fmt::format("1/{:g} Hz", seconds) : fmt::format("{:g} Hz", 1 / seconds);
}

// The rate to subscribe at: --rate auto from the log's spacing; a given rate as it
// is when the library takes it, else snapped to an interval within 1 % that it takes.
float chooseRate(const ReplayOptions& options, const std::vector<uint8_t>& ids,
                 ReplayReport& report) {
    const std::optional<double> asked = parseRate(options.rate);
    if (!asked) {
        const int64_t spacing = report.medianSpacingNs;
        const double spacingS = static_cast<double>(spacing) / kNsPerSecond;
        const bool dense = spacing != 0 && spacing <= 3000000000LL;
        const uint16_t interval = spacing == 0 || dense ? kDenseInterval : kSparseInterval;
        report.rateReason =
            spacing == 0
                ? "the log's spacing is unknown (stdin, or too few rows); the host layer's plan"
            : dense
                ? fmt::format("rows every {:g} s fit a call every 3 s", spacingS)
                : fmt::format("rows every {:g} s are too sparse for a call every 3 s", spacingS);
        return rateOfInterval(interval);
    }
    const auto rate = static_cast<float>(*asked);
    if (trySubscribe(ids, rate) == RC_OK) return rate;
    // Intervals the library takes, nearest first, within 1 % of the one asked for.
    const double wanted = *asked > 0 ? kIntervalUnitsPerSecond / *asked : 0;
    std::vector<uint32_t> allowed;
    for (uint32_t interval = 1; interval < 65535; ++interval) {
        if (trySubscribe(ids, rateOfInterval(interval)) == RC_OK) allowed.push_back(interval);
    }
    const auto nearest = std::min_element(allowed.begin(), allowed.end(), [&](auto a, auto b) {
        return std::fabs(a - wanted) < std::fabs(b - wanted);
    });
    if (nearest != allowed.end() && std::fabs(*nearest - wanted) <= 0.01 * wanted) {
        report.rateReason =
            fmt::format("--rate {} snapped to {}", options.rate, rateText(*nearest));
        return rateOfInterval(*nearest);
    }
    std::string list;
    for (const uint32_t interval : allowed) {
        list += fmt::format("{}{} ({:g} s)", list.empty() ? "" : ", ", rateText(interval),
                            interval / kIntervalUnitsPerSecond);
    }
    throw ToolError(fmt::format(
        "the library refuses --rate {} for these outputs [{}]; the rates "
        "it takes for them: {}",
        options.rate, describeStatus(trySubscribe(ids, rate)), list.empty() ? "none" : list));
}

// The outputs are written to "<name>.part" next to their place and renamed into
// place only when the run ends well, so a failed run leaves no half-written file under
// the real name; every one is created before the work starts.
class OutputFiles {
public:
    explicit OutputFiles(const ReplayOptions& o) {
        try {
            create(o);
        } catch (...) {
            removeStaging();
            throw;
        }
    }
    ~OutputFiles() {
        if (!committed_) removeStaging();
    }
    OutputFiles(const OutputFiles&) = delete;
    OutputFiles& operator=(const OutputFiles&) = delete;

    FILE* csv() const { return csv_ != nullptr ? csv_ : stdout; }
    // Where to write `path` until commit().
    std::string staging(const std::string& path) const {
        for (const auto& [part, final] : files_) {
            if (final == path) return part;
        }
        return path;
    }
    void commit() {
        if (csv_ != nullptr && std::fclose(std::exchange(csv_, nullptr)) != 0) {
            throw ToolError("cannot write the outputs CSV");
        }
        for (const auto& [part, final] : files_) {
            if (std::rename(part.c_str(), final.c_str()) != 0) {
                throw ToolError("cannot move '" + part + "' to '" + final + "'");
            }
        }
        committed_ = true;
    }

private:
    void create(const ReplayOptions& o) {
        for (const std::string* path : {&o.output, &o.stateOut, &o.configOut}) {
            if (path->empty() || *path == "-") continue;
            for (const std::string& log : o.logs) refuseTheLog(log, *path);
            // A device or a pipe (/dev/null, a FIFO) is written in place: renaming a file
            // over it would replace the device node itself.
            struct stat existing {};
            const bool inPlace =
                ::stat(path->c_str(), &existing) == 0 && !S_ISREG(existing.st_mode);
            const std::string part = inPlace ? *path : *path + ".part";
            FILE* f = std::fopen(part.c_str(), "wb");
            if (f == nullptr) throw ToolError("cannot create '" + *path + "'");
            if (path == &o.output) {
                csv_ = f;
            } else {
                std::fclose(f);
            }
            if (!inPlace) files_.push_back({part, *path});
        }
    }
    void removeStaging() {
        if (csv_ != nullptr) std::fclose(std::exchange(csv_, nullptr));
        for (const auto& [part, final] : files_) std::remove(part.c_str());
    }
    static void refuseTheLog(const std::string& log, const std::string& path) {
        struct stat a {
        }, b{};
        if (log != "-" && ::stat(log.c_str(), &a) == 0 && ::stat(path.c_str(), &b) == 0 &&
            a.st_dev == b.st_dev && a.st_ino == b.st_ino) {
            throw ToolError(
                fmt::format("'{}' is the log being replayed: writing to it would "
                            "destroy it; choose another output file",
                            path));
        }
    }
    std::vector<std::pair<std::string, std::string>> files_;  // (staging, final)
    FILE* csv_ = nullptr;
    bool committed_ = false;
};

// Drops the pressure pass-through from the default outputs of a log without pressure.
ReplayOptions withoutUnmeasurable(const ReplayOptions& options, bool hasPressure, FILE* diag) {
    ReplayOptions o = options;
    if (hasPressure || !contains(o.outputs, OUT_PASSTHROUGH_PRESSURE)) return o;
    std::erase(o.outputs, static_cast<uint8_t>(OUT_PASSTHROUGH_PRESSURE));
    fmt::print(diag,
               "note: the log has no pressure column: passthrough_pressure is not "
               "replayed\n");
    return o;
}

}  // namespace

namespace {

// The state the library holds, to carry into the next log.
std::vector<uint8_t> currentState() {
    std::vector<uint8_t> blob(kToolWorkBytes), work(kToolWorkBytes);
    uint32_t size = 0;
    if (vorn_get_state(0, blob.data(), kToolWorkBytes, work.data(), kToolWorkBytes, &size) !=
        RC_OK) {
        throw ToolError("the library cannot export its state to carry it to the next log");
    }
    blob.resize(size);
    return blob;
}

// The time of a log's first usable row; refuses a log without one.
int64_t firstTime(const ReplayOptions& o, bool pressureRequired) {
    LogFormat format(o.format);
    LogReader reader(o.log, format, pressureRequired);
    LogRow row;
    std::string problem;
    while (reader.next(row, problem)) {
        if (problem.empty()) return row.ns;
    }
    throw ToolError(fmt::format("'{}' holds no usable row", o.log));
}

// The logs of one sensor in time order (one log, and stdin, as given).
std::vector<ReplayOptions> inTimeOrder(const ReplayOptions& options, bool pressureRequired) {
    std::vector<std::pair<int64_t, ReplayOptions>> logs;
    for (const std::string& log : options.logs) {
        ReplayOptions o = options;
        o.log = log;
        const int64_t first = options.logs.size() > 1 ? firstTime(o, pressureRequired) : 0;
        logs.emplace_back(first, std::move(o));
    }
    std::stable_sort(logs.begin(), logs.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<ReplayOptions> out;
    for (auto& [first, o] : logs) out.push_back(std::move(o));
    return out;
}

// One log: the library restarted as a device would (configuration, then the state
// given or carried over from the previous log), the rate chosen, every row replayed.
ReplayReport replayOne(const ReplayOptions& o, const std::vector<uint8_t>* carried, bool first,
                       FILE* csv, FILE* diagnostics) {
    const auto start = std::chrono::steady_clock::now();
    const bool pressureRequired = o.outputsGiven && contains(o.outputs, OUT_PASSTHROUGH_PRESSURE);
    LogFormat format(o.format);
    LogReader reader(o.log, format, pressureRequired);
    ReplayReport report;
    report.log = o.log == "-" ? "<stdin>" : o.log;
    report.medianSpacingNs = medianSpacing(o, pressureRequired);
    bool flagsAdded = false;
    const std::vector<uint8_t> ids = subscriptionIds(o, flagsAdded);
    setUp(o, carried);
    report.rateHz = chooseRate(o, ids, report);
    setUp(o, carried);  // probing a rate may have subscribed
    subscribe(ids, report.rateHz);
    fmt::print(diagnostics, "rate: {} ({})\n", rateText(intervalOf(report.rateHz)),
               report.rateReason.empty() ? "as asked" : report.rateReason);
    report.iaqSubscribed = contains(o.outputs, OUT_IAQ_INDEX);
    report.flagsTracked = contains(o.outputs, OUT_ACCUMULATED_TIME_FLAG) || flagsAdded;
    Replayer(o, format, diagnostics, report).run(reader, csv, first);
    report.interrupted = interrupted();
    report.seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return report;
}

// Every log must have the columns the outputs need: drop the pressure pass-through
// from the default outputs when one has no pressure column.
ReplayOptions forAllLogs(const ReplayOptions& options, FILE* diagnostics) {
    const bool pressureRequired =
        options.outputsGiven && contains(options.outputs, OUT_PASSTHROUGH_PRESSURE);
    bool hasPressure = true;
    for (const std::string& log : options.logs) {
        if (log == "-") continue;  // read once only: its columns are resolved when replayed
        LogFormat format(options.format);
        LogReader reader(log, format, pressureRequired);
        hasPressure = hasPressure && format.hasColumn(kPressure);
    }
    return withoutUnmeasurable(options, hasPressure, diagnostics);
}

}  // namespace

std::vector<ReplayReport> replay(const ReplayOptions& options, FILE* diagnostics) {
    if (options.outputs.empty()) throw ToolError("no output chosen");
    if (options.logs.empty()) throw ToolError("no log given");
    if (options.logs.size() > 1 &&
        std::find(options.logs.begin(), options.logs.end(), "-") != options.logs.end()) {
        throw ToolError("stdin ('-') can only be replayed alone: it cannot be read twice");
    }
    parseRate(options.rate);  // a bad --rate stops the run before any file is touched
    const ReplayOptions o = forAllLogs(options, diagnostics);
    OutputFiles files(o);
    const bool pressureRequired = o.outputsGiven && contains(o.outputs, OUT_PASSTHROUGH_PRESSURE);
    std::vector<ReplayReport> reports;
    std::vector<uint8_t> carried;

    gInterrupted = 0;
    auto* previousInt = std::signal(SIGINT, onInterrupt);
    auto* previousTerm = std::signal(SIGTERM, onInterrupt);
    for (const ReplayOptions& log : inTimeOrder(o, pressureRequired)) {
        if (!reports.empty() && firstTime(log, pressureRequired) <= reports.back().lastNs) {
            throw ToolError(
                fmt::format("'{}' starts before '{}' ends: give the logs of one "
                            "sensor, which do not overlap",
                            log.log, reports.back().log));
        }
        reports.push_back(replayOne(log, reports.empty() ? nullptr : &carried, reports.empty(),
                                    files.csv(), diagnostics));
        if (interrupted()) break;
        carried = currentState();
    }
    std::signal(SIGINT, previousInt);
    std::signal(SIGTERM, previousTerm);

    if (!o.stateOut.empty()) exportBlob(files.staging(o.stateOut), o.stateOut, false);
    if (!o.configOut.empty()) exportBlob(files.staging(o.configOut), o.configOut, true);
    files.commit();
    return reports;
}

ReplayReport overall(const std::vector<ReplayReport>& reports) {
    ReplayReport all = reports.front();
    all.log = fmt::format("{} logs", reports.size());
    for (size_t i = 1; i < reports.size(); ++i) {
        const ReplayReport& r = reports[i];
        all.rows += r.rows, all.steps += r.steps, all.beforePlannedCall += r.beforePlannedCall;
        all.notAsked += r.notAsked, all.outputRows += r.outputRows;
        all.zeroTimeRows += r.zeroTimeRows, all.iaqSteps += r.iaqSteps;
        all.iaqSteps3 += r.iaqSteps3, all.continuousFlagLosses += r.continuousFlagLosses;
        for (size_t k = 0; k < kRoleCount; ++k) all.missingReadings[k] += r.missingReadings[k];
        for (const auto& [k, n] : r.badRows) all.badRows[k] += n;
        for (const auto& [k, n] : r.sensorControlWarnings) all.sensorControlWarnings[k] += n;
        for (const auto& [k, n] : r.doStepsWarnings) all.doStepsWarnings[k] += n;
        const auto shift = [&](const std::optional<int64_t>& t) {
            return t ? std::optional<int64_t>(*t + r.firstNs - all.firstNs) : std::nullopt;
        };
        if (!all.iaqAccuracy3Ns) all.iaqAccuracy3Ns = shift(r.iaqAccuracy3Ns);
        if (!all.accumulatedFlagNs) all.accumulatedFlagNs = shift(r.accumulatedFlagNs);
        if (!all.continuousFlagNs) all.continuousFlagNs = shift(r.continuousFlagNs);
        all.lastNs = r.lastNs, all.finalIaq = r.finalIaq, all.finalIaqAccuracy = r.finalIaqAccuracy;
        all.interrupted = all.interrupted || r.interrupted;
        all.seconds += r.seconds;
        if (r.rateHz != all.rateHz) all.rateReason = "per log";
    }
    return all;
}

void printSummary(const ReplayReport& r, FILE* out) {
    fmt::print(out, "Replay summary{}\n", r.interrupted ? " (interrupted)" : "");
    fmt::print(out, "  log               {}: {} rows spanning {}\n", r.log, r.rows,
               duration(r.lastNs - r.firstNs));
    fmt::print(out, "  rate              {}{}\n", rateText(intervalOf(r.rateHz)),
               r.rateReason.empty() ? "" : " (" + r.rateReason + ")");
    fmt::print(out,
               "  steps             {} processed; rows skipped: {} before the planned call, {} "
               "not asked for\n",
               r.steps, r.beforePlannedCall, r.notAsked);
    std::string bad = fmt::format("{}", r.badRowCount());
    for (const auto& [reason, count] : r.badRows) bad += fmt::format(", {} {}", count, reason);
    fmt::print(out, "  bad rows          {}\n", bad);
    std::string warnings;
    for (const auto& [code, count] : r.sensorControlWarnings) {
        warnings += fmt::format("{}{} x{} (sensor control)", warnings.empty() ? "" : ", ",
                                statusName(code), count);
    }
    for (const auto& [code, count] : r.doStepsWarnings) {
        warnings += fmt::format("{}{} x{} (processing step)", warnings.empty() ? "" : ", ",
                                statusName(code), count);
    }
    fmt::print(out, "  warnings          {}\n", warnings.empty() ? "none" : warnings);
    const uint64_t deviations = r.sensorControlWarnings.contains(RC_W_CALL_TIME_DEVIATION)
                                    ? r.sensorControlWarnings.at(RC_W_CALL_TIME_DEVIATION)
                                    : 0;
    if (deviations * 10 > r.steps + r.notAsked && r.medianSpacingNs > 0) {
        const double spacing = static_cast<double>(r.medianSpacingNs) / kNsPerSecond;
        const double sparsest = kSparseInterval / kIntervalUnitsPerSecond;
        fmt::print(out,
                   "  spacing           more than a tenth of the calls missed the plan: the log's "
                   "rows are {:g} s apart, the plan every {:g} s; {}\n",
                   spacing, 1.0 / r.rateHz,
                   spacing > sparsest
                       ? fmt::format("no plan is that sparse (at most every {:g} s), so every "
                                     "call is late and the IAQ accuracy will not rise",
                                     sparsest)
                       : fmt::format("--rate {} would fit", spacing <= 3 ? "1/3" : "1/300"));
    }
    std::string missing;
    for (uint8_t role = kTemperature; role < kRoleCount; ++role) {
        if (r.missingReadings[role] == 0) continue;
        missing += fmt::format("{}{} {}", missing.empty() ? "" : ", ", r.missingReadings[role],
                               kRoleNames[role]);
    }
    if (!missing.empty()) {
        fmt::print(out, "  missing readings  {} (marked missing: the rest of the row was used)\n",
                   missing);
    }
    if (r.zeroTimeRows != 0) {
        fmt::print(
            out,
            "  time 0            {} row(s) at time 0, which the library reads as \"no sample "
            "yet\": a first sample at 0 is not taken\n",
            r.zeroTimeRows);
    }
    if (r.iaqSubscribed) {
        const double share = r.iaqSteps == 0 ? 0.0
                                             : 100.0 * static_cast<double>(r.iaqSteps3) /
                                                   static_cast<double>(r.iaqSteps);
        fmt::print(out, "  IAQ accuracy 3    {}; {:.1f} % of IAQ outputs at accuracy 3\n",
                   after(r.iaqAccuracy3Ns, true), share);
    } else {
        fmt::print(out, "  IAQ accuracy 3    not tracked (iaq_index not subscribed)\n");
    }
    fmt::print(out, "  accumulated flag  {}{}\n", after(r.accumulatedFlagNs, r.flagsTracked),
               r.accumulatedFlagNs == 0 ? " (at once: the default requirement is 0 s; see "
                                          "status_tracker.accumulated_time_required)"
                                        : "");
    fmt::print(out, "  continuous flag   {}{}\n", after(r.continuousFlagNs, r.flagsTracked),
               r.continuousFlagLosses == 0
                   ? ""
                   : fmt::format("; lost {} time(s) after gaps", r.continuousFlagLosses));
    if (r.finalIaqAccuracy >= 0) {
        fmt::print(out, "  final IAQ         {:.1f} (accuracy {})\n", r.finalIaq,
                   r.finalIaqAccuracy);
    }
    const double rate = r.seconds > 0 ? static_cast<double>(r.steps) / r.seconds : 0.0;
    fmt::print(out, "  speed             {} steps in {:.2f} s: {:.0f} steps/s\n", r.steps,
               r.seconds, rate);
}

}  // namespace vorn::tools
