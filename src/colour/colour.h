/* Gray response curves and the colour tables they are applied to.
 *
 * A curve sends each gray level to another one. It is kept as a table of 16-bit numbers, which has
 * at a level's index what that level becomes; the identity changes none. A curve is written as a
 * colour spec: items that stand behind each other, separated by blanks, tabs or commas, each drawn
 * on top of the curve that those before it make.
 *
 * - normal, standard, positive: the identity
 * - invert, negative, reverse: falls from the last level to 0
 * - light, dim: a gamma with the exponent 0.9
 * - bright, brite: a gamma with the exponent 1.1
 * - "@A" and "@A:B": a gamma with the exponent A, or A/B if B is above 0
 * - 15 numbers with ":" between them: the outputs in percent of the last level at the inputs 0, 5,
 *   10, 15, 20, 30, 40, 50, 60, 70, 80, 85, 90, 95 and 100 percent, with ramps between them
 * - "FROM:TO=VALUE": one value for a range
 * - "FROM:TO:LOW:HIGH": a ramp
 * - "FROM:TO:STEPS": a staircase of levels within the range, falling if STEPS is negative
 * - anything else: the name of a curve file, in quotes if need be
 *
 * A keyword may be cut as long as it stays the only one of its beginning, and a name such as
 * "light.crv" is that keyword, too. Integers are decimal, octal behind "0" or hexadecimal behind
 * "0x". An item acts on the output of those before it. Items with a range change the table within
 * the range alone, but an output of an earlier item may lie outside it, and then the curve meets
 * what the new item has there: flat continuations of a ramp, 0 and the last level around a
 * staircase. In front of an item "~" leaves these out, so that what earlier items drew there
 * counts, and "=" has the item replace the curve in its range, whatever the items before it. "^" at
 * the very start of a spec pulls the two ends of the curve to the first and the last level.
 *
 * A curve file is looked for under the name that the whole spec begins with, its "^" or prefix
 * included, so that it can only be the first item.
 *
 * The calls may come from several threads for different tables. Their messages go to the standard
 * error stream. A table belongs to the caller and has as many entries as the call is told. */
#ifndef VOR_COLOUR_COLOUR_H
#define VOR_COLOUR_COLOUR_H

#include <stdint.h>

#include "vor_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Sizes of curve tables: the largest, and the one that a `size` of 0 stands for. */
enum { NCOLORS_MAX = 8192, NCOLORS_DEFAULT = 256 };

/* Failures of the calls below. */
enum {
    CURVE_INVALID = -1, /* an item, a curve file or a size that is refused */
    CURVE_NO_FILE = -2  /* a curve file that cannot be opened or written */
};

/* Fills `table`, of `size` entries, with the curve that `spec` describes. A `spec` of NULL stands
 * for the identity, whatever the size; the empty text leaves the table as it is. Unless `filename`
 * is NULL, the table is then stored in the curve file of that name, after a failure in the spec,
 * too; whether that works is not told, and these two specs store nothing.
 *
 * 0, or with `table` the identity
 * - CURVE_INVALID for a `size` above NCOLORS_MAX, with "wsetupctab: NCOLORS_MAX overflow\n"; no
 * file is written then;
 * - CURVE_INVALID for an item with a range beyond the table, -1, 0 or 1 steps, a gamma that is not
 *   above 0 and below 10000, an empty name, or a curve file whose number of values is neither that
 *   in its first line nor a power of two; and CURVE_NO_FILE for a curve file that cannot be opened.
 *   Both print "setupctab(): illegal color spec: ...%s\n" with the rest of the spec from that item
 *   on.
 * A negative `size` gives CURVE_INVALID without a message.
 *
 * A ramp's range must end above its start, or it is refused with CURVE_INVALID; a constant or a
 * staircase whose range, within the table, ends below its start changes nothing. A curve file
 * without a value that tells no number of them either is no fault: it makes all entries 0. */
VOR_API int32_t wsetupctab(const char *spec, uint16_t *table, const char *filename, int32_t size);

/* Writes `table`, of `size` entries, as a curve file, a text that a colour spec can name: a first
 * line "#KEL gray response curve, SIZE=%d\n", then 16 values a line, above a size of 256 10 values,
 * each line ending in a comment with the indices of its first and last value. In the last line the
 * first index is one too low, which readers of such files ignore. 0, or CURVE_NO_FILE if the file
 * cannot be opened or written; what could be written of it stays. */
VOR_API int32_t write_ctab(const char *filename, const uint16_t *table, int32_t size);

/* Applies a curve to a colour table of `size` entries, such as that of lfctable.
 *
 * With a `compose` of 0 the table becomes the curve: wsetupctab without a file. Otherwise its
 * values are sent through the curve, so that curves add up; a value of `size` or above stays, and
 * so does all of the table for a `spec` of NULL or the empty text.
 *
 * 0, or what wsetupctab gives for the spec; the table is then the identity, and with `compose`
 * unchanged. With `compose`, a `size` above NCOLORS_MAX gives CURVE_INVALID with
 * "assigncolors: NCOLORS_MAX overflow\n", and the table is the identity. */
VOR_API int32_t assigncolors(uint16_t *table, const char *spec, int32_t compose, int32_t size);

#ifdef __cplusplus
}
#endif

#endif
