/* Tracks of pixels by way of a run codec's functions. */
#ifndef VOR_VORTOBM_PIXEL_ROWS_H
#define VOR_VORTOBM_PIXEL_ROWS_H

#include <cstdint>

#include "trackfile/lf.h"

namespace vor::bitmap {

// Reads a track by `read_runs` and lays its pixels out in `t`. Pixels, or -1 after a report.
int32_t read_pixels(xvor_t *h, trackbuf *t, lf_readtrack_fn read_runs);

// Gathers the pixels in `t` to runs and writes them by `write_runs`. Its result, or -1 after a
// report.
int32_t write_pixels(xvor_t *h, trackbuf *t, lf_writetrack_fn write_runs);

} // namespace vor::bitmap

#endif
