// A line of the file is
//
//     NAME  .SUFFIX[:.SUFFIX...]  [# a comment]
//
// The second field begins with a dot, or the line is none: marks in front of the suffixes, by which
// other programs ask for a comparison with case, make a line that counts for nothing. That is
// relied on.

#include "formats/suffix_table.h"

#include <algorithm>
#include <cstdlib>

#include "formats/colon_list.h"
#include "runtime/config_file.h"
#include "util/numbers.h"
#include "util/owned.h"

namespace vor {
namespace {

constexpr size_t room_step = 100; // rows

struct Table {
    SuffixRow *rows; // the one behind the last has no name
    size_t count;
    size_t room; // rows, the one at the end not counted
};

bool add_room(Table *table) {
    const size_t room = table->room + room_step;
    SuffixRow *const grown = reallocate_array(table->rows, room + 1);
    if (!grown) return false;
    table->rows = grown;
    table->room = room;
    table->rows[table->count] = {};
    return true;
}

bool ends_field(char c) {
    return static_cast<unsigned char>(c) <= ' ' || c == '\x7F' || c == '#';
}

std::string_view take_field(std::string_view *line) {
    const auto end = std::find_if(line->begin(), line->end(), ends_field);
    const std::string_view field = line->substr(0, static_cast<size_t>(end - line->begin()));
    line->remove_prefix(field.size());
    return field;
}

// One block for both texts.
bool append(Table *table, std::string_view name, std::string_view suffixes) {
    if (table->count == table->room && !add_room(table)) return false;
    char *const text = allocate_array<char>(name.size() + suffixes.size() + 2);
    if (!text) return false;
    char *const behind = std::copy(name.begin(), name.end(), text);
    *behind = '\0';
    *std::copy(suffixes.begin(), suffixes.end(), behind + 1) = '\0';
    table->rows[table->count++] = {text, behind + 1};
    table->rows[table->count] = {};
    return true;
}

// False if there is no memory for a row.
bool take_line(Table *table, std::string_view line) {
    const std::string_view name = take_field(&line);
    while (!line.empty() && is_blank(line.front()))
        line.remove_prefix(1);
    const std::string_view suffixes = take_field(&line);
    const bool is_row = !name.empty() && suffixes.starts_with('.');
    return !is_row || append(table, name, suffixes);
}

bool same_letters(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return to_lower(x) == to_lower(y); });
}

bool lists(std::string_view suffixes, std::string_view suffix) {
    while (!suffixes.empty())
        if (same_letters(next_item(&suffixes), suffix)) return true;
    return false;
}

} // namespace

SuffixRow *read_suffix_table() {
    config_file_t file;
    if (init_config_file(&file, ".formats", 0) < 0) return nullptr;
    Table table = {};
    if (add_room(&table)) {
        while (read_config_line(&file) >= 0 && take_line(&table, trim_config_line(&file))) {
        }
    }
    close_config_file(&file);
    return table.rows;
}

void free_suffix_table(SuffixRow *table) {
    for (const SuffixRow *row = table; row && row->name; ++row)
        std::free(const_cast<char *>(row->name));
    std::free(table);
}

const char *format_of_suffix(const SuffixRow *table, std::string_view suffix) {
    for (; table->name; ++table)
        if (lists(table->suffixes, suffix)) return table->name;
    return nullptr;
}

} // namespace vor
