// Names for the library's numeric identifiers: output identifiers as the short
// snake_case names used on the command line and in CSV headers, and status codes
// as their enum names, so every message a user reads says what a number means.
// All of them come from the public header (see scripts/gen_header_tables.py).
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "identifiers/identifiers.h"

namespace vorn::tools {

struct OutputInfo {
    uint8_t id;
    const char* name;   // command-line and CSV column name
    const char* label;  // human-readable description
};

// Every output in ascending identifier order: kOutputs[slot] is the output at that
// slot of the library's per-output arrays (the hyper section's interval columns).
extern const std::array<OutputInfo, kOutputCount> kOutputs;

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
