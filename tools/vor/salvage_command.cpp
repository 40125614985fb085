// vor salvage: makes a whole file of a damaged native one.

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <system_error>

#include "commands.h"
#include "formats/formats.h"
#include "report.h"
#include "salvage_report.h"
#include "track_source.h"
#include "vor/vor.h"

namespace vor::tool {
namespace {

// A length of tracks that only the header tells is believed up to here.
constexpr uint32_t most_pixels_unproved = 1 << 24;

// In two colours the bit 1, in gray what is not engraved.
constexpr int32_t usual_fill = 255;

struct Options {
    std::string input;
    std::string output;
    std::optional<uint32_t> tracks;
    std::optional<uint32_t> pixels;
    std::string coding;
    bool deflated = false;
    bool plain = false;
    std::string byte_order;
    std::string resolution;
    int32_t fill = usual_fill;
    bool fill_from_neighbour = false;
    bool json = false;
    bool quiet = false;
};

const std::map<std::string, uint32_t> codings = {
    {"fw8", VT_FW8}, {"fw16", VT_FW16}, {"fw88", VT_FW88}};

HeaderWishes wishes_of(const Options &options) {
    HeaderWishes wishes;
    wishes.tracks = options.tracks;
    wishes.pixels = options.pixels;
    if (!options.coding.empty()) wishes.coding = codings.at(options.coding);
    if (options.deflated || options.plain) wishes.deflated = options.deflated;
    if (!options.byte_order.empty()) {
        wishes.order = options.byte_order == "little" ? ByteOrder::little : ByteOrder::big;
    }
    wishes.resolution = parse_resolution(options.resolution);
    return wishes;
}

// Also where one is a link to the other.
void refuse_same_file(const Options &options) {
    std::error_code error;
    if (std::filesystem::equivalent(options.input, options.output, error)) {
        throw WrongUsage("BAD and OUT are the same file, " + options.output);
    }
}

// A picture is no damaged native file, however much its bytes may look like tracks.
void refuse_foreign(FileBytes &file) {
    if (read_layout(file)) return;
    const KeepReports silence;
    lfinfo info{};
    if (lffiletype(file.name().c_str(), &info) == 0 && info.major != 0) {
        throw Failure(file.name(),
                      format("is not a native file but one of format %s", info.type_name));
    }
}

void refuse_what_nothing_proves(const Options &options, const Salvage &salvage) {
    const uint32_t pixels = salvage.header.layout.header.pixels;
    if (salvage.tracks.kept == 0) throw Failure(options.input, "no track of it can be read");
    if (salvage.tracks.data.end == 0 && pixels > most_pixels_unproved && !options.pixels) {
        throw Failure(options.input, format("no track proves that tracks have %u pixels; say it "
                                            "with --pixels",
                                            pixels));
    }
    const bool two_colours = salvage.header.layout.two_colours();
    if (two_colours && options.fill != 0 && options.fill != LF_NCOLORS - 1) {
        throw WrongUsage(options.input + " has two colours: --fill takes 0 or 255");
    }
}

int run(const Options &options) {
    start_reports(options.quiet);
    refuse_same_file(options);
    FileBytes file(options.input);
    refuse_foreign(file);

    Salvage salvage;
    salvage.input = options.input;
    salvage.output = options.output;
    salvage.filling = {options.fill, options.fill_from_neighbour};
    salvage.header = mend_header(file, wishes_of(options));
    const NativeLayout &layout = salvage.header.layout;
    salvage.sections = save_sections(file, layout);
    salvage.tracks = place_tracks(file, layout, salvage.sections.limits, options.quiet);
    refuse_what_nothing_proves(options, salvage);
    save_colour_tables(file, layout, salvage.tracks.data, &salvage.sections);

    Resolution used = salvage.header.resolution;
    write_salvaged(file, layout, salvage.tracks, salvage.sections, salvage.filling, options.output,
                   options.quiet, &used);
    if (!(salvage.header.resolution.x > 0)) {
        salvage.header.guesses.push_back(
            {"resolution", format("%gx%g per mm", used.x, used.y), "nothing tells it"});
    }
    if (options.json) {
        print_salvage_json(file, salvage);
    } else if (!options.quiet || !salvage.nothing_lost()) {
        print_salvage(file, salvage);
    }
    return salvage.nothing_lost() ? good : failed;
}

void add_header_options(CLI::App *command, Options *options) {
    constexpr const char *group = "What the header no longer tells";
    command->add_option("--tracks", options->tracks, "Number of tracks")
        ->check(CLI::Range(1, INT32_MAX))
        ->group(group);
    command->add_option("--pixels", options->pixels, "Pixels of a track")
        ->check(CLI::Range(1, INT32_MAX))
        ->group(group);
    command->add_option("--coding", options->coding, "Coding of the tracks: fw8, fw16 or fw88")
        ->check(CLI::IsMember({"fw8", "fw16", "fw88"}))
        ->group(group);
    CLI::Option *deflated =
        command->add_flag("--deflated", options->deflated, "The tracks are deflated")->group(group);
    command->add_flag("--plain", options->plain, "The tracks are not deflated")
        ->excludes(deflated)
        ->group(group);
    command->add_option("--byte-order", options->byte_order, "Byte order: little or big")
        ->check(CLI::IsMember({"little", "big"}))
        ->group(group);
    command
        ->add_option("--resolution", options->resolution,
                     "X[xY] in pixels per mm, or with dpi, /cm or /mm behind it")
        ->check([](const std::string &text) -> std::string {
            return parse_resolution(text) ? "" : "not a resolution: " + text;
        })
        ->group(group);
}

} // namespace

void add_salvage(CLI::App *app, Job *job) {
    auto options = std::make_shared<Options>();
    CLI::App *command =
        app->add_subcommand("salvage", "Makes a whole file of a damaged native one");
    command->add_option("BAD", options->input, "Damaged native file; it stays as it is")
        ->required();
    command->add_option("OUT", options->output, "Native file to make; not BAD itself")->required();
    CLI::Option *fill =
        command
            ->add_option("--fill", options->fill,
                         "Colour code of tracks that are lost: 0 to 255, in two colours 0 or 255; "
                         "otherwise 255, which is left blank on the cylinder")
            ->check(CLI::Range(0, LF_NCOLORS - 1));
    command
        ->add_flag("--fill-from-neighbour", options->fill_from_neighbour,
                   "In the place of a lost track, repeat the nearest good one before it (the first "
                   "good one where none is before)")
        ->excludes(fill);
    add_header_options(command, options.get());
    command->add_flag("--json", options->json, "Print an object");
    command->add_flag("-q,--quiet", options->quiet, "No progress, nothing if nothing was lost");
    command->footer(
        "Tracks that decode keep their numbers, others are replaced; what was replaced, dropped\n"
        "or guessed is listed. Exit status: 0 nothing was lost, 1 OUT was made with losses, or\n"
        "could not be made; what stood there is then untouched.\n"
        "Example:\n  vor salvage damaged.vor whole.vor --fill-from-neighbour");
    command->callback([=] { *job = [=] { return run(*options); }; });
}

} // namespace vor::tool
