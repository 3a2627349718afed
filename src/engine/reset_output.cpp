// Discarding what the IAQ chain has learnt: the baseline tracker's bands and track
// statuses and the IAQ estimator's held indices. Any of the four IAQ outputs names
// the whole chain; every other identifier is ignored.
#include "engine/engine.h"

namespace vorn {
namespace {

constexpr float kHeldIndexReset = 25.0f;  // the index of clean air

}  // namespace

int32_t resetOutput(Engine& v, uint8_t id) {
    if (id < OUT_IAQ_INDEX || id > OUT_EXPONENTIAL_ESTIMATE) return RC_OK;
    v.hub.baselineTracker.setState();
    v.hub.updateChannelInterfaceDependency(channel::kBaselineTracker);
    v.hub.iaqEstimator.heldIndex = kHeldIndexReset;
    v.hub.iaqEstimator.heldFixedScaleIndex = kHeldIndexReset;
    v.hub.updateChannelInterfaceDependency(channel::kIaqEstimator);
    return RC_OK;
}

}  // namespace vorn
