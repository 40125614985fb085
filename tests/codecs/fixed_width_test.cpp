#include "codecs/fixed_width.h"

#include <gtest/gtest.h>

#include "codecs/coded_track.h"
#include "support/codec_handle.h"

namespace vor::test {
namespace {

// The bytes of a code, its length and the colour it reads as, with entry 0 of the table 10, entry
// 255 20 and all others their number.
template <class T>
void expect_reads(Form form, const Code &code, uint32_t length, uint32_t colour) {
    CodecHandle h;
    h->ctable[0] = 10;
    h->ctable[255] = 20;
    const std::vector<uint8_t> bytes = coded(form, {code});
    ASSERT_EQ(bytes.size(), T::bytes);
    EXPECT_EQ(T::length(bytes.data()), length);
    EXPECT_EQ(T::colour(bytes.data(), typename T::Palette(h.get())) & 0xFFFF, colour);
}

TEST(FixedWidth, Fw8HoldsLengthAndColourBitInAByte) {
    expect_reads<Fw8>(Form::fw8, {127, 0}, 127, 10);
    expect_reads<Fw8>(Form::fw8, {127, 1}, 127, 20);
    expect_reads<Fw8>(Form::fw8, {0, 1}, 0, 20);
    expect_reads<Fw8>(Form::fw8, {1, 0}, 1, 10);
}

TEST(FixedWidth, Fw16HoldsLengthAndColourBitInAWord) {
    expect_reads<Fw16>(Form::fw16, {32767, 0}, 32767, 10);
    expect_reads<Fw16>(Form::fw16, {32767, 1}, 32767, 20);
    expect_reads<Fw16>(Form::fw16, {256, 1}, 256, 20);
    expect_reads<Fw16>(Form::fw16, {0, 1}, 0, 20);
}

TEST(FixedWidth, Fw88HoldsLengthAndColourNumberInTwoBytes) {
    expect_reads<Fw88>(Form::fw88, {255, 7}, 255, 7);
    expect_reads<Fw88>(Form::fw88, {255, 0}, 255, 10);
    expect_reads<Fw88>(Form::fw88, {1, 255}, 1, 20);
    expect_reads<Fw88>(Form::fw88, {0, 255}, 0, 20);
}

template <class T>
std::vector<uint8_t> put(uint32_t length, uint32_t file_colour) {
    std::vector<uint8_t> bytes(T::bytes);
    T::put(bytes.data(), length, file_colour);
    return bytes;
}

TEST(FixedWidth, PutsCodesAsTheyAreRead) {
    for (const uint32_t length : {0u, 1u, 100u, 127u}) {
        for (const uint32_t bit : {0u, 1u})
            EXPECT_EQ(put<Fw8>(length, bit), coded(Form::fw8, {{length, bit}}));
    }
    for (const uint32_t length : {0u, 1u, 255u, 256u, 32767u}) {
        for (const uint32_t bit : {0u, 1u})
            EXPECT_EQ(put<Fw16>(length, bit), coded(Form::fw16, {{length, bit}}));
    }
    for (const uint32_t length : {0u, 1u, 255u}) {
        for (const uint32_t number : {0u, 1u, 128u, 255u})
            EXPECT_EQ(put<Fw88>(length, number), coded(Form::fw88, {{length, number}}));
    }
}

TEST(FixedWidth, BitsOfOneColourStayApart) {
    CodecHandle h;
    h->ctable[0] = h->ctable[255] = 5;
    const Fw8::Palette palette(h.get());
    const uint8_t codes[] = {0x01, 0x81};
    EXPECT_NE(Fw8::colour(&codes[0], palette), Fw8::colour(&codes[1], palette));
}

TEST(FixedWidth, WholeCodesAreCounted) {
    CodecHandle h;
    h->bufend = h->buf + 5;
    EXPECT_EQ(bytes_of_codes<Fw8>(h.get()), 5u);
    EXPECT_EQ(bytes_of_codes<Fw16>(h.get()), 4u);
    EXPECT_EQ(bytes_of_codes<Fw88>(h.get()), 4u);
}

} // namespace
} // namespace vor::test
