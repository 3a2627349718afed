// Blob framing: the 16-byte header (version word, kind field, payload length), the
// sections back to back, and the 8-byte trailer (4 reserved bytes, CRC-16/X-25 of
// header and payload, two zero bytes). Builds a frame on export and checks one on
// import; every bound is checked before a byte is copied.
#pragma once

#include <cstdint>

#include "identifiers/version.h"

namespace vorn {

inline constexpr uint32_t kBlobHeaderSize = 16;
inline constexpr uint32_t kBlobTrailerSize = 8;
inline constexpr uint32_t kBlobMinSize = kBlobHeaderSize + kBlobTrailerSize;  // empty payload
inline constexpr uint32_t kBlobVersionAny = 0xFFFFFFFFu;  // also accepted on import
inline constexpr uint64_t kBlobKind = 61;
inline constexpr uint64_t kBlobKindAny = 0x00000000FFFFFFFFull;  // also accepted on import
// Where the header's fields and the trailer's checksum sit.
inline constexpr uint32_t kBlobVersionOffset = 0;
inline constexpr uint32_t kBlobKindOffset = 4;
inline constexpr uint32_t kBlobLengthOffset = 12;
inline constexpr uint32_t kBlobCrcOffsetInTrailer = 4;   // after the 4 reserved bytes
inline constexpr uint32_t kBlobZeroOffsetInTrailer = 6;  // the two bytes that must stay zero

// Copy the section work[0 .. n-1] to blob[position ..]. RC_E_BLOB_OVERFLOW when
// position + n exceeds the blob capacity, else RC_E_WORK_BUFFER_SMALL when n exceeds
// the work buffer (a section writer's overflow marker, workSize + 1); on failure
// nothing is copied and position is unchanged. Bounds are compared without wrapping.
[[nodiscard]] int32_t append(uint8_t* blob, uint32_t blobCapacity, uint32_t& position, uint32_t n,
                             const uint8_t* work, uint32_t workSize);

// Frame a blob whose sections end at `size` (16 + payload length): write the
// version word kBlobFormatVersion, the kind field 61 as 8 bytes and the length
// size - 16, then the CRC of blob[0 .. size-1] at blob[size+4], blob[size+5] (low
// byte first) and zeros at blob[size+6], blob[size+7]; add 8 to size. The 4
// reserved bytes blob[size .. size+3] are not written. Refusals, with nothing
// written and size unchanged: RC_E_BLOB_OVERFLOW when size + 8 exceeds the
// capacity (the sections may fit while the trailer does not), RC_E_BLOB_LENGTH when
// size < 16 (no room was left for the header).
[[nodiscard]] int32_t frameSerializedData(uint8_t* blob, uint32_t blobCapacity, uint32_t& size);

// The import checks, in order, the first failure deciding: RC_E_BLOB_TOO_SHORT
// (size <= 23), RC_E_WORK_BUFFER_SMALL (size > workSize, before any content is
// read), RC_E_BLOB_VERSION (neither kBlobFormatVersion nor 0xFFFFFFFF), RC_E_BLOB_KIND
// (neither 61 nor 0x00000000FFFFFFFF), RC_E_BLOB_LENGTH (L + 24, wrapping in 32
// bits, differs from the size), RC_E_BLOB_CRC (CRC of the first L + 16 bytes
// differs from the stored one, or one of the last two bytes is non-zero). The four
// reserved trailer bytes are never read. On success RC_OK and position 16 (the
// first section); position 0 on failure.
[[nodiscard]] int32_t validateSerialization(const uint8_t* blob, uint32_t blobSize,
                                            uint32_t workSize, uint32_t& position);

// Copy the section at blob[position] into work[0 .. N-1] (N: the u16 at
// blob[position]), report N and the id work[2], and advance position by N. Checks,
// in order, each leaving position unchanged and work untouched:
//   RC_E_BLOB_LENGTH       the length field itself lies outside the blob;
//   RC_E_SECTION_TOO_LARGE N > workSize (sectionLength still reports N);
//   RC_E_BLOB_LENGTH       the section would run past the payload end, blobSize - 8
//                          (the length field alone is checked against the work
//                          buffer, so this bound keeps reads inside the blob).
// A section of length 0 succeeds without advancing; the caller's owner check then
// ends the import. For N of 0 to 2 the id is whatever work[2] held before; with a
// work buffer of 2 bytes or less the id is reported as 0 (no owner) instead of
// reading outside it. sectionId is 0 on every failure.
[[nodiscard]] int32_t parse(const uint8_t* blob, uint32_t blobSize, uint32_t& position,
                            uint8_t* work, uint32_t workSize, uint8_t& sectionId,
                            uint32_t& sectionLength);

}  // namespace vorn
