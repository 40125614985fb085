// The tag list: records that stand one directly behind the other. A payload is the program's own
// and can be anything.

#include <algorithm>
#include <functional>
#include <utility>
#include <vector>

#include "deep_parts.h"
#include "interrupt.h"
#include "report.h"
#include "tag_text.h"

namespace vor::tool {
namespace {

constexpr int64_t size_bytes = VOR_TAGHEAD - VOR_TAGNAME;

// A name by its hash, and where its record stands. Lists can be long, and names are short.
using NamePlace = std::pair<size_t, int64_t>;

std::string quoted(const std::string &name) {
    return format("\"%s\"", shown_name(name).c_str());
}

std::string name_at(FileBytes &file, int64_t record) {
    const auto bytes = file.at(record + size_bytes, VOR_TAGNAME);
    return {bytes.begin(), std::find(bytes.begin(), bytes.end(), uint8_t{0})};
}

void check_name(const DeepCheck &check, const TagRecord &tag) {
    if (!tag.name.empty() && tag.name.size() < VOR_TAGNAME) return;
    check.findings.add({FindingId::tag_name,
                        {},
                        tag.offset + size_bytes,
                        tag.name.empty() ? "no name" : "a name of 32 bytes",
                        "1 to 31 bytes and a zero byte"});
}

// The bytes behind a name's zero byte; that byte itself is held where it is the last.
void check_rest(const DeepCheck &check, const TagRecord &tag) {
    const auto length = static_cast<int64_t>(tag.name.size());
    if (length == 0 || length >= VOR_TAGNAME) return;
    const int64_t begin = tag.offset + size_bytes + length + 1;
    const auto rest = check.file.at(begin, static_cast<size_t>(tag.payload_offset - begin));
    const auto odd = std::find_if(rest.begin(), rest.end(), [](uint8_t byte) { return byte != 0; });
    if (odd != rest.end()) {
        check.findings.add({FindingId::tag_name_rest,
                            {},
                            begin + (odd - rest.begin()),
                            format("0x%02X behind ", *odd) + quoted(tag.name),
                            "0"});
        return;
    }
    check.protection.add(begin, tag.payload_offset - begin, Cover::structure);
    if (length == VOR_TAGNAME - 1) check.protection.add(begin - 1, 1, Cover::structure);
}

void check_doubles(const DeepCheck &check, std::vector<NamePlace> *names) {
    std::sort(names->begin(), names->end());
    for (size_t i = 1; i < names->size(); ++i) {
        const NamePlace &one = (*names)[i - 1];
        const NamePlace &other = (*names)[i];
        if (one.first != other.first) continue;
        const std::string name = name_at(check.file, other.second);
        if (name_at(check.file, one.second) != name) continue;
        check.findings.add(
            {FindingId::tag_double,
             {},
             other.second + size_bytes,
             quoted(name) + format(", as at %lld", static_cast<long long>(one.second)),
             "a name of its own"});
    }
}

// `walk` has told its first fault alone, which may be one of a name.
bool is_whole(const NativeSection &list, const TagWalk &walk) {
    return walk.records == list.entries && !ends_list(walk.fault);
}

} // namespace

void check_tags(const DeepCheck &check) {
    const NativeSection *list = check.layout.find(SectionKind::tags);
    if (!list || !check.layout.lies_in_file(*list)) return;
    std::vector<NamePlace> names;
    int64_t last = list->offset;
    const TagWalk walk = walk_tags(check.file, check.layout, [&](const TagRecord &tag) {
        stop_if_interrupted();
        last = tag.offset;
        check_name(check, tag);
        check_rest(check, tag);
        names.emplace_back(std::hash<std::string>()(tag.name), tag.offset);
        return true;
    });
    check_doubles(check, &names);
    if (!is_whole(*list, walk)) {
        check.findings.add(
            {FindingId::tag_list,
             {},
             walk.end,
             format("%lld tags", static_cast<long long>(walk.records)) +
                 (ends_list(walk.fault) ? format(", then %s", tag_fault_text(walk.fault)) : ""),
             format("%lld", static_cast<long long>(list->entries))});
        return;
    }
    // The size of the last record alone is held by the list's end in any case: with that of another
    // one, what stands in the payloads can be taken for records.
    check.protection.add(last, size_bytes, Cover::structure);
}

} // namespace vor::tool
