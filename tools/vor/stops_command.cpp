// vor stops: lists and changes the marked stretches of tracks of native files.

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <memory>
#include <new>
#include <span>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "commands.h"
#include "descriptions.h"
#include "file_bytes.h"
#include "interrupt.h"
#include "native_layout.h"
#include "report.h"
#include "safe_output.h"
#include "stop_rewrite.h"
#include "stop_stretches.h"
#include "track_source.h"

namespace vor::tool {
namespace {

using Json = nlohmann::ordered_json;

struct Options {
    std::vector<std::string> files; // of list
    std::string file;
    std::vector<std::string> stops;
    std::string output;
    bool clear = false;
    bool json = false;
    bool quiet = false;
};

NativeLayout layout_with_stops(FileBytes &file) {
    std::optional<NativeLayout> layout = read_layout(file);
    if (!layout || file.size() < VOR_HDRSIZE) {
        throw Failure(file.name(), "not a native file, keeps no stops");
    }
    return *std::move(layout);
}

// ---- list

// The stretches of a file, whatever is wrong with them.
StretchReader read_stretches(FileBytes &file, const NativeLayout &layout) {
    StretchReader reader(layout.header.tracks);
    for (int64_t i = 0; const auto entry = stop_entry(file, layout, i); ++i) {
        stop_if_interrupted();
        reader.take(*entry);
    }
    reader.finish();
    return reader;
}

std::string table_fault(const NativeLayout &layout, const StretchReader &reader) {
    const NativeSection *stops = layout.find(SectionKind::stops);
    if (stops && !layout.lies_in_file(*stops))
        return "the stop table lies in the header or beyond the end of the file";
    return reader.fault();
}

void print_text(const std::string &name, std::span<const Stretch> stretches, bool damaged) {
    std::cout << name << "\n";
    for (const Stretch &stretch : stretches) {
        check_output();
        std::cout << "  " << stretch.first;
        if (stretch.last != stretch.first) std::cout << "-" << stretch.last;
        std::cout << "\n";
    }
    if (stretches.empty() && !damaged) std::cout << "  no stops\n";
    std::cout.flush();
    check_output();
}

Json json_stops(const std::string &name, const NativeLayout &layout,
                std::span<const Stretch> stretches, const std::string &fault) {
    Json json = {{"file", name},
                 {"tracks", layout.header.tracks},
                 {"stretches", Json::array()},
                 {"fault", nullptr}};
    for (const Stretch &stretch : stretches)
        json["stretches"].push_back({{"first", stretch.first}, {"last", stretch.last}});
    if (!fault.empty()) json["fault"] = fault;
    return json;
}

// False if anything was wrong, which has been told.
bool list_file(const Options &options, const std::string &name, Json *list) {
    try {
        FileBytes file(name);
        const NativeLayout layout = layout_with_stops(file);
        const StretchReader reader = read_stretches(file, layout);
        const std::string fault = table_fault(layout, reader);
        if (options.json) {
            list->push_back(json_stops(name, layout, reader.stretches(), fault));
        } else {
            print_text(name, reader.stretches(), !fault.empty());
        }
        if (!fault.empty()) complain(name, fault);
        return fault.empty();
    } catch (const Failure &failure) {
        complain(failure.file, failure.what());
        if (options.json) list->push_back({{"file", name}, {"error", failure.what()}});
        return false;
    }
}

int list(const Options &options) {
    Json list = Json::array();
    int status = good;
    for (const std::string &name : options.files) {
        if (!list_file(options, name, &list)) status = failed;
    }
    if (options.json) {
        std::cout << list.dump(2, ' ', false, Json::error_handler_t::replace) << "\n";
    }
    return status;
}

// ---- set and invert

using Entries = std::vector<uint32_t>;

// Opens the file by the library, so that what it would refuse is not copied, and writes it anew
// with the entries that `change` gives.
int rewrite(const Options &options,
            const std::function<Entries(xvor_t *, const StretchReader &)> &change) {
    FileBytes file(options.file);
    const NativeLayout layout = layout_with_stops(file);
    const AboutFile about(options.file);
    const Handle h = open_source(options.file, LF_SEQUENTIAL);
    if (lfcheck(h.get()) < 0) about.give_up("cannot be read");
    if (has(h.get(), LF_BADHDRCRC)) {
        throw Failure(options.file, "the header checksum does not match, nothing is changed");
    }
    const StretchReader reader = read_stretches(file, layout);
    const std::string fault = table_fault(layout, reader);
    if (!fault.empty() && !options.clear) {
        throw Failure(options.file, fault + "; nothing is changed");
    }
    const Entries entries = change(h.get(), reader);
    SafeOutput output(options.output.empty() ? options.file : options.output);
    copy_with_stops(file, layout, entries, &output, options.quiet);
    output.commit();
    return good;
}

// A stretch of the command line in an image of that many tracks.
Stretch fitted(const Options &options, const std::string &text, int64_t tracks) {
    Stretch stretch = parse_stretch(text).value_or(Stretch{});
    if (stretch.last == end_of_image) stretch.last = std::max(stretch.first, tracks - 1);
    if (stretch.last >= tracks) {
        throw Failure(options.file,
                      format("no stop at track %lld: the image has %lld",
                             static_cast<long long>(stretch.last), static_cast<long long>(tracks)));
    }
    return stretch;
}

int set(const Options &options) {
    if (options.stops.empty() && !options.clear) throw WrongUsage("say a STOP or --clear");
    return rewrite(options, [&](xvor_t *h, const StretchReader &reader) {
        std::vector<Stretch> stretches;
        if (!options.clear) stretches = reader.stretches();
        for (const std::string &text : options.stops)
            stretches.push_back(fitted(options, text, h->fxsize));
        return entries_of(united(std::move(stretches)));
    });
}

// The library turns a table round entry by entry, and between neighbours it would make a stretch of
// no tracks.
void join_neighbours(xvor_t *h, const StretchReader &reader) {
    const Entries entries = entries_of(joined(reader.stretches()));
    auto *table = static_cast<uint32_t *>(std::malloc(entries.size() * sizeof(uint32_t)));
    if (!table) throw std::bad_alloc();
    std::copy(entries.begin(), entries.end(), table);
    lfassignstoptable(h, table, static_cast<uint32_t>(entries.size()));
}

int invert(const Options &options) {
    return rewrite(options, [&](xvor_t *h, const StretchReader &reader) {
        if (reader.stretches().empty()) throw Failure(options.file, "has no stops to invert");
        join_neighbours(h, reader);
        if (lfrevertstoptable(h) < 0) throw Told();
        const uint32_t *table = lfstoptable(h);
        return Entries(table, table + lfstoptablesize(h));
    });
}

// ---- command line

std::string check_stretch(const std::string &text) {
    return parse_stretch(text) ? "" : "not a stop: " + text;
}

using Shared = std::shared_ptr<Options>;
using Run = int (*)(const Options &);

CLI::App *add_action(CLI::App *stops, const char *name, const char *description, Run run,
                     const Shared &options, Job *job) {
    CLI::App *command = stops->add_subcommand(name, description);
    command->add_flag("-q,--quiet", options->quiet, "No progress, no warnings");
    command->callback([=] {
        *job = [=] {
            start_reports(options->quiet);
            return run(*options);
        };
    });
    return command;
}

void add_change_options(CLI::App *command, const Shared &options) {
    command->add_option("FILE", options->file, "Native track file")->required();
    command->add_option("-o,--out", options->output, "Write to this file, and leave FILE alone")
        ->type_name("FILE");
}

void add_list(CLI::App *stops, const Shared &options, Job *job) {
    CLI::App *command = add_action(stops, "list", "Lists the stops of files", list, options, job);
    command->add_option("FILE", options->files, "Native track files")->required();
    command->add_flag("--json", options->json, "Print an array of objects, one a file");
    command->footer("Both ends of a stretch belong to it. Of a damaged table, what makes sense is "
                    "shown.\n"
                    "Example:\n  vor stops list label.vor");
}

void add_set(CLI::App *stops, const Shared &options, Job *job) {
    CLI::App *command = add_action(stops, "set", "Marks tracks", set, options, job);
    add_change_options(command, options);
    command
        ->add_option("STOP", options->stops,
                     "A track (10), a stretch with both its ends (20-35), or one to the end of the "
                     "image (40-); tracks count from 0")
        ->check(CLI::Validator(check_stretch, ""));
    command->add_flag("--clear", options->clear, "Drop the stops that the file has, first");
    command->footer(
        "Stretches that share a track become one. The file is copied with its tracks as "
        "they are, and takes its name when the copy is whole.\n"
        "Example:\n  vor stops set label.vor 10 20-35\n"
        "  vor stops set label.vor --clear");
}

void add_invert(CLI::App *stops, const Shared &options, Job *job) {
    CLI::App *command = add_action(stops, "invert", "Marks the stretches between those marked",
                                   invert, options, job);
    add_change_options(command, options);
    command->footer("Neighbouring stretches count as one. The file is copied as by vor stops set.\n"
                    "Example:\n  vor stops invert label.vor");
}

} // namespace

void add_stops(CLI::App *app, Job *job) {
    auto options = std::make_shared<Options>();
    CLI::App *stops =
        app->add_subcommand("stops", "Lists and changes the marked tracks of native files");
    stops->require_subcommand(1);
    add_list(stops, options, job);
    add_set(stops, options, job);
    add_invert(stops, options, job);
    stops->footer("A stop is a stretch of tracks that programs have marked.\n"
                  "Example:\n  vor stops list label.vor\n  vor stops set label.vor 10 20-35");
}

} // namespace vor::tool
