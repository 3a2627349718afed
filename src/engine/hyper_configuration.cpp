// The library-level (hyper) configuration and state: their defaults, the hyper
// section (id 254) that carries the exportable configuration in a configuration
// blob, and applying a configuration, which re-requests every output at its
// default interval and pushes the result into the channel hub at once.
#include "math/fp_rules.h"

#include "engine/engine.h"

namespace vorn {
namespace {

constexpr uint8_t kDefaultTemperatureOversampling = 2;
constexpr uint8_t kDefaultHumidityOversampling = 1;
constexpr uint8_t kDefaultPressureOversampling = 5;
constexpr uint16_t kDefaultBaseIntvl = 30000;  // 300 s
constexpr uint16_t kResetStepIntvl = 30000;

// Heater profile, one column per gas interval: 1/300 Hz, 1 Hz, 1/3 Hz, 1/60 Hz.
constexpr std::array<uint16_t, kHeaterProfileCount> kDefaultGasIntvlList = {30000, 100, 300, 6000};
constexpr std::array<uint16_t, kHeaterProfileCount> kDefaultHeaterDuration = {1943, 900, 197, 1116};
constexpr std::array<uint16_t, kHeaterProfileCount> kDefaultHeaterTemperature = {400, 320, 320,
                                                                                 400};

// Allowed intervals per output slot, alternatives in order. Outputs that depend on
// the gas sample list 1/300 Hz first; temperature, pressure and humidity outputs
// list 1 Hz first and also allow 1/15 Hz.
using Alternatives = std::array<uint16_t, kAllowedIntervalRows>;
constexpr Alternatives kGasPacedAllowed = {30000, 100, 300, 1800, 6000, kIntervalOff};
constexpr Alternatives kClimatePacedAllowed = {100, 30000, 300, 1800, 6000, 1500};

constexpr std::array<OutputIntervals, kAllowedIntervalRows> makeDefaultAllowed() {
    std::array<OutputIntervals, kAllowedIntervalRows> table{};
    for (int row = 0; row < kAllowedIntervalRows; ++row) {
        for (int slot = 0; slot < kOutputCount; ++slot) {
            const bool gasPaced = hasId(kGasOutputs, kOutputTable[slot].id);
            table[row][slot] = gasPaced ? kGasPacedAllowed[row] : kClimatePacedAllowed[row];
        }
    }
    return table;
}
constexpr std::array<OutputIntervals, kAllowedIntervalRows> kDefaultAllowedOutputIntvl =
    makeDefaultAllowed();

constexpr int32_t kResetTriggerStatus = RC_W_TRIGGER_TOO_SOON;

}  // namespace

void Engine::resetSchedule() {
    lastCallTimestamp = 0;
    lastRegularGasTimestamp = 0;
    lastOnDemandGasTimestamp = 0;
    stepIntvl = kResetStepIntvl;
    schedulePhase = 0;
    heaterProfileIndex = 0;
    requestedOutputIntvl.fill(kIntervalOff);
    outputIntvlChanged.fill(0);
    subscriptionChanged = 0;
    triggerPending = 0;
    triggerStatus = kResetTriggerStatus;
}

void Engine::configureDefaults() {
    temperatureOversampling = kDefaultTemperatureOversampling;
    humidityOversampling = kDefaultHumidityOversampling;
    pressureOversampling = kDefaultPressureOversampling;
    gasIntvlList = kDefaultGasIntvlList;
    heaterDuration = kDefaultHeaterDuration;
    heaterTemperature = kDefaultHeaterTemperature;
    allowedOutputIntvl = kDefaultAllowedOutputIntvl;
    inputMin = kInputMinimum;
    inputMax = kInputMaximum;
    defaultOutputIntvl.fill(kIntervalOff);
    baseIntvl = kDefaultBaseIntvl;
    applyConfiguration();
}

void Engine::afterImport(SectionKind kind) {
    if (kind == SectionKind::kConfiguration) applyConfiguration();
}

// Every output is requested again at its default interval and marked changed, so
// every module re-derives its interval-dependent values, even if nothing moved.
void Engine::applyConfiguration() {
    longestIntvl = 0;
    for (const OutputIntervals& row : allowedOutputIntvl) {
        for (uint16_t interval : row) {
            if (interval < kIntervalOff && interval > longestIntvl) longestIntvl = interval;
        }
    }
    for (uint8_t id = 1; id <= kMaxOutputId; ++id) {
        if (isOutputId(id)) requestOutput(id, defaultOutputIntvl[outputIndex(id)]);
    }
    outputIntvlChanged.fill(1);
    applyUpdateSubscription();
}

}  // namespace vorn
