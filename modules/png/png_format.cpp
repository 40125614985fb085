// The record of the format "png", and its read road. A row is decoded and put into the handle's
// buffer, from where the codecs "bm1" and "bm8" take it.

#include <cstring>
#include <memory>

#include "png/png_file.h"

namespace vor::png {
namespace {

using raster::guarded;

bool is_png(const uint8_t *head, int32_t size) {
    static constexpr uint8_t mark[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    return size >= 8 && std::memcmp(head, mark, sizeof mark) == 0;
}

void describe(xvor_t *h, const Picture &picture) {
    h->fxsize = picture.height;
    h->fysize = picture.width;
    h->fxres = picture.height_resolution;
    h->fyres = picture.width_resolution;
    h->bits = picture.bits;
    const uint32_t kind = picture.bits == 1 ? VOR_PNG_BILEVEL : VOR_PNG_GRAY;
    h->subtype = static_cast<int32_t>(kind | VOR_PNG_DEFLATE);
    h->dataoff = 0;
}

void warn_of_losses(xvor_t *h, const char *where, const Picture &picture) {
    if (picture.coloured) lferror(h, where, LFE_WARNING, 0, "colours are read as gray");
    if (picture.transparent) {
        lferror(h, where, LFE_WARNING, 0, "what is transparent is laid on white");
    }
    if (picture.deep) lferror(h, where, LFE_WARNING, 0, "16 bits a sample are read as 8");
}

int32_t set_up_read(xvor_t *h) {
    constexpr const char *where = "png_detect";
    if ((h->flags & LF_ACCMODE) != LF_READ) {
        return lferror(h, where, LFE_NOWRITE, 0, "a PNG file is not updated in place");
    }
    auto file = std::make_unique<PngFile>(h);
    PngStream &stream = file->stream;
    if (!stream.open_reading()) return lferror(h, where, LFE_CORRUPT, 0, stream.reason());
    const char *why =
        read_picture(stream.png(), stream.info(), raster::file_bytes(h), &file->picture);
    if (why) return lferror(h, where, LFE_NOREAD, 0, why);
    warn_of_losses(h, where, file->picture);
    file->rows.start(&stream, &file->picture);
    describe(h, file->picture);
    h->fmtdata = file.release();
    return 0;
}

int32_t detect(xvor_t *h, const uint8_t *head, int32_t size) {
    if (!is_png(head, size)) return 1;
    return guarded(h, "png_detect", [h] { return set_up_read(h); });
}

int32_t check(xvor_t *h) {
    if ((h->flags & LF_ACCMODE) == LF_READ) return raster::check_read<PngFile>(h, "png_check");
    return check_write(h);
}

int32_t wrsetup(xvor_t *h) {
    return guarded(h, "png_wrsetup", [h] { return set_up_write(h); });
}

int32_t close(xvor_t *h) {
    delete file_of(h);
    h->fmtdata = nullptr;
    return 0;
}

} // namespace

bool PngFile::deliver(xvor_t *h, int32_t track) {
    const uint8_t *pixels = rows.row(track);
    if (!pixels) return false;
    std::memcpy(h->buf, pixels, static_cast<size_t>(h->rowbytes));
    return true;
}

} // namespace vor::png

lffmt_t png_cvtformat = {
    .name = "png",
    .suffix = ".png",
    .suffixlist = ".png:",
    .module = nullptr,
    .init = vor::raster::register_exact_bits,
    .detect = vor::png::detect,
    .wrsetup = vor::png::wrsetup,
    .reserved1 = nullptr,
    .reserved2 = nullptr,
    .whdr = vor::png::write_end,
    .close = vor::png::close,
    .check = vor::png::check,
    .seektabfn = nullptr,
    .reserved3 = nullptr,
};
