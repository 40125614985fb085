/* Shared objects, found by short name in a list of directories and loaded at run time. Nothing here
 * prints or logs; why an object does not load, the system's loader tells. The list is one for the
 * process and has no lock: it is set up at the start of a program, before objects are loaded. */
#ifndef VOR_UTIL_SHARED_OBJECT_H
#define VOR_UTIL_SHARED_OBJECT_H

#include <stdint.h>

#include "vor_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Changes the list of directories, which starts as "plugins" alone. A relative directory counts
 * from kel_runtime_topdir. With `replace` not 0 the list becomes `directory` alone, or empty if
 * that is NULL. With `replace` 0 `directory`, which is copied, goes to the end of the list, unless
 * it is NULL or stands in it letter for letter.
 *
 * 0, or -1: there is no memory, and the list is again that of the start; or `replace` is 0 while
 * the list is that of the start, which is not added to and stays. The first call of a program is
 * one with `replace` not 0. */
VOR_API int32_t so_setdir(const char *directory, int32_t replace);

/* Loads a shared object, with all that it needs, and gives its handle, which the caller closes with
 * so_close. A relative `name` is looked for in each directory of the list in turn, one that
 * isabs_path knows as absolute where it says alone; each time first as it stands, then with the
 * system's suffix, ".so" or ".dll". What is not a regular file, cannot be read or has a name of
 * 1024 bytes or more is passed over.
 *
 * NULL if the list is empty, whatever `name` is; if there is no such file; and if the first one
 * found does not load: the search does not go on behind it. */
VOR_API void *so_open(const char *name);

/* Unloads a shared object; nothing that came from it may be used any more. An object that was
 * opened more than once stays until its last close. NULL is allowed. Always 0. */
VOR_API int32_t so_close(void *handle);

/* The address of what a loaded object exports as `symbol`, or NULL. It is good until so_close. */
VOR_API void *so_getsym(void *handle, const char *symbol);

#ifdef __cplusplus
}
#endif

#endif
