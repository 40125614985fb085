/* The table of track file formats.
 *
 * A format is a record of functions; the table holds pointers to the records for the life of the
 * process, and a record's row is a stable number. Row 0 is the native format. Formats are
 * registered at start-up, on one thread.
 *
 * The format NAME may be in a module: a shared object NAME_cvtformat, which so_open finds and which
 * exports its lffmt_t under that name. Modules are loaded
 *
 * - by lfloadfmt, and so by lf_parse_type;
 * - when the table starts: those of KEL_AUTOLOAD in the environment, names with colons in between;
 * - by lf_fmt_setup;
 * - when lfopen or lffiletype is given a file name: that of its suffix, which is cut behind its
 *   last letter or digit. The parameter file ".formats" (config_file.h), read once, tells which: a
 *   line is the name of a format, blanks, and suffixes with their dots and colons in between, and
 *   "#" begins a comment. The first line that lists the suffix, in any case of its letters,
 *   counts; a suffix that no line lists loads nothing. Where there is no such file, the suffix in
 *   lower-case letters is the format's name, unless there is a colon in it: such a suffix loads
 *   nothing, and nothing is reported. Suffixes of 80 characters or more load nothing. A failure is
 *   reported by lfloadfmt, and the file is opened with the formats at hand. KEL_NO_AUTOLOAD in the
 *   environment, of any value, switches this way off.
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
 * same name, 0 for NULL, or -1 after a report (code 5, or code 15: "format without a name", "module
 * init failed"). */
VOR_API int32_t lfregisterfmt(lffmt_t *descriptor);

typedef void (*lf_init_cb)(lffmt_t *descriptor);

/* From now on `callback` is called with every format that comes into the table, in place of an
 * earlier callback; NULL: nobody is called. Result: 0. */
VOR_API int32_t lfsetinitcb(lf_init_cb callback);

/* The record of a row, or NULL for a row that does not exist. */
VOR_API lffmt_t *lfdescriptor(int32_t row);

/* The row of the format of that exact name, or -1. */
VOR_API int32_t lffmtindex(const char *name);

/* Name, default suffix and list of suffixes of a row; NULL for a row that does not exist. */
VOR_API const char *lffmtname(int32_t row);
VOR_API const char *lffmtsuffix(int32_t row);
VOR_API const char *lffmtsuffixlist(int32_t row);

/* Looks the file name's suffix up in the row's list, case and all. Result: -1 if the list does not
 * take the name; 0 if it does so by an empty item alone, which takes any; else the number of the
 * item that is the suffix, the first being 1. */
VOR_API int32_t lfsuffixindex(int32_t row, const char *file_name);

/* The row whose suffixes fit the name best, or -1. Warns if several rows take any suffix. */
VOR_API int32_t lffmtguess(const char *file_name);

/* The last "." in the base name, or NULL; leading dots of the base name do not count. */
VOR_API const char *getsuffix(const char *file_name);

/* Loads the module of the format `name`, unless a format of that name is in the table, and
 * registers it. Result: its row, or -1 after a report without a handle: code 2 "no such format: %s"
 * if there is no such module, it does not load or its name is too long (512 bytes with its end);
 * code 2 "cannot find init symbol (bad module?)" under the format's name; what lfregisterfmt
 * reports. A module that failed is closed again. */
VOR_API int32_t lfloadfmt(const char *name);

/* Sets formats up by the settings (rc.h), at its first call alone: the format "fw32" is loaded,
 * then those of KEL_PRELOAD, names of up to 255 characters with colons in between; failures have
 * been reported, and are ignored. VOR_DEFLATE_ENABLED, by default true, tells lf_parse_type whether
 * native files are to be compressed. DEFAULT_TIFF_ORIENTATION, a number from 1 to 8 or a name
 * ("topleft", "topright", "botright", "botleft", "lefttop", "righttop", "rightleft", "leftbot", in
 * that order and in any case), is what each handle that writes the format "tif" is told by its
 * request 4097 as it is opened; without a setting it is 8, and a bad one is logged. To be called at
 * start-up, when the rc file has been read. Result: 1 at the first call, then 0. */
VOR_API int32_t lf_fmt_setup(void);

/* The type number that a user's text means; `row` and `minor_number` stand where it does not say.
 * The text, which may be NULL, is one of
 *
 * - a word, in any case: "2d" or "lw" for minor number 1 of the native format, "2s", "bw" or "bi"
 *   for 2, "3d", "ct", "gray" or "grey" for 3, "zbi" for 0x42, "zgray" or "zgrey" for 0x43;
 * - a colon and a word, which tells the minor number alone;
 * - the name of a format, which is loaded if need be (lfloadfmt), and a colon and a number behind
 *   it, or not: the number is the minor one. "FIFO" stands for "fw32";
 * - a number, with a colon before it or not: the minor number.
 *
 * Numbers are decimal, octal behind "0" or hexadecimal behind "0x". Where VOR_DEFLATE_ENABLED is
 * false, the minor number of a native file loses its compression bits (0xF0). Runs lf_fmt_setup.
 * Result: the type number; -1 for any other text, a name of 255 characters or more, a format that
 * cannot be had and a minor number above 255. Nothing but the loading reports. */
VOR_API int32_t lf_parse_type(const char *text, int32_t row, int32_t minor_number);

/* Type numbers: the low 8 bits are the minor number, the bits above them the row. */
VOR_API int32_t lffmajor(int32_t type);
VOR_API int32_t lffminor(int32_t type);
VOR_API int32_t lffdev(int32_t row, int32_t minor_number);

#ifdef __cplusplus
}
#endif

#endif
