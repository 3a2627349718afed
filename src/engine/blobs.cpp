// Export and import of the configuration and the learnt state as framed blobs.
// Export walks the channels in identifier order (and adds the hyper section to a
// configuration), passing each section through the caller's work buffer; import
// checks the frame, then applies the sections one by one as it reads them, with
// no staging: a failing section leaves the earlier ones applied.
#include "math/fp_rules.h"

#include "engine/engine.h"
#include "serialization/blob_frame.h"

namespace vorn {
namespace {

constexpr uint32_t kMinConfigurationCapacity = 24;
constexpr uint32_t kMinStateCapacity = 25;

// Only a configuration blob carries the hyper section.
uint32_t exportHyper(const Engine& v, SectionKind kind, uint8_t* work, uint32_t workSize) {
    return kind == SectionKind::kConfiguration ? exportSection(v, kind, work, workSize) : 0;
}

// A null blob or size pointer is a request that cannot be served; a null work
// buffer holds no section.
int32_t exportBlob(const Engine& v, SectionKind kind, uint8_t setId, uint8_t* blob,
                   uint32_t blobCapacity, uint8_t* work, uint32_t workSize, uint32_t* blobSize) {
    if (blobSize == nullptr) return RC_E_SERIALIZE_REQUEST;
    *blobSize = 0;
    const uint32_t minCapacity =
        kind == SectionKind::kConfiguration ? kMinConfigurationCapacity : kMinStateCapacity;
    if (blob == nullptr || blobCapacity < minCapacity || setId != 0) return RC_E_SERIALIZE_REQUEST;
    if (work == nullptr) return RC_E_WORK_BUFFER_SMALL;

    uint32_t position = kBlobHeaderSize;
    for (uint32_t channel = 1; channel <= kMaxChannelId; ++channel) {
        if (!isChannelId(channel)) continue;
        const uint32_t length = v.hub.exportChannelSection(kind, channel, work, workSize);
        if (length == 0) continue;
        const int32_t status = append(blob, blobCapacity, position, length, work, workSize);
        if (status != RC_OK) return status;
    }
    const uint32_t hyperLength = exportHyper(v, kind, work, workSize);
    if (hyperLength != 0) {
        const int32_t status = append(blob, blobCapacity, position, hyperLength, work, workSize);
        if (status != RC_OK) return status;
    }
    uint32_t size = position;
    const int32_t status = frameSerializedData(blob, blobCapacity, size);
    if (status != RC_OK) return status;
    *blobSize = size;
    return RC_OK;
}

// The hyper section belongs to the engine, every other to a channel's module.
int32_t routeSection(Engine& v, SectionKind kind, uint8_t id, const uint8_t* section,
                     uint32_t length) {
    return id == Engine::kSectionId ? importSection(v, kind, section, length)
                                    : v.hub.importChannelSection(kind, id, section, length);
}

// A null blob holds nothing (too short); a null work buffer holds no blob.
int32_t importBlob(Engine& v, SectionKind kind, const uint8_t* blob, uint32_t blobSize,
                   uint8_t* work, uint32_t workSize) {
    if (blob == nullptr) return RC_E_BLOB_TOO_SHORT;
    if (work == nullptr) return RC_E_WORK_BUFFER_SMALL;
    uint32_t position = 0;
    int32_t status = validateSerialization(blob, blobSize, workSize, position);
    if (status != RC_OK) return status;
    const uint32_t payloadEnd = blobSize - kBlobTrailerSize;
    while (position < payloadEnd) {
        uint8_t id = 0;
        uint32_t length = 0;
        status = parse(blob, blobSize, position, work, workSize, id, length);
        if (status != RC_OK) return status;
        status = routeSection(v, kind, id, work, length);
        if (status != RC_OK) return status;
        // Every owner refuses an empty section; should one ever accept it, the
        // position would not move and the loop would never end.
        if (length == 0) return RC_E_SECTION_SHORT;
    }
    return RC_OK;
}

}  // namespace

int32_t getConfiguration(const Engine& v, uint8_t setId, uint8_t* blob, uint32_t blobCapacity,
                         uint8_t* work, uint32_t workSize, uint32_t* blobSize) {
    return exportBlob(v, SectionKind::kConfiguration, setId, blob, blobCapacity, work, workSize,
                      blobSize);
}

int32_t getState(const Engine& v, uint8_t setId, uint8_t* blob, uint32_t blobCapacity,
                 uint8_t* work, uint32_t workSize, uint32_t* blobSize) {
    return exportBlob(v, SectionKind::kState, setId, blob, blobCapacity, work, workSize, blobSize);
}

int32_t setConfiguration(Engine& v, const uint8_t* blob, uint32_t blobSize, uint8_t* work,
                         uint32_t workSize) {
    return importBlob(v, SectionKind::kConfiguration, blob, blobSize, work, workSize);
}

int32_t setState(Engine& v, const uint8_t* blob, uint32_t blobSize, uint8_t* work,
                 uint32_t workSize) {
    return importBlob(v, SectionKind::kState, blob, blobSize, work, workSize);
}

}  // namespace vorn
