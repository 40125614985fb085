// Whole reads and writes, files that may be trusted, one file under two names, and the text of the
// last failure, for the library's own files.
#ifndef VOR_PLATFORM_FILE_IO_H
#define VOR_PLATFORM_FILE_IO_H

#include <cstddef>
#include <cstdint>

namespace vor {

// Reads exactly `count` bytes. False on an error and at an early end of the file; errno is 0 after
// the latter, so that a report of the failure carries no text of an older one.
bool read_exact(int32_t fd, void *to, size_t count);

// Writes all `count` bytes, in as many writes as it takes. False on an error, and on a write that
// takes nothing; errno is 0 after the latter.
bool write_all(int32_t fd, const void *from, size_t count);

// kel_open for files in places where others may have put something: opens nothing but a regular
// file, through no link but one of the user's own or the administrator's, and never waits. -1 with
// EACCES for anything else.
int32_t open_regular(const char *name, int32_t flags, int32_t mode);

// Whether two names stand for one file. A link is not followed: it is a file of its own.
bool same_file(const char *a, const char *b);

// The text that belongs to errno, never NULL: "error #%d" for a number without a text. It may be
// overwritten by the thread's next call.
const char *last_os_error_text();

} // namespace vor

#endif
