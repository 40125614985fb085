// The parts of a native file that the header finds by an offset. An offset and a count from a file
// prove nothing: a section that does not lie within the file is never made room for.

#include "platform/file_io.h"
#include "platform/kel.h"
#include "vor/driver.h"

namespace vor {

int64_t data_size(const xvor_t *h) {
    const int64_t size = file_size(h);
    if (size >= 0) return size;
    const int64_t position = kel_lseek(h->fd, 0, KEL_SEEK_CUR);
    if (position < 0) return -1;
    const int64_t end = kel_lseek(h->fd, 0, KEL_SEEK_END);
    return kel_lseek(h->fd, position, KEL_SEEK_SET) == position ? end : -1;
}

bool section_in_file(const xvor_t *h, int64_t offset, uint64_t count, uint32_t width) {
    const int64_t size = data_size(h);
    if (offset < 0 || offset > size) return false;
    return count <= static_cast<uint64_t>(size - offset) / width;
}

bool read_section(const xvor_t *h, int64_t offset, void *to, size_t size) {
    return kel_lseek(h->fd, offset, KEL_SEEK_SET) == offset && read_exact(h->fd, to, size);
}

} // namespace vor
