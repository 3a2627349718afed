// A day of the shared room at 3 s, driven by the shared client as a device drives the
// library: outputs stay in range, the flags rise on time, the IAQ index calibrates and
// follows the VOC events, and a restart from the saved state continues bit for bit.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <vector>

#include "library_client.h"

namespace {

using namespace vorn_test;

constexpr int kStepsPerDay = Room::kReadingsPerDay;

// Every output a host uses, plus the two status flags.
const Scenario kHostDay({1, 2, 3, 4, 6, 7, 8, 9, 12, 13, 14, 15});

struct Record {
    int64_t time;
    uint32_t inputMask;
    int32_t status;
    std::vector<OutputSample> outputs;
};

Record record(const Cycle& c) {
    return {c.time, c.plan.input_mask, c.status, {c.outputs.begin(), c.outputs.end()}};
}

class EndToEnd : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        drive(kHostDay, [](const Cycle& c, Client&) { day.push_back(record(c)); });
    }
    static inline std::vector<Record> day;
};

TEST_F(EndToEnd, OutputsStayInRangeFlagsRiseAndIaqFollowsTheGas) {
    ASSERT_EQ(day.size(), static_cast<size_t>(kStepsPerDay));
    bool accurate = false;
    float cleanest = 0, dirtiest = 2e7f, iaqCleanest = 0, iaqDirtiest = 0;  // by gas resistance
    for (size_t k = 0; k < day.size(); ++k) {
        SCOPED_TRACE(k);
        const Reading& r = sharedRoom().at(day[k].time - kStartNs);
        ASSERT_EQ(day[k].time, kStartNs + static_cast<int64_t>(k) * Room::kPeriodNs);
        ASSERT_EQ(day[k].inputMask, 0x0Fu);
        ASSERT_EQ(day[k].status, RC_OK);
        ASSERT_EQ(day[k].outputs.size(), 12u);
        for (const OutputSample& o : day[k].outputs) {
            ASSERT_TRUE(std::isfinite(o.value)) << int{o.id};
            ASSERT_EQ(o.timestamp_ns, day[k].time);
            ASSERT_LE(o.accuracy, 3);
            ASSERT_TRUE(o.id > OUT_EXPONENTIAL_ESTIMATE || o.value >= 0.0f) << int{o.id};
            ASSERT_TRUE(o.id != OUT_COMPENSATED_HUMIDITY || (o.value >= 0.0f && o.value <= 100.0f));
            ASSERT_TRUE(o.id != OUT_COMPENSATED_TEMPERATURE ||
                        std::fabs(o.value - r.temperature) < 5.0f);
            ASSERT_TRUE(o.id != OUT_PASSTHROUGH_GAS || o.value == r.gas);
            // Accumulated time needs nothing by default; continuous time needs 300 s of
            // gas samples 3 s apart, reached on the 101st increment.
            ASSERT_TRUE(o.id != OUT_ACCUMULATED_TIME_FLAG || o.value == 1.0f);
            ASSERT_TRUE(o.id != OUT_CONTINUOUS_TIME_FLAG || o.value == (k >= 101 ? 1.0f : 0.0f));
        }
        const OutputSample& iaq = day[k].outputs.front();
        ASSERT_TRUE(iaq.id == OUT_IAQ_INDEX && iaq.value <= 500.0f);
        accurate = accurate || iaq.accuracy == 3;
        if (r.gas > cleanest) cleanest = r.gas, iaqCleanest = iaq.value;
        if (r.gas < dirtiest) dirtiest = r.gas, iaqDirtiest = iaq.value;
    }
    EXPECT_TRUE(accurate);
    EXPECT_GT(iaqDirtiest, iaqCleanest + 150.0f);  // the strongest VOC event of the day
}

// After a restart the scheduler starts over while the modules continue from the saved
// state; at the time the last plan named, the run must continue bit for bit.
TEST_F(EndToEnd, SaveRestartRestoreContinuesIdentically) {
    constexpr int kSaveAfter = kStepsPerDay / 2 + 17, kCompared = 2000;
    vorn_init();
    Client client(kHostDay);
    ASSERT_EQ(client.subscribe(), RC_OK);
    for (int k = 0; k < kSaveAfter; ++k) client.cycle();
    ASSERT_EQ(client.restart(), RC_OK);
    for (int i = 0; i < kCompared; ++i) {
        const Record resumed = record(client.cycle()), &expected = day[kSaveAfter + i];
        ASSERT_EQ(resumed.time, expected.time) << i;
        ASSERT_EQ(resumed.inputMask, expected.inputMask) << i;
        ASSERT_EQ(resumed.status, expected.status) << i;
        ASSERT_EQ(resumed.outputs.size(), expected.outputs.size()) << i;
        for (size_t j = 0; j < expected.outputs.size(); ++j) {
            const OutputSample &a = resumed.outputs[j], &b = expected.outputs[j];
            ASSERT_TRUE(a.id == b.id && a.timestamp_ns == b.timestamp_ns &&
                        a.accuracy == b.accuracy &&
                        std::bit_cast<uint32_t>(a.value) == std::bit_cast<uint32_t>(b.value))
                << "call " << i << " output " << int{a.id};
        }
    }
}

}  // namespace
