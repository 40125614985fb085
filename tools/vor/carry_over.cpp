#include "carry_over.h"

#include "vor/vor.h"

namespace vor::tool {
namespace {

// The kinds of argument that the requests for the parameters take.
union Parameter {
    double real;
    int32_t number;
    uint32_t word;
};

struct ParameterRequests {
    int32_t get;
    int32_t set;
};

constexpr ParameterRequests parameters[] = {
    {LFS_GET_PARAM_A, LFS_SET_PARAM_A}, {LFS_GET_PARAM_B, LFS_SET_PARAM_B},
    {LFS_GET_PARAM_C, LFS_SET_PARAM_C}, {LFS_GET_PARAM_D, LFS_SET_PARAM_D},
    {LFS_GET_PARAM_E, LFS_SET_PARAM_E}, {LFS_GET_PARAM_F, LFS_SET_PARAM_F},
};

int32_t copy_table(xvor_t *from, xvor_t *to, int32_t index) {
    if (lfspecial(from, LFS_SELECT_CTAB, &index) != 0) return -1;
    vor_ctabreq request{.index = index, .create = 1, .table = lfctable(from)};
    return lfspecial(to, LFS_SET_CTAB, &request);
}

} // namespace

void set_identity(xvor_t *h) {
    uint16_t *table = lfctable(h);
    for (uint16_t i = 0; i < LF_NCOLORS; ++i)
        table[i] = i;
}

int32_t copy_colour_tables(xvor_t *from, xvor_t *to) {
    vorhdr header;
    int32_t result = 0;
    if (lfspecial(from, LFS_VOR_HEADER, &header) != 0) return -1;
    if ((header.hflags & HF_CTABS) != 0) {
        for (int32_t i = 0; i < from->nctab && result == 0; ++i)
            result = copy_table(from, to, i);
    }
    set_identity(from);
    set_identity(to);
    return result;
}

int32_t copy_parameters(xvor_t *from, xvor_t *to) {
    for (const ParameterRequests &parameter : parameters) {
        Parameter value{};
        if (lfspecial(from, parameter.get, &value) < 0) continue; // not set
        if (lfspecial(to, parameter.set, &value) < 0) return -1;
    }
    return 0;
}

int32_t copy_tags(xvor_t *from, xvor_t *to) {
    return lfspecial(to, LFS_COPY_TAGS, from);
}

int32_t copy_stops(const xvor_t *from, xvor_t *to) {
    const uint32_t *stops = lfstoptable(from);
    for (uint32_t i = 0; i < lfstoptablesize(from); ++i) {
        const auto track = static_cast<int32_t>(stops[i] & LF_STOP_TRACK);
        if (lfsetstop(to, track, stops[i] & ~LF_STOP_TRACK) < 0) return -1;
    }
    return 0;
}

} // namespace vor::tool
