// Configuration and state blobs through the four exported entry points: sizes and
// section layout, the hyper section's bytes, export and import failures (and that
// a failed import changes nothing, or only what came before the failing section),
// round trips, and what the output reset discards.
#include <gtest/gtest.h>

#include <array>
#include <cstring>

#include "library_client.h"
#include "serialization/crc.h"

namespace {

using namespace vorn_test;
using Blob = std::vector<uint8_t>;

constexpr uint32_t kConfigSize = 454;
constexpr uint32_t kStateSize = 139;
constexpr uint32_t kWork = 512;

enum class Kind { kConfiguration, kState };

// Exports with zeroed buffers, so that the bytes the writer leaves alone compare equal.
Blob exportBlob(Kind kind, uint32_t capacity = 1024, uint32_t workSize = kWork,
                int32_t* status = nullptr) {
    Blob blob(capacity, 0);
    Blob work(workSize, 0);
    uint32_t size = 12345;
    const int32_t rc =
        kind == Kind::kConfiguration
            ? vorn_get_configuration(0, blob.data(), capacity, work.data(), workSize, &size)
            : vorn_get_state(0, blob.data(), capacity, work.data(), workSize, &size);
    if (status != nullptr) *status = rc;
    blob.resize(size);
    return blob;
}

int32_t importBlob(Kind kind, Blob blob, uint32_t workSize = kWork) {
    Blob work(workSize, 0);
    const auto size = static_cast<uint32_t>(blob.size());
    return kind == Kind::kConfiguration
               ? vorn_set_configuration(blob.data(), size, work.data(), workSize)
               : vorn_set_state(blob.data(), size, work.data(), workSize);
}

void resealCrc(Blob& blob) {
    const auto payloadEnd = static_cast<uint32_t>(blob.size() - 8);
    const uint16_t crc = vorn::crcCcitt2(blob.data(), payloadEnd);
    blob[payloadEnd + 4] = static_cast<uint8_t>(crc & 0xFF);
    blob[payloadEnd + 5] = static_cast<uint8_t>(crc >> 8);
}

struct Section {
    uint32_t offset;
    uint32_t length;
    uint8_t id;
};

std::vector<Section> sections(const Blob& blob) {
    std::vector<Section> list;
    for (uint32_t at = 16; at + 8 < blob.size();) {
        const uint32_t length = blob[at] | (blob[at + 1] << 8);
        list.push_back({at, length, blob[at + 2]});
        if (length == 0) break;
        at += length;
    }
    return list;
}

// A few minutes of all four readings at 1/3 Hz, so that the state is not the default.
void process(int steps, int64_t start = 10 * kSecond) {
    float drift = 0.0f;
    subscribe({{OUT_IAQ_INDEX, kRate3s}, {OUT_COMPENSATED_HUMIDITY, kRate3s}});
    for (int k = 0; k < steps; ++k) {
        const int64_t t = start + 3 * k * kSecond;
        drift += 1.0f;
        step({sample(IN_PRESSURE, t, 98000.0f), sample(IN_HUMIDITY, t, 45.0f + 0.01f * drift),
              sample(IN_TEMPERATURE, t, 23.0f),
              sample(IN_GAS_RESISTANCE, t, 50000.0f + 100.0f * drift)});
    }
}

class Blobs : public ::testing::Test {
protected:
    void SetUp() override { vorn_init(); }
};

TEST_F(Blobs, DefaultSizesAndSectionLayout) {
    const Blob config = exportBlob(Kind::kConfiguration);
    ASSERT_EQ(config.size(), kConfigSize);
    const std::vector<std::pair<uint32_t, uint8_t>> configSections = {
        {16, 1}, {64, 2}, {92, 3}, {108, 5}, {117, 9}, {205, 10}, {217, 254}};
    const Blob state = exportBlob(Kind::kState);
    ASSERT_EQ(state.size(), kStateSize);
    const std::vector<std::pair<uint32_t, uint8_t>> stateSections = {{16, 1}, {61, 2},  {73, 3},
                                                                     {89, 5}, {111, 9}, {123, 10}};
    for (const auto& [blob, expected] :
         {std::pair{config, configSections}, std::pair{state, stateSections}}) {
        std::vector<std::pair<uint32_t, uint8_t>> found;
        for (const Section& s : sections(blob)) found.emplace_back(s.offset, s.id);
        EXPECT_EQ(found, expected);
    }
}

TEST_F(Blobs, HyperSectionBytes) {
    const Blob config = exportBlob(Kind::kConfiguration);
    const uint8_t* hyper = config.data() + 217;
    EXPECT_EQ(hyper[0], 0xE5);
    EXPECT_EQ(hyper[1], 0x00);
    EXPECT_EQ(hyper[2], 0xFE);
    EXPECT_EQ(Blob(hyper + 4, hyper + 7), (Blob{0x02, 0x01, 0x05}));
    EXPECT_EQ(Blob(hyper + 7, hyper + 9), (Blob{0x30, 0x75}));  // first gas interval 30000
    EXPECT_EQ(Blob(hyper + 31, hyper + 39), (Blob{0x30, 0x75, 0x30, 0x75, 0x30, 0x75, 0x30, 0x75}));
    EXPECT_EQ(Blob(hyper + 39, hyper + 41), (Blob{0x64, 0x00}));    // slot 5 allows 1 Hz first
    EXPECT_EQ(Blob(hyper + 199, hyper + 227), Blob(28, 0xFF));      // no default subscription
    EXPECT_EQ(Blob(hyper + 227, hyper + 229), (Blob{0x30, 0x75}));  // base interval
}

TEST_F(Blobs, ExportRefusals) {
    struct Case {
        Kind kind;
        uint8_t setId;
        uint32_t capacity;
        uint32_t work;
        int32_t status;
    };
    for (const Case c : {Case{Kind::kState, 0, 24, kWork, RC_E_SERIALIZE_REQUEST},
                         Case{Kind::kConfiguration, 0, 23, kWork, RC_E_SERIALIZE_REQUEST},
                         Case{Kind::kConfiguration, 1, 1024, kWork, RC_E_SERIALIZE_REQUEST},
                         Case{Kind::kConfiguration, 0, 24, 48, RC_E_BLOB_OVERFLOW},
                         Case{Kind::kConfiguration, 0, 1024, 228, RC_E_WORK_BUFFER_SMALL},
                         Case{Kind::kState, 0, 1024, 44, RC_E_WORK_BUFFER_SMALL},
                         Case{Kind::kConfiguration, 0, kConfigSize - 1, kWork, RC_E_BLOB_OVERFLOW},
                         Case{Kind::kState, 0, kStateSize - 1, kWork, RC_E_BLOB_OVERFLOW}}) {
        // The blob buffer is larger than the capacity passed: the rest must stay untouched.
        Blob blob(2048, 0xCD);
        Blob work(c.work, 0);
        uint32_t size = 777;
        const int32_t rc =
            c.kind == Kind::kConfiguration
                ? vorn_get_configuration(c.setId, blob.data(), c.capacity, work.data(), c.work,
                                         &size)
                : vorn_get_state(c.setId, blob.data(), c.capacity, work.data(), c.work, &size);
        EXPECT_EQ(rc, c.status) << "capacity " << c.capacity << " work " << c.work;
        EXPECT_EQ(size, 0u);
        for (size_t i = c.capacity; i < blob.size(); ++i) ASSERT_EQ(blob[i], 0xCD) << i;
    }
    EXPECT_EQ(vorn_get_state(0, nullptr, 200, nullptr, 200, nullptr), RC_E_SERIALIZE_REQUEST);
}

TEST_F(Blobs, RoundTripsAreByteIdentical) {
    process(100);
    for (Kind kind : {Kind::kConfiguration, Kind::kState}) {
        const Blob first = exportBlob(kind);
        vorn_init();
        ASSERT_EQ(importBlob(kind, first), RC_OK);
        EXPECT_EQ(exportBlob(kind), first);
    }
}

TEST_F(Blobs, FrameErrorsChangeNothing) {
    process(60);
    const Blob good = exportBlob(Kind::kState);
    vorn_init();
    const Blob fresh = exportBlob(Kind::kState);
    ASSERT_NE(good, fresh);

    struct Damage {
        const char* what;
        void (*apply)(Blob&);
        int32_t status;
    };
    const Damage damages[] = {
        {"23 bytes", [](Blob& b) { b.resize(23); }, RC_E_BLOB_TOO_SHORT},
        {"version", [](Blob& b) { b[0] ^= 1; }, RC_E_BLOB_VERSION},
        {"kind all ones", [](Blob& b) { std::memset(b.data() + 4, 0xFF, 8); }, RC_E_BLOB_KIND},
        {"one byte longer", [](Blob& b) { b.push_back(0); }, RC_E_BLOB_LENGTH},
        {"payload byte", [](Blob& b) { b[40] ^= 0x10; }, RC_E_BLOB_CRC},
        {"trailing zero", [](Blob& b) { b.back() = 1; }, RC_E_BLOB_CRC},
        {"section past payload",
         [](Blob& b) {
             b[16] = 0x80;  // the first section claims 128 bytes; 123 remain
             resealCrc(b);
         },
         RC_E_BLOB_LENGTH},
    };
    for (const Damage& d : damages) {
        Blob blob = good;
        d.apply(blob);
        EXPECT_EQ(importBlob(Kind::kState, blob), d.status) << d.what;
        EXPECT_EQ(exportBlob(Kind::kState), fresh) << d.what;
    }
    EXPECT_EQ(importBlob(Kind::kState, good, kStateSize - 1), RC_E_WORK_BUFFER_SMALL);
    EXPECT_EQ(importBlob(Kind::kState, good, 44), RC_E_WORK_BUFFER_SMALL);
    EXPECT_EQ(exportBlob(Kind::kState), fresh);
    EXPECT_EQ(vorn_set_state(nullptr, kStateSize, nullptr, 0), RC_E_BLOB_TOO_SHORT);
}

TEST_F(Blobs, AcceptedFrameVariantsAndIgnoredBytes) {
    process(60);
    Blob blob = exportBlob(Kind::kState);
    std::memset(blob.data(), 0xFF, 4);      // any version
    std::memset(blob.data() + 4, 0xFF, 4);  // kind 0x00000000FFFFFFFF
    blob[16 + 3] = 0x5A;                    // a section's reserved byte
    resealCrc(blob);
    blob[kStateSize - 8] = 0x77;  // a reserved trailer byte, outside the checksum
    const Blob expected = exportBlob(Kind::kState);
    vorn_init();
    ASSERT_EQ(importBlob(Kind::kState, blob), RC_OK);
    EXPECT_EQ(exportBlob(Kind::kState), expected);
}

TEST_F(Blobs, SectionErrorKeepsEarlierSectionsOnly) {
    process(60);
    const Blob trained = exportBlob(Kind::kState);
    vorn_init();
    const Blob fresh = exportBlob(Kind::kState);
    Blob damaged = trained;
    const std::vector<Section> layout = sections(trained);
    damaged[layout[2].offset + 2] = 4;  // channel 3's section now names channel 4
    resealCrc(damaged);
    EXPECT_EQ(importBlob(Kind::kState, damaged), RC_E_SECTION_UNKNOWN);
    const Blob after = exportBlob(Kind::kState);
    for (size_t i = 0; i < layout.size(); ++i) {
        const Blob& source = i < 2 ? trained : fresh;
        const auto begin = static_cast<long>(layout[i].offset);
        const auto end = begin + static_cast<long>(layout[i].length);
        EXPECT_TRUE(std::equal(after.begin() + begin, after.begin() + end, source.begin() + begin))
            << "section of channel " << int{layout[i].id};
    }
}

// A blob of header, the given sections and trailer.
Blob frame(const std::vector<Blob>& parts) {
    Blob blob = {0x04, 0x07, 0x04, 0x01, 0x3D, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    for (const Blob& p : parts) blob.insert(blob.end(), p.begin(), p.end());
    const auto payload = static_cast<uint32_t>(blob.size() - 16);
    std::memcpy(blob.data() + 12, &payload, 4);
    blob.insert(blob.end(), 8, 0);
    resealCrc(blob);
    return blob;
}

TEST_F(Blobs, EmptyAndHyperOnlyBlobs) {
    process(30);
    const Blob config = exportBlob(Kind::kConfiguration);
    const Blob state = exportBlob(Kind::kState);
    const Blob empty = frame({});
    ASSERT_EQ(empty.size(), 24u);
    EXPECT_EQ(empty[20], 0xBF);
    EXPECT_EQ(empty[21], 0x35);
    EXPECT_EQ(importBlob(Kind::kConfiguration, empty), RC_OK);
    EXPECT_EQ(importBlob(Kind::kState, empty), RC_OK);
    EXPECT_EQ(importBlob(Kind::kState, frame({{4, 0, 254, 0}})), RC_OK);  // ignored
    EXPECT_EQ(importBlob(Kind::kState, frame({{3, 0, 254}})), RC_E_SECTION_SHORT);
    EXPECT_EQ(importBlob(Kind::kState, frame({{4, 0, 7, 0}})), RC_E_SECTION_UNKNOWN);
    EXPECT_EQ(importBlob(Kind::kConfiguration, frame({{10, 0, 254, 0, 2, 1, 5, 0, 0, 0}})),
              RC_E_SECTION_SHORT);  // a hyper section without all its fields
    EXPECT_EQ(exportBlob(Kind::kConfiguration), config);
    EXPECT_EQ(exportBlob(Kind::kState), state);
}

TEST_F(Blobs, HyperSectionReappliesDefaultSubscription) {
    Blob config = exportBlob(Kind::kConfiguration);
    ASSERT_EQ(subscribe({{OUT_PASSTHROUGH_PRESSURE, 1.0f}}).status, RC_OK);
    step({});
    EXPECT_EQ(step({sample(IN_PRESSURE, kSecond, 1.0f)}).outputs.size(), 1u);

    ASSERT_EQ(importBlob(Kind::kConfiguration, config), RC_OK);  // unsubscribes all
    EXPECT_TRUE(step({sample(IN_PRESSURE, 2 * kSecond, 1.0f)}).outputs.empty());

    // A default interval for output slot 5 (passthrough temperature) subscribes it at once.
    config[217 + 199 + 2 * 4] = 100;
    config[217 + 199 + 2 * 4 + 1] = 0;
    resealCrc(config);
    ASSERT_EQ(importBlob(Kind::kConfiguration, config), RC_OK);
    const Step s = step({sample(IN_TEMPERATURE, 3 * kSecond, 20.0f)});
    ASSERT_EQ(s.outputs.size(), 1u);
    EXPECT_EQ(s.outputs[0].id, OUT_PASSTHROUGH_TEMPERATURE);
}

TEST_F(Blobs, OutputResetDiscardsTheIaqChainForAnyIaqIdentifier) {
    process(200);
    const Blob trained = exportBlob(Kind::kState);
    for (int id : {0, 5, 21}) {
        EXPECT_EQ(vorn_reset_output(static_cast<uint8_t>(id)), RC_OK);
        EXPECT_EQ(exportBlob(Kind::kState), trained) << int{id};
    }
    Blob reset;
    for (uint8_t id = 1; id <= 4; ++id) {
        ASSERT_EQ(importBlob(Kind::kState, trained), RC_OK);
        EXPECT_EQ(vorn_reset_output(id), RC_OK);
        const Blob now = exportBlob(Kind::kState);
        const std::vector<Section> layout = sections(now);
        // Channels 3 to 10 keep their state; channels 1 and 2 are reset.
        EXPECT_TRUE(std::equal(now.begin() + layout[2].offset, now.end() - 8,
                               trained.begin() + layout[2].offset));
        EXPECT_FALSE(
            std::equal(now.begin() + 16, now.begin() + layout[2].offset, trained.begin() + 16));
        if (id > 1) {
            EXPECT_EQ(now, reset);
        }
        reset = now;
    }
}

}  // namespace
