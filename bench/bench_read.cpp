// Reading whole files: lfread of every track, beside a plain loop over the same bytes, libtiff's
// rows turned into the same runs, and a bare read of the bytes.
#include <benchmark/benchmark.h>
#include <tiffio.h>

#include <numeric>
#include <string>
#include <vector>

#include "plain_loop.h"
#include "ratios.h"
#include "road_files.h"
#include "row_runs.h"

namespace vor::bench {
namespace {

struct Road {
    std::string name;
    const TrackImage *image;
    uint32_t minor;
    int32_t output; // pixels a track comes out with
    uint32_t mode;
    uint16_t shared; // so many neighbouring numbers have one colour in the table
};

std::vector<uint16_t> table_of(const Road &road) {
    std::vector<uint16_t> table(256);
    std::iota(table.begin(), table.end(), uint16_t{0});
    for (uint16_t &entry : table)
        entry = static_cast<uint16_t>(entry / road.shared * road.shared);
    return table;
}

xvor_t *open_road(const Road &road) {
    xvor_t *const h =
        lfopen(native_file(*road.image, road.minor).c_str(), LF_READ | road.mode, 0, nullptr);
    require(h && lfsetsize(h, road.image->tracks, road.output) == 0, "opening");
    if (road.shared > 1) {
        const std::vector<uint16_t> table = table_of(road);
        std::copy(table.begin(), table.end(), h->ctable);
    }
    return h;
}

void ours(benchmark::State &state, const Road &road) {
    native_file(*road.image, road.minor);
    TrackRoom room(static_cast<size_t>(road.output) + 16);
    for (auto _ : state) {
        xvor_t *const h = open_road(road);
        for (int32_t i = 0; i < road.image->tracks; ++i)
            require(lfread(h, room.get(), i) > 0, "lfread");
        require(lfclose(h) == 0, "lfclose");
    }
    state.SetItemsProcessed(state.iterations() * road.image->tracks);
}

int64_t first_track(const Road &road) {
    xvor_t *const h = open_road(road);
    require(lfcheck(h) == 0 && h->seektab && h->seektab[0] > 0, "lfcheck");
    const int64_t offset = h->seektab[0];
    lfclose(h);
    return offset;
}

template <class Code, bool scaled>
void plain_file(const Road &road, int64_t offset, const uint16_t *table, std::vector<lfrun> *runs) {
    ByteBlocks in(native_file(*road.image, road.minor), offset);
    for (int32_t i = 0; i < road.image->tracks; ++i) {
        const int32_t count =
            plain_read<Code, scaled>(&in, table, road.image->pixels, road.output, runs->data(),
                                     static_cast<int32_t>(runs->size()));
        require(count > 0, "plain_read");
        benchmark::DoNotOptimize(runs->data());
    }
}

void plain(benchmark::State &state, const Road &road) {
    const int64_t offset = first_track(road);
    const std::vector<uint16_t> table = table_of(road);
    std::vector<lfrun> runs(static_cast<size_t>(road.output));
    const bool scaled = road.output != road.image->pixels;
    for (auto _ : state) {
        switch (road.minor) {
        case VT_FW8:
            (scaled ? plain_file<PlainFw8, true>
                    : plain_file<PlainFw8, false>)(road, offset, table.data(), &runs);
            break;
        case VT_FW16:
            (scaled ? plain_file<PlainFw16, true>
                    : plain_file<PlainFw16, false>)(road, offset, table.data(), &runs);
            break;
        default:
            (scaled ? plain_file<PlainFw88, true>
                    : plain_file<PlainFw88, false>)(road, offset, table.data(), &runs);
            break;
        }
    }
    state.SetItemsProcessed(state.iterations() * road.image->tracks);
}

void tiff(benchmark::State &state, const Road &road, uint16_t compression) {
    const std::string &name = tiff_file(*road.image, compression);
    std::vector<uint8_t> row(static_cast<size_t>(road.image->pixels) + 8);
    std::vector<lfrun> runs(static_cast<size_t>(road.image->pixels) + 64);
    for (auto _ : state) {
        TIFF *const file = TIFFOpen(name.c_str(), "rm");
        require(file != nullptr, "TIFFOpen");
        for (int32_t i = 0; i < road.image->tracks; ++i) {
            require(TIFFReadScanline(file, row.data(), static_cast<uint32_t>(i), 0) == 1,
                    "TIFFReadScanline");
            const int32_t count = road.image->two_levels
                                      ? runs_of_bits(row.data(), road.image->pixels, runs.data())
                                      : runs_of_bytes(row.data(), road.image->pixels, runs.data());
            require(count > 0, "runs");
            benchmark::DoNotOptimize(runs.data());
        }
        TIFFClose(file);
    }
    state.SetItemsProcessed(state.iterations() * road.image->tracks);
}

void bare(benchmark::State &state, const Road &road) {
    const std::string &name = native_file(*road.image, road.minor);
    for (auto _ : state) {
        ByteBlocks in(name, 0);
        while (in.fill()) {
        }
    }
    state.SetItemsProcessed(state.iterations() * road.image->tracks);
}

using Engine = void (*)(benchmark::State &, const Road &);

void tiff_plain(benchmark::State &state, const Road &road) {
    tiff(state, road, COMPRESSION_NONE);
}
void tiff_packbits(benchmark::State &state, const Road &road) {
    tiff(state, road, COMPRESSION_PACKBITS);
}
// The same road, run lists not reversed.
void forward(benchmark::State &state, const Road &road) {
    Road other = road;
    other.mode &= ~LF_YMIRROR;
    ours(state, other);
}

struct Peer {
    const char *name;
    Engine engine;
    double wanted; // 0: nothing
    bool is_limit;
};

void add(const Road &road, const std::vector<Peer> &peers) {
    const auto add_one = [&](const std::string &peer, Engine engine) {
        benchmark::RegisterBenchmark((road.name + "/" + peer).c_str(), [road, engine](
                                                                           benchmark::State &s) {
            engine(s, road);
        })->Unit(benchmark::kMillisecond);
    };
    add_one("ours", ours);
    for (const Peer &peer : peers) {
        add_one(peer.name, peer.engine);
        if (peer.wanted == 0) continue;
        (peer.is_limit ? want_times_the_time : want_times_as_fast)(road.name, peer.name,
                                                                   peer.wanted);
    }
}

const bool added = [] {
    const int32_t wide = halftone.pixels, narrow = noise.pixels;
    add({"read/fw8/halftone", &halftone, VT_FW8, wide, 0, 1},
        {{"plain_loop", plain, 4, false},
         {"tiff_uncompressed", tiff_plain, 7, false},
         {"tiff_packbits", tiff_packbits, 13, false},
         {"bare_read", bare, 3.0, true}});
    add({"read/fw16/halftone", &halftone, VT_FW16, wide, 0, 1},
        {{"plain_loop", plain, 4, false},
         {"tiff_uncompressed", tiff_plain, 5, false},
         {"bare_read", bare, 2.5, true}});
    add({"read/fw8/line_work", &line_work, VT_FW8, wide, 0, 1},
        {{"plain_loop", plain, 0, false}, {"bare_read", bare, 0, true}});
    add({"read/fw16/line_work", &line_work, VT_FW16, wide, 0, 1},
        {{"plain_loop", plain, 0, false}, {"bare_read", bare, 0, true}});
    add({"read/fw88/noise", &noise, VT_FW88, narrow, 0, 1},
        {{"plain_loop", plain, 1.0, false},
         {"tiff_uncompressed", tiff_plain, 1.4, false},
         {"tiff_packbits", tiff_packbits, 6, false},
         {"bare_read", bare, 5, true}});
    add({"read/fw88/noise_some_shared", &noise, VT_FW88, narrow, 0, 4},
        {{"plain_loop", plain, 3, false}});
    add({"read/fw88/noise_most_shared", &noise, VT_FW88, narrow, 0, 24},
        {{"plain_loop", plain, 3, false}});
    for (const int32_t output : {7503, 45001}) {
        for (const uint32_t minor : {VT_FW8, VT_FW16}) {
            const std::string form = minor == VT_FW8 ? "fw8" : "fw16";
            add({"scaled_read/" + form + "/halftone/to_" + std::to_string(output), &halftone, minor,
                 output, 0, 1},
                {{"plain_loop", plain, 5, false}, {"tiff_unscaled", tiff_plain, 1.3, false}});
        }
    }
    for (const int32_t output : {2501, 15001})
        add({"scaled_read/fw88/noise/to_" + std::to_string(output), &noise, VT_FW88, output, 0, 1},
            {{"plain_loop", plain, 3, false}});
    for (const auto &[form, image, minor] : {std::tuple{"fw8", &halftone, VT_FW8},
                                             {"fw16", &halftone, VT_FW16},
                                             {"fw88", &noise, VT_FW88}})
        for (const int32_t output : {image->pixels, image->pixels * 3 / 4})
            add({"reversed_read/" + std::string(form) + "/to_" + std::to_string(output), image,
                 minor, output, LF_YMIRROR, 1},
                {{"forward", forward, 1.15, true}});
    return true;
}();

} // namespace
} // namespace vor::bench
