/* The module "vortobm": codecs of bitmap handles, those opened with LF_BITMAP. The library loads it
 * when the first such handle wants a codec.
 *
 * A bitmap handle reads and writes tracks as rows of pixels, a byte each: the low byte of the
 * colour code that the run codec of the same name has for the pixel. Clip, scale, mirror and colour
 * table act as they do on runs, and a row is, pixel for pixel, the track of runs laid out. There is
 * a bitmap codec of every name in the table of codecs, for VORTOBM_ROOM names in all.
 *
 * Reading fills ysize bytes from `data` of the track buffer on; lfread then gives their number, or
 * 1 for a blank track. A track that comes out short, where the handle's shorttrack takes that, ends
 * in zeros that `nruns` does not count. Writing takes `nruns` bytes from `data` on. A buffer with
 * less room than that fails with code 15 "track buffer too small"; GT_FOREIGN storage begins at
 * `data`. What the run codec reports is reported as by it.
 *
 * The handle's calls of different threads do not meet. Each thread keeps room for the runs of its
 * longest track.
 */
#ifndef VOR_VORTOBM_VORTOBM_H
#define VOR_VORTOBM_VORTOBM_H

#include <stdint.h>

#include "vor_api.h"

#ifdef __cplusplus
extern "C" {
#endif

enum { VORTOBM_ROOM = 64 };

/* Installs finder and register hook by lfbmsetup. 0, or -1 if the table of codecs cannot be had.
 * The hook makes sure of the bitmap codec of a name: 0, or -1 after a report of code 15 if the
 * table has no codec of that name, or there are VORTOBM_ROOM already. */
VOR_MODULE_EXPORT int32_t vortobm_init(void);

#ifdef __cplusplus
}
#endif

#endif
