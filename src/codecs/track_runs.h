// The runs of a track on their way into a file.
#ifndef VOR_CODECS_TRACK_RUNS_H
#define VOR_CODECS_TRACK_RUNS_H

#include <cstdint>

#include "trackfile/lf.h"

namespace vor {

// The i-th run to write: LF_YMIRROR takes them from the last to the first.
inline const lfrun &run_to_write(const xvor_t *h, const trackbuf *t, int32_t i) {
    return t->data[(h->flags & LF_YMIRROR) != 0 ? t->nruns - 1 - i : i];
}

// The colour table's entry for the colour of a run; a colour beyond the table stands for itself.
inline uint32_t colour_entry(const xvor_t *h, uint32_t colour) {
    return colour < LF_NCOLORS ? h->ctable[colour] : colour;
}

} // namespace vor

#endif
