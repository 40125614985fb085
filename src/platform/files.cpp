// Calls that take file names, and the plain forwarders. A name passes through a buffer of fixed
// size in the system's form; everything else is the platform's.
#include <cerrno>
#include <cstring>

#include "platform/file_io.h"
#include "platform/kel.h"
#include "platform/native_name.h"
#include "platform/os.h"

namespace {

namespace os = vor::os;
using vor::NativeName;

// The KEL_O_ flags of a stream mode, or -1. Letters behind the first that mean nothing here are
// left to the C library.
int32_t stream_mode_flags(const char *mode) {
    const bool update = std::strchr(mode, '+') != nullptr;
    int32_t flags = std::strchr(mode, 'b') ? KEL_O_BINARY : 0;
    switch (mode[0]) {
    case 'r':
        return flags | (update ? KEL_O_RDWR : KEL_O_RDONLY);
    case 'w':
        if (std::strchr(mode, 'x')) flags |= KEL_O_EXCL;
        return flags | (update ? KEL_O_RDWR : KEL_O_WRONLY) | KEL_O_CREAT | KEL_O_TRUNC;
    case 'a':
        return flags | (update ? KEL_O_RDWR : KEL_O_WRONLY) | KEL_O_CREAT | KEL_O_APPEND;
    default:
        return -1;
    }
}

// Opens the file for a stream of that mode.
int32_t open_for_stream(const char *name, const char *mode) {
    const int32_t flags = stream_mode_flags(mode);
    if (flags == -1) {
        errno = EINVAL;
        return -1;
    }
    const int32_t fd = kel_open(name, flags, KEL_DEFAULT_PERMISSIONS);
    // A stream that only appends tells the end as its position from the start.
    if (fd != -1 && mode[0] == 'a' && (flags & KEL_O_WRONLY)) os::seek(fd, 0, KEL_SEEK_END);
    return fd;
}

void replace_all(char *text, size_t size, char old_char, char new_char) {
    for (size_t i = 0; i < size && text[i]; ++i)
        if (text[i] == old_char) text[i] = new_char;
}

} // namespace

int32_t vor::open_regular(const char *name, int32_t flags, int32_t mode) {
    const NativeName native(name);
    return native ? os::open_regular(native.text(), flags, mode) : -1;
}

bool vor::same_file(const char *a, const char *b) {
    const NativeName native_a(a);
    const NativeName native_b(b);
    return native_a && native_b && os::same_file(native_a.text(), native_b.text());
}

extern "C" {

FILE *kel_fopen(const char *name, const char *mode) {
    const int32_t fd = open_for_stream(name, mode);
    if (fd == -1) return nullptr;
    FILE *const stream = os::open_stream(fd, mode);
    if (!stream) {
        const int cause = errno;
        os::close(fd);
        errno = cause;
    }
    return stream;
}

FILE *kel_freopen(const char *name, const char *mode, FILE *stream) {
    if (!name) return std::freopen(nullptr, mode, stream);
    const int32_t fd = open_for_stream(name, mode);
    if (fd != -1) return os::reopen_stream(fd, mode, stream);
    const int cause = errno;
    std::fclose(stream);
    errno = cause;
    return nullptr;
}

int32_t kel_open(const char *name, int32_t flags, int32_t mode) {
    const NativeName native(name);
    return native ? os::open(native.text(), flags, mode) : -1;
}

int32_t kel_creat(const char *name, int32_t mode) {
    return kel_open(name, KEL_O_WRONLY | KEL_O_CREAT | KEL_O_TRUNC, mode);
}

int32_t kel_mkdir(const char *name) {
    const NativeName native(name);
    return native ? os::make_directory(native.text()) : -1;
}

int32_t kel_chdir(const char *name) {
    const NativeName native(name);
    return native ? os::change_directory(native.text()) : -1;
}

int32_t kel_stat(const char *name, kel_stat_t *record) {
    const NativeName native(name);
    return native ? os::status(native.text(), record) : -1;
}

int32_t kel_fstat(int32_t fd, kel_stat_t *record) {
    return os::descriptor_status(fd, record);
}

int32_t kel_access(const char *name, int32_t mode) {
    const NativeName native(name);
    return native ? os::access(native.text(), mode) : -1;
}

int32_t kel_chmod(const char *name, int32_t mode) {
    const NativeName native(name);
    return native ? os::change_mode(native.text(), mode) : -1;
}

int32_t kel_utime(const char *name, int64_t atime, int64_t mtime) {
    const NativeName native(name);
    return native ? os::change_times(native.text(), atime, mtime) : -1;
}

int32_t kel_fclose(FILE *stream) {
    return std::fclose(stream);
}

int32_t kel_close(int32_t fd) {
    return os::close(fd);
}

int64_t kel_read(int32_t fd, void *buffer, size_t count) {
    return os::read(fd, buffer, count);
}

int64_t kel_write(int32_t fd, const void *buffer, size_t count) {
    return os::write(fd, buffer, count);
}

int32_t unix_to_native_path(char *target, const char *source) {
    const size_t size = std::strlen(source) + 1;
    std::memmove(target, source, size);
    replace_all(target, size, '/', os::path_separator);
    return 0;
}

int32_t kel_unlink(const char *name) {
    const NativeName native(name);
    return native ? os::remove_file(native.text()) : -1;
}

int32_t kel_rename(const char *from, const char *to) {
    const NativeName native_from(from);
    if (!native_from) return -1;
    const NativeName native_to(to);
    return native_to ? os::replace_file(native_from.text(), native_to.text()) : -1;
}

char *kel_getcwd(char *buffer, size_t size) {
    char *const found = os::current_directory(buffer, size);
    if (found) replace_all(found, size, os::path_separator, '/');
    return found;
}

} // extern "C"
