#include "descriptions.h"

#include <bit>

#include "formats/formats.h"
#include "report.h"
#include "tif/vor_tif.h"
#include "vor/vor.h"

namespace vor::tool {
namespace {

uint32_t minor_part(const xvor_t *h, uint32_t mask) {
    return static_cast<uint32_t>(h->subtype) & mask;
}

std::string tiff_compression(uint32_t part) {
    switch (part) {
    case TIF_PLAIN:
        return "none";
    case TIF_PACKBITS:
        return "PackBits";
    case TIF_LZW:
        return "LZW";
    case TIF_DEFLATE:
        return "Deflate";
    case TIF_G4:
        return "G4";
    default:
        return format("unknown (0x%02x)", part);
    }
}

std::string native_compression(uint32_t part) {
    if (part == 0) return "none";
    return part == VT_DEFLATED ? "Deflate" : format("unknown (0x%02x)", part);
}

} // namespace

bool is_native(const xvor_t *h) {
    return h->fmt == 0;
}

bool is_tiff(const xvor_t *h) {
    return format_name(h) == "tif";
}

bool is_png(const xvor_t *h) {
    return format_name(h) == "png";
}

std::string format_name(const xvor_t *h) {
    const char *name = lffmtname(h->fmt);
    return name ? name : "unknown";
}

std::string coding_name(const xvor_t *h) {
    if (!is_native(h)) return "rows";
    switch (minor_part(h, VT_FORMAT)) {
    case VT_FW16:
        return "fw16";
    case VT_FW8:
        return "fw8";
    case VT_FW88:
        return "fw88";
    default:
        return "unknown";
    }
}

std::string compression_name(const xvor_t *h) {
    if (is_native(h)) return native_compression(minor_part(h, VT_COMPRESSION));
    if (is_tiff(h)) return tiff_compression(minor_part(h, TIF_COMPRESSION));
    return is_png(h) ? "Deflate" : "unknown";
}

std::string byte_order_name(const xvor_t *h) {
    if (is_png(h)) return "big-endian";
    const bool little =
        (std::endian::native == std::endian::little) != ((h->flags & LF_SWAPPED) != 0);
    return little ? "little-endian" : "big-endian";
}

} // namespace vor::tool
