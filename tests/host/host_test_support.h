// Helpers for the host-layer tests: the host works on "savedState.dat" in the
// current directory, so every test runs in a fresh scratch directory of its own.
#pragma once

#include <ftw.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "host/vorn_host.h"

namespace vorn_test {

using Bytes = std::vector<uint8_t>;
using HostValues = std::array<float, 7>;

// A scratch directory that is the current directory while the object lives.
class ScopedWorkDir {
public:
    ScopedWorkDir() {
        char cwd[PATH_MAX];
        if (getcwd(cwd, sizeof cwd) != nullptr) previous_ = cwd;
        // tmpfs when there is one: every host call flushes the state file to the
        // disk, which costs milliseconds on a busy disk and nothing on tmpfs.
        std::string pattern = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
        pattern += "/vorn-host-XXXXXX";
        if (mkdtemp(pattern.data()) != nullptr) path_ = pattern;
        if (chdir(path_.c_str()) != 0) std::abort();
    }
    ~ScopedWorkDir() {
        if (!previous_.empty() && chdir(previous_.c_str()) != 0) std::abort();
        nftw(path_.c_str(), removeEntry, 8, FTW_DEPTH | FTW_PHYS);
    }
    ScopedWorkDir(const ScopedWorkDir&) = delete;
    ScopedWorkDir& operator=(const ScopedWorkDir&) = delete;

    const std::string& path() const { return path_; }

private:
    static int removeEntry(const char* p, const struct stat*, int, struct FTW*) {
        ::remove(p);
        return 0;
    }
    std::string previous_;
    std::string path_;
};

inline Bytes readFile(const std::string& name) {
    std::ifstream in(name, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void writeFile(const std::string& name, const Bytes& bytes) {
    std::ofstream out(name, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
}

inline Bytes toBytes(const std::string& text) {
    return Bytes(text.begin(), text.end());
}

inline Bytes concat(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// One set of raw host readings.
struct Readings {
    float temperature;
    float pressure;
    float humidity;
    float gas;
};

inline constexpr Readings kIndoor = {23.9f, 101325.7f, 45.9f, 50000.9f};

inline int32_t callHost(int32_t time_s, HostValues& out, const Readings& r) {
    return proccess_gsx_data(time_s, out.data(), r.temperature, r.pressure, r.humidity, r.gas);
}

// Values no host output can take, to see whether the host wrote its array.
inline HostValues sentinel() {
    return {-7.0f, -7.0f, -7.0f, -7.0f, -7.0f, -7.0f, -7.0f};
}

}  // namespace vorn_test
