// The functions behind the built-in rows of the codec table. Their duties are told at the function
// types in trackfile/lf.h; each reports failures under its own name.
#ifndef VOR_CODECS_CODEC_FUNCTIONS_H
#define VOR_CODECS_CODEC_FUNCTIONS_H

#include <cstdint>

#include "trackfile/lf.h"

namespace vor {

// fixed_skip.cpp. The goto forms step from the start of a track to the code that holds pixel ya,
// and give the pixels of that code from ya on, or -1.
int32_t goto8bol(xvor_t *h);
int32_t goto16bol(xvor_t *h);
int32_t goto88bol(xvor_t *h);
int32_t skip8b(xvor_t *h, int32_t y);
int32_t skip16b(xvor_t *h, int32_t y);
int32_t skip88b(xvor_t *h, int32_t y);

// fixed_read.cpp
int32_t read_fw8(xvor_t *h, trackbuf *t);
int32_t read_fw8_ns(xvor_t *h, trackbuf *t);
int32_t rev_read_fw8(xvor_t *h, trackbuf *t);
int32_t rev_read_fw8_ns(xvor_t *h, trackbuf *t);
int32_t read_fw16(xvor_t *h, trackbuf *t);
int32_t read_fw16_ns(xvor_t *h, trackbuf *t);
int32_t rev_read_fw16(xvor_t *h, trackbuf *t);
int32_t rev_read_fw16_ns(xvor_t *h, trackbuf *t);
int32_t read_fw88(xvor_t *h, trackbuf *t);
int32_t read_fw88_ns(xvor_t *h, trackbuf *t);
int32_t rev_read_fw88(xvor_t *h, trackbuf *t);
int32_t rev_read_fw88_ns(xvor_t *h, trackbuf *t);

// fixed_write.cpp
int32_t write_fw8(xvor_t *h, trackbuf *t);
int32_t write_fw16(xvor_t *h, trackbuf *t);
int32_t write_fw88(xvor_t *h, trackbuf *t);

// bitmap_skip.cpp. skipbmx moves the read position by `distance` bytes, which may be negative: 0 or
// -1. The skips of the rows give its result and count nothing.
int32_t skipbmx(xvor_t *h, int64_t distance);
int32_t skipbm1(xvor_t *h, int32_t y);
int32_t skipbm8(xvor_t *h, int32_t y);

// bitmap_read.cpp
int32_t read_bilevel(xvor_t *h, trackbuf *t);
int32_t read_bilevel_ns(xvor_t *h, trackbuf *t);
int32_t rev_read_bilevel(xvor_t *h, trackbuf *t);
int32_t rev_read_bilevel_ns(xvor_t *h, trackbuf *t);
int32_t read_bm8(xvor_t *h, trackbuf *t);
int32_t read_bm8_ns(xvor_t *h, trackbuf *t);
int32_t rev_read_bm8(xvor_t *h, trackbuf *t);
int32_t rev_read_bm8_ns(xvor_t *h, trackbuf *t);

// bitmap_write.cpp
int32_t write_bilevel(xvor_t *h, trackbuf *t);
int32_t write_bm8(xvor_t *h, trackbuf *t);

} // namespace vor

#endif
