// `vorn` end to end: help texts, the configuration and state subcommands on good
// and damaged files, the host layer's state file, and the Python plot command.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <array>

#include "tool_test_support.h"
#include "vorn/version.h"
#include "vorn/vorn.h"

namespace vorn::tools {
namespace {

using testing::has;

class Cli : public testing::ScratchDir {};

TEST_F(Cli, EverySubcommandExplainsItselfAndRefusesNonsense) {
    for (const char* command : {"", "simulate", "replay", "state", "state show", "config",
                                "config show", "config default", "config set", "config names"}) {
        const auto r = vorn(std::string(command) + " --help");
        EXPECT_TRUE(r.exitCode == 0 && has(r.out, "Usage")) << command << "\n" << r.out;
    }
    for (const char* bad : {"", "frobnicate", "simulate --days -1", "simulate --interval abc",
                            "state show", "replay /dev/null"}) {
        EXPECT_NE(vorn(bad).exitCode, 0) << bad;
    }
    EXPECT_EQ(vorn("--version").out, "vorn " VORN_VERSION_STRING "\n");
}

TEST_F(Cli, ConfigDefaultShowsAsTextAndJson) {
    ASSERT_EQ(vorn("config default -o c.bin").exitCode, 0);
    EXPECT_EQ(testing::readFile(path("c.bin")).size(), 454u);
    const auto text = vorn("config show c.bin");
    ASSERT_EQ(text.exitCode, 0) << text.err;
    for (const char* part : {"RC_OK (0)", "[iaq] section 2, 28 bytes at offset 64", "225",
                             "[hyper] section 254, 229 bytes", "300 (3 s)", "65535 (off)"}) {
        EXPECT_TRUE(has(text.out, part)) << part;
    }
    testing::writeFile(path("c.json"), vorn("config show --json c.bin").out);
    const std::string check = "/usr/bin/python3 -c \"import json; d = json.load(open('" +
                              path("c.json") +
                              "')); assert d['valid'] and "
                              "d['sections'][1]['fields']['index_scale'] == 225\"";
    EXPECT_EQ(std::system(check.c_str()), 0) << testing::readFile(path("c.json"));
}

// Each change must show in `config show` and be accepted by the library.
TEST_F(Cli, ConfigSetChangesImportAndShow) {
    ASSERT_EQ(vorn("config default -o c.bin").exitCode, 0);
    const std::array<const char*, 3> cases[] = {
        // assignment, field, what show prints
        {"iaq.index_scale=65535", "index_scale", "  65535"},
        {"iaq.linear_slope_low=-2.5e-3", "linear_slope_low", "-0.0025"},
        {"status_tracker.gap_factor=127", "gap_factor", "  127"},
        {"status_tracker.accumulated_time_required=3.6e12", "accumulated_time_required",
         "3600000000000 (3600 s)"},
        {"hyper.heater_duration_ms[2]=250", "heater_duration_ms", "1943, 900, 250, 1116"},
        {"hyper.allowed_intervals.iaq_index=30000,100,300,1800,6000,600",
         "allowed_intervals.iaq_index", "6000 (60 s), 600 (6 s)"},
        {"baseline_tracker.humidity_slope=0.5,0.4,0.7,0.4", "humidity_slope", "0.5, 0.4, 0.7, 0.4"},
    };
    for (const auto& [assignment, field, shows] : cases) {
        const auto set = vorn(std::string("config set c.bin ") + assignment + " -o new.bin");
        ASSERT_EQ(set.exitCode, 0) << assignment << "\n" << set.err;
        const std::string show = vorn("config show new.bin").out;
        const size_t at = show.find(std::string("\n  ") + field + " ");
        ASSERT_NE(at, std::string::npos) << assignment;
        EXPECT_TRUE(has(show.substr(at, show.find('\n', at + 1) - at), shows)) << assignment;
        const std::string blob = testing::readFile(path("new.bin"));
        std::vector<uint8_t> work(4096);
        vorn_init();
        EXPECT_EQ(vorn_set_configuration(reinterpret_cast<const uint8_t*>(blob.data()),
                                         static_cast<uint32_t>(blob.size()), work.data(), 4096),
                  RC_OK)
            << assignment;
    }
}

TEST_F(Cli, ConfigSetRefusesWithAReasonAndWritesNothing) {
    ASSERT_EQ(vorn("config default -o c.bin").exitCode, 0);
    const std::pair<const char*, const char*> cases[] = {
        // arguments, what the error says
        {"c.bin iaq.index_scal=3", "valid names"},
        {"c.bin iaq.index_scale=abc", "not a whole number"},
        {"c.bin iaq.index_scale=70000", "outside the range 1 .. 65535"},
        {"c.bin iaq.index_scale=99999999999999999999", "outside"},
        {"c.bin iaq.index_scale=1.5", "not a whole number"},
        {"c.bin iaq.linear_slope_low=abc", "not a number"},
        {"c.bin iaq.linear_slope_low=nan", "outside"},
        {"c.bin iaq.linear_slope_low=1e39", "outside"},
        {"c.bin status_tracker.gap_factor=-3", "outside"},
        {"c.bin hyper.gas_intervals[4]=1", "index 4 is out of range"},
        {"c.bin hyper.gas_intervals=1,2", "needs 4 comma-separated values"},
        {"c.bin iaq.index_scale", "no assignment"},
        {"missing.bin iaq.index_scale=3", "cannot open"},
    };
    for (const auto& [args, mentions] : cases) {
        const auto r = vorn(std::string("config set ") + args + " -o out.bin");
        EXPECT_TRUE(r.exitCode == 1 && has(r.err, mentions)) << args << "\n" << r.err;
        EXPECT_FALSE(std::filesystem::exists(path("out.bin"))) << args;
    }
    EXPECT_TRUE(has(vorn("config names").out, "hyper.allowed_intervals.gas_scale_percent"));
}

TEST_F(Cli, DamagedStateFilesAreRefusedNamingTheProblem) {
    ASSERT_EQ(vorn("simulate --days 0.02 -o log.csv").exitCode, 0);
    ASSERT_EQ(vorn("replay log.csv -q -o out.csv --state-out savedState.dat").exitCode, 0);
    const std::string good = testing::readFile(path("savedState.dat"));
    const auto ok = vorn("state show savedState.dat");
    EXPECT_TRUE(ok.exitCode == 0 && has(ok.out, "state file (length line + blob)") &&
                has(ok.out, "=> track 1"))
        << ok.out << ok.err;
    const std::pair<std::string, const char*> cases[] = {
        {good.substr(0, 40) + char(good[40] ^ 1) + good.substr(41), "CRC mismatch"},
        {"139\n" + good.substr(4, 100), "truncated"},
        {"138\n" + good.substr(4, 138), "length field"},
        {"139\n\x05" + good.substr(5), "version word"},
        {"hello", "RC_E_BLOB_TOO_SHORT"},
    };
    for (const auto& [bytes, mentions] : cases) {
        testing::writeFile(path("bad.dat"), bytes);
        const auto r = vorn("state show bad.dat");
        EXPECT_TRUE(r.exitCode == 1 && has(r.err, mentions)) << mentions << "\n" << r.err;
    }
    testing::writeFile(path("bad.dat"), cases[0].first);
    const auto json = vorn("state show --json bad.dat");
    EXPECT_TRUE(json.exitCode == 1 && has(json.out, "\"valid\": false") &&
                has(json.out, "RC_E_BLOB_CRC"))
        << json.out;
}

TEST_F(Cli, StateShowDecodesTheHostLayersStateFile) {
#ifdef VORN_HOST_LIBRARY
    void* host = dlopen(VORN_HOST_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(host, nullptr) << dlerror();
    using Process = int32_t (*)(int32_t, float*, float, float, float, float);
    auto process = reinterpret_cast<Process>(dlsym(host, "proccess_gsx_data"));
    ASSERT_NE(process, nullptr);
    const auto cwd = std::filesystem::current_path();
    std::filesystem::current_path(dir_);  // the host writes savedState.dat here
    float out[7] = {};
    for (int32_t t = 3; t <= 30; t += 3) EXPECT_EQ(process(t, out, 22, 98000, 45, 60000), 0);
    std::filesystem::current_path(cwd);
    dlclose(host);
    const auto r = vorn("state show savedState.dat");
    EXPECT_TRUE(r.exitCode == 0 &&
                has(r.out, "state file (length line + blob), blob of 139 bytes") &&
                has(r.out, "last_timestamp"))
        << r.out << r.err;
#else
    GTEST_SKIP() << "no host library in this build";
#endif
}

TEST_F(Cli, PlotDrawsAPictureOfAReplay) {
    if (std::system("/usr/bin/python3 -c 'import matplotlib' 2>/dev/null") != 0) {
        GTEST_SKIP() << "matplotlib not installed";
    }
    ASSERT_EQ(vorn("simulate --days 0.1 -o log.csv").exitCode, 0);
    ASSERT_EQ(vorn("replay log.csv --outputs all -q -o out.csv").exitCode, 0);
    const std::string plot = "cd '" + dir_.string() +
                             "' && PYTHONPATH='" VORN_PYTHON_DIR "' /usr/bin/python3 -m vorn plot ";
    ASSERT_EQ(std::system((plot + "out.csv --log log.csv -o p.png >/dev/null").c_str()), 0);
    EXPECT_EQ(testing::readFile(path("p.png")).substr(1, 3), "PNG");
    EXPECT_NE(std::system((plot + "missing.csv -o q.png 2>/dev/null").c_str()), 0);
}

}  // namespace
}  // namespace vorn::tools
