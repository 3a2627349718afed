// The single library instance and its construction. The instance sits in static
// storage, all zero until first built; building it constructs the channel hub in
// place (never through a temporary, so no call needs the instance's size in stack)
// and then resets the hyper state and sets the hyper configuration's defaults.
#include "math/fp_rules.h"

#include <new>

#include "engine/engine.h"

namespace vorn {
namespace {

// Zero-initialised at load time without running any code; the Engine member becomes
// the live one when constructEngine builds it.
union InstanceStorage {
    constexpr InstanceStorage() : bytes{} {}
    std::array<uint8_t, sizeof(Engine)> bytes;
    Engine vorn;
};

InstanceStorage storage;
bool constructed = false;

}  // namespace

void constructEngine() {
    Engine* v = ::new (static_cast<void*>(&storage.vorn)) Engine;
    constructed = true;
    v->resetSchedule();
    v->configureDefaults();
}

Engine& instance() {
    // An operation called before vorn_init finds the defaults rather than an
    // all-zero record whose zero intervals and ranges mean nothing.
    if (!constructed) constructEngine();
    return storage.vorn;
}

}  // namespace vorn
