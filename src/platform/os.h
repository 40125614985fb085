// The operations that a platform supplies. Everything above them in this folder is written once, in
// their terms; a new platform writes these and nothing else. Names are native and never too long.
// A failure is -1, false or a null pointer, with errno telling why.
#ifndef VOR_PLATFORM_OS_H
#define VOR_PLATFORM_OS_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>

#include "platform/kel.h"

namespace vor::os {

// What stands between the components of a native name.
extern const char path_separator;

// Last resorts of the calls that look for the installation and for the user's home.
extern const char *const default_top_directory;
extern const char *const default_home_directory;

// Files by name. `open` takes KEL_O_ flags, refuses directories with EACCES, and gives a descriptor
// that children do not inherit.
int32_t open(const char *name, int32_t flags, int32_t mode);
int32_t make_directory(const char *name);
int32_t change_directory(const char *name);
int32_t status(const char *name, kel_stat_t *record);
int32_t access(const char *name, int32_t mode);
int32_t change_mode(const char *name, int32_t mode);
int32_t change_times(const char *name, int64_t atime, int64_t mtime); // seconds, as kel_stat_t
bool same_file(const char *a, const char *b);                         // follows no link
int32_t remove_file(const char *name);                                // a read-only file too
int32_t replace_file(const char *from, const char *to);               // in one step
char *current_directory(char *buffer, size_t size);

// Files by descriptor.
int32_t close(int32_t fd);
int64_t read(int32_t fd, void *buffer, size_t count);        // not cut short by a signal
int64_t write(int32_t fd, const void *buffer, size_t count); // not cut short by a signal
int64_t seek(int32_t fd, int64_t offset, int32_t whence);
int32_t descriptor_status(int32_t fd, kel_stat_t *record);
int32_t set_length(int32_t fd, int64_t length);

// Streams. `reopen_stream` puts an open file behind a stream in the place of its own, and closes
// both on failure.
std::FILE *open_stream(int32_t fd, const char *mode);
std::FILE *reopen_stream(int32_t fd, const char *mode, std::FILE *stream);
int32_t stream_descriptor(std::FILE *stream);
int32_t seek_stream(std::FILE *stream, int64_t position);
int64_t tell_stream(std::FILE *stream);

// Time. Milliseconds since 1970-01-01 00:00 UTC; ticks of the finest counter there is.
int64_t clock_milliseconds();
uint64_t tick_counter();
bool local_time(int64_t seconds, std::tm *broken_down);
void sleep_milliseconds(uint64_t milliseconds);
[[noreturn]] void sleep_forever();

// Programs that run beside this one. A process is an object until it is closed, and outlives what
// it stands for. A child gets the three standard streams and no other open file, no console, and no
// signal blocked or ignored.
struct Process;

// What a child program uses as its standard streams where there is no file.
extern const char *const null_device;

struct Program {
    const char *command_line; // names the program, then its arguments
    const char *environment;  // texts one behind the other, an empty one at the end; NULL: as here
    int32_t input;
    int32_t output;
    int32_t error;
};

// Exit code of a child that has not ended, and of one that ended by none of its own.
constexpr int32_t exit_code_running = 259;
constexpr int32_t exit_code_killed = 255;

int32_t duplicate(int32_t fd); // shares the position of `fd`
// Starts a program, and before it runs makes the object that stands for it; NULL: it runs, but
// cannot be held.
bool start_program(const Program &program, Process **process);
bool wait_for(Process *process);
bool read_exit_code(Process *process, int32_t *code);
bool terminate(const Process *process); // while another thread waits for it, too
void close_process(Process *process);   // the child, if it has not ended, runs on

// The process, its program and its user. The texts are cut by nothing: one that does not fit fails.
int32_t process_id();
bool program_path(char *buffer, size_t size);
bool user_name(char *buffer, size_t size);

// The system's text for an error code, or nothing. `buffer` may serve to hold it.
const char *error_text(int32_t code, char *buffer, size_t size);

} // namespace vor::os

#endif
