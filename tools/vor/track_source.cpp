#include "track_source.h"

#include <algorithm>

#include "carry_over.h"
#include "platform/kel.h"

namespace vor::tool {
namespace {

// The most runs that a byte of a file can stand for: Deflate makes 1032 bytes of one, and a byte of
// pixels has 8 runs at most. It keeps a header that lies from costing memory.
constexpr int64_t runs_per_byte = int64_t{1032} * 8;

int32_t whole(const std::optional<double> &value) {
    return static_cast<int32_t>(value.value_or(0));
}

} // namespace

int32_t TrackBuffer::fit(const xvor_t *h) {
    int64_t runs = std::max<int64_t>(h->ysize, 1);
    kel_stat_t status;
    if (kel_fstat(h->fd, &status) == 0) {
        runs = std::min(runs, std::max<int64_t>(status.size, 1) * runs_per_byte);
    }
    return gtgrow(&track_, static_cast<uint32_t>(runs), 0, 0) < 0 ? -1 : 0;
}

Handle open_source(const std::string &name, uint32_t mode) {
    const AboutFile about(name);
    Handle h(lfopen(name.c_str(), LF_READ | mode, 0, nullptr));
    if (!h) about.give_up("cannot be read");
    return h;
}

void clip_source(xvor_t *h, const std::optional<Window> &window, const AboutFile &about) {
    if (!window) return;
    int32_t result = 0;
    if (window->millimetres) {
        result =
            lfclipmm(h, window->xa, window->ya, window->xe.value_or(-1), window->ye.value_or(-1));
    } else {
        int32_t pixels[4] = {whole(window->xa), whole(window->ya), whole(window->xe),
                             whole(window->ye)};
        result = lfclip(h, pixels);
    }
    if (result < 0) about.give_up("the window does not fit");
}

void check_source(xvor_t *h, const AboutFile &about, Shown shown) {
    if (lfcheck(h) < 0) about.give_up("cannot be read");
    if (h->xsize < 1 || h->ysize < 1) throw Failure(h->name, "the image has no pixels");
    if (shown == Shown::codes) set_identity(h);
}

int64_t size_of_file(const std::string &name) {
    kel_stat_t status;
    return kel_stat(name.c_str(), &status) == 0 ? status.size : -1;
}

} // namespace vor::tool
