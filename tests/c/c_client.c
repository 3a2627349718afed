/* A plain C99 client of the public header: the header must compile as C, its
 * record layouts must be the documented ones, and the library must answer the
 * version call through the static archive. Prints "N passed, N failed". */
#include <stdio.h>
#include <string.h>

#include "vorn/version.h"
#include "vorn/vorn.h"

static int passed;
static int failed;

static void check(int ok, const char* what) {
    if (ok) {
        ++passed;
    } else {
        ++failed;
        printf("FAILED: %s\n", what);
    }
}

/* The version must be reported whatever the caller's record held before, and
 * without vorn_init having run. */
static void check_version(void) {
    VersionInfo version;
    int32_t status;
    memset(&version, 0xAB, sizeof version);
    status = vorn_get_version(&version);
    check(status == RC_OK, "vorn_get_version returns RC_OK");
    check(version.major == VORN_VERSION_MAJOR && version.minor == VORN_VERSION_MINOR &&
              version.patch == VORN_VERSION_PATCH && version.build == VORN_VERSION_BUILD,
          "vorn_get_version reports the project version");
}

/* Status codes travel as int32_t; a C enum must carry the negative and positive
 * values unchanged. */
static void check_status_codes(void) {
    const int32_t errors[] = {RC_E_INPUT_ID, RC_E_SECTION_TOO_LARGE, RC_E_BLOB_OVERFLOW,
                              RC_E_SECTION_SHORT};
    const int32_t expected_errors[] = {-1, -32, -41, -104};
    size_t i;
    for (i = 0; i < sizeof errors / sizeof errors[0]; ++i) {
        check(errors[i] == expected_errors[i], "error code value");
    }
    check(RC_W_TRIGGER_TOO_SOON == 102 && RC_W_NO_OUTPUT_ROOM == 2, "warning code values");
}

/* Identifiers as a C client would use them in masks: bit (id - 1). */
static void check_identifiers(void) {
    const uint32_t inputs = (1u << (IN_PRESSURE - 1)) | (1u << (IN_HUMIDITY - 1)) |
                            (1u << (IN_TEMPERATURE - 1)) | (1u << (IN_GAS_RESISTANCE - 1)) |
                            (1u << (IN_TEMPERATURE_OFFSET - 1)) |
                            (1u << (IN_MOD_HEATING_FLAG - 1)) | (1u << (IN_BASELINE_INDEX - 1)) |
                            (1u << (IN_PROCESSING_INHIBIT - 1));
    const uint32_t outputs =
        (1u << (OUT_IAQ_INDEX - 1)) | (1u << (OUT_IAQ_FIXED_SCALE - 1)) |
        (1u << (OUT_LINEAR_ESTIMATE - 1)) | (1u << (OUT_EXPONENTIAL_ESTIMATE - 1)) |
        (1u << (OUT_PASSTHROUGH_TEMPERATURE - 1)) | (1u << (OUT_PASSTHROUGH_PRESSURE - 1)) |
        (1u << (OUT_PASSTHROUGH_HUMIDITY - 1)) | (1u << (OUT_PASSTHROUGH_GAS - 1)) |
        (1u << (OUT_ACCUMULATED_TIME_FLAG - 1)) | (1u << (OUT_CONTINUOUS_TIME_FLAG - 1)) |
        (1u << (OUT_COMPENSATED_TEMPERATURE - 1)) | (1u << (OUT_COMPENSATED_HUMIDITY - 1)) |
        (1u << (OUT_COMPENSATED_LOG_GAS - 1)) | (1u << (OUT_GAS_SCALE_PERCENT - 1));
    check(inputs == 0x00E0200Fu, "input identifiers form the input mask");
    check(outputs == 0x001279EFu, "output identifiers form the output mask");
}

/* The layouts are also asserted in the header; these catch a header whose checks
 * were disabled or whose C view differs from the C++ one. */
static void check_layouts(void) {
    check(sizeof(InputSample) == 16 && offsetof(InputSample, id) == 13, "InputSample layout");
    check(sizeof(OutputSample) == 16 && offsetof(OutputSample, accuracy) == 14,
          "OutputSample layout");
    check(sizeof(SensorRate) == 8 && offsetof(SensorRate, id) == 4, "SensorRate layout");
    check(sizeof(SensorSettings) == 24 && offsetof(SensorSettings, measure_now) == 20,
          "SensorSettings layout");
    check(sizeof(VersionInfo) == 4 && offsetof(VersionInfo, build) == 3, "VersionInfo layout");
}

int main(void) {
    check_version();
    check_status_codes();
    check_identifiers();
    check_layouts();
    printf("%d passed, %d failed\n", passed, failed);
    return failed == 0 ? 0 : 1;
}
