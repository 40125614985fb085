#include "svg_canvas.h"

#include <string_view>

#include "platform/kel.h"
#include "report.h"

namespace vor::tool {
namespace {

// As letters of this font have it in most of its forms, a fifth more than half the size.
constexpr int font_size = static_cast<int>(character_width / 0.6);

std::string hex(Colour colour) {
    return format("#%02x%02x%02x", colour.red, colour.green, colour.blue);
}

// Text of a document holds no other characters than these. What a name may have beside them shows
// as "?".
std::string escaped(const std::string &text) {
    std::string result;
    for (const char c : text) {
        if (c == '&') {
            result += "&amp;";
        } else if (c == '<') {
            result += "&lt;";
        } else if (c == '>') {
            result += "&gt;";
        } else {
            result += c >= ' ' && c <= '~' ? c : '?';
        }
    }
    return result;
}

const char *anchor_word(Anchor anchor) {
    switch (anchor) {
    case Anchor::start:
        return "start";
    case Anchor::middle:
        return "middle";
    case Anchor::end:
        break;
    }
    return "end";
}

} // namespace

SvgCanvas::SvgCanvas(int32_t width, int32_t height)
    : body_(format("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%d\" height=\"%d\" "
                   "viewBox=\"0 0 %d %d\">\n"
                   "<rect width=\"%d\" height=\"%d\" fill=\"#ffffff\"/>\n",
                   width, height, width, height, width, height)) {}

void SvgCanvas::draw_lines(const std::vector<Point> &points, const Pen &pen) {
    body_ += format("<polyline fill=\"none\" stroke=\"%s\" stroke-width=\"%g\" "
                    "stroke-linejoin=\"round\"",
                    hex(pen.colour).c_str(), pen.width);
    if (pen.dashed) body_ += format(" stroke-dasharray=\"%g %g\"", dash_length, gap_length);
    body_ += " points=\"";
    for (const Point &point : points)
        body_ += format("%s%.2f,%.2f", &point == points.data() ? "" : " ", point.x, point.y);
    body_ += "\"/>\n";
}

void SvgCanvas::draw_text(Point place, Anchor anchor, const std::string &text) {
    body_ += format("<text x=\"%.2f\" y=\"%.2f\" font-family=\"monospace\" font-size=\"%d\" "
                    "fill=\"#000000\" text-anchor=\"%s\" xml:space=\"preserve\">%s</text>\n",
                    place.x, place.y, font_size, anchor_word(anchor), escaped(text).c_str());
}

void SvgCanvas::save(int32_t fd, const std::string &shown) {
    const std::string document = body_ + "</svg>\n";
    std::string_view left = document;
    while (!left.empty()) {
        const int64_t put = kel_write(fd, left.data(), left.size());
        if (put <= 0) break;
        left.remove_prefix(static_cast<size_t>(put));
    }
    const std::string text = left.empty() ? "" : system_error_text();
    if (kel_close(fd) != 0) throw Failure(shown, system_error_text());
    if (!left.empty()) throw Failure(shown, text);
}

} // namespace vor::tool
