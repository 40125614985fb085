// Shared objects that bring formats, and the one that brings the codecs of bitmap handles.
#ifndef VOR_FORMATS_FORMAT_MODULES_H
#define VOR_FORMATS_FORMAT_MODULES_H

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vor {

// Bytes of the name of a format's module, the zero byte at the end included.
constexpr size_t module_name_room = 512;

// Whether modules may be loaded without a program asking for them: KEL_NO_AUTOLOAD is not set.
bool autoload_allowed();

// Loads the formats of a list with colons in between, as lfloadfmt does. Empty items and those of
// more than `longest` characters are passed over; a failure does not stop the list.
void load_listed_formats(std::string_view list, size_t longest);

// Loads the module "vortobm", which installs its finder with lfbmsetup. 0, or -1 after a report:
// code 15 if it is there already, code 2 if there is no such module, code 15 if it is a bad one or
// refuses. A module that failed is closed, and no finder is left.
int32_t lfbm_load();

} // namespace vor

#endif
