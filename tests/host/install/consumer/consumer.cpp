// A minimal client of the installed library: version, subscription, one planned
// step. Exits non-zero on anything unexpected.
#include <vorn/vorn.h>

#include <cstdio>

int main() {
    VersionInfo version{};
    vorn_get_version(&version);
    if (version.major != 1 || version.minor != 4 || version.patch != 7 || version.build != 4) {
        return 1;
    }
    vorn_init();
    SensorRate want[] = {{0.33333f, OUT_COMPENSATED_TEMPERATURE, {}}};
    SensorRate need[8];
    uint8_t n_need = 8;
    if (vorn_update_subscription(want, 1, need, &n_need) != RC_OK || n_need != 8) return 2;

    const int64_t now = 1000000000000;
    SensorSettings plan{};
    if (vorn_sensor_control(now, &plan) != RC_OK || plan.next_call_ns != now + 3000000000) return 3;
    InputSample in[] = {{now, 23.0f, 1, IN_TEMPERATURE, {}},
                        {now, 45.0f, 1, IN_HUMIDITY, {}},
                        {now, 50000.0f, 1, IN_GAS_RESISTANCE, {}}};
    OutputSample out[14];
    uint8_t n_out = 14;
    if (vorn_do_steps(in, 3, out, &n_out) != RC_OK || n_out != 1) return 4;
    std::printf("vorn %u.%u.%u.%u: compensated temperature %.2f\n", version.major, version.minor,
                version.patch, version.build, static_cast<double>(out[0].value));
    return out[0].id == OUT_COMPENSATED_TEMPERATURE ? 0 : 5;
}
