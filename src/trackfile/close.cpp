// The end of a handle, and what a file tells about itself.

#include <cstring>

#include "formats/formats.h"
#include "formats/suffix_loader.h"
#include "platform/kel.h"
#include "trackfile/handle.h"

namespace vor {
namespace {

// Sends out what is left of a file that is written. One whose write has failed before is lost: its
// header must not go out, so that the file does not pass for a good one.
int32_t finish_data(xvor_t *h) {
    if (access_of(h) == LF_WRITE && has(h, LF_EOF)) return -1;
    return lfflush(h);
}

void copy_format_name(lfinfo *info, int32_t row) {
    const char *name = lffmtname(row);
    if (!name) return;
    for (size_t i = 0; i + 1 < sizeof info->type_name && name[i]; ++i)
        info->type_name[i] = name[i];
}

void guess_format(const char *name, lfinfo *info) {
    const int32_t row = lffmtguess(name);
    if (row < 0) return;
    info->major = row;
    copy_format_name(info, row);
}

} // namespace

int64_t file_size(const xvor_t *h) {
    kel_stat_t status;
    if (kel_fstat(h->fd, &status) != 0) return -1;
    return (status.mode & KEL_S_IFMT) == KEL_S_IFREG ? status.size : -1;
}

} // namespace vor

using namespace vor;

int32_t lfclose(xvor_t *h) {
    if (!h) return -1;
    const lffmt_t *format = lfdescriptor(h->fmt);
    if (std::memcmp(&h->magic, LF_MAGIC, sizeof h->magic) != 0) {
        lferror(h, "lfclose", LFE_WARNING, 0, "bad magic on xvor_t data...");
    }
    int32_t result = finish_data(h);
    if (access_of(h) != LF_READ && result >= 0 && format && format->whdr && format->whdr(h) < 0) {
        result = lferror(h, "lfclose", LFE_OS, 0, "write error on header(s)");
    }
    if (format && format->close && format->close(h) < 0) result = -1;
    if (h->fd >= 0 && kel_close(h->fd) != 0) {
        result = lferror(h, "lfclose", LFE_OS, 0, nullptr);
    }
    h->fd = -1;
    free_handle(h);
    return result;
}

int32_t lfgetinfo(xvor_t *h, int32_t which, lfinfo *info) {
    std::memset(info, 0, sizeof *info);
    int32_t result = 0;
    if (which == LF_OUTPUT_GEOMETRY) {
        info->ysize = h->ysize;
        info->xsize = h->xsize;
        info->yres = h->yres;
        info->xres = h->xres;
    } else if (which == LF_FILE_GEOMETRY) {
        info->ysize = h->fysize;
        info->xsize = h->fxsize;
        info->yres = h->fyres;
        info->xres = h->fxres;
    } else {
        result = lferror(h, "lfgetinfo", LFE_ARGUMENT, 0, nullptr);
    }
    info->bits = h->bits;
    info->nctab = h->nctab;
    copy_format_name(info, h->fmt);
    info->major = h->fmt;
    info->minor = h->subtype;
    info->maxruns = h->maxruns < 2 ? 0 : h->maxruns;
    info->error = static_cast<int32_t>(h->error);
    return result;
}

int32_t lffiletype(const char *name, lfinfo *info) {
    if (xvor_t *h = lfopen(name, LF_READ | LF_SEQUENTIAL, 0, info)) {
        lfclose(h);
        return 0;
    }
    std::memset(info, 0, sizeof *info);
    offer_suffix(name);
    guess_format(name, info);
    return -1;
}

int32_t lfiswrite(const xvor_t *h) {
    return static_cast<int32_t>(access_of(h));
}
