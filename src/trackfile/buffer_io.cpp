// The handle's byte buffer and the file: the ordinary fills and flushes.

#include <cerrno>

#include "platform/file_io.h"
#include "platform/kel.h"
#include "trackfile/handle.h"
#include "util/services.h"

namespace vor {
namespace {

// Bytes now in the buffer, or -1.
int32_t fill(xvor_t *h) {
    if (has(h, LF_EOF)) return -1;
    h->bufpos = kel_lseek(h->fd, 0, KEL_SEEK_CUR);
    errno =
        0; // an end of the file is reported with the system's text, which must not be an old one
    const uint64_t start = rdtsc();
    const int64_t got = kel_read(h->fd, h->buf, h->bufsize);
    forget_buffer(h);
    if (got < 0) return -1;
    count_transfer(h, start);
    h->bufend = h->buf + got;
    return static_cast<int32_t>(got);
}

int32_t flush(xvor_t *h, size_t size, const char *where) {
    h->bufpos += static_cast<int64_t>(size);
    const uint64_t start = rdtsc();
    if (!write_all(h->fd, h->buf, size)) return lferror(h, where, LFE_OS, 0, nullptr);
    count_transfer(h, start);
    return 0;
}

} // namespace
} // namespace vor

using namespace vor;

int64_t lftell(const xvor_t *h) {
    return h->seekfn ? h->bufpos : h->bufpos + (h->bufptr - h->buf);
}

int32_t lf_fillbuf(xvor_t *h) {
    return fill(h);
}

int32_t lf_fillbufs(xvor_t *h) {
    const int32_t got = fill(h);
    if (got > 0) swapshort(h->buf, static_cast<size_t>(got));
    return got;
}

int32_t lf_flushb(xvor_t *h) {
    const size_t size = take_written(h);
    return size == 0 ? 0 : flush(h, size, "_flushb:write");
}

int32_t lf_flushbs(xvor_t *h) {
    const size_t size = take_written(h);
    if (size == 0) return 0;
    swapshort(h->buf, size);
    return flush(h, size, "lf_flushbs");
}

int32_t lfflush(xvor_t *h) {
    if (access_of(h) != LF_WRITE) {
        forget_buffer(h);
        return 0;
    }
    // Without a flush function the handle has never passed lfcheck, and there is no file to finish.
    return h->flushbuf && h->flushbuf(h) >= 0 ? 0 : -1;
}
