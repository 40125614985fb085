// An image that is read, and the buffer for its tracks.
#ifndef VOR_TOOL_TRACK_SOURCE_H
#define VOR_TOOL_TRACK_SOURCE_H

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "lengths.h"
#include "report.h"
#include "trackfile/lf.h"

namespace vor::tool {

// A handle that is left behind is closed without a word: why has been told.
struct CloseHandle {
    void operator()(xvor_t *h) const {
        const KeepReports silence;
        lfclose(h);
    }
};
using Handle = std::unique_ptr<xvor_t, CloseHandle>;

inline bool has(const xvor_t *h, uint32_t flag) {
    return (h->flags & flag) != 0;
}

class TrackBuffer {
public:
    TrackBuffer() { gtgrow(&track_, 0, 1, 0); }
    ~TrackBuffer() { gtfree(&track_); }
    TrackBuffer(const TrackBuffer &) = delete;
    TrackBuffer &operator=(const TrackBuffer &) = delete;

    // Room for any track of a handle that has passed lfcheck. -1 after a report.
    int32_t fit(const xvor_t *h);

    trackbuf *get() { return &track_; }
    std::span<const lfrun> runs() const { return {track_.data, static_cast<size_t>(track_.nruns)}; }

private:
    trackbuf track_;
};

// Opens a file for reading, with further LF_ bits. Throws Told after a report.
Handle open_source(const std::string &name, uint32_t mode);

// Restricts a handle to a window. Throws Told.
void clip_source(xvor_t *h, const std::optional<Window> &window, const AboutFile &about);

// What stands in the tracks that are read: the codes of the file, or the colours of the file's
// table in force.
enum class Shown { codes, colours };

// Ends the set-up: tracks may be read. Throws Told, or a Failure for an image without pixels.
void check_source(xvor_t *h, const AboutFile &about, Shown shown = Shown::codes);

// The bytes of a file; -1 if it cannot be told.
int64_t size_of_file(const std::string &name);

} // namespace vor::tool

#endif
