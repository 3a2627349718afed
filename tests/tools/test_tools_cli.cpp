// `vorn` end to end through the built program: one run of every subcommand on the
// files the others wrote, and one table of refusals (bad arguments, files and values),
// each of which must fail and name what was wrong; `simulate` and `config set` then
// write nothing.
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <tuple>

#include "vorn/version.h"
#include "vorn/vorn.h"

namespace {

namespace fs = std::filesystem;

struct RunResult {
    int exitCode;
    std::string out, err;
};

std::string readFile(const fs::path& path) {
    std::stringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

bool has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

class Cli : public ::testing::Test {
protected:
    void SetUp() override {
        std::string name = (fs::temp_directory_path() / "vorn_cli_XXXXXX").string();
        dir_ = ::mkdtemp(name.data());
    }
    void TearDown() override { fs::remove_all(dir_); }

    std::string path(const std::string& name) const { return (dir_ / name).string(); }
    std::string read(const std::string& name) const { return readFile(dir_ / name); }
    void write(const std::string& name, const std::string& bytes) const {
        std::ofstream(dir_ / name, std::ios::binary) << bytes;
    }

    // Runs `vorn ARGS` (shell syntax) in the scratch directory.
    RunResult vorn(const std::string& args) const {
        const std::string out = path(".stdout"), err = path(".stderr");
        const std::string command = "cd '" + dir_.string() + "' && '" VORN_CLI "' " + args +
                                    " > '" + out + "' 2> '" + err + "'";
        const int status = std::system(command.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readFile(out), readFile(err)};
    }

    fs::path dir_;
};

TEST_F(Cli, SimulateAndReplayWithSavedStateAndConfiguration) {
    ASSERT_EQ(vorn("simulate --days 0.25 --seed 7 -o log.csv").exitCode, 0);
    ASSERT_EQ(vorn("simulate --days 0.25 --seed 7 -o again.csv").exitCode, 0);
    EXPECT_EQ(read("log.csv"), read("again.csv")) << "the same seed must give the same log";

    const auto r = vorn("replay log.csv -o out.csv --state-out savedState.dat --config-out c.bin");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    const std::string csv = read("out.csv");
    const std::string header = csv.substr(0, csv.find('\n'));
    EXPECT_TRUE(header.starts_with("time_s,iaq_index,iaq_index_accuracy,iaq_fixed_scale,") &&
                header.ends_with(",compensated_humidity,compensated_humidity_accuracy") &&
                std::count(header.begin(), header.end(), ',') == 20)
        << header;
    EXPECT_EQ(std::count(csv.begin(), csv.end(), '\n'), 7200 + 1);
    for (const char* part : {"7200 processed", "bad rows          0", "warnings          none",
                             "continuous flag   after 5.0 min"}) {
        EXPECT_TRUE(has(r.out, part)) << part << "\n" << r.out;
    }

    // Resumed from the saved state, the index is calibrated at another time.
    const auto again = vorn("replay log.csv -o b.csv --state-in savedState.dat --config-in c.bin");
    ASSERT_EQ(again.exitCode, 0) << again.err;
    const auto when = [](const std::string& summary) {
        const size_t at = summary.find("IAQ accuracy 3    after ");
        return at == std::string::npos ? std::string("never") : summary.substr(at + 24, 12);
    };
    EXPECT_NE(when(again.out), when(r.out)) << again.out << r.out;

    const auto state = vorn("state show savedState.dat");
    EXPECT_TRUE(state.exitCode == 0 &&
                has(state.out, "state file (length line + blob), blob of 139") &&
                has(state.out, "=> track 1"))
        << state.out << state.err;
}

TEST_F(Cli, ConfigDefaultShowSetAndNames) {
    ASSERT_EQ(vorn("config default -o c.bin").exitCode, 0);
    EXPECT_EQ(read("c.bin").size(), 454u);
    const auto text = vorn("config show c.bin");
    for (const char* part : {"RC_OK (0)", "[iaq] section 2, 28 bytes at offset 64", "225",
                             "[hyper] section 254, 229 bytes", "300 (3 s)", "65535 (off)"}) {
        EXPECT_TRUE(has(text.out, part)) << part;
    }
    write("c.json", vorn("config show --json c.bin").out);
    const std::string check = "/usr/bin/python3 -c \"import json; d = json.load(open('" +
                              path("c.json") +
                              "')); assert d['valid'] and "
                              "d['sections'][1]['fields']['index_scale'] == 225\"";
    EXPECT_EQ(std::system(check.c_str()), 0) << read("c.json");
    const std::string names = vorn("config names").out;
    const std::string line = names.substr(names.find("status_tracker.accumulated_time_required"));
    EXPECT_TRUE(has(names, "hyper.allowed_intervals.gas_scale_percent") &&
                has(line.substr(0, line.find('\n')), " ns "))
        << "every parameter with its unit";

    // Each change shows in `config show` and the library accepts the result.
    const std::array<const char*, 3> cases[] = {
        // assignment, field, what show prints
        {"iaq.linear_slope_low=-2.5e-3", "linear_slope_low", "-0.0025"},
        {"status_tracker.accumulated_time_required=3.6e12", "accumulated_time_required",
         "3600000000000 (3600 s)"},
        {"hyper.heater_duration_ms[2]=250", "heater_duration_ms", "1943, 900, 250, 1116"},
        {"hyper.allowed_intervals.iaq_index=30000,100,300,1800,6000,600",
         "allowed_intervals.iaq_index", "6000 (60 s), 600 (6 s)"},
    };
    for (const auto& [assignment, field, shows] : cases) {
        const auto set = vorn(std::string("config set c.bin ") + assignment + " -o new.bin");
        ASSERT_EQ(set.exitCode, 0) << assignment << "\n" << set.err;
        const std::string show = vorn("config show new.bin").out;
        const size_t at = show.find(std::string("\n  ") + field + " ");
        ASSERT_NE(at, std::string::npos) << assignment;
        EXPECT_TRUE(has(show.substr(at, show.find('\n', at + 1) - at), shows)) << assignment;
        const std::string blob = read("new.bin");
        std::vector<uint8_t> work(4096);
        vorn_init();
        EXPECT_EQ(vorn_set_configuration(reinterpret_cast<const uint8_t*>(blob.data()),
                                         static_cast<uint32_t>(blob.size()), work.data(), 4096),
                  RC_OK)
            << assignment;
    }
}

TEST_F(Cli, HelpVersionAndBadRowsSkippedWithLineNumbers) {
    for (const char* command : {"", "simulate", "replay", "state", "state show", "config",
                                "config show", "config default", "config set", "config names"}) {
        const auto r = vorn(std::string(command) + " --help");
        EXPECT_TRUE(r.exitCode == 0 && has(r.out, "Usage")) << command << "\n" << r.out;
    }
    EXPECT_EQ(vorn("--version").out, "vorn " VORN_VERSION_STRING "\n");

    write("log.csv",
          "time_s,temperature_c,pressure_pa,humidity_pct,gas_ohm\n"
          "3,21,100000,40,50000\n6,21,100000,forty,50000\n9,21,100000,40\n"
          "12,21,100000,140,50000\n15,nan,100000,40,50000\n"
          "12,21,100000,40,50000\n18,21,100000,40,50000");  // and no final newline
    const auto r = vorn("replay log.csv --rate 1/3 -o out.csv");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    for (const char* part :
         {"log.csv:3: humidity_pct 'forty' is not a number", "log.csv:4: 4 fields",
          "log.csv:5: humidity_pct 140 is outside 0 .. 100",
          "log.csv:6: temperature_c is not a number (NaN)", "log.csv:7: time_s 12 goes back"}) {
        EXPECT_TRUE(has(r.err, part)) << part << "\n" << r.err;
    }
    EXPECT_TRUE(has(r.out, "bad rows          5") && has(r.out, "2 processed")) << r.out;
}

TEST_F(Cli, RefusalsNameWhatWasWrongAndWriteNothing) {
    ASSERT_EQ(vorn("config default -o c.bin").exitCode, 0);
    ASSERT_EQ(vorn("simulate --days 0.02 -o log.csv").exitCode, 0);
    ASSERT_EQ(vorn("replay log.csv -q -o /dev/null --state-out good.dat").exitCode, 0);
    const std::string good = read("good.dat");
    write("crc.dat", good.substr(0, 40) + char(good[40] ^ 1) + good.substr(41));
    write("short.dat", "139\n" + good.substr(4, 100));
    write("length.dat", "138\n" + good.substr(4, 138));
    write("version.dat", "139\n\x05" + good.substr(5));
    write("hello.dat", "hello");
    write("bad.csv", "time_s,temperature_c,pressure_pa,humidity_pct,gas_ohm\n3,21,1e5,forty,5e4\n");
    write("nogas.csv", "time_s,temperature_c,pressure_pa,humidity_pct\n3,1,1,1\n");
    write("empty.csv", "");
    const std::pair<const char*, const char*> cases[] = {
        // arguments, what the error names
        {"frobnicate", "subcommand"},
        {"simulate --days -1 -o out.csv", "--days"},
        {"simulate --interval abc -o out.csv", "--interval = abc"},
        {"simulate --faults gaps,smoke -o out.csv", "unknown fault 'smoke'"},
        {"simulate --bogus -o out.csv", "--bogus"},
        {"replay", "logs is required"},
        {"replay missing.csv -o out.csv", "cannot open"},
        {"replay empty.csv -o out.csv", "is empty"},
        {"replay nogas.csv -o out.csv", "no column 'gas_ohm'"},
        {"replay bad.csv --strict -o out.csv", "bad.csv:2: humidity_pct 'forty'"},
        {"replay log.csv --outputs iaq -o out.csv", "unknown output 'iaq'"},
        {"replay log.csv --outputs 1,,2 -o out.csv", "output"},
        {"replay log.csv --rate 0.3 -o out.csv", "RC_E_RATE_NOT_ALLOWED"},
        {"replay log.csv --state-in nogas.csv -o out.csv", "refuses the state in"},
        {"replay log.csv --config-in good.dat -o out.csv", "configuration"},
        {"state show", "file is required"},
        {"state show crc.dat", "CRC mismatch"},
        {"state show short.dat", "truncated"},
        {"state show length.dat", "length field"},
        {"state show version.dat", "version word"},
        {"state show hello.dat", "RC_E_BLOB_TOO_SHORT"},
        {"state show c.bin", "is this a configuration blob?"},
        {"config show good.dat", "is this a state blob?"},
        {"config set c.bin iaq.index_scal=3 -o out.bin", "did you mean 'iaq.index_scale'?"},
        {"config set c.bin frobnicate=3 -o out.bin", "valid names"},
        {"config set c.bin Index_Scale=3 -o out.bin", "did you mean 'iaq.index_scale'?"},
        {"config set c.bin iaq.index_scale=abc -o out.bin", "not a whole number"},
        {"config set c.bin iaq.index_scale=1.5 -o out.bin", "not a whole number"},
        {"config set c.bin iaq.index_scale=70000 -o out.bin", "outside the range 1 .. 65535"},
        {"config set c.bin iaq.index_scale=99999999999999999999 -o out.bin", "outside"},
        {"config set c.bin iaq.linear_slope_low=abc -o out.bin", "not a number"},
        {"config set c.bin iaq.linear_slope_low=nan -o out.bin", "outside"},
        {"config set c.bin iaq.linear_slope_low=1e39 -o out.bin", "outside"},
        {"config set c.bin status_tracker.gap_factor=-3 -o out.bin", "outside"},
        {"config set c.bin hyper.gas_intervals[4]=1 -o out.bin", "index 4 is out of range"},
        {"config set c.bin hyper.gas_intervals=1,2 -o out.bin", "needs 4 comma-separated values"},
        {"config set c.bin iaq.index_scale -o out.bin", "no assignment"},
        {"config set missing.bin iaq.index_scale=3 -o out.bin", "cannot open"},
    };
    for (const auto& [args, mentions] : cases) {
        const auto r = vorn(args);
        EXPECT_TRUE(r.exitCode != 0 && has(r.err, mentions)) << args << "\n" << r.err;
        const bool simulate = std::string(args).starts_with("simulate");
        EXPECT_FALSE(fs::exists(path(simulate ? "out.csv" : "out.bin"))) << args;
    }
    const auto json = vorn("state show --json crc.dat");
    EXPECT_TRUE(json.exitCode == 1 && has(json.out, "\"valid\": false") &&
                has(json.out, "RC_E_BLOB_CRC"))
        << json.out;
}

// Everything after the time column: the same outputs whatever the log's time format.
std::string afterTime(const std::string& csv) {
    std::string out;
    std::istringstream lines(csv);
    for (std::string line; std::getline(lines, line);) out += line.substr(line.find(',')) + "\n";
    return out;
}

// A log in another layout, delimiter, time format or unit, read with the options
// that describe it, gives the canonical log's outputs exactly.
TEST_F(Cli, ReplayReadsOtherLayoutsTimesAndUnits) {
    const auto gasAt = [](int i) { return 50000 + 1000 * (i % 7); };
    std::string canonical = "time_s,temperature_c,pressure_pa,humidity_pct,gas_ohm\n";
    std::string semicolon =
        "\xEF\xBB\xBF\"time\";\"temp\";\"pressure\";\"rh\";\"gas\"\n# comment\n";
    std::string bare = "KIT v2 metadata line\n", iso = "t,temperature,humidity,gas,pressure\n";
    for (int i = 1; i <= 40; ++i) {
        const int gas = gasAt(i);
        canonical += fmt::format("{},21,100000,40,{}\n", 3 * i, gas);
        semicolon += fmt::format("\"{}000\";21;100000;40;\"{}\"\n", 3 * i, gas);
        bare += fmt::format("{}000000000,40,{}.{:03d},1000,21\n", 3 * i, gas / 1000, gas % 1000);
        iso += fmt::format("2024-03-01 00:{:02d}:{:02d}+01:00,21,40,{},100000\n", 3 * i / 60,
                           3 * i % 60, gas);
    }
    write("canonical.csv", canonical), write("semicolon.csv", semicolon), write("bare.csv", bare);
    write("iso.csv", iso);
    const std::string outputs =
        " --rate 1/3 --outputs iaq_index,compensated_temperature,"
        "passthrough_gas,passthrough_pressure -o ";
    ASSERT_EQ(vorn("replay canonical.csv" + outputs + "want.csv").exitCode, 0);
    const auto same = [&](const std::string& log, const std::string& options) {
        const auto r = vorn("replay " + log + " " + options + outputs + "got.csv");
        EXPECT_EQ(r.exitCode, 0) << log << "\n" << r.err;
        EXPECT_EQ(afterTime(read("got.csv")), afterTime(read("want.csv"))) << log << options;
    };
    const std::pair<const char*, const char*> formats[] = {
        {"semicolon.csv", "--time-unit ms"},
        {"bare.csv",
         "--skip-lines 1 --no-header --time-unit ns --units gas=kohm,pressure=hpa "
         "--columns time=1,humidity=2,gas=3,pressure=4,temperature=5"},
        {"iso.csv", "--columns time=t --time-zone +02:00"},
    };
    for (const auto& [log, options] : formats) same(log, options);
    EXPECT_TRUE(has(read("got.csv"), "\n1709247603,"))
        << "dates are written in seconds, their own zone before --time-zone";

    struct Units {
        const char *option, *temperature, *pressure, *humidity;
        double ohmsPerUnit;
    };
    const Units units[] = {
        {"temperature=f,pressure=kpa,humidity=fraction,gas=mohm", "69.8", "100", "0.4", 1e6},
        {"temperature=k,pressure=hpa,humidity=percent,gas=kohm", "294.15", "1000", "40", 1e3},
    };
    for (const Units& u : units) {
        std::string log = "time_s,temperature_c,pressure_pa,humidity_pct,gas_ohm\n";
        for (int i = 1; i <= 40; ++i) {
            log += fmt::format("{},{},{},{},{}\n", 3 * i, u.temperature, u.pressure, u.humidity,
                               gasAt(i) / u.ohmsPerUnit);
        }
        write("units.csv", log);
        same("units.csv", std::string("--units ") + u.option);
    }
    // Unconverted units are hinted at, never guessed.
    const auto hinted = vorn(
        "replay bare.csv --skip-lines 1 --no-header --time-unit ns "
        "--columns time=1,humidity=2,gas=3,pressure=4,temperature=5 -o x.csv");
    EXPECT_TRUE(has(hinted.err, "pressure (column 4) values around 1000 look like hPa?") &&
                has(hinted.err, "look like kOhm? add --units gas=kohm"))
        << hinted.err;
}

TEST_F(Cli, ReplayRatesMissingValuesAndSafety) {
    std::string sparse = "time_s,temperature_c,humidity_pct,gas_ohm\n";  // no pressure
    for (int i = 1; i <= 720; ++i)
        sparse += fmt::format("{},21,40,{}\n", 20 * i, i < 4 ? -1 : 50000);
    write("sparse.csv", sparse);
    ASSERT_EQ(vorn("simulate --days 0.02 -o dense.csv").exitCode, 0);
    const auto picked = vorn("replay sparse.csv --missing -1 -o a.csv");
    EXPECT_TRUE(picked.exitCode == 0 && has(picked.err, "rate: 1/300 Hz (rows every 20 s") &&
                has(picked.out, "warnings          none") &&
                has(picked.out, "missing readings  3 gas") && !has(read("a.csv"), "pressure"))
        << picked.err << picked.out;
    const std::pair<const char*, const char*> rates[] = {
        // --rate, what stderr or the summary says
        {"1/300", "rate              1/300 Hz"},
        {"300s", "rate              1/300 Hz"},
        {"0.003333", "--rate 0.003333 snapped to 1/300 Hz"},
        {"0.5", "the rates it takes for them: "},
        {"fast", "--rate 'fast': give auto"},
    };
    for (const auto& [rate, says] : rates) {
        const auto r = vorn(std::string("replay sparse.csv --missing -1 -o b.csv --rate ") + rate);
        EXPECT_TRUE(has(r.out + r.err, says)) << rate << "\n" << r.out << r.err;
    }
    const std::string dense = read("dense.csv");
    write("bad.csv", "time_s,temperature_c,pressure_pa,humidity_pct,gas_ohm\n3,21,1e5,140,5e4\n");
    const std::tuple<const char*, int, bool> safety[] = {
        // arguments, exit status, outputs CSV written
        {"replay dense.csv -o dense.csv", 1, false},                      // the log itself
        {"replay dense.csv -o ./dense.csv --state-out s.dat", 1, false},  // by another path
        {"replay dense.csv -o out.csv --state-out no/such/dir/s.dat", 1, false},
        {"replay bad.csv -o out.csv", 1, true},  // no row usable: said, and the exit status
        {"replay dense.csv -o out.csv --strict --rate 1/300", 0, true},
    };
    for (const auto& [args, status, written] : safety) {
        const auto r = vorn(args);
        EXPECT_EQ(r.exitCode, status) << args << "\n" << r.err;
        EXPECT_EQ(read("dense.csv"), dense) << args;
        EXPECT_EQ(fs::exists(path("out.csv")), written) << args;
        EXPECT_FALSE(fs::exists(path("out.csv.part")) || fs::exists(path("s.dat"))) << args;
        fs::remove(path("out.csv"));
    }
    write("zero.csv",
          "time_s,temperature_c,pressure_pa,humidity_pct,gas_ohm\n0,21,1e5,40,5e4\n"
          "3,21,1e5,40,5e4\n");
    EXPECT_TRUE(has(vorn("replay zero.csv -o z.csv").out, "1 row(s) at time 0"));
    // Several logs of one sensor: in time order, the learnt state carried across.
    const size_t half = dense.find('\n', dense.size() / 2) + 1;
    const std::string header = dense.substr(0, dense.find('\n') + 1);
    write("first.csv", dense.substr(0, half)), write("second.csv", header + dense.substr(half));
    const auto chained = vorn("replay second.csv first.csv -o out.csv --outputs iaq_index");
    EXPECT_TRUE(chained.exitCode == 0 && has(chained.out, "log               2 logs: ") &&
                chained.out.find("first.csv") < chained.out.find("second.csv"))
        << chained.out << chained.err;
    EXPECT_TRUE(has(vorn("replay first.csv first.csv -o x.csv").err, "starts before"));
    fs::remove(path("out.csv"));
    // Interrupted: the summary is marked, the state written, exit 130.
    ASSERT_EQ(vorn("simulate --days 30 -o long.csv").exitCode, 0);
    const auto stopped = vorn(
        "replay long.csv -o out.csv --state-out s.dat > run.txt & "
        "sleep 0.2; kill -INT $!; wait $!");
    EXPECT_TRUE(stopped.exitCode == 130 && has(read("run.txt"), "Replay summary (interrupted)") &&
                fs::exists(path("s.dat")))
        << stopped.exitCode << stopped.out << stopped.err;
}

}  // namespace
