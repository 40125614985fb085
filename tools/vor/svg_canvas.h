// A plot as an SVG 1.1 document.
#ifndef VOR_TOOL_SVG_CANVAS_H
#define VOR_TOOL_SVG_CANVAS_H

#include <string>

#include "canvas.h"

namespace vor::tool {

class SvgCanvas : public Canvas {
public:
    SvgCanvas(int32_t width, int32_t height);

    void draw_lines(const std::vector<Point> &points, const Pen &pen) override;
    void draw_text(Point place, Anchor anchor, const std::string &text) override;
    void save(int32_t fd, const std::string &shown) override;

private:
    std::string body_;
};

} // namespace vor::tool

#endif
