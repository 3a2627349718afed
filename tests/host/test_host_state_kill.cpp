// Crash safety of the state file: a process that saves state in a tight loop is
// killed with SIGKILL at random moments, and after every kill the file must be
// one of the states it was saving, whole, and accepted by the library.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <csignal>
#include <ctime>
#include <random>

#include "host_test_support.h"

namespace {

using namespace vorn_test;

constexpr int kKills = 240;
constexpr long kMaxDelayNs = 3'000'000;  // the saver gets 0..3 ms before it dies
constexpr uint32_t kCapacity = 1974;

// Two genuine state blobs, from different points of a run.
std::array<Bytes, 2> learntStates() {
    ScopedWorkDir dir;
    std::array<Bytes, 2> states;
    HostValues out{};
    for (int call = 0; call < 6; ++call) {
        callHost(1000 + 3 * call, out, kIndoor);
        if (call == 1) states[0] = readFile(VORN_STATE_FILE_NAME);
    }
    states[1] = readFile(VORN_STATE_FILE_NAME);
    for (Bytes& state : states) state.erase(state.begin(), state.begin() + 4);  // "139\n"
    return states;
}

[[noreturn]] void saveForever(const std::array<Bytes, 2>& states) {
    for (uint32_t i = 0;; ++i) {
        const Bytes& state = states[i % 2];
        state_save(state.data(), static_cast<uint32_t>(state.size()));
    }
}

void pause(long ns) {
    const timespec delay{0, ns};
    nanosleep(&delay, nullptr);
}

TEST(StateFileCrashSafety, SurvivesSigkillAtAnyMoment) {
    const std::array<Bytes, 2> states = learntStates();
    ASSERT_NE(states[0], states[1]);

    ScopedWorkDir dir;
    ASSERT_EQ(state_save(states[0].data(), static_cast<uint32_t>(states[0].size())), 0);

    std::mt19937 random(20240611u);
    std::uniform_int_distribution<long> delay(0, kMaxDelayNs);
    int seen[2] = {0, 0};
    for (int kill_no = 0; kill_no < kKills; ++kill_no) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) saveForever(states);
        pause(delay(random));
        ASSERT_EQ(kill(child, SIGKILL), 0);
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);

        Bytes loaded(kCapacity);
        const int32_t n = state_load(loaded.data(), kCapacity);
        ASSERT_EQ(n, static_cast<int32_t>(states[0].size())) << "after kill " << kill_no;
        loaded.resize(static_cast<size_t>(n));
        const bool first = loaded == states[0];
        ASSERT_TRUE(first || loaded == states[1]) << "after kill " << kill_no;
        ++seen[first ? 0 : 1];
        ASSERT_EQ(readFile(VORN_STATE_FILE_NAME).size(), 4 + loaded.size()) << "trailing bytes";

        Bytes work(kCapacity);
        ASSERT_EQ(vorn_init(), RC_OK);
        ASSERT_EQ(vorn_set_state(loaded.data(), static_cast<uint32_t>(n), work.data(), kCapacity),
                  RC_OK);
    }
    // Both states were found, so the kills did land between and during saves.
    EXPECT_GT(seen[0], 0);
    EXPECT_GT(seen[1], 0);
}

}  // namespace
