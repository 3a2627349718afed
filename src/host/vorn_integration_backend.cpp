// Integration loop between the host entry points and the library interface: sets
// the library up for the host's fixed subscription, turns one set of four raw
// readings into library inputs, runs one processing step, copies seven results to
// the host and persists the learnt state through a callback.
#include <array>
#include <cstdint>
#include <cstring>

#include "host/reading_conversion.h"
#include "host/vorn_host.h"
#include "identifiers/identifiers.h"
#include "vorn/vorn.h"

namespace vorn::host {
namespace {

// The setup imports whatever the loader found; its buffers are generous because
// the file may hold more than the library's own state.
constexpr uint32_t kSetupBufferSize = 1974;
// The loop exports the state (139 bytes with the current sections) into these.
constexpr uint32_t kLoopBufferSize = 221;
constexpr uint8_t kOutputCapacity = 19;
constexpr uint8_t kRequiredCapacity = 8;
constexpr int kMaxInputs = 5;
constexpr int64_t kNanosecondsPerSecond = 1000000000;
constexpr uint8_t kDefaultStateSet = 0;

// Positions in the host's seven-float array.
enum HostIndex : int {
    kHostIaq = 0,
    kHostIaqAccuracy = 1,
    kHostTemperature = 2,
    kHostHumidity = 3,
    kHostFixedScale = 4,
    kHostLinear = 5,
    kHostExponential = 6,
    kHostValueCount = 7,
};

// The last readings as integers. The leading word is not used by this
// integration; it keeps the record's shape.
struct Readings {
    uint8_t unused[4];
    int16_t temperature;
    uint32_t pressure;
    uint32_t humidity;
    uint32_t gas;
};

Readings data;

InputSample makeInput(uint8_t id, float value, int64_t timestamp_ns) {
    InputSample sample{};
    sample.timestamp_ns = timestamp_ns;
    sample.value = value;
    sample.id = id;
    return sample;
}

void storeReadings(float temperature, float pressure, float humidity, float gas) {
    data.temperature = truncateTemperature(temperature);
    data.pressure = truncateToUint32(pressure);
    data.humidity = truncateToUint32(humidity);
    data.gas = truncateToUint32(gas);
}

// Builds the inputs from `data`; returns how many were written (4, or 5 with a
// positive temperature offset).
uint8_t buildInputs(int64_t timestamp_ns, InputSample* inputs) {
    uint8_t count = 0;
    inputs[count++] = makeInput(IN_PRESSURE, static_cast<float>(data.pressure), timestamp_ns);
    inputs[count++] = makeInput(IN_TEMPERATURE, static_cast<float>(data.temperature), timestamp_ns);
    if (gsx410_temperature_offset_g > 0.0f) {
        inputs[count++] =
            makeInput(IN_TEMPERATURE_OFFSET, gsx410_temperature_offset_g, timestamp_ns);
    }
    inputs[count++] = makeInput(IN_HUMIDITY, static_cast<float>(data.humidity), timestamp_ns);
    inputs[count++] = makeInput(IN_GAS_RESISTANCE, static_cast<float>(data.gas), timestamp_ns);
    return count;
}

// Value and accuracy of the outputs the host reports, 0 for those absent.
struct HostOutputs {
    float iaq = 0.0f;
    uint8_t iaqAccuracy = 0;
    float temperature = 0.0f;
    float humidity = 0.0f;
    float fixedScale = 0.0f;
    float linear = 0.0f;
    float exponential = 0.0f;
};

HostOutputs scanOutputs(const OutputSample* outputs, uint8_t count) {
    HostOutputs found;
    for (uint8_t i = 0; i < count; ++i) {
        const OutputSample& out = outputs[i];
        switch (out.id) {
            case OUT_IAQ_INDEX:
                found.iaq = out.value;
                found.iaqAccuracy = out.accuracy;
                break;
            case OUT_COMPENSATED_TEMPERATURE:
                found.temperature = out.value;
                break;
            case OUT_COMPENSATED_HUMIDITY:
                found.humidity = out.value;
                break;
            case OUT_IAQ_FIXED_SCALE:
                found.fixedScale = out.value;
                break;
            case OUT_LINEAR_ESTIMATE:
                found.linear = out.value;
                break;
            case OUT_EXPONENTIAL_ESTIMATE:
                found.exponential = out.value;
                break;
            default:
                break;
        }
    }
    return found;
}

void writeHostValues(const HostOutputs& found, float* host_out) {
    host_out[kHostIaq] = found.iaq;
    host_out[kHostIaqAccuracy] = static_cast<float>(found.iaqAccuracy);
    host_out[kHostTemperature] = found.temperature;
    host_out[kHostHumidity] = found.humidity;
    host_out[kHostFixedScale] = found.fixedScale;
    host_out[kHostLinear] = found.linear;
    host_out[kHostExponential] = found.exponential;
}

void saveState(vorn_state_save_fn save) {
    if (save == nullptr) return;
    uint8_t state[kLoopBufferSize] = {};
    uint8_t work[kLoopBufferSize] = {};
    uint32_t length = 0;
    if (vorn_get_state(kDefaultStateSet, state, kLoopBufferSize, work, kLoopBufferSize, &length) ==
        RC_OK) {
        save(state, length);
    }
}

}  // namespace
}  // namespace vorn::host

using namespace vorn::host;
using vorn::kHostOutputs;

extern "C" {

float gsx410_temperature_offset_g = 0.0f;

int32_t gsx410_vorn_update_subscription(float sample_rate) {
    SensorRate requested[kHostOutputs.size()] = {};
    for (size_t i = 0; i < kHostOutputs.size(); ++i) {
        requested[i].rate_hz = sample_rate;
        requested[i].id = kHostOutputs[i];
    }
    SensorRate required[kRequiredCapacity] = {};
    uint8_t n_required = kRequiredCapacity;
    return vorn_update_subscription(requested, static_cast<uint8_t>(kHostOutputs.size()), required,
                                    &n_required);
}

VornBackendResult vorn_iot_init_backend(vorn_state_load_fn load, float sample_rate,
                                        float temperature_offset) {
    VornBackendResult result{};
    uint8_t state[kSetupBufferSize] = {};
    uint8_t work[kSetupBufferSize] = {};

    result.library_status = vorn_init();
    if (result.library_status != RC_OK) return result;

    const int32_t length = load != nullptr ? load(state, kSetupBufferSize) : 0;
    if (length != 0) {
        // A negative count reaches the library as a huge size, which it refuses
        // (RC_E_WORK_BUFFER_SMALL) before reading anything.
        const int32_t status =
            vorn_set_state(state, static_cast<uint32_t>(length), work, kSetupBufferSize);
        if (status != RC_OK) {
            result.library_status = status;
            return result;
        }
    }
    gsx410_temperature_offset_g = temperature_offset;
    result.library_status = gsx410_vorn_update_subscription(sample_rate);
    return result;
}

void gsx410_vorn_process_data(const InputSample* inputs, uint8_t n, float* host_out) {
    if (n == 0) return;
    OutputSample outputs[kOutputCapacity];
    uint8_t n_outputs = kOutputCapacity;
    const int32_t status = vorn_do_steps(inputs, n, outputs, &n_outputs);
    const HostOutputs found = scanOutputs(outputs, n_outputs);
    if (status == RC_OK && host_out != nullptr) writeHostValues(found, host_out);
}

void vorn_iot_loop_backend(int32_t time_s, float* host_out, vorn_state_save_fn save,
                           float temperature, float pressure, float humidity, float gas) {
    if (!allFinite(temperature, pressure, humidity, gas)) return;  // nothing learnt or saved
    storeReadings(temperature, pressure, humidity, gas);
    // |time_s| < 2^31, so the product stays below 2.2e18 < 2^63.
    const int64_t time_ns = static_cast<int64_t>(time_s) * kNanosecondsPerSecond;

    // The plan is not followed: the host measures everything on every call.
    SensorSettings settings{};
    vorn_sensor_control(time_ns, &settings);

    InputSample inputs[kMaxInputs] = {};
    const uint8_t count = buildInputs(time_ns, inputs);
    gsx410_vorn_process_data(inputs, count, host_out);
    saveState(save);
}

}  // extern "C"
