#include "roff.h"

#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace {

using vor::tool::RoffPage;

// What a page has behind its first line.
std::string body(const RoffPage &page) {
    return page.text().substr(page.text().find('\n') + 1);
}

TEST(Roff, TextStaysAsItIs) {
    struct {
        std::string_view text;
        std::string_view roff;
    } const rows[] = {
        {"plain words", "plain words"},
        {"--json", R"(\-\-json)"},
        {R"(\\.\gfifo)", R"(\e\e.\egfifo)"},
        {"it's", R"(it\(aqs)"},
        {R"("two")", R"(\(dqtwo\(dq)"},
        {"~/lib ^ `x`", R"(\(ti/lib \(ha \(gax\(ga)"},
        {"", ""},
    };
    for (const auto &row : rows)
        EXPECT_EQ(vor::tool::roff_text(row.text), row.roff);
    EXPECT_EQ(vor::tool::bold("-q"), R"(\fB\-q\fR)");
    EXPECT_EQ(vor::tool::italic("FILE"), R"(\fIFILE\fR)");
}

TEST(Roff, PageBeginsWithItsTitleInCapitals) {
    const RoffPage page("vor-check", "vor 6.0");
    EXPECT_EQ(page.text(), ".TH VOR\\-CHECK 1 \"\" \"vor 6.0\" \"Track files\"\n");
}

TEST(Roff, NoLineOfTextIsTakenForARequest) {
    RoffPage page("x", "y");
    page.section("S");
    page.paragraphs(".autoconvert is a file");
    page.entry("T", ".formats");
    page.example(".profile\n'x'");
    EXPECT_EQ(body(page), ".SH S\n\\&.autoconvert is a file\n.TP\nT\n\\&.formats\n"
                          ".PP\n.EX\n\\&.profile\n\\(aqx\\(aq\n.EE\n");
}

TEST(Roff, FirstParagraphBelowAHeadingNeedsNoMacro) {
    RoffPage page("x", "y");
    page.section("S");
    page.paragraphs("one");
    page.paragraphs("two");
    page.subsection("T");
    page.ready_paragraph("three");
    EXPECT_EQ(body(page), ".SH S\none\n.PP\ntwo\n.SS T\nthree\n");
}

TEST(Roff, EmptyLineDividesParagraphs) {
    RoffPage page("x", "y");
    page.section("S");
    page.paragraphs("one.\n\ntwo");
    EXPECT_EQ(body(page), ".SH S\none.\n.PP\ntwo\n");
}

TEST(Roff, LinesAreJoinedUnlessASentenceEndsOrALabelBegins) {
    RoffPage page("x", "y");
    page.section("S");
    page.paragraphs("a sentence of\ntwo lines.\nAnother one\nLabel: words\nNo label here: words");
    EXPECT_EQ(body(page), ".SH S\na sentence of\ntwo lines.\n.br\nAnother one\n.br\nLabel: words\n"
                          "No label here: words\n");
}

} // namespace
