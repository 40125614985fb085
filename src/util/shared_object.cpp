// Shared objects found in a list of directories. The list of the start is a constant; the first
// change makes one on the heap, with room that grows by steps.
#include "util/shared_object.h"

#include <cstdlib>
#include <cstring>
#include <span>

#include "platform/kel.h"
#include "platform/native_name.h"
#include "platform/os.h"
#include "util/install.h"
#include "util/owned.h"
#include "util/paths.h"

namespace {

namespace os = vor::os;
using vor::NativePath;

constexpr const char *start_list[] = {"plugins"};

constexpr size_t room_step = 64;

struct HeapList {
    char **directories; // NULL: the list is that of the start
    size_t count;
    size_t room;
};
HeapList heap_list = {};

std::span<const char *const> search_list() {
    if (!heap_list.directories) return start_list;
    return {heap_list.directories, heap_list.count};
}

void go_back_to_start() {
    for (size_t i = 0; i < heap_list.count; ++i)
        std::free(heap_list.directories[i]);
    std::free(static_cast<void *>(heap_list.directories));
    heap_list = {};
}

bool add_room() {
    const size_t room = heap_list.room + room_step;
    char **const grown = vor::reallocate_array(heap_list.directories, room);
    if (!grown) return false;
    heap_list.directories = grown;
    heap_list.room = room;
    return true;
}

bool is_listed(const char *directory) {
    for (const char *const listed : search_list())
        if (std::strcmp(listed, directory) == 0) return true;
    return false;
}

bool append(const char *directory) {
    if (heap_list.count == heap_list.room && !add_room()) return false;
    char *const copy = vor::copy_text(directory);
    if (copy) heap_list.directories[heap_list.count++] = copy;
    return copy != nullptr;
}

// Only what is read like any file goes to the system's loader: an opening of a pipe would wait.
bool is_candidate(const NativePath &path) {
    kel_stat_t status;
    if (!path.fits() || kel_stat(path.text(), &status) != 0) return false;
    if ((status.mode & KEL_S_IFMT) != KEL_S_IFREG) return false;
    const int32_t fd = kel_open(path.text(), KEL_O_RDONLY | KEL_O_BINARY, 0);
    if (fd == -1) return false;
    kel_close(fd);
    return true;
}

// Whether there is such a file, as the path stands or with the suffix, which is then in the path.
bool find_file(NativePath *path) {
    if (is_candidate(*path)) return true;
    path->add(os::shared_object_suffix);
    return is_candidate(*path);
}

NativePath candidate(const char *directory, const char *name) {
    NativePath path;
    if (!isabs_path(directory)) {
        path.add(kel_runtime_topdir());
        path.separate();
    }
    path.add(directory);
    path.separate();
    path.add(name);
    return path;
}

} // namespace

extern "C" {

int32_t so_setdir(const char *directory, int32_t replace) {
    if (replace) {
        go_back_to_start();
        if (!add_room()) return -1;
    } else if (!heap_list.directories) {
        return -1;
    }
    if (!directory || is_listed(directory) || append(directory)) return 0;
    go_back_to_start();
    return -1;
}

void *so_open(const char *name) {
    const std::span<const char *const> directories = search_list();
    if (!name || directories.empty()) return nullptr;
    if (isabs_path(name)) {
        NativePath path;
        path.add(name);
        return find_file(&path) ? os::load_object(path.text()) : nullptr;
    }
    for (const char *const directory : directories) {
        NativePath path = candidate(directory, name);
        if (find_file(&path)) return os::load_object(path.text());
    }
    return nullptr;
}

int32_t so_close(void *handle) {
    if (handle) os::unload_object(handle);
    return 0;
}

void *so_getsym(void *handle, const char *symbol) {
    return handle && symbol ? os::object_symbol(handle, symbol) : nullptr;
}

} // extern "C"
