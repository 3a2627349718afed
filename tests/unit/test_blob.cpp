// Blob framing and import checks. A blob comes from storage the library does not
// control, so these tests attack the frame: each check in its order of precedence,
// the accepted wildcard values, and every bound that keeps a copy inside its buffer.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

#include "core/blob.h"
#include "serialization/crc.h"
#include "serialization/section.h"

namespace {

constexpr uint8_t kFill = 0xA5;
constexpr uint32_t kWorkSize = 256;

using Blob = std::vector<uint8_t>;

// The smallest valid blob, byte for byte (reserved trailer bytes arbitrary).
const Blob kSmallest = {0x04, 0x07, 0x04, 0x01, 0x3D, 0,    0,    0,    0,    0,    0,    0,
                        0,    0,    0,    0,    0xDE, 0xAD, 0xBE, 0xEF, 0xBF, 0x35, 0x00, 0x00};

// Frames `payload` the way an export does: header space, sections, trailer.
Blob frame(const Blob& payload) {
    Blob blob(vorn::kBlobMinSize + payload.size(), kFill);
    std::copy(payload.begin(), payload.end(), blob.begin() + vorn::kBlobHeaderSize);
    uint32_t size = static_cast<uint32_t>(vorn::kBlobHeaderSize + payload.size());
    EXPECT_EQ(vorn::frameSerializedData(blob.data(), static_cast<uint32_t>(blob.size()), size),
              RC_OK);
    EXPECT_EQ(size, blob.size());
    return blob;
}

// Rewrites the checksum so that a deliberately edited header still passes it.
void reseal(Blob& blob) {
    const uint32_t trailer = static_cast<uint32_t>(blob.size()) - vorn::kBlobTrailerSize;
    const uint16_t crc = vorn::crcCcitt2(blob.data(), trailer);
    blob[trailer + 4] = static_cast<uint8_t>(crc & 0xFF);
    blob[trailer + 5] = static_cast<uint8_t>(crc >> 8);
}

int32_t validate(const Blob& blob, uint32_t workSize = kWorkSize) {
    uint32_t position = 99;
    const int32_t status = vorn::validateSerialization(
        blob.data(), static_cast<uint32_t>(blob.size()), workSize, position);
    EXPECT_EQ(position, status == RC_OK ? 16u : 0u);
    return status;
}

TEST(Frame, SmallestBlobIsByteExact) {
    Blob blob = frame({});
    EXPECT_EQ(Blob(blob.begin(), blob.begin() + 16),
              Blob(kSmallest.begin(), kSmallest.begin() + 16));
    // The reserved bytes keep what the buffer held.
    EXPECT_EQ(Blob(blob.begin() + 16, blob.begin() + 20), Blob(4, kFill));
    EXPECT_EQ(Blob(blob.begin() + 20, blob.end()), (Blob{0xBF, 0x35, 0x00, 0x00}));
    EXPECT_EQ(validate(kSmallest), RC_OK);
}

TEST(Frame, RefusesACapacityThatHoldsTheSectionsButNotTheTrailer) {
    const uint32_t size = 16 + 5;
    for (uint32_t capacity = size; capacity < size + 8; ++capacity) {
        std::array<uint8_t, 64> buffer;
        buffer.fill(kFill);
        uint32_t inOut = size;
        EXPECT_EQ(vorn::frameSerializedData(buffer.data(), capacity, inOut), RC_E_BLOB_OVERFLOW);
        EXPECT_EQ(inOut, size);
        EXPECT_TRUE(std::all_of(buffer.begin(), buffer.end(), [](uint8_t b) { return b == kFill; }))
            << capacity;
    }
    std::array<uint8_t, 64> buffer{};
    uint32_t inOut = size;
    EXPECT_EQ(vorn::frameSerializedData(buffer.data(), size + 8, inOut), RC_OK);
    EXPECT_EQ(inOut, size + 8);
    // A write position inside the header cannot be framed.
    inOut = 15;
    EXPECT_EQ(vorn::frameSerializedData(buffer.data(), 64, inOut), RC_E_BLOB_LENGTH);
}

struct Edit {
    const char* what;
    void (*apply)(Blob&);
    int32_t status;
};

class ImportCheck : public ::testing::TestWithParam<Edit> {};

// Each edit is applied to a valid blob with a 6-byte payload.
TEST_P(ImportCheck, FirstFailingCheckDecides) {
    Blob blob = frame({6, 0, 3, 0, 0x11, 0x22});
    GetParam().apply(blob);
    EXPECT_EQ(validate(blob), GetParam().status) << GetParam().what;
}

INSTANTIATE_TEST_SUITE_P(
    Table, ImportCheck,
    ::testing::Values(
        Edit{"untouched", [](Blob&) {}, RC_OK},
        Edit{"23 bytes, whatever they hold", [](Blob& b) { b.assign(23, 0xFF); },
             RC_E_BLOB_TOO_SHORT},
        Edit{"larger than the work buffer, garbage", [](Blob& b) { b.assign(kWorkSize + 1, 0xFF); },
             RC_E_WORK_BUFFER_SMALL},
        Edit{"version byte", [](Blob& b) { b[3] = 0x02; }, RC_E_BLOB_VERSION},
        Edit{"version before kind",
             [](Blob& b) {
                 b[0] = 0;
                 b[4] = 0;
             },
             RC_E_BLOB_VERSION},
        Edit{"version FF FF FF FF",
             [](Blob& b) {
                 std::fill_n(b.begin(), 4, 0xFF);
                 reseal(b);
             },
             RC_OK},
        Edit{"kind high byte", [](Blob& b) { b[11] = 0x01; }, RC_E_BLOB_KIND},
        Edit{"kind FF FF FF FF 00 00 00 00",
             [](Blob& b) {
                 std::fill_n(b.begin() + 4, 4, 0xFF);
                 reseal(b);
             },
             RC_OK},
        Edit{"kind eight FF",
             [](Blob& b) {
                 std::fill_n(b.begin() + 4, 8, 0xFF);
                 reseal(b);
             },
             RC_E_BLOB_KIND},
        Edit{"kind before length",
             [](Blob& b) {
                 b[5] = 1;
                 b[12] = 0;
             },
             RC_E_BLOB_KIND},
        Edit{"length + 1",
             [](Blob& b) {
                 b[12] += 1;
                 reseal(b);
             },
             RC_E_BLOB_LENGTH},
        Edit{"one byte appended", [](Blob& b) { b.push_back(0); }, RC_E_BLOB_LENGTH},
        Edit{"length wrapping to the size", [](Blob& b) { std::fill_n(b.begin() + 12, 4, 0xFF); },
             RC_E_BLOB_LENGTH},
        Edit{"payload byte", [](Blob& b) { b[20] ^= 0x01; }, RC_E_BLOB_CRC},
        Edit{"section reserved byte", [](Blob& b) { b[19] ^= 0x40; }, RC_E_BLOB_CRC},
        Edit{"checksum low byte", [](Blob& b) { b[b.size() - 4] ^= 0x80; }, RC_E_BLOB_CRC},
        Edit{"checksum byte order", [](Blob& b) { std::swap(b[b.size() - 4], b[b.size() - 3]); },
             RC_E_BLOB_CRC},
        Edit{"last byte non-zero", [](Blob& b) { b.back() = 0x01; }, RC_E_BLOB_CRC},
        Edit{"second-last byte non-zero", [](Blob& b) { b[b.size() - 2] = 0x80; }, RC_E_BLOB_CRC},
        Edit{"reserved trailer bytes", [](Blob& b) { std::fill_n(b.end() - 8, 4, 0x5A); }, RC_OK}));

TEST(Validate, WorkBufferBoundIsInclusive) {
    const Blob blob = frame({});
    EXPECT_EQ(validate(blob, 24), RC_OK);
    EXPECT_EQ(validate(blob, 23), RC_E_WORK_BUFFER_SMALL);
}

TEST(Append, ChecksCapacityThenWorkBufferAndCopiesNothingOnFailure) {
    std::array<uint8_t, 32> blob;
    blob.fill(kFill);
    const std::array<uint8_t, 8> work = {1, 2, 3, 4, 5, 6, 7, 8};
    uint32_t position = 20;
    // Both bounds broken: the blob capacity is reported.
    EXPECT_EQ(vorn::append(blob.data(), 24, position, 9, work.data(), 8), RC_E_BLOB_OVERFLOW);
    // A writer's overflow marker (work size + 1) that would fit the blob.
    EXPECT_EQ(vorn::append(blob.data(), 32, position, 9, work.data(), 8), RC_E_WORK_BUFFER_SMALL);
    // A position near the top of the range must not wrap past the capacity check.
    uint32_t high = 0xFFFFFFFCu;
    EXPECT_EQ(vorn::append(blob.data(), 32, high, 8, work.data(), 8), RC_E_BLOB_OVERFLOW);
    EXPECT_EQ(high, 0xFFFFFFFCu);
    EXPECT_EQ(position, 20u);
    EXPECT_TRUE(std::all_of(blob.begin(), blob.end(), [](uint8_t b) { return b == kFill; }));

    EXPECT_EQ(vorn::append(blob.data(), 24, position, 4, work.data(), 8), RC_OK);
    EXPECT_EQ(position, 24u);
    EXPECT_EQ(blob[20], 1);
    EXPECT_EQ(blob[23], 4);
    EXPECT_EQ(blob[24], kFill);
}

TEST(BlobRoundTrip, SectionsComeBackInOrderThroughTheWorkBuffer) {
    std::array<uint8_t, 64> blob;
    blob.fill(kFill);
    std::array<uint8_t, 64> work{};  // an import's work buffer holds the whole blob
    uint32_t size = vorn::kBlobHeaderSize;
    const uint32_t first =
        vorn::SectionWriter(5, work.data(), 64, 2, 0).add(1.5f).add(int64_t{9}).finish();
    ASSERT_EQ(vorn::append(blob.data(), 64, size, first, work.data(), 64), RC_OK);
    const uint32_t second =
        vorn::SectionWriter(254, work.data(), 64, 1, 0).add(uint16_t{7}).finish();
    ASSERT_EQ(vorn::append(blob.data(), 64, size, second, work.data(), 64), RC_OK);
    ASSERT_EQ(vorn::frameSerializedData(blob.data(), 64, size), RC_OK);
    ASSERT_EQ(size, 24u + 16u + 6u);

    uint32_t position = 0;
    ASSERT_EQ(vorn::validateSerialization(blob.data(), size, 64, position), RC_OK);
    const std::array<std::pair<uint8_t, uint32_t>, 2> expected = {{{5, 16}, {254, 6}}};
    for (const auto& [id, length] : expected) {
        work.fill(0);
        uint8_t sectionId = 0;
        uint32_t sectionLength = 0;
        ASSERT_EQ(
            vorn::parse(blob.data(), size, position, work.data(), 64, sectionId, sectionLength),
            RC_OK);
        EXPECT_EQ(sectionId, id);
        EXPECT_EQ(sectionLength, length);
        EXPECT_EQ(work[0], length);
    }
    EXPECT_EQ(position, size - vorn::kBlobTrailerSize);
}

struct ParseCase {
    const char* what;
    uint16_t sectionLength;
    uint32_t workSize;
    int32_t status;
};

class Parse : public ::testing::TestWithParam<ParseCase> {};

// One section at position 16 of a blob whose payload is 10 bytes.
TEST_P(Parse, BoundsTheSectionByWorkBufferThenPayload) {
    const ParseCase c = GetParam();
    Blob blob = frame({0, 0, 3, 0, 1, 2, 3, 4, 5, 6});
    blob[16] = static_cast<uint8_t>(c.sectionLength & 0xFF);
    blob[17] = static_cast<uint8_t>(c.sectionLength >> 8);
    std::array<uint8_t, 300> work;
    work.fill(kFill);
    uint32_t position = 16;
    uint8_t id = 99;
    uint32_t length = 0;
    EXPECT_EQ(vorn::parse(blob.data(), static_cast<uint32_t>(blob.size()), position, work.data(),
                          c.workSize, id, length),
              c.status);
    EXPECT_EQ(length, c.sectionLength);
    if (c.status == RC_OK) {
        EXPECT_EQ(position, 16u + c.sectionLength);
        EXPECT_EQ(id, c.sectionLength > 2 ? 3 : kFill);  // short sections leave work[2] as it was
    } else {
        EXPECT_EQ(position, 16u);
        EXPECT_EQ(id, 0);
        EXPECT_TRUE(std::all_of(work.begin(), work.end(), [](uint8_t b) { return b == kFill; }));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Table, Parse,
    ::testing::Values(ParseCase{"whole payload", 10, 10, RC_OK},
                      ParseCase{"shorter than the payload", 6, 10, RC_OK},
                      ParseCase{"length 0 does not advance", 0, 10, RC_OK},
                      ParseCase{"length 2 keeps the old id byte", 2, 10, RC_OK},
                      ParseCase{"one byte over the work buffer", 10, 9, RC_E_SECTION_TOO_LARGE},
                      ParseCase{"too large wins over past the payload", 300, 299,
                                RC_E_SECTION_TOO_LARGE},
                      ParseCase{"into the trailer", 11, 300, RC_E_BLOB_LENGTH},
                      ParseCase{"past the blob", 200, 300, RC_E_BLOB_LENGTH}));

TEST(Parse, LengthFieldOutsideTheBlobIsRefused) {
    const Blob blob = frame({});
    std::array<uint8_t, 8> work{};
    uint8_t id = 0;
    uint32_t length = 0;
    uint32_t position = static_cast<uint32_t>(blob.size()) - 1;
    EXPECT_EQ(vorn::parse(blob.data(), static_cast<uint32_t>(blob.size()), position, work.data(), 8,
                          id, length),
              RC_E_BLOB_LENGTH);
    EXPECT_EQ(position, blob.size() - 1);
}

}  // namespace
