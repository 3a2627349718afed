// Blob framing: the 16-byte header (version word, kind field, payload length), the
// sections back to back, and the 8-byte trailer (4 reserved bytes, CRC-16/X-25 of
// header and payload, two zero bytes). Builds a frame on export and checks one on
// import; every bound is checked before a byte is copied.
#pragma once

#include <cstdint>

namespace vorn {

inline constexpr uint32_t kBlobHeaderSize = 16;
inline constexpr uint32_t kBlobTrailerSize = 8;
inline constexpr uint32_t kBlobMinSize = kBlobHeaderSize + kBlobTrailerSize;  // empty payload
inline constexpr uint32_t kBlobVersion = 0x01040704u;       // 1.4.7.4
inline constexpr uint32_t kBlobVersionAny = 0xFFFFFFFFu;    // also accepted on import
inline constexpr uint64_t kBlobKind = 61;
inline constexpr uint64_t kBlobKindAny = 0x00000000FFFFFFFFull;  // also accepted on import

// Copy the section work[0 .. n-1] to blob[position ..]. RC_E_BLOB_OVERFLOW when it
// does not fit the blob capacity, else RC_E_WORK_BUFFER_SMALL when n exceeds the
// work buffer (the writer's overflow marker); on failure nothing is copied.
int32_t append(uint8_t* blob, uint32_t blobCapacity, uint32_t& position, uint32_t n,
               const uint8_t* work, uint32_t workSize);

// Frame a blob whose sections end at `size` (16 + payload): write header and
// trailer and add 8 to size. RC_E_BLOB_OVERFLOW, with nothing written, when the
// trailer does not fit the capacity. The 4 reserved trailer bytes are not written.
int32_t frameSerializedData(uint8_t* blob, uint32_t blobCapacity, uint32_t& size);

// The import checks, in order: RC_E_BLOB_TOO_SHORT, RC_E_WORK_BUFFER_SMALL,
// RC_E_BLOB_VERSION, RC_E_BLOB_KIND, RC_E_BLOB_LENGTH, RC_E_BLOB_CRC. On success
// RC_OK and position 16 (the first section); position 0 on failure.
int32_t validateSerialization(const uint8_t* blob, uint32_t blobSize, uint32_t workSize,
                              uint32_t& position);

// Copy the section at blob[position] into work and report its id and length.
// RC_E_SECTION_TOO_LARGE when it exceeds the work buffer, RC_E_BLOB_LENGTH when it
// runs past the payload (blobSize - 8); position is advanced only on success.
// Precondition: a frame validated by validateSerialization and position below the
// end of the payload.
int32_t parse(const uint8_t* blob, uint32_t blobSize, uint32_t& position, uint8_t* work,
              uint32_t workSize, uint8_t& sectionId, uint32_t& sectionLength);

}  // namespace vorn
