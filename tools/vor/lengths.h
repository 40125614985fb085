// Lengths, sizes and resolutions as they are written on the command line. Numbers have a decimal
// point, whatever the locale.
//
//   resolution   20    40x20    1200dpi    1200x600dpi    472/cm     X and Y; alone pixels per mm
//   size         1200x800       60x40mm                              across the tracks, along them
//   window       10:0:110:200   5:5:15.5:20mm    10:0::              first X and Y, end X and Y
//
// A window's ends are exclusive; one that is left out is the end of the image.
#ifndef VOR_TOOL_LENGTHS_H
#define VOR_TOOL_LENGTHS_H

#include <optional>
#include <string>
#include <string_view>

namespace vor::tool {

// Pixels per millimetre.
struct Resolution {
    double x = 0;
    double y = 0;
};

struct Size {
    double x = 0;
    double y = 0;
    bool millimetres = false;
};

struct Window {
    double xa = 0;
    double ya = 0;
    std::optional<double> xe;
    std::optional<double> ye;
    bool millimetres = false;
};

// Nothing if the text is none.
std::optional<Resolution> parse_resolution(std::string_view text);
std::optional<Size> parse_size(std::string_view text);
std::optional<Window> parse_window(std::string_view text);

} // namespace vor::tool

#endif
