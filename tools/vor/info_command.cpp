// vor info: what files tell about themselves.

#include <cmath>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "commands.h"
#include "file_facts.h"
#include "report.h"

namespace vor::tool {
namespace {

using Json = nlohmann::ordered_json;

constexpr double mm_per_inch = 25.4;
constexpr size_t stops_shown = 8;

struct Options {
    std::vector<std::string> files;
    bool json = false;
    bool quiet = false;
};

bool has_resolution(const FileFacts &facts) {
    return std::isfinite(facts.xres) && std::isfinite(facts.yres) && facts.xres > 0 &&
           facts.yres > 0;
}

double ratio(const FileFacts &facts) {
    return static_cast<double>(facts.plain_bytes) / static_cast<double>(facts.file_bytes);
}

// ---- text

void line(const char *label, const std::string &value) {
    std::cout << format("  %-15s %s\n", label, value.c_str());
}

std::string stop_list(const NativeFacts &native) {
    std::string text = format("%zu:", native.stops.size());
    for (size_t i = 0; i < native.stops.size() && i < stops_shown; ++i)
        text += format(" %d %s%s", native.stops[i].track, native.stops[i].kind.c_str(),
                       i + 1 < native.stops.size() ? "," : "");
    return native.stops.size() > stops_shown ? text + " ..." : text;
}

std::string section_text(const Section &section) {
    return format("%s (%lld at %lld)", section.name.c_str(),
                  static_cast<long long>(section.entries), static_cast<long long>(section.offset));
}

void print_native(const FileFacts &facts) {
    const NativeFacts &native = *facts.native;
    line("version", format("%d", native.version));
    line("header checksum", native.checksum);
    if (!native.image_hash.empty()) line("image hash", native.image_hash);
    for (size_t i = 0; i < native.sections.size(); ++i)
        line(i == 0 ? "sections" : "", section_text(native.sections[i]));
    if (native.seek_entry_bits > 0) line("seek entries", format("%d bits", native.seek_entry_bits));
    if (native.colour_tables > 0) line("colour tables", format("%d", native.colour_tables));
    if (!native.stops.empty()) line("stops", stop_list(native));
    for (size_t i = 0; i < native.tags.size(); ++i)
        line(i == 0 ? "tags" : "", format("%s, %lld bytes", native.tags[i].name.c_str(),
                                          static_cast<long long>(native.tags[i].bytes)));
    for (const Parameter &parameter : native.parameters)
        line(("parameter " + parameter.name).c_str(), format("%g", parameter.value));
}

void print_text(const FileFacts &facts) {
    std::cout << facts.name << "\n";
    line("format", facts.format);
    line("kind", facts.bits == 1 ? "two levels" : format("gray, %d bits", facts.bits));
    line("coding", facts.coding);
    line("compression", facts.compression);
    line("byte order", facts.byte_order);
    line("size", format("%d tracks x %d pixels", facts.tracks, facts.pixels));
    if (has_resolution(facts)) {
        line("", format("%.3f x %.3f mm", facts.tracks / facts.xres, facts.pixels / facts.yres));
        line("resolution", format("%g x %g pixels per mm (%g x %g dpi)", facts.xres, facts.yres,
                                  facts.xres * mm_per_inch, facts.yres * mm_per_inch));
    } else {
        line("resolution", "unknown");
    }
    line("longest track",
         facts.longest_track > 0 ? format("%d codes", facts.longest_track) : "unknown");
    line("file", format("%lld bytes", static_cast<long long>(facts.file_bytes)));
    line("plain pixels",
         format("%lld bytes, ratio %.2f", static_cast<long long>(facts.plain_bytes), ratio(facts)));
    if (facts.native) print_native(facts);
}

// ---- JSON

Json json_native(const NativeFacts &native) {
    Json json = {{"version", native.version},
                 {"header_checksum", native.checksum},
                 {"image_hash", native.image_hash},
                 {"seek_entry_bits", native.seek_entry_bits},
                 {"colour_tables", native.colour_tables},
                 {"sections", Json::array()},
                 {"stops", Json::array()},
                 {"tags", Json::array()},
                 {"parameters", Json::object()}};
    for (const Section &s : native.sections)
        json["sections"].push_back(
            {{"name", s.name}, {"offset", s.offset}, {"entries", s.entries}});
    for (const Stop &stop : native.stops)
        json["stops"].push_back({{"track", stop.track}, {"kind", stop.kind}});
    for (const Tag &tag : native.tags)
        json["tags"].push_back({{"name", tag.name}, {"bytes", tag.bytes}});
    for (const Parameter &parameter : native.parameters)
        json["parameters"][parameter.name] = parameter.value;
    return json;
}

Json json_facts(const FileFacts &facts) {
    Json json = {{"file", facts.name},
                 {"format", facts.format},
                 {"bits", facts.bits},
                 {"coding", facts.coding},
                 {"compression", facts.compression},
                 {"byte_order", facts.byte_order},
                 {"tracks", facts.tracks},
                 {"pixels", facts.pixels},
                 {"xres", nullptr},
                 {"yres", nullptr},
                 {"x_mm", nullptr},
                 {"y_mm", nullptr},
                 {"longest_track", nullptr},
                 {"file_bytes", facts.file_bytes},
                 {"plain_bytes", facts.plain_bytes},
                 {"ratio", ratio(facts)}};
    if (has_resolution(facts)) {
        json["xres"] = facts.xres;
        json["yres"] = facts.yres;
        json["x_mm"] = facts.tracks / facts.xres;
        json["y_mm"] = facts.pixels / facts.yres;
    }
    if (facts.longest_track > 0) json["longest_track"] = facts.longest_track;
    if (facts.native) json["native"] = json_native(*facts.native);
    return json;
}

// Names are bytes of any kind; JSON is UTF-8.
std::string dumped(const Json &json) {
    return json.dump(2, ' ', false, Json::error_handler_t::replace);
}

int run(const Options &options) {
    start_reports(options.quiet);
    Json list = Json::array();
    int status = good;
    for (const std::string &file : options.files) {
        try {
            const FileFacts facts = gather_facts(file);
            if (options.json) {
                list.push_back(json_facts(facts));
            } else {
                print_text(facts);
                std::cout.flush();
                check_output();
            }
        } catch (const Told &) {
            status = failed;
            if (options.json) list.push_back({{"file", file}, {"error", "cannot be read"}});
        }
    }
    if (options.json) std::cout << dumped(list) << "\n";
    return status;
}

} // namespace

void add_info(CLI::App *app, Job *job) {
    auto options = std::make_shared<Options>();
    CLI::App *command = app->add_subcommand("info", "Tells what files are");
    command->add_option("FILE", options->files, "Track files or pictures")->required();
    command->add_flag("--json", options->json, "Print an array of objects, one a file");
    command->add_flag("-q,--quiet", options->quiet, "No warnings");
    command->footer("Example:\n  vor info label.vor\n"
                    "  vor info --json label.vor proof.tif");
    command->callback([=] { *job = [=] { return run(*options); }; });
}

} // namespace vor::tool
