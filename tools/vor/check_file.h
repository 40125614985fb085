// What a check of one file finds, at each of the three depths: what the header tells (quick), all
// tracks through the library (full), and every byte against the others (deep).
#ifndef VOR_TOOL_CHECK_FILE_H
#define VOR_TOOL_CHECK_FILE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "deep_check.h"
#include "vor/vor.h"

namespace vor::tool {

enum class Depth { quick, full, deep };

struct CheckOptions {
    Depth depth = Depth::quick;
    bool store = false;   // at least full
    bool colours = false; // counts pixels; at least full
    bool quiet = false;   // no progress, no warnings
    bool share = true;    // of a deep check: works out the protected share
    size_t most_findings = 100;
};

struct ColourCount {
    int32_t colour = 0;
    uint32_t pixels = 0;
};

struct Verdict {
    std::string file;
    ckvor_t record{}; // without its pointers
    bool walked = false;
    std::string fault; // empty: good
    std::optional<int64_t> bad_track;
    std::vector<ColourCount> colours;
    std::optional<DeepReport> deep; // of a deep check
};

// Throws Interrupted. What is wrong with the file is in the verdict.
Verdict check_file(const CheckOptions &options, const std::string &file);

} // namespace vor::tool

#endif
