#include "time_left.h"

#include <algorithm>
#include <cmath>

#include "report.h"

namespace vor::tool {
namespace {

constexpr double stretch = 1;         // seconds that a measurement takes at least
constexpr double weight_of_last = .2; // of the last stretch in the speed
constexpr double longest = 1e9;       // seconds; what takes longer is told as this

constexpr int64_t minute = 60;
constexpr int64_t hour = 60 * minute;

} // namespace

void TimeLeft::measure(int64_t done, double seconds) {
    const double latest = static_cast<double>(done - measured_) / (seconds - measured_at_);
    speed_ += (speed_ > 0 ? weight_of_last : 1) * (latest - speed_);
    measured_ = done;
    measured_at_ = seconds;
}

std::optional<double> TimeLeft::at(int64_t done, double seconds) {
    if (seconds - measured_at_ >= stretch) measure(done, seconds);
    if (!(speed_ > 0)) return std::nullopt;
    return static_cast<double>(std::max<int64_t>(total_ - done, 0)) / speed_;
}

// Seconds behind minutes go in tens, lest they flicker.
std::string duration_text(double seconds) {
    int64_t s = std::llround(std::clamp(seconds, 0.0, longest));
    if (s < minute) return format("%lld s", static_cast<long long>(s));
    if (s < hour) s = (s + 5) / 10 * 10;
    if (s < hour) {
        return format("%lld min %lld s", static_cast<long long>(s / minute),
                      static_cast<long long>(s % minute));
    }
    const int64_t minutes = (s + minute / 2) / minute;
    return format("%lld h %lld min", static_cast<long long>(minutes / 60),
                  static_cast<long long>(minutes % 60));
}

std::string progress_text(const std::string &label, int32_t percent, std::optional<double> left) {
    std::string text = format("%s: %d %%", label.c_str(), percent);
    if (left) text += ", " + duration_text(*left) + " left";
    return text;
}

} // namespace vor::tool
