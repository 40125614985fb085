// The new table takes the place of the old one, or stands behind the tracks if there was none:
//
//   header | tracks | old table | seek table, colours, tags
//   header | tracks | new table  | the same, moved by the difference
//
// The seek table holds offsets of tracks, so tracks must not move.

#include "stop_rewrite.h"

#include <algorithm>
#include <vector>

#include "header_patch.h"
#include "interrupt.h"
#include "progress.h"
#include "report.h"

namespace vor::tool {
namespace {

constexpr int64_t entry_bytes = sizeof(uint32_t);

// Where the old table stands; without one, an empty range where the new table may stand.
ByteRange place_of_table(const NativeLayout &layout) {
    const NativeSection *stops = layout.find(SectionKind::stops);
    if (stops && layout.lies_in_file(*stops)) return {stops->offset, stops->end()};
    return {layout.tracks_end, layout.tracks_end};
}

void refuse_overlap(const FileBytes &file, const NativeLayout &layout, const ByteRange &table) {
    for (const NativeSection &section : layout.sections) {
        if (section.kind == SectionKind::stops || section.offset >= table.end) continue;
        if (section.end() > table.begin) {
            throw Failure(file.name(), std::string("the stop table cannot be changed: the ") +
                                           section.name + " lies in its way");
        }
    }
}

void refuse_tracks_behind(FileBytes &file, const NativeLayout &layout, const ByteRange &table) {
    const NativeSection *seek_table = layout.find(SectionKind::seek_table);
    if (!seek_table || !layout.lies_in_file(*seek_table)) return;
    for (int64_t n = 0; n < seek_table->entries; ++n) {
        stop_if_interrupted();
        const auto entry = seek_entry(file, layout, n);
        if (entry && is_track_place(*entry) && *entry >= table.begin) {
            throw Failure(file.name(),
                          format("the stop table cannot be changed: track %lld lies behind it",
                                 static_cast<long long>(n)));
        }
    }
}

void set_table(HeaderPatch *header, int64_t offset, uint32_t count) {
    constexpr size_t flags = offsetof(vorhdr, hflags);
    const uint32_t others = header->word(flags) & ~HF_STOPS;
    header->set_word(flags, count > 0 ? others | HF_STOPS : others);
    header->set_word(offsetof(vorhdr, stopcount), count);
    header->set_offset(SectionKind::stops, count > 0 ? offset : 0);
}

HeaderPatch moved_header(const FileBytes &file, const NativeLayout &layout, const ByteRange &table,
                         size_t count) {
    HeaderPatch header(layout);
    const int64_t moved = static_cast<int64_t>(count) * entry_bytes - (table.end - table.begin);
    bool said = true;
    for (const NativeSection &section : layout.sections) {
        const bool behind = section.offset >= table.end && layout.lies_in_file(section);
        if (behind && section.kind != SectionKind::stops) {
            said = header.set_offset(section.kind, section.offset + moved) && said;
        }
    }
    if (!said) throw Failure(file.name(), "is too large for its version of the format");
    set_table(&header, table.begin, static_cast<uint32_t>(count));
    return header;
}

void copy_range(FileBytes &file, int64_t begin, int64_t end, SafeOutput *output,
                Progress *progress) {
    for (int64_t at = begin; at < end;) {
        stop_if_interrupted();
        progress->reach(at);
        const auto bytes = file.some(at);
        if (bytes.empty()) throw Failure(file.name(), "cannot be read to its end");
        const auto count = std::min(bytes.size(), static_cast<size_t>(end - at));
        output->write(bytes.first(count));
        at += static_cast<int64_t>(count);
    }
}

std::vector<uint8_t> bytes_of(std::span<const uint32_t> entries, ByteOrder order) {
    std::vector<uint8_t> bytes(entries.size() * entry_bytes);
    for (size_t i = 0; i < entries.size(); ++i)
        put_number(bytes.data() + i * entry_bytes, entries[i], order);
    return bytes;
}

} // namespace

void copy_with_stops(FileBytes &file, const NativeLayout &layout, std::span<const uint32_t> entries,
                     SafeOutput *output, bool quiet) {
    const ByteRange table = place_of_table(layout);
    refuse_overlap(file, layout, table);
    refuse_tracks_behind(file, layout, table);
    HeaderPatch header = moved_header(file, layout, table, entries.size());
    Progress progress(file.name(), file.size(), quiet);
    output->write(header.finish());
    copy_range(file, VOR_HDRSIZE, table.begin, output, &progress);
    output->write(bytes_of(entries, layout.order));
    copy_range(file, table.end, file.size(), output, &progress);
}

} // namespace vor::tool
