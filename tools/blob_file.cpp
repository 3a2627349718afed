// Reading and writing raw blobs and "savedState.dat" files for the tools.
#include "blob_file.h"

#include <fmt/format.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <memory>

#include "blob_schema.h"
#include "tool_error.h"

namespace vorn::tools {

namespace {

// The host layer reads its state into a buffer of this size.
constexpr uint32_t kHostStateCapacity = 1974;
// A length line never needs more than the ten digits of a u32.
constexpr size_t kMaxLengthDigits = 10;
// Large enough for any valid blob or state file, small enough to refuse a wrong file early.
constexpr size_t kMaxFileBytes = kToolWorkBytes + 16;

struct FileCloser {
    void operator()(FILE* f) const { std::fclose(f); }
};
using File = std::unique_ptr<FILE, FileCloser>;

std::vector<uint8_t> readAll(const std::string& path) {
    File file(path == "-" ? nullptr : std::fopen(path.c_str(), "rb"));
    FILE* in = path == "-" ? stdin : file.get();
    if (in == nullptr) {
        throw ToolError(fmt::format("cannot open '{}': {}", path, std::strerror(errno)));
    }
    std::vector<uint8_t> bytes(kMaxFileBytes + 1);
    const size_t n = std::fread(bytes.data(), 1, bytes.size(), in);
    if (std::ferror(in)) {
        throw ToolError(fmt::format("cannot read '{}': {}", path, std::strerror(errno)));
    }
    if (n > kMaxFileBytes) {
        throw ToolError(fmt::format("'{}' is larger than {} bytes: not a blob or state file", path,
                                    kMaxFileBytes));
    }
    bytes.resize(n);
    return bytes;
}

BlobFile parseStateFile(const std::string& path, const std::vector<uint8_t>& bytes) {
    size_t digits = 0;
    while (digits < bytes.size() && bytes[digits] >= '0' && bytes[digits] <= '9') ++digits;
    if (digits > kMaxLengthDigits || digits == bytes.size() || bytes[digits] != '\n') {
        throw ToolError(fmt::format(
            "'{}' starts like a state file but its first line is not a length followed by a "
            "newline",
            path));
    }
    uint64_t length = 0;
    std::from_chars(reinterpret_cast<const char*>(bytes.data()),
                    reinterpret_cast<const char*>(bytes.data()) + digits, length);
    const size_t follow = bytes.size() - digits - 1;
    if (length > UINT32_MAX) {
        throw ToolError(
            fmt::format("'{}': the length line {} does not fit in 32 bits", path, length));
    }
    if (follow < length) {
        throw ToolError(fmt::format(
            "'{}': the length line says {} bytes, but only {} follow (the file is truncated)", path,
            length, follow));
    }
    BlobFile file;
    file.stateFileFormat = true;
    const auto* start = bytes.data() + digits + 1;
    file.blob.assign(start, start + length);
    if (follow > length) {
        file.notes.push_back(
            fmt::format("{} bytes follow the {}-byte blob; the host layer reads only the blob",
                        follow - length, length));
    }
    if (length > kHostStateCapacity) {
        file.notes.push_back(
            fmt::format("the host layer reads at most {} bytes of state", kHostStateCapacity));
    }
    return file;
}

}  // namespace

BlobFile loadBlobFile(const std::string& path) {
    std::vector<uint8_t> bytes = readAll(path);
    if (!bytes.empty() && bytes[0] >= '0' && bytes[0] <= '9') return parseStateFile(path, bytes);
    BlobFile file;
    file.blob = std::move(bytes);
    return file;
}

bool wantsStateFileFormat(const std::string& path) {
    return path.size() >= 4 && path.compare(path.size() - 4, 4, ".dat") == 0;
}

void saveBlobFile(const std::string& path, std::span<const uint8_t> blob, bool stateFileFormat) {
    File file(path == "-" ? nullptr : std::fopen(path.c_str(), "wb"));
    FILE* out = path == "-" ? stdout : file.get();
    if (out == nullptr) {
        throw ToolError(fmt::format("cannot create '{}': {}", path, std::strerror(errno)));
    }
    bool ok = true;
    if (stateFileFormat) ok = std::fprintf(out, "%u\n", static_cast<unsigned>(blob.size())) > 0;
    ok = ok && std::fwrite(blob.data(), 1, blob.size(), out) == blob.size();
    ok = std::fflush(out) == 0 && ok;
    if (!ok) throw ToolError(fmt::format("cannot write '{}': {}", path, std::strerror(errno)));
    if (file) {
        FILE* raw = file.release();
        if (std::fclose(raw) != 0) {
            throw ToolError(fmt::format("cannot write '{}': {}", path, std::strerror(errno)));
        }
    }
}

}  // namespace vorn::tools
