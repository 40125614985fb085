// Any bytes as a file that is opened, clipped, scaled, mirrored, checked, read and asked for all it
// has. What comes out must be sound: the runs of a track that is read add up to its length.
#include <algorithm>

#include "harness.h"
#include "libvor.h"

namespace vor::fuzz {
namespace {

constexpr int32_t largest_size = 5000; // of an output that is asked for
constexpr int32_t most_tracks = 64;    // read one after the other
constexpr int32_t most_jumps = 24;
constexpr int64_t most_work = 1 << 21; // bytes and runs that an input may cost

void set_window(xvor_t *h, Choices &draw) {
    const lfinfo info = [h] {
        lfinfo all;
        lfgetinfo(h, LF_FILE_GEOMETRY, &all);
        return all;
    }();
    switch (draw.below(4)) {
    case 0:
        return;
    case 1:
        lfclip(h, nullptr);
        return;
    case 2: {
        int32_t window[4] = {draw.below(8), draw.below(64), draw.below(300), draw.below(5000)};
        lfclip(h, window);
        return;
    }
    default:
        lfclipmm(h, draw.below(10) / 2.0, draw.below(10) / 2.0,
                 info.xres > 0 ? info.xsize / info.xres : -1, draw.coin() ? -1 : 3);
    }
}

void set_size(xvor_t *h, Choices &draw) {
    switch (draw.below(4)) {
    case 0:
        return;
    case 1:
        lfsetsize(h, 1 + draw.below(200), 1 + draw.below(largest_size));
        return;
    case 2:
        lfsetsize(h, h->xe - h->xa, 1 + draw.below(largest_size));
        return;
    default:
        lfscale(h, h->fxres * (1 + draw.below(40)) / 10, h->fyres * (1 + draw.below(40)) / 10);
    }
}

void ask_for_tags(xvor_t *h, Choices &draw) {
    for (int32_t i = 0; i < 40; ++i) {
        vor_tagslot slot = {i - 1, nullptr};
        if (lfspecial(h, LFS_NTH_TAG, &slot) != 0 || !slot.record) continue;
        require(slot.record->tagsize >= VOR_TAGNAME && slot.record->tagsize % 4 == 0,
                "a tag has a sound size");
        vor_tagreq tag = {slot.record->tagname, nullptr};
        require(lfspecial(h, LFS_FIND_TAG, &tag) == 0, "a tag is found by its own name");
    }
    if (draw.coin()) {
        static const ScratchFile tags(".tags");
        lfdump_ftags(h, tags.name());
    }
}

// Asks all that a handle answers, with arguments of the right kind.
void ask(xvor_t *h, Choices &draw) {
    double real = 0;
    int32_t integer = draw.below(70) - 2;
    uint32_t word = 0;
    uint8_t block[256];
    vor_colorinfo colours = {VOR_COLORINFO_MAGIC, 0, {}};
    const uint16_t table[256] = {};
    vor_ctabreq request = {integer, draw.below(2), table};

    lfspecial(h, LFS_FLAGS, &word);
    lfspecial(h, LFS_VOR_HEADER, block);
    lfspecial(h, LFS_SELECT_CTAB, &integer);
    require(lfspecial(h, LFS_SET_CTAB, &request) != 0, "a file that is read keeps its tables");
    for (const int32_t get : {LFS_GET_PARAM_A, LFS_GET_PARAM_B, LFS_GET_PARAM_C, LFS_GET_PARAM_F})
        lfspecial(h, get, &real);
    lfspecial(h, LFS_GET_PARAM_D, &word);
    lfspecial(h, LFS_GET_PARAM_E, &integer);
    lfspecial(h, LFS_GET_COLOR_INFO, &colours);
    lfspecial(h, LFS_IMAGE_HASH, block);
    lfspecial(h, draw.byte() + 26, nullptr);
    ask_for_tags(h, draw);
}

class Reader {
public:
    Reader(xvor_t *h, Choices &draw)
        : h_(h), draw_(draw), track_(1 + std::clamp(h->ysize, 0, 2 * largest_size)) {}

    void read_all() {
        const int32_t count = std::min(h_->xsize, most_tracks);
        for (int32_t i = 0; i < count && work_ < most_work; ++i)
            read(i);
    }

    void jump_about() {
        for (int32_t i = 0; i < most_jumps && work_ < most_work; ++i) {
            const int32_t target = draw_.below(300);
            if (draw_.coin()) lfseek(h_, target - 4, draw_.below(4));
            read(draw_.coin() ? target - 4 : std::max(h_->xsize, 0) - target);
        }
    }

private:
    void read(int32_t n) {
        const int32_t runs = lfread(h_, &track_, n);
        work_ += 64 + (h_->bufend - h_->buf);
        const int64_t pixels = track_.pixels();
        if (runs <= 0) return;
        require(runs == track_.nruns, "a read gives the number of its runs");
        // A late set-up call leaves the readers that were chosen for the old window.
        if (h_->ysize > 0 && h_->flags & LF_CHECKED) {
            require(pixels == h_->ysize, "runs add up to the track");
        }
        work_ += runs;
    }

    xvor_t *h_;
    Choices &draw_;
    Track track_;
    int64_t work_ = 0;
};

void use(xvor_t *h, Choices &draw) {
    if (draw.coin()) ask(h, draw);
    set_window(h, draw);
    set_size(h, draw);
    // Asking for more is the program's affair, and only slow.
    if (h->xsize > largest_size && h->xsize != h->fxsize) return;
    if (draw.coin()) {
        // Smaller pieces than anyone would take, so that codes fall on their borders.
        h->bufsize = 2 + 2 * static_cast<uint32_t>(draw.below(40));
    }
    lfcheck(h);
    Reader reader(h, draw);
    reader.read_all();
    ask(h, draw);
    reader.jump_about();
    if (draw.coin()) {
        set_window(h, draw);
        set_size(h, draw);
        if (h->xsize > largest_size && h->xsize != h->fxsize) return;
        reader.jump_about();
        lfcheck(h);
        Reader(h, draw).read_all();
    }
}

} // namespace
} // namespace vor::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    using namespace vor::fuzz;
    static const ScratchFile file(".vor");
    be_quiet();
    file.store(data, size);
    Choices draw(data, size);
    const uint32_t mode = draw.word() << 10 | draw.word();
    const int32_t type = lffdev(0, draw.byte());
    lfinfo info;
    xvor_t *const h = lfopen(file.name(), mode & ~LF_ACCMODE & ~LF_BITMAP, type, &info);
    if (!h) {
        require(info.error != LFE_NONE, "a failed open tells why");
        return 0;
    }
    use(h, draw);
    lfclose(h);
    return 0;
}
