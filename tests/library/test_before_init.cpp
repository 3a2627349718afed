// Before any vorn_init the library must run on its defaults, not an all-zero record
// (whose zero intervals would divide by zero). Alone in its file so it runs first.
#include <gtest/gtest.h>

#include "library_client.h"

namespace {

using namespace vorn_test;

TEST(BeforeInit, OperationsSeeTheDefaults) {
    const Step first = step({sample(IN_TEMPERATURE, kSecond, 20.0f)});
    EXPECT_EQ(first.status, RC_OK);
    EXPECT_TRUE(first.outputs.empty());
    uint8_t blob[512], work[512];
    uint32_t size = 0;
    ASSERT_EQ(vorn_get_configuration(0, blob, sizeof blob, work, sizeof work, &size), RC_OK);
    const std::vector<uint8_t> before(blob, blob + size);
    vorn_init();
    ASSERT_EQ(vorn_get_configuration(0, blob, sizeof blob, work, sizeof work, &size), RC_OK);
    EXPECT_EQ(std::vector<uint8_t>(blob, blob + size), before);
}

}  // namespace
