// Configuration and state blobs: export refusals, import failures (nothing changes,
// or only the sections before the failing one), accepted variants, output reset.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "blobs.h"
#include "client.h"

namespace {

using namespace vorn_test;
using Blob = Bytes;
constexpr auto kConfiguration = BlobKind::Configuration, kState = BlobKind::State;

std::vector<uint32_t> offsets(const Blob& blob) {
    std::vector<uint32_t> list;
    for (uint32_t at = 16; at + 8 < blob.size(); at += blob[at] | (blob[at + 1] << 8)) {
        list.push_back(at);
    }
    return list;
}

TEST(Blobs, ExportRefusalsWriteNothingPastTheCapacity) {
    vorn_init();
    struct Case {
        BlobKind kind;
        uint32_t capacity, work;
        int32_t status;
    };
    for (const Case c : {Case{kState, 24, kAmple, RC_E_SERIALIZE_REQUEST},
                         Case{kConfiguration, 1024, 228, RC_E_WORK_BUFFER_SMALL},
                         Case{kConfiguration, 453, kAmple, RC_E_BLOB_OVERFLOW},
                         Case{kState, 138, kAmple, RC_E_BLOB_OVERFLOW}}) {
        const Export e = exportInto(c.kind, c.capacity, c.work);
        EXPECT_TRUE(e.blob.empty() && !e.overrun);
        EXPECT_EQ(e.status, c.status) << c.capacity << " / " << c.work;
    }
    // Exactly enough room: the largest section fills the work buffer, the blob its array.
    const Export exact = exportInto(kConfiguration, 454, 229);
    EXPECT_EQ(exact.status, RC_OK);
    EXPECT_EQ(exact.blob, exportBlob(kConfiguration));
    uint8_t blob[600], work[600];
    uint32_t size = 9;
    EXPECT_EQ(vorn_get_configuration(1, blob, 600, work, 600, &size), RC_E_SERIALIZE_REQUEST);
    EXPECT_EQ(size, 0u);
}

// A trained state and the default one; every test starts from the default.
class Imports : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        // Five minutes of the room, so that the state is not the default.
        drive(Scenario({OUT_IAQ_INDEX, OUT_COMPENSATED_HUMIDITY}, kRate3s, 100 * Room::kPeriodNs),
              [](const Cycle&, Client&) {});
        trained = exportBlob(kState);
        trainedConfig = exportBlob(kConfiguration);
        vorn_init();
        fresh = exportBlob(kState);
    }
    void SetUp() override { vorn_init(); }
    static inline Blob trained, trainedConfig, fresh;
};

TEST_F(Imports, FailedImportsChangeNothing) {
    const std::pair<void (*)(Blob&), int32_t> damages[] = {
        {[](Blob& b) { b.resize(23); }, RC_E_BLOB_TOO_SHORT},
        {[](Blob& b) { b[0] ^= 1; }, RC_E_BLOB_VERSION},
        {[](Blob& b) { std::memset(b.data() + 4, 0xFF, 8); }, RC_E_BLOB_KIND},
        {[](Blob& b) { b.push_back(0); }, RC_E_BLOB_LENGTH},
        {[](Blob& b) { b[40] ^= 0x10; }, RC_E_BLOB_CRC},
        {[](Blob& b) { b.back() = 1; }, RC_E_BLOB_CRC},
        {[](Blob& b) { b[16] = 0x80, reseal(b); }, RC_E_BLOB_LENGTH},  // section runs past the end
        {[](Blob& b) { b[16] = 3, reseal(b); }, RC_E_SECTION_SHORT}};
    for (const auto& [damage, status] : damages) {
        Blob blob = trained;
        damage(blob);
        EXPECT_EQ(importBlob(kState, blob), status);
        EXPECT_EQ(exportBlob(kState), fresh);
    }
    EXPECT_EQ(importBlob(kState, trained, 138), RC_E_WORK_BUFFER_SMALL);
    EXPECT_EQ(vorn_set_state(nullptr, 139, nullptr, 0), RC_E_BLOB_TOO_SHORT);
    EXPECT_EQ(exportBlob(kState), fresh);

    Blob variant = trained;  // accepted variants and bytes nobody reads
    std::memset(variant.data(), 0xFF, 8);
    variant[16 + 3] = 0x5A;
    reseal(variant);
    variant[139 - 8] = 0x77;
    ASSERT_EQ(importBlob(kState, variant), RC_OK);
    EXPECT_EQ(exportBlob(kState), trained);
}

TEST_F(Imports, SectionErrorKeepsOnlyTheSectionsBeforeIt) {
    Blob damaged = trained;
    const uint32_t at = offsets(trained)[2];
    damaged[at + 2] = 4;  // channel 3's section now names channel 4
    reseal(damaged);
    EXPECT_EQ(importBlob(kState, damaged), RC_E_SECTION_UNKNOWN);
    const Blob after = exportBlob(kState);
    EXPECT_TRUE(std::equal(after.begin(), after.begin() + at, trained.begin()));
    EXPECT_TRUE(std::equal(after.begin() + at, after.end() - 8, fresh.begin() + at));
    EXPECT_NE(Blob(trained.begin() + 16, trained.begin() + at),
              Blob(fresh.begin() + 16, fresh.begin() + at));
}

// Outputs 1 to 4 discard the IAQ chain's learnt state (channels 1 and 2 come first);
// other identifiers change nothing.
TEST_F(Imports, OutputResetDiscardsTheIaqChain) {
    const uint32_t chain = offsets(trained)[2];
    for (int id : {0, 1, 4, 5, 21}) {
        ASSERT_EQ(importBlob(kState, trained), RC_OK);
        EXPECT_EQ(vorn_reset_output(static_cast<uint8_t>(id)), RC_OK);
        const Blob now = exportBlob(kState);
        EXPECT_TRUE(std::equal(now.begin() + chain, now.end() - 8, trained.begin() + chain)) << +id;
        EXPECT_EQ(Blob(now.begin() + 16, now.begin() + chain) ==
                      Blob(trained.begin() + 16, trained.begin() + chain),
                  id == 0 || id > 4)
            << +id;
    }
}

}  // namespace
