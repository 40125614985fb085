/* libpng on the descriptor of a handle, which stays the handle's.
 *
 * libpng leaves a failing call by longjmp. So all work with it is cut into steps, plain functions
 * that hold nothing to be destroyed, and run() is the one place to which a failed step comes back.
 */
#ifndef VOR_PNG_PNG_STREAM_H
#define VOR_PNG_PNG_STREAM_H

#include <csetjmp>

#include <png.h>

#include "trackfile/lf.h"

namespace vor::png {

class PngStream {
public:
    explicit PngStream(xvor_t *h) : handle_(h) {}
    ~PngStream() { end(); }
    PngStream(const PngStream &) = delete;
    PngStream &operator=(const PngStream &) = delete;

    // Begin anew: at the start of the file, up to the pixels; and where the file stands, with
    // nothing written yet. False with a reason.
    bool open_reading();
    bool open_writing();
    void end();
    bool is_open() const { return png_ != nullptr; }

    // What libpng or a step gave up over, or null.
    const char *reason() const { return reason_[0] != '\0' ? reason_ : nullptr; }

    // libpng's warnings of the first opening are enough.
    void be_quiet() { quiet_ = true; }

    png_struct *png() const { return png_; }
    png_info *info() const { return info_; }

    // Runs a step on the open stream. False if it failed, with a reason; the stream is of no more
    // use then.
    template <class Context>
    bool run(void (*step)(png_struct *png, png_info *info, Context *context), Context *context) {
        if (!find_position() || setjmp(png_jmpbuf(png_))) return false;
        step(png_, info_, context);
        return true;
    }

private:
    [[noreturn]] static void note_failure(png_struct *png, const char *text);
    static void note_warning(png_struct *png, const char *text);
    static void read_bytes(png_struct *png, uint8_t *to, size_t size);
    static void write_bytes(png_struct *png, uint8_t *from, size_t size);
    static void read_head(png_struct *png, png_info *info, PngStream *stream);
    static void prepare_writing(png_struct *png, png_info *info, PngStream *stream);
    bool fail(const char *text);
    bool find_position();

    xvor_t *handle_;
    png_struct *png_ = nullptr;
    png_info *info_ = nullptr;
    int64_t position_ = 0; // of a file that is read; others may have moved the descriptor
    bool writing_ = false;
    bool quiet_ = false;
    char reason_[128] = "";
};

} // namespace vor::png

#endif
