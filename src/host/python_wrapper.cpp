// Entry points of the Python host: one call processes one measurement as a whole
// library lifetime (construct, restore the state file, subscribe, plan, process,
// save), because the host keeps no library between its calls.
//
// <unistd.h> must stay out of this file: it declares the libc sleep() that the
// host's no-op sleep below replaces.
#include <bit>
#include <cstdint>

#include "host/reading_conversion.h"
#include "host/vorn_host.h"

namespace vorn::host {
namespace {

// The library maps this rate to the interval round(100 / rate) = 300, that is 3 s.
// It is the f32 nearest 0.33333, not the one nearest 1/3.
constexpr float kHostSampleRate = 0.33333f;
static_assert(std::bit_cast<uint32_t>(kHostSampleRate) == 0x3EAAAA3Bu);
// No temperature offset: IN_TEMPERATURE_OFFSET is never passed.
constexpr float kHostTemperatureOffset = 0.0f;

}  // namespace
}  // namespace vorn::host

using namespace vorn::host;

extern "C" {

int32_t proccess_gsx_data(int32_t time_s, float* host_out, float temperature, float pressure,
                          float humidity, float gas) {
    // Refused before the state file is even read, so nothing is learnt or saved.
    if (!allFinite(temperature, pressure, humidity, gas)) return RC_E_INPUT_RANGE;
    const VornBackendResult setup =
        vorn_iot_init_backend(state_load, kHostSampleRate, kHostTemperatureOffset);
    if (setup.reserved_status != 0) return setup.reserved_status;
    if (setup.library_status != RC_OK) return setup.library_status;
    vorn_iot_loop_backend(time_s, host_out, state_save, temperature, pressure, humidity, gas);
    return 0;
}

// The host script's pacing hook: returns at once, so replays run at full speed.
VORN_HOST_API int32_t sleep(int32_t seconds);
int32_t sleep(int32_t /*seconds*/) {
    return 0;
}

}  // extern "C"
