// The codecs from both ends. An image drawn from the input is written in any of the three codings,
// plain or deflated, in either byte order, mirrored or not, and read back through clip, scale and
// mirrors: what comes out is held against a plain model. Then the same bytes are taken as coded
// tracks of a file that is otherwise sound, and every reader is let loose on them.
#include <algorithm>
#include <cstring>

#include "harness.h"
#include "libvor.h"
#include "track_model.h"

namespace vor::fuzz {
namespace {

constexpr int32_t most_tracks = 6;
constexpr int32_t most_pixels = 700;
constexpr int32_t most_output = 2000;
constexpr uint32_t formats[] = {VT_FW16, VT_FW8, VT_FW88};

struct Coding {
    uint32_t format; // VT_
    uint32_t deflated;
    uint32_t mode; // LF_ bits for the writer

    bool mirrored() const { return (mode & LF_YMIRROR) != 0; }
    int32_t type() const { return lffdev(0, static_cast<int32_t>(format | deflated)); }
    // What a colour reads as once it has been written.
    uint32_t read_back(uint32_t colour) const {
        return format == VT_FW88 ? colour : colour != 0 ? 255 : 0;
    }
};

// A buffer far smaller than usual, so that codes and their fills meet at every point.
uint32_t draw_bufsize(Choices &draw) {
    return 2 + 2 * uint32_t{draw.byte()};
}

Coding draw_coding(Choices &draw) {
    Coding coding = {formats[draw.below(3)], draw.coin() ? VT_DEFLATED : 0, 0};
    for (const uint32_t bit : {LF_SWAPPED, LF_YMIRROR, LF_ASIS, LF_NOCOLOR})
        if (draw.coin()) coding.mode |= bit;
    return coding;
}

// ---- an image, and its way through a file ----

// Runs as a program might bring them: of any length, neighbours of one colour and empty ones too.
Runs draw_runs(Choices &draw, int32_t pixels) {
    Runs runs;
    for (int32_t left = pixels; left > 0;) {
        const uint8_t kind = draw.byte();
        const int32_t length = kind < 160 ? kind % 16 : kind < 250 ? draw.below(300) : left;
        const int32_t taken = draw.left() == 0 ? left : std::min(left, length);
        runs.emplace_back(static_cast<uint32_t>(taken), draw.coin() ? draw.byte() : kind % 2);
        left -= taken;
    }
    return runs;
}

void fill(Track *track, const Runs &runs) {
    track->data = track->base + 1;
    track->nruns = static_cast<int32_t>(runs.size());
    for (size_t i = 0; i < runs.size(); ++i)
        track->data[i] = {runs[i].first, runs[i].second};
}

Row row_of(const Runs &runs, const Coding &coding) {
    Row row;
    for (const auto &[length, colour] : runs)
        row.insert(row.end(), length, coding.read_back(colour));
    if (coding.mirrored()) std::reverse(row.begin(), row.end());
    return row;
}

// Writes an image drawn from the input. The result is what the file then holds.
Image write_image(const ScratchFile &file, const Coding &coding, Choices &draw) {
    const int32_t tracks = 1 + draw.below(most_tracks);
    const int32_t pixels = 1 + draw.below(most_pixels);
    xvor_t *const h = lfopen(file.name(), LF_WRITE | coding.mode, coding.type(), nullptr);
    require(h && lfsetsize(h, tracks, pixels) == 0, "a file can be made");
    if (!coding.deflated && draw.coin()) h->bufsize = draw_bufsize(draw);
    require(lfcheck(h) == 0, "a file can be set up");
    Image image;
    for (int32_t i = 0; i < tracks; ++i) {
        const Runs runs = draw_runs(draw, pixels);
        Track track(static_cast<int32_t>(runs.size()));
        fill(&track, runs);
        require(lfwrite(h, &track, i) == 0, "a track can be written");
        image.push_back(row_of(runs, coding));
    }
    require(lfclose(h) == 0, "a file can be finished");
    return image;
}

View draw_view(const Image &image, Choices &draw) {
    const auto tracks = static_cast<int32_t>(image.size());
    const auto pixels = static_cast<int32_t>(image.front().size());
    View view = {{0, 0, tracks, pixels}, 0, 0, draw.coin(), draw.coin()};
    if (draw.coin()) {
        view.window.xa = draw.below(tracks);
        view.window.xe = view.window.xa + 1 + draw.below(tracks - view.window.xa);
        view.window.ya = draw.below(pixels);
        view.window.ye = view.window.ya + 1 + draw.below(pixels - view.window.ya);
    }
    view.xsize = view.window.xe - view.window.xa;
    view.ysize = view.window.ye - view.window.ya;
    if (draw.coin()) view.ysize = 1 + draw.below(most_output);
    if (draw.coin()) view.xsize = 1 + draw.below(3 * most_tracks);
    return view;
}

void expect_row(const Track &track, const Row &row) {
    require(track.pixels() == static_cast<int64_t>(row.size()), "a track has its length");
    const Runs runs = runs_of(row);
    require(track.nruns == static_cast<int32_t>(runs.size()), "neighbours of a colour are one run");
    for (size_t i = 0; i < runs.size(); ++i) {
        require(track.data[i].length == runs[i].first, "a run has its length");
        require(track.data[i].colour == runs[i].second, "a run has its colour");
    }
}

xvor_t *open_view(const ScratchFile &file, const View &view, Choices &draw) {
    const uint32_t mode = (view.xmirror ? LF_XMIRROR : 0) | (view.ymirror ? LF_YMIRROR : 0) |
                          (draw.coin() ? LF_MEASURE : 0);
    xvor_t *const h = lfopen(file.name(), mode, 0, nullptr);
    int32_t window[] = {view.window.xa, view.window.ya, view.window.xe, view.window.ye};
    require(h && lfclip(h, window) == 0, "a window can be had");
    require(lfsetsize(h, view.xsize, view.ysize) == 0, "a size can be had");
    h->bufsize = draw_bufsize(draw);
    require(lfcheck(h) == 0, "a sound file passes");
    return h;
}

void read_image(const ScratchFile &file, const Image &image, Choices &draw) {
    const View view = draw_view(image, draw);
    const Image expected = looked_at(image, view);
    xvor_t *const h = open_view(file, view, draw);
    Track track(view.ysize);
    const bool backwards = draw.coin();
    for (int32_t i = 0; i < view.xsize; ++i) {
        const int32_t n = backwards ? view.xsize - 1 - i : i;
        require(lfread(h, &track, n) >= 0, "a sound track can be read");
        expect_row(track, expected[static_cast<size_t>(n)]);
    }
    require(lfclose(h) == 0, "a file closes");
}

void round_trip(Choices &draw) {
    static const ScratchFile file(".vor");
    const Coding coding = draw_coding(draw);
    const Image image = write_image(file, coding, draw);
    read_image(file, image, draw);
    read_image(file, image, draw);
}

// ---- any bytes as tracks ----

// A file of this machine's byte order with the bytes as its tracks, at places drawn from the input.
std::vector<uint8_t> file_around(const uint8_t *data, size_t size, uint32_t format, Choices &draw) {
    vorhdr header = {};
    int32_t places[most_tracks];
    header.tracks = most_tracks;
    header.pixels = 1 + static_cast<uint32_t>(draw.below(most_pixels));
    header.type = format;
    header.version = VOR_VERSION;
    header.hflags = HF_SEEKTAB | HF_RES64;
    header.seekoff_lo = static_cast<uint32_t>(VOR_HDRSIZE + size);
    header.xpitch64 = header.ypitch64 = 0.01;
    places[0] = VOR_HDRSIZE;
    for (int32_t i = 1; i < most_tracks; ++i)
        places[i] = draw.coin() ? -1 - draw.byte() : VOR_HDRSIZE + draw.below(1024);

    std::vector<uint8_t> file(VOR_HDRSIZE + size + sizeof places);
    std::memcpy(file.data(), &header, VOR_HDRSIZE);
    std::memcpy(file.data() + VOR_HDRSIZE, data, size);
    std::memcpy(file.data() + VOR_HDRSIZE + size, places, sizeof places);
    return file;
}

void read_with(const ScratchFile &file, uint32_t mode, Choices &draw) {
    xvor_t *const h = lfopen(file.name(), mode, 0, nullptr);
    require(h != nullptr, "a file with a sound header opens");
    int32_t window[] = {0, draw.below(h->fysize), 0, 0};
    lfclip(h, window);
    if (draw.coin()) lfsetsize(h, h->xsize, 1 + draw.below(most_output));
    h->bufsize = draw_bufsize(draw);
    // At times too small, as a program's buffer is that believed the header.
    Track track(draw.coin() ? h->ysize : 1 + draw.below(40));
    for (int32_t i = 0; i < most_tracks; ++i) {
        const int32_t runs = lfread(h, &track, i);
        const int64_t pixels = track.pixels();
        if (runs > 0) require(pixels == h->ysize && runs == track.nruns, "a read track is whole");
    }
    lfclose(h);
}

void read_anything(const uint8_t *data, size_t size, Choices &draw) {
    static const ScratchFile file(".vor");
    for (const uint32_t format : formats) {
        const std::vector<uint8_t> bytes = file_around(data, size, format, draw);
        file.store(bytes.data(), bytes.size());
        for (const uint32_t mode : {uint32_t{0}, LF_YMIRROR, LF_LAXTRACK, LF_SEQUENTIAL})
            read_with(file, mode | (draw.coin() ? LF_XMIRROR : 0), draw);
    }
}

} // namespace
} // namespace vor::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    using namespace vor::fuzz;
    be_quiet();
    Choices draw(data, size);
    round_trip(draw);
    read_anything(data, size, draw);
    return 0;
}
