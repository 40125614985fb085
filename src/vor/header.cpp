// The header of a native file. It stands in the file's byte order:
//
//   0 to 159    forty 32-bit words, floats included
//   160 to 175  two 64-bit floats
//   176 to 255  bytes
//
// The word at 16, `type`, tells the order: its three upper bytes are 0 in a file's own order.

#include <cstddef>
#include <limits>

#include "util/checksum.h"
#include "util/services.h"
#include "vor/driver.h"

static_assert(offsetof(vorhdr, tracks) == 0 && offsetof(vorhdr, xpitch) == 4);
static_assert(offsetof(vorhdr, xlength) == 8 && offsetof(vorhdr, ylength) == 12);
static_assert(offsetof(vorhdr, type) == 16 && offsetof(vorhdr, pixels) == 20);
static_assert(offsetof(vorhdr, param_a) == 24 && offsetof(vorhdr, hflags) == 28);
static_assert(offsetof(vorhdr, param_b) == 32 && offsetof(vorhdr, param_c) == 36);
static_assert(offsetof(vorhdr, param_d) == 40 && offsetof(vorhdr, param_e) == 44);
static_assert(offsetof(vorhdr, param_f) == 48 && offsetof(vorhdr, yresf) == 52);
static_assert(offsetof(vorhdr, byteorder) == 56 && offsetof(vorhdr, stopoff_lo) == 60);
static_assert(offsetof(vorhdr, stopcount) == 64 && offsetof(vorhdr, hmaxruns) == 68);
static_assert(offsetof(vorhdr, seekoff_lo) == 72 && offsetof(vorhdr, reserved1) == 76);
static_assert(offsetof(vorhdr, ctaboff_lo) == 92 && offsetof(vorhdr, cinfooff_lo) == 96);
static_assert(offsetof(vorhdr, ctabcount) == 100 && offsetof(vorhdr, version) == 104);
static_assert(offsetof(vorhdr, tagoff_lo) == 108 && offsetof(vorhdr, tagcount) == 112);
static_assert(offsetof(vorhdr, reserved2) == 116 && offsetof(vorhdr, stopoff_hi) == 124);
static_assert(offsetof(vorhdr, seekoff_hi) == 128 && offsetof(vorhdr, ctaboff_hi) == 132);
static_assert(offsetof(vorhdr, cinfooff_hi) == 136 && offsetof(vorhdr, tagoff_hi) == 140);
static_assert(offsetof(vorhdr, hcrc) == 144 && offsetof(vorhdr, reserved3) == 148);
static_assert(offsetof(vorhdr, xpitch64) == 160 && offsetof(vorhdr, ypitch64) == 168);
static_assert(offsetof(vorhdr, reserved4) == 176 && offsetof(vorhdr, letters) == 252);

namespace vor {
namespace {

constexpr size_t words_end = offsetof(vorhdr, xpitch64);
constexpr size_t floats_end = offsetof(vorhdr, reserved4);
constexpr size_t crc_begin = offsetof(vorhdr, hcrc);
constexpr size_t crc_end = offsetof(vorhdr, reserved3);

} // namespace

uint32_t vor_hdrcrc(const uint8_t *bytes) {
    uint32_t crc = kel_crc32_init();
    crc = kel_crc32_update(crc, bytes, crc_begin);
    crc = kel_crc32_update(crc, bytes + crc_end, VOR_HDRSIZE - crc_end);
    return kel_crc32_final(crc);
}

bool type_is_swapped(const vorhdr &hdr) {
    return (hdr.type & 0x00FFFFFF) == 0 && (hdr.type & 0xFF000000) != 0;
}

void swap_header(vorhdr *hdr) {
    swaplong(hdr, words_end);
    swapquad(&hdr->xpitch64, floats_end - words_end);
}

int64_t join_offset(const vorhdr &hdr, uint32_t lo, uint32_t hi) {
    const uint64_t high = hdr.hflags & HF_OFF64 ? hi : 0;
    return static_cast<int64_t>(high << 32 | lo);
}

float to_float(double value) {
    constexpr double largest = std::numeric_limits<float>::max();
    constexpr float infinite = std::numeric_limits<float>::infinity();
    if (value > largest) return infinite;
    if (value < -largest) return -infinite;
    return static_cast<float>(value);
}

} // namespace vor
