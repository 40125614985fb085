// The table of formats.

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <deque>
#include <string>
#include <utility>
#include <vector>

#include "formats/formats.h"
#include "support/failing_malloc.h"
#include "support/report_log.h"
#include "trackfile/lf.h"

namespace vor::test {
namespace {

// Records that stay in the table, as those of a program do, each of a name of its own.
lffmt_t *new_format(const std::string &title) {
    static std::deque<std::pair<std::string, lffmt_t>> formats;
    auto &[name, format] = formats.emplace_back(title + std::to_string(formats.size()), lffmt_t{});
    format.name = name.c_str();
    return &format;
}

// The table is there for good once it has been started, so what comes before that is tried in a
// process of its own.
class FormatTableFresh : public ::testing::Test {
protected:
    FormatTableFresh() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

void expect(bool holds) {
    if (!holds) std::exit(1);
}

class FormatTable : public ::testing::Test {
protected:
    ReportLog log;

    FormatTable() { lfregisterfmt(nullptr); }
    ~FormatTable() override { lfsetinitcb(nullptr); }
};

// ---- before the first use -------------------------------------------------------------------

TEST_F(FormatTableFresh, HasNoRowsBeforeItsFirstUse) {
    EXPECT_EXIT(
        {
            expect(lffmtindex("vor") == -1);
            expect(!lfdescriptor(0));
            expect(!lffmtname(0));
            expect(!lffmtsuffix(0));
            expect(!lffmtsuffixlist(0));
            expect(lfsuffixindex(0, "a.vor") == -1);
            expect(lffmtguess("a.vor") == -1);
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST_F(FormatTableFresh, StartsWithTheNativeFormatAlone) {
    EXPECT_EXIT(
        {
            expect(lfregisterfmt(nullptr) == 0);
            expect(lfdescriptor(0) == &vor_cvtformat);
            expect(!lfdescriptor(1));
            expect(lfregisterfmt(nullptr) == 0);
            expect(!lfdescriptor(1));
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST_F(FormatTableFresh, IsStartedByTheFirstRegistrationToo) {
    EXPECT_EXIT(
        {
            expect(lfregisterfmt(new_format("early")) == 1);
            expect(lffmtindex("vor") == 0);
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST_F(FormatTableFresh, WithoutMemoryIsReportedAndStartsOnTheNextCall) {
    EXPECT_EXIT(
        {
            ReportLog log;
            int32_t result = 0;
            {
                const FailingMalloc no_memory(1);
                result = lfregisterfmt(nullptr);
            }
            expect(result == -1);
            expect(log.size() == 1 && !log[0].handle);
            expect(log.take() == Lines{"lfregisterfmt: out of memory"});
            expect(lffmtindex("vor") == -1);
            expect(lfregisterfmt(nullptr) == 0);
            expect(lffmtindex("vor") == 0);
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST_F(FormatTableFresh, GrowsWithTheRegistrationBehindItsSixtyFourRows) {
    EXPECT_EXIT(
        {
            ReportLog log;
            for (int i = 1; i < 64; ++i)
                expect(lfregisterfmt(new_format("filling")) == i);
            lffmt_t *format = new_format("one more");
            int32_t result = 0;
            {
                const FailingMalloc no_memory(1);
                result = lfregisterfmt(format);
            }
            expect(result == -1);
            expect(log.take() == Lines{"lfregisterfmt: out of memory"});
            expect(lffmtindex(format->name) == -1);
            expect(lfregisterfmt(format) == 64);
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "");
}

int32_t init_that_registers() {
    return lfregisterfmt(new_format("within"));
}

TEST_F(FormatTableFresh, LetsAnInitRegisterFormatsWhenTheRowsRunOut) {
    EXPECT_EXIT(
        {
            for (int i = 1; i < 63; ++i)
                expect(lfregisterfmt(new_format("filling")) == i);
            lffmt_t *format = new_format("outer");
            format->init = init_that_registers;
            expect(lfregisterfmt(format) == 64);
            expect(lfdescriptor(64) == format && lfdescriptor(63) && !lfdescriptor(65));
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "");
}

// ---- registration ---------------------------------------------------------------------------

TEST_F(FormatTable, NativeFormatIsRowZero) {
    EXPECT_EQ(lfdescriptor(0), &vor_cvtformat);
    EXPECT_STREQ(lffmtname(0), "vor");
    EXPECT_STREQ(lffmtsuffix(0), ".vor");
    EXPECT_STREQ(lffmtsuffixlist(0), ".vor:");
    EXPECT_EQ(lffmtindex("vor"), 0);
    EXPECT_EQ(vor_cvtformat.module, nullptr);
    EXPECT_EQ(vor_cvtformat.init, nullptr);
    EXPECT_EQ(vor_cvtformat.reserved1, nullptr);
    EXPECT_EQ(vor_cvtformat.reserved2, nullptr);
    EXPECT_EQ(vor_cvtformat.reserved3, nullptr);
}

TEST_F(FormatTable, KeepsThePointerAndCopiesNothing) {
    lffmt_t *format = new_format("kept");
    const int32_t row = lfregisterfmt(format);
    ASSERT_GT(row, 0);
    EXPECT_EQ(lfdescriptor(row), format);
    format->suffix = ".later";
    EXPECT_STREQ(lffmtsuffix(row), ".later");
}

int init_calls = 0;

int32_t good_init() {
    ++init_calls;
    return 0;
}

int32_t bad_init() {
    ++init_calls;
    return -1;
}

TEST_F(FormatTable, CallsInitOnceAndTheFirstOfANameStands) {
    lffmt_t *format = new_format("named twice");
    format->init = good_init;
    init_calls = 0;
    const int32_t row = lfregisterfmt(format);
    ASSERT_GT(row, 0);
    EXPECT_EQ(init_calls, 1);
    EXPECT_EQ(lfregisterfmt(format), row);
    lffmt_t *other = new_format("renamed");
    other->name = format->name;
    other->init = good_init;
    EXPECT_EQ(lfregisterfmt(other), row);
    EXPECT_EQ(init_calls, 1);
    EXPECT_EQ(lfdescriptor(row), format);
}

TEST_F(FormatTable, RefusesAFormatWhoseInitFails) {
    lffmt_t *format = new_format("unwilling");
    format->init = bad_init;
    init_calls = 0;
    const int32_t rows = lfregisterfmt(new_format("before the unwilling"));
    EXPECT_EQ(lfregisterfmt(format), -1);
    EXPECT_EQ(init_calls, 1);
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0].handle, nullptr);
    EXPECT_EQ(log.take(),
              Lines{format->name + std::string(": invalid argument | module init failed")});
    EXPECT_EQ(lffmtindex(format->name), -1);
    EXPECT_EQ(lfdescriptor(rows + 1), nullptr);
    EXPECT_EQ(lfregisterfmt(format), -1) << "it is asked again";
    EXPECT_EQ(init_calls, 2);
}

TEST_F(FormatTable, APositiveResultOfInitIsNoFailure) {
    lffmt_t *format = new_format("more than willing");
    format->init = []() -> int32_t { return 1; };
    EXPECT_GT(lfregisterfmt(format), 0);
}

TEST_F(FormatTable, GrowsAndOldRowsStayInPlace) {
    std::vector<lffmt_t *> before;
    for (int32_t row = 0; lfdescriptor(row); ++row)
        before.push_back(lfdescriptor(row));
    for (int i = 0; i < 200; ++i) {
        lffmt_t *format = new_format("growing");
        ASSERT_EQ(lfregisterfmt(format), static_cast<int32_t>(before.size()));
        before.push_back(format);
    }
    for (size_t row = 0; row < before.size(); ++row)
        EXPECT_EQ(lfdescriptor(static_cast<int32_t>(row)), before[row]);
    EXPECT_EQ(lfdescriptor(static_cast<int32_t>(before.size())), nullptr);
}

// ---- init callback --------------------------------------------------------------------------

std::vector<lffmt_t *> heard;

void hear(lffmt_t *format) {
    heard.push_back(format);
}

TEST_F(FormatTable, InitCallbackHearsOfEachNewFormat) {
    heard.clear();
    EXPECT_EQ(lfsetinitcb(hear), 0);
    lffmt_t *format = new_format("heard of");
    ASSERT_GT(lfregisterfmt(format), 0);
    EXPECT_EQ(heard, std::vector<lffmt_t *>{format});
    lfregisterfmt(format);
    EXPECT_EQ(heard.size(), 1u) << "it is known by then";
}

TEST_F(FormatTable, InitCallbackDoesNotHearOfAFormatThatWasRefused) {
    heard.clear();
    lfsetinitcb(hear);
    lffmt_t *format = new_format("refused");
    format->init = bad_init;
    EXPECT_EQ(lfregisterfmt(format), -1);
    EXPECT_TRUE(heard.empty());
}

TEST_F(FormatTable, InitCallbackIsOneAndMayBeTakenAway) {
    heard.clear();
    lfsetinitcb([](lffmt_t *) { ADD_FAILURE() << "the older callback was called"; });
    lfsetinitcb(hear);
    ASSERT_GT(lfregisterfmt(new_format("heard once")), 0);
    EXPECT_EQ(heard.size(), 1u);
    EXPECT_EQ(lfsetinitcb(nullptr), 0);
    ASSERT_GT(lfregisterfmt(new_format("unheard of")), 0);
    EXPECT_EQ(heard.size(), 1u);
}

TEST_F(FormatTable, InitCallbackFindsTheFormatInTheTable) {
    static int32_t row_seen = -1;
    lfsetinitcb([](lffmt_t *format) { row_seen = lffmtindex(format->name); });
    const int32_t row = lfregisterfmt(new_format("found by the callback"));
    EXPECT_EQ(row_seen, row);
}

// ---- look-up --------------------------------------------------------------------------------

TEST_F(FormatTable, NamesAreComparedExactly) {
    for (const char *name : {"VOR", "vo", "vor ", ".vor", ""})
        EXPECT_EQ(lffmtindex(name), -1) << name;
    EXPECT_EQ(lffmtindex(nullptr), -1);
}

TEST_F(FormatTable, RowsThatDoNotExistGiveNothing) {
    int32_t count = 0;
    while (lfdescriptor(count))
        ++count;
    for (const int32_t row : {-1, count, count + 1, INT_MAX, INT_MIN}) {
        EXPECT_EQ(lfdescriptor(row), nullptr) << row;
        EXPECT_EQ(lffmtname(row), nullptr) << row;
        EXPECT_EQ(lffmtsuffix(row), nullptr) << row;
        EXPECT_EQ(lffmtsuffixlist(row), nullptr) << row;
        EXPECT_EQ(lfsuffixindex(row, "a.vor"), -1) << row;
    }
}

TEST_F(FormatTable, SuffixStandsInForAnAbsentList) {
    lffmt_t *format = new_format("short listed");
    format->suffix = ".short";
    const int32_t row = lfregisterfmt(format);
    EXPECT_STREQ(lffmtsuffixlist(row), ".short");
    format->suffixlist = ".a:.b";
    EXPECT_STREQ(lffmtsuffixlist(row), ".a:.b");
    EXPECT_STREQ(lffmtsuffix(row), ".short");
}

// ---- type numbers ---------------------------------------------------------------------------

TEST(TypeNumber, PacksRowAndMinorNumber) {
    const struct {
        int32_t row, minor_number, type;
    } rows[] = {{0, 0, 0},
                {0, 0x42, 0x42},
                {1, 2, 0x102},
                {0x1234, 0xFF, 0x1234FF},
                {3, 0x1FF, 0x3FF},
                {3, -1, 0x3FF},
                {-1, 0, -256},
                {-1, 0xFF, -1},
                {0x7FFFFF, 5, 0x7FFFFF05}};
    for (const auto &row : rows)
        EXPECT_EQ(lffdev(row.row, row.minor_number), row.type);
}

TEST(TypeNumber, IsTakenApart) {
    const struct {
        int32_t type, major_number, minor_number;
    } rows[] = {
        {0, 0, 0},     {0x42, 0, 0x42},  {0x1234FF, 0x1234, 0xFF}, {-1, -1, 0xFF},
        {-256, -1, 0}, {-257, -2, 0xFF}, {INT_MIN, -0x800000, 0},  {INT_MAX, 0x7FFFFF, 0xFF}};
    for (const auto &row : rows) {
        EXPECT_EQ(lffmajor(row.type), row.major_number) << row.type;
        EXPECT_EQ(lffminor(row.type), row.minor_number) << row.type;
    }
}

} // namespace
} // namespace vor::test
