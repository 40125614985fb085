// The eight bitmap readers: rows of bytes or bits, scaled or one-to-one, forward or reversed.
//
// Pixels of one value that lie together cost one step of the scaler: eight equal bytes of a bm8
// row, a run of bits within a byte of a bm1 row.

#include "codecs/bitmap_row.h"
#include "codecs/bitruns.h"
#include "codecs/codec_functions.h"
#include "codecs/reading.h"
#include "codecs/run_gatherer.h"
#include "codecs/scaler.h"

namespace vor {
namespace {

template <class Scale, Order order>
class RowReader {
public:
    RowReader(xvor_t *h, const trackbuf *t, const char *name)
        : h_(h), name_(name), window_(Scale::one_to_one ? h->ysize : window_length(h)),
          scale_(h->ysize, window_), cursor_(h), runs_(t) {}

    // Both take the window's pixels from the read position on. False after a report.
    bool take_bytes();
    bool take_bits();

    // Hands position and runs over.
    void leave(trackbuf *t) {
        cursor_.leave();
        runs_.publish(t);
    }

    // Behind leave().
    int32_t skip(int64_t distance) { return cursor_.skip(distance); }
    bool accept(trackbuf *t) {
        return Scale::one_to_one ||
               accept_missing(h_, t, int64_t{h_->ysize} - runs_.pixels(), name_);
    }

private:
    bool finish() { return runs_.finish() || no_room(); }
    bool no_room() {
        report_no_room(h_, name_);
        return false;
    }
    bool take_valid_bytes();
    bool take_byte_of_bits(uint32_t seen);

    // Takes pixels of one value. False if there is no room for the run they end.
    bool take_equal(int64_t count) {
        const uint32_t end = scale_.at(passed_ + count);
        if (!runs_.add(end, h_->ctable[cursor_.byte()])) return false;
        passed_ += count;
        cursor_.advance(count);
        return true;
    }

    xvor_t *h_;
    const char *name_;
    int64_t window_;
    int64_t passed_ = 0; // pixels of the window
    Scale scale_;
    RowCursor cursor_;
    RunGatherer<order> runs_;
};

// Takes pixels up to the end of the valid bytes: eight at once where they are equal, else eight in
// turn. The working copy keeps the state of the loop in registers.
template <class Scale, Order order>
bool RowReader<Scale, order>::take_valid_bytes() {
    RowReader row = *this;
    bool room = true;
    while (room && row.passed_ < row.window_ && !row.cursor_.at_end()) {
        if (row.window_ - row.passed_ >= 8 && row.cursor_.at_eight_equal()) {
            room = row.take_equal(8);
            continue;
        }
        for (int i = 0; i < 8 && room && row.passed_ < row.window_ && !row.cursor_.at_end(); ++i)
            room = row.take_equal(1);
    }
    *this = row;
    return room;
}

// A scaled reader fills the buffer only for a pixel that yields output, and then the reversed rule
// holds: the positions in front of the new bytes read as 0. Relied on as it is.
template <class Scale, Order order>
bool RowReader<Scale, order>::take_bytes() {
    constexpr Overshoot rule = Scale::one_to_one ? Overshoot::carried : Overshoot::reversed;
    while (passed_ < window_) {
        if (cursor_.at_end()) {
            const bool yields = scale_.at(passed_ + 1) != runs_.pixels();
            if (yields && !cursor_.refill(rule, name_)) return false;
            if (!take_equal(1)) return no_room();
        }
        if (!take_valid_bytes()) return no_room();
    }
    return finish();
}

template <class Scale, Order order>
bool RowReader<Scale, order>::take_bits() {
    uint32_t seen = static_cast<uint32_t>(window_begin(h_) % pixels_per_byte);
    while (passed_ < window_) {
        if (cursor_.at_end() && !cursor_.refill(Overshoot::carried, name_)) return false;
        if (!take_byte_of_bits(seen)) return no_room();
        seen = 0;
        cursor_.advance(1);
    }
    return finish();
}

// Takes the pixels of a byte behind the first `seen`. The one-to-one form joins only the first run
// of a whole byte to the run at hand, which shows where the table gives both bits one colour.
template <class Scale, Order order>
bool RowReader<Scale, order>::take_byte_of_bits(uint32_t seen) {
    const bool whole = seen == 0 && window_ - passed_ >= pixels_per_byte;
    const ByteRuns &byte = bitruns[cursor_.byte()];
    for (uint32_t i = 0; i < byte.count && passed_ < window_; ++i) {
        const BitRun run = byte.runs[i];
        const uint32_t dropped = std::min<uint32_t>(seen, run.length);
        seen -= dropped;
        passed_ = std::min(passed_ + run.length - dropped, window_);
        const uint32_t end = scale_.at(passed_);
        const uint32_t colour = h_->ctable[run.bit ? LF_NCOLORS - 1 : 0];
        const bool joins = !Scale::one_to_one || !whole || i == 0;
        if (!(joins ? runs_.add(end, colour) : runs_.start(end, colour))) return false;
    }
    return true;
}

template <class Scale, Order order>
int32_t read_byte_row(xvor_t *h, trackbuf *t, const char *name) {
    if (skipbmx(h, window_begin(h) * pixel_stride(h) + plane_offset(h)) < 0) return -1;
    RowReader<Scale, order> row(h, t, name);
    const bool taken = row.take_bytes();
    row.leave(t);
    if (!taken || row.skip(rest_of_byte_row(h, h->ye)) < 0 || !row.accept(t)) return -1;
    return t->nruns;
}

// Unlike a row of bytes it is accepted before the step to the next row: the hook sees the position
// behind the window.
template <class Scale, Order order>
int32_t read_bit_row(xvor_t *h, trackbuf *t, const char *name) {
    const int64_t first = window_begin(h) / pixels_per_byte;
    if (skipbmx(h, first * pixel_stride(h) + plane_offset(h)) < 0) return -1;
    RowReader<Scale, order> row(h, t, name);
    const bool taken = row.take_bits();
    row.leave(t);
    if (!taken || !row.accept(t) || row.skip(rest_of_bit_row(h, h->ye)) < 0) return -1;
    return t->nruns;
}

} // namespace

int32_t read_bilevel(xvor_t *h, trackbuf *t) {
    return read_bit_row<Rescaled, Order::forward>(h, t, "read_bilevel");
}
int32_t read_bilevel_ns(xvor_t *h, trackbuf *t) {
    return read_bit_row<OneToOne, Order::forward>(h, t, "read_bilevel_ns");
}
int32_t rev_read_bilevel(xvor_t *h, trackbuf *t) {
    return read_bit_row<Rescaled, Order::reversed>(h, t, "rev_read_bilevel");
}
int32_t rev_read_bilevel_ns(xvor_t *h, trackbuf *t) {
    return read_bit_row<OneToOne, Order::reversed>(h, t, "rev_read_bilevel_ns");
}

int32_t read_bm8(xvor_t *h, trackbuf *t) {
    return read_byte_row<Rescaled, Order::forward>(h, t, "read_bm8");
}
int32_t read_bm8_ns(xvor_t *h, trackbuf *t) {
    return read_byte_row<OneToOne, Order::forward>(h, t, "read_bm8_ns");
}
int32_t rev_read_bm8(xvor_t *h, trackbuf *t) {
    return read_byte_row<Rescaled, Order::reversed>(h, t, "rev_read_bm8");
}
int32_t rev_read_bm8_ns(xvor_t *h, trackbuf *t) {
    return read_byte_row<OneToOne, Order::reversed>(h, t, "rev_read_bm8_ns");
}

} // namespace vor
