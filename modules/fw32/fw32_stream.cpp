// The record of the format "fw32": a stream that is taken as it comes. The bytes by which lfdopen
// wanted to recognise the file are kept, since a pipe gives them only once.

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "codecs/codecs.h"
#include "fw32/fw32_codec.h"
#include "fw32/vor_fw32.h"
#include "platform/kel.h"

namespace vor::fw32 {
namespace {

constexpr size_t code_bytes = sizeof(uint32_t);
constexpr int32_t pixel_bits = 12;

constexpr const char *no_way_back = "a stream does not go back";

// The handle's fmtdata while it reads.
struct Stream {
    int32_t next;   // the image track at which the stream stands
    int32_t wanted; // the one that is asked for
    lf_readtrack_fn decode;
    int64_t taken; // bytes of the stream that have gone into the buffer so far
    // The unread part of the handle's buffer. lfflush and a seek to the end make the handle forget
    // it; a stream does not give it a second time.
    size_t begin;
    size_t end;
    size_t head_begin; // the unread part of the head
    size_t head_end;
    uint8_t head[LF_HEADSIZE];
};

Stream *stream_of(const xvor_t *h) {
    return static_cast<Stream *>(h->fmtdata);
}

bool has(const xvor_t *h, uint32_t flag) {
    return (h->flags & flag) != 0;
}

// Bytes into the buffer's place `to`: those of the head first. Their number, 0 at the end, or -1.
int64_t take_bytes(xvor_t *h, Stream *stream, uint8_t *to, size_t size) {
    const size_t left = std::min(stream->head_end - stream->head_begin, size);
    if (left == 0) return kel_read(h->fd, to, size);
    std::memcpy(to, stream->head + stream->head_begin, left);
    stream->head_begin += left;
    return static_cast<int64_t>(left);
}

// A fillbuf that takes what is there, without waiting for a full buffer, and completes a code that
// the pipe has cut.
int32_t fill(xvor_t *h) {
    Stream *stream = stream_of(h);
    h->bufptr = h->bufend = h->buf;
    if (has(h, LF_EOF)) return -1;
    errno = 0; // an end is reported with the system's text, which must not be an old one
    size_t have = 0;
    size_t wanted = h->bufsize / code_bytes * code_bytes;
    while (wanted > 0) {
        const int64_t got = take_bytes(h, stream, h->buf + have, wanted);
        if (got < 0) return -1;
        if (got == 0) break;
        have += static_cast<size_t>(got);
        wanted = (code_bytes - have % code_bytes) % code_bytes;
    }
    h->bufpos = stream->taken;
    stream->taken += static_cast<int64_t>(have);
    h->bufend = h->buf + have;
    return static_cast<int32_t>(have);
}

void resume(xvor_t *h, const Stream &stream) {
    h->bufptr = h->buf + stream.begin;
    h->bufend = h->buf + stream.end;
}

void remember(const xvor_t *h, Stream *stream) {
    stream->begin = static_cast<size_t>(h->bufptr - h->buf);
    stream->end = static_cast<size_t>(h->bufend - h->buf);
}

// Brings the stream to the wanted track. 0, or -1 after a report.
int32_t go_forward(xvor_t *h, Stream *stream) {
    constexpr const char *where = "fw32_readtrack";
    if (stream->wanted < stream->next) return lferror(h, where, LFE_ARGUMENT, 0, no_way_back);
    for (;; ++stream->next) {
        if (h->bufptr == h->bufend && fill(h) == 0) {
            return lferror(h, where, LFE_TRACK, stream->next, "the stream has no such track");
        }
        if (stream->next == stream->wanted) return 0;
        if (h->skiptrack(h, 0) < 0) {
            ++stream->next;
            return -1;
        }
    }
}

int32_t read_track(xvor_t *h, trackbuf *t) {
    Stream *stream = stream_of(h);
    if (has(h, LF_EOF)) {
        errno = 0;
        return lferror(h, "fw32_readtrack", LFE_EOF, 0, nullptr);
    }
    resume(h, *stream);
    int32_t result = go_forward(h, stream);
    if (result == 0) {
        ++stream->next;
        result = stream->decode(h, t);
    }
    remember(h, stream);
    return result;
}

// The track that was read last may be asked for again: as a rule the caller's buffer still holds
// it.
int32_t seek_track(xvor_t *h, int32_t track) {
    Stream *stream = stream_of(h);
    const int32_t wanted = h->otrack ? h->otrack[track] : h->xa + track;
    if (wanted < stream->next - 1) return lferror(h, "fw32_seek", LFE_ARGUMENT, 0, no_way_back);
    stream->wanted = wanted;
    return 0;
}

// No file looks like a stream: it is one only for who says so.
int32_t detect(xvor_t *h, const uint8_t *head, int32_t size) {
    constexpr const char *where = "fw32_detect";
    if (!has(h, LF_FORCETYPE) || h->fd < 0) return 1;
    if ((h->flags & LF_ACCMODE) != LF_READ) {
        return lferror(h, where, LFE_NOWRITE, 0, "a stream is not updated in place");
    }
    auto *stream = static_cast<Stream *>(std::calloc(1, sizeof(Stream)));
    if (!stream) return lferror(h, where, LFE_MEMORY, 0, nullptr);
    stream->head_end = static_cast<size_t>(size);
    std::memcpy(stream->head, head, stream->head_end);
    h->fmtdata = stream;
    h->bits = pixel_bits;
    h->dataoff = -1; // the descriptor stays where it is
    return 0;
}

int32_t wrsetup(xvor_t *h) {
    h->bits = pixel_bits;
    h->dataoff = 0;
    return 0;
}

int32_t check_read(xvor_t *h) {
    constexpr const char *where = "fw32_check";
    if (has(h, LF_XMIRROR)) return lferror(h, where, LFE_REQUEST, 0, no_way_back);
    if (h->xsize < 1 || h->ysize < 1 || h->fysize < 1) {
        return lferror(h, where, LFE_ARGUMENT, 0, "the size of a stream must be told");
    }
    if (lfrw_functions(h, codec.name) < 0) return -1;
    stream_of(h)->decode = h->readtrack;
    h->readtrack = read_track;
    h->writetrack = nullptr;
    h->seekfn = seek_track;
    h->fillbuf = fill;
    return 0;
}

int32_t check_write(xvor_t *h) {
    if (lfrw_functions(h, codec.name) < 0) return -1;
    h->readtrack = nullptr;
    h->flushbuf = lf_flushb;
    return 0;
}

int32_t check(xvor_t *h) {
    h->flags = (h->flags | LF_TRKEND) & ~LF_TRKBEGIN;
    return (h->flags & LF_ACCMODE) == LF_READ ? check_read(h) : check_write(h);
}

int32_t close(xvor_t *h) {
    std::free(h->fmtdata);
    h->fmtdata = nullptr;
    return 0;
}

int32_t init() {
    return rle_cvtregister(&codec);
}

} // namespace
} // namespace vor::fw32

lffmt_t fw32_cvtformat = {
    .name = "fw32",
    .suffix = ".fw32",
    .suffixlist = nullptr,
    .module = nullptr,
    .init = vor::fw32::init,
    .detect = vor::fw32::detect,
    .wrsetup = vor::fw32::wrsetup,
    .reserved1 = nullptr,
    .reserved2 = nullptr,
    .whdr = nullptr,
    .close = vor::fw32::close,
    .check = vor::fw32::check,
    .seektabfn = nullptr,
    .reserved3 = nullptr,
};
