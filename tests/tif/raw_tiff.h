// A classic little-endian TIFF put together by hand, with its directory in front of the data, so
// that it can say what libtiff would not write.
#ifndef VOR_TESTS_RAW_TIFF_H
#define VOR_TESTS_RAW_TIFF_H

#include <cstdint>
#include <map>
#include <vector>

#include <tiff.h>

namespace vor::test {

class RawTiff {
public:
    // A picture of one strip, of `bits` bits a pixel and no resolution.
    RawTiff(uint32_t width, uint32_t length, int bits, int compression, std::vector<uint8_t> strip)
        : strip_(std::move(strip)) {
        set(TIFFTAG_IMAGEWIDTH, width);
        set(TIFFTAG_IMAGELENGTH, length);
        set(TIFFTAG_BITSPERSAMPLE, static_cast<uint32_t>(bits));
        set(TIFFTAG_COMPRESSION, static_cast<uint32_t>(compression));
        set(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
        set(TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
        set(TIFFTAG_SAMPLESPERPIXEL, 1);
        set(TIFFTAG_ROWSPERSTRIP, length);
        set(TIFFTAG_STRIPOFFSETS, 0); // its value is filled in
        set(TIFFTAG_STRIPBYTECOUNTS, static_cast<uint32_t>(strip_.size()));
    }

    RawTiff &set(uint32_t tag, uint32_t value) {
        fields_[tag] = value;
        return *this;
    }
    RawTiff &drop(uint32_t tag) {
        fields_.erase(tag);
        return *this;
    }

    std::vector<uint8_t> bytes() const {
        std::vector<uint8_t> out = {'I', 'I', 42, 0, 8, 0, 0, 0};
        put(&out, fields_.size(), 2);
        const size_t data = 8 + 2 + 12 * fields_.size() + 4;
        for (const auto &[tag, value] : fields_) {
            const bool offset = tag == TIFFTAG_STRIPOFFSETS || tag == TIFFTAG_TILEOFFSETS;
            put(&out, tag, 2);
            put(&out, 4, 2); // type: 32 bits
            put(&out, 1, 4);
            put(&out, offset && value == 0 ? data : value, 4);
        }
        put(&out, 0, 4); // no further directory
        out.insert(out.end(), strip_.begin(), strip_.end());
        return out;
    }

private:
    static void put(std::vector<uint8_t> *out, uint64_t value, int bytes) {
        for (; bytes > 0; --bytes, value >>= 8)
            out->push_back(static_cast<uint8_t>(value));
    }

    std::map<uint32_t, uint32_t> fields_;
    std::vector<uint8_t> strip_;
};

} // namespace vor::test

#endif
