// The orientation that TIFF files are written with.

#include "formats/tiff_orientation.h"

#include <cstdlib>

#include "formats/module_fixture.h"

namespace vor::test {
namespace {

// ---- the setting ------------------------------------------------------------------------------

class TiffOrientation : public ModuleTest {
protected:
    std::string decided() const {
        return program([] { return std::to_string(tiff_orientation()); });
    }
    std::string decided(const std::string &value) {
        set("DEFAULT_TIFF_ORIENTATION", value);
        return decided();
    }
    static std::string bad(const std::string &value) {
        return "8\n[Warning]: bad DEFAULT_TIFF_ORIENTATION=" + value + ", using default(LEFTBOT)";
    }
};

TEST_F(TiffOrientation, IsEightWithoutASetting) {
    EXPECT_EQ(decided(), "8");
}

TEST_F(TiffOrientation, MayBeANumber) {
    for (int number = 1; number <= 8; ++number)
        EXPECT_EQ(decided(std::to_string(number)), std::to_string(number));
}

TEST_F(TiffOrientation, MayBeANameInAnyCase) {
    const char *const names[] = {"topleft", "TOPRIGHT", "BotRight",  "botleft",
                                 "lefttop", "RightTop", "rightleft", "LEFTBOT"};
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(decided(names[i]), std::to_string(i + 1)) << names[i];
}

TEST_F(TiffOrientation, IsLoggedAndEightForAnythingElse) {
    for (const char *const value :
         {"0", "9", "10", "99999999999", "rightbot", "left", "topleft ", "-1", " 1", ""})
        EXPECT_EQ(decided(value), bad(value)) << value;
}

TEST_F(TiffOrientation, OfAnyLengthIsLoggedInOneLine) {
    EXPECT_EQ(decided(std::string(10000, 'x')), bad(std::string(1023, 'x')));
}

TEST_F(TiffOrientation, IsDecidedOnce) {
    set("DEFAULT_TIFF_ORIENTATION", "wrong");
    EXPECT_EQ(program([] {
                  tiff_orientation();
                  ::setenv("DEFAULT_TIFF_ORIENTATION", "3", 1);
                  return std::to_string(tiff_orientation());
              }),
              bad("wrong"));
}

TEST_F(TiffOrientation, IsDecidedByTheSetup) {
    set("DEFAULT_TIFF_ORIENTATION", "wrong");
    EXPECT_EQ(program([] {
                  const ReportLog aside;
                  lf_fmt_setup();
                  return std::string("8");
              }),
              bad("wrong"));
}

// ---- handles ----------------------------------------------------------------------------------

int32_t answer = 0;
std::string told;

int32_t hear_request(xvor_t *, int32_t request, void *argument) {
    told += std::to_string(request) + "=" + std::to_string(*static_cast<int32_t *>(argument)) + " ";
    return answer;
}

// A format that has no file and takes requests.
lffmt_t *format_called(const char *name) {
    static lffmt_t format = {};
    format.name = name;
    format.detect = [](xvor_t *h, const uint8_t *, int32_t) -> int32_t {
        h->special = hear_request;
        h->dataoff = -1;
        return 0;
    };
    format.wrsetup = [](xvor_t *h) -> int32_t {
        h->special = hear_request;
        return 0;
    };
    return &format;
}

// What a handle was told as it was opened.
std::string told_to(xvor_t *h) {
    if (!h) return "not open";
    const ReportLog aside; // it is closed without a track
    lfclose(h);
    return told;
}

class TiffHandles : public ModuleTest {
protected:
    TiffHandles() {
        install("fw32_cvtformat_like", "fw32_cvtformat");
        set("DEFAULT_TIFF_ORIENTATION", "3");
    }
    // What a handle of the format is told as it is opened.
    std::string open(const char *name, uint32_t access, int32_t result = 0) const {
        return program([&] {
            lf_fmt_setup();
            answer = result;
            const int32_t row = lfregisterfmt(format_called(name));
            return told_to(lfdopen(-1, "a", access | LF_FORCETYPE, lffdev(row, 0), nullptr));
        });
    }
};

TEST_F(TiffHandles, ThatWriteAreTold) {
    EXPECT_EQ(open("tif", LF_WRITE), "4097=3 ");
    EXPECT_EQ(open("tif", LF_UPDATE), "4097=3 ");
}

TEST_F(TiffHandles, ThatReadAreNot) {
    EXPECT_EQ(open("tif", LF_READ), "");
}

TEST_F(TiffHandles, OfOtherNamesAreNot) {
    for (const char *const name : {"tiff", "TIF", "ti"})
        EXPECT_EQ(open(name, LF_WRITE), "") << name;
}

TEST_F(TiffHandles, ThatRefuseAreLoggedAndOpen) {
    EXPECT_EQ(open("tif", LF_WRITE, -1), "4097=3 \n[Warning]: set orient=3 failed for tif");
}

TEST_F(TiffHandles, OfAnUnknownFormatAreLeftAlone) {
    EXPECT_EQ(program([] {
                  lf_fmt_setup();
                  return told_to(lfdopen(-1, "a", LF_BADACCESS, lffdev(99, 0), nullptr));
              }),
              "");
}

TEST_F(TiffHandles, AreNotToldWithoutTheSetup) {
    EXPECT_EQ(program([] {
                  const int32_t row = lfregisterfmt(format_called("tif"));
                  return told_to(lfdopen(-1, "a", LF_WRITE, lffdev(row, 0), nullptr));
              }),
              "");
}

} // namespace
} // namespace vor::test
