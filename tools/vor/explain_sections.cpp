// The rows of the sections: an entry each. Entries that the file does not hold are counted.

#include <algorithm>

#include "explain_rows.h"
#include "interrupt.h"
#include "report.h"

namespace vor::tool {
namespace {

// An entry of a table: what its row says. The number is the entry's place in the table.
using FillRow = void (*)(const RowWriter &, int64_t number, Row *row);

struct TableForm {
    int64_t entries;
    int64_t entry_bytes;
    FillRow fill;
};

// ---- entries

void fill_stop(const RowWriter &writer, int64_t number, Row *row) {
    row->field = format("entry %lld", static_cast<long long>(number));
    const auto entry = stop_entry(writer.file(), writer.layout(), number);
    if (!entry) return;
    const auto track = static_cast<long long>(*entry & LF_STOP_TRACK);
    row->value = int64_t{*entry};
    row->shown = format("0x%08X", *entry);
    switch (*entry & ~LF_STOP_TRACK) {
    case LF_STOP_FIRST:
        row->meaning = format("track %lld is the first of a stretch", track);
        break;
    case LF_STOP_LAST:
        row->meaning = format("track %lld is the last of a stretch", track);
        break;
    case LF_STOP_SINGLE:
        row->meaning = format("track %lld is a stretch by itself", track);
        break;
    default:
        row->meaning = "no part of a stretch";
        row->damaged = true;
    }
    if (!row->damaged && track >= writer.layout().header.tracks) {
        row->meaning += ", behind the last track";
        row->damaged = true;
    }
}

void fill_seek_entry(const RowWriter &writer, int64_t number, Row *row) {
    row->field = format("entry %lld", static_cast<long long>(number));
    const auto entry = seek_entry(writer.file(), writer.layout(), number);
    if (!entry) return;
    const std::string track = format("track %lld ", static_cast<long long>(number));
    row->value = *entry;
    if (is_blank_mark(*entry)) {
        row->meaning = track + format("is blank, of colour %d", blank_colour(*entry));
        return;
    }
    if (*entry >= 0) row->shown = hexadecimal(*entry);
    row->damaged = !is_track_place(*entry) || *entry >= writer.layout().file_bytes;
    row->meaning = !is_track_place(*entry)
                       ? "neither a place of a track nor the mark of a blank one"
                       : track + "begins at " + hexadecimal(*entry);
    if (*entry >= writer.layout().file_bytes) row->meaning += ", beyond the end of the file";
}

void fill_colour(const RowWriter &writer, int64_t number, Row *row) {
    const auto code = static_cast<int32_t>(number % LF_NCOLORS);
    const int64_t table = number / LF_NCOLORS;
    row->field = format("entry %lld:%d", static_cast<long long>(table), code);
    const auto word = colour_table_word(writer.file(), writer.layout(), table, code);
    if (!word) return;
    row->value = int64_t{*word};
    row->meaning =
        format("table %lld, what colour %d stands for", static_cast<long long>(table), code);
}

void fill_info(const RowWriter &writer, int64_t number, Row *row) {
    const auto code = static_cast<int32_t>(number);
    row->field = format("entry %d", code);
    const auto byte = colour_info_byte(writer.file(), writer.layout(), code);
    if (!byte) return;
    row->value = int64_t{*byte};
    row->meaning = format("colour %d is %s", code, *byte == 0 ? "not used" : "used");
}

TableForm form_of(const NativeLayout &layout, const NativeSection &section) {
    switch (section.kind) {
    case SectionKind::stops:
        return {section.entries, 4, fill_stop};
    case SectionKind::seek_table:
        return {section.entries, seek_entry_bytes(layout), fill_seek_entry};
    case SectionKind::colour_tables:
        return {section.entries * LF_NCOLORS, colour_word_bytes(layout), fill_colour};
    default:
        return {section.entries, 1, fill_info};
    }
}

// ---- tables

void add_entry(RowWriter *writer, const NativeSection &section, const TableForm &form,
               int64_t number) {
    Row row(section.offset + number * form.entry_bytes, form.entry_bytes, "");
    form.fill(*writer, number, &row);
    writer->row(std::move(row));
}

// Where the section lies is told with the offset in the header; here, which entries are missing.
void tell_missing(RowWriter *writer, const NativeSection &section, const TableForm &form,
                  int64_t held) {
    if (held == form.entries) return;
    writer->remark(section.offset + held * form.entry_bytes, "entries",
                   format("%lld of %lld are beyond the end of the file",
                          static_cast<long long>(form.entries - held),
                          static_cast<long long>(form.entries)));
}

void explain_table(RowWriter *writer, const NativeSection &section, RowAmount amount) {
    const TableForm form = form_of(writer->layout(), section);
    const bool outside = section.offset < 0 || section.offset > writer->layout().file_bytes;
    const int64_t room = outside ? 0 : writer->layout().file_bytes - section.offset;
    const int64_t held = std::min(form.entries, room / form.entry_bytes);
    if (writer->only()) {
        const int64_t number = (*writer->only() - section.offset) / form.entry_bytes;
        if (number < form.entries) add_entry(writer, section, form, number);
        return;
    }
    const int64_t told = amount.of(held);
    for (int64_t number = 0; number < told; ++number) {
        stop_if_interrupted();
        add_entry(writer, section, form, number);
    }
    writer->more(held - told, "entries");
    tell_missing(writer, section, form, held);
}

std::string table_text(const NativeLayout &layout, const NativeSection &section) {
    const std::string entries = counted(section.entries, "entry", "entries");
    switch (section.kind) {
    case SectionKind::stops:
        return entries + " of 4 bytes";
    case SectionKind::seek_table:
        return entries + format(" of %d bytes", seek_entry_bytes(layout));
    case SectionKind::colour_tables:
        return counted(section.entries, "table", "tables") +
               format(" of 256 entries of %d bytes%s", colour_word_bytes(layout),
                      layout.header.ctabcount == 0 ? ", of which two count" : "");
    case SectionKind::colour_info:
        return entries + " of 1 byte";
    default:
        return counted(section.entries, "record", "records");
    }
}

// ---- tags

bool is_text(std::span<const uint8_t> payload) {
    const auto zero = std::find(payload.begin(), payload.end(), uint8_t{0});
    const bool padded = std::all_of(zero, payload.end(), [](uint8_t b) { return b == 0; });
    const bool prints = std::all_of(payload.begin(), zero, [](uint8_t b) {
        return (b >= 0x20 && b < 0x7F) || b == '\n' || b == '\t';
    });
    return zero != payload.begin() && zero != payload.end() && padded && prints;
}

// A short text as such, anything else by its size.
std::string payload_text(FileBytes &file, const TagRecord &tag) {
    constexpr int64_t longest = 64;
    const auto bytes = static_cast<size_t>(std::min(tag.payload_bytes, longest));
    const auto payload = file.at(tag.payload_offset, bytes);
    if (tag.payload_bytes <= longest && is_text(payload)) {
        return quoted({payload.begin(), std::find(payload.begin(), payload.end(), uint8_t{0})});
    }
    return format("%lld bytes", static_cast<long long>(tag.payload_bytes));
}

std::string escaped_name(const TagRecord &tag) {
    const auto *bytes = reinterpret_cast<const uint8_t *>(tag.name.data());
    return quoted({bytes, tag.name.size()});
}

void add_tag(RowWriter *writer, const TagRecord &tag) {
    constexpr int32_t size_bytes = VOR_TAGHEAD - VOR_TAGNAME;
    const std::string which = format("tag %lld", static_cast<long long>(tag.index));
    Row size(tag.offset, size_bytes, "tagsize",
             which + ": the name and " + counted(tag.payload_bytes, "byte", "bytes") +
                 " of payload");
    size.value = int64_t{tag.tagsize};
    writer->row(std::move(size));

    Row name(tag.offset + size_bytes, VOR_TAGNAME, "tagname", which);
    name.value = escaped_name(tag);
    name.damaged = tag.name.empty() || tag.name.size() == VOR_TAGNAME;
    if (name.damaged)
        name.meaning += tag.name.empty() ? ", without a name" : ", the name has no end";
    writer->row(std::move(name));

    if (tag.payload_bytes == 0) return;
    Row payload(tag.payload_offset, tag.payload_bytes, "payload", which);
    payload.value = payload_text(writer->file(), tag);
    writer->row(std::move(payload));
}

// From the first record that is malformed to the next section.
ByteRange rest_of_tags(const NativeLayout &layout, const TagWalk &walk) {
    return {walk.fault_offset, track_limit(layout, walk.fault_offset + 1)};
}

void tell_rest_of_tags(RowWriter *writer, const TagWalk &walk) {
    const std::string field = format("tag %lld", static_cast<long long>(walk.records));
    const ByteRange rest = rest_of_tags(writer->layout(), walk);
    if (rest.end <= rest.begin) {
        writer->remark(rest.begin, field, tag_fault_text(walk.fault));
        return;
    }
    writer->row({rest.begin, rest.end - rest.begin, field, tag_fault_text(walk.fault), true});
}

void explain_tags(RowWriter *writer, RowAmount amount) {
    const auto &only = writer->only();
    const int64_t claimed = static_cast<int32_t>(writer->layout().header.tagcount);
    int64_t left_out = 0;
    const TagWalk walk = walk_tags(writer->file(), writer->layout(), [&](const TagRecord &tag) {
        stop_if_interrupted();
        if (only && tag.end() <= *only) return true;
        if (tag.index < amount.of(claimed) || only) {
            add_tag(writer, tag);
        } else {
            ++left_out;
        }
        return !only;
    });
    writer->more(left_out, "records");
    if (ends_list(walk.fault)) tell_rest_of_tags(writer, walk);
}

// Bytes of no section that would be tags if the list were not malformed there.
const NativeSection *list_before(const RowWriter &writer, const ByteRange &range) {
    const NativeSection *list = writer.layout().find(SectionKind::tags);
    if (!list || list->end() != range.begin) return nullptr;
    return ends_list(walk_tags(writer.file(), writer.layout(), {}).fault) ? list : nullptr;
}

void tell_overlaps(RowWriter *writer, const NativeSection &section) {
    for (const NativeSection &other : writer->layout().sections) {
        if (other.kind != section.kind && sections_overlap(section, other)) {
            writer->remark(section.offset, "overlap",
                           format("has bytes in common with the %s", other.name));
        }
    }
}

} // namespace

void explain_section(RowWriter *writer, const NativeSection &section, RowAmount amount) {
    writer->begin_part(
        {section.name, section.offset, section.bytes, table_text(writer->layout(), section)});
    tell_overlaps(writer, section);
    if (section.kind == SectionKind::tags) {
        explain_tags(writer, amount);
    } else {
        explain_table(writer, section, amount);
    }
}

void explain_unused(RowWriter *writer, const ByteRange &range) {
    if (const NativeSection *list = list_before(*writer, range)) {
        if (writer->only()) explain_section(writer, *list, {});
        return;
    }
    const int64_t bytes = range.end - range.begin;
    writer->begin_part({"unused", range.begin, bytes});
    writer->row({range.begin, bytes, "", "belongs to no section"});
}

} // namespace vor::tool
