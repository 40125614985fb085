#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "config/rc.h"
#include "config/rc_fixture.h"

namespace {

using vor::test::Texts;

namespace fs = std::filesystem;

using RcInclude = vor::test::RcTest;

TEST_F(RcInclude, IncludedFileIsReadInItsPlace) {
    write("other", "A=2\nB=2");
    EXPECT_EQ(entries_of("A=1\n@include other\nB=3\nC=3\n"), (Texts{"!A=2", "!B=3", "C=3"}));
    EXPECT_EQ(entries_of("@include \t other and more\n"), (Texts{"A=2", "B=2"}));
    EXPECT_EQ(entries_of("@include other"), (Texts{"A=2", "B=2"}));
}

TEST_F(RcInclude, IncludedNameMayBeQuoted) {
    write("other file", "A=1\n");
    EXPECT_EQ(entries_of("@include \"other file\"\n"), (Texts{"A=1"}));
    EXPECT_EQ(entries_of("@include 'other file' more\n"), (Texts{"A=1"}));
}

TEST_F(RcInclude, IncludeWithoutANameIsAFault) {
    write("other", "A=1\n");
    for (const char *const line :
         {"@include", "@include  \t", "@includeother", "@include\"other\"", "@include \"other",
          "@include 'other\"", "@include ''", "@include \"\"", "@include \x01other"})
        EXPECT_EQ(fault(line + std::string("\n")), at_line(1, "syntax error @include")) << line;
}

TEST_F(RcInclude, IncludedNameIsNotRelativeToTheIncludingFile) {
    fs::create_directory(path("sub"));
    write("sub/first", "@include second\n");
    write("sub/second", "A=sub\n");
    EXPECT_EQ(fault("@include sub/first\n"), missing("second"));
    write("second", "A=top\n");
    EXPECT_EQ(entries_of("@include sub/first\n"), (Texts{"A=top"}));
}

TEST_F(RcInclude, IncludedFileThatIsMissingFailsAll) {
    EXPECT_EQ(fault("A=1\n@include other\n"), missing("other"));
    write("other", "");
    EXPECT_EQ(fault("A=1\n@include other\n"), missing("other"));
}

TEST_F(RcInclude, FaultInAnIncludedFileIsToldWithItsIncluders) {
    write("first", "\n@include second\n");
    write("second", "\n\n?\n");
    EXPECT_EQ(fault("\n\n\n@include first\n"),
              (Texts{"[Error]: " + path("second") + ": line 3: invalid rcline",
                     "[Note]: included from " + path("first") + ", line 2",
                     "[Note]: included from " + path() + ", line 4"}));
}

TEST_F(RcInclude, LinesCountOnBehindAnInclude) {
    write("other", "A=1\n\n\n");
    EXPECT_EQ(fault("\n@include other\n?\n"), at_line(3, "invalid rcline"));
}

TEST_F(RcInclude, FoldingOfAnIncludedFileEndsWithIt) {
    write("unfolded", "@no-case-fold\na=1\n");
    EXPECT_EQ(entries_of("@include unfolded\nb=1\n"), (Texts{"B=1", "a=1"}));
    write("folded", "@case-fold\nc=1\n");
    EXPECT_EQ(entries_of("@include folded\nd=1\n", RCF_NOFOLD), (Texts{"C=1", "d=1"}));
}

TEST_F(RcInclude, IncludedFileStartsWithTheFoldingOfItsIncluder) {
    write("other", "a=1\n");
    EXPECT_EQ(entries_of("@no-case-fold\n@include other\n"), (Texts{"a=1"}));
    EXPECT_EQ(entries_of("@case-fold\n@include other\n", RCF_NOFOLD), (Texts{"A=1"}));
}

TEST_F(RcInclude, FoldingOfAFileEndsWithTheReading) {
    EXPECT_EQ(entries_of("@no-case-fold\na=1\n"), (Texts{"a=1"}));
    EXPECT_EQ(entries_of("a=1\n"), (Texts{"A=1"}));
}

// Files that include each other down to a level.
class RcNesting : public vor::test::RcTest {
protected:
    std::string write_levels(int levels) const {
        for (int i = 1; i <= levels; ++i) {
            const std::string next = "@include level" + std::to_string(i + 1) + "\n";
            write("level" + std::to_string(i), i < levels ? next : "A=deep\n");
        }
        return "@include level1\n";
    }
};

TEST_F(RcNesting, SixteenLevelsOfIncludesWork) {
    EXPECT_EQ(entries_of(write_levels(16)), (Texts{"A=deep"}));
}

TEST_F(RcNesting, SeventeenthLevelIsRefused) {
    const Texts log = fault(write_levels(17));
    ASSERT_EQ(log.size(), 17u);
    EXPECT_EQ(log[0], at_line(1, "include nesting limit exceeded", "level16")[0]);
    EXPECT_EQ(log[1], "[Note]: included from " + path("level15") + ", line 1");
    EXPECT_EQ(log[16], "[Note]: included from " + path() + ", line 1");
}

TEST_F(RcNesting, FileThatIncludesItselfIsRefused) {
    const Texts log = fault("A=1\n@include .gravurrc\n");
    ASSERT_EQ(log.size(), 17u);
    EXPECT_EQ(log[0], at_line(2, "include nesting limit exceeded")[0]);
    EXPECT_EQ(entries_of("A=1\n"), (Texts{"A=1"})) << "the depth is counted anew";
}

TEST_F(RcNesting, FilesOneAfterTheOtherDoNotNest) {
    write("other", "A+=x\n");
    std::string text;
    for (int i = 0; i < 999; ++i)
        text += "@include other\n";
    ASSERT_EQ(read(text), 0);
    EXPECT_EQ(std::string(rc_strval("A")).size(), 999u * 2 - 1);
}

TEST_F(RcNesting, AllLevelsMayBeFullFiles) {
    constexpr size_t largest = 1048576;
    std::string above;
    for (int i = 16; i >= 1; --i) {
        const std::string include = i < 16 ? "@include level" + std::to_string(i + 1) + "\n" : "";
        write("level" + std::to_string(i),
              include + "#" + std::string(largest - include.size() - 1, 'x'));
    }
    const std::string first = "A=1\n@include level1\n#";
    EXPECT_EQ(entries_of(first + std::string(largest - first.size(), 'x')), (Texts{"A=1"}));
}

TEST_F(RcNesting, FilesOfMoreThan64MebibytesInAllAreRefused) {
    write("large", "#" + std::string(1048575, 'x'));
    std::string text = "A=1\n#" + std::string(1048576 - 1024, 'x') + "\n";
    for (int i = 0; i < 63; ++i)
        text += "@include large\n";
    text.resize(1048576, '#');
    EXPECT_EQ(entries_of(text), (Texts{"A=1"}));
    text.replace(text.find("##"), 15, "@include large\n");
    EXPECT_EQ(fault(text), at_line(66, "included files too large"));
}

TEST_F(RcNesting, FilesThatMultiplyAreRefused) {
    write("level0", "#" + std::string(1048575, 'x'));
    for (int i = 1; i <= 16; ++i) {
        const std::string below = "@include level" + std::to_string(i - 1) + "\n";
        write("level" + std::to_string(i), below + below + below);
    }
    const Texts log = fault("@include level15\n");
    ASSERT_FALSE(log.empty());
    EXPECT_NE(log[0].find("included files too large"), std::string::npos) << log[0];
}

} // namespace
