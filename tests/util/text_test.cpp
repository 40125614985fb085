#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "util/text.h"

namespace {

// A writable copy of a text.
class Buffer {
public:
    explicit Buffer(const std::string &text) { std::memcpy(text_, text.c_str(), text.size() + 1); }
    char *text() { return text_; }

private:
    char text_[1024];
};

TEST(Strclean, RemovesFillersFromBothEnds) {
    struct Row {
        const char *text;
        const char *after;
        int32_t length;
    };
    constexpr Row rows[] = {
        {"  a b\t\n", "a b", 3},        {"abc", "abc", 3},
        {"\x01\x1F x", "x", 1},         {"x \r\n", "x", 1},
        {"\xE4 \xF6 ", "\xE4 \xF6", 3},
    };
    for (const Row &row : rows) {
        Buffer buffer(row.text);
        EXPECT_EQ(strclean(buffer.text()), row.length) << row.text;
        EXPECT_STREQ(buffer.text(), row.after);
    }
}

TEST(Strclean, TextOfBlanksGivesOneAndIsEmpty) {
    for (const char *text : {" ", "    ", "\t\n"}) {
        Buffer buffer(text);
        EXPECT_EQ(strclean(buffer.text()), 1);
        EXPECT_STREQ(buffer.text(), "");
    }
}

TEST(Strclean, EmptyTextGivesZero) {
    Buffer buffer("");
    EXPECT_EQ(strclean(buffer.text()), 0);
    EXPECT_STREQ(buffer.text(), "");
}

TEST(Wordappend, FirstWordIsCopiedAndGivesItsLength) {
    Buffer buffer("");
    EXPECT_EQ(wordappend(buffer.text(), "word"), 4);
    EXPECT_STREQ(buffer.text(), "word");
}

TEST(Wordappend, WordThatFitsFollowsAComma) {
    Buffer buffer("one");
    EXPECT_EQ(wordappend(buffer.text(), "two"), 8);
    EXPECT_STREQ(buffer.text(), "one, two");
}

TEST(Wordappend, LineIsBrokenBeyond80Characters) {
    const std::string line(70, 'a');
    Buffer fits(line);
    EXPECT_EQ(wordappend(fits.text(), "12345678"), 80);
    EXPECT_EQ(fits.text(), line + ", 12345678");
    Buffer too_long(line);
    EXPECT_EQ(wordappend(too_long.text(), "123456789"), 81);
    EXPECT_EQ(too_long.text(), line + ",\n123456789");
}

TEST(Wordappend, OnlyTheLastLineCounts) {
    const std::string lines = std::string(100, 'a') + ",\nbbb";
    Buffer buffer(lines);
    EXPECT_EQ(wordappend(buffer.text(), "cc"), 7);
    EXPECT_EQ(buffer.text(), lines + ", cc");
}

TEST(Wordappend, EmptyLastLineGetsNoSeparator) {
    Buffer buffer("heading:\n");
    EXPECT_EQ(wordappend(buffer.text(), "word"), 6);
    EXPECT_STREQ(buffer.text(), "heading:\nword");
}

TEST(Wordappend, MissingWordEndsTheList) {
    Buffer list("one, two");
    EXPECT_EQ(wordappend(list.text(), nullptr), 0);
    EXPECT_STREQ(list.text(), "one, two.\n");
    Buffer empty("");
    EXPECT_EQ(wordappend(empty.text(), nullptr), 0);
    EXPECT_STREQ(empty.text(), "");
}

TEST(Wordappend, MissingBufferIsRefusedAndTheWidthStays) {
    EXPECT_EQ(wordappend(nullptr, "40"), -1);
    EXPECT_EQ(wordappend(nullptr, nullptr), -1);
    const std::string line(70, 'a');
    Buffer buffer(line);
    EXPECT_EQ(wordappend(buffer.text(), "12345678"), 80);
    EXPECT_EQ(buffer.text(), line + ", 12345678");
}

struct NumRow {
    const char *text;
    int32_t flags;
    int32_t length;
};

void expect_num(const NumRow &row) {
    EXPECT_EQ(nc_num(row.text, row.flags), row.length) << row.text << " flags " << row.flags;
}

TEST(NcNum, PlainIntegers) {
    constexpr NumRow rows[] = {
        {"123", 0, 3}, {"12a", 0, 2}, {"-5", 0, 2},  {"+5", 0, 2},  {"--5", 0, 0}, {"", 0, 0},
        {"a", 0, 0},   {"-", 0, 0},   {"1.5", 0, 1}, {"1e5", 0, 1}, {" 1", 0, 0},  {"0x12", 0, 1},
    };
    for (const NumRow &row : rows)
        expect_num(row);
}

TEST(NcNum, BlanksInFrontCountInTheLength) {
    constexpr NumRow rows[] = {{"  12", NC_NUM_BLANKS, 4},
                               {"  ", NC_NUM_BLANKS, 0},
                               {"  -1x", NC_NUM_BLANKS, 4},
                               {"12", NC_NUM_BLANKS, 2}};
    for (const NumRow &row : rows)
        expect_num(row);
}

TEST(NcNum, DotAloneIsNoNumber) {
    expect_num({".", NC_NUM_REAL, 0});
    expect_num({"-.", NC_NUM_REAL, 0});
    expect_num({".e5", NC_NUM_REAL, 0});
}

TEST(NcNum, FractionsAndExponents) {
    constexpr NumRow rows[] = {
        {"1.5", NC_NUM_REAL, 3},   {"1.", NC_NUM_REAL, 2},   {".5", NC_NUM_REAL, 2},
        {"1e5", NC_NUM_REAL, 3},   {"1E-5", NC_NUM_REAL, 4}, {"1.5e+10x", NC_NUM_REAL, 7},
        {"1.2.3", NC_NUM_REAL, 3}, {"e5", NC_NUM_REAL, 0},   {"1e5.5", NC_NUM_REAL, 3},
    };
    for (const NumRow &row : rows)
        expect_num(row);
}

TEST(NcNum, ExponentNeedsNoDigit) {
    expect_num({"1e", NC_NUM_REAL, 2});
    expect_num({"1e-", NC_NUM_REAL, 3});
    expect_num({"1ex", NC_NUM_REAL, 2});
}

TEST(NcNum, PrefixIsSkippedAndDecimalDigitsFollow) {
    constexpr NumRow rows[] = {
        {"0x12", NC_NUM_PREFIX, 4},
        {"0X12", NC_NUM_PREFIX, 4},
        {"-0x1f", NC_NUM_PREFIX, 4},
        {"0xff", NC_NUM_PREFIX, 0},
        {"0x", NC_NUM_PREFIX, 0},
        {"12", NC_NUM_PREFIX, 2},
        {"0", NC_NUM_PREFIX, 1},
        {"  +0x1.5e1", NC_NUM_BLANKS | NC_NUM_REAL | NC_NUM_PREFIX, 10},
    };
    for (const NumRow &row : rows)
        expect_num(row);
}

struct KeyvalRow {
    const char *line;
    const char *key;
    const char *value; // null: none
};

void expect_keyval(const KeyvalRow &row) {
    Buffer buffer(row.line);
    const char *const value = split_keyval(buffer.text());
    EXPECT_STREQ(value, row.value) << row.line;
    EXPECT_STREQ(buffer.text(), row.key) << row.line;
}

TEST(SplitKeyval, LineWithoutAnEqualsSignHasNoValue) {
    expect_keyval({"key value", "key value", nullptr});
    expect_keyval({"", "", nullptr});
}

TEST(SplitKeyval, PlainValueEndsAtABlank) {
    constexpr KeyvalRow rows[] = {
        {"key=value", "key", "value"},
        {"key = value rest", "key", "value"},
        {"key\t=\tvalue\trest", "key", "value"},
        {"key=", "key", ""},
        {"key=   ", "key", ""},
        {"=value", "", "value"},
        {" key =v", " key", "v"},
        {"a=b=c", "a", "b=c"},
        {"key=va'lue", "key", "va'lue"},
        {"key=\\\"x", "key", "\\\"x"},
    };
    for (const KeyvalRow &row : rows)
        expect_keyval(row);
}

TEST(SplitKeyval, SingleQuotesHoldEverythingUpToTheNext) {
    constexpr KeyvalRow rows[] = {
        {"key='a b' c", "key", "a b"},
        {"key= 'a\\' rest", "key", "a\\"},
        {"key=''", "key", ""},
        {"key='a\"b'", "key", "a\"b"},
    };
    for (const KeyvalRow &row : rows)
        expect_keyval(row);
}

TEST(SplitKeyval, DoubleQuotesTakeACharacterBehindABackslashAsItIs) {
    constexpr KeyvalRow rows[] = {
        {"key=\"a b\" c", "key", "a b"}, {"key=\"a\\\"b\"", "key", "a\"b"},
        {"key=\"a\\\\\"", "key", "a\\"}, {"key=\"a\\nb\"", "key", "anb"},
        {"key=\"\"", "key", ""},         {"key=\"it's\"", "key", "it's"},
    };
    for (const KeyvalRow &row : rows)
        expect_keyval(row);
}

TEST(SplitKeyval, QuotesThatAreNotClosedGiveNothing) {
    constexpr KeyvalRow rows[] = {
        {"key='abc", "key", nullptr},  {"key='", "key", nullptr},
        {"key=\"abc", "key", nullptr}, {"key=\"", "key", nullptr},
        {"key=\"a\\", "key", nullptr}, {"key=\"a\\\"", "key", nullptr},
    };
    for (const KeyvalRow &row : rows)
        expect_keyval(row);
}

TEST(LineEmpty, TellsBlankCommentAndText) {
    struct Row {
        const char *line;
        const char *comment;
        int32_t result;
    };
    constexpr Row rows[] = {
        {"", nullptr, 1},      {" \t ", nullptr, 1}, {"#x", nullptr, 2}, {" \t# x", nullptr, 2},
        {"x # y", nullptr, 0}, {"; x", nullptr, 0},  {"; x", "#;", 2},   {"# x", "#;", 2},
        {"# x", ";", 0},       {"# x", "", 0},       {"", "", 1},        {"\n", nullptr, 0},
    };
    for (const Row &row : rows)
        EXPECT_EQ(line_empty_p(row.line, row.comment), row.result) << row.line;
}

struct CommentRow {
    const char *line;
    const char *comment;
    int32_t first_only;
    const char *after;
    int32_t cut;
};

void expect_comment(const CommentRow &row) {
    Buffer buffer(row.line);
    EXPECT_EQ(kill_comment(buffer.text(), row.comment, row.first_only), row.cut) << row.line;
    EXPECT_STREQ(buffer.text(), row.after) << row.line;
}

TEST(KillComment, CutsAtTheFirstCommentCharacterAndTheBlanksBefore) {
    constexpr CommentRow rows[] = {
        {"text # rest", nullptr, 0, "text", 1},
        {"text \t# a # b", nullptr, 0, "text", 1},
        {"# all", nullptr, 0, "", 1},
        {"  # all", nullptr, 0, "", 1},
        {"text", nullptr, 0, "text", 0},
        {"text  ", nullptr, 0, "text  ", 0},
        {"", nullptr, 0, "", 0},
        {"a;b#c", ";#", 0, "a", 1},
        {"a;b#c", "", 0, "a;b", 1},
        {"a;b", ";", 0, "a", 1},
        {"a#b", ";", 0, "a#b", 0},
    };
    for (const CommentRow &row : rows)
        expect_comment(row);
}

TEST(KillComment, FirstOnlyCutsWholeLinesAlone) {
    constexpr CommentRow rows[] = {
        {"text # rest", nullptr, 1, "text # rest", 0},
        {" \t# all", nullptr, 1, "", 1},
        {"#", nullptr, 1, "", 1},
        {"", nullptr, 1, "", 0},
        {"; x", "#;", 1, "", 1},
        {"; x", "", 1, "; x", 0},
    };
    for (const CommentRow &row : rows)
        expect_comment(row);
}

TEST(TrimInputLine, CutsEndsAndWholeLineComments) {
    struct Row {
        const char *line;
        const char *result;
    };
    constexpr Row rows[] = {
        {" \t text \r\n", "text"},
        {"text # no comment", "text # no comment"},
        {"# comment", ""},
        {"  ; comment\n", ""},
        {"", ""},
        {" \n", ""},
        {"a\x01\x02", "a"},
        {"\x01 a", "\x01 a"},
        {"\xE4", "\xE4"},
    };
    for (const Row &row : rows) {
        Buffer buffer(row.line);
        EXPECT_STREQ(trim_input_line(buffer.text()), row.result) << row.line;
    }
}

TEST(TrimInputLine, ResultPointsIntoTheLine) {
    Buffer buffer("  text  ");
    EXPECT_EQ(trim_input_line(buffer.text()), buffer.text() + 2);
    EXPECT_STREQ(buffer.text(), "  text");
}

TEST(TrimInputLine, MissingLineStaysMissing) {
    EXPECT_EQ(trim_input_line(nullptr), nullptr);
}

} // namespace
