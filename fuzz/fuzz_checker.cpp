// Any bytes as a file that is checked in full. A good verdict must be true, what can be read from
// end to end must get one, and vectors make no difference.
#include <algorithm>
#include <array>

#include "codecs/bulk.h"
#include "harness.h"
#include "libvor.h"

namespace vor::fuzz {
namespace {

using Pixels = std::array<uint64_t, CKV_COLORS>; // a count for each colour code

constexpr int32_t most_calls = 100; // of the reporter, which hears of every 64th track
constexpr int32_t most_tracks = 200;
constexpr int32_t most_pixels = 1 << 16;
constexpr uint32_t saturated = 0x7FFFFFFF; // where the checker cuts a count

int32_t calls_left;

int32_t count_calls(int32_t stage, ckvor_t *, int32_t) {
    return stage == CKV_TRACK && --calls_left < 0 ? -1 : 0;
}

struct Verdict {
    ckvor_t record = {};
    std::array<uint32_t, CKV_COLORS> colours = {};
    int32_t result = 0;

    Verdict(const char *name, bool store, bool count_colours) {
        record.filename = name;
        record.save_fwmax = store ? 1 : 0;
        if (count_colours) {
            record.colors = colours.data();
            record.ncolors = CKV_COLORS;
        }
        record.progress = count_calls;
        calls_left = most_calls;
        result = ckvor(&record, 1);
        require((result == 0) == (record.status == CKV_GOOD), "result and status agree");
    }
};

bool is_saturated(const Verdict &verdict) {
    return std::find(verdict.colours.begin(), verdict.colours.end(), saturated) !=
           verdict.colours.end();
}

void hold_against_sizes(const Verdict &verdict) {
    const auto sum = [&] {
        uint64_t pixels = 0;
        for (const uint32_t count : verdict.colours)
            pixels += count;
        return pixels;
    }();
    const auto tracks = static_cast<uint64_t>(verdict.record.tracks);
    const auto pixels = static_cast<uint64_t>(verdict.record.pixels);
    require(is_saturated(verdict) || sum == tracks * pixels, "a good file has all its pixels");
    require(verdict.record.avgruns <= verdict.record.fwmax, "no average is above the longest");
}

void hold_against_plain_forms(const char *name, const Verdict &verdict) {
    bulk_allowed = false;
    const Verdict plain(name, false, true);
    bulk_allowed = true;
    require(plain.record.status == verdict.record.status &&
                plain.record.fwmax == verdict.record.fwmax &&
                plain.record.avgruns == verdict.record.avgruns && plain.colours == verdict.colours,
            "a walk without vectors counts the same");
}

// Reads a file whole through the track calls. Every code stands for itself, save in a deflated file
// of two levels: the checker takes all but 0 in it for 255.
bool read_whole(xvor_t *h, Pixels *counts) {
    if (lfcheck(h) < 0) return false;
    if (h->bits < 2 && (static_cast<uint32_t>(h->subtype) & VT_COMPRESSION)) {
        std::fill_n(lfctable(h) + 1, LF_NCOLORS - 1, uint16_t{255});
    }
    Track track(h->ysize + 1);
    for (int32_t i = 0; i < h->xsize; ++i) {
        if (lfread(h, &track, i) < 0) return false;
        for (int32_t run = 0; run < track.nruns; ++run)
            (*counts)[track.data[run].colour % CKV_COLORS] += track.data[run].length;
    }
    return true;
}

// Whether checker and readers look at the same things in this file: it is of today's version, tells
// its byte order, has no colour tables, and its seek table, if it claims one, has a place.
bool comparable(const xvor_t *h) {
    vorhdr header;
    if (lfspecial(const_cast<xvor_t *>(h), LFS_VOR_HEADER, &header) != 0) return false;
    return static_cast<int32_t>(header.version) >= VOR_VERSION &&
           (header.hflags & HF_BYTEORDER) != 0 && !(header.hflags & HF_CTABS) &&
           (!(header.hflags & HF_SEEKTAB) || header.seekoff_lo >= VOR_HDRSIZE);
}

void hold_against_readers(const char *name, const Verdict &verdict) {
    xvor_t *const h = lfopen(name, LF_READ | LF_NOCOLOR, 0, nullptr);
    if (!h) return;
    Pixels counts = {};
    const bool small =
        h->xsize > 0 && h->xsize <= most_tracks && h->ysize > 0 && h->ysize <= most_pixels;
    if (small && read_whole(h, &counts) && comparable(h)) {
        require(verdict.result == 0, "what reads from end to end is good");
        require(std::equal(counts.begin(), counts.end(), verdict.colours.begin()),
                "checker and readers count the same pixels");
    }
    lfclose(h);
}

} // namespace
} // namespace vor::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    using namespace vor::fuzz;
    static const ScratchFile file(".vor");
    be_quiet();
    file.store(data, size);
    Choices draw(data, size);
    const Verdict verdict(file.name(), false, true);
    if (verdict.result == 0) hold_against_sizes(verdict);
    hold_against_plain_forms(file.name(), verdict);
    hold_against_readers(file.name(), verdict);
    if (draw.coin()) {
        const Verdict stored(file.name(), true, false);
        require(stored.result == verdict.result, "storing does not change the verdict");
        const Verdict again(file.name(), false, true);
        require(again.result == verdict.result && again.record.fwmax == verdict.record.fwmax &&
                    again.colours == verdict.colours,
                "a file is as good after its check as before");
    }
    return 0;
}
