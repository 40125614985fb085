// What is looked at of an image: a window of it, mirrored, at another size or resolution.
#ifndef VOR_TOOL_VIEW_OPTIONS_H
#define VOR_TOOL_VIEW_OPTIONS_H

#include <cstdint>
#include <string>

#include <CLI/CLI.hpp>

#include "lengths.h"
#include "report.h"
#include "trackfile/lf.h"

namespace vor::tool {

// As they stand on the command line; empty ones leave the image as it is.
struct ViewOptions {
    std::string resolution;
    std::string size;
    std::string clip;
    std::string mirror;
};

void add_view_options(CLI::App *command, ViewOptions *options);

// An option that takes x, y or xy.
CLI::Option *add_mirror_option(CLI::App *command, const std::string &name, std::string *axes,
                               const std::string &text);

// The bits of a mode that stand for x, y or xy.
uint32_t mirror_flags(const std::string &axes);

// Between open_source, which has had the mirror flags, and check_source: sets window, size and
// resolution, and gives the latter. Throws Told, or a Failure if nothing is left of the image.
Resolution set_view(const ViewOptions &options, xvor_t *h, const AboutFile &about);

// The last word before check_source: where tracks come one by one in the file's order, a file
// without a seek table is not walked for one.
void read_in_order(xvor_t *h);

bool is_known(const Resolution &resolution);

} // namespace vor::tool

#endif
