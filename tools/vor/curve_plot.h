// A picture of gray curves: output over input, with the identity for comparison.
#ifndef VOR_TOOL_CURVE_PLOT_H
#define VOR_TOOL_CURVE_PLOT_H

#include <cstdint>
#include <string>
#include <vector>

namespace vor::tool {

struct Curve {
    std::string spec;
    std::vector<uint16_t> levels; // as many as there are inputs
};

enum class PlotFormat { png, svg };

// Writes the picture of one or more curves of the same size to an open file, which is closed.
// Throws a Failure about `shown`.
void plot_curves(const std::vector<Curve> &curves, PlotFormat picture, int32_t fd,
                 const std::string &shown);

} // namespace vor::tool

#endif
