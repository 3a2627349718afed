// Identifier and status-code names for the tools' messages, CSV headers and options.
#include "names.h"

#include <algorithm>
#include <charconv>

#include "tool_error.h"
#include "vorn/vorn.h"

namespace vorn::tools {

const std::array<OutputInfo, 14> kOutputs = {{
    {OUT_IAQ_INDEX, "iaq_index", "IAQ index 0..500"},
    {OUT_IAQ_FIXED_SCALE, "iaq_fixed_scale", "fixed-scale IAQ index"},
    {OUT_LINEAR_ESTIMATE, "linear_estimate", "linear estimate of the fixed-scale index"},
    {OUT_EXPONENTIAL_ESTIMATE, "exponential_estimate", "exponential estimate"},
    {OUT_PASSTHROUGH_TEMPERATURE, "raw_temperature", "raw temperature, degC"},
    {OUT_PASSTHROUGH_PRESSURE, "raw_pressure", "raw pressure, Pa"},
    {OUT_PASSTHROUGH_HUMIDITY, "raw_humidity", "raw relative humidity, %"},
    {OUT_PASSTHROUGH_GAS, "raw_gas", "raw gas resistance, ohm"},
    {OUT_ACCUMULATED_TIME_FLAG, "accumulated_time_flag", "accumulated operating time reached"},
    {OUT_CONTINUOUS_TIME_FLAG, "continuous_time_flag", "continuous operating time reached"},
    {OUT_COMPENSATED_TEMPERATURE, "compensated_temperature", "compensated temperature, degC"},
    {OUT_COMPENSATED_HUMIDITY, "compensated_humidity", "compensated relative humidity, %"},
    {OUT_COMPENSATED_LOG_GAS, "compensated_log_gas", "humidity-compensated log10 gas"},
    {OUT_GAS_SCALE_PERCENT, "gas_scale_percent", "gas percentage on the slow baseline"},
}};

const std::array<uint8_t, 10> kHostOutputIds = {OUT_IAQ_INDEX,
                                                OUT_COMPENSATED_TEMPERATURE,
                                                OUT_PASSTHROUGH_PRESSURE,
                                                OUT_COMPENSATED_HUMIDITY,
                                                OUT_PASSTHROUGH_GAS,
                                                OUT_PASSTHROUGH_TEMPERATURE,
                                                OUT_PASSTHROUGH_HUMIDITY,
                                                OUT_IAQ_FIXED_SCALE,
                                                OUT_LINEAR_ESTIMATE,
                                                OUT_EXPONENTIAL_ESTIMATE};

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
        ids.assign(kHostOutputIds.begin(), kHostOutputIds.end());
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
    switch (code) {
        case RC_OK:
            return "RC_OK";
        case RC_E_INPUT_ID:
            return "RC_E_INPUT_ID";
        case RC_E_INPUT_RANGE:
            return "RC_E_INPUT_RANGE";
        case RC_E_INPUT_DUPLICATE:
            return "RC_E_INPUT_DUPLICATE";
        case RC_E_RATE_ZERO:
            return "RC_E_RATE_ZERO";
        case RC_E_RATE_NOT_ALLOWED:
            return "RC_E_RATE_NOT_ALLOWED";
        case RC_E_OUTPUT_DUPLICATE:
            return "RC_E_OUTPUT_DUPLICATE";
        case RC_E_RATE_RANGE:
            return "RC_E_RATE_RANGE";
        case RC_E_REQUIRED_ROOM:
            return "RC_E_REQUIRED_ROOM";
        case RC_E_INTERVAL_NOT_MULTIPLE:
            return "RC_E_INTERVAL_NOT_MULTIPLE";
        case RC_E_GAS_INTERVAL_CONFLICT:
            return "RC_E_GAS_INTERVAL_CONFLICT";
        case RC_E_INTERVAL_TOO_SHORT:
            return "RC_E_INTERVAL_TOO_SHORT";
        case RC_E_SECTION_TOO_LARGE:
            return "RC_E_SECTION_TOO_LARGE";
        case RC_E_SERIALIZE_REQUEST:
            return "RC_E_SERIALIZE_REQUEST";
        case RC_E_BLOB_VERSION:
            return "RC_E_BLOB_VERSION";
        case RC_E_BLOB_KIND:
            return "RC_E_BLOB_KIND";
        case RC_E_BLOB_CRC:
            return "RC_E_BLOB_CRC";
        case RC_E_BLOB_TOO_SHORT:
            return "RC_E_BLOB_TOO_SHORT";
        case RC_E_WORK_BUFFER_SMALL:
            return "RC_E_WORK_BUFFER_SMALL";
        case RC_E_BLOB_LENGTH:
            return "RC_E_BLOB_LENGTH";
        case RC_E_BLOB_OVERFLOW:
            return "RC_E_BLOB_OVERFLOW";
        case RC_E_SECTION_UNKNOWN:
            return "RC_E_SECTION_UNKNOWN";
        case RC_E_SECTION_SHORT:
            return "RC_E_SECTION_SHORT";
        case RC_W_NO_OUTPUT_ROOM:
            return "RC_W_NO_OUTPUT_ROOM";
        case RC_W_OUTPUT_OVERFLOW:
            return "RC_W_OUTPUT_OVERFLOW";
        case RC_W_INPUT_REPEATED:
            return "RC_W_INPUT_REPEATED";
        case RC_W_OUTPUT_ID_IGNORED:
            return "RC_W_OUTPUT_ID_IGNORED";
        case RC_W_TRIGGER_UNAVAILABLE:
            return "RC_W_TRIGGER_UNAVAILABLE";
        case RC_W_NOTHING_REQUESTED:
            return "RC_W_NOTHING_REQUESTED";
        case RC_W_CALL_TIME_DEVIATION:
            return "RC_W_CALL_TIME_DEVIATION";
        case RC_W_TRIGGER_TIMING:
            return "RC_W_TRIGGER_TIMING";
        case RC_W_TRIGGER_TOO_SOON:
            return "RC_W_TRIGGER_TOO_SOON";
        default:
            return "unknown status";
    }
}

std::string describeStatus(int32_t code) {
    return std::string(statusName(code)) + " (" + std::to_string(code) + ")";
}

}  // namespace vorn::tools
