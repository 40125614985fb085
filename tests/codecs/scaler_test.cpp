#include "codecs/scaler.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "codecs/plain_reader.h"

namespace vor::test {
namespace {

// What each piece of a window yields.
std::vector<int64_t> yields(int64_t output, int64_t window, const std::vector<int64_t> &pieces) {
    const Rescaled scale(output, window);
    std::vector<int64_t> result;
    int64_t passed = 0;
    for (const int64_t piece : pieces) {
        result.push_back(int64_t{scale.at(passed + piece)} - scale.at(passed));
        passed += piece;
    }
    return result;
}

std::vector<int64_t> plain_yields(int64_t output, int64_t window,
                                  const std::vector<int64_t> &pieces, bool may_use_double) {
    PlainScaler scaler(output, window);
    std::vector<int64_t> result;
    for (const int64_t piece : pieces)
        result.push_back(scaler.pixels_for(piece, may_use_double));
    return result;
}

TEST(Scaler, OnePixelOfOneBecomesTheWholeOutput) {
    EXPECT_EQ(yields(4, 1, {1}), (std::vector<int64_t>{4}));
    PlainScaler plain(4, 1);
    EXPECT_EQ(plain.err(), -1);
    EXPECT_EQ(plain.pixels_for(1, true), 4);
    EXPECT_EQ(plain.err(), -1);
}

TEST(Scaler, TwoPixelsBecomeThreeWithTheExtraOneFirst) {
    EXPECT_EQ(yields(3, 2, {1, 1}), (std::vector<int64_t>{2, 1}));
    PlainScaler plain(3, 2);
    EXPECT_EQ(plain.err(), -1);
    EXPECT_EQ(plain.pixels_for(1, true), 2);
    EXPECT_EQ(plain.err(), -2);
    EXPECT_EQ(plain.pixels_for(1, true), 1);
    EXPECT_EQ(plain.err(), -1);
}

TEST(Scaler, HalvingDropsEverySecondPixel) {
    EXPECT_EQ(yields(3, 6, {1, 1, 1, 1, 1, 1}), (std::vector<int64_t>{1, 0, 1, 0, 1, 0}));
}

TEST(Scaler, AWholeFactorGoesToEveryPixel) {
    for (const int64_t factor : {1, 2, 3, 7, 100}) {
        for (const int64_t window : {1, 2, 3, 10, 777}) {
            const std::vector<int64_t> pixels(static_cast<size_t>(window), 1);
            EXPECT_EQ(yields(factor * window, window, pixels),
                      std::vector<int64_t>(pixels.size(), factor))
                << factor << " times " << window;
        }
    }
}

TEST(Scaler, MakesNothingOfAnEmptyWindowOrForAnEmptyOutput) {
    EXPECT_EQ(Rescaled(0, 10).at(10), 0u);
    EXPECT_EQ(Rescaled(-5, 10).at(10), 0u);
    EXPECT_EQ(Rescaled(10, 0).at(0), 0u);
    EXPECT_EQ(Rescaled(10, -3).at(0), 0u);
}

TEST(Scaler, OneToOneYieldsThePixelsThemselves) {
    const OneToOne scale(10, 10);
    for (const int64_t passed : {0, 1, 9, 10})
        EXPECT_EQ(scale.at(passed), static_cast<uint32_t>(passed));
}

TEST(Scaler, AgreesWithTheErrorTermOnAllSmallWindows) {
    for (int64_t window = 1; window <= 48; ++window) {
        const std::vector<int64_t> pixels(static_cast<size_t>(window), 1);
        for (int64_t output = 1; output <= 100; ++output) {
            ASSERT_EQ(yields(output, window, pixels), plain_yields(output, window, pixels, true))
                << window << " to " << output;
        }
    }
}

// Pieces of up to 32767 pixels, as a code can hold them, that fill a window or its beginning.
std::vector<int64_t> random_pieces(std::mt19937_64 *random, int64_t window, int64_t longest) {
    std::vector<int64_t> pieces;
    int64_t left = window;
    while (left > 0 && pieces.size() < 40) {
        const int64_t most = std::min(left, longest);
        pieces.push_back(1 + static_cast<int64_t>((*random)() % static_cast<uint64_t>(most)));
        left -= pieces.back();
    }
    return pieces;
}

// Random numbers of all magnitudes from 1 to 2^31 - 1.
int64_t random_size(std::mt19937_64 *random) {
    const uint64_t bits = 1 + (*random)() % 31;
    return static_cast<int64_t>(1 + (*random)() % ((uint64_t{1} << bits) - 1));
}

TEST(Scaler, AgreesWithTheErrorTermOnRandomOperands) {
    std::mt19937_64 random(20);
    for (int i = 0; i < 60000; ++i) {
        const int64_t window = random_size(&random);
        const int64_t output = random_size(&random);
        const int64_t longest = i % 2 == 0 ? 32767 : 300;
        const std::vector<int64_t> pieces = random_pieces(&random, window, longest);
        ASSERT_EQ(yields(output, window, pieces), plain_yields(output, window, pieces, false))
            << window << " to " << output;
    }
}

// The form with a product in double precision, for pieces of 256 pixels or more of long outputs.
TEST(Scaler, AgreesWithTheErrorTermInDoublePrecision) {
    std::mt19937_64 random(21);
    for (int i = 0; i < 60000; ++i) {
        const int64_t window = std::max<int64_t>(random_size(&random), 256);
        const int64_t output = 65536 + random_size(&random) % (INT32_MAX - 65536);
        const std::vector<int64_t> pieces = random_pieces(&random, window, 32767);
        ASSERT_EQ(yields(output, window, pieces), plain_yields(output, window, pieces, true))
            << window << " to " << output;
    }
}

TEST(Scaler, IsExactAtTheLargestSizes) {
    const int64_t most = INT32_MAX;
    for (const int64_t window : {most, most - 1, most / 2, most / 2 + 1, int64_t{65537}}) {
        for (const int64_t output :
             {most, most - 1, most / 2, most / 3, int64_t{65537}, int64_t{1}}) {
            const Rescaled scale(output, window);
            // The last place that yields k pixels, and the one behind it.
            for (const int64_t k : {int64_t{0}, int64_t{1}, output / 2, output - 1}) {
                const int64_t c = window - window / 2;
                const int64_t place = ((k + 1) * window - c - 1) / output;
                ASSERT_EQ((output * place + c) / window, scale.at(place))
                    << window << " " << output;
                if (place + 1 > window) continue;
                ASSERT_EQ((output * (place + 1) + c) / window, scale.at(place + 1))
                    << window << " " << output;
            }
            ASSERT_EQ(scale.at(window), output) << window;
        }
    }
}

} // namespace
} // namespace vor::test
