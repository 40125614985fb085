// Files beyond 2 and 4 GiB, made of holes: offsets, widths of the seek table, sections far out.
#include <unistd.h>

#include "platform/kel.h"
#include "support/native_test.h"

namespace vor::test {
namespace {

constexpr int64_t border = 0x80000000; // the first offset that 31 bits do not hold
constexpr int64_t four_gib = 0x100000000;

class BigFile : public NativeTest {
protected:
    // Moves the place of the next track, or of the sections, out to `offset`.
    static void leap(const Handle &h, int64_t offset) {
        ASSERT_EQ(0, lfflush(h.get()));
        ASSERT_EQ(offset, kel_lseek(h->fd, offset, KEL_SEEK_SET));
        h->bufpos = offset;
    }

    // The first 256 bytes; the file is too large to be read whole.
    VorView header() const {
        Bytes bytes(256);
        const int32_t fd = kel_open(name.c_str(), KEL_O_RDONLY, 0);
        EXPECT_EQ(256, kel_read(fd, bytes.data(), bytes.size()));
        kel_close(fd);
        return VorView(bytes);
    }

    int64_t offset_in(const VorView &hdr, size_t low, size_t high) const {
        return static_cast<int64_t>(uint64_t{hdr.u32(high)} << 32 | hdr.u32(low));
    }

    static Runs runs_of(int32_t i) {
        const auto first = static_cast<uint32_t>(i + 1);
        return {{first, 0}, {100 - first, 1}};
    }
    static Runs read_back(int32_t i, uint32_t one) {
        Runs runs = runs_of(i);
        runs[1].second = one;
        return runs;
    }

    // Four tracks at these offsets (0: where the last one ended), the sections at `sections`.
    void write_at(uint32_t type, const std::vector<int64_t> &offsets, int64_t sections,
                  uint32_t mode = 0) {
        Handle h = create(type, static_cast<int32_t>(offsets.size()), 100, mode | LF_STOPS);
        ASSERT_EQ(0, lfcheck(h.get()));
        for (size_t i = 0; i < offsets.size(); ++i) {
            const auto n = static_cast<int32_t>(i);
            if (offsets[i] != 0) leap(h, offsets[i]);
            ASSERT_EQ(0, write(h, n, runs_of(n)));
        }
        EXPECT_EQ(0, lfsetstop(h.get(), 1, LF_STOP_SINGLE));
        if (sections != 0) leap(h, sections);
        struct {
            vortag head;
            uint32_t value;
        } tag = {{VOR_TAGNAME + 4, "Far"}, 42};
        EXPECT_EQ(0, lfspecial(h.get(), LFS_ADD_TAG, &tag));
        ASSERT_EQ(0, close_now(&h));
    }

    void expect_readable(uint32_t type, int32_t tracks) {
        const Handle h = open();
        ASSERT_TRUE(h);
        const uint32_t one = type % 16 == 3 ? 1 : 255;
        for (int32_t i = tracks - 1; i >= 0; --i)
            EXPECT_EQ(read_back(i, one), read(h, i)) << i;
        for (int32_t i = 0; i < tracks; ++i)
            EXPECT_EQ(read_back(i, one), read(h, i)) << i;
        ASSERT_EQ(1u, lfstoptablesize(h.get()));
        EXPECT_EQ(0x40000001u, lfstoptable(h.get())[0]);
        vor_tagreq request = {"Far", nullptr};
        EXPECT_EQ(0, lfspecial(h.get(), LFS_FIND_TAG, &request));
    }
};

TEST_F(BigFile, TracksBeyondFourGibReadInEveryFormAndOrder) {
    for (const uint32_t type : {1u, 2u, 3u, 0x41u, 0x43u}) {
        for (const uint32_t mode : {0u, LF_SWAPPED}) {
            write_at(type, {0, 0, four_gib + 7, 3 * four_gib}, 0, mode);
            expect_readable(type, 4);
        }
    }
    EXPECT_TRUE(reports.empty());
}

TEST_F(BigFile, OneTrackAtTheBorderMakesTheWholeTableWide) {
    const struct {
        int64_t offset;
        bool wide;
    } rows[] = {{border - 1, false}, {border, true}, {border + 1, true}, {four_gib, true}};
    for (const auto &row : rows) {
        // The sections come before the track, so that nothing but the track is far out.
        Handle h = create(VT_FW8, 2, 100, LF_NOCOLOR);
        ASSERT_EQ(0, write(h, 0, runs_of(0)));
        leap(h, row.offset);
        ASSERT_EQ(0, write(h, 1, runs_of(1)));
        leap(h, 1000);
        ASSERT_EQ(0, close_now(&h));
        EXPECT_EQ(row.wide, (header().flags() & VorBytes::f_seek64) != 0) << row.offset;
        EXPECT_EQ(row.wide, (header().flags() & VorBytes::f_off64) != 0) << row.offset;
        EXPECT_EQ(1000, header().u32(VorBytes::seekoff_at));
        h = open();
        ASSERT_TRUE(h);
        EXPECT_EQ(0, lfcheck(h.get()));
        EXPECT_EQ(row.offset, lfseektable(h.get())[1]);
        EXPECT_EQ(read_back(1, 255), read(h, 1));
        EXPECT_EQ(read_back(0, 255), read(h, 0));
    }
}

TEST_F(BigFile, SectionAtTheBorderNeedsTheHighWords) {
    // The seek table of one narrow entry is the last section.
    const struct {
        int64_t offset;
        bool far;
    } rows[] = {{border - 1, false}, {border, true}, {5 * four_gib + 3, true}};
    for (const auto &row : rows) {
        Handle h = create(VT_FW8, 1, 100, LF_NOCOLOR);
        ASSERT_EQ(0, write(h, 0, runs_of(0)));
        leap(h, row.offset);
        ASSERT_EQ(0, close_now(&h));
        const VorView hdr = header();
        EXPECT_EQ(row.far, (hdr.flags() & VorBytes::f_off64) != 0) << row.offset;
        EXPECT_FALSE(hdr.flags() & VorBytes::f_seek64);
        EXPECT_EQ(row.offset, offset_in(hdr, VorBytes::seekoff_at, VorBytes::seekoff_hi_at));
        h = open();
        ASSERT_TRUE(h);
        EXPECT_EQ(read_back(0, 255), read(h, 0));
    }
}

TEST_F(BigFile, AllSectionsBeyondFourGibAreFound) {
    for (const uint32_t mode : {0u, LF_SWAPPED}) {
        write_at(VT_FW88, {0, 0, 0, 0}, 2 * four_gib, mode);
        expect_readable(VT_FW88, 4);
        const Handle h = open();
        vor_colorinfo colours = {VOR_COLORINFO_MAGIC, 0, {}};
        EXPECT_EQ(0, lfcheck(h.get()));
        EXPECT_EQ(0, lfspecial(h.get(), LFS_GET_COLOR_INFO, &colours));
        EXPECT_EQ(256u, colours.count);
        EXPECT_EQ(1, colours.bytes[0]);
    }
}

TEST_F(BigFile, UpdateChangesTheTagsBeyondFourGib) {
    write_at(VT_FW8, {0, four_gib}, 2 * four_gib);
    Handle h = open(LF_UPDATE);
    ASSERT_TRUE(h);
    EXPECT_EQ(0, lfcheck(h.get()));
    struct {
        vortag head;
        uint32_t value[2];
    } tag = {{VOR_TAGNAME + 8, "Later"}, {1, 2}};
    EXPECT_EQ(0, lfspecial(h.get(), LFS_ADD_TAG, &tag));
    EXPECT_EQ(0, close_now(&h));
    EXPECT_EQ(2u, header().u32(VorBytes::tagcount_at));
    EXPECT_LT(2 * four_gib, offset_in(header(), VorBytes::tagoff_at, VorBytes::tagoff_hi_at));
    expect_readable(VT_FW8, 2);
}

TEST_F(BigFile, IsCheckedThroughItsTable) {
    write_at(VT_FW8, {0, border, four_gib, 3 * four_gib}, 0);
    uint32_t colours[256] = {};
    ckvor_t check = {};
    check.filename = name.c_str();
    check.ncolors = 256;
    check.colors = colours;
    check.progress = [](int32_t, ckvor_t *, int32_t) { return int32_t{0}; };
    EXPECT_EQ(0, ckvor(&check, 1));
    EXPECT_EQ(CKV_GOOD, check.status);
    EXPECT_EQ(4, check.tracks);
    EXPECT_EQ(3, check.fwmax);
    EXPECT_EQ(10u, colours[0]);
    EXPECT_EQ(390u, colours[255]);
}

TEST_F(BigFile, HugeSparseFileIsNoReasonForAHugeBuffer) {
    VorBytes file(VT_FW8 | VT_DEFLATED, 1, 100);
    file.track({{50, 0}, {50, 1}});
    file.seek_table();
    file.write(name);
    ASSERT_EQ(0, ::truncate(name.c_str(), 4 * four_gib));
    const Handle h = open();
    EXPECT_EQ((Runs{{50, 0}, {50, 255}}), read(h, 0));
    EXPECT_EQ(112u, h->bufsize);
}

} // namespace
} // namespace vor::test
