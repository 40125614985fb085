// The system's list of what is mounted where.
#ifndef VOR_PLATFORM_POSIX_MOUNT_TABLE_H
#define VOR_PLATFORM_POSIX_MOUNT_TABLE_H

#include <cstddef>

namespace vor::os {

// Stores the name of the file system that holds `path`, an absolute one without links in it, by the
// mount table in the file `table`. The name is cut to `size` bytes with its zero byte; it is empty
// if the table cannot be read or does not tell.
void find_file_system(const char *table, const char *path, char *name, size_t size);

} // namespace vor::os

#endif
