// An output file that appears under its name only when it is whole: it is made under another name
// in the same folder and renamed at the end. Until then what stood there stays untouched.
#ifndef VOR_TOOL_SAFE_OUTPUT_H
#define VOR_TOOL_SAFE_OUTPUT_H

#include <cstdint>
#include <span>
#include <string>

namespace vor::tool {

class SafeOutput {
public:
    // Makes the temporary file, or throws a Failure.
    explicit SafeOutput(const std::string &target);
    // Removes it unless it has been renamed.
    ~SafeOutput();
    SafeOutput(const SafeOutput &) = delete;
    SafeOutput &operator=(const SafeOutput &) = delete;

    // Appends to the file, or throws a Failure.
    void write(std::span<const uint8_t> bytes);

    // The descriptor, open for writing, which the caller closes from now on.
    int32_t take();

    // The name that the file has until then, for what opens files itself.
    const std::string &temporary() const { return temporary_; }

    // Gives the file its name, or throws a Failure. A descriptor that was taken has been closed.
    void commit();

private:
    std::string shown_;  // as the user has it
    std::string target_; // behind a symbolic link
    std::string temporary_;
    int32_t fd_ = -1;
    bool committed_ = false;
};

} // namespace vor::tool

#endif
