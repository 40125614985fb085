// Gray pictures as tests make them up, and as they come out of a track file.
#ifndef VOR_TESTS_GRAY_IMAGE_H
#define VOR_TESTS_GRAY_IMAGE_H

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/owned_handles.h"

namespace vor::test {

// A gray picture as it is to be seen, 0 black and 255 white, top row first.
struct Image {
    int32_t width = 0;
    int32_t height = 0;
    std::vector<uint8_t> pixels;

    uint8_t &at(int32_t x, int32_t y) {
        return pixels[static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)];
    }
    uint8_t at(int32_t x, int32_t y) const { return const_cast<Image *>(this)->at(x, y); }
    bool operator==(const Image &) const = default;
};

// A picture with detail of every kind in it: runs, single pixels, and in gray all values.
inline Image sample_image(int32_t width, int32_t height, int bits) {
    Image image{width, height, {}};
    image.pixels.resize(static_cast<size_t>(width) * static_cast<size_t>(height));
    uint32_t noise = 1;
    for (int32_t y = 0; y < height; ++y) {
        for (int32_t x = 0; x < width; ++x) {
            noise = noise * 1664525u + 1013904223u;
            const uint32_t smooth = static_cast<uint32_t>(x * 7 + y * 3);
            const uint32_t value = y % 3 == 0 ? noise >> 24 : smooth;
            image.at(x, y) = bits == 8 ? static_cast<uint8_t>(value) : (value & 0x10 ? 255 : 0);
        }
    }
    return image;
}

inline Runs runs_of_row(const Image &image, int32_t y) {
    Runs runs;
    for (int32_t x = 0; x < image.width; ++x) {
        if (runs.empty() || runs.back().second != image.at(x, y))
            runs.emplace_back(0, image.at(x, y));
        ++runs.back().first;
    }
    return runs;
}

inline std::vector<uint8_t> pixels_of(const Runs &runs) {
    std::vector<uint8_t> pixels;
    for (const auto &[length, colour] : runs)
        pixels.insert(pixels.end(), length, static_cast<uint8_t>(colour));
    return pixels;
}

// All output tracks of a handle as rows of an image. Throws where a track is not read.
inline Image read_image(xvor_t *h) {
    Track track(static_cast<uint32_t>(h->ysize));
    Image image;
    for (int32_t n = 0; n < h->xsize; ++n) {
        if (lfread(h, track.get(), n) < 0) {
            throw std::runtime_error("track " + std::to_string(n) + " is not read");
        }
        const std::vector<uint8_t> row = pixels_of(track.runs());
        image.pixels.insert(image.pixels.end(), row.begin(), row.end());
    }
    image.width = h->ysize;
    image.height = h->xsize;
    return image;
}

// Writes an image as the tracks of a handle that has its size. Throws where a track is not written.
inline void put_rows(xvor_t *h, const Image &image) {
    Track track(static_cast<uint32_t>(image.width));
    for (int32_t y = 0; y < image.height; ++y) {
        track.put(runs_of_row(image, y));
        if (lfwrite(h, track.get(), y) != 0) {
            throw std::runtime_error("track " + std::to_string(y) + " is not written");
        }
    }
}

} // namespace vor::test

#endif
