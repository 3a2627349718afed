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
inline constexpr uint32_t kCapacity = 1974;

// The current directory while the object lives; on tmpfs when there is one, since
// every host call flushes its file to the disk.
class ScopedWorkDir {
public:
    ScopedWorkDir() {
        char cwd[PATH_MAX];
        if (getcwd(cwd, sizeof cwd) != nullptr) previous_ = cwd;
        path_ =
            access("/dev/shm", W_OK) == 0 ? "/dev/shm/vorn-host-XXXXXX" : "/tmp/vorn-host-XXXXXX";
        if (mkdtemp(path_.data()) == nullptr || chdir(path_.c_str()) != 0) std::abort();
    }
    ~ScopedWorkDir() {
        if (chdir(previous_.c_str()) != 0) std::abort();
        nftw(
            path_.c_str(), [](const char* p, const struct stat*, int, FTW*) { return remove(p); },
            8, FTW_DEPTH | FTW_PHYS);
    }

private:
    std::string previous_, path_;
};

inline Bytes readFile(const std::string& name) {
    std::ifstream in(name, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void writeFile(const std::string& name, const Bytes& bytes) {
    std::ofstream(name, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
}

struct Readings {
    float temperature, pressure, humidity, gas;
};
inline constexpr Readings kIndoor = {23.9f, 101325.7f, 45.9f, 50000.9f};

inline int32_t callHost(int32_t time_s, HostValues& out, const Readings& r) {
    return proccess_gsx_data(time_s, out.data(), r.temperature, r.pressure, r.humidity, r.gas);
}

}  // namespace vorn_test
