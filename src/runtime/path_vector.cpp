// A list of names becomes a vector: one block with the entries, and a block for each text.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

#include "platform/kel.h"
#include "runtime/owned_path_vector.h"
#include "runtime/path_search.h"
#include "util/owned.h"

namespace {

using vor::owned_path_vector;

constexpr int32_t first_room = 40;
constexpr int32_t further_room = 256;

size_t vector_size(int32_t entries) {
    return offsetof(path_vector, entries) + static_cast<size_t>(entries) * sizeof(path_entry);
}

owned_path_vector make_vector() {
    owned_path_vector vector(static_cast<path_vector *>(std::malloc(vector_size(first_room))));
    if (vector) vector->count = 0;
    return vector;
}

// Makes room for more entries where `room` is used up.
bool have_room(owned_path_vector *vector, int32_t *room) {
    if ((*vector)->count < *room) return true;
    if (*room > std::numeric_limits<int32_t>::max() - further_room) return false;
    void *const grown = std::realloc(vector->get(), vector_size(*room + further_room));
    if (!grown) return false;
    static_cast<void>(vector->release());
    vector->reset(static_cast<path_vector *>(grown));
    *room += further_room;
    return true;
}

char *copy_element(const char *text, size_t length, int32_t flags) {
    if (length == 0 && (flags & PV_DOT)) return vor::copy_text(".");
    char *const copy = vor::allocate_array<char>(length + 1);
    if (!copy) return nullptr;
    std::memcpy(copy, text, length);
    copy[length] = 0;
    return copy;
}

int32_t modification_time(const char *name) {
    kel_stat_t status;
    if (kel_stat(name, &status) != 0) return 0;
    using Limits = std::numeric_limits<int32_t>;
    if (status.mtime > Limits::max()) return Limits::max();
    if (status.mtime < Limits::min()) return Limits::min();
    return static_cast<int32_t>(status.mtime);
}

} // namespace

extern "C" {

path_vector *build_pv(const char *text, int32_t flags, char separator) {
    const char stop[] = {separator ? separator : ':', 0};
    owned_path_vector vector = make_vector();
    if (!vector) return nullptr;
    int32_t room = first_room;
    while (*text) {
        const size_t length = std::strcspn(text, stop);
        if (!have_room(&vector, &room)) return nullptr;
        char *const copy = copy_element(text, length, flags);
        if (!copy) return nullptr;
        // All the rest of the list stands as the name here, which programs know of.
        const int32_t mtime = flags & PV_MTIME ? modification_time(text) : 0;
        vector->entries[vector->count++] = {copy, mtime};
        text += length;
        if (*text) ++text;
    }
    return vector.release();
}

void destroy_pv(path_vector *vector) {
    if (!vector) return;
    for (int32_t i = 0; i < vector->count; ++i)
        std::free(vector->entries[i].text);
    std::free(vector);
}

} // extern "C"
