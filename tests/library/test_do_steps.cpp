// The processing step through vorn_do_steps: validation of the whole input list
// before anything is stored, the warnings and their precedence, clearing and
// filling the caller's output array, output order and downsampling.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "library_client.h"

namespace {

using namespace vorn_test;

constexpr int64_t kT = 5 * kSecond;

struct Rejection {
    const char* name;
    std::vector<InputSample> inputs;
    int32_t status;
};

class RejectedInputs : public ::testing::TestWithParam<Rejection> {};

TEST_P(RejectedInputs, RejectWholeCallAndStoreNothing) {
    vorn_init();
    subscribe({{OUT_PASSTHROUGH_HUMIDITY, 1.0f}});
    step({});  // applies the subscription
    const Step rejected = step(GetParam().inputs);
    EXPECT_EQ(rejected.status, GetParam().status);
    EXPECT_TRUE(rejected.outputs.empty());
    // The valid humidity sample of the rejected call was not stored: it is new now.
    const Step accepted = step({sample(IN_HUMIDITY, kT, 50.0f)});
    EXPECT_EQ(accepted.status, RC_OK);
    ASSERT_EQ(accepted.outputs.size(), 1u);
    EXPECT_EQ(accepted.outputs[0].value, 50.0f);
}

const InputSample kHumidity = sample(IN_HUMIDITY, kT, 50.0f);

INSTANTIATE_TEST_SUITE_P(
    Codes, RejectedInputs,
    ::testing::Values(
        Rejection{"IdNotInSet", {kHumidity, sample(5, kT, 1.0f)}, RC_E_INPUT_ID},
        Rejection{"IdZero", {kHumidity, sample(0, kT, 1.0f)}, RC_E_INPUT_ID},
        Rejection{"IdAboveSet", {kHumidity, sample(25, kT, 1.0f)}, RC_E_INPUT_ID},
        Rejection{
            "Duplicate", {kHumidity, sample(IN_HUMIDITY, kT + 1, 40.0f)}, RC_E_INPUT_DUPLICATE},
        Rejection{"TemperatureAboveRange",
                  {kHumidity, sample(IN_TEMPERATURE, kT, 125.5f)},
                  RC_E_INPUT_RANGE},
        Rejection{
            "GasBelowRange", {kHumidity, sample(IN_GAS_RESISTANCE, kT, 169.0f)}, RC_E_INPUT_RANGE},
        Rejection{
            "NotANumber", {kHumidity, sample(IN_PRESSURE, kT, std::nanf(""))}, RC_E_INPUT_RANGE},
        Rejection{"InhibitAboveRange",
                  {kHumidity, sample(IN_PROCESSING_INHIBIT, kT, 9.5f)},
                  RC_E_INPUT_RANGE}),
    [](const auto& param) { return std::string(param.param.name); });

TEST(DoSteps, RangeBoundsThemselvesAreAccepted) {
    vorn_init();
    const Step s = step({sample(IN_TEMPERATURE, kT, 125.0f), sample(IN_HUMIDITY, kT, 0.0f),
                         sample(IN_GAS_RESISTANCE, kT, 13200000.0f),
                         sample(IN_TEMPERATURE_OFFSET, kT, -3.4028235e38f)});
    EXPECT_EQ(s.status, RC_OK);
    EXPECT_TRUE(s.outputs.empty());  // nothing subscribed after vorn_init
}

TEST(DoSteps, OutputRecordsAreClearedUpToTheCapacity) {
    vorn_init();
    OutputSample out[255];
    std::memset(out, 0xAB, sizeof out);
    uint8_t n = 255;
    EXPECT_EQ(vorn_do_steps(nullptr, 0, out, &n), RC_OK);
    EXPECT_EQ(n, 0);
    for (const OutputSample& o : out) {
        EXPECT_EQ(o.timestamp_ns, 0);
        EXPECT_EQ(o.value, 0.0f);
        EXPECT_EQ(o.dims | o.id | o.accuracy, 0);
        EXPECT_EQ(o.reserved, 0xAB);  // the last byte is never written
    }
}

class PassThrough : public ::testing::Test {
protected:
    void SetUp() override {
        vorn_init();
        ASSERT_EQ(subscribe({{OUT_PASSTHROUGH_GAS, 1.0f},
                             {OUT_PASSTHROUGH_TEMPERATURE, 1.0f},
                             {OUT_PASSTHROUGH_PRESSURE, 1.0f}})
                      .status,
                  RC_OK);
    }
    static std::vector<InputSample> all(int64_t t) {
        return {sample(IN_GAS_RESISTANCE, t, 1000.0f), sample(IN_PRESSURE, t, 90000.0f),
                sample(IN_TEMPERATURE, t, 21.5f)};
    }
};

TEST_F(PassThrough, SubscriptionTakesEffectFromTheNextStepInAscendingOrder) {
    EXPECT_TRUE(step(all(kT)).outputs.empty());
    const Step s = step(all(kT + kSecond));
    EXPECT_EQ(s.status, RC_OK);
    ASSERT_EQ(s.outputs.size(), 3u);
    const uint8_t ids[] = {OUT_PASSTHROUGH_TEMPERATURE, OUT_PASSTHROUGH_PRESSURE,
                           OUT_PASSTHROUGH_GAS};
    const float values[] = {21.5f, 90000.0f, 1000.0f};
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(s.outputs[i].id, ids[i]);
        EXPECT_EQ(s.outputs[i].value, values[i]);
        EXPECT_EQ(s.outputs[i].timestamp_ns, kT + kSecond);
        EXPECT_EQ(s.outputs[i].dims, 1);
        EXPECT_EQ(s.outputs[i].accuracy, 0);
    }
}

TEST_F(PassThrough, WarningsAndTheirPrecedence) {
    step({});
    // Right after vorn_init every stored time stamp is 0: a sample at 0 repeats it.
    Step s = step({sample(IN_TEMPERATURE, 0, 20.0f), sample(IN_PRESSURE, kT, 90000.0f)});
    EXPECT_EQ(s.status, RC_W_INPUT_REPEATED);
    ASSERT_EQ(s.outputs.size(), 1u);
    EXPECT_EQ(s.outputs[0].id, OUT_PASSTHROUGH_PRESSURE);

    s = step(all(2 * kT), 1);  // room for one of three: the lowest identifier
    EXPECT_EQ(s.status, RC_W_OUTPUT_OVERFLOW);
    ASSERT_EQ(s.outputs.size(), 1u);
    EXPECT_EQ(s.outputs[0].id, OUT_PASSTHROUGH_TEMPERATURE);
    EXPECT_TRUE(step({}).outputs.empty());  // the dropped ones are not offered again

    uint8_t n = 0;  // a later condition replaces the repeated-time-stamp warning
    const InputSample repeated = sample(IN_TEMPERATURE, 2 * kT, 20.0f);
    EXPECT_EQ(vorn_do_steps(&repeated, 1, nullptr, &n), RC_W_NO_OUTPUT_ROOM);
    EXPECT_EQ(n, 0);
}

TEST_F(PassThrough, NullInputsAreRejected) {
    uint8_t n = 4;
    OutputSample out[4];
    EXPECT_EQ(vorn_do_steps(nullptr, 2, out, &n), RC_E_INPUT_ID);
    EXPECT_EQ(n, 0);
    EXPECT_EQ(vorn_do_steps(nullptr, 0, out, nullptr), RC_W_NO_OUTPUT_ROOM);
}

TEST(DoSteps, SlowerChannelRunsOnEveryThirdSample) {
    vorn_init();
    ASSERT_EQ(
        subscribe({{OUT_COMPENSATED_TEMPERATURE, kRate3s}, {OUT_PASSTHROUGH_TEMPERATURE, 1.0f}})
            .status,
        RC_OK);
    step({});
    for (int k = 1; k <= 9; ++k) {
        const Step s = step({sample(IN_TEMPERATURE, k * kSecond, 22.0f)});
        EXPECT_NE(s.find(OUT_PASSTHROUGH_TEMPERATURE), nullptr) << "sample " << k;
        EXPECT_EQ(s.find(OUT_COMPENSATED_TEMPERATURE) != nullptr, k % 3 == 0) << "sample " << k;
    }
}

}  // namespace
