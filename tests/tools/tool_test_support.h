// Helpers for the tool tests: a scratch directory per test and the built `vorn`
// program run there with captured output and exit code.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace vorn::tools::testing {

namespace fs = std::filesystem;

struct RunResult {
    int exitCode;
    std::string out, err;
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

inline bool has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

class ScratchDir : public ::testing::Test {
protected:
    void SetUp() override {
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        std::string name = std::string("vorn_tools_") + info->test_suite_name() + "_" +
                           info->name() + "_" + std::to_string(::getpid());
        for (char& c : name) c = c == '/' ? '_' : c;
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
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readFile(out), readFile(err)};
    }

    fs::path dir_;
};

}  // namespace vorn::tools::testing
