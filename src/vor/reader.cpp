// Opening and checking of native files, and the format's row in the format table.
//
// The header goes through two stages: the tests that tell whether the file is native at all, which
// leave the handle alone, and the taking over of what it says.

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "codecs/codecs.h"
#include "formats/formats.h"
#include "util/owned.h"
#include "util/services.h"
#include "vor/driver.h"

namespace vor {
namespace {

constexpr const char *where = "vor_rdsetup";
constexpr int32_t first_choice =
    3; // the colour table in force after the open, if there are so many

// A seek table right behind the header belongs to a file without tracks, and is not asked for.
constexpr int64_t no_tracks_seekoff = VOR_HDRSIZE;

// A byte of a deflate stream stands for at most four repetitions of 258 bytes.
constexpr int64_t deflate_ratio = 1032;

// ---- opening ----

bool is_native(const vorhdr &hdr) {
    if ((hdr.hflags & HF_BYTEORDER) && hdr.byteorder != VOR_BYTEORDER) return false;
    const uint32_t format = hdr.type & ~VT_COMPRESSION;
    return format >= VT_FW16 && format <= VT_FW88;
}

// Flags that an older version gave no meaning to do not count in its files; a newer one may leave
// out the flag of a checksum that it has stored.
void settle_version(vorhdr *hdr) {
    if (static_cast<int32_t>(hdr->version) < VOR_VERSION) {
        hdr->hflags &= ~(HF_SEEK64 | HF_OFF64 | HF_RES64);
    } else if (hdr->hcrc != 0) {
        hdr->hflags |= HF_CRC;
    }
}

void take_geometry(xvor_t *h, const vorhdr &hdr) {
    h->dataoff = VOR_HDRSIZE;
    h->subtype = static_cast<int32_t>(hdr.type);
    h->fxsize = static_cast<int32_t>(hdr.tracks);
    h->fysize = static_cast<int32_t>(hdr.pixels);
    if (hdr.hflags & HF_RES64) {
        h->fxres = 1 / hdr.xpitch64;
        h->fyres = 1 / hdr.ypitch64;
    } else {
        h->fxres = 1 / double{hdr.xpitch};
        h->fyres = hdr.yresf;
    }
}

void take_maxruns(xvor_t *h, const vorhdr &hdr) {
    if (!(hdr.hflags & HF_MAXRUNS) || has(h, LF_MEASURE)) return;
    const auto runs = static_cast<int32_t>(hdr.hmaxruns);
    h->maxruns = runs < 0 || hdr.hmaxruns > hdr.pixels ? 1 : runs;
}

int32_t read_stop_table(xvor_t *h, const vorhdr &hdr, int64_t offset) {
    constexpr const char *table_where = "stop table";
    const size_t bytes = size_t{hdr.stopcount} * sizeof(uint32_t);
    errno = 0;
    if (!section_in_file(h, offset, hdr.stopcount, sizeof(uint32_t))) {
        return lferror(h, table_where, LFE_OS, 0, nullptr);
    }
    malloc_ptr<uint32_t> table(allocate_array<uint32_t>(hdr.stopcount));
    if (!table) return lferror(h, table_where, LFE_MEMORY, 0, nullptr);
    if (!read_section(h, offset, table.get(), bytes)) {
        return lferror(h, table_where, LFE_OS, 0, nullptr);
    }
    if (is_swapped(h)) swaplong(table.get(), bytes);
    lfassignstoptable(h, table.release(), hdr.stopcount);
    h->flags |= LF_STOPS;
    return 0;
}

int32_t read_colours(xvor_t *h, vorpriv *p) {
    vorhdr &hdr = p->hdr;
    if (hdr.hflags & HF_CTABS) {
        // Also where the tables are left alone, so that an update keeps them in their place.
        p->ctaboff = join_offset(hdr, hdr.ctaboff_lo, hdr.ctaboff_hi);
        if (!has(h, LF_NOCOLOR)) {
            if (vor_readctabs(h, p) < 0) return -1;
            vor_selectctab(h, h->nctab > first_choice ? first_choice : 0);
        }
    }
    if (!(hdr.hflags & HF_CINFO)) return 0;
    p->cinfooff = join_offset(hdr, hdr.cinfooff_lo, hdr.cinfooff_hi);
    if (p->cinfooff < VOR_HDRSIZE) {
        hdr.hflags &= ~HF_CINFO;
        return 0;
    }
    return read_section(h, p->cinfooff, h->colorinfo, sizeof h->colorinfo) ? 0 : -1;
}

int32_t make_record(xvor_t *h, const vorhdr &hdr, int64_t stopoff, int64_t seekoff) {
    auto *p = allocate_zeroed<vorpriv>(1);
    if (!p) return lferror(h, where, LFE_OS, 0, nullptr);
    h->fmtdata = p;
    p->hdr = hdr;
    p->filectabs = hdr.ctabcount;
    p->stopoff = stopoff;
    p->seekoff = seekoff;
    if (read_colours(h, p) < 0) {
        lferror(h, where, LFE_OS, 0, nullptr);
        vor_free(h);
        return -1;
    }
    if (static_cast<int32_t>(hdr.tagcount) > 0) {
        p->tagoff = join_offset(hdr, hdr.tagoff_lo, hdr.tagoff_hi);
    }
    return 0;
}

// Takes over what the header of a native file says.
int32_t set_up(xvor_t *h, const vorhdr &hdr) {
    take_geometry(h, hdr);
    int64_t stopoff = 0;
    if (hdr.stopcount > 0 && (hdr.hflags & HF_STOPS)) {
        stopoff = join_offset(hdr, hdr.stopoff_lo, hdr.stopoff_hi);
    }
    int64_t seekoff = 0;
    if (hdr.hflags & HF_SEEKTAB) seekoff = join_offset(hdr, hdr.seekoff_lo, hdr.seekoff_hi);
    if (seekoff > no_tracks_seekoff) h->flags |= LF_NEEDSEEKTAB;
    take_maxruns(h, hdr);
    if (hdr.hflags & HF_TILED) {
        return lferror(h, where, LFE_ARGUMENT, 0,
                       "tiled vor not supported, use vortile to convert");
    }
    if (stopoff > 0 && read_stop_table(h, hdr, stopoff) < 0) return -1;
    if (make_record(h, hdr, stopoff, seekoff) < 0) return -1;
    h->bits = (hdr.type & VT_FORMAT) == VT_FW88 ? 8 : 1;
    return 0;
}

// ---- checking ----

const char *codec_name(const xvor_t *h) {
    switch (static_cast<uint32_t>(h->subtype) & VT_FORMAT) {
    case VT_FW16:
        return "fw16";
    case VT_FW8:
        return "fw8";
    case VT_FW88:
        return "fw88";
    default:
        return nullptr;
    }
}

int32_t assign_rw(xvor_t *h) {
    h->flags &= ~(LF_TRKBEGIN | LF_SWAP16);
    h->flags |= LF_TRKEND;
    const char *name = codec_name(h);
    if (!name) return lferror(h, "assign_rw", LFE_ARGUMENT, 0, "bad file type");
    if (is_swapped(h) && std::strcmp(name, "fw16") == 0) h->flags |= LF_SWAP16;
    h->special = vor_special;
    return lfrw_functions(h, name);
}

// Bytes that hold any coded track of a compressed file, or -1 if 31 bits cannot count them. On
// read, pixels that the file is too small to code need no room: a track that claims them ends, as
// one that outgrows the buffer does, with zlib's refusal.
int64_t track_buffer_size(const xvor_t *h) {
    if (h->fysize < 0) return -1;
    const int64_t unit = (static_cast<uint32_t>(h->subtype) & VT_FORMAT) == VT_FW8 ? 1 : 2;
    const int64_t full = (((int64_t{h->fysize} + 1) * unit) | 15) + 1;
    if (full > INT32_MAX) return -1;
    if (access_of(h) == LF_WRITE) return full;
    const int64_t size = std::max<int64_t>(data_size(h), 0);
    if (size > INT32_MAX / deflate_ratio) return full;
    return std::min(full, ((size * deflate_ratio) | 15) + 1);
}

// A compressed track never passes the buffer in two parts.
int32_t fit_buffer(xvor_t *h) {
    const int64_t size = track_buffer_size(h);
    uint8_t *buf = size < 0 ? nullptr : reallocate_array(h->buf, static_cast<size_t>(size));
    if (!buf) return lferror(h, "vor_check", LFE_MEMORY, 0, nullptr);
    h->buf = buf;
    h->bufsize = static_cast<uint32_t>(size);
    forget_buffer(h);
    return 0;
}

int32_t check_compressed(xvor_t *h, vorpriv *p) {
    if (fit_buffer(h) < 0) return -1;
    h->flags &= ~LF_SEQUENTIAL;
    if (!p->z) p->z = allocate_zeroed<DeflateLayer>(1);
    if (!p->z) return lferror(h, "vor_check", LFE_MEMORY, 0, nullptr);
    return access_of(h) == LF_WRITE ? setwrite(h) : vor_setread(h);
}

} // namespace

// A checksum that does not fit is no failure: the file opens, and LF_BADHDRCRC tells.
int32_t vor_rdsetup(xvor_t *h, const uint8_t *head, int32_t size) {
    if (size < VOR_HDRSIZE) return 1;
    vorhdr hdr;
    std::memcpy(&hdr, head, sizeof hdr);
    const bool swapped = type_is_swapped(hdr);
    if (swapped) swap_header(&hdr);
    if (!is_native(hdr)) return 1;
    settle_version(&hdr);
    const uint32_t crc = has(h, LF_NOCRC) ? 0 : vor_hdrcrc(head);
    if ((hdr.hflags & HF_CRC) && hdr.hcrc != crc) h->flags |= LF_BADHDRCRC;
    h->flags &= ~LF_SWAPPED;
    if (swapped) h->flags |= LF_SWAPPED;
    return set_up(h, hdr);
}

int32_t vor_check(xvor_t *h) {
    vorpriv *p = priv(h);
    if (!p || assign_rw(h) < 0) return -1;
    if (static_cast<uint32_t>(h->subtype) & VT_COMPRESSION) {
        if (check_compressed(h, p) < 0) return -1;
    } else if (p->seekoff > 0 && (p->hdr.hflags & HF_SEEKTAB)) {
        h->flags &= ~LF_SEQUENTIAL;
    }
    return access_of(h) == LF_UPDATE ? vor_loadtags(h) : 0;
}

int32_t vor_free(xvor_t *h) {
    vorpriv *p = priv(h);
    if (!p) return 0;
    std::free(p->ctabs);
    free_tags(p);
    if (p->z) end_stream(p->z, access_of(h));
    std::free(p->z);
    std::free(p);
    h->fmtdata = nullptr;
    return 0;
}

} // namespace vor

lffmt_t vor_cvtformat = {
    .name = "vor",
    .suffix = ".vor",
    .suffixlist = ".vor:",
    .module = nullptr,
    .init = nullptr,
    .detect = vor::vor_rdsetup,
    .wrsetup = vor::vor_wrsetup,
    .reserved1 = nullptr,
    .reserved2 = nullptr,
    .whdr = vor::vor_whdr,
    .close = vor::vor_free,
    .check = vor::vor_check,
    .seektabfn = vor::vor_seektab,
    .reserved3 = nullptr,
};
