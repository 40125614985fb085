// Whole reads and writes on top of calls that may do less than they were asked to.
#include "platform/file_io.h"

#include <cerrno>
#include <cstdio>

#include "platform/kel.h"
#include "platform/os.h"

namespace vor {

bool read_exact(int32_t fd, void *to, size_t count) {
    errno = 0;
    char *at = static_cast<char *>(to);
    while (count > 0) {
        const int64_t got = kel_read(fd, at, count);
        if (got <= 0) return false;
        at += got;
        count -= static_cast<size_t>(got);
    }
    return true;
}

bool write_all(int32_t fd, const void *from, size_t count) {
    errno = 0;
    const char *at = static_cast<const char *>(from);
    while (count > 0) {
        const int64_t put = kel_write(fd, at, count);
        if (put <= 0) return false;
        at += put;
        count -= static_cast<size_t>(put);
    }
    return true;
}

const char *last_os_error_text() {
    thread_local char text[256];
    const int code = errno;
    if (const char *const found = os::error_text(code, text, sizeof text)) return found;
    std::snprintf(text, sizeof text, "error #%d", code);
    return text;
}

} // namespace vor
