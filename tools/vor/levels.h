// What becomes of the pixel codes of an image on the way through the command.
#ifndef VOR_TOOL_LEVELS_H
#define VOR_TOOL_LEVELS_H

#include <array>
#include <cstdint>
#include <functional>
#include <string>

#include "trackfile/lf.h"

namespace vor::tool {

// For options that take a colour spec: what is wrong with a text that stands for no curve, or
// nothing.
std::string check_curve(const std::string &spec);

// Runs a call that takes a colour spec and gives less than 0 for a faulty one. The library's words
// about it come out as a Failure.
void with_curve(const std::string &spec, const std::function<int32_t()> &call);

using Levels = std::array<uint16_t, LF_NCOLORS>;

// Sends the codes through the curve of a colour spec, unless that is empty, and divides them into 0
// and 255 at the threshold, unless that is 0. Throws a Failure for a faulty spec and for a curve
// that leaves 8 bits.
Levels make_levels(const std::string &curve, int32_t threshold);

// Whether the codes of a two-level image, 0 and 255, stay two levels.
bool keep_two_levels(const Levels &levels);

// From now on the tracks that are read have these levels in the place of their codes.
void apply_levels(const Levels &levels, xvor_t *h);

} // namespace vor::tool

#endif
