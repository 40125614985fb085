#include "picture_reader.h"

#include "harness.h"

namespace vor::fuzz {
namespace {

constexpr int32_t longest_track = 1 << 20;
constexpr int32_t most_tracks = 64; // read one after the other
constexpr int32_t most_jumps = 6;   // each may decode the file from its start

void set_up(xvor_t *h, Choices &draw) {
    if (draw.coin()) {
        int32_t window[4] = {draw.below(8), draw.below(20), draw.below(40), draw.below(60)};
        lfclip(h, window);
    }
    if (draw.coin()) {
        lfscale(h, 1, 1);
        lfsetsize(h, 1 + draw.below(60), 1 + draw.below(200));
    }
}

void read(xvor_t *h, trackbuf *track_buffer, int32_t n) {
    const int32_t runs = lfread(h, track_buffer, n);
    if (runs > 0) require(runs == track_buffer->nruns, "a read gives the number of its runs");
}

void read_all(xvor_t *h, Choices &draw) {
    Track track(1 + h->ysize);
    for (int32_t n = 0; n < h->xsize && n < most_tracks; ++n) {
        read(h, &track, n);
        if (h->error == LFE_NONE) {
            require(track.pixels() == h->ysize, "runs add up to the track");
        }
    }
    for (int32_t i = 0; i < most_jumps; ++i) {
        const int32_t target = draw.below(100);
        read(h, &track, draw.coin() ? target : h->xsize - target);
        track.pixels();
    }
}

} // namespace

void read_picture(lffmt_t *format, const char *file_name, const uint8_t *data, size_t size) {
    Choices draw(data, size);
    uint32_t mode = LF_READ | LF_FORCETYPE;
    if (draw.coin()) mode |= LF_XMIRROR;
    if (draw.coin()) mode |= LF_YMIRROR;
    lfinfo info;
    xvor_t *const h = lfopen(file_name, mode, lffdev(lfregisterfmt(format), 0), &info);
    if (!h) {
        require(info.error != LFE_NONE, "a failed open tells why");
        return;
    }
    set_up(h, draw);
    if (h->ysize > 0 && h->ysize <= longest_track && lfcheck(h) == 0) read_all(h, draw);
    lfclose(h);
}

} // namespace vor::fuzz
