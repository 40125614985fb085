#include <gtest/gtest.h>

#include <string>

#include "util/text.h"

namespace {

constexpr const char *start_yes = "yes:y:on";
constexpr const char *start_no = "no:n:off";

// The lists are those of the process: each test starts and leaves them as they are at the start.
class YesNo : public ::testing::Test {
protected:
    void TearDown() override { yesno_setup(start_yes, start_no); }
};

struct Row {
    const char *text;
    int32_t result; // of ytoi
};

void expect(const Row &row) {
    EXPECT_EQ(ytoi(row.text), row.result) << "\"" << row.text << "\"";
    EXPECT_EQ(yn_isyes(row.text), row.result == 1) << "\"" << row.text << "\"";
    EXPECT_EQ(yn_isno(row.text), row.result == 0) << "\"" << row.text << "\"";
}

TEST_F(YesNo, WordsOfTheStartListsMatchInAnyCase) {
    constexpr Row rows[] = {{"yes", 1}, {"y", 1}, {"on", 1},  {"ON", 1},  {"Yes", 1}, {"Y", 1},
                            {"no", 0},  {"n", 0}, {"off", 0}, {"OfF", 0}, {"NO", 0}};
    for (const Row &row : rows)
        expect(row);
}

TEST_F(YesNo, OnInCapitalsIsAYes) {
    expect({"ON", 1});
}

TEST_F(YesNo, BlanksInFrontDoNotMatter) {
    expect({" no", 0});
    expect({"   yes", 1});
}

TEST_F(YesNo, BlankBehindDoesNotMatch) {
    expect({"yes ", -1});
    expect({"no ", -1});
}

TEST_F(YesNo, EmptyTextIsNeither) {
    expect({"", -1});
    expect({"   ", -1});
}

TEST_F(YesNo, OnlyWholeWordsMatch) {
    constexpr Row rows[] = {{"ye", -1},    {"yess", -1}, {"o", -1},
                            {"yes:y", -1}, {":", -1},    {"1", -1}};
    for (const Row &row : rows)
        expect(row);
}

TEST_F(YesNo, ListsMayBeReplaced) {
    EXPECT_EQ(yesno_setup("ja:j", "nein:n"), 0);
    expect({"JA", 1});
    expect({"nein", 0});
    expect({"yes", -1});
}

TEST_F(YesNo, MissingAndEmptyListsChangeNothing) {
    EXPECT_EQ(yesno_setup(nullptr, "nein"), 0);
    expect({"yes", 1});
    expect({"nein", 0});
    EXPECT_EQ(yesno_setup("", ""), 0);
    expect({"yes", 1});
    expect({"nein", 0});
    EXPECT_EQ(yesno_setup("ja", nullptr), 0);
    expect({"ja", 1});
    expect({"nein", 0});
}

TEST_F(YesNo, ListsAreKeptByPointer) {
    char yes[] = "ja";
    yesno_setup(yes, nullptr);
    yes[0] = 'n';
    expect({"na", 1});
}

TEST_F(YesNo, WordOfBothListsIsNeither) {
    yesno_setup("yes:maybe", "no:MAYBE");
    expect({"maybe", -1});
}

TEST_F(YesNo, ItoyCopiesTheFirstWord) {
    char word[16];
    itoy(word, 1);
    EXPECT_STREQ(word, "yes");
    itoy(word, -5);
    EXPECT_STREQ(word, "yes");
    itoy(word, 0);
    EXPECT_STREQ(word, "no");
    yesno_setup("single", nullptr);
    itoy(word, 1);
    EXPECT_STREQ(word, "single");
}

TEST_F(YesNo, ItoycGivesTheKeyThatOnlyOneSideHas) {
    struct KeyRow {
        int32_t value;
        int32_t start;
        int32_t key;
    };
    constexpr KeyRow rows[] = {
        {1, 0, 'Y'},   {0, 0, 'N'},  {1, 'Y', 'Y'}, {1, 'Z', 'y'},         {1, 'z', -1},
        {0, 'a', 'n'}, {0, 'o', -1}, {1, -7, 'Y'},  {1, 0x100 + 'Z', 'y'}, {7, 0, 'Y'},
    };
    for (const KeyRow &row : rows)
        EXPECT_EQ(itoyc(row.value, row.start), row.key) << row.value << " " << row.start;
}

TEST_F(YesNo, ItoycWithoutALetterOfItsOwnGivesNothing) {
    yesno_setup("on", "off");
    EXPECT_EQ(itoyc(1, 0), -1);
    EXPECT_EQ(itoyc(0, 0), -1);
}

} // namespace
