// Discarding what the IAQ chain has learnt. Any of the four IAQ outputs names the
// whole chain; every other identifier is ignored.
#include "math/fp_rules.h"

#include "engine/engine.h"

namespace vorn {

int32_t resetOutput(Engine& v, uint8_t id) {
    if (id >= OUT_IAQ_INDEX && id <= OUT_EXPONENTIAL_ESTIMATE) v.hub.resetIaqChain();
    return RC_OK;
}

}  // namespace vorn
