// A native file as its header describes it, taken at its word: offsets may lie outside of the file
// and counts be out of all reason. docs/vor-format.md tells the file byte by byte.
//
// Nothing here prints. Read errors throw a Failure; what the file lacks is told by the results.
#ifndef VOR_TOOL_NATIVE_LAYOUT_H
#define VOR_TOOL_NATIVE_LAYOUT_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "file_bytes.h"
#include "vor/vor.h"

namespace vor::tool {

enum class ByteOrder { little, big };

// A number of 1, 2, 4 or 8 bytes as it stands in a file.
template <class Number>
Number number_at(const uint8_t *bytes, ByteOrder order) {
    uint64_t value = 0;
    for (size_t i = 0; i < sizeof(Number); ++i) {
        const size_t place = order == ByteOrder::little ? i : sizeof(Number) - 1 - i;
        value |= uint64_t{bytes[i]} << (8 * place);
    }
    return static_cast<Number>(value);
}

template <class Number>
void put_number(uint8_t *bytes, Number value, ByteOrder order) {
    for (size_t i = 0; i < sizeof(Number); ++i) {
        const size_t place = order == ByteOrder::little ? i : sizeof(Number) - 1 - i;
        bytes[i] = static_cast<uint8_t>(value >> (8 * place));
    }
}

// ---- header fields

enum class FieldKind { u32, i32, f32, f64, bytes };

struct HeaderField {
    const char *name; // that of the record; "reserved1" to "reserved4" for the reserved bytes
    int32_t offset;
    FieldKind kind;
    int32_t bytes;
    uint32_t flag;       // the HF_ flag under which it counts, 0 for none
    const char *meaning; // short, with the unit
};

// All 256 bytes, in order and without gaps.
std::span<const HeaderField> header_fields();

struct HeaderFlag {
    uint32_t bit;
    const char *name; // "HF_CRC"
    const char *meaning;
};

// The bits of hflags that mean something, the lowest first.
std::span<const HeaderFlag> header_flags();
inline constexpr uint32_t known_flags = 0x7FFFF & ~UINT32_C(0x1080);

// ---- layout

enum class SectionKind { stops, seek_table, colour_tables, colour_info, tags };

// Where in the header the two halves of a section's offset stand, in the order of SectionKind.
struct OffsetWords {
    size_t low;
    size_t high;
};
inline constexpr OffsetWords offset_words[] = {
    {offsetof(vorhdr, stopoff_lo), offsetof(vorhdr, stopoff_hi)},
    {offsetof(vorhdr, seekoff_lo), offsetof(vorhdr, seekoff_hi)},
    {offsetof(vorhdr, ctaboff_lo), offsetof(vorhdr, ctaboff_hi)},
    {offsetof(vorhdr, cinfooff_lo), offsetof(vorhdr, cinfooff_hi)},
    {offsetof(vorhdr, tagoff_lo), offsetof(vorhdr, tagoff_hi)},
};

struct NativeSection {
    SectionKind kind = SectionKind::stops;
    const char *name = "";    // "stop table"
    int64_t offset = 0;       // as claimed; negative for one of 2^63 or more
    int64_t bytes = 0;        // as claimed; of tags, those of the records that are well-formed
    int64_t entries = 0;      // as claimed: stops, tracks, tables, bytes of the info, tags
    int32_t offset_field = 0; // where in the header the low word of the offset stands

    int64_t end() const; // the largest number if 64 bits cannot say it
};

struct ByteRange {
    int64_t begin = 0;
    int64_t end = 0;
};

struct NativeLayout {
    ByteOrder order = ByteOrder::little;
    std::array<uint8_t, VOR_HDRSIZE>
        bytes{};                         // of the header as they stand; 0 behind the file's end
    vorhdr header{};                     // in the machine's order
    uint32_t flags = 0;                  // those of hflags that count in this version
    std::vector<NativeSection> sections; // those that there are, in the order of their offsets
    int64_t file_bytes = 0;
    int64_t tracks_begin = VOR_HDRSIZE;
    int64_t tracks_end = VOR_HDRSIZE; // the first section behind the header, or the file's end

    uint32_t coding() const { return header.type & VT_FORMAT; }
    bool deflated() const { return (header.type & VT_COMPRESSION) != 0; }
    bool two_colours() const { return coding() != VT_FW88; }
    bool has(uint32_t flag) const { return (flags & flag) != 0; }
    // Null if there is none.
    const NativeSection *find(SectionKind kind) const;
    bool lies_in_file(const NativeSection &section) const; // from 256 on, to the file's end at most
};

// `type` is one of the six values that there are.
bool is_lawful_type(uint32_t type);

// The byte order in which the word at 16 is a type as the library takes it (bits 4 to 7 of any
// value); nothing if the file is not a native one. `head` has 20 bytes or more, else nothing.
std::optional<ByteOrder> native_byte_order(std::span<const uint8_t> head);

// The layout of a file that is a native one by its type, cut short or not; otherwise nothing. (The
// library refuses one of less than 256 bytes, and one whose byteorder does not fit.)
std::optional<NativeLayout> read_layout(FileBytes &file);

// The layout by these bytes of a header in this order, whatever their type: for a header that was
// put right by hand.
NativeLayout layout_of(FileBytes &file, std::span<const uint8_t, VOR_HDRSIZE> header,
                       ByteOrder order);

// The header's fields in the machine's order.
vorhdr decode_header(std::span<const uint8_t, VOR_HDRSIZE> bytes, ByteOrder order);

// The checksum that the header's bytes have, and whether the one they hold is to be compared.
uint32_t header_checksum(std::span<const uint8_t, VOR_HDRSIZE> bytes);
bool checksum_counts(const vorhdr &header);

// ---- where things lie

// Two sections of more than 0 bytes have bytes in common.
bool sections_overlap(const NativeSection &one, const NativeSection &other);

// The stretches behind the tracks that belong to no section, up to the file's end.
std::vector<ByteRange> unused_ranges(const NativeLayout &layout);

// Where the data of a track that begins at `offset` ends at the latest: at the next section, or at
// the file's end.
int64_t track_limit(const NativeLayout &layout, int64_t offset);

// ---- entries of sections

inline int32_t seek_entry_bytes(const NativeLayout &layout) {
    return layout.has(HF_SEEK64) ? 8 : 4;
}

// The seek table's entry of a track, extended to 64 bits; nothing if there is no table or the file
// has no such bytes.
std::optional<int64_t> seek_entry(FileBytes &file, const NativeLayout &layout, int64_t track);

inline bool is_blank_mark(int64_t entry) {
    return entry >= -LF_NCOLORS && entry < 0;
}
inline bool is_track_place(int64_t entry) {
    return entry >= VOR_HDRSIZE;
}
// Of a blank mark: the code 0 to 255.
inline int32_t blank_colour(int64_t entry) {
    return static_cast<int32_t>(~entry);
}

// A word of the stop table, by its place in it.
std::optional<uint32_t> stop_entry(FileBytes &file, const NativeLayout &layout, int64_t index);

// "first", "last", "single"; "none" for both bits.
const char *stop_kind_name(uint32_t entry);

// The form of the colour tables: 2 bytes a word, or 4 in the old form, of which the first two
// count.
inline int32_t colour_word_bytes(const NativeLayout &layout) {
    return layout.header.ctabcount == 0 ? 4 : 2;
}
// A word of a colour table, and the info's byte of a colour code.
std::optional<uint16_t> colour_table_word(FileBytes &file, const NativeLayout &layout,
                                          int64_t table, int32_t code);
std::optional<uint8_t> colour_info_byte(FileBytes &file, const NativeLayout &layout, int32_t code);

// ---- tags

struct TagRecord {
    int64_t index = 0;
    int64_t offset = 0; // of the record
    uint32_t tagsize = 0;
    std::string name;           // up to the zero byte, or all 32 bytes
    int64_t payload_offset = 0; // behind the head
    int64_t payload_bytes = 0;
    int64_t end() const { return payload_offset + payload_bytes; }
};

// What keeps a list from being walked on.
enum class TagFault {
    none,
    outside,     // the list begins outside of the file
    head_cut,    // the file ends inside the head of a record
    size_odd,    // tagsize is no multiple of 4
    size_small,  // tagsize does not even cover the name, or is 0x80000000 or more
    payload_cut, // the payload goes beyond the file's end
    name_open,   // the name fills its 32 bytes; told, and the walk goes on
    name_empty   // likewise
};

struct TagWalk {
    int64_t records = 0; // well-formed, apart from their names
    int64_t end = 0;     // behind the last of them
    TagFault fault = TagFault::none;
    int64_t fault_offset = 0;
    uint32_t tagsize = 0; // of the record at fault
};

// Whether a fault leaves nothing to be walked on from.
inline bool ends_list(TagFault fault) {
    return fault != TagFault::none && fault != TagFault::name_open && fault != TagFault::name_empty;
}

// Words for a fault: "the payload goes beyond the end of the file".
const char *tag_fault_text(TagFault fault);

// Walks over the records of the tag list, as many as the header claims, until one is malformed;
// `visit` (which may be empty) sees the well-formed ones and ends the walk by false. Without a list
// there is nothing to see. The fault that ended the walk is told, or else the first of a name.
TagWalk walk_tags(FileBytes &file, const NativeLayout &layout,
                  const std::function<bool(const TagRecord &)> &visit);

} // namespace vor::tool

#endif
