// The bitmap readers by name.
#ifndef VOR_TESTS_BITMAP_READERS_H
#define VOR_TESTS_BITMAP_READERS_H

#include "codecs/codec_functions.h"
#include "codecs/plain_row_reader.h"

namespace vor::test {

struct BitmapReader {
    RowReaderKind kind;
    lf_readtrack_fn read;
};

inline constexpr BitmapReader bitmap_readers[] = {
    {{"read_bm8", false, true, false}, read_bm8},
    {{"read_bm8_ns", false, false, false}, read_bm8_ns},
    {{"rev_read_bm8", false, true, true}, rev_read_bm8},
    {{"rev_read_bm8_ns", false, false, true}, rev_read_bm8_ns},
    {{"read_bilevel", true, true, false}, read_bilevel},
    {{"read_bilevel_ns", true, false, false}, read_bilevel_ns},
    {{"rev_read_bilevel", true, true, true}, rev_read_bilevel},
    {{"rev_read_bilevel_ns", true, false, true}, rev_read_bilevel_ns},
};

} // namespace vor::test

#endif
