// Small native files put together field by field, in either byte order.
#ifndef VOR_TESTS_NATIVE_FILE_H
#define VOR_TESTS_NATIVE_FILE_H

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "support/byte_file.h"

namespace vor::test {

using Bytes = std::vector<uint8_t>;

class NativeFile {
public:
    // Offsets of header words.
    enum Word : size_t {
        tracks_at = 0,
        type_at = 16,
        pixels_at = 20,
        hflags_at = 28,
        byteorder_at = 56,
        hmaxruns_at = 68,
        seekoff_at = 72,
        fw511_base_at = 84,
        cinfooff_at = 96,
        version_at = 104,
        tagoff_at = 108,
        tagcount_at = 112,
        seekoff_hi_at = 128,
        cinfooff_hi_at = 136,
        tagoff_hi_at = 140,
        hcrc_at = 144
    };

    NativeFile(uint32_t type, uint32_t tracks, uint32_t pixels, bool swapped = false)
        : bytes_(256), little_((std::endian::native == std::endian::little) != swapped) {
        set(type_at, type);
        set(tracks_at, tracks);
        set(pixels_at, pixels);
        set(version_at, 2);
        set(4, std::bit_cast<uint32_t>(0.05f));  // mm between tracks
        set(52, std::bit_cast<uint32_t>(20.0f)); // pixels per mm
    }

    // ---- header ----

    NativeFile &set(size_t offset, uint32_t value) {
        for (size_t i = 0; i < 4; ++i)
            bytes_[offset + i] = byte_of(value, i, 4);
        return *this;
    }
    uint32_t get(size_t offset) const {
        uint32_t value = 0;
        for (size_t i = 0; i < 4; ++i)
            value |= uint32_t{bytes_[offset + i]} << shift(i, 4);
        return value;
    }
    NativeFile &flag(uint32_t hflag) { return set(hflags_at, get(hflags_at) | hflag); }

    // ---- what follows ----

    size_t end() const { return bytes_.size(); }
    NativeFile &put(const Bytes &bytes) {
        bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
        return *this;
    }
    // Numbers in the file's byte order.
    NativeFile &put16(const std::vector<uint16_t> &words) { return put_numbers(words); }
    NativeFile &put32(const std::vector<uint32_t> &words) { return put_numbers(words); }
    NativeFile &put64(const std::vector<uint64_t> &words) { return put_numbers(words); }

    // The track table, with its header words.
    NativeFile &seek_table32(const std::vector<int64_t> &entries) {
        begin_seek_table();
        for (const int64_t entry : entries)
            put32({static_cast<uint32_t>(entry)});
        return *this;
    }
    NativeFile &seek_table64(const std::vector<int64_t> &entries) {
        begin_seek_table().flag(0x10000);
        for (const int64_t entry : entries)
            put64({static_cast<uint64_t>(entry)});
        return *this;
    }

    // Begins the tag list, with its header words; the records are to follow.
    NativeFile &tag_list(uint32_t count) {
        return set(tagoff_at, static_cast<uint32_t>(end())).set(tagcount_at, count);
    }
    NativeFile &tag(const std::string &name, const Bytes &payload) {
        return tag_record(static_cast<uint32_t>(payload.size() + 32), name, payload);
    }
    // A record whose tagsize need not fit the payload.
    NativeFile &tag_record(uint32_t tagsize, std::string name, const Bytes &payload) {
        name.resize(32);
        return put32({tagsize}).put({name.begin(), name.end()}).put(payload);
    }

    const Bytes &bytes() const { return bytes_; }
    const std::string &write(const std::string &name) const {
        write_bytes(name, bytes_);
        return name;
    }

private:
    size_t shift(size_t i, size_t width) const { return 8 * (little_ ? i : width - 1 - i); }
    uint8_t byte_of(uint64_t value, size_t i, size_t width) const {
        return static_cast<uint8_t>(value >> shift(i, width));
    }
    template <class Number>
    NativeFile &put_numbers(const std::vector<Number> &numbers) {
        for (const Number number : numbers) {
            for (size_t i = 0; i < sizeof number; ++i)
                bytes_.push_back(byte_of(number, i, sizeof number));
        }
        return *this;
    }
    NativeFile &begin_seek_table() {
        return flag(0x800).set(seekoff_at, static_cast<uint32_t>(end()));
    }

    Bytes bytes_;
    bool little_;
};

// The header word at `offset` of a file in the machine's byte order.
inline uint32_t header_word(const std::string &name, size_t offset) {
    const Bytes bytes = read_bytes(name);
    uint32_t value = 0;
    for (size_t i = 0; i < 4; ++i) {
        const size_t shift = 8 * (std::endian::native == std::endian::little ? i : 3 - i);
        value |= uint32_t{bytes.at(offset + i)} << shift;
    }
    return value;
}

} // namespace vor::test

#endif
