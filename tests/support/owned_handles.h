// Handles and track buffers that go when a test leaves their scope.
#ifndef VOR_TESTS_OWNED_HANDLES_H
#define VOR_TESTS_OWNED_HANDLES_H

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

#include "trackfile/lf.h"

namespace vor::test {

struct CloseHandle {
    void operator()(xvor_t *h) const { lfclose(h); }
};
using Handle = std::unique_ptr<xvor_t, CloseHandle>;

// The result of a close that a test looks at.
inline int32_t close_now(Handle *h) {
    return lfclose(h->release());
}

// A run as a test writes it down: length, colour.
using Runs = std::vector<std::pair<uint32_t, uint32_t>>;

// A track buffer with storage.
class Track {
public:
    explicit Track(uint32_t size = 256, int32_t mode = 0) {
        if (gtgrow(&buffer_, size, 1, mode) != 0) throw std::runtime_error("no track buffer");
    }
    ~Track() { gtfree(&buffer_); }
    Track(const Track &) = delete;
    Track &operator=(const Track &) = delete;

    trackbuf *get() { return &buffer_; }
    trackbuf *operator->() { return &buffer_; }

    Runs runs() const {
        Runs result;
        for (int32_t i = 0; i < buffer_.nruns; ++i)
            result.emplace_back(buffer_.data[i].length, buffer_.data[i].colour);
        return result;
    }

    void put(const Runs &runs) {
        if (runs.size() > buffer_.size) throw std::runtime_error("track buffer too small");
        buffer_.data = buffer_.base + 1;
        buffer_.nruns = static_cast<int32_t>(runs.size());
        for (size_t i = 0; i < runs.size(); ++i)
            buffer_.data[i] = {runs[i].first, runs[i].second};
    }

private:
    trackbuf buffer_;
};

} // namespace vor::test

#endif
