// Fuzz target: the host layer's state file. The input becomes "savedState.dat" in a
// private working directory; the loader must stay inside its buffer whatever the
// length line says, and one host call must either refuse the file and leave it as
// it was, or measure and write back a well-formed file (decimal length line, then
// exactly that many bytes of a sound blob).
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz_support.h"
#include "host/vorn_host.h"

namespace {

constexpr const char* kFileName = VORN_STATE_FILE_NAME;
constexpr uint32_t kLoadCapacity = 1974;  // what the host layer itself passes
constexpr float kCanary = -12345.0f;
constexpr size_t kHostValues = 7;

std::vector<uint8_t> readFile() {
    std::ifstream in(kFileName, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

void writeFile(const uint8_t* data, size_t size) {
    FILE* f = std::fopen(kFileName, "wb");
    if (f == nullptr || (size > 0 && std::fwrite(data, 1, size, f) != size)) std::abort();
    std::fclose(f);
}

// A file the host layer wrote: "<n>\n" followed by exactly n bytes of a sound blob.
void checkWrittenFile(const std::vector<uint8_t>& file) {
    size_t digits = 0;
    while (digits < file.size() && file[digits] >= '0' && file[digits] <= '9') ++digits;
    FUZZ_CHECK(digits > 0 && digits < 10 && digits < file.size() && file[digits] == '\n');
    const auto n = static_cast<uint32_t>(std::strtoul(
        std::string(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(digits)).c_str(),
        nullptr, 10));
    FUZZ_CHECK(file.size() == digits + 1 + n);
    FUZZ_CHECK(vorn_fuzz::expectedFrameStatus(file.data() + digits + 1, n, n) == RC_OK);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // The host layer uses a fixed file name in the current directory: give this
    // process a directory of its own so parallel runs cannot disturb each other.
    // Memory-backed when possible: the saver flushes every file to the disk.
    char shm[] = "/dev/shm/vorn_fuzz_state_file_XXXXXX";
    char tmp[] = "/tmp/vorn_fuzz_state_file_XXXXXX";
    char* dir = mkdtemp(shm);
    if (dir == nullptr) dir = mkdtemp(tmp);
    if (dir == nullptr || chdir(dir) != 0) std::abort();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    writeFile(data, size);

    std::vector<uint8_t> buffer(kLoadCapacity, 0);  // exact size: overruns are caught
    FUZZ_CHECK(state_load(buffer.data(), kLoadCapacity) <= static_cast<int32_t>(kLoadCapacity));

    std::array<float, kHostValues + 2> hostOut;
    hostOut.fill(kCanary);
    const std::vector<uint8_t> before = readFile();
    const int32_t status =
        proccess_gsx_data(1000, hostOut.data(), 25.0f, 100000.0f, 50.0f, 50000.0f);
    FUZZ_CHECK(vorn_fuzz::isPublicStatus(status));
    FUZZ_CHECK(hostOut[kHostValues] == kCanary && hostOut[kHostValues + 1] == kCanary);
    const std::vector<uint8_t> after = readFile();
    if (status != RC_OK) {
        // Refused (the setup stops at the first non-zero status): nothing measured,
        // nothing saved.
        FUZZ_CHECK(after == before);
        for (size_t i = 0; i < kHostValues; ++i) FUZZ_CHECK(hostOut[i] == kCanary);
    } else {
        checkWrittenFile(after);
    }
    return 0;
}
