/* The codec "fw32". */
#ifndef VOR_FW32_FW32_CODEC_H
#define VOR_FW32_FW32_CODEC_H

#include "codecs/codecs.h"

namespace vor::fw32 {

extern const rle_row codec;

} // namespace vor::fw32

#endif
