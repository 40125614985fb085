#include "header_patch.h"

namespace vor::tool {
namespace {

constexpr int64_t narrow_limit = 0x7FFFFFFF; // from here on the library has the high words count

} // namespace

HeaderPatch::HeaderPatch(const NativeLayout &layout)
    : bytes_(layout.bytes), order_(layout.order),
      has_wide_(static_cast<int32_t>(layout.header.version) >= VOR_VERSION),
      has_checksum_(checksum_counts(layout.header)) {}

uint32_t HeaderPatch::word(size_t place) const {
    return number_at<uint32_t>(bytes_.data() + place, order_);
}

void HeaderPatch::set_word(size_t place, uint32_t value) {
    put_number(bytes_.data() + place, value, order_);
}

bool HeaderPatch::set_offset(SectionKind kind, int64_t offset) {
    if (!has_wide_ && offset > UINT32_MAX) return false;
    if (has_wide_ && !wide() && offset > narrow_limit) widen();
    const OffsetWords &words = offset_words[static_cast<size_t>(kind)];
    set_word(words.low, static_cast<uint32_t>(offset));
    if (wide()) set_word(words.high, static_cast<uint32_t>(static_cast<uint64_t>(offset) >> 32));
    return true;
}

std::span<const uint8_t, VOR_HDRSIZE> HeaderPatch::finish() {
    if (has_checksum_) set_word(offsetof(vorhdr, hcrc), header_checksum(bytes_));
    return bytes_;
}

bool HeaderPatch::wide() const {
    return has_wide_ && (word(offsetof(vorhdr, hflags)) & HF_OFF64) != 0;
}

// The high words may hold anything so far.
void HeaderPatch::widen() {
    for (const OffsetWords &words : offset_words)
        set_word(words.high, 0);
    set_word(offsetof(vorhdr, hflags), word(offsetof(vorhdr, hflags)) | HF_OFF64);
}

} // namespace vor::tool
