#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "codecs/fixed_readers.h"
#include "support/owned_handles.h"
#include "support/report_log.h"

namespace vor::test {
namespace {

class FixedReadBase {
protected:
    ReportLog log;
    Track track{64};

    Runs read(lf_readtrack_fn reader, TrackHandle *h) {
        EXPECT_EQ(reader(h->get(), track.get()), track->nruns);
        return track.runs();
    }
};

class FixedRead : public FixedReadBase, public ::testing::Test {};

// What holds for all twelve readers. Colours of codes are 0 and 1; colour 1 reads as 255 in the
// two-colour forms and as 1 in fw88.
class EveryFixedReader : public FixedReadBase, public ::testing::TestWithParam<FixedReader> {
protected:
    ReaderKind kind = GetParam().kind;
    lf_readtrack_fn reader = GetParam().read;
    Form form = kind.form;
    size_t unit = code_bytes(form);
    uint32_t one = form == Form::fw88 ? 1 : 255;

    // The list as this reader orders it.
    Runs ordered(Runs runs) const {
        if (kind.reversed) std::reverse(runs.begin(), runs.end());
        return runs;
    }
    void expect_failure(TrackHandle *h, const std::string &where, const std::string &message) {
        EXPECT_EQ(reader(h->get(), track.get()), -1);
        EXPECT_EQ(log.take(), Lines{where + ": " + message});
    }
    void expect_failure(TrackHandle *h, const std::string &message) {
        expect_failure(h, kind.name, message);
    }
};

std::string reader_name(const ::testing::TestParamInfo<FixedReader> &info) {
    return info.param.kind.name;
}

INSTANTIATE_TEST_SUITE_P(Readers, EveryFixedReader, ::testing::ValuesIn(fixed_readers),
                         reader_name);

// ---- good tracks ------------------------------------------------------------------------------

TEST_P(EveryFixedReader, GivesTheRunsOfATrackAndStopsAtTheNext) {
    TrackHandle h(form, {{0, 0}, {5, 0}, {7, 1}, {3, 0}, {0, 0}, {9, 1}}, LF_TRKBEGIN | LF_TRKEND);
    h->fysize = 15;
    h.set_window(0, 15, 15);
    EXPECT_EQ(read(reader, &h), ordered({{5, 0}, {7, one}, {3, 0}}));
    EXPECT_EQ(h.position(), 5 * unit);
    EXPECT_TRUE(log.empty());
}

TEST_P(EveryFixedReader, PlacesTheRunsFromItsEndOfTheBuffer) {
    TrackHandle h(form, {{5, 0}, {7, 1}, {3, 0}});
    read(reader, &h);
    EXPECT_EQ(track->data, kind.reversed ? track->base + 61 : track->base + 1);
}

TEST_P(EveryFixedReader, JoinsNeighboursOfOneColour) {
    TrackHandle h(form, {{5, 0}, {7, 0}, {3, 1}, {2, 1}, {1, 0}});
    EXPECT_EQ(read(reader, &h), ordered({{12, 0}, {5, one}, {1, 0}}));
}

TEST_P(EveryFixedReader, JoinsTheCodesOfALongRun) {
    const uint32_t most = longest_code(form);
    TrackHandle h(form, {{most, 1}, {most, 1}, {5, 1}, {9, 0}});
    EXPECT_EQ(read(reader, &h), ordered({{2 * most + 5, one}, {9, 0}}));
}

TEST_P(EveryFixedReader, ZeroCodesCountByTheirLengthAlone) {
    TrackHandle h(form, {{0, 1}, {5, 0}, {0, 1}}, LF_TRKBEGIN | LF_TRKEND);
    EXPECT_EQ(read(reader, &h), (Runs{{5, 0}}));
    EXPECT_EQ(h.position(), 3 * unit);
}

TEST_P(EveryFixedReader, TakesColoursFromTheTable) {
    TrackHandle h(form, {{5, 0}, {7, 1}});
    h->ctable[0] = 1000;
    h->ctable[1] = 2000;
    h->ctable[255] = 3000;
    EXPECT_EQ(read(reader, &h), ordered({{5, 1000}, {7, form == Form::fw88 ? 2000u : 3000u}}));
}

TEST_P(EveryFixedReader, TrackEndingWithTheBufferReadsLikeAnyOther) {
    const Codes codes = {{5, 0}, {7, 1}, {3, 0}, {0, 0}};
    for (uint32_t buffered = 1; buffered <= 5; ++buffered) {
        TrackHandle h(form, codes, LF_TRKEND, static_cast<uint32_t>(buffered * unit));
        EXPECT_EQ(read(reader, &h), ordered({{5, 0}, {7, one}, {3, 0}})) << buffered;
        EXPECT_EQ(h.position(), codes.size() * unit) << buffered;
    }
}

TEST_P(EveryFixedReader, CutsTheWindowOutOfItsCodes) {
    TrackHandle h(form, {{5, 0}, {7, 1}, {3, 0}, {0, 0}}, LF_TRKEND);
    h.set_window(3, 13, 10);
    EXPECT_EQ(read(reader, &h), ordered({{2, 0}, {7, one}, {1, 0}}));
    EXPECT_EQ(h.position(), 4 * unit);
}

TEST_P(EveryFixedReader, CutsTheWindowOutOfOneCode) {
    TrackHandle h(form, {{5, 0}, {70, 1}, {3, 0}, {0, 0}}, LF_TRKEND);
    h.set_window(10, 30, 20);
    EXPECT_EQ(read(reader, &h), (Runs{{20, one}}));
    EXPECT_EQ(h.position(), 4 * unit);
}

// The step to the next track begins behind the code that the window's end cuts.
int32_t skipped_from;
int32_t note_skip(xvor_t *, int32_t y) {
    skipped_from = y;
    return 0;
}

TEST_P(EveryFixedReader, StepsOnFromTheEndOfTheLastCode) {
    struct Row {
        int32_t ya, ye, from;
    };
    for (const Row &row : {Row{0, 15, 15}, {0, 6, 12}, {0, 12, 12}, {6, 7, 12}, {3, 5, 5}}) {
        TrackHandle h(form, {{5, 0}, {7, 1}, {3, 0}});
        h.set_window(row.ya, row.ye, row.ye - row.ya);
        h->skiptrack = note_skip;
        read(reader, &h);
        EXPECT_EQ(skipped_from, row.from) << row.ya << " to " << row.ye;
    }
}

TEST_P(EveryFixedReader, GivesTheFailureOfTheStepToTheNextTrack) {
    TrackHandle h(form, {{5, 0}, {7, 1}, {1, 0}}, LF_TRKEND);
    h->fysize = 12;
    h.set_window(0, 12, 12);
    expect_failure(&h, skip_name(form), "invalid end of track");
}

TEST_P(EveryFixedReader, LastTrackWithoutAnEndCodeMayEndWithTheData) {
    TrackHandle h(form, {{5, 0}, {7, 1}});
    EXPECT_EQ(read(reader, &h), ordered({{5, 0}, {7, one}}));
    EXPECT_TRUE(log.empty());
}

// ---- bad tracks -------------------------------------------------------------------------------

TEST_P(EveryFixedReader, TrackThatDoesNotBeginWithAZeroCode) {
    TrackHandle h(form, {{5, 0}}, LF_TRKBEGIN);
    expect_failure(&h, goto_name(form), "invalid begin of track");
}

TEST_P(EveryFixedReader, ZeroCodeWhereTheFirstRunIsDue) {
    TrackHandle h(form, {{0, 0}, {5, 0}});
    expect_failure(&h, goto_name(form), "file corrupted");
}

TEST_P(EveryFixedReader, ZeroCodeInTheWindowLeavesPixelsMissing) {
    TrackHandle h(form, {{5, 0}, {0, 0}, {5, 0}});
    h->fysize = 10;
    h.set_window(0, 10, 10);
    expect_failure(&h, "error count: 5");
    EXPECT_EQ(h.position(), unit) << "stands on the zero code";
    EXPECT_EQ(track.runs(), (Runs{{5, 0}}));
}

TEST_P(EveryFixedReader, DataThatEndInTheWindow) {
    TrackHandle h(form, {{5, 0}, {7, 1}});
    h->fysize = 20;
    h.set_window(0, 20, 20);
    expect_failure(&h, "unexpected EOF: last os error");
    EXPECT_EQ(h->bufptr, h->bufend);
    EXPECT_EQ(track.runs(), (Runs{{5, 0}})) << "the runs that were complete";
}

TEST_P(EveryFixedReader, DataThatEndInACode) {
    if (unit == 1) return;
    TrackHandle h(form, {{5, 0}, {7, 1}});
    h.chunk = unit + 1;
    expect_failure(&h, "unexpected EOF: last os error");
}

TEST_P(EveryFixedReader, DataThatEndInFrontOfTheWindow) {
    TrackHandle h(form, {});
    expect_failure(&h, goto_name(form), "unexpected EOF: last os error");
}

TEST_P(EveryFixedReader, DataThatEndBehindTheWindow) {
    TrackHandle h(form, {{5, 0}}, LF_TRKEND);
    expect_failure(&h, skip_name(form), "unexpected EOF: last os error");
}

TEST_P(EveryFixedReader, FillThatFailsIsTheReadersBehindTheWindowToo) {
    TrackHandle h(form, {{5, 0}}, LF_TRKEND);
    h.fills_allowed = 1;
    expect_failure(&h, "unexpected EOF: last os error");
}

TEST_P(EveryFixedReader, TracksOfMoreRunsThanTheBufferHolds) {
    TrackHandle h(form, {{5, 0}, {7, 1}, {3, 0}, {2, 1}, {0, 0}}, LF_TRKEND);
    for (uint32_t room = 1; room <= 3; ++room) {
        Track small(room);
        const lfrun back = small->base[room + 1];
        h->bufptr = h->buf;
        EXPECT_EQ(reader(h.get(), small.get()), -1);
        EXPECT_EQ(log.take(),
                  Lines{std::string(kind.name) + ": invalid argument | track buffer too small"});
        EXPECT_EQ(small->nruns, static_cast<int32_t>(room));
        EXPECT_EQ(small->base[room + 1].colour, back.colour);
    }
}

TEST_P(EveryFixedReader, TracksThatJustFitTheBuffer) {
    TrackHandle h(form, {{5, 0}, {7, 1}, {3, 0}, {2, 1}, {0, 0}}, LF_TRKEND);
    Track small(4);
    EXPECT_EQ(reader(h.get(), small.get()), 4);
    EXPECT_EQ(small.runs(), ordered({{5, 0}, {7, one}, {3, 0}, {2, one}}));
    EXPECT_EQ(small->base[5].colour, GT_END_GUARD);
}

TEST_P(EveryFixedReader, TrackBuffersWithoutStorage) {
    TrackHandle h(form, {{5, 0}, {0, 0}}, LF_TRKEND);
    trackbuf none = {};
    none.size = 10;
    EXPECT_EQ(reader(h.get(), &none), -1);
    EXPECT_EQ(log.take(),
              Lines{std::string(kind.name) + ": invalid argument | track buffer too small"});
}

// ---- tracks that come out too short or too long -----------------------------------------------

std::vector<int32_t> heard;
int32_t hook_answer;
int32_t hear(xvor_t *h, trackbuf *t, int32_t missing) {
    heard.push_back(missing);
    heard.push_back(t->nruns);
    heard.push_back(static_cast<int32_t>(h->bufptr - h->buf));
    return hook_answer;
}

TEST_P(EveryFixedReader, AHookMayAcceptAShortTrack) {
    TrackHandle h(form, {{5, 0}, {7, 1}, {0, 0}, {0, 0}}, LF_TRKEND);
    h->fysize = 20;
    h.set_window(0, 20, 20);
    h->shorttrack = hear;
    heard.clear();
    hook_answer = 0;
    EXPECT_EQ(read(reader, &h), ordered({{5, 0}, {7, one}}));
    EXPECT_EQ(heard, (std::vector<int32_t>{8, 2, static_cast<int32_t>(2 * unit)}));
    EXPECT_EQ(h.position(), 4 * unit);
    EXPECT_TRUE(log.empty());
}

TEST_P(EveryFixedReader, AHookMayRefuseAShortTrack) {
    TrackHandle h(form, {{5, 0}, {7, 1}, {0, 0}});
    h.set_window(0, 20, 20);
    h->shorttrack = hear;
    heard.clear();
    hook_answer = -1;
    EXPECT_EQ(reader(h.get(), track.get()), -1);
    EXPECT_EQ(heard.size(), 3u);
    EXPECT_TRUE(log.empty()) << "the hook has the word";
}

TEST_P(EveryFixedReader, AHookIsNotAskedAboutATrackOfTheRightLength) {
    TrackHandle h(form, {{5, 0}, {7, 1}, {0, 0}}, LF_TRKEND);
    h->shorttrack = hear;
    heard.clear();
    EXPECT_EQ(read(reader, &h).size(), 2u);
    EXPECT_TRUE(heard.empty());
}

TEST_P(EveryFixedReader, AnEmptyWindowMakesNoPixels) {
    TrackHandle h(form, {{5, 0}, {0, 0}}, LF_TRKEND);
    h.set_window(2, 2, 7);
    expect_failure(&h, "error count: 7");
    EXPECT_EQ(track->nruns, 0);
}

TEST_P(EveryFixedReader, AnOutputBelowNothingHasPixelsTooMany) {
    TrackHandle h(form, {{5, 0}, {0, 0}}, LF_TRKEND);
    h->ysize = -3;
    expect_failure(&h, kind.scaled ? "error count: -3" : "error count: -8");
}

// ---- scaling ----------------------------------------------------------------------------------

struct ScaledReader {
    Form form;
    lf_readtrack_fn read;
};
constexpr ScaledReader forward_readers[] = {
    {Form::fw8, read_fw8}, {Form::fw16, read_fw16}, {Form::fw88, read_fw88}};

TEST_F(FixedRead, ARunScaledToNothingVanishesAndItsNeighboursJoin) {
    for (const auto &[form, reader] : forward_readers) {
        // 1000 pixels as 500: the odd ones of a window go, of which pixel 101 is one.
        Codes codes = {{100, 0}, {1, 0}, {1, 1}, {100, 0}};
        for (int i = 0; i < 8; ++i)
            codes.push_back({i < 7 ? 100u : 98u, 0});
        TrackHandle h(form, codes);
        ASSERT_EQ(h->fysize, 1000);
        h->ysize = 500;
        EXPECT_EQ(read(reader, &h), (Runs{{500, 0}}));

        codes[1].length = 2; // pixel 102 stays
        codes.back().length = 97;
        TrackHandle even(form, codes);
        even->ysize = 500;
        EXPECT_EQ(read(reader, &even),
                  (Runs{{51, 0}, {1, form == Form::fw88 ? 1u : 255u}, {448, 0}}));
    }
}

TEST_F(FixedRead, OnePixelFillsAnyOutput) {
    for (const auto &[form, reader] : forward_readers) {
        TrackHandle h(form, {{1, 1}});
        h->ysize = 4;
        EXPECT_EQ(read(reader, &h), (Runs{{4, form == Form::fw88 ? 1u : 255u}}));
    }
}

TEST_F(FixedRead, TwoPixelsAsThreeGiveTheFirstTwo) {
    for (const auto &[form, reader] : forward_readers) {
        TrackHandle h(form, {{1, 0}, {1, 1}});
        h->ysize = 3;
        EXPECT_EQ(read(reader, &h), (Runs{{2, 0}, {1, form == Form::fw88 ? 1u : 255u}}));
    }
}

TEST_F(FixedRead, OutputAlwaysComesToItsLength) {
    for (const auto &[form, reader] : forward_readers) {
        for (const int32_t ysize : {1, 2, 3, 11, 12, 13, 100, 1000000, INT32_MAX}) {
            TrackHandle h(form, {{3, 0}, {4, 1}, {1, 0}, {4, 1}, {0, 0}}, LF_TRKEND);
            h->ysize = ysize;
            int64_t sum = 0;
            for (const auto &[length, colour] : read(reader, &h))
                sum += length;
            EXPECT_EQ(sum, ysize);
        }
    }
    EXPECT_TRUE(log.empty());
}

TEST_F(FixedRead, LongRunsMeetLongOutputs) {
    TrackHandle h(Form::fw16, {{32767, 0}, {32767, 1}, {32767, 0}, {32767, 0}});
    h->ysize = INT32_MAX;
    // The first quarter of 2^31 - 1, rounded to the nearest; the second, and both others.
    EXPECT_EQ(read(read_fw16, &h), (Runs{{536870912, 0}, {536870912, 255}, {1073741823, 0}}));
}

TEST_F(FixedRead, TrackOfOneRunBeyondACodeIsOneRunAgain) {
    TrackHandle h(Form::fw16, {{32767, 1}, {32767, 1}, {4466, 1}, {0, 0}}, LF_TRKEND);
    ASSERT_EQ(h->fysize, 70000);
    EXPECT_EQ(read(read_fw16_ns, &h), (Runs{{70000, 255}}));
    h->bufptr = h->buf;
    h->ya = 40000;
    EXPECT_EQ(goto16bol(h.get()), 65534 - 40000);
    EXPECT_EQ(h.position(), 2u);
}

TEST_F(FixedRead, ReversedRunsAreTheForwardOnesMirrored) {
    const Codes codes = {{5, 0}, {3, 1}, {1, 0}, {1, 1}, {9, 0}, {4, 1}, {0, 0}};
    for (const int32_t ysize : {5, 9, 17, 23, 50}) {
        TrackHandle h(Form::fw16, codes, LF_TRKEND);
        h->ysize = ysize;
        Runs forward = read(read_fw16, &h);
        h->bufptr = h->buf;
        std::reverse(forward.begin(), forward.end());
        EXPECT_EQ(read(rev_read_fw16, &h), forward);
    }
}

// A zero code where the rest of the window would have come to nothing: no pixel is missing, and the
// walk to the next track finds it.
TEST_F(FixedRead, ZeroCodeBehindTheLastOutputPixelIsFoundByTheStep) {
    TrackHandle h(Form::fw16, {{9, 0}, {0, 0}, {1, 0}});
    h->ysize = 1;
    EXPECT_EQ(read_fw16(h.get(), track.get()), -1);
    EXPECT_EQ(log.take(), Lines{"skip16b: error count: 1"});
}

TEST_F(FixedRead, TwoBitsOfOneColourStayTwoRuns) {
    TrackHandle h(Form::fw8, {{5, 0}, {5, 1}});
    h->ctable[255] = h->ctable[0];
    EXPECT_EQ(read(read_fw8_ns, &h), (Runs{{5, 0}, {5, 0}}));
}

TEST_F(FixedRead, TwoNumbersOfOneColourAreOneRun) {
    TrackHandle h(Form::fw88, {{5, 3}, {5, 4}});
    h->ctable[3] = h->ctable[4] = 9;
    EXPECT_EQ(read(read_fw88_ns, &h), (Runs{{10, 9}}));
}

TEST_F(FixedRead, ReadsOneTrackFromAllForms) {
    const std::vector<uint8_t> fw8 = {0x7F, 0x49, 0xE4, 0x00};
    const std::vector<uint8_t> fw88 = {0xC8, 0x00, 0x64, 0x01, 0x00, 0x00};
    EXPECT_EQ(coded(Form::fw8, {{127, 0}, {73, 0}, {100, 1}, {0, 0}}), fw8);
    EXPECT_EQ(coded(Form::fw88, {{200, 0}, {100, 1}, {0, 0}}), fw88);
    TrackHandle a(Form::fw8, {{127, 0}, {73, 0}, {100, 1}, {0, 0}}, LF_TRKEND);
    EXPECT_EQ(read(read_fw8_ns, &a), (Runs{{200, 0}, {100, 255}}));
    TrackHandle b(Form::fw88, {{200, 0}, {100, 1}, {0, 0}}, LF_TRKEND);
    EXPECT_EQ(read(read_fw88_ns, &b), (Runs{{200, 0}, {100, 1}}));
    TrackHandle c(Form::fw16, {{200, 0}, {100, 1}, {0, 0}}, LF_TRKEND);
    EXPECT_EQ(read(read_fw16_ns, &c), (Runs{{200, 0}, {100, 255}}));
}

} // namespace
} // namespace vor::test
