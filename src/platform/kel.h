/* Portable file, time and number calls.
 *
 * All names are written with "/" and are turned into the system's form on the way down. A name of
 * 1024 bytes or more is refused with ENAMETOOLONG, a NULL name with EFAULT. Offsets and sizes are
 * 64 bits wide on every machine. A call reports a failure by its result, and by errno as the
 * system's own call would; nothing here prints or logs. No call keeps a pointer it was given. */
#ifndef VOR_PLATFORM_KEL_H
#define VOR_PLATFORM_KEL_H

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#include "vor_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* How kel_open opens a file: one of the first three, or-ed with any of the others. */
enum {
    KEL_O_RDONLY = 0x0000,
    KEL_O_WRONLY = 0x0001,
    KEL_O_RDWR = 0x0002,
    KEL_O_APPEND = 0x0008,     /* every write goes to the end */
    KEL_O_SEQUENTIAL = 0x0020, /* a hint: the file is read from front to back */
    KEL_O_CREAT = 0x0100,      /* make the file if it is not there */
    KEL_O_TRUNC = 0x0200,      /* cut an existing file to no bytes */
    KEL_O_EXCL = 0x0400,       /* with KEL_O_CREAT: an existing file is a failure, EEXIST */
    KEL_O_BINARY = 0x8000      /* no translation of line ends; matters on Windows alone */
};

/* What kel_access asks. */
enum {
    KEL_F_OK = 0, /* is it there? */
    KEL_X_OK = 1,
    KEL_W_OK = 2,
    KEL_R_OK = 4
};

/* From where kel_lseek and kel_fseeko count. */
enum { KEL_SEEK_SET = 0, KEL_SEEK_CUR = 1, KEL_SEEK_END = 2 };

/* Type bits of a mode word. The bits below are the permissions. */
enum {
    KEL_S_IFMT = 0xF000, /* mask of the type bits */
    KEL_S_IFDIR = 0x4000,
    KEL_S_IFREG = 0x8000
};

/* Permissions of a file that a program creates, before the process's mask. */
#define KEL_DEFAULT_PERMISSIONS 0666

/* From this many milliseconds on mt_delay sleeps for ever: it is above 14 days. */
#define KEL_DELAY_FOREVER 1209600001u

/* From this many seconds on mt_sleep sleeps for ever. */
#define KEL_SLEEP_FOREVER 1209601

/* Status of a file. Times are seconds since 1970-01-01 00:00 UTC. */
typedef struct kel_stat_t {
    uint64_t dev;  /* the volume that holds the file */
    int64_t size;  /* bytes */
    int64_t atime; /* last access */
    int64_t mtime; /* last modification */
    uint32_t mode; /* KEL_S_ type bits and permissions */
} kel_stat_t;

/* A point in time, or a time span. */
typedef struct kel_timeval {
    int32_t sec;  /* seconds; as a point in time since 1970-01-01 00:00 UTC */
    int32_t usec; /* microseconds, 0 to 999999 */
} kel_timeval;

/* Opens a stream, with a mode as fopen of ISO C takes it. The caller closes it with kel_fclose.
 * NULL on failure, for a directory in every mode (EACCES), and for a malformed mode (EINVAL). A
 * program that is spawned does not inherit the file. */
VOR_API FILE *kel_fopen(const char *name, const char *mode);

/* Closes the file of `stream` and opens `name` in its place, as freopen of ISO C. The result is
 * `stream`, or NULL on failure, and then the stream is closed; a directory fails with EACCES. A
 * `name` of NULL asks the C library to change the mode of the open file. */
VOR_API FILE *kel_freopen(const char *name, const char *mode, FILE *stream);

/* Opens a file with KEL_O_ flags; `mode` gives the permissions of a file made by KEL_O_CREAT.
 * The result is a descriptor, which the caller closes with kel_close, or -1. A directory is
 * refused with EACCES whatever the access, an existing name under KEL_O_CREAT with KEL_O_EXCL with
 * EEXIST. A program that is spawned does not inherit the descriptor. */
VOR_API int32_t kel_open(const char *name, int32_t flags, int32_t mode);

/* kel_open with KEL_O_WRONLY, KEL_O_CREAT and KEL_O_TRUNC. */
VOR_API int32_t kel_creat(const char *name, int32_t mode);

/* Makes a directory with the system's default permissions. 0 or -1. */
VOR_API int32_t kel_mkdir(const char *name);

/* Makes `name` the current directory of the process. 0 or -1. */
VOR_API int32_t kel_chdir(const char *name);

/* Fills `record` with the status of a file or directory. 0 or -1; -1 leaves `record` alone. */
VOR_API int32_t kel_stat(const char *name, kel_stat_t *record);

/* kel_stat of an open file. */
VOR_API int32_t kel_fstat(int32_t fd, kel_stat_t *record);

/* Asks whether a file is there and may be used as `mode`, an or of KEL_R_OK, KEL_W_OK and KEL_X_OK
 * or plain KEL_F_OK, says. 0 if so, otherwise -1. */
VOR_API int32_t kel_access(const char *name, int32_t mode);

/* Sets the permission bits of a file. 0 or -1. */
VOR_API int32_t kel_chmod(const char *name, int32_t mode);

/* Sets the times of last access and last modification of a file, in seconds since 1970-01-01 00:00
 * UTC. 0 or -1. */
VOR_API int32_t kel_utime(const char *name, int64_t atime, int64_t mtime);

/* Flushes and closes a stream. 0, or EOF if anything failed; the stream is gone in both cases. */
VOR_API int32_t kel_fclose(FILE *stream);

/* Closes a descriptor. 0 or -1; the descriptor is gone in both cases. */
VOR_API int32_t kel_close(int32_t fd);

/* Reads up to `count` bytes. The result is the number read, 0 at the end of the file, or -1. A
 * signal does not cut a call short. */
VOR_API int64_t kel_read(int32_t fd, void *buffer, size_t count);

/* Writes up to `count` bytes. The result is the number written, which may be short, or -1. A
 * signal does not cut a call short. */
VOR_API int64_t kel_write(int32_t fd, const void *buffer, size_t count);

/* Puts the path `source` into `target` as the system writes paths, with "\" for "/" where that is
 * its way. The length stays: `target` needs strlen(source) + 1 bytes, and may be `source` itself.
 * Always 0. */
VOR_API int32_t unix_to_native_path(char *target, const char *source);

/* Deletes a file, a read-only one too. 0 or -1; a directory is refused. */
VOR_API int32_t kel_unlink(const char *name);

/* Renames `from` to `to`, replacing an existing file of that name in one step. 0 or -1. */
VOR_API int32_t kel_rename(const char *from, const char *to);

/* Writes the current directory, with "/" as separator, into the `size` bytes of `buffer`. The
 * result is `buffer`, or NULL on failure (ERANGE: it does not fit). */
VOR_API char *kel_getcwd(char *buffer, size_t size);

/* Moves the position of a descriptor by `offset` bytes from `whence`, a KEL_SEEK_ value; any other
 * goes to the system unchanged. The result is the new position from the start, or -1. */
VOR_API int64_t kel_lseek(int32_t fd, int64_t offset, int32_t whence);

/* Moves the position of a stream by `offset` bytes from `whence`. The end that KEL_SEEK_END counts
 * from is that of the file behind the stream: bytes still in the stream's buffer are not part of
 * it. 0, or -1 with the position unmoved for any other `whence` and for a target before the start
 * (EINVAL), and on a stream that has no position. */
VOR_API int32_t kel_fseeko(FILE *stream, int64_t offset, int32_t whence);

/* The position of a stream in bytes from the start, or -1. */
VOR_API int64_t kel_ftello(FILE *stream);

/* Cuts or extends an open file to `length` bytes; an extension reads as 0. A position beyond
 * `length` becomes `length`, any other is kept. 0 or -1. */
VOR_API int32_t kel_truncate(int32_t fd, int64_t length);

/* Reads an integer in `base` (2 to 36, or 0) at the start of `text`, with other rules than strtoll
 * of ISO C: no white space is skipped; one sign may stand in front; with base 0 a "0" selects octal
 * and "0x" or "0X" hexadecimal, and the prefix counts as used even if no digit follows; base 16
 * knows no prefix; of a number beyond 64 bits the low 64 count. Through `end`, unless it is NULL,
 * the caller learns where reading stopped. In a base out of range nothing is read: 0. */
VOR_API int64_t kel_strtoll(const char *text, const char **end, int32_t base);

/* kel_strtoll for unsigned values: a "+" may stand in front, a "-" may not. */
VOR_API uint64_t kel_strtoull(const char *text, const char **end, int32_t base);

/* Stores the present time. The clock counts milliseconds: `usec` is a multiple of 1000. Always 0.
 */
VOR_API int32_t kel_timeofday(kel_timeval *time);

/* Sleeps that many seconds. */
VOR_API void kel_sleep(uint32_t seconds);

/* Sleeps for a time span, in whole milliseconds; a rest below that is dropped. KEL_SLEEP_FOREVER
 * seconds or more sleep for ever. 0, or -1 at once with EINVAL if a field is negative or `usec` is
 * 1000000 or more. */
VOR_API int32_t mt_sleep(const kel_timeval *time);

/* Sleeps that many milliseconds, from KEL_DELAY_FOREVER on for ever. Always 0. */
VOR_API int32_t mt_delay(uint32_t milliseconds);

/* The integer closest to `value`; between two that are equally close, the one farther from zero. A
 * value beyond 64 bits gives that end of the range which it exceeds, a NaN 0. */
VOR_API int64_t nint(double value);

/* The text of a system error code: for 10000 to 11999 that of the network error of that number,
 * otherwise the system's own, or NULL if the system knows none. The text may be overwritten by the
 * next call of the same thread and is not to be freed. */
VOR_API const char *ntstrerror(int32_t code);

#ifdef __cplusplus
}
#endif

#endif
