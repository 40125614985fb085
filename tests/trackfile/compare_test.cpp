// Comparison of handles, the image hash and the accessors.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "support/owned_handles.h"
#include "support/toy_format.h"
#include "trackfile/lf.h"

namespace vor::test {
namespace {

class CompareTest : public ::testing::Test {
protected:
    Toy toy = Toy::memory();

    static Handle open(const char *name = "x") {
        return Handle(lfdopen(-1, name, LF_READ, 0, nullptr));
    }
    static Handle open_clipped(int32_t xa, int32_t ya, int32_t xe, int32_t ye) {
        Handle h = open();
        int32_t window[4] = {xa, ya, xe, ye};
        EXPECT_EQ(lfclip(h.get(), window), 0);
        return h;
    }
};

using Lfsamefile = CompareTest;
using Lfsamescale = CompareTest;
using Lfsameclip = CompareTest;
using ImageHash = CompareTest;
using Accessors = CompareTest;

TEST_F(Lfsamefile, ComparesTheNamesAsTheyWereGiven) {
    const Handle h = open("a/b.vor");
    const struct {
        const char *name;
        int32_t same;
    } rows[] = {{"a/b.vor", 1},  {"a/B.vor", 0}, {"./a/b.vor", 0},
                {"a//b.vor", 0}, {"a/b", 0},     {"a/b.vor2", 0}};
    for (const auto &row : rows) {
        const Handle other = open(row.name);
        EXPECT_EQ(lfsamefile(h.get(), other.get()), row.same) << row.name;
    }
}

TEST_F(Lfsamescale, HoldsForWindowsOfEqualSizeAtDifferentPlaces) {
    const Handle a = open_clipped(0, 0, 5, 50);
    const Handle b = open_clipped(3, 20, 8, 70);
    EXPECT_EQ(lfsamescale(a.get(), b.get()), 1);
    EXPECT_EQ(lfsameclip(a.get(), b.get()), 0);
}

TEST_F(Lfsamescale, NeedsEverySizeToBeEqual) {
    const Handle h = open_clipped(0, 0, 5, 50);
    EXPECT_EQ(lfsamescale(h.get(), open_clipped(0, 0, 6, 50).get()), 0);
    EXPECT_EQ(lfsamescale(h.get(), open_clipped(0, 0, 5, 51).get()), 0);
    for (const auto &[xsize, ysize] : {std::pair{6, 50}, std::pair{5, 51}}) {
        const Handle scaled = open_clipped(0, 0, 5, 50);
        ASSERT_EQ(lfsetsize(scaled.get(), xsize, ysize), 0);
        EXPECT_EQ(lfsamescale(h.get(), scaled.get()), 0);
        EXPECT_EQ(lfsamescale(scaled.get(), scaled.get()), 1);
    }
    // Windows that differ though the outputs are equal.
    const Handle wider = open_clipped(0, 0, 10, 50);
    ASSERT_EQ(lfsetsize(wider.get(), 5, 50), 0);
    EXPECT_EQ(lfsamescale(h.get(), wider.get()), 0);
    const Handle longer = open_clipped(0, 0, 5, 100);
    ASSERT_EQ(lfsetsize(longer.get(), 5, 50), 0);
    EXPECT_EQ(lfsamescale(h.get(), longer.get()), 0);
}

TEST_F(Lfsameclip, NeedsTheSameWindowWhateverTheScale) {
    const Handle h = open_clipped(2, 20, 5, 50);
    const Handle scaled = open_clipped(2, 20, 5, 50);
    ASSERT_EQ(lfsetsize(scaled.get(), 77, 88), 0);
    EXPECT_EQ(lfsameclip(h.get(), scaled.get()), 1);
    const int32_t rows[][4] = {{1, 20, 5, 50}, {2, 21, 5, 50}, {2, 20, 6, 50}, {2, 20, 5, 49}};
    for (const auto &row : rows)
        EXPECT_EQ(lfsameclip(h.get(), open_clipped(row[0], row[1], row[2], row[3]).get()), 0);
}

std::vector<uint8_t> hash_of(const Handle &h) {
    return {h->imagehash, h->imagehash + 16};
}

TEST_F(ImageHash, HoldsAConstantTheChecksumAndTheFilesSizeAsLittleEndianWords) {
    toy.tracks = 0x01020304;
    toy.pixels = 0x0A0B0C0D;
    const Handle h = open();
    EXPECT_EQ(h->hashvalid, 0u);
    EXPECT_EQ(lfrebuild_image_hash(h.get(), "123456789", 9), 0);
    EXPECT_EQ(h->hashvalid, 1u);
    EXPECT_EQ(hash_of(h), (std::vector<uint8_t>{0xFF, 0x00, 0xBE, 0xEF, 0x26, 0x39, 0xF4, 0xCB,
                                                0x04, 0x03, 0x02, 0x01, 0x0D, 0x0C, 0x0B, 0x0A}));
}

TEST_F(ImageHash, OfNoBytesHasAChecksumOfZero) {
    const Handle h = open();
    EXPECT_EQ(lfrebuild_image_hash(h.get(), "", 0), 0);
    EXPECT_EQ(hash_of(h), (std::vector<uint8_t>{0xFF, 0x00, 0xBE, 0xEF, 0, 0, 0, 0, 10, 0, 0, 0,
                                                100, 0, 0, 0}));
}

TEST_F(ImageHash, TakesTheSizeOfTheFileNotOfTheOutput) {
    const Handle plain = open();
    const Handle scaled = open_clipped(2, 20, 5, 50);
    ASSERT_EQ(lfsetsize(scaled.get(), 77, 88), 0);
    lfrebuild_image_hash(plain.get(), "abc", 3);
    lfrebuild_image_hash(scaled.get(), "abc", 3);
    EXPECT_EQ(hash_of(plain), hash_of(scaled));
}

TEST_F(ImageHash, LeavesTheFieldsAroundItAlone) {
    const Handle h = open();
    h->error = 0x11223344;
    h->iocount = 0x55667788;
    lfrebuild_image_hash(h.get(), "abc", 3);
    EXPECT_EQ(h->error, 0x11223344u);
    EXPECT_EQ(h->iocount, 0x55667788);
}

TEST_F(ImageHash, IsReplacedByALaterOne) {
    const Handle h = open();
    lfrebuild_image_hash(h.get(), "abc", 3);
    const auto before = hash_of(h);
    lfrebuild_image_hash(h.get(), "abd", 3);
    EXPECT_NE(hash_of(h), before);
}

TEST_F(Accessors, GiveTheFieldsOfTheHandle) {
    const Handle h = open("some name");
    EXPECT_STREQ(lffilename(h.get()), "some name");
    EXPECT_EQ(lfctable(h.get()), h->ctable);
    EXPECT_EQ(lfseektable(h.get()), nullptr);
    EXPECT_EQ(lfstoptable(h.get()), nullptr);
    EXPECT_EQ(lfstoptablesize(h.get()), 0u);
    EXPECT_EQ(lfcurrentrow(h.get()), -1);
    EXPECT_EQ(lfiswrite(h.get()), 0);
}

TEST_F(Accessors, ChangesOfTheColourTableAlterTheTracksReadLater) {
    toy.seek_results[1] = 5;
    const Handle h = open();
    Track track;
    ASSERT_EQ(lfread(h.get(), track.get(), 1), 1);
    EXPECT_EQ(track.runs(), (Runs{{100, 4}}));
    lfctable(h.get())[4] = 999;
    ASSERT_EQ(lfread(h.get(), track.get(), 1), 1);
    EXPECT_EQ(track.runs(), (Runs{{100, 999}}));
}

} // namespace
} // namespace vor::test
