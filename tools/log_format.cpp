// Column mapping, delimiters, quoting, time formats, units and missing-value markers
// of raw logs. Checked once when the options are read, so a row costs a split, a
// number parse per reading and a multiply-add.
#include "log_format.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

#include "csv.h"
#include "tool_error.h"

namespace vorn::tools {

namespace {

constexpr int64_t kNsPerSecond = 1000000000;
constexpr double kMaxAbsNs = 9.2e18;  // inside int64

std::string lower(std::string_view text) {
    std::string out(text);
    std::transform(out.begin(), out.end(), out.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return out;
}

// "a=b,c=d" into pairs; throws naming the option when an entry has no '='.
std::vector<std::pair<std::string, std::string>> assignments(std::string_view text,
                                                             const char* option) {
    std::vector<std::pair<std::string, std::string>> out;
    while (!text.empty()) {
        const size_t comma = text.find(',');
        const std::string_view item = trim(text.substr(0, comma));
        const size_t eq = item.find('=');
        if (eq == std::string_view::npos) {
            throw ToolError(fmt::format("{} '{}': write name=value", option, item));
        }
        out.emplace_back(lower(trim(item.substr(0, eq))), std::string(trim(item.substr(eq + 1))));
        text = comma == std::string_view::npos ? "" : text.substr(comma + 1);
    }
    return out;
}

Role roleNamed(const std::string& name, const char* option) {
    for (uint8_t r = 0; r < kRoleCount; ++r) {
        if (name == kRoleNames[r]) return static_cast<Role>(r);
    }
    throw ToolError(
        fmt::format("{}: unknown column role '{}'; roles: time, temperature, "
                    "pressure, humidity, gas",
                    option, name));
}

struct UnitRow {
    Role role;
    const char* name;
    double scale, offset;  // library value = given * scale + offset
};
constexpr std::array<UnitRow, 11> kUnits = {{
    {kGas, "ohm", 1, 0},
    {kGas, "kohm", 1e3, 0},
    {kGas, "mohm", 1e6, 0},
    {kPressure, "pa", 1, 0},
    {kPressure, "hpa", 100, 0},
    {kPressure, "kpa", 1000, 0},
    {kTemperature, "c", 1, 0},
    {kTemperature, "f", 5.0 / 9.0, -32.0 * 5.0 / 9.0},
    {kTemperature, "k", 1, -273.15},
    {kHumidity, "percent", 1, 0},
    {kHumidity, "fraction", 100, 0},
}};

// Header names looked for when --columns does not name a role's column.
constexpr std::array<std::array<const char*, 4>, kRoleCount> kAliases = {{
    {"time_s", "time", "timestamp", "t"},
    {"temperature_c", "temperature", "temp", "t_c"},
    {"pressure_pa", "pressure", "press", "p_pa"},
    {"humidity_pct", "humidity", "rh", "hum"},
    {"gas_ohm", "gas", "gas_resistance", "resistance"},
}};

char delimiterNamed(const std::string& name) {
    if (name == "," || name == "comma") return ',';
    if (name == ";" || name == "semicolon") return ';';
    if (name == "tab" || name == "\\t" || name == "\t") return '\t';
    throw ToolError(fmt::format("--delimiter '{}': use , ; or tab", name));
}

int64_t nsPerTimeUnit(const std::string& unit) {
    if (unit.empty() || unit == "s") return kNsPerSecond;
    if (unit == "ms") return 1000000;
    if (unit == "us") return 1000;
    if (unit == "ns") return 1;
    throw ToolError(
        fmt::format("--time-unit '{}': use s, ms, us or ns (dates are recognised "
                    "by themselves)",
                    unit));
}

// "+01:00", "-0530", "+02" or "UTC"/"Z" as nanoseconds east of UTC; false when not one.
bool zoneOffset(std::string_view text, int64_t& ns) {
    if (text == "Z" || text == "UTC" || text == "utc" || text == "z") {
        ns = 0;
        return true;
    }
    if (text.size() < 3 || (text[0] != '+' && text[0] != '-')) return false;
    const int sign = text[0] == '-' ? -1 : 1;
    std::string digits;
    for (const char c : text.substr(1)) {
        if (c != ':') digits.push_back(c);
    }
    if ((digits.size() != 2 && digits.size() != 4) ||
        !std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; })) {
        return false;
    }
    const int hours = std::stoi(digits.substr(0, 2));
    const int minutes = digits.size() == 4 ? std::stoi(digits.substr(2)) : 0;
    if (hours > 23 || minutes > 59) return false;
    ns = sign * (hours * 3600LL + minutes * 60LL) * kNsPerSecond;
    return true;
}

// Days since 1970-01-01 of a proleptic Gregorian date.
int64_t daysFromCivil(int64_t y, int64_t m, int64_t d) {
    y -= m <= 2;
    const int64_t era = (y >= 0 ? y : y - 399) / 400;
    const int64_t yoe = y - era * 400;
    const int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + doe - 719468;
}

// Reads `count` digits at `at` into `value`; false when they are not all digits.
bool digitsAt(std::string_view text, size_t at, size_t count, int& value) {
    if (at + count > text.size()) return false;
    value = 0;
    for (size_t i = at; i < at + count; ++i) {
        if (text[i] < '0' || text[i] > '9') return false;
        value = value * 10 + (text[i] - '0');
    }
    return true;
}

// Neither blank nor a comment; most data lines start with a digit.
bool isContent(std::string_view line) {
    if (!line.empty() && line.front() >= '0' && line.front() <= '9') return true;
    line = trim(line);
    return !line.empty() && line.front() != '#';
}

}  // namespace

size_t splitDelimited(std::string_view line, char delimiter, std::vector<std::string_view>& out) {
    out.clear();
    if (line.find('"') == std::string_view::npos) {  // the common case: no quoting at all
        while (true) {
            const size_t at = line.find(delimiter);
            out.push_back(line.substr(0, at));
            if (at == std::string_view::npos) return out.size();
            line.remove_prefix(at + 1);
        }
    }
    size_t start = 0;
    bool quoted = false;
    for (size_t i = 0; i <= line.size(); ++i) {
        if (i < line.size() && line[i] == '"') quoted = !quoted;
        if (i == line.size() || (!quoted && line[i] == delimiter)) {
            std::string_view field = trim(line.substr(start, i - start));
            if (field.size() >= 2 && field.front() == '"' && field.back() == '"') {
                field = field.substr(1, field.size() - 2);
            }
            out.push_back(field);
            start = i + 1;
        }
    }
    return out.size();
}

std::string parseDateTime(std::string_view text, int64_t zoneNs, int64_t& ns) {
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    size_t at = 0;
    if (digitsAt(text, 0, 4, year) && text.size() >= 10 && text[4] == '-' && text[7] == '-') {
        if (!digitsAt(text, 5, 2, month) || !digitsAt(text, 8, 2, day)) return "no date";
        at = 10;
    } else if (digitsAt(text, 0, 2, day) && text.size() >= 10 &&
               (text[2] == '/' || text[2] == '.') && text[5] == text[2]) {  // day/month/year
        if (!digitsAt(text, 3, 2, month) || !digitsAt(text, 6, 4, year)) return "no date";
        at = 10;
    } else {
        return "neither a number nor a date";
    }
    if (month < 1 || month > 12 || day < 1 || day > 31) return "no valid date";
    int64_t fractionNs = 0;
    if (at < text.size() && (text[at] == 'T' || text[at] == ' ')) {
        if (!digitsAt(text, at + 1, 2, hour) || text.size() < at + 6 || text[at + 3] != ':' ||
            !digitsAt(text, at + 4, 2, minute)) {
            return "no time of day after the date";
        }
        at += 6;
        if (at < text.size() && text[at] == ':') {
            if (!digitsAt(text, at + 1, 2, second)) return "no seconds after ':'";
            at += 3;
            if (at < text.size() && (text[at] == '.' || text[at] == ',')) {
                int64_t scale = 100000000;
                for (++at; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at) {
                    fractionNs += (text[at] - '0') * scale;
                    scale /= 10;
                }
            }
        }
    }
    if (hour > 23 || minute > 59 || second > 60) return "no valid time of day";
    int64_t zone = zoneNs;
    const std::string_view rest = trim(text.substr(at));
    if (!rest.empty() && !zoneOffset(rest, zone)) return fmt::format("'{}' is no time zone", rest);
    const int64_t seconds =
        daysFromCivil(year, month, day) * 86400 + hour * 3600 + minute * 60 + second;
    if (seconds < -9200000000LL || seconds > 9200000000LL) return "a date beyond 1678..2261";
    ns = seconds * kNsPerSecond + fractionNs - zone;
    return "";
}

LogFormat::LogFormat(const LogFormatOptions& o)
    : header_(!o.noHeader), skipLines_(o.skipLines), columnSpec_(o.columns) {
    if (o.skipLines < 0) throw ToolError("--skip-lines must be 0 or more");
    if (!o.delimiter.empty()) delimiter_ = delimiterNamed(o.delimiter);
    nsPerUnit_ = nsPerTimeUnit(lower(o.timeUnit));
    if (!o.timeZone.empty() && !zoneOffset(o.timeZone, zoneOffsetNs_)) {
        throw ToolError(
            fmt::format("--time-zone '{}': use UTC or an offset such as +01:00", o.timeZone));
    }
    for (const auto& [roleName, unit] : assignments(o.units, "--units")) {
        const Role role = roleNamed(roleName, "--units");
        const auto row = std::find_if(kUnits.begin(), kUnits.end(), [&](const UnitRow& u) {
            return u.role == role && lower(unit) == u.name;
        });
        if (row == kUnits.end()) {
            std::string valid;
            for (const UnitRow& u : kUnits) {
                if (u.role == role) valid += fmt::format("{}{}", valid.empty() ? "" : ", ", u.name);
            }
            throw ToolError(fmt::format("--units {}={}: the units of {} are {}", roleName, unit,
                                        roleName, valid));
        }
        scale_[role] = row->scale;
        offset_[role] = row->offset;
    }
    std::string_view text = o.missing;
    while (!text.empty()) {
        const size_t comma = text.find(',');
        double value = 0;
        if (!parseNumber(text.substr(0, comma), value)) {
            throw ToolError(fmt::format("--missing '{}': a comma list of numbers", o.missing));
        }
        missing_.push_back(value);
        text = comma == std::string_view::npos ? "" : text.substr(comma + 1);
    }
}

void LogFormat::resolve(std::string_view firstLine, const std::string& path,
                        bool pressureRequired) {
    if (firstLine.starts_with("\xEF\xBB\xBF")) firstLine.remove_prefix(3);  // UTF-8 mark
    if (delimiter_ == 0) {
        delimiter_ = ',';
        size_t best = std::count(firstLine.begin(), firstLine.end(), ',');
        for (const char c : {';', '\t'}) {
            const auto n = static_cast<size_t>(std::count(firstLine.begin(), firstLine.end(), c));
            if (n > best) best = n, delimiter_ = c;
        }
    }
    std::vector<std::string_view> names;
    splitDelimited(firstLine, delimiter_, names);
    column_.fill(kNone);
    std::array<bool, kRoleCount> given{};
    for (const auto& [roleName, where] : assignments(columnSpec_, "--columns")) {
        const Role role = roleNamed(roleName, "--columns");
        given[role] = true;
        size_t position = 0;
        auto [ptr, ec] = std::from_chars(where.data(), where.data() + where.size(), position);
        if (ec == std::errc() && ptr == where.data() + where.size() && position >= 1) {
            column_[role] = position - 1;
            continue;
        }
        if (!header_) {
            throw ToolError(
                fmt::format("--columns {}={}: without a header, give a position "
                            "(1 is the first column)",
                            roleName, where));
        }
        for (size_t i = 0; i < names.size(); ++i) {
            if (lower(trim(names[i])) == lower(where)) column_[role] = i;
        }
        if (column_[role] == kNone) {
            throw ToolError(fmt::format("'{}': the header has no column '{}' (--columns {}=...)",
                                        path, where, roleName));
        }
    }
    for (uint8_t r = 0; r < kRoleCount; ++r) {
        if (given[r]) continue;
        if (!header_) {
            column_[r] = r;  // the canonical order
            continue;
        }
        for (const char* alias : kAliases[r]) {
            for (size_t i = 0; i < names.size() && column_[r] == kNone; ++i) {
                if (lower(trim(names[i])) == alias) column_[r] = i;
            }
        }
        if (column_[r] == kNone && (r != kPressure || pressureRequired)) {
            throw ToolError(fmt::format(
                "'{}': the header has no column '{}'; name it with --columns {}=NAME or "
                "=POSITION (header: {})",
                path, kCanonicalColumns[r], kRoleNames[r], firstLine));
        }
    }
    minFields_ = 0;
    for (uint8_t r = 0; r < kRoleCount; ++r) {
        if (column_[r] == kNone) continue;
        minFields_ = std::max(minFields_, column_[r] + 1);
        names_[r] = header_ && column_[r] < names.size() && !trim(names[column_[r]]).empty()
                        ? std::string(trim(names[column_[r]]))
                        : fmt::format("{} (column {})", kRoleNames[r], column_[r] + 1);
    }
}

std::string LogFormat::parseTime(std::string_view text, int64_t& ns, bool& numeric) const {
    numeric = true;
    if (nsPerUnit_ == 1) {  // whole nanoseconds: exact, where a double would round
        auto [ptr, ec] = std::from_chars(text.data(), text.data() + text.size(), ns);
        if (ec == std::errc() && ptr == text.data() + text.size()) return "";
    }
    double value = 0;
    if (parseNumber(text, value)) {
        const double scaled = value * static_cast<double>(nsPerUnit_);
        if (!(std::fabs(scaled) <= kMaxAbsNs)) return fmt::format("{} is not a usable time", text);
        ns = static_cast<int64_t>(std::llround(scaled));
        return "";
    }
    numeric = false;
    return parseDateTime(text, zoneOffsetNs_, ns);
}

bool LogFormat::parseReading(Role role, std::string_view text, LogRow& row,
                             std::string& problem) const {
    double value = 0;
    if (!parseNumber(text, value)) {
        problem = fmt::format("{} '{}' is not a number", names_[role], trim(text));
        return false;
    }
    if (std::find(missing_.begin(), missing_.end(), value) != missing_.end()) {
        row.missing |= static_cast<uint8_t>(1u << role);
        return true;
    }
    row.value[role] = value * scale_[role] + offset_[role];
    row.present |= static_cast<uint8_t>(1u << role);
    return true;
}

std::string LogFormat::parse(std::string_view line, LogRow& row) {
    const size_t n = splitDelimited(line, delimiter_, fields_);
    if (n < minFields_) {
        return fmt::format("{} fields, the columns chosen need at least {}", n, minFields_);
    }
    row.present = row.missing = 0;
    row.timeText = trim(fields_[column_[kTime]]);
    bool numeric = false;
    if (std::string problem = parseTime(row.timeText, row.ns, numeric); !problem.empty()) {
        return fmt::format("time '{}': {}", row.timeText, problem);
    }
    row.timeInSeconds = numeric && nsPerUnit_ == kNsPerSecond;
    std::string problem;
    for (uint8_t r = kTemperature; r < kRoleCount; ++r) {
        if (column_[r] != kNone &&
            !parseReading(static_cast<Role>(r), fields_[column_[r]], row, problem)) {
            return problem;
        }
    }
    return "";
}

LogReader::LogReader(const std::string& path, LogFormat& format, bool pressureRequired)
    : lines_(path), format_(format) {
    const std::string shown = path == "-" ? "<stdin>" : path;
    std::string_view line;
    for (int i = 0; i < format.skipLines(); ++i) {
        if (!lines_.next(line)) break;
    }
    bool found = false;
    while (!found && lines_.next(line)) {
        if (line.starts_with("\xEF\xBB\xBF")) line.remove_prefix(3);  // UTF-8 byte-order mark
        found = isContent(line);
    }
    if (!found) {
        throw ToolError(fmt::format("'{}' is empty: expected {}", shown,
                                    format.hasHeader() ? "a CSV header" : "data rows"));
    }
    format.resolve(line, shown, pressureRequired);
    if (!format.hasHeader()) {
        pending_ = std::string(line);
        hasPending_ = true;
        line_ = lines_.lineNumber();
    }
}

bool LogReader::next(LogRow& row, std::string& problem) {
    std::string_view line;
    if (hasPending_) {
        hasPending_ = false;
        line = pending_;
    } else {
        do {
            if (!lines_.next(line)) return false;
            line_ = lines_.lineNumber();
        } while (!isContent(line));
    }
    problem = format_.parse(line, row);
    return true;
}

}  // namespace vorn::tools
