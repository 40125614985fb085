// Progress of long work: a line of the standard error stream that is written over, if that is a
// terminal.
#ifndef VOR_TOOL_PROGRESS_H
#define VOR_TOOL_PROGRESS_H

#include <cstdint>
#include <string>

namespace vor::tool {

class Progress {
public:
    Progress(std::string label, int64_t total, bool quiet);
    ~Progress();
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;

    void reach(int64_t done) {
        if (shown_ && done >= next_) show(done);
    }

private:
    void show(int64_t done);

    std::string label_;
    int64_t total_;
    bool shown_;
    int64_t next_ = 0; // where the percentage changes
};

} // namespace vor::tool

#endif
