// Decoding, exporting and editing configuration and state blobs for the command line.
#include "blob_commands.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string_view>
#include <utility>
#include <vector>

#include "blob_file.h"
#include "names.h"
#include "tool_error.h"
#include "vorn/vorn.h"

namespace vorn::tools {

namespace {

constexpr double kNsPerSecond = 1e9;
constexpr int kIntervalUnitsPerSecond = 100;  // intervals count 10 ms units
constexpr uint16_t kIntervalOff = 65535;

// Imports the blob into a freshly built library; returns the library's status.
int32_t libraryImport(BlobKind kind, std::span<const uint8_t> blob) {
    vorn_init();
    std::vector<uint8_t> work(kToolWorkBytes);
    const auto size = static_cast<uint32_t>(blob.size());
    return kind == BlobKind::Configuration
               ? vorn_set_configuration(blob.data(), size, work.data(), kToolWorkBytes)
               : vorn_set_state(blob.data(), size, work.data(), kToolWorkBytes);
}

std::string seconds(double s) {
    if (std::fabs(s) >= 86400) return fmt::format("{:.2f} d", s / 86400);
    if (std::fabs(s) >= 3600) return fmt::format("{:.2f} h", s / 3600);
    return fmt::format("{:g} s", s);
}

// A readable gloss for values whose unit hides their meaning.
std::string gloss(const FieldLayout& field, Scalar v) {
    if (field.unit == Unit::Interval) {
        if (v.integer == kIntervalOff) return "off";
        if (v.integer == 0) return "";
        return seconds(static_cast<double>(v.integer) / kIntervalUnitsPerSecond);
    }
    if (field.unit == Unit::Nanoseconds) {
        if (v.type == FieldType::I64 && v.integer == std::numeric_limits<int64_t>::max()) {
            return "none";
        }
        const double ns = v.type == FieldType::F32 ? v.real : static_cast<double>(v.integer);
        return ns == 0 ? "" : seconds(ns / kNsPerSecond);
    }
    return "";
}

std::string fieldText(std::span<const uint8_t> section, const FieldLayout& field) {
    std::string text;
    for (int i = 0; i < field.count; ++i) {
        const Scalar v = readElement(section, field, i);
        const std::string g = gloss(field, v);
        text += fmt::format("{}{}{}", i == 0 ? "" : ", ", formatScalar(v),
                            g.empty() ? "" : " (" + g + ")");
    }
    return text;
}

const char* trackStatusMeaning(float status) {
    switch (static_cast<int>(status)) {
        case 0:
            return "not grading: a status flag is missing";
        case 1:
            return "band too narrow or not seeded";
        case 2:
            return "learning: outside the band or not long enough inside";
        case 3:
            return "calibrated";
        default:
            return "unknown";
    }
}

// One line per track: the learnt band and what its status means.
void describeBaselineState(std::span<const uint8_t> s, const SectionLayout& layout, FILE* out) {
    const FieldLayout& maxF = *findField(layout, "robust_max");
    const FieldLayout& minF = *findField(layout, "robust_min");
    const FieldLayout& statusF = *findField(layout, "track_status");
    for (int k = 0; k < 2; ++k) {
        const float hi = readElement(s, maxF, k).real;
        const float lo = readElement(s, minF, k).real;
        const float status = readElement(s, statusF, k).real;
        std::string band;
        if (hi == 0.0f) {
            band = "not seeded";
        } else if (lo == 0.0f) {
            band = fmt::format("upper bound {:.4f}, lower bound not seeded", hi);
        } else {
            band = fmt::format("{:.4f} .. {:.4f} (resistance ratio {:.2f})", lo, hi,
                               std::pow(10.0, static_cast<double>(hi - lo)));
        }
        fmt::print(out, "  => track {} ({}): band {}; status {} = {}\n", k + 1,
                   k == 0 ? "fast, 1 day" : "slow, 750 days", band, status,
                   trackStatusMeaning(status));
    }
}

void describeStatusTrackerState(std::span<const uint8_t> s, const SectionLayout& layout,
                                FILE* out) {
    const float acc = readElement(s, *findField(layout, "accumulated_time"), 0).real;
    const float cont = readElement(s, *findField(layout, "continuous_time"), 0).real;
    const bool accFlag = readElement(s, *findField(layout, "accumulated_time_reached"), 0).integer;
    const bool contFlag = readElement(s, *findField(layout, "continuous_time_reached"), 0).integer;
    // Each clock stops counting once its flag is set.
    fmt::print(out,
               "  => accumulated time: {} counted, flag {}; continuous time: {} without "
               "interruption, flag {}\n",
               seconds(acc / kNsPerSecond), accFlag ? "set" : "not set",
               seconds(cont / kNsPerSecond), contFlag ? "set" : "not set");
}

void printTextSection(std::span<const uint8_t> blob, const SectionView& sv, BlobKind kind,
                      FILE* out) {
    const SectionLayout& layout = *sv.layout;
    const auto section = blob.subspan(sv.offset, sv.length);
    fmt::print(out, "\n[{}] section {}, {} bytes at offset {}: {}\n", layout.name, sv.id, sv.length,
               sv.offset, layout.help);
    size_t width = 0;
    for (const auto& f : layout.fields) width = std::max(width, std::string_view(f.name).size());
    for (const auto& f : layout.fields) {
        fmt::print(out, "  {:<{}}  {}\n", f.name, width, fieldText(section, f));
    }
    if (kind == BlobKind::State && sv.id == 1) describeBaselineState(section, layout, out);
    if (kind == BlobKind::State && sv.id == 5) describeStatusTrackerState(section, layout, out);
}

std::string jsonString(std::string_view text) {
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            quoted += '\\';
            quoted += c;
        } else if (static_cast<unsigned char>(c) < 0x20) {
            quoted += fmt::format("\\u{:04x}", static_cast<unsigned>(c));
        } else {
            quoted += c;
        }
    }
    return quoted + "\"";
}

std::string jsonScalar(Scalar v) {
    if (v.type == FieldType::F32) return std::isfinite(v.real) ? fmt::format("{}", v.real) : "null";
    return formatScalar(v);
}

std::string jsonField(std::span<const uint8_t> section, const FieldLayout& f) {
    if (f.count == 1) return jsonScalar(readElement(section, f, 0));
    std::string list = "[";
    for (int i = 0; i < f.count; ++i) {
        list += (i == 0 ? "" : ", ") + jsonScalar(readElement(section, f, i));
    }
    return list + "]";
}

std::string jsonStringList(const std::vector<std::string>& items) {
    std::string list = "[";
    for (size_t i = 0; i < items.size(); ++i) list += (i == 0 ? "" : ", ") + jsonString(items[i]);
    return list + "]";
}

void printJson(const ShowOptions& o, const BlobFile& file, const BlobCheck& check, int32_t library,
               const std::vector<std::string>& notes, FILE* out) {
    const BlobView& v = check.view;
    const bool valid = check.status == RC_OK && library == RC_OK;
    fmt::print(out, "{{\n  \"file\": {},\n  \"format\": \"{}\",\n  \"kind\": \"{}\",\n",
               jsonString(o.path), file.stateFileFormat ? "state-file" : "raw", kindName(o.kind));
    fmt::print(out, "  \"size\": {},\n  \"valid\": {},\n", file.blob.size(), valid);
    fmt::print(out, "  \"library_status\": {},\n  \"library_status_name\": \"{}\",\n", library,
               statusName(library));
    if (check.status != RC_OK) {
        fmt::print(out, "  \"error\": {{\"status\": {}, \"name\": \"{}\", \"message\": {}}},\n",
                   check.status, statusName(check.status), jsonString(check.problem));
    }
    fmt::print(out, "  \"notes\": {},\n", jsonStringList(notes));
    fmt::print(out,
               "  \"frame\": {{\"version_word\": \"0x{:08X}\", \"kind\": {}, \"payload_length\": "
               "{}, \"crc\": \"0x{:04X}\"}},\n",
               v.version, v.kind, v.payloadLength, v.crc);
    fmt::print(out, "  \"sections\": [");
    for (size_t i = 0; i < v.sections.size(); ++i) {
        const SectionView& sv = v.sections[i];
        const auto section = std::span<const uint8_t>(file.blob).subspan(sv.offset, sv.length);
        fmt::print(out, "{}\n    {{\"id\": {}, \"name\": \"{}\", \"offset\": {}, \"length\": {}, ",
                   i == 0 ? "" : ",", sv.id, sv.layout->name, sv.offset, sv.length);
        fmt::print(out, "\"fields\": {{");
        for (size_t j = 0; j < sv.layout->fields.size(); ++j) {
            const FieldLayout& f = sv.layout->fields[j];
            fmt::print(out, "{}\"{}\": {}", j == 0 ? "" : ", ", f.name, jsonField(section, f));
        }
        fmt::print(out, "}}}}");
    }
    fmt::print(out, "{}]\n}}\n", v.sections.empty() ? "" : "\n  ");
}

void printText(const ShowOptions& o, const BlobFile& file, const BlobCheck& check, int32_t library,
               const std::vector<std::string>& notes, FILE* out) {
    const BlobView& v = check.view;
    fmt::print(out, "File     {}: {}{} bytes\n", o.path,
               file.stateFileFormat ? "state file (length line + blob), blob of " : "raw blob, ",
               file.blob.size());
    fmt::print(out,
               "Frame    version word 0x{:08X}, kind {}, payload {} bytes, CRC 0x{:04X}, "
               "{} sections\n",
               v.version, v.kind, v.payloadLength, v.crc, v.sections.size());
    fmt::print(out, "Library  vorn_set_{} on a fresh instance: {}\n",
               o.kind == BlobKind::State ? "state" : "configuration", describeStatus(library));
    for (const auto& note : notes) fmt::print(out, "Note     {}\n", note);
    for (const auto& sv : v.sections) printTextSection(file.blob, sv, o.kind, out);
}

}  // namespace

int showBlob(const ShowOptions& options, FILE* out) {
    const BlobFile file = loadBlobFile(options.path);
    if (file.stateFileFormat && file.blob.empty()) {
        const char* meaning =
            "state file with length 0: it holds no state, so the host layer starts from the "
            "library defaults";
        if (options.json) {
            fmt::print(out,
                       "{{\n  \"file\": {},\n  \"format\": \"state-file\",\n  \"size\": 0,\n"
                       "  \"valid\": true,\n  \"notes\": [{}],\n  \"sections\": []\n}}\n",
                       jsonString(options.path), jsonString(meaning));
        } else {
            fmt::print(out, "{}: {}\n", options.path, meaning);
        }
        return 0;
    }
    const BlobCheck check = checkBlob(file.blob, options.kind);
    const int32_t library = libraryImport(options.kind, file.blob);
    std::vector<std::string> notes = file.notes;
    notes.insert(notes.end(), check.view.notes.begin(), check.view.notes.end());
    if (options.json) {
        printJson(options, file, check, library, notes, out);
    } else if (check.status == RC_OK) {
        printText(options, file, check, library, notes, out);
    }
    if (check.status != RC_OK) {
        fmt::print(stderr, "error: {}: damaged or invalid {} blob: {} [{}]\n", options.path,
                   kindName(options.kind), check.problem, describeStatus(check.status));
        fmt::print(stderr, "       the library reports {}\n", describeStatus(library));
        return 1;
    }
    if (library != RC_OK) {
        fmt::print(stderr, "error: {}: the library refuses this {} blob: {}\n", options.path,
                   kindName(options.kind), describeStatus(library));
        return 1;
    }
    return 0;
}

namespace {

std::vector<uint8_t> exportConfiguration() {
    std::vector<uint8_t> blob(kToolWorkBytes, 0);
    std::vector<uint8_t> work(kToolWorkBytes, 0);
    uint32_t size = 0;
    const int32_t status =
        vorn_get_configuration(0, blob.data(), kToolWorkBytes, work.data(), kToolWorkBytes, &size);
    if (status != RC_OK) {
        throw ToolError("the library could not export its configuration: " +
                        describeStatus(status));
    }
    blob.resize(size);
    return blob;
}

struct Assignment {
    const SectionLayout* section;
    const FieldLayout* field;
    int index;  // -1: every element
    std::vector<Scalar> values;
    std::string name;  // as the user wrote it, without the value
};

std::vector<std::string_view> splitComma(std::string_view text) {
    std::vector<std::string_view> parts;
    while (true) {
        const size_t comma = text.find(',');
        parts.push_back(text.substr(0, comma));
        if (comma == std::string_view::npos) return parts;
        text = text.substr(comma + 1);
    }
}

// Edit distance (insertions, deletions, substitutions) between two names.
size_t editDistance(std::string_view a, std::string_view b) {
    std::vector<size_t> row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j) row[j] = j;
    for (size_t i = 1; i <= a.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t above = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (a[i - 1] != b[j - 1])});
            diagonal = above;
        }
    }
    return row[b.size()];
}

// "unknown parameter 'x'; did you mean ...?", with the nearest names (at most three,
// within a third of the name's length), or the whole list when none is near.
std::string unknownParameter(std::string_view name) {
    std::vector<std::pair<size_t, std::string>> near;
    std::string bare(name.substr(0, name.find('[')));
    std::transform(bare.begin(), bare.end(), bare.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    const bool sectionGiven = bare.find('.') != std::string::npos;
    for (const auto& s : sectionLayouts(BlobKind::Configuration)) {
        for (const auto& f : s.fields) {
            std::string full = fmt::format("{}.{}", s.name, f.name);
            // A name given without its section is compared with the field's own name.
            const size_t d = editDistance(bare, sectionGiven ? std::string_view(full) : f.name);
            if (d <= std::max<size_t>(2, bare.size() / 3)) near.emplace_back(d, std::move(full));
        }
    }
    if (near.empty()) {
        return fmt::format("unknown parameter '{}'; valid names:\n{}", name, configurationNames());
    }
    std::sort(near.begin(), near.end());
    near.resize(std::min<size_t>(near.size(), 3));
    std::string list;
    for (const auto& [d, candidate] : near)
        list += fmt::format("{}'{}'", list.empty() ? "" : ", ", candidate);
    return fmt::format("unknown parameter '{}'; did you mean {}? (`vorn config names` lists all)",
                       name, list);
}

Assignment parseAssignment(const std::string& text) {
    const size_t eq = text.find('=');
    if (eq == std::string::npos) {
        throw ToolError(fmt::format("'{}' is no assignment: write section.field=value", text));
    }
    Assignment a{nullptr, nullptr, -1, {}, text.substr(0, eq)};
    std::string_view name = a.name;
    const std::string_view value = std::string_view(text).substr(eq + 1);
    const size_t dot = name.find('.');
    const size_t bracket = name.find('[');
    std::string_view fieldName = dot == std::string_view::npos ? "" : name.substr(dot + 1);
    if (bracket != std::string_view::npos && dot != std::string_view::npos && bracket > dot) {
        fieldName = name.substr(dot + 1, bracket - dot - 1);
        const std::string_view digits = name.substr(bracket + 1);
        int index = -1;
        auto [ptr, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), index);
        if (ec != std::errc() || ptr != digits.data() + digits.size() - 1 || *ptr != ']') {
            throw ToolError(fmt::format("'{}': write an element as field[index]", a.name));
        }
        a.index = index;
    }
    a.section = findSection(BlobKind::Configuration, name.substr(0, dot));
    if (dot != std::string_view::npos && a.section != nullptr) {
        a.field = findField(*a.section, fieldName);
    }
    if (a.field == nullptr) throw ToolError(unknownParameter(a.name));
    if (a.index >= a.field->count) {
        throw ToolError(fmt::format("'{}': index {} is out of range, {} has elements 0..{}", a.name,
                                    a.index, a.field->name, a.field->count - 1));
    }
    const auto parts = splitComma(value);
    const size_t expected = a.index >= 0 ? 1 : a.field->count;
    if (parts.size() != expected) {
        throw ToolError(fmt::format(
            "'{}' needs {} comma-separated value{}{}, got {}", a.name, expected,
            expected == 1 ? "" : "s",
            a.index < 0 && a.field->count > 1 ? " (or set one element with [index])" : "",
            parts.size()));
    }
    for (const auto part : parts) {
        Scalar v{};
        const std::string reason = parseElement(part, *a.field, v);
        if (!reason.empty()) throw ToolError(fmt::format("'{}': {}", a.name, reason));
        a.values.push_back(v);
    }
    return a;
}

// The last section of the blob with this id (a later section wins on import).
const SectionView* lastSection(const BlobView& view, uint8_t id) {
    const SectionView* found = nullptr;
    for (const auto& s : view.sections) {
        if (s.id == id) found = &s;
    }
    return found;
}

std::string readBack(std::span<const uint8_t> blob, const BlobView& view, const Assignment& a) {
    const SectionView* s = lastSection(view, a.section->id);
    if (s == nullptr) return "<missing>";
    const auto section = blob.subspan(s->offset, s->length);
    if (a.index < 0) return fieldText(section, *a.field);
    return formatScalar(readElement(section, *a.field, a.index));
}

}  // namespace

void writeDefaultConfiguration(const std::string& path) {
    vorn_init();
    saveBlobFile(path, exportConfiguration(), wantsStateFileFormat(path));
}

std::string configurationNames() {
    std::string names = fmt::format("  {:<48} {:<8} {:<7} {:<20} {}\n", "parameter", "type", "unit",
                                    "accepted", "meaning");
    for (const auto& s : sectionLayouts(BlobKind::Configuration)) {
        for (const auto& f : s.fields) {
            const std::string full = fmt::format("{}.{}", s.name, f.name);
            const std::string shape =
                f.count > 1 ? fmt::format("{}[{}]", typeName(f.type), f.count) : typeName(f.type);
            const std::string range = fmt::format("{:g} .. {:g}", f.min, f.max);
            names += fmt::format("  {:<48} {:<8} {:<7} {:<20} {}\n", full, shape, unitName(f.unit),
                                 range, f.help);
        }
    }
    return names;
}

void setConfiguration(const SetOptions& options, FILE* log) {
    BlobFile file = loadBlobFile(options.input);
    const BlobCheck check = checkBlob(file.blob, BlobKind::Configuration);
    if (check.status != RC_OK) {
        throw ToolError(fmt::format("{} is no valid configuration blob: {} [{}]", options.input,
                                    check.problem, describeStatus(check.status)));
    }
    if (options.assignments.empty()) throw ToolError("nothing to set: give name=value pairs");
    std::vector<Assignment> assignments;
    for (const auto& text : options.assignments) assignments.push_back(parseAssignment(text));

    std::vector<uint8_t> blob = file.blob;
    for (const auto& a : assignments) {
        const SectionView* s = lastSection(check.view, a.section->id);
        if (s == nullptr) {
            throw ToolError(
                fmt::format("{} has no {} section to change; start from `vorn config "
                            "default`",
                            options.input, a.section->name));
        }
        const std::string before = readBack(blob, check.view, a);
        auto section = std::span<uint8_t>(blob).subspan(s->offset, s->length);
        for (size_t i = 0; i < a.values.size(); ++i) {
            const int index = a.index >= 0 ? a.index : static_cast<int>(i);
            writeElement(section, *a.field, index, a.values[i]);
        }
        fmt::print(log, "{}: {} -> {}\n", a.name, before, readBack(blob, check.view, a));
    }
    reframe(blob);

    // The library must import the result and give the new values back on export.
    const int32_t status = libraryImport(BlobKind::Configuration, blob);
    if (status != RC_OK) {
        throw ToolError("the library refuses the edited configuration: " + describeStatus(status));
    }
    const std::vector<uint8_t> exported = exportConfiguration();
    const BlobCheck round = checkBlob(exported, BlobKind::Configuration);
    for (const auto& a : assignments) {
        if (readBack(exported, round.view, a) != readBack(blob, check.view, a)) {
            throw ToolError(fmt::format("the library did not take {} as written", a.name));
        }
    }
    saveBlobFile(options.output, blob, wantsStateFileFormat(options.output));
}

}  // namespace vorn::tools
