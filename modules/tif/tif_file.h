/* The module's private record and the operations that its files share. */
#ifndef VOR_TIF_TIF_FILE_H
#define VOR_TIF_TIF_FILE_H

#include <cstdint>
#include <memory>

#include <tiffio.h>

#include "shared/row_reading.h"
#include "tif/tif_columns.h"
#include "tif/tif_picture.h"
#include "tif/tif_rows.h"
#include "tif/vor_tif.h"

namespace vor::tif {

using raster::file_bytes;
using raster::guarded;
using raster::has;
using raster::largest_block;

struct EndTiff {
    void operator()(TIFF *tiff) const { TIFFCleanup(tiff); }
};
using TiffPtr = std::unique_ptr<TIFF, EndTiff>;

// What libtiff has told of a file.
struct Trouble {
    char text[256] = ""; // the first failure since the text was cleared
    bool strict = false; // a warning is a failure too
    bool ended = false;  // nothing more is written, nothing more is told

    void clear() { text[0] = '\0'; }
    bool any() const { return text[0] != '\0'; }
    const char *extra() const { return any() ? text : nullptr; }
};

// The handle's fmtdata.
struct TifFile : raster::RowReading {
    static constexpr const char *reader = "tif_readtrack";

    int32_t tracks() const { return picture.tracks(); }
    bool deliver(xvor_t *h, int32_t track); // tif_format.cpp
    const char *reason() const { return trouble.extra(); }

    xvor_t *handle = nullptr;
    Trouble trouble;
    TiffPtr tiff; // on the write road from lfcheck on

    // Reading.
    Picture picture;
    RowBands rows;
    ColumnBands columns;

    // Writing.
    int32_t orientation = ORIENTATION_TOPLEFT;
    int32_t height = 0;   // as the file was begun with
    uint32_t written = 0; // rows
};

inline TifFile *file_of(const xvor_t *h) {
    return raster::file_of<TifFile>(h);
}

// tif_stream.cpp: libtiff on the handle's descriptor, which stays the handle's. Null on failure,
// with the reason in `trouble`.
TiffPtr open_tiff(TifFile *file, const char *mode);

// tif_write.cpp: the hooks of the write road.
int32_t set_up_write(xvor_t *h);
int32_t check_write(xvor_t *h);
int32_t write_directory(xvor_t *h);

} // namespace vor::tif

#endif
