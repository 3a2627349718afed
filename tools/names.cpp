// Identifier and status-code names for the tools' messages, CSV headers and options:
// the header's names (generated from it), checked against the identifier table.
#include "names.h"

#include <algorithm>
#include <charconv>

#include "header_tables.h"
#include "tool_error.h"
#include "vorn/vorn.h"

namespace vorn::tools {

namespace {

// The header declares exactly the identifiers the table has rows for.
template <std::size_t N, typename Row>
constexpr bool sameIds(const std::array<header::Named, N>& named, const std::array<Row, N>& rows) {
    for (std::size_t i = 0; i < N; ++i) {
        if (named[i].value != static_cast<int32_t>(rows[i].id)) return false;
    }
    return true;
}
static_assert(sameIds(header::kOutputs, kOutputTable) && sameIds(header::kInputs, kInputTable));

// The ranges the header's input descriptions state are the ones the library checks.
constexpr bool statedRangesHold() {
    for (const header::Range& stated : header::kInputRanges) {
        const int slot = inputIndex(static_cast<uint32_t>(stated.input));
        if (stated.min != kInputMinimum[slot] || stated.max != kInputMaximum[slot]) return false;
    }
    return true;
}
static_assert(statedRangesHold(), "an input's accepted range in vorn.h differs from the library's");

}  // namespace

const std::array<OutputInfo, kOutputCount> kOutputs = [] {
    std::array<OutputInfo, kOutputCount> out{};
    for (std::size_t i = 0; i < out.size(); ++i) {
        const header::Named& named = header::kOutputs[i];
        out[i] = {static_cast<uint8_t>(named.value), named.name, named.description};
    }
    return out;
}();

const OutputInfo* outputById(uint32_t id) {
    for (const auto& info : kOutputs) {
        if (info.id == id) return &info;
    }
    return nullptr;
}

const OutputInfo* findOutput(std::string_view nameOrId) {
    unsigned id = 0;
    const char* end = nameOrId.data() + nameOrId.size();
    auto [ptr, ec] = std::from_chars(nameOrId.data(), end, id);
    if (ec == std::errc() && ptr == end) return outputById(id);
    for (const auto& info : kOutputs) {
        if (nameOrId == info.name) return &info;
    }
    return nullptr;
}

namespace {

std::string validOutputNames() {
    std::string names;
    for (const auto& info : kOutputs) {
        names += "\n  " + std::to_string(info.id) + " " + info.name + ": " + info.label;
    }
    return names;
}

}  // namespace

std::vector<uint8_t> parseOutputList(std::string_view list) {
    std::vector<uint8_t> ids;
    if (list == "all") {
        for (const auto& info : kOutputs) ids.push_back(info.id);
        return ids;
    }
    if (list == "host") {
        ids.assign(kHostOutputs.begin(), kHostOutputs.end());
    } else {
        while (!list.empty()) {
            const size_t comma = list.find(',');
            const std::string_view item = list.substr(0, comma);
            const OutputInfo* info = findOutput(item);
            if (info == nullptr) {
                throw ToolError(
                    "unknown output '" + std::string(item) +
                    "'; valid outputs (name or id), or 'host' or 'all':" + validOutputNames());
            }
            ids.push_back(info->id);
            list = comma == std::string_view::npos ? std::string_view() : list.substr(comma + 1);
        }
    }
    if (ids.empty()) throw ToolError("no output chosen");
    std::sort(ids.begin(), ids.end());
    ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
    return ids;
}

const char* statusName(int32_t code) {
    for (const header::Named& status : header::kStatuses) {
        if (status.value == code) return status.name;
    }
    return "unknown status";
}

std::string describeStatus(int32_t code) {
    return std::string(statusName(code)) + " (" + std::to_string(code) + ")";
}

}  // namespace vorn::tools
