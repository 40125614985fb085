// The start-up of formats by the settings.

#include "formats/format_setup.h"

#include <cstdint>

#include "config/rc.h"
#include "formats/format_modules.h"
#include "formats/formats.h"
#include "formats/tiff_orientation.h"

namespace {

constexpr size_t longest_preload = 255; // characters of a name

bool has_run = false;
int32_t deflate = 1;

} // namespace

namespace vor {

bool deflate_enabled() {
    return deflate != 0;
}

} // namespace vor

using namespace vor;

int32_t lf_fmt_setup(void) {
    if (has_run) return 0;
    has_run = true;
    lfsetopencb(set_tiff_orientation);
    tiff_orientation(); // a bad setting is logged now, and not at the first file
    lfloadfmt("fw32");
    if (const char *const list = rc_strval("KEL_PRELOAD")) {
        load_listed_formats(list, longest_preload);
    }
    deflate = rc_boolean("VOR_DEFLATE_ENABLED", deflate);
    return 1;
}
