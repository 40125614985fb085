#include <gtest/gtest.h>

#include <string>

#include "config/gd.h"
#include "support/in_child.h"

namespace {

using vor::test::in_child;

TEST(MakeVstring, IsTheWordBehindTheFirstBlank) {
    struct Row {
        const char *keyword;
        const char *version;
    };
    constexpr Row rows[] = {
        {"$Name: rel-6-1 $", "rel-6-1"},
        {"$Name: rel-6-1", "rel-6-1"},
        {"a b c", "b"},
        {" x", "x"},
        {"$ 7 $", "7"},
        {"a\tb c\td", "c\td"},
        {"$$ \xFC", "\xFC"},
    };
    for (const Row &row : rows)
        EXPECT_STREQ(make_vstring(row.keyword), row.version) << row.keyword;
}

TEST(MakeVstring, IsEmptyWhereNoWordFollowsTheBlank) {
    for (const char *keyword : {"$Name:  $", "$Name: ", " ", "  x"})
        EXPECT_STREQ(make_vstring(keyword), "") << keyword;
}

TEST(MakeVstring, IsBetaWithoutABlank) {
    for (const char *keyword : {"abc", "", "$$", "$Name:$", "a\tb"})
        EXPECT_STREQ(make_vstring(keyword), "Beta") << keyword;
}

TEST(MakeVstring, OfAnUnexpandedKeywordIsTheLibrarysAtFirst) {
    EXPECT_EQ(in_child([] { return std::string(make_vstring("$")); }), "6.1");
}

TEST(MakeVstring, OfAnUnexpandedKeywordIsTheLastWord) {
    make_vstring("$Name: rel-7 $");
    EXPECT_STREQ(make_vstring("$"), "rel-7");
    make_vstring("Beta"); // leaves the word alone
    EXPECT_STREQ(make_vstring("$"), "rel-7");
    make_vstring("$Name:  $");
    EXPECT_STREQ(make_vstring("$"), "6.1") << "an empty word is none";
}

TEST(MakeVstring, CutsTheWordAt79Characters) {
    const std::string word(79, 'v');
    EXPECT_EQ(make_vstring(("x " + word).c_str()), word);
    EXPECT_EQ(make_vstring(("x " + word + "w").c_str()), word);
    EXPECT_EQ(make_vstring(("x " + word + std::string(10000, 'w')).c_str()), word);
}

} // namespace
