// Hostile clocks and readings through the exported operations, a table each: clocks at
// the ends of the 64-bit range, running backwards or jumping by years, and non-finite
// readings of every input. Run under UBSan these also prove the time arithmetic never
// overflows; the fuzzers try the same over far more inputs.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
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

// The host's outputs after five minutes of regular operation (the continuous-time flag set).
Client runIn() {
    vorn_init();
    Client client(Scenario({kHostOutputs.begin(), kHostOutputs.end()}));
    EXPECT_EQ(client.subscribe(), RC_OK);
    for (int i = 0; i < 110; ++i) EXPECT_EQ(client.cycle().controlStatus, RC_OK);
    return client;
}

void expectFinite(int32_t status, std::span<const OutputSample> outputs) {
    EXPECT_TRUE(status == RC_OK || status == RC_W_INPUT_REPEATED) << status;
    for (const OutputSample& o : outputs) EXPECT_TRUE(std::isfinite(o.value)) << int{o.id};
}

// Each of a row's clock values goes through three cooperative cycles and then, raw, straight
// to the processing step (alternating ends so that every difference spans the whole range).
TEST(Hostile, ClocksStayDefinedAndOutputsFinite) {
    const std::vector<int64_t> rows[] = {{kMax - 4 * kSecond, kMax},
                                         {kMin, kMin + 3 * kSecond},
                                         {kMax, kMin},
                                         {kMin, kMax},
                                         {0, -1, -3 * kSecond},
                                         {kStartNs - kHour},
                                         {kStartNs + kYear, kStartNs + 100 * kYear},
                                         {kStartNs - 100 * kYear},
                                         {kMax, kMin, kMax, 0, kMin + 1, kMax - 1}};
    for (const auto& times : rows) {
        SCOPED_TRACE(times.front());
        Client client = runIn();
        for (const int64_t t : times) {
            client.setNow(t);
            for (int repeat = 0; repeat < 3; ++repeat) {
                const Cycle& c = client.cycle();
                expectFinite(c.status, c.outputs);
                EXPECT_TRUE(c.controlStatus == RC_OK ||
                            c.controlStatus == RC_W_CALL_TIME_DEVIATION);
            }
            const Step s = step(readings(t));
            expectFinite(s.status, s.outputs);
        }
    }
}

// A non-finite reading of any input (the offset's range is every finite float) refuses the
// whole step and changes nothing; its time stamps are still free afterwards.
TEST(Hostile, NonFiniteReadingsAreRefusedAndChangeNothing) {
    for (const vorn::InputRow& input : vorn::kInputTable) {
        const auto id = static_cast<uint8_t>(input.id);
        for (const float bad : {std::nanf(""), kInf, -kInf}) {
            SCOPED_TRACE(testing::Message() << int{id} << " " << bad);
            const int64_t t = runIn().now();
            const Bytes before = exportBlob(BlobKind::State);
            std::vector<InputSample> good;
            for (const InputSample& s : readings(t))
                if (s.id != id) good.push_back(s);
            std::vector<InputSample> in = good;
            in.push_back(sample(id, t, bad));
            const Step s = step(in);
            EXPECT_TRUE(s.status == RC_E_INPUT_RANGE && s.outputs.empty());
            EXPECT_EQ(exportBlob(BlobKind::State), before);
            EXPECT_EQ(step(good).status, RC_OK);
        }
    }
}

}  // namespace
