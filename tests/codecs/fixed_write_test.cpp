#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "codecs/fixed_readers.h"
#include "support/owned_handles.h"
#include "support/report_log.h"

namespace vor::test {
namespace {

struct FixedWriter {
    const char *name;
    Form form;
    lf_writetrack_fn write;
};
constexpr FixedWriter fixed_writers[] = {{"write_fw8", Form::fw8, write_fw8},
                                         {"write_fw16", Form::fw16, write_fw16},
                                         {"write_fw88", Form::fw88, write_fw88}};

// A handle that writes tracks of 300 pixels, with a seek table of four entries.
class WritingHandle : public CodecHandle {
public:
    explicit WritingHandle(uint32_t flags = 0, uint32_t bufsize = LF_BUFSIZE)
        : CodecHandle({}, bufsize) {
        get()->flags = flags;
        get()->fysize = get()->ysize = get()->ye = 300;
        begin_writing(4);
    }
};

class FixedWrite : public ::testing::TestWithParam<FixedWriter> {
protected:
    Form form = GetParam().form;
    uint32_t most = longest_code(form);
    std::string name = GetParam().name;
    ReportLog log;
    Track track{256};

    int32_t write(CodecHandle *h, const Runs &runs) {
        track.put(runs);
        return GetParam().write(h->get(), track.get());
    }
    // What the writer makes of the runs.
    Codes codes_of(const Runs &runs, uint32_t flags = 0) {
        WritingHandle h(flags);
        EXPECT_EQ(write(&h, runs), 0);
        return decoded(form, h.written());
    }
};

std::string writer_name(const ::testing::TestParamInfo<FixedWriter> &info) {
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(Writers, FixedWrite, ::testing::ValuesIn(fixed_writers), writer_name);

// ---- codes ------------------------------------------------------------------------------------

TEST_P(FixedWrite, ARunIsACodeAndTheZeroCodesStandAround) {
    EXPECT_EQ(codes_of({{20, 0}, {10, 1}}), (Codes{{20, 0}, {10, 1}}));
    EXPECT_EQ(codes_of({{20, 0}, {10, 1}}, LF_TRKEND), (Codes{{20, 0}, {10, 1}, {0, 0}}));
    EXPECT_EQ(codes_of({{20, 0}, {10, 1}}, LF_TRKBEGIN), (Codes{{0, 0}, {20, 0}, {10, 1}}));
    EXPECT_EQ(codes_of({{20, 1}, {10, 0}}, LF_TRKBEGIN | LF_TRKEND),
              (Codes{{0, 0}, {20, 1}, {10, 0}, {0, 0}}));
}

TEST_P(FixedWrite, ALongRunIsFullCodesAndTheRest) {
    EXPECT_EQ(codes_of({{most, 1}, {1, 0}}), (Codes{{most, 1}, {1, 0}}));
    EXPECT_EQ(codes_of({{most + 1, 1}, {1, 0}}), (Codes{{most, 1}, {1, 1}, {1, 0}}));
    EXPECT_EQ(codes_of({{2 * most, 0}, {1, 1}}), (Codes{{most, 0}, {most, 0}, {1, 1}}));
    EXPECT_EQ(codes_of({{3 * most + 7, 1}, {1, 0}}),
              (Codes{{most, 1}, {most, 1}, {most, 1}, {7, 1}, {1, 0}}));
}

TEST_P(FixedWrite, NeighboursOfOneFileColourAreJoined) {
    EXPECT_EQ(codes_of({{5, 1}, {6, 1}, {7, 0}, {8, 0}}), (Codes{{11, 1}, {15, 0}}));
    EXPECT_EQ(codes_of({{most, 1}, {6, 1}}), (Codes{{most, 1}, {6, 1}}));
}

TEST_P(FixedWrite, AnEmptyRunLeavesNoCode) {
    EXPECT_EQ(codes_of({{5, 1}, {0, 0}, {7, 1}}, LF_TRKEND), (Codes{{5, 1}, {7, 1}, {0, 0}}));
    EXPECT_EQ(codes_of({{0, 1}, {7, 0}}, LF_TRKEND), (Codes{{7, 0}, {0, 0}}));
    EXPECT_EQ(codes_of({{7, 1}, {0, 0}}, LF_TRKEND), (Codes{{7, 1}, {0, 0}}));
}

TEST_P(FixedWrite, ATrackWithoutRunsHasItsZeroCodesAlone) {
    EXPECT_EQ(codes_of({}, LF_TRKBEGIN | LF_TRKEND), (Codes{{0, 0}, {0, 0}}));
    EXPECT_EQ(codes_of({}), (Codes{}));
}

TEST_P(FixedWrite, LengthsAreNotHeldAgainstTheTracks) {
    EXPECT_EQ(codes_of({{1, 0}, {2, 1}}), (Codes{{1, 0}, {2, 1}}));
    Codes long_track;
    for (uint32_t left = 40000; left > 0; left -= std::min(left, most))
        long_track.push_back({std::min(left, most), 1});
    long_track.push_back({1, 0});
    EXPECT_EQ(codes_of({{40000, 1}, {1, 0}}), long_track);
}

TEST_P(FixedWrite, MirrorWritesTheRunsFromTheLast) {
    EXPECT_EQ(codes_of({{5, 0}, {6, 1}, {7, 0}}, LF_YMIRROR | LF_TRKEND),
              (Codes{{7, 0}, {6, 1}, {5, 0}, {0, 0}}));
}

TEST_P(FixedWrite, ColoursBeyondTheTableStandForThemselves) {
    const uint32_t beyond = 0x10007;
    const uint32_t expected = form == Form::fw88 ? 7 : 1;
    EXPECT_EQ(codes_of({{5, beyond}, {6, 0}}), (Codes{{5, expected}, {6, 0}}));
}

TEST_P(FixedWrite, GoesOnInTheNextBufferWhenOneIsFull) {
    const Runs runs = {{5, 0}, {6, 1}, {7, 0}, {8, 1}, {9, 0}};
    const Codes expected = {{5, 0}, {6, 1}, {7, 0}, {8, 1}, {9, 0}, {0, 0}};
    for (uint32_t bufsize = 2; bufsize <= 14; ++bufsize) {
        WritingHandle h(LF_TRKEND, bufsize);
        EXPECT_EQ(write(&h, runs), 0);
        EXPECT_EQ(decoded(form, h.written()), expected) << bufsize;
        EXPECT_LE(h->bufptr, h->bufend);
    }
}

TEST_P(FixedWrite, AFlushThatFailsIsReported) {
    WritingHandle h(0, 4);
    h.flushes_allowed = 1;
    EXPECT_EQ(write(&h, {{5, 0}, {6, 1}, {7, 0}, {8, 1}, {9, 0}, {1, 1}, {1, 0}, {1, 1}, {1, 0}}),
              -1);
    EXPECT_EQ(log.take(), Lines{name + ": last os error"});
    EXPECT_EQ(h->error, uint32_t{LFE_OS});
}

TEST_P(FixedWrite, ABufferThatHoldsNoCodeIsAFailure) {
    if (form == Form::fw8) return;
    WritingHandle h(0, 1);
    EXPECT_EQ(write(&h, {{5, 0}, {6, 1}}), -1);
    EXPECT_EQ(log.take(), Lines{name + ": last os error"});
}

TEST_P(FixedWrite, LongestTrackIsKeptInMaxruns) {
    WritingHandle h(LF_TRKBEGIN | LF_TRKEND);
    h->maxruns = 3;
    EXPECT_EQ(write(&h, {{5, 1}}), 0);
    EXPECT_EQ(h->maxruns, 3);
    EXPECT_EQ(write(&h, {{most + 1, 0}, {6, 1}}), 0);
    EXPECT_EQ(h->maxruns, 5) << "the zero codes count";
    EXPECT_EQ(write(&h, {{5, 0}, {6, 1}}), 0);
    EXPECT_EQ(h->maxruns, 5);
}

// ---- blank tracks -----------------------------------------------------------------------------

TEST_P(FixedWrite, ABlankTrackIsAMarkAndNoBytes) {
    struct Row {
        uint32_t colour;
        int64_t two_colour_mark;
        int64_t number_mark;
    };
    for (const Row &row : {Row{0, -1, -1}, {1, -256, -2}, {255, -256, -256}}) {
        WritingHandle h(LF_TRKBEGIN | LF_TRKEND);
        h->track = 2;
        h->maxruns = 0;
        EXPECT_EQ(write(&h, {{300, row.colour}}), 0);
        EXPECT_EQ(h->seektab[2], form == Form::fw88 ? row.number_mark : row.two_colour_mark);
        EXPECT_EQ(h->seektab[1], WritingHandle::unset);
        EXPECT_EQ(h->seektab[3], WritingHandle::unset);
        EXPECT_TRUE(h.written().empty());
        EXPECT_EQ(h->maxruns, 0);
    }
}

TEST_P(FixedWrite, ABlankTracksColourGoesThroughTheTable) {
    WritingHandle h;
    h->ctable[7] = 0;
    EXPECT_EQ(write(&h, {{300, 7}}), 0);
    EXPECT_EQ(h->seektab[0], -1);
    h->ctable[7] = 9;
    h->track = 1;
    EXPECT_EQ(write(&h, {{300, 7}}), 0);
    EXPECT_EQ(h->seektab[1], form == Form::fw88 ? -10 : -256);
}

TEST_P(FixedWrite, ATrackIsCodedWhereItIsNotBlank) {
    const uint32_t one = 1;
    struct Row {
        const char *why;
        uint32_t flags;
        Runs runs;
    };
    const Row rows[] = {
        {"every track literally", LF_ASIS, {{300, one}}},
        {"two runs of one colour", 0, {{200, one}, {100, one}}},
        {"not the whole length", 0, {{299, one}}},
        {"more than the whole length", 0, {{301, one}}},
    };
    for (const Row &row : rows) {
        WritingHandle h(row.flags | LF_TRKEND);
        EXPECT_EQ(write(&h, row.runs), 0);
        EXPECT_EQ(h->seektab[0], WritingHandle::unset) << row.why;
        uint32_t pixels = 0;
        for (const Code &code : decoded(form, h.written()))
            pixels += code.length;
        uint32_t expected = 0;
        for (const auto &[length, colour] : row.runs)
            expected += length;
        EXPECT_EQ(pixels, expected) << row.why;
    }
}

TEST_P(FixedWrite, ATrackWithoutAPlaceForItsMarkIsCoded) {
    WritingHandle none;
    none.begin_writing(0);
    EXPECT_EQ(write(&none, {{300, 1}}), 0);
    EXPECT_FALSE(none.written().empty());

    WritingHandle beyond;
    beyond->track = 4;
    EXPECT_EQ(write(&beyond, {{300, 1}}), 0);
    EXPECT_FALSE(beyond.written().empty());

    WritingHandle below;
    below->track = -1;
    EXPECT_EQ(write(&below, {{300, 1}}), 0);
    EXPECT_FALSE(below.written().empty());
}

// ---- the forms --------------------------------------------------------------------------------

std::vector<uint8_t> bytes_of(lf_writetrack_fn writer, const Runs &runs, uint32_t flags) {
    WritingHandle h(flags);
    Track track;
    track.put(runs);
    EXPECT_EQ(writer(h.get(), track.get()), 0);
    return h.written();
}

TEST(FixedWriteForms, WritesOneTrackInAllForms) {
    const Runs runs = {{200, 0}, {100, 1}};
    EXPECT_EQ(bytes_of(write_fw8, runs, LF_TRKEND), (std::vector<uint8_t>{0x7F, 0x49, 0xE4, 0x00}));
    EXPECT_EQ(bytes_of(write_fw88, runs, LF_TRKEND),
              (std::vector<uint8_t>{0xC8, 0x00, 0x64, 0x01, 0x00, 0x00}));
    const std::vector<uint8_t> fw16 = bytes_of(write_fw16, runs, LF_TRKEND);
    ASSERT_EQ(fw16.size(), 6u);
    EXPECT_EQ(decoded(Form::fw16, fw16), (Codes{{200, 0}, {100, 1}, {0, 0}}));
}

TEST(FixedWriteForms, LongestCodes) {
    EXPECT_EQ(bytes_of(write_fw8, {{127, 0}}, 0), (std::vector<uint8_t>{0x7F}));
    EXPECT_EQ(bytes_of(write_fw8, {{127, 1}}, 0), (std::vector<uint8_t>{0xFF}));
    EXPECT_EQ(decoded(Form::fw16, bytes_of(write_fw16, {{32767, 1}}, 0)), (Codes{{32767, 1}}));
    EXPECT_EQ(decoded(Form::fw16, bytes_of(write_fw16, {{32768, 1}}, 0)),
              (Codes{{32767, 1}, {1, 1}}));
}

TEST(FixedWriteForms, AnyColourThatIsNotMappedToZeroReadsBackAsEntry255) {
    const std::vector<uint8_t> bytes = bytes_of(write_fw8, {{5, 7}, {6, 0}}, LF_TRKEND);
    EXPECT_EQ(bytes, (std::vector<uint8_t>{0x85, 0x06, 0x00}));
    TrackHandle h(Form::fw8, decoded(Form::fw8, bytes), LF_TRKEND);
    h->ctable[255] = 99;
    Track track;
    EXPECT_EQ(read_fw8_ns(h.get(), track.get()), 2);
    EXPECT_EQ(track.runs(), (Runs{{5, 99}, {6, 0}}));
}

TEST(FixedWriteForms, TwoColourFormsGoByTheTableNotByTheColour) {
    WritingHandle h;
    h->ctable[0] = 3;
    h->ctable[1] = 0;
    Track track;
    track.put({{5, 0}, {6, 1}});
    EXPECT_EQ(write_fw16(h.get(), track.get()), 0);
    EXPECT_EQ(decoded(Form::fw16, h.written()), (Codes{{5, 1}, {6, 0}}));
}

TEST(FixedWriteForms, Fw88StoresTheTablesEntryAndNotesTheColours) {
    WritingHandle h(LF_TRKEND);
    h->ctable[3] = 30;
    h->ctable[4] = 30;
    Track track;
    track.put({{5, 3}, {6, 4}, {7, 200}, {0, 77}, {1, 8}});
    EXPECT_EQ(write_fw88(h.get(), track.get()), 0);
    EXPECT_EQ(decoded(Form::fw88, h.written()), (Codes{{11, 30}, {7, 200}, {1, 8}, {0, 0}}));
    for (int i = 0; i < 256; ++i) {
        const bool used = i == 30 || i == 200 || i == 8;
        EXPECT_EQ(h->colorinfo[i], used ? 1 : 0) << i;
    }
}

TEST(FixedWriteForms, Fw88NotesTheColourOfABlankTrack) {
    WritingHandle h;
    h->ctable[3] = 30;
    Track track;
    track.put({{300, 3}});
    EXPECT_EQ(write_fw88(h.get(), track.get()), 0);
    EXPECT_EQ(h->seektab[0], -31);
    EXPECT_EQ(h->colorinfo[30], 1);
    EXPECT_EQ(h->colorinfo[3], 0);
}

TEST(FixedWriteForms, TwoColourFormsNoteNoColours) {
    WritingHandle h;
    Track track;
    track.put({{5, 3}, {6, 0}});
    EXPECT_EQ(write_fw8(h.get(), track.get()), 0);
    EXPECT_EQ(write_fw16(h.get(), track.get()), 0);
    for (const uint8_t used : h->colorinfo)
        EXPECT_EQ(used, 0);
}

// Sums beyond 32 bits come out in full codes all the same.
TEST(FixedWriteForms, RunsThatAddUpBeyond32BitsAreCodedInFull) {
    WritingHandle h;
    Track track;
    track.put({{UINT32_MAX, 1}, {1, 1}});
    EXPECT_EQ(write_fw16(h.get(), track.get()), 0);
    const Codes codes = decoded(Form::fw16, h.written());
    uint64_t sum = 0;
    for (const Code &code : codes)
        sum += code.length;
    EXPECT_EQ(sum, uint64_t{1} << 32);
    EXPECT_EQ(codes.size(), ((uint64_t{1} << 32) + 32766) / 32767);
}

} // namespace
} // namespace vor::test
