#include "png/png_stream.h"

#include <cstdio>

#include "platform/kel.h"
#include "shared/row_format.h"

namespace vor::png {
namespace {

PngStream *stream_of(png_struct *png) {
    return static_cast<PngStream *>(png_get_error_ptr(png));
}

// Chunks that say something of the picture's looks, texts, profiles: some of them are compressed,
// and would cost memory and time for nothing.
void pass_over_other_chunks(png_struct *png) {
    static constexpr png_byte physical[] = {'p', 'H', 'Y', 's', '\0'};
    png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_NEVER, nullptr, -1);
    png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_AS_DEFAULT, physical, 1);
}

void allow_every_size(png_struct *png) {
    png_set_user_limits(png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
}

} // namespace

// The first failure is kept.
bool PngStream::fail(const char *text) {
    if (reason_[0] == '\0') std::snprintf(reason_, sizeof reason_, "%s", text);
    return false;
}

void PngStream::note_failure(png_struct *png, const char *text) {
    stream_of(png)->fail(text ? text : "libpng gives no reason");
    png_longjmp(png, 1);
}

void PngStream::note_warning(png_struct *png, const char *text) {
    const PngStream *stream = stream_of(png);
    if (!stream->quiet_) lferror(stream->handle_, "png", LFE_WARNING, 0, text);
}

void PngStream::read_bytes(png_struct *png, uint8_t *to, size_t size) {
    PngStream *stream = stream_of(png);
    const int64_t got = raster::read_fully(stream->handle_->fd, to, size);
    if (got < 0) png_error(png, "the file cannot be read");
    if (static_cast<size_t>(got) < size) png_error(png, "the file ends early");
    stream->position_ += got;
}

void PngStream::write_bytes(png_struct *png, uint8_t *from, size_t size) {
    if (!raster::write_fully(stream_of(png)->handle_->fd, from, size)) {
        png_error(png, "the file cannot be written");
    }
}

void PngStream::read_head(png_struct *png, png_info *info, PngStream *stream) {
    png_set_read_fn(png, stream, read_bytes);
    allow_every_size(png);
    pass_over_other_chunks(png);
    png_read_info(png, info);
}

void PngStream::prepare_writing(png_struct *png, png_info *, PngStream *stream) {
    png_set_write_fn(png, stream, write_bytes, [](png_struct *) {});
    allow_every_size(png);
}

bool PngStream::find_position() {
    if (writing_ || kel_lseek(handle_->fd, position_, KEL_SEEK_SET) == position_) return true;
    return fail("the file cannot be positioned");
}

bool PngStream::open_reading() {
    end();
    png_ = png_create_read_struct(PNG_LIBPNG_VER_STRING, this, note_failure, note_warning);
    info_ = png_ ? png_create_info_struct(png_) : nullptr;
    return info_ ? run(read_head, this) : fail("out of memory");
}

bool PngStream::open_writing() {
    end();
    writing_ = true;
    png_ = png_create_write_struct(PNG_LIBPNG_VER_STRING, this, note_failure, note_warning);
    info_ = png_ ? png_create_info_struct(png_) : nullptr;
    return info_ ? run(prepare_writing, this) : fail("out of memory");
}

void PngStream::end() {
    if (writing_) {
        png_destroy_write_struct(&png_, &info_);
    } else {
        png_destroy_read_struct(&png_, &info_, nullptr);
    }
    png_ = nullptr;
    info_ = nullptr;
    writing_ = false;
    position_ = 0;
    reason_[0] = '\0';
}

} // namespace vor::png
