// Positions and lengths of open files, 64 bits wide.
#include <cerrno>

#include "platform/kel.h"
#include "platform/os.h"

namespace {

namespace os = vor::os;

// The end of the file behind a stream. The descriptor goes back to where it was, since the stream's
// buffer, not yet written, belongs there.
int64_t end_behind(FILE *stream) {
    const int32_t fd = os::stream_descriptor(stream);
    const int64_t here = kel_lseek(fd, 0, KEL_SEEK_CUR);
    if (here < 0) return -1;
    const int64_t end = kel_lseek(fd, 0, KEL_SEEK_END);
    return kel_lseek(fd, here, KEL_SEEK_SET) == here ? end : -1;
}

// What `whence` counts from, or -1 with errno set.
int64_t base_of(FILE *stream, int32_t whence) {
    switch (whence) {
    case KEL_SEEK_SET:
        return 0;
    case KEL_SEEK_CUR:
        return kel_ftello(stream);
    case KEL_SEEK_END:
        return end_behind(stream);
    default:
        errno = EINVAL;
        return -1;
    }
}

} // namespace

extern "C" {

int64_t kel_lseek(int32_t fd, int64_t offset, int32_t whence) {
    return os::seek(fd, offset, whence);
}

int32_t kel_fseeko(FILE *stream, int64_t offset, int32_t whence) {
    const int64_t base = base_of(stream, whence);
    if (base < 0) return -1;
    if (offset > INT64_MAX - base || base + offset < 0) {
        errno = EINVAL;
        return -1;
    }
    return os::seek_stream(stream, base + offset);
}

int64_t kel_ftello(FILE *stream) {
    return os::tell_stream(stream);
}

int32_t kel_truncate(int32_t fd, int64_t length) {
    const int64_t here = kel_lseek(fd, 0, KEL_SEEK_CUR);
    if (here < 0) return -1;
    const int64_t back = here > length ? length : here;
    if (kel_lseek(fd, length, KEL_SEEK_SET) != length) {
        kel_lseek(fd, back, KEL_SEEK_SET);
        return -1;
    }
    const int32_t marked = os::set_length(fd, length);
    return kel_lseek(fd, back, KEL_SEEK_SET) == back ? marked : -1;
}

} // extern "C"
