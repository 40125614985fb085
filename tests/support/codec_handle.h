// A handle put together by hand, for codecs: its buffer is filled from a vector of bytes and
// flushed into another, so that no file or format is needed.
#ifndef VOR_TESTS_CODEC_HANDLE_H
#define VOR_TESTS_CODEC_HANDLE_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

#include "trackfile/lf.h"

namespace vor::test {

class CodecHandle {
public:
    // A handle that reads `data`, of which the buffer holds `bufsize` bytes at a time.
    explicit CodecHandle(std::vector<uint8_t> data = {}, uint32_t bufsize = LF_BUFSIZE)
        : data_(std::move(data)), buffer_(bufsize) {
        for (int i = 0; i < LF_NCOLORS; ++i)
            h_.ctable[i] = static_cast<uint16_t>(i);
        h_.fd = -1;
        h_.buf = h_.bufptr = h_.bufend = buffer_.data();
        h_.bufsize = bufsize;
        h_.fmtdata = this;
        h_.fillbuf = fill;
        h_.flushbuf = flush;
    }
    CodecHandle(const CodecHandle &) = delete;
    CodecHandle &operator=(const CodecHandle &) = delete;

    xvor_t *get() { return &h_; }
    xvor_t *operator->() { return &h_; }

    // Makes the handle one that writes, with a seek table of `tracks` entries.
    void begin_writing(int32_t tracks = 0) {
        h_.flags |= LF_WRITE;
        h_.bufend = h_.buf + h_.bufsize;
        seektab_.assign(static_cast<size_t>(tracks), unset);
        h_.seektab = tracks > 0 ? seektab_.data() : nullptr;
        h_.seekcap = h_.seekroom = tracks;
    }

    // The clip window and the length of the output.
    void set_window(int32_t ya, int32_t ye, int32_t ysize) {
        h_.ya = ya;
        h_.ye = ye;
        h_.ysize = ysize;
    }

    // Bytes of the data in front of the read position.
    size_t position() const { return drawn_ - static_cast<size_t>(h_.bufend - h_.bufptr); }

    // All bytes written so far, those still in the buffer included.
    std::vector<uint8_t> written() const {
        std::vector<uint8_t> all = flushed_;
        all.insert(all.end(), h_.buf, h_.bufptr);
        return all;
    }

    static constexpr int64_t unset = INT64_MAX; // an entry of the seek table that nobody wrote

    size_t chunk = SIZE_MAX; // most bytes that a fill brings
    int fills = 0;
    int fills_allowed = INT32_MAX;   // those behind fail
    int flushes_allowed = INT32_MAX; // those behind fail

private:
    static CodecHandle *self(xvor_t *h) { return static_cast<CodecHandle *>(h->fmtdata); }

    static int32_t fill(xvor_t *h) {
        CodecHandle *me = self(h);
        if (me->fills == me->fills_allowed) return -1;
        ++me->fills;
        const size_t left = me->data_.size() - me->drawn_;
        const size_t count = std::min({left, size_t{h->bufsize}, me->chunk});
        if (count != 0) std::memcpy(h->buf, me->data_.data() + me->drawn_, count);
        me->drawn_ += count;
        h->bufptr = h->buf;
        h->bufend = h->buf + count;
        return static_cast<int32_t>(count);
    }

    static int32_t flush(xvor_t *h) {
        CodecHandle *me = self(h);
        if (me->flushes_allowed == 0) return -1;
        --me->flushes_allowed;
        me->flushed_.insert(me->flushed_.end(), h->buf, h->bufptr);
        h->bufptr = h->buf;
        return 0;
    }

    xvor_t h_{};
    std::vector<uint8_t> data_;
    std::vector<uint8_t> buffer_;
    size_t drawn_ = 0; // bytes of the data that fills have brought
    std::vector<uint8_t> flushed_;
    std::vector<int64_t> seektab_;
};

} // namespace vor::test

#endif
