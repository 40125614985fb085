#include "runtime/catalogue.h"

#include <sys/stat.h>

#include <vector>

#include "runtime/catalogue_fixture.h"
#include "support/failing_malloc.h"
#include "support/in_child.h"
#include "support/interrupted_calls.h"
#include "support/scoped_env.h"

namespace {

using vor::test::FailingMalloc;
using vor::test::FileCall;
using vor::test::in_child;
using vor::test::InterruptedCall;
using vor::test::ScopedEnv;

using Catalogue = vor::test::CatalogueTest;

namespace fs = std::filesystem;

// ---- arguments ----

TEST_F(Catalogue, NoNameIsALoadOfNothing) {
    EXPECT_EQ(load(10, 0, "eng", nullptr), 0);
    EXPECT_EQ(load(10, 0, "eng", ""), 0);
    EXPECT_EQ(load(0, 0, "eng", ""), 0);
    EXPECT_EQ(printed, "");
    EXPECT_EQ(mystrings[0], nullptr);
}

TEST_F(Catalogue, MaxmsgBelowTwoIsInvalid) {
    write_module("prog", "0:text\\C\n");
    for (const int32_t maxmsg : {1, 0, -5}) {
        EXPECT_EQ(load(maxmsg), -1);
        EXPECT_EQ(printed, "prog: invalid: modul 0, maxmsg " + std::to_string(maxmsg) + "\n");
    }
    EXPECT_EQ(load(2), 0);
}

TEST_F(Catalogue, BaseDirectoryIsFoundInTheHomeWhenItIsNotSet) {
    write_module("prog", "1:from home\\C\n", "msgs/eng");
    EXPECT_EQ(in_child([&] {
                  const ScopedEnv home("QUORVENTAHOME", dir_.path().c_str());
                  text_basedir = nullptr;
                  const int32_t result = load();
                  return std::to_string(result) + mystrings[0][1] + text_basedir;
              }),
              "0from home" + dir_.file("msgs"));
}

TEST_F(Catalogue, BaseDirectoryIsMadeSureOfWithoutANameToo) {
    EXPECT_EQ(in_child([&] {
                  const ScopedEnv home("QUORVENTAHOME", "/home/of/mine");
                  text_basedir = nullptr;
                  const int32_t result = load(10, 0, "eng", nullptr);
                  return std::to_string(result) + text_basedir;
              }),
              "0/home/of/mine/msgs");
}

TEST_F(Catalogue, BaseDirectoryWithoutMemoryIsAFailure) {
    EXPECT_EQ(in_child([&] {
                  const ScopedEnv home("QUORVENTAHOME", dir_.path().c_str());
                  text_basedir = nullptr;
                  std::string results = std::to_string(load(10, 0, "eng", nullptr));
                  text_basedir = nullptr;
                  const FailingMalloc failing(1);
                  results += std::to_string(readstrings(nullptr, "eng", 0, 10));
                  return results + (text_basedir ? "set" : "not set");
              }),
              "0-1not set");
}

// ---- the file ----

TEST_F(Catalogue, MissingFileIsNamed) {
    EXPECT_EQ(load(), -1);
    EXPECT_EQ(printed, "no message file " + path("prog") + "\n");
    EXPECT_EQ(mystrings[0], nullptr);
}

TEST_F(Catalogue, UnknownLanguageFallsBackToEnglish) {
    write_module("prog", "1:english\\C\n");
    EXPECT_EQ(load(10, 0, "ger"), 0);
    EXPECT_STREQ(mystrings[0][1], "english");
    EXPECT_EQ(printed, "");
}

TEST_F(Catalogue, KnownLanguageIsTaken) {
    write_module("prog", "1:english\\C\n");
    write_module("prog", "1:deutsch\\C\n", "ger");
    EXPECT_EQ(load(10, 0, "ger"), 0);
    EXPECT_STREQ(mystrings[0][1], "deutsch");
}

TEST_F(Catalogue, FallbackHoldsForInclusionsToo) {
    write_module("prog", "@MODUL=more:1\n");
    write_module("more", "1:english\\C\n");
    write_module("more", "1:deutsch\\C\n", "ger");
    EXPECT_EQ(load(10, 0, "ger"), 0);
    EXPECT_STREQ(mystrings[1][1], "english");
}

TEST_F(Catalogue, InclusionOfAKnownLanguageFallsBackByItself) {
    write_module("prog", "1:deutsch\\C\n@MODUL=more:1\n2:zwei\\C\n", "ger");
    write_module("more", "1:english\\C\n");
    EXPECT_EQ(load(10, 0, "ger"), 0);
    EXPECT_STREQ(mystrings[0][2], "zwei");
    EXPECT_STREQ(mystrings[1][1], "english");
}

TEST_F(Catalogue, LastPathIsNamedWhenTheFallbackIsMissingToo) {
    EXPECT_EQ(load(10, 0, "ger"), -1);
    EXPECT_EQ(printed, "no message file " + path("prog") + "\n");
}

TEST_F(Catalogue, DirectoryIsIllegal) {
    fs::create_directories(path("prog"));
    EXPECT_EQ(load(), -1);
    EXPECT_EQ(printed, "illegal message file (" + path("prog") + ")!\n");
}

TEST_F(Catalogue, PipeAndDeviceAreIllegalAndNotWaitedFor) {
    fs::create_directories(dir_.file("eng"));
    ASSERT_EQ(::mkfifo(path("prog").c_str(), 0666), 0);
    EXPECT_EQ(load(), -1);
    EXPECT_EQ(printed, "illegal message file (" + path("prog") + ")!\n");
    fs::remove(path("prog"));
    fs::create_symlink("/dev/zero", path("prog"));
    EXPECT_EQ(load(), -1);
    EXPECT_EQ(printed, "illegal message file (" + path("prog") + ")!\n");
}

TEST_F(Catalogue, FileOf100000BytesIsRead) {
    std::string content = "{[prog]}\n1:text\\C\n";
    content.append(100000 - content.size() - 9, '\n');
    write("prog", content + "2:last\\C\n");
    ASSERT_EQ(fs::file_size(path("prog")), 100000u);
    EXPECT_EQ(load(), 0);
    EXPECT_STREQ(mystrings[0][1], "text");
    EXPECT_STREQ(mystrings[0][2], "last");
}

TEST_F(Catalogue, FileOf100001BytesIsIllegal) {
    std::string content = "{[prog]}\n1:text\\C\n";
    content.resize(100001, '\n');
    write("prog", content);
    EXPECT_EQ(load(), -1);
    EXPECT_EQ(printed, "illegal message file (" + path("prog") + ")!\n");
    EXPECT_EQ(mystrings[0], nullptr);
}

TEST_F(Catalogue, EmptyFileIsAReadError) {
    write("prog", "");
    EXPECT_EQ(load(), -1);
    EXPECT_EQ(printed, path("prog") + ": read error\n");
    EXPECT_EQ(mystrings[0], nullptr);
}

TEST_F(Catalogue, FileThatCannotBeOpenedOrReadIsAFailure) {
    write_module("prog", "1:text\\C\n");
    struct Case {
        FileCall call;
        const char *message;
    };
    for (const Case &c :
         {Case{FileCall::open, ": can't open\n"}, Case{FileCall::read, ": read error\n"}}) {
        const InterruptedCall interrupted(c.call, 1);
        EXPECT_EQ(load(), -1);
        EXPECT_TRUE(interrupted.reached());
        EXPECT_EQ(printed, path("prog") + c.message);
        EXPECT_EQ(mystrings[0], nullptr);
    }
}

TEST_F(Catalogue, PathThatDoesNotFitIsMissing) {
    const std::string name(1020, 'n');
    EXPECT_EQ(load(10, 0, "eng", name.c_str()), -1);
    EXPECT_EQ(printed.substr(0, 16), "no message file ");
    EXPECT_EQ(load(10, 0, name.c_str()), -1) << "in English it fits, but is not there";
    EXPECT_EQ(printed, "no message file " + path("prog") + "\n");
}

// ---- tables ----

TEST_F(Catalogue, NewTableHoldsQuestionMarksAndEndsInNull) {
    load_lines("3:three\\C\n", 5);
    EXPECT_EQ(textbuf_sizes[0], 5);
    EXPECT_STREQ(mystrings[0][0], "???");
    EXPECT_STREQ(mystrings[0][3], "three");
    EXPECT_STREQ(mystrings[0][4], "???");
    EXPECT_EQ(mystrings[0][5], nullptr);
    EXPECT_EQ(mystrings[1], nullptr);
    EXPECT_EQ(textbuf_sizes[1], 0);
}

TEST_F(Catalogue, GrownTableTellsItsNewEntriesApart) {
    load_lines("1:one\\C\n", 3);
    load_lines("4:four\\C\n", 6);
    EXPECT_EQ(textbuf_sizes[0], 6);
    const std::vector<std::string> expected = {"???", "one", "???", "+ ???", "four", "+ ???"};
    for (size_t i = 0; i < expected.size(); ++i)
        EXPECT_EQ(mystrings[0][i], expected[i]) << i;
    EXPECT_EQ(mystrings[0][6], nullptr);
}

TEST_F(Catalogue, TableIsNeverMadeSmaller) {
    load_lines("8:eight\\C\n", 10);
    const char **const table = mystrings[0];
    load_lines("1:one\\C\n", 3);
    EXPECT_EQ(mystrings[0], table);
    EXPECT_EQ(textbuf_sizes[0], 10);
    EXPECT_STREQ(mystrings[0][8], "eight");
    EXPECT_STREQ(mystrings[0][1], "one");
}

TEST_F(Catalogue, SmallerMaxmsgBoundsTheNumbersOfALargerTable) {
    load_lines("1:one\\C\n", 10);
    write_module("prog", "3:three\\C\n");
    EXPECT_EQ(load(3), -1);
    EXPECT_EQ(printed, path("prog") + ": line 2: invalid index(3)\n");
    EXPECT_STREQ(mystrings[0][3], "???");
}

TEST_F(Catalogue, SecondFileOverwritesWhatItHoldsAndKeepsTheRest) {
    write_module("other", "1:new one\\C\n3:new three\\C\n");
    load_lines("1:one\\C\n2:two\\C\n");
    const char *const two = mystrings[0][2];
    const std::string one_before = mystrings[0][1];
    EXPECT_EQ(load(10, 0, "eng", "other"), 0);
    EXPECT_STREQ(mystrings[0][1], "new one");
    EXPECT_EQ(mystrings[0][2], two);
    EXPECT_STREQ(mystrings[0][2], "two");
    EXPECT_STREQ(mystrings[0][3], "new three");
    EXPECT_EQ(one_before, "one");
}

TEST_F(Catalogue, TextsReadBeforeAnInvalidNumberStay) {
    write_module("prog", "1:one\\C\n10:ten\\C\n2:two\\C\n");
    EXPECT_EQ(load(10), -1);
    EXPECT_STREQ(mystrings[0][1], "one");
    EXPECT_STREQ(mystrings[0][2], "???");
}

TEST_F(Catalogue, HugeTableIsRefusedAsOneWithoutMemory) {
    write_module("prog", "1:one\\C\n");
    for (const int32_t maxmsg : {CATALOGUE_MESSAGE_LIMIT + 1, INT32_MAX}) {
        EXPECT_EQ(load(maxmsg), -1);
        EXPECT_EQ(printed, "no memory for module prog\n");
    }
    EXPECT_EQ(mystrings[0], nullptr);
    EXPECT_EQ(load(CATALOGUE_MESSAGE_LIMIT), 0);
    EXPECT_STREQ(mystrings[0][1], "one");
}

TEST_F(Catalogue, WithoutMemoryForTheImageOrTheTableNothingChanges) {
    write_module("prog", "1:one\\C\n");
    const std::string size = std::to_string(fs::file_size(path("prog")));
    const std::vector<std::string> expected = {"prog no memory for " + size + " bytes\n",
                                               "no memory for module prog\n"};
    for (const bool grow : {false, true}) {
        if (grow) {
            ASSERT_EQ(load(2), 0);
        }
        const char **const before = mystrings[0];
        for (size_t i = 0; i < expected.size(); ++i) {
            const FailingMalloc failing(static_cast<long>(i) + 1);
            EXPECT_EQ(load(), -1);
            EXPECT_TRUE(failing.reached());
            EXPECT_EQ(printed, expected[i]);
            EXPECT_EQ(mystrings[0], before);
        }
    }
    EXPECT_EQ(textbuf_sizes[0], 2);
    EXPECT_STREQ(mystrings[0][1], "one");
}

} // namespace
