// Deflated tracks: whole files read and written, beside libpng on the same picture, and beside zlib
// alone on the very same streams.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <png.h>
#include <unistd.h>
#include <zlib.h>

#include <string>
#include <vector>

#include "plain_loop.h"
#include "ratios.h"
#include "road_files.h"
#include "row_runs.h"

namespace vor::bench {
namespace {

// The first tracks of the halftone: at level 9 all of it takes seconds.
const TrackImage halftone_part = {"halftone_part", 60000, tracks_to_make(400), true,
                                  [](int32_t number) { return halftone.track(number); }};

struct Road {
    std::string name;
    const TrackImage *picture;
    uint32_t minor;
};

const std::string &deflated_file(const Road &road) {
    return native_file(*road.picture, road.minor | VT_DEFLATED);
}

void count_tracks(benchmark::State &state, const Road &road) {
    state.SetItemsProcessed(state.iterations() * road.picture->tracks);
}

// ---- reading ----

void read_ours(benchmark::State &state, const Road &road) {
    const TrackImage &image = *road.picture;
    const std::string &name = deflated_file(road);
    TrackRoom room(static_cast<size_t>(image.pixels) + 16);
    for (auto _ : state) {
        xvor_t *const h = lfopen(name.c_str(), LF_READ, 0, nullptr);
        require(h != nullptr, "lfopen");
        for (int32_t i = 0; i < image.tracks; ++i)
            require(lfread(h, room.get(), i) > 0, "lfread");
        require(lfclose(h) == 0, "lfclose");
    }
    count_tracks(state, road);
}

void read_png(benchmark::State &state, const Road &road) {
    const TrackImage &image = *road.picture;
    const std::string &name = png_file(image);
    std::vector<uint8_t> row(static_cast<size_t>(image.pixels) / 8 + 16);
    std::vector<lfrun> runs(static_cast<size_t>(image.pixels) + 64);
    for (auto _ : state) {
        std::FILE *const file = std::fopen(name.c_str(), "rb");
        png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
        png_infop info = png_create_info_struct(png);
        png_init_io(png, file);
        png_read_info(png, info);
        for (int32_t i = 0; i < image.tracks; ++i) {
            png_read_row(png, row.data(), nullptr);
            require(runs_of_bits(row.data(), image.pixels, runs.data()) > 0, "runs");
            benchmark::DoNotOptimize(runs.data());
        }
        png_destroy_read_struct(&png, &info, nullptr);
        std::fclose(file);
    }
    count_tracks(state, road);
}

int64_t first_stream(const Road &road) {
    xvor_t *const h = lfopen(deflated_file(road).c_str(), LF_READ, 0, nullptr);
    require(h && lfcheck(h) == 0 && h->seektab, "lfcheck");
    const int64_t offset = h->seektab[0];
    lfclose(h);
    return offset;
}

// One stream a track, behind each other; what zlib gives is not looked at.
void read_bare(benchmark::State &state, const Road &road) {
    const TrackImage &image = *road.picture;
    const int64_t offset = first_stream(road);
    std::vector<uint8_t> out(size_t{1} << 18);
    for (auto _ : state) {
        ByteBlocks in(deflated_file(road), offset);
        z_stream stream = {};
        require(inflateInit(&stream) == Z_OK, "inflateInit");
        for (int32_t i = 0; i < image.tracks; ++i) {
            stream.next_out = out.data();
            stream.avail_out = static_cast<uInt>(out.size());
            int result = Z_OK;
            while (result == Z_OK) {
                if (in.at == in.end) require(in.fill(), "read");
                stream.next_in = const_cast<uint8_t *>(in.at);
                stream.avail_in = static_cast<uInt>(in.end - in.at);
                result = inflate(&stream, Z_SYNC_FLUSH);
                in.at = stream.next_in;
            }
            require(result == Z_STREAM_END && inflateReset(&stream) == Z_OK, "inflate");
        }
        inflateEnd(&stream);
    }
    count_tracks(state, road);
}

// ---- writing ----

void write_ours(benchmark::State &state, const Road &road) {
    const TrackImage &image = *road.picture;
    const std::string name = scratch_name("written.vor");
    std::vector<Runs> tracks(static_cast<size_t>(image.tracks));
    for (size_t i = 0; i < tracks.size(); ++i)
        tracks[i] = image.track(static_cast<int32_t>(i));
    TrackRoom room(static_cast<size_t>(image.pixels));
    for (auto _ : state) {
        ::unlink(name.c_str());
        xvor_t *const h =
            lfopen(name.c_str(), LF_WRITE,
                   lffdev(0, static_cast<int32_t>(road.minor | VT_DEFLATED)), nullptr);
        require(h && lfsetsize(h, image.tracks, image.pixels) == 0 && lfscale(h, 100, 100) == 0,
                "lfopen");
        for (int32_t i = 0; i < image.tracks; ++i) {
            room.put(tracks[static_cast<size_t>(i)]);
            require(lfwrite(h, room.get(), i) == 0, "lfwrite");
        }
        require(lfclose(h) == 0, "lfclose");
    }
    count_tracks(state, road);
}

void write_png(benchmark::State &state, const Road &road) {
    const TrackImage &image = *road.picture;
    std::vector<std::string> rows(static_cast<size_t>(image.tracks));
    for (size_t i = 0; i < rows.size(); ++i)
        rows[i] = packed_row(image.track(static_cast<int32_t>(i)), image);
    const std::string name = scratch_name("written.png");
    for (auto _ : state) {
        ::unlink(name.c_str());
        write_png_rows(name, image, [&](int32_t i) { return rows[static_cast<size_t>(i)]; });
    }
    count_tracks(state, road);
}

// The coded tracks, as the plain file of the same form holds them.
std::vector<std::string> coded_tracks(const Road &road) {
    const TrackImage &image = *road.picture;
    const std::string &name = native_file(image, road.minor);
    xvor_t *const h = lfopen(name.c_str(), LF_READ, 0, nullptr);
    require(h && lfcheck(h) == 0 && h->seektab, "lfcheck");
    std::vector<std::string> tracks;
    const int fd = ::open(name.c_str(), O_RDONLY);
    for (int32_t i = 0; i + 1 < image.tracks; ++i) {
        const int64_t begin = h->seektab[i];
        std::string track(static_cast<size_t>(h->seektab[i + 1] - begin), 0);
        require(::pread(fd, track.data(), track.size(), begin) ==
                    static_cast<ssize_t>(track.size()),
                "pread");
        tracks.push_back(track);
    }
    tracks.push_back(tracks.back());
    ::close(fd);
    lfclose(h);
    return tracks;
}

void write_bare(benchmark::State &state, const Road &road) {
    const std::vector<std::string> tracks = coded_tracks(road);
    std::vector<uint8_t> out(size_t{1} << 18);
    const std::string name = scratch_name("written.z");
    for (auto _ : state) {
        ::unlink(name.c_str());
        const int fd = ::open(name.c_str(), O_WRONLY | O_CREAT, 0600);
        z_stream stream = {};
        require(deflateInit(&stream, 9) == Z_OK, "deflateInit");
        for (const std::string &track : tracks) {
            stream.next_in = reinterpret_cast<uint8_t *>(const_cast<char *>(track.data()));
            stream.avail_in = static_cast<uInt>(track.size());
            stream.next_out = out.data();
            stream.avail_out = static_cast<uInt>(out.size());
            require(deflate(&stream, Z_FINISH) == Z_STREAM_END, "deflate");
            const size_t size = out.size() - stream.avail_out;
            require(::write(fd, out.data(), size) == static_cast<ssize_t>(size), "write");
            require(deflateReset(&stream) == Z_OK, "deflateReset");
        }
        deflateEnd(&stream);
        ::close(fd);
    }
    count_tracks(state, road);
}

void add(const Road &road) {
    const std::pair<const char *, void (*)(benchmark::State &, const Road &)> engines[] = {
        {"read/ours", read_ours},   {"read/libpng", read_png},   {"read/bare_zlib", read_bare},
        {"write/ours", write_ours}, {"write/libpng", write_png}, {"write/bare_zlib", write_bare}};
    for (const auto &[engine, run] : engines) {
        const auto measure = [road, call = run](benchmark::State &state) { call(state, road); };
        benchmark::RegisterBenchmark((road.name + "/" + engine).c_str(), measure)
            ->Unit(benchmark::kMillisecond);
    }
    want_times_as_fast(road.name + "/read", "libpng", 1.9);
    want_times_the_time(road.name + "/read", "bare_zlib", 1.15);
    want_times_as_fast(road.name + "/write", "libpng", 2);
    want_times_the_time(road.name + "/write", "bare_zlib", 1.1);
}

const bool added = [] {
    add({"deflated/fw8/halftone", &halftone_part, VT_FW8});
    add({"deflated/fw16/halftone", &halftone_part, VT_FW16});
    add({"deflated/fw8/line_work", &line_work, VT_FW8});
    return true;
}();

} // namespace
} // namespace vor::bench
