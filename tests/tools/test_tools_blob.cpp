// The tools' reading of the blob layout, checked against what the library exports
// and refuses, the value parser of `config set`, and the state-file loader.
#include <gtest/gtest.h>

#include <cstring>

#include "blob_file.h"
#include "blob_schema.h"
#include "blobs.h"
#include "tool_error.h"
#include "tool_test_support.h"
#include "vorn/vorn.h"

namespace vorn::tools {
namespace {

using Blob = std::vector<uint8_t>;
constexpr auto kConfig = BlobKind::Configuration, kState = BlobKind::State;

vorn_test::BlobKind libraryKind(BlobKind kind) {
    return kind == kConfig ? vorn_test::BlobKind::Configuration : vorn_test::BlobKind::State;
}

Blob exportDefault(BlobKind kind) {
    vorn_init();
    return vorn_test::exportBlob(libraryKind(kind));
}

int32_t libraryImport(const Blob& blob, BlobKind kind) {
    vorn_init();
    return vorn_test::importBlob(libraryKind(kind), blob, kToolWorkBytes);
}

std::string valueOf(const Blob& blob, BlobKind kind, const char* section, const char* field) {
    const SectionLayout* layout = findSection(kind, std::string_view(section));
    for (const auto& s : checkBlob(blob, kind).view.sections) {
        if (s.id != layout->id) continue;
        const FieldLayout* f = findField(*layout, field);
        std::string text;
        for (int i = 0; i < f->count; ++i) {
            if (i > 0) text += ',';
            text += formatScalar(readElement(std::span(blob).subspan(s.offset, s.length), *f, i));
        }
        return text;
    }
    return "<no section>";
}

TEST(BlobSchema, DefaultBlobsDecodeWithValuesInTheRightPlaces) {
    struct Case {
        BlobKind kind;
        size_t size;
        Blob ids;
    };
    for (const Case& c :
         {Case{kConfig, 454, {1, 2, 3, 5, 9, 10, 254}}, Case{kState, 139, {1, 2, 3, 5, 9, 10}}}) {
        const auto blob = exportDefault(c.kind);
        const BlobCheck check = checkBlob(blob, c.kind);
        ASSERT_EQ(check.status, RC_OK) << check.problem;
        EXPECT_EQ(blob.size(), c.size);
        EXPECT_TRUE(check.view.notes.empty());
        Blob ids;
        for (const auto& s : check.view.sections) {
            ids.push_back(s.id);
            EXPECT_EQ(s.length, s.layout->length) << s.layout->name;
        }
        EXPECT_EQ(ids, c.ids);
    }
    const struct {
        BlobKind kind;
        const char *section, *field, *value;
    } table[] = {
        {kConfig, "baseline_tracker", "decay_time_constant", "86400,64800000"},
        {kConfig, "iaq", "index_scale", "225"},
        {kConfig, "heat_compensator", "coeff_d", "4.1036,0,0,0.4453,-1.0409"},
        {kConfig, "hyper", "heater_duration_ms", "1943,900,197,1116"},
        {kConfig, "hyper", "allowed_intervals.passthrough_temperature", "100,30000,300,1800,6000,1500"},
        {kConfig, "hyper", "base_interval", "30000"},
        {kState, "baseline_tracker", "in_band_count", "2,2"},
        {kState, "iaq", "held_index", "25"},
        {kState, "heat_compensator", "prev_gas_timestamp", "9223372036854775807"},
    };
    const Blob config = exportDefault(kConfig), state = exportDefault(kState);
    for (const auto& e : table) {
        EXPECT_EQ(valueOf(e.kind == kConfig ? config : state, e.kind, e.section, e.field), e.value)
            << e.section << "." << e.field;
    }
}

// The tools must refuse what the library refuses, with the same code.
struct Damage {
    const char* name;
    void (*apply)(Blob& blob);
    bool reframe;  // recompute length and CRC afterwards, to reach the section checks
    int32_t status;
    const char* mentions;
};

const Damage kDamage[] = {
    {"TooShort", [](Blob& b) { b.resize(23); }, false, RC_E_BLOB_TOO_SHORT, "23 bytes"},
    {"Version", [](Blob& b) { b[0] = 5; }, false, RC_E_BLOB_VERSION, "version word"},
    {"Kind", [](Blob& b) { b[4] = 62; }, false, RC_E_BLOB_KIND, "kind field"},
    {"LengthField", [](Blob& b) { b[12] += 1; }, false, RC_E_BLOB_LENGTH, "length field"},
    {"Truncated", [](Blob& b) { b.pop_back(); }, false, RC_E_BLOB_LENGTH, "truncated"},
    {"PayloadByte", [](Blob& b) { b[40] ^= 0x10; }, false, RC_E_BLOB_CRC, "CRC mismatch"},
    {"TrailerZero", [](Blob& b) { b.back() = 1; }, false, RC_E_BLOB_CRC, "must be zero"},
    {"SectionId", [](Blob& b) { b[75] = 4; }, true, RC_E_SECTION_UNKNOWN, "offset 73 has id 4"},
    {"SectionPastPayload", [](Blob& b) { b[123] = 40; }, true, RC_E_BLOB_LENGTH, "run past"},
    {"SectionTooShortForFields",
     [](Blob& b) {
         b[111] = 10;
         b.erase(b.begin() + 121, b.begin() + 123);
     },
     true, RC_E_SECTION_SHORT, "fields need 12"},
};

class BlobDamage : public ::testing::TestWithParam<Damage> {};

TEST_P(BlobDamage, RefusedWithTheLibrarysCodeAndAReason) {
    const Damage& d = GetParam();
    auto blob = exportDefault(kState);
    d.apply(blob);
    if (d.reframe) reframe(blob);
    const BlobCheck check = checkBlob(blob, kState);
    EXPECT_EQ(check.status, d.status) << check.problem;
    EXPECT_TRUE(testing::has(check.problem, d.mentions)) << check.problem;
    EXPECT_EQ(libraryImport(blob, kState), d.status);
}

INSTANTIATE_TEST_SUITE_P(State, BlobDamage, ::testing::ValuesIn(kDamage),
                         [](const auto& p) { return std::string(p.param.name); });

TEST(BlobSchema, AcceptedOdditiesAreAcceptedAndNoted) {
    auto blob = exportDefault(kState);
    blob[blob.size() - 8] ^= 0xAA;      // a reserved trailer byte
    blob[19] ^= 0x55;                   // the reserved byte of the first section header
    std::memset(blob.data(), 0xFF, 8);  // version "any", kind 0x00000000FFFFFFFF
    reframe(blob);
    EXPECT_EQ(checkBlob(blob, kState).status, RC_OK);
    EXPECT_EQ(libraryImport(blob, kState), RC_OK);

    // A state blob of a bare hyper header, then an iaq section longer than its fields.
    Blob odd(16, 0);
    const Blob sections = {4, 0, 254, 0, 14, 0, 2, 0, 0, 0, 200, 65, 0, 0, 200, 65, 7, 7};
    odd.insert(odd.end(), sections.begin(), sections.end());
    odd.resize(odd.size() + 8, 0);
    reframe(odd);
    odd[0] = 4, odd[1] = 7, odd[2] = 4, odd[3] = 1, odd[4] = 61;
    reframe(odd);
    const BlobCheck check = checkBlob(odd, kState);
    ASSERT_EQ(check.status, RC_OK) << check.problem;
    EXPECT_EQ(libraryImport(odd, kState), RC_OK);
    ASSERT_EQ(check.view.notes.size(), 2u);
    EXPECT_TRUE(testing::has(check.view.notes[0], "hyper section"));
    EXPECT_TRUE(testing::has(check.view.notes[1], "2 more than its fields"));

    for (const BlobKind kind : {kConfig, kState}) {  // the wrong kind is named
        const BlobKind other = kind == kConfig ? kState : kConfig;
        const BlobCheck wrong = checkBlob(exportDefault(kind), other);
        EXPECT_EQ(wrong.status, RC_E_SECTION_SHORT);
        EXPECT_EQ(libraryImport(exportDefault(kind), other), RC_E_SECTION_SHORT);
        EXPECT_TRUE(testing::has(wrong.problem, kind == kConfig ? "is this a configuration blob?"
                                                                : "is this a state blob?"));
    }
}

class BlobFileTest : public testing::ScratchDir {};

TEST_F(BlobFileTest, StateFilesAndRawBlobsAreToldApartAndChecked) {
    const auto blob = exportDefault(kState);
    saveBlobFile(path("savedState.dat"), blob, true);
    saveBlobFile(path("raw.bin"), blob, false);
    EXPECT_EQ(testing::readFile(path("savedState.dat")).substr(0, 4), "139\n");
    for (const bool dat : {true, false}) {
        const BlobFile file = loadBlobFile(path(dat ? "savedState.dat" : "raw.bin"));
        EXPECT_EQ(file.stateFileFormat, dat);
        EXPECT_EQ(file.blob, blob);
    }
    const std::string bytes(blob.begin(), blob.end());
    for (const std::string& bad : {"140\n" + bytes, "139" + bytes}) {
        testing::writeFile(path("bad.dat"), bad);
        EXPECT_THROW(loadBlobFile(path("bad.dat")), ToolError);
    }
    EXPECT_THROW(loadBlobFile(path("missing.dat")), ToolError);
    testing::writeFile(path("long.dat"), "139\n" + bytes + "xx");
    EXPECT_EQ(loadBlobFile(path("long.dat")).notes.size(), 1u);
}

}  // namespace
}  // namespace vorn::tools
