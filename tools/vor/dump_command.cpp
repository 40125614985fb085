// vor dump: the runs of tracks, a line each, or as one JSON object that is printed as it comes.

#include <algorithm>
#include <charconv>
#include <functional>
#include <iostream>
#include <memory>
#include <span>
#include <string>
#include <utility>

#include <nlohmann/json.hpp>

#include "commands.h"
#include "descriptions.h"
#include "interrupt.h"
#include "progress.h"
#include "report.h"
#include "track_range.h"
#include "track_source.h"
#include "view_options.h"

namespace vor::tool {
namespace {

using Json = nlohmann::ordered_json;

constexpr size_t block = 65536; // characters that are gathered before they go out

struct Options {
    std::string file;
    std::string tracks;
    ViewOptions view;
    bool fold = false;
    bool colours = false;
    bool json = false;
    bool quiet = false;
};

using Runs = std::span<const lfrun>;

struct Stretch {
    int32_t first = 0;
    int32_t end = 0;
};

// Prints tracks `first` to `last`, which have the same runs.
using Print = std::function<void(int32_t first, int32_t last, Runs runs)>;

// ---- output

// How a run is written: what stands before its length, before its colour and behind that.
struct RunForm {
    const char *head;
    const char *middle;
    const char *tail;
    const char *separator;
};

constexpr RunForm text_form = {"", "x", "", " "};
constexpr RunForm json_form = {"[", ", ", "]", ", "};

void append(std::string *text, uint32_t number) {
    char digits[16];
    const auto [end, error] = std::to_chars(digits, digits + sizeof digits, number);
    text->append(digits, end);
}

// A track may have very many runs.
void print_runs(Runs runs, const RunForm &form) {
    std::string text;
    for (size_t i = 0; i < runs.size(); ++i) {
        if (i > 0) text += form.separator;
        text += form.head;
        append(&text, runs[i].length);
        text += form.middle;
        append(&text, runs[i].colour);
        text += form.tail;
        if (text.size() < block) continue;
        std::cout << text;
        text.clear();
    }
    std::cout << text;
}

void print_text(int32_t first, int32_t last, Runs runs) {
    std::cout << (first == last ? format("track %d: ", first)
                                : format("tracks %d to %d: ", first, last));
    print_runs(runs, text_form);
    std::cout << "\n";
}

std::string dumped(const Json &json) {
    return json.dump(2, ' ', false, Json::error_handler_t::replace);
}

// The object up to its tracks, left open.
void print_json_head(const Options &options, const xvor_t *h, const Resolution &resolution) {
    Json json = {{"file", options.file},
                 {"format", format_name(h)},
                 {"bits", h->bits},
                 {"coding", coding_name(h)},
                 {"compression", compression_name(h)},
                 {"xsize", h->xsize},
                 {"ysize", h->ysize},
                 {"xres", nullptr},
                 {"yres", nullptr},
                 {"shown", options.colours ? "colours" : "codes"}};
    if (is_known(resolution)) {
        json["xres"] = resolution.x;
        json["yres"] = resolution.y;
    }
    std::string text = dumped(json);
    text.erase(text.rfind("\n}"));
    std::cout << text << ",\n  \"tracks\": [";
}

void print_json_tail(const std::string &fault) {
    std::cout << "\n  ],\n  \"fault\": " << dumped(fault.empty() ? Json() : Json(fault)) << "\n}\n";
}

Print json_printer() {
    return [separator = "\n"](int32_t track, int32_t, Runs runs) mutable {
        std::cout << separator << format("    {\"track\": %d, \"runs\": [", track);
        print_runs(runs, json_form);
        std::cout << "]}";
        separator = ",\n";
    };
}

// ---- tracks

bool are_same(Runs a, Runs b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const lfrun &x, const lfrun &y) {
        return x.length == y.length && x.colour == y.colour;
    });
}

Stretch find_stretch(const Options &options, const xvor_t *h) {
    if (options.tracks.empty()) return {0, h->xsize};
    const TrackRange range = parse_track_range(options.tracks).value_or(TrackRange());
    const int64_t end = range.end.value_or(h->xsize);
    if (range.first >= end || end > h->xsize) {
        throw Failure(options.file, format("has no tracks %s; they go from 0 to %d",
                                           options.tracks.c_str(), h->xsize - 1));
    }
    return {static_cast<int32_t>(range.first), static_cast<int32_t>(end)};
}

// Prints the tracks of a stretch up to the first one that cannot be read. Gives what is wrong with
// that one, or nothing.
std::string print_tracks(const Options &options, xvor_t *h, const Stretch &stretch,
                         const Print &print) {
    const AboutFile about(options.file);
    TrackBuffer buffers[2];
    if (buffers[0].fit(h) < 0 || buffers[1].fit(h) < 0) about.give_up("out of memory");
    TrackBuffer *held = &buffers[0];
    TrackBuffer *next = &buffers[1];
    std::string fault;
    int32_t first = stretch.first; // of the tracks that are like the one held
    int32_t n = stretch.first;
    KeepReports reports;
    Progress progress(options.file, stretch.end - stretch.first,
                      options.quiet || results_on_terminal());
    for (; n < stretch.end; ++n) {
        stop_if_interrupted();
        check_output();
        progress.reach(n - stretch.first);
        reports.clear();
        if (lfread(h, next->get(), n) < 0) {
            fault = reports.first(format("track %d: cannot be read", n));
            break;
        }
        if (n > first && options.fold && are_same(held->runs(), next->runs())) continue;
        if (n > first) print(first, n - 1, held->runs());
        first = n;
        std::swap(held, next);
    }
    if (n > first) print(first, n - 1, held->runs());
    return fault;
}

int run(const Options &options) {
    start_reports(options.quiet);
    const AboutFile about(options.file);
    const Handle h = open_source(options.file, mirror_flags(options.view.mirror));
    const Resolution resolution = set_view(options.view, h.get(), about);
    const Stretch stretch = find_stretch(options, h.get());
    // A first track that is not the image's needs a jump.
    if (stretch.first == 0) read_in_order(h.get());
    check_source(h.get(), about, options.colours ? Shown::colours : Shown::codes);

    if (options.json) print_json_head(options, h.get(), resolution);
    const std::string fault =
        print_tracks(options, h.get(), stretch, options.json ? json_printer() : print_text);
    if (options.json) print_json_tail(fault);
    if (!fault.empty()) complain(options.file, fault);
    return fault.empty() ? good : failed;
}

std::string check_range(const std::string &text) {
    return parse_track_range(text) ? "" : "not a range of tracks: " + text;
}

} // namespace

void add_dump(CLI::App *app, Job *job) {
    auto options = std::make_shared<Options>();
    CLI::App *command = app->add_subcommand("dump", "Prints the runs of tracks");
    command->add_option("FILE", options->file, "Track file or picture")->required();
    command
        ->add_option("--tracks", options->tracks,
                     "Tracks A:B, B exclusive; an end left out is the image's, a number alone is "
                     "one track. They are counted from 0 in what the options below leave")
        ->check(check_range);
    add_view_options(command, &options->view);
    command->add_flag("--colours", options->colours,
                      "Show the colours of the file's colour table in force, not the codes");
    CLI::Option *json = command->add_flag(
        "--json", options->json, "Print an object with a list of tracks, a list of runs each");
    command
        ->add_flag("--fold", options->fold,
                   "Print equal tracks that follow each other as one line: tracks 4 to 9: 300x255")
        ->excludes(json);
    command->add_flag("-q,--quiet", options->quiet, "No progress, no warnings");
    command->footer(
        "A line is a track, with its runs from the first pixel on, each a length in pixels, an x "
        "and\na code, which in images of two levels is 0 or 255: track 17: 200x0 100x255.\n"
        "Example:\n  vor dump label.vor --tracks 17\n"
        "  vor dump label.vor --fold --clip 5:5:25:20mm");
    command->callback([=] { *job = [=] { return run(*options); }; });
}

} // namespace vor::tool
