// Section headers, the generic section reader and writer, and the checksum: where
// a blob written on one build and read on another would silently disagree, and where
// a short buffer must be detected without a byte written outside it.
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
