// The replay loop and its summary. The hot path parses five numbers per row (an exact
// fast path for plain decimals, std::from_chars otherwise), makes two library calls,
// and formats the outputs with {fmt} into a block buffer; nothing on it allocates.
#include "replay.h"

#include <fmt/compile.h>
#include <fmt/format.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <chrono>
#include <cmath>

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
constexpr size_t kMaxFields = 64;  // fields of a log row that are looked at

enum Column { kTime, kTemperature, kPressure, kHumidity, kGas, kColumnCount };
constexpr std::array<const char*, kColumnCount> kColumnNames = {
    "time_s", "temperature_c", "pressure_pa", "humidity_pct", "gas_ohm"};

struct InputColumn {
    Column column;
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

void exportBlob(const std::string& path, bool configuration) {
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
    saveBlobFile(path, blob, wantsStateFileFormat(path));
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

void subscribe(const std::vector<uint8_t>& ids, float rate) {
    std::vector<SensorRate> requests;
    for (const uint8_t id : ids) requests.push_back(SensorRate{rate, id, {0, 0, 0}});
    std::array<SensorRate, 8> required{};
    uint8_t nRequired = required.size();
    const int32_t status = vorn_update_subscription(
        requests.data(), static_cast<uint8_t>(requests.size()), required.data(), &nRequired);
    if (status != RC_OK) {
        throw ToolError(fmt::format("the library refuses the subscription at {} Hz: {}{}", rate,
                                    describeStatus(status),
                                    rate == 0.0f ? " (a rate of 0 asks for an on-demand gas "
                                                   "measurement, not a subscription)"
                                                 : ""));
    }
}

// Column positions of the five inputs in the log's header.
std::array<size_t, kColumnCount> readHeader(LineReader& reader, const std::string& path) {
    std::string_view line;
    if (!reader.next(line)) throw ToolError("'" + path + "' is empty: expected a CSV header");
    std::array<std::string_view, 64> names{};
    const size_t n = std::min(splitFields(line, names), names.size());
    std::array<size_t, kColumnCount> columns{};
    for (size_t c = 0; c < kColumnCount; ++c) {
        size_t found = n;
        for (size_t i = 0; i < n; ++i) {
            std::string_view name = names[i];
            while (!name.empty() && name.front() == ' ') name.remove_prefix(1);
            while (!name.empty() && name.back() == ' ') name.remove_suffix(1);
            if (name == kColumnNames[c]) found = i;
        }
        if (found == n) {
            throw ToolError(fmt::format("'{}': the header has no column '{}'; expected: {}", path,
                                        kColumnNames[c], kLogHeader));
        }
        columns[c] = found;
    }
    return columns;
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
    Replayer(const ReplayOptions& o, FILE* diagnostics, ReplayReport& report)
        : o_(o), diag_(diagnostics), report_(report) {}

    void run();

private:
    void writeHeader(OutputBuffer& out);
    void badRow(const char* reason, const std::string& detail);
    bool parseRow(std::string_view line, std::array<double, kColumnCount>& values,
                  std::string_view& timeText);
    void processRow(const std::array<double, kColumnCount>& values, int64_t ns,
                    std::string_view timeText, OutputBuffer& out);
    std::string rangeDetail(const std::array<double, kColumnCount>& values) const;
    bool sleeping(int64_t ns) const;
    void track(const OutputSample& s, int64_t ns);

    const ReplayOptions& o_;
    FILE* diag_;
    ReplayReport& report_;
    std::string path_;
    uint64_t line_ = 0;
    std::array<size_t, kColumnCount> columns_{};
    size_t minFields_ = 0;
    std::array<std::string_view, kMaxFields> fields_;
    bool haveTime_ = false;
    int64_t lastNs_ = 0;
    std::array<bool, kMaxOutputId + 1> written_{};  // output id written to the CSV
    float lastContinuous_ = 0.0f;
    static constexpr int64_t kNoPlan = INT64_MIN;
    int64_t lastPlanNs_ = kNoPlan;  // time of the last sensor-control call that planned
    int64_t plannedNs_ = 0;         // the next call it planned
};

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

bool Replayer::parseRow(std::string_view line, std::array<double, kColumnCount>& values,
                        std::string_view& timeText) {
    std::array<std::string_view, kMaxFields>& fields = fields_;  // only [0, n) is read
    const size_t n = splitFields(line, fields);
    if (n < minFields_) {
        badRow("too few fields",
               fmt::format("{} fields, the header names at least {}", n, minFields_));
        return false;
    }
    for (size_t c = 0; c < kColumnCount; ++c) {
        if (!parseNumber(fields[columns_[c]], values[c])) {
            badRow("not a number",
                   fmt::format("{} '{}' is not a number", kColumnNames[c], fields[columns_[c]]));
            return false;
        }
    }
    timeText = fields[columns_[kTime]];
    while (!timeText.empty() && timeText.front() == ' ') timeText.remove_prefix(1);
    while (!timeText.empty() && (timeText.back() == ' ' || timeText.back() == '\r')) {
        timeText.remove_suffix(1);
    }
    return true;
}

std::string Replayer::rangeDetail(const std::array<double, kColumnCount>& values) const {
    for (const auto& in : kInputColumns) {
        const auto v = static_cast<float>(values[in.column]);
        if (std::isnan(v)) return fmt::format("{} is not a number (NaN)", kColumnNames[in.column]);
        // The library's default accepted range; a configuration does not change it.
        const float min = kInputMinimum[inputIndex(in.id)];
        const float max = kInputMaximum[inputIndex(in.id)];
        if (v < min || v > max) {
            return fmt::format("{} {} is outside {:g} .. {:g}", kColumnNames[in.column],
                               values[in.column], min, max);
        }
    }
    return "a value is outside its accepted range";
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

void Replayer::processRow(const std::array<double, kColumnCount>& values, int64_t ns,
                          std::string_view timeText, OutputBuffer& out) {
    if (sleeping(ns)) {
        ++report_.beforePlannedCall;
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
        if ((settings.input_mask >> (in.id - 1)) & 1u) {
            inputs[n++] = InputSample{ns, static_cast<float>(values[in.column]), 1, in.id, {0, 0}};
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
        badRow(reason,
               fmt::format("{} [{}]", status == RC_E_INPUT_RANGE ? rangeDetail(values) : "refused",
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
    buf.append(timeText);
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

void Replayer::run() {
    path_ = o_.log == "-" ? "<stdin>" : o_.log;
    LineReader reader(o_.log);
    columns_ = readHeader(reader, path_);
    for (const size_t c : columns_) minFields_ = std::max(minFields_, c + 1);

    FILE* csv = o_.output == "-" ? stdout : std::fopen(o_.output.c_str(), "wb");
    if (csv == nullptr) throw ToolError("cannot create '" + o_.output + "'");
    struct Closer {
        FILE* f;
        ~Closer() {
            if (f != stdout) std::fclose(f);
        }
    } closer{csv};
    OutputBuffer out(csv);
    writeHeader(out);
    Progress progress(o_.progress && isatty(fileno(stderr)) != 0, reader.totalBytes());

    std::string_view line;
    std::array<double, kColumnCount> values{};
    std::string_view timeText;
    constexpr uint64_t kProgressEvery = 1u << 16;
    while (reader.next(line)) {
        line_ = reader.lineNumber();
        if (line.empty()) continue;
        ++report_.rows;
        if ((report_.rows & (kProgressEvery - 1)) == 0) {
            progress.update(reader.bytesConsumed(), report_.steps);
        }
        if (!parseRow(line, values, timeText)) continue;
        const double seconds = values[kTime];
        if (!(std::fabs(seconds) <= kMaxAbsTimeSeconds)) {
            badRow("time out of range", fmt::format("time_s {} is not a usable time", seconds));
            continue;
        }
        const auto ns = static_cast<int64_t>(std::llround(seconds * kNsPerSecond));
        if (haveTime_ && ns <= lastNs_) {
            badRow("time not advancing",
                   fmt::format("time_s {} {} the previous row's", timeText,
                               ns == lastNs_ ? "repeats" : "goes back behind"));
            continue;
        }
        if (!haveTime_) report_.firstNs = ns;
        haveTime_ = true;
        lastNs_ = ns;
        report_.lastNs = ns;
        processRow(values, ns, timeText, out);
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

ReplayReport replay(const ReplayOptions& options, FILE* diagnostics) {
    const auto start = std::chrono::steady_clock::now();
    if (options.outputs.empty()) throw ToolError("no output chosen");
    ReplayReport report;
    vorn_init();
    if (!options.configIn.empty()) importBlob(options.configIn, true);
    if (!options.stateIn.empty()) importBlob(options.stateIn, false);
    bool flagsAdded = false;
    subscribe(subscriptionIds(options, flagsAdded), options.rateHz);
    report.iaqSubscribed = contains(options.outputs, OUT_IAQ_INDEX);
    report.flagsTracked = contains(options.outputs, OUT_ACCUMULATED_TIME_FLAG) || flagsAdded;

    Replayer(options, diagnostics, report).run();

    if (!options.stateOut.empty()) exportBlob(options.stateOut, false);
    if (!options.configOut.empty()) exportBlob(options.configOut, true);
    report.seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return report;
}

void printSummary(const ReplayOptions& options, const ReplayReport& r, FILE* out) {
    fmt::print(out, "Replay summary\n");
    fmt::print(out, "  log               {}: {} rows spanning {}\n",
               options.log == "-" ? "<stdin>" : options.log, r.rows,
               duration(r.lastNs - r.firstNs));
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
    if (r.iaqSubscribed) {
        const double share = r.iaqSteps == 0 ? 0.0
                                             : 100.0 * static_cast<double>(r.iaqSteps3) /
                                                   static_cast<double>(r.iaqSteps);
        fmt::print(out, "  IAQ accuracy 3    {}; {:.1f} % of IAQ outputs at accuracy 3\n",
                   after(r.iaqAccuracy3Ns, true), share);
    } else {
        fmt::print(out, "  IAQ accuracy 3    not tracked (iaq_index not subscribed)\n");
    }
    fmt::print(out, "  accumulated flag  {}\n", after(r.accumulatedFlagNs, r.flagsTracked));
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
