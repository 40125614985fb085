// Comparison of handles, the image hash, and the handle's name and colours.

#include <cstring>

#include "trackfile/handle.h"
#include "util/checksum.h"

namespace {

constexpr uint32_t hash_mark = 0xEFBE00FF;

void put_little_endian(uint8_t *bytes, uint32_t value) {
    for (int i = 0; i < 4; ++i)
        bytes[i] = static_cast<uint8_t>(value >> (8 * i));
}

} // namespace

int32_t lfsamefile(const xvor_t *a, const xvor_t *b) {
    return std::strcmp(a->name, b->name) == 0;
}

int32_t lfsamescale(const xvor_t *a, const xvor_t *b) {
    return a->ysize == b->ysize && a->xsize == b->xsize && a->xe - a->xa == b->xe - b->xa &&
           a->ye - a->ya == b->ye - b->ya;
}

int32_t lfsameclip(const xvor_t *a, const xvor_t *b) {
    return a->xa == b->xa && a->ya == b->ya && a->xe == b->xe && a->ye == b->ye;
}

int32_t lfrebuild_image_hash(xvor_t *h, const void *bytes, size_t count) {
    h->hashvalid = 1;
    put_little_endian(h->imagehash, hash_mark);
    put_little_endian(h->imagehash + 4, kel_crc32_buffer(bytes, count));
    put_little_endian(h->imagehash + 8, static_cast<uint32_t>(h->fxsize));
    put_little_endian(h->imagehash + 12, static_cast<uint32_t>(h->fysize));
    return 0;
}

const char *lffilename(const xvor_t *h) {
    return h->name;
}

uint16_t *lfctable(xvor_t *h) {
    return h->ctable;
}
