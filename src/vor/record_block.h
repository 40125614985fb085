// A block that tags are put together in before they go into the table.
#ifndef VOR_VOR_RECORD_BLOCK_H
#define VOR_VOR_RECORD_BLOCK_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "util/owned.h"
#include "vor/vor.h"

namespace vor {

static_assert(sizeof(vortag) == VOR_TAGHEAD);

class RecordBlock {
public:
    // Room for `size` bytes, head included; the contents stay. False if there is no memory.
    bool reserve(size_t size) {
        if (size <= room_) return true;
        void *grown = std::realloc(record_.get(), size);
        if (!grown) return false;
        static_cast<void>(record_.release());
        record_.reset(static_cast<vortag *>(grown));
        room_ = size;
        return true;
    }

    size_t room() const { return room_; }
    vortag *record() const { return record_.get(); }
    uint8_t *payload() const {
        return static_cast<uint8_t *>(static_cast<void *>(record_.get())) + VOR_TAGHEAD;
    }

private:
    malloc_ptr<vortag> record_;
    size_t room_ = 0;
};

} // namespace vor

#endif
