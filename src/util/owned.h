// Blocks from malloc: held by an owner inside the library, free to pass to callers.
#ifndef VOR_UTIL_OWNED_H
#define VOR_UTIL_OWNED_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <type_traits>

namespace vor {

struct FreeDeleter {
    void operator()(void *block) const { std::free(block); }
};

// Owns a block of malloc. T may be an array type, as in malloc_ptr<char[]>.
template <class T>
using malloc_ptr = std::unique_ptr<T, FreeDeleter>;

// Stores a * b, or leaves `product` alone and gives false if it does not fit.
inline bool checked_multiply(size_t a, size_t b, size_t *product) {
    if (a != 0 && b > SIZE_MAX / a) return false;
    *product = a * b;
    return true;
}

// Stores a + b, or leaves `sum` alone and gives false if it does not fit.
inline bool checked_add(size_t a, size_t b, size_t *sum) {
    if (b > SIZE_MAX - a) return false;
    *sum = a + b;
    return true;
}

// Room for `count` elements with indeterminate contents; NULL if there is no memory or the size
// does not fit. A count of 0 gives a block too, so that NULL always means failure.
template <class T>
T *allocate_array(size_t count) {
    static_assert(std::is_trivially_copyable_v<T>);
    size_t bytes = 0;
    if (!checked_multiply(count, sizeof(T), &bytes)) return nullptr;
    return static_cast<T *>(std::malloc(bytes != 0 ? bytes : 1));
}

// allocate_array with all bytes 0.
template <class T>
T *allocate_zeroed(size_t count) {
    T *block = allocate_array<T>(count);
    if (block) std::memset(static_cast<void *>(block), 0, count * sizeof(T));
    return block;
}

// Changes the room of `block` to `count` elements, as realloc does: NULL leaves `block` alone.
template <class T>
T *reallocate_array(T *block, size_t count) {
    static_assert(std::is_trivially_copyable_v<T>);
    size_t bytes = 0;
    // NOLINTNEXTLINE(bugprone-sizeof-expression): an array of pointers is meant where T is one
    if (!checked_multiply(count, sizeof(T), &bytes)) return nullptr;
    return static_cast<T *>(std::realloc(static_cast<void *>(block), bytes != 0 ? bytes : 1));
}

// A copy of `text` from malloc, or NULL if there is no memory.
inline char *copy_text(const char *text) {
    const size_t size = std::strlen(text) + 1;
    char *copy = allocate_array<char>(size);
    if (copy) std::memcpy(copy, text, size);
    return copy;
}

} // namespace vor

#endif
