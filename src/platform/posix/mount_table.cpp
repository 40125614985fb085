// A line of the mount table is a device, the directory it is mounted on, the type of its file
// system and options, with blanks between them; blanks within stand as "\040". A path belongs to
// the longest directory that it lies in, and of equal ones to the last, which covers the others.
#include "platform/posix/mount_table.h"

#include <mntent.h>

#include <cstdio>
#include <cstring>
#include <memory>

namespace vor::os {

namespace {

struct EndTable {
    void operator()(std::FILE *table) const { ::endmntent(table); }
};

bool lies_in(const char *path, const char *directory, size_t length) {
    if (std::strncmp(path, directory, length) != 0) return false;
    return path[length] == 0 || path[length] == '/' || directory[length - 1] == '/';
}

} // namespace

void find_file_system(const char *table, const char *path, char *name, size_t size) {
    *name = 0;
    const std::unique_ptr<std::FILE, EndTable> lines(::setmntent(table, "re"));
    if (!lines) return;
    size_t best = 1;
    struct mntent entry = {};
    char texts[8192]; // of one line; of a longer one the end is lost, which is options
    while (::getmntent_r(lines.get(), &entry, texts, sizeof texts)) {
        const size_t length = std::strlen(entry.mnt_dir);
        if (length < best || !lies_in(path, entry.mnt_dir, length)) continue;
        best = length;
        std::snprintf(name, size, "%s", entry.mnt_type);
    }
}

} // namespace vor::os
