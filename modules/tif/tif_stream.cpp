// libtiff reads and writes through the calls that the whole library uses, on the descriptor of the
// handle. What it has to say goes into the handle's record, and from there into the reports.

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "platform/kel.h"
#include "tif/tif_file.h"

namespace vor::tif {
namespace {

const TifFile *client(thandle_t data) {
    return static_cast<const TifFile *>(data);
}

tmsize_t read_bytes(thandle_t data, void *to, tmsize_t size) {
    return static_cast<tmsize_t>(
        raster::read_fully(client(data)->handle->fd, to, static_cast<size_t>(size)));
}

tmsize_t write_bytes(thandle_t data, void *from, tmsize_t size) {
    if (client(data)->trouble.ended) return -1;
    return raster::write_fully(client(data)->handle->fd, from, static_cast<size_t>(size)) ? size
                                                                                          : -1;
}

toff_t seek(thandle_t data, toff_t offset, int whence) {
    const int32_t from = whence == SEEK_SET   ? KEL_SEEK_SET
                         : whence == SEEK_CUR ? KEL_SEEK_CUR
                                              : KEL_SEEK_END;
    const int64_t position =
        kel_lseek(client(data)->handle->fd, static_cast<int64_t>(offset), from);
    return static_cast<toff_t>(position);
}

toff_t size_of_file(thandle_t data) {
    const int64_t size = file_bytes(client(data)->handle);
    return size < 0 ? 0 : static_cast<toff_t>(size);
}

// The file is the handle's.
int leave_open(thandle_t) {
    return 0;
}

// What libtiff says, behind the name of its function; the file's name is the report's affair.
void tell(const TifFile &file, char *text, size_t size, const char *module, const char *format,
          va_list arguments) VOR_PRINTF(5, 0);
void tell(const TifFile &file, char *text, size_t size, const char *module, const char *format,
          va_list arguments) {
    const bool named = module && std::strcmp(module, file.handle->name) != 0;
    const int used = named ? std::snprintf(text, size, "%s: ", module) : 0;
    const size_t begin = used > 0 ? static_cast<size_t>(used) : 0;
    if (begin < size) std::vsnprintf(text + begin, size - begin, format, arguments);
}

int note_failure(TIFF *, void *data, const char *module, const char *format, va_list arguments)
    VOR_PRINTF(4, 0);
int note_failure(TIFF *, void *data, const char *module, const char *format, va_list arguments) {
    auto *file = static_cast<TifFile *>(data);
    Trouble &trouble = file->trouble;
    if (!trouble.ended && !trouble.any()) {
        tell(*file, trouble.text, sizeof trouble.text, module, format, arguments);
    }
    return 1; // told: libtiff prints nothing
}

int note_warning(TIFF *tiff, void *data, const char *module, const char *format, va_list arguments)
    VOR_PRINTF(4, 0);
int note_warning(TIFF *tiff, void *data, const char *module, const char *format,
                 va_list arguments) {
    auto *file = static_cast<TifFile *>(data);
    if (file->trouble.strict) return note_failure(tiff, data, module, format, arguments);
    if (!file->trouble.ended) {
        char text[sizeof file->trouble.text];
        tell(*file, text, sizeof text, module, format, arguments);
        lferror(file->handle, "tif", LFE_WARNING, 0, text);
    }
    return 1;
}

struct FreeOptions {
    void operator()(TIFFOpenOptions *options) const { TIFFOpenOptionsFree(options); }
};

} // namespace

TiffPtr open_tiff(TifFile *file, const char *mode) {
    const std::unique_ptr<TIFFOpenOptions, FreeOptions> options(TIFFOpenOptionsAlloc());
    if (!options) return nullptr;
    TIFFOpenOptionsSetMaxSingleMemAlloc(options.get(), tmsize_t{largest_block});
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), note_failure, file);
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), note_warning, file);
    file->trouble.clear();
    // libtiff begins where the file stands.
    if (kel_lseek(file->handle->fd, 0, KEL_SEEK_SET) != 0) return nullptr;
    return TiffPtr(TIFFClientOpenExt(file->handle->name, mode, file, read_bytes, write_bytes, seek,
                                     leave_open, size_of_file, nullptr, nullptr, options.get()));
}

} // namespace vor::tif
