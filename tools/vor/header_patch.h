// The header of a native file with some of its words changed and all else as it was.
#ifndef VOR_TOOL_HEADER_PATCH_H
#define VOR_TOOL_HEADER_PATCH_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "native_layout.h"

namespace vor::tool {

class HeaderPatch {
public:
    explicit HeaderPatch(const NativeLayout &layout);

    // The word at a place of the header, in the machine's byte order.
    uint32_t word(size_t place) const;
    void set_word(size_t place, uint32_t value);

    // Where a section begins. False if the file's version has no words for that offset.
    bool set_offset(SectionKind kind, int64_t offset);

    // As the bytes are to stand in the file, with a checksum renewed where one counts.
    std::span<const uint8_t, VOR_HDRSIZE> finish();

private:
    bool wide() const; // do the high words of offsets count?
    void widen();

    std::array<uint8_t, VOR_HDRSIZE> bytes_;
    ByteOrder order_;
    bool has_wide_; // the version knows the high words
    bool has_checksum_;
};

} // namespace vor::tool

#endif
