// Clip window, output size and resolution.

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <iterator>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "support/owned_handles.h"
#include "support/report_log.h"
#include "support/toy_format.h"
#include "trackfile/lf.h"

namespace vor::test {
namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double inf = std::numeric_limits<double>::infinity();

// What the geometry calls may change.
struct Geometry {
    std::vector<int32_t> window, size;
    std::vector<double> resolution;
    bool operator==(const Geometry &) const = default;
};

Geometry geometry_of(const Handle &h) {
    return {{h->xa, h->ya, h->xe, h->ye},
            {h->xsize, h->ysize, h->fxsize, h->fysize},
            {h->xres, h->yres, h->fxres, h->fyres}};
}

// An image of 10 tracks of 100 pixels, at 10 pixels a millimetre in X and 20 in Y.
class GeometryTest : public ::testing::Test {
protected:
    ReportLog log;
    Toy toy = Toy::memory();

    Handle open(uint32_t mode) { return Handle(lfdopen(-1, "x", mode, Toy::type(), nullptr)); }
    Handle open_checked() {
        Handle h = open(LF_READ);
        EXPECT_EQ(lfcheck(h.get()), 0);
        return h;
    }
    static int32_t clip(const Handle &h, int32_t xa, int32_t ya, int32_t xe, int32_t ye) {
        int32_t window[4] = {xa, ya, xe, ye};
        return lfclip(h.get(), window);
    }
    static std::vector<int32_t> window_of(const Handle &h) { return {h->xa, h->ya, h->xe, h->ye}; }
    static std::vector<int32_t> output_of(const Handle &h) { return {h->xsize, h->ysize}; }
};

using Window = std::vector<int32_t>;
using Size = std::vector<int32_t>;

using Lfscale = GeometryTest;
using LfscaleOnWrite = GeometryTest;
using Lfsetsize = GeometryTest;
using LfsetsizeOnWrite = GeometryTest;
using Lfclip = GeometryTest;
using LfclipMirrored = GeometryTest;
using LfclipOnWrite = GeometryTest;
using Lfclipmm = GeometryTest;
using LateGeometry = GeometryTest;

// ---- lfscale --------------------------------------------------------------------------------

TEST_F(Lfscale, SetsOutputSizeAndResolution) {
    const Handle h = open(LF_READ);
    EXPECT_EQ(lfscale(h.get(), 20, 10), 0);
    EXPECT_EQ(output_of(h), (Size{20, 50}));
    EXPECT_EQ(h->xres, 20.0);
    EXPECT_EQ(h->yres, 10.0);
    EXPECT_EQ(h->fxres, 10.0);
    EXPECT_EQ(h->fyres, 20.0);
    EXPECT_EQ(window_of(h), (Window{0, 0, 10, 100}));
}

TEST_F(Lfscale, TwiceTheFilesResolutionShowsEachImageTrackTwice) {
    const Handle h = open(LF_READ);
    ASSERT_EQ(lfscale(h.get(), 20, 0), 0);
    ASSERT_EQ(lfcheck(h.get()), 0);
    ASSERT_EQ(h->xsize, 20);
    for (int32_t i = 0; i < 20; ++i)
        EXPECT_EQ(h->otrack[i], i / 2);
}

TEST_F(Lfscale, AValueNotAboveZeroKeepsTheFilesResolution) {
    for (const double keep : {0.0, -0.0, -5.0, nan, -inf}) {
        const Handle h = open(LF_READ);
        ASSERT_EQ(clip(h, 2, 10, 8, 70), 0);
        EXPECT_EQ(lfscale(h.get(), keep, keep), 0);
        EXPECT_EQ(output_of(h), (Size{6, 60})) << "the window's size";
        EXPECT_EQ(h->xres, 10.0);
        EXPECT_EQ(h->yres, 20.0);
    }
}

TEST_F(Lfscale, RoundsToTheNearestTrackAndPixel) {
    const struct {
        double xres, yres;
        int32_t xsize, ysize;
    } rows[] = {{10.4, 20.09, 10, 100},
                {10.5, 20.11, 11, 101},
                {10.6, 19.91, 11, 100},
                {9.49, 0.1, 9, 1},
                {0.04, 0.09, 0, 0}};
    for (const auto &row : rows) {
        const Handle h = open(LF_READ);
        EXPECT_EQ(lfscale(h.get(), row.xres, row.yres), 0);
        EXPECT_EQ(output_of(h), (Size{row.xsize, row.ysize}));
    }
}

TEST_F(Lfscale, WorksFromTheWindow) {
    const Handle h = open(LF_READ);
    ASSERT_EQ(clip(h, 4, 50, 8, 60), 0);
    EXPECT_EQ(lfscale(h.get(), 30, 40), 0);
    EXPECT_EQ(output_of(h), (Size{12, 20}));
}

TEST_F(Lfscale, GivesAFileWithoutAResolutionTheCallers) {
    toy.xres = 0;
    const Handle h = open(LF_READ);
    EXPECT_EQ(lfscale(h.get(), 7, 8), 0);
    EXPECT_EQ(h->fxres, 7.0);
    EXPECT_EQ(h->fyres, 8.0) << "both come from the caller if one is missing";
    EXPECT_EQ(output_of(h), (Size{10, 100}));
}

TEST_F(Lfscale, WithNoResolutionAtAllIsRefused) {
    toy.xres = 0;
    const Handle h = open(LF_READ);
    const Geometry before = geometry_of(h);
    EXPECT_EQ(lfscale(h.get(), 0, 20), -1);
    EXPECT_EQ(log.take(), Lines{"lfscale: invalid argument | invalid resolution (<=0)"});
    EXPECT_EQ(geometry_of(h), before);
}

TEST_F(Lfscale, ASizeThatLeaves32BitsIsRefused) {
    const Handle h = open(LF_READ);
    const Geometry before = geometry_of(h);
    EXPECT_EQ(lfscale(h.get(), 1e12, 20), -1);
    EXPECT_EQ(lfscale(h.get(), inf, 20), -1);
    EXPECT_EQ(geometry_of(h), before);
    EXPECT_EQ(log.size(), 2u);
}

TEST_F(Lfscale, OnUpdateFailsWithoutAReport) {
    const Handle h = open(LF_UPDATE);
    EXPECT_EQ(lfscale(h.get(), 30, 30), -1);
    EXPECT_TRUE(log.empty());
    EXPECT_EQ(h->xres, 10.0);
}

TEST_F(LfscaleOnWrite, SetsBothResolutionsAndMarksTheHeader) {
    const Handle h = open(LF_WRITE);
    ASSERT_EQ(lfsetsize(h.get(), 4, 50), 0);
    h->flags &= ~LF_DIRTY;
    EXPECT_EQ(lfscale(h.get(), 30, 40), 0);
    EXPECT_EQ(h->xres, 30.0);
    EXPECT_EQ(h->fxres, 30.0);
    EXPECT_EQ(h->yres, 40.0);
    EXPECT_EQ(h->fyres, 40.0);
    EXPECT_EQ(output_of(h), (Size{4, 50})) << "the size stays";
    EXPECT_TRUE(h->flags & LF_DIRTY);
}

TEST_F(LfscaleOnWrite, AValueNotAboveZeroKeepsAnEarlierOne) {
    const Handle h = open(LF_WRITE);
    EXPECT_EQ(lfscale(h.get(), 0, 30), -1) << "none has been set yet";
    EXPECT_EQ(log.take(), Lines{"lfscale: invalid argument | invalid resolution (<=0)"});
    EXPECT_EQ(lfscale(h.get(), 30, 0), -1);
    EXPECT_EQ(log.take(), Lines{"lfscale: invalid argument | invalid resolution (<=0)"});
    ASSERT_EQ(lfscale(h.get(), 30, 40), 0);
    EXPECT_EQ(lfscale(h.get(), 0, 50), 0);
    EXPECT_EQ(h->xres, 30.0);
    EXPECT_EQ(h->yres, 50.0);
}

// ---- lfsetsize ------------------------------------------------------------------------------

TEST_F(Lfsetsize, SetsOutputSizeAndTheResolutionThatGoesWithIt) {
    const Handle h = open(LF_READ);
    EXPECT_EQ(lfsetsize(h.get(), 20, 25), 0);
    EXPECT_EQ(output_of(h), (Size{20, 25}));
    EXPECT_EQ(h->xres, 20.0);
    EXPECT_EQ(h->yres, 5.0);
    EXPECT_EQ(h->fxres, 10.0);
    EXPECT_EQ(window_of(h), (Window{0, 0, 10, 100}));
}

TEST_F(Lfsetsize, AfterAClipShowsTheSameMillimetres) {
    const Handle h = open(LF_READ);
    ASSERT_EQ(clip(h, 2, 20, 6, 60), 0);
    EXPECT_EQ(lfsetsize(h.get(), 10, 10), 0);
    EXPECT_EQ(h->xres, 25.0);
    EXPECT_EQ(h->yres, 5.0);
    EXPECT_EQ(h->xsize / h->xres, 4 / 10.0);
    EXPECT_EQ(h->ysize / h->yres, 40 / 20.0);
}

TEST_F(Lfsetsize, ASizeNotAboveZeroIsRefusedOnEveryRoad) {
    const struct { int32_t x, y; } rows[] = {{0, 5}, {5, 0}, {-1, 5}, {5, INT_MIN}};
    for (const uint32_t access : {LF_READ, LF_WRITE, LF_UPDATE}) {
        const Handle h = open(access);
        const Geometry before = geometry_of(h);
        for (const auto &row : rows) {
            EXPECT_EQ(lfsetsize(h.get(), row.x, row.y), -1);
            EXPECT_EQ(log.take(), Lines{"lfsetsize: invalid argument | invalid size (<=0)"});
        }
        EXPECT_EQ(geometry_of(h), before);
    }
}

TEST_F(Lfsetsize, NeedsTheResolutionOfTheFile) {
    for (const double missing : {0.0, -1.0, nan}) {
        for (const auto &[xres, yres] : {std::pair{missing, 20.0}, std::pair{10.0, missing}}) {
            toy.xres = xres;
            toy.yres = yres;
            const Handle h = open(LF_READ);
            EXPECT_EQ(lfsetsize(h.get(), 5, 5), -1);
            EXPECT_EQ(log.take(), Lines{"lfsetsize: invalid argument | bad scaling (<=0)"});
            EXPECT_EQ(output_of(h), (Size{10, 100}));
        }
    }
}

TEST_F(Lfsetsize, GivesAFileWithoutASizeTheCallers) {
    toy.tracks = 0;
    toy.pixels = 0;
    const Handle h = open(LF_READ);
    EXPECT_EQ(lfsetsize(h.get(), 12, 34), 0);
    EXPECT_EQ(h->fxsize, 12);
    EXPECT_EQ(h->fysize, 34);
    EXPECT_EQ(window_of(h), (Window{0, 0, 12, 34}));
    EXPECT_EQ(output_of(h), (Size{12, 34}));
    EXPECT_EQ(h->xres, 10.0);
    EXPECT_EQ(h->yres, 20.0);
}

TEST_F(Lfsetsize, GivesAFileThatLacksOneOfItsSizesBothOfTheCallers) {
    for (const auto &[tracks, pixels] : {std::pair{0, 100}, std::pair{10, 0}}) {
        toy.tracks = tracks;
        toy.pixels = pixels;
        const Handle h = open(LF_READ);
        EXPECT_EQ(lfsetsize(h.get(), 12, 34), 0);
        EXPECT_EQ(window_of(h), (Window{0, 0, 12, 34}));
        EXPECT_EQ(h->fxsize, 12);
        EXPECT_EQ(h->fysize, 34);
    }
}

TEST_F(Lfsetsize, OnUpdateFailsWithoutAReport) {
    const Handle h = open(LF_UPDATE);
    EXPECT_EQ(lfsetsize(h.get(), 5, 5), -1);
    EXPECT_TRUE(log.empty());
    EXPECT_EQ(output_of(h), (Size{10, 100}));
}

TEST_F(LfsetsizeOnWrite, DescribesTheFileThatIsToBeMade) {
    toy.on_wrsetup = [](xvor_t *h) { h->xa = h->ya = 5; };
    const Handle h = open(LF_WRITE);
    EXPECT_EQ(lfsetsize(h.get(), 7, 80), 0);
    EXPECT_EQ(window_of(h), (Window{0, 0, 7, 80}));
    EXPECT_EQ(output_of(h), (Size{7, 80}));
    EXPECT_EQ(h->fxsize, 7);
    EXPECT_EQ(h->fysize, 80);
    EXPECT_EQ(h->seekcap, 7);
    EXPECT_TRUE(h->flags & LF_DIRTY);
    EXPECT_EQ(h->xres, 20.0);
}

TEST_F(LfsetsizeOnWrite, UnderGrowTheNumberOfTracksStaysOpen) {
    const Handle h = open(LF_WRITE | LF_GROW);
    h->xsize = 3;
    EXPECT_EQ(lfsetsize(h.get(), 7, 80), 0);
    EXPECT_EQ(h->xsize, 3);
    EXPECT_EQ(h->ysize, 80);
    EXPECT_EQ(h->seekcap, 7);
    EXPECT_EQ(h->fxsize, 7);
}

// ---- lfclip ---------------------------------------------------------------------------------

TEST_F(Lfclip, SetsTheWindowAndResetsTheOutputSizeToIt) {
    const Handle h = open(LF_READ);
    ASSERT_EQ(lfscale(h.get(), 40, 40), 0);
    EXPECT_EQ(clip(h, 2, 30, 7, 90), 0);
    EXPECT_EQ(window_of(h), (Window{2, 30, 7, 90}));
    EXPECT_EQ(output_of(h), (Size{5, 60}));
    EXPECT_EQ(h->xres, 40.0) << "a clip leaves the resolution";
    EXPECT_EQ(h->yres, 40.0);
}

TEST_F(Lfclip, OfNothingIsTheWholeImage) {
    const Handle h = open(LF_READ);
    ASSERT_EQ(clip(h, 2, 30, 7, 90), 0);
    ASSERT_EQ(lfsetsize(h.get(), 50, 50), 0);
    EXPECT_EQ(lfclip(h.get(), nullptr), 0);
    EXPECT_EQ(window_of(h), (Window{0, 0, 10, 100}));
    EXPECT_EQ(output_of(h), (Size{10, 100}));
}

TEST_F(Lfclip, OfNothingWorksOnUpdateToo) {
    const Handle h = open(LF_UPDATE);
    EXPECT_EQ(lfclip(h.get(), nullptr), 0);
    EXPECT_EQ(output_of(h), (Size{10, 100}));
}

TEST_F(Lfclip, OfNothingOnAFileWithoutASizeIsRefused) {
    for (const auto &[tracks, pixels] : {std::pair{0, 100}, std::pair{10, 0}}) {
        toy.tracks = tracks;
        toy.pixels = pixels;
        const Handle h = open(LF_READ);
        EXPECT_EQ(lfclip(h.get(), nullptr), -1);
        EXPECT_EQ(log.take(), Lines{"lfclip: invalid argument | no initial clip window (yet)"});
    }
}

TEST_F(Lfclip, EndsOfZeroMeanTheFilesEndAndAreFilledIn) {
    const Handle h = open(LF_READ);
    int32_t window[4] = {2, 30, 0, 0};
    EXPECT_EQ(lfclip(h.get(), window), 0);
    EXPECT_EQ(window_of(h), (Window{2, 30, 10, 100}));
    EXPECT_EQ((Window{window, window + 4}), (Window{2, 30, 10, 100}));
}

TEST_F(Lfclip, AWindowOutsideTheImageIsRefusedAndChangesNothing) {
    const Handle h = open(LF_READ);
    ASSERT_EQ(clip(h, 1, 1, 9, 99), 0);
    ASSERT_EQ(lfscale(h.get(), 15, 15), 0);
    const Geometry before = geometry_of(h);
    const int32_t rows[][4] = {{5, 0, 5, 100},  {6, 0, 5, 100},  {-1, 0, 5, 100}, {0, 0, 11, 100},
                               {0, 50, 10, 50}, {0, 51, 10, 50}, {0, -1, 10, 50}, {0, 0, 10, 101},
                               {0, 0, -1, 50},  {10, 0, 0, 100}};
    for (const auto &row : rows)
        EXPECT_EQ(clip(h, row[0], row[1], row[2], row[3]), -1);
    EXPECT_EQ(log.size(), std::size(rows));
    EXPECT_EQ(geometry_of(h), before);
}

TEST_F(Lfclip, AnEmptyWindowIsReportedWithWhatThereIs) {
    const Handle h = open(LF_READ);
    EXPECT_EQ(clip(h, 5, 3, 5, 100), -1);
    EXPECT_EQ(log.take(),
              Lines{"lfclip: invalid argument | lfclip(5:3:5:100), avail(0:0:10:100)\n"});
}

TEST_F(Lfclip, TheReportShowsFilledInEnds) {
    const Handle h = open(LF_READ);
    EXPECT_EQ(clip(h, 10, -3, 0, 0), -1);
    EXPECT_EQ(log.take(),
              Lines{"lfclip: invalid argument | lfclip(10:-3:10:100), avail(0:0:10:100)\n"});
}

TEST_F(Lfclip, GivesAFileWithoutASizeTheWindowsEnds) {
    toy.tracks = 0;
    toy.pixels = 0;
    const Handle h = open(LF_READ);
    EXPECT_EQ(clip(h, 2, 3, 20, 30), 0);
    EXPECT_EQ(h->fxsize, 20);
    EXPECT_EQ(h->fysize, 30);
    EXPECT_EQ(window_of(h), (Window{2, 3, 20, 30}));
    EXPECT_EQ(output_of(h), (Size{18, 27}));
}

TEST_F(Lfclip, GivesAFileThatLacksOneOfItsSizesBothEndsOfTheWindow) {
    for (const auto &[tracks, pixels] : {std::pair{0, 100}, std::pair{10, 0}}) {
        toy.tracks = tracks;
        toy.pixels = pixels;
        const Handle h = open(LF_READ);
        EXPECT_EQ(clip(h, 2, 3, 20, 30), 0);
        EXPECT_EQ(h->fxsize, 20);
        EXPECT_EQ(h->fysize, 30);
    }
}

TEST_F(Lfclip, ForgetsWhereTheOldWindowBegins) {
    const Handle h = open(LF_READ);
    h->clipoff = 1000;
    EXPECT_EQ(clip(h, 2, 30, 7, 90), 0);
    EXPECT_EQ(h->clipoff, -1);
    h->clipoff = 1000;
    EXPECT_EQ(clip(h, 5, 0, 5, 0), -1);
    EXPECT_EQ(h->clipoff, -1) << "on failure too";
    h->clipoff = 1000;
    EXPECT_EQ(lfclip(h.get(), nullptr), 0);
    EXPECT_EQ(h->clipoff, -1);
}

TEST_F(Lfclip, OfAWindowOnUpdateFailsWithoutAReport) {
    const Handle h = open(LF_UPDATE);
    EXPECT_EQ(clip(h, 0, 0, 5, 5), -1);
    EXPECT_TRUE(log.empty());
    EXPECT_EQ(window_of(h), (Window{0, 0, 10, 100}));
}

TEST_F(LfclipMirrored, CountsTracksFromTheOtherSide) {
    const Handle h = open(LF_READ | LF_XMIRROR);
    int32_t window[4] = {1, 10, 4, 30};
    EXPECT_EQ(lfclip(h.get(), window), 0);
    EXPECT_EQ(window_of(h), (Window{6, 10, 9, 30}));
    EXPECT_EQ(output_of(h), (Size{3, 20}));
    EXPECT_EQ((Window{window, window + 4}), (Window{6, 10, 9, 30})) << "written back";
}

TEST_F(LfclipMirrored, CountsPixelsFromTheOtherEnd) {
    const Handle h = open(LF_READ | LF_YMIRROR);
    EXPECT_EQ(clip(h, 1, 10, 4, 30), 0);
    EXPECT_EQ(window_of(h), (Window{1, 70, 4, 90}));
}

TEST_F(LfclipMirrored, BothWaysAtOnce) {
    const Handle h = open(LF_READ | LF_XMIRROR | LF_YMIRROR);
    EXPECT_EQ(clip(h, 0, 0, 1, 1), 0);
    EXPECT_EQ(window_of(h), (Window{9, 99, 10, 100}));
}

TEST_F(LfclipMirrored, EndsOfZeroStandForTheFilesEndBeforeTheyAreMirrored) {
    const Handle h = open(LF_READ | LF_XMIRROR | LF_YMIRROR);
    EXPECT_EQ(clip(h, 3, 20, 0, 0), 0);
    EXPECT_EQ(window_of(h), (Window{0, 0, 7, 80}));
}

TEST_F(LfclipMirrored, AsIsTakesTheWindowUnchanged) {
    const Handle h = open(LF_READ | LF_XMIRROR | LF_YMIRROR | LF_ASIS);
    EXPECT_EQ(clip(h, 1, 10, 4, 30), 0);
    EXPECT_EQ(window_of(h), (Window{1, 10, 4, 30}));
}

TEST_F(LfclipMirrored, ABadWindowIsReportedAsItWasGiven) {
    const Handle h = open(LF_READ | LF_XMIRROR);
    EXPECT_EQ(clip(h, 4, 0, 11, 100), -1);
    EXPECT_EQ(log.take(),
              Lines{"lfclip: invalid argument | lfclip(4:0:11:100), avail(0:0:10:100)\n"});
}

TEST_F(LfclipOnWrite, AWindowFromTheOriginActsAsLfsetsize) {
    const Handle h = open(LF_WRITE);
    EXPECT_EQ(clip(h, 0, 0, 7, 80), 0);
    EXPECT_EQ(window_of(h), (Window{0, 0, 7, 80}));
    EXPECT_EQ(output_of(h), (Size{7, 80}));
    EXPECT_EQ(h->seekcap, 7);
}

TEST_F(LfclipOnWrite, AnEmptyWindowFromTheOriginIsRefusedByLfsetsize) {
    const Handle h = open(LF_WRITE);
    EXPECT_EQ(clip(h, 0, 0, 0, 80), -1);
    EXPECT_EQ(log.take(), Lines{"lfsetsize: invalid argument | invalid size (<=0)"});
}

TEST_F(LfclipOnWrite, AnyOtherStartIsRefused) {
    const Handle h = open(LF_WRITE);
    const int32_t rows[][2] = {{1, 0}, {0, 1}, {-1, 0}, {5, 5}};
    for (const auto &row : rows) {
        EXPECT_EQ(clip(h, row[0], row[1], 7, 80), -1);
        EXPECT_EQ(log.take(),
                  Lines{"lfclip: invalid argument | bad start offset on writing (not zero)"});
    }
}

TEST_F(LfclipOnWrite, OfNothingSetsTheWindowAloneOnceThereIsASize) {
    const Handle h = open(LF_WRITE | LF_GROW);
    EXPECT_EQ(lfclip(h.get(), nullptr), -1);
    EXPECT_EQ(log.take(), Lines{"lfclip: invalid argument | no initial clip window (yet)"});
    ASSERT_EQ(lfsetsize(h.get(), 7, 80), 0);
    h->xe = 1;
    EXPECT_EQ(lfclip(h.get(), nullptr), 0);
    EXPECT_EQ(window_of(h), (Window{0, 0, 7, 80}));
    EXPECT_EQ(h->xsize, 0) << "the output size stays";
}

// ---- lfclipmm -------------------------------------------------------------------------------

TEST_F(Lfclipmm, TurnsMillimetresIntoPixelsOfTheFile) {
    const Handle h = open(LF_READ);
    EXPECT_EQ(lfclipmm(h.get(), 0.2, 1, 0.7, 4.5), 0);
    EXPECT_EQ(window_of(h), (Window{2, 20, 7, 90}));
}

TEST_F(Lfclipmm, RoundsToTheNearestPixel) {
    const Handle h = open(LF_READ);
    EXPECT_EQ(lfclipmm(h.get(), 0.24, 1.02, 0.66, 4.53), 0);
    EXPECT_EQ(window_of(h), (Window{2, 20, 7, 91}));
}

TEST_F(Lfclipmm, UsesTheFilesResolutionWhateverTheOutputs) {
    const Handle h = open(LF_READ);
    ASSERT_EQ(lfscale(h.get(), 100, 100), 0);
    EXPECT_EQ(lfclipmm(h.get(), 0.2, 1, 0.7, 4.5), 0);
    EXPECT_EQ(window_of(h), (Window{2, 20, 7, 90}));
}

TEST_F(Lfclipmm, ANegativeEndIsTheEndOfTheImage) {
    const Handle h = open(LF_READ);
    EXPECT_EQ(lfclipmm(h.get(), 0.2, 1, -1, -0.001), 0);
    EXPECT_EQ(window_of(h), (Window{2, 20, 10, 100}));
    EXPECT_EQ(lfclipmm(h.get(), 0, 0, -inf, -1e300), 0);
    EXPECT_EQ(window_of(h), (Window{0, 0, 10, 100}));
}

TEST_F(Lfclipmm, AnEndOfZeroIsTheEndOfTheImageAsInLfclip) {
    const Handle h = open(LF_READ);
    EXPECT_EQ(lfclipmm(h.get(), 0.2, 1, 0, 0.02), 0);
    EXPECT_EQ(window_of(h), (Window{2, 20, 10, 100}));
}

TEST_F(Lfclipmm, AnEndUpToHalfAPixelAboveTheSizeIsCutToIt) {
    const Handle h = open(LF_READ);
    EXPECT_EQ(lfclipmm(h.get(), 0, 0, 1.05, 5.025), 0);
    EXPECT_EQ(window_of(h), (Window{0, 0, 10, 100}));
}

TEST_F(Lfclipmm, ValuesOutsideTheImageAreReportedWithTheLimits) {
    const Handle h = open(LF_READ);
    ASSERT_EQ(clip(h, 1, 1, 9, 99), 0);
    const Geometry before = geometry_of(h);
    EXPECT_EQ(lfclipmm(h.get(), 0.25, 1.5, 1.0500001, 4), -1);
    EXPECT_EQ(log.take(), Lines{"lfclipmm: invalid argument | clipmm(0.250000:1.500000:1.050000:"
                                "4.000000), avail(0:0:1.050000:5.025000)"});
    EXPECT_EQ(geometry_of(h), before);
}

TEST_F(Lfclipmm, EveryValueIsHeldToItsLimits) {
    const Handle h = open(LF_READ);
    const double rows[][4] = {{-0.1, 0, 1, 1}, {1.1, 0, 1, 1}, {0, -0.1, 1, 1}, {0, 5.1, 1, 1},
                              {0, 0, 1.1, 1},  {0, 0, 1, 5.1}, {nan, 0, 1, 1},  {0, nan, 1, 1},
                              {0, 0, nan, 1},  {0, 0, 1, nan}, {inf, 0, 1, 1},  {0, 0, 1, inf}};
    for (const auto &row : rows) {
        EXPECT_EQ(lfclipmm(h.get(), row[0], row[1], row[2], row[3]), -1);
        ASSERT_EQ(log.size(), 1u);
        EXPECT_EQ(log.take()[0].substr(0, 36), "lfclipmm: invalid argument | clipmm(");
    }
}

TEST_F(Lfclipmm, HugeValuesAreReportedInFull) {
    const Handle h = open(LF_READ);
    EXPECT_EQ(lfclipmm(h.get(), 1.7e308, 1.7e308, 1.7e308, 1.7e308), -1);
    ASSERT_EQ(log.size(), 1u);
    EXPECT_GT(log[0].extra->size(), 1200u);
    EXPECT_NE(log[0].extra->find("avail(0:0:1.050000:5.025000)"), std::string::npos);
}

TEST_F(Lfclipmm, AnEmptyWindowIsReportedByLfclip) {
    const Handle h = open(LF_READ);
    EXPECT_EQ(lfclipmm(h.get(), 0.5, 0, 0.5, 1), -1);
    EXPECT_EQ(log.take(),
              Lines{"lfclip: invalid argument | lfclip(5:0:5:20), avail(0:0:10:100)\n"});
}

TEST_F(Lfclipmm, NeedsTheResolutionOfTheFile) {
    toy.xres = 0;
    const Handle h = open(LF_READ);
    EXPECT_EQ(lfclipmm(h.get(), 0, 0, 1, 1), -1);
    EXPECT_EQ(log.take(), Lines{"lfclipmm: invalid argument | bad scaling (<=0)"});
}

TEST_F(Lfclipmm, WindowIsMirroredAsInLfclip) {
    const Handle h = open(LF_READ | LF_XMIRROR);
    EXPECT_EQ(lfclipmm(h.get(), 0.1, 0, 0.4, -1), 0);
    EXPECT_EQ(window_of(h), (Window{6, 0, 9, 100}));
}

// ---- after lfcheck --------------------------------------------------------------------------

TEST_F(LateGeometry, EachCallWarnsReopensTheSetUpAndGoesOn) {
    const struct {
        const char *warning;
        int32_t (*call)(xvor_t *);
    } rows[] = {
        {"lfscale: warning | lfscale called after lfcheck",
         [](xvor_t *h) { return lfscale(h, 20, 20); }},
        {"lfsetsize: warning | lfsetsize called after lfcheck",
         [](xvor_t *h) { return lfsetsize(h, 20, 100); }},
        {"lfclip: warning | lfclip called after lfcheck",
         [](xvor_t *h) { return lfclip(h, nullptr); }},
    };
    for (const auto &row : rows) {
        const Handle h = open_checked();
        EXPECT_EQ(row.call(h.get()), 0);
        EXPECT_EQ(log.take(), Lines{row.warning});
        EXPECT_EQ(h->flags & LF_CHECKED, 0u);
        EXPECT_EQ(row.call(h.get()), 0);
        EXPECT_TRUE(log.empty()) << "told once";
        EXPECT_EQ(lfcheck(h.get()), 0);
    }
}

TEST_F(LateGeometry, AFailedCallReopensTheSetUpToo) {
    const Handle h = open_checked();
    EXPECT_EQ(lfsetsize(h.get(), 0, 0), -1);
    EXPECT_EQ(h->flags & LF_CHECKED, 0u);
}

TEST_F(LateGeometry, LfclipmmWarnsThroughLfclip) {
    const Handle h = open_checked();
    EXPECT_EQ(lfclipmm(h.get(), 0, 0, -1, -1), 0);
    EXPECT_EQ(log.take(), Lines{"lfclip: warning | lfclip called after lfcheck"});
}

TEST_F(LateGeometry, ReadsGoOnWithTheOldTablesUntilTheNextLfcheck) {
    const Handle h = open(LF_READ);
    Track track;
    ASSERT_EQ(lfsetsize(h.get(), 20, 100), 0);
    ASSERT_EQ(lfread(h.get(), track.get(), 3), 1);
    EXPECT_EQ(track.runs()[0].second, 1u);
    ASSERT_EQ(lfscale(h.get(), 10, 20), 0);
    EXPECT_EQ(h->xsize, 10);
    ASSERT_EQ(lfread(h.get(), track.get(), 5), 1);
    EXPECT_EQ(track.runs()[0].second, 2u) << "each image track still shows twice";
    ASSERT_EQ(lfcheck(h.get()), 0);
    ASSERT_EQ(lfread(h.get(), track.get(), 5), 1);
    EXPECT_EQ(track.runs()[0].second, 5u);
}

TEST_F(LateGeometry, ATrackHeldFromBeforeIsDecodedAnew) {
    const Handle h = open(LF_READ);
    Track track;
    ASSERT_EQ(lfread(h.get(), track.get(), 3), 1);
    EXPECT_EQ(track.runs(), (Runs{{100, 3}}));
    ASSERT_EQ(lfsetsize(h.get(), 10, 50), 0);
    ASSERT_EQ(lfcheck(h.get()), 0);
    ASSERT_EQ(lfread(h.get(), track.get(), 3), 1);
    EXPECT_EQ(track.runs(), (Runs{{50, 3}}));
}

TEST_F(LateGeometry, AWideningDoesNotReadBeyondTheOldTables) {
    const Handle h = open(LF_READ);
    Track track;
    ASSERT_EQ(lfsetsize(h.get(), 20, 100), 0);
    ASSERT_EQ(lfcheck(h.get()), 0);
    ASSERT_EQ(lfsetsize(h.get(), 1000000, 100), 0);
    log.take();
    EXPECT_EQ(lfread(h.get(), track.get(), 19), 1);
    EXPECT_EQ(lfread(h.get(), track.get(), 900000), -1);
    EXPECT_EQ(log.take(), Lines{"lfseek: invalid track number: 900000"});
}

} // namespace
} // namespace vor::test
