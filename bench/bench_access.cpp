// What is done now and then: opening and closing a file of many tracks, going to tracks at random,
// and what asking for the position costs each fill of the buffer.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

#include <random>
#include <string>
#include <vector>

#include "plain_loop.h"
#include "road_files.h"

namespace vor::bench {
namespace {

Runs short_track(int32_t number) {
    Runs runs;
    for (uint32_t i = 0; i < 20; ++i)
        runs.push_back({40 + (static_cast<uint32_t>(number) + i * 7) % 20, i % 2 * 255});
    uint32_t sum = 0;
    for (const lfrun &run : runs)
        sum += run.length;
    runs.push_back({1200 - sum, 0});
    return runs;
}

const TrackImage many = {"many_tracks", 1200, tracks_to_make(200000), true, short_track};

void open_and_close(benchmark::State &state) {
    const std::string &name = native_file(many, VT_FW8);
    size_t bytes = 0;
    for (auto _ : state) {
        const size_t before = mallinfo2().uordblks + mallinfo2().hblkhd;
        xvor_t *const h = lfopen(name.c_str(), LF_READ, 0, nullptr);
        require(h && lfcheck(h) == 0 && h->seektab, "lfcheck");
        bytes = mallinfo2().uordblks + mallinfo2().hblkhd - before;
        lfclose(h);
    }
    state.counters["bytes_held"] = static_cast<double>(bytes);
    state.SetItemsProcessed(state.iterations());
}

void random_access(benchmark::State &state, uint32_t minor) {
    const std::string &name = native_file(many, minor);
    xvor_t *const h = lfopen(name.c_str(), LF_READ, 0, nullptr);
    require(h && lfcheck(h) == 0, "lfcheck");
    TrackRoom room(static_cast<size_t>(many.pixels) + 16);
    std::mt19937 random(1);
    constexpr int tracks = 10000;
    for (auto _ : state) {
        for (int i = 0; i < tracks; ++i) {
            const auto track = static_cast<int32_t>(random() % static_cast<uint32_t>(many.tracks));
            require(lfread(h, room.get(), track) >= 0, "lfread");
        }
    }
    lfclose(h);
    state.SetItemsProcessed(state.iterations() * tracks);
}

void blocks(benchmark::State &state, bool with_position) {
    const std::string &name = native_file(halftone, VT_FW8);
    std::vector<uint8_t> block(block_size);
    const int fd = ::open(name.c_str(), O_RDONLY);
    int64_t count = 0;
    for (auto _ : state) {
        ::lseek(fd, 0, SEEK_SET);
        while (::read(fd, block.data(), block.size()) > 0) {
            ++count;
            if (with_position) benchmark::DoNotOptimize(::lseek(fd, 0, SEEK_CUR));
        }
    }
    ::close(fd);
    state.SetItemsProcessed(count);
}

const bool added = [] {
    using State = benchmark::State;
    const auto add = [](const char *name, auto engine) {
        benchmark::RegisterBenchmark(name, engine)->Unit(benchmark::kMicrosecond);
    };
    add("open_and_close/of_200000_tracks/ours", open_and_close);
    add("random_access/of_10000_tracks/ours", [](State &s) { random_access(s, VT_FW8); });
    add("random_access/of_10000_tracks/deflated",
        [](State &s) { random_access(s, VT_FW8 | VT_DEFLATED); });
    add("reads_of_16384_bytes/with_position", [](State &s) { blocks(s, true); });
    add("reads_of_16384_bytes/ours", [](State &s) { blocks(s, false); });
    return true;
}();

} // namespace
} // namespace vor::bench
