// The tools' own readers against the library: a blob damaged where the command-line
// refusals do not reach (the kind word, the trailer, the sections) must be refused with
// the code the library gives and a reason naming the fault, an odd one the library
// accepts must be accepted; numbers and output lists as `replay` parses them.
#include <gtest/gtest.h>

#include <charconv>
#include <cmath>

#include "blob_schema.h"
#include "blobs.h"
#include "csv.h"
#include "names.h"
#include "tool_error.h"
#include "vorn/vorn.h"

namespace vorn::tools {
namespace {

using Blob = std::vector<uint8_t>;

struct Damage {
    const char* name;
    void (*apply)(Blob& blob);
    bool reframe;  // recompute length and CRC afterwards, to reach the section checks
    int32_t status;
    const char* mentions;  // in the problem, or in the notes of an accepted blob
};

const Damage kDamage[] = {
    {"Kind", [](Blob& b) { b[4] = 62; }, false, RC_E_BLOB_KIND, "kind field"},
    {"TrailerZero", [](Blob& b) { b.back() = 1; }, false, RC_E_BLOB_CRC, "must be zero"},
    {"SectionId", [](Blob& b) { b[75] = 4; }, true, RC_E_SECTION_UNKNOWN, "offset 73 has id 4"},
    {"SectionPastPayload", [](Blob& b) { b[123] = 40; }, true, RC_E_BLOB_LENGTH, "run past"},
    {"SectionTooShortForFields",
     [](Blob& b) {
         b[111] = 10;
         b.erase(b.begin() + 121, b.begin() + 123);
     },
     true, RC_E_SECTION_SHORT, "fields need 12"},
    // Accepted: reserved bytes, version "any" and kind 0x00000000FFFFFFFF, spare bytes.
    {"ReservedBytes",
     [](Blob& b) {
         b[b.size() - 8] ^= 0xAA, b[19] ^= 0x55;
         std::fill_n(b.begin(), 8, 0xFF);
     },
     true, RC_OK, ""},
    {"SectionLongerThanFields",
     [](Blob& b) {
         b[111] = 14;
         b.insert(b.begin() + 123, 2, 7);
     },
     true, RC_OK, "2 more than its fields"},
};

class BlobDamage : public ::testing::TestWithParam<Damage> {};

TEST_P(BlobDamage, JudgedLikeTheLibraryWithAReason) {
    const Damage& d = GetParam();
    vorn_init();
    Blob blob = vorn_test::exportBlob(vorn_test::BlobKind::State);
    d.apply(blob);
    if (d.reframe) reframe(blob);
    const BlobCheck check = checkBlob(blob, BlobKind::State);
    std::string said = check.problem;
    for (const auto& note : check.view.notes) said += note;
    EXPECT_EQ(check.status, d.status) << said;
    EXPECT_NE(said.find(d.mentions), std::string::npos) << said;
    vorn_init();
    EXPECT_EQ(vorn_test::importBlob(vorn_test::BlobKind::State, blob, kToolWorkBytes), d.status);
}

INSTANTIATE_TEST_SUITE_P(State, BlobDamage, ::testing::ValuesIn(kDamage),
                         [](const auto& p) { return std::string(p.param.name); });

TEST(Csv, NumbersAndOutputLists) {
    double v = 0;
    EXPECT_TRUE(parseNumber(" 12.5\r", v) && v == 12.5);
    EXPECT_TRUE(parseNumber("+3e2", v) && v == 300.0);
    EXPECT_TRUE(parseNumber("nan", v) && std::isnan(v));
    for (const char* bad : {"", " ", "1,5", "12abc", "0x10", "--1"}) {
        EXPECT_FALSE(parseNumber(bad, v)) << bad;
    }
    // The fast path for plain decimals must give exactly what std::from_chars gives.
    uint64_t state = 12345;
    auto next = [&state] {
        return state = state * 6364136223846793005ull + 1442695040888963407ull;
    };
    for (int i = 0; i < 200000; ++i) {
        const int digits = 1 + static_cast<int>(next() >> 60);
        const int point = static_cast<int>((next() >> 58) % (digits + 1));
        std::string text = (next() >> 63) ? "-" : "";
        for (int d = 0; d < digits; ++d) {
            if (d == point && d > 0) text += '.';
            text += static_cast<char>('0' + (next() >> 33) % 10);
        }
        double fast = 0, reference = 0;
        ASSERT_TRUE(parseNumber(text, fast)) << text;
        std::from_chars(text.data(), text.data() + text.size(), reference);
        ASSERT_TRUE(fast == reference && std::signbit(fast) == std::signbit(reference)) << text;
    }
    EXPECT_EQ(parseOutputList("iaq_index,1,14"), (std::vector<uint8_t>{1, 14}));
    EXPECT_EQ(parseOutputList("host"), (std::vector<uint8_t>{1, 2, 3, 4, 6, 7, 8, 9, 14, 15}));
    EXPECT_EQ(parseOutputList("all").size(), 14u);
}

}  // namespace
}  // namespace vorn::tools
