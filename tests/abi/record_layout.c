/* The records that programs and files share stand at the same places in every compiler. What may
 * differ from machine to machine is measured in pointers. Nothing here runs. */
#include <stddef.h>

#include "libvor.h"

#ifdef __cplusplus
#define HOLDS(condition) static_assert(condition, #condition)
#define WIDE(record, field, bytes) HOLDS(sizeof(record::field) == (bytes))
#else
#define HOLDS(condition) _Static_assert(condition, #condition)
#define WIDE(record, field, bytes) HOLDS(sizeof(((record *)0)->field) == (bytes))
#endif

#define AT(record, field, offset) HOLDS(offsetof(record, field) == (offset))

/* lfinfo: the same 256 bytes everywhere. */
AT(lfinfo, ysize, 0);
AT(lfinfo, xsize, 4);
AT(lfinfo, yres, 8);
AT(lfinfo, xres, 16);
AT(lfinfo, bits, 24);
AT(lfinfo, nctab, 28);
AT(lfinfo, type_name, 32);
WIDE(lfinfo, type_name, 16);
AT(lfinfo, major, 48);
AT(lfinfo, minor, 52);
AT(lfinfo, maxruns, 56);
AT(lfinfo, error, 60);
AT(lfinfo, rest, 64);
HOLDS(sizeof(lfinfo) == 256);

/* lfrecord: the same 256 bytes everywhere. */
AT(lfrecord, tracks, 0);
AT(lfrecord, pitch, 4);
AT(lfrecord, xlength, 8);
AT(lfrecord, ylength, 12);
AT(lfrecord, subtype, 16);
AT(lfrecord, pixels, 20);
AT(lfrecord, param_a, 24);
AT(lfrecord, flags, 28);
AT(lfrecord, zero, 32);
AT(lfrecord, param_f, 48);
AT(lfrecord, xres, 52);
AT(lfrecord, magic, 56);
AT(lfrecord, rest, 60);
HOLDS(sizeof(lfrecord) == 256);

/* vorhdr: the head of a file. */
AT(vorhdr, tracks, 0);
AT(vorhdr, xpitch, 4);
AT(vorhdr, xlength, 8);
AT(vorhdr, ylength, 12);
AT(vorhdr, type, 16);
AT(vorhdr, pixels, 20);
AT(vorhdr, param_a, 24);
AT(vorhdr, hflags, 28);
AT(vorhdr, param_b, 32);
AT(vorhdr, param_c, 36);
AT(vorhdr, param_d, 40);
AT(vorhdr, param_e, 44);
AT(vorhdr, param_f, 48);
AT(vorhdr, yresf, 52);
AT(vorhdr, byteorder, 56);
AT(vorhdr, stopoff_lo, 60);
AT(vorhdr, stopcount, 64);
AT(vorhdr, hmaxruns, 68);
AT(vorhdr, seekoff_lo, 72);
AT(vorhdr, reserved1, 76);
AT(vorhdr, ctaboff_lo, 92);
AT(vorhdr, cinfooff_lo, 96);
AT(vorhdr, ctabcount, 100);
AT(vorhdr, version, 104);
AT(vorhdr, tagoff_lo, 108);
AT(vorhdr, tagcount, 112);
AT(vorhdr, reserved2, 116);
AT(vorhdr, stopoff_hi, 124);
AT(vorhdr, seekoff_hi, 128);
AT(vorhdr, ctaboff_hi, 132);
AT(vorhdr, cinfooff_hi, 136);
AT(vorhdr, tagoff_hi, 140);
AT(vorhdr, hcrc, 144);
AT(vorhdr, reserved3, 148);
AT(vorhdr, xpitch64, 160);
AT(vorhdr, ypitch64, 168);
AT(vorhdr, reserved4, 176);
AT(vorhdr, letters, 252);
HOLDS(sizeof(vorhdr) == VOR_HDRSIZE);

/* A tag as it lies in a file, its payload directly behind. */
AT(vortag, tagsize, 0);
AT(vortag, tagname, 4);
WIDE(vortag, tagname, VOR_TAGNAME);
HOLDS(sizeof(vortag) == VOR_TAGHEAD);

/* Runs are walked as pairs of words. */
AT(lfrun, length, 0);
AT(lfrun, colour, 4);
HOLDS(sizeof(lfrun) == 8);

/* The colour info directly behind the colour table. */
HOLDS(offsetof(xvor_t, colorinfo) == offsetof(xvor_t, ctable) + 2 * LF_NCOLORS);

/* ckvor_t: a pointer, then words, with the pointers among them at their natural places. */
AT(ckvor_t, filename, 0);
AT(ckvor_t, save_fwmax, sizeof(void *));
AT(ckvor_t, ncolors, sizeof(void *) + 4);
AT(ckvor_t, colors, sizeof(void *) + 8);
AT(ckvor_t, tracks, 2 * sizeof(void *) + 8);
AT(ckvor_t, pixels, 2 * sizeof(void *) + 12);
AT(ckvor_t, swapped, 2 * sizeof(void *) + 16);
AT(ckvor_t, avgruns, 2 * sizeof(void *) + 20);
AT(ckvor_t, fwmax, 2 * sizeof(void *) + 24);
AT(ckvor_t, mincolor, 2 * sizeof(void *) + 28);
AT(ckvor_t, maxcolor, 2 * sizeof(void *) + 32);
AT(ckvor_t, status, 2 * sizeof(void *) + 36);
AT(ckvor_t, progress, 2 * sizeof(void *) + 40);
HOLDS(sizeof(ckvor_t) == 3 * sizeof(void *) + 40);

/* rle_row: eight words of the machine. */
AT(rle_row, name, 0);
AT(rle_row, skip, sizeof(void *));
AT(rle_row, read, 2 * sizeof(void *));
AT(rle_row, read_ns, 3 * sizeof(void *));
AT(rle_row, rev_read, 4 * sizeof(void *));
AT(rle_row, rev_read_ns, 5 * sizeof(void *));
AT(rle_row, write, 6 * sizeof(void *));
AT(rle_row, limit, 7 * sizeof(void *));

/* lffmt_t: what a module hands out; one pointer a slot. */
AT(lffmt_t, name, 0);
AT(lffmt_t, suffix, sizeof(void *));
AT(lffmt_t, suffixlist, 2 * sizeof(void *));
AT(lffmt_t, module, 3 * sizeof(void *));
AT(lffmt_t, init, 4 * sizeof(void *));
AT(lffmt_t, detect, 5 * sizeof(void *));
AT(lffmt_t, wrsetup, 6 * sizeof(void *));
AT(lffmt_t, reserved1, 7 * sizeof(void *));
AT(lffmt_t, reserved2, 8 * sizeof(void *));
AT(lffmt_t, whdr, 9 * sizeof(void *));
AT(lffmt_t, close, 10 * sizeof(void *));
AT(lffmt_t, check, 11 * sizeof(void *));
AT(lffmt_t, seektabfn, 12 * sizeof(void *));
AT(lffmt_t, reserved3, 13 * sizeof(void *));
HOLDS(sizeof(lffmt_t) == 14 * sizeof(void *));
