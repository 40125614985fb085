#include "progress.h"

#include <algorithm>
#include <cstdio>

#include <unistd.h>

namespace vor::tool {

Progress::Progress(std::string label, int64_t total, bool quiet)
    : label_(std::move(label)), total_(std::max<int64_t>(total, 1)),
      shown_(!quiet && isatty(STDERR_FILENO) == 1), time_left_(total_) {}

// The line is wiped, so that what is printed next begins on a clean one.
Progress::~Progress() {
    if (shown_ && next_ > 0) std::fprintf(stderr, "\r\033[K");
}

void Progress::update(int64_t done) {
    const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - start_;
    if (done >= next_ || passed.count() >= next_second_) show(done, passed.count());
}

void Progress::show(int64_t done, double seconds) {
    const int64_t percent = std::clamp<int64_t>(
        static_cast<int64_t>(100.0 * static_cast<double>(done) / static_cast<double>(total_)), 0,
        100);
    next_ = static_cast<int64_t>(static_cast<double>(percent + 1) * static_cast<double>(total_) /
                                 100.0);
    next_ = std::max(next_, done + 1);
    next_second_ = seconds + 1;
    const std::string text =
        progress_text(label_, static_cast<int32_t>(percent), time_left_.at(done, seconds));
    std::fprintf(stderr, "\r\033[Kvor: %s", text.c_str());
    std::fflush(stderr);
}

bool results_on_terminal() {
    return isatty(STDOUT_FILENO) == 1;
}

} // namespace vor::tool
