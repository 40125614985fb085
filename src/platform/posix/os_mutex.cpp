// Named mutexes on a POSIX system: each is a file of its name, of no contents, with two locks.
//
//     byte 0   held shared by every process that has the mutex open; who can take it alone when it
//              opens the mutex was the first
//     byte 1   the mutex itself
//
// The locks belong to the open file description, so that they end with the last descriptor of it,
// whatever becomes of the process. The file stays, as anybody's, since who removes it could part
// those that have it from those that come.
#include "platform/os.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace vor::os {

const char *mutex_directory = nullptr;

namespace {

constexpr off_t openers_byte = 0;
constexpr off_t mutex_byte = 1;
constexpr mode_t for_everybody = 0666;

// `command` waits or does not; `type` is a kind of lock, or none.
bool set_lock(int fd, int command, int type, off_t byte) {
    struct flock lock = {};
    lock.l_type = static_cast<short>(type);
    lock.l_whence = SEEK_SET;
    lock.l_start = byte;
    lock.l_len = 1;
    int result = 0;
    do {
        result = ::fcntl(fd, command, &lock);
    } while (result == -1 && errno == EINTR);
    return result == 0;
}

const char *directory() {
    if (mutex_directory) return mutex_directory;
    static constexpr const char *shared_memory = "/dev/shm";
    struct stat found = {};
    return ::stat(shared_memory, &found) == 0 && S_ISDIR(found.st_mode) ? shared_memory : "/tmp";
}

// Makes the file. The process's mask must not keep other users from it.
int make_file(const char *path, int flags) {
    const int fd = ::open(path, flags | O_CREAT | O_EXCL, for_everybody);
    if (fd != -1) ::fchmod(fd, for_everybody);
    return fd;
}

// Where everybody may put a file, the system may refuse to open that of another user with a flag
// that would create it. So it is opened first and made only if it is not there, which it may be by
// then.
int open_or_make(const char *path) {
    constexpr int flags = O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
    int fd = ::open(path, flags);
    if (fd == -1 && errno == ENOENT) {
        fd = make_file(path, flags);
        if (fd == -1 && errno == EEXIST) fd = ::open(path, flags);
    }
    return fd;
}

bool is_regular(int fd) {
    struct stat status = {};
    return ::fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
}

// Enters the process among those that have the mutex open. Who is the first holds the byte alone
// for the moment that it takes to make the lock a shared one, so others need not wait for long.
bool join_openers(int fd, bool *first) {
    const bool alone = set_lock(fd, F_OFD_SETLK, F_WRLCK, openers_byte);
    const bool shared = set_lock(fd, F_OFD_SETLKW, F_RDLCK, openers_byte);
    *first = alone && shared;
    return shared;
}

} // namespace

Mutex open_mutex(const char *name, bool *created) {
    char path[1024];
    const int length = std::snprintf(path, sizeof path, "%s/%s", directory(), name);
    if (length < 0 || static_cast<size_t>(length) >= sizeof path) return no_mutex;
    const int fd = open_or_make(path);
    if (fd == -1) return no_mutex;
    if (is_regular(fd) && join_openers(fd, created)) return fd;
    ::close(fd);
    return no_mutex;
}

bool lock_mutex(Mutex mutex) {
    return set_lock(static_cast<int>(mutex), F_OFD_SETLKW, F_WRLCK, mutex_byte);
}

bool unlock_mutex(Mutex mutex) {
    return set_lock(static_cast<int>(mutex), F_OFD_SETLK, F_UNLCK, mutex_byte);
}

void close_mutex(Mutex mutex) {
    ::close(static_cast<int>(mutex));
}

bool watch_forks(void (*before)(), void (*after_in_parent)(), void (*after_in_child)()) {
    return ::pthread_atfork(before, after_in_parent, after_in_child) == 0;
}

} // namespace vor::os
