// Before any vorn_init the library must run on its defaults, not an all-zero record
// (whose zero intervals would divide by zero). Alone in its file so it runs first.
#include <gtest/gtest.h>

#include "blobs.h"
#include "library_client.h"

namespace {

using namespace vorn_test;

TEST(BeforeInit, OperationsSeeTheDefaults) {
    const Step first = step({sample(IN_TEMPERATURE, kSecond, 20.0f)});
    EXPECT_EQ(first.status, RC_OK);
    EXPECT_TRUE(first.outputs.empty());
    const Bytes before = exportBlob(BlobKind::Configuration);
    ASSERT_FALSE(before.empty());
    vorn_init();
    EXPECT_EQ(exportBlob(BlobKind::Configuration), before);
}

}  // namespace
