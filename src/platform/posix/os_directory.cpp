// Directories and volumes on a POSIX system.
#include "platform/os.h"

#include <dirent.h>
#include <stdlib.h>
#include <sys/statvfs.h>

#include <cerrno>
#include <climits>
#include <cstring>

#include "platform/posix/mount_table.h"

namespace vor::os {

namespace {

DIR *directory_of(intptr_t search) {
    return reinterpret_cast<DIR *>(search);
}

// No volume is larger than that.
uint64_t in_bytes(uint64_t blocks, uint64_t block_size) {
    return block_size != 0 && blocks > UINT64_MAX / block_size ? UINT64_MAX : blocks * block_size;
}

} // namespace

intptr_t start_search(const char *directory, char *name, size_t size) {
    const int before = errno;
    DIR *const opened = ::opendir(directory);
    if (!opened) return KEL_DIR_CLOSED;
    const auto search = reinterpret_cast<intptr_t>(opened);
    errno = 0;
    if (continue_search(search, name, size)) {
        errno = before;
        return search;
    }
    const int cause = errno != 0 ? errno : ENOENT;
    end_search(search);
    errno = cause;
    return KEL_DIR_CLOSED;
}

bool continue_search(intptr_t search, char *name, size_t size) {
    while (const dirent *const entry = ::readdir(directory_of(search))) {
        const size_t length = std::strlen(entry->d_name);
        if (length >= size) continue;
        std::memcpy(name, entry->d_name, length + 1);
        return true;
    }
    return false;
}

void end_search(intptr_t search) {
    ::closedir(directory_of(search));
}

bool query_volume(const char *path, Volume *volume) {
    char real_path[PATH_MAX];
    struct statvfs found = {};
    if (!::realpath(path, real_path) || ::statvfs(path, &found) != 0) return false;
    volume->size = in_bytes(found.f_blocks, found.f_frsize);
    volume->free = in_bytes(found.f_bfree, found.f_frsize);
    volume->available = in_bytes(found.f_bavail, found.f_frsize);
    volume->serial_number = static_cast<uint32_t>(found.f_fsid);
    volume->longest_name = static_cast<uint32_t>(found.f_namemax);
    find_file_system("/proc/self/mounts", real_path, volume->file_system,
                     sizeof volume->file_system);
    return true;
}

} // namespace vor::os
