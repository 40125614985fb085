/* Units: what operators see and type, and what programs reckon with. Inside, lengths are
 * millimetres, screen rulings lines per centimetre, and cylinder speeds revolutions per minute; for
 * each kind of quantity a unit is in force, in which it is shown and in which a number without a
 * unit is read. At the start these are "mm", "1/cm", "1/min" and, for the advance, "mm".
 *
 * Units of length: um, mm, cm, dm, m, nm, inch, in, mil, bp, pt, pica, pc, sp, didot, dd, cicero,
 * cc, and for rasters alone dpi and lpi. Units of speed: 1/min, u/min, rpm, 1/s, and, of the
 * cylinder's surface, m/min, m/s, cm/s, inch/s, ips. Names are compared letter by letter, case
 * included. A surface speed is that of a cylinder of the circumference that the call gives, in
 * millimetres; without one (0 or below) it counts as if that were 1 mm.
 *
 * Numbers have a decimal point, whatever the locale. Warnings go to the standard error stream. The
 * units are set at start-up, by one thread; later any thread may read them. */
#ifndef VOR_CONFIG_UNITS_H
#define VOR_CONFIG_UNITS_H

#include <stdint.h>

#include "vor_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Kinds of quantity, and flags that are or-ed with them. */
enum {
    UNIT_SIZE = 0,    /* a length, in mm */
    UNIT_RASTER = 1,  /* a screen ruling, in lines per cm */
    UNIT_SPEED = 2,   /* the speed of a cylinder, in revolutions per minute */
    UNIT_ADVANCE = 3, /* a length of advance, in mm */
    UNIT_MM = 4,      /* unit2mm alone: a length that without a unit is always in mm */

    UNIT_NUMBER = 16, /* reading: a double stands in the place of the text */
    UNIT_CIRCLE = 32, /* reading: a circumference, and behind a backslash a diameter */
    UNIT_NAME = 64,   /* printing: the unit's name follows the number */
    UNIT_ALIGN = 128  /* printing: blanks on the right for decimals left out */
};

/* The kind that makes initunits set the print format. */
enum { UNIT_FORMAT = -1 };

/* The print format: what calls use that give a negative width or number of decimals. At the start
 * 12 and 3. */
typedef struct unit_format_t {
    int32_t width;    /* characters of the number; a negative one fills up on the right */
    int32_t decimals; /* a negative number is 6 decimals */
} unit_format_t;

/* Sets the unit in force for a kind, of which the low three bits count. 0 if `name` is taken, 1 if
 * the default is in its place, -1 for a kind above UNIT_ADVANCE.
 *
 * For the speed, `name` is the whole name; NULL gives "1/min" and 0, an unknown one "1/min", 1 and
 * a warning. For the others, the name ends at the first blank or control character, and 19
 * characters of it count; "1/" in front is dropped, which is as it should be for a raster and draws
 * a warning otherwise. NULL gives the default and 1; an unknown name, and one for rasters given for
 * a length, the default, 1 and a warning. The default of a raster is "cm", not "1/cm": a number
 * without a unit is then the distance of the lines.
 *
 * With UNIT_FORMAT, `name` points to a unit_format_t, which is taken as the print format, or NULL
 * stands for a width of 12 and resetscale(3) decimals. The result is the width. */
VOR_API int32_t initunits(int32_t kind, const void *name);

/* The number of decimals, 0 or more, that shows lengths in the unit in force about as finely as
 * `decimals` show millimetres: of 3, it makes 0 for um, 3 for mm, 4 for cm and inch, 6 for m. */
VOR_API int32_t resetscale(int32_t decimals);

/* 1 if the unit of UNIT_SIZE is one of the inch family, printer's units included, otherwise 0. */
VOR_API int32_t isimperial(void);

/* The name of the unit in force for a kind, to be shown behind numbers; "" for a number that is no
 * kind. The text belongs to the library and changes with the unit. */
VOR_API const char *unitname(int32_t kind);

/* The names that a kind can have: of lengths for UNIT_SIZE and UNIT_ADVANCE, of the units for
 * rasters alone for UNIT_RASTER, of speeds for UNIT_SPEED, and none for any other number. Up to
 * `max` are stored in `names`, and NULL behind them if there is room. The result is the number of
 * names stored; with `names` NULL, of all. The texts are constants. */
VOR_API int32_t get_unames(const char **names, int32_t max, int32_t kind);

/* Gives `value`, which is in the internal unit of the kind in `flags`, in the unit in force, and
 * prints it into `buf` unless that is NULL. For UNIT_SPEED it gives 0 and prints nothing; a kind
 * above UNIT_ADVANCE has no unit, and its value stays as it is.
 *
 * Printed are `width` characters, or more if the number needs them, with `decimals` decimals; of
 * either, a negative number stands for the print format's. With UNIT_NAME the unit's name follows
 * at once. With UNIT_ALIGN a number of fewer decimals than the print format's is printed in that
 * format's width with blanks in the place of the decimals, and of the point, that it has not; a
 * number of as many or more, as if there were no UNIT_ALIGN. `buf` needs room for all that and a
 * zero byte; a value below 1e15 takes 17 characters and the decimals, any value at most 311 and the
 * decimals. */
VOR_API double mm2unit(char *buf, double value, int32_t width, int32_t decimals, int32_t flags);

/* Gives the speed `rpm` of a cylinder of that `circumference` in the unit of speed in force, and
 * prints it into `buf` as mm2unit does unless that is NULL. `flags` include UNIT_SPEED, whose unit
 * UNIT_NAME prints. */
VOR_API double rpm2speed(char *buf, double circumference, double rpm, int32_t width,
                         int32_t decimals, int32_t flags);

/* The position behind a number, as unit2mm reads it: blanks, a sign, digits with at most one point,
 * blanks, an exponent with blanks around it. "e" and "E" start an exponent whatever follows. Of
 * white space only the blank counts, no tab. */
VOR_API const char *skipnumber(const char *text);

/* Reads a quantity of the kind in `flags`: a number, followed by a "+" or "-" and a second number
 * if need be, and a unit of length. Blanks may stand before a sign, none behind it, as that number
 * would be 0. The result is the sum of the two in the internal unit. "1/"
 * before the unit makes each number one of lines per unit, whose distance is meant; dpi and lpi do
 * so by themselves. Without a unit, and with an unknown one, the unit in force counts (for any
 * number but UNIT_RASTER, UNIT_ADVANCE and UNIT_MM, that of UNIT_SIZE), for a raster of the name
 * "1/..." as lines per unit. Text that is no number is 0. What has no distance or no lines, as 0
 * lines per cm, gives 99,990,000,000 in its place.
 *
 * With UNIT_CIRCLE, the first number is a circumference, or behind a backslash the diameter of one,
 * and the second an addition to the radius. With UNIT_NUMBER, `text` points to a double without a
 * unit instead. */
VOR_API double unit2mm(const void *text, int32_t flags);

/* Reads a speed for a cylinder of that `circumference`, a number and a unit with blanks or not
 * around it, as revolutions per minute. Without a unit the one in force counts, and an unknown one
 * is taken for "1/min". */
VOR_API double speed2rpm(const char *text, double circumference);

#ifdef __cplusplus
}
#endif

#endif
