// The tag list: named blocks of data, the last section of a native file.
//
// A record is the same in the file and in memory: tagsize, 32 bytes of name, tagsize - 32 bytes of
// payload. In the file they stand one behind the other from tagoff, tagcount of them, in slot
// order. In memory each is a block of its own and `tags` has a slot for it; slots come in groups of
// 16, and a free one is null. In a file of the other byte order only tagsize is swapped.

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "platform/file_io.h"
#include "platform/kel.h"
#include "util/owned.h"
#include "util/services.h"
#include "vor/driver.h"
#include "vor/record_block.h"

namespace vor {
namespace {

constexpr const char *load_where = "vor_loadtags";
constexpr int32_t slot_group = 16;
constexpr size_t first_block = 1024; // of the work block that records are read into
constexpr uint32_t size_bytes = VOR_TAGHEAD - VOR_TAGNAME; // tagsize does not count itself

bool whole_words(uint32_t tagsize) {
    return tagsize % 4 == 0;
}

// Puts a copy of `record` into a slot. A block of another size takes the place of the old one,
// which goes last, so that a failure leaves the slot as it was.
bool store_record(vortag **slot, const vortag *record) {
    size_t bytes = 0;
    if (!checked_add(record->tagsize, size_bytes, &bytes)) return false;
    vortag *target = *slot;
    if (!target || target->tagsize != record->tagsize) {
        target = static_cast<vortag *>(std::malloc(bytes));
        if (!target) return false;
    }
    std::memmove(static_cast<void *>(target), record, bytes);
    target->tagname[VOR_TAGNAME - 1] = '\0';
    if (target != *slot) {
        std::free(*slot);
        *slot = target;
    }
    return true;
}

// The first free slot, with the table grown if there is none; -1 if there is no memory.
int32_t free_slot(vorpriv *p) {
    for (int32_t slot = p->tagindex.firstfree; slot < p->ntagslots; ++slot) {
        if (!p->tags[slot]) return slot;
    }
    const int32_t fresh = p->ntagslots;
    return vor_growtags(p) < 0 ? -1 : fresh;
}

bool add_record(vorpriv *p, const vortag *record) {
    const int32_t slot = free_slot(p);
    if (slot < 0 || !reserve_in_index(&p->tagindex, p->tags)) return false;
    if (!store_record(&p->tags[slot], record)) return false;
    add_to_index(&p->tagindex, p->tags, slot);
    p->tagindex.firstfree = slot + 1;
    return true;
}

bool load_failed(xvor_t *h, int32_t code, const char *extra) {
    lferror(h, load_where, code, 0, extra);
    return false;
}

// Reads the record at the file position. `left`: bytes from there to the end of the file; nothing
// is allocated for a payload that goes beyond.
bool read_record(xvor_t *h, int64_t left, RecordBlock *block) {
    if (!read_exact(h->fd, block->record(), VOR_TAGHEAD)) return load_failed(h, LFE_OS, nullptr);
    if (is_swapped(h)) swaplong(&block->record()->tagsize, sizeof block->record()->tagsize);

    const uint32_t tagsize = block->record()->tagsize;
    if (!whole_words(tagsize) || static_cast<int32_t>(tagsize) < VOR_TAGNAME) {
        return load_failed(h, LFE_CORRUPT, "invalid tag size");
    }
    const uint32_t payload = tagsize - VOR_TAGNAME;
    if (payload > left - VOR_TAGHEAD) {
        errno = 0;
        return load_failed(h, LFE_OS, nullptr);
    }
    if (!block->reserve(size_t{tagsize} + size_bytes)) return load_failed(h, LFE_MEMORY, nullptr);
    if (!read_exact(h->fd, block->payload(), payload)) return load_failed(h, LFE_OS, nullptr);
    return true;
}

// Reads the list at tagoff into the table.
bool read_list(xvor_t *h, vorpriv *p) {
    const int64_t size = data_size(h);
    if (size < 0 || kel_lseek(h->fd, p->tagoff, KEL_SEEK_SET) != p->tagoff) {
        return load_failed(h, LFE_OS, nullptr);
    }
    RecordBlock block;
    if (!block.reserve(first_block)) return load_failed(h, LFE_MEMORY, nullptr);
    int64_t end = p->tagoff;
    for (uint32_t i = 0; i < p->hdr.tagcount; ++i) {
        if (!read_record(h, size - end, &block)) return false;
        if (vor_addtag(h, block.record()) < 0) return load_failed(h, LFE_MEMORY, nullptr);
        end += int64_t{block.record()->tagsize} + size_bytes;
    }
    // An old list with something behind it stays where it is.
    if (access_of(h) == LF_UPDATE && end < size) {
        p->tagoff = size;
        lferror(h, load_where, LFE_WARNING, 0, "taglist was not at EOF");
    }
    return true;
}

bool load(xvor_t *h, vorpriv *p) {
    const int64_t position = kel_lseek(h->fd, 0, KEL_SEEK_CUR);
    if (vor_growtags(p) < 0) return load_failed(h, LFE_MEMORY, nullptr);
    if (p->tagoff < VOR_HDRSIZE || static_cast<int32_t>(p->hdr.tagcount) < 1) {
        p->tagoff = 0;
        return true;
    }
    const bool loaded = read_list(h, p);
    const bool back = kel_lseek(h->fd, position, KEL_SEEK_SET) >= 0;
    if (loaded && !back) return load_failed(h, LFE_OS, nullptr);
    return loaded;
}

// Writes one record, with its size in the file's byte order; the record itself stays as it is.
bool write_record(const xvor_t *h, const vortag *record) {
    if (!is_swapped(h)) return write_all(h->fd, record, size_t{record->tagsize} + size_bytes);
    vortag head = *record;
    swaplong(&head.tagsize, sizeof head.tagsize);
    return write_all(h->fd, &head, sizeof head) &&
           write_all(h->fd, record + 1, record->tagsize - VOR_TAGNAME);
}

uint32_t count_records(const vorpriv *p) {
    const auto free_slots = std::count(p->tags, p->tags + p->ntagslots, nullptr);
    return static_cast<uint32_t>(p->ntagslots - free_slots);
}

bool may_change(const xvor_t *h) {
    return access_of(h) == LF_WRITE || access_of(h) == LF_UPDATE;
}

int32_t find_request(xvor_t *h, vor_tagreq *request) {
    if (!request || vor_loadtags(h) < 0) return -1;
    vortag **slot = vor_findtag(h, request->name);
    if (!slot) return -1;
    request->record = *slot;
    return 0;
}

int32_t slot_request(xvor_t *h, vor_tagslot *request) {
    if (!request || vor_loadtags(h) < 0) return -1;
    const vorpriv *p = priv(h);
    if (request->index < 0 || request->index >= p->ntagslots) return -1;
    request->record = p->tags[request->index];
    return 0;
}

int32_t copy_request(xvor_t *h, xvor_t *other) {
    if (!may_change(h) || !other || other->fmt != 0) return -1;
    return vor_loadtags(other) < 0 ? -1 : vor_copytags(h, other);
}

} // namespace

// The table doubles its storage when that is full, so that many slots do not cost many moves.
int32_t vor_growtags(vorpriv *p) {
    static_assert(std::has_single_bit(static_cast<uint32_t>(slot_group)));
    if (p->ntagslots > INT32_MAX - slot_group) return -1;
    const auto slots = static_cast<uint32_t>(p->ntagslots);
    if (!p->tags || std::has_single_bit(slots)) {
        const size_t room = p->tags ? size_t{slots} * 2 : size_t{slot_group};
        vortag **grown = reallocate_array(p->tags, room);
        if (!grown) return -1;
        p->tags = grown;
    }
    std::fill_n(p->tags + p->ntagslots, slot_group, nullptr);
    p->ntagslots += slot_group;
    return 0;
}

// The first load that gets as far as having a table is the only one: after a failure the tags read
// so far stay to be looked at, but an update handle writes none of them.
int32_t vor_loadtags(xvor_t *h) {
    vorpriv *p = priv(h);
    if (!p) return -1;
    if (p->tags) return 0;
    const bool loaded = load(h, p);
    p->tagsfailed = !loaded && access_of(h) == LF_UPDATE;
    return loaded ? 0 : -1;
}

// The file position is the place for the list. In update mode all behind it is cut off first.
int32_t vor_savetags(xvor_t *h) {
    vorpriv *p = priv(h);
    if (!p) return -1;
    const uint32_t old_count = p->hdr.tagcount;
    p->tagoff = kel_lseek(h->fd, 0, KEL_SEEK_CUR);
    if (access_of(h) == LF_UPDATE && kel_truncate(h->fd, p->tagoff) < 0) return -1;

    // The count comes first: a list that could not be written whole must not read as a shorter one.
    const uint32_t count = count_records(p);
    p->hdr.tagcount = count;
    for (int32_t slot = 0; slot < p->ntagslots; ++slot) {
        if (p->tags[slot] && !write_record(h, p->tags[slot])) return -1;
    }
    if (count == 0) p->tagoff = 0;
    return count != 0 || old_count != 0 ? 1 : 0;
}

// A name without an end is taken as it will be stored, so that a second tag of that name replaces
// the first.
int32_t vor_addtag(xvor_t *h, const vortag *record) {
    vorpriv *p = priv(h);
    if (!p || !record || !whole_words(record->tagsize) || record->tagsize < VOR_TAGNAME) return -1;
    char name[VOR_TAGNAME];
    std::memcpy(name, record->tagname, sizeof name);
    name[VOR_TAGNAME - 1] = '\0';
    if (name[0] == '\0') return -1;

    const int32_t slot = find_in_index(p->tagindex, p->tags, name);
    const bool stored = slot < 0 ? add_record(p, record) : store_record(&p->tags[slot], record);
    return stored ? 0 : -1;
}

vortag **vor_findtag(xvor_t *h, const char *name) {
    const vorpriv *p = priv(h);
    if (!p || !name) return nullptr;
    const int32_t slot = find_in_index(p->tagindex, p->tags, name);
    return slot < 0 ? nullptr : &p->tags[slot];
}

int32_t vor_deltag(xvor_t *h, const char *name) {
    vortag **slot = vor_findtag(h, name);
    if (!slot) return -1;
    vorpriv *p = priv(h);
    const auto number = static_cast<int32_t>(slot - p->tags);
    remove_from_index(&p->tagindex, p->tags, number);
    std::free(*slot);
    *slot = nullptr;
    p->tagindex.firstfree = std::min(p->tagindex.firstfree, number);
    return 0;
}

int32_t vor_copytags(xvor_t *h, xvor_t *other) {
    const vorpriv *from = priv(other);
    if (!from) return -1;
    for (int32_t slot = 0; slot < from->ntagslots; ++slot) {
        if (from->tags[slot] && vor_addtag(h, from->tags[slot]) < 0) return -1;
    }
    return 0;
}

void free_tags(vorpriv *p) {
    for (int32_t slot = 0; slot < p->ntagslots; ++slot)
        std::free(p->tags[slot]);
    std::free(p->tags);
    p->tags = nullptr;
    p->ntagslots = 0;
    free_index(&p->tagindex);
}

int32_t tag_request(xvor_t *h, int32_t request, void *arg) {
    switch (request) {
    case LFS_FIND_TAG:
        return find_request(h, static_cast<vor_tagreq *>(arg));
    case LFS_ADD_TAG:
        return may_change(h) ? vor_addtag(h, static_cast<const vortag *>(arg)) : -1;
    case LFS_DELETE_TAG:
        return may_change(h) ? vor_deltag(h, static_cast<const char *>(arg)) : -1;
    case LFS_NTH_TAG:
        return slot_request(h, static_cast<vor_tagslot *>(arg));
    case LFS_COPY_TAGS:
        return copy_request(h, static_cast<xvor_t *>(arg));
    default:
        return LF_UNHANDLED;
    }
}

} // namespace vor
