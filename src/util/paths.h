/* File names taken apart. A component ends at "/" or "\"; a drive prefix, a letter and ":", may
 * stand in front. Nothing here looks at the file system. */
#ifndef VOR_UTIL_PATHS_H
#define VOR_UTIL_PATHS_H

#include <stdint.h>

#include "vor_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* What isabs_path finds. */
enum {
    ISABS_ROOT = 1, /* a separator at the start, behind any drive prefix */
    ISABS_DRIVE = 2 /* a drive prefix */
};

/* The part of `name` behind any drive prefix and the last separator: a pointer into `name`, to an
 * empty text if a separator ends it. */
VOR_API const char *kel_basename(const char *name);

/* Writes the directory part of `name` into `buffer`, which may be `name` and otherwise needs room
 * for two bytes and for all of `name`. The result is the length of that part. A name without a
 * directory writes "." and gives 0; "/" and a drive's root keep their separator; a drive without
 * one stays a drive alone; otherwise the part ends before the last separator. */
VOR_API int32_t kel_dirname(char *buffer, const char *name);

/* Sets the suffix of `name` in place; `suffix` has its dot. Dots at the start of the base name open
 * no suffix. A name without a suffix gets it; behind a base name of dots alone the first character
 * of `suffix` is left out. NULL or an empty `suffix` cuts the old one off. The caller sees to the
 * room. 1 if the name was changed, otherwise 0, as for an empty name. */
VOR_API int32_t setsuffix(char *name, const char *suffix);

/* 0 for a relative name, otherwise an or of ISABS_ values. A drive without a separator counts. */
VOR_API int32_t isabs_path(const char *name);

#ifdef __cplusplus
}
#endif

#endif
