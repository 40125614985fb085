// The whole walk of the checker, beside a plain loop over the codes and a bare read of the bytes.
#include <benchmark/benchmark.h>

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

int32_t hear_nothing(int32_t, ckvor_t *, int32_t) {
    return 0;
}

void ours(benchmark::State &state, const Road &road) {
    const std::string &name = native_file(*road.image, road.minor);
    std::vector<uint32_t> colours(CKV_COLORS);
    for (auto _ : state) {
        ckvor_t record = {};
        record.filename = name.c_str();
        record.colors = colours.data();
        record.ncolors = CKV_COLORS;
        record.progress = hear_nothing;
        require(ckvor(&record, 1) == 0, "ckvor");
    }
    state.SetItemsProcessed(state.iterations() * road.image->tracks);
}

// Sums each track and counts the pixels of each colour.
template <class Code>
void walk(const Road &road, int64_t offset, std::vector<uint64_t> *colours) {
    ByteBlocks in(native_file(*road.image, road.minor), offset);
    int64_t longest = 0;
    for (int32_t i = 0; i < road.image->tracks; ++i) {
        int64_t pixels = 0, codes = 0;
        for (;;) {
            require(in.at != in.end || in.fill(), "reading");
            const uint32_t length = Code::length(in.at);
            const uint32_t colour = Code::colour(in.at);
            in.at += Code::bytes;
            ++codes;
            if (length == 0) break;
            pixels += length;
            (*colours)[colour] += length;
        }
        require(pixels == road.image->pixels, "the sum");
        longest = std::max(longest, codes);
    }
    benchmark::DoNotOptimize(longest);
}

void plain(benchmark::State &state, const Road &road) {
    xvor_t *const h = lfopen(native_file(*road.image, road.minor).c_str(), LF_READ, 0, nullptr);
    require(h && lfcheck(h) == 0 && h->seektab, "opening");
    const int64_t offset = h->seektab[0];
    lfclose(h);
    std::vector<uint64_t> colours(256);
    for (auto _ : state) {
        if (road.minor == VT_FW8)
            walk<PlainFw8>(road, offset, &colours);
        else if (road.minor == VT_FW16)
            walk<PlainFw16>(road, offset, &colours);
        else
            walk<PlainFw88>(road, offset, &colours);
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

void add(const Road &road, double times_plain, double limit) {
    const std::pair<const char *, void (*)(benchmark::State &, const Road &)> engines[] = {
        {"ours", ours}, {"plain_loop", plain}, {"bare_read", bare}};
    for (const auto &[name, engine] : engines)
        benchmark::RegisterBenchmark(
            (road.name + "/" + name).c_str(),
            [road, run = engine](benchmark::State &state) { run(state, road); })
            ->Unit(benchmark::kMillisecond);
    if (times_plain > 0) want_times_as_fast(road.name, "plain_loop", times_plain);
    want_times_the_time(road.name, "bare_read", limit);
}

const bool added = [] {
    add({"check/fw8/halftone", &halftone, VT_FW8}, 5, 1.9);
    add({"check/fw16/halftone", &halftone, VT_FW16}, 0, 1.9);
    add({"check/fw88/noise", &noise, VT_FW88}, 0, 4);
    return true;
}();

} // namespace
} // namespace vor::bench
