// One progress line on the standard error stream, written over itself with a carriage return.
#include <charconv>
#include <cstdio>

#include "platform/kel.h"
#include "util/services.h"

namespace {

int64_t total = 0; // 0: no line is being shown
int64_t started = 0;

int64_t seconds_now() {
    kel_timeval now;
    kel_timeofday(&now);
    return now.sec;
}

int64_t start(int64_t value) {
    total = value < -INT64_MAX ? INT64_MAX : -value;
    started = seconds_now();
    std::fprintf(stderr, "\r  0.00%% ");
    return started;
}

int64_t finish() {
    const int64_t passed = seconds_now() - started;
    std::fprintf(stderr, "\r100.00%% -- %d min %02d sec\n", static_cast<int>(passed / 60),
                 static_cast<int>(passed % 60));
    std::fflush(stderr);
    total = 0;
    return passed;
}

// The decimal point is a point in every locale.
void show(double percentage) {
    char text[16];
    const auto end =
        std::to_chars(text, text + sizeof text, percentage, std::chars_format::fixed, 2);
    std::fprintf(stderr, "\r%6.*s%%", static_cast<int>(end.ptr - text), text);
    std::fflush(stderr);
}

} // namespace

extern "C" int64_t tty_simple_progress(int64_t value) {
    if (value < 0) return start(value);
    if (total == 0) return -1;
    if (value >= total) return finish();
    show(static_cast<double>(value) * 100 / static_cast<double>(total));
    return 0;
}
