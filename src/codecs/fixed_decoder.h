// The decoding of the codes in a track's window, one by one and in bulk.
#ifndef VOR_CODECS_FIXED_DECODER_H
#define VOR_CODECS_FIXED_DECODER_H

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "codecs/bulk.h"
#include "codecs/fixed_width.h"
#include "codecs/reading.h"
#include "codecs/run_gatherer.h"
#include "codecs/scaler.h"

namespace vor {

enum class Stop { at_end, zero_code, no_room };

// Positions are pixels of the file, counted from the window's begin; the first code may lie in
// front of it in part, so that they start at 0 or below.
template <class Code, class Scale, Order order>
struct Decoder {
    using Unit = Code;
    static constexpr bool one_to_one = Scale::one_to_one;
    static constexpr Order run_order = order;

    Decoder(const xvor_t *h, const trackbuf *t)
        : window(window_length(h)), scale(h->ysize, window), palette(h), runs(t) {}

    // Decodes the codes from `at` to `end`, or up to the one that reaches the window's end. Stops
    // in front of a code that has no room.
    template <Room room>
    Stop decode(const uint8_t *&at, const uint8_t *end) {
        while (at != end && passed < window) {
            const uint32_t length = Code::length(at);
            if (length == 0) return Stop::zero_code;
            const int64_t upto = std::min(passed + length, window);
            const uint32_t colour = Code::colour(at, palette);
            if (!runs.template add<room>(scale.at(upto), colour)) return Stop::no_room;
            passed += length;
            at += Code::bytes;
        }
        return Stop::at_end;
    }

    int64_t window;
    int64_t passed = 0;
    Scale scale;
    typename Code::Palette palette;
    RunGatherer<order> runs;
};

} // namespace vor

#endif
