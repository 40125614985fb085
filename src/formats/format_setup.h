// What lf_fmt_setup has settled.
#ifndef VOR_FORMATS_FORMAT_SETUP_H
#define VOR_FORMATS_FORMAT_SETUP_H

namespace vor {

// Whether native files may be written with compressed tracks: the setting VOR_DEFLATE_ENABLED, true
// until lf_fmt_setup has read it.
bool deflate_enabled();

} // namespace vor

#endif
