// Crash safety of the state file: a process saving state in a tight loop is
// killed with SIGKILL at random moments; after every kill the file must be one
// of the states it was saving, whole, and accepted by the library.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <csignal>
#include <ctime>
#include <random>

#include "host_test_support.h"

namespace {

using namespace vorn_test;

constexpr int kKills = 240;
constexpr long kMaxDelayNs = 3'000'000;  // the saver lives 0..3 ms
constexpr uint32_t kCapacity = 1974;

// Two genuine state blobs from different points of a run.
std::array<Bytes, 2> learntStates() {
    ScopedWorkDir dir;
    std::array<Bytes, 2> states;
    HostValues out{};
    for (int call = 0; call < 6; ++call) {
        callHost(1000 + 3 * call, out, kIndoor);
        states[call < 2 ? 0 : 1] = readFile(VORN_STATE_FILE_NAME);
    }
    for (Bytes& state : states) state.erase(state.begin(), state.begin() + 4);  // "139\n"
    return states;
}

TEST(StateFileCrashSafety, SurvivesSigkillAtAnyMoment) {
    const std::array<Bytes, 2> states = learntStates();
    ASSERT_NE(states[0], states[1]);
    const auto size = static_cast<uint32_t>(states[0].size());
    ScopedWorkDir dir;
    ASSERT_EQ(state_save(states[0].data(), size), 0);

    std::mt19937 random(20240611u);
    std::uniform_int_distribution<long> delay(0, kMaxDelayNs);
    int seen[2] = {0, 0};
    for (int kill_no = 0; kill_no < kKills; ++kill_no) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            for (uint32_t i = 0;; ++i) state_save(states[i % 2].data(), size);
        }
        const timespec pause{0, delay(random)};
        nanosleep(&pause, nullptr);
        ASSERT_EQ(kill(child, SIGKILL), 0);
        ASSERT_EQ(waitpid(child, nullptr, 0), child);

        Bytes loaded(kCapacity);
        ASSERT_EQ(state_load(loaded.data(), kCapacity), static_cast<int32_t>(size)) << kill_no;
        loaded.resize(size);
        const int which = loaded == states[0] ? 0 : 1;
        ASSERT_EQ(loaded, states[which]) << "after kill " << kill_no;
        ++seen[which];
        ASSERT_EQ(readFile(VORN_STATE_FILE_NAME).size(), 4 + size) << "after kill " << kill_no;
        Bytes work(kCapacity);
        vorn_init();
        ASSERT_EQ(vorn_set_state(loaded.data(), size, work.data(), kCapacity), RC_OK);
    }
    // Both states turned up, so the kills did land between and during saves.
    EXPECT_GT(seen[0], 0);
    EXPECT_GT(seen[1], 0);
}

}  // namespace
