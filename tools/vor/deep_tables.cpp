// The stop table, the colour tables and the colour info.

#include <algorithm>
#include <cinttypes>

#include "deep_parts.h"
#include "interrupt.h"
#include "report.h"

namespace vor::tool {
namespace {

constexpr int32_t stop_bytes = 4;
constexpr int32_t bits_per_byte = 8;

// ---- stops

// What stands around an entry of the stop table.
struct StopPlace {
    int64_t before = -1;         // the track of the entry before
    std::optional<int64_t> next; // that of the next
    int64_t tracks = 0;
    bool first = true; // there is no entry before
    bool open = false; // a stretch has begun
};

int64_t track_of(uint32_t entry) {
    return entry & LF_STOP_TRACK;
}

uint32_t kind_of_stop(uint32_t entry) {
    return entry & ~LF_STOP_TRACK;
}

// A stretch is open behind a first stop, and behind no other.
bool opens(uint32_t entry) {
    return kind_of_stop(entry) == LF_STOP_FIRST;
}

// A table may begin with the last track of a stretch that is open from track 0 on, and end inside
// one that goes on to the end.
bool takes_turn(uint32_t entry, const StopPlace &place) {
    return place.first || (kind_of_stop(entry) == LF_STOP_LAST) == place.open;
}

bool is_kind(uint32_t entry) {
    return kind_of_stop(entry) != (LF_STOP_LAST | LF_STOP_SINGLE);
}

void check_stop(const DeepCheck &check, const StopPlace &place, uint32_t entry, int64_t offset) {
    const int64_t track = track_of(entry);
    const auto add = [&](FindingId id, const std::string &found, const std::string &expected) {
        check.findings.add({id, track, offset, found, expected});
    };
    const std::string number = format("track %lld", static_cast<long long>(track));
    if (track >= place.tracks) {
        add(FindingId::stop_range, number,
            format("below %lld", static_cast<long long>(place.tracks)));
    }
    if (track <= place.before) {
        add(FindingId::stop_order, number,
            format("above %lld", static_cast<long long>(place.before)));
    }
    if (!is_kind(entry)) {
        add(FindingId::stop_kind, format("0x%08" PRIX32, entry), "bit 31 or bit 30 or none");
    } else if (!takes_turn(entry, place)) {
        add(FindingId::stop_pair, stop_kind_name(entry), place.open ? "last" : "first or single");
    }
}

// In a table without findings: does the entry, changed, lead to one, here or at the next entry?
bool shows_change(const StopPlace &place, uint32_t entry, uint32_t changed) {
    const int64_t track = track_of(changed);
    return track >= place.tracks || track <= place.before || (place.next && track >= *place.next) ||
           !is_kind(changed) || !takes_turn(changed, place) ||
           (place.next && opens(changed) != opens(entry));
}

void count_stop(const DeepCheck &check, const StopPlace &place, uint32_t entry, int64_t offset) {
    for (int32_t byte = 0; byte < stop_bytes; ++byte) {
        bool shown = true;
        for (int32_t bit = 0; bit < bits_per_byte; ++bit)
            shown = shown && shows_change(place, entry,
                                          entry ^ (UINT32_C(1) << (bits_per_byte * byte + bit)));
        const bool little = check.layout.order == ByteOrder::little;
        if (shown) {
            check.protection.add(offset + (little ? byte : stop_bytes - 1 - byte), 1,
                                 Cover::structure);
        }
    }
}

// Calls `visit` with each entry, what stands around it, and its offset.
template <class Visit>
void each_stop(const DeepCheck &check, const NativeSection &table, Visit visit) {
    StopPlace place;
    place.tracks = check.layout.header.tracks;
    auto entry = stop_entry(check.file, check.layout, 0);
    for (int64_t i = 0; entry; ++i) {
        stop_if_interrupted();
        const auto next = stop_entry(check.file, check.layout, i + 1);
        place.next = {};
        if (next) place.next = track_of(*next);
        visit(place, *entry, table.offset + i * stop_bytes);
        place.before = track_of(*entry);
        place.first = false;
        place.open = opens(*entry);
        entry = next;
    }
}

// ---- colours

void check_table(const DeepCheck &check, const NativeSection &section, int64_t table) {
    const int64_t width = colour_word_bytes(check.layout);
    int32_t odd = 0;
    Finding finding;
    for (int32_t code = 0; code < LF_NCOLORS; ++code) {
        const auto word = colour_table_word(check.file, check.layout, table, code);
        if (!word || *word < CKV_COLORS || odd++ > 0) continue;
        finding = {FindingId::colour_table_value,
                   {},
                   section.offset + (table * LF_NCOLORS + code) * width,
                   format("%d for code %d", *word, code),
                   format("%d or less", CKV_COLORS - 1)};
    }
    if (odd == 0) return;
    if (odd > 1) finding.found += format(", and %d more", odd - 1);
    check.findings.add(std::move(finding));
}

void check_colour_tables(const DeepCheck &check) {
    const NativeSection *section = check.layout.find(SectionKind::colour_tables);
    if (!section) return;
    if (section->entries > VOR_MAXCTABS) {
        check.findings.add({FindingId::colour_table_count,
                            {},
                            static_cast<int64_t>(offsetof(vorhdr, ctabcount)),
                            format("%lld tables", static_cast<long long>(section->entries)),
                            format("%d or less", VOR_MAXCTABS)});
    }
    for (int64_t i = 0; colour_table_word(check.file, check.layout, i, 0); ++i) {
        stop_if_interrupted();
        check_table(check, *section, i);
    }
}

// What the info may say of a code. Code 1 is marked in any case, as new handles are; in two colours
// the info tells nothing of use.
struct ColourUse {
    bool may_be_marked;
    bool may_be_unmarked;
};

ColourUse use_of(const NativeLayout &layout, const TrackFacts &facts, int32_t code) {
    if (layout.two_colours()) return {code <= 1 || code == LF_NCOLORS - 1, true};
    const bool used = facts.used.test(static_cast<size_t>(code));
    return {used || code == 1, !used};
}

void check_colour(const DeepCheck &check, const ColourUse &use, int32_t code, uint8_t mark,
                  int64_t offset) {
    if (mark > 1) {
        check.findings.add({FindingId::colour_info_value,
                            {},
                            offset,
                            format("%d for code %d", mark, code),
                            "0 or 1"});
    }
    if (mark != 0 ? use.may_be_marked : use.may_be_unmarked) return;
    check.findings.add({FindingId::colour_info_use,
                        {},
                        offset,
                        format("code %d %s", code, mark != 0 ? "as used" : "as not used"),
                        mark != 0 ? "not used" : "used"});
}

void check_colour_info(const DeepCheck &check, const TrackFacts &facts) {
    const NativeSection *info = check.layout.find(SectionKind::colour_info);
    if (!info || !facts.all_good) return;
    for (int32_t code = 0; code < LF_NCOLORS; ++code) {
        const auto mark = colour_info_byte(check.file, check.layout, code);
        if (!mark) return;
        const ColourUse use = use_of(check.layout, facts, code);
        check_colour(check, use, code, *mark, info->offset + code);
        // Where one of 0 and 1 is wrong, any change of the other is found.
        if (*mark <= 1 && use.may_be_marked != use.may_be_unmarked &&
            (*mark != 0) == use.may_be_marked) {
            check.protection.add(info->offset + code, 1, Cover::structure);
        }
    }
}

} // namespace

void check_stops(const DeepCheck &check) {
    const NativeSection *table = check.layout.find(SectionKind::stops);
    if (!table) return;
    const int64_t before = check.findings.total();
    each_stop(check, *table, [&](const StopPlace &place, uint32_t entry, int64_t offset) {
        check_stop(check, place, entry, offset);
    });
    if (check.findings.total() != before) return;
    each_stop(check, *table, [&](const StopPlace &place, uint32_t entry, int64_t offset) {
        count_stop(check, place, entry, offset);
    });
}

void check_colours(const DeepCheck &check, const TrackFacts &facts) {
    check_colour_tables(check);
    check_colour_info(check, facts);
}

} // namespace vor::tool
