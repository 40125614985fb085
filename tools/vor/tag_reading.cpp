#include "tag_reading.h"

#include <algorithm>

#include "interrupt.h"
#include "report.h"

namespace vor::tool {

NativeLayout layout_with_tags(FileBytes &file) {
    std::optional<NativeLayout> layout = read_layout(file);
    if (!layout || file.size() < VOR_HDRSIZE) {
        throw Failure(file.name(), "not a native file, keeps no tags");
    }
    return *std::move(layout);
}

void refuse_damaged_tags(const std::string &name, const NativeLayout &layout) {
    const bool bad_checksum =
        checksum_counts(layout.header) && header_checksum(layout.bytes) != layout.header.hcrc;
    if (bad_checksum) throw Failure(name, "the header checksum does not match, nothing is changed");
    FileBytes file(name);
    const std::string fault = tag_list_fault(walk_tags(file, layout, {}));
    if (!fault.empty()) throw Failure(name, fault + "; nothing is changed");
}

std::string tag_list_fault(const TagWalk &walk) {
    if (walk.fault == TagFault::none) return "";
    return format("the tag list is damaged at byte %lld: %s",
                  static_cast<long long>(walk.fault_offset), tag_fault_text(walk.fault));
}

std::optional<TagRecord> find_tag(FileBytes &file, const NativeLayout &layout,
                                  const std::string &name, TagWalk *walk) {
    std::optional<TagRecord> found;
    *walk = walk_tags(file, layout, [&](const TagRecord &tag) {
        stop_if_interrupted();
        if (tag.name == name) found = tag;
        return true;
    });
    return found;
}

PayloadKind payload_kind(FileBytes &file, const TagRecord &tag) {
    if (tag.payload_bytes > VOR_MAXTEXTTAG) return PayloadKind::binary;
    if (tag.payload_bytes > static_cast<int64_t>(FileBytes::window_bytes)) {
        return guess_kind(whole_payload(file, tag));
    }
    return guess_kind(file.at(tag.payload_offset, static_cast<size_t>(tag.payload_bytes)));
}

void read_payload(FileBytes &file, const TagRecord &tag,
                  const std::function<void(std::span<const uint8_t>)> &sink) {
    for (int64_t at = tag.payload_offset; at < tag.end();) {
        stop_if_interrupted();
        const auto piece = file.some(at);
        if (piece.empty()) throw Failure(file.name(), "cannot be read to its end");
        const auto count = std::min(piece.size(), static_cast<size_t>(tag.end() - at));
        sink(piece.first(count));
        at += static_cast<int64_t>(count);
    }
}

std::vector<uint8_t> whole_payload(FileBytes &file, const TagRecord &tag) {
    std::vector<uint8_t> payload(static_cast<size_t>(tag.payload_bytes));
    if (file.copy(tag.payload_offset, payload) < payload.size()) {
        throw Failure(file.name(), "cannot be read to its end");
    }
    return payload;
}

} // namespace vor::tool
