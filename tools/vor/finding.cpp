#include "finding.h"

#include <algorithm>
#include <array>

namespace vor::tool {
namespace {

constexpr Severity fault = Severity::fault;
constexpr Severity warning = Severity::warning;

constexpr std::array kinds = {
    FindingKind{FindingId::unreadable, "unreadable", fault,
                "the file cannot be read, or the library refuses it"},
    FindingKind{FindingId::foreign_format, "foreign-format", warning,
                "the file is not a native one: only the reader of its format was asked"},
    FindingKind{FindingId::file_short, "file-short", fault, "the file ends inside its header"},
    FindingKind{FindingId::header_checksum, "header-checksum", fault,
                "the header does not have the checksum that it bears"},
    FindingKind{FindingId::type, "type", fault, "the type is none of those that there are"},
    FindingKind{FindingId::byte_order, "byte-order", fault,
                "the byte order word contradicts the byte order of the type"},
    FindingKind{FindingId::version, "version", warning, "the version is not known"},
    FindingKind{FindingId::version_flags, "version-flags", warning,
                "a flag is set that means nothing in a file of this version"},
    FindingKind{FindingId::reserved_bytes, "reserved-bytes", warning,
                "reserved bytes of the header are not 0"},
    FindingKind{FindingId::unknown_flags, "unknown-flags", warning,
                "a flag is set that has no meaning"},
    FindingKind{FindingId::letters, "letters", warning, "the header does not end with its letters"},
    FindingKind{FindingId::tiled, "tiled", fault, "the image is cut into tiles"},
    FindingKind{FindingId::image_size, "image-size", fault,
                "the image has no tracks, no pixels or too many"},
    FindingKind{FindingId::pitch_range, "pitch-range", fault,
                "a pitch or a resolution is no number above 0"},
    FindingKind{FindingId::pitch_pair, "pitch-pair", warning,
                "the short form of a pitch is not the long one rounded"},
    FindingKind{FindingId::image_length, "image-length", warning,
                "a length is not that of the tracks or pixels at their pitch"},
    FindingKind{FindingId::value_without_flag, "value-without-flag", warning,
                "a field holds a value though its flag is clear"},
    FindingKind{FindingId::longest_track, "longest-track", warning,
                "the number of codes of the longest track is another"},
    FindingKind{FindingId::section_flag, "section-flag", warning,
                "flag, offset and count of a section contradict each other"},
    FindingKind{FindingId::offset_width, "offset-width", warning,
                "64-bit offsets are used where none are needed, or high words where none count"},
    FindingKind{FindingId::section_place, "section-place", fault,
                "a section begins inside the header or ends behind the file"},
    FindingKind{FindingId::section_overlap, "section-overlap", fault,
                "two parts of the file have bytes in common"},
    FindingKind{FindingId::unused_bytes, "unused-bytes", warning, "bytes belong to nothing"},
    FindingKind{FindingId::seek_table_missing, "seek-table-missing", warning,
                "there is no seek table"},
    FindingKind{FindingId::seek_table_needed, "seek-table-needed", fault,
                "there is no seek table, though the tracks are deflated"},
    FindingKind{FindingId::seek_entry, "seek-entry", fault,
                "an entry is neither an offset nor the mark of a blank track"},
    FindingKind{FindingId::seek_entry_place, "seek-entry-place", fault,
                "an entry is not where the track before ends"},
    FindingKind{FindingId::blank_colour, "blank-colour", fault,
                "the mark of a blank track has a colour that there is not in two colours"},
    FindingKind{FindingId::track_pixels, "track-pixels", fault,
                "the codes of a track do not add up to its pixels"},
    FindingKind{FindingId::track_cut, "track-cut", fault,
                "the place for tracks ends inside a track"},
    FindingKind{FindingId::closing_code, "closing-code", warning,
                "the zero code at the end of a track has a colour"},
    FindingKind{FindingId::stream_head, "stream-head", fault,
                "a deflated track does not begin with the head of a stream"},
    FindingKind{FindingId::stream_data, "stream-data", fault, "the data of a stream are broken"},
    FindingKind{FindingId::stream_cut, "stream-cut", fault,
                "the place for tracks ends inside a stream"},
    FindingKind{FindingId::stream_checksum, "stream-checksum", fault,
                "the data of a stream do not have the checksum behind them"},
    FindingKind{FindingId::stream_end, "stream-end", fault,
                "a stream ends before the zero code of its track"},
    FindingKind{FindingId::stream_rest, "stream-rest", fault,
                "a stream holds bytes behind the zero code of its track"},
    FindingKind{FindingId::stream_padding, "stream-padding", warning,
                "the unused bits of the last byte of a stream's data are not 0"},
    FindingKind{FindingId::stop_kind, "stop-kind", fault,
                "a stop is neither first, last nor single"},
    FindingKind{FindingId::stop_range, "stop-range", fault, "a stop marks a track that is not"},
    FindingKind{FindingId::stop_order, "stop-order", fault, "a stop is not behind the one before"},
    FindingKind{FindingId::stop_pair, "stop-pair", warning,
                "the first and last stops of stretches do not take turns"},
    FindingKind{FindingId::colour_table_count, "colour-table-count", warning,
                "there are more colour tables than programs can reach"},
    FindingKind{FindingId::colour_table_value, "colour-table-value", warning,
                "a colour table gives a code that is not counted as a colour"},
    FindingKind{FindingId::colour_info_value, "colour-info-value", warning,
                "a byte of the colour info is neither 0 nor 1"},
    FindingKind{FindingId::colour_info_use, "colour-info-use", warning,
                "the colour info tells of other colours than the tracks have"},
    FindingKind{FindingId::tag_list, "tag-list", fault, "the tag list cannot be walked to its end"},
    FindingKind{FindingId::tag_name, "tag-name", fault, "the name of a tag is empty or has no end"},
    FindingKind{FindingId::tag_name_rest, "tag-name-rest", warning,
                "bytes behind the name of a tag are not 0"},
    FindingKind{FindingId::tag_double, "tag-double", fault, "two tags have the same name"}};

constexpr bool stand_in_order() {
    for (size_t i = 0; i < kinds.size(); ++i) {
        if (static_cast<size_t>(kinds[i].id) != i) return false;
    }
    return kinds.back().id == FindingId::tag_double;
}
static_assert(stand_in_order());

} // namespace

std::span<const FindingKind> finding_kinds() {
    return kinds;
}

const FindingKind &kind_of(FindingId id) {
    return kinds[static_cast<size_t>(id)];
}

const char *severity_name(Severity severity) {
    return severity == fault ? "fault" : "warning";
}

bool operator==(const Finding &one, const Finding &other) {
    return one.id == other.id && one.track == other.track && one.offset == other.offset &&
           one.found == other.found && one.expected == other.expected;
}

void FindingList::add(Finding finding) {
    ++(kind_of(finding.id).severity == fault ? faults_ : warnings_);
    if (kept_.size() < most_) kept_.push_back(std::move(finding));
}

} // namespace vor::tool
