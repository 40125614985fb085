// The entries of the rc file, one table for the process, and what its reader and the accessors
// share.
#ifndef VOR_CONFIG_RC_TABLE_H
#define VOR_CONFIG_RC_TABLE_H

#include <cstddef>
#include <cstdint>

// A text of a file or of the environment within a line of the log: a path is whole, a longer text
// is cut, since a line above the log's limit ends the process.
#define RC_SHOWN "%.1023s"

namespace vor {

// The RCF_ flags of the latest readrcfile, as rc_warn has changed them since.
extern uint32_t rc_flags;

struct RcEntry {
    RcEntry *next; // in the chain of its bucket
    char *key;
    char *value;
    size_t length; // of the value
    size_t room;   // bytes that the value's block has
    uint32_t flags;
};

// What stands between the key and the value of a line.
enum class RcOperator { set, lock, append };

enum class RcAdded { done, locked, no_memory };

// The value of a key, which is compared as it is, or NULL: the lookup that is in force once a file
// has been read. NULL and the empty text are no keys.
const char *rchash_find(const char *key);

// Makes an entry, or changes the one of that key; `new_flags` are those of a new entry beside what
// the operator gives it. Refused as `locked` is a change of a locked entry, and locking one that
// exists.
RcAdded rchash_add(const char *key, RcOperator how, const char *value, uint32_t new_flags);

// Frees all entries.
void rchash_clear();

// Sorts the entries anew if any were added since the last call. Without memory there is no order.
void rclist_init();

} // namespace vor

#endif
