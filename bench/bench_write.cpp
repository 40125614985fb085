// Writing whole files from run lists: lfwrite of every track, beside a plain loop, PackBits TIFF
// rows by libtiff, and a bare write of the same number of bytes. The run lists are those of 8
// tracks in turn, about a megabyte, so that it is not the memory that is measured.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <tiffio.h>
#include <unistd.h>

#include <memory>
#include <numeric>
#include <string>
#include <vector>

#include "plain_loop.h"
#include "ratios.h"
#include "road_files.h"

namespace vor::bench {
namespace {

struct Road {
    std::string name;
    const TrackImage *image;
    uint32_t minor;
};

constexpr int32_t lists = 8;

// Tracks from all over the image.
class TrackLists {
public:
    explicit TrackLists(const TrackImage &image) {
        for (int32_t i = 0; i < lists; ++i) {
            const Runs runs = image.track(i * (image.tracks / lists));
            rooms_.push_back(std::make_unique<TrackRoom>(runs.size() + 1));
            rooms_.back()->put(runs);
            rows.push_back(packed_row(runs, image));
        }
    }
    trackbuf *operator[](int32_t i) const { return rooms_[static_cast<size_t>(i % lists)]->get(); }
    std::vector<std::string> rows;

private:
    std::vector<std::unique_ptr<TrackRoom>> rooms_;
};

void write_ours(const Road &road, const TrackLists &tracks, const std::string &name) {
    xvor_t *const h =
        lfopen(name.c_str(), LF_WRITE, lffdev(0, static_cast<int32_t>(road.minor)), nullptr);
    require(h && lfsetsize(h, road.image->tracks, road.image->pixels) == 0 &&
                lfscale(h, 100, 100) == 0,
            "opening to write");
    for (int32_t i = 0; i < road.image->tracks; ++i)
        require(lfwrite(h, tracks[i], i) == 0, "lfwrite");
    require(lfclose(h) == 0, "lfclose");
}

void ours(benchmark::State &state, const Road &road) {
    const TrackLists tracks(*road.image);
    const std::string name = scratch_name("written.vor");
    for (auto _ : state) {
        ::unlink(name.c_str());
        write_ours(road, tracks, name);
    }
    state.SetItemsProcessed(state.iterations() * road.image->tracks);
}

template <class Code>
void plain_file(const Road &road, const TrackLists &tracks, const uint16_t *table) {
    uint8_t used[256] = {};
    ByteOut out(scratch_name("written.plain"));
    for (int32_t i = 0; i < road.image->tracks; ++i)
        plain_write<Code>(&out, table, tracks[i]->data, tracks[i]->nruns, used);
    out.flush();
}

void plain(benchmark::State &state, const Road &road) {
    const TrackLists tracks(*road.image);
    std::vector<uint16_t> table(256);
    std::iota(table.begin(), table.end(), uint16_t{0});
    for (auto _ : state) {
        ::unlink(scratch_name("written.plain").c_str());
        if (road.minor == VT_FW8)
            plain_file<PlainFw8>(road, tracks, table.data());
        else if (road.minor == VT_FW16)
            plain_file<PlainFw16>(road, tracks, table.data());
        else
            plain_file<PlainFw88>(road, tracks, table.data());
    }
    state.SetItemsProcessed(state.iterations() * road.image->tracks);
}

void tiff_packbits(benchmark::State &state, const Road &road) {
    TrackLists tracks(*road.image);
    const std::string name = scratch_name("written.tif");
    for (auto _ : state) {
        ::unlink(name.c_str());
        TIFF *const tiff = TIFFOpen(name.c_str(), "w");
        require(tiff != nullptr, "TIFFOpen");
        TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, road.image->pixels);
        TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, road.image->tracks);
        TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, road.image->two_levels ? 1 : 8);
        TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
        TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
        TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_PACKBITS);
        TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(tiff, 0));
        for (int32_t i = 0; i < road.image->tracks; ++i) {
            // The rows are there already: that libtiff must be given pixels is not held against it.
            std::string &row = tracks.rows[static_cast<size_t>(i % lists)];
            require(TIFFWriteScanline(tiff, row.data(), static_cast<uint32_t>(i), 0) == 1,
                    "TIFFWriteScanline");
        }
        TIFFClose(tiff);
    }
    state.SetItemsProcessed(state.iterations() * road.image->tracks);
}

// As many bytes as ours are.
void bare(benchmark::State &state, const Road &road) {
    const std::string sized = scratch_name("sized.vor");
    write_ours(road, TrackLists(*road.image), sized);
    const size_t bytes = file_size(sized);
    ::unlink(sized.c_str());
    const std::vector<uint8_t> block(block_size);
    const std::string name = scratch_name("written.bare");
    for (auto _ : state) {
        ::unlink(name.c_str());
        const int fd = ::open(name.c_str(), O_WRONLY | O_CREAT, 0600);
        for (size_t done = 0; done < bytes; done += block_size)
            require(::write(fd, block.data(), block_size) == static_cast<ssize_t>(block_size),
                    "write");
        ::close(fd);
    }
    state.SetItemsProcessed(state.iterations() * road.image->tracks);
}

using Engine = void (*)(benchmark::State &, const Road &);

void add(const Road &road, double limit) {
    const std::pair<const char *, Engine> engines[] = {{"ours", ours},
                                                       {"plain_loop", plain},
                                                       {"tiff_packbits", tiff_packbits},
                                                       {"bare_write", bare}};
    for (const auto &[name, engine] : engines)
        benchmark::RegisterBenchmark(
            (road.name + "/" + name).c_str(),
            [road, run = engine](benchmark::State &state) { run(state, road); })
            ->Unit(benchmark::kMillisecond);
    want_times_as_fast(road.name, "plain_loop", 2);
    want_times_as_fast(road.name, "tiff_packbits", 6);
    want_times_the_time(road.name, "bare_write", limit);
}

const bool added = [] {
    add({"write/fw8/halftone", &halftone, VT_FW8}, 2.5);
    add({"write/fw16/halftone", &halftone, VT_FW16}, 1.8);
    add({"write/fw88/noise", &noise, VT_FW88}, 2.2);
    return true;
}();

} // namespace
} // namespace vor::bench
