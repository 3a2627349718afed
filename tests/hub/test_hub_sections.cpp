// Sections through the hub, for every module and both kinds, walking each module's
// field lists: a patterned section reads in and writes back byte for byte, short and
// foreign sections change nothing, and ids without a module have no section.
#include <gtest/gtest.h>

#include <type_traits>
#include <vector>

#include "hub_harness.h"

namespace vorn::test {
namespace {

using Bytes = std::vector<uint8_t>;

// A section whose every field byte differs (its offset), laid out as the field list
// places the fields, so a skipped, shifted or resized field shows. Flag bytes hold
// `flag`: what goes in as any non-zero byte comes back as 1.
template <typename Module>
Bytes patterned(const Module& m, SectionKind kind, uint8_t flag) {
    Bytes section = {0, 0, static_cast<uint8_t>(Module::kSectionId), 0};
    Module::visitFields(m, kind, [&](const auto& field) {
        constexpr bool isFlag = std::is_same_v<std::remove_cvref_t<decltype(field)>, bool>;
        for (size_t i = 0; i < sizeof(field); ++i)
            section.push_back(isFlag ? flag : static_cast<uint8_t>(section.size()));
    });
    section[0] = static_cast<uint8_t>(section.size());
    return section;
}

Bytes exported(const ChannelHub& hub, SectionKind kind, uint32_t id) {
    Bytes out(256);
    out.resize(hub.exportChannelSection(kind, id, out.data(), static_cast<uint32_t>(out.size())));
    return out;
}

TEST(HubSections, EveryFieldListRoundTripsAndRefusesDamage) {
    ChannelHub hub;
    ChannelHub::forEachModule(hub, [&hub](const auto& module) {
        const uint32_t id = module.kSectionId;
        for (const SectionKind kind : {SectionKind::kConfiguration, SectionKind::kState}) {
            SCOPED_TRACE(testing::Message() << "section " << id << " kind " << int(kind));
            Bytes in = patterned(module, kind, 0x80);
            const auto length = static_cast<uint32_t>(in.size());
            ASSERT_EQ(hub.importChannelSection(kind, id, in.data(), length), RC_OK);
            EXPECT_EQ(exported(hub, kind, id), patterned(module, kind, 1));

            const Bytes before = exported(hub, kind, id);
            EXPECT_EQ(hub.importChannelSection(kind, id, in.data(), length - 1),
                      RC_E_SECTION_SHORT);
            EXPECT_EQ(hub.importChannelSection(kind, id, in.data(), 3), RC_E_SECTION_SHORT);
            in[2] = static_cast<uint8_t>(id + 1);
            EXPECT_EQ(hub.importChannelSection(kind, id, in.data(), length), RC_E_SECTION_UNKNOWN);
            EXPECT_EQ(exported(hub, kind, id), before);

            Bytes small(length - 1);
            EXPECT_EQ(hub.exportChannelSection(kind, id, small.data(), length - 1), length);
        }
    });
}

TEST(HubSections, IdsWithoutModuleHaveNoSection) {
    ChannelHub hub;
    Bytes work(256, 0xA5);
    const Bytes before = work;
    const auto size = static_cast<uint32_t>(work.size());
    for (const SectionKind kind : {SectionKind::kConfiguration, SectionKind::kState}) {
        for (uint32_t id : {0u, 4u, 6u, 7u, 8u, 11u, 255u, 0x103u}) {
            EXPECT_EQ(hub.exportChannelSection(kind, id, work.data(), size), 0u);
            EXPECT_EQ(hub.importChannelSection(kind, id, work.data(), size), RC_E_SECTION_UNKNOWN);
        }
    }
    EXPECT_EQ(work, before);
}

}  // namespace
}  // namespace vorn::test
