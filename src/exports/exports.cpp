// The exported C entry points. Each is a plain forwarder to its operation with the
// single library instance: a tail call, so an exported call costs no stack beyond
// the operation's own.
#include "math/fp_rules.h"

#include "engine/engine.h"

using vorn::instance;

extern "C" {

VORN_API int32_t vorn_init(void) {
    vorn::constructEngine();
    return RC_OK;
}

VORN_API int32_t vorn_reset_output(uint8_t id) {
    return vorn::resetOutput(instance(), id);
}

VORN_API int32_t vorn_update_subscription(const SensorRate* requested, uint8_t n_requested,
                                          SensorRate* required, uint8_t* n_required) {
    return vorn::updateSubscription(instance(), requested, n_requested, required, n_required);
}

VORN_API int32_t vorn_do_steps(const InputSample* inputs, uint8_t n_inputs, OutputSample* outputs,
                               uint8_t* n_outputs) {
    return vorn::doSteps(instance(), inputs, n_inputs, outputs, n_outputs);
}

VORN_API int32_t vorn_sensor_control(int64_t time_ns, SensorSettings* settings) {
    return vorn::sensorControl(instance(), time_ns, settings);
}

VORN_API int32_t vorn_set_configuration(const uint8_t* blob, uint32_t blob_size, uint8_t* work,
                                        uint32_t work_size) {
    return vorn::setConfiguration(instance(), blob, blob_size, work, work_size);
}

VORN_API int32_t vorn_set_state(const uint8_t* blob, uint32_t blob_size, uint8_t* work,
                                uint32_t work_size) {
    return vorn::setState(instance(), blob, blob_size, work, work_size);
}

VORN_API int32_t vorn_get_configuration(uint8_t set_id, uint8_t* blob, uint32_t blob_capacity,
                                        uint8_t* work, uint32_t work_size, uint32_t* blob_size) {
    return vorn::getConfiguration(instance(), set_id, blob, blob_capacity, work, work_size,
                                  blob_size);
}

VORN_API int32_t vorn_get_state(uint8_t set_id, uint8_t* blob, uint32_t blob_capacity,
                                uint8_t* work, uint32_t work_size, uint32_t* blob_size) {
    return vorn::getState(instance(), set_id, blob, blob_capacity, work, work_size, blob_size);
}

}  // extern "C"
