// Chunks hold the entries, each in one place for life: lists and chains point there, and a chunk
// goes only with all the others. Entries are found by way of chains, enough of them for the
// hundreds of thousands of keys that a file may hold, and walked by way of a list that is sorted
// once a file has been read.
#include "config/rc_table.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "config/rc.h"
#include "runtime/log.h"
#include "util/owned.h"

namespace vor {

uint32_t rc_flags = 0;

namespace {

constexpr uint32_t entries_of_chunk = 128;
constexpr uint32_t buckets = 4096;

struct Chunk {
    Chunk *next;
    uint32_t used;
    RcEntry entries[entries_of_chunk];
};

RcEntry *rchash[buckets] = {};
Chunk *rcchunks = nullptr;
Chunk *rcchunk_last = nullptr;
int32_t rccount = 0;
RcEntry **rclist = nullptr; // its block outlives the entries and is used again
bool rclist_valid = false;

RcEntry **chain_of(const char *key) {
    uint32_t hash = 2166136261; // FNV-1a
    for (; *key; ++key)
        hash = (hash ^ static_cast<unsigned char>(*key)) * 16777619;
    return &rchash[hash % buckets];
}

RcEntry *find(const char *key) {
    RcEntry *entry = *chain_of(key);
    while (entry && std::strcmp(entry->key, key) != 0)
        entry = entry->next;
    return entry;
}

// The next free place, which counts as used once an entry is in it; NULL without memory.
RcEntry *next_place() {
    if (!rcchunk_last || rcchunk_last->used == entries_of_chunk) {
        Chunk *const chunk = allocate_array<Chunk>(1);
        if (!chunk) return nullptr;
        chunk->next = nullptr;
        chunk->used = 0;
        (rcchunk_last ? rcchunk_last->next : rcchunks) = chunk;
        rcchunk_last = chunk;
    }
    return &rcchunk_last->entries[rcchunk_last->used];
}

bool make_entry(const char *key, const char *value, uint32_t flags) {
    RcEntry *const place = next_place();
    malloc_ptr<char[]> own_key(copy_text(key));
    malloc_ptr<char[]> own_value(copy_text(value));
    if (!place || !own_key || !own_value) return false;
    RcEntry **const chain = chain_of(key);
    const size_t length = std::strlen(value);
    *place = {*chain, own_key.release(), own_value.release(), length, length + 1, flags};
    *chain = place;
    ++rcchunk_last->used;
    ++rccount;
    rclist_valid = false;
    return true;
}

bool replace_value(RcEntry *entry, const char *value) {
    char *const copy = copy_text(value);
    if (!copy) return false;
    std::free(entry->value);
    entry->value = copy;
    entry->length = std::strlen(value);
    entry->room = entry->length + 1;
    entry->flags |= RCE_REPLACED;
    if (rc_flags & RCF_WARN)
        logmesg(LOGMESG_WARNING, "duplicate entry for '" RC_SHOWN "'", entry->key);
    return true;
}

// The room doubles, so that a value put together from many lines takes time in proportion to its
// length.
bool grow_value(RcEntry *entry, size_t needed) {
    if (needed <= entry->room) return true;
    const size_t room = std::max(needed, 2 * entry->room);
    char *const grown = reallocate_array(entry->value, room);
    if (!grown) return false;
    entry->value = grown;
    entry->room = room;
    return true;
}

bool append_value(RcEntry *entry, const char *value) {
    const size_t separator = entry->length > 0 ? 1 : 0;
    const size_t added = std::strlen(value);
    if (!grow_value(entry, entry->length + separator + added + 1)) return false;
    if (separator) entry->value[entry->length] = '\t';
    std::memcpy(entry->value + entry->length + separator, value, added + 1);
    entry->length += separator + added;
    return true;
}

// Entry `index` of the table in the order of the walk.
const RcEntry *entry_at(int32_t index) {
    if (rclist_valid) return rclist[index];
    const Chunk *chunk = rcchunks;
    auto left = static_cast<uint32_t>(index);
    for (; left >= entries_of_chunk; left -= entries_of_chunk)
        chunk = chunk->next;
    return &chunk->entries[left];
}

void deliver(rc_entry_t *rec, int32_t index) {
    const RcEntry *const entry = entry_at(index);
    *rec = {RC_ENTRY_SIZE, index + 1, entry->flags, entry->key, entry->value};
}

bool is_index(int32_t index) {
    return index >= 0 && index < rccount;
}

int32_t deliver_found(rc_entry_t *rec) {
    if (!rclist_valid || !rec->key || !is_index(rec->index)) return -1;
    for (int32_t i = rec->index; i < rccount; ++i) {
        if (!std::strstr(rclist[i]->key, rec->key)) continue;
        deliver(rec, i);
        return 0;
    }
    return -1;
}

} // namespace

const char *rchash_find(const char *key) {
    if (!key || !*key) return nullptr;
    const RcEntry *const entry = find(key);
    return entry ? entry->value : nullptr;
}

RcAdded rchash_add(const char *key, RcOperator how, const char *value, uint32_t new_flags) {
    const bool lock = how == RcOperator::lock;
    RcEntry *const entry = find(key);
    bool done = false;
    if (!entry) {
        done = make_entry(key, value, new_flags | RCE_SET | (lock ? uint32_t{RCE_LOCKED} : 0));
    } else if (lock || (entry->flags & RCE_LOCKED)) {
        return RcAdded::locked;
    } else if (how == RcOperator::append) {
        done = append_value(entry, value);
    } else {
        done = replace_value(entry, value);
    }
    return done ? RcAdded::done : RcAdded::no_memory;
}

void rchash_clear() {
    while (Chunk *const chunk = rcchunks) {
        for (uint32_t i = 0; i < chunk->used; ++i) {
            std::free(chunk->entries[i].key);
            std::free(chunk->entries[i].value);
        }
        rcchunks = chunk->next;
        std::free(chunk);
    }
    rcchunk_last = nullptr;
    std::fill(std::begin(rchash), std::end(rchash), nullptr);
    rccount = 0;
    rclist_valid = false;
}

void rclist_init() {
    if (rclist_valid) return;
    RcEntry **const list = reallocate_array(rclist, static_cast<size_t>(rccount));
    if (!list) std::free(static_cast<void *>(rclist));
    rclist = list;
    if (!list) return;
    RcEntry **end = list;
    for (Chunk *chunk = rcchunks; chunk; chunk = chunk->next) {
        for (uint32_t i = 0; i < chunk->used; ++i)
            *end++ = &chunk->entries[i];
    }
    std::sort(list, end,
              [](const RcEntry *a, const RcEntry *b) { return std::strcmp(a->key, b->key) < 0; });
    rclist_valid = true;
}

} // namespace vor

extern "C" {

int32_t rc_entry(rc_entry_t *rec, int32_t mode) {
    if (rec->size != RC_ENTRY_SIZE) {
        logmesg(LOGMESG_WARNING, "rc_entry(): bad magic");
        return -1;
    }
    switch (mode) {
    case RC_ENTRY_NEXT:
        if (!vor::is_index(rec->index)) return -1;
        vor::deliver(rec, rec->index);
        return 0;
    case RC_ENTRY_COUNT:
        *rec = {RC_ENTRY_SIZE, vor::rccount, 0, nullptr, nullptr};
        return 0;
    case RC_ENTRY_FIND:
        return vor::deliver_found(rec);
    default:
        return -1;
    }
}

} // extern "C"
