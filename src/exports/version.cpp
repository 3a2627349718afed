// The version report. Independent of the library instance, so it answers at any
// time, also before vorn_init.
#include "vorn/vorn.h"

namespace vorn {
namespace {
constexpr VersionInfo kVersion = {1, 4, 7, 4};
}
}  // namespace vorn

extern "C" int32_t vorn_get_version(VersionInfo* version) {
    if (version != nullptr) *version = vorn::kVersion;
    return RC_OK;
}
