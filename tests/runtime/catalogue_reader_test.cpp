#include <string>
#include <vector>

#include "runtime/catalogue_fixture.h"
#include "runtime/settings_source.h"
#include "support/scoped_env.h"

namespace {

using vor::test::ScopedEnv;

using CatalogueReader = vor::test::CatalogueTest;

// ---- header ----

TEST_F(CatalogueReader, HeaderWithoutMessagesIsAGoodLoad) {
    load_lines("");
    EXPECT_STREQ(mystrings[0][0], "???");
}

TEST_F(CatalogueReader, NeitherHeaderNorMessagesIsAWarning) {
    write("prog", "nothing\n");
    EXPECT_EQ(load(), 1);
    EXPECT_EQ(printed, path("prog") + ": check file (no messages)\n");
    EXPECT_STREQ(mystrings[0][0], "???") << "the table is there";
}

TEST_F(CatalogueReader, HeaderOfAnotherNameOrCaseIsNone) {
    for (const char *header :
         {"{[Prog]}", "{[pro]}", "{[program]}", "{[prog}", " {[prog]}", "{[prog"}) {
        write("prog", std::string(header) + "\n1:text\\C\n");
        EXPECT_EQ(load(), 1) << header;
        EXPECT_EQ(printed, path("prog") + ": check file (no messages)\n");
        EXPECT_STREQ(mystrings[0][1], "???");
    }
}

TEST_F(CatalogueReader, LinesBeforeTheHeaderAreIgnored) {
    write("prog", "1:no\\C\n@MODUL=none:1\n{[other]}\n\n{[prog]} and more\n2:yes\\C\n");
    EXPECT_EQ(load(), 0);
    EXPECT_EQ(printed, "");
    EXPECT_STREQ(mystrings[0][1], "???");
    EXPECT_STREQ(mystrings[0][2], "yes");
}

TEST_F(CatalogueReader, BraceAndBracketEndTheModule) {
    load_lines("1:one\\C\n{[anything\n2:two\\C\n400:never read\n");
    EXPECT_STREQ(mystrings[0][1], "one");
    EXPECT_STREQ(mystrings[0][2], "???");
}

TEST_F(CatalogueReader, BraceAndBracketInAMessageAreText) {
    load_lines("1:one\n{[end]}\nmore\\C\n2:two\\C\n");
    EXPECT_STREQ(mystrings[0][1], "one{[end]}more");
    EXPECT_STREQ(mystrings[0][2], "two");
}

// ---- version ----

TEST_F(CatalogueReader, OlderVersionIsAWarningAndLoads) {
    write("prog", "{[VERSION 12 of today\n{[prog]}\n1:one\\C\n");
    EXPECT_EQ(load(10, 13), 1);
    EXPECT_EQ(printed, path("prog") + ": version: 00000012, excpected: 00000013\n");
    EXPECT_STREQ(mystrings[0][1], "one");
}

TEST_F(CatalogueReader, VersionIsReadInThreeBases) {
    struct Case {
        const char *text;
        int32_t version;
    };
    for (const Case &c : {Case{"20", 20}, {"0x1F", 31}, {"017", 15}, {"  7]}", 7}, {"none", 0}}) {
        write("prog", std::string("{[VERSION ") + c.text + "\n{[prog]}\n");
        EXPECT_EQ(load(10, c.version + 1), 1) << c.text;
        EXPECT_EQ(load(10, c.version), 0) << c.text;
    }
}

TEST_F(CatalogueReader, NoDemandOrNoVersionIsNoWarning) {
    write("prog", "{[VERSION 1\n{[prog]}\n");
    EXPECT_EQ(load(10, 0), 0);
    write("prog", "{[prog]}\n");
    EXPECT_EQ(load(10, 99), 0);
    EXPECT_EQ(printed, "");
}

TEST_F(CatalogueReader, VersionBehindTheHeaderEndsTheModule) {
    load_lines("{[VERSION 1\n1:one\\C\n");
    EXPECT_STREQ(mystrings[0][1], "???");
}

TEST_F(CatalogueReader, WarningOfTheVersionStandsBesideThatOfTheEnd) {
    write("prog", "{[VERSION 1\n{[prog]}\n1:one");
    EXPECT_EQ(load(10, 2), 1);
    EXPECT_EQ(printed, path("prog") + ": version: 00000001, excpected: 00000002\n" + path("prog") +
                           ": check file (no terminator)\n");
}

// ---- message numbers ----

TEST_F(CatalogueReader, LastNumberIsMaxmsgLessOne) {
    load_lines("9:nine\\C\n", 10);
    EXPECT_STREQ(mystrings[0][9], "nine");
    write_module("prog", "10:ten\\C\n");
    EXPECT_EQ(load(10), -1);
    EXPECT_EQ(printed, path("prog") + ": line 2: invalid index(10)\n");
}

TEST_F(CatalogueReader, NumberOfAnySizeIsInvalidAndNotFollowed) {
    write_module("prog", "99999999999999999999:far\\C\n");
    EXPECT_EQ(load(), -1);
    EXPECT_EQ(printed, path("prog") + ": line 2: invalid index(2147483647)\n");
}

TEST_F(CatalogueReader, NumberMayBeSeparatedByCommaOrColon) {
    load_lines("1,one\\C\n002: two\\C\n");
    EXPECT_STREQ(mystrings[0][1], "one");
    EXPECT_STREQ(mystrings[0][2], " two") << "nothing is trimmed";
}

TEST_F(CatalogueReader, NumberWithoutASeparatorIsAComment) {
    load_lines("1 :one\\C\n2\n400 messages\n3:three\\C\n0x4:four\n");
    EXPECT_STREQ(mystrings[0][1], "???");
    EXPECT_STREQ(mystrings[0][2], "???");
    EXPECT_STREQ(mystrings[0][3], "three");
    EXPECT_STREQ(mystrings[0][0], "???");
}

TEST_F(CatalogueReader, OtherLinesAreComments) {
    load_lines("# 1:one\\C\n -2:two\n@OTHER=x:1\n@modul=x:1\n\n3:three\\C");
    EXPECT_STREQ(mystrings[0][1], "???");
    EXPECT_STREQ(mystrings[0][3], "three");
}

TEST_F(CatalogueReader, LaterMessageOfTheSameNumberCounts) {
    load_lines("1:first\\C\n1:second\\C\n");
    EXPECT_STREQ(mystrings[0][1], "second");
}

// ---- text ----

TEST_F(CatalogueReader, TextGoesOnOverLinesWithoutTheirEnds) {
    EXPECT_EQ(text_of("one\ntwo\r\n\nthree"), "onetwothree");
    EXPECT_EQ(text_of("10:ten\n11:eleven"), "10:ten11:eleven") << "lines of a text are no messages";
}

TEST_F(CatalogueReader, EmptyTextIsEmpty) {
    EXPECT_EQ(text_of(""), "");
}

TEST_F(CatalogueReader, RestOfTheLineBehindTheEndIsSkipped) {
    load_lines("1:one\\C 2:two\\C\n3:three\\C // 4:four\n5:five\\C");
    EXPECT_STREQ(mystrings[0][1], "one");
    EXPECT_STREQ(mystrings[0][2], "???");
    EXPECT_STREQ(mystrings[0][3], "three");
    EXPECT_STREQ(mystrings[0][5], "five");
}

TEST_F(CatalogueReader, ByteThreeBehindABackslashEndsTheText) {
    load_lines("1:one\\\x03rest\n2:two\\C\n");
    EXPECT_STREQ(mystrings[0][1], "one");
    EXPECT_STREQ(mystrings[0][2], "two");
}

TEST_F(CatalogueReader, TextWithoutAnEndIsAWarning) {
    write_module("prog", "1:one\\C\n2:last words");
    EXPECT_EQ(load(), 1);
    EXPECT_EQ(printed, path("prog") + ": check file (no terminator)\n");
    EXPECT_STREQ(mystrings[0][1], "one");
    EXPECT_STREQ(mystrings[0][2], "last wordsds") << "what the text was read from follows it";
}

TEST_F(CatalogueReader, BackslashAtTheEndOfTheFileStoresNothing) {
    write_module("prog", "2:last\\");
    EXPECT_EQ(load(), 1);
    EXPECT_EQ(printed, path("prog") + ": check file (no terminator)\n");
    EXPECT_EQ(std::string(mystrings[0][2]).substr(0, 4), "last");
}

TEST_F(CatalogueReader, BytesAndEscapes) {
    struct Case {
        std::string coded;
        std::string text;
    };
    const std::vector<Case> cases = {
        {"a\tb~\x7F", "a\tb~\x7F"},
        {std::string("a\0b\x01\x1F\r\x0C", 7), "ab"}, // bytes below a blank go
        {"gr\xFCn \xC3\xBC", "grn "},                 // and those above 127
        {"gr\\\xFCn", "gr\xFCn"},
        {"gr\\374n", "gr\xFCn"},
        {"gr\\xFCn \\xfc", "gr\xFCn \xFC"},
        {"\\n\\r\\t", "\n\r\t"},
        {"\\\\C \\c \\\" \\8 \\N", "\\C c \" 8 N"},
        {"a\\\nb\\\r\nc", "abc"},
        {std::string("a\\\0b", 4), "ab"},
        {"a\\\tb\\\x01", "a\tb\x01"},
        {"\\7\\07x\\007\\101", "\7\7x\7A"},
        {"\\18\\108\\1a", "\1"
                          "8\10"
                          "8\1a"},
        {"\\1015", "A"},   // a fourth octal digit goes
        {"\\10155", "A5"}, // a fifth does not
        {"\\1018", "A8"},  // nor one that is not octal
        {"\\501", "A"},    // above 255 the low 8 bits count
        {"\\x41\\x4\\x4g", "A\x04\x04g"},
        {"\\x411", "A1"},
        {"\\X41", "X41"},
        {"ab\\xyz", "ab"}, // the byte 0 ends the text for who reads it
        {"ab\\0yz", "ab"},
    };
    for (const Case &c : cases)
        EXPECT_EQ(text_of(c.coded), c.text) << c.coded;
}

TEST_F(CatalogueReader, WhatFollowsAZeroByteOfATextIsStored) {
    load_lines("1:ab\\xyz\\C\n");
    EXPECT_EQ(std::string(mystrings[0][1], 6), std::string("ab\0yz\0", 6));
}

// ---- inclusions ----

TEST_F(CatalogueReader, InclusionFillsTheTableOfItsModule) {
    struct Case {
        const char *line;
        int32_t module;
        int32_t size;
    };
    for (const Case &c : {Case{"@MODUL=more:31", 31, 128},
                          {"@MODUL=more,3", 3, 128},
                          {"@MODUL= \t more:4,20", 4, 20},
                          {"@MODUL=more: 5, 21", 5, 21},
                          {"@MODUL=more:6 and more", 6, 128},
                          {"@MODUL=more:7,22x", 7, 22},
                          {"@MODUL=more:8\r", 8, 128}}) {
        write_module("more", "1:included\\C\n");
        load_lines(std::string("1:own\\C\n") + c.line + "\n2:behind\\C\n");
        ASSERT_NE(mystrings[c.module], nullptr) << c.line;
        EXPECT_STREQ(mystrings[c.module][1], "included") << c.line;
        EXPECT_EQ(textbuf_sizes[c.module], c.size) << c.line;
        EXPECT_STREQ(mystrings[0][1], "own");
        EXPECT_STREQ(mystrings[0][2], "behind");
    }
}

TEST_F(CatalogueReader, AsteriskIncludesIntoThePresentTable) {
    write_module("more", "1:included\\C\n100:far\\C\n");
    load_lines("1:own\\C\n2:two\\C\n@MODUL=more:*\n3:three\\C\n", 10);
    EXPECT_EQ(textbuf_sizes[0], 128);
    EXPECT_STREQ(mystrings[0][1], "included");
    EXPECT_STREQ(mystrings[0][2], "two");
    EXPECT_STREQ(mystrings[0][3], "three");
    EXPECT_STREQ(mystrings[0][4], "???");
    EXPECT_STREQ(mystrings[0][50], "+ ???");
    EXPECT_STREQ(mystrings[0][100], "far");
}

TEST_F(CatalogueReader, AsteriskMayBearAMaxmsg) {
    write_module("more", "14:last\\C\n");
    load_lines("@MODUL=more:*,15\n");
    EXPECT_EQ(textbuf_sizes[0], 15);
    EXPECT_STREQ(mystrings[0][14], "last");
}

TEST_F(CatalogueReader, AsteriskOfAnIncludedFileIsItsOwnModule) {
    write_module("more", "@MODUL=most:*\n");
    write_module("most", "1:most\\C\n");
    load_lines("@MODUL=more:7\n");
    EXPECT_STREQ(mystrings[7][1], "most");
    EXPECT_STREQ(mystrings[0][1], "???");
}

TEST_F(CatalogueReader, GrowthByAnInclusionDoesNotWidenThePresentFile) {
    write_module("more", "");
    write_module("prog", "@MODUL=more:*,50\n10:ten\\C\n");
    EXPECT_EQ(load(10), -1);
    EXPECT_EQ(printed, path("prog") + ": line 3: invalid index(10)\n");
}

TEST_F(CatalogueReader, IncludedFileMustBearItsNameAndItsWarningStaysBelow) {
    write("more", "{[prog]}\n1:one\\C\n");
    write_module("prog", "@MODUL=more:1\n2:two\\C\n");
    EXPECT_EQ(load(), 0);
    EXPECT_EQ(printed, path("more") + ": check file (no messages)\n");
    EXPECT_STREQ(mystrings[0][2], "two");
    EXPECT_STREQ(mystrings[1][1], "???");
}

TEST_F(CatalogueReader, NoVersionIsDemandedOfAnIncludedFile) {
    write("more", "{[VERSION 1\n{[more]}\n");
    write("prog", "{[VERSION 9\n{[prog]}\n@MODUL=more:1\n");
    EXPECT_EQ(load(10, 9), 0);
    EXPECT_EQ(printed, "");
}

TEST_F(CatalogueReader, MalformedInclusionIsASyntaxError) {
    const std::string long_key(80, 'K');
    const std::vector<std::string> lines = {"",
                                            "more",
                                            "more:",
                                            "more:x",
                                            "more:1,",
                                            "more:1,x",
                                            ":1",
                                            "more.txt:1",
                                            "more 1",
                                            "more :1",
                                            "m\xF6re:1",
                                            "more/b:1",
                                            "mo{:1",
                                            "mo{}re:1",
                                            "mo{  }re:1",
                                            "mo{KEY\n}:1",
                                            "more:*,",
                                            "more:\n1",
                                            "more:-",
                                            "more:1,\n5",
                                            "{" + long_key + "}:1"};
    for (const std::string &line : lines) {
        write_module("prog", "\n1:one\n\\C\n@MODUL=" + line + "\n2:two\\C\n");
        EXPECT_EQ(load(), -1) << line;
        EXPECT_EQ(printed, path("prog") + ": syntax error, line 5\n") << line;
        EXPECT_STREQ(mystrings[0][1], "one");
        EXPECT_STREQ(mystrings[0][2], "???");
    }
}

TEST_F(CatalogueReader, FailedInclusionIsALoadError) {
    write_module("more", "300:far\\C\n");
    struct Case {
        std::string line;
        std::string cause;
    };
    for (const Case &c : {Case{"none:1", "no message file " + path("none") + "\n"},
                          Case{"more:1", path("more") + ": line 2: invalid index(300)\n"},
                          Case{"more:32", "more: invalid: modul 32, maxmsg 128\n"},
                          Case{"more:-1", "more: invalid: modul -1, maxmsg 128\n"},
                          Case{"more:1,1", "more: invalid: modul 1, maxmsg 1\n"},
                          Case{"more:1,2000000000", "no memory for module more\n"}}) {
        write_module("prog", "1:one\\C\n@MODUL=" + c.line + "\n");
        EXPECT_EQ(load(), -1) << c.line;
        EXPECT_EQ(printed, c.cause + path("prog") + ": load error, line 3\n") << c.line;
    }
}

TEST_F(CatalogueReader, ReferenceGivesTheValueOfASetting) {
    const ScopedEnv machine("CATALOGUE_TEST_MACHINE", "laser9");
    const ScopedEnv nothing("CATALOGUE_TEST_NOTHING", "");
    write_module("Mlaser9x", "1:machine\\C\n");
    write_module("Mx", "1:plain\\C\n");
    load_lines("@MODUL=M{CATALOGUE_TEST_MACHINE}x:1\n"
               "@MODUL=M{ \tCATALOGUE_TEST_MACHINE}x:2\n"
               "@MODUL=M{CATALOGUE_TEST_NOTHING}x:3\n");
    EXPECT_STREQ(mystrings[1][1], "machine");
    EXPECT_STREQ(mystrings[2][1], "machine");
    EXPECT_STREQ(mystrings[3][1], "plain");
}

TEST_F(CatalogueReader, ReferenceToAnUnknownSettingGivesItsNameInLowerCase) {
    const ScopedEnv unset("CATALOGUE_TEST_UNSET", nullptr);
    write_module("Catalogue_test_unset", "1:upper first\\C\n");
    write_module("catalogue_test_unset", "1:lower first\\C\n");
    load_lines("@MODUL={CATALOGUE_TEST_UNSET}:1\n@MODUL={cATALOGUE_TEST_UNSET}:2\n");
    EXPECT_STREQ(mystrings[1][1], "upper first");
    EXPECT_STREQ(mystrings[2][1], "lower first");
}

TEST_F(CatalogueReader, ReferenceToAKeyOf79CharactersIsRead) {
    const std::string key = "K" + std::string(78, 'E');
    const std::string name = "K" + std::string(78, 'e');
    write_module(name, "1:long\\C\n");
    load_lines("@MODUL={" + key + "}:1\n");
    EXPECT_STREQ(mystrings[1][1], "long");
}

TEST_F(CatalogueReader, ReferenceAsksTheSettingsInForce) {
    vor::setting_lookup = [](const char *key) {
        return std::string(key) == "LANGUAGE" ? "french" : nullptr;
    };
    write_module("prog_french", "1:settings\\C\n");
    load_lines("@MODUL=prog_{LANGUAGE}:1\n");
    vor::setting_lookup = vor::setting_of_environment;
    EXPECT_STREQ(mystrings[1][1], "settings");
}

TEST_F(CatalogueReader, NameThatDoesNotFitIsASyntaxError) {
    const ScopedEnv value("CATALOGUE_TEST_LONG", std::string(1000, 'v').c_str());
    write_module("prog", "@MODUL={CATALOGUE_TEST_LONG}" + std::string(24, 'x') + ":1\n");
    EXPECT_EQ(load(), -1);
    EXPECT_EQ(printed, path("prog") + ": syntax error, line 2\n");
}

// File i of a chain includes file i + 1.
std::string chain_name(int32_t i) {
    return "chain" + std::to_string(i);
}

TEST_F(CatalogueReader, InclusionsNest32Deep) {
    for (const int32_t length : {32, 33}) {
        write_module("prog", "@MODUL=chain1:*\n");
        for (int32_t i = 1; i < length; ++i)
            write_module(chain_name(i), "@MODUL=" + chain_name(i + 1) + ":*\n");
        write_module(chain_name(length), "1:deep\\C\n");
        EXPECT_EQ(load(), length == 32 ? 0 : -1);
    }
    EXPECT_EQ(printed.substr(0, printed.find('\n')), path("chain32") + ": load error, line 2");
}

TEST_F(CatalogueReader, FileThatIncludesItselfIsALoadError) {
    write_module("prog", "1:one\\C\n@MODUL=prog:*\n");
    EXPECT_EQ(load(), -1);
    const std::string line = path("prog") + ": load error, line 3\n";
    std::string expected;
    for (int32_t i = 0; i < 33; ++i)
        expected += line;
    EXPECT_EQ(printed, expected);
    EXPECT_STREQ(mystrings[0][1], "one");
}

TEST_F(CatalogueReader, InclusionsThatDoubleWithEachFileComeToAnEnd) {
    write_module("prog", "@MODUL=chain1:*\n@MODUL=chain1:*\n");
    for (int32_t i = 1; i < 30; ++i) {
        const std::string line = "@MODUL=" + chain_name(i + 1) + ":*\n";
        write_module(chain_name(i), line + line);
    }
    write_module(chain_name(30), "");
    EXPECT_EQ(load(), -1);
    EXPECT_NE(printed.find(path("prog") + ": load error, line 2\n"), std::string::npos);
}

TEST_F(CatalogueReader, ThousandInclusionsOfOneFileAreFine) {
    write_module("more", "1:more\\C\n");
    std::string lines;
    for (int32_t i = 0; i < 1000; ++i)
        lines += "@MODUL=more:1\n";
    load_lines(lines);
    write_module("prog", lines + "@MODUL=more:1\n");
    EXPECT_EQ(load(), -1);
    EXPECT_EQ(printed, path("prog") + ": load error, line 1002\n");
}

} // namespace
