// The seek table: both widths, its marks, its validation, and what a window takes of it.
#include "platform/kel.h"
#include "support/failing_calls.h"
#include "support/failing_malloc.h"
#include "support/native_test.h"

namespace vor::test {
namespace {

using Entries = std::vector<int64_t>;

// Loads tables that stand in files of their own, without tracks behind them.
class SeekTable : public NativeTest {
protected:
    // A file whose table has these entries; the tracks that they claim are not there.
    static VorBytes table_file(const Entries &entries, bool wide, bool swapped = false) {
        VorBytes file(VT_FW8, static_cast<uint32_t>(entries.size()), 10, swapped);
        file.put(Bytes(44, 0x5A));
        file.entries = entries;
        wide ? file.wide_seek_table() : file.seek_table();
        return file;
    }

    int32_t load(const VorBytes &file) {
        handle = open(file);
        if (!handle) throw std::runtime_error("not open");
        handle->seektab = static_cast<int64_t *>(
            std::calloc(static_cast<size_t>(std::max(handle->xsize, 0)) + 1, sizeof(int64_t)));
        handle->seekroom = handle->xsize;
        return vor_seektab(handle.get());
    }

    Entries loaded() const {
        return {handle->seektab, handle->seektab + std::max(handle->xsize, 0)};
    }

    Handle handle;
};

TEST_F(SeekTable, LoadsBothWidthsInBothByteOrders) {
    for (const bool wide : {false, true}) {
        for (const bool swapped : {false, true}) {
            const Entries entries = {256, -1, 0x7FFFFFFF, -256, 0x12345678};
            EXPECT_EQ(1, load(table_file(entries, wide, swapped)));
            EXPECT_EQ(entries, loaded()) << wide << swapped;
        }
    }
    EXPECT_TRUE(reports.empty());
}

TEST_F(SeekTable, OffsetsOf31BitsAndMoreNeedTheWideForm) {
    const Entries entries = {256, 0x80000000, 0x100000000, 0x123456789ABCDEF, -1};
    EXPECT_EQ(1, load(table_file(entries, true)));
    EXPECT_EQ(entries, loaded());
}

TEST_F(SeekTable, InvalidEntriesAreReported) {
    const struct {
        bool wide;
        int64_t entry;
        const char *shown;
    } rows[] = {
        {false, 255, "0xff"},
        {false, 0, "0x0"},
        {false, 1, "0x1"},
        {false, -257, "0x100"},
        {false, INT32_MIN, "0x7fffffff"},
        {true, 255, "0xff"},
        {true, 0, "0x0"},
        {true, -257, "0x100"},
        {true, INT32_MIN, "0x7fffffff"},
        {true, INT64_MIN, "0x7fffffffffffffff"},
    };
    for (const auto &row : rows) {
        for (const bool swapped : {false, true}) {
            EXPECT_EQ(-1, load(table_file({256, row.entry, 300}, row.wide, swapped)));
            const std::string expected =
                (row.wide ? std::string("gen_seektab64: file corrupted | ")
                          : std::string("gen_seektab32: file corrupted | lh=256 ")) +
                "corrupted track table: X=1, OFF=" + row.shown;
            EXPECT_EQ(Lines{expected}, reports.take());
            // Filled up to and including the bad entry.
            EXPECT_EQ((Entries{256, row.entry, 0}), loaded());
        }
    }
}

TEST_F(SeekTable, Entry256AndMarksOfBothEndsAreValid) {
    for (const bool wide : {false, true}) {
        EXPECT_EQ(1, load(table_file({256, -1, -256, 256}, wide)));
        EXPECT_EQ((Entries{256, -1, -256, 256}), loaded());
    }
}

TEST_F(SeekTable, NarrowEntryOfAllOnesButALowByteOfZeroIsColour255) {
    VorBytes file(VT_FW8, 2, 10);
    file.flag(VorBytes::f_seektab).set(VorBytes::seekoff_at, 256).put32({0xFFFFFF00, 0xFFFFFEFF});
    EXPECT_EQ(-1, load(file));
    EXPECT_EQ((Entries{-256, -257}), loaded());
    EXPECT_EQ("gen_seektab32: file corrupted | lh=256 corrupted track table: X=1, OFF=0x100",
              reports.take().at(0));
}

TEST_F(SeekTable, OfNoTracksLoads) {
    EXPECT_EQ(1, load(table_file({}, false)));
    EXPECT_EQ(1, load(table_file({}, true)));
    EXPECT_EQ(handle->buf, handle->bufptr);
    EXPECT_EQ(handle->buf, handle->bufend);
}

TEST_F(SeekTable, IsNotThereWithoutItsFlagOrOffset) {
    VorBytes unflagged = table_file({256}, false);
    unflagged.clear_flag(VorBytes::f_seektab);
    EXPECT_EQ(0, load(unflagged));
    VorBytes nowhere = table_file({256}, false);
    nowhere.set(VorBytes::seekoff_at, 0);
    EXPECT_EQ(0, load(nowhere));
    VorBytes negative = table_file({256}, false);
    negative.flag(VorBytes::f_off64).set(VorBytes::seekoff_hi_at, 0x80000000);
    EXPECT_EQ(0, load(negative));
    EXPECT_TRUE(reports.empty());
}

TEST_F(SeekTable, LoadEndsSequentialReadingAndForgetsTheBuffer) {
    VorBytes file = table_file({256, 258}, false);
    handle = open(file, LF_READ | LF_SEQUENTIAL);
    ASSERT_TRUE(handle);
    handle->seektab = static_cast<int64_t *>(std::calloc(2, sizeof(int64_t)));
    handle->bufptr = handle->buf + 3;
    handle->bufend = handle->buf + 9;
    EXPECT_EQ(1, vor_seektab(handle.get()));
    EXPECT_FALSE(has_flag(handle, LF_SEQUENTIAL));
    EXPECT_EQ(handle->buf, handle->bufptr);
    EXPECT_EQ(handle->buf, handle->bufend);
}

TEST_F(SeekTable, WindowTakesItFromItsFirstTrack) {
    for (const bool wide : {false, true}) {
        Entries entries;
        for (int64_t i = 0; i < 3000; ++i)
            entries.push_back(256 + i);
        handle = open(table_file(entries, wide));
        ASSERT_TRUE(handle);
        int32_t window[4] = {100, 0, 2900, 10};
        EXPECT_EQ(0, lfclip(handle.get(), window));
        EXPECT_EQ(0, lfcheck(handle.get()));
        for (int64_t i = 0; i < 2800; ++i)
            ASSERT_EQ(356 + i, handle->seektab[i]);
    }
}

// A scaled image takes the entries by the differences of its track table, the first being that of
// the window's first track, wherever the scaler begins.
TEST_F(SeekTable, ScaledImageFollowsTheDifferencesFromTheWindowsFirstTrack) {
    const int32_t tracks = 5000;
    Entries entries;
    for (int64_t i = 0; i < tracks; ++i)
        entries.push_back(256 + i);
    for (const bool wide : {false, true}) {
        for (const int32_t xsize : {1, 2, 3, 7, 100, 1666, 2500, 4999, 5001, 7500, 15000}) {
            handle = open(table_file(entries, wide));
            ASSERT_TRUE(handle);
            EXPECT_EQ(0, lfsetsize(handle.get(), xsize, 10));
            ASSERT_EQ(0, lfcheck(handle.get()));
            int64_t expected = 256;
            for (int32_t i = 0; i < xsize; ++i) {
                ASSERT_EQ(expected, handle->seektab[i]) << xsize << " " << i;
                if (i + 1 < xsize) expected += handle->otrack[i + 1] - handle->otrack[i];
            }
        }
    }
}

TEST_F(SeekTable, ShiftOfAReducedImageIsThatOfItsFirstTrack) {
    handle = open(table_file({256, 300, 400, 500, 600, 700, 800, 900, 1000}, false));
    ASSERT_TRUE(handle);
    EXPECT_EQ(0, lfsetsize(handle.get(), 3, 10));
    EXPECT_EQ(0, lfcheck(handle.get()));
    // The scaler shows image tracks 1, 4 and 7.
    EXPECT_EQ((std::vector<int32_t>{1, 4, 7}),
              std::vector<int32_t>(handle->otrack, handle->otrack + 3));
    EXPECT_EQ((Entries{256, 500, 800}), loaded());
}

TEST_F(SeekTable, SteppingBeyondAPieceSkipsWhatLiesBetween) {
    Entries entries;
    for (int64_t i = 0; i < 40000; ++i)
        entries.push_back(256 + i);
    handle = open(table_file(entries, false));
    ASSERT_TRUE(handle);
    EXPECT_EQ(0, lfsetsize(handle.get(), 4, 10));
    const long before = calls_of(Call::read);
    EXPECT_EQ(0, lfcheck(handle.get()));
    EXPECT_LE(calls_of(Call::read) - before, 8);
    EXPECT_EQ((Entries{256, 10256, 20256, 30256}), loaded());
}

TEST_F(SeekTable, IsReadInPiecesOf4096Bytes) {
    const Entries entries(10240, 256);
    const VorBytes file = table_file(entries, false);
    handle = open(file);
    ASSERT_TRUE(handle);
    const long before = calls_of(Call::read);
    EXPECT_EQ(0, lfcheck(handle.get()));
    EXPECT_EQ(10, calls_of(Call::read) - before);
}

TEST_F(SeekTable, SeekToItThatFailsIsReported) {
    VorBytes file = table_file({256, 300}, false);
    handle = open(file);
    ASSERT_TRUE(handle);
    handle->seektab = static_cast<int64_t *>(std::calloc(2, sizeof(int64_t)));
    const FailingCall fails(Call::seek, 1);
    EXPECT_EQ(-1, vor_seektab(handle.get()));
    EXPECT_EQ(lines({"vor_seektab: last os error"}), reports.take());
}

TEST_F(SeekTable, OffsetThatNoFileReachesIsASeekThatFails) {
    VorBytes file = table_file({256, 300}, true);
    file.flag(VorBytes::f_off64).set(VorBytes::seekoff_hi_at, 0x7FFFFFFF);
    file.set(VorBytes::seekoff_at, 0xFFFFFFF0);
    handle = open(file);
    ASSERT_TRUE(handle);
    handle->xa = 1000;
    handle->seektab = static_cast<int64_t *>(std::calloc(2, sizeof(int64_t)));
    EXPECT_EQ(-1, vor_seektab(handle.get()));
    EXPECT_EQ(lines({"vor_seektab: last os error"}), reports.take());
}

TEST_F(SeekTable, EndOfTheFileInsideItIsAReadFailure) {
    for (const bool wide : {false, true}) {
        for (size_t cut = 1; cut <= 20; ++cut) {
            Bytes bytes = table_file({256, 300, 400, 500, 600}, wide).bytes();
            bytes.resize(bytes.size() - cut);
            write_bytes(name, bytes);
            handle = open();
            ASSERT_TRUE(handle);
            handle->seektab = static_cast<int64_t *>(std::calloc(5, sizeof(int64_t)));
            EXPECT_EQ(-1, vor_seektab(handle.get()));
            EXPECT_EQ(
                lines({wide ? "gen_seektab64: last os error" : "gen_seektab32: last os error"}),
                reports.take());
            const size_t width = wide ? 8 : 4;
            const size_t whole = (5 * width - cut) / width;
            EXPECT_EQ(whole > 1 ? 300 : 0, handle->seektab[1]);
        }
    }
}

TEST_F(SeekTable, ReadErrorIsReported) {
    for (const bool wide : {false, true}) {
        handle = open(table_file({256, 300}, wide));
        ASSERT_TRUE(handle);
        handle->seektab = static_cast<int64_t *>(std::calloc(2, sizeof(int64_t)));
        const FailingCall fails(Call::read, 1);
        EXPECT_EQ(-1, vor_seektab(handle.get()));
        EXPECT_EQ(lines({wide ? "gen_seektab64: last os error" : "gen_seektab32: last os error"}),
                  reports.take());
    }
}

TEST_F(SeekTable, FailedLoadLeavesTheHandleWithoutOne) {
    handle = open(table_file({256, 100}, false));
    ASSERT_TRUE(handle);
    EXPECT_EQ(-1, lfcheck(handle.get()));
    EXPECT_EQ(nullptr, lfseektable(handle.get()));
    EXPECT_EQ(lines({"gen_seektab32: file corrupted | lh=256 corrupted track table: X=1, OFF=0x64",
                     "seektab: last os error"}),
              reports.take());
}

// ---- writing ----

class SeekTableWriting : public SeekTable {
protected:
    // The bytes that a table makes in a file.
    Bytes put(int32_t (*writer)(xvor_t *, const int64_t *, int32_t), const Entries &entries,
              uint32_t flags) {
        xvor_t h = {};
        h.flags = LF_WRITE | flags;
        h.fd = kel_creat(name.c_str(), KEL_DEFAULT_PERMISSIONS);
        result = writer(&h, entries.data(), static_cast<int32_t>(entries.size()));
        kel_close(h.fd);
        return read_bytes(name);
    }

    int32_t result = 0;
};

TEST_F(SeekTableWriting, NarrowFormHoldsTheLowWords) {
    const Entries entries = {256, -1, -256, 0x7FFFFFFF};
    for (const bool swapped : {false, true}) {
        NativeFile expected(VT_FW8, 0, 0, swapped);
        expected.put32({256, 0xFFFFFFFF, 0xFFFFFF00, 0x7FFFFFFF});
        const Bytes bytes = put(vor_putseek32, entries, swapped ? LF_SWAPPED : 0);
        EXPECT_EQ(0, result);
        EXPECT_EQ(Bytes(expected.bytes().begin() + 256, expected.bytes().end()), bytes);
    }
}

TEST_F(SeekTableWriting, WideFormHoldsAllBits) {
    const Entries entries = {256, -1, 0x80000000, 0x123456789ABCDEF};
    for (const bool swapped : {false, true}) {
        NativeFile expected(VT_FW8, 0, 0, swapped);
        expected.put64({256, ~uint64_t{0}, 0x80000000, 0x123456789ABCDEF});
        const Entries before = entries;
        const Bytes bytes = put(vor_putseek64, entries, swapped ? LF_SWAPPED : 0);
        EXPECT_EQ(0, result);
        EXPECT_EQ(Bytes(expected.bytes().begin() + 256, expected.bytes().end()), bytes);
        EXPECT_EQ(before, entries);
    }
}

TEST_F(SeekTableWriting, FailuresAreSilent) {
    const Entries entries = {256, 300};
    for (const uint32_t flags : {0u, LF_SWAPPED}) {
        for (const auto writer : {vor_putseek32, vor_putseek64}) {
            const FailingCall fails(Call::write, 1);
            put(writer, entries, flags);
            EXPECT_EQ(-1, result);
        }
    }
    {
        const FailingMalloc fails(1);
        put(vor_putseek32, entries, 0);
        EXPECT_EQ(-1, result);
    }
    {
        const FailingMalloc fails(1);
        put(vor_putseek64, entries, LF_SWAPPED);
        EXPECT_EQ(-1, result);
    }
    EXPECT_TRUE(reports.empty());
}

TEST_F(SeekTableWriting, WritesOfAFileBelow31BitsMakeTheNarrowForm) {
    Handle h = create(VT_FW8, 3, 10);
    EXPECT_EQ(0, write(h, 0, {{4, 0}, {6, 1}}));
    EXPECT_EQ(0, write(h, 1, {{10, 1}}));
    EXPECT_EQ(0, write(h, 2, {{10, 0}}));
    EXPECT_EQ(0, close_now(&h));
    EXPECT_TRUE(view().flags() & VorBytes::f_seektab);
    EXPECT_FALSE(view().flags() & VorBytes::f_seek64);
    EXPECT_EQ((Entries{256, -256, -1}), view().seek_table());
}

} // namespace
} // namespace vor::test
