// A copy of a file that takes another's place in one step.
#ifndef VOR_RUNTIME_COPY_RAW_H
#define VOR_RUNTIME_COPY_RAW_H

#include <cstdint>

namespace vor {

enum class Copied {
    whole,
    not_begun, // a file could not be opened or made, or the target gives way to none
    broken_off // reading or writing failed
};

// Copies `from` into a new file beside `to`, which then replaces `to`; before that `to` is as it
// was, and stays so on failure. With `keep_times` the copy takes times and permissions of `from`.
Copied replace_by_copy(const char *from, const char *to, bool keep_times);

} // namespace vor

#endif
