/* Lines of any length out of a text file. A newline or a form feed ends a line. A line is a text of
 * the reader's that is valid until its next read. Different readers may be used by different
 * threads; the reader hidden in `getaline` is one for the process. */
#ifndef VOR_RUNTIME_GETALINE_H
#define VOR_RUNTIME_GETALINE_H

#include <stdint.h>
#include <stdio.h>

#include "vor_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* How a line is read: the `flags` of a read are an or of these. */
enum {
    GETALINE_KEEP_NUL = 0x001,      /* zero bytes stay; otherwise each is read as a blank */
    GETALINE_SKIP_LEADING = 0x002,  /* drop the blanks and tabs at the start */
    GETALINE_CONTINUE = 0x008,      /* a backslash right before the line's end continues it */
    GETALINE_KEEP_CR = 0x010,       /* carriage returns stay; otherwise all are dropped */
    GETALINE_KEEP_TRAILING = 0x020, /* blanks and tabs at the end stay; otherwise they are cut */
    GETALINE_QUIET = 0x800          /* no message on failure */
};

/* Bits of `owner`. */
enum {
    GETALINE_OWNS_RECORD = 1, /* free_getaline frees the record */
    GETALINE_OWNS_STREAM = 2  /* free_getaline closes the stream */
};

/* A reader. A caller reads the fields and changes none. */
typedef struct getaline_t {
    struct getaline_t *next; /* the reader below on a stack */
    FILE *stream;            /* the file read */
    char *line;              /* the latest line */
    uint32_t capacity;       /* room in `line`, in characters */
    uint32_t lineno;         /* physical lines read; a last one with no newline is not counted */
    int32_t length;          /* of the latest line, 0 at the end of the file, -1 on failure */
    int32_t lines;           /* physical lines that were read for the latest line */
    uint32_t owner;          /* GETALINE_OWNS_ bits */
} getaline_t;

/* Reads the next line. The result is the reader's `line`, or NULL at the end of the file and on
 * failure. A last line that no newline ends is a line. With GETALINE_CONTINUE the backslash goes,
 * as do the blanks and tabs at the start of the next physical line.
 *
 * Failures, each with its message on the standard error stream unless GETALINE_QUIET is set: a
 * reader without a stream ("getaline: NULL file"), no memory for the line ("getaline: malloc" and
 * "getaline: realloc", with the system's text). The reader stays usable. */
VOR_API char *getaline_r(getaline_t *reader, int32_t flags);

/* Makes a record of the caller's a reader of `stream`. free_getaline will close the stream, unless
 * it is NULL or the standard input. Always 0. */
VOR_API int32_t attach_getaline(getaline_t *reader, FILE *stream);

/* attach_getaline with a new record, which free_getaline frees. NULL if there is no memory; the
 * stream is then still the caller's. */
VOR_API getaline_t *alloc_getaline(FILE *stream);

/* Frees a reader, its buffer, and what its `owner` bits name. NULL is allowed. Always 0. */
VOR_API int32_t free_getaline(getaline_t *reader);

/* Puts a new reader of `stream` on the stack `top`, which may be NULL. The result is the new top,
 * or NULL if there is no memory, and the stack is then as it was. */
VOR_API getaline_t *push_getaline(getaline_t *top, FILE *stream);

/* Frees the top of a stack and gives the reader below it. NULL gives NULL. */
VOR_API getaline_t *pop_getaline(getaline_t *top);

/* Reads a line of `stream` with a reader hidden in the library, which never closes a stream, and
 * stores the reader's `length`, unless `length` is NULL; then GETALINE_KEEP_NUL has no effect.
 * Another stream than in the last call starts counting lines anew. A `stream` of NULL frees the
 * hidden reader and gives NULL, with a length of 0. If there is no memory for the reader the result
 * is NULL, the length -1, and "getaline: initial malloc" is printed unless GETALINE_QUIET is set.
 */
VOR_API char *getaline(FILE *stream, int32_t flags, int32_t *length);

#ifdef __cplusplus
}
#endif

#endif
