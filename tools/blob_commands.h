// The blob subcommands: `state show` / `config show` decode a blob or state file into
// named sections and fields (text or JSON) after checking it with the library's own
// rules and with the library itself; `config default` exports the library's default
// configuration; `config set` edits named parameters and re-frames the blob.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "blob_schema.h"

namespace vorn::tools {

struct ShowOptions {
    std::string path;
    BlobKind kind = BlobKind::State;
    bool json = false;
};

// Prints the decoded blob on `out`; problems go to stderr. Returns the exit code:
// 0 when the blob is valid and the library accepts it, 1 otherwise.
int showBlob(const ShowOptions& options, FILE* out);

// Writes the library's default configuration blob to `path` (state-file format
// when it ends in ".dat"). Throws ToolError.
void writeDefaultConfiguration(const std::string& path);

struct SetOptions {
    std::string input;
    std::vector<std::string> assignments;  // "section.field=value", "section.field[i]=value"
    std::string output;
};

// Applies the assignments to a copy of the configuration blob, re-frames it, checks
// that the library imports it and reports the changed values, and writes it. Reports
// each change on `log`. Throws ToolError listing the valid names when a name is unknown.
void setConfiguration(const SetOptions& options, FILE* log);

// Every editable name with its type, element count and range, one per line.
std::string configurationNames();

}  // namespace vorn::tools
