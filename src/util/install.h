/* Where the installation is, where the user's home is, and who the user is. Each answer is found at
 * the first call and kept for the life of the process; the texts belong to the library. The first
 * calls are to come from one thread. */
#ifndef VOR_UTIL_INSTALL_H
#define VOR_UTIL_INSTALL_H

#include <stdint.h>

#include "vor_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The top directory of the installation, with "/" as separator: the environment variable
 * QUORVENTATOP; else the directory above the one that the running program lies in; else
 * "/opt/kel". Never NULL. */
VOR_API const char *kel_runtime_topdir(void);

/* The user's home: the environment variable QUORVENTAHOME; else the home of the environment (HOME,
 * or HOMEDRIVE and HOMEPATH joined) if a file ".gravurrc" is in it; else the directory "run" of the
 * top directory, if a file can be made there; else the home of the environment; else "/". Never
 * NULL. */
VOR_API const char *local_home_path(void);

/* The user's name as the system knows it, or "nobody". With `prefer_environment` not 0, the first
 * of the environment variables USER, LOGNAME and USERNAME that is set comes before that, unless it
 * is empty. The two answers are kept apart. Never NULL. */
VOR_API const char *local_user_name(int32_t prefer_environment);

#ifdef __cplusplus
}
#endif

#endif
