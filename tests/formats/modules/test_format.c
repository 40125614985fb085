/* A format that recognises nothing, as a module. RECORD is the symbol that it is exported as, NAME
 * the format's name, INIT the result of its init. */
#include "formats/formats.h"

static int32_t init(void) {
    return INIT;
}

static int32_t detect(xvor_t *h, const uint8_t *head, int32_t size) {
    (void)h;
    (void)head;
    (void)size;
    return 1;
}

extern VOR_MODULE_EXPORT lffmt_t RECORD;
lffmt_t RECORD = {
    .name = NAME,
    .suffix = ".good",
    .init = init,
    .detect = detect,
};
