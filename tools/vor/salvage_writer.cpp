#include "salvage_writer.h"

#include <algorithm>
#include <bit>
#include <vector>

#include "formats/formats.h"
#include "interrupt.h"
#include "native_tracks.h"
#include "platform/kel.h"
#include "progress.h"
#include "report.h"
#include "safe_output.h"
#include "track_source.h"

namespace vor::tool {
namespace {

bool is_foreign_order(ByteOrder order) {
    return (order == ByteOrder::little) != (std::endian::native == std::endian::little);
}

// Runs of the tracks, one track at a time.
class TrackMaker {
public:
    TrackMaker(FileBytes &file, const NativeLayout &layout, const PlacedTracks &placed,
               const Filling &filling)
        : file_(file), pixels_(layout.header.pixels), placed_(placed), filling_(filling),
          decoder_(file, shape_of(layout)) {
        const auto kept = [](int64_t place) { return place != lost_track; };
        const auto first = std::find_if(placed.places.begin(), placed.places.end(), kept);
        if (filling.neighbour && first != placed.places.end()) take(*first);
    }

    const std::vector<lfrun> &runs_of(size_t n) {
        const int64_t place = placed_.places[n];
        if (place != lost_track) {
            take(place);
        } else if (!filling_.neighbour) {
            blank(filling_.colour);
        }
        return runs_;
    }

private:
    void blank(int32_t colour) { runs_ = {{pixels_, static_cast<uint32_t>(colour)}}; }

    void add(const TrackCode &code) {
        const auto colour = static_cast<uint32_t>(code.colour);
        if (code.length == 0) return;
        if (runs_.empty() || runs_.back().colour != colour) runs_.push_back({0, colour});
        runs_.back().length += static_cast<uint32_t>(code.length);
    }

    void take(int64_t place) {
        if (place < 0) return blank(blank_colour(place));
        runs_.clear();
        const DecodedTrack track =
            decoder_.decode(place, file_.size(), [this](const TrackCode &code) { add(code); });
        if (!track.good()) throw Failure(file_.name(), "has changed meanwhile");
    }

    FileBytes &file_;
    uint32_t pixels_;
    const PlacedTracks &placed_;
    const Filling &filling_;
    TrackDecoder decoder_;
    std::vector<lfrun> runs_;
};

Handle open_target(SafeOutput *output, const NativeLayout &layout, const SavedSections &saved,
                   const std::string &target, const AboutFile &about) {
    uint32_t mode = LF_WRITE;
    if (!saved.stops.empty()) mode |= LF_STOPS;
    if (is_foreign_order(layout.order)) mode |= LF_SWAPPED;
    const int32_t type = lffdev(0, static_cast<int32_t>(layout.header.type));
    const int32_t fd = output->take();
    Handle out(lfdopen(fd, target.c_str(), mode, type, nullptr));
    if (!out) {
        kel_close(fd);
        about.give_up("cannot be written");
    }
    return out;
}

void set_size(xvor_t *out, const vorhdr &header, Resolution *resolution, const AboutFile &about) {
    const bool known = resolution->x > 0 && resolution->y > 0;
    const bool good = lfsetsize(out, static_cast<int32_t>(header.tracks),
                                static_cast<int32_t>(header.pixels)) == 0 &&
                      (!known || lfscale(out, resolution->x, resolution->y) == 0) &&
                      lfcheck(out) == 0;
    if (!good) about.give_up("cannot be written");
    *resolution = {out->xres, out->yres};
}

void write_track(xvor_t *out, TrackBuffer *buffer, const std::vector<lfrun> &runs, int32_t n,
                 const AboutFile &about) {
    trackbuf *track = buffer->get();
    if (gtgrow(track, static_cast<uint32_t>(runs.size()), 0, 0) < 0) about.give_up("out of memory");
    std::copy(runs.begin(), runs.end(), track->data);
    track->nruns = static_cast<int32_t>(runs.size());
    if (lfwrite(out, track, n) < 0) about.give_up("cannot be written");
}

} // namespace

void write_salvaged(FileBytes &file, const NativeLayout &layout, const PlacedTracks &placed,
                    const SavedSections &saved, const Filling &filling, const std::string &target,
                    bool quiet, Resolution *resolution) {
    SafeOutput output(target);
    const AboutFile about(target);
    Handle out = open_target(&output, layout, saved, target, about);
    set_size(out.get(), layout.header, resolution, about);
    if (!write_sections(file, layout, saved, out.get())) about.give_up("cannot be written");
    TrackMaker maker(file, layout, placed, filling);
    TrackBuffer buffer;
    Progress progress(target, static_cast<int64_t>(placed.places.size()), quiet);
    for (size_t n = 0; n < placed.places.size(); ++n) {
        stop_if_interrupted();
        progress.reach(static_cast<int64_t>(n));
        write_track(out.get(), &buffer, maker.runs_of(n), static_cast<int32_t>(n), about);
    }
    if (lfclose(out.release()) < 0) about.give_up("cannot be written");
    output.commit();
}

} // namespace vor::tool
