// Subscription requests through vorn_update_subscription: the status of each kind
// of request (the last condition met wins), whether the subscription was recorded,
// and the required-input list that answers it.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>

#include "library_client.h"

namespace {

using namespace vorn_test;

constexpr uint8_t kInputIds[8] = {1, 2, 3, 4, 14, 22, 23, 24};

// The rate currently required of each input, in the order of kInputIds.
std::vector<float> requiredRates() {
    const Subscription s = subscribe({});
    EXPECT_EQ(s.status, RC_W_NOTHING_REQUESTED);
    EXPECT_EQ(s.nRequired, 8);
    std::vector<float> rates;
    for (int i = 0; i < s.nRequired; ++i) {
        EXPECT_EQ(s.required[i].id, kInputIds[i]);
        rates.push_back(s.required[i].rate_hz);
    }
    return rates;
}

const std::vector<float> kNothing(8, VORN_RATE_DISABLED);

// IAQ at 1/3 Hz: the gas chain's inputs at that rate, pressure and offset not at all.
std::vector<float> iaqAt3s() {
    const float r = 100.0f / 300.0f;
    return {VORN_RATE_DISABLED, r, r, r, VORN_RATE_DISABLED, r, r, r};
}

TEST(Subscription, IaqAtOneThirdHertzRequiresTheGasChainInputs) {
    vorn_init();
    const Subscription s = subscribe({{OUT_IAQ_INDEX, kRate3s}});
    EXPECT_EQ(s.status, RC_OK);
    ASSERT_EQ(s.nRequired, 8);
    // The answer is 100 / interval, not the rate asked for (0x3EAAAA3B).
    EXPECT_EQ(std::bit_cast<uint32_t>(s.required[1].rate_hz), 0x3EAAAAABu);
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(s.required[i].id, kInputIds[i]);
        EXPECT_EQ(s.required[i].rate_hz, iaqAt3s()[i]) << "input " << int{kInputIds[i]};
    }
}

struct Request {
    const char* name;
    std::vector<std::pair<uint8_t, float>> records;
    int32_t status;
    bool recorded;  // else the subscription stays as it was (nothing subscribed)
};

class RequestStatus : public ::testing::TestWithParam<Request> {};

TEST_P(RequestStatus, StatusAndWhetherRecorded) {
    const Request& r = GetParam();
    vorn_init();
    std::vector<SensorRate> list;
    for (const auto& [id, rate] : r.records) list.push_back(SensorRate{rate, id, {0, 0, 0}});
    SensorRate required[8];
    uint8_t n = 8;
    EXPECT_EQ(
        vorn_update_subscription(list.data(), static_cast<uint8_t>(list.size()), required, &n),
        r.status);
    EXPECT_EQ(n, 8);
    EXPECT_EQ(requiredRates(), r.recorded ? iaqAt3s() : kNothing);
}

const float kNan = std::nanf("");

INSTANTIATE_TEST_SUITE_P(
    Codes, RequestStatus,
    ::testing::Values(
        Request{"Accepted", {{1, kRate3s}}, RC_OK, true},
        Request{"OutsideTolerance", {{1, 0.3f}}, RC_E_RATE_NOT_ALLOWED, false},
        Request{"RateZero", {{1, kRate3s}, {3, 0.0f}}, RC_E_RATE_ZERO, false},
        Request{"NegativeRate", {{1, -1.0f}}, RC_E_RATE_RANGE, false},
        Request{"RateAboveDisabled", {{1, 70000.0f}}, RC_E_RATE_RANGE, false},
        Request{"NotANumber", {{1, kNan}}, RC_E_RATE_RANGE, false},
        Request{"TinyRateAlsoNotAllowed", {{1, 1e-4f}}, RC_E_RATE_NOT_ALLOWED, false},
        Request{"DenormalRate", {{1, 1e-40f}}, RC_E_RATE_NOT_ALLOWED, false},
        Request{"Duplicate", {{1, kRate3s}, {1, kRate3s}}, RC_E_OUTPUT_DUPLICATE, false},
        Request{
            "WithinToleranceButNoDivisor", {{1, 1.0f / 299}}, RC_E_INTERVAL_NOT_MULTIPLE, false},
        Request{"GasOutputsDisagree",
                {{1, kRate3s}, {2, 1.0f / 60}},
                RC_E_GAS_INTERVAL_CONFLICT,
                false},
        Request{
            "FastClimateWithSlowGas", {{6, 1.0f}, {1, kRate300s}}, RC_E_INTERVAL_TOO_SHORT, false},
        Request{"UnknownIdKeepsEarlierRecords",
                {{1, kRate3s}, {5, 1.0f}, {2, kRate3s}},
                RC_W_OUTPUT_ID_IGNORED,
                true},
        Request{"LaterWarningReplacesError", {{1, 0.3f}, {0, 1.0f}}, RC_W_OUTPUT_ID_IGNORED, false},
        Request{"LaterErrorReplacesWarning", {{22, 1.0f}, {1, 0.3f}}, RC_E_RATE_NOT_ALLOWED, false},
        Request{"ZeroOnlyFirstIsTrigger", {{2, kRate3s}, {1, 0.0f}}, RC_E_RATE_ZERO, false}),
    [](const auto& param) { return std::string(param.param.name); });

TEST(Subscription, DisabledRateUnsubscribes) {
    vorn_init();
    subscribe({{OUT_IAQ_INDEX, kRate3s}});
    EXPECT_EQ(subscribe({{OUT_IAQ_INDEX, VORN_RATE_DISABLED}}).status, RC_OK);
    EXPECT_EQ(requiredRates(), kNothing);
}

TEST(Subscription, TooLittleRoomStillRecords) {
    vorn_init();
    const Subscription s = subscribe({{OUT_IAQ_INDEX, kRate3s}}, 7);
    EXPECT_EQ(s.status, RC_E_REQUIRED_ROOM);
    EXPECT_EQ(s.nRequired, 0);
    EXPECT_EQ(requiredRates(), iaqAt3s());
}

TEST(Subscription, SharedInputRunsAtTheFastestRate) {
    vorn_init();
    ASSERT_EQ(
        subscribe({{OUT_IAQ_INDEX, kRate300s}, {OUT_PASSTHROUGH_TEMPERATURE, kRate3s}}).status,
        RC_OK);
    const std::vector<float> rates = requiredRates();
    EXPECT_EQ(rates[1], 100.0f / 30000.0f);  // humidity: only the IAQ chain
    EXPECT_EQ(rates[2], 100.0f / 300.0f);    // temperature: the faster passthrough
    EXPECT_EQ(rates[0], VORN_RATE_DISABLED);
}

TEST(Subscription, NullArgumentsAreSafe) {
    vorn_init();
    uint8_t n = 8;
    EXPECT_EQ(vorn_update_subscription(nullptr, 3, nullptr, &n), RC_E_REQUIRED_ROOM);
    EXPECT_EQ(n, 0);
    const SensorRate one{kRate3s, OUT_IAQ_INDEX, {0, 0, 0}};
    EXPECT_EQ(vorn_update_subscription(&one, 1, nullptr, nullptr), RC_E_REQUIRED_ROOM);
    EXPECT_EQ(requiredRates(), iaqAt3s());
}

}  // namespace
