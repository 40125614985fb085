// The diagram is a square with a margin for the numbers; below it stands a legend with a line for
// each curve and one for the identity.
#include "curve_plot.h"

#include <algorithm>
#include <iterator>
#include <memory>

#include "raster_canvas.h"
#include "report.h"
#include "svg_canvas.h"

namespace vor::tool {
namespace {

constexpr int32_t side = 640; // of the diagram
constexpr int32_t left = 88;
constexpr int32_t top = 48;
constexpr int32_t right_margin = 32;
constexpr int32_t below = 80; // for the numbers and the axis's name
constexpr int32_t legend_line = 26;
constexpr int32_t bottom_margin = 16;
constexpr int32_t width = left + side + right_margin;
constexpr double swatch = 40; // length of a legend's sample
constexpr double text_gap = 10;
constexpr double lift = character_height / 2; // from a text's middle to the line it stands on

constexpr Colour frame_colour{64, 64, 64};
constexpr Colour grid_colour{220, 220, 220};
constexpr Colour identity_colour{128, 128, 128};
constexpr Colour curve_colours[] = {{0, 114, 178}, {213, 94, 0},   {0, 158, 115}, {204, 121, 167},
                                    {230, 159, 0}, {86, 180, 233}, {120, 70, 30}, {60, 60, 160}};
constexpr Pen frame_pen{frame_colour, 1};
constexpr Pen grid_pen{grid_colour, 1};
constexpr Pen identity_pen{identity_colour, 1.5, true};

Pen curve_pen(size_t index) {
    return {curve_colours[index % std::size(curve_colours)], 2.5};
}

// The distance of numbers on an axis: 1, 2 or 5 times a power of ten, for six at most.
int32_t tick_step(int32_t last) {
    constexpr int32_t most = 6;
    for (int32_t power = 1;; power *= 10) {
        for (const int32_t factor : {1, 2, 5}) {
            if (last / (power * factor) <= most) return power * factor;
        }
    }
}

class Diagram {
public:
    Diagram(const std::vector<Curve> &curves, Canvas *canvas);
    void draw();

private:
    Point place(double input, double output) const {
        return {left + 0.5 + input / x_last_ * side,
                top + 0.5 + (y_last_ - output) / y_last_ * side};
    }
    void draw_grid();
    void draw_frame();
    void draw_curve(const Curve &curve, const Pen &pen);
    void draw_legend();
    void draw_legend_line(int32_t line, const Pen &pen, const std::string &text);

    const std::vector<Curve> &curves_;
    Canvas *canvas_;
    int32_t x_last_;
    int32_t y_last_; // more than the last level where a curve has values beyond it
};

Diagram::Diagram(const std::vector<Curve> &curves, Canvas *canvas)
    : curves_(curves), canvas_(canvas), x_last_(static_cast<int32_t>(curves[0].levels.size()) - 1),
      y_last_(x_last_) {
    for (const Curve &curve : curves) {
        for (const uint16_t level : curve.levels)
            y_last_ = std::max<int32_t>(y_last_, level);
    }
}

void Diagram::draw_grid() {
    for (int32_t input = 0, step = tick_step(x_last_); input <= x_last_; input += step) {
        const Point foot = place(input, 0);
        canvas_->draw_lines({foot, place(input, y_last_)}, grid_pen);
        canvas_->draw_text({foot.x, foot.y + text_gap + character_height}, Anchor::middle,
                           format("%d", input));
    }
    for (int32_t output = 0, step = tick_step(y_last_); output <= y_last_; output += step) {
        const Point foot = place(0, output);
        canvas_->draw_lines({foot, place(x_last_, output)}, grid_pen);
        canvas_->draw_text({foot.x - text_gap, foot.y + lift}, Anchor::end, format("%d", output));
    }
    canvas_->draw_text({left + side / 2.0, top + side + 2 * (text_gap + character_height) + 4},
                       Anchor::middle, "input level");
    canvas_->draw_text({left, top - 16}, Anchor::start, "output level");
}

void Diagram::draw_frame() {
    const Point low = place(0, 0);
    const Point high = place(x_last_, y_last_);
    canvas_->draw_lines({low, {high.x, low.y}, high, {low.x, high.y}, low}, frame_pen);
}

void Diagram::draw_curve(const Curve &curve, const Pen &pen) {
    std::vector<Point> points;
    for (size_t i = 0; i < curve.levels.size(); ++i)
        points.push_back(place(static_cast<double>(i), curve.levels[i]));
    canvas_->draw_lines(points, pen);
}

void Diagram::draw_legend_line(int32_t line, const Pen &pen, const std::string &text) {
    constexpr double text_start = left + swatch + text_gap;
    constexpr auto room = static_cast<size_t>((width - 16 - text_start) / character_width);
    const double y = top + side + below + (line + 0.5) * legend_line;
    const bool fits = text.size() <= room;
    canvas_->draw_lines({{left, y}, {left + swatch, y}}, pen);
    canvas_->draw_text({text_start, y + lift}, Anchor::start,
                       fits ? text : text.substr(0, room - 3) + "...");
}

void Diagram::draw_legend() {
    int32_t line = 0;
    for (size_t i = 0; i < curves_.size(); ++i)
        draw_legend_line(line++, curve_pen(i), curves_[i].spec);
    draw_legend_line(line, identity_pen, "identity");
}

void Diagram::draw() {
    draw_grid();
    draw_frame();
    canvas_->draw_lines({place(0, 0), place(x_last_, x_last_)}, identity_pen);
    for (size_t i = 0; i < curves_.size(); ++i)
        draw_curve(curves_[i], curve_pen(i));
    draw_legend();
}

} // namespace

void plot_curves(const std::vector<Curve> &curves, PlotFormat picture, int32_t fd,
                 const std::string &shown) {
    const auto lines = static_cast<int32_t>(curves.size()) + 1;
    const int32_t height = top + side + below + lines * legend_line + bottom_margin;
    std::unique_ptr<Canvas> canvas;
    if (picture == PlotFormat::svg) {
        canvas = std::make_unique<SvgCanvas>(width, height);
    } else {
        canvas = std::make_unique<RasterCanvas>(width, height);
    }
    Diagram(curves, canvas.get()).draw();
    canvas->save(fd, shown);
}

} // namespace vor::tool
