#include "seek_table_search.h"

#include <gtest/gtest.h>

#include "salvage_header.h"
#include "support/temp_dir.h"
#include "support/vor_bytes.h"

namespace vor::tool {
namespace {

constexpr int64_t behind_tracks = 300;

struct Found {
    bool found = false;
    int64_t offset = 0; // from where the search begins
    bool wide = false;

    bool operator==(const Found &) const = default;
};

class SeekTableSearch : public testing::TestWithParam<bool> {
protected:
    // Looks in a file of 300 bytes, with tracks at 256 and 280, and what `put` adds.
    template <class Put>
    Found search(uint32_t tracks, const Put &put) {
        test::VorBytes file(VT_FW8, tracks, 8, GetParam());
        file.put(test::Bytes(behind_tracks - VOR_HDRSIZE, 0x41));
        put(file);
        const std::string name = file.write(dir_.file("a.vor"));
        FileBytes bytes(name);
        const NativeLayout layout = read_layout(bytes).value();
        const auto found = find_seek_table(bytes, layout, {256, 280}, behind_tracks);
        if (!found) return {};
        return {true, found->offset - behind_tracks, found->wide};
    }

    test::TempDir dir_;
};

uint32_t mark(int32_t colour) {
    return static_cast<uint32_t>(~colour);
}

} // namespace

TEST_P(SeekTableSearch, EntriesOfBothWidths) {
    EXPECT_EQ(search(3,
                     [](auto &f) {
                         f.put({7, 7, 7}).put32({256, mark(0), 280});
                     }),
              (Found{true, 3, false}));
    EXPECT_EQ(search(3,
                     [](auto &f) {
                         f.put({7}).put64({256, ~uint64_t{255}, 280});
                     }),
              (Found{true, 1, true}));
}

TEST_P(SeekTableSearch, MarksMayStandInFront) {
    EXPECT_EQ(search(4,
                     [](auto &f) {
                         f.put32({9, mark(0), mark(255), 256, 280, 300});
                     }),
              (Found{true, 4, false}));
}

TEST_P(SeekTableSearch, TheLastTrackWillDoWhereTheFirstEntryIsDamaged) {
    EXPECT_EQ(search(3, [](auto &f) { f.put32({257, 270, 280, 9}); }), (Found{true, 0, false}));
}

TEST_P(SeekTableSearch, ThereIsNoTableWithoutAnEntryForEachTrack) {
    EXPECT_EQ(search(3, [](auto &) {}), Found{});
    EXPECT_EQ(search(3, [](auto &f) { f.put32({256, 280}); }), Found{});         // cut off
    EXPECT_EQ(search(3, [](auto &f) { f.put32({256, 5, 280}); }), Found{});      // impossible
    EXPECT_EQ(search(3, [](auto &f) { f.put32({280, 256, 270, 0}); }), Found{}); // descends
    EXPECT_EQ(search(3, [](auto &f) { f.put32({256, mark(17), 280}); }), Found{});
}

// As long a list of marks as can be, over and over.
TEST_P(SeekTableSearch, ManyBeginningsCostLittle) {
    EXPECT_EQ(search(1000000,
                     [](auto &f) {
                         for (uint32_t i = 0; i < 200000; ++i)
                             f.put32({i % 2 == 0 ? 256 : mark(0)});
                     }),
              Found{});
}

INSTANTIATE_TEST_SUITE_P(ByteOrders, SeekTableSearch, testing::Bool());

} // namespace vor::tool
