// vor compare: two images, track by track.

#include <algorithm>
#include <cmath>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include "beside_tracks.h"
#include "commands.h"
#include "interrupt.h"
#include "progress.h"
#include "report.h"
#include "run_comparison.h"
#include "track_source.h"
#include "view_options.h"

namespace vor::tool {
namespace {

using Json = nlohmann::ordered_json;

constexpr double mm_per_metre = 1000;

// The most tracks that a byte of a compressed picture can stand for.
constexpr int64_t tracks_per_byte = 8192;

struct Options {
    std::string first;
    std::string second;
    ViewOptions view;
    std::string mirror_second;
    bool scale_to_first = false;
    uint32_t tolerance = 0;
    bool only_first = false;
    bool ignore_resolution = false;
    bool all = false;
    bool json = false;
    bool quiet = false;
};

struct Side {
    explicit Side(const std::string &file) : name(file) {}

    std::string name;
    Handle h;
    Resolution resolution;
    TrackBuffer buffer;
};

struct Difference {
    int32_t track = 0;
    PixelDifference pixel;
};

struct Result {
    bool same_size = false;
    bool same_resolution = false;
    int32_t tracks = 0; // that both have
    int32_t pixels = 0; // of a track, that both have
    std::optional<Difference> leading;
    int64_t differing_tracks = 0;
    int64_t differing_pixels = 0;
    int64_t tolerated_pixels = 0;
    uint32_t largest = 0;
};

// ---- set-up

void open_side(const ViewOptions &view, uint32_t mirror, Side *side) {
    const AboutFile about(side->name);
    side->h = open_source(side->name, mirror);
    side->resolution = set_view(view, side->h.get(), about);
}

// A size that a damaged header claims costs a table of this many tracks.
void require_tracks(const Side &side) {
    const int64_t claimed = int64_t{side.h->xe} - side.h->xa;
    if (claimed > (size_of_file(side.name) + 1) * tracks_per_byte) {
        throw Failure(side.name, "the file is too short for its tracks");
    }
}

void scale_to(const xvor_t *model, Side *side) {
    xvor_t *h = side->h.get();
    const AboutFile about(side->name);
    // Any resolution serves to scale an image that has none.
    if (h->fxres == 0 && lfscale(h, 1, 1) < 0) about.give_up("cannot be scaled");
    if (lfsetsize(h, model->xsize, model->ysize) < 0) about.give_up("cannot be scaled");
    if (is_known(side->resolution)) side->resolution = {h->xres, h->yres};
}

void finish_side(const Options &options, Side *side) {
    const AboutFile about(side->name);
    read_in_order(side->h.get());
    check_source(side->h.get(), about);
    if (options.all) require_tags(side->h.get());
    if (side->buffer.fit(side->h.get()) < 0) about.give_up("out of memory");
}

// ---- comparison

// Equal also means less than a pixel a metre apart, as far as some formats round.
bool are_close(double a, double b) {
    return std::fabs(a - b) * mm_per_metre < 1;
}

bool same_resolution(const Resolution &a, const Resolution &b) {
    if (!is_known(a) || !is_known(b)) return is_known(a) == is_known(b);
    return are_close(a.x, b.x) && are_close(a.y, b.y);
}

// False if the buffer held the track before.
bool read_track(Side *side, int32_t track) {
    const AboutFile about(side->name);
    const KeepReports reports;
    const int32_t runs = lfread(side->h.get(), side->buffer.get(), track);
    if (runs < 0)
        throw Failure(side->name, reports.first(format("track %d: cannot be read", track)));
    return runs > 0;
}

void add(const RunDifferences &found, int32_t track, Result *result) {
    if (!result->leading && found.leading) result->leading = Difference{track, *found.leading};
    result->differing_tracks += found.pixels > 0 ? 1 : 0;
    result->differing_pixels += found.pixels;
    result->tolerated_pixels += found.tolerated;
    result->largest = std::max(result->largest, found.largest);
}

void compare_tracks(const Options &options, Side *a, Side *b, Result *result) {
    // Without an answer to print nothing is to be counted.
    const bool stop_at_first = options.only_first || (options.quiet && !options.json);
    Progress progress(a->name, result->tracks, options.quiet);
    RunDifferences found;
    for (int32_t n = 0; n < result->tracks; ++n) {
        stop_if_interrupted();
        progress.reach(n);
        const bool new_first = read_track(a, n);
        const bool new_second = read_track(b, n);
        // Of an enlarged image many tracks are the same.
        if (new_first || new_second) {
            found =
                compare_runs(a->buffer.runs(), b->buffer.runs(), result->pixels, options.tolerance);
        }
        add(found, n, result);
        if (stop_at_first && result->leading) return;
    }
}

Result compare_shapes(const Options &options, const Side &a, const Side &b) {
    Result result;
    result.same_size = a.h->xsize == b.h->xsize && a.h->ysize == b.h->ysize;
    result.same_resolution =
        options.ignore_resolution || same_resolution(a.resolution, b.resolution);
    result.tracks = std::min(a.h->xsize, b.h->xsize);
    result.pixels = std::min(a.h->ysize, b.h->ysize);
    return result;
}

// ---- text

std::string size_text(const Side &side) {
    return format("%d tracks x %d pixels", side.h->xsize, side.h->ysize);
}

std::string resolution_text(const Side &side) {
    if (!is_known(side.resolution)) return "unknown";
    return format("%.9g x %.9g pixels per mm", side.resolution.x, side.resolution.y);
}

void print_shapes(const Side &a, const Side &b, const Result &result) {
    if (!result.same_size) {
        std::cout << "sizes differ: " << size_text(a) << ", " << size_text(b) << "\n";
    }
    if (!result.same_resolution) {
        std::cout << "resolutions differ: " << resolution_text(a) << ", " << resolution_text(b)
                  << "\n";
    }
    if (!result.same_size) {
        std::cout << format("compared: the first %d tracks x %d pixels\n", result.tracks,
                            result.pixels);
    }
}

std::string sameness_text(const Result &result) {
    std::string text = result.same_size && result.same_resolution ? "same image" : "same pixels";
    if (result.tolerated_pixels == 0) return text;
    return text + format(" within the tolerance: %lld pixels differ, by up to %u",
                         static_cast<long long>(result.tolerated_pixels), result.largest);
}

void print_tracks(const Options &options, const Result &result) {
    if (!result.leading) {
        std::cout << sameness_text(result) << "\n";
        return;
    }
    const PixelDifference &pixel = result.leading->pixel;
    std::cout << format("first difference: track %d, pixel %lld: %u, %u\n", result.leading->track,
                        static_cast<long long>(pixel.pixel), pixel.first, pixel.second);
    if (options.only_first) return;
    const int64_t pixels_compared = int64_t{result.tracks} * result.pixels;
    std::cout << format("different: %lld of %d tracks, %lld of %lld pixels, by up to %u\n",
                        static_cast<long long>(result.differing_tracks), result.tracks,
                        static_cast<long long>(result.differing_pixels),
                        static_cast<long long>(pixels_compared), result.largest);
}

void print_beside(const BesideDifference &found) {
    std::cout << found.kind << (found.name.empty() ? "" : " ") << found.name << ": "
              << found.first.value_or("none") << ", " << found.second.value_or("none") << "\n";
}

// ---- JSON

std::string dumped(const Json &json, int indent) {
    return json.dump(indent, ' ', false, Json::error_handler_t::replace);
}

Json json_side(const Side &side) {
    Json json = {{"file", side.name},
                 {"xsize", side.h->xsize},
                 {"ysize", side.h->ysize},
                 {"xres", nullptr},
                 {"yres", nullptr}};
    if (is_known(side.resolution)) {
        json["xres"] = side.resolution.x;
        json["yres"] = side.resolution.y;
    }
    return json;
}

Json json_difference(const Result &result) {
    if (!result.leading) return nullptr;
    return {{"track", result.leading->track},
            {"pixel", result.leading->pixel.pixel},
            {"first", result.leading->pixel.first},
            {"second", result.leading->pixel.second}};
}

// The object up to what stands beside the tracks, left open.
void print_json_head(const Options &options, const Side &a, const Side &b, const Result &result) {
    Json json = {{"first", json_side(a)},
                 {"second", json_side(b)},
                 {"same_size", result.same_size},
                 {"same_resolution", result.same_resolution},
                 {"tolerance", options.tolerance},
                 {"compared", {{"tracks", result.tracks}, {"pixels", result.pixels}}},
                 {"first_difference", json_difference(result)},
                 {"counts", nullptr}};
    if (!options.only_first) {
        json["counts"] = {{"differing_tracks", result.differing_tracks},
                          {"differing_pixels", result.differing_pixels},
                          {"tolerated_pixels", result.tolerated_pixels},
                          {"largest_difference", result.largest}};
    }
    std::string text = dumped(json, 2);
    text.erase(text.rfind("\n}"));
    std::cout << text;
}

Json json_text(const std::optional<std::string> &text) {
    return text ? Json(*text) : Json();
}

void print_json_beside(const BesideDifference &found, const char *separator) {
    const Json json = {{"kind", found.kind},
                       {"name", found.name},
                       {"first", json_text(found.first)},
                       {"second", json_text(found.second)}};
    std::cout << separator << "    " << dumped(json, -1);
}

// ---- all of it

// Prints the differences beside the tracks as they are found. Are there none?
bool compare_beside(const Options &options, Side *a, Side *b) {
    int64_t count = 0;
    if (options.json) std::cout << ",\n  \"beside\": [";
    compare_beside_tracks(a->h.get(), b->h.get(), [&](const BesideDifference &found) {
        stop_if_interrupted();
        check_output();
        if (options.json) {
            print_json_beside(found, count == 0 ? "\n" : ",\n");
        } else if (!options.quiet) {
            print_beside(found);
        }
        ++count;
    });
    if (options.json) std::cout << (count == 0 ? "]" : "\n  ]");
    if (!options.json && !options.quiet && count == 0) {
        std::cout << "same stops, tags, parameters and colour tables\n";
    }
    return count == 0;
}

int compare(const Options &options, Side *a, Side *b) {
    const bool text = !options.json && !options.quiet;
    Result result = compare_shapes(options, *a, *b);
    if (text) print_shapes(*a, *b, result);
    compare_tracks(options, a, b, &result);
    if (text) print_tracks(options, result);
    bool same = result.same_size && result.same_resolution && !result.leading;
    if (options.json) print_json_head(options, *a, *b, result);
    if (options.all) same = compare_beside(options, a, b) && same;
    if (options.json) std::cout << ",\n  \"same\": " << (same ? "true" : "false") << "\n}\n";
    return same ? good : failed;
}

int run(const Options &options) {
    start_reports(options.quiet);
    const uint32_t mirror = mirror_flags(options.view.mirror);
    Side a(options.first);
    Side b(options.second);
    open_side(options.view, mirror, &a);
    open_side(options.view, mirror ^ mirror_flags(options.mirror_second), &b);
    if (options.scale_to_first) {
        require_tracks(a);
        scale_to(a.h.get(), &b);
    }
    finish_side(options, &a);
    finish_side(options, &b);
    return compare(options, &a, &b);
}

void add_ways_of_comparing(CLI::App *command, Options *options) {
    command->add_flag("--scale-to-first", options->scale_to_first,
                      "Bring FILE_B to the size in pixels that FILE_A has");
    add_mirror_option(command, "--mirror-second", &options->mirror_second,
                      "Mirror FILE_B alone, as --mirror does with both files");
    command
        ->add_option("--tolerance", options->tolerance,
                     "Take codes for equal that differ by N (0 to 255) at most")
        ->check(CLI::Range(0, 255));
    command->add_flag("--ignore-resolution", options->ignore_resolution,
                      "Do not care about pixels per mm");
    command->add_flag("--first", options->only_first,
                      "Stop at the first pixel that differs, without counting");
    command->add_flag("--all", options->all,
                      "Compare stops, tags, parameters and colour tables as well, as they stand in "
                      "the files");
}

} // namespace

void add_compare(CLI::App *app, Job *job) {
    auto options = std::make_shared<Options>();
    CLI::App *command = app->add_subcommand("compare", "Tells whether two images are the same");
    command->add_option("FILE_A", options->first, "Track file or picture")->required();
    command->add_option("FILE_B", options->second, "Track file or picture, of any format")
        ->required();
    add_ways_of_comparing(command, options.get());
    add_view_options(command, &options->view);
    command->add_flag("--json", options->json, "Print an object");
    command->add_flag("-q,--quiet", options->quiet,
                      "No progress, no warnings, no text: the exit status alone tells");
    command->footer(
        "Of two values the first is that of FILE_A. Codes are compared, not what colour tables "
        "make\nof them. Window, size and mirroring apply to both files. Resolutions are equal if "
        "they are\nless than a pixel per metre apart. Exit status: 0 all is the same, 1 something "
        "differs\nor the job failed.\n"
        "Example:\n  vor compare label.vor proof.tif\n"
        "  vor compare old.vor new.vor --scale-to-first --tolerance 3 --all");
    command->callback([=] { *job = [=] { return run(*options); }; });
}

} // namespace vor::tool
