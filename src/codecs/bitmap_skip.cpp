// Steps over rows of pixels: a row is found by arithmetic, and the file is sought where the buffer
// does not hold the place.

#include "codecs/bitmap_row.h"

#include <cerrno>

#include "codecs/bitruns.h"
#include "codecs/codec_functions.h"
#include "platform/kel.h"

namespace vor {
namespace {

constexpr const char *where = "skipbmx";
constexpr int64_t read_alignment = 16; // reads of the file begin at multiples of this

// a + b, or the nearest end of the range.
int64_t add_offsets(int64_t a, int64_t b) {
    if (b > 0 && a > INT64_MAX - b) return INT64_MAX;
    if (b < 0 && a < INT64_MIN - b) return INT64_MIN;
    return a + b;
}

// Goes to the place `distance` bytes from bufpos, with an empty buffer, or with the bytes that an
// aligned read brings.
int32_t seek_row(xvor_t *h, int64_t distance) {
    const int64_t place = add_offsets(h->bufpos, distance);
    const int64_t skew = place & (read_alignment - 1);
    h->bufpos = place - skew;
    forget_buffer(h);
    if (kel_lseek(h->fd, h->bufpos, KEL_SEEK_SET) < 0) {
        return lferror(h, where, LFE_OS, 0, nullptr);
    }
    if (skew == 0) return 0;
    errno = 0; // a short read is no failure of the system
    const int64_t got = kel_read(h->fd, h->buf, h->bufsize);
    if (got < skew) return lferror(h, where, LFE_EOF, 0, nullptr);
    h->bufptr = h->buf + skew;
    h->bufend = h->buf + got;
    return 0;
}

} // namespace

// Relied on as it is: a step that leaves the buffer takes the position's own offset in the buffer
// off the distance. From an empty buffer, where it is 0, the step is exact.
int32_t skip_from(xvor_t *h, int64_t at, int64_t distance) {
    const int64_t valid = h->bufend - h->buf;
    if (distance > valid - at) return seek_row(h, distance - at);
    const int64_t target = at + distance;
    if (target < 0) return seek_row(h, target);
    h->bufptr = h->buf + target;
    return 0;
}

int64_t rest_of_bit_row(const xvor_t *h, int32_t y) {
    if (y == 0) return h->rowbytes;
    const int64_t bytes = (int64_t{y} + pixels_per_byte - 1) / pixels_per_byte;
    return h->rowbytes - bytes * pixel_stride(h);
}

int64_t rest_of_byte_row(const xvor_t *h, int32_t y) {
    if (y == 0) return h->rowbytes;
    return h->rowbytes - pixel_stride(h) * y - plane_offset(h);
}

int32_t skipbmx(xvor_t *h, int64_t distance) {
    return skip_from(h, h->bufptr - h->buf, distance);
}

int32_t skipbm1(xvor_t *h, int32_t y) {
    return skipbmx(h, rest_of_bit_row(h, y));
}

int32_t skipbm8(xvor_t *h, int32_t y) {
    return skipbmx(h, rest_of_byte_row(h, y));
}

} // namespace vor
