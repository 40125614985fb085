// Opening: a handle is made, then set up along one of three roads, read, write or update.

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "formats/detect.h"
#include "formats/formats.h"
#include "formats/suffix_loader.h"
#include "platform/kel.h"
#include "trackfile/handle.h"
#include "util/owned.h"

static_assert(sizeof(lfinfo) == 256);
static_assert(offsetof(lfinfo, ysize) == 0 && offsetof(lfinfo, xsize) == 4);
static_assert(offsetof(lfinfo, yres) == 8 && offsetof(lfinfo, xres) == 16);
static_assert(offsetof(lfinfo, bits) == 24 && offsetof(lfinfo, nctab) == 28);
static_assert(offsetof(lfinfo, type_name) == 32 && offsetof(lfinfo, major) == 48);
static_assert(offsetof(lfinfo, minor) == 52 && offsetof(lfinfo, maxruns) == 56);
static_assert(offsetof(lfinfo, error) == 60 && offsetof(lfinfo, rest) == 64);

namespace vor {
namespace {

constexpr const char *where = "lfdopen";
constexpr const char *no_name = "%%infile%%";
constexpr double default_resolution = 20.0; // pixels per mm of a file being written
constexpr int32_t default_grow_tracks = 1000;

struct OpenCallback {
    OpenCallback *next;
    lf_open_cb function;
};
OpenCallback *open_callbacks = nullptr; // the last one added first

// Entry i holds i, for 257 entries: the last falls into the first two bytes of colorinfo, as the
// little-endian 256, and marks the block as not empty. A file that is written without a program
// touching the block carries a colour info section because of them.
void fill_identity(xvor_t *h) {
    for (uint16_t i = 0; i < LF_NCOLORS; ++i)
        h->ctable[i] = i;
    h->colorinfo[0] = 0x00;
    h->colorinfo[1] = 0x01;
}

xvor_t *make_handle(int32_t fd, const char *name, uint32_t mode) {
    malloc_ptr<xvor_t> h(allocate_zeroed<xvor_t>(1));
    malloc_ptr<uint8_t> buf(allocate_zeroed<uint8_t>(LF_BUFSIZE));
    malloc_ptr<char> name_copy(copy_text(name));
    if (!h || !buf || !name_copy) return nullptr;

    h->flags = mode & ~LF_STATEBITS;
    if (access_of(h.get()) != LF_READ && has(h.get(), LF_ASIS)) h->flags |= LF_NOCOLOR;
    if (has(h.get(), LF_RAWFW32)) h->flags |= LF_FORCETYPE;
    h->fd = fd;
    h->clipoff = -1;
    h->bufsize = LF_BUFSIZE;
    h->buf = buf.release();
    h->name = name_copy.release();
    h->nctab = 1;
    h->serial = next_serial();
    forget_buffer(h.get());
    reset_statistics(h.get());
    fill_identity(h.get());
    return h.release();
}

void take_type(xvor_t *h, int32_t type) {
    h->fmt = lffmajor(type);
    h->subtype = lffminor(type);
}

int32_t write_road(xvor_t *h, int32_t type) {
    h->xres = h->yres = default_resolution;
    if (has(h, LF_GROW)) h->seekcap = default_grow_tracks;
    take_type(h, type);
    const lffmt_t *format = lfdescriptor(h->fmt);
    if (!format) return lferror(h, where, LFE_FORMAT, 0, nullptr);
    if (!format->wrsetup) return lferror(h, where, LFE_NOWRITE, 0, nullptr);
    if (format->wrsetup(h) < 0) {
        // Twice: programs count on a failed set-up being told twice.
        const int os_error = errno;
        lferror(h, where, LFE_OS, 0, nullptr);
        errno = os_error;
        return lferror(h, where, LFE_OS, 0, nullptr);
    }
    h->bufpos = h->dataoff;
    h->bufptr = h->buf;
    h->bufend = h->buf + h->bufsize;
    h->flags &= ~LF_DIRTY;
    return 0;
}

// Reads up to `size` bytes, in pieces where the file gives pieces. An error counts as no bytes.
int32_t read_head(int32_t fd, uint8_t *head, int32_t size) {
    int32_t have = 0;
    while (have < size) {
        const int64_t got = kel_read(fd, head + have, static_cast<size_t>(size - have));
        if (got < 0) return 0;
        if (got == 0) break;
        have += static_cast<int32_t>(got);
    }
    return have;
}

int32_t forced_detect(xvor_t *h, int32_t type, const uint8_t *head, int32_t size) {
    take_type(h, type);
    const lffmt_t *format = lfdescriptor(h->fmt);
    if (!format) return lferror(h, where, LFE_FORMAT, 0, nullptr);
    if (!format->detect) return lferror(h, where, LFE_NOREAD, 0, nullptr);
    const int32_t result = format->detect(h, head, size);
    if (result == 0) return 0;
    return lferror(h, where, result < 0 ? LFE_OS : LFE_FORMAT, 0, nullptr);
}

int32_t read_road(xvor_t *h, int32_t type) {
    h->flags &= ~LF_GROW;
    uint8_t head[LF_HEADSIZE] = {};
    const int32_t size = h->fd >= 0 ? read_head(h->fd, head, LF_HEADSIZE) : 0;
    const bool forced = has(h, LF_FORCETYPE);
    if ((forced ? forced_detect(h, type, head, size) : detect_format(h, head, size)) < 0) {
        return -1;
    }
    h->xe = h->xsize = h->fxsize;
    h->ye = h->ysize = h->fysize;
    h->xres = h->fxres;
    h->yres = h->fyres;
    h->bufpos = h->dataoff;
    if (h->dataoff >= 0) kel_lseek(h->fd, h->dataoff, KEL_SEEK_SET);
    h->track = -1;
    forget_buffer(h);
    return 0;
}

int32_t follow_road(xvor_t *h, int32_t type) {
    switch (access_of(h)) {
    case LF_WRITE:
        return write_road(h, type);
    case LF_READ:
    case LF_UPDATE:
        return read_road(h, type);
    default:
        return 0; // no format is set up, and lfcheck refuses the handle
    }
}

int32_t run_callbacks(xvor_t *h) {
    for (const OpenCallback *c = open_callbacks; c; c = c->next) {
        if (c->function(h) >= 0) continue;
        lferror(h, where, LFE_OPEN, 0, "open callback failed");
        const lffmt_t *format = lfdescriptor(h->fmt);
        if (h->fmtdata && format && format->close) format->close(h);
        return -1;
    }
    return 0;
}

int32_t finish_open(xvor_t *h, lfinfo *info) {
    kel_stat_t status;
    if (kel_fstat(h->fd, &status) == 0) h->fdev = static_cast<uint32_t>(status.dev);
    std::memcpy(&h->magic, LF_MAGIC, sizeof h->magic);
    if (info) lfgetinfo(h, LF_OUTPUT_GEOMETRY, info);
    return run_callbacks(h);
}

xvor_t *fail_open(xvor_t *h, int32_t callers_fd, lfinfo *info) {
    const int os_error = errno;
    if (info) lfgetinfo(h, LF_OUTPUT_GEOMETRY, info);
    if (h->fd >= 0 && h->fd != callers_fd) kel_close(h->fd);
    free_handle(h);
    errno = os_error;
    return nullptr;
}

int32_t open_flags(uint32_t mode) {
    constexpr int32_t common = KEL_O_BINARY | KEL_O_SEQUENTIAL;
    switch (mode & LF_ACCMODE) {
    case LF_WRITE:
        return common | KEL_O_WRONLY | KEL_O_CREAT | KEL_O_TRUNC;
    case LF_UPDATE:
        return common | KEL_O_RDWR;
    default:
        return common | KEL_O_RDONLY;
    }
}

} // namespace

void free_handle(xvor_t *h) {
    std::free(h->stoptab);
    std::free(h->seektab);
    std::free(h->name);
    std::free(h->buf);
    std::free(h->otrack);
    std::free(h);
}

uint32_t next_serial() {
    static std::atomic<uint32_t> last{0};
    return ++last;
}

} // namespace vor

using namespace vor;

xvor_t *lfopen(const char *name, uint32_t mode, int32_t type, lfinfo *info) {
    offer_suffix(name);
    const int32_t fd = kel_open(name, open_flags(mode), KEL_DEFAULT_PERMISSIONS);
    const int open_error = errno;
    // A format may need no file, so it is asked without a descriptor too.
    xvor_t *h = lfdopen(fd, name, mode, type, info);
    if (h) return h;
    if (info && info->error == LFE_NONE) info->error = LFE_OPEN;
    if (fd < 0) {
        errno = open_error;
        lferror(nullptr, name ? name : "lfopen", LFE_OPEN, 0, nullptr);
        return nullptr;
    }
    kel_close(fd);
    if ((mode & LF_ACCMODE) == LF_WRITE) kel_unlink(name);
    return nullptr;
}

xvor_t *lfdopen(int32_t fd, const char *name, uint32_t mode, int32_t type, lfinfo *info) {
    lfregisterfmt(nullptr);
    if (info) std::memset(info, 0, sizeof *info);
    if (!name) {
        if (fd < 0) return nullptr;
        name = no_name;
    }
    xvor_t *h = make_handle(fd, name, mode);
    if (!h) {
        if (info) info->error = LFE_MEMORY;
        lferror(nullptr, where, LFE_MEMORY, 0, nullptr);
        return nullptr;
    }
    if (has(h, LF_RAWFW32)) type = lffdev(lffmtindex("fw32"), 0);
    if (follow_road(h, type) < 0 || finish_open(h, info) < 0) return fail_open(h, fd, info);
    return h;
}

int32_t lfsetopencb(lf_open_cb callback) {
    auto *added = allocate_array<OpenCallback>(1);
    if (!added) return -1;
    *added = {open_callbacks, callback};
    open_callbacks = added;
    return 0;
}
