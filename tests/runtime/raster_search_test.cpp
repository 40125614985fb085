#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <filesystem>
#include <string>

#include "runtime/path_search.h"
#include "support/byte_file.h"
#include "support/failing_malloc.h"
#include "support/native_file.h"
#include "support/temp_dir.h"
#include "trackfile/lf.h"

namespace {

using vor::test::FailingMalloc;
using vor::test::NativeFile;
using vor::test::TempDir;
using vor::test::write_text;

namespace fs = std::filesystem;

using Name = std::array<char, FINDFILE_ROOM>;

int32_t reports = 0;

int32_t count_report(xvor_t *, const char *, const char *) {
    ++reports;
    return 0;
}

// Alone in its process, so that nobody has set the list before.
TEST(RasterSearchAtTheStart, TheListIsTheCurrentDirectory) {
    const vor::test::TempDir dir;
    const fs::path before = fs::current_path();
    fs::current_path(dir.path());
    NativeFile(1, 3, 50).write("image.vor");
    char name[FINDFILE_ROOM] = "image";
    EXPECT_EQ(vorsearch(name, nullptr, nullptr, VORSEARCH_RENAME), 0);
    EXPECT_STREQ(name, "./image.vor");
    fs::current_path(before);
}

class RasterSearch : public ::testing::Test {
protected:
    void SetUp() override {
        before_ = fs::current_path();
        fs::current_path(dir_.path());
        fs::create_directories("lib");
        fs::create_directories("default");
        vorsearch(nullptr, ".", nullptr, 0);
        vorerror = 1;
        reports = 0;
        lfsetperror(count_report);
    }
    void TearDown() override {
        EXPECT_EQ(reports, 0) << "a search reports nothing";
        lfsetperror(nullptr);
        vorerror = 1;
        vorsearch(nullptr, ".", nullptr, 0);
        fs::current_path(before_);
    }

    static void make_raster(const std::string &name, uint32_t tracks = 3) {
        NativeFile(1, tracks, 50).write(name);
    }
    static Name name_of(const std::string &text) {
        Name name = {};
        text.copy(name.data(), name.size() - 1);
        return name;
    }
    // The name of what was opened, "-" if nothing was.
    static std::string find(const std::string &text, const char *path) {
        Name name = name_of(text);
        const int32_t result = vorsearch(name.data(), path, nullptr, VORSEARCH_RENAME);
        return result == 0 ? name.data() : "-";
    }

    const TempDir dir_;
    fs::path before_;
};

TEST_F(RasterSearch, NameIsTriedAsItIsAndWithBothSuffixes) {
    make_raster("one");
    make_raster("two.vor");
    make_raster("three.kel");
    make_raster("four.tif");
    EXPECT_EQ(find("one", nullptr), "./one");
    EXPECT_EQ(find("two", nullptr), "./two.vor");
    EXPECT_EQ(find("three", nullptr), "./three.kel");
    EXPECT_EQ(find("four", nullptr), "-");
    EXPECT_EQ(find("four.tif", nullptr), "./four.tif");
}

TEST_F(RasterSearch, InfoIsFilled) {
    make_raster("image.vor", 7);
    Name name = name_of("image");
    lfinfo info = {};
    EXPECT_EQ(vorsearch(name.data(), nullptr, &info, 0), 0);
    EXPECT_EQ(info.xsize, 7);
    EXPECT_EQ(info.ysize, 50);
    EXPECT_STREQ(name.data(), "image") << "only the flag changes the name";
}

TEST_F(RasterSearch, OtherFlagsHaveNoEffect) {
    make_raster("image.vor");
    Name name = name_of("image");
    EXPECT_EQ(vorsearch(name.data(), nullptr, nullptr, ~VORSEARCH_RENAME), 0);
    EXPECT_STREQ(name.data(), "image");
    EXPECT_EQ(vorsearch(name.data(), nullptr, nullptr, -1), 0);
    EXPECT_STREQ(name.data(), "./image.vor");
}

TEST_F(RasterSearch, DefaultListIsSetWithoutAName) {
    make_raster("default/image.vor");
    EXPECT_EQ(find("image", nullptr), "-");
    EXPECT_EQ(vorsearch(nullptr, "none;default", nullptr, 0), 0);
    EXPECT_EQ(find("image", nullptr), "default/image.vor");
}

TEST_F(RasterSearch, DefaultListIsKeptAsAPointer) {
    make_raster("default/image.vor");
    char list[] = "missing";
    vorsearch(nullptr, list, nullptr, 0);
    std::memcpy(list, "default", sizeof list);
    EXPECT_EQ(find("image", nullptr), "default/image.vor");
}

TEST_F(RasterSearch, EmptyDefaultListLeavesTheNameAlone) {
    make_raster("image.vor");
    for (const char *list : {static_cast<const char *>(nullptr), ""}) {
        vorsearch(nullptr, list, nullptr, 0);
        EXPECT_EQ(find("image", nullptr), "image.vor");
        EXPECT_EQ(find("image", "lib"), "-") << "the list is \"lib:\"";
    }
}

TEST_F(RasterSearch, ListsAreJoinedToOneElementWithAColonInIt) {
    make_raster("lib/first.vor");
    make_raster("default/last.vor");
    fs::create_directories("end:start");
    make_raster("end:start/middle.vor");
    make_raster("start");
    vorsearch(nullptr, "start;default", nullptr, 0);
    EXPECT_EQ(find("first", "lib;end"), "lib/first.vor");
    EXPECT_EQ(find("middle", "lib;end"), "end:start/middle.vor");
    EXPECT_EQ(find("last", "lib;end"), "default/last.vor");
    EXPECT_EQ(find("first", "lib"), "-") << "it ends in \":start\" now";
}

TEST_F(RasterSearch, DefaultThatStartsWithASeparatorPutsAColonBehindTheLastElement) {
    make_raster("default/image.vor");
    make_raster("lib/other.vor");
    make_raster("current.vor");
    vorsearch(nullptr, ";default", nullptr, 0);
    EXPECT_EQ(find("image", "lib"), "default/image.vor");
    EXPECT_EQ(find("current", nullptr), "current.vor");
    EXPECT_EQ(find("current", "lib"), "-") << "the empty element is gone";
    EXPECT_EQ(find("other", "lib"), "-");
    EXPECT_EQ(find("other", "lib;"), "lib/other.vor");
    EXPECT_EQ(find("other", "lib;x"), "lib/other.vor");
    fs::create_directories("lib:");
    make_raster("lib:/other.vor");
    EXPECT_EQ(find("other", "lib"), "lib:/other.vor");
}

TEST_F(RasterSearch, AbsoluteNameIsNotSearched) {
    make_raster("lib/image.vor");
    EXPECT_EQ(find(dir_.file("lib/image"), "none"), dir_.file("lib/image.vor"));
    EXPECT_EQ(find("/image", "lib"), "-");
}

TEST_F(RasterSearch, EmptyAndTooLongNamesAreRefused) {
    for (const int32_t quiet : {1, 0, 5}) {
        vorerror = quiet;
        lfinfo info;
        std::memset(&info, 0x55, sizeof info);
        char empty[] = "";
        EXPECT_EQ(vorsearch(empty, nullptr, &info, VORSEARCH_RENAME), -1);
        std::string too_long(FINDFILE_ROOM, 'n');
        EXPECT_EQ(vorsearch(too_long.data(), nullptr, &info, VORSEARCH_RENAME), -1);
        EXPECT_EQ(too_long, std::string(FINDFILE_ROOM, 'n'));
        EXPECT_EQ(info.xsize, 0x55555555);
    }
}

TEST_F(RasterSearch, NameThatIsNotSearchedMayStillOpen) {
    make_raster("image");
    std::string slashes = ".";
    slashes.resize(FINDFILE_ROOM - 1 - 5, '/');
    EXPECT_EQ(find(slashes + "image", "lib"), slashes + "image") << "511 characters";
}

TEST_F(RasterSearch, FailureGivesTheValueOfTheReportSwitch) {
    write_text("lib/image.vor", "no track file");
    for (const int32_t before : {1, 0, 7, -3}) {
        vorerror = before;
        Name name = name_of("image");
        lfinfo info = {};
        EXPECT_EQ(vorsearch(name.data(), "lib;x", &info, VORSEARCH_RENAME), before);
        EXPECT_EQ(vorerror, before);
        EXPECT_STREQ(name.data(), "lib/image.vor") << "the name tells what was found";
        EXPECT_EQ(info.error, LFE_FORMAT);
    }
}

TEST_F(RasterSearch, NameThatIsNotFoundIsTriedAndComesBack) {
    for (const int32_t before : {1, 0}) {
        vorerror = before;
        Name name = name_of("none");
        lfinfo info = {};
        EXPECT_EQ(vorsearch(name.data(), "lib", &info, VORSEARCH_RENAME), before);
        EXPECT_STREQ(name.data(), "none");
        EXPECT_EQ(info.error, LFE_OPEN);
    }
    make_raster("image");
    EXPECT_EQ(find("image", "lib"), "image") << "it is opened all the same";
}

TEST_F(RasterSearch, SuccessIsZeroWhateverTheSwitch) {
    make_raster("image");
    for (const int32_t before : {1, 0, 7}) {
        vorerror = before;
        EXPECT_EQ(find("image", nullptr), "./image");
        EXPECT_EQ(vorerror, before);
    }
}

TEST_F(RasterSearch, WithoutMemoryForTheListItIsRefused) {
    make_raster("image");
    Name name = name_of("image");
    const FailingMalloc failing(1);
    EXPECT_EQ(vorsearch(name.data(), "lib", nullptr, VORSEARCH_RENAME), -1);
    EXPECT_STREQ(name.data(), "image");
}

TEST_F(RasterSearch, NoAllocationIsLeftByAFailure) {
    make_raster("lib/image.vor");
    long failures = 0;
    for (long nth = 1;; ++nth) {
        const FailingMalloc failing(nth);
        Name name = name_of("image");
        const int32_t result = vorsearch(name.data(), "lib;x", nullptr, 0);
        if (!failing.reached()) {
            EXPECT_EQ(result, 0);
            break;
        }
        EXPECT_NE(result, 0) << nth;
        ++failures;
    }
    EXPECT_GT(failures, 7);
}

} // namespace
