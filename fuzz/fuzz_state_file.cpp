// Fuzz target: the host layer's state file. The input becomes "savedState.dat" in a
// private working directory; the loader must stay inside its buffer whatever the length
// line says, and one host call must either refuse the file and leave it as it was, or
// measure and write back a well-formed file (decimal length line, then exactly that many
// bytes of a sound blob).
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <string>

#include "fuzz_support.h"
#include "host/vorn_host.h"

namespace {

constexpr uint32_t kLoadCapacity = 1974;  // what the host layer itself passes
constexpr float kCanary = -12345.0f;
constexpr size_t kHostValues = 7;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // The host layer uses a fixed file name in the current directory: give this process a
    // directory of its own, memory-backed where possible (the saver flushes every file).
    char shm[] = "/dev/shm/vorn_fuzz_XXXXXX", tmp[] = "/tmp/vorn_fuzz_XXXXXX";
    char* dir = mkdtemp(shm);
    if ((dir == nullptr && (dir = mkdtemp(tmp)) == nullptr) || chdir(dir) != 0) std::abort();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string before(reinterpret_cast<const char*>(data), size);
    std::ofstream(VORN_STATE_FILE_NAME, std::ios::binary) << before;
    std::vector<uint8_t> buffer(kLoadCapacity);  // exact size: overruns are caught
    FUZZ_CHECK(state_load(buffer.data(), kLoadCapacity) <= static_cast<int32_t>(kLoadCapacity));

    std::array<float, kHostValues + 2> out;
    out.fill(kCanary);
    const int32_t status = proccess_gsx_data(1000, out.data(), 25.0f, 100000.0f, 50.0f, 50000.0f);
    FUZZ_CHECK(out[kHostValues] == kCanary && out[kHostValues + 1] == kCanary);
    std::ifstream in(VORN_STATE_FILE_NAME, std::ios::binary);
    const std::string after(std::istreambuf_iterator<char>(in), {});
    if (status != RC_OK) {  // refused: nothing measured, nothing saved
        FUZZ_CHECK(after == before);
        for (size_t i = 0; i < kHostValues; ++i) FUZZ_CHECK(out[i] == kCanary);
        return 0;
    }
    const size_t digits = after.find('\n');
    FUZZ_CHECK(digits > 0 && digits < 10 && after.find_first_not_of("0123456789") == digits);
    const auto n = static_cast<uint32_t>(std::stoul(after.substr(0, digits)));
    FUZZ_CHECK(after.size() == digits + 1 + n);
    const auto* blob = reinterpret_cast<const uint8_t*>(after.data()) + digits + 1;
    FUZZ_CHECK(vorn_fuzz::frameStatus(blob, n, n) == RC_OK);
    return 0;
}
