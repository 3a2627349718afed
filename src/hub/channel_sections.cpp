// Routes configuration and state sections between a blob and the six modules by
// channel id. Each module writes and checks its own sections; the hub only picks
// the module, and answers "no section" or "unknown owner" for ids without one.
#include "hub/channel_hub.h"
#include "vorn/vorn.h"

namespace vorn {

namespace {

constexpr uint32_t kNoSection = 0;

}  // namespace

// The pre-processor's two sections (its bandwidths, and its filter state, each one
// 12-byte block under section id 3) are written by its own getConfiguration and
// getState, so the writer and the reader of that layout live side by side.
uint32_t ChannelHub::getChannelConfiguration(uint32_t id, uint8_t* work, uint32_t workSize,
                                             uint32_t minCount) const {
    switch (id) {
        case channel::kBaselineTracker:
            return baselineTracker.getConfiguration(work, workSize, minCount);
        case channel::kIaqEstimator:
            return iaqEstimator.getConfiguration(work, workSize, minCount);
        case channel::kPreProcessor:
            return preProcessor.getConfiguration(work, workSize, minCount);
        case channel::kStatusTracker:
            return statusTracker.getConfiguration(work, workSize, minCount);
        case channel::kHeatCompensator:
            return heatCompensator.getConfiguration(work, workSize, minCount);
        case channel::kHumidityCorrector:
            return humidityCorrector.getConfiguration(work, workSize, minCount);
        default:
            return kNoSection;
    }
}

uint32_t ChannelHub::getChannelState(uint32_t id, uint8_t* work, uint32_t workSize,
                                     uint32_t minCount) const {
    switch (id) {
        case channel::kBaselineTracker:
            return baselineTracker.getState(work, workSize, minCount);
        case channel::kIaqEstimator:
            return iaqEstimator.getState(work, workSize, minCount);
        case channel::kPreProcessor:
            return preProcessor.getState(work, workSize, minCount);
        case channel::kStatusTracker:
            return statusTracker.getState(work, workSize, minCount);
        case channel::kHeatCompensator:
            return heatCompensator.getState(work, workSize, minCount);
        case channel::kHumidityCorrector:
            return humidityCorrector.getState(work, workSize, minCount);
        default:
            return kNoSection;
    }
}

int32_t ChannelHub::configureChannel(uint32_t id, const uint8_t* section, uint32_t length) {
    switch (id) {
        case channel::kBaselineTracker:
            return baselineTracker.configure(section, length);
        case channel::kIaqEstimator:
            return iaqEstimator.configure(section, length);
        case channel::kPreProcessor:
            return preProcessor.configure(section, length);
        case channel::kStatusTracker:
            return statusTracker.configure(section, length);
        case channel::kHeatCompensator:
            return heatCompensator.configure(section, length);
        case channel::kHumidityCorrector:
            return humidityCorrector.configure(section, length);
        default:
            return RC_E_SECTION_UNKNOWN;
    }
}

int32_t ChannelHub::setChannelState(uint32_t id, const uint8_t* section, uint32_t length) {
    switch (id) {
        case channel::kBaselineTracker:
            return baselineTracker.setState(section, length);
        case channel::kIaqEstimator:
            return iaqEstimator.setState(section, length);
        case channel::kPreProcessor:
            return preProcessor.setState(section, length);
        case channel::kStatusTracker:
            return statusTracker.setState(section, length);
        case channel::kHeatCompensator:
            return heatCompensator.setState(section, length);
        case channel::kHumidityCorrector:
            return humidityCorrector.setState(section, length);
        default:
            return RC_E_SECTION_UNKNOWN;
    }
}

}  // namespace vorn
