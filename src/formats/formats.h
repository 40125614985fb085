/* The table of track file formats.
 *
 * A format is a record of functions; the table holds pointers to the records for the life of the
 * process, and a record's row is a stable number. Row 0 is the native format. Formats are
 * registered at start-up, on one thread.
 */
#ifndef VOR_FORMATS_FORMATS_H
#define VOR_FORMATS_FORMATS_H

#include <stdint.h>

#include "trackfile/lf.h"
#include "vor_api.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct lffmt_t lffmt_t;

/* A format. The record and the texts that it points at must stay for the life of the process. */
struct lffmt_t {
    const char *name;       /* key of the table */
    const char *suffix;     /* default file suffix with its dot */
    const char *suffixlist; /* suffixes accepted, separated by colons; NULL: `suffix` alone */
    void *module;           /* shared object that holds the record, or NULL */

    /* Optional. Called once at registration; a negative result refuses the registration. */
    int32_t (*init)(void);

    /* Recognises a file from its first `size` bytes (up to LF_HEADSIZE) and sets the handle up for
     * reading: fxsize, fysize, fxres, fyres, dataoff, subtype, bits, and fmtdata as needed.
     * 0: recognised. -1: of this format but unreadable, after a report; nothing stays allocated.
     * Anything else: not of this format, the handle is as it was. The file may be repositioned; the
     * core seeks to dataoff afterwards unless that is negative. NULL: cannot be read. */
    int32_t (*detect)(xvor_t *h, const uint8_t *head, int32_t size);

    /* Sets a new file up for writing: dataoff, bits, fmtdata. NULL: cannot be written. */
    int32_t (*wrsetup)(xvor_t *h);

    void *reserved1;
    void *reserved2;

    /* Optional. Writes the headers at the close of a handle that writes or updates, after the last
     * flush. 0, or negative for a failure. */
    int32_t (*whdr)(xvor_t *h);

    /* Optional. Releases fmtdata. Called at lfclose, and when an open fails behind a successful
     * set-up. A negative result makes lfclose return -1. */
    int32_t (*close)(xvor_t *h);

    /* Called by lfcheck. Assigns readtrack, skiptrack and writetrack as the access needs, through
     * lfrw_functions or by itself, and if it wants seekfn, fillbuf, flushbuf, special. May be
     * called again after a late change of the geometry. 0, or negative for a failure. */
    int32_t (*check)(xvor_t *h);

    /* Optional. Fills seektab (xsize entries) from the file. Positive: done. 0: no table there.
     * Negative: failure, after a report. */
    int32_t (*seektabfn)(xvor_t *h);

    void *reserved3;
};

/* The native format, row 0. */
extern VOR_API lffmt_t vor_cvtformat;

/* Registers a format; NULL only starts the table. Result: its row, that of an earlier record of the
 * same name, 0 for NULL, or -1 after a report (code 5, or code 15 "module init failed"). */
VOR_API int32_t lfregisterfmt(lffmt_t *descriptor);

typedef void (*lf_init_cb)(lffmt_t *descriptor);

/* Sets the one function that hears of each newly registered format; NULL for none. Result: 0. */
VOR_API int32_t lfsetinitcb(lf_init_cb callback);

/* The record of a row, or NULL for a row that does not exist. */
VOR_API lffmt_t *lfdescriptor(int32_t row);

/* The row of the format of that exact name, or -1. */
VOR_API int32_t lffmtindex(const char *name);

/* Name, default suffix and list of suffixes of a row; NULL for a row that does not exist. */
VOR_API const char *lffmtname(int32_t row);
VOR_API const char *lffmtsuffix(int32_t row);
VOR_API const char *lffmtsuffixlist(int32_t row);

/* Position, from 1, of the file name's suffix in the row's list, compared with case; 0 if only an
 * empty item fits; -1 if nothing fits. */
VOR_API int32_t lfsuffixindex(int32_t row, const char *file_name);

/* The row whose suffixes fit the name best, or -1. Warns if several rows take any suffix. */
VOR_API int32_t lffmtguess(const char *file_name);

/* The last "." in the base name, or NULL; leading dots of the base name do not count. */
VOR_API const char *getsuffix(const char *file_name);

/* A type number is a row shifted left by 8, or-ed with an 8-bit minor number. */
VOR_API int32_t lffmajor(int32_t type);
VOR_API int32_t lffminor(int32_t type);
VOR_API int32_t lffdev(int32_t row, int32_t minor_number);

#ifdef __cplusplus
}
#endif

#endif
