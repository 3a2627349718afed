// The host entry points through libvorn_host.so: what a call writes, truncation of
// readings, every kind of bad state file, and a state file kept whole across SIGKILL at
// any moment.
#include <ftw.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <cmath>
#include <csignal>
#include <fstream>
#include <random>

#include "host/vorn_host.h"

namespace {

using Bytes = std::vector<uint8_t>;
using HostValues = std::array<float, 7>;
constexpr uint32_t kCapacity = 1974, kStateSize = 139;
constexpr int32_t kStart = 1000;  // a time stamp of 0 would repeat the reset value
const std::string kStateFile = VORN_STATE_FILE_NAME;
constexpr HostValues kSentinel = {-7, -7, -7, -7, -7, -7, -7};  // no host output takes it

// The current directory while the object lives; on tmpfs when there is one, since
// every host call flushes its file to the disk.
class ScopedWorkDir {
public:
    ScopedWorkDir() {
        char cwd[PATH_MAX];
        if (getcwd(cwd, sizeof cwd) != nullptr) previous_ = cwd;
        path_ =
            access("/dev/shm", W_OK) == 0 ? "/dev/shm/vorn-host-XXXXXX" : "/tmp/vorn-host-XXXXXX";
        if (mkdtemp(path_.data()) == nullptr || chdir(path_.c_str()) != 0) std::abort();
    }
    ~ScopedWorkDir() {
        if (chdir(previous_.c_str()) != 0) std::abort();
        nftw(
            path_.c_str(), [](const char* p, const struct stat*, int, FTW*) { return remove(p); },
            8, FTW_DEPTH | FTW_PHYS);
    }

private:
    std::string previous_, path_;
};

Bytes readFile(const std::string& name) {
    std::ifstream in(name, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void writeFile(const std::string& name, const Bytes& bytes) {
    std::ofstream(name, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
}

struct Readings {
    float temperature, pressure, humidity, gas;
};
constexpr Readings kIndoor = {23.9f, 101325.7f, 45.9f, 50000.9f};

int32_t callHost(int32_t time_s, HostValues& out, const Readings& r) {
    return proccess_gsx_data(time_s, out.data(), r.temperature, r.pressure, r.humidity, r.gas);
}

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
    HostValues out = kSentinel;
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

TEST(HostEntry, FirstCallWritesValuesAndCreatesTheStateFile) {
    ScopedWorkDir dir;
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

// Raw and pre-truncated readings give the same values and learnt state; a
// non-finite reading is refused before the state file is touched.
TEST(HostEntry, RawReadingsActLikeTheirTruncatedIntegers) {
    const std::pair<Readings, Readings> cases[] = {
        // raw, truncated
        {kIndoor, {23, 101325, 45, 50000}},
        {{-0.5f, -5.0f, 0.5f, 50000}, {0, 0, 0, 50000}},
        {{22, 1e12f, 45, 50000}, {22, 4294967295.0f, 45, 50000}},
    };
    for (const auto& [raw, truncated] : cases) {
        const HostRun a = runHost(raw, 3), b = runHost(truncated, 3);
        EXPECT_TRUE(a.values == b.values && a.file == b.file)
            << raw.temperature << " " << raw.pressure;
    }
    const Bytes seed = withLine("139\n", learntBlob());
    for (const Readings& bad :
         {Readings{NAN, 101325, 45, 50000}, Readings{23, INFINITY, 45, 50000},
          Readings{23, 101325, -INFINITY, 50000}, Readings{23, 101325, 45, NAN}}) {
        const HostRun run = runHost(bad, 2, &seed);
        EXPECT_EQ(run.results, (std::vector<int32_t>{RC_E_INPUT_RANGE, RC_E_INPUT_RANGE}));
        EXPECT_TRUE(run.values.back() == kSentinel && run.file == seed) << bad.temperature;
    }
}

// The loader never writes past its capacity. A file it cannot read is ignored: the
// host starts from the defaults, exactly as without a file, and replaces it. A blob
// the library refuses is reported on every call and the file left alone.
TEST(HostEntry, BadStateFiles) {
    const Bytes& b = learntBlob();
    Bytes badCrc = b;
    badCrc[badCrc.size() - 3] ^= 0x01;  // a checksum byte
    const std::pair<const char*, Bytes> cases[] = {
        {"wrong_checksum", withLine("139\n", badCrc)},
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
        const bool readable = std::string(name) == "wrong_checksum";
        {
            ScopedWorkDir dir;
            writeFile(kStateFile, content);
            Bytes buffer(kCapacity + 4096, 0xA5);
            EXPECT_EQ(state_load(buffer.data(), kCapacity), readable ? int32_t(kStateSize) : 0)
                << name;
            EXPECT_EQ(Bytes(buffer.begin() + kCapacity, buffer.end()), Bytes(4096, 0xA5)) << name;
        }
        const HostRun run = runHost(kIndoor, 2, &content);
        if (readable) {
            EXPECT_EQ(run.results, (std::vector<int32_t>{RC_E_BLOB_CRC, RC_E_BLOB_CRC}));
            EXPECT_EQ(run.values, (std::vector<HostValues>{kSentinel, kSentinel}));
            EXPECT_EQ(run.file, content);
        } else {
            EXPECT_EQ(run.results, (std::vector<int32_t>{0, 0})) << name;
            EXPECT_EQ(run.values, fresh.values) << name;
            EXPECT_EQ(run.file, fresh.file) << name;
        }
    }
    ScopedWorkDir dir;  // a directory in place of the file is survived and left alone
    ASSERT_EQ(mkdir(kStateFile.c_str(), 0755), 0);
    HostValues out = kSentinel;
    EXPECT_EQ(callHost(kStart, out, kIndoor), 0);
    EXPECT_EQ(out, fresh.values[0]);
    EXPECT_NE(state_save(learntBlob().data(), kStateSize), 0);
    struct stat info {};
    EXPECT_TRUE(stat(kStateFile.c_str(), &info) == 0 && S_ISDIR(info.st_mode));
    EXPECT_FALSE(std::ifstream(kStateFile + ".tmp").good());
}

// A process saving two states alternately is killed at random moments; after every
// kill the file must hold one of them, whole, and the library must accept it.
TEST(StateFile, SurvivesSigkillAtAnyMoment) {
    const Bytes first = runHost(kIndoor, 1).file;
    const std::array<Bytes, 2> states = {Bytes(first.end() - kStateSize, first.end()),
                                         learntBlob()};
    ASSERT_NE(states[0], states[1]);
    ScopedWorkDir dir;
    ASSERT_EQ(state_save(states[0].data(), kStateSize), 0);
    std::mt19937 random(20240611u);
    std::uniform_int_distribution<long> delayNs(0, 3'000'000);
    int seen[2] = {0, 0};
    for (int kill_no = 0; kill_no < 240; ++kill_no) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            for (uint32_t i = 0;; ++i) state_save(states[i % 2].data(), kStateSize);
        }
        const timespec pause{0, delayNs(random)};
        nanosleep(&pause, nullptr);
        ASSERT_EQ(kill(child, SIGKILL), 0);
        ASSERT_EQ(waitpid(child, nullptr, 0), child);

        Bytes loaded(kCapacity), work(kCapacity);
        ASSERT_EQ(state_load(loaded.data(), kCapacity), int32_t(kStateSize)) << kill_no;
        loaded.resize(kStateSize);
        const int which = loaded == states[0] ? 0 : 1;
        ASSERT_EQ(loaded, states[which]) << "after kill " << kill_no;
        ++seen[which];
        ASSERT_EQ(readFile(kStateFile).size(), 4 + kStateSize) << "after kill " << kill_no;
        vorn_init();
        ASSERT_EQ(vorn_set_state(loaded.data(), kStateSize, work.data(), kCapacity), RC_OK);
    }
    // Both states turned up, so the kills did land between and during saves.
    EXPECT_TRUE(seen[0] > 0 && seen[1] > 0);
}

}  // namespace
