// The search for a raster file: what findfile finds is tried as a track file.
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "runtime/path_search.h"
#include "trackfile/lf.h"
#include "util/owned.h"
#include "util/paths.h"

namespace {

constexpr const char *raster_suffixes = ":.vor:.kel";

const char *default_path = ".";

using Path = vor::malloc_ptr<char>;

// Both lists, joined by what separates no directories: the elements that meet there become one.
Path join_default(const char *path) {
    const size_t room = std::strlen(path) + std::strlen(default_path) + 2;
    Path joined(vor::allocate_array<char>(room));
    if (joined) std::snprintf(joined.get(), room, "%s:%s", path, default_path);
    return joined;
}

// Switches the reports of failures off for as long as it lives.
class QuietErrors {
public:
    QuietErrors() : before_(vorerror) { vorerror = 0; }
    ~QuietErrors() { vorerror = before_; }
    QuietErrors(const QuietErrors &) = delete;
    QuietErrors &operator=(const QuietErrors &) = delete;

private:
    int32_t before_;
};

bool opens(const char *name, lfinfo *info) {
    const QuietErrors quiet;
    xvor_t *const handle = lfopen(name, LF_SEQUENTIAL, 0, info);
    if (handle) lfclose(handle);
    return handle != nullptr;
}

} // namespace

extern "C" int32_t vorsearch(char *name, const char *path, lfinfo *info, int32_t flags) {
    if (!name) {
        default_path = path ? path : "";
        return 0;
    }
    if (!*name || std::strlen(name) >= FINDFILE_ROOM) return -1;
    Path joined;
    const bool only_default = !path || isabs_path(name);
    if (!only_default) {
        joined = join_default(path);
        if (!joined) return -1;
    }
    char found[FINDFILE_ROOM];
    findfile(found, name, only_default ? default_path : joined.get(), raster_suffixes);
    const bool opened = opens(found, info);
    if (flags & VORSEARCH_RENAME) std::memcpy(name, found, std::strlen(found) + 1);
    return opened ? 0 : vorerror;
}
