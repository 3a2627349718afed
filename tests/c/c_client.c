/* A plain C99 client of the public headers: they must compile as C (running the record
 * layout checks in C), the version and status codes a C client sees through the static
 * archive must be the documented ones, and the tick clock must survive the tick's wrap.
 * Prints the checks that fail. */
#include <stdio.h>
#include <string.h>

#include "vorn/version.h"
#include "vorn/vorn.h"
#include "vorn/vorn_clock.h"

static int failed;

#define CHECK(condition) \
    ((condition) ? (void)0 : (void)(++failed, printf("FAILED: %s\n", #condition)))

int main(void) {
    VersionInfo version;
    memset(&version, 0xAB, sizeof version); /* answered without vorn_init, whatever it held */
    CHECK(vorn_get_version(&version) == RC_OK);
    CHECK(version.major == VORN_VERSION_MAJOR && version.minor == VORN_VERSION_MINOR &&
          version.patch == VORN_VERSION_PATCH && version.build == VORN_VERSION_BUILD);
    /* Status codes travel as int32_t; a C enum must carry both signs unchanged. */
    CHECK(RC_E_INPUT_ID == -1 && RC_E_SECTION_TOO_LARGE == -32 && RC_E_BLOB_OVERFLOW == -41 &&
          RC_E_SECTION_SHORT == -104 && RC_W_TRIGGER_TOO_SOON == 102 && RC_W_NO_OUTPUT_ROOM == 2);
    /* Never 0, never back: 1 ms at the first tick, +32 ms across the wrap, the same for a
     * repeated tick, and the longest step (2^32 - 1 ms) between two calls. */
    VornClock clk = {0, 0};
    CHECK(vorn_clock_ns(&clk, 0xFFFFFFF0u) == INT64_C(1000000));
    CHECK(vorn_clock_ns(&clk, 0x00000010u) == INT64_C(33000000));
    CHECK(vorn_clock_ns(&clk, 0x00000010u) == INT64_C(33000000));
    CHECK(vorn_clock_ns(&clk, 0x0000000Fu) == INT64_C(33000000) + INT64_C(4294967295000000));
    return failed == 0 ? 0 : 1;
}
