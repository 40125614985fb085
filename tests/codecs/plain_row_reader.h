// A bitmap reader that goes pixel by pixel with a refill test at each, and an error term for its
// scaling: what the quick ones are held against.
#ifndef VOR_TESTS_PLAIN_ROW_READER_H
#define VOR_TESTS_PLAIN_ROW_READER_H

#include <algorithm>
#include <cstdint>
#include <string>

#include "codecs/row_file.h"
#include "support/owned_handles.h"
#include "support/report_log.h"

namespace vor::test {

struct RowReaderKind {
    const char *name;
    bool bits;
    bool scaled;
    bool reversed;
};

class PlainRowReader {
public:
    PlainRowReader(xvor_t *h, const RowReaderKind &kind, size_t room)
        : h_(h), kind_(kind), room_(room) {
        if ((h->flags & LF_INTERLEAVED) != 0) stride_ = h->nctab;
        if (stride_ > 1) plane_ = h->ctabno;
    }

    // The result of reading into `t`, which only the handle's hook sees.
    int32_t read(trackbuf *t) {
        w_ = h_->ye - h_->ya;
        out_ = h_->ysize;
        err_ = w_ < 2 ? -1 : -(w_ / 2);
        at_ = h_->bufptr - h_->buf;
        if (!skip((kind_.bits ? h_->ya / 8 : h_->ya) * stride_ + plane_)) return -1;
        const bool taken = kind_.bits ? kind_.scaled ? bits_scaled() : bits_one_to_one() : bytes();
        if (!taken) return -1;
        if (kind_.bits && kind_.scaled && !accept(t)) return -1;
        if (!skip(rest())) return -1;
        if (!kind_.bits && kind_.scaled && !accept(t)) return -1;
        return static_cast<int32_t>(runs_.size());
    }

    Runs runs() const {
        Runs list = runs_;
        if (kind_.reversed) std::reverse(list.begin(), list.end());
        return list;
    }
    const Lines &reports() const { return reports_; }

private:
    bool fail(const std::string &where, const std::string &message) {
        reports_.push_back(where + ": " + message);
        return false;
    }

    int64_t valid() const { return h_->bufend - h_->buf; }
    uint8_t byte() const { return at_ >= 0 && at_ < valid() ? h_->buf[at_] : 0; }

    // Bytes to the next row.
    int64_t rest() const {
        const int64_t y = h_->ye;
        if (y == 0) return h_->rowbytes;
        return h_->rowbytes - (kind_.bits ? (y + 7) / 8 * stride_ : stride_ * y + plane_);
    }

    bool skip(int64_t distance) {
        if (distance <= valid() - at_) {
            at_ += distance;
            if (at_ >= 0) {
                h_->bufptr = h_->buf + at_;
                return true;
            }
            distance = at_;
        } else {
            distance -= at_;
        }
        h_->bufpos += distance;
        const int64_t low = h_->bufpos & 15;
        h_->bufpos -= low;
        h_->bufptr = h_->bufend = h_->buf;
        at_ = 0;
        if (kel_lseek(h_->fd, h_->bufpos, KEL_SEEK_SET) < 0)
            return fail("skipbmx", "last os error");
        if (low == 0) return true;
        const int64_t got = kel_read(h_->fd, h_->buf, h_->bufsize);
        if (got < low) return fail("skipbmx", "unexpected EOF: last os error");
        h_->bufptr = h_->buf + low;
        h_->bufend = h_->buf + got;
        at_ = low;
        return true;
    }

    bool refill(bool reversed) {
        const int64_t overshoot = at_ - valid();
        if (h_->fillbuf(h_) < stride_) return fail(kind_.name, "unexpected EOF: last os error");
        at_ = reversed ? -overshoot : overshoot;
        return true;
    }

    bool accept(trackbuf *t) {
        if (out_ == 0) return true;
        if (h_->shorttrack) return h_->shorttrack(h_, t, static_cast<int32_t>(out_)) >= 0;
        return fail(kind_.name, "error count: " + std::to_string(out_));
    }

    int64_t scaled(int64_t k) {
        int64_t m = h_->ysize * k / w_;
        err_ += h_->ysize * k % w_;
        if (err_ >= 0) {
            ++m;
            err_ -= w_;
        }
        out_ -= m;
        return m;
    }

    bool bytes() {
        int64_t acc = 0;
        uint32_t cur = h_->ctable[byte()];
        for (int64_t i = 0; i < (kind_.scaled ? w_ : h_->ysize); ++i, at_ += stride_) {
            const int64_t m = kind_.scaled ? scaled(1) : 1;
            if (m == 0) continue;
            if (at_ >= valid() && !refill(kind_.scaled)) return false;
            if (!take(&acc, &cur, m, h_->ctable[byte()])) return false;
        }
        return acc == 0 || append(acc, cur);
    }

    bool take(int64_t *acc, uint32_t *cur, int64_t m, uint32_t colour) {
        if (m == 0) return true;
        if (colour != *cur) {
            if (*acc > 0 && !append(*acc, *cur)) return false;
            *acc = 0;
            *cur = colour;
        }
        *acc += m;
        return true;
    }

    uint32_t colour_of(bool bit) const { return h_->ctable[bit ? 255 : 0]; }

    bool bits_scaled() {
        int64_t left = w_;
        int64_t acc = 0;
        uint32_t cur = colour_of(byte() >= 128);
        uint32_t mask = 128u >> (h_->ya % 8);
        if (left > 0 && mask != 128) {
            if (at_ >= valid() && !refill(false)) return false;
            for (; mask != 0 && left > 0; mask >>= 1, --left) {
                if (!take(&acc, &cur, scaled(1), colour_of((byte() & mask) != 0))) return false;
            }
            at_ += stride_;
        }
        while (left > 0) {
            if (at_ >= valid() && !refill(false)) return false;
            for (const auto &[length, bit] : runs_of(byte())) {
                if (left <= 0) break;
                const int64_t k = std::min<int64_t>(length, left);
                left -= k;
                if (!take(&acc, &cur, scaled(k), colour_of(bit))) return false;
            }
            at_ += stride_;
        }
        return acc == 0 || append(acc, cur);
    }

    bool bits_one_to_one() {
        int64_t left = h_->ysize;
        int64_t cur = -1;
        int64_t dropped = h_->ya % 8;
        while (left > 0) {
            if (at_ >= valid() && !refill(false)) {
                if (!runs_.empty()) runs_.pop_back(); // it was not complete
                return false;
            }
            const bool whole = dropped == 0 && left > 7;
            bool first = true;
            for (auto [length, bit] : runs_of(byte())) {
                const int64_t drop = std::min<int64_t>(dropped, length);
                dropped -= drop;
                const int64_t k = std::min<int64_t>(length - drop, left);
                if (k == 0) continue;
                left -= k;
                const uint32_t colour = colour_of(bit);
                const bool joins = colour == cur && (first || !whole);
                first = false;
                cur = colour;
                if (joins) {
                    runs_.back().first += static_cast<uint32_t>(k);
                    continue;
                }
                if (runs_.size() > room_) return no_room_for_last();
                runs_.emplace_back(static_cast<uint32_t>(k), colour);
            }
            at_ += stride_;
        }
        return runs_.size() <= room_ || no_room_for_last();
    }

    bool no_room() { return fail(kind_.name, "invalid argument | track buffer too small"); }
    bool no_room_for_last() {
        runs_.pop_back();
        return no_room();
    }

    bool append(int64_t length, uint32_t colour) {
        if (runs_.size() == room_) return no_room();
        runs_.emplace_back(static_cast<uint32_t>(length), colour);
        return true;
    }

    // Runs of equal bits, from bit 7 on.
    static std::vector<std::pair<uint32_t, bool>> runs_of(uint8_t byte) {
        std::vector<std::pair<uint32_t, bool>> runs;
        for (uint32_t mask = 128; mask != 0; mask >>= 1) {
            const bool bit = (byte & mask) != 0;
            if (runs.empty() || runs.back().second != bit) runs.emplace_back(0, bit);
            ++runs.back().first;
        }
        return runs;
    }

    xvor_t *h_;
    RowReaderKind kind_;
    size_t room_;
    int64_t stride_ = 1;
    int64_t plane_ = 0;
    int64_t at_ = 0; // of the read position in the buffer; may lie outside the valid bytes
    int64_t w_ = 0;
    int64_t out_ = 0;
    int64_t err_ = 0;
    Runs runs_;
    Lines reports_;
};

} // namespace vor::test

#endif
