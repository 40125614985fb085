/* Small services: version, byte order, clock, memory hint, progress line, escapes, file copy. */
#ifndef VOR_UTIL_SERVICES_H
#define VOR_UTIL_SERVICES_H

#include <stddef.h>
#include <stdint.h>

#include "vor_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The library's version, "6.0". */
extern VOR_API const char KEL_libversion[];

/* When the library was built, in the form "Wed Mar  7 12:20:26 2007" of ISO C's asctime without its
 * newline, whatever the locale. */
extern VOR_API const char KEL_date_libversion[];

/* Reverse the bytes of each element of 2, 4 and 8 bytes, in place. `size` is in bytes; a rest that
 * fills no element is left alone. The data need no alignment. */
VOR_API void swapshort(void *data, size_t size);
VOR_API void swaplong(void *data, size_t size);
VOR_API void swapquad(void *data, size_t size);

/* The same from `source` into `target`, which may be `source` but not otherwise overlap it. A rest
 * that fills no element is not copied. */
VOR_API void swapshort_a(void *target, const void *source, size_t size);
VOR_API void swaplong_a(void *target, const void *source, size_t size);
VOR_API void swapquad_a(void *target, const void *source, size_t size);

/* A fine monotonic counter: the processor's time stamp counter where there is one. */
VOR_API uint64_t rdtsc(void);

/* Measures the ticks of a second, which takes one second; a later call returns at once. 0, or -1 if
 * the counter does not move. */
VOR_API int32_t rdtsc_init(void);

/* Turns ticks into microseconds, in 64 bits. rdtsc_init must have run; before that the result is 0.
 */
VOR_API uint64_t rdtsc_us(uint64_t ticks);

/* What meminfo tells. Any other number asks for KEL_MEM_TOTAL. */
enum {
    KEL_MEM_TOTAL = 0,     /* MEMORY, 64 MiB */
    KEL_MEM_AVAILABLE = 1, /* MEMAVAIL, 64 MiB */
    KEL_MEM_PAGESIZE = 2,  /* MEMPAGESIZE, 4096 */
    KEL_MEM_FREE = 9       /* the same as KEL_MEM_AVAILABLE */
};

/* A size in bytes that tells a program how much memory to use: the value of an environment
 * variable, decimal, octal or hexadecimal as in C, times 1024 with a "K" or "k" behind it and times
 * 1048576 with an "M" or "m"; or the default, if the variable is not set or starts with no number.
 * The number itself saturates at 32 bits. */
VOR_API int64_t meminfo(int32_t which);

/* Keeps a progress line on the standard error stream, rewritten in place. A negative `value` starts
 * one, its amount being the total, and gives the time in seconds since 1970-01-01 00:00 UTC. A
 * value below the total shows the percentage and gives 0; one at or above it ends the line with the
 * time that has passed and gives that in seconds. Without a start the result is -1. */
VOR_API int64_t tty_simple_progress(int64_t value);

/* Decodes one backslash sequence. `source` points behind the backslash; the byte goes to `target`,
 * unless that is NULL, and the result is the position behind the sequence, at most the text's final
 * zero byte.
 *
 * "a" is 7, "b" 8, "d" 4, "e" 27, "f" 12, "n" 10, "r" 13, "t" 9, "z" 26. A "0" opens an octal value
 * of up to three digits, itself counted. A newline is dropped, and the next character, or the
 * sequence that it opens, is taken. "x" and "." give 0 with the result at that very character, so a
 * caller must not loop on it. Any other character stands for itself. */
VOR_API const char *cescape(char *target, const char *source);

/* Told how far a copy has come: the caller's `data`, the bytes copied so far and the source's size.
 * A negative result ends the copy. */
typedef int32_t (*kel_progress_fn)(void *data, int64_t done, int64_t size);

/* Copies one open file to another, both from their positions on, in blocks of 4096 bytes, and calls
 * `progress`, unless it is NULL, after each. 0, or -1 on any failure, if `progress` ends it, and if
 * the bytes copied are not as many as the source's size, as when its position was not the start. */
VOR_API int32_t fdcopyfile(int32_t source, int32_t target, kel_progress_fn progress, void *data);

/* fdcopyfile by name: `to` is created or truncated. 0, or -1 if anything failed, the close of `to`
 * included; a part of the target may then be there. */
VOR_API int32_t fcopyfile(const char *from, const char *to, kel_progress_fn progress, void *data);

#ifdef __cplusplus
}
#endif

#endif
