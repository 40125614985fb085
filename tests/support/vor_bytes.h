// Native files with tracks and sections, byte by byte, and the other way round: a look into the
// bytes of one. Nothing here comes from the library.
#ifndef VOR_TESTS_VOR_BYTES_H
#define VOR_TESTS_VOR_BYTES_H

#include <zlib.h>

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "support/native_file.h"

namespace vor::test {

// A code as it stands in the file: length and colour. The zero code at a track's end is one too.
using Codes = std::vector<std::pair<uint32_t, uint32_t>>;

// The bytes of codes in a track format, 1 to 3; `little` tells the order of 16-bit words.
inline Bytes code_bytes(uint32_t format, bool little, const Codes &codes) {
    Bytes bytes;
    for (const auto &[length, colour] : codes) {
        const uint32_t word = length | colour << 15;
        const auto low = static_cast<uint8_t>(word);
        const auto high = static_cast<uint8_t>(word >> 8);
        if (format == 1) {
            bytes.push_back(little ? low : high);
            bytes.push_back(little ? high : low);
        } else if (format == 2) {
            bytes.push_back(static_cast<uint8_t>(length | colour << 7));
        } else {
            bytes.push_back(static_cast<uint8_t>(length));
            bytes.push_back(static_cast<uint8_t>(colour));
        }
    }
    return bytes;
}

inline Bytes deflated(const Bytes &plain, int level = 9) {
    Bytes stream(compressBound(plain.size()));
    uLongf size = stream.size();
    if (compress2(stream.data(), &size, plain.data(), plain.size(), level) != Z_OK) {
        throw std::runtime_error("cannot compress");
    }
    stream.resize(size);
    return stream;
}

inline Bytes inflated(const Bytes &stream, size_t size) {
    Bytes plain(size + 1);
    uLongf got = plain.size();
    if (uncompress(plain.data(), &got, stream.data(), stream.size()) != Z_OK) {
        throw std::runtime_error("cannot uncompress");
    }
    plain.resize(got);
    return plain;
}

// A file in the making. Tracks come first, then the sections in any order.
class VorBytes : public NativeFile {
public:
    // Offsets of header fields beyond those of NativeFile.
    enum Field : size_t {
        xpitch_at = 4,
        yresf_at = 52,
        param_a_at = 24,
        param_b_at = 32,
        param_c_at = 36,
        param_d_at = 40,
        param_e_at = 44,
        param_f_at = 48,
        stopoff_at = 60,
        stopcount_at = 64,
        ctaboff_at = 92,
        ctabcount_at = 100,
        stopoff_hi_at = 124,
        ctaboff_hi_at = 132,
        xpitch64_at = 160,
        ypitch64_at = 168,
        letters_at = 252
    };
    enum Flag : uint32_t {
        f_crc = 0x40,
        f_byteorder = 0x100,
        f_stops = 0x200,
        f_maxruns = 0x400,
        f_seektab = 0x800,
        f_ctabs = 0x2000,
        f_cinfo = 0x4000,
        f_tiled = 0x8000,
        f_seek64 = 0x10000,
        f_off64 = 0x20000,
        f_res64 = 0x40000
    };
    static constexpr uint32_t zipped = 0x40; // the compression in the type word

    using Table = std::array<uint16_t, 256>;

    VorBytes(uint32_t type, uint32_t tracks, uint32_t pixels, bool swapped = false)
        : NativeFile(type, tracks, pixels, swapped), type_(type),
          little_((std::endian::native == std::endian::little) != swapped) {
        flag(f_byteorder).set(byteorder_at, 0x12345678);
        const std::string letters("KEL", 4);
        for (size_t i = 0; i < 4; ++i)
            set_byte(letters_at + i, static_cast<uint8_t>(letters[i]));
    }

    // ---- header ----

    void set_float(size_t offset, float value) { set(offset, std::bit_cast<uint32_t>(value)); }
    void set_double(size_t offset, double value) {
        const auto bits = std::bit_cast<uint64_t>(value);
        const auto low = static_cast<uint32_t>(bits);
        const auto high = static_cast<uint32_t>(bits >> 32);
        set(offset, little_ ? low : high).set(offset + 4, little_ ? high : low);
    }
    void clear_flag(uint32_t hflag) { set(hflags_at, get(hflags_at) & ~hflag); }
    // An arbitrary byte, in the last byte's word.
    void set_byte(size_t offset, uint8_t value) {
        const size_t word = offset & ~size_t{3};
        const size_t shift = 8 * (little_ ? offset - word : 3 - (offset - word));
        set(word, (get(word) & ~(uint32_t{0xFF} << shift)) | uint32_t{value} << shift);
    }

    // ---- tracks ----

    int64_t here() const { return static_cast<int64_t>(end()); }

    // Codes and the zero code behind them, compressed if the type says so.
    void track(Codes codes) {
        codes.emplace_back(0, 0);
        raw_track(code_bytes(type_ & 0xF, little_, codes));
    }
    // The same from the coded bytes.
    void raw_track(const Bytes &coded) {
        entries.push_back(here());
        put(type_ & zipped ? deflated(coded) : coded);
    }
    void blank(uint8_t code) { entries.push_back(~int64_t{code}); }

    // The seek table's entries so far; a test may change them.
    std::vector<int64_t> entries;

    // ---- sections ----

    void seek_table() { seek_table32(entries); }
    void wide_seek_table() { seek_table64(entries); }

    void stops(const std::vector<uint32_t> &table) {
        flag(f_stops).set(stopoff_at, low_end());
        set(stopcount_at, static_cast<uint32_t>(table.size())).put32(table);
    }
    void colour_tables(const std::vector<Table> &tables) {
        flag(f_ctabs).set(ctaboff_at, low_end());
        set(ctabcount_at, static_cast<uint32_t>(tables.size()));
        for (const Table &table : tables)
            put16({table.begin(), table.end()});
    }
    // Sixteen tables of 32-bit words, each of a 16-bit word and a filler.
    void old_colour_tables(const std::array<Table, 16> &tables, uint16_t filler) {
        flag(f_ctabs).set(ctaboff_at, low_end()).set(ctabcount_at, 0);
        for (const Table &table : tables) {
            for (const uint16_t word : table)
                put16({word, filler});
        }
    }
    void colour_info(const Bytes &block) { flag(f_cinfo).set(cinfooff_at, low_end()).put(block); }

private:
    uint32_t low_end() const { return static_cast<uint32_t>(end()); }

    uint32_t type_;
    bool little_;
};

// The bytes of a file that the library has written.
class VorView {
public:
    explicit VorView(Bytes bytes, bool swapped = false)
        : bytes_(std::move(bytes)),
          little_((std::endian::native == std::endian::little) != swapped) {}

    uint64_t number(size_t at, size_t width) const {
        uint64_t value = 0;
        for (size_t i = 0; i < width; ++i)
            value |= uint64_t{bytes_.at(at + i)} << 8 * (little_ ? i : width - 1 - i);
        return value;
    }
    uint16_t u16(size_t at) const { return static_cast<uint16_t>(number(at, 2)); }
    uint32_t u32(size_t at) const { return static_cast<uint32_t>(number(at, 4)); }
    int64_t i64(size_t at) const { return static_cast<int64_t>(number(at, 8)); }
    float f32(size_t at) const { return std::bit_cast<float>(u32(at)); }
    double f64(size_t at) const { return std::bit_cast<double>(number(at, 8)); }
    uint32_t flags() const { return u32(NativeFile::hflags_at); }

    // The entries of the seek table, by the width that the flags tell.
    std::vector<int64_t> seek_table() const {
        std::vector<int64_t> entries;
        const bool wide = (flags() & VorBytes::f_seek64) != 0;
        size_t at = u32(NativeFile::seekoff_at);
        for (uint32_t i = 0; i < u32(NativeFile::tracks_at); ++i, at += wide ? 8 : 4)
            entries.push_back(wide ? i64(at) : static_cast<int32_t>(u32(at)));
        return entries;
    }

    Bytes part(size_t from, size_t to) const {
        return {bytes_.begin() + static_cast<ptrdiff_t>(from),
                bytes_.begin() + static_cast<ptrdiff_t>(to)};
    }
    size_t size() const { return bytes_.size(); }
    const Bytes &bytes() const { return bytes_; }

private:
    Bytes bytes_;
    bool little_;
};

} // namespace vor::test

#endif
