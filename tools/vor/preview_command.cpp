// vor preview: a reduced picture of an image of any size, made in one pass.

#include <cmath>
#include <memory>
#include <optional>
#include <string>

#include "area_average.h"
#include "commands.h"
#include "interrupt.h"
#include "levels.h"
#include "png_writer.h"
#include "progress.h"
#include "report.h"
#include "safe_output.h"
#include "track_source.h"

namespace vor::tool {
namespace {

constexpr double mm_per_metre = 1000;

struct Options {
    std::string input;
    std::string output;
    int32_t width = 800;
    std::string clip;
    std::string curve;
    bool enlarge = false;
    bool quiet = false;
};

// The sides of a pixel in mm; squares where the file tells no resolution.
struct PixelShape {
    double width = 1;
    double height = 1;
    bool known = false;
};

// A track is a row, so that its pixels follow one another at the Y resolution.
PixelShape pixel_shape(const xvor_t *h) {
    if (!(h->fxres > 0) || !(h->fyres > 0)) return {};
    return {1 / h->fyres, 1 / h->fxres, true};
}

uint32_t per_metre(int32_t target, int32_t source, double pixel_size) {
    return static_cast<uint32_t>(std::lround(target / (source * pixel_size) * mm_per_metre));
}

void reduce(const Options &options, xvor_t *h, AreaAverage *picture) {
    const AboutFile about(options.input);
    TrackBuffer buffer;
    if (buffer.fit(h) < 0) about.give_up("out of memory");
    Progress progress(options.input, h->xsize, options.quiet);
    for (int32_t n = 0; n < h->xsize; ++n) {
        stop_if_interrupted();
        progress.reach(n);
        if (lfread(h, buffer.get(), n) < 0) about.give_up("cannot be read");
        picture->add_row(buffer.runs());
    }
}

int run(const Options &options) {
    start_reports(options.quiet);
    const Levels levels = make_levels(options.curve, 0);
    const AboutFile about(options.input);
    const Handle h = open_source(options.input, LF_SEQUENTIAL);
    if (!options.clip.empty()) clip_source(h.get(), parse_window(options.clip), about);
    check_source(h.get(), about);
    apply_levels(levels, h.get());

    const ImageSize source{h->ysize, h->xsize};
    const PixelShape pixel = pixel_shape(h.get());
    const ImageSize target =
        reduced_size(source, pixel.width, pixel.height, options.width, options.enlarge);
    const uint32_t x_density = pixel.known ? per_metre(target.width, source.width, pixel.width) : 0;
    const uint32_t y_density =
        pixel.known ? per_metre(target.height, source.height, pixel.height) : 0;

    SafeOutput output(options.output);
    PngWriter png(output.take(), options.output, static_cast<uint32_t>(target.width),
                  static_cast<uint32_t>(target.height), x_density, y_density);
    AreaAverage picture(source, target, [&png](const uint8_t *row) { png.write_row(row); });
    reduce(options, h.get(), &picture);
    png.finish();
    output.commit();
    return good;
}

std::string check_window(const std::string &text) {
    return parse_window(text) ? "" : "not a window: " + text;
}

} // namespace

void add_preview(CLI::App *app, Job *job) {
    auto options = std::make_shared<Options>();
    CLI::App *command =
        app->add_subcommand("preview", "Makes a reduced gray picture of an image as PNG");
    command->add_option("FILE", options->input, "Track file or picture")->required();
    command->add_option("OUT", options->output, "The picture to make")->required();
    command
        ->add_option("-w,--width", options->width,
                     "Width in pixels (800). The picture gets no more pixels than the image has")
        ->check(CLI::Range(1, 1000000));
    command
        ->add_option("--clip", options->clip, "Window XA:YA:XE:YE in pixels, or with mm behind it")
        ->check(check_window);
    command
        ->add_option("--curve", options->curve,
                     "Send the image's codes through this gray curve (see vor curve)")
        ->check(check_curve);
    command->add_flag("--enlarge", options->enlarge, "Let the picture have more pixels");
    command->add_flag("-q,--quiet", options->quiet, "No progress, no warnings");
    command->footer("A track is a row of the picture, the first one the top row.\n"
                    "Example:\n  vor preview label.vor label.png --width 600");
    command->callback([=] { *job = [=] { return run(*options); }; });
}

} // namespace vor::tool
