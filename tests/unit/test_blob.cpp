// The checksum and the section reader. A blob comes from storage the library does not
// control: every bound that keeps a section copy inside its buffers. The frame checks
// are tested through the exported import, where their refusals must change nothing.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

#include "serialization/blob_frame.h"
#include "serialization/crc.h"
#include "serialization/section.h"

namespace {

// The checksum: its table and its check value over "123456789".
static_assert(vorn::kCrcTable[1] == 0x1189 && vorn::kCrcTable[255] == 0x0F78);
constexpr std::array<uint8_t, 9> kCheckInput = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
static_assert(vorn::crcCcitt2(kCheckInput.data(), 9) == 0x906E);

constexpr uint8_t kFill = 0xA5;
using Blob = std::vector<uint8_t>;

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

// One section at position 16 of a blob whose payload is 10 bytes.
TEST(Parse, BoundsTheSectionByWorkBufferThenPayload) {
    struct Case {
        uint16_t sectionLength;
        uint32_t workSize;
        int32_t status;
    };
    for (const Case c : {Case{10, 10, RC_OK}, Case{6, 10, RC_OK}, Case{0, 10, RC_OK},
                         Case{2, 10, RC_OK},  // keeps the old id byte
                         Case{10, 9, RC_E_SECTION_TOO_LARGE},
                         Case{300, 299, RC_E_SECTION_TOO_LARGE},  // wins over past the payload
                         Case{11, 300, RC_E_BLOB_LENGTH}, Case{200, 300, RC_E_BLOB_LENGTH}}) {
        Blob blob = frame({0, 0, 3, 0, 1, 2, 3, 4, 5, 6});
        blob[16] = static_cast<uint8_t>(c.sectionLength & 0xFF);
        blob[17] = static_cast<uint8_t>(c.sectionLength >> 8);
        std::array<uint8_t, 300> work;
        work.fill(kFill);
        uint32_t position = 16, length = 0;
        uint8_t id = 99;
        EXPECT_EQ(vorn::parse(blob.data(), static_cast<uint32_t>(blob.size()), position,
                              work.data(), c.workSize, id, length),
                  c.status)
            << c.sectionLength;
        EXPECT_EQ(length, c.sectionLength);
        const bool ok = c.status == RC_OK;
        EXPECT_EQ(position, ok ? 16u + c.sectionLength : 16u);
        EXPECT_EQ(id, !ok ? 0 : (c.sectionLength > 2 ? 3 : kFill));
        EXPECT_TRUE(ok || std::count(work.begin(), work.end(), kFill) == 300);
    }
    const Blob blob = frame({});  // the length field itself outside the blob
    std::array<uint8_t, 8> work{};
    uint8_t id = 0;
    uint32_t length = 0, position = static_cast<uint32_t>(blob.size()) - 1;
    EXPECT_EQ(vorn::parse(blob.data(), position + 1, position, work.data(), 8, id, length),
              RC_E_BLOB_LENGTH);
}

}  // namespace
