// The byte layout of the library's configuration and state blobs as the tools show
// and edit it: every section with its named fields (expanded from the library's field
// lists), a frame checker that explains the library's import verdict, field
// read/write, and re-framing with a fresh CRC-16/X-25 after an edit.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::tools {

enum class BlobKind { Configuration, State };

enum class FieldType : uint8_t { U8, I8, Bool, U16, I64, F32 };

// What a number stands for, so that the text view can add a readable gloss.
// IntervalPerOutput marks a table with one column per output in a field list; the
// tools show it as one Interval field per output.
enum class Unit : uint8_t {
    None,
    Seconds,
    Nanoseconds,
    Interval,
    Celsius,
    Percent,
    Hertz,
    Ms,
    IntervalPerOutput
};

struct FieldLayout {
    const char* name;  // snake_case, unique within its section
    FieldType type;
    uint16_t count;   // number of elements
    uint16_t offset;  // byte offset of element 0 in the section, header included
    uint16_t stride;  // bytes from one element to the next
    double min;       // accepted range of every element for an edit
    double max;
    Unit unit;
    const char* help;

    uint16_t elementBytes() const;
};

struct SectionLayout {
    uint8_t id;
    const char* name;
    uint16_t length;  // the exact length the library writes, header included
    std::vector<FieldLayout> fields;
    const char* help;
};
// Work buffer the tools hand to the library's blob operations; also the largest
// section and blob the tools accept.
inline constexpr uint32_t kToolWorkBytes = 4096;

std::span<const SectionLayout> sectionLayouts(BlobKind kind);
const SectionLayout* findSection(BlobKind kind, uint8_t id);
const SectionLayout* findSection(BlobKind kind, std::string_view name);
const FieldLayout* findField(const SectionLayout& section, std::string_view name);
const char* kindName(BlobKind kind);  // "configuration" / "state"
const char* typeName(FieldType type);
// The unit as `config names` shows it ("s", "x10 ms", "degC"); "" for a plain number.
const char* unitName(Unit unit);

// CRC-16/X-25 (reflected 0x1021, initial 0xFFFF, final complement); check value
// 0x906E over "123456789".
uint16_t crc16X25(std::span<const uint8_t> data);

struct SectionView {
    uint32_t offset;  // of the section in the blob
    uint16_t length;  // as stated in its header
    uint8_t id;
    const SectionLayout* layout;  // never null once the blob has been accepted
};

struct BlobView {
    uint32_t version = 0;
    uint64_t kind = 0;
    uint32_t payloadLength = 0;
    uint16_t crc = 0;
    std::vector<SectionView> sections;
    std::vector<std::string> notes;  // remarks that do not make the library refuse the blob
};

struct BlobCheck {
    int32_t status = 0;   // RC_OK, or the code the library gives for the first problem
    std::string problem;  // what is wrong, naming the field or section
    BlobView view;
};

// Checks the frame (size, version, kind, length, CRC and trailing zeros, in that
// order) and walks the sections as an import of the given kind would, stopping at
// the first problem. Sections longer than their fields are accepted with a note, as
// the library reads its fields and ignores the rest.
BlobCheck checkBlob(std::span<const uint8_t> blob, BlobKind kind);

// One element of a field, in the widest form of its type.
struct Scalar {
    FieldType type;
    int64_t integer = 0;  // U8, I8, Bool, U16, I64
    float real = 0.0f;    // F32
};

Scalar readElement(std::span<const uint8_t> section, const FieldLayout& field, int index);
void writeElement(std::span<uint8_t> section, const FieldLayout& field, int index, Scalar value);

// Parses user text for one element of the field. Integers must be whole decimal
// numbers, floats finite; both must lie in the field's range. Returns an empty
// string on success, else the reason.
std::string parseElement(std::string_view text, const FieldLayout& field, Scalar& value);

// Shortest text that reads back to the same value ("0.02", "65535", "true").
std::string formatScalar(Scalar value);

// Recomputes the length field and the CRC of a blob whose payload was edited in place.
void reframe(std::span<uint8_t> blob);

}  // namespace vorn::tools
