// Formats that are loaded by the suffix of a file that is opened.

#include "formats/suffix_loader.h"

#include "formats/module_fixture.h"

namespace vor::test {
namespace {

// Tells what the offer of some names has put into the table behind the native format.
class SuffixLoader : public ModuleTest {
protected:
    template <class... Names>
    std::string offer(Names... names) const {
        return program([&] {
            lfregisterfmt(nullptr);
            (offer_suffix(names), ...);
            return table().substr(3);
        });
    }
    static std::string missing(const std::string &name) {
        return "\nlfloadfmt: last os error | no such format: " + name;
    }
};

TEST_F(SuffixLoader, WithoutAFileTheSuffixIsTheName) {
    install("good_cvtformat");
    EXPECT_EQ(offer("a.good"), " good");
    EXPECT_EQ(offer("some/where.else/a.b.good"), " good");
    EXPECT_EQ(offer("a.vor"), "");
}

TEST_F(SuffixLoader, WithoutAFileASuffixInCapitalsIsTheNameInLowerCase) {
    install("good_cvtformat");
    EXPECT_EQ(offer("A.GooD"), " good");
    EXPECT_EQ(offer("A.VOR"), "");
}

TEST_F(SuffixLoader, WithoutAFileAnySuffixIsTried) {
    EXPECT_EQ(offer("a.ABSENT", "a.b"), missing("absent") + missing("b"));
}

TEST_F(SuffixLoader, ANameWithoutASuffixLoadsNothing) {
    for (const char *const name : {"", "good", ".good", "..good", "a.good/b", "a.", "a.good."})
        EXPECT_EQ(offer(name), "") << name;
    EXPECT_EQ(offer(static_cast<const char *>(nullptr)), "");
}

TEST_F(SuffixLoader, ABareDotLoadsNothingAndASuffixOfOneLetterSomething) {
    install("good_cvtformat");
    store_formats("good .g\n");
    EXPECT_EQ(offer("a."), "");
    EXPECT_EQ(offer("a.g"), " good");
}

TEST_F(SuffixLoader, CharactersBehindTheLastLetterOrDigitDoNotCount) {
    install("good_cvtformat");
    for (const char *const name : {"a.good~", "a.good~~", "a.good-_#", "a.good \t", "a.good\xE4"})
        EXPECT_EQ(offer(name), " good") << name;
    EXPECT_EQ(offer("a.~~", "a.-"), "");
    EXPECT_EQ(offer("a.g~d"), missing("g~d"));
    EXPECT_EQ(offer("a.1~"), missing("1"));
}

TEST_F(SuffixLoader, SuffixesOfEightyCharactersLoadNothing) {
    const std::string letters(78, 'x');
    EXPECT_EQ(offer(("a." + letters).c_str()), missing(letters));
    EXPECT_EQ(offer(("a." + letters + "x").c_str()), "");
    EXPECT_EQ(offer(("a." + letters + "~").c_str()), "") << "counted before anything is cut";
    EXPECT_EQ(offer(("a." + std::string(100000, 'x')).c_str()), "");
}

TEST_F(SuffixLoader, IsOffWhereTheEnvironmentSaysSo) {
    install("good_cvtformat");
    for (const char *const value : {"1", "0", ""}) {
        set("KEL_NO_AUTOLOAD", value);
        EXPECT_EQ(offer("a.good"), "") << value;
    }
}

TEST_F(SuffixLoader, NoModuleComesFromTheCurrentDirectoryByANameLikeADrive) {
    install("good_cvtformat", "c:good_cvtformat");
    EXPECT_EQ(program([&] {
                  std::filesystem::current_path(plugin(""));
                  lfregisterfmt(nullptr);
                  offer_suffix("a.c:good");
                  return table();
              }),
              "vor");
}

// ---- with a table -----------------------------------------------------------------------------

TEST_F(SuffixLoader, WithAFileItsRowTellsTheFormat) {
    install("good_cvtformat");
    store_formats("good .pic:.image\n");
    EXPECT_EQ(offer("a.pic"), " good");
    EXPECT_EQ(offer("a.image"), " good");
}

TEST_F(SuffixLoader, WithAFileCaseDoesNotCount) {
    install("good_cvtformat");
    store_formats("good .Pic\n");
    EXPECT_EQ(offer("a.PIC"), " good");
    EXPECT_EQ(offer("a.piC"), " good");
}

TEST_F(SuffixLoader, WithAFileASuffixThatItDoesNotListLoadsNothing) {
    install("good_cvtformat");
    store_formats("good .pic\n");
    for (const char *const name : {"a.good", "a.pi", "a.pict", "a.ic"})
        EXPECT_EQ(offer(name), "") << name;
    store_formats("");
    EXPECT_EQ(offer("a.good"), "") << "an empty file is one";
}

TEST_F(SuffixLoader, WithAFileTheFirstRowThatFitsCountsAlone) {
    install("good_cvtformat");
    install("bare_cvtformat");
    store_formats("bare .x:.pic\ngood .pic\n");
    EXPECT_EQ(offer("a.pic"), " bare");
    store_formats("absent .pic\ngood .pic\n");
    EXPECT_EQ(offer("a.pic"), missing("absent"));
}

TEST_F(SuffixLoader, WithAFileTrailingCharactersDoNotCountEither) {
    install("good_cvtformat");
    store_formats("good .pic\n");
    EXPECT_EQ(offer("a.pic~"), " good");
}

TEST_F(SuffixLoader, TheFileIsReadOnce) {
    install("good_cvtformat");
    install("bare_cvtformat");
    store_formats("good .pic\n");
    EXPECT_EQ(program([&] {
                  lfregisterfmt(nullptr);
                  offer_suffix("a.other");
                  store_formats("bare .pic\n");
                  offer_suffix("a.pic");
                  return table();
              }),
              "vor good");
}

TEST_F(SuffixLoader, AFileThatIsNotThereIsNotLookedForAgain) {
    install("good_cvtformat");
    EXPECT_EQ(program([&] {
                  lfregisterfmt(nullptr);
                  offer_suffix("a.vor");
                  store_formats("good .pic\n");
                  offer_suffix("a.pic");
                  return table();
              }),
              "vor" + missing("pic"));
}

TEST_F(SuffixLoader, TheInstallationsFileStandsInForTheUsers) {
    install("good_cvtformat");
    install("bare_cvtformat");
    store_default_formats("good .pic\n");
    EXPECT_EQ(offer("a.pic"), " good");
    store_formats("bare .pic\n");
    EXPECT_EQ(offer("a.pic"), " bare");
}

TEST_F(SuffixLoader, AnUnreadableFileIsNone) {
    install("good_cvtformat");
    std::filesystem::create_directories(image(".par/.formats"));
    EXPECT_EQ(offer("a.GOOD"), " good");
}

// ---- at an open -------------------------------------------------------------------------------

TEST_F(SuffixLoader, IsAskedByLfopenForAnyAccess) {
    install("good_cvtformat");
    for (const uint32_t access : {LF_READ, LF_WRITE, LF_UPDATE}) {
        EXPECT_EQ(program([&] {
                      ReportLog aside;
                      lfopen(image("none/a.good").c_str(), access, 0, nullptr);
                      return table();
                  }),
                  "vor good");
    }
}

TEST_F(SuffixLoader, IsAskedByLffiletype) {
    install("good_cvtformat");
    EXPECT_EQ(program([&] {
                  ReportLog aside;
                  lfinfo info = {};
                  const int32_t result = lffiletype(image("missing.good").c_str(), &info);
                  return std::to_string(result) + " " + info.type_name + std::to_string(info.major);
              }),
              "-1 good1");
}

TEST_F(SuffixLoader, AFailureDoesNotStopTheOpen) {
    EXPECT_EQ(program([&] {
                  lfinfo info = {};
                  const std::string name = image("a.strange");
                  xvor_t *const h = lfopen(name.c_str(), LF_WRITE, lffdev(0, 1), &info);
                  const ReportLog aside; // the file is closed without a track
                  if (h) lfclose(h);
                  return std::string(h ? info.type_name : "not open");
              }),
              "vor" + missing("strange"));
}

TEST_F(SuffixLoader, IsNotAskedByLfdopen) {
    install("good_cvtformat");
    EXPECT_EQ(program([] {
                  lfdopen(-1, "a.good", LF_READ, 0, nullptr);
                  return table();
              }),
              "vor");
}

TEST_F(SuffixLoader, ThatIsOffLetsLfopenTryNoModule) {
    install("good_cvtformat");
    set("KEL_NO_AUTOLOAD", "1");
    EXPECT_EQ(program([&] {
                  ReportLog aside;
                  lfopen(image("a.good").c_str(), LF_READ, 0, nullptr);
                  lfopen(image("a.absent").c_str(), LF_READ, 0, nullptr);
                  return table() + std::to_string(aside.size());
              }),
              "vor2")
        << "a report for each file that is not there";
}

} // namespace
} // namespace vor::test
