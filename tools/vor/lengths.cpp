#include "lengths.h"

#include <charconv>
#include <cmath>
#include <cstdint>

namespace vor::tool {
namespace {

constexpr double mm_per_inch = 25.4;
constexpr double mm_per_cm = 10;
constexpr double largest_pixel = INT32_MAX;

bool take(std::string_view *text, std::string_view word) {
    if (!text->starts_with(word)) return false;
    text->remove_prefix(word.size());
    return true;
}

// A plain decimal number that is not negative.
std::optional<double> take_number(std::string_view *text) {
    double value = 0;
    if (text->empty() ||
        !(text->front() == '.' || (text->front() >= '0' && text->front() <= '9'))) {
        return std::nullopt;
    }
    const char *end = text->data() + text->size();
    const auto [rest, error] = std::from_chars(text->data(), end, value, std::chars_format::fixed);
    if (error != std::errc() || !std::isfinite(value)) return std::nullopt;
    text->remove_prefix(static_cast<size_t>(rest - text->data()));
    return value;
}

// Millimetres of the unit that a resolution ends in; 0 for none.
double take_unit(std::string_view *text) {
    if (take(text, "dpi") || take(text, "/in")) return mm_per_inch;
    if (take(text, "/cm")) return mm_per_cm;
    if (take(text, "/mm")) return 1;
    return 0;
}

bool is_pixels(double value) {
    return value == std::floor(value) && value <= largest_pixel;
}

// A number, or nothing before a separator or the end.
bool take_end(std::string_view *text, std::optional<double> *value) {
    if (text->empty() || text->front() == ':' || text->front() == 'm') return true;
    *value = take_number(text);
    return value->has_value();
}

} // namespace

std::optional<Resolution> parse_resolution(std::string_view text) {
    const std::optional<double> x = take_number(&text);
    if (!x) return std::nullopt;
    double x_unit = take_unit(&text);
    std::optional<double> y = x;
    double y_unit = x_unit;
    if (take(&text, "x")) {
        y = take_number(&text);
        y_unit = take_unit(&text);
        if (x_unit == 0) x_unit = y_unit; // one unit at the end is for both
    }
    if (!y || !text.empty() || !(*x > 0) || !(*y > 0)) return std::nullopt;
    return Resolution{*x / (x_unit > 0 ? x_unit : 1), *y / (y_unit > 0 ? y_unit : 1)};
}

std::optional<Size> parse_size(std::string_view text) {
    const std::optional<double> x = take_number(&text);
    if (!x || !take(&text, "x")) return std::nullopt;
    const std::optional<double> y = take_number(&text);
    if (!y || !(*x > 0) || !(*y > 0)) return std::nullopt;
    const bool millimetres = take(&text, "mm");
    if (!text.empty() || (!millimetres && !(is_pixels(*x) && is_pixels(*y)))) return std::nullopt;
    return Size{*x, *y, millimetres};
}

std::optional<Window> parse_window(std::string_view text) {
    const std::optional<double> xa = take_number(&text);
    if (!xa || !take(&text, ":")) return std::nullopt;
    const std::optional<double> ya = take_number(&text);
    if (!ya) return std::nullopt;
    Window window{*xa, *ya, std::nullopt, std::nullopt, false};
    if (!take(&text, ":") || !take_end(&text, &window.xe)) return std::nullopt;
    if (!take(&text, ":") || !take_end(&text, &window.ye)) return std::nullopt;
    window.millimetres = take(&text, "mm");
    const bool pixels = is_pixels(*xa) && is_pixels(*ya) && is_pixels(window.xe.value_or(0)) &&
                        is_pixels(window.ye.value_or(0));
    if (!text.empty() || (!window.millimetres && !pixels)) return std::nullopt;
    return window;
}

} // namespace vor::tool
