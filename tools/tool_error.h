// The one exception type of the command-line tools: it carries a message for the
// user, is caught in main, printed on stderr and turned into a non-zero exit.
#pragma once

#include <stdexcept>
#include <string>

namespace vorn::tools {

class ToolError : public std::runtime_error {
public:
    explicit ToolError(const std::string& message) : std::runtime_error(message) {}
};

}  // namespace vorn::tools
