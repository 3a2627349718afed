// Helpers for the tool tests: a scratch directory per test, running the built `vorn`
// program with captured output and exit code, and small file utilities.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace vorn::tools::testing {

namespace fs = std::filesystem;

struct RunResult {
    int exitCode;
    std::string out;
    std::string err;
};

inline std::string readFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

inline void writeFile(const fs::path& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

inline std::vector<uint8_t> readBytes(const fs::path& path) {
    const std::string text = readFile(path);
    return {text.begin(), text.end()};
}

inline void writeBytes(const fs::path& path, const std::vector<uint8_t>& bytes) {
    writeFile(path, std::string(bytes.begin(), bytes.end()));
}

// A fresh directory under the system's temporary directory, removed afterwards.
class ScratchDir : public ::testing::Test {
protected:
    void SetUp() override {
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        std::string name = std::string("vorn_tools_") + info->test_suite_name() + "_" +
                           info->name() + "_" + std::to_string(::getpid());
        for (char& c : name) {
            if (c == '/') c = '_';
        }
        dir_ = fs::temp_directory_path() / name;
        fs::remove_all(dir_);
        fs::create_directories(dir_);
    }
    void TearDown() override { fs::remove_all(dir_); }

    std::string path(const std::string& name) const { return (dir_ / name).string(); }

    // Runs `vorn ARGS` in the scratch directory; ARGS is shell syntax.
    RunResult vorn(const std::string& args) const {
        const std::string out = path(".stdout"), err = path(".stderr");
        const std::string command = "cd '" + dir_.string() + "' && '" VORN_CLI "' " + args +
                                    " > '" + out + "' 2> '" + err + "'";
        const int status = std::system(command.c_str());
        const int code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        return {code, readFile(out), readFile(err)};
    }

    fs::path dir_;
};

inline size_t countLines(const std::string& text) {
    size_t n = 0;
    for (const char c : text) n += c == '\n';
    return n;
}

}  // namespace vorn::tools::testing
