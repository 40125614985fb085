// A plot as pixels, stored as PNG.
#ifndef VOR_TOOL_RASTER_CANVAS_H
#define VOR_TOOL_RASTER_CANVAS_H

#include "canvas.h"

namespace vor::tool {

class RasterCanvas : public Canvas {
public:
    RasterCanvas(int32_t width, int32_t height);

    void draw_lines(const std::vector<Point> &points, const Pen &pen) override;
    void draw_text(Point place, Anchor anchor, const std::string &text) override;
    void save(int32_t fd, const std::string &shown) override;

private:
    void cover_line(Point from, Point to, double width);
    void cover_dashes(Point from, Point to, double width);
    void paint_covered(Colour colour);
    void paint_pixel(int32_t x, int32_t y, Colour colour);
    void draw_character(int32_t left, int32_t top, char character);

    int32_t width_;
    int32_t height_;
    std::vector<uint8_t> pixels_; // red, green and blue
    std::vector<float> cover_;    // how much of each pixel the lines at hand take, 0 to 1
};

} // namespace vor::tool

#endif
