// A tag as a program hands it over and finds it again.
#ifndef VOR_TESTS_TAG_RECORD_H
#define VOR_TESTS_TAG_RECORD_H

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "trackfile/lf.h"
#include "vor/vor.h"

namespace vor::test {

class TagRecord {
public:
    // `payload` bytes, a multiple of 4, each of the value `fill`.
    TagRecord(const std::string &name, uint32_t payload, uint8_t fill)
        : words_((VOR_TAGHEAD + payload) / 4) {
        words_[0] = payload + VOR_TAGNAME;
        std::memcpy(&words_[1], name.c_str(), name.size() + 1);
        std::memset(words_.data() + VOR_TAGHEAD / 4, fill, payload);
    }

    const char *name() const { return reinterpret_cast<const char *>(&words_[1]); }

    bool add_to(xvor_t *h) { return lfspecial(h, LFS_ADD_TAG, words_.data()) == 0; }

    // Whether the handle has a tag of this name, and whether it is this one.
    bool is_named_in(xvor_t *h) const { return find(h) != nullptr; }
    bool stands_in(xvor_t *h) const {
        const vortag *found = find(h);
        return found && std::memcmp(found, words_.data(), words_.size() * 4) == 0;
    }

private:
    const vortag *find(xvor_t *h) const {
        vor_tagreq request = {name(), nullptr};
        return lfspecial(h, LFS_FIND_TAG, &request) == 0 ? request.record : nullptr;
    }

    std::vector<uint32_t> words_;
};

} // namespace vor::test

#endif
