// Crash safety of the state file: a process saving two states alternately is
// killed with SIGKILL at random moments; after every kill the file must hold one
// of them, whole, and the library must accept it.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <csignal>
#include <ctime>
#include <random>

#include "host_test_support.h"

namespace {

using namespace vorn_test;

TEST(StateFileCrashSafety, SurvivesSigkillAtAnyMoment) {
    std::array<Bytes, 2> states;
    {
        ScopedWorkDir dir;
        HostValues out{};
        for (int call = 0; call < 6; ++call) {
            callHost(1000 + 3 * call, out, kIndoor);
            states[call < 2 ? 0 : 1] = readFile(VORN_STATE_FILE_NAME);
        }
    }
    for (Bytes& state : states) state.erase(state.begin(), state.begin() + 4);  // "139\n"
    ASSERT_NE(states[0], states[1]);
    const auto size = static_cast<uint32_t>(states[0].size());
    ScopedWorkDir dir;
    ASSERT_EQ(state_save(states[0].data(), size), 0);

    std::mt19937 random(20240611u);
    std::uniform_int_distribution<long> delayNs(0, 3'000'000);
    int seen[2] = {0, 0};
    for (int kill_no = 0; kill_no < 240; ++kill_no) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            for (uint32_t i = 0;; ++i) state_save(states[i % 2].data(), size);
        }
        const timespec pause{0, delayNs(random)};
        nanosleep(&pause, nullptr);
        ASSERT_EQ(kill(child, SIGKILL), 0);
        ASSERT_EQ(waitpid(child, nullptr, 0), child);

        Bytes loaded(kCapacity), work(kCapacity);
        ASSERT_EQ(state_load(loaded.data(), kCapacity), int32_t(size)) << "after kill " << kill_no;
        loaded.resize(size);
        const int which = loaded == states[0] ? 0 : 1;
        ASSERT_EQ(loaded, states[which]) << "after kill " << kill_no;
        ++seen[which];
        ASSERT_EQ(readFile(VORN_STATE_FILE_NAME).size(), 4 + size) << "after kill " << kill_no;
        vorn_init();
        ASSERT_EQ(vorn_set_state(loaded.data(), size, work.data(), kCapacity), RC_OK);
    }
    // Both states turned up, so the kills did land between and during saves.
    EXPECT_GT(seen[0], 0);
    EXPECT_GT(seen[1], 0);
}

}  // namespace
