// From a file name's suffix to a format.

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "formats/formats.h"
#include "support/report_log.h"
#include "support/toy_format.h"
#include "trackfile/lf.h"

namespace vor::test {
namespace {

// A format of a given list of suffixes for as long as the object lives; afterwards its row takes
// none.
class Suffixes {
public:
    Suffixes(const char *name, const char *list) {
        row_ = lffmtindex(name);
        if (row_ < 0) {
            auto *format = new lffmt_t{};
            format->name = name;
            row_ = lfregisterfmt(format);
        }
        lfdescriptor(row_)->suffixlist = list;
    }
    ~Suffixes() { lfdescriptor(row_)->suffixlist = nullptr; }
    Suffixes(const Suffixes &) = delete;
    Suffixes &operator=(const Suffixes &) = delete;

    int32_t row() const { return row_; }

private:
    int32_t row_;
};

int32_t index_in(const char *list, const char *file_name) {
    const Suffixes suffixes("suffix list", list);
    return lfsuffixindex(suffixes.row(), file_name);
}

class SuffixTest : public ::testing::Test {
protected:
    ReportLog log;

    SuffixTest() { lfregisterfmt(nullptr); }
};

using Getsuffix = SuffixTest;
using Lfsuffixindex = SuffixTest;
using Lffmtguess = SuffixTest;

// ---- getsuffix ------------------------------------------------------------------------------

TEST_F(Getsuffix, IsTheLastDotOfTheBaseNameAndWhatFollows) {
    const struct {
        const char *name;
        const char *suffix;
    } rows[] = {{"a.vor", ".vor"},       {"a.b.c", ".c"},    {"dir/a.vor", ".vor"},
                {"dir.x/a.vor", ".vor"}, {"a.", "."},        {".hidden.vor", ".vor"},
                {"..a.b", ".b"},         {"dir/.a.b", ".b"}, {"dir\\a.vor", ".vor"},
                {"a..vor", ".vor"}};
    for (const auto &row : rows) {
        const char *suffix = getsuffix(row.name);
        ASSERT_NE(suffix, nullptr) << row.name;
        EXPECT_STREQ(suffix, row.suffix) << row.name;
        EXPECT_EQ(suffix, row.name + std::strlen(row.name) - std::strlen(row.suffix))
            << "it points into the name";
    }
}

TEST_F(Getsuffix, IsNothingWithoutADot) {
    for (const char *name : {"a", "", "dir.x/a", "dir.x\\a", "dir.x/"})
        EXPECT_EQ(getsuffix(name), nullptr) << name;
}

TEST_F(Getsuffix, LeadingDotsDoNotCount) {
    for (const char *name : {".hidden", "..", ".", "...vor", "dir/.hidden", "dir.x/..hidden"})
        EXPECT_EQ(getsuffix(name), nullptr) << name;
}

// ---- lfsuffixindex --------------------------------------------------------------------------

TEST_F(Lfsuffixindex, OfTheNativeListHoldsOneItemOnly) {
    EXPECT_EQ(lfsuffixindex(0, "a.vor"), 1);
    for (const char *name : {"a.tif", "a", "a.vorx", "a.vo", "a.", "vor", ".vor"})
        EXPECT_EQ(lfsuffixindex(0, name), -1) << name;
}

TEST_F(Lfsuffixindex, ComparesWithCase) {
    EXPECT_EQ(lfsuffixindex(0, "a.VOR"), -1);
    EXPECT_EQ(lfsuffixindex(0, "a.Vor"), -1);
}

TEST_F(Lfsuffixindex, CountsItemsFromOne) {
    EXPECT_EQ(index_in(".a:.b:.c", "x.a"), 1);
    EXPECT_EQ(index_in(".a:.b:.c", "x.b"), 2);
    EXPECT_EQ(index_in(".a:.b:.c", "x.c"), 3);
    EXPECT_EQ(index_in(".a:.b:.c", "x.d"), -1);
}

TEST_F(Lfsuffixindex, AnEmptyItemFitsAnyNameWithZero) {
    EXPECT_EQ(index_in(":.a", "x.a"), 2);
    EXPECT_EQ(index_in(":.a", "x.b"), 0);
    EXPECT_EQ(index_in(":.a", "x"), 0);
    EXPECT_EQ(index_in(".a::.b", "x.b"), 3);
    EXPECT_EQ(index_in(".a::.b", "x.a"), 1);
    EXPECT_EQ(index_in(".a::.b", "x.c"), 0);
    EXPECT_EQ(index_in(".a::", "x.c"), 0);
}

TEST_F(Lfsuffixindex, AListOfOneColonIsAnEmptyItem) {
    EXPECT_EQ(index_in(":", "x.c"), 0);
    EXPECT_EQ(index_in("::", "x.c"), 0);
}

TEST_F(Lfsuffixindex, AColonAtTheEndOpensNoItem) {
    EXPECT_EQ(index_in(".a:.b:", "x.c"), -1);
}

TEST_F(Lfsuffixindex, ANameWithoutSuffixFitsEmptyItemsOnly) {
    EXPECT_EQ(index_in(".a:.b", "x"), -1);
    EXPECT_EQ(index_in(".a:.b", ".a"), -1);
    EXPECT_EQ(index_in(".a:", ""), -1);
}

TEST_F(Lfsuffixindex, AnAbsentOrEmptyListFitsNothing) {
    EXPECT_EQ(index_in(nullptr, "x.a"), -1);
    EXPECT_EQ(index_in("", "x.a"), -1);
    EXPECT_EQ(index_in("", "x"), -1);
}

TEST_F(Lfsuffixindex, ItemsArePartsOfTheListNotOfEachOther) {
    EXPECT_EQ(index_in(".ab:.a", "x.a"), 2);
    EXPECT_EQ(index_in(".a:.ab", "x.ab"), 2);
}

// ---- lffmtguess -----------------------------------------------------------------------------

TEST_F(Lffmtguess, FindsTheRowThatListsTheSuffix) {
    const Suffixes one("guess one", ".g1:.g2");
    const Suffixes two("guess two", ".g3:.g2");
    EXPECT_EQ(lffmtguess("a.vor"), 0);
    EXPECT_EQ(lffmtguess("a.g1"), one.row());
    EXPECT_EQ(lffmtguess("a.g3"), two.row());
    EXPECT_EQ(lffmtguess("a.g2"), one.row()) << "the first row wins";
    EXPECT_TRUE(log.empty());
}

TEST_F(Lffmtguess, WithNoMatchAndNoWildcardIsMinusOneAndPrintsNothing) {
    EXPECT_EQ(lffmtguess("a.unheard-of"), -1);
    EXPECT_EQ(lffmtguess("a"), -1);
    EXPECT_TRUE(log.empty());
}

TEST_F(Lffmtguess, AWildcardTakesWhatNobodyLists) {
    const Suffixes wildcard("guess any", ":");
    const Suffixes listed("guess listed", ".listed");
    EXPECT_EQ(lffmtguess("a.unheard-of"), wildcard.row());
    EXPECT_EQ(lffmtguess("a"), wildcard.row());
    EXPECT_EQ(lffmtguess("a.listed"), listed.row()) << "a listed suffix beats an earlier wildcard";
    EXPECT_EQ(lffmtguess("a.vor"), 0);
    EXPECT_TRUE(log.empty());
}

TEST_F(Lffmtguess, SeveralWildcardsAreAWarningAndTheFirstIsTaken) {
    const Suffixes first("guess any", ":.x");
    const Suffixes second("guess any too", ":.y");
    ASSERT_LT(first.row(), second.row());
    EXPECT_EQ(lffmtguess("a.unheard-of"), first.row());
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0].handle, nullptr);
    EXPECT_EQ(log.take(), Lines{"lffmtguess: warning | suffix is ambiguous"});
    EXPECT_EQ(lffmtguess("a.y"), second.row());
    EXPECT_TRUE(log.empty()) << "a listed suffix is not ambiguous";
}

} // namespace
} // namespace vor::test
