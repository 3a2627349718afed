// Blob framing, import checks and the checksum. A blob comes from storage the library
// does not control: each check in its order of precedence, the accepted wildcard
// values, and every bound that keeps a copy inside its buffer.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

#include "blobs.h"
#include "serialization/blob_frame.h"
#include "serialization/crc.h"
#include "serialization/section.h"

namespace {

// The checksum: its table and its check value over "123456789".
static_assert(vorn::kCrcTable[1] == 0x1189 && vorn::kCrcTable[255] == 0x0F78);
constexpr std::array<uint8_t, 9> kCheckInput = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
static_assert(vorn::crcCcitt2(kCheckInput.data(), 9) == 0x906E);

using vorn_test::reseal;
constexpr uint8_t kFill = 0xA5;
constexpr uint32_t kWorkSize = 256;
using Blob = std::vector<uint8_t>;

template <typename Range>
bool allFill(const Range& r) {
    return std::all_of(r.begin(), r.end(), [](uint8_t b) { return b == kFill; });
}

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

int32_t validate(const Blob& blob, uint32_t workSize = kWorkSize) {
    uint32_t position = 99;
    const int32_t status = vorn::validateSerialization(
        blob.data(), static_cast<uint32_t>(blob.size()), workSize, position);
    EXPECT_EQ(position, status == RC_OK ? 16u : 0u);
    return status;
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
        Edit{"23 bytes of anything", [](Blob& b) { b.assign(23, 0xFF); }, RC_E_BLOB_TOO_SHORT},
        Edit{"over the work buffer", [](Blob& b) { b.assign(kWorkSize + 1, 0xFF); },
             RC_E_WORK_BUFFER_SMALL},
        Edit{"version before kind", [](Blob& b) { b[3] = 2, b[4] = 0; }, RC_E_BLOB_VERSION},
        Edit{"version wildcard", [](Blob& b) { std::fill_n(b.begin(), 4, 0xFF), reseal(b); },
             RC_OK},
        Edit{"kind before length", [](Blob& b) { b[11] = 1, b[12] = 0; }, RC_E_BLOB_KIND},
        Edit{"kind wildcard", [](Blob& b) { std::fill_n(b.begin() + 4, 4, 0xFF), reseal(b); },
             RC_OK},
        Edit{"kind eight FF", [](Blob& b) { std::fill_n(b.begin() + 4, 8, 0xFF), reseal(b); },
             RC_E_BLOB_KIND},
        Edit{"length before checksum", [](Blob& b) { b[12] += 1, b[20] ^= 1; }, RC_E_BLOB_LENGTH},
        Edit{"one byte appended", [](Blob& b) { b.push_back(0); }, RC_E_BLOB_LENGTH},
        Edit{"length wrapping", [](Blob& b) { std::fill_n(b.begin() + 12, 4, 0xFF); },
             RC_E_BLOB_LENGTH},
        Edit{"section reserved byte", [](Blob& b) { b[19] ^= 0x40; }, RC_E_BLOB_CRC},
        Edit{"checksum byte order", [](Blob& b) { std::swap(b[b.size() - 4], b[b.size() - 3]); },
             RC_E_BLOB_CRC},
        Edit{"last byte non-zero", [](Blob& b) { b.back() = 0x01; }, RC_E_BLOB_CRC},
        Edit{"second-last non-zero", [](Blob& b) { b[b.size() - 2] = 0x80; }, RC_E_BLOB_CRC},
        Edit{"reserved trailer bytes", [](Blob& b) { std::fill_n(b.end() - 8, 4, 0x5A); }, RC_OK}));

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
        EXPECT_TRUE(ok || allFill(work));
    }
    const Blob blob = frame({});  // the length field itself outside the blob
    std::array<uint8_t, 8> work{};
    uint8_t id = 0;
    uint32_t length = 0, position = static_cast<uint32_t>(blob.size()) - 1;
    EXPECT_EQ(vorn::parse(blob.data(), position + 1, position, work.data(), 8, id, length),
              RC_E_BLOB_LENGTH);
}

}  // namespace
