// Blob framing: builds the header and trailer around the sections on export, and on
// import checks the frame in a fixed order and hands out its sections one by one.
// Every size is compared in 64 bits (or by subtraction) so that no caller-supplied
// length can wrap a bound and let a copy run outside its buffer.
#include "math/fp_rules.h"

#include "serialization/blob_frame.h"

#include <cstring>

#include "serialization/codec.h"
#include "serialization/crc.h"
#include "vorn/vorn.h"

namespace vorn {

namespace {

constexpr uint32_t kSectionLengthBytes = 2;
constexpr uint32_t kSectionIdOffset = 2;

template <typename T>
T loadLittleEndian(const uint8_t* at) {
    T value{};
    vorn::loadLittleEndian(at, value);
    return value;
}

bool fitsIn(uint64_t position, uint64_t count, uint64_t limit) {
    return position + count <= limit;
}

}  // namespace

int32_t append(uint8_t* blob, uint32_t blobCapacity, uint32_t& position, uint32_t n,
               const uint8_t* work, uint32_t workSize) {
    if (!fitsIn(position, n, blobCapacity)) {
        return RC_E_BLOB_OVERFLOW;
    }
    if (n > workSize) {
        return RC_E_WORK_BUFFER_SMALL;
    }
    if (n != 0) {
        std::memcpy(blob + position, work, n);
    }
    position += n;
    return RC_OK;
}

int32_t frameSerializedData(uint8_t* blob, uint32_t blobCapacity, uint32_t& size) {
    if (size < kBlobHeaderSize) {
        return RC_E_BLOB_LENGTH;  // the sections cannot start before the header ends
    }
    if (!fitsIn(size, kBlobTrailerSize, blobCapacity)) {
        return RC_E_BLOB_OVERFLOW;
    }
    storeLittleEndian(blob + kBlobVersionOffset, kBlobFormatVersion);
    storeLittleEndian(blob + kBlobKindOffset, kBlobKind);
    storeLittleEndian(blob + kBlobLengthOffset, size - kBlobHeaderSize);
    const uint16_t crc = crcCcitt2(blob, size);
    // blob[size .. size + 3] stay as the caller's buffer held them.
    storeLittleEndian(blob + size + kBlobCrcOffsetInTrailer, crc);
    storeLittleEndian(blob + size + kBlobZeroOffsetInTrailer, uint16_t{0});
    size += kBlobTrailerSize;
    return RC_OK;
}

namespace {

int32_t checkFrame(const uint8_t* blob, uint32_t blobSize, uint32_t workSize) {
    if (blobSize < kBlobMinSize) {
        return RC_E_BLOB_TOO_SHORT;
    }
    if (blobSize > workSize) {
        return RC_E_WORK_BUFFER_SMALL;
    }
    const auto version = loadLittleEndian<uint32_t>(blob + kBlobVersionOffset);
    if (version != kBlobFormatVersion && version != kBlobVersionAny) {
        return RC_E_BLOB_VERSION;
    }
    const auto kind = loadLittleEndian<uint64_t>(blob + kBlobKindOffset);
    if (kind != kBlobKind && kind != kBlobKindAny) {
        return RC_E_BLOB_KIND;
    }
    // Wrapping 32-bit sum, as the frame was always checked; a match implies
    // L == blobSize - 24, so the checksum below stays inside the blob.
    const auto payloadLength = loadLittleEndian<uint32_t>(blob + kBlobLengthOffset);
    if (payloadLength + kBlobMinSize != blobSize) {
        return RC_E_BLOB_LENGTH;
    }
    const uint32_t trailer = blobSize - kBlobTrailerSize;
    const uint16_t crc = crcCcitt2(blob, trailer);
    const auto stored = loadLittleEndian<uint16_t>(blob + trailer + kBlobCrcOffsetInTrailer);
    const auto zero = loadLittleEndian<uint16_t>(blob + trailer + kBlobZeroOffsetInTrailer);
    if (crc != stored || zero != 0) {
        return RC_E_BLOB_CRC;
    }
    return RC_OK;
}

}  // namespace

int32_t validateSerialization(const uint8_t* blob, uint32_t blobSize, uint32_t workSize,
                              uint32_t& position) {
    const int32_t status = checkFrame(blob, blobSize, workSize);
    position = status == RC_OK ? kBlobHeaderSize : 0;
    return status;
}

int32_t parse(const uint8_t* blob, uint32_t blobSize, uint32_t& position, uint8_t* work,
              uint32_t workSize, uint8_t& sectionId, uint32_t& sectionLength) {
    sectionId = 0;
    sectionLength = 0;
    if (!fitsIn(position, kSectionLengthBytes, blobSize)) {
        return RC_E_BLOB_LENGTH;  // not even the length field lies inside the blob
    }
    const uint32_t n = loadLittleEndian<uint16_t>(blob + position);
    sectionLength = n;
    if (n > workSize) {
        return RC_E_SECTION_TOO_LARGE;
    }
    const uint64_t payloadEnd = blobSize >= kBlobTrailerSize ? blobSize - kBlobTrailerSize : 0;
    if (!fitsIn(position, n, payloadEnd)) {
        return RC_E_BLOB_LENGTH;
    }
    if (n != 0) {
        std::memcpy(work, blob + position, n);
    }
    // For sections of 0 to 2 bytes this is whatever the work buffer already held;
    // a work buffer without a byte 2 reports id 0, which names no owner.
    sectionId = workSize > kSectionIdOffset ? work[kSectionIdOffset] : 0;
    position += n;
    return RC_OK;
}

}  // namespace vorn
