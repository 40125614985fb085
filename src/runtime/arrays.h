/* Lists of numbers, out of a text or a file of their own, as arrays.
 *
 * A list is a text of numbers with ",", ";", blanks or tabs between them, in brackets or without;
 * what stands behind "]" is ignored. A number right before "*" or "x" and a decimal count stands
 * that many times: "1, 5x3" are four elements. Numbers are decimal, with a fraction and an
 * exponent, and read the same in every locale.
 *
 * "@" and a name, in the place of a list, is a list file, found as find_config_file finds it. A
 * list there is in lines, without brackets; "#" starts a comment up to the end of the line.
 *
 * Failures go to the log. */
#ifndef VOR_RUNTIME_ARRAYS_H
#define VOR_RUNTIME_ARRAYS_H

#include <stdint.h>

#include "vor_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Flags of the calls that read. A number with a sign of its own is a difference from the whole of
 * the unit: "+5" in percent is 1.05 times. Doubles come out as fractions of one, integers as per
 * mille, rounded. */
enum {
    XARRAY_PERCENT = 0x1,     /* the numbers are percent */
    XARRAY_PERMILLE = 0x2,    /* the numbers are per mille */
    XARRAY_UNIT = 0xF,        /* mask of the unit; any other leaves the numbers as they are */
    XARRAY_FIXED = 0x100,     /* `*data` is the caller's room, which never grows */
    XARRAY_SHRINK = 0x200,    /* without XARRAY_FIXED: give back room that is not needed */
    XARRAY_EXACT = 0x400,     /* there must be exactly `*size` elements; the room never grows */
    XARRAY_OR_EMPTY = 0x800,  /* with XARRAY_EXACT: or none */
    XARRAY_OR_SINGLE = 0x1000 /* with XARRAY_EXACT: or one */
};

/* Reads a list of integers.
 *
 * `*data` is room for `*size` elements, at least one, or NULL. Unless XARRAY_FIXED is set, the room
 * is a block from malloc that grows as it must; NULL lets the call allocate one, for `*size`
 * elements or, if that is below 1, for 256. On return `*data` is the block, which is the caller's,
 * and `*size` the number of elements, also after a failure; the room may be larger.
 *
 * The result is the number of elements, or -1:
 * - `*data` with a `*size` below 1, which stays, XARRAY_FIXED without `*data`, or no memory for a
 *   block: nothing is logged
 * - "array_setvar: bad index=%d": a number found no room or no memory; `*size` is all the room
 * - "array_from_string: invalid number near %s", in a file "%s line %d: invalid number"; an element
 *   0 stands in its place
 * - "array_add_rep: bad repeat count=%d": below 1
 * - "array_add_rep: bad index=%d": a repeated number found no room or no memory
 * - "cannot find file \"%s\"": the block is freed and `*data` NULL, unless XARRAY_FIXED is set;
 *   likewise "cannot read file \"%s\""
 * - "bad size match on array: want=%d got=%d elts": XARRAY_EXACT is not kept */
VOR_API int32_t xget_int_array_ex(const char *text, int32_t **data, int32_t *size, uint32_t flags);

/* Reads a list of doubles, otherwise as xget_int_array_ex. */
VOR_API int32_t xget_double_array_ex(const char *text, double **data, int32_t *size,
                                     uint32_t flags);

/* xget_int_array_ex with XARRAY_FIXED if `*data` is set, otherwise with XARRAY_SHRINK. */
VOR_API int32_t xget_int_array(const char *text, int32_t **data, int32_t *size);

/* xget_double_array_ex likewise. */
VOR_API int32_t xget_double_array(const char *text, double **data, int32_t *size);

/* With a `clamp` of 0 tells whether all elements lie within `minimum` to `maximum`: 0, otherwise
 * -1. With any other, moves those that do not to the nearer end; always 0. */
VOR_API int32_t xcheck_int_array(int32_t *array, int32_t count, int32_t clamp, int32_t minimum,
                                 int32_t maximum);

/* xcheck_int_array for doubles. A NaN counts as below the range. */
VOR_API int32_t xcheck_double_array(double *array, int32_t count, int32_t clamp, double minimum,
                                    double maximum);

#ifdef __cplusplus
}
#endif

#endif
