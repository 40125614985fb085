// A fixed-width reader that goes code by code and does everything the slow way: what the quick ones
// are held against.
#ifndef VOR_TESTS_PLAIN_READER_H
#define VOR_TESTS_PLAIN_READER_H

#include <algorithm>
#include <cstdint>
#include <string>

#include "codecs/coded_track.h"
#include "support/owned_handles.h"
#include "support/report_log.h"
#include "trackfile/lf.h"

namespace vor::test {

// The error-diffusing scaler in the form of its definition: a product and a division a piece, in
// double precision where the product could leave 31 bits.
class PlainScaler {
public:
    PlainScaler(int64_t output, int64_t window)
        : n_(output), w_(window), err_(window < 2 ? -1 : -(window / 2)) {}

    int64_t pixels_for(int64_t r, bool may_use_double) {
        int64_t m = 0;
        if (r < 256 || n_ < 65536 || !may_use_double) {
            m = n_ * r / w_;
            err_ += n_ * r % w_;
        } else {
            const double p = static_cast<double>(n_) * static_cast<double>(r);
            m = static_cast<int64_t>(p / static_cast<double>(w_));
            const double rest = p - static_cast<double>(m) * static_cast<double>(w_) + 0.5;
            err_ += static_cast<int64_t>(rest);
        }
        if (err_ >= 0) {
            ++m;
            err_ -= w_;
        }
        return m;
    }
    int64_t err() const { return err_; }

private:
    int64_t n_, w_, err_;
};

struct ReaderKind {
    const char *name;
    Form form;
    bool scaled;
    bool reversed;
};

class PlainReader {
public:
    // `room`: runs that the track buffer takes.
    PlainReader(xvor_t *h, const ReaderKind &kind, size_t room)
        : h_(h), kind_(kind), room_(room), unit_(static_cast<ptrdiff_t>(code_bytes(kind.form))) {}

    // The result of reading into `t`, which only the handle's hook sees.
    int32_t read(trackbuf *t) {
        if (!go_to_window()) return -1;
        if (!decode_window()) return -1;
        const int64_t out = h_->ysize - made_;
        if (out != 0) {
            if (!h_->shorttrack) return fail(kind_.name, "error count: " + std::to_string(out));
            if (h_->shorttrack(h_, t, static_cast<int32_t>(out)) < 0) return -1;
        }
        if (skip(h_->ye - left_) < 0) return -1;
        return static_cast<int32_t>(runs_.size());
    }

    // Steps to the next track from pixel y on.
    int32_t skip(int64_t y) {
        const std::string where = walker("skip");
        int32_t count = 0;
        if (y == 0 && has(LF_TRKBEGIN)) {
            if (!pass_begin(where)) return -1;
            ++count;
        }
        int64_t left = h_->fysize - y;
        int64_t last = 1;
        while (left > 0 && last > 0) {
            if (!need_code(where)) return -1;
            last = code().length;
            h_->bufptr += unit_;
            ++count;
            left -= last;
        }
        if (!has(LF_LAXTRACK) && !h_->shorttrack) {
            if (left != 0) return fail(where, "error count: " + std::to_string(left));
            if (last < 1) return fail(where, "file corrupted");
        }
        if (!pass_end(where, &count)) return -1;
        return y == 0 && count == 0 ? fail(where, "file corrupted") : count;
    }

    // The completed runs in the order of the list, and the reports.
    Runs runs() const {
        Runs list = runs_;
        if (kind_.reversed) std::reverse(list.begin(), list.end());
        return list;
    }
    const Lines &reports() const { return reports_; }

private:
    bool has(uint32_t flag) const { return (h_->flags & flag) != 0; }
    Code code() const { return decode(kind_.form, h_->bufptr); }

    std::string walker(const char *verb) const {
        const bool skips = std::string(verb) == "skip";
        const char *width = kind_.form == Form::fw8    ? "8b"
                            : kind_.form == Form::fw16 ? "16b"
                                                       : "88b";
        return std::string(verb) + width + (skips ? "" : "ol");
    }

    int32_t fail(const std::string &where, const std::string &message) {
        reports_.push_back(where + ": " + message);
        return -1;
    }
    bool end_of_data(const std::string &where) {
        fail(where, "unexpected EOF: last os error");
        return false;
    }

    enum class Data { there, ended, failed };
    Data look() {
        if (h_->bufptr == h_->bufend && h_->fillbuf(h_) < 0) return Data::failed;
        return h_->bufend - h_->bufptr < unit_ ? Data::ended : Data::there;
    }
    bool need_code(const std::string &where) { return look() == Data::there || end_of_data(where); }

    bool pass_begin(const std::string &where) {
        if (!need_code(where)) return false;
        if (code().length != 0) {
            fail(where, "invalid begin of track");
            return false;
        }
        h_->bufptr += unit_;
        return true;
    }

    bool pass_end(const std::string &where, int32_t *count) {
        if (!has(LF_TRKEND)) return true;
        const Data data = look();
        if (data == Data::failed) return end_of_data(where);
        if (data == Data::ended) return has(LF_LAXTRACK) || end_of_data(where);
        if (code().length == 0) {
            h_->bufptr += unit_;
            ++*count;
            return true;
        }
        if (!has(LF_LAXTRACK)) fail(where, "invalid end of track");
        return has(LF_LAXTRACK);
    }

    bool go_to_window() {
        const std::string where = walker("goto");
        if (has(LF_TRKBEGIN) && !pass_begin(where)) return false;
        int64_t sum = 0;
        for (;;) {
            if (!need_code(where)) return false;
            const int64_t length = code().length;
            if (length < 1) {
                fail(where, "file corrupted");
                return false;
            }
            sum += length;
            if (sum > h_->ya) break;
            h_->bufptr += unit_;
        }
        part_ = sum - h_->ya;
        return true;
    }

    bool decode_window() {
        const int64_t w = h_->ye - h_->ya;
        PlainScaler scaler(h_->ysize, w);
        int64_t r = part_;
        left_ = w;
        key_ = code().colour;
        if (kind_.form == Form::fw88) key_ = h_->ctable[key_];
        while (left_ > 0 && r >= 1) {
            left_ -= r;
            if (left_ < 0) r += left_;
            if (!take(kind_.scaled ? scaler.pixels_for(r, kind_.form == Form::fw16) : r))
                return false;
            h_->bufptr += unit_;
            const Data data = look();
            if (data == Data::failed || (data == Data::ended && left_ > 0)) {
                return end_of_data(kind_.name);
            }
            r = data == Data::there ? static_cast<int64_t>(code().length) : 0;
        }
        return acc_ == 0 || append();
    }

    // Takes `m` output pixels of the colour of the code at hand.
    bool take(int64_t m) {
        if (m <= 0) return true;
        uint32_t key = code().colour;
        if (kind_.form == Form::fw88) key = h_->ctable[key];
        if (key != key_) {
            if (acc_ > 0 && !append()) return false;
            acc_ = 0;
            key_ = key;
        }
        made_ += m;
        acc_ += m;
        return true;
    }

    bool append() {
        if (runs_.size() == room_) {
            fail(kind_.name, "invalid argument | track buffer too small");
            return false;
        }
        const uint32_t colour = kind_.form == Form::fw88 ? key_ : h_->ctable[key_ != 0 ? 255 : 0];
        runs_.emplace_back(static_cast<uint32_t>(acc_), colour);
        return true;
    }

    xvor_t *h_;
    ReaderKind kind_;
    size_t room_;
    ptrdiff_t unit_;
    int64_t part_ = 0; // pixels of the first code behind the window's begin
    int64_t left_ = 0;
    int64_t made_ = 0;
    int64_t acc_ = 0;
    uint32_t key_ = 0;
    Runs runs_;
    Lines reports_;
};

} // namespace vor::test

#endif
