// Helpers for the host-layer tests: the host works on "savedState.dat" in the
// current directory, so every test runs in a scratch directory of its own.
#pragma once

#include <ftw.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "host/vorn_host.h"

namespace vorn_test {

using Bytes = std::vector<uint8_t>;
using HostValues = std::array<float, 7>;

// A scratch directory that is the current directory while the object lives; on
// tmpfs when there is one, since every host call flushes its file to the disk.
class ScopedWorkDir {
public:
    ScopedWorkDir() {
        char cwd[PATH_MAX];
        if (getcwd(cwd, sizeof cwd) != nullptr) previous_ = cwd;
        path_ = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
        path_ += "/vorn-host-XXXXXX";
        if (mkdtemp(path_.data()) == nullptr || chdir(path_.c_str()) != 0) std::abort();
    }
    ~ScopedWorkDir() {
        if (chdir(previous_.c_str()) != 0) std::abort();
        nftw(
            path_.c_str(), [](const char* p, const struct stat*, int, FTW*) { return remove(p); },
            8, FTW_DEPTH | FTW_PHYS);
    }
    const std::string& path() const { return path_; }

private:
    std::string previous_;
    std::string path_;
};

inline Bytes readFile(const std::string& name) {
    std::ifstream in(name, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void writeFile(const std::string& name, const Bytes& bytes) {
    std::ofstream(name, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

inline Bytes withLine(const std::string& line, const Bytes& rest) {
    Bytes out(line.begin(), line.end());
    out.insert(out.end(), rest.begin(), rest.end());
    return out;
}

struct Readings {
    float temperature, pressure, humidity, gas;
};
inline constexpr Readings kIndoor = {23.9f, 101325.7f, 45.9f, 50000.9f};

inline int32_t callHost(int32_t time_s, HostValues& out, const Readings& r) {
    return proccess_gsx_data(time_s, out.data(), r.temperature, r.pressure, r.humidity, r.gas);
}

// Values no host output takes, to see whether the host wrote its array.
inline constexpr HostValues kSentinel = {-7, -7, -7, -7, -7, -7, -7};

}  // namespace vorn_test
