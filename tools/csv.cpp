// Line reading, field splitting, number parsing and block output for the CSV tools.
#include "csv.h"

#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>

#include "tool_error.h"

namespace vorn::tools {

namespace {

constexpr size_t kChunkBytes = size_t{8} << 20;

}  // namespace

std::string_view trim(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t' || text.back() == '\r')) {
        text.remove_suffix(1);
    }
    return text;
}

LineReader::LineReader(const std::string& path)
    : file_(path == "-" ? stdin : std::fopen(path.c_str(), "rb")),
      owned_(path != "-"),
      path_(path),
      buffer_(new char[kChunkBytes]),
      capacity_(kChunkBytes) {
    if (file_ == nullptr) {
        throw ToolError("cannot open '" + path + "': " + std::strerror(errno));
    }
    struct stat info {};
    if (fstat(fileno(file_), &info) == 0 && S_ISREG(info.st_mode)) {
        total_ = static_cast<uint64_t>(info.st_size);
    }
}

LineReader::~LineReader() {
    if (owned_) std::fclose(file_);
}

bool LineReader::refill() {
    if (eof_) return false;
    if (begin_ > 0) {
        std::memmove(buffer_.get(), buffer_.get() + begin_, end_ - begin_);
        end_ -= begin_;
        begin_ = 0;
    }
    if (end_ == capacity_) {
        throw ToolError("'" + path_ + "': line " + std::to_string(lineNumber_ + 1) +
                        " is longer than " + std::to_string(capacity_) + " bytes");
    }
    const size_t n = std::fread(buffer_.get() + end_, 1, capacity_ - end_, file_);
    if (n == 0) {
        if (std::ferror(file_)) {
            throw ToolError("cannot read '" + path_ + "': " + std::strerror(errno));
        }
        eof_ = true;
        return false;
    }
    end_ += n;
    return true;
}

bool LineReader::next(std::string_view& line) {
    while (true) {
        const char* start = buffer_.get() + begin_;
        const auto* newline = static_cast<const char*>(std::memchr(start, '\n', end_ - begin_));
        if (newline != nullptr) {
            const auto length = static_cast<size_t>(newline - start);
            line = std::string_view(start, length);
            if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
            begin_ += length + 1;
            consumed_ += length + 1;
            ++lineNumber_;
            return true;
        }
        if (!refill()) {
            if (begin_ == end_) return false;
            // The last line has no newline.
            line = std::string_view(buffer_.get() + begin_, end_ - begin_);
            if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
            consumed_ += end_ - begin_;
            begin_ = end_;
            ++lineNumber_;
            return true;
        }
    }
}

size_t splitFields(std::string_view line, std::span<std::string_view> fields) {
    size_t count = 0;
    while (true) {
        const size_t comma = line.find(',');
        if (count < fields.size()) fields[count] = line.substr(0, comma);
        ++count;
        if (comma == std::string_view::npos) return count;
        line.remove_prefix(comma + 1);
    }
}

namespace {

// Plain decimals ("-12.375") with at most 15 significant digits: the digits form an
// integer below 2^53 and 10^k (k <= 22) is exact in double, so one division gives
// the correctly rounded value, the same that std::from_chars gives, several times
// faster. Anything else (exponents, long mantissas, nan) is left to std::from_chars.
constexpr int kMaxFastDigits = 15;
constexpr std::array<double, 16> kPowersOfTen = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                                 1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};

bool parsePlainDecimal(std::string_view text, double& value) {
    size_t i = 0;
    const bool negative = text[0] == '-';
    i += negative ? 1 : 0;
    uint64_t mantissa = 0;
    int digits = 0, fraction = 0;
    bool point = false, any = false;
    for (; i < text.size(); ++i) {
        const char c = text[i];
        if (c >= '0' && c <= '9') {
            if (++digits > kMaxFastDigits) return false;
            mantissa = mantissa * 10 + static_cast<uint64_t>(c - '0');
            fraction += point ? 1 : 0;
            any = true;
        } else if (c == '.' && !point) {
            point = true;
        } else {
            return false;
        }
    }
    if (!any) return false;
    const double magnitude =
        static_cast<double>(mantissa) / kPowersOfTen[static_cast<size_t>(fraction)];
    value = negative ? -magnitude : magnitude;
    return true;
}

}  // namespace

bool parseNumber(std::string_view text, double& value) {
    text = trim(text);
    if (!text.empty() && text.front() == '+') text.remove_prefix(1);
    if (text.empty()) return false;
    if (parsePlainDecimal(text, value)) return true;
    const char* end = text.data() + text.size();
    auto [ptr, ec] = std::from_chars(text.data(), end, value);
    return ec == std::errc() && ptr == end;
}

OutputBuffer::~OutputBuffer() {
    // Errors were reported by the explicit flush; a destructor must not throw.
    if (buffer_.size() != 0) std::fwrite(buffer_.data(), 1, buffer_.size(), out_);
    std::fflush(out_);
}

void OutputBuffer::flush() {
    if (buffer_.size() != 0 &&
        std::fwrite(buffer_.data(), 1, buffer_.size(), out_) != buffer_.size()) {
        throw ToolError(std::string("cannot write output: ") + std::strerror(errno));
    }
    buffer_.clear();
    if (std::fflush(out_) != 0) {
        throw ToolError(std::string("cannot write output: ") + std::strerror(errno));
    }
}

}  // namespace vorn::tools
