/* The format "tif": two-level and gray TIFF 6.0 and BigTIFF files as track files.
 *
 * Reading gives the picture as it is to be seen: a track is a row, track 0 the top one, pixel 0 the
 * leftmost, whatever the file's orientation. Pixel values are those of a picture in which 0 is
 * black and 255 white (1 bit: codes 0 and 255); a file of the sense "0 is white" is inverted, so
 * that one picture gives one set of codes. Strips and tiles, 1 and 8 bits, one sample a pixel are
 * read, not compressed or as PackBits, LZW, Deflate or CCITT G4. Of several pictures in a file the
 * first counts. A file that tells no resolution has 0 for it. Memory does not grow with the number
 * of rows: they are decoded some megabytes at a time, and a file whose rows are columns to the eye
 * is read in several passes.
 *
 * Writing makes strips, top row first, a track a row: 1 bit in the sense "0 is white", 8 bits in
 * the sense "0 is black". It turns to BigTIFF when the pixels alone would come near 4 gigabytes.
 * LF_SWAPPED in the mode writes the other byte order. A file that is closed before all its tracks
 * are written is a failure of lfclose, and is no TIFF. There is no update.
 *
 * The minor number of the type tells what is written, and after opening what is in the file. Its
 * low nibble and the value for Deflate are those of the native format, so that a minor number that
 * is made for the one serves the other.
 */
#ifndef VOR_TIF_VOR_TIF_H
#define VOR_TIF_VOR_TIF_H

#include "formats/formats.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The low nibble of the minor number: bits a pixel. 0 to TIF_MAXBILEVEL all stand for 1 bit. */
#define TIF_KIND UINT32_C(0x0F)
#define TIF_BILEVEL UINT32_C(1) /* 1 bit; what an opened file of 1 bit bears */
#define TIF_MAXBILEVEL UINT32_C(2)
#define TIF_GRAY UINT32_C(3) /* 8 bits */

/* The high nibble: compression. */
#define TIF_COMPRESSION UINT32_C(0xF0)
#define TIF_USUAL UINT32_C(0x00) /* G4 for 1 bit, LZW for 8 bits */
#define TIF_PLAIN UINT32_C(0x10) /* none */
#define TIF_PACKBITS UINT32_C(0x20)
#define TIF_LZW UINT32_C(0x30)
#define TIF_DEFLATE UINT32_C(0x40)
#define TIF_G4 UINT32_C(0x50) /* 1 bit only */

/* Request of lfspecial on a handle that writes, before lfcheck: int32_t, the number 1 to 8 to write
 * as the file's orientation (TIFF 6.0, tag 274) in place of 1. The rows are not rearranged: the
 * number tells others how tracks and pixels lie, and turns or mirrors the picture that is read
 * back. 0, or -1 after a report of code 15. */
enum { LFS_TIF_ORIENTATION = 4097 };

extern VOR_MODULE_EXPORT lffmt_t tif_cvtformat;

#ifdef __cplusplus
}
#endif

#endif
