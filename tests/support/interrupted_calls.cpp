// The linker sends calls of X to __wrap_X, and __real_X is the true one.
#include "support/interrupted_calls.h"

#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>

#include "platform/kel.h"

namespace {

using vor::test::FileCall;
using vor::test::Interruption;

bool armed = false;
FileCall wanted = FileCall::any;
Interruption how = Interruption::failure;
long calls = 0;
long first = 0;
long last = 0;

bool fails(FileCall call) {
    if (!armed || (wanted != FileCall::any && wanted != call)) return false;
    ++calls;
    if (calls < first || calls > last) return false;
    if (how == Interruption::death) ::_exit(vor::test::interrupted_exit_code);
    errno = EIO;
    return true;
}

} // namespace

namespace vor::test {

InterruptedCall::InterruptedCall(FileCall call, long nth, Interruption interruption, long count) {
    wanted = call;
    how = interruption;
    calls = 0;
    first = nth;
    last = nth + count - 1;
    armed = true;
}

InterruptedCall::~InterruptedCall() {
    armed = false;
}

bool InterruptedCall::reached() const {
    return calls >= first;
}

} // namespace vor::test

extern "C" {

int32_t __real_kel_access(const char *name, int32_t mode);
int32_t __real_kel_chmod(const char *name, int32_t mode);
int32_t __real_kel_close(int32_t fd);
int32_t __real_kel_open(const char *name, int32_t flags, int32_t mode);
int64_t __real_kel_read(int32_t fd, void *buffer, size_t count);
int32_t __real_kel_rename(const char *from, const char *to);
int32_t __real_kel_stat(const char *name, kel_stat_t *record);
int32_t __real_kel_unlink(const char *name);
int32_t __real_kel_utime(const char *name, int64_t atime, int64_t mtime);
int64_t __real_kel_write(int32_t fd, const void *buffer, size_t count);

int32_t __wrap_kel_access(const char *name, int32_t mode);
int32_t __wrap_kel_chmod(const char *name, int32_t mode);
int32_t __wrap_kel_close(int32_t fd);
int32_t __wrap_kel_open(const char *name, int32_t flags, int32_t mode);
int64_t __wrap_kel_read(int32_t fd, void *buffer, size_t count);
int32_t __wrap_kel_rename(const char *from, const char *to);
int32_t __wrap_kel_stat(const char *name, kel_stat_t *record);
int32_t __wrap_kel_unlink(const char *name);
int32_t __wrap_kel_utime(const char *name, int64_t atime, int64_t mtime);
int64_t __wrap_kel_write(int32_t fd, const void *buffer, size_t count);

int32_t __wrap_kel_access(const char *name, int32_t mode) {
    return fails(FileCall::access) ? -1 : __real_kel_access(name, mode);
}

int32_t __wrap_kel_chmod(const char *name, int32_t mode) {
    return fails(FileCall::chmod) ? -1 : __real_kel_chmod(name, mode);
}

int32_t __wrap_kel_close(int32_t fd) {
    const bool failed = fails(FileCall::close);
    const int32_t result = __real_kel_close(fd);
    return failed ? -1 : result;
}

int32_t __wrap_kel_open(const char *name, int32_t flags, int32_t mode) {
    return fails(FileCall::open) ? -1 : __real_kel_open(name, flags, mode);
}

int64_t __wrap_kel_read(int32_t fd, void *buffer, size_t count) {
    return fails(FileCall::read) ? -1 : __real_kel_read(fd, buffer, count);
}

int32_t __wrap_kel_rename(const char *from, const char *to) {
    return fails(FileCall::rename) ? -1 : __real_kel_rename(from, to);
}

int32_t __wrap_kel_stat(const char *name, kel_stat_t *record) {
    return fails(FileCall::stat) ? -1 : __real_kel_stat(name, record);
}

int32_t __wrap_kel_unlink(const char *name) {
    return fails(FileCall::unlink) ? -1 : __real_kel_unlink(name);
}

int32_t __wrap_kel_utime(const char *name, int64_t atime, int64_t mtime) {
    return fails(FileCall::utime) ? -1 : __real_kel_utime(name, atime, mtime);
}

int64_t __wrap_kel_write(int32_t fd, const void *buffer, size_t count) {
    return fails(FileCall::write) ? -1 : __real_kel_write(fd, buffer, count);
}

} // extern "C"
