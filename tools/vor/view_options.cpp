#include "view_options.h"

#include <cmath>
#include <optional>

#include "track_source.h"

namespace vor::tool {
namespace {

int32_t to_pixels(const xvor_t *h, double pixels) {
    const double rounded = std::round(pixels);
    if (!(rounded <= INT32_MAX)) throw Failure(h->name, "the size is too large");
    return static_cast<int32_t>(rounded);
}

// Sets the output size and gives the resolution that goes with it. A size in millimetres is one at
// the resolution asked for, or the image's; a size in pixels alone keeps the millimetres.
Resolution set_geometry(const ViewOptions &options, xvor_t *h, const AboutFile &about) {
    const std::optional<Resolution> asked = parse_resolution(options.resolution);
    if (asked && lfscale(h, asked->x, asked->y) < 0) about.give_up("cannot be scaled");
    const std::optional<Size> size = parse_size(options.size);
    if (!size) return {h->xres, h->yres};
    if (!(h->fxres > 0) || !(h->fyres > 0)) {
        throw Failure(h->name, "has no resolution; give one with --resolution");
    }
    const Resolution wanted = asked.value_or(Resolution{h->fxres, h->fyres});
    const bool mm = size->millimetres;
    const int32_t x = to_pixels(h, mm ? size->x * wanted.x : size->x);
    const int32_t y = to_pixels(h, mm ? size->y * wanted.y : size->y);
    if (x > 0 && y > 0 && lfsetsize(h, x, y) < 0) about.give_up("cannot be scaled");
    if (x < 1 || y < 1) h->xsize = h->ysize = 0;
    return asked || mm ? wanted : Resolution{h->xres, h->yres};
}

template <class Parse>
auto parses_as(const char *what, Parse parse) {
    return [=](const std::string &text) -> std::string {
        return parse(text) ? "" : std::string("not a ") + what + ": " + text;
    };
}

} // namespace

void add_view_options(CLI::App *command, ViewOptions *options) {
    command
        ->add_option("--resolution", options->resolution,
                     "X[xY] in pixels per mm, or with dpi, /cm or /mm behind it")
        ->check(parses_as("resolution", parse_resolution));
    command->add_option("--size", options->size, "Tracks x pixels per track, or with mm behind it")
        ->check(parses_as("size", parse_size));
    command
        ->add_option(
            "--clip", options->clip,
            "Window XA:YA:XE:YE of the image (mirrored, if --mirror is given) in pixels, or with "
            "mm behind it; ends are exclusive, one left out is the image's")
        ->check(parses_as("window", parse_window));
    add_mirror_option(command, "--mirror", &options->mirror,
                      "x: tracks in reverse order, y: pixels in reverse order, xy: both");
}

CLI::Option *add_mirror_option(CLI::App *command, const std::string &name, std::string *axes,
                               const std::string &text) {
    return command->add_option(name, *axes, text)->check(CLI::IsMember({"x", "y", "xy"}));
}

uint32_t mirror_flags(const std::string &axes) {
    uint32_t flags = 0;
    if (axes.starts_with('x')) flags |= LF_XMIRROR;
    if (axes.ends_with('y')) flags |= LF_YMIRROR;
    return flags;
}

Resolution set_view(const ViewOptions &options, xvor_t *h, const AboutFile &about) {
    if (!options.clip.empty()) clip_source(h, parse_window(options.clip), about);
    const Resolution resolution = set_geometry(options, h, about);
    if (h->xsize < 1 || h->ysize < 1) {
        throw Failure(h->name, "nothing is left of the image at this size");
    }
    return resolution;
}

void read_in_order(xvor_t *h) {
    if (h->xsize == h->xe - h->xa && !has(h, LF_XMIRROR)) h->flags |= LF_SEQUENTIAL;
}

bool is_known(const Resolution &resolution) {
    return std::isfinite(resolution.x) && std::isfinite(resolution.y) && resolution.x > 0 &&
           resolution.y > 0;
}

} // namespace vor::tool
