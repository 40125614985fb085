// Progress of long work: a line of the standard error stream that is written over, if that is a
// terminal.
#ifndef VOR_TOOL_PROGRESS_H
#define VOR_TOOL_PROGRESS_H

#include <chrono>
#include <cstdint>
#include <string>

#include "time_left.h"

namespace vor::tool {

class Progress {
public:
    Progress(std::string label, int64_t total, bool quiet);
    ~Progress();
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;

    void reach(int64_t done) {
        if (shown_) update(done);
    }

private:
    void update(int64_t done);
    void show(int64_t done, double seconds);

    std::string label_;
    int64_t total_;
    bool shown_;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    TimeLeft time_left_;
    int64_t next_ = 0;       // where the percentage changes
    double next_second_ = 0; // when the line is renewed all the same
};

// Does the standard output go to a terminal, where lines of results and of progress would mix?
bool results_on_terminal();

} // namespace vor::tool

#endif
