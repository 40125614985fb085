// The checker's decoders with and without vectors: they stop at the same code and count the same.
// Where there is no vector form, this holds the plain ones against the model alone.

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "codecs/bulk.h"
#include "vor/checker_walk.h"

namespace vor::test {
namespace {

using Bytes = std::vector<uint8_t>;

struct Sum {
    size_t done = 0;
    uint64_t pixels = 0;
    std::vector<uint64_t> colours = std::vector<uint64_t>(256);

    bool operator==(const Sum &) const = default;
};

struct Form {
    const char *name;
    uint32_t format;
    bool swapped;
};
constexpr Form forms[] = {{"fw16", VT_FW16, false},
                          {"fw16 of the other byte order", VT_FW16, true},
                          {"fw8", VT_FW8, false},
                          {"fw88", VT_FW88, false}};

class CheckerAgreement : public testing::Test {
protected:
    ~CheckerAgreement() override { bulk_allowed = true; }

    // `count` codes at `from`, behind which there is slack.
    static Sum count_codes(const Form &form, bool vectors, const uint8_t *from, size_t count) {
        bulk_allowed = vectors;
        const auto counts = std::make_unique<ColourCounts>();
        Sum sum;
        sum.done =
            find_decoder(form.format, form.swapped).add(from, count, counts.get(), &sum.pixels);
        for (uint32_t colour = 0; colour < 256; ++colour)
            sum.colours[colour] = counts->total(colour);
        return sum;
    }

    static Sum model(const Form &form, const uint8_t *from, size_t count) {
        Sum sum;
        for (; sum.done < count; ++sum.done) {
            const uint8_t *const code = from + sum.done * (form.format == VT_FW8 ? 1 : 2);
            uint32_t length = code[0], colour = code[1];
            if (form.format == VT_FW8) {
                colour = (length & 0x80) != 0 ? 255 : 0;
                length &= 0x7F;
            } else if (form.format == VT_FW16) {
                uint16_t word = 0;
                std::memcpy(&word, code, sizeof word);
                if (form.swapped) word = static_cast<uint16_t>(word << 8 | word >> 8);
                colour = (word & 0x8000) != 0 ? 255 : 0;
                length = word & 0x7FFF;
            }
            if (length == 0) break;
            sum.pixels += length;
            sum.colours[colour] += length;
        }
        return sum;
    }

    static void expect_agreement(const Form &form, const Bytes &bytes, size_t from, size_t count) {
        SCOPED_TRACE(std::string(form.name) + ", " + std::to_string(count) + " codes");
        const Sum expected = model(form, bytes.data() + from, count);
        EXPECT_TRUE(count_codes(form, false, bytes.data() + from, count) == expected);
        EXPECT_TRUE(count_codes(form, true, bytes.data() + from, count) == expected);
    }

    static Bytes random_bytes(size_t count) {
        static std::mt19937 random(20261121);
        Bytes bytes(count + TrackBytes::slack);
        for (uint8_t &byte : bytes)
            byte = static_cast<uint8_t>(random());
        return bytes;
    }
};

TEST_F(CheckerAgreement, HoldsForAZeroCodeAtEveryPlace) {
    for (const Form &form : forms) {
        const size_t size = form.format == VT_FW8 ? 1 : 2;
        for (size_t zero = 0; zero < 130; ++zero) {
            Bytes bytes(140 * size + TrackBytes::slack, 0xC3);
            std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(zero * size), size, uint8_t{0});
            expect_agreement(form, bytes, 0, 140);
        }
    }
}

TEST_F(CheckerAgreement, HoldsForEveryCountOfCodes) {
    for (const Form &form : forms)
        for (size_t count = 0; count <= 140; ++count)
            expect_agreement(form, Bytes(140 * 2 + TrackBytes::slack, 0x81), 0, count);
}

TEST_F(CheckerAgreement, HoldsForRandomBytesAtAnyAlignment) {
    for (const Form &form : forms) {
        for (size_t i = 0; i < 2000; ++i) {
            const Bytes bytes = random_bytes(1000);
            expect_agreement(form, bytes, i % 40, 400 + i % 70);
        }
    }
}

TEST_F(CheckerAgreement, HoldsForTheLargestLengthsAllOverABuffer) {
    for (const Form &form : forms) {
        const size_t count = TrackBytes::room / (form.format == VT_FW8 ? 1 : 2);
        expect_agreement(form, Bytes(TrackBytes::room + TrackBytes::slack, 0xFF), 0, count);
        expect_agreement(form, Bytes(TrackBytes::room + TrackBytes::slack, 0x7F), 0, count);
    }
}

TEST_F(CheckerAgreement, CodeOfColourOneAndNoLengthEndsATrackToo) {
    const Bytes two_colours = [] {
        Bytes bytes(100 + TrackBytes::slack, 0x85);
        bytes[40] = 0x80;
        return bytes;
    }();
    for (const bool vectors : {false, true})
        EXPECT_EQ(count_codes(forms[2], vectors, two_colours.data(), 100).done, 40u);
}

} // namespace
} // namespace vor::test
