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
using Widths = ::testing::Types<uint8_t, bool, uint16_t, float, uint32_t, int64_t,
                                std::array<uint16_t, 4>, std::array<float, 3>, std::array<float, 4>,
                                std::array<float, 5>, std::array<uint16_t, 12>,
                                std::array<uint16_t, 14>, std::array<uint16_t, 84>>;
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

TEST(Codec, LittleEndianImagesAndNormalisedFlags) {
    std::array<uint8_t, 14> buffer{};
    uint32_t position = 0;
    vorn::serializeAndAdd(uint16_t{0x1234}, buffer.data(), 14, position);
    vorn::serializeAndAdd(1.0f, buffer.data(), 14, position);
    vorn::serializeAndAdd(int64_t{-2}, buffer.data(), 14, position);
    EXPECT_EQ(buffer, (std::array<uint8_t, 14>{0x34, 0x12, 0, 0, 0x80, 0x3F, 0xFE, 0xFF, 0xFF,
                                               0xFF, 0xFF, 0xFF, 0xFF, 0xFF}));
    const std::array<uint8_t, 3> stored = {0x00, 0x02, 0xFF};
    position = 0;
    for (int want : {0, 1, 1}) {
        uint8_t flag = 0x77;
        vorn::parseFlag(stored.data(), position, flag);
        EXPECT_EQ(flag, want);
    }
}

TEST(SectionHeader, PrepareAndCheck) {
    Buffer buffer;
    buffer.fill(kUntouched);
    uint32_t count = 0;  // no fields: nothing begun
    EXPECT_EQ(vorn::prepareSerializationHeader(9, buffer.data(), 64, count, 0), 0u);
    count = 2;  // fewer than the minimum
    EXPECT_EQ(vorn::prepareSerializationHeader(9, buffer.data(), 64, count, 3), 0u);
    EXPECT_TRUE(untouched(buffer));
    count = 3;
    EXPECT_EQ(vorn::prepareSerializationHeader(9, buffer.data(), 64, count, 0), 4u);
    EXPECT_EQ(buffer[2], 9);
    EXPECT_EQ(buffer[3], kUntouched);  // the reserved byte is never written

    struct Case {
        uint32_t expectedId;
        std::array<uint8_t, 4> header;
        uint32_t length;
        int32_t status;
        uint32_t position, stated;
    };
    for (const Case& c : {Case{3, {3, 0, 3, 0}, 3, RC_E_SECTION_SHORT, 0, 0},
                          Case{3, {4, 0, 3, 0xEE}, 4, RC_OK, 4, 4},
                          Case{5, {0x34, 0x12, 5, 0}, 40, RC_OK, 4, 0x1234},  // length unchecked
                          Case{0x105, {8, 0, 5, 0}, 8, RC_OK, 4, 8},          // low byte of the id
                          Case{1, {8, 0, 2, 0}, 8, RC_E_SECTION_UNKNOWN, 4, 8}}) {
        uint32_t stated = 99, position = 99;
        EXPECT_EQ(vorn::checkSerializationHeader(c.expectedId, c.header.data(), c.length, stated,
                                                 position),
                  c.status);
        EXPECT_EQ(position, c.position);
        EXPECT_EQ(stated, c.stated);
    }
}

// A section with id 9 holding a float, a 64-bit time and a flag (13 bytes).
struct Record {
    float gain;
    int64_t time;
    uint8_t flag;
    bool operator==(const Record&) const = default;
};

uint32_t writeRecord(const Record& r, uint8_t* buffer, uint32_t capacity) {
    return vorn::SectionWriter(9, buffer, capacity, 3, 0).add(r.gain).add(r.time).add(r.flag).finish();
}

int32_t readRecord(Record& r, const uint8_t* section, uint32_t length) {
    vorn::SectionReader reader;
    const int32_t status = reader.open(9, section, length, 13);
    if (status == RC_OK) reader.read(r.gain).read(r.time).readFlag(r.flag);
    return status;
}

TEST(Section, RoundTripOverflowAndRefusals) {
    Buffer buffer;
    buffer.fill(kUntouched);
    EXPECT_EQ(writeRecord({1.0f, 1, 1}, buffer.data(), 16), 17u);  // one byte short
    EXPECT_TRUE(std::all_of(buffer.begin() + 16, buffer.end(), [](uint8_t x) { return x == kUntouched; }));

    const Record written{2.5f, -7, 1};
    ASSERT_EQ(writeRecord(written, buffer.data(), 64), 17u);
    EXPECT_EQ(buffer[0], 17);
    EXPECT_EQ(buffer[2], 9);
    Record read{};
    ASSERT_EQ(readRecord(read, buffer.data(), 17), RC_OK);
    EXPECT_EQ(read, written);

    const Record before{-1.0f, -1, 0x77};
    for (uint32_t length : {0u, 4u, 16u}) {
        Record r = before;
        EXPECT_EQ(readRecord(r, buffer.data(), length), RC_E_SECTION_SHORT) << length;
        EXPECT_EQ(r, before);
    }
    buffer[2] = 10;
    Record r = before;
    EXPECT_EQ(readRecord(r, buffer.data(), 17), RC_E_SECTION_UNKNOWN);
    EXPECT_EQ(r, before);
}

}  // namespace
