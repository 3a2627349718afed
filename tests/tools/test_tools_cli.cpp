// `vorn` end to end for the blob subcommands, help texts, the host layer's state
// file, and the Python plot command.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include "tool_test_support.h"
#include "vorn/vorn.h"

namespace vorn::tools {
namespace {

using testing::ScratchDir;

class Cli : public ScratchDir {};

// The line of `show` output that lists the field, or "" when there is none.
std::string fieldLine(const std::string& show, const std::string& field) {
    const size_t at = show.find("\n  " + field + " ");
    if (at == std::string::npos) return "";
    return show.substr(at + 1, show.find('\n', at + 1) - at - 1);
}

TEST_F(Cli, EverySubcommandExplainsItself) {
    for (const char* command : {"", "simulate", "replay", "state", "state show", "config",
                                "config show", "config default", "config set", "config names"}) {
        const auto r = vorn(std::string(command) + " --help");
        EXPECT_EQ(r.exitCode, 0) << command;
        EXPECT_NE(r.out.find("Usage"), std::string::npos) << command << "\n" << r.out;
    }
    EXPECT_NE(vorn("").exitCode, 0);
    EXPECT_NE(vorn("frobnicate").exitCode, 0);
    EXPECT_NE(vorn("simulate --days -1").exitCode, 0);
    EXPECT_NE(vorn("simulate --interval abc").exitCode, 0);
    EXPECT_NE(vorn("state show").exitCode, 0);
    EXPECT_EQ(vorn("--version").out, "vorn 1.4.7.4\n");
}

TEST_F(Cli, DefaultConfigurationShowsAsTextAndJson) {
    ASSERT_EQ(vorn("config default -o c.bin").exitCode, 0);
    EXPECT_EQ(testing::readBytes(path("c.bin")).size(), 454u);
    const auto text = vorn("config show c.bin");
    ASSERT_EQ(text.exitCode, 0) << text.err;
    for (const char* part : {"RC_OK (0)", "[iaq] section 2, 28 bytes at offset 64", "index_scale",
                             "225", "[hyper] section 254, 229 bytes", "allowed_intervals.iaq_index",
                             "300 (3 s)", "65535 (off)"}) {
        EXPECT_NE(text.out.find(part), std::string::npos) << part;
    }
    const auto json = vorn("config show --json c.bin");
    ASSERT_EQ(json.exitCode, 0);
    testing::writeFile(path("c.json"), json.out);
    const std::string check =
        "/usr/bin/python3 -c \"import json; d = json.load(open('" + path("c.json") +
        "')); assert d['valid'] and d['sections'][1]['fields']['index_scale'] == 225\"";
    EXPECT_EQ(std::system(check.c_str()), 0) << testing::readFile(path("c.json"));
}

TEST_F(Cli, ConfigSetChangesImportAndShow) {
    ASSERT_EQ(vorn("config default -o c.bin").exitCode, 0);
    struct Case {
        const char* assignment;
        const char* field;
        const char* shows;
    } cases[] = {
        {"iaq.index_scale=300", "index_scale", "  300"},
        {"status_tracker.accumulated_time_required=3.6e12", "accumulated_time_required",
         "3600000000000 (3600 s)"},
        {"hyper.heater_duration_ms[2]=250", "heater_duration_ms", "1943, 900, 250, 1116"},
        {"hyper.allowed_intervals.iaq_index=30000,100,300,1800,6000,600",
         "allowed_intervals.iaq_index", "6000 (60 s), 600 (6 s)"},
        {"hyper.base_interval=6000", "base_interval", "6000 (60 s)"},
        {"baseline_tracker.humidity_slope=0.5,0.4,0.7,0.4", "humidity_slope", "0.5, 0.4, 0.7, 0.4"},
    };
    for (const auto& c : cases) {
        const auto set = vorn(std::string("config set c.bin ") + c.assignment + " -o new.bin");
        ASSERT_EQ(set.exitCode, 0) << c.assignment << "\n" << set.err;
        const auto show = vorn("config show new.bin");
        EXPECT_EQ(show.exitCode, 0) << c.assignment;
        EXPECT_NE(fieldLine(show.out, c.field).find(c.shows), std::string::npos)
            << c.assignment << ": " << fieldLine(show.out, c.field);
        const auto blob = testing::readBytes(path("new.bin"));
        std::vector<uint8_t> work(4096);
        vorn_init();
        EXPECT_EQ(vorn_set_configuration(blob.data(), static_cast<uint32_t>(blob.size()),
                                         work.data(), 4096),
                  RC_OK);
    }
}

TEST_F(Cli, ConfigSetRefusesWithAReason) {
    ASSERT_EQ(vorn("config default -o c.bin").exitCode, 0);
    ASSERT_EQ(vorn("replay /dev/null").exitCode, 1);
    struct Case {
        const char* args;
        const char* mentions;
    } cases[] = {
        {"c.bin iaq.index_scal=3", "valid names"},
        {"c.bin iaq.index_scale=abc", "not a whole number"},
        {"c.bin iaq.index_scale=70000", "outside the range 1 .. 65535"},
        {"c.bin status_tracker.gap_factor=0", "outside"},
        {"c.bin hyper.gas_intervals[4]=1", "index 4 is out of range"},
        {"c.bin hyper.gas_intervals=1,2", "needs 4 comma-separated values"},
        {"c.bin iaq.index_scale", "no assignment"},
        {"missing.bin iaq.index_scale=3", "cannot open"},
    };
    for (const auto& c : cases) {
        const auto r = vorn(std::string("config set ") + c.args + " -o out.bin");
        EXPECT_EQ(r.exitCode, 1) << c.args;
        EXPECT_NE(r.err.find(c.mentions), std::string::npos) << c.args << "\n" << r.err;
        EXPECT_FALSE(std::filesystem::exists(path("out.bin"))) << c.args;
    }
    const auto names = vorn("config names");
    EXPECT_NE(names.out.find("hyper.allowed_intervals.gas_scale_percent"), std::string::npos);
}

TEST_F(Cli, DamagedStateFilesAreRefusedNamingTheProblem) {
    ASSERT_EQ(vorn("simulate --days 0.02 -o log.csv").exitCode, 0);
    ASSERT_EQ(vorn("replay log.csv -q -o out.csv --state-out savedState.dat").exitCode, 0);
    const std::string good = testing::readFile(path("savedState.dat"));
    const auto ok = vorn("state show savedState.dat");
    ASSERT_EQ(ok.exitCode, 0) << ok.err;
    EXPECT_NE(ok.out.find("state file (length line + blob)"), std::string::npos);
    EXPECT_NE(ok.out.find("=> track 1"), std::string::npos);

    struct Case {
        const char* name;
        std::string bytes;
        const char* mentions;
    } cases[] = {
        {"crc", good.substr(0, 40) + char(good[40] ^ 1) + good.substr(41), "CRC mismatch"},
        {"truncated", "139\n" + good.substr(4, 100), "truncated"},
        {"length", "138\n" + good.substr(4, 138), "length field"},
        {"version", "139\n" + std::string("\x05") + good.substr(5), "version word"},
        {"garbage", "hello", "RC_E_BLOB_TOO_SHORT"},
    };
    for (const auto& c : cases) {
        testing::writeFile(path("bad.dat"), c.bytes);
        const auto r = vorn("state show bad.dat");
        EXPECT_EQ(r.exitCode, 1) << c.name;
        EXPECT_NE(r.err.find(c.mentions), std::string::npos) << c.name << "\n" << r.err;
    }
    testing::writeFile(path("bad.dat"), cases[0].bytes);
    const auto json = vorn("state show --json bad.dat");
    EXPECT_EQ(json.exitCode, 1);
    EXPECT_NE(json.out.find("\"valid\": false"), std::string::npos);
    EXPECT_NE(json.out.find("RC_E_BLOB_CRC"), std::string::npos);
}

// The host layer writes "savedState.dat" into the working directory on every call.
TEST_F(Cli, StateShowDecodesTheHostLayersStateFile) {
#ifdef VORN_HOST_LIBRARY
    if (!std::filesystem::exists(VORN_HOST_LIBRARY)) GTEST_SKIP() << "host library not built";
    void* host = dlopen(VORN_HOST_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(host, nullptr) << dlerror();
    using Process = int32_t (*)(int32_t, float*, float, float, float, float);
    auto process = reinterpret_cast<Process>(dlsym(host, "proccess_gsx_data"));
    ASSERT_NE(process, nullptr);
    const auto cwd = std::filesystem::current_path();
    std::filesystem::current_path(dir_);
    float out[7] = {};
    for (int32_t t = 3; t <= 30; t += 3)
        EXPECT_EQ(process(t, out, 22.0f, 98000.0f, 45.0f, 60000.0f), 0);
    std::filesystem::current_path(cwd);
    dlclose(host);
    const auto r = vorn("state show savedState.dat");
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_NE(r.out.find("state file (length line + blob), blob of 139 bytes"), std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find("last_timestamp"), std::string::npos);
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
                             "' && PYTHONPATH='" VORN_PYTHON_DIR
                             "' /usr/bin/python3 -m vorn plot out.csv --log log.csv -o p.png "
                             ">/dev/null";
    ASSERT_EQ(std::system(plot.c_str()), 0);
    EXPECT_EQ(testing::readFile(path("p.png")).substr(1, 3), "PNG");
    const std::string bad = "cd '" + dir_.string() +
                            "' && PYTHONPATH='" VORN_PYTHON_DIR
                            "' /usr/bin/python3 -m vorn plot log.csv.missing -o q.png 2>/dev/null";
    EXPECT_NE(std::system(bad.c_str()), 0);
}

}  // namespace
}  // namespace vorn::tools
