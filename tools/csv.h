// Fast CSV plumbing for logs of millions of rows: a line reader over large buffered
// chunks of a file or stdin, a field splitter and number parser on string views
// (std::from_chars, no locale, no allocation per row), and an output buffer that
// formats with {fmt} into memory and writes in large blocks.
#pragma once

#include <fmt/format.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::tools {

class LineReader {
public:
    // "-" reads stdin. Throws ToolError when the file cannot be opened.
    explicit LineReader(const std::string& path);
    ~LineReader();
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;

    // The next line without its "\n" or "\r\n"; false at the end. Throws ToolError on a
    // read error or a line longer than the buffer.
    bool next(std::string_view& line);
    uint64_t lineNumber() const { return lineNumber_; }
    uint64_t bytesConsumed() const { return consumed_; }
    // Total size when known (a regular file), else 0.
    uint64_t totalBytes() const { return total_; }

private:
    bool refill();

    FILE* file_;
    bool owned_;
    std::string path_;
    // Not zero-filled: a fresh 8 MiB reader must cost nothing until it reads.
    std::unique_ptr<char[]> buffer_;
    size_t capacity_;
    size_t begin_ = 0;
    size_t end_ = 0;
    bool eof_ = false;
    uint64_t lineNumber_ = 0;
    uint64_t consumed_ = 0;
    uint64_t total_ = 0;
};

// Splits at commas into at most fields.size() views; returns the number of fields
// found (which may exceed fields.size(): the rest are not stored).
size_t splitFields(std::string_view line, std::span<std::string_view> fields);

// Without leading and trailing blanks, tabs and a carriage return.
std::string_view trim(std::string_view text);

// Parses a decimal number (surrounding blanks allowed; "nan" and "inf" accepted, as
// std::from_chars does). False when the text is no number.
bool parseNumber(std::string_view text, double& value);

class OutputBuffer {
public:
    explicit OutputBuffer(FILE* out) : out_(out) {}
    ~OutputBuffer();
    OutputBuffer(const OutputBuffer&) = delete;
    OutputBuffer& operator=(const OutputBuffer&) = delete;

    fmt::memory_buffer& buffer() { return buffer_; }
    // Writes the buffer out once it holds more than a block. Throws ToolError.
    void maybeFlush() {
        if (buffer_.size() >= kBlockBytes) flush();
    }
    void flush();

private:
    static constexpr size_t kBlockBytes = size_t{1} << 20;
    FILE* out_;
    fmt::memory_buffer buffer_;
};

}  // namespace vorn::tools
