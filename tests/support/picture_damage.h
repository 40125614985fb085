// What comes of the tracks of a damaged picture.
#ifndef VOR_TESTS_PICTURE_DAMAGE_H
#define VOR_TESTS_PICTURE_DAMAGE_H

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "support/byte_file.h"
#include "support/gray_image.h"

namespace vor::test {

// A new file of that name: to cut an old one off and fill it again makes some file systems wait for
// the disk.
inline void rewrite(const std::string &name, const std::vector<uint8_t> &bytes) {
    std::filesystem::remove(name);
    write_bytes(name, bytes);
}

// How many tracks are not what the picture has, and how many fail.
struct Outcome {
    int32_t wrong = 0;
    int32_t failed = 0;
};

inline Outcome read_all(xvor_t *h, const Image &image) {
    Outcome outcome;
    if (h->ysize > 4096 || h->xsize > 4096) return outcome; // a size that was altered
    Track track(static_cast<uint32_t>(h->ysize));
    for (int32_t n = 0; n < h->xsize; ++n) {
        if (lfread(h, track.get(), n) < 0) {
            ++outcome.failed;
            continue;
        }
        const std::vector<uint8_t> row = pixels_of(track.runs());
        const bool same = n < image.height && h->ysize == image.width &&
                          std::equal(row.begin(), row.end(), image.pixels.begin() + n * image.width,
                                     image.pixels.begin() + (n + 1) * image.width);
        if (!same) ++outcome.wrong;
    }
    return outcome;
}

} // namespace vor::test

#endif
