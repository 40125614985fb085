// Track buffers. The storage, in units of 8 bytes:
//
//     guard | size units of data | guard
//
// The second word of the first unit and the last word of the last hold fixed patterns.

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "trackfile/handle.h"
#include "util/owned.h"

static_assert(sizeof(lfrun) == 8);

namespace vor {
namespace {

constexpr uint32_t shrink_step = 32768; // units; a smaller loss is not worth a new block

bool is_bitmap(const trackbuf *t) {
    return (t->mode & GT_BITMAP) != 0;
}

bool is_foreign(const trackbuf *t) {
    return (t->mode & GT_FOREIGN) != 0;
}

// Units for that many runs, or pixel bytes of a bitmap row.
uint32_t units_for(const trackbuf *t, uint32_t count) {
    return is_bitmap(t) ? count / uint32_t{sizeof(lfrun)} + 1 : count;
}

void set_guards(trackbuf *t) {
    t->base[0].colour = GT_FRONT_GUARD;
    t->base[size_t{t->size} + 1].colour = GT_END_GUARD;
    t->data = t->base + 1;
}

int32_t out_of_memory() {
    return lferror(nullptr, "gtgrow", LFE_MEMORY, 0, nullptr);
}

int32_t resize_storage(trackbuf *t, uint32_t capacity) {
    lfrun *storage = reallocate_array(t->base, size_t{capacity} + 2);
    if (!storage) {
        if (t->base) t->data = t->base + 1;
        return out_of_memory();
    }
    t->base = storage;
    t->size = capacity;
    set_guards(t);
    return 0;
}

// Ends the process if the buffer's pointer or count cannot be right: whoever wrote past it may have
// written anywhere.
void gt_sentinel(const trackbuf *t) {
    const auto base = reinterpret_cast<uintptr_t>(t->base);
    const auto data = reinterpret_cast<uintptr_t>(t->data);
    const uint64_t units = uint64_t{t->size} + 2;
    const uint64_t end = base + units * sizeof(lfrun);
    const uint64_t most = is_bitmap(t) ? units * sizeof(lfrun) : units;
    const bool under = data + sizeof(lfrun) < base;
    const bool over = data > end || (t->nruns > 0 && static_cast<uint64_t>(t->nruns) > most);
    if (!under && !over) return;
    char text[200];
    std::snprintf(text, sizeof text, "trackptr %sflow (gtrack: %p, P=%p, Data=%p..%p)",
                  under ? "under" : "over", static_cast<const void *>(t),
                  static_cast<const void *>(t->data), static_cast<const void *>(t->base),
                  reinterpret_cast<const void *>(end));
    lferror(nullptr, "gt_sentinel", LFE_OS, 0, text);
    std::abort();
}

// A mode other than 0 goes to gtgrow as its init flag: the target starts afresh, with mode 0 and a
// unit for each pixel. That is relied on. Storage of its own goes before, so that it is not lost.
int32_t grow_target(trackbuf *target, const trackbuf *source, uint32_t count) {
    if (source->mode != 0 && !is_foreign(target)) std::free(target->base);
    return gtgrow(target, count + 2, static_cast<int32_t>(source->mode), 0) < 0 ? -1 : 0;
}

} // namespace
} // namespace vor

using namespace vor;

int32_t gtgrow(trackbuf *t, uint32_t size, int32_t init, int32_t mode) {
    if (init != 0) {
        std::memset(t, 0, sizeof *t);
        t->mode = static_cast<uint32_t>(mode);
    } else if (mode >= 0) {
        t->mode = static_cast<uint32_t>(mode);
    }
    t->imgtrk = -1;
    if (init != 0 && size == 0) return 0;

    const uint32_t capacity = units_for(t, size);
    if (is_foreign(t)) {
        t->size = capacity;
        return 0;
    }
    // The byte count is a 32-bit number on every machine.
    if (capacity == 0 || (uint64_t{capacity} + 2) * sizeof(lfrun) > UINT32_MAX) {
        return lferror(nullptr, "gtgrow", LFE_ARGUMENT, 0, "bad track size (overflow?)");
    }
    if (t->base && t->size - capacity < shrink_step) { // growth wraps to a large number
        set_guards(t);
        return 1;
    }
    return resize_storage(t, capacity);
}

int32_t gtfree(trackbuf *t) {
    if (!t->base) return is_foreign(t) ? 0 : -1;
    gt_sentinel(t);
    if (!is_foreign(t)) std::free(t->base);
    t->base = nullptr;
    t->data = nullptr;
    t->imgtrk = -1;
    return 0;
}

int32_t lffill(trackbuf *t, int32_t length, uint32_t colour) {
    if (is_foreign(t) || !t->base || t->size < 1) return -1;
    t->data = t->base + 1;
    t->data[0] = {static_cast<uint32_t>(length), colour};
    t->nruns = 1;
    t->imgtrk = -1;
    return 1;
}

int32_t bmfill(trackbuf *t, int32_t count, uint32_t value) {
    if (is_foreign(t)) return -1;
    const ptrdiff_t units = t->base ? t->base + t->size + 1 - t->data : 0;
    if (count < 0 || count > units * static_cast<ptrdiff_t>(sizeof(lfrun))) {
        return lferror(nullptr, "bmfill", LFE_ARGUMENT, 0, "track buffer too small");
    }
    std::memset(t->data, static_cast<int>(value & 0xFF), static_cast<size_t>(count));
    t->nruns = count;
    t->imgtrk = -1;
    return 0;
}

int32_t lfcopytrack(trackbuf *target, const trackbuf *source) {
    if (target->mode != source->mode) {
        return lferror(nullptr, "lfcopytrack", LFE_ARGUMENT, 0, "incompatible track modes");
    }
    const uint32_t count = source->nruns > 0 ? static_cast<uint32_t>(source->nruns) : 0;
    if (target->size < units_for(source, count) && grow_target(target, source, count) < 0) {
        return -1;
    }
    if (count > 0) {
        if (!target->base) {
            return lferror(nullptr, "lfcopytrack", LFE_ARGUMENT, 0, "track buffer too small");
        }
        target->data = target->base + 1;
        std::memcpy(target->data, source->data, count * (is_bitmap(source) ? 1 : sizeof(lfrun)));
    }
    target->nruns = source->nruns;
    lfcopyflags(target, source);
    return 0;
}

void lfcopyflags(trackbuf *target, const trackbuf *source) {
    std::memcpy(target->tflags, source->tflags, sizeof target->tflags);
}
