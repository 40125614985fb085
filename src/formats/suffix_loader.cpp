#include "formats/suffix_loader.h"

#include <algorithm>
#include <string_view>

#include "formats/format_modules.h"
#include "formats/formats.h"
#include "formats/suffix_table.h"
#include "util/numbers.h"

namespace vor {
namespace {

constexpr size_t suffix_room = 80; // with the dot, and a zero byte

bool table_tried = false;
SuffixRow *table = nullptr;

const SuffixRow *suffix_table() {
    if (!table_tried) {
        table_tried = true;
        table = read_suffix_table();
    }
    return table;
}

// Other characters at the end, such as the "~" of a backup, belong to no suffix.
std::string_view strip(std::string_view suffix) {
    while (!suffix.empty() && !is_alphanumeric(suffix.back()))
        suffix.remove_suffix(1);
    return suffix;
}

// No format has a colon in its name, and a module's name must not begin like a drive: it would be
// looked for in the current directory.
void load_by_name(std::string_view suffix) {
    if (suffix.find(':') != std::string_view::npos) return;
    char name[suffix_room];
    *std::transform(suffix.begin() + 1, suffix.end(), name, to_lower) = '\0';
    lfloadfmt(name);
}

} // namespace

void offer_suffix(const char *file_name) {
    const char *const text = file_name ? getsuffix(file_name) : nullptr;
    if (!text || !autoload_allowed()) return;
    const std::string_view whole = text;
    const std::string_view suffix = strip(whole);
    if (whole.size() >= suffix_room || suffix.size() < 2) return;
    const SuffixRow *const rows = suffix_table();
    if (!rows) {
        load_by_name(suffix);
    } else if (const char *const name = format_of_suffix(rows, suffix)) {
        lfloadfmt(name);
    }
}

} // namespace vor
