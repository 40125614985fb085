/* The rc file: the settings of the machine, one KEY = value a line, that all its programs share. It
 * is read once at the start, whole or not at all: until a file has been read without a fault, and
 * after a reading that found one, each key is looked for in the environment and nowhere else; once
 * a file has been read, in that file and nowhere else.
 *
 * An accessor never fails. A key that is not set, or whose text does not look like what is asked
 * for, gives the caller's default, and, once rc_warn has switched warnings on, a line in the log.
 *
 * The table is one for the process and has no lock: it is read on the main thread before others
 * start, and may be asked from any thread as long as none reads a file or changes rc_warn. */
#ifndef VOR_CONFIG_RC_H
#define VOR_CONFIG_RC_H

#include <stdint.h>

#include "vor_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* How readrcfile reads: an or of these. */
enum {
    RCF_WARN = 1,    /* log values that a later line replaces, and defaults: see rc_warn */
    RCF_NOFOLD = 2,  /* keys as written; otherwise their lower-case letters become upper-case */
    RCF_KEEP = 4,    /* merge the file into what has been read before */
    RCF_NOPSEUDO = 8 /* a line that begins with "@" is a fault */
};

/* What is known of an entry: its `flags` in rc_entry_t. */
enum {
    RCE_STICKY = 1,   /* in a sticky section, or marked by a "*" */
    RCE_LOCKED = 2,   /* made by ":=": no later line may change it */
    RCE_REPLACED = 4, /* a later "=" has replaced its first value */
    RCE_SET = 8       /* of every entry */
};

/* The room that rcfullpath needs. */
enum { RC_PATH_ROOM = 1024 };

/* What rc_entry does. */
enum {
    RC_ENTRY_NEXT = 0,  /* deliver the entry at `index` */
    RC_ENTRY_COUNT = 1, /* count the entries */
    RC_ENTRY_FIND = 2   /* deliver the next entry that has a text within its key */
};

/* The check word of rc_entry_t, the same on every machine. */
enum { RC_ENTRY_SIZE = 20 };

/* An entry as rc_entry delivers it. The caller owns the record; the texts belong to the table. */
typedef struct rc_entry_t {
    uint32_t size;     /* RC_ENTRY_SIZE */
    int32_t index;     /* of the next entry; 0 to start */
    uint32_t flags;    /* RCE_ values of the entry delivered */
    const char *key;   /* its key; for RC_ENTRY_FIND, the text to find in keys */
    const char *value; /* its value */
} rc_entry_t;

/* Reads an rc file, and those that it includes, into the table, which is emptied first unless
 * `flags` hold RCF_KEEP. A `name` of NULL is rcfilename(); rcfullpath tells where the file lies.
 * The text of `name` must not be one of the table's.
 *
 * A line is KEY = value, KEY := value for an entry that no later line may change, or KEY += value,
 * which adds to an earlier value behind a tab. A key starts with a letter or "_", and with a "*"
 * before it the entry is sticky, as are all behind a comment of the form ## [sticky ...]. A value
 * in single or double quotes goes to the next such quote, another to the first "#". A backslash at
 * the end joins a line with the next. Lines that are empty, or begin with "#", "[" or "-", are
 * skipped. Further lines are @include NAME, and @case-fold and @no-case-fold, which hold to the end
 * of their file. A file has 1 to 1048576 bytes, all together have up to 67108864; at most 16 levels
 * of includes can be read.
 *
 * 0, and all keys are now looked for in the table alone. -1 at the first fault or without memory,
 * with a line in the log that tells the file, the line and the fault, and one that says that the
 * environment is used; only the latter comes for a line without "=", and for one that there is no
 * memory to read. The table is then empty, whatever `flags` hold. */
VOR_API int32_t readrcfile(const char *name, uint32_t flags);

/* The name of the rc file: the environment variable GRAVURRC, or ".gravurrc". The text belongs to
 * the library or to the environment. */
VOR_API const char *rcfilename(void);

/* Writes the path that readrcfile opens for `name` into `buf`, which has RC_PATH_ROOM bytes. An
 * absolute name (isabs_path), and one that begins with "./" or ".\", stands for itself. Any other,
 * and a NULL, which stands for rcfilename(), lies in the directory of the environment variable
 * RCDIR, or else in local_home_path(). A path that does not fit gives the empty text. */
VOR_API void rcfullpath(char *buf, const char *name);

/* Switches the lines about defaults on (a positive `mode`) or off (0), or only asks (negative). The
 * result is 1 if they were on, otherwise 0. readrcfile sets them by RCF_WARN. */
VOR_API int32_t rc_warn(int32_t mode);

/* Walks the table; `mode` is an RC_ENTRY_ value:
 *
 * - RC_ENTRY_COUNT: `index` becomes the number of entries, `flags`, `key` and `value` are cleared,
 *   and the result is 0. For a walk `index` has to be set to 0 again.
 * - RC_ENTRY_NEXT: fills the record with the entry at `index`, which goes up by one. 0, or -1 if
 *   there is no such entry. The order is that of the keys' bytes.
 * - RC_ENTRY_FIND: `key` is a text, and the entry at `index` is passed over, as are those that
 *   follow, until one has that text somewhere within its key; this one fills the record as above.
 *   0, or -1 if none has it. `key` is the whole key by then: to find more, set it again.
 *
 * Any other mode gives -1, and so does a record whose `size` is not RC_ENTRY_SIZE, with a line in
 * the log. -1 leaves the record alone. If there was no memory to sort the entries, the walk goes in
 * the order in which they were made, and nothing can be searched. */
VOR_API int32_t rc_entry(rc_entry_t *rec, int32_t mode);

/* The accessors. `key` is upper-case unless the file was read with its keys as written. A call with
 * `n` in its name asks for the key "KEY.n", `n` being any number, and for an `n` of 0 also for the
 * plain KEY; a key of 244 characters or more is too long for it, which is logged, and counts as not
 * set. A default is given back as it is, even outside the limits of a call. A text belongs to the
 * table or to the environment and is valid until the next readrcfile. */

/* A text; it may be empty. */
VOR_API const char *rc_string(const char *key, const char *default_value);
VOR_API const char *rc_nthstring(const char *key, int32_t n, const char *default_value);

/* rc_string with a default of NULL. */
VOR_API const char *rc_strval(const char *key);

/* A switch, by rc_parsebool. Any text that is set counts, an empty one as 0. A negative default
 * means "automatic" where a caller has such a setting. */
VOR_API int32_t rc_boolean(const char *key, int32_t default_value);
VOR_API int32_t rc_nthboolean(const char *key, int32_t n, int32_t default_value);

/* An integer, by rc_parseinteger. */
VOR_API int32_t rc_integer(const char *key, int32_t default_value);
VOR_API int32_t rc_nthinteger(const char *key, int32_t n, int32_t default_value);

/* An integer within limits, by rc_parseintval. */
VOR_API int32_t rc_intval(const char *key, int32_t default_value, int32_t low, int32_t high);
VOR_API int32_t rc_nthintval(const char *key, int32_t n, int32_t default_value, int32_t low,
                             int32_t high);

/* A real number, by rc_parsedouble. */
VOR_API double rc_double(const char *key, double default_value);
VOR_API double rc_nthdouble(const char *key, int32_t n, double default_value);

/* A real number within limits, by rc_parsevalue. */
VOR_API double rc_value(const char *key, double default_value, double low, double high);
VOR_API double rc_nthvalue(const char *key, int32_t n, double default_value, double low,
                           double high);

/* A length in millimetres, by unit2mm with the size unit in force; so is the default. */
VOR_API double rc_length(const char *key, double default_value);

/* A proportion in thousandths, by rc_parseppt. */
VOR_API int32_t rc_ppt(const char *key, int32_t default_value);
VOR_API int32_t rc_nthppt(const char *key, int32_t n, int32_t default_value);

/* A proportion in millionths, by rc_parseppm. */
VOR_API int32_t rc_ppm(const char *key, int32_t default_value);
VOR_API int32_t rc_nthppm(const char *key, int32_t n, int32_t default_value);

/* A duration in milliseconds, by rc_parsems. A text counts as set if it begins with a digit; what
 * rc_parsems does not take is then -1, and not the default. */
VOR_API int32_t rc_ms(const char *key, int32_t default_value);
VOR_API int32_t rc_nthms(const char *key, int32_t n, int32_t default_value);

/* 1 if `text` starts as an integer does, otherwise 0: behind blanks and tabs, with or without a
 * sign, a digit. */
VOR_API int32_t rc_testint(const char *text);

/* 1 if `text` starts as a real number does, otherwise 0: as rc_testint, with or without a "." right
 * before the digit. */
VOR_API int32_t rc_testdouble(const char *text);

/* The parsers. Numbers read the same in every locale. Text behind a number that is no unit is
 * logged and ignored. */

/* 1 for the words "on", "true", "t" and "yes" in any case, 0 for any other word. A text that does
 * not begin with a letter is an integer, decimal, octal behind "0" or hexadecimal behind "0x"; it
 * is the result, a negative one being 0. */
VOR_API int32_t rc_parsebool(const char *text);

/* An integer, decimal, octal behind "0" or hexadecimal behind "0x", times 1000 with a "K" or "k"
 * behind it, 1000000 with an "M", 1000000000 with a "G". The number saturates at 32 bits; the
 * product wraps around. */
VOR_API int32_t rc_parseinteger(const char *text);

/* rc_parseinteger held within `low` and `high`, unless `low` is at or above `high`. */
VOR_API int32_t rc_parseintval(const char *text, int32_t low, int32_t high);

/* A real number, with one of these behind it: "%" 0.01, "ppt" 0.001 and "ppm" 0.000001 (in any
 * case, with no letter or digit behind), "f" 1e-15, "p" 1e-12, "n" 1e-9, "u" 1e-6, "m" 0.001, "k"
 * and "K" 1000, "M" 1e6, "G" 1e9, "T" 1e12, "P" 1e15. */
VOR_API double rc_parsedouble(const char *text);

/* rc_parsedouble held within `low` and `high`, unless `low` is at or above `high`. */
VOR_API double rc_parsevalue(const char *text, double low, double high);

/* A proportion as an integer number of thousandths (rc_parseppt) or millionths (rc_parseppm),
 * rounded, and held within +-1000000000: a real number with "%", "ppt" or "ppm" behind it, in any
 * case. Without a unit a number that was written with a "." is a percentage; one without counts
 * thousandths, and that is logged. */
VOR_API int32_t rc_parseppt(const char *text);
VOR_API int32_t rc_parseppm(const char *text);

/* A duration in milliseconds, rounded, up to 2000000000; -1 for one that is negative or longer, and
 * for a text of the wrong form. It is one of
 *
 * - a real number, in seconds or with one of these behind it, of which only the first letter counts
 *   and in any case: "d" days, "h" hours, "m" minutes, "s" seconds, "u" microseconds;
 * - digits and a "+" or "d" in front of such a number: so many days, at most 24, to be added to it.
 *   A "u" goes with no days, and without a unit a day counts as 24 seconds only. A lone "1d" thus
 *   is 24000, while "1+0d" is a day;
 * - a clock time of two or three fields with ":" between them, up to 23, 59 and 59: minutes and
 *   seconds, and a third field that is added as seconds too, with a fraction if there is one. Days
 *   in front are ignored. */
VOR_API int32_t rc_parsems(const char *text);

#ifdef __cplusplus
}
#endif

#endif
