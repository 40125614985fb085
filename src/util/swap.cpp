// Byte order reversed, an element at a time. The bytes go through a register, so that source and
// target may be one and need no alignment.
#include <cstring>

#include "util/services.h"

namespace {

constexpr uint16_t reversed(uint16_t v) {
    return static_cast<uint16_t>(v << 8 | v >> 8);
}

constexpr uint32_t reversed(uint32_t v) {
    return v << 24 | (v & 0xFF00) << 8 | (v >> 8 & 0xFF00) | v >> 24;
}

constexpr uint64_t reversed(uint64_t v) {
    return uint64_t{reversed(static_cast<uint32_t>(v))} << 32 |
           reversed(static_cast<uint32_t>(v >> 32));
}

template <class Element>
void swap_elements(void *target, const void *source, size_t size) {
    char *const to = static_cast<char *>(target);
    const char *const from = static_cast<const char *>(source);
    for (size_t at = 0; size - at >= sizeof(Element); at += sizeof(Element)) {
        Element element;
        std::memcpy(&element, from + at, sizeof element);
        element = reversed(element);
        std::memcpy(to + at, &element, sizeof element);
    }
}

} // namespace

extern "C" {

void swapshort(void *data, size_t size) {
    swap_elements<uint16_t>(data, data, size);
}

void swaplong(void *data, size_t size) {
    swap_elements<uint32_t>(data, data, size);
}

void swapquad(void *data, size_t size) {
    swap_elements<uint64_t>(data, data, size);
}

void swapshort_a(void *target, const void *source, size_t size) {
    swap_elements<uint16_t>(target, source, size);
}

void swaplong_a(void *target, const void *source, size_t size) {
    swap_elements<uint32_t>(target, source, size);
}

void swapquad_a(void *target, const void *source, size_t size) {
    swap_elements<uint64_t>(target, source, size);
}

} // extern "C"
