// The deflate layer of files that are written.
#include "support/failing_calls.h"
#include "support/failing_malloc.h"
#include "support/native_test.h"

namespace vor::test {
namespace {

class DeflateWriting : public NativeTest {
protected:
    // The tracks of the file, each as one stream from its entry to the next, uncompressed.
    std::vector<Bytes> streams(size_t room, bool swapped = false) const {
        const VorView file = view(swapped);
        const std::vector<int64_t> table = file.seek_table();
        std::vector<Bytes> result;
        for (size_t i = 0; i < table.size(); ++i) {
            if (table[i] < 0) continue;
            int64_t end = file.u32(VorBytes::seekoff_at);
            for (size_t k = table.size(); k-- > i + 1;) {
                if (table[k] >= 0) end = table[k];
            }
            result.push_back(
                inflated(file.part(static_cast<size_t>(table[i]), static_cast<size_t>(end)), room));
        }
        return result;
    }
};

TEST_F(DeflateWriting, EachTrackIsOneStreamOfWhatAPlainFileWouldHold) {
    for (const uint32_t format : {1u, 2u, 3u}) {
        for (const bool swapped : {false, true}) {
            Handle h = create(format | VT_DEFLATED, 3, 300, swapped ? LF_SWAPPED : 0);
            EXPECT_EQ(0, write(h, 0, {{100, 0}, {200, 1}}));
            EXPECT_EQ(0, write(h, 1, {{7, 1}, {1, 0}, {292, 1}}));
            EXPECT_EQ(0, write(h, 2, {{299, 0}, {1, 1}}));
            EXPECT_EQ(0, close_now(&h));

            Codes codes[] = {{{100, 0}, {200, 1}, {0, 0}},
                             {{7, 1}, {1, 0}, {292, 1}, {0, 0}},
                             {{299, 0}, {1, 1}, {0, 0}}};
            const uint32_t limit = format == 1 ? 32767 : format == 2 ? 127 : 255;
            std::vector<Bytes> expected;
            for (const Codes &track : codes) {
                Codes split;
                for (auto [length, colour] : track) {
                    for (; length > limit; length -= limit)
                        split.emplace_back(limit, colour);
                    split.emplace_back(length, colour);
                }
                const bool little = (std::endian::native == std::endian::little) != swapped;
                expected.push_back(code_bytes(format, little, split));
            }
            EXPECT_EQ(expected, streams(1000, swapped)) << format << swapped;
            EXPECT_EQ(256, view(swapped).seek_table()[0]);
        }
    }
}

TEST_F(DeflateWriting, StreamIsThatOfLevelNineWithDefaults) {
    Handle h = create(VT_FW8 | VT_DEFLATED, 1, 2000);
    Runs runs;
    Codes codes;
    for (uint32_t i = 0; i < 1000; ++i) {
        runs.emplace_back(1 + i % 3, i % 2);
        codes.emplace_back(1 + i % 3, i % 2);
    }
    codes.emplace_back(0, 0);
    EXPECT_EQ(0, write(h, 0, runs));
    EXPECT_EQ(0, close_now(&h));
    const Bytes expected = deflated(code_bytes(2, true, codes));
    EXPECT_EQ(expected, view().part(256, view().u32(VorBytes::seekoff_at)));
}

TEST_F(DeflateWriting, AllBlankTracksLeaveMarksAlone) {
    for (const uint32_t format : {1u, 2u, 3u}) {
        Handle h = create(format | VT_DEFLATED, 4, 100);
        for (int32_t i = 0; i < 4; ++i)
            EXPECT_EQ(0, write(h, i, {{100, i == 2 ? 1u : 0u}}));
        EXPECT_EQ(0, close_now(&h));
        EXPECT_EQ(256u, view().u32(VorBytes::seekoff_at));
        EXPECT_EQ((std::vector<int64_t>{-1, -1, format == 3 ? -2 : -256, -1}), view().seek_table());
        h = open();
        EXPECT_EQ((Runs{{100, format == 3 ? 1u : 255u}}), read(h, 2));
    }
}

TEST_F(DeflateWriting, BlankTracksAreMarksEvenIfTracksAreToBeCodedLiterally) {
    Handle h = create(VT_FW8 | VT_DEFLATED, 1, 100, LF_ASIS);
    EXPECT_EQ(0, lfcheck(h.get()));
    EXPECT_FALSE(has_flag(h, LF_ASIS));
    EXPECT_TRUE(has_flag(h, LF_NEEDSEEKTAB));
    EXPECT_EQ(0, write(h, 0, {{100, 0}}));
    EXPECT_EQ(0, close_now(&h));
    EXPECT_EQ((std::vector<int64_t>{-1}), view().seek_table());
}

TEST_F(DeflateWriting, UnknownSchemeBecomesDeflate) {
    for (const uint32_t scheme : {0x10u, 0x20u, 0x80u, 0xF0u, 0xC0u}) {
        Handle h = create(VT_FW8 | scheme, 1, 100);
        EXPECT_EQ(0, write(h, 0, {{40, 0}, {60, 1}}));
        EXPECT_EQ(static_cast<int32_t>(VT_FW8 | VT_DEFLATED), h->subtype);
        EXPECT_EQ(0, close_now(&h));
        EXPECT_EQ(lines({"setwrite: warning | bad compression, using zip/deflate"}),
                  reports.take());
        EXPECT_EQ(0x42u, view().u32(VorBytes::type_at));
        EXPECT_EQ((Runs{{40, 0}, {60, 255}}), read(open(), 0));
    }
}

TEST_F(DeflateWriting, PlainFileIsLeftAlone) {
    const Handle h = create(VT_FW8, 1, 100);
    EXPECT_EQ(0, lfcheck(h.get()));
    EXPECT_EQ(0, setwrite(h.get()));
    EXPECT_EQ(lf_flushb, h->flushbuf);
    EXPECT_EQ(nullptr, priv(h.get())->z);
}

TEST_F(DeflateWriting, LayerStandsBetweenCodecAndFile) {
    for (const bool swapped : {false, true}) {
        const Handle h = create(VT_FW16 | VT_DEFLATED, 1, 100, swapped ? LF_SWAPPED : 0);
        EXPECT_EQ(0, lfcheck(h.get()));
        EXPECT_EQ(zwritetrack, h->writetrack);
        EXPECT_EQ(swapped ? zflushbuf_sw : zflushbuf, h->flushbuf);
        EXPECT_EQ(findrle_functions("fw16")->write, priv(h.get())->z->codecwrite);
        EXPECT_NE(nullptr, priv(h.get())->z);
        EXPECT_EQ(208u, h->bufsize);
        EXPECT_EQ(h->buf, h->bufptr);
        EXPECT_EQ(h->buf + h->bufsize, h->bufend);
    }
}

TEST_F(DeflateWriting, LongTracksOfManyPiecesComeOutWhole) {
    Handle h = create(VT_FW88 | VT_DEFLATED, 2, 60000);
    std::vector<Runs> tracks(2);
    uint32_t state = 1;
    for (Runs &runs : tracks) {
        for (uint32_t i = 0; i < 60000; ++i) {
            state = state * 1664525 + 1013904223;
            uint32_t colour = state >> 24;
            if (!runs.empty() && runs.back().second == colour) colour ^= 1;
            runs.emplace_back(1, colour);
        }
    }
    EXPECT_EQ(0, write(h, 0, tracks[0]));
    EXPECT_EQ(0, write(h, 1, tracks[1]));
    const int64_t end = lftell(h.get());
    EXPECT_EQ(0, close_now(&h));
    EXPECT_EQ(end, view().u32(VorBytes::seekoff_at));
    EXPECT_GT(end, 60000); // noise does not shrink: many pieces of output went out
    h = open();
    EXPECT_EQ(tracks, read_all(h));
}

TEST_F(DeflateWriting, SecondCheckStartsAnewAndKeepsTheCodec) {
    Handle h = create(VT_FW8 | VT_DEFLATED, 2, 100);
    EXPECT_EQ(0, lfcheck(h.get()));
    EXPECT_EQ(0, lfsetsize(h.get(), 2, 500));
    EXPECT_EQ(0, lfcheck(h.get()));
    EXPECT_EQ(512u, h->bufsize);
    EXPECT_EQ(findrle_functions("fw8")->write, priv(h.get())->z->codecwrite);
    EXPECT_EQ(0, write(h, 0, {{100, 0}, {400, 1}}));
    EXPECT_EQ(0, write(h, 1, {{500, 1}}));
    EXPECT_EQ(0, close_now(&h));
    h = open();
    EXPECT_EQ((Runs{{100, 0}, {400, 255}}), read(h, 0));
}

TEST_F(DeflateWriting, InitFailureIsReportedWithZlibsText) {
    const struct {
        const char *message, *report;
    } rows[] = {{nullptr, "deflate init: last os error | <unknown error>"},
                {"no luck", "deflate init: last os error | no luck"}};
    for (const auto &row : rows) {
        Handle h = create(VT_FW8 | VT_DEFLATED, 1, 100);
        {
            const FailingCall fails(Call::deflate_init, 1, row.message);
            EXPECT_EQ(-1, lfcheck(h.get()));
        }
        EXPECT_EQ(row.report, reports.take().at(0));
        EXPECT_EQ(-1, close_now(&h)); // nothing to flush
        reports.take();
    }
}

TEST_F(DeflateWriting, ZlibFailuresInATrackAreReported) {
    for (const Call call : {Call::deflate_reset, Call::deflate}) {
        for (const bool swapped : {false, true}) {
            Handle h = create(VT_FW16 | VT_DEFLATED, 2, 100, swapped ? LF_SWAPPED : 0);
            EXPECT_EQ(0, lfcheck(h.get()));
            {
                const FailingCall fails(call, 1, "broken");
                EXPECT_EQ(-1, write(h, 0, {{40, 0}, {60, 1}}));
            }
            EXPECT_EQ(lines({"zlib deflate: last os error | broken"}), reports.take());
            {
                const FailingCall fails(call, 1);
                EXPECT_EQ(-1, write(h, 0, {{40, 0}, {60, 1}}));
            }
            EXPECT_EQ(lines({"zlib deflate: last os error | <unknown error>"}), reports.take());
            EXPECT_EQ(-1, close_now(&h));
            EXPECT_EQ(0u, view(swapped).u32(VorBytes::type_at)); // does not pass for a file
        }
    }
}

TEST_F(DeflateWriting, WriteFailuresNameTheFlush) {
    for (const bool swapped : {false, true}) {
        Handle h = create(VT_FW16 | VT_DEFLATED, 2, 100, swapped ? LF_SWAPPED : 0);
        EXPECT_EQ(0, lfcheck(h.get()));
        {
            const FailingCall fails(Call::write, 1);
            EXPECT_EQ(-1, write(h, 0, {{40, 0}, {60, 1}}));
        }
        EXPECT_EQ(lines({swapped ? "zflushbuf_sw: last os error" : "zflushbuf: last os error"}),
                  reports.take());
        EXPECT_EQ(-1, close_now(&h));
        EXPECT_EQ(0u, view(swapped).u32(VorBytes::type_at));
    }
}

TEST_F(DeflateWriting, CodecFailureIsPassedOn) {
    const Handle h = create(VT_FW8 | VT_DEFLATED, 1, 100);
    EXPECT_EQ(0, lfcheck(h.get()));
    priv(h.get())->z->codecwrite = [](xvor_t *, trackbuf *) { return int32_t{-7}; };
    EXPECT_EQ(-1, write(h, 0, {{40, 0}, {60, 1}}));
    EXPECT_EQ(256, h->bufpos);
}

TEST_F(DeflateWriting, NoMemoryForTheTrackBuffer) {
    const Handle h = create(VT_FW8 | VT_DEFLATED, 1, 100);
    const FailingMalloc fails(1);
    EXPECT_EQ(-1, lfcheck(h.get()));
    EXPECT_EQ("vor_check: out of memory", reports.take().at(0));
}

} // namespace
} // namespace vor::test
