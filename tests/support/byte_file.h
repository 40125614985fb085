// Small files read and written whole.
#ifndef VOR_TESTS_BYTE_FILE_H
#define VOR_TESTS_BYTE_FILE_H

#include <cstdint>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace vor::test {

inline std::string read_text(const std::string &name) {
    std::ifstream file(name, std::ios::binary);
    if (!file) throw std::runtime_error("cannot read " + name);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline std::vector<uint8_t> read_bytes(const std::string &name) {
    const std::string text = read_text(name);
    return {text.begin(), text.end()};
}

inline void write_text(const std::string &name, std::string_view text) {
    std::ofstream file(name, std::ios::binary | std::ios::trunc);
    file.write(text.data(), static_cast<std::streamsize>(text.size()));
    if (!file.flush()) throw std::runtime_error("cannot write " + name);
}

inline void write_bytes(const std::string &name, const std::vector<uint8_t> &bytes) {
    write_text(name, std::string(bytes.begin(), bytes.end()));
}

} // namespace vor::test

#endif
