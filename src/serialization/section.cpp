// Section header checking, and the section writer and reader.
#include "math/fp_rules.h"

#include "serialization/section.h"

namespace vorn {

namespace {
constexpr uint32_t kIdOffset = 2;
}

int32_t checkSectionHeader(uint32_t expectedId, const uint8_t* section, uint32_t length) {
    if (length < kSectionHeaderSize) return RC_E_SECTION_SHORT;
    if (section[kIdOffset] != static_cast<uint8_t>(expectedId & 0xFFu)) {
        return RC_E_SECTION_UNKNOWN;
    }
    return RC_OK;
}

SectionWriter::SectionWriter(uint32_t id, uint8_t* buffer, uint32_t capacity)
    : buffer_(buffer), capacity_(capacity), position_(kSectionHeaderSize) {
    if (capacity > kIdOffset) buffer[kIdOffset] = static_cast<uint8_t>(id & 0xFFu);
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
    const int32_t status = checkSectionHeader(id, section, length);
    if (status != RC_OK) return status;
    if (length - kSectionHeaderSize < fieldBytes) return RC_E_SECTION_SHORT;
    section_ = section;
    position_ = kSectionHeaderSize;
    return RC_OK;
}

}  // namespace vorn
