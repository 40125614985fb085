#include "salvage_report.h"

#include <algorithm>
#include <cinttypes>
#include <iostream>

#include <nlohmann/json.hpp>

#include "native_tracks.h"
#include "report.h"

namespace vor::tool {
namespace {

using Json = nlohmann::ordered_json;
using Table = PlacedTracks::SeekTable;

const char *order_name(ByteOrder order) {
    return order == ByteOrder::little ? "little-endian" : "big-endian";
}

std::string track_numbers(int32_t first, int32_t last) {
    if (first == last) return format("track %" PRId32, first);
    return format("tracks %" PRId32 " to %" PRId32, first, last);
}

std::string place(int64_t offset) {
    return format("at byte %" PRId64, offset);
}

struct Cause {
    std::string text;
    int64_t offset = 0;
};

// Of a stretch of lost tracks that of its first one.
Cause cause_of(FileBytes &file, const Salvage &salvage, const Loss &loss) {
    switch (loss.kind) {
    case LossKind::damaged: {
        TrackDecoder decoder(file, shape_of(salvage.header.layout));
        const DecodedTrack track = decoder.decode(
            loss.offset, limit_behind(salvage.sections.limits, loss.offset, file.size()));
        return {track_fault_text(track), track.fault_offset};
    }
    case LossKind::astray:
        return {"wrong entry in the seek table, and no data is left", loss.offset};
    case LossKind::cut_off:
        return {"lost with the end of the file", loss.offset};
    default:
        return {"no data is left", loss.offset};
    }
}

std::string filled_with(const Filling &filling) {
    return filling.neighbour ? "a neighbour" : format("colour %" PRId32, filling.colour);
}

// How the seek table fared; nothing if there was none, or nothing was wrong with it.
std::string table_text(const PlacedTracks &tracks) {
    switch (tracks.table) {
    case Table::mended:
        return tracks.wrong_entries == 0
                   ? ""
                   : format("mended: %" PRId64 " wrong %s", tracks.wrong_entries,
                            tracks.wrong_entries == 1 ? "entry" : "entries");
    case Table::found:
        return "found " + place(tracks.table_offset) + ", where the header does not say so";
    case Table::rebuilt:
        return "not usable: made anew from what the tracks are";
    default:
        return "";
    }
}

const char *table_word(Table table) {
    switch (table) {
    case Table::whole:
        return "whole";
    case Table::mended:
        return "mended";
    case Table::found:
        return "found";
    case Table::rebuilt:
        return "rebuilt";
    default:
        return "none";
    }
}

int64_t replaced(const PlacedTracks &tracks) {
    return static_cast<int64_t>(tracks.places.size()) - tracks.kept;
}

// ---- text

void print_row(const std::string &label, const std::string &text) {
    std::cout << format("  %-20s ", label.c_str()) << text << "\n";
}

void print_fate(const SectionFate &fate) {
    if (fate.whole()) return print_row(fate.name, "kept");
    const std::string why = ": " + fate.fault + ", " + place(fate.fault_offset);
    const std::string how =
        fate.kept == 0 ? "dropped"
                       : format("%" PRId64 " of %" PRId64 " entries kept", fate.kept, fate.entries);
    print_row(fate.name, how + why);
}

void print_tracks(FileBytes &file, const Salvage &salvage) {
    for (const Loss &loss : salvage.tracks.losses) {
        const Cause cause = cause_of(file, salvage, loss);
        print_row(track_numbers(loss.first, loss.last),
                  "replaced by " + filled_with(salvage.filling) + ": " + cause.text + ", " +
                      place(cause.offset));
    }
    for (const TrackSpan &range : salvage.tracks.doubtful)
        print_row(track_numbers(range.first, range.last),
                  "may have other numbers: they were given from the front");
    if (salvage.tracks.left_over > 0) {
        print_row("left out", format("%" PRId64 " good tracks, for which there is no number",
                                     salvage.tracks.left_over));
    }
}

void print_end(const Salvage &salvage) {
    const PlacedTracks &tracks = salvage.tracks;
    std::cout << salvage.output << ": ";
    if (salvage.nothing_lost()) {
        std::cout << "nothing was lost\n";
    } else if (replaced(tracks) == 0) {
        std::cout << format("all %zu tracks kept\n", tracks.places.size());
    } else {
        std::cout << format("%" PRId64 " of %zu tracks kept, %" PRId64 " replaced\n", tracks.kept,
                            tracks.places.size(), replaced(tracks));
    }
}

// ---- JSON

Json json_of(const SectionFate &fate) {
    Json json = {{"name", fate.name}, {"kept", fate.kept}, {"entries", fate.entries}};
    json["fault"] = fate.whole() ? Json() : Json(fate.fault);
    json["offset"] = fate.whole() ? Json() : Json(fate.fault_offset);
    return json;
}

Json json_of_losses(FileBytes &file, const Salvage &salvage) {
    Json list = Json::array();
    for (const Loss &loss : salvage.tracks.losses) {
        const Cause cause = cause_of(file, salvage, loss);
        list.push_back({{"first", loss.first},
                        {"last", loss.last},
                        {"cause", cause.text},
                        {"offset", cause.offset}});
    }
    return list;
}

Json json_of_ranges(const std::vector<TrackSpan> &ranges) {
    Json list = Json::array();
    for (const TrackSpan &range : ranges)
        list.push_back({{"first", range.first}, {"last", range.last}});
    return list;
}

} // namespace

bool Salvage::nothing_lost() const {
    const auto whole = [](const SectionFate &fate) { return fate.whole(); };
    return tracks.losses.empty() && tracks.left_over == 0 &&
           std::all_of(sections.fates.begin(), sections.fates.end(), whole);
}

void print_salvage(FileBytes &file, const Salvage &salvage) {
    const NativeLayout &layout = salvage.header.layout;
    std::cout << salvage.input
              << format(": %u tracks of %u pixels, %s, %s, %s\n", layout.header.tracks,
                        layout.header.pixels, coding_word(layout.coding()),
                        layout.deflated() ? "deflated" : "plain", order_name(layout.order));
    for (const Guess &guess : salvage.header.guesses)
        print_row(guess.field, guess.value + ", guessed: " + guess.reason);
    const std::string table = table_text(salvage.tracks);
    if (!table.empty()) print_row("seek table", table);
    for (const SectionFate &fate : salvage.sections.fates)
        print_fate(fate);
    print_tracks(file, salvage);
    print_end(salvage);
}

void print_salvage_json(FileBytes &file, const Salvage &salvage) {
    const NativeLayout &layout = salvage.header.layout;
    const PlacedTracks &tracks = salvage.tracks;
    Json json = {{"file", salvage.input},
                 {"output", salvage.output},
                 {"nothing_lost", salvage.nothing_lost()},
                 {"tracks", layout.header.tracks},
                 {"pixels", layout.header.pixels},
                 {"coding", coding_word(layout.coding())},
                 {"deflated", layout.deflated()},
                 {"byte_order", order_name(layout.order)},
                 {"kept", tracks.kept},
                 {"replaced", replaced(tracks)},
                 {"left_out", tracks.left_over}};
    json["filled_with"] =
        salvage.filling.neighbour ? Json("neighbour") : Json(salvage.filling.colour);
    json["guesses"] = Json::array();
    for (const Guess &guess : salvage.header.guesses)
        json["guesses"].push_back(
            {{"field", guess.field}, {"value", guess.value}, {"reason", guess.reason}});
    json["seek_table"] = table_word(tracks.table);
    json["sections"] = Json::array();
    for (const SectionFate &fate : salvage.sections.fates)
        json["sections"].push_back(json_of(fate));
    json["losses"] = json_of_losses(file, salvage);
    json["doubtful"] = json_of_ranges(tracks.doubtful);
    std::cout << json.dump(2, ' ', false, Json::error_handler_t::replace) << "\n";
}

} // namespace vor::tool
