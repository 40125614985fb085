// The colour tables: both forms in the file, the table in force, tables that programs set.
#include "support/failing_malloc.h"
#include "support/native_test.h"

namespace vor::test {
namespace {

using Table = VorBytes::Table;

Table table_of(uint16_t first) {
    Table table;
    for (size_t i = 0; i < table.size(); ++i)
        table[i] = static_cast<uint16_t>(first + i);
    return table;
}

Table in_force(const Handle &h) {
    Table table;
    std::copy_n(lfctable(h.get()), table.size(), table.begin());
    return table;
}

class ColourTables : public NativeTest {
protected:
    static VorBytes file_of(uint32_t count, bool swapped = false) {
        VorBytes file(VT_FW88, 1, 10, swapped);
        file.track({{10, 4}});
        std::vector<Table> tables;
        for (uint32_t i = 0; i < count; ++i)
            tables.push_back(table_of(static_cast<uint16_t>(1000 * (i + 1))));
        file.colour_tables(tables);
        return file;
    }

    static int32_t set(const Handle &h, int32_t index, int32_t create, const Table &table) {
        vor_ctabreq request = {index, create, table.data()};
        return lfspecial(h.get(), LFS_SET_CTAB, &request);
    }
};

TEST_F(ColourTables, TableZeroIsInForceOfUpToThreeAndTableThreeOfMore) {
    for (const bool swapped : {false, true}) {
        for (uint32_t count = 1; count <= 5; ++count) {
            const Handle h = open(file_of(count, swapped));
            ASSERT_TRUE(h);
            EXPECT_EQ(static_cast<int32_t>(count), info.nctab);
            EXPECT_EQ(count < 4 ? 0 : 3, h->ctabno);
            EXPECT_EQ(table_of(count < 4 ? 1000 : 4000), in_force(h)) << count << swapped;
        }
    }
}

TEST_F(ColourTables, ColoursOfTracksGoThroughTheTableInForce) {
    const Handle h = checked(file_of(1));
    EXPECT_EQ((Runs{{10, 1004}}), read(h, 0));
}

TEST_F(ColourTables, OldFormGivesSixteenTablesAndTableThreeInForce) {
    for (const bool swapped : {false, true}) {
        VorBytes file(VT_FW88, 1, 10, swapped);
        file.track({{10, 4}});
        std::array<Table, 16> tables;
        for (size_t i = 0; i < tables.size(); ++i)
            tables[i] = table_of(static_cast<uint16_t>(500 * i));
        file.old_colour_tables(tables, 0xABCD);
        const Handle h = checked(file);
        EXPECT_EQ(16, info.nctab);
        EXPECT_EQ(table_of(1500), in_force(h));
        for (int32_t i = 0; i < 16; ++i) {
            EXPECT_EQ(0, vor_selectctab(h.get(), i));
            EXPECT_EQ(table_of(static_cast<uint16_t>(500 * i)), in_force(h)) << i;
        }
        vorhdr hdr;
        EXPECT_EQ(0, lfspecial(h.get(), LFS_VOR_HEADER, &hdr));
        EXPECT_EQ(16u, hdr.ctabcount);
    }
}

TEST_F(ColourTables, UpdateLeavesTheOldFormReadable) {
    VorBytes file(VT_FW88, 1, 10);
    file.track({{10, 4}});
    std::array<Table, 16> tables;
    tables.fill(table_of(77));
    file.old_colour_tables(tables, 0xABCD);
    Handle h = checked(file, LF_UPDATE);
    EXPECT_EQ(0, close_now(&h));
    EXPECT_EQ(0u, view().u32(VorBytes::ctabcount_at));
    h = open();
    EXPECT_EQ(16, info.nctab);
    EXPECT_EQ(table_of(77), in_force(h));
}

TEST_F(ColourTables, AreLeftAloneOnRequest) {
    const Handle h = open(file_of(4), LF_READ | LF_NOCOLOR);
    ASSERT_TRUE(h);
    EXPECT_EQ(1, info.nctab);
    EXPECT_EQ(table_of(0), in_force(h));
    EXPECT_EQ(1, vor_selectctab(h.get(), 0));
}

TEST_F(ColourTables, InsideTheHeaderAreRefused) {
    VorBytes file = file_of(1);
    file.set(VorBytes::ctaboff_at, 255);
    EXPECT_FALSE(open(file));
    EXPECT_EQ("vor_rdsetup: last os error", reports.take().at(0));
    EXPECT_TRUE(open(file, LF_NOCOLOR));
}

TEST_F(ColourTables, BeyondTheFileAreNeverMadeRoomFor) {
    for (const uint32_t count : {2u, 1000u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
        VorBytes file = file_of(1);
        file.set(VorBytes::ctabcount_at, count);
        file.write(name);
        // The first four allocations are those of the handle and the private record.
        const FailingMalloc fails(5);
        EXPECT_FALSE(open());
        EXPECT_EQ("vor_rdsetup: last os error", reports.take().at(0)) << count;
        EXPECT_FALSE(fails.reached());
    }
}

TEST_F(ColourTables, NoMemoryForThemFailsTheOpen) {
    file_of(1).write(name);
    const FailingMalloc fails(5);
    EXPECT_FALSE(open());
    EXPECT_EQ("vor_rdsetup: last os error", reports.take().at(0));
    EXPECT_TRUE(fails.reached());
}

TEST_F(ColourTables, SelectTakesTablesOfTheFileOnly) {
    const Handle h = checked(file_of(2));
    EXPECT_EQ(0, vor_selectctab(h.get(), 1));
    EXPECT_EQ(1, h->ctabno);
    EXPECT_EQ(table_of(2000), in_force(h));
    EXPECT_EQ(-1, vor_selectctab(h.get(), 2));
    EXPECT_EQ(-1, vor_selectctab(h.get(), -1));
    EXPECT_EQ(1, h->ctabno);
    EXPECT_EQ(table_of(2000), in_force(h));
}

TEST_F(ColourTables, SelectOnAFileWithoutTablesChangesNothing) {
    VorBytes file(VT_FW88, 1, 10);
    file.track({{10, 4}});
    const Handle h = checked(file);
    EXPECT_EQ(1, vor_selectctab(h.get(), 0));
    EXPECT_EQ(table_of(0), in_force(h));
    xvor_t bare = {};
    EXPECT_EQ(-1, vor_selectctab(&bare, 0));
}

TEST_F(ColourTables, SetIsRefusedOnReadAndOutOfRange) {
    const Handle reading = checked(file_of(1));
    EXPECT_EQ(-1, set(reading, 0, 1, table_of(5)));
    const Handle h = create(VT_FW88, 1, 10);
    EXPECT_EQ(0, lfcheck(h.get()));
    EXPECT_EQ(-1, set(h, -1, 1, table_of(5)));
    EXPECT_EQ(-1, set(h, 64, 1, table_of(5)));
    vor_ctabreq without_table = {0, 1, nullptr};
    EXPECT_EQ(-1, lfspecial(h.get(), LFS_SET_CTAB, &without_table));
    xvor_t bare = {};
    bare.flags = LF_WRITE;
    const Table table = table_of(5);
    const vor_ctabreq request = {0, 1, table.data()};
    EXPECT_EQ(-1, vor_setctab(&bare, &request));
}

TEST_F(ColourTables, SetWithoutTablesAndWithoutCreateDoesNothing) {
    const Handle h = create(VT_FW88, 1, 10);
    EXPECT_EQ(0, lfcheck(h.get()));
    h->flags &= ~LF_DIRTY;
    EXPECT_EQ(1, set(h, 0, 0, table_of(5)));
    EXPECT_EQ(nullptr, priv(h.get())->ctabs);
    EXPECT_FALSE(has_flag(h, LF_DIRTY));
}

TEST_F(ColourTables, SetMakesSixtyFourIdentitiesAndACountOfFour) {
    const Handle h = create(VT_FW88, 1, 10);
    EXPECT_EQ(0, lfcheck(h.get()));
    h->flags &= ~LF_DIRTY;
    EXPECT_EQ(0, set(h, 63, 1, table_of(5)));
    EXPECT_TRUE(has_flag(h, LF_DIRTY));
    EXPECT_EQ(64, h->nctab);
    EXPECT_EQ(4u, priv(h.get())->hdr.ctabcount);
    for (int32_t i = 0; i < 64; ++i) {
        EXPECT_EQ(0, vor_selectctab(h.get(), i));
        EXPECT_EQ(table_of(i == 63 ? 5 : 0), in_force(h)) << i;
    }
}

TEST_F(ColourTables, SetOfTheTableInForceTakesEffectAtOnce) {
    const Handle h = create(VT_FW88, 1, 10);
    EXPECT_EQ(0, lfcheck(h.get()));
    EXPECT_EQ(0, set(h, 0, 1, table_of(5)));
    EXPECT_EQ(table_of(5), in_force(h));
    EXPECT_EQ(1, h->nctab);
    EXPECT_EQ(0, set(h, 2, 0, table_of(9)));
    EXPECT_EQ(table_of(5), in_force(h));
    EXPECT_EQ(3, h->nctab);
}

TEST_F(ColourTables, SetOfTheTableInForceBeyondTheCountWaitsForASelect) {
    const Handle h = create(VT_FW88, 1, 10);
    EXPECT_EQ(0, lfcheck(h.get()));
    h->ctabno = 2;
    EXPECT_EQ(0, set(h, 2, 1, table_of(5)));
    EXPECT_EQ(table_of(0), in_force(h));
    EXPECT_EQ(3, h->nctab);
    EXPECT_EQ(0, vor_selectctab(h.get(), 2));
    EXPECT_EQ(table_of(5), in_force(h));
}

TEST_F(ColourTables, SetBeyondTheTablesOfTheFileGrowsTheBlockByIdentities) {
    const Handle h = checked(file_of(2), LF_UPDATE);
    EXPECT_EQ(0, set(h, 5, 0, table_of(9)));
    EXPECT_EQ(6, h->nctab);
    const uint16_t firsts[] = {1000, 2000, 0, 0, 0, 9};
    for (int32_t i = 0; i < 6; ++i) {
        EXPECT_EQ(0, vor_selectctab(h.get(), i));
        EXPECT_EQ(table_of(firsts[i]), in_force(h)) << i;
    }
}

TEST_F(ColourTables, NoMemoryForNewTables) {
    const Handle h = create(VT_FW88, 1, 10);
    EXPECT_EQ(0, lfcheck(h.get()));
    const FailingMalloc fails(1);
    EXPECT_EQ(-1, set(h, 0, 1, table_of(5)));
    EXPECT_EQ(1, h->nctab);
}

TEST_F(ColourTables, SetTablesAreWrittenAndReadBack) {
    for (const uint32_t mode : {0u, LF_SWAPPED}) {
        Handle h = create(VT_FW88, 1, 10, mode);
        EXPECT_EQ(0, lfcheck(h.get()));
        EXPECT_EQ(0, set(h, 1, 1, table_of(300)));
        EXPECT_EQ(0, write(h, 0, {{4, 1}, {6, 2}}));
        EXPECT_EQ(0, close_now(&h));
        EXPECT_EQ(2u, view(mode != 0).u32(VorBytes::ctabcount_at));
        h = open();
        ASSERT_TRUE(h);
        EXPECT_EQ(2, info.nctab);
        EXPECT_EQ(table_of(0), in_force(h));
        EXPECT_EQ(0, vor_selectctab(h.get(), 1));
        EXPECT_EQ(table_of(300), in_force(h));
    }
}

} // namespace
} // namespace vor::test
