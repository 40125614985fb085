/* Foreign files made into native ones by a command of the user's.
 *
 * A file's name, with a colour separation behind ":" or "@" or without one, is turned into the name
 * of the native file that the command makes of it. The commands stand in ".autoconvert", a
 * parameter file (config_file.h): rules of one line each, of which the first that fits is taken.
 *
 *     # suffixes = prefixes command
 *     tif, tiff = tif2vor %i %o
 *     ps eps = !rip -plate %c %i %o
 *
 * Suffixes are separated by blanks, tabs or commas, and case counts in them. Behind the "=", "!"
 * has the rule take names with a separation alone, and "@" leaves the suffix out of %i. In the
 * command
 *
 * - %i is the input's name without the separation;
 * - %o is the output's name: %i without its suffix, "." and the first character of the separation
 *   if there is one, and ".vor";
 * - %S is the separation, and nothing without one;
 * - %C and %c tell a process colour, as a word and as a number, by how the separation begins:
 *
 *       begins with   %C        %c
 *       0, C or c     Cyan      0
 *       1, M or m     Magenta   1
 *       2, Y or y     Yellow    2
 *       3, B or b     Black     3
 *       another       as %S     that character
 *
 * - "%" and any other character is one "%".
 *
 * The command goes to the system's interpreter, a POSIX shell. What stands for a name is data to
 * it: one that has anything but letters, digits and _./:@%+,=- in it is quoted for its place in the
 * command, be that bare, in single or in double quotes, and a number of a name's before "<" or ">"
 * is not taken for a descriptor. Where a rule leaves no telling what the place is, such a name is
 * refused: right behind "\" or "$"; behind "`" and behind "$" with one of "({[" or a quote; outside
 * quotes also behind "#", "<<" and what makes a shell with arrays calculate: "((", "[[", "=(", and
 * "[" next to a letter, a digit or "_" before it. From these on, such a number is refused, too. A
 * rule that needs them puts its names into variables first: in=%i out=%o; ... "$in" ... "$out".
 * What a command makes of its arguments is the rule's own care: names go neither to eval nor into
 * the text of sh -c, and one that begins with "-" may look like an option. In shells that expand
 * braces, a comma in a name between "{" and "}" makes more words of one. */
#ifndef VOR_COLOUR_AUTOCONVERT_H
#define VOR_COLOUR_AUTOCONVERT_H

#include <stdint.h>

#include "vor_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Failures of autoconvert. */
enum {
    AUTOCONVERT_NO_RULE = -1, /* a name without a suffix, no readable rule file, no rule that fits,
                                 or one that does not serve: without "=", for names with a
                                 separation when there is none, with a "%" at its end, with a place
                                 that the name cannot stand in, or longer than 511 bytes with all
                                 names put in */
    AUTOCONVERT_FAILED = -4,  /* a rule without %i, or an empty one; a command that cannot be
                                 started or ends with a status other than 0 */
    AUTOCONVERT_NO_FILE = -6  /* an input file that does not exist */
};

/* Runs the rule for `name` and waits for its end. 0, and `name` is the output's name, in which all
 * of the separation stands, between %i without its suffix and ".vor"; whether there is such a file
 * is not looked at. `name` needs room for three bytes more than it holds.
 *
 * A negative result is an AUTOCONVERT_ value. `name` is then the input's name without its
 * separation after AUTOCONVERT_NO_FILE, as it was if it has no suffix, and otherwise without its
 * suffix.
 *
 * Nothing is printed but what the command prints. Calls may run side by side for different names.
 */
VOR_API int32_t autoconvert(char *name);

#ifdef __cplusplus
}
#endif

#endif
