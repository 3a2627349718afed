// Field codecs, section headers and the checksum: where a blob written on one
// build and read on another would silently disagree, and where a short buffer
// must be detected without a byte written outside it.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include "serialization/codec.h"
#include "serialization/crc.h"
#include "serialization/section.h"

namespace {

constexpr uint8_t kUntouched = 0xA5;
using Buffer = std::array<uint8_t, 200>;

static_assert(vorn::kCrcTable[1] == 0x1189 && vorn::kCrcTable[255] == 0x0F78);
constexpr std::array<uint8_t, 9> kCheckInput = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
static_assert(vorn::crcCcitt2(kCheckInput.data(), 9) == 0x906E);

bool untouched(const Buffer& b) {
    return std::all_of(b.begin(), b.end(), [](uint8_t x) { return x == kUntouched; });
}

// A value whose bytes all differ, so that a swapped or shifted byte shows.
template <typename T>
T sample() {
    T value{};
    auto* bytes = reinterpret_cast<uint8_t*>(&value);
    for (std::size_t i = 0; i < sizeof(T); ++i) bytes[i] = static_cast<uint8_t>(0x11u + i);
    if constexpr (std::is_same_v<T, bool>) value = true;  // a bool may only hold 0 or 1
    return value;
}

template <typename T>
class CodecWidth : public ::testing::Test {};
using Widths =
    ::testing::Types<uint8_t, bool, uint16_t, float, uint32_t, int64_t, std::array<uint16_t, 4>,
                     std::array<float, 3>, std::array<float, 4>, std::array<float, 5>,
                     std::array<uint16_t, 12>, std::array<uint16_t, 14>, std::array<uint16_t, 84>>;
TYPED_TEST_SUITE(CodecWidth, Widths);

TYPED_TEST(CodecWidth, RoundTripsAndMarksOverflowAtExactCapacity) {
    constexpr uint32_t width = sizeof(TypeParam), capacity = 180;
    Buffer buffer;
    buffer.fill(kUntouched);
    const TypeParam written = sample<TypeParam>();
    uint32_t position = capacity - width;  // the last place it fits
    vorn::serializeAndAdd(written, buffer.data(), capacity, position);
    ASSERT_EQ(position, capacity);
    EXPECT_EQ(buffer[capacity - width - 1], kUntouched);
    TypeParam read{};
    uint32_t readPosition = capacity - width;
    vorn::parseAndDeserialize(buffer.data(), readPosition, read);
    EXPECT_EQ(readPosition, capacity);
    EXPECT_EQ(std::memcmp(&read, &written, width), 0);

    buffer.fill(kUntouched);
    position = capacity - width + 1;  // one byte short; the marker sticks for later fields
    vorn::serializeAndAdd(written, buffer.data(), capacity, position);
    EXPECT_EQ(position, capacity + 1);
    vorn::serializeAndAdd(uint8_t{1}, buffer.data(), capacity, position);
    EXPECT_EQ(position, capacity + 1);
    EXPECT_TRUE(untouched(buffer));
}

TEST(Codec, LittleEndianImages) {
    std::array<uint8_t, 14> buffer{};
    uint32_t position = 0;
    vorn::serializeAndAdd(uint16_t{0x1234}, buffer.data(), 14, position);
    vorn::serializeAndAdd(1.0f, buffer.data(), 14, position);
    vorn::serializeAndAdd(int64_t{-2}, buffer.data(), 14, position);
    EXPECT_EQ(buffer, (std::array<uint8_t, 14>{0x34, 0x12, 0, 0, 0x80, 0x3F, 0xFE, 0xFF, 0xFF, 0xFF,
                                               0xFF, 0xFF, 0xFF, 0xFF}));
}

TEST(SectionHeader, IdLowByteDecidesLengthIsTheCallers) {
    struct Case {
        uint32_t expectedId;
        std::array<uint8_t, 4> header;
        uint32_t length;
        int32_t status;
    };
    for (const Case& c :
         {Case{3, {3, 0, 3, 0}, 3, RC_E_SECTION_SHORT}, Case{3, {4, 0, 3, 0xEE}, 4, RC_OK},
          Case{5, {0x34, 0x12, 5, 0}, 40, RC_OK},  // stated length unchecked
          Case{0x105, {8, 0, 5, 0}, 8, RC_OK},     // low byte of the id
          Case{1, {8, 0, 2, 0}, 8, RC_E_SECTION_UNKNOWN}}) {
        EXPECT_EQ(vorn::checkSectionHeader(c.expectedId, c.header.data(), c.length), c.status);
    }
}

// A record with one section of each kind: a float and a time, and a flag.
#define TEST_CONFIGURATION(X) X(gain, gain, None, 0, 1, "") X(time, time, None, 0, 1, "")
#define TEST_STATE(X) X(flag, flag, None, 0, 1, "")
struct Record {
    float gain = -1.0f;
    int64_t time = -1;
    bool flag = false;
    int imports = 0;
    VORN_SECTION_FIELDS(9, TEST_CONFIGURATION, TEST_STATE)
    void afterImport(vorn::SectionKind /*kind*/) { ++imports; }
};

TEST(Section, ReadsWhatItWritesOnlyWhenWholeAndFlagsNormalise) {
    using vorn::SectionKind;
    Buffer buffer;
    buffer.fill(kUntouched);
    const Record written{2.5f, -7, true, 0};
    EXPECT_EQ(vorn::exportSection(written, SectionKind::kConfiguration, buffer.data(), 15), 16u);
    EXPECT_EQ(buffer[15], kUntouched);  // one byte short: the overflow marker, nothing beyond
    ASSERT_EQ(vorn::exportSection(written, SectionKind::kConfiguration, buffer.data(), 64), 16u);
    EXPECT_EQ(buffer[0], 16);
    EXPECT_EQ(buffer[2], 9);
    EXPECT_EQ(buffer[3], kUntouched);  // the reserved byte is never written

    Record read;
    for (uint32_t length : {0u, 4u, 15u}) {
        EXPECT_EQ(vorn::importSection(read, SectionKind::kConfiguration, buffer.data(), length),
                  RC_E_SECTION_SHORT);
    }
    buffer[2] = 10;
    EXPECT_EQ(vorn::importSection(read, SectionKind::kConfiguration, buffer.data(), 16),
              RC_E_SECTION_UNKNOWN);
    EXPECT_EQ(read.gain, -1.0f);
    EXPECT_EQ(read.imports, 0);
    buffer[2] = 9;
    ASSERT_EQ(vorn::importSection(read, SectionKind::kConfiguration, buffer.data(), 16), RC_OK);
    EXPECT_EQ(read.gain, 2.5f);
    EXPECT_EQ(read.time, -7);
    EXPECT_EQ(read.imports, 1);

    const std::array<uint8_t, 5> state = {5, 0, 9, 0, 0x02};  // any non-zero flag byte is true
    ASSERT_EQ(vorn::importSection(read, SectionKind::kState, state.data(), 5), RC_OK);
    EXPECT_TRUE(read.flag);
}

}  // namespace
