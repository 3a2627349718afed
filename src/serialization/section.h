// Blob sections: the 4-byte header (u16 length, u8 owner id, one reserved byte) and
// the generic writing and reading of a record's sections from its field lists. A
// record describes each section once, as a list of its fields in wire order; byte
// counts follow from the list, and readers refuse a section shorter than its fields
// before storing anything, so a damaged blob never half-updates a record.
#pragma once

#include <cstdint>

#include "serialization/codec.h"
#include "vorn/vorn.h"

namespace vorn {

inline constexpr uint32_t kSectionHeaderSize = 4;

enum class SectionKind : uint8_t { kConfiguration, kState };

// A field list is an X-macro: LIST(X) expands X(wire_name, member, unit, lowest,
// highest, help) once per field, in wire order. The library expands only the member;
// the tools expand every column, so names, units, ranges and help never reach the
// library's object code. A record names its section id and its two lists with
// VORN_SECTION_FIELDS, which declares kSectionId and visitFields(self, kind, visit):
// visit(field) for every field of the configuration or state section. Each field
// travels as the byte image of the member (arrays back to back); a bool travels as one
// byte, and any non-zero byte reads as true.
#define VORN_VISIT_FIELD(wire, member, ...) visit(self.member);
#define VORN_NO_FIELDS(X)
#define VORN_SECTION_FIELDS(ID, CONFIGURATION, STATE)                              \
    static constexpr uint32_t kSectionId = ID;                                     \
    template <typename Self, typename Visit>                                       \
    static void visitFields(Self& self, ::vorn::SectionKind kind, Visit&& visit) { \
        if (kind == ::vorn::SectionKind::kConfiguration) {                         \
            CONFIGURATION(VORN_VISIT_FIELD)                                        \
        } else {                                                                   \
            STATE(VORN_VISIT_FIELD)                                                \
        }                                                                          \
    }

// Check a section header. RC_E_SECTION_SHORT when length < 4 (no byte read);
// RC_E_SECTION_UNKNOWN when byte 2 is not the low byte of expectedId; else RC_OK.
// The length stated in the header is informational: the length passed in counts.
[[nodiscard]] int32_t checkSectionHeader(uint32_t expectedId, const uint8_t* section,
                                         uint32_t length);

// Writes one section into a work buffer: add the fields in order, then finish().
// finish() stores the length at bytes 0-1 and returns it, or capacity + 1 when a
// field did not fit. Header bytes are only written where the buffer has them.
class SectionWriter {
public:
    SectionWriter(uint32_t id, uint8_t* buffer, uint32_t capacity);

    template <Field T>
    SectionWriter& add(const T& field) {
        serializeAndAdd(field, buffer_, capacity_, position_);
        return *this;
    }

    uint32_t finish();

private:
    uint8_t* buffer_;
    uint32_t capacity_;
    uint32_t position_;
};

// Reads one section back. open() checks the header against the owner's id and that
// the section holds fieldBytes after the header; on failure it returns the status
// (RC_E_SECTION_SHORT or RC_E_SECTION_UNKNOWN) and the caller must change nothing.
class SectionReader {
public:
    [[nodiscard]] int32_t open(uint32_t id, const uint8_t* section, uint32_t length,
                               uint32_t fieldBytes);

    template <Field T>
    SectionReader& read(T& field) {
        if constexpr (std::is_same_v<T, bool>) {
            field = section_[position_++] != 0;
        } else {
            parseAndDeserialize(section_, position_, field);
        }
        return *this;
    }

private:
    const uint8_t* section_ = nullptr;
    uint32_t position_ = 0;
};

// Bytes of a record's section after the header, from its field list.
template <typename Record>
constexpr uint32_t sectionFieldBytes(const Record& record, SectionKind kind) {
    uint32_t bytes = 0;
    Record::visitFields(record, kind, [&bytes](const auto& field) { bytes += sizeof(field); });
    return bytes;
}

// Write a record's configuration or state section; returns its length as
// SectionWriter::finish() does.
template <typename Record>
uint32_t exportSection(const Record& record, SectionKind kind, uint8_t* buffer, uint32_t capacity) {
    SectionWriter writer(Record::kSectionId, buffer, capacity);
    Record::visitFields(record, kind, [&writer](const auto& field) { writer.add(field); });
    return writer.finish();
}

// Read a record's configuration or state section: RC_OK, or RC_E_SECTION_SHORT /
// RC_E_SECTION_UNKNOWN with the record unchanged. A record that derives values from
// its fields does so in afterImport(kind), called after every good read.
template <typename Record>
[[nodiscard]] int32_t importSection(Record& record, SectionKind kind, const uint8_t* section,
                                    uint32_t length) {
    SectionReader reader;
    const int32_t status =
        reader.open(Record::kSectionId, section, length, sectionFieldBytes(record, kind));
    if (status != RC_OK) return status;
    Record::visitFields(record, kind, [&reader](auto& field) { reader.read(field); });
    if constexpr (requires { record.afterImport(kind); }) record.afterImport(kind);
    return RC_OK;
}

}  // namespace vorn
