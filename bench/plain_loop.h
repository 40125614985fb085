// The roads as a plain loop takes them, one code at a time: what a reader or writer of these tracks
// comes to without further thought. Bytes are fetched and written 16384 at a time.
#ifndef VOR_BENCH_PLAIN_LOOP_H
#define VOR_BENCH_PLAIN_LOOP_H

#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "road_files.h"

namespace vor::bench {

constexpr size_t block_size = 16384;

// One code as it stands: its length, and its colour as a number of the table.
struct PlainFw8 {
    static constexpr size_t bytes = 1;
    static constexpr uint32_t limit = 127;
    static uint32_t length(const uint8_t *p) { return *p & 127u; }
    static uint32_t colour(const uint8_t *p) { return (*p & 128u) != 0 ? 255 : 0; }
    static void put(uint8_t *p, uint32_t length, uint32_t colour) {
        *p = static_cast<uint8_t>(length | (colour != 0 ? 128u : 0u));
    }
    static uint32_t key(uint32_t colour) { return colour != 0 ? 1 : 0; }
};
struct PlainFw16 {
    static constexpr size_t bytes = 2;
    static constexpr uint32_t limit = 32767;
    static uint32_t word(const uint8_t *p) {
        uint16_t word;
        std::memcpy(&word, p, 2);
        return word;
    }
    static uint32_t length(const uint8_t *p) { return word(p) & 32767u; }
    static uint32_t colour(const uint8_t *p) { return (word(p) & 32768u) != 0 ? 255 : 0; }
    static void put(uint8_t *p, uint32_t length, uint32_t colour) {
        const auto word = static_cast<uint16_t>(length | (colour != 0 ? 32768u : 0u));
        std::memcpy(p, &word, 2);
    }
    static uint32_t key(uint32_t colour) { return colour != 0 ? 1 : 0; }
};
struct PlainFw88 {
    static constexpr size_t bytes = 2;
    static constexpr uint32_t limit = 255;
    static uint32_t length(const uint8_t *p) { return p[0]; }
    static uint32_t colour(const uint8_t *p) { return p[1]; }
    static void put(uint8_t *p, uint32_t length, uint32_t colour) {
        p[0] = static_cast<uint8_t>(length);
        p[1] = static_cast<uint8_t>(colour);
    }
    static uint32_t key(uint32_t colour) { return colour; }
};

// Bytes of a file from an offset on.
class ByteBlocks {
public:
    ByteBlocks(const std::string &name, int64_t offset) : fd_(::open(name.c_str(), O_RDONLY)) {
        require(fd_ >= 0 && ::lseek(fd_, offset, SEEK_SET) == offset, "open");
    }
    ~ByteBlocks() { ::close(fd_); }
    ByteBlocks(const ByteBlocks &) = delete;
    ByteBlocks &operator=(const ByteBlocks &) = delete;

    bool fill() {
        const ssize_t got = ::read(fd_, block_, block_size);
        at = block_;
        end = block_ + (got > 0 ? got : 0);
        return got > 0;
    }
    const uint8_t *at = nullptr;
    const uint8_t *end = nullptr;

private:
    int fd_;
    uint8_t block_[block_size];
};

// Reads a track of `window` pixels to its zero code, made `output` pixels long; gives the number of
// runs, or -1.
template <class Code, bool scaled>
int32_t plain_read(ByteBlocks *in, const uint16_t *table, int64_t window, int64_t output,
                   lfrun *runs, int32_t room) {
    int64_t left = window, made = 0, gathered = 0;
    int64_t error = -(window / 2);
    uint32_t colour = UINT32_MAX;
    int32_t count = 0;
    for (;;) {
        if (in->at == in->end && !in->fill()) return -1;
        const uint32_t length = Code::length(in->at);
        const uint32_t code_colour = Code::colour(in->at);
        in->at += Code::bytes;
        if (length == 0) break;
        left -= length;
        if (left < 0) return -1;
        int64_t pixels = length;
        if constexpr (scaled) {
            const int64_t product = output * length;
            pixels = product / window;
            error += product % window;
            if (error >= 0) {
                ++pixels;
                error -= window;
            }
            if (pixels == 0) continue;
        }
        made += pixels;
        const uint32_t mapped = table[code_colour];
        if (mapped != colour) {
            if (gathered > 0) {
                if (count == room) return -1;
                runs[count++] = {static_cast<uint32_t>(gathered), colour};
            }
            gathered = 0;
            colour = mapped;
        }
        gathered += pixels;
    }
    if (gathered > 0) runs[count++] = {static_cast<uint32_t>(gathered), colour};
    return left == 0 && made == output ? count : -1;
}

// Bytes on their way into a file.
class ByteOut {
public:
    explicit ByteOut(const std::string &name)
        : fd_(::open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600)) {
        require(fd_ >= 0, "open");
    }
    ~ByteOut() { ::close(fd_); }
    ByteOut(const ByteOut &) = delete;
    ByteOut &operator=(const ByteOut &) = delete;

    uint8_t *next(size_t bytes) {
        if (at_ + bytes > block_size) flush();
        uint8_t *const place = block_ + at_;
        at_ += bytes;
        return place;
    }
    void flush() {
        require(::write(fd_, block_, at_) == static_cast<ssize_t>(at_), "write");
        at_ = 0;
    }

private:
    int fd_;
    size_t at_ = 0;
    uint8_t block_[block_size];
};

template <class Code>
void plain_write(ByteOut *out, const uint16_t *table, const lfrun *runs, int32_t count,
                 uint8_t *used) {
    uint64_t gathered = 0;
    uint32_t colour = 0;
    const auto put_gathered = [&] {
        used[colour & 0xFF] = 1;
        for (; gathered > Code::limit; gathered -= Code::limit)
            Code::put(out->next(Code::bytes), Code::limit, colour);
        Code::put(out->next(Code::bytes), static_cast<uint32_t>(gathered), colour);
    };
    for (int32_t i = 0; i < count; ++i) {
        const uint32_t mapped = Code::key(table[runs[i].colour & 0xFF]);
        if (mapped != colour && gathered > 0) {
            put_gathered();
            gathered = 0;
        }
        colour = mapped;
        gathered += runs[i].length;
    }
    put_gathered();
    Code::put(out->next(Code::bytes), 0, 0);
}

} // namespace vor::bench

#endif
