/* What a PNG's header says of the picture, and whether it can be believed. */
#ifndef VOR_PNG_PNG_PICTURE_H
#define VOR_PNG_PNG_PICTURE_H

#include <cstdint>

#include <png.h>

namespace vor::png {

struct Picture {
    int32_t width = 0;
    int32_t height = 0;
    int bits = 0;       // of a pixel as it is read, 1 or 8
    int64_t stride = 0; // bytes of a decoded row, with its transparency
    bool coloured = false;
    bool transparent = false; // a pixel has a second byte
    bool deep = false;        // 16 bits a sample
    bool interlaced = false;
    double width_resolution = 0; // pixels per mm, 0 for both if the file tells none
    double height_resolution = 0;

    int64_t rows_bytes(int64_t rows) const { return stride * rows; }
};

// Fills `picture` from what stands in front of the pixels. The result is a text that says why the
// picture is not read, or null. `file_size` in bytes tells lies: what claims more pixels than any
// coding gets out of that many bytes is refused before memory is taken for it.
const char *read_picture(const png_struct *png, const png_info *info, int64_t file_size,
                         Picture *picture);

} // namespace vor::png

#endif
