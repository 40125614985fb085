/* The module's private record and the operations that its files share. */
#ifndef VOR_TIF_TIF_FILE_H
#define VOR_TIF_TIF_FILE_H

#include <cstdint>
#include <memory>
#include <new>

#include <tiffio.h>

#include "tif/tif_columns.h"
#include "tif/tif_picture.h"
#include "tif/tif_rows.h"
#include "tif/vor_tif.h"

namespace vor::tif {

// The largest block that is made on the word of a file, in bytes.
constexpr int64_t largest_block = int64_t{256} << 20;

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
struct TifFile {
    xvor_t *handle = nullptr;
    Trouble trouble;
    TiffPtr tiff; // on the write road from lfcheck on

    // Reading.
    Picture picture;
    RowBands rows;
    ColumnBands columns;
    int32_t next = 0; // the track to be read next
    lf_readtrack_fn decode = nullptr;

    // Writing.
    int32_t orientation = ORIENTATION_TOPLEFT;
    uint32_t written = 0; // rows
};

inline TifFile *file_of(const xvor_t *h) {
    return static_cast<TifFile *>(h->fmtdata);
}

inline bool has(const xvor_t *h, uint32_t flag) {
    return (h->flags & flag) != 0;
}

// What C++ throws ends here: the library's calls know no exceptions.
template <class Function>
int32_t guarded(xvor_t *h, const char *where, Function function) {
    try {
        return function();
    } catch (const std::bad_alloc &) {
        return lferror(h, where, LFE_MEMORY, 0, nullptr);
    }
}

// tif_stream.cpp: libtiff on the handle's descriptor, which stays the handle's. Null on failure,
// with the reason in `trouble`.
TiffPtr open_tiff(TifFile *file, const char *mode);
int64_t file_bytes(const xvor_t *h); // -1 if the descriptor does not tell

// tif_format.cpp: a buffer that holds `bytes`, for the codecs to work in. Reports.
int32_t make_buffer(xvor_t *h, int64_t bytes);

// tif_write.cpp: the hooks of the write road.
int32_t set_up_write(xvor_t *h);
int32_t check_write(xvor_t *h);
int32_t write_directory(xvor_t *h);

} // namespace vor::tif

#endif
