// The buffer of a handle as writers see it: bytes go in, full buffers go out.
#ifndef VOR_CODECS_BYTE_SINK_H
#define VOR_CODECS_BYTE_SINK_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "trackfile/lf.h"

namespace vor {

// Failures are reported with code 2 under the writer's name. The position is the handle's again
// after finish().
class ByteSink {
public:
    ByteSink(xvor_t *h, const char *writer)
        : h_(h), writer_(writer), at_(h->bufptr), end_(h->bufend) {}

    // Makes room for `bytes` bytes in one piece.
    bool reserve(size_t bytes) { return room() >= bytes || flush(bytes); }

    // What there is room for without a flush.
    size_t room() const { return at_ < end_ ? static_cast<size_t>(end_ - at_) : 0; }

    // The next bytes, as far as they are reserved.
    uint8_t *at() { return at_; }
    void advance(size_t bytes) { at_ += bytes; }

    bool fill(size_t count, uint8_t value) {
        while (count > 0) {
            if (!reserve(1)) return false;
            const size_t piece = std::min(count, room());
            std::memset(at_, value, piece);
            at_ += piece;
            count -= piece;
        }
        return true;
    }

    void finish() { h_->bufptr = at_; }

private:
    bool flush(size_t bytes) {
        h_->bufptr = at_;
        if (lfflush(h_) >= 0) {
            at_ = h_->bufptr;
            end_ = h_->bufend;
            if (room() >= bytes) return true;
        }
        lferror(h_, writer_, LFE_OS, 0, nullptr);
        return false;
    }

    xvor_t *h_;
    const char *writer_;
    uint8_t *at_;
    uint8_t *end_;
};

} // namespace vor

#endif
