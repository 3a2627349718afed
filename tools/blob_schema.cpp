// Section layouts of the configuration and state blobs, the frame checker and the
// field codecs used by `vorn state show`, `vorn config show` and `vorn config set`.
// The layouts are expanded from the library's own field lists, and the frame is
// checked and sealed by the library's own framing code, so nothing here can drift.
#include "blob_schema.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <deque>
#include <initializer_list>
#include <limits>
#include <type_traits>
#include <utility>

#include "engine/engine.h"
#include "names.h"
#include "serialization/blob_frame.h"
#include "serialization/codec.h"
#include "serialization/crc.h"
#include "vorn/vorn.h"

namespace vorn::tools {

namespace {

// One row of a field list, before it is placed in its section.
struct ListedField {
    const char* name;
    FieldType type;
    uint16_t count;
    uint16_t width;  // bytes per element
    Unit unit;
    double min;
    double max;
    const char* help;
};

template <typename T>
struct Elements {
    using Type = T;
    static constexpr uint16_t kCount = 1;
};
template <typename T, size_t N>
struct Elements<std::array<T, N>> {
    using Type = typename Elements<T>::Type;
    static constexpr uint16_t kCount = static_cast<uint16_t>(N * Elements<T>::kCount);
};

template <typename T>
constexpr FieldType fieldType() {
    if constexpr (std::is_same_v<T, bool>)
        return FieldType::Bool;
    else if constexpr (std::is_same_v<T, uint8_t>)
        return FieldType::U8;
    else if constexpr (std::is_same_v<T, int8_t>)
        return FieldType::I8;
    else if constexpr (std::is_same_v<T, uint16_t>)
        return FieldType::U16;
    else if constexpr (std::is_same_v<T, int64_t>)
        return FieldType::I64;
    else {
        static_assert(std::is_same_v<T, float>, "a field type the tools cannot show");
        return FieldType::F32;
    }
}

template <typename Member>
constexpr ListedField listed(const char* name, Unit unit, double min, double max,
                             const char* help) {
    using E = Elements<std::remove_cvref_t<Member>>;
    return {
        name, fieldType<typename E::Type>(), E::kCount, sizeof(typename E::Type), unit, min, max,
        help};
}

// Places the fields back to back after the section header. A per-output table
// becomes one field per output, named "<table>.<output>", its elements strided by a
// row of the table.
std::vector<FieldLayout> place(std::initializer_list<ListedField> fields) {
    std::vector<FieldLayout> placed;
    auto offset = static_cast<uint16_t>(kSectionHeaderSize);
    for (const ListedField& f : fields) {
        if (f.unit != Unit::IntervalPerOutput) {
            placed.push_back(
                {f.name, f.type, f.count, offset, f.width, f.min, f.max, f.unit, f.help});
        } else {
            const auto outputs = static_cast<uint16_t>(kOutputs.size());
            for (uint16_t slot = 0; slot < outputs; ++slot) {
                static std::deque<std::string> names;  // stable: the layouts point into it
                names.push_back(fmt::format("{}.{}", f.name, kOutputs[slot].name));
                placed.push_back({names.back().c_str(), f.type,
                                  static_cast<uint16_t>(f.count / outputs),
                                  static_cast<uint16_t>(offset + slot * f.width),
                                  static_cast<uint16_t>(outputs * f.width), f.min, f.max,
                                  Unit::Interval, f.help});
            }
        }
        offset = static_cast<uint16_t>(offset + f.count * f.width);
    }
    return placed;
}

#define VORN_TOOL_FIELD(wire, member, unit, lowest, highest, help) \
    listed<decltype(std::declval<Record&>().member)>(#wire, Unit::unit, lowest, highest, help),
#define VORN_TOOL_LAYOUT(RECORD, LIST)          \
    [] {                                        \
        using Record [[maybe_unused]] = RECORD; \
        return place({LIST(VORN_TOOL_FIELD)});  \
    }()

// Every section owner: its id, name and help, and both field lists.
struct Owner {
    uint8_t id;
    const char* name;
    const char* help;
    std::vector<FieldLayout> configuration;
    std::vector<FieldLayout> state;
};

#define VORN_TOOL_OWNER(RECORD, NAME, HELP, CONFIGURATION, STATE)                    \
    Owner {                                                                          \
        static_cast<uint8_t>(RECORD::kSectionId), NAME, HELP,                        \
            VORN_TOOL_LAYOUT(RECORD, CONFIGURATION), VORN_TOOL_LAYOUT(RECORD, STATE) \
    }

const std::vector<Owner>& owners() {
    static const std::vector<Owner> all = {
        VORN_TOOL_OWNER(GasHumidityBaselineTracker, "baseline_tracker",
                        "gas humidity baseline tracker (channel 1)",
                        VORN_BASELINE_TRACKER_CONFIGURATION, VORN_BASELINE_TRACKER_STATE),
        VORN_TOOL_OWNER(IaqEstimator, "iaq", "IAQ estimator (channel 2)",
                        VORN_IAQ_ESTIMATOR_CONFIGURATION, VORN_IAQ_ESTIMATOR_STATE),
        VORN_TOOL_OWNER(GasHumidityPreProcessor, "pre_processor",
                        "gas humidity pre-processor (channel 3)", VORN_PRE_PROCESSOR_CONFIGURATION,
                        VORN_PRE_PROCESSOR_STATE),
        VORN_TOOL_OWNER(SensorStatusTracker, "status_tracker", "sensor status tracker (channel 5)",
                        VORN_STATUS_TRACKER_CONFIGURATION, VORN_STATUS_TRACKER_STATE),
        VORN_TOOL_OWNER(SensorHeatCompensator, "heat_compensator",
                        "sensor heat compensator (channel 9)", VORN_HEAT_COMPENSATOR_CONFIGURATION,
                        VORN_HEAT_COMPENSATOR_STATE),
        VORN_TOOL_OWNER(HumidityTemperatureCorrector, "humidity_corrector",
                        "humidity temperature corrector (channel 10)",
                        VORN_HUMIDITY_CORRECTOR_CONFIGURATION, VORN_HUMIDITY_CORRECTOR_STATE),
        VORN_TOOL_OWNER(Engine, "hyper", "library-level settings", VORN_HYPER_CONFIGURATION,
                        VORN_NO_FIELDS),
    };
    return all;
}

uint16_t lengthOf(const std::vector<FieldLayout>& fields) {
    uint32_t length = kSectionHeaderSize;
    for (const FieldLayout& f : fields)
        length =
            std::max<uint32_t>(length, f.offset + (f.count - 1u) * f.stride + f.elementBytes());
    return static_cast<uint16_t>(length);
}

std::vector<SectionLayout> sectionsOf(BlobKind kind) {
    std::vector<SectionLayout> sections;
    for (const Owner& o : owners()) {
        const auto& fields = kind == BlobKind::Configuration ? o.configuration : o.state;
        // A state import accepts a hyper section and reads nothing from it.
        const bool hyper = o.id == Engine::kSectionId;
        sections.push_back({o.id, o.name, lengthOf(fields), fields,
                            hyper && kind == BlobKind::State
                                ? "library-level settings: ignored in a state blob"
                                : o.help});
    }
    return sections;
}

// Field images in the library's own byte order, on any host.
template <typename T>
T load(std::span<const uint8_t> bytes, size_t offset) {
    T value{};
    loadLittleEndian(bytes.data() + offset, value);
    return value;
}

template <typename T>
void store(std::span<uint8_t> bytes, size_t offset, T value) {
    storeLittleEndian(bytes.data() + offset, value);
}

std::string knownSectionList(BlobKind kind) {
    std::string list;
    for (const auto& s : sectionLayouts(kind)) {
        list += fmt::format("{}{} {}", list.empty() ? "" : ", ", s.id, s.name);
    }
    return list;
}

BlobCheck fail(BlobCheck check, int32_t status, std::string problem) {
    check.status = status;
    check.problem = std::move(problem);
    return check;
}

// A short section means the library refuses it; hint when the size fits the other kind.
std::string shortSectionProblem(const SectionView& s, BlobKind kind) {
    std::string problem =
        fmt::format("section {} ({}) at offset {} is {} bytes, but its {} fields need {}", s.id,
                    s.layout->name, s.offset, s.length, kindName(kind), s.layout->length);
    const BlobKind other = kind == BlobKind::State ? BlobKind::Configuration : BlobKind::State;
    const SectionLayout* alt = findSection(other, s.id);
    if (alt != nullptr && alt->length == s.length) {
        problem += fmt::format(" ({} bytes is the size of a {} section: is this a {} blob?)",
                               s.length, kindName(other), kindName(other));
    }
    return problem;
}

void noteUnusualSection(BlobView& view, const SectionView& s, BlobKind kind) {
    const BlobKind other = kind == BlobKind::State ? BlobKind::Configuration : BlobKind::State;
    if (kind == BlobKind::State && s.id == Engine::kSectionId) {
        view.notes.push_back(fmt::format(
            "the blob holds a hyper section (offset {}), which only configuration blobs carry; "
            "a state import ignores it: is this a configuration blob?",
            s.offset));
        return;
    }
    if (s.length > s.layout->length) {
        const SectionLayout* alt = findSection(other, s.id);
        std::string hint;
        if (alt != nullptr && alt->length == s.length) {
            hint = fmt::format(": {} bytes is the size of a {} section, is this a {} blob?",
                               s.length, kindName(other), kindName(other));
        }
        view.notes.push_back(fmt::format(
            "section {} ({}) is {} bytes, {} more than its fields; the library ignores the rest{}",
            s.id, s.layout->name, s.length, s.length - s.layout->length, hint));
    }
    for (const auto& earlier : view.sections) {
        if (earlier.id == s.id) {
            view.notes.push_back(
                fmt::format("section {} ({}) occurs twice; the later one (offset {}) wins", s.id,
                            s.layout->name, s.offset));
            break;
        }
    }
}

// What is wrong with a frame the library refuses with `status`.
std::string frameProblem(int32_t status, std::span<const uint8_t> blob, const BlobView& view) {
    const size_t size = blob.size();
    switch (status) {
        case RC_E_BLOB_TOO_SHORT:
            return fmt::format(
                "the blob is {} bytes; even an empty blob has {} ({}-byte header, "
                "{}-byte trailer)",
                size, kBlobMinSize, kBlobHeaderSize, kBlobTrailerSize);
        case RC_E_WORK_BUFFER_SMALL:
            return fmt::format("the blob is {} bytes, more than the {} bytes a blob can be here",
                               size, kToolWorkBytes);
        case RC_E_BLOB_VERSION:
            return fmt::format("version word 0x{:08X} is not 0x{:08X}", view.version,
                               kBlobFormatVersion);
        case RC_E_BLOB_KIND:
            return fmt::format("kind field 0x{:X} is not {}", view.kind, kBlobKind);
        case RC_E_BLOB_LENGTH:
            return fmt::format(
                "the length field says {} payload bytes (a {}-byte blob), but the "
                "blob is {} bytes (truncated or padded?)",
                view.payloadLength, uint64_t{view.payloadLength} + kBlobMinSize, size);
        default: {
            const uint16_t computed = crc16X25(blob.first(size - kBlobTrailerSize));
            if (computed != view.crc) {
                return fmt::format(
                    "CRC mismatch: the blob stores 0x{:04X}, its content gives "
                    "0x{:04X} (the file is damaged)",
                    view.crc, computed);
            }
            return "the last two bytes of the trailer must be zero (the file is damaged)";
        }
    }
}

}  // namespace

std::span<const SectionLayout> sectionLayouts(BlobKind kind) {
    static const std::vector<SectionLayout> configuration = sectionsOf(BlobKind::Configuration);
    static const std::vector<SectionLayout> state = sectionsOf(BlobKind::State);
    return kind == BlobKind::Configuration ? configuration : state;
}

const SectionLayout* findSection(BlobKind kind, uint8_t id) {
    for (const auto& s : sectionLayouts(kind)) {
        if (s.id == id) return &s;
    }
    return nullptr;
}

const SectionLayout* findSection(BlobKind kind, std::string_view name) {
    for (const auto& s : sectionLayouts(kind)) {
        if (name == s.name) return &s;
    }
    return nullptr;
}

const FieldLayout* findField(const SectionLayout& section, std::string_view name) {
    for (const auto& f : section.fields) {
        if (name == f.name) return &f;
    }
    return nullptr;
}

uint16_t FieldLayout::elementBytes() const {
    switch (type) {
        case FieldType::I64:
            return 8;
        case FieldType::F32:
            return 4;
        case FieldType::U16:
            return 2;
        default:
            return 1;
    }
}

const char* kindName(BlobKind kind) {
    return kind == BlobKind::Configuration ? "configuration" : "state";
}

const char* typeName(FieldType type) {
    switch (type) {
        case FieldType::U8:
            return "u8";
        case FieldType::I8:
            return "i8";
        case FieldType::Bool:
            return "bool";
        case FieldType::U16:
            return "u16";
        case FieldType::I64:
            return "i64";
        case FieldType::F32:
            return "f32";
    }
    return "?";
}

const char* unitName(Unit unit) {
    switch (unit) {
        case Unit::None:
            return "";
        case Unit::Seconds:
            return "s";
        case Unit::Nanoseconds:
            return "ns";
        case Unit::Interval:
        case Unit::IntervalPerOutput:
            return "x10 ms";
        case Unit::Celsius:
            return "degC";
        case Unit::Percent:
            return "%";
        case Unit::Hertz:
            return "Hz";
        case Unit::Ms:
            return "ms";
    }
    return "?";
}

uint16_t crc16X25(std::span<const uint8_t> data) {
    return crcCcitt2(data.data(), static_cast<uint32_t>(data.size()));
}

BlobCheck checkBlob(std::span<const uint8_t> blob, BlobKind kind) {
    BlobCheck check;
    const size_t size = blob.size();
    uint32_t first = 0;
    const int32_t frame =
        validateSerialization(blob.data(), static_cast<uint32_t>(size), kToolWorkBytes, first);
    BlobView& view = check.view;
    if (size >= kBlobMinSize) {
        view.version = load<uint32_t>(blob, kBlobVersionOffset);
        view.kind = load<uint64_t>(blob, kBlobKindOffset);
        view.payloadLength = load<uint32_t>(blob, kBlobLengthOffset);
        view.crc = load<uint16_t>(blob, size - kBlobTrailerSize + kBlobCrcOffsetInTrailer);
    }
    if (frame != RC_OK) return fail(std::move(check), frame, frameProblem(frame, blob, view));
    const size_t payloadEnd = size - kBlobTrailerSize;
    size_t position = first;
    while (position < payloadEnd) {
        SectionView s{static_cast<uint32_t>(position), load<uint16_t>(blob, position), 0, nullptr};
        if (s.length > kToolWorkBytes) {
            return fail(
                std::move(check), RC_E_SECTION_TOO_LARGE,
                fmt::format("the section at offset {} states {} bytes, more than the {}-byte "
                            "work buffer",
                            position, s.length, kToolWorkBytes));
        }
        if (position + s.length > payloadEnd) {
            return fail(std::move(check), RC_E_BLOB_LENGTH,
                        fmt::format("the section at offset {} states {} bytes and would run past "
                                    "the payload, which ends at offset {}",
                                    position, s.length, payloadEnd));
        }
        if (s.length < kSectionHeaderSize) {
            return fail(std::move(check), RC_E_SECTION_SHORT,
                        fmt::format("the section at offset {} states {} bytes, shorter than its "
                                    "4-byte header",
                                    position, s.length));
        }
        s.id = blob[position + 2];
        s.layout = findSection(kind, s.id);
        if (s.layout == nullptr) {
            return fail(std::move(check), RC_E_SECTION_UNKNOWN,
                        fmt::format("the section at offset {} has id {}, which names no owner "
                                    "(known: {})",
                                    position, s.id, knownSectionList(kind)));
        }
        if (s.length < s.layout->length) {
            return fail(std::move(check), RC_E_SECTION_SHORT, shortSectionProblem(s, kind));
        }
        noteUnusualSection(view, s, kind);
        view.sections.push_back(s);
        position += s.length;
    }
    return check;
}

Scalar readElement(std::span<const uint8_t> section, const FieldLayout& field, int index) {
    const size_t at = field.offset + static_cast<size_t>(index) * field.stride;
    Scalar value{field.type};
    switch (field.type) {
        case FieldType::U8:
            value.integer = load<uint8_t>(section, at);
            break;
        case FieldType::I8:
            value.integer = load<int8_t>(section, at);
            break;
        case FieldType::Bool:
            value.integer = load<uint8_t>(section, at) != 0 ? 1 : 0;
            break;
        case FieldType::U16:
            value.integer = load<uint16_t>(section, at);
            break;
        case FieldType::I64:
            value.integer = load<int64_t>(section, at);
            break;
        case FieldType::F32:
            value.real = load<float>(section, at);
            break;
    }
    return value;
}

void writeElement(std::span<uint8_t> section, const FieldLayout& field, int index, Scalar value) {
    const size_t at = field.offset + static_cast<size_t>(index) * field.stride;
    switch (field.type) {
        case FieldType::U8:
        case FieldType::Bool:
            store(section, at, static_cast<uint8_t>(value.integer));
            break;
        case FieldType::I8:
            store(section, at, static_cast<int8_t>(value.integer));
            break;
        case FieldType::U16:
            store(section, at, static_cast<uint16_t>(value.integer));
            break;
        case FieldType::I64:
            store(section, at, value.integer);
            break;
        case FieldType::F32:
            store(section, at, value.real);
            break;
    }
}

std::string parseElement(std::string_view text, const FieldLayout& field, Scalar& value) {
    value = Scalar{field.type};
    const char* first = text.data();
    const char* last = first + text.size();
    const std::string range = fmt::format("{:g} .. {:g}", field.min, field.max);
    if (field.type == FieldType::Bool) {
        if (text == "1" || text == "true")
            value.integer = 1;
        else if (text == "0" || text == "false")
            value.integer = 0;
        else
            return fmt::format("'{}' is not a boolean (use true, false, 1 or 0)", text);
        return {};
    }
    if (field.type == FieldType::F32) {
        double parsed = 0;
        auto [ptr, ec] = std::from_chars(first, last, parsed);
        if (ec != std::errc() || ptr != last || text.empty()) {
            return fmt::format("'{}' is not a number", text);
        }
        if (!std::isfinite(parsed) || parsed < field.min || parsed > field.max) {
            return fmt::format("{} is outside the range {} of this f32 field", text, range);
        }
        value.real = static_cast<float>(parsed);
        return {};
    }
    int64_t parsed = 0;
    auto [ptr, ec] = std::from_chars(first, last, parsed);
    if (ec == std::errc::result_out_of_range) {
        return fmt::format("{} is outside the range {} of this {} field", text, range,
                           typeName(field.type));
    }
    if (ec != std::errc() || ptr != last || text.empty()) {
        return fmt::format("'{}' is not a whole number, as this {} field needs", text,
                           typeName(field.type));
    }
    if (static_cast<double>(parsed) < field.min || static_cast<double>(parsed) > field.max) {
        return fmt::format("{} is outside the range {} of this {} field", text, range,
                           typeName(field.type));
    }
    value.integer = parsed;
    return {};
}

std::string formatScalar(Scalar value) {
    switch (value.type) {
        case FieldType::Bool:
            return value.integer != 0 ? "true" : "false";
        case FieldType::F32:
            return fmt::format("{}", value.real);
        default:
            return fmt::format("{}", value.integer);
    }
}

void reframe(std::span<uint8_t> blob) {
    auto size = static_cast<uint32_t>(blob.size() - kBlobTrailerSize);
    const int32_t status =
        frameSerializedData(blob.data(), static_cast<uint32_t>(blob.size()), size);
    if (status != RC_OK) throw std::logic_error("reframe: not a framed blob");
}

}  // namespace vorn::tools
