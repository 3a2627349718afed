// The host entry points through libvorn_host.so: the state file's life cycle,
// truncation of readings, rejected, hostile and unwritable state files, library
// statuses in the loop, and the export surface.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <chrono>
#include <cmath>
#include <csignal>

#include "host_test_support.h"

namespace {

using namespace vorn_test;

constexpr uint32_t kStateSize = 139;
constexpr int32_t kStart = 1000;  // a time stamp of 0 would repeat the reset value
const std::string kStateFile = VORN_STATE_FILE_NAME;
constexpr HostValues kSentinel = {-7, -7, -7, -7, -7, -7, -7};  // no host output takes it

struct HostRun {
    std::vector<HostValues> values;
    std::vector<int32_t> results;
    Bytes file;
};

// `calls` host calls 3 s apart in a fresh directory, optionally seeded with a file.
HostRun runHost(const Readings& readings, int calls, const Bytes* seed = nullptr) {
    ScopedWorkDir dir;
    if (seed != nullptr) writeFile(kStateFile, *seed);
    HostRun run;
    HostValues out{};
    for (int i = 0; i < calls; ++i) {
        run.results.push_back(callHost(kStart + 3 * i, out, readings));
        run.values.push_back(out);
    }
    run.file = readFile(kStateFile);
    return run;
}

const Bytes& learntBlob() {
    static const Bytes blob = [] {
        const Bytes file = runHost(kIndoor, 4).file;
        return Bytes(file.end() - kStateSize, file.end());
    }();
    return blob;
}

Bytes withLine(const std::string& line, const Bytes& rest) {
    Bytes out(line.begin(), line.end());
    out.insert(out.end(), rest.begin(), rest.end());
    return out;
}

class HostEntry : public ::testing::Test {
protected:
    ScopedWorkDir dir_;
};

TEST_F(HostEntry, FirstCallInEmptyDirectoryWritesValuesAndCreatesStateFile) {
    HostValues out = kSentinel;
    EXPECT_EQ(callHost(kStart, out, kIndoor), 0);
    EXPECT_EQ(out[2], 23.0f) << "the compensated temperature starts at the truncated 23.9";
    // Compensated at the temperature it was measured at, the humidity is the truncated 45.9.
    EXPECT_NEAR(out[3], 45.0f, 1e-4f);
    const Bytes file = readFile(kStateFile);
    ASSERT_EQ(file.size(), 4 + kStateSize);
    EXPECT_EQ(std::string(file.begin(), file.begin() + 4), "139\n");
    EXPECT_FALSE(std::ifstream(kStateFile + ".tmp").good());
}

// Raw and pre-truncated readings give the same values and learnt state.
TEST(HostTruncation, RawReadingsActLikeTheirTruncatedIntegers) {
    const std::pair<Readings, Readings> cases[] = {
        // raw, truncated
        {kIndoor, {23, 101325, 45, 50000}},
        {{-0.5f, -5.0f, NAN, 50000}, {0, 0, 0, 50000}},
        {{22, 1e12f, 45, 50000}, {22, 4294967295.0f, 45, 50000}},
        // int32 saturates at 0x7FFFFFFF, whose low 16 bits read as -1.
        {{INFINITY, 101325, 45, 50000}, {-1, 101325, 45, 50000}},
    };
    for (const auto& [raw, truncated] : cases) {
        const HostRun a = runHost(raw, 3), b = runHost(truncated, 3);
        EXPECT_TRUE(a.values == b.values && a.file == b.file)
            << raw.temperature << " " << raw.pressure;
    }
}

TEST_F(HostEntry, BlobWithWrongChecksumIsReportedAndLeftAlone) {
    Bytes blob = learntBlob();
    blob[blob.size() - 3] ^= 0x01;  // a checksum byte
    const Bytes corrupt = withLine("139\n", blob);
    writeFile(kStateFile, corrupt);
    for (int call = 0; call < 2; ++call) {
        HostValues out = kSentinel;
        EXPECT_EQ(callHost(kStart + 3 * call, out, kIndoor), RC_E_BLOB_CRC);
        EXPECT_EQ(out, kSentinel);
        EXPECT_EQ(readFile(kStateFile), corrupt);
    }
}

// The loader refuses the file without writing past its capacity; the host then
// starts from the defaults, exactly as without a file, and replaces it.
TEST(HostileStateFile, IsIgnoredWithoutOverrunAndReplaced) {
    const Bytes& b = learntBlob();
    const std::pair<const char*, Bytes> cases[] = {
        {"zero", withLine("0\n", b)},
        {"empty", {}},
        {"empty_line", withLine("\n", b)},
        {"negative", withLine("-139\n", b)},
        {"not_a_number", withLine("abc\n", b)},
        {"trailing_text", withLine("139x\n", b)},
        {"huge", withLine("99999999999999999999\n", b)},
        // 2^32 + 139: a length kept in 32 bits would wrap to a plausible 139.
        {"wraps_32_bits", withLine("4294967435\n", b)},
        {"above_capacity", withLine("1975\n", Bytes(1975))},
        {"line_of_5000_digits", withLine(std::string(5000, '1') + "\n", b)},
        {"no_newline", withLine(std::string(5000, 'x'), {})},
        {"truncated_blob", withLine("139\n", Bytes(b.begin(), b.begin() + 100))},
    };
    const HostRun fresh = runHost(kIndoor, 2);
    for (const auto& [name, content] : cases) {
        {
            ScopedWorkDir dir;
            writeFile(kStateFile, content);
            Bytes buffer(kCapacity + 4096, 0xA5);
            EXPECT_EQ(state_load(buffer.data(), kCapacity), 0) << name;
            EXPECT_EQ(Bytes(buffer.begin() + kCapacity, buffer.end()), Bytes(4096, 0xA5)) << name;
        }
        const HostRun hostile = runHost(kIndoor, 2, &content);
        EXPECT_EQ(hostile.results, (std::vector<int32_t>{0, 0})) << name;
        EXPECT_EQ(hostile.values, fresh.values) << name;
        EXPECT_EQ(hostile.file, fresh.file) << name;
    }
}

TEST_F(HostEntry, DirectoryInPlaceOfStateFileIsSurvived) {
    ASSERT_EQ(mkdir(kStateFile.c_str(), 0755), 0);
    uint8_t buffer[kCapacity];
    EXPECT_EQ(state_load(buffer, kCapacity), 0);
    HostValues out = kSentinel;
    EXPECT_EQ(callHost(kStart, out, kIndoor), 0);
    EXPECT_EQ(out, runHost(kIndoor, 1).values[0]);
    EXPECT_NE(state_save(buffer, 10), 0);
    struct stat info {};
    EXPECT_TRUE(stat(kStateFile.c_str(), &info) == 0 && S_ISDIR(info.st_mode));
    EXPECT_FALSE(std::ifstream(kStateFile + ".tmp").good());
}

// A file-size limit makes the write fail even for root; the old file must stay.
TEST_F(HostEntry, FailedWriteKeepsThePreviousFile) {
    const Bytes previous = withLine("139\n", learntBlob());
    writeFile(kStateFile, previous);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{16, 16};
        setrlimit(RLIMIT_FSIZE, &limit);
        _exit(state_save(learntBlob().data(), kStateSize) != 0 ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "state_save reported success";
    EXPECT_EQ(readFile(kStateFile), previous);
    EXPECT_FALSE(std::ifstream(kStateFile + ".tmp").good());
}

int32_t loadNothing(uint8_t*, uint32_t) {
    return 0;
}
int32_t saveNothing(const uint8_t*, uint32_t) {
    return 0;
}
int32_t loadCorrupt(uint8_t* buffer, uint32_t) {
    std::copy(learntBlob().begin(), learntBlob().end(), buffer);
    buffer[20] ^= 0x40;
    return kStateSize;
}

TEST(IntegrationLoop, RepeatedTimeStampAndRejectedStateLeaveHostValues) {
    ASSERT_EQ(vorn_iot_init_backend(loadNothing, 0.33333f, 0.0f).library_status, RC_OK);
    HostValues out = kSentinel;
    vorn_iot_loop_backend(kStart, out.data(), saveNothing, 22, 101325, 45, 50000);
    EXPECT_NE(out, kSentinel);
    out = kSentinel;
    vorn_iot_loop_backend(kStart, out.data(), saveNothing, 22, 101325, 45, 50000);
    EXPECT_EQ(out, kSentinel) << "RC_W_INPUT_REPEATED must not reach the host";

    // A rejected state stops the setup before the offset and the subscription.
    learntBlob();  // made by host calls of its own, so not inside the setup below
    gsx410_temperature_offset_g = 7.5f;
    EXPECT_EQ(vorn_iot_init_backend(loadCorrupt, 0.33333f, 1.0f).library_status, RC_E_BLOB_CRC);
    EXPECT_EQ(gsx410_temperature_offset_g, 7.5f);
    out = kSentinel;
    vorn_iot_loop_backend(kStart, out.data(), saveNothing, 22, 101325, 45, 50000);
    EXPECT_EQ(out, HostValues{}) << "nothing subscribed: the step reports nothing";
    gsx410_temperature_offset_g = 0.0f;
}

TEST(HostExports, HostSymbolsLiveOnlyInTheHostLibrary) {
    void* core = dlopen(VORN_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
    void* host = dlopen(VORN_HOST_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_TRUE(core != nullptr && host != nullptr) << dlerror();
    for (const char* name :
         {"proccess_gsx_data", "state_load", "state_save", "vorn_iot_init_backend",
          "vorn_iot_loop_backend", "gsx410_vorn_update_subscription", "gsx410_vorn_process_data",
          "gsx410_temperature_offset_g"}) {
        EXPECT_TRUE(dlsym(host, name) != nullptr && dlsym(core, name) == nullptr) << name;
    }
    // Only the host library replaces sleep(), with one that returns at once.
    EXPECT_NE(dlsym(core, "sleep"), dlsym(host, "sleep"));
    auto hostSleep = reinterpret_cast<int32_t (*)(int32_t)>(dlsym(host, "sleep"));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(hostSleep(5), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
}

}  // namespace
