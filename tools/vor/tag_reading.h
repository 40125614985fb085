// The tags of a file that is only read, damaged or not. Payloads are taken from the file as they
// are needed.
#ifndef VOR_TOOL_TAG_READING_H
#define VOR_TOOL_TAG_READING_H

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "file_bytes.h"
#include "native_layout.h"
#include "tag_text.h"

namespace vor::tool {

// Throws a Failure for a file of another format, or shorter than a header.
NativeLayout layout_with_tags(FileBytes &file);

// Throws a Failure if the header's checksum does not fit or the tag list is malformed: an update
// would make a good header of a damaged one, and leave out what it cannot read.
void refuse_damaged_tags(const std::string &name, const NativeLayout &layout);

// Words for what is wrong with a tag list; empty if it is well.
std::string tag_list_fault(const TagWalk &walk);

// The tag of that name, nothing if there is none. Of several, the last one counts, as for the
// library. `walk` takes what is wrong with the list.
std::optional<TagRecord> find_tag(FileBytes &file, const NativeLayout &layout,
                                  const std::string &name, TagWalk *walk);

// A payload above VOR_MAXTEXTTAG bytes is binary.
PayloadKind payload_kind(FileBytes &file, const TagRecord &tag);

// Hands out a payload piece by piece.
void read_payload(FileBytes &file, const TagRecord &tag,
                  const std::function<void(std::span<const uint8_t>)> &sink);
std::vector<uint8_t> whole_payload(FileBytes &file, const TagRecord &tag);

} // namespace vor::tool

#endif
