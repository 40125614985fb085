// A pixel takes the colour of a line as far as the line covers it, for which the distance of its
// middle from the middle of the line stands. All parts of lines that hang together are gathered
// first, so that they do not darken each other where they meet.
#include "raster_canvas.h"

#include <algorithm>
#include <cmath>

#include "bitmap_font.h"
#include "png_writer.h"

namespace vor::tool {
namespace {

constexpr size_t channels = 3;
constexpr int32_t scale = 2; // pixels of a dot of the font
static_assert(font_advance * scale == character_width && font_height * scale == character_height);

constexpr Colour black{0, 0, 0};

double distance(Point a, Point b) {
    return std::hypot(a.x - b.x, a.y - b.y);
}

Point between(Point a, Point b, double part) {
    return {a.x + (b.x - a.x) * part, a.y + (b.y - a.y) * part};
}

double distance_to_line(Point place, Point from, Point to) {
    const double dx = to.x - from.x;
    const double dy = to.y - from.y;
    const double square = dx * dx + dy * dy;
    if (square <= 0) return distance(place, from);
    const double part = ((place.x - from.x) * dx + (place.y - from.y) * dy) / square;
    return distance(place, between(from, to, std::clamp(part, 0.0, 1.0)));
}

uint8_t mix(uint8_t below, uint8_t above, double part) {
    return static_cast<uint8_t>(std::lround(below + (above - below) * part));
}

} // namespace

RasterCanvas::RasterCanvas(int32_t width, int32_t height)
    : width_(width), height_(height),
      pixels_(static_cast<size_t>(width) * static_cast<size_t>(height) * channels, uint8_t{255}),
      cover_(static_cast<size_t>(width) * static_cast<size_t>(height)) {}

void RasterCanvas::cover_line(Point from, Point to, double width) {
    const double reach = width / 2 + 1;
    const auto limit = [](double value, int32_t end) {
        return static_cast<int32_t>(std::clamp(value, 0.0, static_cast<double>(end)));
    };
    const int32_t x_end = limit(std::max(from.x, to.x) + reach, width_);
    const int32_t y_end = limit(std::max(from.y, to.y) + reach, height_);
    for (int32_t y = limit(std::min(from.y, to.y) - reach, height_); y < y_end; ++y) {
        for (int32_t x = limit(std::min(from.x, to.x) - reach, width_); x < x_end; ++x) {
            const double away = distance_to_line({x + 0.5, y + 0.5}, from, to);
            const double part = std::clamp(width / 2 + 0.5 - away, 0.0, 1.0);
            float &cover = cover_[static_cast<size_t>(y) * static_cast<size_t>(width_) +
                                  static_cast<size_t>(x)];
            cover = std::max(cover, static_cast<float>(part));
        }
    }
}

// A line begins with a dash.
void RasterCanvas::cover_dashes(Point from, Point to, double width) {
    constexpr double period = dash_length + gap_length;
    const double length = distance(from, to);
    if (length <= 0) return;
    const auto dashes = static_cast<int32_t>(std::ceil(length / period));
    for (int32_t i = 0; i < dashes; ++i) {
        const double start = i * period;
        const double end = std::min(start + dash_length, length);
        cover_line(between(from, to, start / length), between(from, to, end / length), width);
    }
}

void RasterCanvas::paint_covered(Colour colour) {
    uint8_t *pixel = pixels_.data();
    for (float &cover : cover_) {
        const auto part = static_cast<double>(cover);
        pixel[0] = mix(pixel[0], colour.red, part);
        pixel[1] = mix(pixel[1], colour.green, part);
        pixel[2] = mix(pixel[2], colour.blue, part);
        pixel += channels;
        cover = 0;
    }
}

void RasterCanvas::draw_lines(const std::vector<Point> &points, const Pen &pen) {
    for (size_t i = 0; i + 1 < points.size(); ++i) {
        if (pen.dashed) {
            cover_dashes(points[i], points[i + 1], pen.width);
        } else {
            cover_line(points[i], points[i + 1], pen.width);
        }
    }
    paint_covered(pen.colour);
}

void RasterCanvas::paint_pixel(int32_t x, int32_t y, Colour colour) {
    if (x < 0 || x >= width_ || y < 0 || y >= height_) return;
    const size_t at = static_cast<size_t>(y) * static_cast<size_t>(width_) + static_cast<size_t>(x);
    uint8_t *pixel = &pixels_[at * channels];
    pixel[0] = colour.red;
    pixel[1] = colour.green;
    pixel[2] = colour.blue;
}

void RasterCanvas::draw_character(int32_t left, int32_t top, char character) {
    for (int32_t y = 0; y < font_rows * scale; ++y) {
        for (int32_t x = 0; x < font_columns * scale; ++x) {
            if (font_dot(character, x / scale, y / scale)) paint_pixel(left + x, top + y, black);
        }
    }
}

void RasterCanvas::draw_text(Point place, Anchor anchor, const std::string &text) {
    const double length = static_cast<double>(text.size()) * character_width;
    const double before = anchor == Anchor::start    ? 0
                          : anchor == Anchor::middle ? length / 2
                                                     : length;
    auto left = static_cast<int32_t>(std::lround(place.x - before));
    const auto top = static_cast<int32_t>(std::lround(place.y - character_height));
    for (const char character : text) {
        draw_character(left, top, character);
        left += font_advance * scale;
    }
}

void RasterCanvas::save(int32_t fd, const std::string &shown) {
    PngWriter png(fd, shown, static_cast<uint32_t>(width_), static_cast<uint32_t>(height_), 0, 0,
                  PngColour::rgb);
    const size_t row = static_cast<size_t>(width_) * channels;
    for (size_t at = 0; at < pixels_.size(); at += row)
        png.write_row(&pixels_[at]);
    png.finish();
}

} // namespace vor::tool
