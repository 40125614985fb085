#include "file_bytes.h"

#include <algorithm>

#include "platform/kel.h"
#include "report.h"

namespace vor::tool {

// A window begins a little before what is asked for, so that small steps back stay inside.
constexpr int64_t alignment = 4096;

FileBytes::FileBytes(std::string name)
    : name_(std::move(name)), fd_(kel_open(name_.c_str(), KEL_O_RDONLY | KEL_O_BINARY, 0)) {
    if (fd_ < 0) throw Failure(name_, system_error_text());
    size_ = kel_lseek(fd_, 0, KEL_SEEK_END);
    if (size_ < 0) {
        const Failure failure(name_, system_error_text());
        kel_close(fd_);
        throw failure;
    }
}

FileBytes::~FileBytes() {
    kel_close(fd_);
}

std::span<const uint8_t> FileBytes::at(int64_t offset, size_t count) {
    if (offset < 0 || offset >= size_) return {};
    const auto left = static_cast<uint64_t>(size_ - offset);
    count = static_cast<size_t>(std::min<uint64_t>({count, window_bytes, left}));
    const Window *window = find(offset, count);
    const auto from = static_cast<size_t>(offset - window->begin);
    if (from >= window->bytes) return {};
    return {window->data.data() + from, std::min(count, window->bytes - from)};
}

std::span<const uint8_t> FileBytes::some(int64_t offset) {
    if (offset < 0 || offset >= size_) return {};
    const Window *window = find(offset, 1);
    const auto from = static_cast<size_t>(offset - window->begin);
    if (from >= window->bytes) return {};
    return {window->data.data() + from, window->bytes - from};
}

size_t FileBytes::copy(int64_t offset, std::span<uint8_t> into) {
    size_t copied = 0;
    while (copied < into.size()) {
        const auto bytes = at(offset + static_cast<int64_t>(copied), into.size() - copied);
        if (bytes.empty()) break;
        std::copy(bytes.begin(), bytes.end(), into.begin() + static_cast<ptrdiff_t>(copied));
        copied += bytes.size();
    }
    return copied;
}

// The window that holds these bytes, or as many of them as the file has.
FileBytes::Window *FileBytes::find(int64_t offset, size_t count) {
    ++turn_;
    for (Window &window : windows_) {
        const int64_t end = window.begin + static_cast<int64_t>(window.bytes);
        if (offset >= window.begin && end - offset >= static_cast<int64_t>(count)) {
            window.used = turn_;
            return &window;
        }
    }
    return fill(offset - offset % alignment);
}

FileBytes::Window *FileBytes::fill(int64_t begin) {
    Window *window = &*std::min_element(
        windows_.begin(), windows_.end(),
        [](const Window &one, const Window &other) { return one.used < other.used; });
    window->data.resize(window_bytes + alignment);
    window->begin = begin;
    window->bytes = 0;
    window->used = turn_;
    if (kel_lseek(fd_, begin, KEL_SEEK_SET) != begin) throw Failure(name_, system_error_text());
    while (window->bytes < window->data.size()) {
        const int64_t got =
            kel_read(fd_, window->data.data() + window->bytes, window->data.size() - window->bytes);
        if (got < 0) throw Failure(name_, system_error_text());
        if (got == 0) break;
        window->bytes += static_cast<size_t>(got);
    }
    return window;
}

} // namespace vor::tool
