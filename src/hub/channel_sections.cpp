// Routes configuration and state sections between a blob and the six modules by
// channel id. Each module's field lists say what its sections hold; the hub only
// picks the module, and answers "no section" or "unknown owner" for other ids.
#include "math/fp_rules.h"

#include "hub/channel_hub.h"

namespace vorn {

uint32_t ChannelHub::exportChannelSection(SectionKind kind, uint32_t id, uint8_t* work,
                                          uint32_t workSize) const {
    uint32_t length = 0;  // no section
    forEachModule(*this, [&](const auto& module) {
        if (module.kChannelId == id) length = exportSection(module, kind, work, workSize);
    });
    return length;
}

int32_t ChannelHub::importChannelSection(SectionKind kind, uint32_t id, const uint8_t* section,
                                         uint32_t length) {
    int32_t status = RC_E_SECTION_UNKNOWN;
    forEachModule(*this, [&](auto& module) {
        if (module.kChannelId == id) status = importSection(module, kind, section, length);
    });
    return status;
}

}  // namespace vorn
