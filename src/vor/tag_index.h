// Finds the slot of a tag by its name, and the first free slot, in a time that does not grow with
// the table: a file may hold millions of tags, and each is looked up when it is loaded.
//
// A hash table with linear probing over the slots. The names stay in the records.
#ifndef VOR_VOR_TAG_INDEX_H
#define VOR_VOR_TAG_INDEX_H

#include <cstdint>

#include "vor/vor.h"

namespace vor {

struct TagIndex {
    int32_t *cells;    // slot + 1, 0 when empty; owned
    uint32_t ncells;   // 0 or a power of two, at least twice `used`
    uint32_t used;     // cells that are not empty
    int32_t firstfree; // no slot below it is free
};

// The slot whose record has that name, or -1.
int32_t find_in_index(const TagIndex &index, vortag *const *tags, const char *name);

// Makes room for one more record. False, with the index as it was, if there is no memory.
bool reserve_in_index(TagIndex *index, vortag *const *tags);

// Enters the record of a slot. Its name is not in the index, and room has been made.
void add_to_index(TagIndex *index, vortag *const *tags, int32_t slot);

// Takes out the record of a slot, which must still be there.
void remove_from_index(TagIndex *index, vortag *const *tags, int32_t slot);

void free_index(TagIndex *index);

} // namespace vor

#endif
