/* A module of bitmap codecs with one codec, "fw8". RESULT is what its start gives, INSTALLS whether
 * it installs its finder and hook. */
#include <string.h>

#include "codecs/codecs.h"

static int32_t read_track(xvor_t *h, trackbuf *t) {
    (void)h;
    (void)t;
    return 77;
}

static const rle_row codec = {.name = "fw8", .read = read_track, .read_ns = read_track};

static const rle_row *find(const char *name) {
    return strcmp(name, codec.name) == 0 ? &codec : NULL;
}

static int32_t hear(const char *name) {
    return strcmp(name, "heard") == 0 ? 88 : -1;
}

extern VOR_MODULE_EXPORT int32_t vortobm_init(void);
int32_t vortobm_init(void) {
    if (INSTALLS) lfbmsetup(find, hear);
    return RESULT;
}
