// Rows of pixels in a file: where they lie, and the read position in one.
//
// A row takes rowbytes bytes. In an interleaved one the bytes of a plane lie nctab bytes apart, and
// those of plane ctabno begin ctabno bytes in.
#ifndef VOR_CODECS_BITMAP_ROW_H
#define VOR_CODECS_BITMAP_ROW_H

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

#include "trackfile/handle.h"

namespace vor {

// Bytes from a pixel's byte to the next.
inline int64_t pixel_stride(const xvor_t *h) {
    return has(h, LF_INTERLEAVED) ? std::max(h->nctab, 1) : 1;
}

inline int64_t plane_offset(const xvor_t *h) {
    return pixel_stride(h) > 1 ? h->ctabno : 0;
}

// Bytes from the byte of pixel y (0: from the row's start) to the start of the next row.
int64_t rest_of_bit_row(const xvor_t *h, int32_t y);
int64_t rest_of_byte_row(const xvor_t *h, int32_t y);

// skipbmx from the position `at`, counted from the start of the buffer.
int32_t skip_from(xvor_t *h, int64_t at, int64_t distance);

// Where a position goes that has passed the end of the buffer when the buffer is filled anew.
enum class Overshoot {
    carried, // it lies as far behind the start of the new bytes as it lay behind the old ones' end
    reversed // it lies as far in front of them
};

// A read position. It may lie outside the valid bytes, and reads 0 there; the handle's own position
// never does.
class RowCursor {
public:
    explicit RowCursor(xvor_t *h) : h_(h), stride_(pixel_stride(h)), at_(h->bufptr - h->buf) {}

    bool at_end() const { return at_ >= valid(); }
    uint8_t byte() const { return at_ >= 0 && at_ < valid() ? h_->buf[at_] : 0; }
    void advance(int64_t pixels) { at_ += pixels * stride_; }

    // Whether eight bytes from here on are valid, belong to eight pixels, and are equal.
    bool at_eight_equal() const {
        if (stride_ != 1 || at_ < 0 || valid() - at_ < 8) return false;
        uint64_t word;
        std::memcpy(&word, h_->buf + at_, sizeof word);
        return word == std::rotl(word, 8);
    }

    // Fills the buffer. False after a report of code 16, if not even a pixel's bytes came.
    bool refill(Overshoot rule, const char *where) {
        const int64_t overshoot = at_ - valid();
        leave();
        if (h_->fillbuf(h_) < stride_) {
            lferror(h_, where, LFE_EOF, 0, nullptr);
            return false;
        }
        at_ = h_->bufptr - h_->buf + (rule == Overshoot::carried ? overshoot : -overshoot);
        return true;
    }

    // Makes this the handle's position, or the nearest one in the buffer.
    void leave() {
        const int64_t inside = std::clamp<int64_t>(at_, 0, valid());
        h_->bufptr = h_->buf + inside;
        outside_ = at_ - inside;
    }

    // Behind leave(): steps on by `distance` from where the row was left.
    int32_t skip(int64_t distance) {
        return skip_from(h_, h_->bufptr - h_->buf + outside_, distance);
    }

private:
    int64_t valid() const { return h_->bufend - h_->buf; }

    xvor_t *h_;
    int64_t stride_;
    int64_t at_;
    int64_t outside_ = 0;
};

} // namespace vor

#endif
