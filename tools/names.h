// Names for the library's numeric identifiers: output identifiers as the short
// snake_case names used on the command line and in CSV headers, and status codes
// as their enum names, so every message a user reads says what a number means.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::tools {

struct OutputInfo {
    uint8_t id;
    const char* name;   // command-line and CSV column name
    const char* label;  // human-readable description
};

// The fourteen outputs in ascending identifier order.
extern const std::array<OutputInfo, 14> kOutputs;

// The ten outputs of the host layer, in its request order.
extern const std::array<uint8_t, 10> kHostOutputIds;

// By identifier; nullptr when the identifier is no output.
const OutputInfo* outputById(uint32_t id);

// By name ("iaq_index") or decimal identifier ("1"); nullptr when unknown.
const OutputInfo* findOutput(std::string_view nameOrId);

// Parses "1,14,iaq_index", "host" (the host layer's ten) or "all" into identifiers in
// ascending order without duplicates. Throws ToolError naming the bad entry.
std::vector<uint8_t> parseOutputList(std::string_view list);

// The enum name of a status code ("RC_W_INPUT_REPEATED"), or "unknown status".
const char* statusName(int32_t code);

// "RC_E_BLOB_CRC (-36)".
std::string describeStatus(int32_t code);

}  // namespace vorn::tools
