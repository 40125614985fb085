// The platform's operations on a POSIX system. A native name is a plain name; every descriptor is
// closed when a child program starts; signals end no call early.
#include "platform/os.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <functional>

namespace vor::os {

const char path_separator = '/';
const char *const default_top_directory = "/opt/kel";
const char *const default_home_directory = "/";
const char *const default_lock_directory = "/tmp";

namespace {

// Repeats a call that a signal has cut short.
template <class Call>
auto uninterrupted(Call call) {
    for (;;) {
        const auto result = call();
        if (result != -1 || errno != EINTR) return result;
    }
}

// The system's flags for KEL_O_ flags, or -1.
int open_flags(int32_t flags) {
    static constexpr int access[] = {O_RDONLY, O_WRONLY, O_RDWR};
    const int32_t which = flags & (KEL_O_WRONLY | KEL_O_RDWR);
    if (which > KEL_O_RDWR) return -1;
    int result = access[which] | O_CLOEXEC | O_NOCTTY;
    if (flags & KEL_O_APPEND) result |= O_APPEND;
    if (flags & KEL_O_CREAT) result |= O_CREAT;
    if (flags & KEL_O_TRUNC) result |= O_TRUNC;
    if (flags & KEL_O_EXCL) result |= O_EXCL;
    return result;
}

// Opens a file whose type is one that is wanted; for another one it is -1 with EACCES.
template <class Wanted>
int32_t open_if(Wanted wanted, const char *name, int32_t flags, int more_flags, int32_t mode) {
    const int native = open_flags(flags);
    if (native == -1) {
        errno = EINVAL;
        return -1;
    }
    const int fd = uninterrupted(
        [&] { return ::open(name, native | more_flags, static_cast<mode_t>(mode) & 07777); });
    if (fd == -1) {
        if (errno == EISDIR) errno = EACCES;
        return -1;
    }
    struct stat status;
    if (::fstat(fd, &status) != 0 || !wanted(status.st_mode)) {
        ::close(fd);
        errno = EACCES;
        return -1;
    }
    return fd;
}

bool is_directory(mode_t mode) {
    return S_ISDIR(mode);
}

bool is_regular(mode_t mode) {
    return S_ISREG(mode);
}

// A link that another user has made may lead where only this one can write.
bool is_trusted(const struct stat &link) {
    return link.st_uid == ::geteuid() || link.st_uid == 0;
}

static_assert(S_IFMT == KEL_S_IFMT && S_IFDIR == KEL_S_IFDIR && S_IFREG == KEL_S_IFREG);

int32_t fill_status(int result, const struct stat &from, kel_stat_t *to) {
    if (result != 0) return -1;
    to->dev = static_cast<uint64_t>(from.st_dev);
    to->size = from.st_size;
    to->atime = from.st_atime;
    to->mtime = from.st_mtime;
    to->mode = from.st_mode;
    return 0;
}

} // namespace

int32_t open(const char *name, int32_t flags, int32_t mode) {
    const int32_t fd = open_if(std::not_fn(is_directory), name, flags, 0, mode);
    if (fd != -1 && (flags & KEL_O_SEQUENTIAL)) ::posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
    return fd;
}

// What is there is looked at before it is opened, since that alone may set a device going, and once
// more when it is open, since another may have come in between.
int32_t open_regular(const char *name, int32_t flags, int32_t mode) {
    int more_flags = O_NONBLOCK | O_NOFOLLOW;
    struct stat found = {};
    bool there = ::lstat(name, &found) == 0;
    if (there && S_ISLNK(found.st_mode) && is_trusted(found)) {
        more_flags = O_NONBLOCK;
        there = ::stat(name, &found) == 0;
    }
    if (there && !is_regular(found.st_mode)) {
        errno = EACCES;
        return -1;
    }
    return open_if(is_regular, name, flags, more_flags, mode);
}

int32_t make_directory(const char *name) {
    return ::mkdir(name, 0777);
}

int32_t change_directory(const char *name) {
    return ::chdir(name);
}

int32_t status(const char *name, kel_stat_t *record) {
    struct stat found = {};
    return fill_status(::stat(name, &found), found, record);
}

int32_t access(const char *name, int32_t mode) {
    int native = F_OK;
    if (mode & KEL_R_OK) native |= R_OK;
    if (mode & KEL_W_OK) native |= W_OK;
    if (mode & KEL_X_OK) native |= X_OK;
    return ::access(name, native);
}

int32_t change_mode(const char *name, int32_t mode) {
    return ::chmod(name, static_cast<mode_t>(mode) & 07777);
}

int32_t change_times(const char *name, int64_t atime, int64_t mtime) {
    struct timespec times[2] = {};
    times[0].tv_sec = static_cast<time_t>(atime);
    times[1].tv_sec = static_cast<time_t>(mtime);
    return ::utimensat(AT_FDCWD, name, times, 0);
}

bool same_file(const char *a, const char *b) {
    struct stat first = {};
    struct stat second = {};
    return ::lstat(a, &first) == 0 && ::lstat(b, &second) == 0 && first.st_dev == second.st_dev &&
           first.st_ino == second.st_ino;
}

// The system asks for the directory's permission, never for the file's, so that a read-only file
// needs no step of its own.
int32_t remove_file(const char *name) {
    return ::unlink(name);
}

int32_t replace_file(const char *from, const char *to) {
    return ::rename(from, to);
}

char *current_directory(char *buffer, size_t size) {
    return ::getcwd(buffer, size);
}

int32_t close(int32_t fd) {
    return ::close(fd);
}

int64_t read(int32_t fd, void *buffer, size_t count) {
    return uninterrupted([&] { return ::read(fd, buffer, count); });
}

int64_t write(int32_t fd, const void *buffer, size_t count) {
    return uninterrupted([&] { return ::write(fd, buffer, count); });
}

int64_t seek(int32_t fd, int64_t offset, int32_t whence) {
    static constexpr int native[] = {SEEK_SET, SEEK_CUR, SEEK_END};
    const bool known = whence >= KEL_SEEK_SET && whence <= KEL_SEEK_END;
    return ::lseek(fd, offset, known ? native[whence] : whence);
}

int32_t descriptor_status(int32_t fd, kel_stat_t *record) {
    struct stat found = {};
    return fill_status(::fstat(fd, &found), found, record);
}

int32_t set_length(int32_t fd, int64_t length) {
    return uninterrupted([&] { return ::ftruncate(fd, length); });
}

std::FILE *open_stream(int32_t fd, const char *mode) {
    return ::fdopen(fd, mode);
}

// The stream takes the mode with the null device and then gets the file, so that the file is opened
// once, by rules of ours; what else the mode asks for has been done by then. A standard stream goes
// on to belong to child programs too.
std::FILE *reopen_stream(int32_t fd, const char *mode, std::FILE *stream) {
    const char access[] = {mode[0], std::strchr(mode, '+') ? '+' : '\0', '\0'};
    std::FILE *const reopened = std::freopen("/dev/null", access, stream);
    const int behind = reopened ? ::fileno(reopened) : -1;
    if (reopened && ::dup3(fd, behind, behind > STDERR_FILENO ? O_CLOEXEC : 0) != -1) {
        ::close(fd);
        return reopened;
    }
    const int cause = errno;
    if (reopened) std::fclose(reopened);
    ::close(fd);
    errno = cause;
    return nullptr;
}

int32_t stream_descriptor(std::FILE *stream) {
    return ::fileno(stream);
}

int32_t seek_stream(std::FILE *stream, int64_t position) {
    return ::fseeko(stream, position, SEEK_SET);
}

int64_t tell_stream(std::FILE *stream) {
    return ::ftello(stream);
}

int64_t clock_milliseconds() {
    struct timespec now = {};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

uint64_t tick_counter() {
#if defined(__x86_64__) || defined(__i386__)
    return __builtin_ia32_rdtsc();
#else
    struct timespec now = {};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000000000 + static_cast<uint64_t>(now.tv_nsec);
#endif
}

bool local_time(int64_t seconds, std::tm *broken_down) {
    ::tzset(); // a change of the zone counts at once, as it does for localtime
    const time_t when = static_cast<time_t>(seconds);
    return ::localtime_r(&when, broken_down) != nullptr;
}

void sleep_milliseconds(uint64_t milliseconds) {
    struct timespec rest = {};
    rest.tv_sec = static_cast<time_t>(milliseconds / 1000);
    rest.tv_nsec = static_cast<long>(milliseconds % 1000 * 1000000);
    while (::nanosleep(&rest, &rest) == -1 && errno == EINTR) {
    }
}

void sleep_forever() {
    for (;;)
        ::pause();
}

int32_t process_id() {
    return ::getpid();
}

bool program_path(char *buffer, size_t size) {
    const ssize_t length = ::readlink("/proc/self/exe", buffer, size);
    if (length <= 0 || static_cast<size_t>(length) >= size) return false;
    buffer[length] = 0;
    return true;
}

bool user_name(char *buffer, size_t size) {
    struct passwd entry = {};
    struct passwd *found = nullptr;
    char texts[16384]; // of the whole entry
    if (::getpwuid_r(::geteuid(), &entry, texts, sizeof texts, &found) != 0 || !found) return false;
    const size_t length = std::strlen(found->pw_name);
    if (length >= size) return false;
    std::memcpy(buffer, found->pw_name, length + 1);
    return true;
}

const char *error_text(int32_t code, char *buffer, size_t size) {
    const char *const text = ::strerrordesc_np(code);
    if (!text) return nullptr;
    std::snprintf(buffer, size, "%s", text);
    return buffer;
}

} // namespace vor::os
