// What can be printed of a tag's name, and what is taken for a text.

#include "tag_text.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace vor::tool {
namespace {

using namespace std::string_view_literals;

std::vector<uint8_t> bytes_of(std::string_view text) {
    return {text.begin(), text.end()};
}

TEST(TagName, PrintableNamesShowAsTheyAre) {
    for (const std::string_view name :
         {"job"sv, "two words"sv, "~"sv, "Gr\u00f6\u00dfe"sv, "\u20ac"sv, "\U0001F600"sv,
          "\u00a0"sv, "\uffff"sv, "\U0010ffff"sv})
        EXPECT_EQ(shown_name(name), name);
}

TEST(TagName, WhatATerminalMightObeyIsEscaped) {
    struct Row {
        std::string_view name;
        const char *shown;
    };
    const Row rows[] = {
        {"\x1b[2J"sv, "\\x1B[2J"},
        {"a\nb"sv, "a\\x0Ab"},
        {"\x7f"sv, "\\x7F"},
        {"\xc2\x9b"sv, "\\xC2\\x9B"},
        {"\x9b"sv, "\\x9B"},
        {"a\\b"sv, "a\\\\b"},
        {"\xc3"sv, "\\xC3"},
        {"\xc0\xaf"sv, "\\xC0\\xAF"},
        {"\xe0\x80\x80"sv, "\\xE0\\x80\\x80"},
        {"\xed\xa0\x80"sv, "\\xED\\xA0\\x80"},
        {"\xf4\x90\x80\x80"sv, "\\xF4\\x90\\x80\\x80"},
        {"\xf5"sv, "\\xF5"},
        {"\xe2\x82"sv, "\\xE2\\x82"},
        {"\xe2\x82(("sv, "\\xE2\\x82(("},
    };
    for (const Row &row : rows)
        EXPECT_EQ(shown_name(row.name), row.shown);
}

TEST(TagName, BlanksAtTheEndsAreSeen) {
    EXPECT_EQ(shown_name(" a b "), "\\x20a b\\x20");
    EXPECT_EQ(shown_name("  "), "\\x20\\x20");
}

TEST(TagPayload, IsGuessedByItsBytes) {
    struct Row {
        std::string_view payload;
        PayloadKind kind;
    };
    const Row rows[] = {
        {""sv, PayloadKind::empty},
        {"abc\0"sv, PayloadKind::text},
        {"abcd\0\0\0\0"sv, PayloadKind::text},
        {"a\tb\r\n\f\0\0"sv, PayloadKind::text},
        {"\u20ac\0"sv, PayloadKind::text},
        {"abcd"sv, PayloadKind::binary},
        {"\0\0\0\0"sv, PayloadKind::binary},
        {"abc\0\0\0\0\0"sv, PayloadKind::binary},
        {"ab\0c"sv, PayloadKind::binary},
        {"a\x1b[\0"sv, PayloadKind::binary},
        {"ab\xe4\0"sv, PayloadKind::binary},
        {"a\xe2\x82\0"sv, PayloadKind::binary},
    };
    for (const Row &row : rows)
        EXPECT_EQ(guess_kind(bytes_of(row.payload)), row.kind) << shown_name(row.payload);
}

TEST(TagPayload, TextGetsAZeroByteAndWholeWords) {
    const std::string_view texts[] = {"", "a", "ab", "abc", "abcd", "abcde"};
    const std::string_view payloads[] = {"\0\0\0\0"sv, "a\0\0\0"sv,      "ab\0\0"sv,
                                         "abc\0"sv,    "abcd\0\0\0\0"sv, "abcde\0\0\0"sv};
    for (size_t i = 0; i < std::size(texts); ++i)
        EXPECT_EQ(payload_of_text(bytes_of(texts[i])), bytes_of(payloads[i]));
}

} // namespace
} // namespace vor::tool
