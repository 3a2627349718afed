/*
 * Cortex-M4 footprint probe: a bare-metal program that calls every exported
 * operation once, so that the linker keeps exactly the code a device needs.
 * empty.c is the same program without the library; the difference is the core's size.
 */
#include "vorn/vorn.h"

static uint8_t blob[512];
static uint8_t work[512];

int main(void) {
    VersionInfo version;
    SensorRate requested[1] = {{0.33333f, OUT_IAQ_INDEX, {0, 0, 0}}};
    SensorRate required[8];
    uint8_t n_required = 8;
    SensorSettings settings;
    InputSample inputs[1] = {{0, 100000.0f, 1, IN_GAS_RESISTANCE, {0, 0}}};
    OutputSample outputs[16];
    uint8_t n_outputs = 16;
    uint32_t size = 0;
    int32_t rc = vorn_get_version(&version);
    rc += vorn_init();
    rc += vorn_update_subscription(requested, 1, required, &n_required);
    rc += vorn_sensor_control(0, &settings);
    rc += vorn_do_steps(inputs, 1, outputs, &n_outputs);
    rc += vorn_reset_output(OUT_IAQ_INDEX);
    rc += vorn_get_configuration(0, blob, sizeof blob, work, sizeof work, &size);
    rc += vorn_set_configuration(blob, size, work, sizeof work);
    rc += vorn_get_state(0, blob, sizeof blob, work, sizeof work, &size);
    rc += vorn_set_state(blob, size, work, sizeof work);
    return rc;
}
