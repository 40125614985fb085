/* Files found by short names: lists of directories taken apart, and searched with lists of
 * suffixes. Nothing here prints; a file that is not found is a plain result. */
#ifndef VOR_RUNTIME_PATH_SEARCH_H
#define VOR_RUNTIME_PATH_SEARCH_H

#include <stdint.h>

#include "trackfile/lf.h"
#include "vor_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- lists ---------------------------------------------------------------------------------- */

/* An element of a list. */
typedef struct path_entry {
    char *text;    /* a block of its own */
    int32_t mtime; /* modification time in seconds since 1970-01-01 00:00 UTC, or 0 */
} path_entry;

/* A list taken apart: one block, to be ended with destroy_pv. */
typedef struct path_vector {
    int32_t count;
    path_entry entries[1]; /* `count` of them, in the list's order */
} path_vector;

/* Flags of build_pv. */
enum {
    PV_MTIME = 2, /* fill in `mtime` */
    PV_DOT = 4    /* an empty element becomes "." */
};

/* Takes a list apart at each `separator`; 0 stands for ":". A separator at the very end opens no
 * further element, and the empty text has none. With PV_MTIME `mtime` is the time of the file whose
 * name is the list's text from the start of the element to the end of the list, which only the last
 * element can be; 0 if there is no such file. The result goes to destroy_pv;
 * NULL without memory. */
VOR_API path_vector *build_pv(const char *text, int32_t flags, char separator);

/* Frees a vector and its texts. NULL is accepted. */
VOR_API void destroy_pv(path_vector *vector);

/* ---- search --------------------------------------------------------------------------------- */

/* Bytes of a file name that is searched for or found, the zero byte included. */
enum { FINDFILE_ROOM = 512 };

/* Looks for a regular file in the directories of `path`, a list separated by ";", under `name` with
 * each suffix of `suffixes` behind it, a list separated by ":". All suffixes are tried in a
 * directory before the next one. An empty directory is the current one. NULL and "" for `suffixes`
 * stand for the name as it is. A "*" in front of the suffixes wants files that their owner may
 * execute.
 *
 * A directory that bears the name searched for is searched in its turn, for the same name with the
 * same suffixes, up to 256 of them in one search.
 *
 * `path` NULL or empty, an absolute name or one with a drive, "." and "..", and a name that starts
 * with "./" or "../": only the suffixes are tried. A name with a directory keeps it, behind each
 * directory of `path`.
 *
 * 0, and `result`, FINDFILE_ROOM bytes, which may be `name`, holds the file's full name. -1 if
 * there is no such file, for a name of 511 bytes or more and without memory; `result` then holds
 * `name`, or, where that does not fit, is empty unless it is `name` itself. A place whose full name
 * would not fit is passed over. */
VOR_API int32_t findfile(char *result, const char *name, const char *path, const char *suffixes);

/* Flags of vorsearch. */
enum {
    VORSEARCH_RENAME = 4 /* `name`, FINDFILE_ROOM bytes, gets the name of what was tried to open */
};

/* Looks for a raster file and sees whether it opens as one. findfile looks for `name` as it is,
 * with ".vor" and with ".kel", in the default list if `path` is NULL or `name` absolute, otherwise
 * in `path` and the default list. The two are joined with a ":", at which no list of directories
 * is taken apart, so that where they meet two names run together. What is
 * found, or `name` if nothing is, is opened with lfopen under LF_SEQUENTIAL, which fills `info`
 * unless that is NULL, and closed.
 *
 * 0 if it opened. Otherwise the value of `vorerror`, which is why a program that has switched that
 * off looks at `info` instead. `vorerror` is 0 while the file is opened: nothing is reported. -1,
 * and `name` and `info` are left alone, for an empty name, one of FINDFILE_ROOM bytes or more, and
 * without memory for the joined list.
 *
 * With a `name` of NULL, `path` becomes the default list, "." at the start, and the result is 0.
 * The pointer is kept, not the text; NULL stands for an empty list. */
VOR_API int32_t vorsearch(char *name, const char *path, lfinfo *info, int32_t flags);

#ifdef __cplusplus
}
#endif

#endif
