// The bitmap writers: run lists out as rows of exactly rowbytes bytes. What lies beyond the row is
// dropped, what the runs leave open is 0.

#include <algorithm>

#include "codecs/bitmap_row.h"
#include "codecs/bitruns.h"
#include "codecs/byte_sink.h"
#include "codecs/codec_functions.h"
#include "codecs/track_runs.h"

namespace vor {
namespace {

class RowWriter {
public:
    RowWriter(xvor_t *h, const char *name)
        : h_(h), sink_(h, name), left_(static_cast<uint32_t>(std::max(h->rowbytes, 0))) {}

    bool full() const { return left_ == 0; }

    // Whole bytes, as many as the row takes. False after a report, as in the calls below.
    bool put_bytes(uint32_t count, uint32_t value) {
        const uint32_t fitting = std::min(count, left_);
        left_ -= fitting;
        return sink_.fill(fitting, static_cast<uint8_t>(value));
    }

    bool put_bits(uint32_t count, uint32_t colour) {
        if (seen_ != 0) count -= put_in_byte(count, colour);
        if (!put_bytes(count / pixels_per_byte, colour != 0 ? 0xFF : 0)) return false;
        count %= pixels_per_byte;
        if (count == 0 || full()) return true;
        if (!begin_byte(colour)) return false;
        put_in_byte(count - 1, colour);
        return true;
    }

    // Zeros for the rest of the row. They also take the place of a byte that was begun and not
    // finished, so that its pixels are lost. Relied on as it is.
    bool finish() {
        if (!put_bytes(left_, 0)) return false;
        sink_.finish();
        h_->maxruns = std::max(h_->maxruns, h_->rowbytes);
        return true;
    }

private:
    // The first pixel of a byte stores the colour's low byte as it is. So a colour of 255 sets the
    // whole byte, and no later run clears its bits. Relied on as it is.
    bool begin_byte(uint32_t colour) {
        if (!sink_.reserve(1)) return false;
        *sink_.at() = static_cast<uint8_t>(colour);
        seen_ = 1;
        return true;
    }

    // Puts pixels into the byte at hand and gives their number.
    uint32_t put_in_byte(uint32_t count, uint32_t colour) {
        const uint32_t fitting = std::min(count, pixels_per_byte - seen_);
        const uint32_t bits = (0xFFu >> seen_) & ~(0xFFu >> (seen_ + fitting));
        if (colour != 0) *sink_.at() |= static_cast<uint8_t>(bits);
        seen_ += fitting;
        if (seen_ == pixels_per_byte) {
            sink_.advance(1);
            --left_;
            seen_ = 0;
        }
        return fitting;
    }

    xvor_t *h_;
    ByteSink sink_;
    uint32_t left_;     // bytes of the row that are not finished
    uint32_t seen_ = 0; // pixels put into the byte at hand
};

} // namespace

int32_t write_bilevel(xvor_t *h, trackbuf *t) {
    RowWriter row(h, "write_bilevel");
    for (int32_t i = 0; i < t->nruns && !row.full(); ++i) {
        const lfrun &run = run_to_write(h, t, i);
        if (!row.put_bits(run.length, colour_entry(h, run.colour))) return -1;
    }
    return row.finish() ? 0 : -1;
}

int32_t write_bm8(xvor_t *h, trackbuf *t) {
    static constexpr const char *name = "write_bm8";
    if (has(h, LF_INTERLEAVED) && h->nctab >= 2) {
        return lferror(h, name, LFE_REQUEST, 0, nullptr);
    }
    RowWriter row(h, name);
    for (int32_t i = 0; i < t->nruns && !row.full(); ++i) {
        const lfrun &run = run_to_write(h, t, i);
        const uint32_t value = colour_entry(h, run.colour) & 0xFF;
        h->colorinfo[value] = 1;
        if (!row.put_bytes(run.length, value)) return -1;
    }
    return row.finish() ? 0 : -1;
}

} // namespace vor
