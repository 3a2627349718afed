// Hostile time stamps and readings through the exported operations, a table each:
// clocks at the ends of the 64-bit range, running backwards or jumping by years, and
// non-finite readings. Run under UBSan these also prove the time arithmetic never overflows.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <tuple>
#include <utility>
#include <vector>

#include "blobs.h"
#include "library_client.h"

namespace {

using namespace vorn_test;

constexpr int64_t kMin = std::numeric_limits<int64_t>::min();
constexpr int64_t kMax = std::numeric_limits<int64_t>::max();
constexpr int64_t kYear = 365 * kDay;
constexpr float kInf = std::numeric_limits<float>::infinity();

std::vector<InputSample> readings(int64_t t) {
    return {sample(IN_HUMIDITY, t, 45.0f), sample(IN_TEMPERATURE, t, 22.0f),
            sample(IN_GAS_RESISTANCE, t, 60000.0f)};
}

// A library step or a client's cycle: every output finite.
template <typename Outcome>
void expectFinite(const Outcome& s) {
    EXPECT_TRUE(s.status == RC_OK || s.status == RC_W_INPUT_REPEATED) << s.status;
    for (const OutputSample& o : s.outputs)
        EXPECT_TRUE(std::isfinite(o.value)) << "output " << int(o.id) << " = " << o.value;
}

class HostileInputs : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(vorn_init(), RC_OK);
        ASSERT_EQ(client_.subscribe(), RC_OK);
    }

    // One cooperative cycle of the shared client at time t.
    const Cycle& cycle(int64_t t, int32_t* controlStatus) {
        client_.setNow(t);
        const Cycle& c = client_.cycle();
        planned_ = c.plan.next_call_ns;
        *controlStatus = c.controlStatus;
        return c;
    }

    // Regular operation from `from` until the continuous-time flag is set (300 s at 3 s).
    int64_t runIn(int64_t from = kStartNs) {
        for (int i = 0; i < 110; ++i) {
            int32_t status = 0;
            EXPECT_GE(cycle(from, &status).status, 0);
            EXPECT_EQ(status, RC_OK);
            from = planned_;
        }
        return from;
    }

    Client client_{Scenario({OUT_IAQ_INDEX, OUT_GAS_SCALE_PERCENT, OUT_CONTINUOUS_TIME_FLAG,
                             OUT_ACCUMULATED_TIME_FLAG, OUT_COMPENSATED_TEMPERATURE,
                             OUT_COMPENSATED_HUMIDITY, OUT_PASSTHROUGH_PRESSURE})};
    int64_t planned_ = 0;
};

// Clock values a device can hand over: the ends of the range, wrap-around, zero and
// negative, and jumps of an hour back or of years either way. Each goes through
// cooperative cycles and, raw, straight to the processing step (alternating ends so
// that every difference the modules form spans the whole range).
class ExtremeTimes : public HostileInputs,
                     public ::testing::WithParamInterface<std::vector<int64_t>> {};

TEST_P(ExtremeTimes, StayDefinedAndFinite) {
    runIn();
    for (int64_t t : GetParam()) {
        for (int repeat = 0; repeat < 3; ++repeat, t = planned_) {
            int32_t status = 0;
            expectFinite(cycle(t, &status));
            EXPECT_TRUE(status == RC_OK || status == RC_W_CALL_TIME_DEVIATION) << status;
        }
    }
    for (int64_t t : GetParam()) expectFinite(step(readings(t)));
}

using Times = std::vector<int64_t>;
INSTANTIATE_TEST_SUITE_P(Clock, ExtremeTimes,
                         ::testing::Values(Times{kMax - 4 * kSecond, kMax},
                                           Times{kMin, kMin + 3 * kSecond}, Times{kMax, kMin},
                                           Times{kMin, kMax}, Times{0, -1, -3 * kSecond},
                                           Times{kStartNs - kHour},
                                           Times{kStartNs + kYear, kStartNs + 100 * kYear},
                                           Times{kStartNs - 100 * kYear},
                                           Times{kMax, kMin, kMax, 0, kMin + 1, kMax - 1}));

// A non-finite reading refuses the whole step and leaves the learnt state untouched;
// this holds for every input, including the offset, whose range is the whole finite
// float range. The same time stamps are still free afterwards: nothing was stored.
class NonFiniteReadings : public HostileInputs,
                          public ::testing::WithParamInterface<std::tuple<uint8_t, float>> {};

TEST_P(NonFiniteReadings, AreRefusedAndChangeNothing) {
    const auto [id, bad] = GetParam();
    const int64_t t = runIn();
    const std::vector<uint8_t> before = exportBlob(BlobKind::State);
    std::vector<InputSample> good;
    for (const InputSample& s : readings(t)) {
        if (s.id != id) good.push_back(s);
    }
    std::vector<InputSample> in = good;
    in.push_back(sample(id, t, bad));
    const Step s = step(in);
    EXPECT_EQ(s.status, RC_E_INPUT_RANGE);
    EXPECT_TRUE(s.outputs.empty());
    EXPECT_EQ(exportBlob(BlobKind::State), before);
    EXPECT_EQ(step(good).status, RC_OK);
}

INSTANTIATE_TEST_SUITE_P(
    EveryInput, NonFiniteReadings,
    ::testing::Combine(::testing::Values(IN_PRESSURE, IN_HUMIDITY, IN_TEMPERATURE,
                                         IN_GAS_RESISTANCE, IN_TEMPERATURE_OFFSET,
                                         IN_MOD_HEATING_FLAG, IN_BASELINE_INDEX,
                                         IN_PROCESSING_INHIBIT),
                       ::testing::Values(std::nanf(""), kInf, -kInf)));

}  // namespace
