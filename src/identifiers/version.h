// The library's version as vorn_get_version reports it, taken from the project
// version configured into vorn/version.h, and the blob format's version word
// derived from it: every blob carries the version of the library that wrote it,
// one byte a part, major first.
#pragma once

#include <cstdint>

#include "vorn/version.h"
#include "vorn/vorn.h"

namespace vorn {

inline constexpr VersionInfo kVersion = {VORN_VERSION_MAJOR, VORN_VERSION_MINOR, VORN_VERSION_PATCH,
                                         VORN_VERSION_BUILD};

inline constexpr uint32_t kBlobFormatVersion =
    uint32_t{kVersion.major} << 24 | uint32_t{kVersion.minor} << 16 |
    uint32_t{kVersion.patch} << 8 | uint32_t{kVersion.build};

}  // namespace vorn
