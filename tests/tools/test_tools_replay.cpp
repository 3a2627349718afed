// The room model (determinism, ranges, injected faults), the CSV plumbing and
// `vorn replay` end to end: its columns, its summary, and how it treats bad rows.
#include <gtest/gtest.h>

#include <charconv>
#include <cmath>
#include <cstdio>

#include "csv.h"
#include "names.h"
#include "simulate.h"
#include "tool_error.h"
#include "tool_test_support.h"
#include "vorn/vorn.h"

namespace vorn::tools {
namespace {

using testing::ScratchDir;

std::string simulateToText(const SimulateOptions& options) {
    char* data = nullptr;
    size_t size = 0;
    FILE* out = open_memstream(&data, &size);
    simulate(options, out);
    std::fclose(out);
    std::string text(data, size);
    std::free(data);
    return text;
}

std::vector<std::vector<std::string>> parseRows(const std::string& text) {
    std::vector<std::vector<std::string>> rows;
    size_t start = text.find('\n') + 1;  // skip the header
    while (start < text.size()) {
        const size_t end = text.find('\n', start);
        std::vector<std::string> fields;
        std::string line = text.substr(start, end - start);
        size_t from = 0;
        while (true) {
            const size_t comma = line.find(',', from);
            fields.push_back(line.substr(from, comma - from));
            if (comma == std::string::npos) break;
            from = comma + 1;
        }
        rows.push_back(fields);
        start = end + 1;
    }
    return rows;
}

TEST(Simulate, SameSeedSameBytesAndLongerRunsExtendShorterOnes) {
    SimulateOptions a;
    a.days = 0.5;
    const std::string first = simulateToText(a);
    EXPECT_EQ(simulateToText(a), first);
    SimulateOptions other = a;
    other.seed = 2;
    EXPECT_NE(simulateToText(other), first);
    SimulateOptions longer = a;
    longer.days = 1.0;
    EXPECT_EQ(simulateToText(longer).compare(0, first.size(), first), 0);
    EXPECT_EQ(first.substr(0, first.find('\n')), kLogHeader);
}

TEST(Simulate, ReadingsStayInsideTheLibrarysRangesAndMove) {
    SimulateOptions o;
    o.days = 3;
    o.intervalSeconds = 30;
    const auto rows = parseRows(simulateToText(o));
    ASSERT_EQ(rows.size(), 3u * 86400 / 30);
    double minGas = 1e30, maxGas = 0, maxVoc = 0, previous = 0;
    for (const auto& r : rows) {
        ASSERT_EQ(r.size(), 6u);
        const double t = std::stod(r[0]), temp = std::stod(r[1]), p = std::stod(r[2]);
        const double rh = std::stod(r[3]), gas = std::stod(r[4]), voc = std::stod(r[5]);
        EXPECT_GT(t, previous);
        previous = t;
        EXPECT_TRUE(temp > 5 && temp < 35) << temp;
        EXPECT_TRUE(p > 90000 && p < 110000) << p;
        EXPECT_TRUE(rh >= 0 && rh <= 100) << rh;
        EXPECT_TRUE(gas >= 170 && gas <= 1.32e7) << gas;
        minGas = std::min(minGas, gas);
        maxGas = std::max(maxGas, gas);
        maxVoc = std::max(maxVoc, voc);
    }
    EXPECT_GT(maxVoc, 1000.0);        // cooking happened
    EXPECT_GT(maxGas / minGas, 5.0);  // and the sensor saw it
}

TEST(Simulate, FaultsAppearOnceEachWhereRequested) {
    SimulateOptions o;
    o.days = 2;
    o.intervalSeconds = 30;
    o.faults = parseFaults("all");
    const auto rows = parseRows(simulateToText(o));
    int highHumidity = 0, lowGas = 0, nan = 0, gaps = 0, longestRun = 0, run = 0;
    for (size_t i = 0; i < rows.size(); ++i) {
        nan += rows[i][1] == "nan";
        highHumidity += std::stod(rows[i][3]) > 100;
        lowGas += std::stod(rows[i][4]) < 170;
        if (i > 0) {
            gaps += std::stod(rows[i][0]) - std::stod(rows[i - 1][0]) > 1000;
            run = rows[i][4] == rows[i - 1][4] ? run + 1 : 0;
            longestRun = std::max(longestRun, run);
        }
    }
    EXPECT_EQ(nan, 1);
    EXPECT_EQ(highHumidity, 1);
    EXPECT_EQ(lowGas, 1);
    EXPECT_EQ(gaps, 1);
    EXPECT_GE(longestRun, 2 * 3600 / 30 - 1);  // two hours of a stuck reading
    EXPECT_THROW(parseFaults("gaps,smoke"), ToolError);
    EXPECT_FALSE(parseFaults("none").any());
}

TEST(Csv, NumbersAndFields) {
    double v = 0;
    EXPECT_TRUE(parseNumber(" 12.5\r", v));
    EXPECT_EQ(v, 12.5);
    EXPECT_TRUE(parseNumber("+3e2", v));
    EXPECT_EQ(v, 300.0);
    EXPECT_TRUE(parseNumber("nan", v));
    EXPECT_TRUE(std::isnan(v));
    for (const char* bad : {"", " ", "1,5", "12abc", "0x10", "--1"}) {
        EXPECT_FALSE(parseNumber(bad, v)) << bad;
    }
    std::array<std::string_view, 3> fields{};
    EXPECT_EQ(splitFields("a,,c,d", fields), 4u);
    EXPECT_EQ(fields[1], "");
    EXPECT_EQ(fields[2], "c");
}

// The fast path for plain decimals must give exactly what std::from_chars gives.
TEST(Csv, PlainDecimalsParseExactlyLikeFromChars) {
    uint64_t state = 12345;
    auto next = [&state] {
        return state = state * 6364136223846793005ull + 1442695040888963407ull;
    };
    for (int i = 0; i < 200000; ++i) {
        const int digits = 1 + static_cast<int>(next() >> 60);  // 1..16
        const int point = static_cast<int>((next() >> 58) % (digits + 1));
        std::string text = (next() >> 63) ? "-" : "";
        for (int d = 0; d < digits; ++d) {
            if (d == point && d > 0) text += '.';
            text += static_cast<char>('0' + (next() >> 33) % 10);
        }
        double fast = 0, reference = 0;
        ASSERT_TRUE(parseNumber(text, fast)) << text;
        std::from_chars(text.data(), text.data() + text.size(), reference);
        ASSERT_EQ(fast, reference) << text;
        ASSERT_EQ(std::signbit(fast), std::signbit(reference)) << text;
    }
}

class CsvFile : public ScratchDir {};

TEST_F(CsvFile, LinesWithoutFinalNewlineAndWithCrLf) {
    testing::writeFile(path("x.csv"), "a,b\r\n\r\n1,2\n3,4");
    LineReader reader(path("x.csv"));
    std::vector<std::string> lines;
    std::string_view line;
    while (reader.next(line)) lines.emplace_back(line);
    EXPECT_EQ(lines, (std::vector<std::string>{"a,b", "", "1,2", "3,4"}));
    EXPECT_EQ(reader.lineNumber(), 4u);
    EXPECT_EQ(reader.bytesConsumed(), reader.totalBytes());
}

TEST(Names, OutputListsByNameIdOrGroup) {
    EXPECT_EQ(parseOutputList("iaq_index,1,14"), (std::vector<uint8_t>{1, 14}));
    EXPECT_EQ(parseOutputList("host"), (std::vector<uint8_t>{1, 2, 3, 4, 6, 7, 8, 9, 14, 15}));
    EXPECT_EQ(parseOutputList("all").size(), 14u);
    for (const char* bad : {"5", "iaq", "1,,2", ""}) {
        EXPECT_THROW(parseOutputList(bad), ToolError) << bad;
    }
    EXPECT_STREQ(statusName(RC_E_BLOB_CRC), "RC_E_BLOB_CRC");
}

// ---- `vorn replay` end to end ----

class Replay : public ScratchDir {
protected:
    void simulateLog(const std::string& extra = "") {
        ASSERT_EQ(vorn("simulate --days 0.25 --seed 7 -o log.csv " + extra).exitCode, 0);
    }
};

TEST_F(Replay, WritesOneRowPerStepAndASummary) {
    simulateLog();
    const auto r = vorn("replay log.csv -o out.csv");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    const std::string csv = testing::readFile(path("out.csv"));
    std::string expected = "time_s";
    for (const char* name :
         {"iaq_index", "iaq_fixed_scale", "linear_estimate", "exponential_estimate",
          "raw_temperature", "raw_pressure", "raw_humidity", "raw_gas", "compensated_temperature",
          "compensated_humidity"}) {
        expected += std::string(",") + name + "," + name + "_accuracy";
    }
    EXPECT_EQ(csv.substr(0, csv.find('\n')), expected);
    EXPECT_EQ(testing::countLines(csv), 7200u + 1);
    for (const char* part :
         {"7200 rows", "7200 processed", "bad rows          0", "warnings          none",
          "IAQ accuracy 3", "continuous flag   after 5.0 min", "steps/s"}) {
        EXPECT_NE(r.out.find(part), std::string::npos) << part << "\n" << r.out;
    }
    // With the CSV on stdout the summary moves to stderr.
    const auto piped = vorn("replay log.csv --outputs 1 --no-progress");
    EXPECT_NE(piped.err.find("Replay summary"), std::string::npos);
    EXPECT_EQ(piped.out.substr(0, 36), "time_s,iaq_index,iaq_index_accuracy\n");
}

// A log denser than the schedule: the rows between planned calls are slept through.
TEST_F(Replay, RowsBetweenPlannedCallsAreSkippedWithoutWarnings) {
    ASSERT_EQ(vorn("simulate --days 0.05 --interval 1 -o log.csv").exitCode, 0);
    const auto r = vorn("replay log.csv -o out.csv");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_NE(r.out.find("1440 processed; rows skipped: 2880 before the planned call"),
              std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find("warnings          none"), std::string::npos) << r.out;
}

TEST_F(Replay, BadRowsAreReportedWithLineNumbersAndSkipped) {
    testing::writeFile(path("log.csv"),
                       "time_s,temperature_c,pressure_pa,humidity_pct,gas_ohm\n"
                       "3,21,100000,40,50000\n"
                       "6,21,100000,forty,50000\n"  // line 3: not a number
                       "9,21,100000,40\n"           // line 4: too few fields
                       "12,21,100000,140,50000\n"   // line 5: out of range
                       "15,nan,100000,40,50000\n"   // line 6: NaN
                       "12,21,100000,40,50000\n"    // line 7: time goes back
                       "18,21,100000,40,50000\n");
    const auto r = vorn("replay log.csv -o out.csv");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    for (const char* part :
         {"log.csv:3: humidity_pct 'forty' is not a number", "log.csv:4: 4 fields",
          "log.csv:5: humidity_pct 140 is outside 0 .. 100",
          "log.csv:6: temperature_c is not a number (NaN)", "log.csv:7: time_s 12 goes back"}) {
        EXPECT_NE(r.err.find(part), std::string::npos) << part << "\n" << r.err;
    }
    EXPECT_NE(r.out.find("bad rows          5"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("2 processed"), std::string::npos) << r.out;

    const auto strict = vorn("replay log.csv -o out.csv --strict");
    EXPECT_NE(strict.exitCode, 0);
    EXPECT_NE(strict.err.find("log.csv:3:"), std::string::npos) << strict.err;
}

TEST_F(Replay, RefusesWhatItCannotUse) {
    testing::writeFile(path("nogas.csv"),
                       "time_s,temperature_c,pressure_pa,humidity_pct\n3,1,1,1\n");
    testing::writeFile(path("empty.csv"), "");
    struct Case {
        const char* args;
        const char* mentions;
    } cases[] = {
        {"replay nogas.csv", "no column 'gas_ohm'"},
        {"replay empty.csv", "is empty"},
        {"replay missing.csv", "cannot open"},
        {"replay log.csv --outputs iaq", "unknown output 'iaq'"},
        {"replay log.csv --rate 0.3", "RC_E_RATE_NOT_ALLOWED"},
        {"replay log.csv --state-in nogas.csv", "refuses the state in"},
    };
    simulateLog();
    for (const auto& c : cases) {
        const auto r = vorn(c.args);
        EXPECT_NE(r.exitCode, 0) << c.args;
        EXPECT_NE(r.err.find(c.mentions), std::string::npos) << c.args << "\n" << r.err;
    }
}

TEST_F(Replay, StateCarriesTheCalibrationIntoTheNextRun) {
    simulateLog();
    ASSERT_EQ(
        vorn("replay log.csv -o a.csv --state-out savedState.dat --config-out c.bin").exitCode, 0);
    EXPECT_EQ(testing::readFile(path("savedState.dat")).substr(0, 4), "139\n");
    EXPECT_EQ(testing::readBytes(path("c.bin")).size(), 454u);
    const auto again = vorn("replay log.csv -o b.csv --state-in savedState.dat --config-in c.bin");
    ASSERT_EQ(again.exitCode, 0) << again.err;
    // Calibrated from the first run, the second reaches accuracy 3 sooner.
    const auto first = vorn("replay log.csv -o a.csv");
    const auto when = [](const std::string& summary) {
        const size_t at = summary.find("IAQ accuracy 3    after ");
        return at == std::string::npos ? std::string("never") : summary.substr(at + 24, 12);
    };
    EXPECT_NE(when(again.out), when(first.out)) << again.out << first.out;
}

}  // namespace
}  // namespace vorn::tools
