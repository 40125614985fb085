/* The module's private record, the handle's fmtdata, and the operations that its files share. */
#ifndef VOR_PNG_PNG_FILE_H
#define VOR_PNG_PNG_FILE_H

#include "png/png_picture.h"
#include "png/png_rows.h"
#include "png/png_stream.h"
#include "png/vor_png.h"
#include "shared/row_reading.h"

namespace vor::png {

struct PngFile : raster::RowReading {
    static constexpr const char *reader = "png_readtrack";

    explicit PngFile(xvor_t *h) : stream(h) {}

    int32_t tracks() const { return picture.height; }
    bool deliver(xvor_t *h, int32_t track); // png_format.cpp
    const char *reason() const { return rows.reason(); }

    PngStream stream; // on the write road open from lfcheck on

    // Reading.
    Picture picture;
    RowBands rows;

    // Writing.
    int32_t height = 0;  // as the file's head has it
    int64_t written = 0; // rows
};

inline PngFile *file_of(const xvor_t *h) {
    return raster::file_of<PngFile>(h);
}

// png_write.cpp: the hooks of the write road.
int32_t set_up_write(xvor_t *h);
int32_t check_write(xvor_t *h);
int32_t write_end(xvor_t *h);

} // namespace vor::png

#endif
