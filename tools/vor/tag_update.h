// Changes the tags of a native file in its place, without the file ever being without them.
#ifndef VOR_TOOL_TAG_UPDATE_H
#define VOR_TOOL_TAG_UPDATE_H

#include <functional>
#include <string>

#include "trackfile/lf.h"

namespace vor::tool {

// Opens the file for update, has `change` work on the handle's tags, and closes it. At any moment,
// also if the process is killed, the header points to a whole list, the old one or the new. On a
// failure, one that `change` throws included, the file is as it was. Throws a Failure for a file
// that keeps no tags or whose header or list is damaged, and Told after a report.
void update_tags(const std::string &name, const std::function<void(xvor_t *)> &change);

} // namespace vor::tool

#endif
