/* The cross-platform check: two days of every output at 1/3 Hz through the public header
 * only, with a restart from the saved state at midnight, hashing every status, plan word,
 * output bit and blob byte in little-endian order. Every reading is an integer times a
 * power of two, exact in binary32 on any platform, so equal hashes mean equal library
 * arithmetic. Prints the hash; scripts/cross.sh compares it across platforms. */
#include <stdio.h>
#include <string.h>

#include "vorn/vorn.h"

static uint64_t hash = 14695981039346656037u; /* FNV-1a, 64 bit */

static void add(uint64_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) hash = (hash ^ ((value >> (8 * i)) & 0xFF)) * 1099511628211u;
}

static void subscribe(void) {
    static const uint8_t outputs[] = {1, 2, 3, 4, 6, 7, 8, 9, 12, 13, 14, 15, 18, 21};
    SensorRate requests[14] = {{0}}, required[8];
    uint8_t n = 8;
    for (int i = 0; i < 14; ++i) requests[i].rate_hz = 0.33333f, requests[i].id = outputs[i];
    add((uint32_t)vorn_update_subscription(requests, 14, required, &n), 4);
}

/* The state blob (then a restart from it, as at midnight) or the configuration blob. */
static void addBlob(int restart) {
    uint8_t blob[600] = {0}, work[600]; /* zeroed: the library leaves the trailer's */
    uint32_t size = 0;                  /* reserved bytes as it found them */
    const int32_t status = restart ? vorn_get_state(0, blob, 600, work, 600, &size)
                                   : vorn_get_configuration(0, blob, 600, work, 600, &size);
    add((uint32_t)status, 4);
    for (uint32_t i = 0; i < size; ++i) add(blob[i], 1);
    if (!restart) return;
    vorn_init();
    add((uint32_t)vorn_set_state(blob, size, work, 600), 4);
    subscribe();
}

int main(void) {
    uint32_t seed = 12345;
    int64_t t = 1000000000000;
    vorn_init();
    subscribe();
    for (int k = 0; k < 57600; ++k) {
        SensorSettings plan;
        memset(&plan, 0, sizeof plan);
        add((uint32_t)vorn_sensor_control(t, &plan), 4);
        add((uint64_t)plan.next_call_ns, 8);
        add(plan.input_mask, 4);
        add(plan.heater_duration_ms, 2);
        seed = seed * 1103515245u + 12345u;
        const int phase = k % 28800, smoky = phase % 7200 < 900;
        const float readings[4] = {(float)(98000 + phase % 600), (float)(5120 + phase % 3000) / 128,
                                   (float)(5376 + phase % 1000) / 256,
                                   (float)(20000 + (int)(seed >> 8) % 60000 - 15000 * smoky)};
        InputSample inputs[4];
        uint8_t n = 0;
        for (uint8_t id = 1; id <= 4; ++id) {
            if ((plan.input_mask >> (id - 1) & 1u) == 0) continue;
            const InputSample sample = {t, readings[id - 1], 0, id, {0, 0}};
            inputs[n++] = sample;
        }
        OutputSample outputs[19];
        uint8_t count = 19;
        add((uint32_t)vorn_do_steps(inputs, n, outputs, &count), 4);
        for (int i = 0; i < count; ++i) {
            uint32_t bits;
            memcpy(&bits, &outputs[i].value, 4);
            add(outputs[i].id, 1);
            add((uint64_t)outputs[i].timestamp_ns, 8);
            add(bits, 4);
            add(outputs[i].accuracy, 1);
        }
        t = plan.next_call_ns > t ? plan.next_call_ns : t + 1000000000;
        if (phase == 28799) addBlob(1);
    }
    addBlob(0);
    printf("%016llx\n", (unsigned long long)hash);
    return 0;
}
