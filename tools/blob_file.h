// Blob files on disk: a raw blob as the library exports it, or the host layer's
// "savedState.dat" (a "%u\n" length line followed by exactly that many blob bytes).
// Loading tells the two apart by the first byte (a blob starts with its version
// word, never with an ASCII digit) and refuses, with a reason, anything else.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace vorn::tools {

struct BlobFile {
    std::vector<uint8_t> blob;
    bool stateFileFormat = false;  // read from a "savedState.dat"-style file
    std::vector<std::string> notes;
};

// Reads a blob file. Throws ToolError when it cannot be read, is larger than any blob
// can be, or is a state file whose length line disagrees with the bytes that follow.
// A state file whose length line is 0 yields an empty blob (the host starts afresh).
BlobFile loadBlobFile(const std::string& path);

// True when the file name asks for the host's state-file format: it ends in ".dat".
bool wantsStateFileFormat(const std::string& path);

// Writes the blob raw, or as a state file; "-" writes to stdout. Throws ToolError.
void saveBlobFile(const std::string& path, std::span<const uint8_t> blob, bool stateFileFormat);

}  // namespace vorn::tools
