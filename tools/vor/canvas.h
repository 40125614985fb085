// What a plot is drawn on. Places are in pixels from the upper left corner of the picture.
#ifndef VOR_TOOL_CANVAS_H
#define VOR_TOOL_CANVAS_H

#include <cstdint>
#include <string>
#include <vector>

namespace vor::tool {

struct Point {
    double x;
    double y;
};

struct Colour {
    uint8_t red;
    uint8_t green;
    uint8_t blue;
};

struct Pen {
    Colour colour;
    double width;
    bool dashed = false;
};

// Pixels of a dash and of the gap behind it.
constexpr double dash_length = 8;
constexpr double gap_length = 6;

// Text is of one height and has characters of one width.
constexpr double character_width = 12;
constexpr double character_height = 14;

// Which end of a text stands at its place.
enum class Anchor { start, middle, end };

class Canvas {
public:
    Canvas() = default;
    virtual ~Canvas() = default;
    Canvas(const Canvas &) = delete;
    Canvas &operator=(const Canvas &) = delete;

    // Lines from point to point.
    virtual void draw_lines(const std::vector<Point> &points, const Pen &pen) = 0;
    // `place` is on the line that the text stands on.
    virtual void draw_text(Point place, Anchor anchor, const std::string &text) = 0;
    // Writes the picture to an open file, which is closed. Throws a Failure about `shown`.
    virtual void save(int32_t fd, const std::string &shown) = 0;
};

} // namespace vor::tool

#endif
