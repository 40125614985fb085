// The seek table of a native file: one entry a track, 32 or 64 bits wide in the file, 64 in memory.
//
// An entry is the offset of the track's data, or, for a blank track, the complement of a code from
// 0 to 255: all ones stand for code 0. Nothing else is valid; no track lies inside the header.

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "platform/file_io.h"
#include "platform/kel.h"
#include "util/owned.h"
#include "util/services.h"
#include "vor/driver.h"

namespace vor {
namespace {

constexpr int32_t chunk_size = 4096;

struct Narrow {
    using Entry = int32_t;
    static constexpr const char *where = "gen_seektab32";
    static void swap(void *data, size_t size) { swaplong(data, size); }
    static void complain(char *text, size_t room, int32_t track, int64_t shown) {
        std::snprintf(text, room, "lh=%d corrupted track table: X=%d, OFF=0x%" PRIx64, VOR_HDRSIZE,
                      track, static_cast<uint64_t>(shown));
    }
};

struct Wide {
    using Entry = int64_t;
    static constexpr const char *where = "gen_seektab64";
    static void swap(void *data, size_t size) { swapquad(data, size); }
    static void complain(char *text, size_t room, int32_t track, int64_t shown) {
        std::snprintf(text, room, "corrupted track table: X=%d, OFF=0x%" PRIx64, track,
                      static_cast<uint64_t>(shown));
    }
};

bool is_valid(int64_t entry) {
    return entry < 0 ? ~entry < LF_NCOLORS : entry >= VOR_HDRSIZE;
}

// The table of the file in pieces, with a cursor that may run ahead of the piece at hand.
template <class Form>
class EntryReader {
public:
    explicit EntryReader(const xvor_t *h) : h_(h) {}

    // Reads the piece that the cursor stands in. False on an error and at the end of the file, also
    // if it ends inside an entry.
    bool fill() {
        if (cursor_ < end_) return true;
        errno = 0;
        const int64_t leap = cursor_ - end_;
        if (leap > 0 && kel_lseek(h_->fd, leap, KEL_SEEK_CUR) < 0) return false;
        cursor_ = 0;
        end_ = read_whole_entries();
        if (is_swapped(h_)) Form::swap(chunk_, static_cast<size_t>(end_));
        return end_ > 0;
    }

    int64_t entry() const {
        typename Form::Entry value;
        std::memcpy(&value, chunk_ + cursor_, sizeof value);
        return value;
    }

    void advance(int64_t entries) { cursor_ += entries * width; }

private:
    static constexpr int64_t width = sizeof(typename Form::Entry);
    static_assert(chunk_size % width == 0);

    int64_t read_whole_entries() {
        int64_t have = 0;
        while (have < chunk_size) {
            const int64_t got =
                kel_read(h_->fd, chunk_ + have, static_cast<size_t>(chunk_size - have));
            if (got < 0) return 0;
            if (got == 0) break;
            have += got;
        }
        return have - have % width;
    }

    const xvor_t *h_;
    uint8_t chunk_[chunk_size];
    int64_t cursor_ = 0;
    int64_t end_ = 0;
};

// Entries from the one of output track i to that of the next. The table's first entry is taken for
// output track 0 wherever in the window its image track lies, and the differences are followed from
// there; that shift of a scaled image is relied on.
int64_t step_behind(const xvor_t *h, int32_t i) {
    if (!h->otrack || i + 1 >= h->xsize || i + 1 >= h->otrackroom) return 1;
    return int64_t{h->otrack[i + 1]} - h->otrack[i];
}

template <class Form>
int32_t corrupted(xvor_t *h, int32_t track, int64_t entry) {
    char text[100];
    Form::complain(text, sizeof text, track, entry < 0 ? ~entry : entry);
    return lferror(h, Form::where, LFE_CORRUPT, 0, text);
}

template <class Form>
int32_t load(xvor_t *h) {
    EntryReader<Form> reader(h);
    for (int32_t i = 0; i < h->xsize; ++i) {
        if (!reader.fill()) return lferror(h, Form::where, LFE_OS, 0, nullptr);
        const int64_t entry = reader.entry();
        h->seektab[i] = entry;
        if (!is_valid(entry)) return corrupted<Form>(h, i, entry);
        reader.advance(step_behind(h, i));
    }
    forget_buffer(h); // the file position is no longer where the buffer thinks it is
    return 1;
}

} // namespace

int32_t vor_seektab(xvor_t *h) {
    const vorpriv *p = priv(h);
    if (!p || p->seekoff <= 0 || !(p->hdr.hflags & HF_SEEKTAB)) return 0;
    h->flags &= ~LF_SEQUENTIAL;
    lfflush(h);
    const bool wide = (p->hdr.hflags & HF_SEEK64) != 0;
    const int64_t before = int64_t{h->xa} * (wide ? 8 : 4);
    errno = 0;
    const bool in_reach = p->seekoff <= INT64_MAX - before;
    if (!in_reach || kel_lseek(h->fd, p->seekoff + before, KEL_SEEK_SET) < 0) {
        return lferror(h, "vor_seektab", LFE_OS, 0, nullptr);
    }
    return wide ? gen_seektab64(h) : gen_seektab32(h);
}

int32_t gen_seektab32(xvor_t *h) {
    return load<Narrow>(h);
}

int32_t gen_seektab64(xvor_t *h) {
    return load<Wide>(h);
}

int32_t vor_putseek64(xvor_t *h, const int64_t *table, int32_t count) {
    const auto entries = static_cast<size_t>(count);
    const size_t bytes = entries * sizeof *table;
    if (!is_swapped(h)) return write_all(h->fd, table, bytes) ? 0 : -1;
    const malloc_ptr<int64_t> swapped(allocate_array<int64_t>(entries));
    if (!swapped) return -1;
    swapquad_a(swapped.get(), table, bytes);
    return write_all(h->fd, swapped.get(), bytes) ? 0 : -1;
}

int32_t vor_putseek32(xvor_t *h, const int64_t *table, int32_t count) {
    const auto entries = static_cast<size_t>(count);
    const malloc_ptr<uint32_t> narrow(allocate_array<uint32_t>(entries));
    if (!narrow) return -1;
    for (size_t i = 0; i < entries; ++i)
        narrow.get()[i] = static_cast<uint32_t>(table[i]);
    const size_t bytes = entries * sizeof(uint32_t);
    if (is_swapped(h)) swaplong(narrow.get(), bytes);
    return write_all(h->fd, narrow.get(), bytes) ? 0 : -1;
}

} // namespace vor
