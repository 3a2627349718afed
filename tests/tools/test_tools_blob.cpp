// The tools' own reading of the blob layout, checked against what the library really
// exports and refuses: section tables, frame checks in the library's order, the field
// parser of `config set`, and the state-file loader.
#include <gtest/gtest.h>

#include <cstring>

#include "blob_file.h"
#include "blob_schema.h"
#include "tool_error.h"
#include "tool_test_support.h"
#include "vorn/vorn.h"

namespace vorn::tools {
namespace {

using testing::ScratchDir;

std::vector<uint8_t> exportDefault(bool configuration) {
    vorn_init();
    std::vector<uint8_t> blob(kToolWorkBytes), work(kToolWorkBytes);
    uint32_t size = 0;
    const int32_t rc = configuration ? vorn_get_configuration(0, blob.data(), kToolWorkBytes,
                                                              work.data(), kToolWorkBytes, &size)
                                     : vorn_get_state(0, blob.data(), kToolWorkBytes, work.data(),
                                                      kToolWorkBytes, &size);
    EXPECT_EQ(rc, RC_OK);
    blob.resize(size);
    return blob;
}

int32_t libraryImport(const std::vector<uint8_t>& blob, bool configuration) {
    vorn_init();
    std::vector<uint8_t> work(kToolWorkBytes);
    const auto n = static_cast<uint32_t>(blob.size());
    return configuration ? vorn_set_configuration(blob.data(), n, work.data(), kToolWorkBytes)
                         : vorn_set_state(blob.data(), n, work.data(), kToolWorkBytes);
}

std::string valueOf(const std::vector<uint8_t>& blob, BlobKind kind, const char* section,
                    const char* field) {
    const BlobCheck check = checkBlob(blob, kind);
    const SectionLayout* layout = findSection(kind, std::string_view(section));
    for (const auto& s : check.view.sections) {
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

TEST(BlobSchema, CrcMatchesTheCatalogue) {
    const char* digits = "123456789";
    EXPECT_EQ(crc16X25({reinterpret_cast<const uint8_t*>(digits), 9}), 0x906E);
    EXPECT_EQ(crc16X25({}), 0x0000);
}

TEST(BlobSchema, FieldsTileEverySectionExactly) {
    for (const BlobKind kind : {BlobKind::Configuration, BlobKind::State}) {
        for (const auto& section : sectionSpecs(kind)) {
            std::vector<int> owner(section.length, -1);
            for (int i = 0; i < 4; ++i) owner[static_cast<size_t>(i)] = 99;  // header
            for (size_t f = 0; f < section.fields.size(); ++f) {
                const FieldLayout& field = section.fields[f];
                const int width = field.type == FieldType::U16   ? 2
                                  : field.type == FieldType::F32 ? 4
                                  : field.type == FieldType::I64 ? 8
                                                                 : 1;
                for (int e = 0; e < field.count; ++e) {
                    for (int b = 0; b < width; ++b) {
                        const size_t at = field.offset + static_cast<size_t>(e) * field.stride +
                                          static_cast<size_t>(b);
                        ASSERT_LT(at, owner.size()) << section.name << "." << field.name;
                        EXPECT_EQ(owner[at], -1)
                            << section.name << "." << field.name << " overlaps";
                        owner[at] = static_cast<int>(f);
                    }
                }
            }
            for (size_t at = 0; at < owner.size(); ++at) {
                EXPECT_NE(owner[at], -1)
                    << section.name << " byte " << at << " belongs to no field";
            }
        }
    }
}

TEST(BlobSchema, DefaultBlobsDecodeIntoTheLibrarysSectionsInOrder) {
    struct Case {
        bool configuration;
        size_t size;
        std::vector<uint8_t> ids;
    };
    for (const Case& c :
         {Case{true, 454, {1, 2, 3, 5, 9, 10, 254}}, Case{false, 139, {1, 2, 3, 5, 9, 10}}}) {
        const auto blob = exportDefault(c.configuration);
        const BlobKind kind = c.configuration ? BlobKind::Configuration : BlobKind::State;
        const BlobCheck check = checkBlob(blob, kind);
        ASSERT_EQ(check.status, RC_OK) << check.problem;
        EXPECT_EQ(blob.size(), c.size);
        EXPECT_TRUE(check.view.notes.empty());
        std::vector<uint8_t> ids;
        for (const auto& s : check.view.sections) {
            ids.push_back(s.id);
            EXPECT_EQ(s.length, s.layout->length) << s.layout->name;
        }
        EXPECT_EQ(ids, c.ids);
    }
}

// Known defaults at known places: a wrong offset in a table shows up here.
TEST(BlobSchema, DefaultValuesReadFromTheRightPlaces) {
    struct Expect {
        BlobKind kind;
        const char* section;
        const char* field;
        const char* value;
    };
    const auto config = exportDefault(true);
    const auto state = exportDefault(false);
    const Expect table[] = {
        {BlobKind::Configuration, "baseline_tracker", "decay_time_constant", "86400,64800000"},
        {BlobKind::Configuration, "baseline_tracker", "humidity_slope", "0.501,0.4,0.75,0.4"},
        {BlobKind::Configuration, "baseline_tracker", "temperature_max", "85"},
        {BlobKind::Configuration, "iaq", "index_upper_limit", "500"},
        {BlobKind::Configuration, "iaq", "index_scale", "225"},
        {BlobKind::Configuration, "iaq", "linear_base", "400"},
        {BlobKind::Configuration, "iaq", "exp_value_low", "0.5"},
        {BlobKind::Configuration, "pre_processor", "bandwidth", "0.02,0.0025,0.0025"},
        {BlobKind::Configuration, "status_tracker", "gap_factor", "1"},
        {BlobKind::Configuration, "heat_compensator", "coeff_d", "4.1036,0,0,0.4453,-1.0409"},
        {BlobKind::Configuration, "heat_compensator", "fixed_compensation", "3"},
        {BlobKind::Configuration, "hyper", "pressure_oversampling", "5"},
        {BlobKind::Configuration, "hyper", "heater_duration_ms", "1943,900,197,1116"},
        {BlobKind::Configuration, "hyper", "heater_temperature_c", "400,320,320,400"},
        {BlobKind::Configuration, "hyper", "allowed_intervals.iaq_index",
         "30000,100,300,1800,6000,65535"},
        {BlobKind::Configuration, "hyper", "allowed_intervals.raw_temperature",
         "100,30000,300,1800,6000,1500"},
        {BlobKind::Configuration, "hyper", "default_interval.gas_scale_percent", "65535"},
        {BlobKind::Configuration, "hyper", "base_interval", "30000"},
        {BlobKind::State, "baseline_tracker", "in_band_count", "2,2"},
        {BlobKind::State, "iaq", "held_index", "25"},
        {BlobKind::State, "heat_compensator", "prev_gas_timestamp", "9223372036854775807"},
    };
    for (const auto& e : table) {
        const auto& blob = e.kind == BlobKind::Configuration ? config : state;
        EXPECT_EQ(valueOf(blob, e.kind, e.section, e.field), e.value)
            << e.section << "." << e.field;
    }
}

// ---- damage: the tools must refuse what the library refuses, with the same code ----

struct Damage {
    const char* name;
    void (*apply)(std::vector<uint8_t>& blob);
    bool reframe;  // recompute length and CRC afterwards, to reach the section checks
    int32_t status;
    const char* mentions;
};

const Damage kDamage[] = {
    {"TooShort", [](auto& b) { b.resize(23); }, false, RC_E_BLOB_TOO_SHORT, "23 bytes"},
    {"Version", [](auto& b) { b[0] = 5; }, false, RC_E_BLOB_VERSION, "version word"},
    {"Kind", [](auto& b) { b[4] = 62; }, false, RC_E_BLOB_KIND, "kind field"},
    {"KindAllOnes", [](auto& b) { std::memset(&b[4], 0xFF, 8); }, false, RC_E_BLOB_KIND, "kind"},
    {"LengthField", [](auto& b) { b[12] += 1; }, false, RC_E_BLOB_LENGTH, "length field"},
    {"Truncated", [](auto& b) { b.pop_back(); }, false, RC_E_BLOB_LENGTH, "truncated"},
    {"PayloadByte", [](auto& b) { b[40] ^= 0x10; }, false, RC_E_BLOB_CRC, "CRC mismatch"},
    {"TrailerZero", [](auto& b) { b.back() = 1; }, false, RC_E_BLOB_CRC, "must be zero"},
    {"SectionId", [](auto& b) { b[73 + 2] = 4; }, true, RC_E_SECTION_UNKNOWN, "offset 73 has id 4"},
    {"SectionPastPayload", [](auto& b) { b[123] = 40; }, true, RC_E_BLOB_LENGTH, "run past"},
    {"SectionTooShortForFields",
     [](auto& b) {
         b[111] = 10;
         b.erase(b.begin() + 121, b.begin() + 123);
     },
     true, RC_E_SECTION_SHORT, "fields need 12"},
};

class BlobDamage : public ::testing::TestWithParam<Damage> {};

TEST_P(BlobDamage, RefusedWithTheLibrarysCodeAndAReason) {
    const Damage& d = GetParam();
    auto blob = exportDefault(false);
    d.apply(blob);
    if (d.reframe) reframe(blob);
    const BlobCheck check = checkBlob(blob, BlobKind::State);
    EXPECT_EQ(check.status, d.status) << check.problem;
    EXPECT_NE(check.problem.find(d.mentions), std::string::npos) << check.problem;
    EXPECT_EQ(libraryImport(blob, false), d.status);
}

INSTANTIATE_TEST_SUITE_P(State, BlobDamage, ::testing::ValuesIn(kDamage),
                         [](const auto& p) { return std::string(p.param.name); });

TEST(BlobSchema, HarmlessChangesAndAlternativeHeaderWordsAreAccepted) {
    auto blob = exportDefault(false);
    blob[blob.size() - 8] ^= 0xAA;  // a reserved trailer byte
    blob[16 + 3] ^= 0x55;           // the reserved byte of the first section's header
    reframe(blob);
    std::memset(blob.data(), 0xFF, 4);      // version word "any"
    std::memset(blob.data() + 4, 0xFF, 4);  // kind 0x00000000FFFFFFFF
    reframe(blob);
    EXPECT_EQ(checkBlob(blob, BlobKind::State).status, RC_OK);
    EXPECT_EQ(libraryImport(blob, false), RC_OK);
}

TEST(BlobSchema, TheWrongKindOfBlobIsNamed) {
    for (const bool configuration : {false, true}) {
        const auto blob = exportDefault(configuration);
        const BlobKind asKind = configuration ? BlobKind::State : BlobKind::Configuration;
        const BlobCheck check = checkBlob(blob, asKind);
        EXPECT_EQ(check.status, RC_E_SECTION_SHORT);
        EXPECT_EQ(libraryImport(blob, !configuration), RC_E_SECTION_SHORT);
        const std::string hint =
            configuration ? "is this a configuration blob?" : "is this a state blob?";
        EXPECT_NE(check.problem.find(hint), std::string::npos) << check.problem;
    }
}

TEST(BlobSchema, AcceptedOddSectionsAreNoted) {
    // A state blob whose only section is a bare hyper header, then a longer iaq section.
    std::vector<uint8_t> blob(16, 0);
    const std::vector<uint8_t> sections = {4, 0,   254, 0, 14, 0,   2,  0, 0,
                                           0, 200, 65,  0, 0,  200, 65, 7, 7};
    blob.insert(blob.end(), sections.begin(), sections.end());
    blob.resize(blob.size() + 8, 0);
    reframe(blob);
    blob[0] = 4, blob[1] = 7, blob[2] = 4, blob[3] = 1, blob[4] = 61;
    reframe(blob);
    const BlobCheck check = checkBlob(blob, BlobKind::State);
    ASSERT_EQ(check.status, RC_OK) << check.problem;
    EXPECT_EQ(libraryImport(blob, false), RC_OK);
    ASSERT_EQ(check.view.notes.size(), 2u);
    EXPECT_NE(check.view.notes[0].find("hyper section"), std::string::npos);
    EXPECT_NE(check.view.notes[1].find("2 more than its fields"), std::string::npos);
}

// ---- parsing values for `config set` ----

TEST(BlobSchema, ElementTextIsCheckedAgainstTypeAndRange) {
    const SectionLayout& iaq = *findSection(BlobKind::Configuration, std::string_view("iaq"));
    const SectionLayout& status =
        *findSection(BlobKind::Configuration, std::string_view("status_tracker"));
    const FieldLayout& scale = *findField(iaq, "index_scale");       // u16, 1..65535
    const FieldLayout& slope = *findField(iaq, "linear_slope_low");  // f32
    const FieldLayout& gap = *findField(status, "gap_factor");       // i8, 1..127
    struct Case {
        const FieldLayout* field;
        const char* text;
        const char* error;  // nullptr: accepted
    } cases[] = {
        {&scale, "300", nullptr},     {&scale, "65535", nullptr},
        {&scale, "0", "outside"},     {&scale, "65536", "outside"},
        {&scale, "-1", "outside"},    {&scale, "1.5", "whole number"},
        {&scale, "", "whole number"}, {&scale, "99999999999999999999", "outside"},
        {&slope, "-2.5e-3", nullptr}, {&slope, "abc", "not a number"},
        {&slope, "nan", "outside"},   {&slope, "1e39", "outside"},
        {&gap, "127", nullptr},       {&gap, "0", "outside"},
        {&gap, "-3", "outside"},
    };
    for (const auto& c : cases) {
        Scalar value{};
        const std::string error = parseElement(c.text, *c.field, value);
        if (c.error == nullptr) {
            EXPECT_EQ(error, "") << c.field->name << "=" << c.text;
        } else {
            EXPECT_NE(error.find(c.error), std::string::npos)
                << c.field->name << "=" << c.text << ": " << error;
        }
    }
}

// ---- blob files ----

class BlobFileTest : public ScratchDir {};

TEST_F(BlobFileTest, StateFilesAndRawBlobsAreToldApart) {
    const auto blob = exportDefault(false);
    saveBlobFile(path("savedState.dat"), blob, true);
    saveBlobFile(path("raw.bin"), blob, false);
    EXPECT_EQ(testing::readFile(path("savedState.dat")).substr(0, 4), "139\n");

    const BlobFile dat = loadBlobFile(path("savedState.dat"));
    EXPECT_TRUE(dat.stateFileFormat);
    EXPECT_EQ(dat.blob, blob);
    const BlobFile raw = loadBlobFile(path("raw.bin"));
    EXPECT_FALSE(raw.stateFileFormat);
    EXPECT_EQ(raw.blob, blob);
}

TEST_F(BlobFileTest, StateFileLengthLineMustMatchTheBytes) {
    const auto blob = exportDefault(false);
    const std::string bytes(blob.begin(), blob.end());
    testing::writeFile(path("short.dat"), "140\n" + bytes);
    EXPECT_THROW(loadBlobFile(path("short.dat")), ToolError);
    testing::writeFile(path("noline.dat"), "139" + bytes);
    EXPECT_THROW(loadBlobFile(path("noline.dat")), ToolError);
    testing::writeFile(path("long.dat"), "139\n" + bytes + "xx");
    EXPECT_EQ(loadBlobFile(path("long.dat")).notes.size(), 1u);
    testing::writeFile(path("empty.dat"), "0\n");
    EXPECT_TRUE(loadBlobFile(path("empty.dat")).blob.empty());
    EXPECT_THROW(loadBlobFile(path("missing.dat")), ToolError);
}

}  // namespace
}  // namespace vorn::tools
