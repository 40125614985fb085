// Special requests: the format is asked first, and what it leaves is answered here.

#include <cstddef>
#include <cstring>

#include "trackfile/handle.h"
#include "vor/vor.h"

static_assert(sizeof(lfrecord) == 256);
static_assert(offsetof(lfrecord, subtype) == 16 && offsetof(lfrecord, param_a) == 24);
static_assert(offsetof(lfrecord, flags) == 28 && offsetof(lfrecord, param_f) == 48);
static_assert(offsetof(lfrecord, xres) == 52 && offsetof(lfrecord, magic) == 56);

namespace {

// A parameter that the format keeps. False if it has none, or 0.
bool ask_parameter(xvor_t *h, int32_t request, float *value) {
    double answer = 0;
    if (!h->special || h->special(h, request, &answer) < 0 || answer == 0) return false;
    *value = static_cast<float>(answer);
    return true;
}

int32_t fill_record(xvor_t *h, lfrecord *record) {
    std::memset(record, 0, sizeof *record);
    record->tracks = h->xsize;
    record->pitch = static_cast<float>(1 / h->xres);
    record->xlength = static_cast<float>(h->xsize / h->xres);
    record->ylength = static_cast<float>(h->ysize / h->yres);
    record->subtype = h->subtype;
    record->pixels = h->ysize;
    record->flags = LFR_BYTEORDER;
    record->xres = static_cast<float>(h->xres);
    record->magic = LFR_MAGIC;
    if (ask_parameter(h, LFS_GET_PARAM_A, &record->param_a)) record->flags |= LFR_PARAM_A;
    if (ask_parameter(h, LFS_GET_PARAM_F, &record->param_f)) record->flags |= LFR_PARAM_F;
    return 0;
}

} // namespace

int32_t lfspecial(xvor_t *h, int32_t request, void *arg) {
    if (h->special) {
        const int32_t result = h->special(h, request, arg);
        if (result != LF_UNHANDLED) return result;
    }
    switch (request) {
    case LFS_FLAGS:
        std::memcpy(arg, &h->flags, sizeof h->flags);
        return 0;
    case LFS_RECORD:
        return fill_record(h, static_cast<lfrecord *>(arg));
    case LFS_LOG_STATISTICS:
        vor::log_statistics(h);
        return 0;
    case LFS_RESET_STATISTICS:
        vor::reset_statistics(h);
        return 1;
    default:
        h->error = LFE_REQUEST;
        return -1;
    }
}
