// The file checker. A native file is opened without the track library: its header is believed or
// its tracks are walked by the decoders of checker_walk. Any other file, a compressed native one
// included, goes through lfopen and lfread.

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include "platform/file_io.h"
#include "platform/kel.h"
#include "util/numbers.h"
#include "util/owned.h"
#include "util/paths.h"
#include "util/services.h"
#include "vor/checker_walk.h"
#include "vor/driver.h"

namespace vor {
namespace {

constexpr uint32_t swapped_byteorder = UINT32_C(0x78563412);
constexpr size_t fw511_word =
    84; // header word of format 4 that its place of the tracks counts from
constexpr int32_t fw511_entry = 20;
constexpr int32_t report_step = 64;                   // tracks from one report to the next
constexpr int64_t offset_limit = INT64_C(0x80000000); // from here on HF_OFF64 is needed
constexpr int32_t cinfo_bytes = 256;

// The file being checked, native by `fd` or foreign by `handle`.
struct Check {
    ckvor_t *record;
    vorhdr hdr; // in the machine's byte order; all zero for a foreign file
    int32_t fd = -1;
    xvor_t *handle = nullptr;
    int32_t maxruns = 0; // as the file tells

    explicit Check(ckvor_t *r) : record(r), hdr() {}
    ~Check() { close(); }
    Check(const Check &) = delete;
    Check &operator=(const Check &) = delete;

    void close();
    // Sets the status, unless it holds an earlier failure. Always false.
    bool fail(int32_t status) const;
    int32_t report(int32_t stage, int32_t value) const {
        return record->progress(stage, record, value);
    }
};

struct Walk {
    int32_t tracks;
    uint64_t pixels;
    int32_t walked = 0; // tracks found good
    uint64_t codes = 0; // of all of them
    uint64_t fwmax = 0;
    TrackCount track = {}; // the last one
    ColourCounts colours = {};

    // Native files:
    TrackDecoder decoder = {};
    TrackBytes bytes;
    malloc_ptr<uint8_t> table; // the track table in the machine's byte order, or null
    bool wide = false;         // its entries are 64 bits wide

    // Foreign files:
    trackbuf buffer = {};

    Walk(int32_t ntracks, int32_t npixels)
        : tracks(ntracks), pixels(static_cast<uint64_t>(npixels)) {}
    ~Walk() { gtfree(&buffer); }
    Walk(const Walk &) = delete;
    Walk &operator=(const Walk &) = delete;

    int64_t entry(int32_t track_number) const;
};

void Check::close() {
    if (handle) lfclose(handle);
    if (fd >= 0) kel_close(fd);
    handle = nullptr;
    fd = -1;
}

bool Check::fail(int32_t status) const {
    if (record->status == CKV_GOOD) record->status = status;
    return false;
}

int64_t Walk::entry(int32_t track_number) const {
    const auto i = static_cast<size_t>(track_number);
    int32_t narrow = 0;
    int64_t value = 0;
    if (wide) {
        std::memcpy(&value, table.get() + i * sizeof value, sizeof value);
        return value;
    }
    std::memcpy(&narrow, table.get() + i * sizeof narrow, sizeof narrow);
    return narrow;
}

int32_t default_progress(int32_t stage, ckvor_t *record, int32_t value) {
    switch (stage) {
    case CKV_START:
        std::fprintf(stderr, "Checking %s:\n", kel_basename(record->filename));
        break;
    case CKV_TRACK:
        std::fprintf(stderr, "\r%-8d of %d tracks", value, record->tracks);
        std::fflush(stderr);
        break;
    default:
        std::fputs("\n", stderr);
        break;
    }
    return 0;
}

// ---- opening ------------------------------------------------------------------------------------

bool read_header(Check *c) {
    const int64_t got = kel_read(c->fd, &c->hdr, sizeof c->hdr);
    if (got == 0) return c->fail(CKV_EMPTY);
    if (got != sizeof c->hdr) return c->fail(CKV_READ);
    if (type_is_swapped(c->hdr) || c->hdr.byteorder == swapped_byteorder) {
        swap_header(&c->hdr);
        c->record->swapped = 1;
    }
    return true;
}

// A count that is at least 1 as a signed number.
bool positive(uint32_t count) {
    return count >= 1 && count <= INT32_MAX;
}

bool is_native(const vorhdr &hdr) {
    return hdr.type >= VT_FW16 && hdr.type <= vt_fw511 && positive(hdr.tracks) &&
           positive(hdr.pixels);
}

bool open_foreign(Check *c, lfinfo *info) {
    c->close();
    c->record->swapped = 0;
    c->hdr = {};
    c->handle = lfopen(c->record->filename, LF_READ | LF_SEQUENTIAL, 0, nullptr);
    if (!c->handle || lfcheck(c->handle) < 0) return c->fail(CKV_FORMAT);
    if (lfgetinfo(c->handle, LF_OUTPUT_GEOMETRY, info) < 0) return c->fail(CKV_FORMAT);
    // Only the native format's word on its longest track is worth something.
    c->maxruns = info->major == 0 ? info->maxruns : 0;
    // A two-level image shows as the codes 0 and 255.
    if (info->bits < 2) std::fill_n(lfctable(c->handle) + 1, LF_NCOLORS - 1, uint16_t{255});
    return true;
}

bool open_file(Check *c) {
    ckvor_t *record = c->record;
    c->fd = kel_open(record->filename, KEL_O_RDONLY | KEL_O_BINARY | KEL_O_SEQUENTIAL, 0);
    if (c->fd < 0) return c->fail(CKV_NOTOPEN);
    if (!read_header(c)) return false;
    if (is_native(c->hdr)) {
        record->tracks = static_cast<int32_t>(c->hdr.tracks);
        record->pixels = static_cast<int32_t>(c->hdr.pixels);
        if (c->hdr.hflags & HF_MAXRUNS) c->maxruns = static_cast<int32_t>(c->hdr.hmaxruns);
        return true;
    }
    lfinfo info = {};
    if (!open_foreign(c, &info)) return false;
    record->tracks = info.xsize;
    record->pixels = info.ysize;
    return info.xsize >= 1 && info.ysize >= 1 ? true : c->fail(CKV_NOSIZE);
}

// ---- estimate -----------------------------------------------------------------------------------

// Trusts the header for the longest track and takes the average from the size of the file.
void estimate(const Check &c) {
    ckvor_t *record = c.record;
    const uint32_t format = c.hdr.type;
    if (format < VT_FW16 || format > vt_fw511) c.fail(CKV_FORMAT);
    record->fwmax = c.maxruns;

    kel_stat_t status;
    if (kel_fstat(c.handle ? c.handle->fd : c.fd, &status) < 0) return;
    int64_t bytes = status.size - VOR_HDRSIZE;
    if (c.hdr.hflags & HF_SEEKTAB) bytes -= int64_t{4} * record->tracks;
    const bool two_bytes = format == VT_FW16 || format == VT_FW88 || format == vt_fw511;
    int64_t average = (two_bytes ? bytes / 2 : bytes) / record->tracks;
    if (c.maxruns != 0) average = std::min<int64_t>(average, c.maxruns);
    record->avgruns = static_cast<int32_t>(std::clamp<int64_t>(average, INT32_MIN, INT32_MAX));
}

// ---- walk ---------------------------------------------------------------------------------------

// Reads the track table, which must lie within the file.
bool read_table(const Check &c, Walk *w) {
    w->wide = (c.hdr.hflags & HF_SEEK64) != 0;
    const size_t width = w->wide ? sizeof(int64_t) : sizeof(int32_t);
    const int64_t bytes = int64_t{w->tracks} * static_cast<int64_t>(width);
    const int64_t start = join_offset(c.hdr, c.hdr.seekoff_lo, c.hdr.seekoff_hi);
    kel_stat_t status;
    if (kel_fstat(c.fd, &status) < 0 || start < 0 || start > status.size ||
        bytes > status.size - start) {
        return c.fail(CKV_READ);
    }
    size_t room = 0;
    if (checked_multiply(static_cast<size_t>(w->tracks), width, &room)) {
        w->table.reset(allocate_array<uint8_t>(room));
    }
    if (!w->table) return c.fail(CKV_MEMORY);
    if (kel_lseek(c.fd, start, KEL_SEEK_SET) != start || !read_exact(c.fd, w->table.get(), room)) {
        return c.fail(CKV_READ);
    }
    if (c.record->swapped) (w->wide ? swapquad : swaplong)(w->table.get(), room);
    return true;
}

int64_t first_track(const vorhdr &hdr) {
    if (hdr.type != vt_fw511) return VOR_HDRSIZE;
    uint32_t base = 0;
    std::memcpy(&base, hdr.reserved1 + (fw511_word - offsetof(vorhdr, reserved1)), sizeof base);
    return int64_t{fw511_entry} * hdr.tracks + base;
}

// Runs that a track may have: a pixel each, but in a native file no more than there are bytes for
// them. Of a compressed one the buffer, which holds any coded track, has been held against the
// file.
uint32_t most_runs(const xvor_t *h) {
    int64_t runs = h->ysize;
    if (h->fmt == 0) {
        const bool compressed = (static_cast<uint32_t>(h->subtype) & VT_COMPRESSION) != 0;
        const int64_t bytes = compressed ? int64_t{h->bufsize} : data_size(h);
        if (bytes >= 0) runs = std::min(runs, bytes);
    }
    return static_cast<uint32_t>(runs);
}

bool prepare(Check *c, Walk *w) {
    if (c->handle) {
        return gtgrow(&w->buffer, most_runs(c->handle), 1, 0) < 0 ? c->fail(CKV_MEMORY) : true;
    }
    if (c->hdr.type == vt_fw511) c->hdr.hflags |= HF_SEEKTAB;
    w->decoder = find_decoder(c->hdr.type, c->record->swapped != 0);
    start_bytes(&w->bytes, c->fd);
    if ((c->hdr.hflags & HF_SEEKTAB) && !read_table(*c, w)) return false;
    return go_to(&w->bytes, first_track(c->hdr)) ? true : c->fail(CKV_READ);
}

bool count_blank(Walk *w, int64_t colour) {
    if (colour >= CKV_COLORS) return false;
    w->colours.pixels[colour] += w->pixels;
    w->track = {0, w->pixels};
    return true;
}

bool count_native(const Check &c, Walk *w, int32_t number) {
    if (w->table) {
        const int64_t entry = w->entry(number);
        if (entry < 0) return count_blank(w, ~entry);
        if (entry > 0 && !go_to(&w->bytes, entry)) return c.fail(CKV_READ);
    }
    if (count_track(w->decoder, &w->bytes, &w->colours, &w->track)) return true;
    return w->bytes.failed ? c.fail(CKV_READ) : false;
}

void count_run(const Check &c, Walk *w, const lfrun &run) {
    w->track.pixels += run.length;
    if (run.colour < CKV_COLORS) {
        w->colours.pixels[run.colour] += run.length;
        return;
    }
    std::fprintf(stderr, "\nckvor: bad color code: %d (line=%d)\n",
                 static_cast<int32_t>(run.colour), lfcurrentrow(c.handle));
    c.fail(CKV_BADCOLOR);
}

bool count_foreign(const Check &c, Walk *w, int32_t number) {
    const int32_t runs = lfread(c.handle, &w->buffer, number);
    if (runs < 0) return false;
    if (runs == 0) {
        std::fprintf(stderr, "\nRepeated track: %d\n", lfcurrentrow(c.handle));
        w->track.codes = 0; // its pixels are those of the track before
        return true;
    }
    w->track = {runs == 1 ? 0 : static_cast<uint64_t>(runs), 0};
    for (int32_t i = 0; i < runs; ++i)
        count_run(c, w, w->buffer.data[i]);
    return true;
}

// Walks up to the first track that is bad, or the last.
void walk_tracks(const Check &c, Walk *w) {
    for (; w->walked < w->tracks; ++w->walked) {
        const int32_t i = w->walked;
        if (!(c.handle ? count_foreign(c, w, i) : count_native(c, w, i))) return;
        if (i % report_step == 0 && c.report(CKV_TRACK, i) < 0) {
            c.fail(CKV_STOPPED);
            return;
        }
        if (w->track.pixels != w->pixels) {
            c.fail(CKV_BADLENGTH);
            return;
        }
        w->codes += w->track.codes;
        w->fwmax = std::max(w->fwmax, w->track.codes);
    }
}

// ---- result -------------------------------------------------------------------------------------

void find_range(ckvor_t *record, const ColourCounts &colours) {
    for (int32_t code = 0; code < CKV_COLORS; ++code) {
        if (colours.total(static_cast<uint32_t>(code)) == 0) continue;
        record->mincolor = std::min(record->mincolor, code);
        record->maxcolor = code;
    }
}

void fill_colors(const ckvor_t *record, const ColourCounts &colours) {
    if (!record->colors) return;
    for (int32_t code = 0; code < record->ncolors; ++code) {
        const uint64_t sum = code < CKV_COLORS ? colours.total(static_cast<uint32_t>(code)) : 0;
        record->colors[code] = static_cast<uint32_t>(std::min<uint64_t>(sum, INT32_MAX));
    }
}

void fill_statistics(ckvor_t *record, const Walk &w) {
    record->fwmax = static_cast<int32_t>(std::min<uint64_t>(w.fwmax, INT32_MAX));
    if (w.walked > 0) {
        record->avgruns = saturating_int(static_cast<double>(w.codes) / w.walked + 0.5);
    }
    fill_colors(record, w.colours);
}

// Appends a section with a byte for each colour code, 1 for those in use. A file without any tracks
// gets none.
bool append_colour_info(int32_t fd, vorhdr *hdr, const ColourCounts &colours) {
    const int64_t end = kel_lseek(fd, 0, KEL_SEEK_END);
    if (end < 0) return false;
    if (end <= VOR_HDRSIZE) return true;
    uint8_t used[cinfo_bytes];
    for (uint32_t code = 0; code < cinfo_bytes; ++code)
        used[code] = colours.total(code) != 0;
    if (!write_all(fd, used, sizeof used)) return false;
    hdr->cinfooff_lo = static_cast<uint32_t>(end);
    hdr->cinfooff_hi = static_cast<uint32_t>(end >> 32);
    if (end >= offset_limit && !(hdr->hflags & HF_OFF64)) {
        // The other high words meant nothing so far, and are to mean 0.
        hdr->stopoff_hi = hdr->seekoff_hi = hdr->ctaboff_hi = hdr->tagoff_hi = 0;
        hdr->hflags |= HF_OFF64;
    }
    hdr->hflags |= HF_CINFO;
    return true;
}

// The checksum of the header is left as it is, and no longer fits if there is one.
bool write_result(int32_t fd, vorhdr *hdr, const Walk &w) {
    if (hdr->type == VT_FW88 && !(hdr->hflags & HF_CINFO) &&
        !append_colour_info(fd, hdr, w.colours)) {
        return false;
    }
    hdr->hflags |= HF_MAXRUNS;
    hdr->hmaxruns = static_cast<uint32_t>(w.fwmax);
    return kel_lseek(fd, 0, KEL_SEEK_SET) == 0 && write_all(fd, hdr, sizeof *hdr);
}

void store_result(const Check &c, const Walk &w) {
    const ckvor_t *record = c.record;
    if (kel_access(record->filename, KEL_W_OK) != 0) return;
    const int32_t fd =
        kel_open(record->filename, KEL_O_RDWR | KEL_O_BINARY, KEL_DEFAULT_PERMISSIONS);
    vorhdr hdr = c.hdr;
    const bool written = fd >= 0 && write_result(fd, &hdr, w);
    const bool closed = fd >= 0 && kel_close(fd) == 0;
    if (!written || !closed) c.fail(CKV_NOTSTORED);
}

void walk(Check *c) {
    ckvor_t *record = c->record;
    Walk w(record->tracks, record->pixels);
    const bool native = !c->handle;
    c->report(CKV_START, w.tracks);
    const bool prepared = prepare(c, &w);
    if (prepared) {
        c->report(CKV_TRACK, 0);
        walk_tracks(*c, &w);
    }
    c->close();
    if (prepared) c->report(CKV_TRACK, w.walked);
    c->report(CKV_END, 0);

    if (record->status == CKV_GOOD) find_range(record, w.colours);
    if (w.walked < w.tracks) c->fail(CKV_BADWALK);
    if (record->status == CKV_GOOD && native && !record->swapped && record->save_fwmax == 1) {
        store_result(*c, w);
    }
    fill_statistics(record, w);
}

int32_t refuse(ckvor_t *record, const char *message) {
    std::fputs(message, stderr);
    record->status = CKV_PARAMETER;
    return -1;
}

void clear_result(ckvor_t *record) {
    record->tracks = record->pixels = record->swapped = record->status = 0;
    record->avgruns = record->fwmax = 0;
    record->mincolor = CKV_COLORS - 1;
    record->maxcolor = 0;
    if (!record->progress) record->progress = default_progress;
}

} // namespace
} // namespace vor

using namespace vor;

int32_t ckvor(ckvor_t *record, int32_t full) {
    if (record->colors && record->ncolors < 256) return refuse(record, "bad color array size\n");
    if (!record->filename || (record->save_fwmax != 0 && record->save_fwmax != 1)) {
        return refuse(record, "bad filename/save_fwmax parameter\n");
    }
    clear_result(record);
    Check c(record);
    if (open_file(&c)) {
        if (full == 0 && !record->colors && c.maxruns != record->pixels) {
            estimate(c);
        } else {
            walk(&c);
        }
    }
    return record->status > CKV_GOOD ? -1 : 0;
}
