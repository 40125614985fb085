/* The log: one call builds a line and writes it to the standard error stream, or to a hook in its
 * place. A line reads
 *
 *     day.month.year hours:minutes:seconds.milliseconds program.process[level]: text
 *
 * in local time. The program is "anonymous" until it is named. One line is one write. The calls may
 * come from any thread; each runs alone, the call of the hook included. A hook may log in turn: its
 * line goes out at once, before the hook comes back. */
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

/* In the place of a level: the format is the hook. */
enum { LOGMESG_SET_HOOK = -1 };

/* The longest line, its newline included. */
enum { LOGMESG_MAX_LINE = 4095 };

/* Takes the place of the standard error stream; gets the whole line with its newline. */
typedef void (*logmesg_hook)(const char *line);

/* Writes a line, a newline being added unless `format` itself ends in one, or does what the
 * arguments ask for instead:
 *
 * - `level` LOGMESG_SET_HOOK: `format` is a logmesg_hook, or NULL for the standard error stream
 *   again. See logmesg_set_hook.
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

/* Names the program, by logmesg. The two calls below go round the check of arguments against
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

#ifdef __cplusplus
}
#endif

#endif
