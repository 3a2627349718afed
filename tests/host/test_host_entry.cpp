// The host entry points through libvorn_host.so: the state file's life cycle,
// reading truncation as seen in the results, rejected, hostile and unwritable
// state files, library statuses in the loop, and the export surface.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <chrono>
#include <cmath>
#include <csignal>
#include <functional>

#include "host_test_support.h"

namespace {

using namespace vorn_test;

constexpr uint32_t kStateSize = 139;
constexpr uint32_t kCapacity = 1974;
constexpr int32_t kStart = 1000;  // a time stamp of 0 would repeat the reset value
const std::string kStateFile = VORN_STATE_FILE_NAME;

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

class HostEntry : public ::testing::Test {
protected:
    ScopedWorkDir dir_;
};

TEST_F(HostEntry, FirstCallInEmptyDirectoryWritesValuesAndCreatesStateFile) {
    HostValues out = kSentinel;
    EXPECT_EQ(callHost(kStart, out, kIndoor), 0);
    EXPECT_EQ(out[2], 23.0f) << "the compensated temperature starts at the truncated 23.9";
    const Bytes file = readFile(kStateFile);
    ASSERT_EQ(file.size(), 4 + kStateSize);
    EXPECT_EQ(std::string(file.begin(), file.begin() + 4), "139\n");
    EXPECT_FALSE(std::ifstream(kStateFile + ".tmp").good());
}

struct TruncationCase {
    const char* name;
    Readings raw, truncated;
};
class HostTruncation : public ::testing::TestWithParam<TruncationCase> {};

// Raw and pre-truncated readings give the same values and learnt state.
TEST_P(HostTruncation, RawReadingsActLikeTheirTruncatedIntegers) {
    const HostRun raw = runHost(GetParam().raw, 3);
    const HostRun truncated = runHost(GetParam().truncated, 3);
    EXPECT_EQ(raw.values, truncated.values);
    EXPECT_EQ(raw.file, truncated.file);
}

INSTANTIATE_TEST_SUITE_P(
    Readings, HostTruncation,
    ::testing::Values(
        TruncationCase{"fractions", kIndoor, {23, 101325, 45, 50000}},
        TruncationCase{"minus_half_degree", {-0.5f, 101325, 45, 50000}, {0, 101325, 45, 50000}},
        TruncationCase{"negative_pressure", {22, -5.0f, 45, 50000}, {22, 0, 45, 50000}},
        TruncationCase{"nan_humidity", {22, 101325, NAN, 50000}, {22, 101325, 0, 50000}},
        TruncationCase{"huge_pressure", {22, 1e12f, 45, 50000}, {22, 4294967295.0f, 45, 50000}},
        // int32 saturates at 0x7FFFFFFF, whose low 16 bits read as -1.
        TruncationCase{
            "infinite_temperature", {INFINITY, 101325, 45, 50000}, {-1, 101325, 45, 50000}}),
    [](const auto& param_info) { return std::string(param_info.param.name); });

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

struct HostileCase {
    const char* name;
    std::function<Bytes(const Bytes& blob)> content;
};
class HostileStateFile : public ::testing::TestWithParam<HostileCase> {};

// The loader refuses the file without writing past its capacity; the host then
// starts from the defaults, exactly as without a file, and replaces it.
TEST_P(HostileStateFile, IsIgnoredWithoutOverrunAndReplaced) {
    const Bytes content = GetParam().content(learntBlob());
    {
        ScopedWorkDir dir;
        writeFile(kStateFile, content);
        Bytes buffer(kCapacity + 4096, 0xA5);
        EXPECT_EQ(state_load(buffer.data(), kCapacity), 0);
        EXPECT_EQ(Bytes(buffer.begin() + kCapacity, buffer.end()), Bytes(4096, 0xA5));
    }
    const HostRun hostile = runHost(kIndoor, 2, &content);
    const HostRun fresh = runHost(kIndoor, 2);
    EXPECT_EQ(hostile.results, (std::vector<int32_t>{0, 0}));
    EXPECT_EQ(hostile.values, fresh.values);
    EXPECT_EQ(hostile.file, fresh.file);
}

Bytes prefix(const Bytes& b, size_t n) {
    return Bytes(b.begin(), b.begin() + static_cast<long>(n));
}

INSTANTIATE_TEST_SUITE_P(
    Files, HostileStateFile,
    ::testing::Values(
        HostileCase{"zero", [](const Bytes& b) { return withLine("0\n", b); }},
        HostileCase{"empty", [](const Bytes&) { return Bytes{}; }},
        HostileCase{"empty_line", [](const Bytes& b) { return withLine("\n", b); }},
        HostileCase{"negative", [](const Bytes& b) { return withLine("-139\n", b); }},
        HostileCase{"not_a_number", [](const Bytes& b) { return withLine("abc\n", b); }},
        HostileCase{"trailing_text", [](const Bytes& b) { return withLine("139x\n", b); }},
        HostileCase{"huge", [](const Bytes& b) { return withLine("99999999999999999999\n", b); }},
        // 2^32 + 139: a length kept in 32 bits would wrap to a plausible 139.
        HostileCase{"wraps_32_bits", [](const Bytes& b) { return withLine("4294967435\n", b); }},
        HostileCase{"above_capacity", [](const Bytes&) { return withLine("1975\n", Bytes(1975)); }},
        HostileCase{"line_of_5000_digits",
                    [](const Bytes& b) { return withLine(std::string(5000, '1') + "\n", b); }},
        HostileCase{"no_newline",
                    [](const Bytes&) { return withLine(std::string(5000, 'x'), {}); }},
        HostileCase{"truncated_blob",
                    [](const Bytes& b) { return withLine("139\n", prefix(b, 100)); }}),
    [](const auto& param_info) { return std::string(param_info.param.name); });

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

// ---- Integration loop ----

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

TEST(IntegrationLoop, RepeatedTimeStampWithinOneLifetimeLeavesHostValues) {
    ASSERT_EQ(vorn_iot_init_backend(loadNothing, 0.33333f, 0.0f).library_status, RC_OK);
    HostValues out = kSentinel;
    vorn_iot_loop_backend(kStart, out.data(), saveNothing, 22, 101325, 45, 50000);
    EXPECT_NE(out, kSentinel);
    out = kSentinel;
    vorn_iot_loop_backend(kStart, out.data(), saveNothing, 22, 101325, 45, 50000);
    EXPECT_EQ(out, kSentinel) << "RC_W_INPUT_REPEATED must not reach the host";
}

TEST(IntegrationLoop, RejectedStateStopsSetupBeforeOffsetAndSubscription) {
    learntBlob();  // made by host calls of its own, so not inside the setup below
    gsx410_temperature_offset_g = 7.5f;
    const VornBackendResult result = vorn_iot_init_backend(loadCorrupt, 0.33333f, 1.0f);
    EXPECT_EQ(result.library_status, RC_E_BLOB_CRC);
    EXPECT_EQ(gsx410_temperature_offset_g, 7.5f);
    HostValues out = kSentinel;  // nothing subscribed: the step reports nothing
    vorn_iot_loop_backend(kStart, out.data(), saveNothing, 22, 101325, 45, 50000);
    EXPECT_EQ(out, HostValues{});
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
        EXPECT_NE(dlsym(host, name), nullptr) << name;
        EXPECT_EQ(dlsym(core, name), nullptr) << name;
    }
    // Only the host library replaces sleep(), with one that returns at once.
    EXPECT_NE(dlsym(core, "sleep"), dlsym(host, "sleep"));
    auto hostSleep = reinterpret_cast<int32_t (*)(int32_t)>(dlsym(host, "sleep"));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(hostSleep(5), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
}

}  // namespace
