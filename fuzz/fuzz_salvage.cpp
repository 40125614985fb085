// Whatever bytes a file has, `vor salvage` leaves it alone and makes a file that the checker finds
// good, or none: the status and the list tell which. A file without a fault reads the same after.

#include <algorithm>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "harness.h"
#include "platform/kel.h"
#include "run_command.h"
#include "trackfile/lf.h"
#include "vor/vor.h"

namespace vor::fuzz {
namespace {

// What a header may claim in an input. More is right, but costs the engine its time.
constexpr int32_t most_tracks = 4096;
constexpr int32_t most_pixels = 1 << 16;

using Json = nlohmann::json;

int32_t say_nothing(int32_t, ckvor_t *, int32_t) {
    return 0;
}

bool is_good(const std::string &name) {
    ckvor_t record = {};
    record.filename = name.c_str();
    record.progress = say_nothing;
    return ckvor(&record, 1) == 0;
}

bool is_there(const std::string &name) {
    return kel_access(name.c_str(), KEL_F_OK) == 0;
}

// Runs of all tracks, those of one colour joined; empty if a track cannot be read.
std::vector<std::vector<uint64_t>> read_tracks(const char *name) {
    std::vector<std::vector<uint64_t>> tracks;
    xvor_t *const h = lfopen(name, LF_READ | LF_NOCOLOR, 0, nullptr);
    if (!h) return tracks;
    bool readable = lfcheck(h) == 0 && h->fmt == 0 && h->xsize <= most_tracks && h->ysize > 0 &&
                    h->ysize <= most_pixels;
    Track track(readable ? h->ysize + 1 : 1);
    for (int32_t n = 0; readable && n < h->xsize; ++n) {
        readable = lfread(h, &track, n) >= 0;
        auto &runs = tracks.emplace_back();
        for (int32_t i = 0; readable && i < track.nruns; ++i) {
            const lfrun &run = track.data[i];
            const uint64_t colour = h->bits == 1 && run.colour != 0 ? 1 : run.colour;
            if (runs.empty() || (runs.back() >> 32) != colour) runs.push_back(colour << 32);
            runs.back() += run.length;
        }
    }
    if (!readable) tracks.clear();
    lfclose(h);
    return tracks;
}

void hold_against_list(const Json &json, int status) {
    require(json.is_object(), "the list is well-formed");
    require((status == 0) == json["nothing_lost"].get<bool>(), "the status tells of losses");
    int64_t replaced = 0;
    for (const Json &loss : json["losses"])
        replaced += loss["last"].get<int64_t>() - loss["first"].get<int64_t>() + 1;
    require(replaced == json["replaced"].get<int64_t>(), "every replaced track is listed");
    require(json["kept"].get<int64_t>() + replaced == json["tracks"].get<int64_t>(),
            "a track is kept or replaced");
}

// Pixels of a track as the header claims them, in the byte order that makes them fewer.
uint32_t claimed_pixels(const std::vector<uint8_t> &bytes) {
    constexpr size_t at = 20;
    uint32_t little = 0;
    uint32_t big = 0;
    for (size_t i = 0; i < 4 && bytes.size() >= VOR_HDRSIZE; ++i) {
        little |= uint32_t{bytes[at + i]} << 8 * i;
        big = big << 8 | bytes[at + i];
    }
    return std::min(little, big);
}

// Gives the list; empty if no file was made.
Json salvage(const char *bad, const std::string &out, const char *option) {
    kel_unlink(out.c_str());
    std::string list;
    const int status = run_vor({"salvage", "--json", bad, out.c_str(), option}, &list);
    require(is_there(out) == !list.empty(), "a file is made and listed, or neither");
    require(status != 0 || !list.empty(), "no file is no success");
    if (list.empty()) return {};
    require(is_good(out), "what is made is good");
    Json json = Json::parse(list, nullptr, false);
    hold_against_list(json, status);
    return json;
}

bool nothing_was_wrong(const Json &list) {
    return list.is_object() && list["nothing_lost"].get<bool>() && list["guesses"].empty() &&
           (list["seek_table"] == "whole" || list["seek_table"] == "none");
}

} // namespace
} // namespace vor::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    using namespace vor::fuzz;
    static const ScratchFile file(".vor");
    static const ScratchFile made(".out.vor");
    const std::vector<uint8_t> bytes(data, data + size);
    if (claimed_pixels(bytes) > most_pixels) return 0;
    be_quiet();
    file.store(data, size);
    Choices draw(data, size);
    constexpr const char *options[] = {
        "--fill-from-neighbour", "--fill=0",    "--coding=fw8",    "--deflated", "--plain",
        "--tracks=50",           "--pixels=12", "--byte-order=big"};
    const Json list = salvage(file.name(), made.name(), options[draw.byte() % 2]);
    const auto before = read_tracks(file.name());
    if (!before.empty() && nothing_was_wrong(list)) {
        require(read_tracks(made.name()) == before, "what was readable reads the same");
    }
    salvage(file.name(), made.name(), options[draw.byte() % 8]);
    require(file.bytes() == bytes, "the damaged file stays as it is");
    kel_unlink(made.name());
    return 0;
}
