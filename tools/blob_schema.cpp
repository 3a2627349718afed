// Section tables of the configuration and state blobs, the frame checker and the
// field codecs used by `vorn state show`, `vorn config show` and `vorn config set`.
#include "blob_schema.h"

#include <fmt/format.h>

#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

#include "vorn/vorn.h"

namespace vorn::tools {

namespace {

constexpr uint32_t kBlobVersion = 0x01040704u;  // 1.4.7.4
constexpr uint32_t kBlobVersionAny = 0xFFFFFFFFu;
constexpr uint64_t kBlobKind = 61;
constexpr uint64_t kBlobKindAny = 0x00000000FFFFFFFFull;
constexpr uint32_t kLengthFieldOffset = 12;
constexpr uint32_t kCrcOffsetInTrailer = 4;  // after four reserved bytes
constexpr uint32_t kZeroOffsetInTrailer = 6;

constexpr double kF32Max = 3.4028234663852886e38;
constexpr double kTiny = 1e-30;  // "strictly positive" for floats that are divided by or logged

// Shorthands keep the tables one line per field.
constexpr FieldLayout f32(const char* name, uint16_t offset, uint16_t count, Unit unit,
                          const char* help, double min = -kF32Max, double max = kF32Max) {
    return {name, FieldType::F32, count, offset, 4, min, max, unit, help};
}
constexpr FieldLayout u16(const char* name, uint16_t offset, uint16_t count, Unit unit,
                          const char* help, double min = 0, double max = 65535) {
    return {name, FieldType::U16, count, offset, 2, min, max, unit, help};
}
constexpr FieldLayout u8(const char* name, uint16_t offset, uint16_t count, Unit unit,
                         const char* help, double min = 0, double max = 255) {
    return {name, FieldType::U8, count, offset, 1, min, max, unit, help};
}
constexpr FieldLayout i8(const char* name, uint16_t offset, Unit unit, const char* help,
                         double min = -128, double max = 127) {
    return {name, FieldType::I8, 1, offset, 1, min, max, unit, help};
}
constexpr FieldLayout i64(const char* name, uint16_t offset, Unit unit, const char* help) {
    return {name, FieldType::I64, 1, offset, 8, -9.2e18, 9.2e18, unit, help};
}
constexpr FieldLayout flag(const char* name, uint16_t offset, const char* help) {
    return {name, FieldType::Bool, 1, offset, 1, 0, 1, Unit::None, help};
}

// ---- configuration sections ----

constexpr std::array kBaselineConfig = {
    f32("decay_time_constant", 4, 2, Unit::Seconds, "relaxation time constant of track 1 and 2",
        kTiny),
    f32("rise_time", 12, 1, Unit::Seconds, "time for a bound to rise by its full step", kTiny),
    f32("humidity_slope", 16, 4, Unit::None,
        "humidity compensation slope: other intervals, 1800, 300, 100"),
    u16("hold_off_target", 32, 2, Unit::Seconds, "hold-off an event of kind 1 / 2 moves toward"),
    i8("temperature_min", 36, Unit::Celsius, "lowest temperature at which tracking runs"),
    i8("temperature_max", 37, Unit::Celsius, "highest temperature at which tracking runs"),
    u8("humidity_min", 38, 1, Unit::Percent, "lowest humidity at which tracking runs", 0, 100),
    u8("humidity_max", 39, 1, Unit::Percent, "highest humidity at which tracking runs", 0, 100),
    f32("hold_off_exponent", 40, 2, Unit::None, "exponent of an event of kind 1 / 2"),
};

constexpr std::array kIaqConfig = {
    u8("index_lower_limit", 4, 1, Unit::None, "lower bound of both indices"),
    u16("index_upper_limit", 5, 1, Unit::None, "upper bound of the IAQ index"),
    u16("index_scale", 7, 1, Unit::None, "index span from the upper to the lower bound", 1),
    u8("index_offset", 9, 1, Unit::None, "index value at the upper bound"),
    f32("linear_slope_low", 10, 1, Unit::None, "linear estimate slope up to the knee"),
    f32("linear_slope_high", 14, 1, Unit::None, "linear estimate slope above the knee"),
    u16("linear_base", 18, 1, Unit::None, "base and floor of the linear estimate"),
    f32("exp_value_high", 20, 1, Unit::None, "exponential estimate at offset + scale", kTiny),
    f32("exp_value_low", 24, 1, Unit::None, "exponential estimate at the offset", kTiny),
};

constexpr std::array kPreProcessorConfig = {
    f32("bandwidth", 4, 3, Unit::Hertz, "smoothing bandwidth of log gas, temperature, humidity", 0),
};

constexpr std::array kStatusTrackerConfig = {
    f32("accumulated_time_required", 4, 1, Unit::Nanoseconds,
        "operating time that sets the accumulated-time flag", 0),
    i8("gap_factor", 8, Unit::None, "sample intervals (x1.5) that still count as continuous", 1),
};

constexpr std::array kHeatCompensatorConfig = {
    f32("coeff_a", 4, 5, Unit::None, "heating term numerator slope, by interval class"),
    f32("coeff_c", 24, 5, Unit::None, "heating term numerator constant, by interval class"),
    f32("coeff_b", 44, 5, Unit::None, "heating term denominator slope, by interval class"),
    f32("coeff_d", 64, 5, Unit::None, "heating term denominator constant, by interval class"),
    f32("fixed_compensation", 84, 1, Unit::Celsius, "heating term at gas interval 1800"),
};

constexpr std::array kHumidityCorrectorConfig = {
    f32("humidity_poly", 4, 2, Unit::None, "humidity correction p0 * h + p1, added to h"),
};

// The hyper section keeps its per-output tables as [alternative][output slot]; the
// tools address them per output, each a strided field.
constexpr uint16_t kHyperAllowedOffset = 31;
constexpr uint16_t kHyperDefaultOffset = 199;
constexpr uint16_t kOutputSlots = 14;
constexpr uint16_t kAllowedStride = kOutputSlots * 2;

constexpr FieldLayout allowed(const char* name, uint16_t slot) {
    return {name,
            FieldType::U16,
            6,
            static_cast<uint16_t>(kHyperAllowedOffset + 2 * slot),
            kAllowedStride,
            1,
            65535,
            Unit::Interval,
            "allowed sample intervals of this output (65535: empty)"};
}
constexpr FieldLayout defaultInterval(const char* name, uint16_t slot) {
    return u16(name, static_cast<uint16_t>(kHyperDefaultOffset + 2 * slot), 1, Unit::Interval,
               "interval requested whenever a configuration is applied (65535: off)", 1);
}

constexpr std::array kHyperConfig = {
    u8("temperature_oversampling", 4, 1, Unit::None, "temperature oversampling setting"),
    u8("humidity_oversampling", 5, 1, Unit::None, "humidity oversampling setting"),
    u8("pressure_oversampling", 6, 1, Unit::None, "pressure oversampling setting"),
    u16("gas_intervals", 7, 4, Unit::Interval, "gas sample intervals with a heater profile", 1),
    u16("heater_duration_ms", 15, 4, Unit::Ms, "heater on-time for each gas interval"),
    u16("heater_temperature_c", 23, 4, Unit::Celsius, "heater temperature for each gas interval"),
    allowed("allowed_intervals.iaq_index", 0),
    allowed("allowed_intervals.iaq_fixed_scale", 1),
    allowed("allowed_intervals.linear_estimate", 2),
    allowed("allowed_intervals.exponential_estimate", 3),
    allowed("allowed_intervals.raw_temperature", 4),
    allowed("allowed_intervals.raw_pressure", 5),
    allowed("allowed_intervals.raw_humidity", 6),
    allowed("allowed_intervals.raw_gas", 7),
    allowed("allowed_intervals.accumulated_time_flag", 8),
    allowed("allowed_intervals.continuous_time_flag", 9),
    allowed("allowed_intervals.compensated_temperature", 10),
    allowed("allowed_intervals.compensated_humidity", 11),
    allowed("allowed_intervals.compensated_log_gas", 12),
    allowed("allowed_intervals.gas_scale_percent", 13),
    defaultInterval("default_interval.iaq_index", 0),
    defaultInterval("default_interval.iaq_fixed_scale", 1),
    defaultInterval("default_interval.linear_estimate", 2),
    defaultInterval("default_interval.exponential_estimate", 3),
    defaultInterval("default_interval.raw_temperature", 4),
    defaultInterval("default_interval.raw_pressure", 5),
    defaultInterval("default_interval.raw_humidity", 6),
    defaultInterval("default_interval.raw_gas", 7),
    defaultInterval("default_interval.accumulated_time_flag", 8),
    defaultInterval("default_interval.continuous_time_flag", 9),
    defaultInterval("default_interval.compensated_temperature", 10),
    defaultInterval("default_interval.compensated_humidity", 11),
    defaultInterval("default_interval.compensated_log_gas", 12),
    defaultInterval("default_interval.gas_scale_percent", 13),
    u16("base_interval", 227, 1, Unit::Interval, "longest interval between sensor-control calls",
        1),
};

// ---- state sections ----

constexpr std::array kBaselineState = {
    f32("robust_max", 4, 2, Unit::None, "learnt upper bound of compensated log gas, track 1 / 2"),
    f32("robust_min", 12, 2, Unit::None, "learnt lower bound, track 1 / 2 (0: not seeded)"),
    u16("reserved1", 20, 1, Unit::None, "carried, unused"),
    u16("reserved2", 22, 1, Unit::None, "carried, unused"),
    u16("sample_interval", 24, 1, Unit::Interval, "interval the derived values belong to"),
    u8("in_band_count", 26, 2, Unit::None, "consecutive in-band steps, track 1 / 2"),
    f32("track_status", 28, 2, Unit::None, "status 0..3 of track 1 / 2"),
    u16("hold_off_remaining", 36, 1, Unit::Seconds, "hold-off left before tracking resumes"),
    u16("step_seconds", 38, 1, Unit::Seconds, "sample interval in whole seconds"),
    f32("range_scale", 40, 1, Unit::None, "scale of band widths and rise steps"),
    u8("in_band_threshold", 44, 1, Unit::None, "in-band steps needed for status 3"),
};

constexpr std::array kIaqState = {
    f32("held_index", 4, 1, Unit::None, "IAQ index held from the last step with full progress"),
    f32("held_fixed_scale_index", 8, 1, Unit::None, "fixed-scale index held likewise"),
};

constexpr std::array kPreProcessorState = {
    f32("filter_state", 4, 3, Unit::None, "smoothed log10 gas, temperature, humidity"),
};

constexpr std::array kStatusTrackerState = {
    i64("last_timestamp", 4, Unit::Nanoseconds, "time stamp of the previous gas step"),
    f32("accumulated_time", 12, 1, Unit::Nanoseconds, "operating time counted"),
    f32("continuous_time", 16, 1, Unit::Nanoseconds, "uninterrupted operating time counted"),
    flag("accumulated_time_reached", 20, "accumulated-time flag"),
    flag("continuous_time_reached", 21, "continuous-time flag"),
};

constexpr std::array kHeatCompensatorState = {
    i64("prev_gas_timestamp", 4, Unit::Nanoseconds, "last gas step seen (2^63-1: none)"),
};

constexpr std::array kHumidityCorrectorState = {
    f32("temperature_filter_state", 4, 1, Unit::Celsius, "smoothed chip temperature (0: unseeded)"),
};

constexpr const char* kBaselineHelp = "gas humidity baseline tracker (channel 1)";
constexpr const char* kIaqHelp = "IAQ estimator (channel 2)";
constexpr const char* kPreHelp = "gas humidity pre-processor (channel 3)";
constexpr const char* kStatusHelp = "sensor status tracker (channel 5)";
constexpr const char* kHeatHelp = "sensor heat compensator (channel 9)";
constexpr const char* kHumHelp = "humidity temperature corrector (channel 10)";
constexpr const char* kHyperHelp = "library-level settings";

const std::array<SectionLayout, 7> kConfigSections = {{
    {1, "baseline_tracker", 48, kBaselineConfig, kBaselineHelp},
    {2, "iaq", 28, kIaqConfig, kIaqHelp},
    {3, "pre_processor", 16, kPreProcessorConfig, kPreHelp},
    {5, "status_tracker", 9, kStatusTrackerConfig, kStatusHelp},
    {9, "heat_compensator", 88, kHeatCompensatorConfig, kHeatHelp},
    {10, "humidity_corrector", 12, kHumidityCorrectorConfig, kHumHelp},
    {kHyperSectionId, "hyper", 229, kHyperConfig, kHyperHelp},
}};

// A state import accepts a hyper section and reads nothing from it.
const std::array<SectionLayout, 7> kStateSections = {{
    {1, "baseline_tracker", 45, kBaselineState, kBaselineHelp},
    {2, "iaq", 12, kIaqState, kIaqHelp},
    {3, "pre_processor", 16, kPreProcessorState, kPreHelp},
    {5, "status_tracker", 22, kStatusTrackerState, kStatusHelp},
    {9, "heat_compensator", 12, kHeatCompensatorState, kHeatHelp},
    {10, "humidity_corrector", 8, kHumidityCorrectorState, kHumHelp},
    {kHyperSectionId, "hyper", 4, {}, "library-level settings: ignored in a state blob"},
}};

template <typename T>
T load(std::span<const uint8_t> bytes, size_t offset) {
    T value{};
    std::memcpy(&value, bytes.data() + offset, sizeof(T));  // little-endian host assumed
    return value;
}

template <typename T>
void store(std::span<uint8_t> bytes, size_t offset, T value) {
    std::memcpy(bytes.data() + offset, &value, sizeof(T));
}

constexpr std::array<uint16_t, 256> makeCrcTable() {
    constexpr uint16_t kReflectedPoly = 0x8408;  // 0x1021 bit-reversed
    std::array<uint16_t, 256> table{};
    for (uint32_t byte = 0; byte < 256; ++byte) {
        uint32_t crc = byte;
        for (int bit = 0; bit < 8; ++bit) crc = (crc & 1u) ? (crc >> 1) ^ kReflectedPoly : crc >> 1;
        table[byte] = static_cast<uint16_t>(crc);
    }
    return table;
}
constexpr auto kCrcTable = makeCrcTable();

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
    if (kind == BlobKind::State && s.id == kHyperSectionId) {
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

}  // namespace

std::span<const SectionLayout> sectionLayouts(BlobKind kind) {
    return kind == BlobKind::Configuration ? std::span<const SectionLayout>(kConfigSections)
                                           : std::span<const SectionLayout>(kStateSections);
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

uint16_t crc16X25(std::span<const uint8_t> data) {
    uint16_t crc = 0xFFFF;
    for (const uint8_t byte : data) {
        crc = static_cast<uint16_t>(kCrcTable[(crc ^ byte) & 0xFFu] ^ (crc >> 8));
    }
    return static_cast<uint16_t>(crc ^ 0xFFFF);
}

BlobCheck checkBlob(std::span<const uint8_t> blob, BlobKind kind) {
    BlobCheck check;
    const size_t size = blob.size();
    if (size < kBlobMinBytes) {
        return fail(std::move(check), RC_E_BLOB_TOO_SHORT,
                    fmt::format("the blob is {} bytes; even an empty blob has {} (16-byte header, "
                                "8-byte trailer)",
                                size, kBlobMinBytes));
    }
    if (size > kToolWorkBytes) {
        return fail(std::move(check), RC_E_WORK_BUFFER_SMALL,
                    fmt::format("the blob is {} bytes, more than the {} bytes a blob can be here",
                                size, kToolWorkBytes));
    }
    BlobView& view = check.view;
    view.version = load<uint32_t>(blob, 0);
    view.kind = load<uint64_t>(blob, 4);
    view.payloadLength = load<uint32_t>(blob, kLengthFieldOffset);
    if (view.version != kBlobVersion && view.version != kBlobVersionAny) {
        return fail(std::move(check), RC_E_BLOB_VERSION,
                    fmt::format("version word 0x{:08X} is not 0x{:08X} (library 1.4.7.4)",
                                view.version, kBlobVersion));
    }
    if (view.kind != kBlobKind && view.kind != kBlobKindAny) {
        return fail(std::move(check), RC_E_BLOB_KIND,
                    fmt::format("kind field 0x{:X} is not {}", view.kind, kBlobKind));
    }
    if (static_cast<uint32_t>(view.payloadLength + kBlobMinBytes) != size) {
        return fail(
            std::move(check), RC_E_BLOB_LENGTH,
            fmt::format("the length field says {} payload bytes (a {}-byte blob), but the "
                        "blob is {} bytes (truncated or padded?)",
                        view.payloadLength, uint64_t{view.payloadLength} + kBlobMinBytes, size));
    }
    const size_t payloadEnd = size - kBlobTrailerBytes;
    view.crc = load<uint16_t>(blob, payloadEnd + kCrcOffsetInTrailer);
    const uint16_t computed = crc16X25(blob.first(payloadEnd));
    if (computed != view.crc) {
        return fail(
            std::move(check), RC_E_BLOB_CRC,
            fmt::format("CRC mismatch: the blob stores 0x{:04X}, its content gives 0x{:04X} "
                        "(the file is damaged)",
                        view.crc, computed));
    }
    if (load<uint16_t>(blob, payloadEnd + kZeroOffsetInTrailer) != 0) {
        return fail(std::move(check), RC_E_BLOB_CRC,
                    "the last two bytes of the trailer must be zero (the file is damaged)");
    }
    size_t position = kBlobHeaderBytes;
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
        if (s.length < kSectionHeaderBytes) {
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
    const auto payload = static_cast<uint32_t>(blob.size() - kBlobMinBytes);
    store(blob, kLengthFieldOffset, payload);
    const size_t payloadEnd = blob.size() - kBlobTrailerBytes;
    store(blob, payloadEnd + kCrcOffsetInTrailer, crc16X25(blob.first(payloadEnd)));
    store(blob, payloadEnd + kZeroOffsetInTrailer, uint16_t{0});
}

}  // namespace vorn::tools
