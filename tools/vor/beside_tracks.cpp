#include "beside_tracks.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <span>
#include <string_view>
#include <vector>

#include "descriptions.h"
#include "file_facts.h"
#include "report.h"
#include "track_source.h"
#include "vor/vor.h"

namespace vor::tool {
namespace {

using Tell = std::function<void(const BesideDifference &)>;

// Walks through two lists in order of their keys and visits each pair of equal keys; what only one
// list has makes a pair with null.
template <class Item, class Key, class Visit>
void merge(const std::vector<Item> &a, const std::vector<Item> &b, Key key, Visit visit) {
    size_t i = 0;
    size_t j = 0;
    while (i < a.size() && j < b.size()) {
        if (key(a[i]) < key(b[j])) {
            visit(&a[i++], nullptr);
        } else if (key(b[j]) < key(a[i])) {
            visit(nullptr, &b[j++]);
        } else {
            visit(&a[i++], &b[j++]);
        }
    }
    while (i < a.size())
        visit(&a[i++], nullptr);
    while (j < b.size())
        visit(nullptr, &b[j++]);
}

// ---- stops

uint32_t track_of(uint32_t stop) {
    return stop & LF_STOP_TRACK;
}

// A table from a file need not be in order.
std::vector<uint32_t> sorted_stops(const xvor_t *h) {
    const uint32_t *table = lfstoptable(h);
    std::vector<uint32_t> stops(table, table + (table ? lfstoptablesize(h) : 0));
    std::sort(stops.begin(), stops.end(), [](uint32_t a, uint32_t b) {
        return track_of(a) != track_of(b) ? track_of(a) < track_of(b) : a < b;
    });
    return stops;
}

void compare_stops(const xvor_t *a, const xvor_t *b, const Tell &tell) {
    merge(sorted_stops(a), sorted_stops(b), track_of, [&](const uint32_t *x, const uint32_t *y) {
        if (x && y && *x == *y) return;
        BesideDifference found{"stop", format("%u", track_of(x ? *x : *y)), {}, {}};
        if (x) found.first = stop_kind(*x);
        if (y) found.second = stop_kind(*y);
        tell(found);
    });
}

// ---- tags

std::string_view name_of(const vortag *tag) {
    return tag->tagname; // ended, whatever the file has
}

std::span<const uint8_t> payload_of(const vortag *tag) {
    const auto *bytes = reinterpret_cast<const uint8_t *>(tag);
    return {bytes + VOR_TAGHEAD, tag->tagsize - VOR_TAGNAME};
}

std::vector<const vortag *> sorted_tags(xvor_t *h) {
    std::vector<const vortag *> tags;
    if (!is_native(h)) return tags;
    for (vor_tagslot slot{0, nullptr}; lfspecial(h, LFS_NTH_TAG, &slot) == 0; ++slot.index) {
        if (slot.record) tags.push_back(slot.record);
    }
    std::stable_sort(tags.begin(), tags.end(),
                     [](const vortag *a, const vortag *b) { return name_of(a) < name_of(b); });
    return tags;
}

std::string size_text(const vortag *tag) {
    return format("%zu bytes", payload_of(tag).size());
}

std::string byte_text(const vortag *tag, size_t at) {
    return format("%u at byte %zu", payload_of(tag)[at], at);
}

void compare_tag(const vortag *a, const vortag *b, const Tell &tell) {
    const auto bytes = payload_of(a);
    const auto others = payload_of(b);
    if (bytes.size() != others.size()) {
        tell({"tag", std::string(name_of(a)), size_text(a), size_text(b)});
        return;
    }
    const auto differ = std::mismatch(bytes.begin(), bytes.end(), others.begin());
    if (differ.first == bytes.end()) return;
    const auto at = static_cast<size_t>(differ.first - bytes.begin());
    tell({"tag", std::string(name_of(a)), byte_text(a, at), byte_text(b, at)});
}

void compare_tags(xvor_t *a, xvor_t *b, const Tell &tell) {
    merge(sorted_tags(a), sorted_tags(b), name_of,
          [&](const vortag *const *x, const vortag *const *y) {
              if (x && y) {
                  compare_tag(*x, *y, tell);
              } else if (x) {
                  tell({"tag", std::string(name_of(*x)), size_text(*x), std::nullopt});
              } else if (y) {
                  tell({"tag", std::string(name_of(*y)), std::nullopt, size_text(*y)});
              }
          });
}

// ---- parameters

std::vector<Parameter> parameters_in(xvor_t *h) {
    return is_native(h) ? parameters_of(h) : std::vector<Parameter>();
}

template <class Number>
std::string shortest_text(Number number) {
    char text[32];
    return std::string(text, std::to_chars(text, text + sizeof text, number).ptr);
}

// Most are numbers of 32 bits in the file, and show as many digits as those need.
std::optional<std::string> value_text(const Parameter *parameter) {
    if (!parameter) return std::nullopt;
    const auto narrow = static_cast<float>(parameter->value);
    return narrow == parameter->value ? shortest_text(narrow) : shortest_text(parameter->value);
}

void compare_parameters(xvor_t *a, xvor_t *b, const Tell &tell) {
    const auto name = [](const Parameter &parameter) { return std::string_view(parameter.name); };
    merge(parameters_in(a), parameters_in(b), name, [&](const Parameter *x, const Parameter *y) {
        const auto first = value_text(x);
        const auto second = value_text(y);
        if (first != second) tell({"parameter", x ? x->name : y->name, first, second});
    });
}

// ---- colour tables

using Table = std::array<uint16_t, LF_NCOLORS>;

int32_t count_tables(xvor_t *h) {
    vorhdr header;
    if (!is_native(h) || lfspecial(h, LFS_VOR_HEADER, &header) != 0) return 0;
    return (header.hflags & HF_CTABS) != 0 ? h->nctab : 0;
}

Table table_of(xvor_t *h, int32_t index) {
    Table table{};
    if (lfspecial(h, LFS_SELECT_CTAB, &index) == 0) {
        std::copy_n(lfctable(h), table.size(), table.begin());
    }
    return table;
}

std::string entry_text(const Table &table, size_t entry) {
    return format("%u at entry %zu", table[entry], entry);
}

void compare_colour_tables(xvor_t *a, xvor_t *b, const Tell &tell) {
    const int32_t in_a = count_tables(a);
    const int32_t in_b = count_tables(b);
    if (in_a != in_b) tell({"colour tables", "", format("%d", in_a), format("%d", in_b)});
    for (int32_t i = 0; i < std::min(in_a, in_b); ++i) {
        const Table first = table_of(a, i);
        const Table second = table_of(b, i);
        const auto differ = std::mismatch(first.begin(), first.end(), second.begin());
        if (differ.first == first.end()) continue;
        const auto entry = static_cast<size_t>(differ.first - first.begin());
        tell(
            {"colour table", format("%d", i), entry_text(first, entry), entry_text(second, entry)});
    }
}

} // namespace

void require_tags(xvor_t *h) {
    const KeepReports reports;
    vor_tagslot slot{0, nullptr};
    if (!is_native(h) || lfspecial(h, LFS_NTH_TAG, &slot) == 0) return;
    // The track that the handle stands at has no part in it.
    std::string cause = reports.first("damaged");
    const std::string track = format("track %d: ", h->track);
    if (cause.starts_with(track)) cause.erase(0, track.size());
    throw Failure(h->name, "bad tags: " + cause);
}

void compare_beside_tracks(xvor_t *a, xvor_t *b, const Tell &tell) {
    compare_stops(a, b, tell);
    compare_tags(a, b, tell);
    compare_parameters(a, b, tell);
    compare_colour_tables(a, b, tell);
}

} // namespace vor::tool
