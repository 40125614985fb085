// vor curve: a gray curve as numbers, as a curve file, as a picture.

#include <algorithm>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "colour/colour.h"
#include "commands.h"
#include "curve_plot.h"
#include "levels.h"
#include "platform/kel.h"
#include "report.h"
#include "safe_output.h"

namespace vor::tool {
namespace {

struct Options {
    std::vector<std::string> specs;
    int32_t size = NCOLORS_DEFAULT;
    std::string output;
    std::string plot;
};

Curve make_curve(const std::string &spec, int32_t size) {
    Curve curve{spec, std::vector<uint16_t>(static_cast<size_t>(size))};
    with_curve(spec, [&] { return wsetupctab(spec.c_str(), curve.levels.data(), nullptr, size); });
    return curve;
}

// The input of the first number, then 16 outputs a line, or 10 where they are wide.
void print_curve(const Curve &curve) {
    const std::vector<uint16_t> &levels = curve.levels;
    const uint16_t largest = *std::max_element(levels.begin(), levels.end());
    const bool narrow = levels.size() <= 256 && largest <= 999;
    const size_t line = narrow ? 16 : 10;
    std::cout << format("%s, %zu levels\n", curve.spec.c_str(), levels.size());
    for (size_t first = 0; first < levels.size(); first += line) {
        std::cout << format("%6zu:", first);
        for (size_t i = first; i < std::min(first + line, levels.size()); ++i)
            std::cout << format(" %*d", narrow ? 3 : 5, levels[i]);
        std::cout << "\n";
    }
}

void store_curve(const Curve &curve, const std::string &name) {
    SafeOutput output(name);
    kel_close(output.take());
    const auto size = static_cast<int32_t>(curve.levels.size());
    if (write_ctab(output.temporary().c_str(), curve.levels.data(), size) < 0) {
        throw Failure(name, system_error_text());
    }
    output.commit();
}

void store_plot(const std::vector<Curve> &curves, PlotFormat picture, const std::string &name) {
    SafeOutput output(name);
    plot_curves(curves, picture, output.take(), name);
    output.commit();
}

std::optional<PlotFormat> format_of(const std::string &name) {
    if (name.ends_with(".png")) return PlotFormat::png;
    if (name.ends_with(".svg")) return PlotFormat::svg;
    return {};
}

int run(const Options &options) {
    if (!options.output.empty() && options.specs.size() > 1) {
        throw WrongUsage("--out stores one curve and no more");
    }
    std::vector<Curve> curves;
    for (const std::string &spec : options.specs)
        curves.push_back(make_curve(spec, options.size));
    if (options.output.empty() && options.plot.empty()) {
        for (const Curve &curve : curves)
            print_curve(curve);
    }
    if (!options.output.empty()) store_curve(curves[0], options.output);
    const std::optional<PlotFormat> picture = format_of(options.plot);
    if (picture) store_plot(curves, *picture, options.plot);
    return good;
}

std::string check_plot(const std::string &name) {
    return format_of(name) ? "" : "neither .png nor .svg: " + name;
}

} // namespace

void add_curve(CLI::App *app, Job *job) {
    auto options = std::make_shared<Options>();
    CLI::App *command = app->add_subcommand("curve", "Shows, stores and draws gray curves");
    command
        ->add_option("SPEC", options->specs,
                     "Curves, each a text of items with blanks or commas between them: normal, "
                     "invert, light, bright, @GAMMA, FROM:TO=LEVEL, FROM:TO:LOW:HIGH, "
                     "FROM:TO:STEPS, 15 percentages with \":\" between them, or a curve file")
        ->required()
        ->check(check_curve);
    command->add_option("--size", options->size, "Number of levels, 2 to 8192 (256)")
        ->check(CLI::Range(2, static_cast<int>(NCOLORS_MAX)));
    command->add_option("-o,--out", options->output, "Store the curve in this curve file")
        ->type_name("FILE");
    command->add_option("--plot", options->plot, "Draw the curves into this file, .png or .svg")
        ->type_name("FILE")
        ->check(check_plot);
    command->footer("With neither --out nor --plot the outputs are printed, in order of input.\n"
                    "Example:\n  vor curve \"@1.8,0:255:16\" --out press.crv --plot press.png");
    command->callback([=] { *job = [=] { return run(*options); }; });
}

} // namespace vor::tool
