// CRC-16/X-25 (reflected polynomial 0x1021, init 0xFFFF, final XOR 0xFFFF), the
// checksum that protects every blob. Table-driven, the table built at compile time.
#pragma once

#include <array>
#include <cstdint>

namespace vorn {

inline constexpr uint16_t kCrcPolyReflected = 0x8408;  // 0x1021 bit-reversed
inline constexpr uint16_t kCrcInit = 0xFFFF;
inline constexpr uint16_t kCrcFinalXor = 0xFFFF;

constexpr std::array<uint16_t, 256> makeCrcTable() {
    std::array<uint16_t, 256> table{};
    for (uint32_t i = 0; i < 256; ++i) {
        uint32_t crc = i;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 1u) != 0 ? (crc >> 1) ^ kCrcPolyReflected : crc >> 1;
        }
        table[i] = static_cast<uint16_t>(crc);
    }
    return table;
}

inline constexpr std::array<uint16_t, 256> kCrcTable = makeCrcTable();

// Checksum of data[0 .. length-1]; 0x0000 for an empty input.
constexpr uint16_t crcCcitt2(const uint8_t* data, uint32_t length) {
    uint16_t crc = kCrcInit;
    for (uint32_t i = 0; i < length; ++i) {
        crc = static_cast<uint16_t>(kCrcTable[(crc ^ data[i]) & 0xFFu] ^ (crc >> 8));
    }
    return static_cast<uint16_t>(crc ^ kCrcFinalXor);
}

}  // namespace vorn
