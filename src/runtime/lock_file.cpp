// Locks by files that are held open. The table of this process's locks starts in static storage and
// moves to the heap as it grows.
#include "runtime/lock.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/file_io.h"
#include "platform/native_name.h"
#include "platform/os.h"
#include "util/owned.h"

namespace {

namespace os = vor::os;

struct Slot {
    int32_t handle; // of the open lock file, or no_handle
    char name[LOCK_NAME_SIZE];
};

constexpr int32_t no_handle = -1;
constexpr size_t start_slots = 16;
constexpr size_t more_slots = 64;

struct Table {
    Slot *slots;
    size_t count;
};

Slot start_table[start_slots];
Table table = {};

void mark_free(size_t from) {
    for (size_t i = from; i < table.count; ++i)
        table.slots[i].handle = no_handle;
}

// In a forked child, the locks are the parent's. Without the child's descriptors they end with it.
void drop_parents_locks() {
    for (size_t i = 0; i < table.count; ++i)
        if (table.slots[i].handle != no_handle) os::close(table.slots[i].handle);
    mark_free(0);
}

// False without memory.
bool set_up_table() {
    if (table.slots) return true;
    if (!os::watch_forks(nullptr, nullptr, drop_parents_locks)) return false;
    table.slots = start_table;
    table.count = start_slots;
    mark_free(0);
    return true;
}

bool grow_table() {
    Slot *const grown = vor::allocate_array<Slot>(table.count + more_slots);
    if (!grown) return false;
    std::memcpy(grown, table.slots, table.count * sizeof *grown);
    if (table.slots != start_table) std::free(table.slots);
    const size_t old_count = table.count;
    table.slots = grown;
    table.count += more_slots;
    mark_free(old_count);
    return true;
}

bool is_lock_name(const char *name) {
    return name && std::strlen(name) < LOCK_NAME_SIZE && !std::strpbrk(name, "/\\");
}

// The slot that holds the lock, or else the free one that can; NULL without memory.
Slot *find_slot(const char *name) {
    Slot *free_slot = nullptr;
    for (size_t i = 0; i < table.count; ++i) {
        Slot *const slot = &table.slots[i];
        if (slot->handle != no_handle && std::strcmp(slot->name, name) == 0) return slot;
        if (slot->handle == no_handle && !free_slot) free_slot = slot;
    }
    if (!free_slot) {
        const size_t old_count = table.count;
        if (!grow_table()) return nullptr;
        free_slot = &table.slots[old_count];
    }
    std::memcpy(free_slot->name, name, std::strlen(name) + 1);
    return free_slot;
}

// The slot of that number, or NULL if it is not in the table.
Slot *slot_of(int32_t number) {
    if (number < 0 || static_cast<size_t>(number) >= table.count) return nullptr;
    return &table.slots[number];
}

const char *lock_directory() {
    const char *directory = std::getenv("LOCKDIR");
    if (directory && *directory) return directory;
    directory = std::getenv("TMP");
    if (!directory) directory = std::getenv("TEMP");
    return directory ? directory : os::default_lock_directory;
}

vor::NativePath path_of(const char *name) {
    vor::NativePath path;
    path.add(lock_directory());
    path.separate();
    path.add(name);
    return path;
}

// A full disk does not undo the lock.
void write_if_possible(int32_t handle, const char *text) {
    vor::write_all(handle, text, std::strlen(text));
}

} // namespace

extern "C" {

int32_t win32_lock(const char *name) {
    if (!is_lock_name(name) || !set_up_table()) return -1;
    Slot *const slot = find_slot(name);
    if (!slot) return -1;
    if (slot->handle != no_handle) return static_cast<int32_t>(slot - table.slots);
    const vor::NativePath path = path_of(name);
    if (!path.fits()) return -1;
    slot->handle = os::take_lock_file(path.text());
    if (slot->handle == no_handle) return -1;
    char id[16];
    std::snprintf(id, sizeof id, "%d\n", os::process_id());
    write_if_possible(slot->handle, id);
    return 0;
}

int32_t win32_unlock(int32_t slot) {
    Slot *const held = slot_of(slot);
    if (!held || held->handle == no_handle) return -1;
    write_if_possible(held->handle, "released\n");
    const vor::NativePath path = path_of(held->name);
    os::give_back_lock_file(held->handle, path.fits() ? path.text() : nullptr);
    held->handle = no_handle;
    return 0;
}

int32_t win32_islocked(int32_t slot) {
    const Slot *const found = slot_of(slot);
    if (!found) return -1;
    return found->handle != no_handle ? 1 : 0;
}

} // extern "C"
