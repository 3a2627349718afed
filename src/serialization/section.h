// The 4-byte section header (u16 length, u8 owner id, one reserved byte) and the
// writer/reader helpers every module uses for its configuration and state
// sections. Readers refuse a section shorter than its fields before storing
// anything, so a damaged blob never reads past a section nor half-updates a module.
#pragma once

#include <cstdint>

#include "serialization/codec.h"
#include "vorn/vorn.h"

namespace vorn {

inline constexpr uint32_t kSectionHeaderSize = 4;

// Begin a section: with a non-zero field count of at least minCount, store the id
// at byte 2 and return the first field position (4); otherwise set the field
// count to 0 and return 0. Header bytes are only written where the buffer has them.
uint32_t prepareSerializationHeader(uint8_t id, uint8_t* section, uint32_t capacity,
                                    uint32_t& fieldCount, uint32_t minCount);

// Check a section header. RC_E_SECTION_SHORT when length < 4 (both outputs 0, no
// byte read); otherwise position 4 and statedLength the u16 at bytes 0-1, and
// RC_E_SECTION_UNKNOWN when byte 2 is not the low byte of expectedId, else RC_OK.
// The stated length is informational: the length passed in is the one that counts.
int32_t checkSerializationHeader(uint32_t expectedId, const uint8_t* section, uint32_t length,
                                 uint32_t& statedLength, uint32_t& position);

// Writes one section into a work buffer: begin, add the fields in order, finish.
// finish() stores the length at bytes 0-1 and returns it: 0 for no section,
// capacity + 1 when a field did not fit.
class SectionWriter {
public:
    SectionWriter(uint32_t id, uint8_t* buffer, uint32_t capacity, uint32_t fieldCount,
                  uint32_t minCount);

    template <Field T>
    SectionWriter& add(const T& field) {
        if (fieldCount_ != 0) serializeAndAdd(field, buffer_, capacity_, position_);
        return *this;
    }

    uint32_t finish();

private:
    uint8_t* buffer_;
    uint32_t capacity_;
    uint32_t fieldCount_;
    uint32_t position_;
};

// Reads one section back. open() checks the header against the owner's id and
// that the section holds fieldBytes after the header; on failure it returns the
// status (RC_E_SECTION_SHORT or RC_E_SECTION_UNKNOWN) and the caller must change
// nothing.
class SectionReader {
public:
    int32_t open(uint32_t id, const uint8_t* section, uint32_t length, uint32_t fieldBytes);

    template <Field T>
    SectionReader& read(T& field) {
        parseAndDeserialize(section_, position_, field);
        return *this;
    }
    SectionReader& readFlag(uint8_t& flag) {
        parseFlag(section_, position_, flag);
        return *this;
    }

private:
    const uint8_t* section_ = nullptr;
    uint32_t position_ = 0;
};

}  // namespace vorn
