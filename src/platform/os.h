// The operations that a platform supplies. Everything above them in this folder is written once, in
// their terms; a new platform writes these and nothing else. Names are native and never too long.
// A failure is -1, false or a null pointer, with errno telling why.
#ifndef VOR_PLATFORM_OS_H
#define VOR_PLATFORM_OS_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>

#include "platform/directories.h"
#include "platform/kel.h"

namespace vor::os {

// What stands between the components of a native name.
extern const char path_separator;

// Last resorts of the calls that look for the installation, the user's home and the place of lock
// files.
extern const char *const default_top_directory;
extern const char *const default_home_directory;
extern const char *const default_lock_directory;

// Files by name. `open` takes KEL_O_ flags, refuses directories with EACCES, and gives a descriptor
// that children do not inherit.
int32_t open(const char *name, int32_t flags, int32_t mode);
// `open` for files in places where others may have put something: opens nothing but a regular file,
// through no link but one of the user's own or the administrator's, and never waits.
int32_t open_regular(const char *name, int32_t flags, int32_t mode);
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

// Directories. A search is a number that is not KEL_DIR_CLOSED. Both calls store the name of the
// next entry; one that does not fit is passed over. The first gives KEL_DIR_CLOSED for a directory
// without an entry too.
intptr_t start_search(const char *directory, char *name, size_t size);
bool continue_search(intptr_t search, char *name, size_t size); // false at the end
void end_search(intptr_t search);

// The volume that holds `path`. Room is in bytes, and in 64 bits at most; `file_system` is empty if
// it cannot be told, and cut if it does not fit.
struct Volume {
    uint64_t size;
    uint64_t free;
    uint64_t available; // to this user
    uint32_t serial_number;
    uint32_t longest_name;
    char file_system[KEL_BASETYPE_SIZE];
};
bool query_volume(const char *path, Volume *volume);

// Lock files. `take_lock_file` opens a file, or makes it, so that no other process, and no forked
// child, can do the same until it is given back or this process ends; -1 at once if that cannot be.
// Anything in its place but a plain file with no other name is refused, unopened. The other call
// closes the file and, while still nobody else can take it, deletes it if it is the one called
// `name`, which may be NULL.
int32_t take_lock_file(const char *name);
void give_back_lock_file(int32_t fd, const char *name);

// Shared objects by full name. What is not one, or only a part of one, does not load.
extern const char *const shared_object_suffix;
void *load_object(const char *name);
void unload_object(void *object);
void *object_symbol(void *object, const char *symbol);

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

// A mutex with a name, which every process of the machine can open. It is there while any of them
// has it open, and its holder's end releases it, however that comes. It does not tell the threads
// of a process apart. A forked child has its parent's; it is to close it and to open one of its
// own.
using Mutex = intptr_t;
constexpr Mutex no_mutex = -1;

// Where named mutexes lie; NULL stands for the machine's place. Tests have one of their own.
extern const char *mutex_directory;

Mutex open_mutex(const char *name, bool *created); // `created`: no other process has it open
bool lock_mutex(Mutex mutex);                      // waits, however long
bool unlock_mutex(Mutex mutex);
void close_mutex(Mutex mutex);

// Has functions called around every fork of this process, where a system has such a thing. Each may
// be NULL.
bool watch_forks(void (*before)(), void (*after_in_parent)(), void (*after_in_child)());

// The process, its program and its user. The texts are cut by nothing: one that does not fit fails.
int32_t process_id();
bool program_path(char *buffer, size_t size);
bool user_name(char *buffer, size_t size);

// The system's text for an error code, or nothing. `buffer` may serve to hold it.
const char *error_text(int32_t code, char *buffer, size_t size);

} // namespace vor::os

#endif
