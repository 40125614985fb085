#include "config/rc.h"

#include <gtest/gtest.h>

#include <string>

#include "config/rc_fixture.h"
#include "support/capture.h"
#include "support/failing_malloc.h"

namespace {

using vor::test::captured_stderr;
using vor::test::FailingMalloc;
using vor::test::ScopedEnv;
using vor::test::Texts;

using RcReader = vor::test::RcTest;

// ---- all or nothing ----

TEST_F(RcReader, KeysAreInTheFileAloneOnceItIsRead) {
    const ScopedEnv variable("VOR_TEST_KEY", "environment");
    EXPECT_STREQ(rc_strval("VOR_TEST_KEY"), "environment");
    ASSERT_EQ(read("A=1\n"), 0);
    EXPECT_EQ(rc_strval("VOR_TEST_KEY"), nullptr);
    EXPECT_STREQ(rc_strval("A"), "1");
    EXPECT_EQ(take_log(), Texts{});
}

TEST_F(RcReader, LastLineWithAFaultDropsAllOfThem) {
    EXPECT_EQ(fault("A=1\nB=2\n?\n"), at_line(3, "invalid rcline"));
}

TEST_F(RcReader, ReadingAgainStartsAfresh) {
    ASSERT_EQ(read("A=1\nB:=1\n"), 0);
    EXPECT_EQ(entries_of("B=2\nC=3\n"), (Texts{"B=2", "C=3"}));
    EXPECT_EQ(rc_strval("A"), nullptr);
}

TEST_F(RcReader, ReadingAgainMergesIfAskedTo) {
    ASSERT_EQ(read("A=1\nB=1\nC=1\n*D=1\n"), 0);
    EXPECT_EQ(entries_of("B=2\nC+=2\nE=2\n", RCF_KEEP),
              (Texts{"A=1", "!B=2", "C=1\t2", "*D=1", "E=2"}));
}

TEST_F(RcReader, MergingKeepsLockedEntriesLocked) {
    ASSERT_EQ(read("A:=1\n"), 0);
    EXPECT_EQ(fault("A=2\n", RCF_KEEP), at_line(1, "duplicate entry"));
}

TEST_F(RcReader, FaultWhileMergingDropsTheEarlierFileToo) {
    ASSERT_EQ(read("A=1\n"), 0);
    EXPECT_EQ(fault("B=2\n?\n", RCF_KEEP), at_line(2, "invalid rcline"));
}

TEST_F(RcReader, FaultDropsAnEarlierFile) {
    ASSERT_EQ(read("A=1\n"), 0);
    EXPECT_EQ(fault("?\n"), at_line(1, "invalid rcline"));
    EXPECT_EQ(entries_of("B=1\n"), (Texts{"B=1"})) << "and the next reading is as the first";
}

// ---- lines ----

TEST_F(RcReader, ValueGoesToTheCommentWithoutBlanksAround) {
    EXPECT_EQ(entries_of("A = b#c\n"), (Texts{"A=b"}));
    EXPECT_EQ(entries_of("A \t=\t b c \t# note\n"), (Texts{"A=b c"}));
    EXPECT_EQ(entries_of("A=#c\n"), (Texts{"A="}));
    EXPECT_EQ(entries_of(" \tA=1 \t\r\n"), (Texts{"A=1"}));
    EXPECT_EQ(entries_of("A=b=c\n"), (Texts{"A=b=c"}));
    EXPECT_EQ(entries_of("A=it's\n"), (Texts{"A=it's"})) << "quotes count in front alone";
}

TEST_F(RcReader, QuotedValueGoesToTheNextSuchQuote) {
    EXPECT_EQ(entries_of("A = \"b#c\" # note\n"), (Texts{"A=b#c"}));
    EXPECT_EQ(entries_of("A = ' b \"c\" ' d\n"), (Texts{"A= b \"c\" "}));
    EXPECT_EQ(entries_of("A = \"it's\"\n"), (Texts{"A=it's"}));
    EXPECT_EQ(entries_of("A = ''\n"), (Texts{"A="}));
    EXPECT_EQ(entries_of("A = \"b\\\"c\"\n"), (Texts{"A=b\\"})) << "a backslash is no escape";
}

TEST_F(RcReader, MissingClosingQuoteIsAFault) {
    EXPECT_EQ(fault("A = 'b\n"), at_line(1, "closing quote missing"));
    EXPECT_EQ(fault("A = \"b'\n"), at_line(1, "closing quote missing"));
    EXPECT_EQ(fault("A = '\n"), at_line(1, "closing quote missing"));
}

TEST_F(RcReader, EmptyValueIsAnEntry) {
    EXPECT_EQ(entries_of("A=\nB = \t\n"), (Texts{"A=", "B="}));
    EXPECT_STREQ(rc_string("A", "default"), "");
}

TEST_F(RcReader, LineWithoutEqualsSignFailsWithTheClosingLineAlone) {
    EXPECT_EQ(fault("FOO\n"), Texts{});
    EXPECT_EQ(fault("A=1\nFOO # a comment\n"), Texts{});
    EXPECT_EQ(fault("*FOO\n"), Texts{});
}

TEST_F(RcReader, KeyStartsWithALetterOrUnderscore) {
    EXPECT_EQ(entries_of("_A=1\nb=2\nC=3\n"), (Texts{"B=2", "C=3", "_A=1"}));
    for (const char *const line :
         {"1A=1", "=1", ".A=1", "\"A\"=1", "* A=1", "**A=1", "*=1", "*", "\xE4=1", ":=1", "+=1"})
        EXPECT_EQ(fault(line + std::string("\n")), at_line(1, "invalid rcline")) << line;
}

TEST_F(RcReader, KeyMayHoldAnythingBehindItsFirstCharacter) {
    EXPECT_EQ(entries_of("a b.1#\"\xE4 \t =1\n"), (Texts{"A B.1#\"\xE4=1"}));
    EXPECT_EQ(entries_of("A::=1\n"), (Texts{":A:=1"}));
    EXPECT_EQ(entries_of("A+ =1\n"), (Texts{"A+=1"})) << "an operator stands right before the sign";
    EXPECT_EQ(entries_of("A :=1\n"), (Texts{":A=1"}));
}

TEST_F(RcReader, KeysAreFoldedAndValuesAreNot) {
    EXPECT_EQ(entries_of("abc=def\n"), (Texts{"ABC=def"}));
    EXPECT_EQ(rc_strval("abc"), nullptr) << "a lookup folds nothing";
    EXPECT_STREQ(rc_strval("ABC"), "def");
}

TEST_F(RcReader, KeysStayAsWrittenIfAskedTo) {
    EXPECT_EQ(entries_of("abc=def\nABC=x\n", RCF_NOFOLD), (Texts{"ABC=x", "abc=def"}));
    EXPECT_EQ(entries_of("abc=1\n@case-fold\ndef=2\n", RCF_NOFOLD), (Texts{"DEF=2", "abc=1"}));
}

TEST_F(RcReader, SameKeyTwiceReplacesTheValue) {
    EXPECT_EQ(entries_of("A=1\na=2\n"), (Texts{"!A=2"}));
    EXPECT_EQ(take_log(), Texts{}) << "in silence";
    EXPECT_EQ(entries_of("@no-case-fold\nA=1\na=2\n"), (Texts{"A=1", "a=2"}));
}

TEST_F(RcReader, ReplacedValueIsLoggedIfAskedTo) {
    EXPECT_EQ(entries_of("a=1\na=2\na+=3\n", RCF_WARN), (Texts{"!A=2\t3"}));
    EXPECT_EQ(take_log(), (Texts{"[Warning]: duplicate entry for 'A'"}));
}

TEST_F(RcReader, LongKeyIsLoggedShortened) {
    const std::string key(5000, 'A');
    EXPECT_EQ(read(key + "=1\n" + key + "=2\n", RCF_WARN), 0);
    EXPECT_EQ(take_log(), (Texts{"[Warning]: duplicate entry for '" + key.substr(0, 1023) + "'"}));
    EXPECT_STREQ(rc_strval(key.c_str()), "2");
}

TEST_F(RcReader, ReplacingDoesNotStoreTheStickyState) {
    EXPECT_EQ(entries_of("*A=1\nA=2\nB=1\n*B=2\n"), (Texts{"*!A=2", "!B=2"}));
}

TEST_F(RcReader, LockedEntryCanNotBeChanged) {
    EXPECT_EQ(entries_of("A:=1\n"), (Texts{":A=1"}));
    for (const char *const line : {"A=2", "A+=2", "A:=2"})
        EXPECT_EQ(fault("A:=1\n" + std::string(line) + "\n"), at_line(2, "duplicate entry"))
            << line;
}

TEST_F(RcReader, EntryThatExistsCanNotBeLocked) {
    EXPECT_EQ(fault("A=1\nA:=2\n"), at_line(2, "duplicate entry"));
}

TEST_F(RcReader, AppendingPutsATabBetween) {
    EXPECT_EQ(entries_of("A+=x\n"), (Texts{"A=x"}));
    EXPECT_EQ(entries_of("A=\nA+=x\n"), (Texts{"A=x"}));
    EXPECT_EQ(entries_of("A=x\nA+=y\n"), (Texts{"A=x\ty"}));
    EXPECT_EQ(entries_of("A=x\nA+=\n"), (Texts{"A=x\t"}));
    EXPECT_EQ(entries_of("*A+=x\nA += y\nA+='z '\n"), (Texts{"*A=x\ty\tz "}));
}

TEST_F(RcReader, AppendingAfterReplacingGoesOnFromTheNewValue) {
    EXPECT_EQ(entries_of("A=a long value\nA+=more\nA=x\nA+=y\nA+=z\n"), (Texts{"!A=x\ty\tz"}));
}

TEST_F(RcReader, ManyLinesCanBeAppended) {
    std::string text;
    std::string expected;
    for (int i = 0; i < 30000; ++i) {
        const std::string number = std::to_string(i);
        text += "A+=" + number + "\n";
        expected += (i ? "\t" : "") + number;
    }
    ASSERT_EQ(read(text), 0);
    EXPECT_EQ(rc_strval("A"), expected);
}

TEST_F(RcReader, StarMakesOneLineSticky) {
    EXPECT_EQ(entries_of("*A=1\nB=1\n*C:=1\n"), (Texts{"*A=1", "B=1", "*:C=1"}));
}

TEST_F(RcReader, StickySectionGoesToTheEndOfTheFile) {
    EXPECT_EQ(entries_of("A=1\n## [sticky section]\nB=1\n[other]\n## [x]\nC=1\n"),
              (Texts{"A=1", "*B=1", "*C=1"}));
    EXPECT_EQ(entries_of("##[sticky]\nA=1\n"), (Texts{"*A=1"}));
    EXPECT_EQ(entries_of("  ## [sticky]\nA=1\n"), (Texts{"*A=1"}));
    EXPECT_EQ(entries_of("## [stickyness is ]\nA=1\n"), (Texts{"*A=1"}));
    for (const char *const line : {"# [sticky]", "##  [sticky]", "## [Sticky]", "## [sticky",
                                   "[sticky]", "### [sticky]", "##[ sticky]"})
        EXPECT_EQ(entries_of(line + std::string("\nA=1\n")), (Texts{"A=1"})) << line;
}

TEST_F(RcReader, StickySectionStaysInItsFile) {
    write("other", "B=1\n");
    write("sticky", "## [sticky]\nD=1\n");
    EXPECT_EQ(entries_of("##[sticky]\nA=1\n@include other\nC=1\n"), (Texts{"*A=1", "B=1", "*C=1"}));
    EXPECT_EQ(entries_of("@include sticky\nE=1\n"), (Texts{"*D=1", "E=1"}));
}

TEST_F(RcReader, SectionHeadersSeparatorsAndCommentsAreSkipped) {
    EXPECT_EQ(entries_of("[head]\n[A=1]\n-B=1\n---\n#C=1\n\n  \t\n  #D=1\nE=1\n"), (Texts{"E=1"}));
}

TEST_F(RcReader, BackslashAtTheEndJoinsLines) {
    EXPECT_EQ(entries_of("A = b\\\n   c\nB=1\n"), (Texts{"A=bc", "B=1"}));
    EXPECT_EQ(entries_of("# comment \\\nA=1\nB=1\n"), (Texts{"B=1"}));
}

TEST_F(RcReader, JoinedLinesCountEach) {
    EXPECT_EQ(fault("A = b\\\nc\n?\n"), at_line(3, "invalid rcline"));
    EXPECT_EQ(fault("A:=1\nA\\\n=\\\n2\n"), at_line(4, "duplicate entry"));
}

TEST_F(RcReader, LineThatNoNewlineEndsIsReadButNotCounted) {
    EXPECT_EQ(entries_of("A=1\nB=2"), (Texts{"A=1", "B=2"}));
    EXPECT_EQ(fault("A=1\n?"), at_line(1, "invalid rcline"));
}

TEST_F(RcReader, LongLineIsRead) {
    const std::string value(100000, 'x');
    ASSERT_EQ(read("A=" + value + "\n"), 0);
    EXPECT_EQ(rc_strval("A"), value);
}

TEST_F(RcReader, ZeroByteReadsAsABlank) {
    EXPECT_EQ(entries_of(std::string_view("A=x\0y\0\nB=1\n", 12)), (Texts{"A=x y", "B=1"}));
}

// ---- pseudo operations ----

TEST_F(RcReader, CaseFoldWordsMustStandAlone) {
    EXPECT_EQ(entries_of("@no-case-fold \t\na=1\n@case-fold\nb=1\n"), (Texts{"B=1", "a=1"}));
    for (const char *const line : {"@case-fold x", "@no-case-fold # x", "@case-folding",
                                   "@Case-fold", "@", "@ include x", "@unknown", "@inclu"})
        EXPECT_EQ(fault(line + std::string("\n")), at_line(1, "bad pseudo op")) << line;
}

TEST_F(RcReader, PseudoOperationsAreFaultsIfAskedTo) {
    write("other", "B=1\n");
    for (const char *const line : {"@case-fold", "@no-case-fold", "@include other", "@unknown"})
        EXPECT_EQ(fault(line + std::string("\n"), RCF_NOPSEUDO), at_line(1, "invalid rcline"))
            << line;
}

// ---- without memory ----

TEST_F(RcReader, NoMemoryForTheLineReaderIsTold) {
    write(".gravurrc", "A=1\n");
    const FailingMalloc failing(1);
    EXPECT_EQ(readrcfile(nullptr, 0), -1);
    EXPECT_EQ(take_log(), (Texts{"[Error]: readrc: out of memory",
                                 "[Warning]: error(s) on '.gravurrc', using environment"}));
}

TEST_F(RcReader, NoMemoryForAFileIsToldAgainstItsIncluder) {
    write("other", "B=1\n");
    Texts of_the_file;
    Texts of_the_included;
    for (long n = 1; of_the_included.empty() && n < 40; ++n) {
        write(".gravurrc", "A=1\n@include other\n");
        captured_stderr([&] {
            const FailingMalloc failing(n);
            EXPECT_EQ(readrcfile(nullptr, 0), -1);
        });
        const Texts log = take_log();
        if (log.empty() || log[0].find("no memory (pushrcfile)") == std::string::npos) continue;
        (of_the_file.empty() ? of_the_file : of_the_included) = {log[0]};
    }
    EXPECT_EQ(of_the_file, (Texts{"[Error]: no memory (pushrcfile) (reading startup file)"}));
    EXPECT_EQ(of_the_included, at_line(2, "no memory (pushrcfile)"));
}

TEST_F(RcReader, NoMemoryAnywhereFailsAllAndLosesNothing) {
    write("other", "B=1\nA+=2\n" + std::string(500, 'x') + "=1\n");
    const std::string text = "A=1\n@include other\nA=3\nB+=" + std::string(100, 'y') + "\n";
    const Texts expected = entries_of(text);
    ASSERT_EQ(expected.size(), 3u);
    bool told = false;
    long n = 1;
    for (; n < 100; ++n) {
        take_log();
        int32_t result = 0;
        bool reached = false;
        captured_stderr([&] {
            const FailingMalloc failing(n);
            result = readrcfile(nullptr, 0);
            reached = failing.reached();
        });
        if (!reached) break;
        if (result == 0) {
            EXPECT_EQ(table().size(), expected.size()) << "only the order may be lost";
            EXPECT_EQ(rc_strval("A"), std::string("3"));
            continue;
        }
        EXPECT_TRUE(uses_environment()) << n;
        for (const std::string &line : take_log())
            told |= line.find("rchash_add: out of memory") != std::string::npos;
    }
    EXPECT_LT(n, 100);
    EXPECT_TRUE(told);
    EXPECT_EQ(table(), expected);
}

} // namespace
