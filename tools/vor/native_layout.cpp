#include "native_layout.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include <zlib.h>

namespace vor::tool {
namespace {

constexpr size_t crc_begin = offsetof(vorhdr, hcrc);
constexpr size_t crc_end = offsetof(vorhdr, reserved3);
constexpr int64_t table_words = LF_NCOLORS;
constexpr int64_t old_tables = 16;
constexpr int64_t info_bytes = LF_NCOLORS;

template <class Number>
std::optional<Number> read_number(FileBytes &file, int64_t offset, ByteOrder order) {
    const auto bytes = file.at(offset, sizeof(Number));
    if (bytes.size() < sizeof(Number)) return std::nullopt;
    return number_at<Number>(bytes.data(), order);
}

// The place of entry `index` of a section, or -1, which no file has.
int64_t entry_offset(const NativeSection *section, int64_t index, int64_t width) {
    if (!section || section->offset < 0 || index < 0 || index >= section->entries) return -1;
    if (index > (INT64_MAX - section->offset) / width) return -1;
    return section->offset + index * width;
}

// ---- sections

int64_t join_offset(const NativeLayout &layout, uint32_t low, uint32_t high) {
    const uint64_t upper = layout.has(HF_OFF64) ? high : 0;
    return static_cast<int64_t>(upper << 32 | low);
}

void add_section(NativeLayout *layout, SectionKind kind, int64_t offset, int64_t entries,
                 int64_t entry_bytes) {
    static constexpr const char *names[] = {"stop table", "seek table", "colour tables",
                                            "colour info", "tag list"};
    const auto which = static_cast<size_t>(kind);
    layout->sections.push_back({kind, names[which], offset, entries * entry_bytes, entries,
                                static_cast<int32_t>(offset_words[which].low)});
}

// The library asks for a stop or seek table that begins at 0 as little as for one that is not
// there.
void add_tables(NativeLayout *layout) {
    const vorhdr &h = layout->header;
    const int64_t stops = join_offset(*layout, h.stopoff_lo, h.stopoff_hi);
    if (layout->has(HF_STOPS) && h.stopcount > 0) {
        add_section(layout, SectionKind::stops, stops, h.stopcount, 4);
    }
    if (layout->has(HF_SEEKTAB)) {
        add_section(layout, SectionKind::seek_table,
                    join_offset(*layout, h.seekoff_lo, h.seekoff_hi), h.tracks,
                    seek_entry_bytes(*layout));
    }
}

void add_colours(NativeLayout *layout) {
    const vorhdr &h = layout->header;
    if (layout->has(HF_CTABS)) {
        const int64_t tables = h.ctabcount == 0 ? old_tables : h.ctabcount;
        add_section(layout, SectionKind::colour_tables,
                    join_offset(*layout, h.ctaboff_lo, h.ctaboff_hi), tables,
                    table_words * colour_word_bytes(*layout));
    }
    if (layout->has(HF_CINFO)) {
        add_section(layout, SectionKind::colour_info,
                    join_offset(*layout, h.cinfooff_lo, h.cinfooff_hi), info_bytes, 1);
    }
}

void add_tags(FileBytes &file, NativeLayout *layout) {
    const vorhdr &h = layout->header;
    const auto count = static_cast<int32_t>(h.tagcount);
    const int64_t offset = join_offset(*layout, h.tagoff_lo, h.tagoff_hi);
    if (count <= 0 || offset < VOR_HDRSIZE) return;
    add_section(layout, SectionKind::tags, offset, count, 0);
    layout->sections.back().bytes = std::max<int64_t>(walk_tags(file, *layout, {}).end - offset, 0);
}

int64_t first_section_from(const NativeLayout &layout, int64_t offset) {
    int64_t first = layout.file_bytes;
    for (const NativeSection &section : layout.sections) {
        if (section.offset >= offset) first = std::min(first, section.offset);
    }
    return first;
}

// ---- header

void swap_ranges(uint8_t *bytes, size_t begin, size_t end, size_t width) {
    for (size_t at = begin; at < end; at += width)
        std::reverse(bytes + at, bytes + at + width);
}

// ---- tags

TagFault fault_of_head(FileBytes &file, const TagRecord &record, bool whole) {
    if (!whole) return TagFault::head_cut;
    if (record.tagsize % 4 != 0) return TagFault::size_odd;
    if (static_cast<int32_t>(record.tagsize) < VOR_TAGNAME) return TagFault::size_small;
    if (record.payload_bytes > file.size() - record.payload_offset) return TagFault::payload_cut;
    return TagFault::none;
}

// Reads the head at record.offset. False if the file ends inside it.
bool read_tag_head(FileBytes &file, ByteOrder order, TagRecord *record) {
    const auto head = file.at(record->offset, VOR_TAGHEAD);
    record->tagsize = 0;
    if (head.size() >= sizeof record->tagsize) {
        record->tagsize = number_at<uint32_t>(head.data(), order);
    }
    if (head.size() < VOR_TAGHEAD) return false;
    const auto *name = head.data() + sizeof record->tagsize;
    const auto *end = std::find(name, name + VOR_TAGNAME, uint8_t{0});
    record->name.assign(name, end);
    record->payload_offset = record->offset + VOR_TAGHEAD;
    record->payload_bytes = int64_t{record->tagsize} - VOR_TAGNAME;
    return true;
}

TagFault fault_of_name(const TagRecord &record) {
    if (record.name.empty()) return TagFault::name_empty;
    return record.name.size() == VOR_TAGNAME ? TagFault::name_open : TagFault::none;
}

// A fault that ends the walk counts for more than one of a name.
void note_fault(TagFault fault, const TagRecord &record, TagWalk *walk) {
    const bool of_name = fault == TagFault::name_open || fault == TagFault::name_empty;
    if (fault == TagFault::none || (of_name && walk->fault != TagFault::none)) return;
    walk->fault = fault;
    walk->fault_offset = record.offset;
    walk->tagsize = record.tagsize;
}

} // namespace

int64_t NativeSection::end() const {
    return offset > INT64_MAX - bytes ? INT64_MAX : offset + bytes;
}

const NativeSection *NativeLayout::find(SectionKind kind) const {
    const auto found = std::find_if(sections.begin(), sections.end(),
                                    [=](const NativeSection &s) { return s.kind == kind; });
    return found == sections.end() ? nullptr : &*found;
}

bool NativeLayout::lies_in_file(const NativeSection &section) const {
    return section.offset >= VOR_HDRSIZE && section.end() <= file_bytes;
}

bool is_lawful_type(uint32_t type) {
    const uint32_t coding = type & ~VT_DEFLATED;
    return coding >= VT_FW16 && coding <= VT_FW88;
}

std::optional<ByteOrder> native_byte_order(std::span<const uint8_t> head) {
    constexpr size_t at = offsetof(vorhdr, type);
    if (head.size() < at + sizeof(uint32_t)) return std::nullopt;
    for (const ByteOrder order : {ByteOrder::little, ByteOrder::big}) {
        const uint32_t type = number_at<uint32_t>(head.data() + at, order) & ~VT_COMPRESSION;
        if (type >= VT_FW16 && type <= VT_FW88) return order;
    }
    return std::nullopt;
}

// Into the machine's order in the units in which the file's bytes are swapped.
vorhdr decode_header(std::span<const uint8_t, VOR_HDRSIZE> bytes, ByteOrder order) {
    constexpr size_t words_end = offsetof(vorhdr, xpitch64);
    constexpr size_t floats_end = offsetof(vorhdr, reserved4);
    static_assert(sizeof(vorhdr) == VOR_HDRSIZE && words_end == 160 && floats_end == 176);
    std::array<uint8_t, VOR_HDRSIZE> image;
    std::copy(bytes.begin(), bytes.end(), image.begin());
    if ((order == ByteOrder::little) != (std::endian::native == std::endian::little)) {
        swap_ranges(image.data(), 0, words_end, sizeof(uint32_t));
        swap_ranges(image.data(), words_end, floats_end, sizeof(double));
    }
    return std::bit_cast<vorhdr>(image);
}

std::optional<NativeLayout> read_layout(FileBytes &file) {
    std::array<uint8_t, VOR_HDRSIZE> head{};
    const size_t bytes = file.copy(0, head);
    const auto order = native_byte_order(std::span<const uint8_t>(head).first(bytes));
    if (!order) return std::nullopt;
    return layout_of(file, head, *order);
}

NativeLayout layout_of(FileBytes &file, std::span<const uint8_t, VOR_HDRSIZE> header,
                       ByteOrder order) {
    NativeLayout layout;
    layout.order = order;
    std::copy(header.begin(), header.end(), layout.bytes.begin());
    layout.header = decode_header(header, order);
    layout.flags = layout.header.hflags;
    if (static_cast<int32_t>(layout.header.version) < VOR_VERSION) {
        layout.flags &= ~(HF_SEEK64 | HF_OFF64 | HF_RES64);
    }
    layout.file_bytes = file.size();
    add_tables(&layout);
    add_colours(&layout);
    add_tags(file, &layout);
    std::stable_sort(
        layout.sections.begin(), layout.sections.end(),
        [](const NativeSection &a, const NativeSection &b) { return a.offset < b.offset; });
    layout.tracks_end =
        std::max<int64_t>(first_section_from(layout, VOR_HDRSIZE), layout.tracks_begin);
    return layout;
}

uint32_t header_checksum(std::span<const uint8_t, VOR_HDRSIZE> bytes) {
    uLong crc = crc32(0, nullptr, 0);
    crc = crc32(crc, bytes.data(), crc_begin);
    crc = crc32(crc, bytes.data() + crc_end, VOR_HDRSIZE - crc_end);
    return static_cast<uint32_t>(crc);
}

bool checksum_counts(const vorhdr &header) {
    if ((header.hflags & HF_CRC) != 0) return true;
    return static_cast<int32_t>(header.version) >= VOR_VERSION && header.hcrc != 0;
}

bool sections_overlap(const NativeSection &one, const NativeSection &other) {
    return std::max(one.offset, other.offset) < std::min(one.end(), other.end());
}

std::vector<ByteRange> unused_ranges(const NativeLayout &layout) {
    std::vector<ByteRange> ranges;
    int64_t used = layout.tracks_end;
    for (const NativeSection &section : layout.sections) {
        const int64_t begin = std::min(section.offset, layout.file_bytes);
        if (begin > used) ranges.push_back({used, begin});
        used = std::max(used, section.end());
    }
    if (layout.file_bytes > used) ranges.push_back({used, layout.file_bytes});
    return ranges;
}

int64_t track_limit(const NativeLayout &layout, int64_t offset) {
    return first_section_from(layout, offset);
}

std::optional<int64_t> seek_entry(FileBytes &file, const NativeLayout &layout, int64_t track) {
    const int32_t width = seek_entry_bytes(layout);
    const int64_t at = entry_offset(layout.find(SectionKind::seek_table), track, width);
    if (at < 0) return std::nullopt;
    if (width == 8) return read_number<int64_t>(file, at, layout.order);
    const auto entry = read_number<int32_t>(file, at, layout.order);
    if (!entry) return std::nullopt;
    return int64_t{*entry};
}

std::optional<uint32_t> stop_entry(FileBytes &file, const NativeLayout &layout, int64_t index) {
    const int64_t at = entry_offset(layout.find(SectionKind::stops), index, 4);
    if (at < 0) return std::nullopt;
    return read_number<uint32_t>(file, at, layout.order);
}

const char *stop_kind_name(uint32_t entry) {
    switch (entry & ~LF_STOP_TRACK) {
    case LF_STOP_FIRST:
        return "first";
    case LF_STOP_LAST:
        return "last";
    case LF_STOP_SINGLE:
        return "single";
    default:
        return "none";
    }
}

std::optional<uint16_t> colour_table_word(FileBytes &file, const NativeLayout &layout,
                                          int64_t table, int32_t code) {
    if (code < 0 || code >= table_words) return std::nullopt;
    const int64_t width = colour_word_bytes(layout);
    const int64_t at =
        entry_offset(layout.find(SectionKind::colour_tables), table, width * table_words);
    if (at < 0) return std::nullopt;
    return read_number<uint16_t>(file, at + code * width, layout.order);
}

std::optional<uint8_t> colour_info_byte(FileBytes &file, const NativeLayout &layout, int32_t code) {
    const int64_t at = entry_offset(layout.find(SectionKind::colour_info), code, 1);
    if (at < 0) return std::nullopt;
    return read_number<uint8_t>(file, at, layout.order);
}

const char *tag_fault_text(TagFault fault) {
    switch (fault) {
    case TagFault::outside:
        return "the list begins outside of the file";
    case TagFault::head_cut:
        return "the file ends inside the head of a record";
    case TagFault::size_odd:
        return "the size is no multiple of 4";
    case TagFault::size_small:
        return "the size does not cover the name";
    case TagFault::payload_cut:
        return "the payload goes beyond the end of the file";
    case TagFault::name_open:
        return "the name has no end";
    case TagFault::name_empty:
        return "the name is empty";
    default:
        return "";
    }
}

TagWalk walk_tags(FileBytes &file, const NativeLayout &layout,
                  const std::function<bool(const TagRecord &)> &visit) {
    const NativeSection *list = layout.find(SectionKind::tags);
    TagWalk walk;
    if (!list) return walk;
    walk.end = list->offset;
    TagRecord record;
    record.offset = list->offset;
    if (list->offset >= file.size()) {
        note_fault(TagFault::outside, record, &walk);
        return walk;
    }
    for (; walk.end < file.size() && record.index < list->entries; ++record.index) {
        record.offset = walk.end;
        const bool whole = read_tag_head(file, layout.order, &record);
        const TagFault fault = fault_of_head(file, record, whole);
        note_fault(fault, record, &walk);
        if (fault != TagFault::none) return walk;
        note_fault(fault_of_name(record), record, &walk);
        ++walk.records;
        walk.end = record.end();
        if (visit && !visit(record)) return walk;
    }
    record.offset = walk.end;
    record.tagsize = 0;
    if (record.index < list->entries) note_fault(TagFault::head_cut, record, &walk);
    return walk;
}

} // namespace vor::tool
