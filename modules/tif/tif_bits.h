/* Rows of packed pixels, the leftmost in the highest bit. */
#ifndef VOR_TIF_TIF_BITS_H
#define VOR_TIF_TIF_BITS_H

#include <cstddef>
#include <cstdint>
#include <span>

#include "shared/row_format.h"

namespace vor::tif {

using raster::row_bytes;

void invert(std::span<uint8_t> row);

// Puts the pixels in the opposite order. A row of 1 bit ends within its last byte; the bits behind
// it come out as 0.
void mirror_bytes(std::span<uint8_t> row);
void mirror_bits(std::span<uint8_t> row, int32_t pixels);

// Turns 8 rows of 8 pixels over: byte i of the result is column i, its highest bit row 0.
void transpose_block(uint8_t (&block)[8]);

} // namespace vor::tif

#endif
