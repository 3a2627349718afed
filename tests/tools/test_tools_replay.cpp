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

using testing::has;

std::string simulateToText(double days, uint64_t seed = 1, bool faults = false) {
    SimulateOptions options;
    options.days = days;
    options.seed = seed;
    options.intervalSeconds = 30;
    if (faults) options.faults = parseFaults("all");
    char* data = nullptr;
    size_t size = 0;
    FILE* out = open_memstream(&data, &size);
    simulate(options, out);
    std::fclose(out);
    std::string text(data, size);
    std::free(data);
    return text;
}

// Rows of numbers (NaN for "nan"), header skipped.
std::vector<std::array<double, 6>> parseRows(const std::string& text) {
    std::vector<std::array<double, 6>> rows;
    for (size_t at = text.find('\n') + 1; at < text.size(); at = text.find('\n', at) + 1) {
        std::array<double, 6> row{};
        std::sscanf(text.c_str() + at, "%lf,%lf,%lf,%lf,%lf,%lf", &row[0], &row[1], &row[2],
                    &row[3], &row[4], &row[5]);
        rows.push_back(row);
    }
    return rows;
}

TEST(Simulate, DeterministicAndLongerRunsExtendShorterOnes) {
    const std::string first = simulateToText(0.5);
    EXPECT_EQ(simulateToText(0.5), first);
    EXPECT_NE(simulateToText(0.5, 2), first);
    EXPECT_EQ(simulateToText(1.0).compare(0, first.size(), first), 0);
    EXPECT_EQ(first.substr(0, first.find('\n')), kLogHeader);
}

TEST(Simulate, ReadingsStayInRangeAndFaultsAppearOnceEach) {
    const auto rows = parseRows(simulateToText(3));
    ASSERT_EQ(rows.size(), 3u * 86400 / 30);
    double minGas = 1e30, maxGas = 0, maxVoc = 0, previous = 0;
    for (const auto& [t, temp, p, rh, gas, voc] : rows) {
        ASSERT_GT(t, previous);
        previous = t;
        ASSERT_TRUE(temp > 5 && temp < 35 && p > 90000 && p < 110000 && rh >= 0 && rh <= 100 &&
                    gas >= 170 && gas <= 1.32e7)
            << t;
        minGas = std::min(minGas, gas), maxGas = std::max(maxGas, gas);
        maxVoc = std::max(maxVoc, voc);
    }
    EXPECT_GT(maxVoc, 1000.0);        // cooking happened
    EXPECT_GT(maxGas / minGas, 5.0);  // and the sensor saw it

    const auto faulty = parseRows(simulateToText(2, 1, true));
    int highHumidity = 0, lowGas = 0, nan = 0, gaps = 0, longestRun = 0, run = 0;
    for (size_t i = 0; i < faulty.size(); ++i) {
        nan += std::isnan(faulty[i][1]);
        highHumidity += faulty[i][3] > 100;
        lowGas += faulty[i][4] < 170;
        if (i == 0) continue;
        gaps += faulty[i][0] - faulty[i - 1][0] > 1000;
        run = faulty[i][4] == faulty[i - 1][4] ? run + 1 : 0;
        longestRun = std::max(longestRun, run);
    }
    EXPECT_EQ((std::array{nan, highHumidity, lowGas, gaps}), (std::array{1, 1, 1, 1}));
    EXPECT_GE(longestRun, 2 * 3600 / 30 - 1);  // two hours of a stuck reading
    EXPECT_THROW(parseFaults("gaps,smoke"), ToolError);
    EXPECT_FALSE(parseFaults("none").any());
}

TEST(Csv, NumbersFieldsAndOutputNames) {
    double v = 0;
    EXPECT_TRUE(parseNumber(" 12.5\r", v) && v == 12.5);
    EXPECT_TRUE(parseNumber("+3e2", v) && v == 300.0);
    EXPECT_TRUE(parseNumber("nan", v) && std::isnan(v));
    for (const char* bad : {"", " ", "1,5", "12abc", "0x10", "--1"}) {
        EXPECT_FALSE(parseNumber(bad, v)) << bad;
    }
    // The fast path for plain decimals must give exactly what std::from_chars gives.
    uint64_t state = 12345;
    auto next = [&state] {
        return state = state * 6364136223846793005ull + 1442695040888963407ull;
    };
    for (int i = 0; i < 200000; ++i) {
        const int digits = 1 + static_cast<int>(next() >> 60);
        const int point = static_cast<int>((next() >> 58) % (digits + 1));
        std::string text = (next() >> 63) ? "-" : "";
        for (int d = 0; d < digits; ++d) {
            if (d == point && d > 0) text += '.';
            text += static_cast<char>('0' + (next() >> 33) % 10);
        }
        double fast = 0, reference = 0;
        ASSERT_TRUE(parseNumber(text, fast)) << text;
        std::from_chars(text.data(), text.data() + text.size(), reference);
        ASSERT_TRUE(fast == reference && std::signbit(fast) == std::signbit(reference)) << text;
    }
    std::array<std::string_view, 3> fields{};
    EXPECT_EQ(splitFields("a,,c,d", fields), 4u);
    EXPECT_EQ(fields[1], "");
    EXPECT_EQ(parseOutputList("iaq_index,1,14"), (std::vector<uint8_t>{1, 14}));
    EXPECT_EQ(parseOutputList("host"), (std::vector<uint8_t>{1, 2, 3, 4, 6, 7, 8, 9, 14, 15}));
    EXPECT_EQ(parseOutputList("all").size(), 14u);
    for (const char* bad : {"5", "iaq", "1,,2", ""}) {
        EXPECT_THROW(parseOutputList(bad), ToolError) << bad;
    }
}

class Replay : public testing::ScratchDir {};

TEST_F(Replay, LinesWithoutFinalNewlineAndWithCrLf) {
    testing::writeFile(path("x.csv"), "a,b\r\n\r\n1,2\n3,4");
    LineReader reader(path("x.csv"));
    std::vector<std::string> lines;
    std::string_view line;
    while (reader.next(line)) lines.emplace_back(line);
    EXPECT_EQ(lines, (std::vector<std::string>{"a,b", "", "1,2", "3,4"}));
    EXPECT_EQ(reader.lineNumber(), 4u);
    EXPECT_EQ(reader.bytesConsumed(), reader.totalBytes());
}

TEST_F(Replay, WritesOneRowPerStepAndASummary) {
    ASSERT_EQ(vorn("simulate --days 0.25 --seed 7 -o log.csv").exitCode, 0);
    const auto r = vorn("replay log.csv -o out.csv --state-out savedState.dat --config-out c.bin");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    const std::string csv = testing::readFile(path("out.csv"));
    const std::string header = csv.substr(0, csv.find('\n'));
    EXPECT_TRUE(header.starts_with("time_s,iaq_index,iaq_index_accuracy,iaq_fixed_scale,") &&
                header.ends_with(",compensated_humidity,compensated_humidity_accuracy") &&
                std::count(header.begin(), header.end(), ',') == 20)
        << header;
    EXPECT_EQ(std::count(csv.begin(), csv.end(), '\n'), 7200 + 1);
    for (const char* part :
         {"7200 rows", "7200 processed", "bad rows          0", "warnings          none",
          "IAQ accuracy 3", "continuous flag   after 5.0 min", "steps/s"}) {
        EXPECT_TRUE(has(r.out, part)) << part << "\n" << r.out;
    }
    // With the CSV on stdout the summary moves to stderr.
    const auto piped = vorn("replay log.csv --outputs 1 --no-progress");
    EXPECT_TRUE(has(piped.err, "Replay summary"));
    EXPECT_EQ(piped.out.substr(0, 36), "time_s,iaq_index,iaq_index_accuracy\n");

    // Calibrated by the first run, the second reaches accuracy 3 at another time.
    EXPECT_EQ(testing::readFile(path("c.bin")).size(), 454u);
    const auto again = vorn("replay log.csv -o b.csv --state-in savedState.dat --config-in c.bin");
    ASSERT_EQ(again.exitCode, 0) << again.err;
    const auto when = [](const std::string& summary) {
        const size_t at = summary.find("IAQ accuracy 3    after ");
        return at == std::string::npos ? std::string("never") : summary.substr(at + 24, 12);
    };
    EXPECT_NE(when(again.out), when(r.out)) << again.out << r.out;

    // A log denser than the schedule: rows between planned calls are slept through.
    ASSERT_EQ(vorn("simulate --days 0.05 --interval 1 -o dense.csv").exitCode, 0);
    const auto dense = vorn("replay dense.csv -o out.csv");
    EXPECT_TRUE(has(dense.out, "1440 processed; rows skipped: 2880 before the planned call") &&
                has(dense.out, "warnings          none"))
        << dense.out;
}

TEST_F(Replay, BadRowsAreReportedWithLineNumbersAndSkipped) {
    testing::writeFile(path("log.csv"),
                       "time_s,temperature_c,pressure_pa,humidity_pct,gas_ohm\n"
                       "3,21,100000,40,50000\n6,21,100000,forty,50000\n9,21,100000,40\n"
                       "12,21,100000,140,50000\n15,nan,100000,40,50000\n"
                       "12,21,100000,40,50000\n18,21,100000,40,50000\n");
    const auto r = vorn("replay log.csv -o out.csv");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    for (const char* part :
         {"log.csv:3: humidity_pct 'forty' is not a number", "log.csv:4: 4 fields",
          "log.csv:5: humidity_pct 140 is outside 0 .. 100",
          "log.csv:6: temperature_c is not a number (NaN)", "log.csv:7: time_s 12 goes back"}) {
        EXPECT_TRUE(has(r.err, part)) << part << "\n" << r.err;
    }
    EXPECT_TRUE(has(r.out, "bad rows          5") && has(r.out, "2 processed")) << r.out;
    const auto strict = vorn("replay log.csv -o out.csv --strict");
    EXPECT_TRUE(strict.exitCode != 0 && has(strict.err, "log.csv:3:")) << strict.err;

    testing::writeFile(path("nogas.csv"),
                       "time_s,temperature_c,pressure_pa,humidity_pct\n3,1,1,1\n");
    testing::writeFile(path("empty.csv"), "");
    const std::pair<const char*, const char*> refused[] = {
        {"replay nogas.csv", "no column 'gas_ohm'"},
        {"replay empty.csv", "is empty"},
        {"replay missing.csv", "cannot open"},
        {"replay log.csv --outputs iaq", "unknown output 'iaq'"},
        {"replay log.csv --rate 0.3", "RC_E_RATE_NOT_ALLOWED"},
        {"replay log.csv --state-in nogas.csv", "refuses the state in"},
    };
    for (const auto& [args, mentions] : refused) {
        const auto bad = vorn(args);
        EXPECT_TRUE(bad.exitCode != 0 && has(bad.err, mentions)) << args << "\n" << bad.err;
    }
}

}  // namespace
}  // namespace vorn::tools
