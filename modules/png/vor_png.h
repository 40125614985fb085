/* The format "png": PNG files (ISO/IEC 15948) as track files of two levels or gray.
 *
 * Reading gives the picture as it is to be seen: a track is a row, track 0 the top one, pixel 0 the
 * leftmost; 0 is black, 255 white. Gray of 1 bit is read as 1 bit a pixel, everything else as 8:
 * gray of 2 and 4 bits is spread over 0 to 255, of 16 bits rounded to 8. Colours become gray by the
 * weights 0.2126, 0.7152 and 0.0722 of their stored red, green and blue; what is transparent is
 * laid on white. Each of these losses is told by a warning. The chunk pHYs, in pixels per metre,
 * gives the resolution; a file without one has 0 for it.
 *
 * Rows are decoded some megabytes at a time, and a file that is read backwards is decoded once for
 * each such band. An interlaced file is decoded as a whole, and refused if its pixels take more
 * than 256 megabytes, or more than its own size can stand for.
 *
 * Writing makes rows that are not interlaced, gray of 1 or 8 bits, with pHYs. A PNG tells its size
 * first: the number of tracks must be known, LF_GROW is refused. A file that is closed before all
 * its tracks are written is a failure of lfclose, and is not read back. A pipe can be written to,
 * but not read. There is no update.
 *
 * The minor number of the type tells what is written, and after opening what is in the file. Its
 * low nibble and the value for Deflate are those of the native format, so that a minor number that
 * is made for the one serves the other.
 */
#ifndef VOR_PNG_VOR_PNG_H
#define VOR_PNG_VOR_PNG_H

#include "formats/formats.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The low nibble of the minor number: bits a pixel. 0 to VOR_PNG_MAXBILEVEL all stand for 1 bit. */
#define VOR_PNG_KIND UINT32_C(0x0F)
#define VOR_PNG_BILEVEL UINT32_C(1) /* 1 bit; what an opened file that is read as 1 bit bears */
#define VOR_PNG_MAXBILEVEL UINT32_C(2)
#define VOR_PNG_GRAY UINT32_C(3) /* 8 bits */

/* The high nibble: effort of compression. */
#define VOR_PNG_EFFORT UINT32_C(0xF0)
#define VOR_PNG_USUAL UINT32_C(0x00)   /* the usual effort */
#define VOR_PNG_PLAIN UINT32_C(0x10)   /* none: the pixels are stored as they are */
#define VOR_PNG_DEFLATE UINT32_C(0x40) /* the utmost; what an opened file bears */

extern VOR_MODULE_EXPORT lffmt_t png_cvtformat;

#ifdef __cplusplus
}
#endif

#endif
