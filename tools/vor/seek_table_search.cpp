#include "seek_table_search.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>

#include "interrupt.h"
#include "salvage_header.h"

namespace vor::tool {
namespace {

// Entries that can be part of one table, around an entry that is known.
class Search {
public:
    Search(FileBytes &file, const NativeLayout &layout, int64_t from, bool wide)
        : file_(file), layout_(layout), from_(from), width_(wide ? 8 : 4) {}

    // The begin of a table with the entry for the data at `start`, the first track's or the last's.
    std::optional<int64_t> find(int64_t start, bool is_first);

    // How many entries of a table lead to tracks that are known.
    int64_t count_known(int64_t begin, const std::vector<int64_t> &starts);

private:
    int64_t next_hit(int64_t at, std::span<const uint8_t> pattern);
    std::optional<int64_t> entry_at(int64_t offset);
    int64_t count_behind(int64_t at, int64_t most);
    int64_t count_before(int64_t at, int64_t most);
    std::optional<int64_t> table_around(int64_t hit, bool is_first);

    FileBytes &file_;
    const NativeLayout &layout_;
    int64_t from_;
    int64_t width_;
};

int64_t Search::next_hit(int64_t at, std::span<const uint8_t> pattern) {
    while (at < file_.size()) {
        const auto bytes = file_.at(at, FileBytes::window_bytes);
        const auto hit = std::search(bytes.begin(), bytes.end(), pattern.begin(), pattern.end());
        if (hit != bytes.end()) return at + (hit - bytes.begin());
        if (bytes.size() < FileBytes::window_bytes) break;
        at += static_cast<int64_t>(bytes.size() - pattern.size() + 1);
    }
    return file_.size();
}

std::optional<int64_t> Search::entry_at(int64_t offset) {
    const auto bytes = file_.at(offset, static_cast<size_t>(width_));
    if (offset < from_ || bytes.size() < static_cast<size_t>(width_)) return std::nullopt;
    const int64_t entry = width_ == 8 ? number_at<int64_t>(bytes.data(), layout_.order)
                                      : number_at<int32_t>(bytes.data(), layout_.order);
    if (!is_plausible_entry(layout_, entry) || entry >= offset) return std::nullopt;
    return entry;
}

// How many of `most` entries in a row can stand behind one, or before it.
int64_t Search::count_behind(int64_t at, int64_t most) {
    int64_t bound = entry_at(at).value_or(0);
    int64_t count = 0;
    for (at += width_; count < most; at += width_, ++count) {
        const std::optional<int64_t> entry = entry_at(at);
        if (!entry || (*entry >= 0 && *entry <= bound)) break;
        bound = std::max(bound, *entry);
    }
    return count;
}

int64_t Search::count_before(int64_t at, int64_t most) {
    int64_t bound = entry_at(at).value_or(0);
    int64_t count = 0;
    for (at -= width_; count < most; at -= width_, ++count) {
        const std::optional<int64_t> entry = entry_at(at);
        if (!entry || *entry >= bound) break;
        if (*entry >= 0) bound = *entry;
    }
    return count;
}

// What borders on the table may look like entries too: behind the last track's entry, or before the
// first one's, only blank tracks are looked for at first.
std::optional<int64_t> Search::table_around(int64_t hit, bool is_first) {
    const int64_t others = int64_t{layout_.header.tracks} - 1;
    int64_t before = 0;
    int64_t behind = 0;
    if (is_first) {
        before = count_before(hit, others);
        behind = count_behind(hit, others - before);
    } else {
        behind = count_behind(hit, others);
        before = count_before(hit, others - behind);
    }
    if (before + behind < others) return std::nullopt;
    return hit - before * width_;
}

int64_t Search::count_known(int64_t begin, const std::vector<int64_t> &starts) {
    int64_t known = 0;
    for (int64_t n = 0; n < int64_t{layout_.header.tracks}; ++n) {
        const std::optional<int64_t> entry = entry_at(begin + n * width_);
        if (entry && std::binary_search(starts.begin(), starts.end(), *entry)) ++known;
    }
    return known;
}

std::optional<int64_t> Search::find(int64_t start, bool is_first) {
    std::array<uint8_t, 8> pattern{};
    const auto width = static_cast<size_t>(width_);
    for (size_t i = 0; i < width; ++i) {
        const size_t place = layout_.order == ByteOrder::little ? i : width - 1 - i;
        pattern[place] = static_cast<uint8_t>(static_cast<uint64_t>(start) >> (8 * i));
    }
    const auto wanted = std::span<const uint8_t>(pattern).first(width);
    for (int64_t hit = next_hit(from_, wanted); hit < file_.size();
         hit = next_hit(hit + 1, wanted)) {
        stop_if_interrupted();
        if (!entry_at(hit)) continue;
        const std::optional<int64_t> begin = table_around(hit, is_first);
        if (begin) return begin;
    }
    return std::nullopt;
}

} // namespace

std::optional<FoundSeekTable> find_seek_table(FileBytes &file, const NativeLayout &layout,
                                              const std::vector<int64_t> &starts, int64_t from) {
    if (starts.empty()) return std::nullopt;
    std::optional<FoundSeekTable> best;
    int64_t most = 0;
    for (const bool is_first : {true, false}) {
        const int64_t start = is_first ? starts.front() : starts.back();
        for (const bool wide : {false, true}) {
            if (!wide && start > INT32_MAX) continue;
            Search search(file, layout, from, wide);
            const std::optional<int64_t> begin = search.find(start, is_first);
            const int64_t known = begin ? search.count_known(*begin, starts) : 0;
            if (known > most) best = FoundSeekTable{*begin, wide};
            most = std::max(most, known);
        }
    }
    return best;
}

} // namespace vor::tool
