// One item of a colour spec: what it draws, and where.
#ifndef VOR_COLOUR_CURVE_ITEM_H
#define VOR_COLOUR_CURVE_ITEM_H

#include <cstdint>

#include "colour/curve_build.h"

namespace vor {

enum class CurveForm { linear, steps, constant, points, gamma, file };

struct CurveItem {
    const char *text; // the item behind its prefix, and what follows it in the spec
    bool fill;        // draw beside the range, too
    bool absolute;    // replace the curve in place of acting on its output
    CurveForm form;
    int32_t from; // range, both ends included
    int32_t to;
    int32_t low; // levels of a linear form
    int32_t high;
    int32_t steps;
    int32_t value;
    double exponent;
    float points[response_points];
};

// A stock curve, or NULL: `text` begins with no word, or with one that no name or several names
// start with.
struct CurveKeyword {
    const char *name;
    bool down;      // a ramp that falls
    float exponent; // of a gamma, or 0 for a ramp
};
const CurveKeyword *ctab_keyword(const char *text);

// Reads the item at `text`, for tables of `size` entries. What has no other form is a curve file.
CurveItem parse_curve_item(const char *text, int32_t size);

// The start of the next item, or the end of the text: behind blanks, tabs and commas.
const char *skip_curve_separators(const char *text);

// The end of an item at `text`. One in quotes may hold blanks and commas.
const char *skip_curve_item(const char *text);

} // namespace vor

#endif
