// Section routing: each channel's sections come from and go back to its own module;
// ids without a module yield no section or an unknown-owner error.
#include <gtest/gtest.h>

#include <array>

#include "hub_harness.h"

namespace vorn::test {
namespace {

using Buffer = std::array<uint8_t, 256>;

TEST(HubSections, EachChannelRoutesToItsModule) {
    struct Sizes {
        uint32_t channel, configuration, state;
    };
    ChannelHub hub;
    Buffer work{};
    for (const Sizes c : {Sizes{1, 48, 45}, Sizes{2, 28, 12}, Sizes{3, 16, 16}, Sizes{5, 9, 22},
                          Sizes{9, 88, 12}, Sizes{10, 12, 8}}) {
        SCOPED_TRACE(c.channel);
        const uint32_t other = c.channel == 1 ? 2 : 1;
        uint32_t n = hub.getChannelConfiguration(c.channel, work.data(), work.size(), 0);
        EXPECT_EQ(n, c.configuration);
        EXPECT_EQ(work[2], c.channel);
        EXPECT_EQ(hub.configureChannel(c.channel, work.data(), n), RC_OK);
        EXPECT_EQ(hub.configureChannel(other, work.data(), n), RC_E_SECTION_UNKNOWN);
        n = hub.getChannelState(c.channel, work.data(), work.size(), 0);
        EXPECT_EQ(n, c.state);
        EXPECT_EQ(work[2], c.channel);
        EXPECT_EQ(hub.setChannelState(c.channel, work.data(), n), RC_OK);
        EXPECT_EQ(hub.setChannelState(other, work.data(), n), RC_E_SECTION_UNKNOWN);
        EXPECT_EQ(hub.getChannelConfiguration(c.channel, work.data(), 8, 0), 9u);  // overflow
    }
}

TEST(HubSections, IdsWithoutModuleHaveNoSection) {
    ChannelHub hub;
    Buffer work;
    work.fill(0xA5);
    const Buffer before = work;
    for (uint32_t id : {0u, 4u, 6u, 7u, 8u, 11u, 255u, 0x103u}) {
        EXPECT_EQ(hub.getChannelConfiguration(id, work.data(), work.size(), 0), 0u);
        EXPECT_EQ(hub.getChannelState(id, work.data(), work.size(), 0), 0u);
        EXPECT_EQ(hub.configureChannel(id, work.data(), work.size()), RC_E_SECTION_UNKNOWN);
        EXPECT_EQ(hub.setChannelState(id, work.data(), work.size()), RC_E_SECTION_UNKNOWN);
    }
    EXPECT_EQ(work, before);
}

}  // namespace
}  // namespace vorn::test
