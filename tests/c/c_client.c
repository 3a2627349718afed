/* A plain C99 client of the public header: the header must compile as C, and the
 * version call, status codes, identifiers and record layouts a C client sees through
 * the static archive must be the documented ones. Prints the checks that fail. */
#include <stdio.h>
#include <string.h>

#include "vorn/version.h"
#include "vorn/vorn.h"

static int failed;

#define CHECK(condition) \
    ((condition) ? (void)0 : (void)(++failed, printf("FAILED: %s\n", #condition)))

#define BIT(id) (1u << ((id)-1))

int main(void) {
    VersionInfo version;
    memset(&version, 0xAB, sizeof version); /* answered without vorn_init, whatever it held */
    CHECK(vorn_get_version(&version) == RC_OK);
    CHECK(version.major == VORN_VERSION_MAJOR && version.minor == VORN_VERSION_MINOR &&
          version.patch == VORN_VERSION_PATCH && version.build == VORN_VERSION_BUILD);
    /* Status codes travel as int32_t; a C enum must carry both signs unchanged. */
    CHECK(RC_E_INPUT_ID == -1 && RC_E_SECTION_TOO_LARGE == -32 && RC_E_BLOB_OVERFLOW == -41 &&
          RC_E_SECTION_SHORT == -104 && RC_W_TRIGGER_TOO_SOON == 102 && RC_W_NO_OUTPUT_ROOM == 2);
    /* Identifiers as a C client uses them in masks: bit (id - 1). */
    CHECK((BIT(IN_PRESSURE) | BIT(IN_HUMIDITY) | BIT(IN_TEMPERATURE) | BIT(IN_GAS_RESISTANCE) |
           BIT(IN_TEMPERATURE_OFFSET) | BIT(IN_MOD_HEATING_FLAG) | BIT(IN_BASELINE_INDEX) |
           BIT(IN_PROCESSING_INHIBIT)) == 0x00E0200Fu);
    CHECK((BIT(OUT_IAQ_INDEX) | BIT(OUT_IAQ_FIXED_SCALE) | BIT(OUT_LINEAR_ESTIMATE) |
           BIT(OUT_EXPONENTIAL_ESTIMATE) | BIT(OUT_PASSTHROUGH_TEMPERATURE) |
           BIT(OUT_PASSTHROUGH_PRESSURE) | BIT(OUT_PASSTHROUGH_HUMIDITY) |
           BIT(OUT_PASSTHROUGH_GAS) | BIT(OUT_ACCUMULATED_TIME_FLAG) |
           BIT(OUT_CONTINUOUS_TIME_FLAG) | BIT(OUT_COMPENSATED_TEMPERATURE) |
           BIT(OUT_COMPENSATED_HUMIDITY) | BIT(OUT_COMPENSATED_LOG_GAS) |
           BIT(OUT_GAS_SCALE_PERCENT)) == 0x001279EFu);
    /* Also asserted in the header; these catch a C view that differs from the C++ one. */
    CHECK(sizeof(InputSample) == 16 && offsetof(InputSample, id) == 13);
    CHECK(sizeof(OutputSample) == 16 && offsetof(OutputSample, accuracy) == 14);
    CHECK(sizeof(SensorRate) == 8 && offsetof(SensorRate, id) == 4);
    CHECK(sizeof(SensorSettings) == 24 && offsetof(SensorSettings, measure_now) == 20);
    CHECK(sizeof(VersionInfo) == 4 && offsetof(VersionInfo, build) == 3);
    return failed == 0 ? 0 : 1;
}
