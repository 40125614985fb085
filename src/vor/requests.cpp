// The special requests that a native handle answers. All take an argument; without one they fail.

#include <algorithm>
#include <cstring>
#include <type_traits>

#include "platform/kel.h"
#include "util/owned.h"
#include "vor/driver.h"

namespace vor {
namespace {

// ---- parameters ----

// Programs pass doubles for the parameters that the header keeps as floats, else what it keeps.
template <class Field>
using Passed = std::conditional_t<std::is_same_v<Field, float>, double, Field>;

template <class Field>
int32_t set_parameter(xvor_t *h, Field vorhdr::*field, uint32_t flag, const void *arg) {
    Passed<Field> value;
    std::memcpy(&value, arg, sizeof value);
    vorhdr *hdr = &priv(h)->hdr;
    if constexpr (std::is_same_v<Field, float>) {
        hdr->*field = to_float(value);
    } else {
        hdr->*field = value;
    }
    hdr->hflags |= flag;
    h->flags |= LF_DIRTY;
    return 0;
}

template <class Field>
int32_t get_parameter(const xvor_t *h, Field vorhdr::*field, uint32_t flag, void *arg) {
    const vorhdr &hdr = priv(h)->hdr;
    if (!(hdr.hflags & flag)) return LF_UNHANDLED;
    const Passed<Field> value = hdr.*field;
    std::memcpy(arg, &value, sizeof value);
    return 0;
}

// ---- header, colour info, hash ----

int32_t copy_header(const xvor_t *h, void *arg) {
    std::memcpy(arg, &priv(h)->hdr, sizeof(vorhdr));
    return 0;
}

int32_t select_table(xvor_t *h, const void *arg) {
    int32_t index = 0;
    std::memcpy(&index, arg, sizeof index);
    return vor_selectctab(h, index);
}

int32_t set_colour_info(xvor_t *h, const vor_colorinfo *info) {
    if (info->magic != VOR_COLORINFO_MAGIC) return LF_UNHANDLED;
    const size_t count = std::min<size_t>(info->count, sizeof h->colorinfo);
    std::memset(h->colorinfo, 0, sizeof h->colorinfo);
    std::memcpy(h->colorinfo, info->bytes, count);
    uint32_t *hflags = &priv(h)->hdr.hflags;
    *hflags = count > 0 ? *hflags | HF_CINFO : *hflags & ~HF_CINFO;
    h->flags |= LF_DIRTY;
    return 0;
}

int32_t get_colour_info(const xvor_t *h, vor_colorinfo *info) {
    if (info->magic != VOR_COLORINFO_MAGIC) return LF_UNHANDLED;
    info->count = 0;
    if (!(priv(h)->hdr.hflags & HF_CINFO)) return 0;
    info->count = sizeof info->bytes;
    std::memcpy(info->bytes, h->colorinfo, sizeof info->bytes);
    return 0;
}

// The hash of a file goes over its seek table, as the bytes stand in the file. The file position
// stays: the inflate layer counts on it.
int32_t hash_seek_table(xvor_t *h, const vorpriv *p) {
    lfflush(h);
    const uint32_t width = p->hdr.hflags & HF_SEEK64 ? 8 : 4;
    if (!section_in_file(h, p->seekoff, p->hdr.tracks, width)) return -1;
    const uint64_t bytes = uint64_t{p->hdr.tracks} * width;
    const auto size = static_cast<size_t>(bytes);
    if (size != bytes) return -1;
    const malloc_ptr<uint8_t> table(allocate_array<uint8_t>(size));
    if (!table) return -1;
    const int64_t position = kel_lseek(h->fd, 0, KEL_SEEK_CUR);
    const bool read = read_section(h, p->seekoff, table.get(), size);
    if (kel_lseek(h->fd, position, KEL_SEEK_SET) < 0 || !read) return -1;
    return lfrebuild_image_hash(h, table.get(), size);
}

// Without a table the header stands for the image. That is no hash to be kept.
void fill_plain_hash(xvor_t *h, const vorhdr &hdr) {
    std::memcpy(h->imagehash + 4, &hdr.xpitch, 4);
    std::memcpy(h->imagehash + 8, &hdr.tracks, 4);
    std::memcpy(h->imagehash + 12, &hdr.pixels, 4);
}

int32_t image_hash(xvor_t *h, void *arg) {
    const vorpriv *p = priv(h);
    if (h->hashvalid == 0) {
        if (p->seekoff > 0 && (p->hdr.hflags & HF_SEEKTAB)) {
            if (hash_seek_table(h, p) < 0) return -1;
        } else {
            fill_plain_hash(h, p->hdr);
        }
    }
    std::memcpy(arg, h->imagehash, sizeof h->imagehash);
    return 0;
}

} // namespace

int32_t vor_special(xvor_t *h, int32_t request, void *arg) {
    if (!priv(h) || request < LFS_VOR_HEADER || request > LFS_IMAGE_HASH) return LF_UNHANDLED;
    if (request == LFS_LOG_STATISTICS || request == LFS_RESET_STATISTICS) return LF_UNHANDLED;
    if (!arg) return -1;
    switch (request) {
    case LFS_VOR_HEADER:
        return copy_header(h, arg);
    case LFS_SELECT_CTAB:
        return select_table(h, arg);
    case LFS_SET_CTAB:
        return vor_setctab(h, static_cast<const vor_ctabreq *>(arg));
    case LFS_SET_PARAM_A:
        return set_parameter(h, &vorhdr::param_a, HF_PARAM_A, arg);
    case LFS_SET_PARAM_B:
        return set_parameter(h, &vorhdr::param_b, HF_PARAM_B, arg);
    case LFS_SET_PARAM_C:
        return set_parameter(h, &vorhdr::param_c, HF_PARAM_C, arg);
    case LFS_SET_PARAM_D:
        return set_parameter(h, &vorhdr::param_d, HF_PARAM_D, arg);
    case LFS_SET_PARAM_E:
        return set_parameter(h, &vorhdr::param_e, HF_PARAM_E, arg);
    case LFS_SET_PARAM_F:
        return set_parameter(h, &vorhdr::param_f, HF_PARAM_F, arg);
    case LFS_GET_PARAM_A:
        return get_parameter(h, &vorhdr::param_a, HF_PARAM_A, arg);
    case LFS_GET_PARAM_B:
        return get_parameter(h, &vorhdr::param_b, HF_PARAM_B, arg);
    case LFS_GET_PARAM_C:
        return get_parameter(h, &vorhdr::param_c, HF_PARAM_C, arg);
    case LFS_GET_PARAM_D:
        return get_parameter(h, &vorhdr::param_d, HF_PARAM_D, arg);
    case LFS_GET_PARAM_E:
        return get_parameter(h, &vorhdr::param_e, HF_PARAM_E, arg);
    case LFS_GET_PARAM_F:
        return get_parameter(h, &vorhdr::param_f, HF_PARAM_F, arg);
    case LFS_SET_COLOR_INFO:
        return set_colour_info(h, static_cast<const vor_colorinfo *>(arg));
    case LFS_GET_COLOR_INFO:
        return get_colour_info(h, static_cast<vor_colorinfo *>(arg));
    case LFS_IMAGE_HASH:
        return image_hash(h, arg);
    default:
        return tag_request(h, request, arg);
    }
}

} // namespace vor
