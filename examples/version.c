/* Prints the library version: the smallest client of the C interface. */
#include <stdio.h>

#include "vorn/vorn.h"

int main(void) {
    VersionInfo v;
    vorn_get_version(&v);
    printf("vorn %u.%u.%u.%u\n", v.major, v.minor, v.patch, v.build);
    return 0;
}
