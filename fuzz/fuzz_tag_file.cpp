// Any bytes as a file of tags. The tags that it gives go into a raster file and out again, as
// records, as a dumped file of tags, and through an update that changes nothing: always the same.
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "harness.h"
#include "libvor.h"

namespace vor::fuzz {
namespace {

using Tags = std::vector<std::pair<std::string, std::vector<uint8_t>>>;

Tags tags_of(xvor_t *h) {
    Tags tags;
    vor_tagslot slot = {0, nullptr};
    for (; lfspecial(h, LFS_NTH_TAG, &slot) == 0; ++slot.index) {
        if (!slot.record) continue;
        const auto *const bytes = reinterpret_cast<const uint8_t *>(slot.record);
        tags.emplace_back(
            slot.record->tagname,
            std::vector<uint8_t>(bytes + VOR_TAGHEAD, bytes + 4 + slot.record->tagsize));
    }
    return tags;
}

xvor_t *open_new(const ScratchFile &file, uint32_t mode) {
    xvor_t *const h = lfopen(file.name(), LF_WRITE | mode, lffdev(0, VT_FW8), nullptr);
    require(h && lfsetsize(h, 1, 8) == 0 && lfcheck(h) == 0, "a file can be made");
    return h;
}

void finish(xvor_t *h) {
    Track track(1);
    lffill(&track, 8, 0);
    require(lfwrite(h, &track, 0) == 0, "a track can be written");
    require(lfclose(h) == 0, "a file can be finished");
}

void hold_against_dump(xvor_t *h, const Tags &tags) {
    static const ScratchFile dump(".tags");
    static const ScratchFile other(".vor");
    require(lfdump_ftags(h, dump.name()) == static_cast<int32_t>(tags.size()),
            "all tags of a file of tags have a payload and are dumped");
    xvor_t *const copy = open_new(other, 0);
    require(lfadd_ftags(copy, dump.name()) == 0, "a dump can be read");
    require(tags_of(copy) == tags, "a dump holds what was dumped");
    finish(copy);
}

void hold_against_file(const ScratchFile &file, const Tags &tags) {
    const std::vector<uint8_t> before = file.bytes();
    for (const uint32_t access : {LF_READ, LF_UPDATE}) {
        xvor_t *const h = lfopen(file.name(), access, 0, nullptr);
        require(h && lfcheck(h) == 0, "a finished file opens");
        require(tags_of(h) == tags, "a file gives back its tags");
        require(lfclose(h) == 0, "a file closes");
    }
    require(file.bytes() == before, "an update without change leaves the file as it is");
}

} // namespace
} // namespace vor::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    using namespace vor::fuzz;
    static const ScratchFile input(".tags");
    static const ScratchFile file(".vor");
    be_quiet();
    input.store(data, size);
    Choices draw(data, size);
    xvor_t *const h = open_new(file, draw.coin() ? LF_SWAPPED : 0);
    lfadd_ftags(h, input.name()); // what it took before a fault stays
    const Tags tags = tags_of(h);
    hold_against_dump(h, tags);
    finish(h);
    hold_against_file(file, tags);
    return 0;
}
