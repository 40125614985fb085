// What the harnesses of format modules share: an input as a file of a format, which is opened with
// modes, a window and a size drawn from the input, and read. The runs of a track that is read add
// up to its length.
#ifndef VOR_FUZZ_PICTURE_READER_H
#define VOR_FUZZ_PICTURE_READER_H

#include <cstddef>
#include <cstdint>

#include "formats/formats.h"

namespace vor::fuzz {

void read_picture(lffmt_t *format, const char *file_name, const uint8_t *data, size_t size);

} // namespace vor::fuzz

#endif
