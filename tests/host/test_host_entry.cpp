// The host entry points through libvorn_host.so: the state file's life cycle,
// reading truncation as seen in the results, rejected and hostile state files,
// save failures, and the integration loop's handling of library statuses.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <chrono>
#include <cmath>
#include <csignal>
#include <cstring>
#include <functional>

#include "host_test_support.h"

namespace {

using namespace vorn_test;

constexpr uint32_t kStateSize = 139;
constexpr uint32_t kSetupCapacity = 1974;
constexpr int32_t kStart = 1000;  // a time stamp of 0 would repeat the reset value
constexpr int32_t kStep = 3;

const std::string kStateFile = VORN_STATE_FILE_NAME;

Bytes stateFileFor(const Bytes& blob) {
    return concat(toBytes(std::to_string(blob.size()) + "\n"), blob);
}

// Host values and final state file of `calls` host calls in a fresh directory,
// optionally seeded with a state file.
struct HostRun {
    std::vector<HostValues> values;
    std::vector<int32_t> results;
    Bytes file;
};

HostRun runHost(const Readings& readings, int calls, const Bytes* seed = nullptr) {
    ScopedWorkDir dir;
    if (seed != nullptr) writeFile(kStateFile, *seed);
    HostRun run;
    HostValues out{};
    for (int i = 0; i < calls; ++i) {
        run.results.push_back(callHost(kStart + kStep * i, out, readings));
        run.values.push_back(out);
    }
    run.file = readFile(kStateFile);
    return run;
}

// The state blob after a few calls, for building state files.
const Bytes& learntBlob() {
    static const Bytes blob = [] {
        const HostRun run = runHost(kIndoor, 4);
        return Bytes(run.file.end() - kStateSize, run.file.end());
    }();
    return blob;
}

class HostEntry : public ::testing::Test {
protected:
    ScopedWorkDir dir_;
};

TEST_F(HostEntry, FirstCallInEmptyDirectoryWritesValuesAndCreatesStateFile) {
    HostValues out = sentinel();
    EXPECT_EQ(callHost(kStart, out, kIndoor), 0);
    EXPECT_NE(out, sentinel());
    EXPECT_EQ(out[2], 23.0f) << "compensated temperature starts at the truncated reading";

    const Bytes file = readFile(kStateFile);
    ASSERT_EQ(file.size(), 4 + kStateSize);
    EXPECT_EQ(std::string(file.begin(), file.begin() + 4), "139\n");
    EXPECT_FALSE(std::ifstream(kStateFile + ".tmp").good()) << "no temporary file left";
}

TEST_F(HostEntry, StateFileCarriesLearningFromCallToCall) {
    HostValues kept{}, forgotten{};
    callHost(kStart, kept, kIndoor);
    callHost(kStart + kStep, kept, kIndoor);
    std::remove(kStateFile.c_str());
    callHost(kStart, forgotten, kIndoor);
    std::remove(kStateFile.c_str());
    callHost(kStart + kStep, forgotten, kIndoor);
    EXPECT_NE(kept, forgotten);
}

struct TruncationCase {
    const char* name;
    Readings raw;
    Readings truncated;
};

class HostTruncation : public ::testing::TestWithParam<TruncationCase> {};

// The library sees only truncated readings: raw and pre-truncated readings give
// the same values and the same learnt state, call after call.
TEST_P(HostTruncation, RawReadingsActLikeTheirTruncatedIntegers) {
    const HostRun raw = runHost(GetParam().raw, 3);
    const HostRun truncated = runHost(GetParam().truncated, 3);
    EXPECT_EQ(raw.values, truncated.values);
    EXPECT_EQ(raw.file, truncated.file);
}

INSTANTIATE_TEST_SUITE_P(
    Readings, HostTruncation,
    ::testing::Values(
        TruncationCase{"fractions", {23.9f, 101325.7f, 45.9f, 50000.9f}, {23, 101325, 45, 50000}},
        TruncationCase{
            "below_zero_temperature", {-0.5f, 101325, 45, 50000}, {0, 101325, 45, 50000}},
        TruncationCase{"negative_pressure", {22, -5.0f, 45, 50000}, {22, 0, 45, 50000}},
        TruncationCase{"negative_humidity", {22, 101325, -3.5f, 50000}, {22, 101325, 0, 50000}},
        TruncationCase{"nan_pressure", {22, std::nanf(""), 45, 50000}, {22, 0, 45, 50000}},
        TruncationCase{"huge_pressure", {22, 1e12f, 45, 50000}, {22, 4294967295.0f, 45, 50000}}),
    [](const auto& param_info) { return std::string(param_info.param.name); });

TEST(HostTruncationContrast, WholeDegreesDoChangeTheResult) {
    EXPECT_NE(runHost({23.9f, 101325, 45, 50000}, 2).values,
              runHost({24.0f, 101325, 45, 50000}, 2).values);
}

TEST_F(HostEntry, RejectedReadingLeavesHostValuesButStillSaves) {
    HostValues out = sentinel();
    // A negative gas reading becomes 0 ohm, below the accepted range.
    EXPECT_EQ(callHost(kStart, out, {22, 101325, 45, -50000}), 0);
    EXPECT_EQ(out, sentinel());
    EXPECT_EQ(readFile(kStateFile).size(), 4 + kStateSize);
}

TEST_F(HostEntry, BlobWithWrongChecksumIsReportedAndLeftAlone) {
    Bytes blob = learntBlob();
    blob[blob.size() - 3] ^= 0x01;  // a checksum byte
    const Bytes corrupt = stateFileFor(blob);
    writeFile(kStateFile, corrupt);

    for (int call = 0; call < 2; ++call) {
        HostValues out = sentinel();
        EXPECT_EQ(callHost(kStart + kStep * call, out, kIndoor), RC_E_BLOB_CRC);
        EXPECT_EQ(out, sentinel());
        EXPECT_EQ(readFile(kStateFile), corrupt);
    }
}

TEST_F(HostEntry, LengthLineZeroRestoresNothing) {
    const HostRun fresh = runHost(kIndoor, 2);
    const Bytes zero = toBytes("0\n");
    const HostRun zeroFile = runHost(kIndoor, 2, &zero);
    EXPECT_EQ(zeroFile.results, (std::vector<int32_t>{0, 0}));
    EXPECT_EQ(zeroFile.values, fresh.values);
    EXPECT_EQ(zeroFile.file, fresh.file);
}

struct HostileCase {
    const char* name;
    std::function<Bytes(const Bytes& blob)> content;
};

class HostileStateFile : public ::testing::TestWithParam<HostileCase> {};

// state_load refuses the file without writing past its capacity, and the host
// then starts from the defaults and replaces the file with a sound one.
TEST_P(HostileStateFile, IsIgnoredWithoutOverrunAndReplaced) {
    const Bytes content = GetParam().content(learntBlob());
    {
        ScopedWorkDir dir;
        writeFile(kStateFile, content);
        constexpr size_t kGuard = 4096;
        Bytes buffer(kSetupCapacity + kGuard, 0xA5);
        EXPECT_EQ(state_load(buffer.data(), kSetupCapacity), 0);
        EXPECT_EQ(Bytes(buffer.begin() + kSetupCapacity, buffer.end()), Bytes(kGuard, 0xA5));
    }
    const HostRun hostile = runHost(kIndoor, 2, &content);
    const HostRun fresh = runHost(kIndoor, 2);
    EXPECT_EQ(hostile.results, (std::vector<int32_t>{0, 0}));
    EXPECT_EQ(hostile.values, fresh.values);
    EXPECT_EQ(hostile.file, fresh.file);
}

INSTANTIATE_TEST_SUITE_P(
    Files, HostileStateFile,
    ::testing::Values(
        HostileCase{"empty", [](const Bytes&) { return Bytes{}; }},
        HostileCase{"newline_only", [](const Bytes& b) { return concat(toBytes("\n"), b); }},
        HostileCase{"negative", [](const Bytes& b) { return concat(toBytes("-139\n"), b); }},
        HostileCase{"non_numeric", [](const Bytes& b) { return concat(toBytes("abc\n"), b); }},
        HostileCase{"trailing_text", [](const Bytes& b) { return concat(toBytes("139x\n"), b); }},
        HostileCase{"huge",
                    [](const Bytes& b) { return concat(toBytes("99999999999999999999999\n"), b); }},
        // 2^32 + 139: a length kept in 32 bits would wrap to a plausible 139.
        HostileCase{"wraps_32_bits",
                    [](const Bytes& b) { return concat(toBytes("4294967435\n"), b); }},
        HostileCase{"above_capacity",
                    [](const Bytes&) { return concat(toBytes("1975\n"), Bytes(1975, 1)); }},
        HostileCase{
            "line_of_5000_digits",
            [](const Bytes& b) { return concat(toBytes(std::string(5000, '1') + "\n"), b); }},
        HostileCase{"line_of_5000_letters_no_newline",
                    [](const Bytes&) { return toBytes(std::string(5000, 'x')); }},
        HostileCase{"no_newline", [](const Bytes&) { return toBytes("139"); }},
        HostileCase{"truncated_blob",
                    [](const Bytes& b) {
                        return concat(toBytes("139\n"), Bytes(b.begin(), b.begin() + 100));
                    }}),
    [](const auto& param_info) { return std::string(param_info.param.name); });

TEST_F(HostEntry, LoaderHonoursCapacityAndIgnoresTrailingBytes) {
    const Bytes& blob = learntBlob();
    writeFile(kStateFile, concat(stateFileFor(blob), toBytes("trailing")));

    Bytes exact(kStateSize + 1, 0xA5);
    EXPECT_EQ(state_load(exact.data(), kStateSize), static_cast<int32_t>(kStateSize));
    EXPECT_EQ(Bytes(exact.begin(), exact.end() - 1), blob);
    EXPECT_EQ(exact.back(), 0xA5);

    Bytes small(kStateSize, 0xA5);
    EXPECT_EQ(state_load(small.data(), kStateSize - 1), 0);
    EXPECT_EQ(small.back(), 0xA5);
}

TEST_F(HostEntry, SaverWritesLengthLineAndRawBytesOnly) {
    const Bytes payload = {0, '\n', 0xFF, '7', 0};
    EXPECT_EQ(state_save(payload.data(), static_cast<uint32_t>(payload.size())), 0);
    EXPECT_EQ(readFile(kStateFile), concat(toBytes("5\n"), payload));
    EXPECT_EQ(state_save(payload.data(), 0), 0);
    EXPECT_EQ(readFile(kStateFile), toBytes("0\n"));
}

TEST_F(HostEntry, DirectoryInPlaceOfStateFileIsSurvived) {
    ASSERT_EQ(mkdir(kStateFile.c_str(), 0755), 0);
    uint8_t buffer[kSetupCapacity];
    EXPECT_EQ(state_load(buffer, kSetupCapacity), 0);

    HostValues out = sentinel();
    EXPECT_EQ(callHost(kStart, out, kIndoor), 0);
    EXPECT_EQ(out, runHost(kIndoor, 1).values[0]);
    EXPECT_NE(state_save(buffer, 10), 0);

    struct stat info {};
    ASSERT_EQ(stat(kStateFile.c_str(), &info), 0);
    EXPECT_TRUE(S_ISDIR(info.st_mode));
    EXPECT_FALSE(std::ifstream(kStateFile + ".tmp").good());
}

// Writes fail once the file would exceed a few bytes (works for root as well,
// unlike permissions); the previous file must survive.
TEST_F(HostEntry, FailedWriteKeepsThePreviousFile) {
    const Bytes previous = stateFileFor(learntBlob());
    writeFile(kStateFile, previous);

    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{16, 16};
        setrlimit(RLIMIT_FSIZE, &limit);
        const Bytes big(kStateSize, 0x5A);
        _exit(state_save(big.data(), kStateSize) != 0 ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0) << "state_save reported success";
    EXPECT_EQ(readFile(kStateFile), previous);
    EXPECT_FALSE(std::ifstream(kStateFile + ".tmp").good());
}

TEST(HostSaveFailure, UncreatableFileIsReported) {
    ScopedWorkDir dir;
    ASSERT_EQ(rmdir(dir.path().c_str()), 0);  // the current directory is gone
    const Bytes payload(8, 1);
    EXPECT_NE(state_save(payload.data(), 8), 0);
}

// ---- Integration loop ----

int saves = 0;
int32_t countingSave(const uint8_t*, uint32_t) {
    return ++saves;
}
int32_t loadNothing(uint8_t*, uint32_t) {
    return 0;
}
int32_t loadCorrupt(uint8_t* buffer, uint32_t) {
    Bytes blob = learntBlob();
    blob[20] ^= 0x40;
    std::memcpy(buffer, blob.data(), blob.size());
    return static_cast<int32_t>(blob.size());
}
int32_t loadNegative(uint8_t*, uint32_t) {
    return -1;
}

constexpr float kHostRate = 0.33333f;

TEST(IntegrationLoop, RepeatedTimeStampWithinOneLifetimeLeavesHostValues) {
    ASSERT_EQ(vorn_iot_init_backend(loadNothing, kHostRate, 0.0f).library_status, RC_OK);
    HostValues out = sentinel();
    saves = 0;
    vorn_iot_loop_backend(kStart, out.data(), countingSave, 22, 101325, 45, 50000);
    EXPECT_NE(out, sentinel());

    out = sentinel();
    vorn_iot_loop_backend(kStart, out.data(), countingSave, 22, 101325, 45, 50000);
    EXPECT_EQ(out, sentinel()) << "a status of RC_W_INPUT_REPEATED must not reach the host";
    EXPECT_EQ(saves, 2) << "the state is saved whatever the step returned";
}

TEST(IntegrationLoop, NoInputsLeaveHostValues) {
    ASSERT_EQ(vorn_iot_init_backend(loadNothing, kHostRate, 0.0f).library_status, RC_OK);
    HostValues out = sentinel();
    gsx410_vorn_process_data(nullptr, 0, out.data());
    EXPECT_EQ(out, sentinel());
}

float compensatedTemperatureWithOffset(float offset) {
    EXPECT_EQ(vorn_iot_init_backend(loadNothing, kHostRate, offset).library_status, RC_OK);
    HostValues out = sentinel();
    vorn_iot_loop_backend(kStart, out.data(), countingSave, 22, 101325, 45, 50000);
    return out[2];
}

TEST(IntegrationLoop, OnlyAPositiveTemperatureOffsetIsPassed) {
    const float none = compensatedTemperatureWithOffset(0.0f);
    EXPECT_EQ(compensatedTemperatureWithOffset(-2.0f), none);
    EXPECT_LT(compensatedTemperatureWithOffset(2.0f), none - 1.0f);
    gsx410_temperature_offset_g = 0.0f;
}

TEST(IntegrationLoop, RejectedStateStopsSetupBeforeOffsetAndSubscription) {
    learntBlob();  // built by host calls of its own, so not inside the setup below
    gsx410_temperature_offset_g = 7.5f;
    const VornBackendResult result = vorn_iot_init_backend(loadCorrupt, kHostRate, 1.0f);
    EXPECT_EQ(result.reserved_status, 0);
    EXPECT_EQ(result.library_status, RC_E_BLOB_CRC);
    EXPECT_EQ(gsx410_temperature_offset_g, 7.5f);

    // Nothing is subscribed, so a step yields nothing for the host.
    HostValues out = sentinel();
    vorn_iot_loop_backend(kStart, out.data(), countingSave, 22, 101325, 45, 50000);
    EXPECT_EQ(out[0], 0.0f);
    EXPECT_EQ(out[2], 0.0f);

    EXPECT_EQ(vorn_iot_init_backend(loadNegative, kHostRate, 0.0f).library_status,
              RC_E_WORK_BUFFER_SMALL);
    gsx410_temperature_offset_g = 0.0f;
}

// ---- Link surface ----

TEST(HostExports, HostSymbolsLiveOnlyInTheHostLibrary) {
    void* core = dlopen(VORN_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
    void* host = dlopen(VORN_HOST_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(core, nullptr) << dlerror();
    ASSERT_NE(host, nullptr) << dlerror();
    for (const char* name :
         {"proccess_gsx_data", "state_load", "state_save", "vorn_iot_init_backend",
          "vorn_iot_loop_backend", "gsx410_vorn_update_subscription", "gsx410_vorn_process_data",
          "gsx410_temperature_offset_g"}) {
        EXPECT_NE(dlsym(host, name), nullptr) << name;
        EXPECT_EQ(dlsym(core, name), nullptr) << name;
    }
    // libvorn.so must not replace a client's sleep(); the host library's returns at once.
    EXPECT_NE(dlsym(core, "sleep"), dlsym(host, "sleep"));
    using SleepFn = int32_t (*)(int32_t);
    auto hostSleep = reinterpret_cast<SleepFn>(dlsym(host, "sleep"));
    ASSERT_NE(hostSleep, nullptr);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(hostSleep(5), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
    dlclose(host);
    dlclose(core);
}

}  // namespace
