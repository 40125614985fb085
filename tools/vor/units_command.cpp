// vor units: converts a typed quantity, as the machine's programs read and show it. What they take
// for 0 or for the unit in force is refused here.

#include <algorithm>
#include <cmath>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "commands.h"
#include "config/units.h"
#include "report.h"
#include "util/text.h"

namespace vor::tool {
namespace {

using Json = nlohmann::ordered_json;

constexpr int most_decimals = 30;

const std::vector<std::string> kind_names = {"size", "raster", "speed", "advance"};

struct Options {
    std::vector<std::string> words;
    std::string kind = "size";
    std::string unit; // empty: the one that programs reckon with
    std::string circumference;
    bool circle = false;
    int decimals = -1;
    bool json = false;
};

struct Result {
    std::string text;
    std::string kind;
    double internal = 0;
    std::string internal_unit;
    double value = 0;
    std::string unit;
    std::optional<double> circumference;
};

int32_t kind_of(const std::string &name) {
    const auto at = std::find(kind_names.begin(), kind_names.end(), name);
    return static_cast<int32_t>(at - kind_names.begin());
}

std::vector<std::string> units_of(int32_t kind) {
    std::vector<const char *> names(static_cast<size_t>(get_unames(nullptr, 0, kind)));
    get_unames(names.data(), static_cast<int32_t>(names.size()), kind);
    return {names.begin(), names.end()};
}

std::string joined(const std::vector<std::string> &words) {
    std::string text;
    for (const std::string &word : words)
        text += (text.empty() ? "" : " ") + word;
    return text;
}

bool has_unit(int32_t kind, const std::string &name) {
    const std::vector<std::string> names = units_of(kind);
    return std::find(names.begin(), names.end(), name) != names.end();
}

// A length may be typed as so many lines of it, too.
bool is_length_or_lines(std::string name) {
    if (name.starts_with("1/")) name.erase(0, 2);
    return has_unit(UNIT_SIZE, name) || has_unit(UNIT_RASTER, name);
}

bool is_unit_to_show(int32_t kind, const std::string &name) {
    return kind == UNIT_RASTER ? is_length_or_lines(name) : has_unit(kind, name);
}

[[noreturn]] void refuse(const std::string &what, const std::string &text) {
    throw WrongUsage(what + ": " + text);
}

// Steps over a number at `at`; false if there is none or the library reads it otherwise.
bool step_over_number(const char **at) {
    const char *const end = *at + nc_num(*at, NC_NUM_BLANKS | NC_NUM_REAL);
    const char *const rest = skipnumber(*at);
    const bool whole = end > *at && std::all_of(end, rest, [](char c) { return c == ' '; });
    *at = rest;
    return whole;
}

// The unit behind the numbers of a quantity, blanks at its ends off.
std::string typed_unit(const std::string &text, const Options &options) {
    const char *at = text.c_str();
    if (options.circle) {
        while (*at == ' ')
            ++at;
        if (*at == '\\') ++at;
    }
    bool good_number = step_over_number(&at);
    const bool may_have_two = kind_of(options.kind) != UNIT_SPEED;
    if (may_have_two && (*at == '+' || *at == '-'))
        good_number = step_over_number(&at) && good_number;
    if (!good_number) refuse("not a quantity", text);
    std::string unit = at;
    while (unit.ends_with(' '))
        unit.pop_back();
    return unit;
}

double finite(double value, const std::string &text) {
    if (!std::isfinite(value)) throw Failure("", text + ": too large");
    return value;
}

double read_length(const std::string &text, int32_t flags, const Options &options) {
    const std::string unit = typed_unit(text, options);
    if (!unit.empty() && !is_length_or_lines(unit)) refuse("no such unit", unit);
    return finite(unit2mm(text.c_str(), flags), text);
}

std::optional<double> read_circumference(const Options &options) {
    if (options.circumference.empty()) return std::nullopt;
    Options as_circle = options;
    as_circle.kind = "size";
    as_circle.circle = true;
    const double length = read_length(options.circumference, UNIT_SIZE | UNIT_CIRCLE, as_circle);
    if (!(length > 0)) refuse("not a circumference", options.circumference);
    return length;
}

// Tells by two cylinders whether a speed is one of the surface.
template <class Speed>
double speed_on(std::optional<double> circumference, const std::string &unit, Speed speed) {
    if (!circumference && std::abs(speed(1) - speed(2)) > 0) refuse(unit, "needs --circumference");
    return speed(circumference.value_or(0));
}

double read_speed(const Result &result, const Options &options) {
    const std::string unit = typed_unit(result.text, options);
    if (!unit.empty() && !has_unit(UNIT_SPEED, unit)) refuse("no such unit", unit);
    const double rpm = speed_on(result.circumference, unit, [&](double circumference) {
        return speed2rpm(result.text.c_str(), circumference);
    });
    return finite(rpm, result.text);
}

double shown_speed(const Result &result) {
    return speed_on(result.circumference, result.unit, [&](double circumference) {
        return rpm2speed(nullptr, circumference, result.internal, -1, -1, UNIT_SPEED);
    });
}

// A number without a unit is read before another unit is put in force, as one of the first.
Result convert(const Options &options) {
    const int32_t kind = kind_of(options.kind);
    const bool is_speed = kind == UNIT_SPEED;
    if (options.circle && (is_speed || kind == UNIT_RASTER))
        throw WrongUsage("--circle: not for the kind " + options.kind);
    Result result;
    result.text = joined(options.words);
    result.kind = options.kind;
    result.circumference = read_circumference(options);
    const int32_t flags = kind | (options.circle ? UNIT_CIRCLE : 0);
    result.internal =
        is_speed ? read_speed(result, options) : read_length(result.text, flags, options);
    result.internal_unit = unitname(kind);
    if (!options.unit.empty()) {
        if (!is_unit_to_show(kind, options.unit)) {
            refuse("no unit of the kind " + options.kind, options.unit);
        }
        initunits(kind, options.unit.c_str());
    }
    result.unit = unitname(kind);
    const double value =
        is_speed ? shown_speed(result) : mm2unit(nullptr, result.internal, -1, -1, kind);
    result.value = finite(value, result.text);
    return result;
}

void print_json(const Result &result) {
    Json json = {{"text", result.text},         {"kind", result.kind},
                 {"value", result.value},       {"unit", result.unit},
                 {"internal", result.internal}, {"internal_unit", result.internal_unit}};
    if (result.circumference) json["circumference_mm"] = *result.circumference;
    std::cout << json.dump(2, ' ', false, Json::error_handler_t::replace) << "\n";
}

int run(const Options &options) {
    const Result result = convert(options);
    if (options.json) {
        print_json(result);
    } else {
        const std::string number = options.decimals < 0
                                       ? format("%.9g", result.value)
                                       : format("%.*f", options.decimals, result.value);
        std::cout << number << " " << result.unit << "\n";
    }
    return good;
}

std::string unit_lists() {
    return "Lengths: " + joined(units_of(UNIT_SIZE)) + "\nRasters: 1/ and a length, or " +
           joined(units_of(UNIT_RASTER)) + "\nSpeeds: " + joined(units_of(UNIT_SPEED)) + "\n";
}

} // namespace

void add_units(CLI::App *app, Job *job) {
    auto options = std::make_shared<Options>();
    CLI::App *command = app->add_subcommand("units", "Converts a quantity to another unit");
    command
        ->add_option("VALUE", options->words,
                     "A number, or two as 100+0.5, and a unit; without one in mm, 1/cm or 1/min")
        ->required();
    command->add_option("--to", options->unit, "The unit to show; otherwise mm, 1/cm or 1/min");
    command->add_option("--kind", options->kind, "What the quantity is")
        ->check(CLI::IsMember(kind_names))
        ->capture_default_str();
    command->add_option("--circumference", options->circumference,
                        "Of the cylinder, for speeds of its surface; \\100mm is a diameter");
    command->add_flag(
        "--circle", options->circle,
        "VALUE is a circumference or, behind a \\, a diameter, and what is added goes "
        "to the radius");
    command->add_option("--decimals", options->decimals, "Decimals to print; otherwise 9 digits")
        ->check(CLI::Range(0, most_decimals));
    command->add_flag("--json", options->json, "Print an object");
    command->footer(unit_lists() + "Example:\n  vor units 150 lpi --kind raster --to 1/cm");
    command->callback([=] { *job = [=] { return run(*options); }; });
}

} // namespace vor::tool
