// How a raw sensor log is laid out: which column holds what, the delimiter, whether
// there is a header, the time format and the units, and the values that mean
// "missing". Logs recorded by people's own scripts differ in all of these; the
// parser turns each row into a time in nanoseconds and readings in the library's units.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "csv.h"

namespace vorn::tools {

// What a column holds. The readings are in the order the library's inputs are
// measured in; time comes first.
enum Role : uint8_t { kTime, kTemperature, kPressure, kHumidity, kGas, kRoleCount };

// The names the options use ("time=...", "gas=kohm") and the canonical header's.
inline constexpr std::array<const char*, kRoleCount> kRoleNames = {"time", "temperature",
                                                                   "pressure", "humidity", "gas"};
inline constexpr std::array<const char*, kRoleCount> kCanonicalColumns = {
    "time_s", "temperature_c", "pressure_pa", "humidity_pct", "gas_ohm"};

// The options as given on the command line; empty means "the default".
struct LogFormatOptions {
    std::string columns;    // "time=ts,temperature=2": header names or 1-based positions
    bool noHeader = false;  // the first line is data
    int skipLines = 0;      // lines dropped before the header or the data
    std::string delimiter;  // "," ";" "tab"; empty: sniffed from the first line
    std::string timeUnit;   // s (default), ms, us, ns; ISO and day/month/year times are seen
    std::string timeZone;   // for times without a zone: "UTC" (default) or "+01:00"
    std::string units;      // "gas=kohm,pressure=hpa,temperature=f,humidity=fraction"
    std::string missing;    // "-200,-1": values that mean "no reading"
};

// One data row: the time and the readings present, in the library's units.
struct LogRow {
    int64_t ns = 0;
    std::array<double, kRoleCount> value{};  // [kTime] unused
    uint8_t present = 0;                     // bit per reading role
    uint8_t missing = 0;                     // bit per reading given as a missing marker
    std::string_view timeText;               // as written in the log
    bool timeInSeconds = true;               // timeText is a number of seconds
    bool has(Role role) const { return ((present >> role) & 1u) != 0; }
};

class LogFormat {
public:
    // Checks the options; throws ToolError naming a bad one and what is valid.
    explicit LogFormat(const LogFormatOptions& options);

    int skipLines() const { return skipLines_; }
    bool hasHeader() const { return header_; }

    // Decides the delimiter (unless given) and the columns from the first line after the
    // skipped ones: its names when the log has a header, else positions. Throws
    // ToolError when a required column is missing. `pressureRequired`: a pressure
    // output was asked for.
    void resolve(std::string_view firstLine, const std::string& path, bool pressureRequired);
    bool hasColumn(Role role) const { return column_[role] != kNone; }
    // The column as the log names it (its header cell, or "column 3"), for messages.
    const std::string& columnName(Role role) const { return names_[role]; }

    // Parses a data row. Returns "" or what is wrong with it.
    std::string parse(std::string_view line, LogRow& row);

private:
    static constexpr size_t kNone = SIZE_MAX;
    std::string parseTime(std::string_view text, int64_t& ns, bool& numeric) const;
    bool parseReading(Role role, std::string_view text, LogRow& row, std::string& problem) const;

    bool header_ = true;
    int skipLines_ = 0;
    char delimiter_ = 0;
    std::string columnSpec_;
    std::array<size_t, kRoleCount> column_{};
    std::array<std::string, kRoleCount> names_;
    size_t minFields_ = 0;
    int64_t nsPerUnit_ = 1000000000;  // of a time written as a number
    int64_t zoneOffsetNs_ = 0;        // subtracted from a date-time without a zone
    std::array<double, kRoleCount> scale_{1, 1, 1, 1, 1};
    std::array<double, kRoleCount> offset_{};
    std::vector<double> missing_;
    std::vector<std::string_view> fields_;
};

// The data rows of a log file (or stdin, "-"): skips the leading lines, blank lines
// and comment lines (#), reads the header if there is one and resolves the columns.
class LogReader {
public:
    LogReader(const std::string& path, LogFormat& format, bool pressureRequired);
    // The next data row: true with `problem` empty for a good row or naming what is
    // wrong with it; false at the end.
    bool next(LogRow& row, std::string& problem);
    uint64_t lineNumber() const { return line_; }
    const LineReader& lines() const { return lines_; }

private:
    LineReader lines_;
    LogFormat& format_;
    std::string pending_;  // a header-less log's first line, read to resolve the columns
    bool hasPending_ = false;
    uint64_t line_ = 0;
};

// Splits at `delimiter`; a field in double quotes may hold the delimiter, and ""
// inside quotes is a quote (the quotes are dropped only around a whole field).
size_t splitDelimited(std::string_view line, char delimiter, std::vector<std::string_view>& out);

// Seconds since 1970 of an ISO 8601 or day/month/year date-time; zoneNs is added
// to a time without a zone. Returns "" or what is wrong.
std::string parseDateTime(std::string_view text, int64_t zoneNs, int64_t& ns);

}  // namespace vorn::tools
