// The table of formats: an array of pointers that grows and never shrinks, so that a row is a
// stable number.

#include <cstdlib>
#include <cstring>

#include "formats/format_modules.h"
#include "formats/formats.h"
#include "util/owned.h"

namespace {

constexpr int32_t table_step = 64;

lffmt_t **table = nullptr;
int32_t count = 0;
int32_t capacity = 0;
lf_init_cb init_callback = nullptr;

int32_t out_of_memory() {
    return lferror(nullptr, "lfregisterfmt", LFE_MEMORY, 0, nullptr);
}

int32_t grow_table() {
    lffmt_t **grown = vor::reallocate_array(table, static_cast<size_t>(capacity) + table_step);
    if (!grown) return out_of_memory();
    table = grown;
    capacity += table_step;
    return 0;
}

bool make_room() {
    return count < capacity || grow_table() == 0;
}

// Makes the table, puts the native format into row 0 and behind it the formats that the environment
// wants from the start.
int32_t start_table() {
    if (grow_table() < 0) return -1;
    if (count == 0 && lfregisterfmt(&vor_cvtformat) < 0) return 0;
    const char *const list = std::getenv("KEL_AUTOLOAD");
    if (list) vor::load_listed_formats(list, SIZE_MAX);
    return 0;
}

} // namespace

int32_t lfregisterfmt(lffmt_t *descriptor) {
    if (!table && start_table() < 0) return -1;
    if (!descriptor) return 0;
    if (!descriptor->name) {
        return lferror(nullptr, "lfregisterfmt", LFE_ARGUMENT, 0, "format without a name");
    }
    const int32_t known = lffmtindex(descriptor->name);
    if (known >= 0) return known;
    if (!make_room()) return -1;
    if (descriptor->init && descriptor->init() < 0) {
        return lferror(nullptr, descriptor->name, LFE_ARGUMENT, 0, "module init failed");
    }
    if (!make_room()) return -1; // the init may have registered formats of its own
    table[count++] = descriptor;
    if (init_callback) init_callback(descriptor);
    return count - 1;
}

int32_t lfsetinitcb(lf_init_cb callback) {
    init_callback = callback;
    return 0;
}

lffmt_t *lfdescriptor(int32_t row) {
    return row >= 0 && row < count ? table[row] : nullptr;
}

int32_t lffmtindex(const char *name) {
    if (!name) return -1;
    for (int32_t row = 0; row < count; ++row) {
        // NOLINTNEXTLINE(clang-analyzer-core.NullDereference): rows below count are filled
        if (std::strcmp(table[row]->name, name) == 0) return row;
    }
    return -1;
}

const char *lffmtname(int32_t row) {
    const lffmt_t *format = lfdescriptor(row);
    return format ? format->name : nullptr;
}

const char *lffmtsuffix(int32_t row) {
    const lffmt_t *format = lfdescriptor(row);
    return format ? format->suffix : nullptr;
}

const char *lffmtsuffixlist(int32_t row) {
    const lffmt_t *format = lfdescriptor(row);
    if (!format) return nullptr;
    return format->suffixlist ? format->suffixlist : format->suffix;
}

int32_t lffmajor(int32_t type) {
    return type >> 8;
}

int32_t lffminor(int32_t type) {
    return type & 0xFF;
}

int32_t lffdev(int32_t row, int32_t minor_number) {
    return static_cast<int32_t>(static_cast<uint32_t>(row) << 8 |
                                (static_cast<uint32_t>(minor_number) & 0xFF));
}
