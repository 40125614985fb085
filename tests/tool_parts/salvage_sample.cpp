#include "salvage_sample.h"

#include <gtest/gtest.h>

#include "report.h"
#include "track_source.h"
#include "vor/vor.h"

namespace vor::test {
namespace {

int32_t say_nothing(int32_t, ckvor_t *, int32_t) {
    return 0;
}

// As `vor check --full` holds it.
void expect_whole(const std::string &name) {
    ckvor_t record{};
    record.filename = name.c_str();
    record.progress = say_nothing;
    EXPECT_EQ(ckvor(&record, 1), 0) << record.status;
    const tool::Handle h(lfopen(name.c_str(), LF_READ, 0, nullptr));
    ASSERT_TRUE(h);
    EXPECT_EQ(lfcheck(h.get()), 0);
    vor_tagslot slot{0, nullptr};
    EXPECT_EQ(lfspecial(h.get(), LFS_NTH_TAG, &slot), 0);
}

} // namespace

Pixels read_pixels(const std::string &name) {
    const tool::KeepReports silence;
    const tool::Handle h(lfopen(name.c_str(), LF_READ, 0, nullptr));
    tool::TrackBuffer buffer;
    if (!h || lfcheck(h.get()) < 0 || buffer.fit(h.get()) < 0) return {};
    for (uint16_t i = 0; i < LF_NCOLORS; ++i)
        lfctable(h.get())[i] = i;
    Pixels pixels;
    for (int32_t n = 0; n < h->xsize; ++n) {
        if (lfread(h.get(), buffer.get(), n) < 0) return {};
        auto &track = pixels.emplace_back();
        // The bit of two colours and the code of a blank mark are one colour.
        for (const lfrun &run : buffer.runs()) {
            const uint32_t colour = h->bits == 1 && run.colour != 0 ? 255 : run.colour;
            track.insert(track.end(), run.length, static_cast<uint16_t>(colour));
        }
    }
    return pixels;
}

Outcome salvage(const TempDir &dir, const Bytes &bad, const tool::HeaderWishes &wishes,
                const tool::Filling &filling) {
    const std::string name = dir.file("bad.vor");
    write_bytes(name, bad);
    tool::FileBytes file(name);
    Outcome outcome;
    outcome.file = dir.file("out.vor");
    outcome.header = tool::mend_header(file, wishes);
    const tool::NativeLayout &layout = outcome.header.layout;
    outcome.sections = tool::save_sections(file, layout);
    outcome.tracks = tool::place_tracks(file, layout, outcome.sections.limits, true);
    if (outcome.tracks.kept == 0) throw tool::Failure(name, "nothing");
    tool::save_colour_tables(file, layout, outcome.tracks.data, &outcome.sections);
    tool::Resolution resolution = outcome.header.resolution;
    tool::write_salvaged(file, layout, outcome.tracks, outcome.sections, filling, outcome.file,
                         true, &resolution);
    expect_whole(outcome.file);
    outcome.pixels = read_pixels(outcome.file);
    EXPECT_EQ(outcome.pixels.size(), outcome.tracks.places.size());
    return outcome;
}

} // namespace vor::test
