// What a deep check finds, and the list that its findings go into. docs/checking.md tells how to
// read them.
#ifndef VOR_TOOL_FINDING_H
#define VOR_TOOL_FINDING_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace vor::tool {

// A fault makes a file bad. A warning is lawful, though this library writes no such file.
enum class Severity { fault, warning };

enum class FindingId {
    unreadable,
    foreign_format,
    file_short,
    header_checksum,
    type,
    byte_order,
    version,
    version_flags,
    reserved_bytes,
    unknown_flags,
    letters,
    tiled,
    image_size,
    pitch_range,
    pitch_pair,
    image_length,
    value_without_flag,
    longest_track,
    section_flag,
    offset_width,
    section_place,
    section_overlap,
    unused_bytes,
    seek_table_missing,
    seek_table_needed,
    seek_entry,
    seek_entry_place,
    blank_colour,
    track_pixels,
    track_cut,
    closing_code,
    stream_head,
    stream_data,
    stream_cut,
    stream_checksum,
    stream_end,
    stream_rest,
    stream_padding,
    stop_kind,
    stop_range,
    stop_order,
    stop_pair,
    colour_table_count,
    colour_table_value,
    colour_info_value,
    colour_info_use,
    tag_list,
    tag_name,
    tag_name_rest,
    tag_double
};

struct FindingKind {
    FindingId id;
    const char *name; // "header-checksum"; it never changes, for programs to go by
    Severity severity;
    const char *meaning;
};

// All there are, in the order of the ids.
std::span<const FindingKind> finding_kinds();
const FindingKind &kind_of(FindingId id);
const char *severity_name(Severity severity);

struct Finding {
    FindingId id = FindingId::unreadable;
    std::optional<int64_t> track;
    std::optional<int64_t> offset; // of the byte in the file where it shows
    std::string found;
    std::string expected;
};

bool operator==(const Finding &one, const Finding &other);

// Counts all findings and keeps the first ones.
class FindingList {
public:
    explicit FindingList(size_t most_kept) : most_(most_kept) {}

    void add(Finding finding);

    const std::vector<Finding> &kept() const { return kept_; }
    int64_t faults() const { return faults_; }
    int64_t warnings() const { return warnings_; }
    int64_t total() const { return faults_ + warnings_; }

private:
    size_t most_;
    std::vector<Finding> kept_;
    int64_t faults_ = 0;
    int64_t warnings_ = 0;
};

} // namespace vor::tool

#endif
