#include "vor/tag_index.h"

#include <cstdlib>
#include <cstring>

#include "util/owned.h"

namespace vor {
namespace {

constexpr uint32_t first_cells = 32;
constexpr uint32_t most_cells = uint32_t{1} << 31;

// FNV-1a.
uint32_t hash_name(const char *name) {
    uint32_t hash = 2166136261u;
    for (; *name; ++name)
        hash = (hash ^ static_cast<unsigned char>(*name)) * 16777619u;
    return hash;
}

const char *name_in_cell(const TagIndex &index, vortag *const *tags, uint32_t cell) {
    return tags[index.cells[cell] - 1]->tagname;
}

// The cell that holds the name, or the empty one where the search for it ends.
uint32_t probe(const TagIndex &index, vortag *const *tags, const char *name) {
    const uint32_t mask = index.ncells - 1;
    uint32_t cell = hash_name(name) & mask;
    while (index.cells[cell] != 0 && std::strcmp(name_in_cell(index, tags, cell), name) != 0)
        cell = (cell + 1) & mask;
    return cell;
}

} // namespace

int32_t find_in_index(const TagIndex &index, vortag *const *tags, const char *name) {
    return index.used == 0 ? -1 : index.cells[probe(index, tags, name)] - 1;
}

bool reserve_in_index(TagIndex *index, vortag *const *tags) {
    if (index->used < index->ncells / 2) return true;
    if (index->ncells >= most_cells) return false;
    TagIndex grown = *index;
    grown.ncells = index->ncells == 0 ? first_cells : index->ncells * 2;
    grown.cells = allocate_zeroed<int32_t>(grown.ncells);
    if (!grown.cells) return false;
    grown.used = 0;
    for (uint32_t cell = 0; cell < index->ncells; ++cell) {
        if (index->cells[cell] != 0) add_to_index(&grown, tags, index->cells[cell] - 1);
    }
    std::free(index->cells);
    *index = grown;
    return true;
}

void add_to_index(TagIndex *index, vortag *const *tags, int32_t slot) {
    index->cells[probe(*index, tags, tags[slot]->tagname)] = slot + 1;
    ++index->used;
}

// Cells behind the emptied one whose search would now end there move up.
void remove_from_index(TagIndex *index, vortag *const *tags, int32_t slot) {
    const uint32_t mask = index->ncells - 1;
    uint32_t hole = probe(*index, tags, tags[slot]->tagname);
    for (uint32_t cell = (hole + 1) & mask; index->cells[cell] != 0; cell = (cell + 1) & mask) {
        const uint32_t home = hash_name(name_in_cell(*index, tags, cell)) & mask;
        if (((cell - home) & mask) < ((cell - hole) & mask)) continue;
        index->cells[hole] = index->cells[cell];
        hole = cell;
    }
    index->cells[hole] = 0;
    --index->used;
}

void free_index(TagIndex *index) {
    std::free(index->cells);
    *index = {};
}

} // namespace vor
