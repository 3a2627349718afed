/* A complete C client in the order the library expects: build the instance,
 * restore a saved state if there is one, subscribe, then for every measurement ask
 * vorn_sensor_control what to measure, measure exactly that, and hand the samples
 * to vorn_do_steps; save the state at the end. The sensor is simulated: a clean
 * room with one cooking event. Runs one simulated hour and prints the IAQ index
 * every five minutes. */
#include <math.h>
#include <stdio.h>
#include <string.h>

#include "vorn/vorn.h"

#define N_OUTPUTS 14
#define STATE_CAPACITY 256
#define RATE_3S 0.33333f /* 1/3 Hz: interval 300 x 10 ms */

/* Readings of the simulated chip at time t seconds. */
static float temperature_at(double t) {
    return (float)(22.0 + 0.5 * sin(t / 900.0));
}
static float humidity_at(double t) {
    return (float)(45.0 + 3.0 * cos(t / 1200.0));
}
static float pressure_at(double t) {
    return (float)(100900.0 + 20.0 * sin(t / 600.0));
}
static float gas_at(double t) {
    const double since = t - 1800.0; /* cooking starts after 30 minutes */
    const double voc = since > 0.0 ? (1.0 - exp(-since / 120.0)) * exp(-since / 900.0) : 0.0;
    return (float)(120000.0 / (1.0 + 5.0 * voc));
}

static int subscribe(void) {
    const SensorRate wanted[] = {
        {RATE_3S, OUT_IAQ_INDEX, {0}},
        {RATE_3S, OUT_COMPENSATED_TEMPERATURE, {0}},
        {RATE_3S, OUT_COMPENSATED_HUMIDITY, {0}},
    };
    SensorRate required[8];
    uint8_t n_required = 8;
    const int32_t rc = vorn_update_subscription(wanted, 3, required, &n_required);
    if (rc < 0) {
        fprintf(stderr, "subscription refused: %d\n", (int)rc);
        return 0;
    }
    return 1;
}

static void add_sample(InputSample* in, uint8_t* n, uint8_t id, float value, int64_t now_ns) {
    in[*n].id = id;
    in[*n].value = value;
    in[*n].timestamp_ns = now_ns;
    ++*n;
}

/* Measure the inputs the plan asks for; returns the number of samples. A real
 * driver would first program plan->heater_temperature_c, heater_duration_ms and the
 * oversampling settings into the chip, then read it out. */
static uint8_t measure(const SensorSettings* plan, int64_t now_ns, InputSample* in) {
    const double t = (double)now_ns / 1e9;
    const uint32_t mask = plan->input_mask;
    uint8_t n = 0;
    if (mask & (1u << (IN_PRESSURE - 1))) add_sample(in, &n, IN_PRESSURE, pressure_at(t), now_ns);
    if (mask & (1u << (IN_HUMIDITY - 1))) add_sample(in, &n, IN_HUMIDITY, humidity_at(t), now_ns);
    if (mask & (1u << (IN_TEMPERATURE - 1))) {
        add_sample(in, &n, IN_TEMPERATURE, temperature_at(t), now_ns);
    }
    if (mask & (1u << (IN_GAS_RESISTANCE - 1))) {
        add_sample(in, &n, IN_GAS_RESISTANCE, gas_at(t), now_ns);
    }
    return n;
}

static void report(const OutputSample* out, uint8_t n, int64_t now_ns) {
    uint8_t i;
    if ((now_ns / 1000000000) % 300 != 1) return;
    for (i = 0; i < n; ++i) {
        if (out[i].id == OUT_IAQ_INDEX) {
            printf("t=%4lds  IAQ %6.1f (accuracy %u)\n", (long)(now_ns / 1000000000),
                   (double)out[i].value, out[i].accuracy);
        }
    }
}

int main(void) {
    static uint8_t state[STATE_CAPACITY];
    static uint8_t work[STATE_CAPACITY];
    uint32_t state_size = 0;
    int64_t now_ns = 1000000000LL; /* time stamps of 0 mean "no sample yet" */
    int64_t end_ns = 3600LL * 1000000000LL;
    int32_t rc;

    vorn_init();
    /* vorn_set_state(saved, saved_size, work, sizeof work) would restore a state
     * saved by an earlier run here, before subscribing. */
    if (!subscribe()) return 1;

    while (now_ns <= end_ns) {
        SensorSettings plan;
        InputSample in[4];
        OutputSample out[N_OUTPUTS];
        uint8_t n_out = N_OUTPUTS;
        uint8_t n_in;

        memset(in, 0, sizeof in);
        rc = vorn_sensor_control(now_ns, &plan);
        if (rc == RC_W_CALL_TIME_DEVIATION && plan.input_mask == 0) {
            now_ns = plan.next_call_ns; /* called too early: wait for the planned time */
            continue;
        }
        n_in = measure(&plan, now_ns, in);
        rc = vorn_do_steps(in, n_in, out, &n_out);
        if (rc < 0) {
            fprintf(stderr, "step refused: %d\n", (int)rc);
            return 1;
        }
        report(out, n_out, now_ns);
        now_ns = plan.next_call_ns; /* a real client sleeps until then */
    }

    rc = vorn_get_state(0, state, sizeof state, work, sizeof work, &state_size);
    if (rc != RC_OK) {
        fprintf(stderr, "state export failed: %d\n", (int)rc);
        return 1;
    }
    printf("saved %u bytes of learnt state\n", (unsigned)state_size);
    return 0;
}
