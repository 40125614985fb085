/* The format "fw32": a stream of run codes without any header, for pipes.
 *
 *   code         32 bits in the machine's byte order: bits 0 to 19 the length of a run in pixels,
 *                bits 20 to 31 its colour code; a longer run takes several codes of one colour
 *   track        codes whose lengths add up to the pixels of a track, and a code of length 0, which
 *                is written as the word 0
 *   stream       tracks, the first first
 *
 * The stream is read and written in one direction and never repositioned. No file looks like one:
 * it is opened by LF_FORCETYPE with this type, or by LF_RAWFW32, never by what is in it. The minor
 * number means nothing.
 *
 * Reading. The stream does not tell its size: both sizes and both resolutions are 0 after opening,
 * and lfcheck fails until the caller has told the size, as tracks and pixels per track, by lfclip
 * with the window 0, 0, tracks, pixels; or by lfscale with the resolution and then lfsetsize. Who
 * does not know the number of tracks gives a large one and reads until lfread fails with code 3
 * (LFE_TRACK), the mark of a stream that ended behind a whole track; one that is cut inside a track
 * gives code 16 (LFE_EOF). Tracks are read forward; some may be left out. A track that has been
 * passed is gone: lfseek to it fails with code 15, and so does lfread of the last track again in
 * another buffer. LF_XMIRROR is refused. A track that does not have its pixels is a failure, but
 * the one behind it can be read.
 *
 * Writing. lfsetsize tells the pixels of a track; with LF_GROW any number of tracks may follow.
 * Every track goes out as codes, one of a single run too. A colour code beyond 12 bits fails the
 * track with code 15. Fewer tracks than announced are no failure. A pipe whose reader has gone
 * raises SIGPIPE unless the program ignores that signal; then it is a failed write.
 *
 * lfopen waits for the first 1024 bytes of a pipe or for its end.
 *
 * The codec is registered under the same name for formats that keep such tracks in their files.
 */
#ifndef VOR_FW32_VOR_FW32_H
#define VOR_FW32_VOR_FW32_H

#include "formats/formats.h"

#ifdef __cplusplus
extern "C" {
#endif

#define FW32_LENGTH UINT32_C(0x000FFFFF) /* mask of the length, and the longest run of a code */
#define FW32_COLOURSHIFT 20
#define FW32_MAXCOLOUR UINT32_C(0xFFF)

extern VOR_MODULE_EXPORT lffmt_t fw32_cvtformat;

#ifdef __cplusplus
}
#endif

#endif
