// Section helpers for the module tests. Patterned sections give every field byte
// a distinct value (4, 5, 6, ... by offset), so a swapped, shifted or resized
// field lands somewhere else and shows.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <vector>

#include "vorn/vorn.h"

namespace vorn::test {

using Section = std::array<uint8_t, 96>;

inline Section patternSection(uint8_t length, uint8_t id) {
    Section section{};
    section[0] = length;
    section[2] = id;
    for (uint8_t i = 4; i < length; ++i) section[i] = i;
    return section;
}

struct Placement {
    std::size_t offset, size;
    const void* field;
};

inline void expectPlacements(const Section& section, std::initializer_list<Placement> fields) {
    for (const Placement& p : fields) {
        EXPECT_EQ(std::memcmp(section.data() + p.offset, p.field, p.size), 0) << "offset " << p.offset;
    }
}

// Both sections of a module as written, for before/after comparisons.
template <typename Module>
std::vector<uint8_t> sectionsOf(const Module& m) {
    std::vector<uint8_t> bytes(2 * sizeof(Section));
    const uint32_t used = m.getConfiguration(bytes.data(), sizeof(Section), 0);
    bytes.resize(used + m.getState(bytes.data() + used, sizeof(Section), 0));
    return bytes;
}

// Loads patterned sections, checks where each field landed, and that writing the
// sections back reproduces them byte for byte.
template <typename Module>
void expectPatternRoundTrip(Module& m, uint8_t id, uint8_t configBytes, uint8_t stateBytes,
                            std::initializer_list<Placement> config,
                            std::initializer_list<Placement> state) {
    const Section c = patternSection(configBytes, id), s = patternSection(stateBytes, id);
    ASSERT_EQ(m.configure(c.data(), configBytes), RC_OK);
    ASSERT_EQ(m.setState(s.data(), stateBytes), RC_OK);
    expectPlacements(c, config);
    expectPlacements(s, state);
    Section out{};
    ASSERT_EQ(m.getConfiguration(out.data(), configBytes, 0), configBytes);
    EXPECT_EQ(std::memcmp(out.data(), c.data(), configBytes), 0);
    ASSERT_EQ(m.getState(out.data(), stateBytes, 0), stateBytes);
    EXPECT_EQ(std::memcmp(out.data(), s.data(), stateBytes), 0);
}

// Short and foreign sections are refused without touching the module; a buffer
// one byte short yields the overflow marker.
template <typename Module>
void expectRefusals(Module& m, uint8_t id, uint8_t configBytes, uint8_t stateBytes) {
    const std::vector<uint8_t> before = sectionsOf(m);
    Section c = patternSection(configBytes, id), s = patternSection(stateBytes, id);
    EXPECT_EQ(m.configure(c.data(), configBytes - 1u), RC_E_SECTION_SHORT);
    EXPECT_EQ(m.setState(s.data(), stateBytes - 1u), RC_E_SECTION_SHORT);
    EXPECT_EQ(m.setState(s.data(), 3), RC_E_SECTION_SHORT);
    c[2] = s[2] = static_cast<uint8_t>(id + 1);
    EXPECT_EQ(m.configure(c.data(), configBytes), RC_E_SECTION_UNKNOWN);
    EXPECT_EQ(m.setState(s.data(), stateBytes), RC_E_SECTION_UNKNOWN);
    EXPECT_EQ(sectionsOf(m), before);
    Section out{};
    EXPECT_EQ(m.getConfiguration(out.data(), configBytes - 1u, 0), configBytes);
    EXPECT_EQ(m.getState(out.data(), stateBytes - 1u, 0), stateBytes);
}

}  // namespace vorn::test
