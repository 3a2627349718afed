// Field codecs: every field of a configuration or state section is written and
// read as the little-endian byte image of its value, with no tags or padding. One
// writer and one reader serve every encoding (scalars and fixed-size blocks); the
// writer's overflow marker (capacity + 1) makes a section that does not fit
// detectable by its length alone.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace vorn {

// The byte image of a field is its memory image: this holds on every target the
// library is built for (x86-64, ARM Cortex-M).
static_assert(std::endian::native == std::endian::little, "blobs are little-endian");

template <typename T>
concept Field = std::is_trivially_copyable_v<T>;

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
    std::memcpy(buffer + position, &field, width);
    position += width;
}

// Read the image of `field` from buffer[position] and advance position. The
// caller has checked that the section holds the field.
template <Field T>
void parseAndDeserialize(const uint8_t* buffer, uint32_t& position, T& field) {
    std::memcpy(&field, buffer + position, sizeof(T));
    position += sizeof(T);
}

}  // namespace vorn
