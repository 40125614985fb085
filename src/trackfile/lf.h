/* Track files: open, geometry, reading and writing of tracks, seek, track buffers, errors.
 *
 * A track file is a raster image kept as a sequence of tracks. A track is one line of pixels along
 * the circumference of the cylinder; X numbers the tracks, Y runs along a track. All calls work on
 * a handle from lfopen or lfdopen. The geometry may be asked for at once; tracks move after
 * lfcheck, which the first lfread or lfwrite makes by itself.
 *
 * Results are 0 or a positive count on success and -1 on failure unless told otherwise. A failure
 * has been reported through lferror when the call returns, and its code stands in the handle.
 * A handle is used by one thread at a time.
 */
#ifndef VOR_TRACKFILE_LF_H
#define VOR_TRACKFILE_LF_H

#include <stddef.h>
#include <stdint.h>

#include "vor_api.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct xvor_t xvor_t;
typedef struct trackbuf trackbuf;

/* ---- modes and state ------------------------------------------------------------------------ */

/* The access of a handle, the two low bits of its mode. LF_BADACCESS opens, and fails in lfcheck.
 */
enum { LF_READ = 0, LF_WRITE = 1, LF_UPDATE = 2, LF_BADACCESS = 3 };

/* The further bits of a mode, and of the field `flags` of a handle. */
#define LF_ACCMODE UINT32_C(0x3)          /* mask of the access */
#define LF_GROW UINT32_C(0x4)             /* write: number of tracks not known, the tables grow */
#define LF_FORCETYPE UINT32_C(0x8)        /* take the type argument, do not detect */
#define LF_MEASURE UINT32_C(0x10)         /* measure maxruns while the seek table is built */
#define LF_RAWFW32 UINT32_C(0x20)         /* open as format "fw32", implies LF_FORCETYPE */
#define LF_ASIS UINT32_C(0x40)            /* window as given, every track coded literally */
#define LF_SEQUENTIAL UINT32_C(0x100)     /* never build a seek table: seek by skipping */
#define LF_STOPS UINT32_C(0x200)          /* keep a stop table */
#define LF_NOCRC UINT32_C(0x400)          /* do not compute the header checksum */
#define LF_NOCOLOR UINT32_C(0x800)        /* leave colour tables and colour info alone */
#define LF_YMIRROR UINT32_C(0x1000)       /* tracks are read and written reversed along Y */
#define LF_NEEDSEEKTAB UINT32_C(0x2000)   /* state: lfcheck builds the seek table at once */
#define LF_DIRTY UINT32_C(0x4000)         /* header data changed */
#define LF_SWAPPED UINT32_C(0x8000)       /* the file's byte order is the other one */
#define LF_SWAP16 UINT32_C(0x10000)       /* the buffer is swapped in 16-bit units */
#define LF_BITMAP UINT32_C(0x20000)       /* tracks are rows of pixel bytes */
#define LF_TRKBEGIN UINT32_C(0x40000)     /* tracks begin with a zero-length code */
#define LF_TRKEND UINT32_C(0x80000)       /* tracks end with a zero-length code */
#define LF_LAXTRACK UINT32_C(0x100000)    /* do not insist on track ends and pixel sums */
#define LF_INTERLEAVED UINT32_C(0x200000) /* state: bitmap pixels lie nctab bytes apart */
#define LF_EOF UINT32_C(0x400000)         /* state: the buffer refuses to fill */
#define LF_CHECKED UINT32_C(0x800000)     /* state: lfcheck has passed */
#define LF_XMIRROR UINT32_C(0x1000000)    /* track order is reversed on read */
#define LF_BADHDRCRC UINT32_C(0x2000000)  /* state: the header checksum did not match */
#define LF_STATEBITS UINT32_C(0x02E02000) /* bits that a caller cannot set in a mode */

/* ---- error codes ---------------------------------------------------------------------------- */

/* Codes of lferror, as they stand in `error` of a handle and of lfinfo. */
enum {
    LFE_NONE = 0,
    LFE_COUNT = 1,     /* "error count: %d" with the argument */
    LFE_OS = 2,        /* text of the last operating system error */
    LFE_TRACK = 3,     /* "invalid track number: %d" with the argument */
    LFE_REPEAT = 4,    /* "no track to repeat" */
    LFE_MEMORY = 5,    /* "out of memory" */
    LFE_BUFFER = 6,    /* "no buffer allocated" */
    LFE_REQUEST = 7,   /* "request not supported" */
    LFE_OPEN = 8,      /* "open failed: " and the operating system's text */
    LFE_NOREAD = 9,    /* "read not supported" */
    LFE_NOWRITE = 10,  /* "write not supported" */
    LFE_FORMAT = 11,   /* "unknown file format" */
    LFE_TRKBEGIN = 12, /* "invalid begin of track" */
    LFE_TRKEND = 13,   /* "invalid end of track" */
    LFE_CORRUPT = 14,  /* "file corrupted" */
    LFE_ARGUMENT = 15, /* "invalid argument" */
    LFE_EOF = 16,      /* "unexpected EOF: " and the operating system's text */
    LFE_WARNING = 17,  /* no text of its own; not stored in the handle */
    LFE_STORED = -1    /* stands for the code stored in the handle */
};

/* ---- records -------------------------------------------------------------------------------- */

/* What lfgetinfo tells of a file: 256 bytes on every machine. */
typedef struct lfinfo {
    int32_t ysize;      /* pixels per track */
    int32_t xsize;      /* tracks */
    double yres;        /* resolution along a track, pixels per mm */
    double xres;        /* resolution across the tracks, pixels per mm */
    int32_t bits;       /* bits per pixel */
    int32_t nctab;      /* colour tables */
    char type_name[16]; /* format name, cut to 15 characters */
    int32_t major;      /* row of the format table */
    int32_t minor;      /* subtype, its meaning belongs to the format */
    int32_t maxruns;    /* runs of the longest track, 0 if unknown */
    int32_t error;      /* last error code */
    uint8_t rest[192];  /* zero */
} lfinfo;

/* One run of a track: length in output pixels, and a colour code. */
typedef struct lfrun {
    uint32_t length;
    uint32_t colour;
} lfrun;

/* The kinds of a track buffer, bits of its `mode`. */
#define GT_BITMAP UINT32_C(0x1)  /* gtgrow counts bytes of a bitmap row */
#define GT_FOREIGN UINT32_C(0x2) /* the storage belongs to someone else, nothing is allocated */

/* A track in memory: runs, or the pixel bytes of a bitmap row. The storage holds size + 2 units of
 * 8 bytes: a guard unit, the data, a guard unit. */
struct trackbuf {
    xvor_t *owner;      /* handle that filled it last */
    int32_t imgtrk;     /* image track held; -1 for none */
    uint32_t size;      /* capacity in units of 8 bytes, one run each */
    int32_t nruns;      /* runs in use; pixels of a bitmap row */
    lfrun *data;        /* first run; a reversed reader leaves it further along */
    lfrun *base;        /* start of the storage, owned unless GT_FOREIGN */
    uint32_t mode;      /* GT_ bits */
    uint32_t tflags[3]; /* the application's own; only copied */
    uint32_t serial;    /* the library's own: the owner's serial at that time */
};

#define GT_FRONT_GUARD UINT32_C(0xAABEEF55) /* second word of the first unit */
#define GT_END_GUARD UINT32_C(0xDEADBEEF)   /* last word of the last unit */

/* Kinds of a stop table entry; its low 30 bits are a track number. */
#define LF_STOP_FIRST UINT32_C(0)           /* first track of a marked stretch */
#define LF_STOP_LAST UINT32_C(0x80000000)   /* last track of a marked stretch */
#define LF_STOP_SINGLE UINT32_C(0x40000000) /* a stretch of this one track */
#define LF_STOP_TRACK UINT32_C(0x3FFFFFFF)  /* mask of the track number */
#define LF_STOP_NONE UINT32_C(0xFFFFFFFF)   /* not marked, in the table of a file being written */

/* The functions of a handle. A format's `check` sets them, as a rule through lfrw_functions. */

/* Decodes the track at the buffer position into `t`: ysize output pixels of the clip window. Leaves
 * the position at the next track. Result: runs, or -1 after a report. */
typedef int32_t (*lf_readtrack_fn)(xvor_t *h, trackbuf *t);
/* Optional. Called by a codec whose track came out `missing` pixels short (negative: too long). A
 * negative result makes the read fail. */
typedef int32_t (*lf_shorttrack_fn)(xvor_t *h, trackbuf *t, int32_t missing);
/* Steps over the rest of a track from its pixel y; y of 0 stands for the track's very start.
 * Result: codes stepped over, or -1 after a report. */
typedef int32_t (*lf_skiptrack_fn)(xvor_t *h, int32_t y);
/* Codes one track into the buffer and raises maxruns. Result: 0, or -1 after a report. It may put a
 * blank mark into the track's seektab entry in place of data. */
typedef int32_t (*lf_writetrack_fn)(xvor_t *h, trackbuf *t);
/* The format's part of lfspecial. -2 leaves the request to the library. */
typedef int32_t (*lf_special_fn)(xvor_t *h, int32_t request, void *arg);
/* A format's own seek, in place of the seek table. 0 positioned, k + 1 blank of colour k, -1. */
typedef int32_t (*lf_seek_fn)(xvor_t *h, int32_t track);
/* Refills the buffer: bufpos, bufptr, bufend. Result: bytes, 0 at the end of the data, or -1. */
typedef int32_t (*lf_fill_fn)(xvor_t *h);
/* Writes the buffer out. Result: 0 or -1. */
typedef int32_t (*lf_flush_fn)(xvor_t *h);

#define LF_MAGIC "seV7"  /* the bytes of `magic` in an open handle */
#define LF_BUFSIZE 16384 /* bytes of the buffer at open */
#define LF_NCOLORS 256   /* entries of `ctable` */
#define LF_HEADSIZE 1024 /* bytes of a file's head that `detect` is given */

/* An open track file. Format drivers and codecs reach into it; programs use the calls below. */
struct xvor_t {
    uint32_t magic;    /* LF_MAGIC once the open has gone through */
    uint32_t flags;    /* mode and state, LF_ bits */
    int32_t fmt;       /* row of the format table (major type number) */
    int32_t subtype;   /* minor type number; its meaning belongs to the format */
    int32_t nctab;     /* colour tables; also the pixel stride of interleaved bitmaps */
    int32_t bits;      /* bits per pixel, set by the format */
    int32_t ctabno;    /* colour table now in `ctable`; also the plane of interleaved bitmaps */
    int32_t fd;        /* file descriptor; negative for none */
    uint32_t fdev;     /* device number of the file */
    char *name;        /* copy of the file name, owned */
    double xres, yres; /* resolution in force, pixels per mm */
    int32_t fysize, fxsize; /* size in the file: pixels per track, tracks */
    double fxres, fyres;    /* resolution in the file, pixels per mm */
    int32_t rowbytes;       /* bytes of a track in a bitmap format, set by the format */
    uint8_t *buf;           /* byte buffer, owned; a format may replace it and its size */
    uint32_t bufsize;
    uint8_t *bufptr;             /* next byte to read or write */
    uint8_t *bufend;             /* end of the valid bytes (read) or of the buffer (write) */
    int64_t bufpos;              /* file offset of the first byte of buf */
    int64_t dataoff;             /* file offset of the first track, set by the format */
    int64_t clipoff;             /* file offset of the window's first track; -1 while unknown */
    int32_t maxruns;             /* codes of the longest track; 0 or 1 when unknown */
    int32_t imgtrk;              /* track number in the file at the read position */
    int32_t track;               /* output track number; -1 after open for reading */
    uint16_t ctable[LF_NCOLORS]; /* colour table in force: file code to output code */
    uint8_t colorinfo[256];      /* colour info of the format, directly behind ctable */
    int32_t xa, ya, xe, ye;      /* clip window in image pixels; the ends are exclusive */
    int32_t ysize, xsize;        /* output pixels per track, output tracks */
    int32_t *otrack;   /* output track to image track, xsize + 1 entries, owned; or NULL */
    int32_t seekcap;   /* entries of seektab */
    int64_t *seektab;  /* file offset or blank mark of each track, owned; or NULL */
    uint32_t *stoptab; /* stop table, owned; or NULL */
    uint32_t stopsize; /* its entries */
    void *fmtdata;     /* the format's private record, released by its `close` */
    lf_readtrack_fn readtrack;
    lf_shorttrack_fn shorttrack;
    lf_skiptrack_fn skiptrack;
    lf_writetrack_fn writetrack;
    lf_special_fn special;
    lf_seek_fn seekfn;
    lf_fill_fn fillbuf;
    lf_flush_fn flushbuf;
    uint32_t error;                   /* last error code */
    uint32_t hashvalid;               /* imagehash has been filled */
    uint8_t imagehash[16];            /* image hash: four 32-bit words as little-endian bytes */
    int32_t iocount;                  /* buffer transfers so far */
    uint64_t iotime, iomin, iomax;    /* their time in processor ticks; iomin starts at all ones */
    uint64_t trktime, trkmin, trkmax; /* the same for tracks */
    uint32_t trkcount;                /* tracks moved so far */

    /* The library's own. The rooms bound every access to a table, also while a late change of the
     * geometry has put the sizes above out of step with the tables. */
    int32_t seekroom;   /* entries that seektab has room for; who makes the table sets it */
    int32_t otrackroom; /* output tracks that otrack knows */
    uint32_t stoproom;  /* entries of stoptab while tracks are written */
    uint32_t serial;    /* tells this handle and its present geometry from all others */
    uint32_t stale;     /* the geometry changed behind lfcheck: tables are to be built anew */
};

/* ---- open and close ------------------------------------------------------------------------- */

/* Opens a track file. `mode`: an access, or-ed with LF_ bits. `type`: a packed type number
 * (lffdev), looked at on the write road and with LF_FORCETYPE. `info` may be NULL; otherwise it is
 * filled, on failure too, when its `error` tells the reason. Result: a handle, to be ended with
 * lfclose, or NULL after a report; a file that was created for writing is then removed again. */
VOR_API xvor_t *lfopen(const char *name, uint32_t mode, int32_t type, lfinfo *info);

/* lfopen for a descriptor that the caller has opened; it may be negative for formats that need no
 * file. `name` may be NULL if `fd` is valid: the handle is then named "%%infile%%". lfclose closes
 * `fd`; a failed lfdopen leaves it open. */
VOR_API xvor_t *lfdopen(int32_t fd, const char *name, uint32_t mode, int32_t type, lfinfo *info);

/* Flushes, writes the header of a file that is written or updated, closes the file and frees the
 * handle. Result: 0, or -1 if any of that failed; the handle is gone in either case. */
VOR_API int32_t lfclose(xvor_t *h);

enum { LF_OUTPUT_GEOMETRY = 0, LF_FILE_GEOMETRY = 1 };

/* Fills `info` with the output geometry or the file's own. Another `which` reports code 15. */
VOR_API int32_t lfgetinfo(xvor_t *h, int32_t which, lfinfo *info);

/* 0 if the file opens for reading, with `info` filled. Otherwise -1; `major` and `type_name` are
 * then filled if the name's suffix points to a format. */
VOR_API int32_t lffiletype(const char *name, lfinfo *info);

/* The two access bits: 0 for a handle that reads. */
VOR_API int32_t lfiswrite(const xvor_t *h);

typedef int32_t (*lf_open_cb)(xvor_t *h);

/* Adds a function to those that see each opened handle, the last added first; a negative result of
 * one fails the open. Result: 0, or -1 if memory ran out. To be called at start-up. */
VOR_API int32_t lfsetopencb(lf_open_cb callback);

/* ---- failure reports ------------------------------------------------------------------------ */

/* 1 at start; while it is 0, lferror records codes and reports nothing. */
extern VOR_API int32_t vorerror;

/* Hears each report: the handle or NULL, the text, and the further text or NULL. */
typedef int32_t (*lf_reporter)(xvor_t *h, const char *text, const char *extra);

/* Records and reports a failure. `h` may be NULL. `code`: an LFE_ code; a negative one stands for
 * the code stored in the handle. LFE_WARNING is reported but not stored. `arg` is the number of the
 * message, `extra` a further text or NULL. Result: -1, or 0 if the code comes out as 0. To be
 * called directly after the failing operation, since the operating system's text is taken here. */
VOR_API int32_t lferror(xvor_t *h, const char *where, int32_t code, int32_t arg, const char *extra);

/* Installs the function that hears the reports; NULL restores the default, which logs at level 1.
 * Result: 0. */
VOR_API int32_t lfsetperror(lf_reporter reporter);

/* ---- tracks --------------------------------------------------------------------------------- */

/* Reads output track `n` (0 to xsize - 1) into `t`. Result: the number of runs (1 for a blank
 * track), 0 if `t` holds this image track already from this handle, or -1 after a report. */
VOR_API int32_t lfread(xvor_t *h, trackbuf *t, int32_t n);

/* Writes `t` as track `n`, which must be the next one: tracks go out strictly in order from 0.
 * Result: 0, or -1 after a report. */
VOR_API int32_t lfwrite(xvor_t *h, trackbuf *t, int32_t n);

/* File offset of the next byte of track data. */
VOR_API int64_t lftell(const xvor_t *h);

/* The ordinary fill of the buffer, as lf_fill_fn tells; -1 under LF_EOF. The second form swaps the
 * bytes in 16-bit units. */
VOR_API int32_t lf_fillbuf(xvor_t *h);
VOR_API int32_t lf_fillbufs(xvor_t *h);

/* The ordinary flush of the buffer: 0, or -1 after a report of code 2. The second form swaps the
 * bytes in place before they go out. */
VOR_API int32_t lf_flushb(xvor_t *h);
VOR_API int32_t lf_flushbs(xvor_t *h);

/* Forgets the buffer of a handle that reads; writes it out on the write road. */
VOR_API int32_t lfflush(xvor_t *h);

/* ---- seek ----------------------------------------------------------------------------------- */

enum { LF_SEEK_SET = 0, LF_SEEK_CUR = 1, LF_SEEK_END = 2 };

/* Brings a read handle to an output track, counted from track 0, from `track` or from xsize; xsize
 * itself is the end of the image. Result: 0 positioned, k + 1 for a blank track of colour code k,
 * negative after a report. */
VOR_API int32_t lfseek(xvor_t *h, int32_t track, int32_t mode);

/* Output track number of the last seek or of the next track to write. */
VOR_API int32_t lfcurrentrow(const xvor_t *h);

/* The seek table or NULL, owned by the handle: an offset a track, or the complement of a colour
 * code for a blank one. */
VOR_API int64_t *lfseektable(const xvor_t *h);

/* ---- geometry, between open and lfcheck ----------------------------------------------------- */

/* Sets the output resolution in pixels per mm, X then Y; a value not above 0 keeps the file's. On
 * read it works from the clip window, so it comes after lfclip. */
VOR_API int32_t lfscale(xvor_t *h, double xres, double yres);

/* Sets the output size: tracks, then pixels per track, each above 0. */
VOR_API int32_t lfsetsize(xvor_t *h, int32_t xsize, int32_t ysize);

/* Sets the clip window xa, ya, xe, ye in pixels of the file, as the output is oriented; an end of 0
 * stands for the file's and is filled in. NULL takes the whole image. On the write road a window
 * from 0,0 acts as lfsetsize. */
VOR_API int32_t lfclip(xvor_t *h, int32_t *window);

/* lfclip in millimetres; a negative end stands for the end of the image. */
VOR_API int32_t lfclipmm(xvor_t *h, double xa, double ya, double xe, double ye);

/* Ends the set-up: lets the format choose its codec and builds the tables. */
VOR_API int32_t lfcheck(xvor_t *h);

/* Sizes seek and stop table of a handle that writes for `seekcap` tracks. */
VOR_API int32_t lffitmemory(xvor_t *h);

/* ---- track buffers -------------------------------------------------------------------------- */

/* Gives `t` room for `size` runs, or `size` bytes with GT_BITMAP. `init` not 0 starts a fresh
 * record (size 0: without storage). `mode`: GT_ bits; negative keeps the present ones when `init`
 * is 0. Result: 0 done, 1 the storage was large enough, -1 after a report of code 5 or 15. */
VOR_API int32_t gtgrow(trackbuf *t, uint32_t size, int32_t init, int32_t mode);

/* Frees the storage. 0, or -1 if there was none to free and the storage is not foreign. A damaged
 * buffer, one whose pointer or count lies outside its storage, ends the process. */
VOR_API int32_t gtfree(trackbuf *t);

/* Makes `t` a track of one run. 1, or -1 for foreign storage or none. */
VOR_API int32_t lffill(trackbuf *t, int32_t length, uint32_t colour);

/* Fills `t` with `count` bytes of the low byte of `value`. 0, or -1 for foreign storage, or after a
 * report of code 15 if the buffer is too small. */
VOR_API int32_t bmfill(trackbuf *t, int32_t count, uint32_t value);

/* Copies the track and the application's flags; both buffers must have the same mode. The target
 * grows as needed. */
VOR_API int32_t lfcopytrack(trackbuf *target, const trackbuf *source);
VOR_API void lfcopyflags(trackbuf *target, const trackbuf *source);

/* ---- stop table, comparison, hash ----------------------------------------------------------- */

/* Hands `table` (from malloc, or NULL) with `count` entries over to the handle. Result: 0. */
VOR_API int32_t lfassignstoptable(xvor_t *h, uint32_t *table, uint32_t count);

/* Marks a track (negative: the current one) with an LF_STOP_ kind. The handle writes under
 * LF_STOPS, or has a table with room for the track. */
VOR_API int32_t lfsetstop(xvor_t *h, int32_t track, uint32_t kind);

/* Turns the marked stretches of a dense table into the stretches between them. */
VOR_API int32_t lfrevertstoptable(xvor_t *h);

VOR_API uint32_t *lfstoptable(const xvor_t *h);
VOR_API uint32_t lfstoptablesize(const xvor_t *h);

/* 1 if both handles bear the same name; the same sizes of output and window; the same window. */
VOR_API int32_t lfsamefile(const xvor_t *a, const xvor_t *b);
VOR_API int32_t lfsamescale(const xvor_t *a, const xvor_t *b);
VOR_API int32_t lfsameclip(const xvor_t *a, const xvor_t *b);

/* Fills imagehash from `count` bytes that stand for the image: a constant, their CRC-32
 * (IEEE 802.3), fxsize and fysize. Result: 0. */
VOR_API int32_t lfrebuild_image_hash(xvor_t *h, const void *bytes, size_t count);

VOR_API const char *lffilename(const xvor_t *h);

/* The 256 entries of the colour table in force, which the caller may change. */
VOR_API uint16_t *lfctable(xvor_t *h);

/* ---- special requests ----------------------------------------------------------------------- */

/* Requests that every handle answers; vor/vor.h has those of the native format. */
enum {
    LFS_FLAGS = 0,            /* uint32_t: the flags word */
    LFS_RECORD = 1,           /* lfrecord: the geometry as the start of a native header */
    LFS_LOG_STATISTICS = 23,  /* no argument: logs the transfer times */
    LFS_RESET_STATISTICS = 24 /* no argument: clears them; result 1 */
};

#define LF_UNHANDLED (-2) /* a format's answer that leaves the request to the library */

/* The record of LFS_RECORD: 256 bytes on every machine. */
typedef struct lfrecord {
    int32_t tracks;
    float pitch;   /* mm between tracks */
    float xlength; /* mm across the tracks */
    float ylength; /* mm along a track */
    int32_t subtype;
    int32_t pixels; /* per track */
    float param_a;  /* answer of request 9, valid with bit 0 of flags */
    uint32_t flags; /* LFR_ bits */
    uint8_t zero[16];
    float param_f;  /* answer of request 8, valid with bit 4 of flags */
    float xres;     /* pixels per mm */
    uint32_t magic; /* 0x12345678 */
    uint8_t rest[196];
} lfrecord;

#define LFR_PARAM_A UINT32_C(0x1)
#define LFR_PARAM_F UINT32_C(0x10)
#define LFR_BYTEORDER UINT32_C(0x100)
#define LFR_MAGIC UINT32_C(0x12345678)

/* Asks the format first, then the library. Result: what the request says; -1 with code 7 in the
 * handle, and no report, for a request that nobody knows. */
VOR_API int32_t lfspecial(xvor_t *h, int32_t request, void *arg);

#ifdef __cplusplus
}
#endif

#endif
