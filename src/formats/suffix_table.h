// The user's table from suffixes to formats, the parameter file ".formats".
#ifndef VOR_FORMATS_SUFFIX_TABLE_H
#define VOR_FORMATS_SUFFIX_TABLE_H

#include <string_view>

namespace vor {

// A row; the texts are the table's. A row without a name ends the table.
struct SuffixRow {
    const char *name;     // of a format
    const char *suffixes; // with their dots, and colons in between
};

// Reads the file. NULL if it cannot be opened or there is no memory; if memory runs out later, the
// rows so far. The caller frees the table by free_suffix_table.
SuffixRow *read_suffix_table();
void free_suffix_table(SuffixRow *table);

// The name of the format of the first row that lists the suffix, in any case of its letters; NULL
// if none does.
const char *format_of_suffix(const SuffixRow *table, std::string_view suffix);

} // namespace vor

#endif
