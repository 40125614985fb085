// Which bytes of a file are protected: no single bit of one can change without a finding.
// docs/checking.md tells what counts, and why.
#ifndef VOR_TOOL_PROTECTION_H
#define VOR_TOOL_PROTECTION_H

#include <cstdint>
#include <functional>
#include <utility>

namespace vor::tool {

enum class Cover { checksum, structure };

class Protection {
public:
    // Sees every range that is counted, where one asks for them.
    using Watch = std::function<void(int64_t offset, int64_t bytes, Cover cover)>;

    explicit Protection(Watch watch = {}) : watch_(std::move(watch)) {}

    // Counts bytes; no byte is to be counted twice.
    void add(int64_t offset, int64_t bytes, Cover cover) {
        (cover == Cover::checksum ? by_checksum_ : by_structure_) += bytes;
        if (watch_) watch_(offset, bytes, cover);
    }

    int64_t by_checksum() const { return by_checksum_; }
    int64_t by_structure() const { return by_structure_; }

private:
    Watch watch_;
    int64_t by_checksum_ = 0;
    int64_t by_structure_ = 0;
};

} // namespace vor::tool

#endif
