// The rows of the header: a field each, reserved bytes as one.

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstddef>

#include "explain_rows.h"
#include "report.h"

namespace vor::tool {
namespace {

// The number of as few digits as the float can be told by: 0.01, not 0.00999999977.
double rounded(float value) {
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, value).ptr;
    double wide = value;
    std::from_chars(text, end, wide);
    return wide;
}

RowValue field_value(const NativeLayout &layout, const HeaderField &field) {
    const uint8_t *bytes = layout.bytes.data() + field.offset;
    switch (field.kind) {
    case FieldKind::u32:
        return int64_t{number_at<uint32_t>(bytes, layout.order)};
    case FieldKind::i32:
        return int64_t{number_at<int32_t>(bytes, layout.order)};
    case FieldKind::f32:
        return rounded(std::bit_cast<float>(number_at<uint32_t>(bytes, layout.order)));
    case FieldKind::f64:
        return std::bit_cast<double>(number_at<uint64_t>(bytes, layout.order));
    default:
        return std::monostate();
    }
}

const char *flag_name(uint32_t bit) {
    const auto flags = header_flags();
    const auto flag =
        std::find_if(flags.begin(), flags.end(), [=](const HeaderFlag &f) { return f.bit == bit; });
    return flag == flags.end() ? "" : flag->name;
}

void damage(Row *row, const std::string &how) {
    row->meaning += ", " + how;
    row->damaged = true;
}

// ---- fields with something to say

void tell_type(const NativeLayout &layout, Row *row) {
    static constexpr const char *codings[] = {"", "VT_FW16", "VT_FW8", "VT_FW88"};
    const uint32_t compression = layout.header.type & VT_COMPRESSION;
    row->shown = format("0x%02X", layout.header.type);
    row->meaning = layout.coding() < std::size(codings) ? codings[layout.coding()] : "";
    if (compression == VT_DEFLATED) row->meaning += ", VT_DEFLATED";
    if (!is_lawful_type(layout.header.type)) damage(row, "no type that there is");
}

void tell_flags(const NativeLayout &layout, Row *row) {
    row->shown = format("0x%X", layout.header.hflags);
    row->meaning.clear();
    for (const HeaderFlag &flag : header_flags()) {
        if ((layout.header.hflags & flag.bit) == 0) continue;
        row->meaning += std::string(row->meaning.empty() ? "" : " ") + flag.name;
        if (!layout.has(flag.bit)) row->meaning += " (not in this version)";
    }
    const uint32_t unknown = layout.header.hflags & ~known_flags;
    if (unknown != 0) row->meaning += format(" and 0x%X, which means nothing", unknown);
}

void tell_byteorder(const NativeLayout &layout, Row *row) {
    row->shown = format("0x%08X", layout.header.byteorder);
    if (layout.has(HF_BYTEORDER) && layout.header.byteorder != VOR_BYTEORDER) {
        damage(row, "which it is not");
    }
}

void tell_checksum(const NativeLayout &layout, Row *row) {
    const uint32_t right = header_checksum(layout.bytes);
    row->shown = format("0x%08X", layout.header.hcrc);
    if (!checksum_counts(layout.header)) {
        row->meaning += ", not compared";
    } else if (layout.header.hcrc == right) {
        row->meaning += ", fits";
    } else {
        damage(row, format("does not fit: the header has 0x%08X", right));
    }
}

void tell_size(uint32_t value, Row *row) {
    if (value > INT32_MAX) damage(row, "more than can be read");
}

void tell_reserved(const NativeLayout &layout, const HeaderField &field, Row *row) {
    const auto bytes =
        std::span(layout.bytes)
            .subspan(static_cast<size_t>(field.offset), static_cast<size_t>(field.bytes));
    const bool zero = std::all_of(bytes.begin(), bytes.end(), [](uint8_t b) { return b == 0; });
    row->value = std::string(zero ? "all 0" : "not all 0");
    row->meaning = format("%d bytes, reserved", field.bytes);
}

void tell_letters(const NativeLayout &layout, Row *row) {
    row->value = quoted(std::span(layout.bytes).subspan(offsetof(vorhdr, letters)));
}

// A low word of an offset: the whole of it, and whether its section has its place.
void tell_offset(const NativeLayout &layout, const HeaderField &field, Row *row) {
    row->shown = hexadecimal(std::get<int64_t>(row->value));
    for (const NativeSection &section : layout.sections) {
        if (section.offset_field != field.offset) continue;
        if (section.offset < 0 || section.offset > UINT32_MAX) {
            row->meaning += ", " + hexadecimal(section.offset) + " with its high word";
        }
        if (section.offset >= 0 && section.offset < VOR_HDRSIZE) damage(row, "inside the header");
        if (section.offset < 0 || section.end() > layout.file_bytes) {
            damage(row, "which goes beyond the end of the file");
        }
    }
}

void tell_field(const NativeLayout &layout, const HeaderField &field, Row *row) {
    switch (field.offset) {
    case offsetof(vorhdr, type):
        return tell_type(layout, row);
    case offsetof(vorhdr, hflags):
        return tell_flags(layout, row);
    case offsetof(vorhdr, byteorder):
        return tell_byteorder(layout, row);
    case offsetof(vorhdr, hcrc):
        return tell_checksum(layout, row);
    case offsetof(vorhdr, tracks):
        return tell_size(layout.header.tracks, row);
    case offsetof(vorhdr, pixels):
        return tell_size(layout.header.pixels, row);
    case offsetof(vorhdr, stopoff_lo):
    case offsetof(vorhdr, seekoff_lo):
    case offsetof(vorhdr, ctaboff_lo):
    case offsetof(vorhdr, cinfooff_lo):
    case offsetof(vorhdr, tagoff_lo):
        return tell_offset(layout, field, row);
    case offsetof(vorhdr, letters):
        return tell_letters(layout, row);
    default:
        if (field.kind == FieldKind::bytes) tell_reserved(layout, field, row);
    }
}

} // namespace

void explain_header(RowWriter *writer) {
    const NativeLayout &layout = writer->layout();
    writer->begin_part({"header", 0, VOR_HDRSIZE});
    for (const HeaderField &field : header_fields()) {
        Row row(field.offset, field.bytes, field.name, field.meaning);
        row.value = field_value(layout, field);
        tell_field(layout, field, &row);
        if (field.flag != 0 && !layout.has(field.flag)) {
            row.meaning += format(" (no %s)", flag_name(field.flag));
        }
        writer->row(std::move(row));
    }
}

} // namespace vor::tool
