// A PNG file with 8 bits a channel, written row by row.
#ifndef VOR_TOOL_PNG_WRITER_H
#define VOR_TOOL_PNG_WRITER_H

#include <cstdint>
#include <string>

#include <png.h>

namespace vor::tool {

enum class PngColour { gray, rgb };

class PngWriter {
public:
    // Takes over the descriptor. `x_per_metre` and `y_per_metre` of 0: no physical size is told.
    // Throws a Failure about `shown`, as all calls do.
    PngWriter(int32_t fd, std::string shown, uint32_t width, uint32_t height, uint32_t x_per_metre,
              uint32_t y_per_metre, PngColour colour = PngColour::gray);
    ~PngWriter();
    PngWriter(const PngWriter &) = delete;
    PngWriter &operator=(const PngWriter &) = delete;

    void write_row(const uint8_t *row);
    void finish(); // closes the descriptor

private:
    template <class Step>
    void guarded(Step step);

    int32_t fd_;
    std::string shown_;
    png_structp png_ = nullptr;
    png_infop info_ = nullptr;
};

} // namespace vor::tool

#endif
