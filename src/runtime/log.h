/* The log: one call builds a line and writes it to the log file, which all programs of the machine
 * share, and then to the standard error stream, or to a hook in its place. A line reads
 *
 *     day.month.year hours:minutes:seconds.milliseconds program.process[level]: text
 *
 * in local time. The program is "anonymous" until it is named. One line is one write. The calls may
 * come from any thread of any process; each runs alone, the call of the hook included, under a
 * mutex that the whole machine knows as "KEL_LOGGER_MUTEX". A process that ends gives it back. A
 * hook may log in turn: its line goes out at once, before the hook comes back. A fork waits for the
 * line that another thread is writing.
 *
 * The log file is "mesg.log" in the user's home (local_home_path), unless it is named. It is opened
 * for appending at the first line that goes to it, and stays open. It must be a regular file, or a
 * link to one that this user or the system's administrator has made; anything else in its place is
 * left alone. A line that cannot be written costs nothing but itself, and the next one tries again.
 *
 * A log that has grown large is moved to its name with ".~" behind it, over an older one, and a new
 * one is begun. This happens at two times only: when the first of the processes that log, for as
 * long as any of them runs, writes its first line; and when a program names the file. Large means
 * MESGLOG_SIZE bytes or more, a variable of the environment, or LOGMESG_SIZE_LIMIT where that does
 * not begin with a digit; 0 means that no log is ever large. */
#ifndef VOR_RUNTIME_LOG_H
#define VOR_RUNTIME_LOG_H

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include "vor_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The level of a line, its low 8 bits, and flags that may be or-ed to it. The level picks the word
 * in the line and nothing more: none ends the program. All from LOGMESG_INFO to 255 read "Info". */
enum {
    LOGMESG_FATAL = 0,
    LOGMESG_ERROR = 1,
    LOGMESG_WARNING = 2,
    LOGMESG_NOTE = 3,
    LOGMESG_INFO = 4,
    LOGMESG_LEVEL_MASK = 0xFF,
    LOGMESG_NO_FILE = 0x100,  /* not to the log file */
    LOGMESG_NO_STDERR = 0x200 /* not to the standard error stream or the hook */
};

/* In the place of a level: the format is the hook, or the name of the log file. */
enum { LOGMESG_SET_HOOK = -1, LOGMESG_SET_FILE = -2 };

/* Bytes from which on a log is large, where the environment does not tell: 16 MiB. */
enum { LOGMESG_SIZE_LIMIT = 0x1000000 };

/* The longest line, its newline included. */
enum { LOGMESG_MAX_LINE = 4095 };

/* Takes the place of the standard error stream; gets the whole line with its newline. */
typedef void (*logmesg_hook)(const char *line);

/* Writes a line, a newline being added unless `format` itself ends in one, or does what the
 * arguments ask for instead:
 *
 * - `level` LOGMESG_SET_HOOK: `format` is a logmesg_hook, or NULL for the standard error stream
 *   again. See logmesg_set_hook.
 * - `level` LOGMESG_SET_FILE: `format` is the name of the log file, or NULL for "mesg.log". A name
 *   that isabs_path takes for relative is one in the user's home. A log that is large is moved out
 *   of the way, but not by the process's first call of all if other processes log already. A home
 *   and a relative name of more than 1020 bytes together leave the file as it was. See
 *   logmesg_set_file.
 * - any other negative `level`: nothing.
 * - a `format` of NULL: the first argument behind it is the name of the program from now on, a text
 *   that must live as long as the process, or NULL for "anonymous"; the process id in the lines is
 *   read anew. See logmesg_set_program.
 *
 * The logger has nowhere to report a failure of its own, and always gives 0. A line longer than
 * LOGMESG_MAX_LINE is written in full, followed by
 * "%s: STACK CORRUPTION DETECTED -- ABORTING\n" with the program's name, and abort is called. */
VOR_API int32_t logmesg(int32_t level, const char *format, ...) VOR_PRINTF(2, 3);

/* logmesg with the arguments in a list. */
VOR_API int32_t vlogmesg(int32_t level, const char *format, va_list args) VOR_PRINTF(2, 0);

/* Names the program, by logmesg. The three calls below go round the check of arguments against
 * formats, since what they pass is no format. */
static inline void logmesg_set_program(const char *name) {
    int32_t (*log)(int32_t, const char *, ...) = logmesg;
    log(LOGMESG_NOTE, NULL, name);
}

/* Sets the hook, or with NULL goes back to the standard error stream, by logmesg. */
static inline void logmesg_set_hook(logmesg_hook hook) {
    int32_t (*log)(int32_t, const char *, ...) = logmesg;
    const char *format;
    memcpy(&format, &hook, sizeof format);
    log(LOGMESG_SET_HOOK, format);
}

/* Names the log file, or with NULL goes back to "mesg.log", by logmesg; `name` is not kept. A
 * program that runs for long calls it again to have the file's size looked at. */
static inline void logmesg_set_file(const char *name) {
    int32_t (*log)(int32_t, const char *, ...) = logmesg;
    log(LOGMESG_SET_FILE, name);
}

#ifdef __cplusplus
}
#endif

#endif
