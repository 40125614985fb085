/* Other programs, started without a console: nothing on the screen, no input, their output in a
 * file or thrown away. No command interpreter takes part: the system finds the program by the first
 * word of the command line. Failures go to the log, with the system's error code. */
#ifndef VOR_RUNTIME_SPAWN_H
#define VOR_RUNTIME_SPAWN_H

#include <stdint.h>

#include "vor_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* A program that was started. It is used by one thread at a time, save that one may end it by
 * kel_process_terminate while another waits. */
typedef struct kel_process kel_process;

/* Room for a command line that is built from arguments, the final zero byte included. */
enum { SPAWN_COMMAND_SIZE = 1024 };

/* Exit codes with a meaning of their own. */
enum {
    KEL_PROCESS_KILLED = 255, /* the program was ended from outside, by a signal for instance */
    KEL_PROCESS_RUNNING = 259 /* it has not ended */
};

/* Starts a program and gives its handle, which the caller closes with kel_process_close, or NULL.
 *
 * `argv`, an array of at least one text that ends in NULL, is made a command line: the texts stand
 * one blank apart, those that hold a blank or a tab in double quotes. Nothing is escaped, so that a
 * double quote does not reach the program, nor does an empty text. A line that comes near
 * SPAWN_COMMAND_SIZE is refused. With an `argv` of NULL `commandline` is the line; otherwise it is
 * not used. On a system whose programs take an array, the line is split at blanks and tabs, and
 * double quotes group.
 *
 * `envp`, an array of texts that ends in NULL, is the program's whole environment; NULL hands on
 * that of the caller.
 *
 * The program's input is the null device. Its output and errors go to the file `outfile`, or with a
 * "@" in front of the name its output alone, and its errors nowhere. The file is made if it is not
 * there; otherwise it is written over from its first byte, and what the program's output does not
 * reach stays. With an `outfile` of NULL, an empty one and one whose first byte is above 127, all
 * goes nowhere. The program gets no other open file of the caller's, and on a POSIX system no
 * blocked or ignored signal and a session of its own. All streams of the caller's are flushed
 * first.
 *
 * Logged failures: no memory for the environment, a command line too long, the null device or the
 * file that cannot be opened, a program that cannot be started. A program that runs but cannot be
 * held gives NULL too, and runs on. */
VOR_API kel_process *spawnvx(const char *commandline, const char *const *argv,
                             const char *const *envp, const char *outfile);

/* Waits, without a limit, until the program has ended. 0, or -1 if the system cannot tell, as for a
 * program whose end someone else has already asked for. */
VOR_API int32_t kel_process_wait(kel_process *process);

/* Stores the program's exit code, KEL_PROCESS_RUNNING while it runs. 0, or -1 as above. */
VOR_API int32_t kel_process_exitcode(kel_process *process, int32_t *code);

/* Ends the program at once; its exit code becomes KEL_PROCESS_KILLED. 0, or -1 if the system
 * refuses or the program has ended before. */
VOR_API int32_t kel_process_terminate(kel_process *process);

/* Gives up the handle. A program that runs goes on running. NULL is allowed. Always 0. */
VOR_API int32_t kel_process_close(kel_process *process);

/* Runs a command line by spawnvx, without a file for the output, and waits for its end. The result
 * is the exit code, 255 in the place of a negative one; -1 if the program could not be started, or
 * its end or its code not be told. One such call at a time. */
VOR_API int32_t win32_system(const char *commandline);

/* Asks the system to end the program of the win32_system that another thread waits in, which then
 * gives 255. 0 whatever the system answers, -1 if there is no such program. */
VOR_API int32_t win32_system_abort(void);

#ifdef __cplusplus
}
#endif

#endif
