// The vector forms of the codecs: which of them there are for the processor at hand.
#ifndef VOR_CODECS_BULK_H
#define VOR_CODECS_BULK_H

#include <cstddef>
#include <cstdint>

#include "trackfile/lf.h"

namespace vor {

// Decodes many codes at a time, from `at` towards `end`, with the outcome that Decoder::decode has.
// It takes whole groups of codes only, and leaves off in front of the first group that holds a zero
// code, goes beyond the window or might not find room. The code that stands in front of `at` has
// been decoded; where no run is at hand yet none is taken.
template <class D>
using BulkDecode = void (*)(D *decoder, const uint8_t *&at, const uint8_t *end);

// Codes many runs at a time and gives their number, up to `count`. It takes whole groups of runs in
// which each run becomes one code and has another colour in the file than the one before it; before
// the first stands `colour`. The codes go to `to`, where there is room for `count` of them.
using BulkEncode = size_t (*)(xvor_t *h, const lfrun *runs, size_t count, uint32_t colour,
                              uint8_t *to);

// NULL where there is none.
template <class D>
BulkDecode<D> bulk_decode();
template <class Code>
BulkEncode bulk_encode();

// Tests switch the vector forms off to compare.
extern bool bulk_allowed;

} // namespace vor

#endif
