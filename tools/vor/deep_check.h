// The deep check of a native file: every byte of it is held against what stands elsewhere in the
// file and what this library would have written. It gathers all there is to find; nothing that a
// file claims costs more than its bytes do.
#ifndef VOR_TOOL_DEEP_CHECK_H
#define VOR_TOOL_DEEP_CHECK_H

#include <cstdint>
#include <optional>

#include "file_bytes.h"
#include "finding.h"
#include "native_layout.h"
#include "protection.h"

namespace vor::tool {

struct ProtectedShare {
    int64_t file_bytes = 0;
    int64_t by_checksum = 0;
    int64_t by_structure = 0;
};

struct DeepReport {
    explicit DeepReport(size_t most_findings) : findings(most_findings) {}

    FindingList findings;
    int64_t longest_track = 0;           // codes
    std::optional<ProtectedShare> share; // of a file without faults
};

struct DeepOptions {
    bool quiet = false;        // no progress
    bool share = true;         // whether the protected share is worked out
    Protection::Watch watch{}; // sees the protected bytes
};

// Throws a Failure if the file cannot be read, and Interrupted.
void check_deeply(FileBytes &file, const NativeLayout &layout, const DeepOptions &options,
                  DeepReport *report);

} // namespace vor::tool

#endif
