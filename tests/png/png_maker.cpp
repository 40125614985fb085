#include "png/png_maker.h"

#include <stdexcept>

#include <zlib.h>

#include "png/vor_png.h"

namespace vor::test {
namespace {

void append(Bytes *out, const Bytes &more) {
    out->insert(out->end(), more.begin(), more.end());
}

void append_chunk(Bytes *out, const std::string &type, const Bytes &data) {
    append(out, big_endian(static_cast<uint32_t>(data.size())));
    Bytes body(type.begin(), type.end());
    append(&body, data);
    append(out, body);
    append(out, big_endian(
                    static_cast<uint32_t>(crc32(0, body.data(), static_cast<uInt>(body.size())))));
}

Bytes compressed(const Bytes &plain) {
    Bytes stream(compressBound(plain.size()));
    uLongf size = stream.size();
    if (compress2(stream.data(), &size, plain.data(), plain.size(), 9) != Z_OK) {
        throw std::runtime_error("cannot compress");
    }
    stream.resize(size);
    return stream;
}

} // namespace

Bytes big_endian(uint32_t value) {
    return {static_cast<uint8_t>(value >> 24), static_cast<uint8_t>(value >> 16),
            static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)};
}

PngMaker::PngMaker(uint32_t width, uint32_t height, int depth, int kind)
    : width_(width), height_(height), claimed_width_(width), claimed_height_(height), depth_(depth),
      kind_(kind), samples_([](uint32_t, uint32_t) { return std::vector<uint32_t>(4); }) {}

PngMaker &PngMaker::pixels(const Samples &samples) {
    samples_ = samples;
    return *this;
}

PngMaker &PngMaker::interlace() {
    interlaced_ = true;
    return *this;
}

PngMaker &PngMaker::chunk(const std::string &type, const Bytes &data) {
    before_.emplace_back(type, data);
    return *this;
}

PngMaker &PngMaker::last_chunk(const std::string &type, const Bytes &data) {
    behind_.emplace_back(type, data);
    return *this;
}

PngMaker &PngMaker::resolution(uint32_t across, uint32_t down, uint8_t unit) {
    Bytes data = big_endian(across);
    append(&data, big_endian(down));
    data.push_back(unit);
    return chunk("pHYs", data);
}

PngMaker &PngMaker::claim(uint32_t width, uint32_t height) {
    claimed_width_ = width;
    claimed_height_ = height;
    return *this;
}

// The rows of a pass, each behind the number of its filter, which is none.
void PngMaker::pack_pass(Bytes *out, uint32_t x0, uint32_t y0, uint32_t dx, uint32_t dy) const {
    static constexpr size_t channels[] = {1, 0, 3, 1, 2, 0, 4};
    if (x0 >= width_) return;
    for (uint32_t y = y0; y < height_; y += dy) {
        out->push_back(0);
        int free_bits = 0; // of the last byte
        for (uint32_t x = x0; x < width_; x += dx) {
            std::vector<uint32_t> samples = samples_(x, y);
            samples.resize(channels[kind_]);
            for (const uint32_t sample : samples) {
                if (depth_ == 16) out->push_back(static_cast<uint8_t>(sample >> 8));
                if (depth_ >= 8) {
                    out->push_back(static_cast<uint8_t>(sample));
                    continue;
                }
                if (free_bits == 0) {
                    out->push_back(0);
                    free_bits = 8;
                }
                free_bits -= depth_;
                out->back() = static_cast<uint8_t>(out->back() | sample << free_bits);
            }
        }
    }
}

Bytes PngMaker::packed_rows() const {
    Bytes rows;
    if (!interlaced_) {
        pack_pass(&rows, 0, 0, 1, 1);
        return rows;
    }
    static constexpr uint32_t passes[7][4] = {{0, 0, 8, 8}, {4, 0, 8, 8}, {0, 4, 4, 8},
                                              {2, 0, 4, 4}, {0, 2, 2, 4}, {1, 0, 2, 2},
                                              {0, 1, 1, 2}};
    for (const auto &[x0, y0, dx, dy] : passes)
        pack_pass(&rows, x0, y0, dx, dy);
    return rows;
}

Bytes PngMaker::bytes() const {
    Bytes out = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    Bytes header = big_endian(claimed_width_);
    append(&header, big_endian(claimed_height_));
    append(&header, {static_cast<uint8_t>(depth_), static_cast<uint8_t>(kind_), 0, 0,
                     static_cast<uint8_t>(interlaced_)});
    append_chunk(&out, "IHDR", header);
    for (const auto &[type, data] : before_)
        append_chunk(&out, type, data);
    append_chunk(&out, "IDAT", compressed(packed_rows()));
    for (const auto &[type, data] : behind_)
        append_chunk(&out, type, data);
    append_chunk(&out, "IEND", {});
    return out;
}

PngMaker png_of(const Image &image, int bits) {
    PngMaker maker(static_cast<uint32_t>(image.width), static_cast<uint32_t>(image.height), bits,
                   png_gray);
    maker.pixels([image, bits](uint32_t x, uint32_t y) {
        const uint32_t value = image.at(static_cast<int32_t>(x), static_cast<int32_t>(y));
        return std::vector<uint32_t>{bits == 8 ? value : value >> 7};
    });
    return maker;
}

Handle open_png(const std::string &name, uint32_t mode) {
    const int32_t type = lffdev(lfregisterfmt(&png_cvtformat), 0);
    return Handle(lfopen(name.c_str(), mode, type, nullptr));
}

} // namespace vor::test
