#include "salvage_sections.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <set>

#include "carry_over.h"
#include "report.h"
#include "vor/vor.h"

namespace vor::tool {
namespace {

SectionFate *add_fate(SavedSections *saved, const NativeSection &section) {
    return &saved->fates.emplace_back(
        SectionFate{section.name, 0, section.entries, "", section.offset});
}

void drop(SectionFate *fate, const char *fault, int64_t offset) {
    fate->fault = fault;
    fate->fault_offset = offset;
}

// ---- stops

const char *fault_of_stop(uint32_t entry, const SavedSections &saved, uint32_t tracks) {
    constexpr uint32_t kinds = ~LF_STOP_TRACK;
    const uint32_t track = entry & LF_STOP_TRACK;
    if ((entry & kinds) == kinds) return "an entry has no kind";
    if (track >= tracks) return "an entry is for a track that does not exist";
    const bool ascends = saved.stops.empty() || (saved.stops.back() & LF_STOP_TRACK) < track;
    return ascends ? nullptr : "its entries are not in order";
}

void save_stops(FileBytes &file, const NativeLayout &layout, SavedSections *saved) {
    const NativeSection *section = layout.find(SectionKind::stops);
    if (!section) return;
    SectionFate *fate = add_fate(saved, *section);
    if (!layout.lies_in_file(*section)) return drop(fate, "is not in the file", section->offset);
    for (int64_t i = 0; i < section->entries; ++i) {
        const uint32_t entry = stop_entry(file, layout, i).value_or(~UINT32_C(0));
        const char *fault = fault_of_stop(entry, *saved, layout.header.tracks);
        if (fault) {
            saved->stops.clear();
            return drop(fate, fault, section->offset + i * int64_t{sizeof entry});
        }
        saved->stops.push_back(entry);
    }
    fate->kept = section->entries;
    saved->limits.push_back(section->offset);
}

bool write_stops(const SavedSections &saved, xvor_t *out) {
    return std::all_of(saved.stops.begin(), saved.stops.end(), [&](uint32_t entry) {
        const auto track = static_cast<int32_t>(entry & LF_STOP_TRACK);
        return lfsetstop(out, track, entry & ~LF_STOP_TRACK) == 0;
    });
}

// ---- tags

void save_tags(FileBytes &file, const NativeLayout &layout, SavedSections *saved) {
    const NativeSection *section = layout.find(SectionKind::tags);
    if (!section) return;
    SectionFate *fate = add_fate(saved, *section);
    std::set<std::string> names;
    const TagWalk walk = walk_tags(file, layout, [&](const TagRecord &record) {
        const bool named = !record.name.empty() && record.name.size() < VOR_TAGNAME;
        const bool fresh = named && names.insert(record.name).second;
        if (fresh) {
            saved->tags.push_back(record);
        } else if (named && fate->whole()) {
            drop(fate, "two tags have one name", record.offset);
        }
        return true;
    });
    if (walk.fault != TagFault::none) drop(fate, tag_fault_text(walk.fault), walk.fault_offset);
    fate->kept = static_cast<int64_t>(saved->tags.size());
    if (fate->whole()) saved->limits.push_back(section->offset);
}

bool write_tags(FileBytes &file, const NativeLayout &layout, const SavedSections &saved,
                xvor_t *out) {
    for (const TagRecord &tag : saved.tags) {
        std::vector<uint32_t> block(VOR_TAGHEAD / sizeof(uint32_t) +
                                    static_cast<size_t>(tag.payload_bytes) / sizeof(uint32_t));
        auto *bytes = reinterpret_cast<uint8_t *>(block.data());
        const std::span<uint8_t> record(bytes, block.size() * sizeof(uint32_t));
        if (file.copy(tag.offset, record) < record.size()) {
            throw Failure(file.name(), "has changed meanwhile");
        }
        block[0] = number_at<uint32_t>(bytes, layout.order);
        if (lfspecial(out, LFS_ADD_TAG, block.data()) < 0) return false;
    }
    return true;
}

// ---- colour tables

bool is_crossed(const NativeLayout &layout, const NativeSection &section, const ByteRange &data) {
    if (section.offset < data.end && section.end() > data.begin) return true;
    return std::any_of(layout.sections.begin(), layout.sections.end(), [&](const auto &other) {
        return other.kind != section.kind && layout.lies_in_file(other) &&
               sections_overlap(section, other);
    });
}

// The table that the codes of the tracks are looked up in; the checker takes a colour that it does
// not know for damage.
bool has_known_colours(FileBytes &file, const NativeLayout &layout, int64_t tables) {
    constexpr int64_t preferred = 3;
    const int64_t in_force = tables > preferred ? preferred : 0;
    for (int32_t code = 0; code < LF_NCOLORS; ++code) {
        if (colour_table_word(file, layout, in_force, code).value_or(uint16_t{0}) >= CKV_COLORS) {
            return false;
        }
    }
    return true;
}

bool write_colour_tables(FileBytes &file, const NativeLayout &layout, const SavedSections &saved,
                         xvor_t *out) {
    std::array<uint16_t, LF_NCOLORS> table{};
    for (int32_t i = 0; i < saved.colour_tables; ++i) {
        for (int32_t code = 0; code < LF_NCOLORS; ++code)
            table[static_cast<size_t>(code)] =
                colour_table_word(file, layout, i, code).value_or(uint16_t{0});
        vor_ctabreq request{.index = i, .create = 1, .table = table.data()};
        if (lfspecial(out, LFS_SET_CTAB, &request) < 0) return false;
    }
    set_identity(out);
    return true;
}

// ---- parameters

bool write_real(xvor_t *out, bool told, int32_t request, float value) {
    double real = double{value};
    return !told || lfspecial(out, request, &real) >= 0;
}

bool write_parameters(const NativeLayout &layout, xvor_t *out) {
    const vorhdr &h = layout.header;
    uint32_t d = h.param_d;
    int32_t e = h.param_e;
    return write_real(out, layout.has(HF_PARAM_A), LFS_SET_PARAM_A, h.param_a) &&
           write_real(out, layout.has(HF_PARAM_B), LFS_SET_PARAM_B, h.param_b) &&
           write_real(out, layout.has(HF_PARAM_C), LFS_SET_PARAM_C, h.param_c) &&
           write_real(out, layout.has(HF_PARAM_F), LFS_SET_PARAM_F, h.param_f) &&
           (!layout.has(HF_PARAM_D) || lfspecial(out, LFS_SET_PARAM_D, &d) >= 0) &&
           (!layout.has(HF_PARAM_E) || lfspecial(out, LFS_SET_PARAM_E, &e) >= 0);
}

} // namespace

SavedSections save_sections(FileBytes &file, const NativeLayout &layout) {
    SavedSections saved;
    save_stops(file, layout, &saved);
    save_tags(file, layout, &saved);
    std::sort(saved.limits.begin(), saved.limits.end());
    return saved;
}

void save_colour_tables(FileBytes &file, const NativeLayout &layout, const ByteRange &data,
                        SavedSections *saved) {
    const NativeSection *section = layout.find(SectionKind::colour_tables);
    if (!section) return;
    SectionFate *fate = add_fate(saved, *section);
    if (!layout.lies_in_file(*section)) {
        drop(fate, "is not in the file", section->offset);
    } else if (is_crossed(layout, *section, data)) {
        drop(fate, "something else is in its place", section->offset);
    } else if (section->entries > VOR_MAXCTABS) {
        drop(fate, "has more tables than there can be", section->offset);
    } else if (!has_known_colours(file, layout, section->entries)) {
        drop(fate, "has colours that there cannot be", section->offset);
    } else {
        fate->kept = saved->colour_tables = section->entries;
    }
}

bool write_sections(FileBytes &file, const NativeLayout &layout, const SavedSections &saved,
                    xvor_t *out) {
    return write_colour_tables(file, layout, saved, out) && write_parameters(layout, out) &&
           write_stops(saved, out) && write_tags(file, layout, saved, out);
}

} // namespace vor::tool
