#include "levels.h"

#include <algorithm>

#include "captured_errors.h"
#include "colour/colour.h"
#include "report.h"

namespace vor::tool {
namespace {

constexpr uint16_t white = 255;

bool is_extreme(uint16_t level) {
    return level == 0 || level == white;
}

void apply_curve(const std::string &curve, Levels *levels) {
    constexpr int32_t compose = 1;
    with_curve(curve,
               [&] { return assigncolors(levels->data(), curve.c_str(), compose, LF_NCOLORS); });
    if (*std::max_element(levels->begin(), levels->end()) > white) {
        throw Failure(curve, "the curve has levels above 255");
    }
}

// Where the library found the fault: what stands behind "..." in its message.
std::string faulty_rest(CapturedErrors *errors) {
    const std::vector<std::string> lines = errors->lines();
    const size_t at = lines.empty() ? std::string::npos : lines[0].find("...");
    return at == std::string::npos ? "" : ", from \"" + lines[0].substr(at + 3) + "\" on";
}

} // namespace

void with_curve(const std::string &spec, const std::function<int32_t()> &call) {
    int32_t result = 0;
    std::string rest;
    {
        CapturedErrors errors;
        result = call();
        if (result < 0) rest = faulty_rest(&errors);
    }
    if (result == CURVE_NO_FILE) throw Failure(spec, "neither a curve nor a curve file" + rest);
    if (result < 0) throw Failure(spec, "a wrong curve" + rest);
}

std::string check_curve(const std::string &spec) {
    return spec.empty() ? "the curve is empty" : "";
}

Levels make_levels(const std::string &curve, int32_t threshold) {
    Levels levels{};
    for (size_t i = 0; i < levels.size(); ++i)
        levels[i] = static_cast<uint16_t>(i);
    if (!curve.empty()) apply_curve(curve, &levels);
    if (threshold > 0) {
        for (uint16_t &level : levels)
            level = level >= threshold ? white : uint16_t{0};
    }
    return levels;
}

bool keep_two_levels(const Levels &levels) {
    return is_extreme(levels[0]) && is_extreme(levels[white]);
}

void apply_levels(const Levels &levels, xvor_t *h) {
    std::copy(levels.begin(), levels.end(), lfctable(h));
}

} // namespace vor::tool
