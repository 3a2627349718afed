// vorn_update_subscription: the status of each kind of request (the last condition
// met wins), whether it was recorded, and the required-input rates that answer it.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <string>

#include "library_client.h"

namespace {

using namespace vorn_test;

constexpr float kOff = VORN_RATE_DISABLED;
constexpr float k3s = 100.0f / 300.0f;  // what 1/3 Hz is answered with
const std::vector<float> kNothing(8, kOff);
const std::vector<float> kIaqAt3s = {kOff, k3s, k3s, k3s, kOff, k3s, k3s, k3s};

// Required rates for inputs 1, 2, 3, 4, 14, 22, 23, 24; by default the current ones.
std::vector<float> rates(const Subscription& s = subscribe({})) {
    const uint8_t ids[] = {1, 2, 3, 4, 14, 22, 23, 24};
    std::vector<float> list;
    for (int i = 0; i < s.nRequired; ++i) {
        EXPECT_EQ(s.required[i].id, ids[i]);
        list.push_back(s.required[i].rate_hz);
    }
    return list;
}

struct Request {
    const char* name;
    std::vector<std::pair<uint8_t, float>> records;
    int32_t status;
    bool recorded;
};
class Requests : public ::testing::TestWithParam<Request> {};

TEST_P(Requests, StatusRecordingAndRequiredRates) {
    vorn_init();
    const Subscription s = subscribe(GetParam().records);
    EXPECT_EQ(s.status, GetParam().status);
    const std::vector<float>& expected = GetParam().recorded ? kIaqAt3s : kNothing;
    EXPECT_EQ(rates(s), expected);
    EXPECT_EQ(rates(), expected);
}

INSTANTIATE_TEST_SUITE_P(
    Codes, Requests,
    ::testing::Values(
        Request{"Accepted", {{1, kRate3s}}, RC_OK, true},
        Request{"Empty", {}, RC_W_NOTHING_REQUESTED, false},
        Request{"JustOutsideOnePercent", {{1, 100.0f / 296}}, RC_E_RATE_NOT_ALLOWED, false},
        Request{"RateZero", {{1, kRate3s}, {3, 0.0f}}, RC_E_RATE_ZERO, false},
        Request{"NotANumber", {{1, std::nanf("")}}, RC_E_RATE_RANGE, false},
        Request{"Duplicate", {{1, kRate3s}, {1, kRate3s}}, RC_E_OUTPUT_DUPLICATE, false},
        Request{"NoDivisorOfBase", {{1, 1.0f / 299}}, RC_E_INTERVAL_NOT_MULTIPLE, false},
        Request{"GasIntervalsDiffer",
                {{1, kRate3s}, {2, 1.0f / 60}},
                RC_E_GAS_INTERVAL_CONFLICT,
                false},
        Request{"TooShortForGas", {{6, 1.0f}, {1, kRate300s}}, RC_E_INTERVAL_TOO_SHORT, false},
        Request{"UnknownIdKeepsEarlier",
                {{1, kRate3s}, {5, 1.0f}, {2, kRate3s}},
                RC_W_OUTPUT_ID_IGNORED,
                true},
        Request{"LaterWarningWins", {{1, 0.3f}, {0, 1.0f}}, RC_W_OUTPUT_ID_IGNORED, false},
        Request{"RecordsAfterAWarningAreDropped",
                {{5, 1.0f}, {1, kRate3s}},
                RC_W_OUTPUT_ID_IGNORED,
                false}),
    [](const auto& param) { return std::string(param.param.name); });

TEST(Subscription, RequiredRatesUnsubscribeAndRoom) {
    vorn_init();
    const Subscription s = subscribe({{OUT_IAQ_INDEX, kRate3s}});
    EXPECT_EQ(std::bit_cast<uint32_t>(s.required[1].rate_hz), 0x3EAAAAABu);  // 100/300, not 0.33333
    subscribe({{OUT_IAQ_INDEX, kRate300s}, {OUT_PASSTHROUGH_TEMPERATURE, kRate3s}});
    const std::vector<float> shared = rates();
    EXPECT_EQ(shared[1], 100.0f / 30000.0f);  // humidity: the IAQ chain only
    EXPECT_EQ(shared[2], k3s);                // temperature: the faster of the two
    EXPECT_EQ(subscribe({{OUT_IAQ_INDEX, kOff}, {OUT_PASSTHROUGH_TEMPERATURE, kOff}}).status,
              RC_OK);
    EXPECT_EQ(rates(), kNothing);

    const Subscription tight = subscribe({{OUT_IAQ_INDEX, kRate3s}}, 7);
    EXPECT_EQ(tight.status, RC_E_REQUIRED_ROOM);
    EXPECT_EQ(tight.nRequired, 0);
    EXPECT_EQ(rates(), kIaqAt3s);  // recorded all the same
    uint8_t n = 8;
    EXPECT_EQ(vorn_update_subscription(nullptr, 3, nullptr, &n), RC_E_REQUIRED_ROOM);
    EXPECT_EQ(n, 0);
}

}  // namespace
