// Clip window, output size and resolution, between open and lfcheck.

#include <algorithm>
#include <cstdio>

#include "trackfile/handle.h"
#include "util/numbers.h"

namespace vor {
namespace {

constexpr double size_limit = 2147483648.0; // sizes stay below

// Every set-up call begins with this. After lfcheck it goes on, but the handle needs a new lfcheck.
// A seek table that an early lfseek has made belongs to the geometry of that time.
void reopen_setup(xvor_t *h, const char *where, const char *warning) {
    h->stale = 1;
    if (!has(h, LF_CHECKED)) return;
    lferror(h, where, LFE_WARNING, 0, warning);
    h->flags &= ~LF_CHECKED;
}

int32_t refuse(xvor_t *h, const char *where, const char *why) {
    return lferror(h, where, LFE_ARGUMENT, 0, why);
}

// Pixels that `size` pixels become at another resolution, rounded, or -1 if 32 bits cannot hold it.
int32_t scaled_size(int32_t size, double resolution, double file_resolution) {
    const double scaled = size * resolution / file_resolution + 0.5;
    return scaled >= 0 && scaled < size_limit ? saturating_int(scaled) : -1;
}

int32_t scale_read(xvor_t *h, double xres, double yres) {
    double fxres = h->fxres;
    double fyres = h->fyres;
    if (fxres == 0 || fyres == 0) { // a file without a resolution takes the caller's
        fxres = xres;
        fyres = yres;
    }
    const int32_t xsize = scaled_size(h->xe - h->xa, xres, fxres);
    const int32_t ysize = scaled_size(h->ye - h->ya, yres, fyres);
    if (xsize < 0 || ysize < 0) return refuse(h, "lfscale", "invalid resolution (<=0)");
    h->fxres = fxres;
    h->fyres = fyres;
    h->xsize = xsize;
    h->ysize = ysize;
    h->xres = xres;
    h->yres = yres;
    return 0;
}

int32_t set_size_read(xvor_t *h, int32_t xsize, int32_t ysize) {
    if (!(h->fxres > 0) || !(h->fyres > 0)) return refuse(h, "lfsetsize", "bad scaling (<=0)");
    if (h->fxsize == 0 || h->fysize == 0) {
        h->fxsize = h->xe = xsize;
        h->fysize = h->ye = ysize;
    }
    h->xres = xsize * h->fxres / (double{1} * h->xe - h->xa);
    h->yres = ysize * h->fyres / (double{1} * h->ye - h->ya);
    h->xsize = xsize;
    h->ysize = ysize;
    return 0;
}

void set_size_write(xvor_t *h, int32_t xsize, int32_t ysize) {
    h->xa = h->ya = 0;
    h->xe = h->fxsize = h->seekcap = xsize;
    if (!has(h, LF_GROW)) h->xsize = xsize;
    h->ye = h->fysize = h->ysize = ysize;
    h->flags |= LF_DIRTY;
}

int32_t clip_whole_image(xvor_t *h) {
    if (h->fxsize <= 0 || h->fysize <= 0) {
        return refuse(h, "lfclip", "no initial clip window (yet)");
    }
    h->xa = h->ya = 0;
    h->xe = h->fxsize;
    h->ye = h->fysize;
    if (access_of(h) == LF_WRITE) return 0;
    h->xsize = h->fxsize;
    h->ysize = h->fysize;
    return 0;
}

bool is_range(int32_t first, int32_t end, int32_t size) {
    return 0 <= first && first < end && end <= size;
}

// The caller counts from the other end. 0, or -1 after a report.
int32_t mirror_range(xvor_t *h, char axis, int32_t *first, int32_t *end, int32_t size) {
    const int32_t mirrored_first = size - *end;
    *end = size - *first;
    *first = mirrored_first;
    if (is_range(*first, *end, size)) return 0;
    char text[80];
    std::snprintf(text, sizeof text, "bad %cclip after mirror (%ca=%d, %ce=%d)", to_upper(axis),
                  axis, *first, axis, *end);
    return refuse(h, "lfclip", text);
}

int32_t refuse_window(xvor_t *h, const int32_t *w, int32_t fxsize, int32_t fysize) {
    char text[120];
    std::snprintf(text, sizeof text, "lfclip(%d:%d:%d:%d), avail(0:0:%d:%d)\n", w[0], w[1], w[2],
                  w[3], fxsize, fysize);
    return refuse(h, "lfclip", text);
}

int32_t clip_read(xvor_t *h, int32_t *w) {
    const bool sized = h->fxsize != 0 && h->fysize != 0;
    const int32_t fxsize = sized ? h->fxsize : w[2];
    const int32_t fysize = sized ? h->fysize : w[3];
    if (w[2] == 0) w[2] = fxsize;
    if (w[3] == 0) w[3] = fysize;
    if (!is_range(w[0], w[2], fxsize) || !is_range(w[1], w[3], fysize)) {
        return refuse_window(h, w, fxsize, fysize);
    }
    if (!has(h, LF_ASIS)) { // the window comes in the orientation of the output
        if (has(h, LF_XMIRROR) && mirror_range(h, 'x', &w[0], &w[2], fxsize) < 0) return -1;
        if (has(h, LF_YMIRROR) && mirror_range(h, 'y', &w[1], &w[3], fysize) < 0) return -1;
    }
    h->fxsize = fxsize;
    h->fysize = fysize;
    h->xa = w[0];
    h->ya = w[1];
    h->xe = w[2];
    h->ye = w[3];
    h->ysize = h->ye - h->ya;
    h->xsize = h->xe - h->xa;
    return 0;
}

bool within(double value, double limit) {
    return value <= limit; // false for a NaN
}

// Pixels of a window's end in millimetres; a negative one stands for the image's end.
int32_t end_pixels(double mm, double resolution, int32_t size) {
    return mm >= 0 ? std::min(saturating_int(mm * resolution + 0.5), size) : size;
}

} // namespace
} // namespace vor

using namespace vor;

int32_t lfscale(xvor_t *h, double xres, double yres) {
    reopen_setup(h, "lfscale", "lfscale called after lfcheck");
    if (!(xres > 0)) xres = h->fxres;
    if (!(yres > 0)) yres = h->fyres;
    if (!(xres > 0) || !(yres > 0)) return refuse(h, "lfscale", "invalid resolution (<=0)");
    if (access_of(h) == LF_READ) return scale_read(h, xres, yres);
    if (access_of(h) != LF_WRITE) return -1;
    h->fxres = h->xres = xres;
    h->fyres = h->yres = yres;
    h->flags |= LF_DIRTY;
    return 0;
}

int32_t lfsetsize(xvor_t *h, int32_t xsize, int32_t ysize) {
    reopen_setup(h, "lfsetsize", "lfsetsize called after lfcheck");
    if (xsize <= 0 || ysize <= 0) return refuse(h, "lfsetsize", "invalid size (<=0)");
    if (access_of(h) == LF_READ) return set_size_read(h, xsize, ysize);
    if (access_of(h) != LF_WRITE) return -1;
    set_size_write(h, xsize, ysize);
    return 0;
}

int32_t lfclip(xvor_t *h, int32_t *window) {
    reopen_setup(h, "lfclip", "lfclip called after lfcheck");
    h->clipoff = -1;
    if (!window) return clip_whole_image(h);
    if (access_of(h) == LF_WRITE) {
        if (window[0] == 0 && window[1] == 0) return lfsetsize(h, window[2], window[3]);
        return refuse(h, "lfclip", "bad start offset on writing (not zero)");
    }
    if (access_of(h) != LF_READ) return -1;
    return clip_read(h, window);
}

int32_t lfclipmm(xvor_t *h, double xa, double ya, double xe, double ye) {
    if (!(h->fxres > 0) || !(h->fyres > 0)) return refuse(h, "lfclipmm", "bad scaling (<=0)");
    const double xlimit = (h->fxsize + 0.5) / h->fxres;
    const double ylimit = (h->fysize + 0.5) / h->fyres;
    if (!(xa >= 0) || !within(xa, xlimit) || !within(xe, xlimit) || !(ya >= 0) ||
        !within(ya, ylimit) || !within(ye, ylimit)) {
        char text[2400]; // six doubles may take 317 characters each
        std::snprintf(text, sizeof text, "clipmm(%.6f:%.6f:%.6f:%.6f), avail(0:0:%.6f:%.6f)", xa,
                      ya, xe, ye, xlimit, ylimit);
        return refuse(h, "lfclipmm", text);
    }
    int32_t window[4] = {saturating_int(xa * h->fxres + 0.5), saturating_int(ya * h->fyres + 0.5),
                         end_pixels(xe, h->fxres, h->fxsize), end_pixels(ye, h->fyres, h->fysize)};
    return lfclip(h, window);
}
