// The runs are in a buffer that the thread keeps from track to track. It is lent out for the time
// of a call, so that a hook of the handle that reads another one from within finds none and makes
// its own.

#include "vortobm/pixel_rows.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

namespace vor::bitmap {
namespace {

struct FreeDeleter {
    void operator()(void *block) const { std::free(block); }
};

struct Storage {
    std::unique_ptr<lfrun[], FreeDeleter> runs;
    size_t room = 0; // runs, the guard units not counted
};
thread_local Storage spare;

class RunBuffer {
public:
    // One run at least: a pixel or none.
    explicit RunBuffer(size_t runs) : storage_(std::exchange(spare, {})) {
        if (!make_room(std::max(runs, size_t{1}))) return;
        track_.imgtrk = -1;
        track_.size = static_cast<uint32_t>(storage_.room);
        track_.base = storage_.runs.get();
        track_.data = track_.base + 1;
    }
    ~RunBuffer() {
        if (storage_.room > spare.room) spare = std::move(storage_);
    }
    RunBuffer(const RunBuffer &) = delete;
    RunBuffer &operator=(const RunBuffer &) = delete;

    bool is_there() const { return track_.base != nullptr; }
    trackbuf *track() { return &track_; }

private:
    bool make_room(size_t runs) {
        if (runs <= storage_.room) return true;
        if (runs > SIZE_MAX / sizeof(lfrun) - 2) return false;
        storage_ = {};
        storage_.runs.reset(static_cast<lfrun *>(std::malloc((runs + 2) * sizeof(lfrun))));
        if (!storage_.runs) return false;
        storage_.room = runs;
        return true;
    }

    Storage storage_;
    trackbuf track_ = {};
};

uint8_t *pixels_of(const trackbuf *t) {
    return reinterpret_cast<uint8_t *>(t->data);
}

// Bytes from `data` on.
int64_t room_for_pixels(const trackbuf *t) {
    constexpr int64_t unit = sizeof(lfrun);
    if ((t->mode & GT_FOREIGN) != 0) return t->data ? t->size * unit : 0;
    return t->base && t->data ? (t->base + t->size + 1 - t->data) * unit : 0;
}

int32_t report_no_room(xvor_t *h, const char *where) {
    return lferror(h, where, LFE_ARGUMENT, 0, "track buffer too small");
}

// Fills a row of `size` bytes. The pixels that there were runs for.
int32_t lay_out(const trackbuf &runs, uint8_t *row, int32_t size) {
    size_t left = static_cast<size_t>(size);
    for (int32_t i = 0; i < runs.nruns && left > 0; ++i) {
        const size_t length = std::min<size_t>(runs.data[i].length, left);
        std::memset(row, static_cast<int>(runs.data[i].colour & 0xFF), length);
        row += length;
        left -= length;
    }
    std::memset(row, 0, left);
    return size - static_cast<int32_t>(left);
}

void gather(const uint8_t *row, int32_t size, trackbuf *runs) {
    const uint8_t *const end = row + size;
    runs->nruns = 0;
    while (row != end) {
        const uint8_t colour = *row;
        const uint8_t *const next =
            std::find_if(row, end, [&](uint8_t pixel) { return pixel != colour; });
        runs->data[runs->nruns++] = {static_cast<uint32_t>(next - row), colour};
        row = next;
    }
}

} // namespace

int32_t read_pixels(xvor_t *h, trackbuf *t, lf_readtrack_fn read_runs) {
    constexpr const char *where = "vortobm_read";
    const int32_t size = std::max(h->ysize, 0);
    if ((t->mode & GT_FOREIGN) == 0 && t->base) t->data = t->base + 1;
    if (room_for_pixels(t) < size) return report_no_room(h, where);
    RunBuffer runs(static_cast<size_t>(size));
    if (!runs.is_there()) return lferror(h, where, LFE_MEMORY, 0, nullptr);
    const int32_t result = read_runs(h, runs.track());
    if (result < 0) return result;
    t->nruns = lay_out(*runs.track(), pixels_of(t), size);
    return t->nruns;
}

int32_t write_pixels(xvor_t *h, trackbuf *t, lf_writetrack_fn write_runs) {
    constexpr const char *where = "vortobm_write";
    if (t->nruns < 0 || room_for_pixels(t) < t->nruns) return report_no_room(h, where);
    RunBuffer runs(static_cast<size_t>(t->nruns));
    if (!runs.is_there()) return lferror(h, where, LFE_MEMORY, 0, nullptr);
    gather(pixels_of(t), t->nruns, runs.track());
    return write_runs(h, runs.track());
}

} // namespace vor::bitmap
