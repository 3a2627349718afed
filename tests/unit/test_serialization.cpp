// Field codecs, section headers and the checksum. The codecs are where a blob
// written on one build and read on another would silently disagree, and where a
// short buffer must be detected without a byte written outside it.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>

#include "serialization/codec.h"
#include "serialization/crc.h"
#include "serialization/section.h"

namespace {

using Bytes = std::array<uint8_t, 64>;
constexpr uint8_t kUntouched = 0xA5;

// The table and the catalogued check values, verified at compile time.
static_assert(vorn::kCrcTable[0] == 0x0000 && vorn::kCrcTable[1] == 0x1189 &&
              vorn::kCrcTable[2] == 0x2312 && vorn::kCrcTable[3] == 0x329B &&
              vorn::kCrcTable[255] == 0x0F78);
constexpr std::array<uint8_t, 9> kCheckInput = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
static_assert(vorn::crcCcitt2(kCheckInput.data(), 9) == 0x906E);
static_assert(vorn::crcCcitt2(nullptr, 0) == 0x0000);

// Every encoding width the sections use, as scalar or block fields.
using U16x4 = std::array<uint16_t, 4>;
using F32x3 = std::array<float, 3>;
using F32x4 = std::array<float, 4>;
using F32x5 = std::array<float, 5>;
using U16x12 = std::array<uint16_t, 12>;
using U16x14 = std::array<uint16_t, 14>;
using U16x84 = std::array<uint16_t, 84>;

// A value whose bytes all differ, so that a swapped or shifted byte shows.
template <typename T>
T sample() {
    if constexpr (std::is_same_v<T, bool>) {
        return true;  // a bool may only hold 0 or 1
    } else {
        T value{};
        auto* bytes = reinterpret_cast<uint8_t*>(&value);
        for (std::size_t i = 0; i < sizeof(T); ++i) bytes[i] = static_cast<uint8_t>(0x11u + i);
        return value;
    }
}

template <typename T>
class CodecWidth : public ::testing::Test {};

using Widths = ::testing::Types<uint8_t, bool, uint16_t, float, uint32_t, int64_t, U16x4, F32x3,
                                F32x4, F32x5, U16x12, U16x14, U16x84>;
TYPED_TEST_SUITE(CodecWidth, Widths);

TYPED_TEST(CodecWidth, RoundTripsAtAnOffset) {
    std::array<uint8_t, 200> buffer;
    buffer.fill(kUntouched);
    const TypeParam written = sample<TypeParam>();
    uint32_t position = 3;
    vorn::serializeAndAdd(written, buffer.data(), 200, position);
    ASSERT_EQ(position, 3 + sizeof(TypeParam));
    EXPECT_EQ(buffer[2], kUntouched);
    EXPECT_EQ(buffer[position], kUntouched);

    TypeParam read{};
    uint32_t readPosition = 3;
    vorn::parseAndDeserialize(buffer.data(), readPosition, read);
    EXPECT_EQ(readPosition, position);
    EXPECT_EQ(std::memcmp(&read, &written, sizeof(TypeParam)), 0);
}

TYPED_TEST(CodecWidth, OverflowMarkerAtExactCapacity) {
    constexpr uint32_t width = sizeof(TypeParam);
    constexpr uint32_t capacity = 180;
    std::array<uint8_t, 200> buffer;
    buffer.fill(kUntouched);
    const TypeParam value = sample<TypeParam>();

    uint32_t position = capacity - width;  // the last place it fits
    vorn::serializeAndAdd(value, buffer.data(), capacity, position);
    EXPECT_EQ(position, capacity);

    buffer.fill(kUntouched);
    position = capacity - width + 1;  // one byte short
    vorn::serializeAndAdd(value, buffer.data(), capacity, position);
    EXPECT_EQ(position, capacity + 1);
    for (uint8_t byte : buffer) ASSERT_EQ(byte, kUntouched);

    // The marker sticks for every later field, even one byte wide.
    vorn::serializeAndAdd(uint8_t{1}, buffer.data(), capacity, position);
    EXPECT_EQ(position, capacity + 1);
    vorn::serializeAndAdd(value, buffer.data(), capacity, position);
    EXPECT_EQ(position, capacity + 1);
    for (uint8_t byte : buffer) ASSERT_EQ(byte, kUntouched);
}

TEST(Codec, ScalarsAreLittleEndianImages) {
    Bytes buffer{};
    uint32_t position = 0;
    vorn::serializeAndAdd(uint16_t{0x1234}, buffer.data(), 64, position);
    vorn::serializeAndAdd(1.0f, buffer.data(), 64, position);
    vorn::serializeAndAdd(int64_t{-2}, buffer.data(), 64, position);
    const std::array<uint8_t, 14> expected = {0x34, 0x12, 0x00, 0x00, 0x80, 0x3F, 0xFE,
                                              0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    EXPECT_EQ(position, 14u);
    EXPECT_EQ(std::memcmp(buffer.data(), expected.data(), 14), 0);
}

TEST(Codec, FlagReaderNormalisesAnyNonZeroByte) {
    const std::array<uint8_t, 4> stored = {0x00, 0x01, 0x02, 0xFF};
    const std::array<uint8_t, 4> expected = {0, 1, 1, 1};
    uint32_t position = 0;
    for (uint8_t want : expected) {
        uint8_t flag = 0x77;
        vorn::parseFlag(stored.data(), position, flag);
        EXPECT_EQ(flag, want);
    }
    EXPECT_EQ(position, 4u);
}

TEST(SectionHeader, PrepareBeginsOnlySectionsWithFields) {
    Bytes buffer;
    buffer.fill(kUntouched);
    uint32_t count = 0;
    EXPECT_EQ(vorn::prepareSerializationHeader(9, buffer.data(), 64, count, 0), 0u);
    EXPECT_EQ(buffer[2], kUntouched);

    count = 2;
    EXPECT_EQ(vorn::prepareSerializationHeader(9, buffer.data(), 64, count, 3), 0u);
    EXPECT_EQ(count, 0u);

    count = 3;
    EXPECT_EQ(vorn::prepareSerializationHeader(9, buffer.data(), 64, count, 0), 4u);
    EXPECT_EQ(count, 3u);
    EXPECT_EQ(buffer[2], 9);
    EXPECT_EQ(buffer[3], kUntouched);  // the reserved byte is never written
}

struct HeaderCase {
    const char* what;
    uint32_t expectedId;
    std::array<uint8_t, 4> header;
    uint32_t length;
    int32_t status;
    uint32_t position;
    uint32_t statedLength;
};

class CheckHeader : public ::testing::TestWithParam<HeaderCase> {};

TEST_P(CheckHeader, StatusAndOutputs) {
    const HeaderCase c = GetParam();
    uint32_t stated = 99;
    uint32_t position = 99;
    EXPECT_EQ(
        vorn::checkSerializationHeader(c.expectedId, c.header.data(), c.length, stated, position),
        c.status);
    EXPECT_EQ(position, c.position);
    EXPECT_EQ(stated, c.statedLength);
}

INSTANTIATE_TEST_SUITE_P(
    Table, CheckHeader,
    ::testing::Values(
        HeaderCase{"empty", 3, {0, 0, 3, 0}, 0, RC_E_SECTION_SHORT, 0, 0},
        HeaderCase{"three bytes", 3, {3, 0, 3, 0}, 3, RC_E_SECTION_SHORT, 0, 0},
        HeaderCase{"header only", 3, {4, 0, 3, 0xEE}, 4, RC_OK, 4, 4},
        HeaderCase{"stated length is not checked", 5, {0x34, 0x12, 5, 0}, 40, RC_OK, 4, 0x1234},
        HeaderCase{"low byte of the id counts", 0x105, {8, 0, 5, 0}, 8, RC_OK, 4, 8},
        HeaderCase{"another owner", 1, {8, 0, 2, 0}, 8, RC_E_SECTION_UNKNOWN, 4, 8}));

// A three-field section: id 9, a float, a 64-bit time and a flag (13 bytes).
struct Record {
    float gain;
    int64_t time;
    uint8_t flag;
    bool operator==(const Record&) const = default;
};
constexpr uint32_t kRecordBytes = 4 + 8 + 1;

uint32_t writeRecord(const Record& r, uint8_t* buffer, uint32_t capacity) {
    return vorn::SectionWriter(9, buffer, capacity, 3, 0)
        .add(r.gain)
        .add(r.time)
        .add(r.flag)
        .finish();
}

int32_t readRecord(Record& r, const uint8_t* section, uint32_t length) {
    vorn::SectionReader reader;
    const int32_t status = reader.open(9, section, length, kRecordBytes);
    if (status != RC_OK) return status;
    reader.read(r.gain).read(r.time).readFlag(r.flag);
    return RC_OK;
}

TEST(Section, WriterAndReaderRoundTrip) {
    Bytes buffer;
    buffer.fill(kUntouched);
    const Record written{2.5f, -7, 1};
    const uint32_t length = writeRecord(written, buffer.data(), 64);
    ASSERT_EQ(length, 4 + kRecordBytes);
    EXPECT_EQ(buffer[0], 4 + kRecordBytes);
    EXPECT_EQ(buffer[1], 0);
    EXPECT_EQ(buffer[2], 9);
    EXPECT_EQ(buffer[3], kUntouched);

    Record read{};
    ASSERT_EQ(readRecord(read, buffer.data(), length), RC_OK);
    EXPECT_EQ(read.gain, 2.5f);
    EXPECT_EQ(read.time, -7);
    EXPECT_EQ(read.flag, 1);
}

TEST(Section, WriterReportsOverflowWithoutWritingPastCapacity) {
    Bytes buffer;
    buffer.fill(kUntouched);
    const uint32_t capacity = 4 + kRecordBytes - 1;
    EXPECT_EQ(writeRecord({1.0f, 1, 1}, buffer.data(), capacity), capacity + 1);
    for (std::size_t i = capacity; i < buffer.size(); ++i) ASSERT_EQ(buffer[i], kUntouched) << i;
    // The stored length is the marker, truncated to 16 bits.
    EXPECT_EQ(buffer[0], capacity + 1);

    EXPECT_EQ(vorn::SectionWriter(9, buffer.data(), 64, 0, 0).add(1.0f).finish(), 0u);
}

TEST(Section, ReaderRefusesBeforeStoringAnything) {
    Bytes buffer{};
    const uint32_t length = writeRecord({3.0f, 42, 1}, buffer.data(), 64);
    const Record untouched{-1.0f, -1, 0x77};
    struct Case {
        uint32_t length;
        int32_t status;
    };
    for (const Case c : {Case{0, RC_E_SECTION_SHORT}, Case{3, RC_E_SECTION_SHORT},
                         Case{4, RC_E_SECTION_SHORT}, Case{length - 1, RC_E_SECTION_SHORT}}) {
        Record r = untouched;
        EXPECT_EQ(readRecord(r, buffer.data(), c.length), c.status) << c.length;
        EXPECT_EQ(r, untouched) << c.length;
    }
    buffer[2] = 10;
    Record r = untouched;
    EXPECT_EQ(readRecord(r, buffer.data(), length), RC_E_SECTION_UNKNOWN);
    EXPECT_EQ(r, untouched);
}

}  // namespace
