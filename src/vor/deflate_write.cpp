// The deflate layer of a file that is written. It stands between the codec's buffer and the file:
// each track becomes a zlib stream (RFC 1950) of its own, so that any track can be reached through
// the seek table and decoded by itself. Streams follow one another without gaps or lengths; a blank
// track has none.

#include "platform/file_io.h"
#include "util/services.h"
#include "vor/driver.h"

namespace vor {
namespace {

constexpr int level = 9;

// Compresses `size` bytes of the buffer and sends them out.
int32_t deflate_track(xvor_t *h, size_t size, const char *where) {
    DeflateLayer *z = layer(h);
    z_stream *zs = &z->zs;
    if (deflateReset(zs) != Z_OK) {
        zerror(h);
        return -1;
    }
    zs->next_in = h->buf;
    zs->avail_in = static_cast<uInt>(size);
    for (;;) {
        zs->next_out = z->zbuf;
        zs->avail_out = zbuf_size;
        const int result = deflate(zs, Z_FINISH);
        if (result != Z_OK && result != Z_STREAM_END) {
            zerror(h);
            return -1;
        }
        const size_t made = zbuf_size - zs->avail_out;
        h->bufpos += static_cast<int64_t>(made);
        if (!write_all(h->fd, z->zbuf, made)) return lferror(h, where, LFE_OS, 0, nullptr);
        if (result == Z_STREAM_END) return 0;
    }
}

} // namespace

int32_t setwrite(xvor_t *h) {
    const uint32_t scheme = static_cast<uint32_t>(h->subtype) & VT_COMPRESSION;
    if (scheme == 0) return 0;
    if (scheme != VT_DEFLATED) {
        lferror(h, "setwrite", LFE_WARNING, 0, "bad compression, using zip/deflate");
        const uint32_t rest = static_cast<uint32_t>(h->subtype) & ~VT_COMPRESSION;
        h->subtype = static_cast<int32_t>(rest | VT_DEFLATED);
    }
    // Blank tracks become marks, also where the caller wants each track coded.
    h->flags &= ~LF_ASIS;
    h->flags |= LF_NEEDSEEKTAB;
    DeflateLayer *z = layer(h);
    end_stream(z, access_of(h));
    z->zs = {};
    if (deflateInit(&z->zs, level) != Z_OK) {
        return lferror(h, "deflate init", LFE_OS, 0, zlib_message(z->zs));
    }
    z->zinit = true;
    z->codecwrite = h->writetrack;
    h->writetrack = zwritetrack;
    h->flushbuf = has(h, LF_SWAP16) ? zflushbuf_sw : zflushbuf;
    h->bufptr = h->buf;
    h->bufend = h->buf + h->bufsize;
    return 0;
}

int32_t zwritetrack(xvor_t *h, trackbuf *t) {
    h->bufptr = h->buf;
    return layer(h)->codecwrite(h, t) < 0 ? -1 : lfflush(h);
}

int32_t zflushbuf(xvor_t *h) {
    const size_t size = take_written(h);
    return size == 0 ? 0 : deflate_track(h, size, "zflushbuf");
}

int32_t zflushbuf_sw(xvor_t *h) {
    const size_t size = take_written(h);
    if (size == 0) return 0;
    swapshort(h->buf, size);
    return deflate_track(h, size, "zflushbuf_sw");
}

// The where-text goes by the access of the handle, not by the kind of the stream.
void zerror(xvor_t *h) {
    const char *where = lfiswrite(h) != 0 ? "zlib deflate" : "zlib inflate";
    lferror(h, where, LFE_OS, 0, zlib_message(layer(h)->zs));
}

const char *zlib_message(const z_stream &zs) {
    return zs.msg ? zs.msg : "<unknown error>";
}

void end_stream(DeflateLayer *z, uint32_t access) {
    if (!z->zinit) return;
    z->zinit = false;
    if (access == LF_WRITE) {
        deflateEnd(&z->zs);
    } else {
        inflateEnd(&z->zs);
    }
}

} // namespace vor
