// The bytes of a file, asked for by offset. Of a file of any size a few windows are held.
#ifndef VOR_TOOL_FILE_BYTES_H
#define VOR_TOOL_FILE_BYTES_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace vor::tool {

class FileBytes {
public:
    // The most that one call gives.
    static constexpr size_t window_bytes = 65536;

    // Opens a file. Throws a Failure about it, as all calls do when it cannot be read.
    explicit FileBytes(std::string name);
    ~FileBytes();
    FileBytes(const FileBytes &) = delete;
    FileBytes &operator=(const FileBytes &) = delete;

    const std::string &name() const { return name_; }
    int64_t size() const { return size_; }

    // `count` bytes, at most window_bytes, from an offset; fewer where the file ends before, none
    // at offsets outside of the file. What any call gives holds until the next one.
    std::span<const uint8_t> at(int64_t offset, size_t count);

    // Whatever is at hand from an offset on, at least one byte unless the file ends there. For
    // reading on and on, without a byte being fetched twice.
    std::span<const uint8_t> some(int64_t offset);

    // Fills `into` from an offset on. Gives the bytes that the file had, which may be fewer.
    size_t copy(int64_t offset, std::span<uint8_t> into);

private:
    struct Window {
        int64_t begin = 0;
        size_t bytes = 0;
        uint64_t used = 0; // the turn of its last use
        std::vector<uint8_t> data;
    };

    Window *find(int64_t offset, size_t count);
    Window *fill(int64_t begin);

    std::string name_;
    int32_t fd_;
    int64_t size_ = 0;
    uint64_t turn_ = 0;
    // Tracks, the seek table and a section or two are read by turns.
    std::array<Window, 4> windows_;
};

} // namespace vor::tool

#endif
