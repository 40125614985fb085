// Words for what a file's type number and flags say.
#ifndef VOR_TOOL_DESCRIPTIONS_H
#define VOR_TOOL_DESCRIPTIONS_H

#include <string>

#include "trackfile/lf.h"

namespace vor::tool {

// Is the handle one of the native format, of the formats "tif" and "png"?
bool is_native(const xvor_t *h);
bool is_tiff(const xvor_t *h);
bool is_png(const xvor_t *h);

std::string format_name(const xvor_t *h);
std::string coding_name(const xvor_t *h);      // "fw16"; "rows" where tracks are rows of pixels
std::string compression_name(const xvor_t *h); // "none", "Deflate", ...
std::string byte_order_name(const xvor_t *h);  // "little-endian" or "big-endian"

} // namespace vor::tool

#endif
