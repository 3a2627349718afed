// The state file "savedState.dat": a "%u\n" length line followed by exactly that
// many raw bytes of the library's state blob. Since the host rebuilds the library
// on every call, this file is its only memory, so loading trusts nothing in it and
// saving never leaves a half-written file behind.
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>

#include "host/vorn_host.h"

namespace vorn::host {
namespace {

// The first line must end within this many bytes, newline included.
constexpr uint32_t kLineBufferSize = 1000;
constexpr int32_t kNothingLoaded = 0;
constexpr int32_t kSaveFailed = -1;
constexpr char kTemporaryName[] = VORN_STATE_FILE_NAME ".tmp";

// Reads the length line. Returns false for an empty line, a non-digit, a line
// that does not end within kLineBufferSize bytes, or a value above `limit`.
bool readLengthLine(FILE* file, uint32_t limit, uint32_t* length) {
    uint64_t value = 0;
    for (uint32_t consumed = 0; consumed < kLineBufferSize; ++consumed) {
        const int c = std::fgetc(file);
        if (c == '\n') {
            if (consumed == 0) return false;
            *length = static_cast<uint32_t>(value);
            return true;
        }
        if (c < '0' || c > '9') return false;  // EOF, read error or not a digit
        value = value * 10 + static_cast<uint64_t>(c - '0');
        if (value > limit) return false;
    }
    return false;
}

// Writes the whole file through `file` and forces it to the disk.
bool writeStateFile(FILE* file, const uint8_t* buffer, uint32_t length) {
    if (std::fprintf(file, "%u\n", length) < 0) return false;
    if (length != 0 && std::fwrite(buffer, 1, length, file) != length) return false;
    if (std::fflush(file) != 0) return false;
    return fsync(fileno(file)) == 0;
}

// Makes the rename itself durable; a failure here loses nothing already written.
void syncCurrentDirectory() {
    const int dir = open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dir < 0) return;
    fsync(dir);
    close(dir);
}

}  // namespace
}  // namespace vorn::host

using namespace vorn::host;

extern "C" {

int32_t state_load(uint8_t* buffer, uint32_t capacity) {
    if (buffer == nullptr) return kNothingLoaded;
    FILE* file = std::fopen(VORN_STATE_FILE_NAME, "r");
    if (file == nullptr) return kNothingLoaded;

    // The count is returned as int32, so no length above INT32_MAX is accepted.
    const uint32_t limit = capacity < INT32_MAX ? capacity : static_cast<uint32_t>(INT32_MAX);
    uint32_t length = 0;
    int32_t result = kNothingLoaded;
    if (readLengthLine(file, limit, &length) && std::fread(buffer, 1, length, file) == length) {
        result = static_cast<int32_t>(length);
    }
    std::fclose(file);
    return result;
}

int32_t state_save(const uint8_t* buffer, uint32_t length) {
    if (buffer == nullptr && length != 0) return kSaveFailed;
    FILE* file = std::fopen(kTemporaryName, "w");
    if (file == nullptr) return kSaveFailed;

    const bool written = writeStateFile(file, buffer, length);
    const bool closed = std::fclose(file) == 0;
    if (!written || !closed || std::rename(kTemporaryName, VORN_STATE_FILE_NAME) != 0) {
        std::remove(kTemporaryName);
        return kSaveFailed;
    }
    syncCurrentDirectory();
    return 0;
}

}  // extern "C"
