// Lock files on a POSIX system: a plain file with a lock on the whole of it, which belongs to the
// open file and so goes with the last process that has it open.
//
// The name may go, or come to stand for another file, between the opening and the lock. So the lock
// counts only if the name still stands for the file once it is had, and whoever gives it back
// deletes the name first: nobody ever holds a file that the next one does not find.
#include "platform/os.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace vor::os {

namespace {

// How often a file that goes away meanwhile is followed by the next. Each of them is a lock that
// somebody else has had in the meantime.
constexpr int attempts = 1000;

enum class Attempt { taken, refused, outdated };

Attempt refused(int cause) {
    errno = cause;
    return Attempt::refused;
}

// A file with a second name could be anybody's, put here for the holder to write to.
bool is_lock_file(const struct stat &status) {
    return S_ISREG(status.st_mode) && status.st_nlink <= 1;
}

// Looks before it opens, since an opening alone can do something to a pipe or a device. Whether to
// create is settled by then: a directory of all users may refuse that on another user's file.
Attempt open_lock_file(const char *name, int *fd) {
    struct stat status;
    const bool there = ::lstat(name, &status) == 0;
    if (there && !is_lock_file(status)) return refused(EACCES);
    if (!there && errno != ENOENT) return Attempt::refused;
    const int creation = there ? 0 : O_CREAT | O_EXCL;
    *fd = ::open(name, O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | creation,
                 KEL_DEFAULT_PERMISSIONS);
    if (*fd != -1) return Attempt::taken;
    const bool changed = errno == (there ? ENOENT : EEXIST);
    return changed || errno == EINTR ? Attempt::outdated : Attempt::refused;
}

bool set_lock(int fd, short kind) {
    struct flock range = {}; // from the first byte to the end, wherever that will be
    range.l_type = kind;
    range.l_whence = SEEK_SET;
    return ::fcntl(fd, F_OFD_SETLK, &range) == 0;
}

bool is_name_of(const char *name, const struct stat &status) {
    struct stat named;
    return ::lstat(name, &named) == 0 && named.st_dev == status.st_dev &&
           named.st_ino == status.st_ino;
}

Attempt lock_open_file(int fd, const char *name) {
    struct stat status;
    if (::fstat(fd, &status) != 0) return Attempt::refused;
    if (!is_lock_file(status)) return refused(EACCES);
    if (!set_lock(fd, F_WRLCK)) return Attempt::refused;
    return is_name_of(name, status) ? Attempt::taken : Attempt::outdated;
}

Attempt try_lock_file(const char *name, int *fd) {
    const Attempt opened = open_lock_file(name, fd);
    if (opened != Attempt::taken) return opened;
    const Attempt locked = lock_open_file(*fd, name);
    if (locked != Attempt::taken) {
        const int cause = errno;
        ::close(*fd);
        errno = cause;
    }
    return locked;
}

} // namespace

int32_t take_lock_file(const char *name) {
    for (int i = 0; i < attempts; ++i) {
        int fd = -1;
        const Attempt attempt = try_lock_file(name, &fd);
        if (attempt == Attempt::taken) return fd;
        if (attempt == Attempt::refused) return -1;
    }
    errno = EAGAIN;
    return -1;
}

// The lock is taken off by itself, as a forked child may still have the file open.
void give_back_lock_file(int32_t fd, const char *name) {
    struct stat status;
    if (name && ::fstat(fd, &status) == 0 && is_name_of(name, status)) ::unlink(name);
    set_lock(fd, F_UNLCK);
    ::close(fd);
}

} // namespace vor::os
