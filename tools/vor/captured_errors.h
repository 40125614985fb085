// What the library writes to the standard error stream, kept from the user's eyes.
#ifndef VOR_TOOL_CAPTURED_ERRORS_H
#define VOR_TOOL_CAPTURED_ERRORS_H

#include <cstdio>
#include <string>
#include <vector>

namespace vor::tool {

// For the life of the object, the stream goes to a file. Where that is not to be had, nothing is
// kept and the user sees it all.
class CapturedErrors {
public:
    CapturedErrors();
    ~CapturedErrors();
    CapturedErrors(const CapturedErrors &) = delete;
    CapturedErrors &operator=(const CapturedErrors &) = delete;

    // The lines that have come so far.
    std::vector<std::string> lines();

private:
    std::FILE *file_;
    int saved_;
};

} // namespace vor::tool

#endif
