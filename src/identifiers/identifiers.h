// Identifier sets and the slot tables that map the sparse public identifiers of
// inputs, outputs and channels onto the dense arrays inside the library. Shared by
// the hub, the subscription logic and the exported operations.
#pragma once

#include <array>
#include <cstdint>

namespace vorn {

inline constexpr int kInputCount = 8;     // input slots
inline constexpr int kOutputCount = 14;   // output slots
inline constexpr int kChannelCount = 6;   // channel indexes
inline constexpr int kMaxInputId = 24;
inline constexpr int kMaxOutputId = 21;
inline constexpr int kMaxChannelId = 10;

// Validity masks, bit (identifier - 1).
inline constexpr uint32_t kInputMask = 0x00E0200Fu;
inline constexpr uint32_t kOutputMask = 0x001279EFu;
inline constexpr uint32_t kChannelMask = 0x317u;

// Interval unit is 10 ms; this value means off / not requested / not required.
inline constexpr uint16_t kIntervalOff = 65535;

// Time stamp meaning "no gas sample in this step".
inline constexpr int64_t kNoTimestamp = INT64_MAX;

// Output slot (1-based) by output identifier - 1; 0 = not an output (uv0).
inline constexpr std::array<uint8_t, 21> kOutputSlot = {1, 2, 3, 4, 0, 5, 6,  7,  8, 0, 0,
                                                        9, 10, 11, 12, 0, 0, 13, 0, 0, 14};
// Channel index (1-based) by channel identifier - 1; 0 = no module (uv1).
inline constexpr std::array<uint8_t, 10> kChannelIndex = {1, 2, 3, 0, 4, 0, 0, 0, 5, 6};
// Input slot (1-based) by input identifier - 1; 0 = not an input (uv2).
inline constexpr std::array<uint8_t, 24> kInputSlot = {1, 2, 3, 4, 0, 0, 0, 0, 0, 0, 0, 0,
                                                       0, 5, 0, 0, 0, 0, 0, 0, 0, 6, 7, 8};

constexpr bool isInputId(uint32_t id) {
    return id >= 1 && id <= kMaxInputId && ((kInputMask >> (id - 1)) & 1u) != 0;
}
constexpr bool isOutputId(uint32_t id) {
    return id >= 1 && id <= kMaxOutputId && ((kOutputMask >> (id - 1)) & 1u) != 0;
}
constexpr bool isChannelId(uint32_t id) {
    return id >= 1 && id <= kMaxChannelId && ((kChannelMask >> (id - 1)) & 1u) != 0;
}
// 0-based array index of a valid identifier.
constexpr int inputIndex(uint32_t id) { return kInputSlot[id - 1] - 1; }
constexpr int outputIndex(uint32_t id) { return kOutputSlot[id - 1] - 1; }
constexpr int channelIndex(uint32_t id) { return kChannelIndex[id - 1] - 1; }

}  // namespace vorn
