// Streams as the words that they are made of.
#ifndef VOR_TESTS_STREAM_WORDS_H
#define VOR_TESTS_STREAM_WORDS_H

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "fw32/vor_fw32.h"
#include "support/byte_file.h"
#include "support/owned_handles.h"

namespace vor::test {

using Words = std::vector<uint32_t>;

inline uint32_t code(uint32_t length, uint32_t colour) {
    return colour << 20 | length;
}

// In the machine's byte order.
inline std::vector<uint8_t> bytes_of(const Words &words) {
    std::vector<uint8_t> bytes(words.size() * 4);
    if (!words.empty()) std::memcpy(bytes.data(), words.data(), bytes.size());
    return bytes;
}

inline Words words_of(const std::vector<uint8_t> &bytes) {
    Words words(bytes.size() / 4);
    if (!words.empty()) std::memcpy(words.data(), bytes.data(), words.size() * 4);
    return words;
}

// The words of tracks, each with its end.
inline Words track_words(const std::vector<Runs> &tracks) {
    Words words;
    for (const Runs &runs : tracks) {
        for (const auto &[length, colour] : runs)
            words.push_back(code(length, colour));
        words.push_back(0);
    }
    return words;
}

inline int32_t fw32_type() {
    return lffdev(lfregisterfmt(&fw32_cvtformat), 0);
}

// Opens a file as a stream; of no size yet.
inline Handle open_stream(const std::string &name, uint32_t mode = 0) {
    return Handle(lfopen(name.c_str(), LF_READ | LF_FORCETYPE | mode, fw32_type(), nullptr));
}

// Opens it with its size.
inline Handle open_stream(const std::string &name, int32_t tracks, int32_t pixels,
                          uint32_t mode = 0) {
    Handle h = open_stream(name, mode);
    int32_t window[4] = {0, 0, tracks, pixels};
    if (h && lfclip(h.get(), window) < 0) h.reset();
    return h;
}

} // namespace vor::test

#endif
