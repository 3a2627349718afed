// The six modules wired as the hub runs them (5, 3, 1, 2, 9, 10) with the hub's
// exchange values, fed a simulated day of a slowly drifting gas signal at 3 s:
// both baseline tracks must settle and no output may leave its range or go
// non-finite.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "modules/gas_humidity_baseline_tracker.h"
#include "modules/gas_humidity_pre_processor.h"
#include "modules/humidity_temperature_corrector.h"
#include "modules/iaq_estimator.h"
#include "modules/sensor_heat_compensator.h"
#include "modules/sensor_status_tracker.h"

namespace vorn {
namespace {

constexpr uint16_t kInterval = 300;                      // 3 s
constexpr int64_t kStepNs = 3'000'000'000;               // one sample
constexpr int kStepsPerDay = 24 * 3600 / 3;              // 28800
constexpr int64_t kStartNs = 1'700'000'000'000'000'000;  // an epoch-like start

struct Chain {
    SensorStatusTracker status;
    GasHumidityPreProcessor pre;
    GasHumidityBaselineTracker baseline;
    IaqEstimator iaq;
    SensorHeatCompensator heat;
    HumidityTemperatureCorrector humidity;

    Chain() {
        status.updateInterfaceDependency(kInterval);
        pre.updateInterfaceDependency(kInterval);
        baseline.updateInterfaceDependency(kInterval);
        iaq.updateInterfaceDependency(kInterval);
        humidity.updateInterfaceDependency(kInterval);
    }
};

struct Outputs {
    uint8_t accumulatedFlag = 0, continuousFlag = 0;
    BaselineBounds bounds{};
    float compensatedLogGas = 0.0f;
    IaqResults iaq{};
    float temperature = 0.0f, humidity = 0.0f;
};

// One hub step with new gas, temperature and humidity samples at time t.
Outputs step(Chain& c, int64_t t, float gas, float temperature, float humidity) {
    Outputs o;
    float progress = 0.0f;
    c.status.doStep(t, o.accumulatedFlag, o.continuousFlag, progress);
    float logGas = 0.0f, smoothT = 0.0f, smoothH = 0.0f;
    c.pre.doStep(logGas, smoothT, smoothH, gas, temperature, humidity);
    c.baseline.doStep(o.accumulatedFlag, o.continuousFlag, false, o.bounds, o.compensatedLogGas,
                      logGas, smoothT, smoothH, 0.0f);
    c.iaq.doStep(o.bounds, o.iaq, o.compensatedLogGas, progress);
    o.temperature = c.heat.doStep(t, t, c.baseline.samplIntvl, temperature, 0.0f);
    o.humidity = c.humidity.doStep(temperature, o.temperature, humidity);
    return o;
}

TEST(ModuleChain, SimulatedDaySettlesBothTracksWithFiniteBoundedOutputs) {
    Chain c;
    std::array<float, 2> best = {0.0f, 0.0f};
    float lowestIndex = 500.0f, highestIndex = 0.0f;  // over the settled second half
    for (int i = 0; i < kStepsPerDay; ++i) {
        const double phase = 2.0 * std::numbers::pi * i / kStepsPerDay;
        // Gas drifts by a factor of ~3 over six hours and carries a small ripple.
        const double gas = 80'000.0 * std::exp(0.6 * std::sin(4.0 * phase)) *
                           (1.0 + 0.01 * std::sin(997.0 * phase));
        const auto temperature = static_cast<float>(23.0 + 3.0 * std::sin(phase));
        const auto humidity = static_cast<float>(45.0 + 10.0 * std::cos(phase));
        const Outputs o =
            step(c, kStartNs + i * kStepNs, static_cast<float>(gas), temperature, humidity);

        ASSERT_TRUE(std::isfinite(o.compensatedLogGas)) << i;
        ASSERT_TRUE(std::isfinite(o.temperature)) << i;
        ASSERT_TRUE(std::isfinite(o.humidity)) << i;
        for (const IaqResult& r : o.iaq) {
            ASSERT_TRUE(std::isfinite(r.value)) << i;
            ASSERT_GE(r.accuracy, 0.0f) << i;
            ASSERT_LE(r.accuracy, 3.0f) << i;
        }
        ASSERT_GE(o.iaq[0].value, 0.0f) << i;
        ASSERT_LE(o.iaq[0].value, 500.0f) << i;
        ASSERT_LE(o.iaq[4].value, 100.0f) << i;
        if (i >= kStepsPerDay / 2) {
            lowestIndex = std::min(lowestIndex, o.iaq[0].value);
            highestIndex = std::max(highestIndex, o.iaq[0].value);
        }
        for (std::size_t k = 0; k < 2; ++k) {
            ASSERT_GE(o.bounds.upper[k], o.bounds.lower[k]) << i;
            best[k] = std::max(best[k], o.bounds.status[k]);
        }
    }
    EXPECT_EQ(best[0], 3.0f);
    EXPECT_EQ(best[1], 3.0f);
    EXPECT_EQ(c.status.continuousTimeReached, 1);
    // The learnt band spans the drift: the index sweeps most of its 25..250 span.
    EXPECT_LT(lowestIndex, 60.0f);
    EXPECT_GT(highestIndex, 200.0f);
}

}  // namespace
}  // namespace vorn
