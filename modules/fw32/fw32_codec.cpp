// The codec "fw32". A code is a 32-bit word in the machine's byte order: the length of a run in the
// low 20 bits, its colour code above. A code of length 0 ends a track; 0 is what is written.
//
// Readers and the skip walk to that end whatever they find on the way, so that the next track can
// be read behind a damaged one. They give a track up only when it has twice its pixels: data that
// never come to an end are none.

#include "fw32/fw32_codec.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "fw32/vor_fw32.h"

namespace vor::fw32 {
namespace {

constexpr size_t code_bytes = sizeof(uint32_t);

int32_t clamp_int32(int64_t value) {
    return static_cast<int32_t>(std::clamp<int64_t>(value, INT32_MIN, INT32_MAX));
}

bool has(const xvor_t *h, uint32_t flag) {
    return (h->flags & flag) != 0;
}

// The colour table's entry for a colour; one beyond the table stands for itself.
uint32_t colour_entry(const xvor_t *h, uint32_t colour) {
    return colour < LF_NCOLORS ? h->ctable[colour] : colour;
}

// ---- from codes to runs ----

// From pixels of the clip window to output pixels: of a window of w pixels, made to n, the first s
// become floor((n * s + c) / w). With c = w - w / 2, or 0 for a window of one pixel, that is the
// rule of the library's own readers.
class Scaler {
public:
    Scaler(int64_t output, int64_t window)
        : output_(output), window_(window), start_(window > 1 ? window - window / 2 : 0) {}

    int64_t at(int64_t passed) const {
        return window_ > 0 ? (output_ * passed + start_) / window_ : 0;
    }

private:
    int64_t output_;
    int64_t window_;
    int64_t start_;
};

// Fills a track buffer: forward from the unit behind the front guard, in reverse from the last but
// one downwards. Pieces of one colour are joined.
class RunFiller {
public:
    RunFiller(const trackbuf *t, bool reversed)
        : base_(t->base), room_(t->base ? t->size : 0), reversed_(reversed) {}

    // Takes the pixels up to output pixel `end`; a piece that comes out empty changes nothing.
    void take(int64_t end, uint32_t colour) {
        if (end == end_ || full_) return;
        if (count_ == 0 || last().colour != colour) {
            full_ = count_ == room_;
            if (full_) return;
            ++count_;
            last() = {0, colour};
        }
        last().length += static_cast<uint32_t>(end - end_);
        end_ = end;
    }

    bool full() const { return full_; }
    int64_t pixels() const { return end_; }

    void publish(trackbuf *t) const {
        t->nruns = static_cast<int32_t>(count_);
        t->data = base_;
        if (base_) t->data += reversed_ ? room_ - count_ : 1;
    }

private:
    lfrun &last() { return base_[reversed_ ? room_ - count_ : count_]; }

    lfrun *base_;
    size_t room_;
    bool reversed_;
    bool full_ = false; // a run had no room
    size_t count_ = 0;
    int64_t end_ = 0;
};

// Takes the next code from the buffer. False after a report.
bool next_code(xvor_t *h, const char *where, uint32_t *code) {
    const bool there = h->bufptr < h->bufend || h->fillbuf(h) >= 0;
    if (!there || h->bufend - h->bufptr < static_cast<ptrdiff_t>(code_bytes)) {
        lferror(h, where, LFE_EOF, 0, nullptr);
        return false;
    }
    std::memcpy(code, h->bufptr, code_bytes);
    h->bufptr += code_bytes;
    return true;
}

// Walks over the codes of a track from pixel *pixels on, its end included, and shows each run's end
// and colour. *pixels is the sum at last. Result: codes, or -1 after a report.
template <class Show>
int64_t walk(xvor_t *h, const char *where, int64_t *pixels, Show show) {
    for (int64_t codes = 1;; ++codes) {
        uint32_t code = 0;
        if (!next_code(h, where, &code)) return -1;
        const uint32_t length = code & FW32_LENGTH;
        if (length == 0) return codes;
        *pixels += length;
        if (*pixels > int64_t{2} * h->fysize) return lferror(h, where, LFE_CORRUPT, 0, nullptr);
        show(*pixels, code >> FW32_COLOURSHIFT);
    }
}

// Whether a track of so many pixels may stand in the file. False after a report.
bool accept_sum(xvor_t *h, int64_t pixels, const char *where) {
    const int64_t missing = h->fysize - pixels;
    if (missing == 0 || has(h, LF_LAXTRACK) || h->shorttrack) return true;
    lferror(h, where, LFE_COUNT, clamp_int32(missing), nullptr);
    return false;
}

// Whether a track may come out `missing` output pixels short. False after a report.
bool accept_missing(xvor_t *h, trackbuf *t, int64_t missing, const char *where) {
    if (missing == 0) return true;
    if (h->shorttrack) return h->shorttrack(h, t, clamp_int32(missing)) >= 0;
    lferror(h, where, LFE_COUNT, clamp_int32(missing), nullptr);
    return false;
}

int32_t read_codes(xvor_t *h, trackbuf *t, bool reversed, const char *where) {
    const int64_t begin = std::max(h->ya, 0);
    const int64_t window = h->ye - begin;
    const Scaler scaler(h->ysize, window);
    RunFiller runs(t, reversed);
    int64_t pixels = 0;
    const int64_t codes = walk(h, where, &pixels, [&](int64_t end, uint32_t colour) {
        if (end <= begin) return;
        runs.take(scaler.at(std::min(end - begin, window)), colour_entry(h, colour));
    });
    runs.publish(t);
    if (codes < 0) return -1;
    if (runs.full()) return lferror(h, where, LFE_ARGUMENT, 0, "track buffer too small");
    if (!accept_missing(h, t, h->ysize - runs.pixels(), where)) return -1;
    return accept_sum(h, pixels, where) ? t->nruns : -1;
}

int32_t read_fw32(xvor_t *h, trackbuf *t) {
    return read_codes(h, t, false, "read_fw32");
}
int32_t rev_read_fw32(xvor_t *h, trackbuf *t) {
    return read_codes(h, t, true, "rev_read_fw32");
}

int32_t skip_fw32(xvor_t *h, int32_t y) {
    constexpr const char *where = "skip_fw32";
    int64_t pixels = y;
    const int64_t codes = walk(h, where, &pixels, [](int64_t, uint32_t) {});
    if (codes < 0 || !accept_sum(h, pixels, where)) return -1;
    return clamp_int32(codes);
}

// ---- from runs to codes ----

class CodeWriter {
public:
    explicit CodeWriter(xvor_t *h) : h_(h) {}

    // Joins the runs of one colour, and passes over those of no pixels: a length of 0 would end the
    // track. All of these are false after a report.
    bool put_run(const lfrun &run) {
        if (run.length == 0) return true;
        const uint32_t colour = colour_entry(h_, run.colour);
        if (colour > FW32_MAXCOLOUR) {
            lferror(h_, where, LFE_ARGUMENT, 0, "a colour code of more than 12 bits");
            return false;
        }
        if (colour != colour_ && !put_gathered()) return false;
        colour_ = colour;
        length_ += run.length;
        return true;
    }

    bool put_end() {
        if (!put_gathered() || !put(0)) return false;
        h_->maxruns = std::max(h_->maxruns, clamp_int32(codes_));
        return true;
    }

private:
    static constexpr const char *where = "write_fw32";

    bool put_gathered() {
        for (; length_ > 0; length_ -= std::min<uint64_t>(length_, FW32_LENGTH)) {
            const auto part = static_cast<uint32_t>(std::min<uint64_t>(length_, FW32_LENGTH));
            if (!put(colour_ << FW32_COLOURSHIFT | part)) return false;
        }
        return true;
    }

    bool put(uint32_t code) {
        if (!has_room() && (lfflush(h_) < 0 || !has_room())) {
            lferror(h_, where, LFE_OS, 0, nullptr);
            return false;
        }
        std::memcpy(h_->bufptr, &code, code_bytes);
        h_->bufptr += code_bytes;
        ++codes_;
        return true;
    }

    bool has_room() const { return h_->bufend - h_->bufptr >= static_cast<ptrdiff_t>(code_bytes); }

    xvor_t *h_;
    uint32_t colour_ = 0; // of the run being gathered
    uint64_t length_ = 0;
    int64_t codes_ = 0;
};

// A track of one run is written like any other: a stream has no table to keep a mark in.
int32_t write_fw32(xvor_t *h, trackbuf *t) {
    CodeWriter writer(h);
    for (int32_t i = 0; i < t->nruns; ++i) {
        const lfrun &run = t->data[has(h, LF_YMIRROR) ? t->nruns - 1 - i : i];
        if (!writer.put_run(run)) return -1;
    }
    return writer.put_end() ? 0 : -1;
}

} // namespace

// The scaler of an unscaled window changes nothing, so that one reader serves both.
const rle_row codec = {
    .name = "fw32",
    .skip = skip_fw32,
    .read = read_fw32,
    .read_ns = read_fw32,
    .rev_read = rev_read_fw32,
    .rev_read_ns = rev_read_fw32,
    .write = write_fw32,
    .limit = FW32_LENGTH,
};

} // namespace vor::fw32
