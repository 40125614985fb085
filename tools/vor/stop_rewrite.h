// A copy of a native file with another stop table.
#ifndef VOR_TOOL_STOP_REWRITE_H
#define VOR_TOOL_STOP_REWRITE_H

#include <cstdint>
#include <span>

#include "file_bytes.h"
#include "native_layout.h"
#include "safe_output.h"

namespace vor::tool {

// Writes the file to `output`, byte for byte but for the stop table and what the header says of the
// places behind it. `layout` is the file's, which the library has opened without complaint. Throws
// a Failure for a file in which something lies behind or in the table that cannot be moved.
void copy_with_stops(FileBytes &file, const NativeLayout &layout, std::span<const uint32_t> entries,
                     SafeOutput *output, bool quiet);

} // namespace vor::tool

#endif
