#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "runtime/path_search.h"
#include "support/byte_file.h"
#include "support/failing_malloc.h"
#include "support/temp_dir.h"

namespace {

using vor::test::FailingMalloc;
using vor::test::TempDir;
using vor::test::write_text;

namespace fs = std::filesystem;

constexpr const char *raster_suffixes = ":.vor:.kel";

// Works in a directory of its own as the current one, so that names stay short.
class FindFile : public ::testing::Test {
protected:
    void SetUp() override {
        before_ = fs::current_path();
        fs::current_path(dir_.path());
    }
    void TearDown() override { fs::current_path(before_); }

    static void make(const std::string &name) {
        const fs::path directory = fs::path(name).parent_path();
        if (!directory.empty()) fs::create_directories(directory);
        write_text(name, "");
    }
    static void make_executable(const std::string &name) {
        make(name);
        fs::permissions(name, fs::perms::owner_exec, fs::perm_options::add);
    }
    // The full name found; "-" if there is none, and then the name must have come back.
    static std::string find(const std::string &name, const char *path,
                            const char *suffixes = nullptr) {
        std::array<char, FINDFILE_ROOM> result;
        result.fill('#');
        const int32_t found = findfile(result.data(), name.c_str(), path, suffixes);
        if (found == 0) return result.data();
        EXPECT_EQ(found, -1);
        EXPECT_EQ(result.data(), name);
        return "-";
    }

    const TempDir dir_;
    fs::path before_;
};

// ---- directories ----

TEST_F(FindFile, DirectoriesAreTakenInTheirOrder) {
    make("b/file");
    EXPECT_EQ(find("file", "a;b;c"), "b/file");
    make("c/file");
    EXPECT_EQ(find("file", "a;b;c"), "b/file");
    EXPECT_EQ(find("file", "a;c;b"), "c/file");
    EXPECT_EQ(find("file", "a"), "-");
}

TEST_F(FindFile, EmptyFirstDirectoryIsTheCurrentOne) {
    make("lib/file");
    EXPECT_EQ(find("file", ";lib"), "lib/file");
    make("file");
    EXPECT_EQ(find("file", ";lib"), "file");
}

TEST_F(FindFile, CurrentDirectoryCountsOnlyIfItIsInTheList) {
    make("file");
    EXPECT_EQ(find("file", "lib"), "-");
    EXPECT_EQ(find("file", "lib;"), "-") << "a separator at the end opens no element";
    EXPECT_EQ(find("file", "lib;;"), "file");
    EXPECT_EQ(find("file", "lib;."), "./file");
}

TEST_F(FindFile, ColonSeparatesNoDirectories) {
    make("a/file");
    EXPECT_EQ(find("file", "a:b"), "-");
    make("a:b/file");
    EXPECT_EQ(find("file", "a:b"), "a:b/file");
}

TEST_F(FindFile, SeparatorIsAddedWhereADirectoryHasNone) {
    make("lib/file");
    make("back\\file");
    EXPECT_EQ(find("file", "lib/"), "lib/file");
    EXPECT_EQ(find("file", "lib//"), "lib//file");
    EXPECT_EQ(find("file", "back\\"), "back\\file");
    EXPECT_EQ(find("file", (dir_.path() + ";lib").c_str()), "lib/file");
    EXPECT_EQ(find("file", (dir_.path() + "/lib").c_str()), dir_.file("lib/file"));
}

TEST_F(FindFile, WithoutAPathTheNameIsLookedForAsItStands) {
    make("file");
    make("sub/file");
    for (const char *path : {static_cast<const char *>(nullptr), ""}) {
        EXPECT_EQ(find("file", path), "file");
        EXPECT_EQ(find("sub/file", path), "sub/file");
        EXPECT_EQ(find("none", path), "-");
        EXPECT_EQ(find("", path), "-");
    }
}

TEST_F(FindFile, DirectoryOfTheNameStaysBehindEachElement) {
    make("b/sub/deep/file");
    EXPECT_EQ(find("sub/deep/file", "a;b"), "b/sub/deep/file");
    EXPECT_EQ(find("sub\\..\\sub/deep/file", "b"), "-");
    EXPECT_EQ(find("sub//deep//file", "b/"), "b/sub//deep//file");
    make("b/sub\\deep/file");
    EXPECT_EQ(find("sub\\deep/file", "b"), "b/sub\\deep/file");
    EXPECT_EQ(find("sub/deep\\file", "b"), "b/sub/deep/file") << "its last separator is renewed";
}

TEST_F(FindFile, AbsoluteNameIgnoresThePath) {
    make("lib/file");
    make("lib" + dir_.file("other"));
    EXPECT_EQ(find(dir_.file("lib/file"), "lib"), dir_.file("lib/file"));
    EXPECT_EQ(find(dir_.file("other"), "lib"), "-");
    make("lib/c:file");
    EXPECT_EQ(find("c:file", "lib"), "-") << "a drive without a separator is absolute too";
    make("c:file");
    EXPECT_EQ(find("c:file", "lib"), "c:file");
    make("lib/\\file");
    EXPECT_EQ(find("\\file", "lib"), "-");
}

TEST_F(FindFile, NameThatStartsWithDotsIgnoresThePathAndGetsTheSuffixes) {
    make("here.vor");
    make("lib/here");
    make("lib/sub/here");
    EXPECT_EQ(find("./here", "lib", raster_suffixes), "./here.vor");
    EXPECT_EQ(find("./none", "lib", raster_suffixes), "-");
    EXPECT_EQ(find(".\\here", "lib"), "-");
    fs::current_path(dir_.file("lib/sub"));
    EXPECT_EQ(find("../here", "sub"), "../here");
    EXPECT_EQ(find("..\\here", "."), "-");
}

TEST_F(FindFile, DotsAloneAreDirectories) {
    make("lib/.x");
    make("lib/..x");
    make(".x");
    make("..x");
    EXPECT_EQ(find(".", "lib", "x"), ".x") << "the path is ignored";
    EXPECT_EQ(find("..", "lib", "x"), "..x");
    EXPECT_EQ(find(".", "lib"), "-");
    EXPECT_EQ(find("..", "lib"), "-");
}

TEST_F(FindFile, NameThatOnlyBeginsWithADotIsAnyName) {
    for (const std::string name : {".file", "..file", ".../file"}) {
        make("lib/" + name);
        EXPECT_EQ(find(name, "lib"), "lib/" + name);
    }
}

// ---- suffixes ----

TEST_F(FindFile, AllSuffixesAreTriedBeforeTheNextDirectory) {
    const std::vector<std::string> worst_first = {"b/file.kel", "b/file.vor", "b/file",
                                                  "a/file.kel", "a/file.vor", "a/file"};
    for (const std::string &name : worst_first) {
        make(name);
        EXPECT_EQ(find("file", "a;b", raster_suffixes), name);
    }
}

TEST_F(FindFile, WithoutSuffixesTheNameStandsAsItIs) {
    make("lib/file.vor");
    EXPECT_EQ(find("file", "lib", nullptr), "-");
    EXPECT_EQ(find("file", "lib", ""), "-");
    EXPECT_EQ(find("file.vor", "lib", nullptr), "lib/file.vor");
    EXPECT_EQ(find("file.vor", "lib", ""), "lib/file.vor");
}

TEST_F(FindFile, NameAsItIsIsTriedOnlyWhereAnEmptySuffixStands) {
    make("lib/file");
    EXPECT_EQ(find("file", "lib", ".vor"), "-");
    EXPECT_EQ(find("file", "lib", ".vor:"), "-");
    EXPECT_EQ(find("file", "lib", ".vor::"), "lib/file");
    EXPECT_EQ(find("file", "lib", ":"), "lib/file");
}

TEST_F(FindFile, SuffixMayBeAnyText) {
    make("lib/file;1");
    make("lib/file/inner");
    EXPECT_EQ(find("file", "lib", ";1"), "lib/file;1");
    EXPECT_EQ(find("file", "lib", "/inner"), "lib/file/inner");
}

TEST_F(FindFile, SuffixBehindAnEmptyNameIsTried) {
    make("lib/.vor");
    make("lib/sub/.vor");
    EXPECT_EQ(find("", "lib", raster_suffixes), "lib/.vor");
    EXPECT_EQ(find("sub/", "lib", raster_suffixes), "lib/sub/.vor");
}

TEST_F(FindFile, AsteriskWantsFilesTheOwnerMayExecute) {
    make("a/tool");
    EXPECT_EQ(find("tool", "a;b", "*"), "-");
    EXPECT_EQ(find("tool", "a;b", nullptr), "a/tool");
    make_executable("b/tool");
    EXPECT_EQ(find("tool", "a;b", "*"), "b/tool");
    fs::permissions("a/tool", fs::perms::group_exec | fs::perms::others_exec,
                    fs::perm_options::add);
    EXPECT_EQ(find("tool", "a;b", "*"), "b/tool") << "others do not count";
}

TEST_F(FindFile, AsteriskMayStandBeforeSuffixes) {
    make("a/tool");
    make_executable("a/tool.exe");
    EXPECT_EQ(find("tool", "a", "*:.exe"), "a/tool.exe");
    EXPECT_EQ(find("tool", "a", "*.exe"), "a/tool.exe");
    make("a/tool*");
    EXPECT_EQ(find("tool", "a", "**"), "-") << "the second one is a suffix";
    make_executable("a/tool*");
    EXPECT_EQ(find("tool", "a", "**"), "a/tool*");
}

TEST_F(FindFile, FileThatNobodyMayReadIsFound) {
    make("lib/file");
    fs::permissions("lib/file", fs::perms::none);
    EXPECT_EQ(find("file", "lib"), "lib/file");
}

// ---- what is no regular file ----

TEST_F(FindFile, DirectoryOfThatNameIsSearchedForTheSameName) {
    fs::create_directories("lib/file");
    EXPECT_EQ(find("file", "lib", raster_suffixes), "-");
    make("lib/file/file.vor");
    EXPECT_EQ(find("file", "lib", raster_suffixes), "lib/file/file.vor");
    make("lib/file/file/file");
    EXPECT_EQ(find("file", "lib", raster_suffixes), "lib/file/file/file");
}

TEST_F(FindFile, SearchGoesOnWithTheNextSuffixWhereADirectoryHoldsNothing) {
    make("lib/file/other");
    make("lib/file.kel");
    EXPECT_EQ(find("file", "lib", raster_suffixes), "lib/file.kel");
    fs::create_directories("lib/file.vor");
    make("lib/file.vor/file");
    EXPECT_EQ(find("file", "lib", raster_suffixes), "lib/file.vor/file");
}

TEST_F(FindFile, DirectoryWithinADirectoryOfTheNameKeepsOnlyTheBaseName) {
    make("lib/sub/file/file");
    EXPECT_EQ(find("sub/file", "lib"), "lib/sub/file/file");
}

TEST_F(FindFile, NameAsItStandsIsNotSearchedForInADirectory) {
    make("file/file");
    make("file/.vor");
    EXPECT_EQ(find("file", nullptr, raster_suffixes), "-");
    EXPECT_EQ(find(dir_.file("file"), "lib", raster_suffixes), "-");
    EXPECT_EQ(find("./file", "lib", raster_suffixes), "-");
}

TEST_F(FindFile, PipesAndDevicesAreNotFound) {
    ASSERT_EQ(::mkfifo("pipe", 0777), 0);
    make("lib/pipe");
    EXPECT_EQ(find("pipe", ";lib"), "lib/pipe");
    EXPECT_EQ(find("null", "/dev"), "-");
    EXPECT_EQ(find("/dev/null", nullptr), "-");
}

TEST_F(FindFile, LinksAreFollowed) {
    make("real");
    fs::create_directories("lib");
    fs::create_symlink("../real", "lib/file");
    fs::create_symlink("nowhere", "lib/lost");
    EXPECT_EQ(find("file", "lib"), "lib/file");
    EXPECT_EQ(find("lost", "lib"), "-");
}

TEST_F(FindFile, DirectoryThatHoldsItselfIsSearchedInGoodTime) {
    fs::create_directories("loop");
    std::string suffixes;
    for (const char *suffix : {"", ".a", ".b", ".c"}) {
        fs::create_symlink(".", std::string("loop/f") + suffix);
        suffixes += std::string(suffix) + ":";
    }
    EXPECT_EQ(find("f", "loop", suffixes.c_str()), "-");
    make("lib/f");
    EXPECT_EQ(find("f", "loop;lib", suffixes.c_str()), "lib/f") << "and does not hide the next";
}

TEST_F(FindFile, DirectoriesNestToTheEndOfTheBuffer) {
    std::string name = "d";
    while (name.size() + 2 < FINDFILE_ROOM)
        name += "/d";
    fs::create_directories(name);
    EXPECT_EQ(find("d", "."), "-");
    const std::string inner = name.substr(0, 200) + "d/d";
    fs::remove_all(inner);
    make(inner);
    EXPECT_EQ(find("d", ";"), inner);
}

// ---- room ----

TEST_F(FindFile, NameOf511CharactersIsNotSearched) {
    make("file");
    std::string name = "./";
    name.append(510 - 4 - name.size(), '/');
    name += "file";
    ASSERT_EQ(name.size(), 510u);
    EXPECT_EQ(find(name, nullptr), name);
    name.insert(1, "/");
    EXPECT_EQ(find(name, nullptr), "-");
    EXPECT_EQ(find(std::string(511, 'n'), ";lib"), "-");
}

TEST_F(FindFile, LongerNameGivesAnEmptyResult) {
    std::array<char, FINDFILE_ROOM> result;
    result.fill('#');
    const std::string name(512, 'n');
    EXPECT_EQ(findfile(result.data(), name.c_str(), "lib", nullptr), -1);
    EXPECT_STREQ(result.data(), "");
    std::string same(5000, 'n');
    EXPECT_EQ(findfile(same.data(), same.data(), "lib", nullptr), -1);
    EXPECT_EQ(same, std::string(5000, 'n'));
}

TEST_F(FindFile, PlaceThatDoesNotFitIsPassedOver) {
    make("lib/file");
    const std::string name = "file";
    const std::string too_long(FINDFILE_ROOM, 'd');
    EXPECT_EQ(find(name, (too_long + ";lib").c_str()), "lib/file");
    for (size_t length = FINDFILE_ROOM - 8; length < FINDFILE_ROOM; ++length)
        EXPECT_EQ(find(name, (std::string(length, 'd') + ";lib").c_str()), "lib/file") << length;
    EXPECT_EQ(find(name, "lib", (too_long + ":").c_str()), "-");
    EXPECT_EQ(find(name, "lib", (too_long + "::").c_str()), "lib/file");
}

TEST_F(FindFile, FullNameMayFillTheBuffer) {
    make("lib/file.vor");
    std::string directory = "lib";
    while (directory.size() + 9 < FINDFILE_ROOM - 1)
        directory += "/";
    ASSERT_EQ(directory.size() + 8, FINDFILE_ROOM - 2u);
    EXPECT_EQ(find("file", directory.c_str(), ".vor"), directory + "file.vor");
    directory += "/";
    EXPECT_EQ(find("file", directory.c_str(), ".vor"), directory + "file.vor");
    directory += "/";
    EXPECT_EQ(find("file", directory.c_str(), ".vor"), "-");
}

TEST_F(FindFile, ResultMayBeTheName) {
    make("lib/file.vor");
    std::array<char, FINDFILE_ROOM> name = {"file"};
    EXPECT_EQ(findfile(name.data(), name.data(), "a;lib", raster_suffixes), 0);
    EXPECT_STREQ(name.data(), "lib/file.vor");
    name = {"none"};
    EXPECT_EQ(findfile(name.data(), name.data(), "a;lib", raster_suffixes), -1);
    EXPECT_STREQ(name.data(), "none");
}

TEST_F(FindFile, WithoutMemoryNothingIsFound) {
    make("lib/file");
    long failures = 0;
    for (long nth = 1;; ++nth) {
        const FailingMalloc failing(nth);
        std::array<char, FINDFILE_ROOM> result;
        const int32_t found = findfile(result.data(), "file", "a;lib", raster_suffixes);
        if (!failing.reached()) {
            EXPECT_EQ(found, 0);
            break;
        }
        EXPECT_EQ(found, -1);
        EXPECT_STREQ(result.data(), "file");
        ++failures;
    }
    EXPECT_EQ(failures, 4 + 3) << "two vectors and their texts";
}

} // namespace
