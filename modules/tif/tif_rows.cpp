#include "tif/tif_rows.h"

#include <algorithm>
#include <cstring>

#include "tif/tif_file.h"

namespace vor::tif {

void RowBands::start(TIFF *tiff, const Picture *picture, Trouble *trouble, int64_t limit) {
    tiff_ = tiff;
    picture_ = picture;
    trouble_ = trouble;
    row_size_ = static_cast<size_t>(picture->row_size);
    const auto length = static_cast<uint32_t>(picture->length);
    block_rows_ = static_cast<int32_t>(std::min(picture->block_length, length));
    const int64_t fitting = std::max<int64_t>(limit / picture->row_size, 1);
    band_rows_ = picture->tiled ? block_rows_
                                : static_cast<int32_t>(std::min<int64_t>(block_rows_, fitting));
}

const uint8_t *RowBands::row(int32_t number) {
    if (number < first_ || number - first_ >= rows_) {
        const int32_t block = number - number % block_rows_;
        const int32_t first = block + (number - block) / band_rows_ * band_rows_;
        const int64_t block_end = int64_t{block} + block_rows_;
        const int64_t end =
            std::min({int64_t{first} + band_rows_, block_end, int64_t{picture_->length}});
        rows_ = 0;
        if (!load(first, static_cast<int32_t>(end - first))) return nullptr;
        first_ = first;
        rows_ = static_cast<int32_t>(end - first);
    }
    return band_.data() + row_size_ * static_cast<size_t>(number - first_);
}

// What libtiff calls a success may be a fax that it has patched up.
bool RowBands::load(int32_t first, int32_t rows) {
    band_.resize(row_size_ * static_cast<size_t>(rows));
    trouble_->clear();
    trouble_->strict = picture_->compression == COMPRESSION_CCITTFAX4;
    const bool loaded = picture_->tiled            ? load_tiles(first, rows)
                        : band_rows_ < block_rows_ ? load_lines(first, rows)
                                                   : load_strip(first, rows);
    const bool good = loaded && !(trouble_->strict && trouble_->any());
    trouble_->strict = false;
    return good;
}

bool RowBands::load_tiles(int32_t first, int32_t rows) {
    const auto size = static_cast<size_t>(TIFFTileSize64(tiff_));
    const auto tile_row = static_cast<size_t>(TIFFTileRowSize64(tiff_));
    if (tile_row * picture_->block_length != size) return false;
    tile_.resize(size);
    size_t offset = 0;
    for (uint32_t x = 0; offset < row_size_; x += picture_->block_width, offset += tile_row) {
        const uint32_t tile = TIFFComputeTile(tiff_, x, static_cast<uint32_t>(first), 0, 0);
        const auto wanted = static_cast<tmsize_t>(size);
        if (TIFFReadEncodedTile(tiff_, tile, tile_.data(), wanted) != wanted) return false;
        const size_t width = std::min(tile_row, row_size_ - offset);
        for (size_t i = 0; i < static_cast<size_t>(rows); ++i)
            std::memcpy(band_.data() + i * row_size_ + offset, tile_.data() + i * tile_row, width);
    }
    return true;
}

bool RowBands::load_strip(int32_t first, int32_t rows) {
    const uint32_t strip = TIFFComputeStrip(tiff_, static_cast<uint32_t>(first), 0);
    const auto wanted = static_cast<tmsize_t>(row_size_ * static_cast<size_t>(rows));
    return TIFFReadEncodedStrip(tiff_, strip, band_.data(), wanted) == wanted;
}

bool RowBands::load_lines(int32_t first, int32_t rows) {
    const int32_t strip_start = first - first % block_rows_;
    if (next_line_ < strip_start || next_line_ > first) next_line_ = strip_start;
    tile_.resize(row_size_);
    const bool read = read_lines(tile_.data(), static_cast<int32_t>(first - next_line_), 0) &&
                      read_lines(band_.data(), rows, row_size_);
    if (!read) next_line_ = -1;
    return read;
}

// Decodes the next rows, each `step` bytes behind the one before.
bool RowBands::read_lines(uint8_t *to, int32_t count, size_t step) {
    for (; count > 0; --count, to += step) {
        if (TIFFReadScanline(tiff_, to, static_cast<uint32_t>(next_line_), 0) != 1) return false;
        ++next_line_;
    }
    return true;
}

} // namespace vor::tif
