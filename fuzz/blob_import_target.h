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

enum class BlobKind { kConfiguration, kState };

inline int32_t importBlob(BlobKind kind, const uint8_t* blob, uint32_t size, uint8_t* work,
                          uint32_t workSize) {
    return kind == BlobKind::kConfiguration ? vorn_set_configuration(blob, size, work, workSize)
                                            : vorn_set_state(blob, size, work, workSize);
}

// Work buffer sizes worth trying: the boundaries of every section and blob size,
// and (most often) exactly the blob's size so the import gets to the sections.
inline uint32_t pickWorkSize(uint8_t selector, uint32_t blobSize) {
    constexpr std::array<uint32_t, 16> kSizes = {0,   1,   3,   4,   23,  24,  44,  45,
                                                 138, 139, 228, 229, 453, 454, 455, 1974};
    switch (selector % 24) {
        case 16:
            return blobSize == 0 ? 0 : blobSize - 1;
        case 17:
            return blobSize + 1;
        case 18:
        case 19:
        case 20:
        case 21:
        case 22:
        case 23:
            return blobSize;
        default:
            return kSizes[selector % 24];
    }
}

inline void checkRoundTrip(BlobKind kind) {
    const bool configuration = kind == BlobKind::kConfiguration;
    const std::vector<uint8_t> first = exportBlob(configuration);
    FUZZ_CHECK(expectedFrameStatus(first.data(), static_cast<uint32_t>(first.size()),
                                   static_cast<uint32_t>(first.size())) == RC_OK);
    std::vector<uint8_t> work(first.size());
    FUZZ_CHECK(importBlob(kind, first.data(), static_cast<uint32_t>(first.size()), work.data(),
                          static_cast<uint32_t>(work.size())) == RC_OK);
    const std::vector<uint8_t> second = exportBlob(configuration);
    FUZZ_CHECK(first == second);
}

inline int runBlobImport(BlobKind kind, const uint8_t* data, size_t size) {
    if (size < 3) return 0;
    const uint8_t workSelector = data[0];
    const uint8_t repair = data[1];
    const uint8_t setup = data[2];
    std::vector<uint8_t> blob = exactCopy(data + 3, size - 3);
    if (blob.size() > 4096) return 0;
    // Repairing the frame lets the fuzzer reach the section code behind the checksum.
    if ((repair & 3u) == 1) refreshCrc(blob);
    if ((repair & 3u) == 2) refreshFrame(blob);

    vorn_init();
    if ((setup & 1u) != 0) FUZZ_CHECK(subscribeLowPower() == RC_OK);
    Driver driver;
    std::array<OutputSample, 14> outputs{};
    for (uint8_t i = 0; i < ((setup >> 1) & 3u); ++i) {
        uint8_t n = static_cast<uint8_t>(outputs.size());
        driver.runCycle(setup, outputs.data(), n);
    }

    const uint32_t blobSize = static_cast<uint32_t>(blob.size());
    const uint32_t workSize = pickWorkSize(workSelector, blobSize);
    std::vector<uint8_t> work(workSize, static_cast<uint8_t>(repair >> 2));
    const int32_t expectedFrame = expectedFrameStatus(blob.data(), blobSize, workSize);
    Snapshot before;
    if (expectedFrame != RC_OK) before = takeSnapshot();

    const int32_t status = importBlob(kind, bytesOf(blob), blobSize, bytesOf(work), workSize);
    FUZZ_CHECK(isImportStatus(status));
    if (expectedFrame != RC_OK) {
        FUZZ_CHECK(status == expectedFrame);
        FUZZ_CHECK(takeSnapshot() == before);
        return 0;
    }
    // Past the frame only section codes remain (a section running past the payload
    // is reported as a length error).
    FUZZ_CHECK(status != RC_E_BLOB_TOO_SHORT && status != RC_E_WORK_BUFFER_SMALL &&
               status != RC_E_BLOB_VERSION && status != RC_E_BLOB_KIND && status != RC_E_BLOB_CRC);
    if (status == RC_OK) checkRoundTrip(kind);

    // Whatever was imported, the processing code must stay defined behaviour.
    subscribeLowPower();
    const uint8_t cycles = static_cast<uint8_t>((setup >> 3) & 7u);
    for (uint8_t i = 0; i < cycles; ++i) {
        uint8_t n = static_cast<uint8_t>(outputs.size());
        driver.runCycle(static_cast<uint8_t>(setup * 37u + i), outputs.data(), n);
        FUZZ_CHECK(n <= outputs.size());
    }
    return 0;
}

}  // namespace vorn_fuzz
