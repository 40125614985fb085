// Modules: the format NAME is in the shared object NAME_cvtformat, which exports its record under
// that name. A module stays for the life of the process once its format is in the table.

#include "formats/format_modules.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "codecs/codecs.h"
#include "formats/colon_list.h"
#include "formats/formats.h"
#include "util/shared_object.h"

namespace vor {
namespace {

constexpr const char *where = "lfloadfmt";
constexpr std::string_view record_suffix = "_cvtformat";
constexpr const char *bad_module = "cannot find init symbol (bad module?)";

void *bitmap_module = nullptr;

// A longer name is told as far as one that could have been loaded.
int32_t no_such_format(std::string_view name) {
    char text[module_name_room + 32];
    const auto length = static_cast<int>(std::min(name.size(), module_name_room));
    std::snprintf(text, sizeof text, "no such format: %.*s", length, name.data());
    return lferror(nullptr, where, LFE_OS, 0, text);
}

// Registers the record that a module holds. -1 after a report, and the module can be closed.
int32_t register_module(void *module, const char *symbol, const char *name) {
    auto *record = static_cast<lffmt_t *>(so_getsym(module, symbol));
    if (!record) return lferror(nullptr, name, LFE_OS, 0, bad_module);
    record->module = module;
    const int32_t row = lfregisterfmt(record);
    if (row < 0) record->module = nullptr;
    return row;
}

int32_t load_module(const char *name) {
    const size_t length = std::strlen(name);
    if (length + record_suffix.size() >= module_name_room) {
        errno = ENAMETOOLONG;
        return no_such_format(name);
    }
    char symbol[module_name_room];
    std::snprintf(symbol, sizeof symbol, "%s%s", name, record_suffix.data());
    void *const module = so_open(symbol);
    if (!module) return no_such_format(name);
    const int32_t row = register_module(module, symbol, name);
    if (row < 0) so_close(module);
    return row;
}

void load_item(std::string_view item) {
    char name[module_name_room];
    if (item.size() >= sizeof name) {
        errno = ENAMETOOLONG;
        no_such_format(item);
        return;
    }
    name[item.copy(name, item.size())] = '\0';
    lfloadfmt(name);
}

using BitmapInit = int32_t (*)();

// What is wrong with the module in bitmap_module, or NULL once its codecs are installed.
const char *start_bitmap_module() {
    const auto init = reinterpret_cast<BitmapInit>(so_getsym(bitmap_module, "vortobm_init"));
    if (!init) return bad_module;
    if (init() == 0) return nullptr;
    lfbmsetup(nullptr, nullptr); // what it has installed goes with it
    return "module init failed";
}

} // namespace

bool autoload_allowed() {
    return !std::getenv("KEL_NO_AUTOLOAD");
}

void load_listed_formats(std::string_view list, size_t longest) {
    while (!list.empty()) {
        const std::string_view item = next_item(&list);
        if (!item.empty() && item.size() <= longest) load_item(item);
    }
}

int32_t lfbm_load() {
    constexpr const char *name = "lfbm_load";
    if (bitmap_module) return lferror(nullptr, name, LFE_ARGUMENT, 0, "module allready loaded");
    bitmap_module = so_open("vortobm");
    if (!bitmap_module) {
        return lferror(nullptr, name, LFE_OS, 0, "failed to load vortobm module");
    }
    const char *const fault = start_bitmap_module();
    if (!fault) return 0;
    lferror(nullptr, name, LFE_ARGUMENT, 0, fault);
    so_close(bitmap_module);
    bitmap_module = nullptr;
    return -1;
}

} // namespace vor

int32_t lfloadfmt(const char *name) {
    if (lfregisterfmt(nullptr) < 0) return -1;
    const int32_t row = lffmtindex(name);
    return row >= 0 ? row : vor::load_module(name ? name : "");
}
