// The exported C entry points. Each forwards to its operation with the single
// library instance; this is also where a caller's null pointers are turned into a
// status or a safe no-op, so the operations behind may rely on their arguments.
#include "core/vorn.h"

using vorn::library;

extern "C" {

VORN_API int32_t vorn_init(void) {
    vorn::constructVorn();
    return RC_OK;
}

VORN_API int32_t vorn_reset_output(uint8_t id) {
    return vorn::resetOutput(library(), id);
}

VORN_API int32_t vorn_update_subscription(const SensorRate* requested, uint8_t n_requested,
                                          SensorRate* required, uint8_t* n_required) {
    uint8_t capacity = 0;  // no room when the caller gives no array or no count
    if (required != nullptr && n_required != nullptr) capacity = *n_required;
    if (requested == nullptr) n_requested = 0;
    const int32_t status =
        vorn::updateSubscription(library(), requested, n_requested, required, capacity);
    if (n_required != nullptr) *n_required = capacity;
    return status;
}

VORN_API int32_t vorn_do_steps(const InputSample* inputs, uint8_t n_inputs, OutputSample* outputs,
                               uint8_t* n_outputs) {
    if (inputs == nullptr && n_inputs != 0) {
        if (n_outputs != nullptr) *n_outputs = 0;
        return RC_E_INPUT_ID;
    }
    uint8_t capacity = 0;  // the step still runs; its outputs are dropped
    if (outputs != nullptr && n_outputs != nullptr) capacity = *n_outputs;
    const int32_t status = vorn::doSteps(library(), inputs, n_inputs, outputs, capacity);
    if (n_outputs != nullptr) *n_outputs = capacity;
    return status;
}

VORN_API int32_t vorn_sensor_control(int64_t time_ns, SensorSettings* settings) {
    // Without a record to fill, planning would change the schedule unseen.
    if (settings == nullptr) return RC_W_CALL_TIME_DEVIATION;
    return vorn::sensorControl(library(), time_ns, *settings);
}

VORN_API int32_t vorn_set_configuration(const uint8_t* blob, uint32_t blob_size, uint8_t* work,
                                        uint32_t work_size) {
    if (blob == nullptr) return RC_E_BLOB_TOO_SHORT;
    if (work == nullptr) return RC_E_WORK_BUFFER_SMALL;
    return vorn::setConfiguration(library(), blob, blob_size, work, work_size);
}

VORN_API int32_t vorn_set_state(const uint8_t* blob, uint32_t blob_size, uint8_t* work,
                                uint32_t work_size) {
    if (blob == nullptr) return RC_E_BLOB_TOO_SHORT;
    if (work == nullptr) return RC_E_WORK_BUFFER_SMALL;
    return vorn::setState(library(), blob, blob_size, work, work_size);
}

VORN_API int32_t vorn_get_configuration(uint8_t set_id, uint8_t* blob, uint32_t blob_capacity,
                                        uint8_t* work, uint32_t work_size, uint32_t* blob_size) {
    if (blob_size == nullptr) return RC_E_SERIALIZE_REQUEST;
    *blob_size = 0;
    if (blob == nullptr) return RC_E_SERIALIZE_REQUEST;
    if (work == nullptr) return RC_E_WORK_BUFFER_SMALL;
    return vorn::getConfiguration(library(), set_id, blob, blob_capacity, work, work_size,
                                  *blob_size);
}

VORN_API int32_t vorn_get_state(uint8_t set_id, uint8_t* blob, uint32_t blob_capacity,
                                uint8_t* work, uint32_t work_size, uint32_t* blob_size) {
    if (blob_size == nullptr) return RC_E_SERIALIZE_REQUEST;
    *blob_size = 0;
    if (blob == nullptr) return RC_E_SERIALIZE_REQUEST;
    if (work == nullptr) return RC_E_WORK_BUFFER_SMALL;
    return vorn::getState(library(), set_id, blob, blob_capacity, work, work_size, *blob_size);
}

}  // extern "C"
