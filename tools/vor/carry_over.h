// What a native file keeps beside its tracks, taken over from one file to another.
#ifndef VOR_TOOL_CARRY_OVER_H
#define VOR_TOOL_CARRY_OVER_H

#include "trackfile/lf.h"

namespace vor::tool {

// Both handles are native ones that have passed lfcheck, `to` writing. -1 if a part is refused. The
// colour tables in force are the identity afterwards, in both.
int32_t copy_colour_tables(xvor_t *from, xvor_t *to);
int32_t copy_parameters(xvor_t *from, xvor_t *to);
int32_t copy_tags(xvor_t *from, xvor_t *to);
int32_t copy_stops(const xvor_t *from, xvor_t *to);

void set_identity(xvor_t *h);

} // namespace vor::tool

#endif
