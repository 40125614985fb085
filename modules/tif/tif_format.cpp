// The record of the format "tif", and its read road. A row is decoded, turned as the eye sees it
// and put into the handle's buffer, which holds just one; from there the codecs "bm1" and "bm8"
// take it.

#include <cstring>
#include <span>

#include "tif/tif_bits.h"
#include "tif/tif_file.h"

namespace vor::tif {
namespace {

bool is_tiff(const uint8_t *head, int32_t size) {
    static constexpr uint8_t marks[4][4] = {
        {'I', 'I', 42, 0}, {'M', 'M', 0, 42}, {'I', 'I', 43, 0}, {'M', 'M', 0, 43}};
    if (size < 8) return false;
    for (const auto &mark : marks) {
        if (std::memcmp(head, mark, sizeof mark) == 0) return true;
    }
    return false;
}

uint32_t compression_nibble(uint16_t compression) {
    switch (compression) {
    case COMPRESSION_PACKBITS:
        return TIF_PACKBITS;
    case COMPRESSION_LZW:
        return TIF_LZW;
    case COMPRESSION_ADOBE_DEFLATE:
    case COMPRESSION_DEFLATE:
        return TIF_DEFLATE;
    case COMPRESSION_CCITTFAX4:
        return TIF_G4;
    default:
        return TIF_PLAIN;
    }
}

void describe(xvor_t *h, const TifFile &file) {
    const Picture &picture = file.picture;
    const bool turned = picture.orientation.transposed;
    h->fxsize = picture.tracks();
    h->fysize = picture.pixels();
    h->fxres = turned ? picture.width_resolution : picture.length_resolution;
    h->fyres = turned ? picture.length_resolution : picture.width_resolution;
    h->bits = picture.bits;
    h->subtype = static_cast<int32_t>((picture.bits == 1 ? TIF_BILEVEL : TIF_GRAY) |
                                      compression_nibble(picture.compression));
    h->dataoff = 0;
    if (TIFFIsByteSwapped(file.tiff.get())) h->flags |= LF_SWAPPED;
}

int32_t set_up_read(xvor_t *h) {
    constexpr const char *where = "tif_detect";
    if ((h->flags & LF_ACCMODE) != LF_READ) {
        return lferror(h, where, LFE_NOWRITE, 0, "a TIFF file is not updated in place");
    }
    auto file = std::make_unique<TifFile>();
    file->handle = h;
    file->tiff = open_tiff(file.get(), "rm");
    if (!file->tiff) return lferror(h, where, LFE_CORRUPT, 0, file->trouble.extra());
    if (const char *why = read_picture(file->tiff.get(), file_bytes(h), &file->picture)) {
        return lferror(h, where, LFE_NOREAD, 0, why);
    }
    // libtiff may find fault with a tag and go on.
    if (file->trouble.any()) lferror(h, where, LFE_WARNING, 0, file->trouble.extra());
    file->rows.start(file->tiff.get(), &file->picture, &file->trouble);
    file->columns.start(&file->rows, &file->picture);
    describe(h, *file);
    h->fmtdata = file.release();
    return 0;
}

int32_t detect(xvor_t *h, const uint8_t *head, int32_t size) {
    if (!is_tiff(head, size)) return 1;
    return guarded(h, "tif_detect", [h] { return set_up_read(h); });
}

int32_t check(xvor_t *h) {
    if ((h->flags & LF_ACCMODE) == LF_READ) return raster::check_read<TifFile>(h, "tif_check");
    return guarded(h, "tif_check", [h] { return check_write(h); });
}

int32_t wrsetup(xvor_t *h) {
    return guarded(h, "tif_wrsetup", [h] { return set_up_write(h); });
}

int32_t close(xvor_t *h) {
    TifFile *file = file_of(h);
    if (!file) return 0;
    // Behind a failure libtiff would try again to finish the file.
    file->trouble.ended = true;
    delete file;
    h->fmtdata = nullptr;
    return 0;
}

} // namespace

bool TifFile::deliver(xvor_t *h, int32_t track) {
    const Orientation &turn = picture.orientation;
    const int32_t number = turn.reversed ? picture.tracks() - 1 - track : track;
    const uint8_t *pixels = turn.transposed ? columns.column(number) : rows.row(number);
    if (!pixels) return false;
    const std::span<uint8_t> row(h->buf, static_cast<size_t>(h->rowbytes));
    std::memcpy(row.data(), pixels, row.size());
    if (turn.mirrored && picture.bits == 1) mirror_bits(row, picture.pixels());
    if (turn.mirrored && picture.bits == 8) mirror_bytes(row);
    if (picture.white_is_zero) invert(row);
    return true;
}

} // namespace vor::tif

lffmt_t tif_cvtformat = {
    .name = "tif",
    .suffix = ".tif",
    .suffixlist = ".tif:.tiff:",
    .module = nullptr,
    .init = vor::raster::register_exact_bits,
    .detect = vor::tif::detect,
    .wrsetup = vor::tif::wrsetup,
    .reserved1 = nullptr,
    .reserved2 = nullptr,
    .whdr = vor::tif::write_directory,
    .close = vor::tif::close,
    .check = vor::tif::check,
    .seektabfn = nullptr,
    .reserved3 = nullptr,
};
