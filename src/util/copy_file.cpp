// Files copied in blocks, with someone told after each.
#include "platform/file_io.h"
#include "platform/kel.h"
#include "util/services.h"

namespace {

constexpr size_t block_size = 4096;

} // namespace

extern "C" {

int32_t fdcopyfile(int32_t source, int32_t target, kel_progress_fn progress, void *data) {
    kel_stat_t status;
    if (kel_fstat(source, &status) != 0) return -1;
    int64_t done = 0;
    // A source that gives more than its size is a failure already; one without an end has one here.
    while (done <= status.size) {
        char block[block_size];
        const int64_t got = kel_read(source, block, sizeof block);
        if (got < 0) return -1;
        if (got == 0) break;
        if (!vor::write_all(target, block, static_cast<size_t>(got))) return -1;
        done += got;
        if (progress && progress(data, done, status.size) < 0) return -1;
    }
    return done == status.size ? 0 : -1;
}

int32_t fcopyfile(const char *from, const char *to, kel_progress_fn progress, void *data) {
    const int32_t source = kel_open(from, KEL_O_RDONLY | KEL_O_BINARY, 0);
    if (source == -1) return -1;
    const int32_t target = kel_open(to, KEL_O_WRONLY | KEL_O_CREAT | KEL_O_TRUNC | KEL_O_BINARY,
                                    KEL_DEFAULT_PERMISSIONS);
    int32_t result = target == -1 ? -1 : fdcopyfile(source, target, progress, data);
    if (kel_close(source) != 0) result = -1;
    if (target != -1 && kel_close(target) != 0) result = -1;
    return result;
}

} // extern "C"
