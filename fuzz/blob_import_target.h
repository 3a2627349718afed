// Body shared by the configuration-blob and state-blob fuzz targets. The input is
// three control bytes (work size, frame repair, setup) followed by the blob. A blob
// refused by its frame must change nothing; an accepted blob must survive an
// export, import, export round trip byte for byte; and whatever it left behind
// must not make the processing code misbehave for a few cycles.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "fuzz_driver.h"
#include "fuzz_support.h"

namespace vorn_fuzz {

using vorn_test::BlobKind;
using vorn_test::importRaw;

// Work buffer sizes worth trying: the boundaries of every section and blob size,
// and (most often) exactly the blob's size so the import gets to the sections.
inline uint32_t pickWorkSize(uint8_t selector, uint32_t blobSize) {
    constexpr std::array<uint32_t, 16> kSizes = {0,   1,   3,   4,   23,  24,  44,  45,
                                                 138, 139, 228, 229, 453, 454, 455, 1974};
    const uint8_t pick = selector % 24;
    if (pick < 16) return kSizes[pick];
    if (pick == 16) return blobSize == 0 ? 0 : blobSize - 1;
    return pick == 17 ? blobSize + 1 : blobSize;
}

inline int runBlobImport(BlobKind kind, const uint8_t* data, size_t size) {
    if (size < 3 || size > 3 + 4096) return 0;
    const uint8_t repair = data[1], setup = data[2];
    std::vector<uint8_t> blob(data + 3, data + size);  // exact size: overreads are caught
    // Repairing the frame lets the fuzzer reach the section code behind the checksum.
    if ((repair & 3u) != 0 && (repair & 3u) != 3) refreshFrame(blob, (repair & 3u) == 2);

    vorn_init();
    if ((setup & 1u) != 0) FUZZ_CHECK(subscribeLowPower() == RC_OK);
    Driver driver;
    std::array<OutputSample, 14> outputs{};
    auto run = [&](unsigned cycles, uint8_t shape) {
        for (unsigned i = 0; i < cycles; ++i) {
            uint8_t n = static_cast<uint8_t>(outputs.size());
            driver.runCycle(static_cast<uint8_t>(shape + i), outputs.data(), n);
            FUZZ_CHECK(n <= outputs.size());
        }
    };
    run((setup >> 1) & 3u, setup);

    const uint32_t blobSize = static_cast<uint32_t>(blob.size());
    const uint32_t workSize = pickWorkSize(data[0], blobSize);
    std::vector<uint8_t> work(workSize, static_cast<uint8_t>(repair >> 2));
    const int32_t frame = expectedFrameStatus(blob.data(), blobSize, workSize);
    const int32_t status = unchangedIf(frame != RC_OK, [&] {
        return importRaw(kind, bytesOf(blob), blobSize, bytesOf(work), workSize);
    });
    FUZZ_CHECK(isImportStatus(status));
    if (frame != RC_OK) {
        FUZZ_CHECK(status == frame);
        return 0;
    }
    // Past the frame only section codes remain (a section running past the payload
    // is reported as a length error).
    FUZZ_CHECK(oneOf(status, {RC_OK, RC_E_BLOB_LENGTH, RC_E_SECTION_TOO_LARGE, RC_E_SECTION_UNKNOWN,
                              RC_E_SECTION_SHORT}));
    if (status == RC_OK) {
        const std::vector<uint8_t> first = exportBlob(kind == BlobKind::Configuration);
        const uint32_t n = static_cast<uint32_t>(first.size());
        FUZZ_CHECK(expectedFrameStatus(first.data(), n, n) == RC_OK);
        FUZZ_CHECK(vorn_test::importBlob(kind, first, n) == RC_OK);
        FUZZ_CHECK(exportBlob(kind == BlobKind::Configuration) == first);
    }
    // Whatever was imported, the processing code must stay defined behaviour.
    subscribeLowPower();
    run((setup >> 3) & 7u, static_cast<uint8_t>(setup * 37u));
    return 0;
}

}  // namespace vorn_fuzz
