// Writing of native files.
//
// A new file begins with 256 zero bytes, which no reader takes for native. The tracks follow,
// behind them the stop table, the seek table, the colour tables, the colour info and the tag list,
// each only if there is something to write, and last the header goes over the zero bytes. An update
// rewrites the tag list, which is the end of the file, and the header.

#include <algorithm>
#include <cstring>

#include "platform/file_io.h"
#include "platform/kel.h"
#include "util/owned.h"
#include "util/services.h"
#include "vor/driver.h"

namespace vor {
namespace {

constexpr const char *where = "vor_whdr";
constexpr int64_t narrow_limit = 0x7FFFFFFF; // the largest offset that 31 bits hold

int32_t failed(xvor_t *h, const char *at) {
    return lferror(h, at, LFE_OS, 0, nullptr);
}

int64_t here(const xvor_t *h) {
    return kel_lseek(h->fd, 0, KEL_SEEK_CUR);
}

// Swaps a block on its way into a file of the other byte order, and back.
void swap_for_file(const xvor_t *h, void (*swap)(void *, size_t), void *data, size_t size) {
    if (is_swapped(h)) swap(data, size);
}

// ---- sections ----

// Leaves out the tracks that are not marked. Result: entries that remain at the table's front.
uint32_t squeeze_stops(xvor_t *h) {
    const auto tracks = static_cast<uint32_t>(std::max(h->xsize, 0));
    uint32_t *end = h->stoptab + std::min(tracks, stop_room(h));
    return static_cast<uint32_t>(std::remove(h->stoptab, end, LF_STOP_NONE) - h->stoptab);
}

// 1 written, 0 nothing to write, -1 after a report; so for the sections below.
int32_t write_stops(xvor_t *h, vorpriv *p) {
    if (!h->stoptab) return 0;
    h->stopsize = squeeze_stops(h);
    if (h->stopsize == 0) return 0;
    p->stopoff = here(h);
    p->hdr.stopcount = h->stopsize;
    p->hdr.hflags |= HF_STOPS;
    const size_t bytes = size_t{h->stopsize} * sizeof *h->stoptab;
    swap_for_file(h, swaplong, h->stoptab, bytes);
    const bool written = write_all(h->fd, h->stoptab, bytes);
    swap_for_file(h, swaplong, h->stoptab, bytes);
    return written ? 1 : failed(h, "info table");
}

// After a late enlargement the table may be the old, smaller one. The tracks missing show as
// entries of 0, which a reader refuses.
bool table_covers_tracks(xvor_t *h) {
    return h->xsize <= h->seekroom || (lffitmemory(h) >= 0 && h->xsize <= h->seekroom);
}

bool is_far(int64_t entry) {
    return entry > narrow_limit;
}

// The flag comes first: a file whose table could not be written must not read as one that has none,
// since blank tracks are found through the table alone.
int32_t write_seek_table(xvor_t *h, vorpriv *p) {
    if (!h->seektab) return 0;
    p->seekoff = here(h);
    p->hdr.hflags |= HF_SEEKTAB;
    if (!table_covers_tracks(h)) return -1;
    const int32_t count = std::max(h->xsize, 0);
    if (std::any_of(h->seektab, h->seektab + count, is_far)) p->hdr.hflags |= HF_SEEK64;
    const bool wide = (p->hdr.hflags & HF_SEEK64) != 0;
    const int32_t result =
        wide ? vor_putseek64(h, h->seektab, count) : vor_putseek32(h, h->seektab, count);
    return result < 0 ? -1 : 1;
}

int32_t write_colour_tables(xvor_t *h, vorpriv *p) {
    const int32_t count = std::min(h->nctab, p->ctabroom);
    if (!p->ctabs || count < 1) {
        p->ctaboff = 0;
        p->hdr.ctabcount = 0;
        p->hdr.hflags &= ~HF_CTABS;
        return 0;
    }
    p->ctaboff = here(h);
    p->hdr.ctabcount = static_cast<uint32_t>(count);
    const size_t bytes = static_cast<size_t>(count) * sizeof h->ctable;
    swap_for_file(h, swapshort, p->ctabs, bytes);
    const bool written = write_all(h->fd, p->ctabs, bytes);
    swap_for_file(h, swapshort, p->ctabs, bytes);
    p->hdr.hflags |= HF_CTABS;
    return written ? 1 : failed(h, "color tables");
}

// The test goes one byte beyond the block, into the low byte of `xa`. It is relied on, and so is
// that the block of a fresh handle is not empty.
bool has_colour_info(const xvor_t *h) {
    const uint8_t *end = h->colorinfo + sizeof h->colorinfo;
    const bool in_block = std::any_of(h->colorinfo, end, [](uint8_t byte) { return byte != 0; });
    return in_block || static_cast<uint8_t>(h->xa) != 0;
}

int32_t write_colour_info(xvor_t *h, vorpriv *p) {
    if (!has_colour_info(h)) return 0;
    p->cinfooff = here(h);
    p->hdr.hflags |= HF_CINFO;
    if (!write_all(h->fd, h->colorinfo, sizeof h->colorinfo)) return failed(h, "color info");
    return 1;
}

int32_t write_sections(xvor_t *h, vorpriv *p) {
    using Section = int32_t (*)(xvor_t *, vorpriv *);
    constexpr Section sections[] = {write_stops, write_seek_table, write_colour_tables,
                                    write_colour_info};
    const size_t count = has(h, LF_NOCOLOR) ? 2 : std::size(sections);
    int32_t written = 0;
    for (size_t i = 0; i < count; ++i) {
        const int32_t result = sections[i](h, p);
        if (result < 0) return -1;
        written |= result;
    }
    return written;
}

int32_t seek_tag_list(xvor_t *h, const vorpriv *p) {
    const int64_t position = p->tagoff != 0 ? kel_lseek(h->fd, p->tagoff, KEL_SEEK_SET)
                                            : kel_lseek(h->fd, 0, KEL_SEEK_END);
    return position < 0 ? failed(h, "seek tag offset") : 0;
}

// ---- header ----

// The list that an update is to write: that of the file, unless a program has changed it.
bool tags_are_known(xvor_t *h) {
    return vor_loadtags(h) >= 0 && !priv(h)->tagsfailed;
}

bool has_negative_offset(const vorpriv *p) {
    return std::min({p->stopoff, p->seekoff, p->ctaboff, p->cinfooff, p->tagoff}) < 0;
}

void put_offset(int64_t offset, uint32_t *lo, uint32_t *hi) {
    *lo = static_cast<uint32_t>(offset);
    *hi = static_cast<uint32_t>(static_cast<uint64_t>(offset) >> 32);
}

void put_offsets(vorpriv *p) {
    vorhdr *hdr = &p->hdr;
    put_offset(p->stopoff, &hdr->stopoff_lo, &hdr->stopoff_hi);
    put_offset(p->seekoff, &hdr->seekoff_lo, &hdr->seekoff_hi);
    put_offset(p->ctaboff, &hdr->ctaboff_lo, &hdr->ctaboff_hi);
    put_offset(p->cinfooff, &hdr->cinfooff_lo, &hdr->cinfooff_hi);
    put_offset(p->tagoff, &hdr->tagoff_lo, &hdr->tagoff_hi);
    const int64_t last = std::max({p->stopoff, p->seekoff, p->ctaboff, p->cinfooff, p->tagoff});
    if ((hdr->hflags & HF_SEEK64) || is_far(last)) hdr->hflags |= HF_OFF64;
}

void put_geometry(const xvor_t *h, vorhdr *hdr) {
    hdr->tracks = static_cast<uint32_t>(h->xsize);
    hdr->pixels = static_cast<uint32_t>(h->ysize);
    hdr->type = static_cast<uint32_t>(h->subtype);
    hdr->xpitch64 = 1 / h->xres;
    hdr->ypitch64 = 1 / h->yres;
    hdr->xpitch = to_float(hdr->xpitch64);
    hdr->yresf = to_float(h->yres);
    hdr->xlength = to_float(h->xsize / h->xres);
    hdr->ylength = to_float(h->ysize / h->yres);
    if (h->maxruns >= 1 && h->maxruns < h->ysize) {
        hdr->hmaxruns = static_cast<uint32_t>(h->maxruns);
        hdr->hflags |= HF_MAXRUNS;
    } else {
        hdr->hmaxruns = 0;
        hdr->hflags &= ~HF_MAXRUNS;
    }
}

// No checksum is stored: a later tool may change the header in place.
void finish_image(xvor_t *h, vorpriv *p) {
    vorhdr *hdr = &p->hdr;
    put_geometry(h, hdr);
    put_offsets(p);
    hdr->version = VOR_VERSION;
    hdr->byteorder = VOR_BYTEORDER;
    hdr->hflags |= HF_RES64 | HF_BYTEORDER;
    hdr->hflags &= ~HF_CRC;
    hdr->hcrc = 0;
    h->flags |= LF_NOCRC;
    std::memcpy(hdr->letters, VOR_LETTERS, sizeof hdr->letters);
}

bool write_image(const xvor_t *h, const vorpriv *p) {
    vorhdr image = p->hdr;
    // An update leaves the colour tables in the file as they are, whatever the handle made of them.
    if (access_of(h) == LF_UPDATE) image.ctabcount = p->filectabs;
    if (is_swapped(h)) swap_header(&image);
    return kel_lseek(h->fd, 0, KEL_SEEK_SET) == 0 && write_all(h->fd, &image, sizeof image);
}

} // namespace

int32_t vor_wrsetup(xvor_t *h) {
    constexpr const char *setup_where = "vor_wrsetup";
    h->dataoff = VOR_HDRSIZE;
    const uint32_t format = static_cast<uint32_t>(h->subtype) & VT_FORMAT;
    if (format < VT_FW16 || format > VT_FW88) {
        return lferror(h, setup_where, LFE_ARGUMENT, 0, nullptr);
    }
    h->bits = format == VT_FW88 ? 8 : 1;
    malloc_ptr<vorpriv> p(allocate_zeroed<vorpriv>(1));
    if (!p) return lferror(h, setup_where, LFE_MEMORY, 0, nullptr);
    h->flags |= LF_NEEDSEEKTAB;
    if (!write_all(h->fd, &p->hdr, sizeof p->hdr)) return -1;
    h->fmtdata = p.release();
    return 0;
}

int32_t vor_wopts(xvor_t *h) {
    vorpriv *p = priv(h);
    if (!p) return -1;
    int32_t written = 0;
    if (access_of(h) == LF_WRITE) {
        written = write_sections(h, p);
        if (written < 0) return -1;
    } else if (!tags_are_known(h) || seek_tag_list(h, p) < 0) {
        return -1;
    }
    const int32_t saved = vor_savetags(h);
    if (saved < 0) return failed(h, "save tag table");
    if (here(h) < 0) return lferror(h, "wopts", LFE_OS, 0, "file too large");
    return written | saved;
}

// A section that could not be written does not keep the header back: what it says then shows the
// file as damaged, and the result is -1. An update, though, leaves a file alone whose tags or
// offsets it cannot carry over.
int32_t vor_whdr(xvor_t *h) {
    constexpr const char *bad_offset = "invalid file offset";
    vorpriv *p = priv(h);
    const bool updating = access_of(h) == LF_UPDATE;
    if (!p || (!updating && access_of(h) != LF_WRITE)) return -1;
    if (updating && !tags_are_known(h)) return failed(h, where);
    if (has_negative_offset(p)) return lferror(h, where, LFE_OS, 0, bad_offset);
    const bool sections_written = vor_wopts(h) >= 0;
    if (has_negative_offset(p)) return lferror(h, where, LFE_OS, 0, bad_offset);
    finish_image(h, p);
    return write_image(h, p) && sections_written ? 0 : failed(h, where);
}

} // namespace vor
