// Recognition of a file by the rows of the format table.
#ifndef VOR_FORMATS_DETECT_H
#define VOR_FORMATS_DETECT_H

#include <cstdint>

#include "trackfile/lf.h"

namespace vor {

// Offers the first `size` bytes of the file to each format that reads, in table order, and sets the
// handle's fmt. 0, or -1 after a report; a handle without a file fails silently.
int32_t detect_format(xvor_t *h, const uint8_t *head, int32_t size);

} // namespace vor

#endif
