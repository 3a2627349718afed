// Section header writing and checking, and the section writer and reader helpers.
#include "serialization/section.h"

namespace vorn {

namespace {
constexpr uint32_t kIdOffset = 2;
}

uint32_t prepareSerializationHeader(uint8_t id, uint8_t* section, uint32_t capacity,
                                    uint32_t& fieldCount, uint32_t minCount) {
    if (fieldCount == 0 || fieldCount < minCount) {
        fieldCount = 0;
        return 0;
    }
    if (capacity > kIdOffset) section[kIdOffset] = id;
    return kSectionHeaderSize;
}

int32_t checkSerializationHeader(uint32_t expectedId, const uint8_t* section, uint32_t length,
                                 uint32_t& statedLength, uint32_t& position) {
    statedLength = 0;
    position = 0;
    if (length < kSectionHeaderSize) return RC_E_SECTION_SHORT;
    position = kSectionHeaderSize;
    statedLength = static_cast<uint32_t>(section[0] | (section[1] << 8));
    if (section[kIdOffset] != static_cast<uint8_t>(expectedId & 0xFFu)) {
        return RC_E_SECTION_UNKNOWN;
    }
    return RC_OK;
}

SectionWriter::SectionWriter(uint32_t id, uint8_t* buffer, uint32_t capacity, uint32_t fieldCount,
                             uint32_t minCount)
    : buffer_(buffer), capacity_(capacity), fieldCount_(fieldCount), position_(0) {
    position_ = prepareSerializationHeader(static_cast<uint8_t>(id & 0xFFu), buffer_, capacity_,
                                           fieldCount_, minCount);
}

uint32_t SectionWriter::finish() {
    // The length is stored truncated to 16 bits; a work buffer too small even for
    // it keeps its bytes (the overflow marker already condemns the section).
    if (capacity_ >= 2) {
        buffer_[0] = static_cast<uint8_t>(position_ & 0xFFu);
        buffer_[1] = static_cast<uint8_t>((position_ >> 8) & 0xFFu);
    }
    return position_;
}

int32_t SectionReader::open(uint32_t id, const uint8_t* section, uint32_t length,
                            uint32_t fieldBytes) {
    uint32_t statedLength = 0;
    uint32_t position = 0;
    const int32_t status = checkSerializationHeader(id, section, length, statedLength, position);
    if (status != RC_OK) return status;
    if (length - kSectionHeaderSize < fieldBytes) return RC_E_SECTION_SHORT;
    section_ = section;
    position_ = position;
    return RC_OK;
}

}  // namespace vorn
