#include <gtest/gtest.h>

#include <string>

#include "codecs/fixed_readers.h"
#include "support/report_log.h"

namespace vor::test {
namespace {

class FixedSkip : public ::testing::TestWithParam<Form> {
protected:
    Form form = GetParam();
    size_t unit = code_bytes(form);
    ReportLog log;

    int32_t skip(CodecHandle *h, int32_t y) { return skip_of(form)(h->get(), y); }
    int32_t go(CodecHandle *h) { return goto_of(form)(h->get()); }
    Lines line(const char *function, const char *message) const {
        return {std::string(function) + ": " + message};
    }
    Lines skip_line(const char *message) const { return line(skip_name(form), message); }
    Lines goto_line(const char *message) const { return line(goto_name(form), message); }
};

std::string form_name(const ::testing::TestParamInfo<Form> &info) {
    return info.param == Form::fw8 ? "fw8" : info.param == Form::fw16 ? "fw16" : "fw88";
}

INSTANTIATE_TEST_SUITE_P(Forms, FixedSkip, ::testing::ValuesIn(all_forms), form_name);

// ---- to the window ----------------------------------------------------------------------------

TEST_P(FixedSkip, WindowFromTheStartGivesTheFirstCodeInFull) {
    TrackHandle h(form, {{5, 0}, {7, 1}});
    EXPECT_EQ(go(&h), 5);
    EXPECT_EQ(h.position(), 0u);
}

TEST_P(FixedSkip, WindowInsideACodeGivesThePartBehindItsBegin) {
    struct Row {
        int32_t ya;
        int32_t part;
        size_t codes_passed;
    };
    for (const Row &row :
         {Row{1, 4, 0}, {4, 1, 0}, {5, 7, 1}, {11, 1, 1}, {12, 3, 2}, {14, 1, 2}}) {
        TrackHandle h(form, {{5, 0}, {7, 1}, {3, 0}});
        h->ya = row.ya;
        EXPECT_EQ(go(&h), row.part) << row.ya;
        EXPECT_EQ(h.position(), row.codes_passed * unit) << row.ya;
    }
}

TEST_P(FixedSkip, WindowIsFoundAcrossRefills) {
    Codes codes(20, Code{3, 0});
    TrackHandle h(form, codes, 0, static_cast<uint32_t>(2 * unit));
    h->ya = 40;
    EXPECT_EQ(go(&h), 2);
    EXPECT_EQ(h.position(), 13 * unit);
}

TEST_P(FixedSkip, WindowIsCountedBehindTheZeroCodeAtTheBegin) {
    TrackHandle h(form, {{0, 1}, {5, 0}}, LF_TRKBEGIN);
    h->ya = 2;
    EXPECT_EQ(go(&h), 3);
    EXPECT_EQ(h.position(), unit);
}

TEST_P(FixedSkip, WindowInATrackThatDoesNotBeginWithAZeroCodeIsReported) {
    TrackHandle h(form, {{5, 0}}, LF_TRKBEGIN);
    EXPECT_EQ(go(&h), -1);
    EXPECT_EQ(log.take(), goto_line("invalid begin of track"));
    EXPECT_EQ(h->error, uint32_t{LFE_TRKBEGIN});
    EXPECT_EQ(h.position(), 0u);
}

TEST_P(FixedSkip, ZeroCodeInFrontOfTheWindowIsReported) {
    for (const uint32_t colour : {0u, 1u}) {
        TrackHandle h(form, {{5, 0}, {0, colour}, {5, 0}});
        h->ya = 6;
        EXPECT_EQ(go(&h), -1);
        EXPECT_EQ(log.take(), goto_line("file corrupted"));
        EXPECT_EQ(h.position(), unit);
    }
}

TEST_P(FixedSkip, WindowBehindTheDataIsReported) {
    TrackHandle h(form, {{5, 0}});
    h->ya = 5;
    EXPECT_EQ(go(&h), -1);
    EXPECT_EQ(log.take(), goto_line("unexpected EOF: last os error"));

    TrackHandle empty(form, {}, LF_TRKBEGIN);
    EXPECT_EQ(go(&empty), -1);
    EXPECT_EQ(log.take(), goto_line("unexpected EOF: last os error"));
}

TEST_P(FixedSkip, FailedFillInFrontOfTheWindowIsReported) {
    TrackHandle h(form, {{5, 0}});
    h.fills_allowed = 0;
    EXPECT_EQ(go(&h), -1);
    EXPECT_EQ(log.take(), goto_line("unexpected EOF: last os error"));
}

TEST_P(FixedSkip, WindowThatBeginsBelowTheTrackBeginsWithIt) {
    TrackHandle h(form, {{5, 0}});
    h->ya = INT32_MIN;
    EXPECT_EQ(go(&h), 5);
}

// ---- to the next track ------------------------------------------------------------------------

TEST_P(FixedSkip, CountsTheCodesOfAWholeTrack) {
    struct Row {
        Codes codes;
        uint32_t flags;
        int32_t count;
    };
    const Row rows[] = {
        {{{5, 0}, {7, 1}}, 0, 2},
        {{{5, 0}, {7, 1}, {0, 0}}, LF_TRKEND, 3},
        {{{0, 0}, {5, 0}, {7, 1}}, LF_TRKBEGIN, 3},
        {{{0, 1}, {5, 0}, {7, 1}, {0, 1}}, LF_TRKBEGIN | LF_TRKEND, 4},
    };
    for (const Row &row : rows) {
        for (const uint32_t buffered : {1u, 2u, 3u, 100u}) {
            TrackHandle h(form, row.codes, row.flags, static_cast<uint32_t>(buffered * unit));
            EXPECT_EQ(skip(&h, 0), row.count);
            EXPECT_EQ(h.position(), row.codes.size() * unit);
        }
    }
    EXPECT_TRUE(log.empty());
}

TEST_P(FixedSkip, StopsAtTheStartOfTheNextTrack) {
    TrackHandle h(form, {{5, 0}, {0, 0}, {5, 1}, {0, 0}}, LF_TRKEND);
    h->fysize = 5;
    EXPECT_EQ(skip(&h, 0), 2);
    EXPECT_EQ(h.position(), 2 * unit);
    EXPECT_EQ(skip(&h, 0), 2);
    EXPECT_EQ(h.position(), 4 * unit);
}

TEST_P(FixedSkip, FromInsideATrackExpectsNoZeroCodeAtItsBegin) {
    TrackHandle h(form, {{7, 1}, {0, 0}}, LF_TRKBEGIN | LF_TRKEND);
    h->fysize = 12;
    EXPECT_EQ(skip(&h, 5), 2);
}

TEST_P(FixedSkip, FromTheEndOfATrackPassesTheZeroCodeAlone) {
    TrackHandle h(form, {{0, 0}}, LF_TRKEND);
    h->fysize = 12;
    EXPECT_EQ(skip(&h, 12), 1);
    EXPECT_EQ(h.position(), unit);
}

// Steps over it would never come to the end of a file.
TEST_P(FixedSkip, TrackThatTakesNoBytesIsReported) {
    TrackHandle h(form, {{5, 0}});
    h->fysize = 0;
    EXPECT_EQ(skip(&h, 0), -1);
    EXPECT_EQ(log.take(), skip_line("file corrupted"));
    TrackHandle ended(form, {{0, 0}}, LF_TRKEND);
    ended->fysize = 0;
    EXPECT_EQ(skip(&ended, 0), 1);
    TrackHandle rest(form, {{5, 0}});
    rest->fysize = 12;
    EXPECT_EQ(skip(&rest, 12), 0);
}

TEST_P(FixedSkip, TrackThatDoesNotBeginWithAZeroCodeIsReported) {
    TrackHandle h(form, {{5, 0}}, LF_TRKBEGIN);
    EXPECT_EQ(skip(&h, 0), -1);
    EXPECT_EQ(log.take(), skip_line("invalid begin of track"));
}

TEST_P(FixedSkip, LengthsBeyondTheTrackAreReportedWithTheDifference) {
    TrackHandle h(form, {{5, 0}, {7, 1}});
    h->fysize = 10;
    EXPECT_EQ(skip(&h, 0), -1);
    EXPECT_EQ(log.take(), skip_line("error count: -2"));
    EXPECT_EQ(h.position(), 2 * unit);
}

TEST_P(FixedSkip, StartBehindTheTrackIsReportedWithTheDifference) {
    TrackHandle h(form, {{0, 0}}, LF_TRKEND);
    h->fysize = 10;
    EXPECT_EQ(skip(&h, 13), -1);
    EXPECT_EQ(log.take(), skip_line("error count: -3"));
    h->fysize = INT32_MIN;
    EXPECT_EQ(skip(&h, INT32_MAX), -1);
    EXPECT_EQ(log.take(), skip_line("error count: -2147483648"));
}

// The sum is looked at before the code that ended it: that code is not the cause reported.
TEST_P(FixedSkip, EarlyZeroCodeIsReportedWithThePixelsMissing) {
    TrackHandle h(form, {{5, 0}, {0, 0}, {5, 0}}, LF_TRKEND);
    EXPECT_EQ(skip(&h, 0), -1);
    EXPECT_EQ(log.take(), skip_line("error count: 5"));
    EXPECT_EQ(h.position(), 2 * unit);
}

TEST_P(FixedSkip, MissingZeroCodeAtTheEndIsReported) {
    TrackHandle h(form, {{5, 0}, {7, 0}}, LF_TRKEND);
    h->fysize = 5;
    EXPECT_EQ(skip(&h, 0), -1);
    EXPECT_EQ(log.take(), skip_line("invalid end of track"));
    EXPECT_EQ(h.position(), unit);
}

TEST_P(FixedSkip, LaxTracksMayHaveAnyLengthAndEnd) {
    struct Row {
        Codes codes;
        int32_t count;
        size_t passed;
    };
    const Row rows[] = {
        {{{5, 0}, {0, 0}, {9, 0}}, 2, 2},         // short; the zero code was its end
        {{{5, 0}, {0, 0}, {0, 0}, {9, 0}}, 3, 3}, // short, and a zero code behind
        {{{5, 0}, {8, 0}, {0, 0}}, 3, 3},         // long
        {{{10, 0}, {9, 0}}, 1, 1},                // no zero code
    };
    for (const Row &row : rows) {
        TrackHandle h(form, row.codes, LF_TRKEND | LF_LAXTRACK);
        h->fysize = 10;
        EXPECT_EQ(skip(&h, 0), row.count);
        EXPECT_EQ(h.position(), row.passed * unit);
    }
    EXPECT_TRUE(log.empty());
}

TEST_P(FixedSkip, LaxTrackMayEndWithTheData) {
    TrackHandle h(form, {{5, 0}}, LF_TRKEND | LF_LAXTRACK);
    EXPECT_EQ(skip(&h, 0), 1);
    EXPECT_TRUE(log.empty());
    TrackHandle failing(form, {{5, 0}}, LF_TRKEND | LF_LAXTRACK);
    failing.fills_allowed = 1;
    EXPECT_EQ(skip(&failing, 0), -1);
    EXPECT_EQ(log.take(), skip_line("unexpected EOF: last os error"));
}

TEST_P(FixedSkip, HookTurnsTheCheckOfTheSumOffAndIsNotCalled) {
    TrackHandle h(form, {{5, 0}, {0, 0}, {0, 0}}, LF_TRKEND);
    h->fysize = 10;
    h->shorttrack = [](xvor_t *, trackbuf *, int32_t) -> int32_t {
        ADD_FAILURE() << "called";
        return -1;
    };
    EXPECT_EQ(skip(&h, 0), 3);
    EXPECT_TRUE(log.empty());
}

TEST_P(FixedSkip, HookDoesNotReplaceTheZeroCodeAtTheEnd) {
    TrackHandle h(form, {{10, 0}, {5, 0}}, LF_TRKEND);
    h->fysize = 10;
    h->shorttrack = [](xvor_t *, trackbuf *, int32_t) -> int32_t { return 0; };
    EXPECT_EQ(skip(&h, 0), -1);
    EXPECT_EQ(log.take(), skip_line("invalid end of track"));
}

TEST_P(FixedSkip, DataThatEndTooSoonAreReportedWhereverACodeIsNeeded) {
    struct Row {
        Codes codes;
        uint32_t flags;
        int32_t fysize;
    };
    const Row rows[] = {
        {{}, LF_TRKBEGIN, 5},
        {{}, 0, 5},
        {{{4, 0}}, 0, 5},
        {{{5, 0}}, LF_TRKEND, 5},
    };
    for (const Row &row : rows) {
        TrackHandle h(form, row.codes, row.flags);
        h->fysize = row.fysize;
        EXPECT_EQ(skip(&h, 0), -1);
        EXPECT_EQ(log.take(), skip_line("unexpected EOF: last os error"));
        EXPECT_EQ(h->bufptr, h->bufend);
    }
}

TEST_P(FixedSkip, HalfACodeIsTheEndOfTheData) {
    if (unit == 1) return;
    CodecHandle h({5, 0, 5}, 16);
    h->fysize = form == Form::fw16 ? 1000 : 10;
    EXPECT_EQ(skip(&h, 0), -1);
    EXPECT_EQ(log.take(), skip_line("unexpected EOF: last os error"));
    EXPECT_LE(h->bufptr, h->bufend);
}

} // namespace
} // namespace vor::test
