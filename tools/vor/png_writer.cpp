// libpng leaves a failed call by longjmp. Each call to it therefore stands in a frame of its own
// that has nothing to destroy, and the failure is thrown behind it.

#include "png_writer.h"

#include <csetjmp>

#include "platform/kel.h"
#include "report.h"

namespace vor::tool {
namespace {

void write_bytes(png_structp png, png_bytep bytes, png_size_t size) {
    const int32_t fd = *static_cast<const int32_t *>(png_get_io_ptr(png));
    while (size > 0) {
        const int64_t put = kel_write(fd, bytes, size);
        if (put <= 0) png_error(png, "write error");
        bytes += put;
        size -= static_cast<size_t>(put);
    }
}

void flush_nothing(png_structp) {}

[[noreturn]] void leave(png_structp png, png_const_charp) {
    png_longjmp(png, 1);
}

void ignore_warning(png_structp, png_const_charp) {}

template <class Step>
bool succeeds(png_structp png, Step &step) {
    if (setjmp(png_jmpbuf(png))) return false;
    step();
    return true;
}

} // namespace

template <class Step>
void PngWriter::guarded(Step step) {
    if (!png_ || !succeeds(png_, step)) throw Failure(shown_, system_error_text());
}

PngWriter::PngWriter(int32_t fd, std::string shown, uint32_t width, uint32_t height,
                     uint32_t x_per_metre, uint32_t y_per_metre, PngColour colour)
    : fd_(fd), shown_(std::move(shown)),
      png_(png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, leave, ignore_warning)) {
    guarded([&] {
        info_ = png_create_info_struct(png_);
        if (!info_) png_error(png_, "out of memory");
        png_set_write_fn(png_, &fd_, write_bytes, flush_nothing);
        const int type = colour == PngColour::rgb ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_GRAY;
        png_set_IHDR(png_, info_, width, height, 8, type, PNG_INTERLACE_NONE,
                     PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        if (x_per_metre > 0 && y_per_metre > 0) {
            png_set_pHYs(png_, info_, x_per_metre, y_per_metre, PNG_RESOLUTION_METER);
        }
        png_write_info(png_, info_);
    });
}

PngWriter::~PngWriter() {
    png_destroy_write_struct(&png_, &info_);
    if (fd_ >= 0) kel_close(fd_);
}

void PngWriter::write_row(const uint8_t *row) {
    guarded([&] { png_write_row(png_, row); });
}

void PngWriter::finish() {
    guarded([&] { png_write_end(png_, info_); });
    const int32_t fd = fd_;
    fd_ = -1;
    if (kel_close(fd) != 0) throw Failure(shown_, system_error_text());
}

} // namespace vor::tool
