// From pixels of the clip window to output pixels.
//
// The rule is that of an error-diffusing line: a window of w pixels becomes n, each piece of r
// pixels becomes n * r / w of them, and the fraction is carried on in an error term that starts at
// -(w / 2), or at -1 for a window of one pixel. Its sign decides who gets the extra pixel.
//
// The error term only carries what the divisions drop, so the output pixels made of the first s
// window pixels do not depend on how these were cut into pieces:
//
//   at(s) = floor((n * s + c) / w),  c = w - w / 2, or 0 for w = 1
//
// A piece from s to s' yields at(s') - at(s). That leaves no division and nothing but the position
// for one piece to wait for in the one before it. at(w) is n.
#ifndef VOR_CODECS_SCALER_H
#define VOR_CODECS_SCALER_H

#include <cstdint>

namespace vor {

// Scaling from any window of 1 to 2^31 - 1 pixels to any length.
//
// With n = i * w + f the sum is i * s + floor((f * s + c) / w). The second term comes from two
// fractions of 2^64, a = ceil(f * 2^64 / w) and b = ceil(c * 2^64 / w), as the part of a * s + b
// above 2^64. Each is less than 1 too large, so that a * s + b is too large by less than s + 1 <=
// 2^31. That is exact: the true fraction lies at least 1/w > 2^-31 below the next whole number,
// which is 2^33 in these units.
class Rescaled {
public:
    static constexpr bool one_to_one = false;

    // A window or an output of no pixels makes no pixels.
    Rescaled(int64_t output, int64_t window) : output_(output), window_(window) {
        if (output < 1 || window < 1) return;
        const uint64_t n = static_cast<uint64_t>(output);
        const uint64_t w = static_cast<uint64_t>(window);
        whole_ = n / w;
        step_ = fraction(n % w, w);
        start_ = fraction(w > 1 ? w - w / 2 : 0, w);
    }

    // The output pixels of the first `passed` window pixels, at most the whole window.
    uint32_t at(int64_t passed) const {
        const uint64_t s = static_cast<uint64_t>(passed);
        const uint64_t low = (step_ & 0xFFFFFFFF) * s + (start_ & 0xFFFFFFFF);
        const uint64_t high = (step_ >> 32) * s + (start_ >> 32) + (low >> 32);
        return static_cast<uint32_t>(whole_ * s + (high >> 32));
    }

    int64_t output() const { return output_; }
    int64_t window() const { return window_; }

private:
    // ceil(part * 2^64 / whole), in two steps of 32 bits.
    static uint64_t fraction(uint64_t part, uint64_t whole) {
        const uint64_t high = (part << 32) / whole;
        const uint64_t rest = (part << 32) % whole;
        const uint64_t low = (rest << 32) / whole;
        const bool exact = (rest << 32) % whole == 0;
        return (high << 32) + low + (exact ? 0 : 1);
    }

    int64_t output_;
    int64_t window_;
    uint64_t whole_ = 0;
    uint64_t step_ = 0;
    uint64_t start_ = 0;
};

// The scaling of a window that is as long as the output.
class OneToOne {
public:
    static constexpr bool one_to_one = true;

    OneToOne(int64_t, int64_t) {}
    uint32_t at(int64_t passed) const { return static_cast<uint32_t>(passed); }
};

} // namespace vor

#endif
