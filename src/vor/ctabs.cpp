// The colour tables of a native file: 256 16-bit words each, one table in force at a time.
//
// Older files hold sixteen tables of 32-bit words, of which the first half in file order counts. A
// count of 0 in the header tells such a file.

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "util/owned.h"
#include "util/services.h"
#include "vor/driver.h"

namespace vor {
namespace {

constexpr size_t table_words = LF_NCOLORS;
constexpr uint32_t table_bytes = table_words * sizeof(uint16_t);
constexpr int32_t old_tables = 16;
constexpr size_t old_words = old_tables * table_words;
constexpr uint32_t created_tables = 4; // the count that the header shows once tables were made

static_assert(sizeof(xvor_t::ctable) == table_bytes);

// Reads `words` 16-bit words at `offset`. NULL if they are not all in the file.
malloc_ptr<uint16_t> read_words(const xvor_t *h, int64_t offset, uint64_t words) {
    errno = 0;
    if (!section_in_file(h, offset, words, sizeof(uint16_t))) return nullptr;
    const auto count = static_cast<size_t>(words);
    if (count != words) return nullptr;
    malloc_ptr<uint16_t> block(allocate_array<uint16_t>(count));
    if (!block) return nullptr;
    if (!read_section(h, offset, block.get(), count * sizeof(uint16_t))) return nullptr;
    if (is_swapped(h)) swapshort(block.get(), count * sizeof(uint16_t));
    return block;
}

malloc_ptr<uint16_t> read_old_tables(const xvor_t *h, int64_t offset) {
    malloc_ptr<uint16_t> tables(allocate_array<uint16_t>(old_words));
    const malloc_ptr<uint16_t> raw = read_words(h, offset, 2 * old_words);
    if (!tables || !raw) return nullptr;
    for (size_t i = 0; i < old_words; ++i)
        tables.get()[i] = raw.get()[2 * i];
    return tables;
}

// Makes room for `count` tables; new ones are the identity.
bool grow_tables(vorpriv *p, int32_t count) {
    if (count <= p->ctabroom) return true;
    uint16_t *grown = reallocate_array(p->ctabs, static_cast<size_t>(count) * table_words);
    if (!grown) return false;
    const size_t end = static_cast<size_t>(count) * table_words;
    for (size_t i = static_cast<size_t>(p->ctabroom) * table_words; i < end; ++i)
        grown[i] = static_cast<uint16_t>(i % table_words);
    p->ctabs = grown;
    p->ctabroom = count;
    return true;
}

uint16_t *table_at(const vorpriv *p, int32_t index) {
    return p->ctabs + static_cast<size_t>(index) * table_words;
}

} // namespace

int32_t vor_readctabs(xvor_t *h, vorpriv *p) {
    h->nctab = static_cast<int32_t>(p->hdr.ctabcount);
    const bool old_form = p->hdr.ctabcount == 0;
    if (p->ctaboff < VOR_HDRSIZE || h->nctab < 0) {
        errno = 0;
        return -1;
    }
    const uint64_t words = uint64_t{p->hdr.ctabcount} * table_words;
    p->ctabs =
        (old_form ? read_old_tables(h, p->ctaboff) : read_words(h, p->ctaboff, words)).release();
    if (!p->ctabs) return -1;
    if (old_form) {
        h->nctab = old_tables;
        p->hdr.ctabcount = old_tables;
    }
    p->ctabroom = h->nctab;
    return 0;
}

int32_t vor_selectctab(xvor_t *h, int32_t index) {
    const vorpriv *p = priv(h);
    if (!p) return -1;
    if (!p->ctabs) return 1;
    if (index < 0 || index >= std::min(h->nctab, p->ctabroom)) return -1;
    std::memcpy(h->ctable, table_at(p, index), table_bytes);
    h->ctabno = index;
    return 0;
}

// The reload of the table in force comes before the count is raised, so that a table beyond the
// old count is stored but not put in force. Programs select it by itself.
int32_t vor_setctab(xvor_t *h, const vor_ctabreq *request) {
    vorpriv *p = priv(h);
    if (!p || access_of(h) == LF_READ || !request->table) return -1;
    if (request->index < 0 || request->index >= VOR_MAXCTABS) return -1;
    if (!p->ctabs) {
        if (request->create == 0) return 1;
        if (!grow_tables(p, VOR_MAXCTABS)) return -1;
        p->hdr.ctabcount = created_tables;
    }
    if (!grow_tables(p, request->index + 1)) return -1;
    std::memcpy(table_at(p, request->index), request->table, table_bytes);
    if (request->index == h->ctabno) vor_selectctab(h, request->index);
    h->nctab = std::max(h->nctab, request->index + 1);
    h->flags |= LF_DIRTY;
    return 0;
}

} // namespace vor
