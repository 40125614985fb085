// Recognition of a file: all formats are offered the same first bytes, the native one first.

#include "formats/detect.h"

#include "formats/formats.h"

namespace vor {

int32_t detect_format(xvor_t *h, const uint8_t *head, int32_t size) {
    constexpr const char *where = "vor_detect_format";
    for (int32_t row = 0; const lffmt_t *format = lfdescriptor(row); ++row) {
        if (!format->detect) continue;
        const int32_t result = format->detect(h, head, size);
        if (result != 0 && result != -1) continue;
        h->fmt = row;
        return result == 0 ? 0 : lferror(h, where, LFE_OS, 0, nullptr);
    }
    return h->fd < 0 ? -1 : lferror(h, where, LFE_FORMAT, 0, nullptr);
}

} // namespace vor
