/* Command-line options: the public interface of getopt, getopt_long and getopt_long_only.
 *
 * The calls and variables are the library's own and keep apart from those of the same names in the
 * C library. A program includes this header or its system's <getopt.h>, not both. One scan at a
 * time goes on in a process. In what the calls differ from the widespread form:
 *
 * - With a table of long options "+" introduces a long option as "--" does.
 * - A colon at the start of the option string means nothing: every error gives "?".
 * - Several partial matches of a long name are ambiguous, also if they mean the same.
 * - After an error in a long option optopt stays as it was.
 */
#ifndef VOR_UTIL_OPTIONS_H
#define VOR_UTIL_OPTIONS_H

#include "vor_api.h"

/* The system's headers may declare getopt too, in C++ as one that throws nothing. */
#ifdef __cplusplus
#define VOR_NOTHROW noexcept
extern "C" {
#else
#define VOR_NOTHROW
#endif

/* A long option; a record with a NULL name ends the table. */
struct option {
    const char *name;
    int has_arg; /* no_argument, required_argument or optional_argument */
    int *flag;   /* NULL: the call gives `val`; otherwise `val` is stored here and it gives 0 */
    int val;
};

#undef no_argument
#undef required_argument
#undef optional_argument
#define no_argument 0
#define required_argument 1
#define optional_argument 2 /* an argument counts only behind "=" */

extern VOR_API char *optarg; /* the option's argument, or NULL */
extern VOR_API int optind;   /* next index in argv; 0, as at the start, begins a new scan */
extern VOR_API int opterr;   /* not 0, as at the start: errors go to the standard error stream */
extern VOR_API int optopt;   /* the short option at fault; "?" at the start */

/* The table of long options that getopt looks at; NULL but during the calls of getopt_long. */
extern VOR_API const struct option *_getopt_long_options;

/* Gives the next option's character, "?" after an error, or -1 at the end. `options` lists the
 * characters, one colon behind a character for an argument, two for an optional one. Non-options
 * are moved behind the options, unless `options` starts with "+" or the environment holds
 * POSIXLY_CORRECT, which end the scan at the first one, or with "-": each is then given in its
 * place, in optarg, with the result 1. "--" ends the options. */
VOR_API int getopt(int argc, char *const *argv, const char *options) VOR_NOTHROW;

/* getopt with long options, which start with "--" or "+" and may be abbreviated. `index`, unless
 * NULL, gets the row of the long option found, and stays as it is after an error. */
VOR_API int getopt_long(int argc, char *const *argv, const char *options,
                        const struct option *long_options, int *index) VOR_NOTHROW;

/* getopt_long where "-" starts a long option too; one that matches none is read as short options if
 * its first character is in `options`. */
VOR_API int getopt_long_only(int argc, char *const *argv, const char *options,
                             const struct option *long_options, int *index) VOR_NOTHROW;

#ifdef __cplusplus
}
#endif

#endif
