/* The table of track codecs.
 *
 * A codec turns a track in memory into its coded form in the handle's buffer and back. A format's
 * `check` gets one by name with lfrw_functions. The built-in ones are the fixed-width run codes
 * "fw8", "fw16", "fw88" and the plain rows "bm1" (eight pixels a byte, the leftmost in bit 7) and
 * "bm8" (a byte a pixel).
 */
#ifndef VOR_CODECS_CODECS_H
#define VOR_CODECS_CODECS_H

#include <stdint.h>

#include "trackfile/lf.h"
#include "vor_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* A codec: the functions go into the handle, with the duties told at their types in
 * trackfile/lf.h. Readers decode the pixels ya to ye of the track and make ysize output pixels of
 * them; the one-to-one forms are taken when both lengths are equal, the rev_ forms under
 * LF_YMIRROR: they fill the buffer from its top downwards, so that the runs read in mirrored order.
 */
typedef struct rle_row {
    const char *name; /* must outlive the table; NULL marks an empty row */
    lf_skiptrack_fn skip;
    lf_readtrack_fn read;        /* scaling */
    lf_readtrack_fn read_ns;     /* one-to-one */
    lf_readtrack_fn rev_read;    /* scaling, mirrored; NULL if there is none */
    lf_readtrack_fn rev_read_ns; /* one-to-one, mirrored */
    lf_writetrack_fn write;
    uint32_t limit; /* longest run in one code */
} rle_row;

/* Adds a codec; NULL only sets the table up. 0 done; 1 a codec of this name exists, and stays; -1
 * after a report: code 5, out of memory, or code 15 "codec without a name". The row is copied, its
 * name is not. */
VOR_API int32_t rle_cvtregister(const rle_row *row);

/* The codec of that exact name, or NULL, as for NULL. The pointer holds until the next
 * rle_cvtregister. */
VOR_API const rle_row *findrle_functions(const char *name);

/* Gives the handle the codec's functions, as its window, size and LF_YMIRROR ask for; under
 * LF_BITMAP the codec comes from the finder of lfbmsetup, and without one the module "vortobm" is
 * loaded first, unless KEL_NO_AUTOLOAD is set in the environment; what that reports is told at
 * lfbmsetup. 0, or -1 after a report of code 15
 * "Cannot find r/w functions for format". A codec without mirrored readers reads forward, after a
 * warning. */
VOR_API int32_t lfrw_functions(xvor_t *h, const char *name);

/* Puts one of two readers into the handle: `read_ns` if both heights are equal, else `read`.
 * `limit` is not used. Result: 0. */
VOR_API int32_t rle_setup_scaler(xvor_t *h, int32_t clip_height, int32_t output_height,
                                 uint32_t limit, lf_readtrack_fn read_ns, lf_readtrack_fn read);

/* Finds the bitmap codec of a name, or NULL. */
typedef const rle_row *(*rle_finder)(const char *name);
/* Hears the bitmap name under which a codec is registered; a negative result is the result of
 * lfcvt_register. */
typedef int32_t (*rle_register_hook)(const char *name);

/* Installs finder and hook for the codecs of bitmap handles; NULL for none. Result: 0.
 *
 * The module "vortobm" does this in its function `int32_t vortobm_init(void)`, whose result is 0 on
 * success. so_open finds it when a codec is wanted and no finder is installed. Reported are code 2
 * "failed to load vortobm module" where there is none, and code 15: "cannot find init symbol (bad
 * module?)", "module init failed", after both of which it is closed, and "module allready loaded"
 * if it has left no finder. */
VOR_API int32_t lfbmsetup(rle_finder finder, rle_register_hook hook);

/* Registers a codec (or none) and, if a bitmap name is given, tells the hook of it; where no finder
 * is installed, the module "vortobm" is loaded first, as lfrw_functions does. Result: that of
 * rle_cvtregister; that of the hook if it is negative or there is no row. */
VOR_API int32_t lfcvt_register(const rle_row *row, const char *bitmap_name);

#ifdef __cplusplus
}
#endif

#endif
