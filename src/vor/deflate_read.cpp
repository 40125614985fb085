// The deflate layer of a file that is read. A fill of the buffer is tied to the track: it decodes
// the whole stream of the handle's present track into the buffer, which is large enough for any.
//
// The compressed bytes come through a chunk that outlives the track, since the next stream begins
// where this one ends: tracks in order cost a read each 4096 bytes and no seek. What the chunk
// holds and the file position behind it belong together; nothing else moves the position meanwhile.

#include <cerrno>
#include <cstdlib>

#include "platform/kel.h"
#include "util/owned.h"
#include "util/services.h"
#include "vor/driver.h"

namespace vor {
namespace {

constexpr const char *set_where = "set read";

// A codec asks for a second fill only where the track is damaged, and gets the track once more. A
// small file that claims very long tracks must not keep a reader busy for hours by that.
constexpr int32_t most_fills = 1000;

void forget_chunk(DeflateLayer *z, int64_t position) {
    z->zbufpos = position;
    z->zbuflen = 0;
    z->zs.next_in = nullptr;
    z->zs.avail_in = 0;
}

int32_t start_stream(xvor_t *h, DeflateLayer *z) {
    end_stream(z, access_of(h));
    z->zs = {};
    if (inflateInit(&z->zs) != Z_OK) {
        return lferror(h, "inflate init", LFE_OS, 0, zlib_message(z->zs));
    }
    z->zinit = true;
    return 0;
}

// A track has an entry of several bytes in the file.
constexpr int64_t tracks_per_byte = 1;

int32_t load_table(xvor_t *h) {
    // A table from before may belong to another window.
    drop_seek_table(h);
    if (check_window(h, set_where, tracks_per_byte) < 0) return -1;
    h->seektab = allocate_array<int64_t>(static_cast<size_t>(h->xsize));
    if (!h->seektab) return lferror(h, set_where, LFE_MEMORY, 0, nullptr);
    h->seekroom = h->xsize;
    if (vor_seektab(h) >= 0) return 0;
    drop_seek_table(h);
    return -1;
}

// Reads the next piece of the file into the chunk and hands it to the stream.
int32_t refill(xvor_t *h, DeflateLayer *z) {
    const int64_t position = z->zbufpos + z->zbuflen;
    forget_chunk(z, position);
    errno = 0;
    const int64_t got = kel_read(h->fd, z->zbuf, zbuf_size);
    if (got < 1) return lferror(h, "zfillbuf", LFE_OS, 0, nullptr);
    z->zbuflen = static_cast<int32_t>(got);
    z->zs.next_in = z->zbuf;
    z->zs.avail_in = static_cast<uInt>(got);
    return 0;
}

int32_t zlib_failed(xvor_t *h) {
    zerror(h);
    return -1;
}

} // namespace

int32_t vor_setread(xvor_t *h) {
    const uint32_t scheme = static_cast<uint32_t>(h->subtype) & VT_COMPRESSION;
    if (scheme == 0) return 0;
    if (scheme != VT_DEFLATED) {
        return lferror(h, set_where, LFE_ARGUMENT, 0, "unsupported compression scheme");
    }
    DeflateLayer *z = layer(h);
    if (priv(h)->seekoff < VOR_HDRSIZE) {
        return lferror(h, set_where, LFE_ARGUMENT, 0, "compressed vor without offset table");
    }
    if (start_stream(h, z) < 0 || load_table(h) < 0) return -1;
    forget_chunk(z, 0);
    h->fillbuf = has(h, LF_SWAP16) ? zfillbuf_sw : zfillbuf;
    h->seekfn = zseek;
    if (zseek(h, 0) < 0) return -1;
    forget_buffer(h);
    return 0;
}

// Emptying the buffer makes the codec's next look at it decode the track.
int32_t zseek(xvor_t *h, int32_t n) {
    if (n < 0 || !h->seektab) return -1;
    if (h->seekroom == 0) return 0; // no tracks, nothing to look up
    if (n >= h->seekroom) return -1;
    const int64_t entry = h->seektab[n];
    if (entry < 0) return static_cast<int32_t>(-static_cast<uint32_t>(entry));
    h->bufpos = entry;
    h->bufptr = h->bufend;
    layer(h)->zfills = 0;
    return 0;
}

// Places the compressed input at the start of the present track. The seek has seen to it that the
// track has data: anything else is a fault of the program, which must not go on.
int32_t zbuf_setpos(xvor_t *h) {
    DeflateLayer *z = layer(h);
    if (h->track < 0 || h->track >= h->xsize || h->track >= h->seekroom) std::abort();
    const int64_t entry = h->seektab[h->track];
    if (entry < 0) std::abort();
    h->bufpos = entry;
    const int64_t distance = entry - z->zbufpos;
    if (distance >= 0 && distance < z->zbuflen) {
        z->zs.next_in = z->zbuf + distance;
        z->zs.avail_in = static_cast<uInt>(z->zbuflen - distance);
        return 0;
    }
    forget_chunk(z, entry);
    if (kel_lseek(h->fd, entry, KEL_SEEK_SET) == entry) return 0;
    return lferror(h, "zbuf_setpos", LFE_OS, 0, nullptr);
}

int32_t zfillbuf(xvor_t *h) {
    if (has(h, LF_EOF)) return -1;
    DeflateLayer *z = layer(h);
    forget_buffer(h);
    if (++z->zfills > most_fills) return lferror(h, "zfillbuf", LFE_CORRUPT, 0, nullptr);
    z_stream *zs = &z->zs;
    zs->next_in = nullptr;
    zs->avail_in = 0;
    if (inflateReset(zs) != Z_OK) return zlib_failed(h);
    zs->next_out = h->buf;
    zs->avail_out = h->bufsize;
    if (zbuf_setpos(h) < 0) return -1;
    for (;;) {
        if (zs->avail_in == 0 && refill(h, z) < 0) return -1;
        const int result = inflate(zs, Z_SYNC_FLUSH);
        if (result == Z_STREAM_END) {
            h->bufend = h->buf + zs->total_out;
            return static_cast<int32_t>(zs->total_out);
        }
        if (result != Z_OK) return zlib_failed(h);
    }
}

int32_t zfillbuf_sw(xvor_t *h) {
    const int32_t size = zfillbuf(h);
    if (size < 0) return lferror(h, "zfillbuf_sw", LFE_OS, 0, nullptr);
    swapshort(h->buf, static_cast<size_t>(size));
    return size;
}

} // namespace vor
