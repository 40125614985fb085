// Files of the images, made once in memory for all benchmarks of a program and gone at its end.
#ifndef VOR_BENCH_ROAD_FILES_H
#define VOR_BENCH_ROAD_FILES_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>

#include "formats/formats.h"
#include "track_images.h"
#include "trackfile/lf.h"
#include "vor/vor.h"

namespace vor::bench {

// Ends the program: a road that fails is not worth a figure.
inline void require(bool condition, const char *what) {
    if (condition) return;
    std::fprintf(stderr, "benchmark: %s failed\n", what);
    std::abort();
}

// A name in a directory of this program's own, in memory where there is such a place, since a disk
// would be what is measured.
std::string scratch_name(const std::string &name);

// A native file of the image; `minor` is VT_ bits. Made at the first call.
const std::string &native_file(const TrackImage &image, uint32_t minor);

// The same image as a TIFF file of one strip a row, 1 or 8 bits a pixel; `compression` is
// libtiff's.
const std::string &tiff_file(const TrackImage &image, uint16_t compression);

// And as a gray PNG file.
const std::string &png_file(const TrackImage &image);

// Writes a gray PNG file at level 9, its rows packed as packed_row gives them.
void write_png_rows(const std::string &name, const TrackImage &image,
                    const std::function<std::string(int32_t)> &row);

size_t file_size(const std::string &name);

// Writes an image as a native file.
void write_native(const std::string &name, const TrackImage &image, uint32_t minor);

// A track buffer that frees itself.
class TrackRoom {
public:
    explicit TrackRoom(size_t runs) {
        require(gtgrow(&track_, static_cast<uint32_t>(runs), 1, 0) == 0, "gtgrow");
    }
    ~TrackRoom() { gtfree(&track_); }
    TrackRoom(const TrackRoom &) = delete;
    TrackRoom &operator=(const TrackRoom &) = delete;
    trackbuf *get() { return &track_; }

    void put(const Runs &runs);

private:
    trackbuf track_ = {};
};

// A row of pixels of a track, 1 bit or 8 bits a pixel.
std::string packed_row(const Runs &runs, const TrackImage &image);

} // namespace vor::bench

#endif
