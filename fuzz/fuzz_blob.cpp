// Fuzz target body for blobs from outside (a device reading back its saved state or a
// configuration), built once per kind. The input is three control bytes (work size,
// frame repair, setup) and the blob. A blob the frame refuses must change nothing; an
// accepted one must survive an export, import, export round trip byte for byte and not
// be written past a short buffer; whatever it left must not upset the processing.
#include "fuzz_support.h"

namespace {

using namespace vorn_fuzz;
constexpr vorn_test::BlobKind kKind = vorn_test::BlobKind::VORN_FUZZ_BLOB_KIND;

// Work buffer sizes worth trying: every section's and blob's size and one either side, and
// most often exactly the blob's size (or one either side) so the import reaches the sections.
uint32_t pickWorkSize(uint8_t selector, uint32_t blobSize) {
    constexpr uint32_t kSizes[] = {0,   1,   3,   4,   23,  24,  44,  45,
                                   138, 139, 228, 229, 453, 454, 455, 1974};
    const uint8_t pick = selector % 24;
    return pick < 16 ? kSizes[pick] : blobSize + (pick == 17) - (pick == 16 && blobSize > 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 3 || size > 3 + 4096) return 0;
    const uint8_t repair = data[1] & 3u, setup = data[2];
    vorn_test::Bytes blob(data + 3, data + size);  // exact size: overreads are caught
    // A fresh checksum (and header) lets the fuzzer reach the sections behind it.
    if (repair == 1) vorn_test::reseal(blob);
    if (repair == 2) vorn_test::restamp(blob);

    vorn_init();
    const auto subscribeHost = [] {
        return vorn_test::subscribeAll(vorn_test::kHostOutputs, vorn_test::kRate3s);
    };
    if ((setup & 1u) != 0) FUZZ_CHECK(subscribeHost() == RC_OK);
    Driver driver;
    auto run = [&](unsigned cycles, uint8_t shape) {
        for (unsigned i = 0; i < cycles; ++i) {
            std::array<OutputSample, 14> outputs{};
            uint8_t n = static_cast<uint8_t>(outputs.size());
            driver.run(static_cast<uint8_t>(shape + i), outputs.data(), n);
        }
    };
    run((setup >> 1) & 3u, setup);

    const auto blobSize = static_cast<uint32_t>(blob.size());
    const uint32_t workSize = pickWorkSize(data[0], blobSize);
    vorn_test::Bytes work(workSize, static_cast<uint8_t>(data[1] >> 2));
    const int32_t frame = frameStatus(blob.data(), blobSize, workSize);
    const int32_t status = unchangedIf(frame != RC_OK, [&] {
        return vorn_test::importRaw(kKind, bytesOf(blob), blobSize, bytesOf(work), workSize);
    });
    FUZZ_CHECK(isImportStatus(status) && (frame == RC_OK || status == frame));
    if (status == RC_OK) {
        const vorn_test::Bytes first = vorn_test::exportBlob(kKind);
        FUZZ_CHECK(vorn_test::importBlob(kKind, first) == RC_OK);
        FUZZ_CHECK(vorn_test::exportBlob(kKind) == first);
        // Exported into too little room, the blob is refused and nothing past it written.
        const auto room = static_cast<uint32_t>(first.size() * (data[0] % 8) / 8);
        const vorn_test::Export cut = vorn_test::exportInto(kKind, room, vorn_test::kAmple);
        FUZZ_CHECK(!cut.overrun && cut.status < 0);
    }
    subscribeHost();
    run((setup >> 3) & 7u, static_cast<uint8_t>(setup * 37u));
    return 0;
}
