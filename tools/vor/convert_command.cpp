// vor convert: any image that can be read to any format that can be written. The codes of the
// pixels stay as they are; colour tables and parameters of a native file go along to a native one.

#include <map>
#include <memory>
#include <string>

#include "carry_over.h"
#include "commands.h"
#include "descriptions.h"
#include "formats/formats.h"
#include "interrupt.h"
#include "levels.h"
#include "platform/kel.h"
#include "png/vor_png.h"
#include "progress.h"
#include "report.h"
#include "safe_output.h"
#include "tif/vor_tif.h"
#include "track_source.h"
#include "view_options.h"
#include "vor/vor.h"

namespace vor::tool {
namespace {

// One minor number serves the native format and pictures.
static_assert(TIF_GRAY == VT_FW88 && TIF_DEFLATE == VT_DEFLATED && TIF_MAXBILEVEL == VT_FW8);
static_assert(VOR_PNG_GRAY == VT_FW88 && VOR_PNG_DEFLATE == VT_DEFLATED &&
              VOR_PNG_MAXBILEVEL == VT_FW8);

struct Options {
    std::string input;
    std::string output;
    std::string type;
    std::string coding;
    bool deflate = false;
    ViewOptions view;
    std::string curve;
    int32_t threshold = 0; // 0 for none
    bool swap_bytes = false;
    bool stops = false;
    bool tags = false;
    bool quiet = false;
};

const std::map<std::string, uint32_t> codings = {
    {"fw8", VT_FW8}, {"fw16", VT_FW16}, {"fw88", VT_FW88}};

// Are the output tracks those of the file, one for one and in order?
bool keeps_tracks(const xvor_t *h) {
    return h->xa == 0 && h->xsize == h->fxsize && h->xe == h->fxsize && !has(h, LF_XMIRROR);
}

// ---- what is to be written

struct Target {
    int32_t type = 0;
    bool native = false;
};

// The row of the format that the suffix of a file means, or -1. The format is loaded by the look at
// the file, which may be missing; a pipe or a device is not looked at.
int32_t row_of_suffix(const std::string &name) {
    kel_stat_t status;
    const bool there = kel_stat(name.c_str(), &status) == 0;
    if (!there || (status.mode & KEL_S_IFMT) == KEL_S_IFREG) {
        const KeepReports silence;
        lfinfo info;
        lffiletype(name.c_str(), &info);
    }
    return lffmtguess(name.c_str());
}

bool has_two_levels(const Options &options, const xvor_t *in, const Levels &levels) {
    return (in->bits == 1 && keep_two_levels(levels)) || options.threshold > 0;
}

void refuse_gray(const Options &options, const xvor_t *in, const std::string &coding) {
    throw WrongUsage(options.input + (in->bits == 1 ? " becomes" : " is") + " gray and " + coding +
                     " has two levels: say with --threshold where to divide");
}

uint32_t choose_coding(const Options &options, const xvor_t *in, bool two_levels) {
    if (options.coding.empty()) return two_levels ? VT_FW16 : VT_FW88;
    const uint32_t coding = codings.at(options.coding);
    if (coding != VT_FW88 && !two_levels) refuse_gray(options, in, options.coding);
    return coding;
}

// Is the kind of pixels in the minor numbers of this format the native format's?
bool shares_codings(const lffmt_t *format) {
    const std::string name = format->name;
    return name == vor_cvtformat.name || name == "tif" || name == "png";
}

// The type that --type asks for; what it leaves open is that of `row` and `minor_number`.
int32_t parse_type(const Options &options, int32_t row, uint32_t minor_number) {
    if (options.type.empty()) return lffdev(row, static_cast<int32_t>(minor_number));
    const int32_t type =
        lf_parse_type(options.type.c_str(), row, static_cast<int32_t>(minor_number));
    if (type < 0) throw WrongUsage("no such type: " + options.type);
    return type;
}

Target choose_target(const Options &options, const xvor_t *in, const Levels &levels) {
    const bool two_levels = has_two_levels(options, in, levels);
    const uint32_t minor_number =
        choose_coding(options, in, two_levels) | (options.deflate ? uint32_t{VT_DEFLATED} : 0);
    const int32_t type = parse_type(options, row_of_suffix(options.output), minor_number);
    const lffmt_t *format_row = lfdescriptor(lffmajor(type));
    if (!format_row || !format_row->wrsetup) {
        throw WrongUsage(options.type.empty()
                             ? "no format that can be written has the suffix of " + options.output
                             : "cannot be written: " + options.type);
    }
    const bool gray = (static_cast<uint32_t>(type) & VT_FORMAT) == VT_FW88;
    if (shares_codings(format_row) && !gray && !two_levels) refuse_gray(options, in, options.type);
    return {type, lffmajor(type) == 0};
}

void refuse_what_cannot_go_along(const Options &options, const xvor_t *in, const Target &target) {
    const bool both_native = is_native(in) && target.native;
    if (options.tags && !both_native) throw WrongUsage("--keep-tags works between .vor files only");
    if (options.stops && !both_native) throw WrongUsage("--stops works between .vor files only");
    if (options.stops && !keeps_tracks(in)) {
        throw WrongUsage("--stops needs the tracks as they are: no clip, scale or mirror in X");
    }
}

// The machine's setting for other programs, which lf_parse_type brings into force, would have the
// picture turned.
void keep_upright(xvor_t *out) {
    int32_t top_left = 1;
    lfspecial(out, LFS_TIF_ORIENTATION, &top_left);
}

Handle open_target(const Options &options, SafeOutput *file, const Target &target,
                   const AboutFile &about) {
    uint32_t mode = LF_WRITE;
    if (options.stops) mode |= LF_STOPS;
    if (options.swap_bytes) mode |= LF_SWAPPED;
    const int32_t fd = file->take();
    Handle out(lfdopen(fd, options.output.c_str(), mode, target.type, nullptr));
    if (!out) {
        kel_close(fd);
        about.give_up("cannot be written");
    }
    if (is_tiff(out.get())) keep_upright(out.get());
    return out;
}

void set_up_target(const Options &options, const xvor_t *in, xvor_t *out,
                   const Resolution &resolution, const AboutFile &about) {
    if (lfsetsize(out, in->xsize, in->ysize) < 0) about.give_up("cannot be written");
    const bool known = is_known(resolution);
    if (known && lfscale(out, resolution.x, resolution.y) < 0) about.give_up("cannot be written");
    if (!known && !options.quiet) {
        complain(options.input,
                 format("warning: has no resolution, %g pixels per mm are taken", out->xres));
    }
    if (lfcheck(out) < 0) about.give_up("cannot be written");
}

void carry_over(const Options &options, xvor_t *in, xvor_t *out, const AboutFile &about) {
    if (copy_colour_tables(in, out) < 0) about.give_up("the colour tables cannot be copied");
    if (copy_parameters(in, out) < 0) about.give_up("the parameters cannot be copied");
    if (options.tags && copy_tags(in, out) < 0) about.give_up("the tags cannot be copied");
    if (options.stops && copy_stops(in, out) < 0) about.give_up("the stops cannot be copied");
}

void copy_tracks(const Options &options, xvor_t *in, xvor_t *out, const AboutFile &about_input,
                 const AboutFile &about_output) {
    TrackBuffer buffer;
    if (buffer.fit(in) < 0) about_input.give_up("out of memory");
    Progress progress(options.input, in->xsize, options.quiet);
    for (int32_t n = 0; n < in->xsize; ++n) {
        stop_if_interrupted();
        progress.reach(n);
        // A result of 0 says that the buffer holds this track already.
        if (lfread(in, buffer.get(), n) < 0) about_input.give_up("cannot be read");
        if (lfwrite(out, buffer.get(), n) < 0) about_output.give_up("cannot be written");
    }
}

int run(const Options &options) {
    start_reports(options.quiet);
    const Levels levels = make_levels(options.curve, options.threshold);
    const AboutFile about_input(options.input);
    const Handle in = open_source(options.input, mirror_flags(options.view.mirror));
    const Resolution resolution = set_view(options.view, in.get(), about_input);
    read_in_order(in.get());
    const Target target = choose_target(options, in.get(), levels);
    refuse_what_cannot_go_along(options, in.get(), target);
    check_source(in.get(), about_input);

    SafeOutput file(options.output);
    const AboutFile about_output(options.output);
    Handle out = open_target(options, &file, target, about_output);
    set_up_target(options, in.get(), out.get(), resolution, about_output);
    if (is_native(in.get()) && target.native) {
        carry_over(options, in.get(), out.get(), about_output);
    }
    apply_levels(levels, in.get());
    copy_tracks(options, in.get(), out.get(), about_input, about_output);
    if (lfclose(out.release()) < 0) about_output.give_up("cannot be written");
    file.commit();
    return good;
}

} // namespace

void add_convert(CLI::App *app, Job *job) {
    auto options = std::make_shared<Options>();
    CLI::App *command =
        app->add_subcommand("convert", "Converts an image to another format or form");
    command->add_option("IN", options->input, "Track file or picture")->required();
    command->add_option("OUT", options->output, "File to make; its suffix chooses the format")
        ->required();
    CLI::Option *coding =
        command
            ->add_option(
                "--coding", options->coding,
                "fw8, fw16 (two levels) or fw88 (gray); for a picture, its number of levels")
            ->check(CLI::IsMember({"fw8", "fw16", "fw88"}));
    CLI::Option *deflate =
        command->add_flag("--deflate", options->deflate, "Compress with Deflate");
    command
        ->add_option("--type", options->type,
                     "The type to write in a word (2d, bw, gray, zbi, zgray ...), as FORMAT, "
                     "FORMAT:NUMBER or NUMBER; otherwise the suffix and the image choose it")
        ->excludes(coding)
        ->excludes(deflate);
    command
        ->add_option("--curve", options->curve,
                     "Send the codes through this gray curve, before any threshold (see vor curve)")
        ->check(check_curve);
    command
        ->add_option("--threshold", options->threshold,
                     "Make two levels of gray: codes from N (1 to 255) on become 255, others 0")
        ->check(CLI::Range(1, 255));
    add_view_options(command, &options->view);
    command->add_flag("--swap-bytes", options->swap_bytes,
                      "Write the byte order that is not this machine's");
    command->add_flag("--stops", options->stops, "Take over the stop table");
    command->add_flag("--keep-tags", options->tags, "Take over the tags");
    command->add_flag("-q,--quiet", options->quiet, "No progress, no warnings");
    command->footer("Example:\n  vor convert proof.tif label.vor --deflate\n"
                    "  vor convert label.vor part.vor --clip 5:5:25:20mm --mirror y");
    command->callback([=] { *job = [=] { return run(*options); }; });
}

} // namespace vor::tool
