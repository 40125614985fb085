// The table of the header's fields and flags.

#include "native_layout.h"

namespace vor::tool {
namespace {

using enum FieldKind;

constexpr HeaderField fields[] = {
    {"tracks", offsetof(vorhdr, tracks), u32, 4, 0, "tracks of the image"},
    {"xpitch", offsetof(vorhdr, xpitch), f32, 4, 0, "mm from track to track"},
    {"xlength", offsetof(vorhdr, xlength), f32, 4, 0, "mm across all tracks"},
    {"ylength", offsetof(vorhdr, ylength), f32, 4, 0, "mm along a track"},
    {"type", offsetof(vorhdr, type), u32, 4, 0, "how tracks are coded"},
    {"pixels", offsetof(vorhdr, pixels), u32, 4, 0, "pixels of a track"},
    {"param_a", offsetof(vorhdr, param_a), f32, 4, HF_PARAM_A, "the program's own"},
    {"hflags", offsetof(vorhdr, hflags), u32, 4, 0, "flags"},
    {"param_b", offsetof(vorhdr, param_b), f32, 4, HF_PARAM_B, "the program's own"},
    {"param_c", offsetof(vorhdr, param_c), f32, 4, HF_PARAM_C, "the program's own"},
    {"param_d", offsetof(vorhdr, param_d), u32, 4, HF_PARAM_D, "the program's own"},
    {"param_e", offsetof(vorhdr, param_e), i32, 4, HF_PARAM_E, "the program's own"},
    {"param_f", offsetof(vorhdr, param_f), f32, 4, HF_PARAM_F, "the program's own"},
    {"yresf", offsetof(vorhdr, yresf), f32, 4, 0, "pixels per mm along a track"},
    {"byteorder", offsetof(vorhdr, byteorder), u32, 4, HF_BYTEORDER, "0x12345678 in this order"},
    {"stopoff_lo", offsetof(vorhdr, stopoff_lo), u32, 4, HF_STOPS, "offset of the stop table"},
    {"stopcount", offsetof(vorhdr, stopcount), u32, 4, HF_STOPS, "entries of the stop table"},
    {"hmaxruns", offsetof(vorhdr, hmaxruns), u32, 4, HF_MAXRUNS, "codes of the longest track"},
    {"seekoff_lo", offsetof(vorhdr, seekoff_lo), u32, 4, HF_SEEKTAB, "offset of the seek table"},
    {"reserved1", offsetof(vorhdr, reserved1), bytes, 16, 0, "reserved"},
    {"ctaboff_lo", offsetof(vorhdr, ctaboff_lo), u32, 4, HF_CTABS, "offset of the colour tables"},
    {"cinfooff_lo", offsetof(vorhdr, cinfooff_lo), u32, 4, HF_CINFO, "offset of the colour info"},
    {"ctabcount", offsetof(vorhdr, ctabcount), u32, 4, HF_CTABS, "colour tables"},
    {"version", offsetof(vorhdr, version), i32, 4, 0, "of the format"},
    {"tagoff_lo", offsetof(vorhdr, tagoff_lo), u32, 4, 0, "offset of the tag list"},
    {"tagcount", offsetof(vorhdr, tagcount), i32, 4, 0, "records of the tag list"},
    {"reserved2", offsetof(vorhdr, reserved2), bytes, 8, 0, "reserved"},
    {"stopoff_hi", offsetof(vorhdr, stopoff_hi), u32, 4, HF_OFF64, "high word of stopoff"},
    {"seekoff_hi", offsetof(vorhdr, seekoff_hi), u32, 4, HF_OFF64, "high word of seekoff"},
    {"ctaboff_hi", offsetof(vorhdr, ctaboff_hi), u32, 4, HF_OFF64, "high word of ctaboff"},
    {"cinfooff_hi", offsetof(vorhdr, cinfooff_hi), u32, 4, HF_OFF64, "high word of cinfooff"},
    {"tagoff_hi", offsetof(vorhdr, tagoff_hi), u32, 4, HF_OFF64, "high word of tagoff"},
    {"hcrc", offsetof(vorhdr, hcrc), u32, 4, 0, "checksum of the header"},
    {"reserved3", offsetof(vorhdr, reserved3), bytes, 12, 0, "reserved"},
    {"xpitch64", offsetof(vorhdr, xpitch64), f64, 8, HF_RES64, "mm from track to track"},
    {"ypitch64", offsetof(vorhdr, ypitch64), f64, 8, HF_RES64, "mm from pixel to pixel"},
    {"reserved4", offsetof(vorhdr, reserved4), bytes, 76, 0, "reserved"},
    {"letters", offsetof(vorhdr, letters), bytes, 4, 0, "\"KEL\" and a zero byte"},
};

constexpr bool cover_the_header() {
    int32_t at = 0;
    for (const HeaderField &field : fields) {
        if (field.offset != at) return false;
        at += field.bytes;
    }
    return at == VOR_HDRSIZE;
}
static_assert(cover_the_header());

constexpr HeaderFlag flags[] = {
    {HF_PARAM_A, "HF_PARAM_A", "param_a holds a value"},
    {HF_PARAM_C, "HF_PARAM_C", "param_c holds a value"},
    {HF_PARAM_B, "HF_PARAM_B", "param_b holds a value"},
    {HF_PARAM_D, "HF_PARAM_D", "param_d holds a value"},
    {HF_PARAM_F, "HF_PARAM_F", "param_f holds a value"},
    {HF_PARAM_E, "HF_PARAM_E", "param_e holds a value"},
    {HF_CRC, "HF_CRC", "hcrc is compared"},
    {HF_BYTEORDER, "HF_BYTEORDER", "byteorder is compared"},
    {HF_STOPS, "HF_STOPS", "there is a stop table"},
    {HF_MAXRUNS, "HF_MAXRUNS", "hmaxruns holds a value"},
    {HF_SEEKTAB, "HF_SEEKTAB", "there is a seek table"},
    {HF_CTABS, "HF_CTABS", "there are colour tables"},
    {HF_CINFO, "HF_CINFO", "there is a colour info"},
    {HF_TILED, "HF_TILED", "cut into tiles, refused"},
    {HF_SEEK64, "HF_SEEK64", "seek entries have 64 bits"},
    {HF_OFF64, "HF_OFF64", "the high words of offsets count"},
    {HF_RES64, "HF_RES64", "the 64-bit pitches count"},
};

constexpr uint32_t all_bits() {
    uint32_t bits = 0;
    for (const HeaderFlag &flag : flags)
        bits |= flag.bit;
    return bits;
}
static_assert(all_bits() == known_flags);

} // namespace

std::span<const HeaderField> header_fields() {
    return fields;
}

std::span<const HeaderFlag> header_flags() {
    return flags;
}

} // namespace vor::tool
