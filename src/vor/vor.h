/* The native format: header layout, special requests, tags, and the file checker.
 *
 * docs/vor-format.md tells the file byte by byte.
 */
#ifndef VOR_VOR_VOR_H
#define VOR_VOR_VOR_H

#include <stdint.h>

#include "trackfile/lf.h"
#include "vor_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- header --------------------------------------------------------------------------------- */

/* The first 256 bytes of a native file. Offsets count from the start of the file and come as a low
 * and a high word, the latter valid under HF_OFF64. */
typedef struct vorhdr {
    uint32_t tracks;
    float xpitch;    /* mm between tracks: 1 / xres */
    float xlength;   /* mm across the tracks; written, never read */
    float ylength;   /* mm along a track; written, never read */
    uint32_t type;   /* VT_ track format, or-ed with VT_DEFLATED; also the handle's subtype */
    uint32_t pixels; /* per track */
    float param_a;   /* param_a to param_f: stored for the programs, each valid under its */
    uint32_t hflags; /*   HF_PARAM_ flag */
    float param_b;
    float param_c;
    uint32_t param_d;
    int32_t param_e;
    float param_f;
    float yresf;        /* pixels per mm along a track */
    uint32_t byteorder; /* VOR_BYTEORDER under HF_BYTEORDER */
    uint32_t stopoff_lo;
    uint32_t stopcount;
    uint32_t hmaxruns; /* codes of the longest track, under HF_MAXRUNS */
    uint32_t seekoff_lo;
    uint8_t reserved1[16]; /* zero in a new file, kept on update; so are the other reserved ones */
    uint32_t ctaboff_lo;
    uint32_t cinfooff_lo;
    uint32_t ctabcount; /* 0 under HF_CTABS: the old form of the section */
    uint32_t version;   /* 2; read as a signed number */
    uint32_t tagoff_lo;
    uint32_t tagcount; /* read as a signed number */
    uint8_t reserved2[8];
    uint32_t stopoff_hi;
    uint32_t seekoff_hi;
    uint32_t ctaboff_hi;
    uint32_t cinfooff_hi;
    uint32_t tagoff_hi;
    uint32_t hcrc; /* CRC-32 of the other 252 bytes as they stand in the file, or 0 */
    uint8_t reserved3[12];
    double xpitch64; /* mm: 1 / xres and 1 / yres, under HF_RES64 */
    double ypitch64;
    uint8_t reserved4[76];
    char letters[4]; /* "KEL" and a zero byte */
} vorhdr;

#define VOR_HDRSIZE 256
#define VOR_VERSION 2
#define VOR_BYTEORDER UINT32_C(0x12345678)
#define VOR_LETTERS "KEL"

/* The low nibble of `type` is the track format, bits 4 to 7 the compression. */
#define VT_FW16 UINT32_C(1)
#define VT_FW8 UINT32_C(2)
#define VT_FW88 UINT32_C(3)
#define VT_FORMAT UINT32_C(0x0F)
#define VT_COMPRESSION UINT32_C(0xF0)
#define VT_DEFLATED UINT32_C(0x40) /* each track a zlib stream (RFC 1950) of its own */

#define HF_PARAM_A UINT32_C(0x1)
#define HF_PARAM_C UINT32_C(0x2)
#define HF_PARAM_B UINT32_C(0x4)
#define HF_PARAM_D UINT32_C(0x8)
#define HF_PARAM_F UINT32_C(0x10)
#define HF_PARAM_E UINT32_C(0x20)
#define HF_CRC UINT32_C(0x40)        /* hcrc is to be compared */
#define HF_BYTEORDER UINT32_C(0x100) /* byteorder is to be compared */
#define HF_STOPS UINT32_C(0x200)
#define HF_MAXRUNS UINT32_C(0x400)
#define HF_SEEKTAB UINT32_C(0x800)
#define HF_CTABS UINT32_C(0x2000)
#define HF_CINFO UINT32_C(0x4000)
#define HF_TILED UINT32_C(0x8000)   /* refused */
#define HF_SEEK64 UINT32_C(0x10000) /* entries of the seek table are 64 bits wide, else 32 */
#define HF_OFF64 UINT32_C(0x20000)  /* the high words of the offsets are valid */
#define HF_RES64 UINT32_C(0x40000)  /* xpitch64 and ypitch64 are valid */

/* ---- special requests ----------------------------------------------------------------------- */

/* Requests of lfspecial that a native handle answers once it is checked. 0 unless told otherwise.
 */
enum {
    LFS_VOR_HEADER = 1,      /* vorhdr: the header image, in the machine's byte order */
    LFS_SELECT_CTAB = 2,     /* int32_t: takes that colour table; 1 if the file has none */
    LFS_SET_CTAB = 3,        /* vor_ctabreq: stores a colour table; 1 if there are none and none
                                is to be made; not in read mode */
    LFS_SET_PARAM_F = 4,     /* double */
    LFS_SET_PARAM_A = 5,     /* double */
    LFS_SET_PARAM_E = 6,     /* int32_t */
    LFS_SET_PARAM_D = 7,     /* uint32_t */
    LFS_GET_PARAM_F = 8,     /* double; the LFS_GET_PARAM_ ones give LF_UNHANDLED when not set, */
    LFS_GET_PARAM_A = 9,     /*   which lfspecial turns into -1 with code 7 */
    LFS_GET_PARAM_E = 10,    /* int32_t */
    LFS_GET_PARAM_D = 11,    /* uint32_t */
    LFS_FIND_TAG = 12,       /* vor_tagreq: the record of that name */
    LFS_ADD_TAG = 13,        /* vortag: adds or replaces; not in read mode */
    LFS_DELETE_TAG = 14,     /* const char: the name; not in read mode */
    LFS_NTH_TAG = 15,        /* vor_tagslot: the record of a slot */
    LFS_COPY_TAGS = 16,      /* xvor_t: takes over the tags of another native handle */
    LFS_SET_PARAM_C = 17,    /* double */
    LFS_SET_PARAM_B = 18,    /* double */
    LFS_GET_PARAM_C = 19,    /* double */
    LFS_GET_PARAM_B = 20,    /* double */
    LFS_SET_COLOR_INFO = 21, /* vor_colorinfo */
    LFS_GET_COLOR_INFO = 22, /* vor_colorinfo */
    LFS_IMAGE_HASH = 25      /* 16 bytes: the image hash */
};

#define VOR_MAXCTABS 64 /* colour tables that LFS_SET_CTAB can reach */

typedef struct vor_ctabreq {
    int32_t index;         /* 0 to VOR_MAXCTABS - 1 */
    int32_t create;        /* not 0: make the tables if the handle has none */
    const uint16_t *table; /* 256 entries, copied */
} vor_ctabreq;

typedef struct vor_colorinfo {
    uint32_t magic; /* VOR_COLORINFO_MAGIC, else the request is refused */
    uint32_t count; /* bytes, 0 to 256 */
    uint8_t bytes[256];
} vor_colorinfo;

#define VOR_COLORINFO_MAGIC UINT32_C(0x10008)

/* ---- tags ----------------------------------------------------------------------------------- */

/* A tag: this head, and tagsize - VOR_TAGNAME bytes of payload directly behind it. */
typedef struct vortag {
    uint32_t tagsize; /* payload bytes + VOR_TAGNAME; at least that, and a multiple of 4 */
    char tagname[32]; /* ended by a zero byte, not empty */
} vortag;

#define VOR_TAGNAME 32         /* bytes of tagname */
#define VOR_TAGHEAD 36         /* bytes of the head */
#define VOR_MAXTEXTTAG 2000000 /* largest payload that a file of tags may bring, in bytes */

/* The records given out belong to the handle, and hold until the tag is replaced or deleted. */
typedef struct vor_tagreq {
    const char *name;
    const vortag *record; /* out */
} vor_tagreq;

typedef struct vor_tagslot {
    int32_t index;        /* from 0; the request fails behind the last slot */
    const vortag *record; /* out; NULL for a free slot */
} vor_tagslot;

/* Adds the tags of a file to a handle that writes or updates. A line ":N:name" opens a binary tag,
 * with N bytes (1 to VOR_MAXTEXTTAG, a multiple of 4) directly behind the line; any other line is
 * the name of a text tag, whose lines end at an empty one. 0, or -1: the file cannot be read, is
 * malformed, or a tag was refused; tags added so far stay. */
VOR_API int32_t lfadd_ftags(xvor_t *h, const char *file_name);

/* Writes the tags that have a payload to a file that lfadd_ftags reads. Result: their number, or
 * -1. */
VOR_API int32_t lfdump_ftags(xvor_t *h, const char *file_name);

/* ---- checker -------------------------------------------------------------------------------- */

/* Values of `status` of a check. */
enum {
    CKV_GOOD = 0,
    CKV_NOTOPEN = 1,    /* the file cannot be opened */
    CKV_BADWALK = 2,    /* the walk ended before the last track, or on a wrong track length */
    CKV_NOTSTORED = 3,  /* storing the result failed */
    CKV_READ = 4,       /* read failure */
    CKV_MEMORY = 5,     /* no memory */
    CKV_STOPPED = 6,    /* the progress reporter asked to stop */
    CKV_EMPTY = 7,      /* the file is empty */
    CKV_NOSIZE = 8,     /* the image has no size */
    CKV_FORMAT = 9,     /* the format is not usable */
    CKV_BADCOLOR = 10,  /* a colour code beyond CKV_COLORS - 1 */
    CKV_BADLENGTH = 11, /* a track's pixels do not add up */
    CKV_PARAMETER = 12  /* bad parameters */
};

#define CKV_COLORS 2048 /* colour codes that are counted */

/* Stages that a progress reporter hears. */
enum { CKV_START = 0, CKV_TRACK = 1, CKV_END = 2 };

typedef struct ckvor_t ckvor_t;

/* Hears of the walk: CKV_START with the number of tracks, CKV_TRACK with a track, CKV_END. A
 * negative result at CKV_TRACK stops the walk. */
typedef int32_t (*ckvor_progress)(int32_t stage, ckvor_t *record, int32_t value);

struct ckvor_t {
    const char *filename;    /* in: file to check */
    int32_t save_fwmax;      /* in: 1 stores the result in the file, 0 does not */
    int32_t ncolors;         /* in: entries of `colors`, at least 256 */
    uint32_t *colors;        /* in, out: pixels per colour code, cut at 0x7FFFFFFF; or NULL */
    int32_t tracks;          /* out: tracks in the file */
    int32_t pixels;          /* out: pixels per track */
    int32_t swapped;         /* out: 1 if the file's byte order is the other one */
    int32_t avgruns;         /* out: average codes a track */
    int32_t fwmax;           /* out: codes of the longest track */
    int32_t mincolor;        /* out: lowest colour code in use; 2047 for none */
    int32_t maxcolor;        /* out: highest colour code in use; 0 for none */
    int32_t status;          /* out: CKV_ code */
    ckvor_progress progress; /* in: NULL reports to the standard error stream */
};

/* Checks a raster file: proves that each track adds up, counts codes and colours. `full` not 0, or
 * `colors`, forces the walk; otherwise a native header that can be trusted is believed. For one
 * thread at a time. 0, or -1 with `status` above 0. */
VOR_API int32_t ckvor(ckvor_t *record, int32_t full);

#ifdef __cplusplus
}
#endif

#endif
