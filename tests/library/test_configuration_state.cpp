// Configuration and state blobs: layout, export refusals, import failures (nothing
// changes, or only the sections before the failing one), round trips, output reset.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "library_client.h"
#include "serialization/crc.h"

namespace {

using namespace vorn_test;
using Blob = std::vector<uint8_t>;

constexpr uint32_t kWork = 512;
enum Kind { kConfiguration, kState };

// Exports with zeroed buffers, so that the bytes the writer leaves alone compare equal.
Blob exportBlob(Kind kind, uint32_t capacity = 1024, uint32_t work = kWork, int32_t* rc = nullptr) {
    Blob blob(2048, 0xCD), buffer(work, 0);
    std::memset(blob.data(), 0, capacity);
    uint32_t size = 777;
    const int32_t status =
        kind == kConfiguration
            ? vorn_get_configuration(0, blob.data(), capacity, buffer.data(), work, &size)
            : vorn_get_state(0, blob.data(), capacity, buffer.data(), work, &size);
    if (rc != nullptr) *rc = status;
    for (size_t i = capacity; i < blob.size(); ++i) EXPECT_EQ(blob[i], 0xCD) << "written past";
    blob.resize(size);
    return blob;
}

int32_t importBlob(Kind kind, Blob blob, uint32_t work = kWork) {
    Blob buffer(work, 0);
    const auto size = static_cast<uint32_t>(blob.size());
    return kind == kConfiguration ? vorn_set_configuration(blob.data(), size, buffer.data(), work)
                                  : vorn_set_state(blob.data(), size, buffer.data(), work);
}

void reseal(Blob& blob) {
    const auto end = static_cast<uint32_t>(blob.size() - 8);
    const uint16_t crc = vorn::crcCcitt2(blob.data(), end);
    blob[end + 4] = static_cast<uint8_t>(crc & 0xFF);
    blob[end + 5] = static_cast<uint8_t>(crc >> 8);
}

std::vector<uint32_t> offsets(const Blob& blob) {
    std::vector<uint32_t> list;
    for (uint32_t at = 16; at + 8 < blob.size(); at += blob[at] | (blob[at + 1] << 8)) {
        list.push_back(at);
    }
    return list;
}

// Minutes of all four readings at 1/3 Hz, so that the state is not the default.
void process(int steps) {
    subscribe({{OUT_IAQ_INDEX, kRate3s}, {OUT_COMPENSATED_HUMIDITY, kRate3s}});
    float drift = 0.0f;
    for (int64_t t = 10 * kSecond; steps-- > 0; t += 3 * kSecond, drift += 1.0f) {
        step({sample(IN_PRESSURE, t, 98000.0f), sample(IN_HUMIDITY, t, 45.0f + 0.01f * drift),
              sample(IN_TEMPERATURE, t, 23.0f),
              sample(IN_GAS_RESISTANCE, t, 5e4f + 100.0f * drift)});
    }
}

TEST(Blobs, DefaultLayoutAndHyperBytes) {
    vorn_init();
    const Blob config = exportBlob(kConfiguration);
    EXPECT_EQ(config.size(), 454u);
    EXPECT_EQ(exportBlob(kState).size(), 139u);
    EXPECT_EQ(offsets(config), (std::vector<uint32_t>{16, 64, 92, 108, 117, 205, 217}));
    EXPECT_EQ(offsets(exportBlob(kState)), (std::vector<uint32_t>{16, 61, 73, 89, 111, 123}));
    EXPECT_EQ(Blob(config.begin() + 217, config.begin() + 226),
              (Blob{0xE5, 0, 0xFE, 0, 2, 1, 5, 0x30, 0x75}));
}

TEST(Blobs, ExportRefusalsWriteNothingPastTheCapacity) {
    vorn_init();
    struct Case {
        Kind kind;
        uint32_t capacity, work;
        int32_t status;
    };
    for (const Case c : {Case{kState, 24, kWork, RC_E_SERIALIZE_REQUEST},
                         Case{kConfiguration, 1024, 228, RC_E_WORK_BUFFER_SMALL},
                         Case{kConfiguration, 453, kWork, RC_E_BLOB_OVERFLOW},
                         Case{kState, 138, kWork, RC_E_BLOB_OVERFLOW}}) {
        int32_t rc = 0;
        EXPECT_TRUE(exportBlob(c.kind, c.capacity, c.work, &rc).empty());
        EXPECT_EQ(rc, c.status) << c.capacity << " / " << c.work;
    }
    uint8_t blob[600], work[600];
    uint32_t size = 9;
    EXPECT_EQ(vorn_get_configuration(1, blob, 600, work, 600, &size), RC_E_SERIALIZE_REQUEST);
    EXPECT_EQ(size, 0u);
}

// A trained state and the default one; every test starts from the default.
class Imports : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        vorn_init();
        process(100);
        trained = exportBlob(kState);
        trainedConfig = exportBlob(kConfiguration);
        vorn_init();
        fresh = exportBlob(kState);
    }
    void SetUp() override { vorn_init(); }
    static inline Blob trained, trainedConfig, fresh;
};

TEST_F(Imports, RoundTripsAreByteIdentical) {
    ASSERT_EQ(importBlob(kConfiguration, trainedConfig), RC_OK);
    EXPECT_EQ(exportBlob(kConfiguration), trainedConfig);
    ASSERT_EQ(importBlob(kState, trained), RC_OK);
    EXPECT_EQ(exportBlob(kState), trained);
}

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
