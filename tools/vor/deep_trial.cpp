// Which bytes of the header are protected is found by trying: each bit is flipped in a copy of it,
// and the checks are run on the copy. A byte counts if each of its eight bits leads to a finding
// that the header as it is does not lead to.

#include <algorithm>
#include <array>
#include <limits>

#include "deep_parts.h"
#include "native_layout.h"

namespace vor::tool {
namespace {

using HeaderBytes = std::array<uint8_t, VOR_HDRSIZE>;

constexpr int32_t bits_per_byte = 8;
constexpr size_t all = std::numeric_limits<size_t>::max();

int64_t tag_offset(const vorhdr &header, bool wide) {
    const uint64_t high = wide ? header.tagoff_hi : 0;
    return static_cast<int64_t>(high << 32 | header.tagoff_lo);
}

class Trial {
public:
    Trial(const DeepCheck &check, const TrackFacts &facts)
        : check_(check), facts_(facts), tags_(check.layout.find(SectionKind::tags)),
          before_(findings_of(check.layout)) {}

    bool shows(size_t place, int32_t bit) const;

private:
    FindingList findings_of(const NativeLayout &layout) const;
    NativeLayout layout_by(const HeaderBytes &bytes) const;
    bool shows_in_tracks(const vorhdr &header) const;

    const DeepCheck &check_;
    const TrackFacts &facts_;
    const NativeSection *tags_;
    FindingList before_;
};

FindingList Trial::findings_of(const NativeLayout &layout) const {
    FindingList findings(all);
    check_header(layout, facts_, &findings);
    check_places(layout, facts_, &findings);
    return findings;
}

// The layout by a changed header, with a tag list of the size that it has. The list is not walked
// anew: one that begins elsewhere leaves a gap, whatever is found there.
NativeLayout Trial::layout_by(const HeaderBytes &bytes) const {
    HeaderBytes without_tags = bytes;
    std::fill_n(without_tags.begin() + offsetof(vorhdr, tagcount), sizeof(vorhdr::tagcount),
                uint8_t{0});
    NativeLayout layout = layout_of(check_.file, without_tags, check_.layout.order);
    layout.bytes = bytes;
    layout.header = decode_header(bytes, layout.order);
    const auto count = static_cast<int32_t>(layout.header.tagcount);
    const int64_t offset = tag_offset(layout.header, layout.has(HF_OFF64));
    if (count <= 0 || offset < VOR_HDRSIZE) return layout;
    const int64_t more = count - (tags_ ? tags_->entries : 0);
    NativeSection list = tags_ ? *tags_ : NativeSection{SectionKind::tags, "tag list"};
    list.offset = offset;
    list.entries = count;
    list.bytes = std::max<int64_t>(list.bytes + more * VOR_TAGHEAD, 0);
    layout.sections.push_back(list);
    return layout;
}

// What the tracks make of a changed header: none adds up to other pixels, and without a table there
// are none or too many bytes for other tracks.
bool Trial::shows_in_tracks(const vorhdr &header) const {
    const vorhdr &own = check_.layout.header;
    if (header.pixels != own.pixels && facts_.coded > 0) return true;
    return header.tracks != own.tracks && !check_.layout.find(SectionKind::seek_table);
}

bool Trial::shows(size_t place, int32_t bit) const {
    HeaderBytes bytes = check_.layout.bytes;
    bytes[place] = static_cast<uint8_t>(bytes[place] ^ (1U << bit));
    const auto order = native_byte_order(bytes);
    if (!order || *order != check_.layout.order) return true; // no longer a native file
    const NativeLayout layout = layout_by(bytes);
    if (shows_in_tracks(layout.header)) return true;
    const FindingList after = findings_of(layout);
    const auto &known = before_.kept();
    return std::any_of(after.kept().begin(), after.kept().end(), [&](const Finding &finding) {
        return std::find(known.begin(), known.end(), finding) == known.end();
    });
}

} // namespace

void count_header(const DeepCheck &check, const TrackFacts &facts) {
    const Trial trial(check, facts);
    const vorhdr &header = check.layout.header;
    const bool summed = header.hcrc != 0 || (header.hflags & HF_CRC) != 0;
    for (size_t place = 0; place < check.layout.bytes.size(); ++place) {
        int32_t bit = 0;
        while (bit < bits_per_byte && trial.shows(place, bit))
            ++bit;
        if (bit < bits_per_byte) continue;
        check.protection.add(static_cast<int64_t>(place), 1,
                             summed ? Cover::checksum : Cover::structure);
    }
}

} // namespace vor::tool
