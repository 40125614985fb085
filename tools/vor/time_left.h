// How long work will take that has come some way: its speed so far, of which the last seconds count
// most.
#ifndef VOR_TOOL_TIME_LEFT_H
#define VOR_TOOL_TIME_LEFT_H

#include <cstdint>
#include <optional>
#include <string>

namespace vor::tool {

class TimeLeft {
public:
    explicit TimeLeft(int64_t total) : total_(total) {}

    // The seconds still to go when `done` of the total are done `seconds` after the start. Nothing
    // in the first second, and before anything is done. Neither number may shrink.
    std::optional<double> at(int64_t done, double seconds);

private:
    void measure(int64_t done, double seconds);

    int64_t total_;
    int64_t measured_ = 0; // what was done at the last measurement of the speed
    double measured_at_ = 0;
    double speed_ = 0; // per second
};

// "12 s", "1 min 20 s", "2 h 5 min".
std::string duration_text(double seconds);

// "label.vor: 42 %, 1 min 20 s left".
std::string progress_text(const std::string &label, int32_t percent, std::optional<double> left);

} // namespace vor::tool

#endif
