// Directory streams and the room of volumes. A search that starts has read its first entry by then,
// which the stream keeps until it is asked for.
#include "platform/directories.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "platform/native_name.h"
#include "platform/os.h"

namespace {

namespace os = vor::os;
using vor::NativeName;

constexpr uint64_t block_size = 4096;

uint64_t in_blocks(uint64_t bytes) {
    return bytes / block_size;
}

void fill_record(const os::Volume &from, kel_statvfs_t *to) {
    to->f_bsize = block_size;
    to->f_frsize = block_size;
    to->f_blocks = in_blocks(from.size);
    to->f_bfree = in_blocks(from.free);
    to->f_bavail = in_blocks(from.available);
    to->f_files = to->f_blocks;
    to->f_ffree = to->f_bfree;
    to->f_favail = to->f_bavail;
    to->f_fsid = from.serial_number;
    std::memcpy(to->f_basetype, from.file_system, sizeof to->f_basetype);
    to->f_namemax = from.longest_name;
}

} // namespace

extern "C" {

kel_DIR *kel_opendir(const char *name) {
    const NativeName native(name);
    if (!native) return nullptr;
    kel_DIR opened = {};
    opened.handle =
        os::start_search(native.text(), opened.entry.d_name, sizeof opened.entry.d_name);
    if (opened.handle == KEL_DIR_CLOSED) return nullptr;
    opened.first = KEL_DIR_FIRST_WAITS;
    opened.entry.d_ino = 1;
    kel_DIR *const stream = static_cast<kel_DIR *>(std::malloc(sizeof opened));
    if (!stream) {
        os::end_search(opened.handle);
        errno = ENOMEM;
        return nullptr;
    }
    *stream = opened;
    return stream;
}

kel_dirent *kel_readdir(kel_DIR *stream) {
    kel_dirent *const entry = &stream->entry;
    if (stream->first == KEL_DIR_FIRST_WAITS) {
        stream->first = KEL_DIR_FIRST_GIVEN;
        return entry;
    }
    if (!os::continue_search(stream->handle, entry->d_name, sizeof entry->d_name)) return nullptr;
    entry->d_ino = static_cast<int32_t>(static_cast<uint32_t>(entry->d_ino) + 1); // may wrap around
    return entry;
}

int32_t kel_closedir(kel_DIR *stream) {
    if (!stream || stream->handle == KEL_DIR_CLOSED) return -1;
    os::end_search(stream->handle);
    stream->handle = KEL_DIR_CLOSED;
    std::free(stream);
    return 0;
}

int32_t kel_statvfs(const char *path, kel_statvfs_t *record) {
    if (!path || !*path) {
        errno = EINVAL;
        return -1;
    }
    const NativeName native(path);
    os::Volume volume = {};
    if (!native || !os::query_volume(native.text(), &volume)) return -1;
    fill_record(volume, record);
    return 0;
}

} // extern "C"
