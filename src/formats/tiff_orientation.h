// The orientation that programs of this machine write into TIFF files.
#ifndef VOR_FORMATS_TIFF_ORIENTATION_H
#define VOR_FORMATS_TIFF_ORIENTATION_H

#include <cstdint>

#include "trackfile/lf.h"

namespace vor {

// The setting DEFAULT_TIFF_ORIENTATION as a number from 1 to 8 (TIFF 6.0, tag 274), read at the
// first call; 8 if it is not set, and after a line in the log if it is neither number nor name.
int32_t tiff_orientation();

// An open callback that tells the orientation to each handle that writes or updates a file of the
// format "tif". A handle that does not take it is logged, and opens all the same. Always 0.
int32_t set_tiff_orientation(xvor_t *h);

} // namespace vor

#endif
