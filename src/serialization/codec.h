// Field codecs: every field of a configuration or state section is written and
// read as the little-endian byte image of its value, with no tags or padding. One
// writer and one reader serve every encoding (scalars and fixed-size blocks); the
// writer's overflow marker (capacity + 1) makes a section that does not fit
// detectable by its length alone.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace vorn {

// The unsigned integer as wide as T, whose bits carry T's image.
template <size_t Width>
using UnsignedOfWidth = std::conditional_t<
    Width == 1, uint8_t,
    std::conditional_t<Width == 2, uint16_t, std::conditional_t<Width == 4, uint32_t, uint64_t>>>;

template <typename T>
inline constexpr bool kIsStdArray = false;
template <typename T, size_t N>
inline constexpr bool kIsStdArray<std::array<T, N>> = true;

template <typename T>
concept Field = std::is_trivially_copyable_v<T>;

// The little-endian image of a value: a scalar's bits from the least significant byte up,
// an array's elements one after the other. Spelled out byte by byte rather than copied
// from memory, so that a big-endian host writes and reads the same blobs; a little-endian
// compiler turns each loop back into one plain store or load.
template <Field T>
void storeLittleEndian(uint8_t* at, const T& value) {
    if constexpr (kIsStdArray<T>) {
        for (const auto& element : value) {
            storeLittleEndian(at, element);
            at += sizeof(element);
        }
    } else {
        const auto bits = std::bit_cast<UnsignedOfWidth<sizeof(T)>>(value);
        for (size_t i = 0; i < sizeof(T); ++i) at[i] = static_cast<uint8_t>(bits >> (8 * i));
    }
}

template <Field T>
void loadLittleEndian(const uint8_t* at, T& value) {
    if constexpr (kIsStdArray<T>) {
        for (auto& element : value) {
            loadLittleEndian(at, element);
            at += sizeof(element);
        }
    } else {
        using Bits = UnsignedOfWidth<sizeof(T)>;
        Bits bits = 0;
        for (size_t i = 0; i < sizeof(T); ++i) bits |= static_cast<Bits>(Bits{at[i]} << (8 * i));
        value = std::bit_cast<T>(bits);
    }
}

// Append the image of `field` at buffer[position]. When it does not fit, position
// becomes capacity + 1 (the overflow marker) and nothing is written; once set, the
// marker stays for every later field of the section. The bound is tested by
// subtraction so a position near the top of the range cannot wrap past it; the
// capacity must stay below UINT32_MAX for the marker to differ from 0.
template <Field T>
void serializeAndAdd(const T& field, uint8_t* buffer, uint32_t capacity, uint32_t& position) {
    constexpr uint32_t width = sizeof(T);
    if (position > capacity || capacity - position < width) {
        position = capacity + 1;
        return;
    }
    storeLittleEndian(buffer + position, field);
    position += width;
}

// Read the image of `field` from buffer[position] and advance position. The
// caller has checked that the section holds the field.
template <Field T>
void parseAndDeserialize(const uint8_t* buffer, uint32_t& position, T& field) {
    loadLittleEndian(buffer + position, field);
    position += sizeof(T);
}

}  // namespace vorn
