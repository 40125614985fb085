// The deflate layer of files that are read.
#include "platform/kel.h"
#include "support/failing_calls.h"
#include "support/failing_malloc.h"
#include "support/native_test.h"

namespace vor::test {
namespace {

constexpr uint32_t pixels = 1000;

class DeflateReading : public NativeTest {
protected:
    // Track i: up to 100 pixels of colour 0, then runs of one to four pixels that look like noise.
    static Codes codes_of(uint32_t i) {
        Codes codes = {{i % 100 + 1, 0}};
        uint32_t left = pixels - codes[0].first;
        uint32_t state = i;
        for (uint32_t colour = 1; left > 0; colour ^= 1) {
            state = state * 1664525 + 1013904223;
            const uint32_t length = std::min(left, 1 + (state >> 30));
            codes.emplace_back(length, colour);
            left -= length;
        }
        return codes;
    }
    static Runs runs_of(uint32_t i, uint32_t format) {
        Runs runs;
        for (const auto &[length, colour] : codes_of(i))
            runs.emplace_back(length, colour != 0 && format != 3 ? 255 : colour);
        return runs;
    }

    static VorBytes zipped_file(uint32_t format, uint32_t tracks, bool swapped = false) {
        VorBytes file(format | VT_DEFLATED, tracks, pixels, swapped);
        for (uint32_t i = 0; i < tracks; ++i)
            file.track(codes_of(i));
        file.seek_table();
        return file;
    }

    static Runs read_now(const Handle &h, int32_t n, int32_t *result) {
        Track track(pixels + 1);
        *result = lfread(h.get(), track.get(), n);
        return track.runs();
    }
};

TEST_F(DeflateReading, TracksReadAsTheirPlainTwins) {
    for (const uint32_t format : {1u, 2u, 3u}) {
        for (const bool swapped : {false, true}) {
            const Handle h = checked(zipped_file(format, 20, swapped));
            for (uint32_t i = 0; i < 20; ++i)
                EXPECT_EQ(runs_of(i, format), read(h, static_cast<int32_t>(i)))
                    << format << swapped;
        }
    }
}

TEST_F(DeflateReading, FillsSwapTheWordsOfFw16Alone) {
    for (const bool swapped : {false, true}) {
        for (const uint32_t format : {1u, 2u, 3u}) {
            const Handle h = checked(zipped_file(format, 1, swapped));
            EXPECT_EQ(swapped && format == 1 ? zfillbuf_sw : zfillbuf, h->fillbuf);
            EXPECT_EQ(zseek, h->seekfn);
            EXPECT_NE(nullptr, priv(h.get())->z);
        }
    }
}

TEST_F(DeflateReading, TracksInReverseOrderEachNeedASeek) {
    const Handle h = checked(zipped_file(2, 200));
    const long before = calls_of(Call::seek);
    for (int32_t i = 199; i >= 0; --i)
        ASSERT_EQ(runs_of(static_cast<uint32_t>(i), 2), read(h, i)) << i;
    EXPECT_EQ(200, calls_of(Call::seek) - before);
}

TEST_F(DeflateReading, TracksInOrderCostAReadForEach4096Bytes) {
    const VorBytes file = zipped_file(2, 200);
    const Handle h = checked(file);
    const long seeks = calls_of(Call::seek);
    const long reads = calls_of(Call::read);
    for (int32_t i = 0; i < 200; ++i)
        ASSERT_EQ(runs_of(static_cast<uint32_t>(i), 2), read(h, i));
    const int64_t bytes = file.get(VorBytes::seekoff_at) - int64_t{256};
    ASSERT_GT(bytes, 3 * 4096);
    EXPECT_EQ(1, calls_of(Call::seek) - seeks);
    EXPECT_EQ((bytes + 4095) / 4096, calls_of(Call::read) - reads);
}

TEST_F(DeflateReading, EntryInsideTheChunkIsServedWithoutFileAccess) {
    VorBytes file = zipped_file(2, 200);
    // The file begins with a whole chunk; one track begins in it, the next exactly behind it.
    const Handle h = checked(file);
    int32_t result = 0;
    read_now(h, 0, &result);
    const vorpriv *p = priv(h.get());
    ASSERT_EQ(256, p->z->zbufpos);
    ASSERT_EQ(4096, p->z->zbuflen);

    h->track = 1;
    h->seektab[1] = 256 + 4095;
    long seeks = calls_of(Call::seek);
    long reads = calls_of(Call::read);
    EXPECT_EQ(0, zbuf_setpos(h.get()));
    EXPECT_EQ(p->z->zbuf + 4095, p->z->zs.next_in);
    EXPECT_EQ(1u, p->z->zs.avail_in);
    EXPECT_EQ(256 + 4095, h->bufpos);
    EXPECT_EQ(0, calls_of(Call::seek) - seeks);

    h->seektab[1] = 256 + 4096;
    EXPECT_EQ(0, zbuf_setpos(h.get()));
    EXPECT_EQ(1, calls_of(Call::seek) - seeks);
    EXPECT_EQ(256 + 4096, p->z->zbufpos);
    EXPECT_EQ(0, p->z->zbuflen);
    EXPECT_EQ(0u, p->z->zs.avail_in);

    h->seektab[1] = 256 + 4095; // before the chunk now
    EXPECT_EQ(0, zbuf_setpos(h.get()));
    EXPECT_EQ(2, calls_of(Call::seek) - seeks);
    EXPECT_EQ(0, calls_of(Call::read) - reads);
}

TEST_F(DeflateReading, TellGivesTheTracksOffset) {
    const VorBytes file = zipped_file(2, 5);
    const Handle h = checked(file);
    for (const int32_t n : {3, 0, 4}) {
        read(h, n);
        EXPECT_EQ(file.entries[static_cast<size_t>(n)], lftell(h.get()));
    }
}

TEST_F(DeflateReading, BlankTracksNeverTouchTheStream) {
    VorBytes file(VT_FW8 | VT_DEFLATED, 3, 10);
    file.blank(255);
    file.track({{4, 0}, {6, 1}});
    file.blank(0);
    file.seek_table();
    const Handle h = checked(file);
    const long inflates = calls_of(Call::inflate) + calls_of(Call::inflate_reset);
    const long accesses = calls_of(Call::read) + calls_of(Call::seek);
    EXPECT_EQ((Runs{{10, 255}}), read(h, 0));
    EXPECT_EQ((Runs{{10, 0}}), read(h, 2));
    EXPECT_EQ(inflates, calls_of(Call::inflate) + calls_of(Call::inflate_reset));
    EXPECT_EQ(accesses, calls_of(Call::read) + calls_of(Call::seek));
    EXPECT_EQ((Runs{{4, 0}, {6, 255}}), read(h, 1));
}

TEST_F(DeflateReading, SeekGivesMarksAndRefusesWhatIsNoTrack) {
    VorBytes file(VT_FW8 | VT_DEFLATED, 3, 10);
    file.blank(255);
    file.track({{4, 0}, {6, 1}});
    file.blank(0);
    file.seek_table();
    const Handle h = checked(file);
    const int64_t position = h->bufpos;
    EXPECT_EQ(256, zseek(h.get(), 0));
    EXPECT_EQ(1, zseek(h.get(), 2));
    EXPECT_EQ(position, h->bufpos);
    EXPECT_EQ(-1, zseek(h.get(), -1));
    EXPECT_EQ(-1, zseek(h.get(), 3));
    EXPECT_EQ(0, zseek(h.get(), 1));
    EXPECT_EQ(256, h->bufpos);
    EXPECT_EQ(h->bufend, h->bufptr);
}

TEST_F(DeflateReading, FileOfNoTracksPassesTheCheck) {
    VorBytes file(VT_FW8 | VT_DEFLATED, 0, 10);
    file.seek_table();
    const Handle h = checked(file);
    EXPECT_EQ(0, zseek(h.get(), 0));
    Track track(16);
    EXPECT_EQ(-1, lfread(h.get(), track.get(), 0));
}

TEST_F(DeflateReading, TrackBehindTheLastFailsAndLaterReadsGoOn) {
    for (const bool swapped : {false, true}) {
        const Handle h = checked(zipped_file(1, 2, swapped));
        int32_t result = 0;
        read_now(h, 2, &result);
        EXPECT_EQ(-1, result);
        read_now(h, 3, &result);
        EXPECT_EQ(-1, result);
        EXPECT_EQ(runs_of(1, 1), read(h, 1));
    }
}

TEST_F(DeflateReading, WindowReadsItsTracksOnly) {
    const Handle h = open(zipped_file(2, 50));
    ASSERT_TRUE(h);
    int32_t window[4] = {30, 0, 33, static_cast<int32_t>(pixels)};
    EXPECT_EQ(0, lfclip(h.get(), window));
    EXPECT_EQ((std::vector<Runs>{runs_of(30, 2), runs_of(31, 2), runs_of(32, 2)}), read_all(h));
}

TEST_F(DeflateReading, MissingSeekTableIsRefusedAtTheCheck) {
    VorBytes unflagged = zipped_file(2, 2);
    unflagged.clear_flag(VorBytes::f_seektab);
    VorBytes inside = zipped_file(2, 2);
    inside.set(VorBytes::seekoff_at, 255);
    for (const VorBytes &file : {unflagged, inside}) {
        const Handle h = open(file);
        ASSERT_TRUE(h);
        EXPECT_EQ(-1, lfcheck(h.get()));
        EXPECT_EQ(lines({"set read: invalid argument | compressed vor without offset table",
                         "lfcheck: invalid argument | format check failed"}),
                  reports.take());
    }
}

TEST_F(DeflateReading, UnknownSchemeIsRefusedAtTheCheck) {
    for (const uint32_t scheme : {0x10u, 0x20u, 0x30u, 0x50u, 0x80u, 0xF0u}) {
        VorBytes file = zipped_file(2, 2);
        file.set(VorBytes::type_at, 2 | scheme);
        const Handle h = open(file);
        ASSERT_TRUE(h);
        EXPECT_EQ(-1, lfcheck(h.get()));
        EXPECT_EQ("set read: invalid argument | unsupported compression scheme",
                  reports.take().at(0));
    }
}

TEST_F(DeflateReading, NoMemoryForTheSeekTable) {
    const Handle h = open(zipped_file(2, 2));
    ASSERT_TRUE(h);
    const FailingMalloc fails(3); // behind those of the buffer and of the layer
    EXPECT_EQ(-1, lfcheck(h.get()));
    EXPECT_EQ("set read: out of memory", reports.take().at(0));
}

TEST_F(DeflateReading, NoMemoryForTheLayer) {
    const Handle h = open(zipped_file(2, 2));
    ASSERT_TRUE(h);
    const FailingMalloc fails(2);
    EXPECT_EQ(-1, lfcheck(h.get()));
    EXPECT_EQ("vor_check: out of memory", reports.take().at(0));
}

TEST_F(DeflateReading, MoreTracksThanTheFileHasBytesAreNeverMadeRoomFor) {
    VorBytes file = zipped_file(2, 2);
    file.set(VorBytes::tracks_at, 0x7FFFFFFF);
    file.write(name);
    const Handle h = open();
    ASSERT_TRUE(h);
    const FailingMalloc fails(3);
    EXPECT_EQ(-1, lfcheck(h.get()));
    EXPECT_EQ("set read: file corrupted | file too short for its tracks", reports.take().at(0));
    EXPECT_FALSE(fails.reached());
}

TEST_F(DeflateReading, BadSeekTableFailsTheCheck) {
    VorBytes file(VT_FW8 | VT_DEFLATED, 2, pixels);
    file.track(codes_of(0));
    file.entries.push_back(255);
    file.seek_table();
    const Handle h = open(file);
    ASSERT_TRUE(h);
    EXPECT_EQ(-1, lfcheck(h.get()));
    EXPECT_EQ("gen_seektab32: file corrupted | lh=256 corrupted track table: X=1, OFF=0xff",
              reports.take().at(0));
    Track track(pixels);
    EXPECT_EQ(-1, lfread(h.get(), track.get(), 0));
}

TEST_F(DeflateReading, InitFailureIsReportedWithZlibsText) {
    const struct {
        const char *message, *report;
    } rows[] = {{nullptr, "inflate init: last os error | <unknown error>"},
                {"no luck", "inflate init: last os error | no luck"}};
    for (const auto &row : rows) {
        const Handle h = open(zipped_file(2, 2));
        ASSERT_TRUE(h);
        const FailingCall fails(Call::inflate_init, 1, row.message);
        EXPECT_EQ(-1, lfcheck(h.get()));
        EXPECT_EQ(row.report, reports.take().at(0));
    }
}

TEST_F(DeflateReading, ZlibFailuresInATrackAreReported) {
    for (const Call call : {Call::inflate_reset, Call::inflate}) {
        for (const char *message : {static_cast<const char *>(nullptr), "broken"}) {
            const Handle h = checked(zipped_file(2, 2));
            int32_t result = 0;
            {
                const FailingCall fails(call, 1, message);
                read_now(h, 1, &result);
            }
            EXPECT_EQ(-1, result);
            const std::string text = message ? message : "<unknown error>";
            EXPECT_EQ((Lines{"zlib inflate: last os error | " + text,
                             "goto8bol: unexpected EOF: last os error"}),
                      reports.take());
            EXPECT_EQ(runs_of(0, 2), read(h, 0)); // another track reads on
        }
    }
}

TEST_F(DeflateReading, ErrorsOfAnUpdateHandleNameDeflate) {
    const Handle h = checked(zipped_file(2, 2), LF_UPDATE);
    zerror(h.get());
    EXPECT_EQ(lines({"zlib deflate: last os error | <unknown error>"}), reports.take());
}

TEST_F(DeflateReading, DamagedStreamIsReportedWithZlibsText) {
    VorBytes file = zipped_file(2, 2);
    Bytes bytes = file.bytes();
    bytes[256] = 0xFF; // the zlib header of the first track
    write_bytes(name, bytes);
    const Handle h = open();
    EXPECT_EQ(0, lfcheck(h.get()));
    EXPECT_EQ(Runs(), read(h, 0));
    const Lines told = reports.take();
    EXPECT_EQ("zlib inflate: last os error | incorrect header check", told.at(0));
    EXPECT_EQ(runs_of(1, 2), read(h, 1));
}

TEST_F(DeflateReading, StreamThatDecodesBeyondTheBufferFails) {
    for (const bool swapped : {false, true}) {
        VorBytes file(VT_FW16 | VT_DEFLATED, 1, 7, swapped); // a buffer of 32 bytes
        file.raw_track(Bytes(33, 0));
        file.seek_table();
        const Handle h = checked(file);
        ASSERT_EQ(32u, h->bufsize);
        int32_t result = 0;
        read_now(h, 0, &result);
        EXPECT_EQ(-1, result);
        const Lines told = reports.take();
        EXPECT_EQ("zlib inflate: last os error | <unknown error>", told.at(0));
        if (swapped) {
            EXPECT_EQ("zfillbuf_sw: last os error", told.at(1));
        }
    }
}

TEST_F(DeflateReading, StreamThatFillsTheBufferExactlyIsRead) {
    VorBytes file(VT_FW8 | VT_DEFLATED, 1, 14); // a buffer of 16 bytes
    Bytes coded(16, 1);
    coded[14] = coded[15] = 0;
    file.raw_track(coded);
    file.seek_table();
    const Handle h = checked(file);
    ASSERT_EQ(16u, h->bufsize);
    EXPECT_EQ(0, lfseek(h.get(), 0, LF_SEEK_SET));
    EXPECT_EQ(16, h->fillbuf(h.get()));
    EXPECT_EQ(h->buf + 16, h->bufend);
    EXPECT_EQ(coded, Bytes(h->buf, h->bufend));
}

// A track without its zero code makes the codec ask for more, and gets the track once more.
TEST_F(DeflateReading, RefillInTheMiddleOfATrackDecodesItAgain) {
    VorBytes file(VT_FW8 | VT_DEFLATED, 2, 10);
    file.raw_track({2, 3});
    file.track({{10, 1}});
    file.seek_table();
    const Handle h = checked(file, LF_READ | LF_LAXTRACK);
    const long resets = calls_of(Call::inflate_reset);
    EXPECT_EQ((Runs{{10, 0}}), read(h, 0));
    EXPECT_GE(calls_of(Call::inflate_reset) - resets, 2);
    EXPECT_EQ((Runs{{10, 255}}), read(h, 1));
}

TEST_F(DeflateReading, TrackThatIsNeverFinishedEndsSoonEnough) {
    VorBytes file(VT_FW8 | VT_DEFLATED, 1, 0x3FFFFFFF);
    file.raw_track({1});
    file.seek_table();
    const Handle h = checked(file);
    Track track(16);
    EXPECT_EQ(-1, lfread(h.get(), track.get(), 0));
    EXPECT_EQ(lines({"zfillbuf: file corrupted", "read_fw8_ns: unexpected EOF: last os error"}),
              reports.take());
    EXPECT_EQ(-1, lfread(h.get(), track.get(), 1));
}

TEST_F(DeflateReading, EmptyStreamIsTheEndOfTheData) {
    VorBytes file(VT_FW8 | VT_DEFLATED, 1, 10);
    file.raw_track({});
    file.seek_table();
    const Handle h = checked(file);
    EXPECT_EQ(Runs(), read(h, 0));
    EXPECT_EQ(lines({"goto8bol: unexpected EOF: last os error"}), reports.take());
}

TEST_F(DeflateReading, FileThatEndsInsideAStreamFails) {
    for (const bool swapped : {false, true}) {
        VorBytes file(VT_FW16 | VT_DEFLATED, 2, pixels, swapped);
        file.set(VorBytes::seekoff_at, 256).flag(VorBytes::f_seektab);
        file.put32({264, 300}); // the table stands in front of the tracks
        file.put(Bytes(36, 0));
        file.track(codes_of(1));
        Bytes bytes = file.bytes();
        const int64_t begin = file.entries[0];
        ASSERT_EQ(300, begin);
        bytes.erase(bytes.end() - 10, bytes.end());
        write_bytes(name, bytes);
        const Handle h = open();
        ASSERT_TRUE(h);
        EXPECT_EQ(0, lfcheck(h.get()));
        int32_t result = 0;
        read_now(h, 1, &result);
        EXPECT_EQ(-1, result);
        const Lines told = reports.take();
        EXPECT_EQ("zfillbuf: last os error", told.at(0));
        if (swapped) {
            EXPECT_EQ("zfillbuf_sw: last os error", told.at(1));
        }
        EXPECT_EQ("goto16bol: unexpected EOF: last os error", told.back());
    }
}

TEST_F(DeflateReading, ReadErrorInATrackIsReportedAndForgotten) {
    const Handle h = checked(zipped_file(2, 200));
    int32_t result = 0;
    read_now(h, 0, &result);
    ASSERT_GT(result, 0);
    int32_t failed = -1;
    for (int32_t i = 1; i < 200 && failed < 0; ++i) {
        const FailingCall fails(Call::read, 1);
        read_now(h, i, &result);
        if (result < 0) failed = i;
    }
    ASSERT_GT(failed, 0);
    EXPECT_EQ("zfillbuf: last os error", reports.take().at(0));
    // What the chunk held then must not be taken for what stands at those offsets.
    for (int32_t i = 199; i >= 0; --i)
        ASSERT_EQ(runs_of(static_cast<uint32_t>(i), 2), read(h, i)) << i;
}

TEST_F(DeflateReading, SeekErrorIsReported) {
    const Handle h = checked(zipped_file(2, 200));
    int32_t result = 0;
    {
        const FailingCall fails(Call::seek, 1);
        read_now(h, 100, &result);
    }
    EXPECT_EQ(-1, result);
    EXPECT_EQ("zbuf_setpos: last os error", reports.take().at(0));
    EXPECT_EQ(runs_of(101, 2), read(h, 101));
}

TEST_F(DeflateReading, RequestsThatReadTheFileDoNotDisturbTheTracks) {
    VorBytes file = zipped_file(2, 200);
    file.tag_list(1).tag("Job", {1, 2, 3, 4});
    const Handle h = checked(file);
    for (int32_t i = 0; i < 200; ++i) {
        ASSERT_EQ(runs_of(static_cast<uint32_t>(i), 2), read(h, i)) << i;
        uint8_t hash[16];
        h->hashvalid = 0;
        EXPECT_EQ(0, lfspecial(h.get(), LFS_IMAGE_HASH, hash));
        vor_tagreq request = {"Job", nullptr};
        EXPECT_EQ(0, lfspecial(h.get(), LFS_FIND_TAG, &request));
    }
}

TEST_F(DeflateReading, SecondCheckStartsAnew) {
    const Handle h = checked(zipped_file(2, 200));
    EXPECT_EQ(runs_of(7, 2), read(h, 7));
    int32_t window[4] = {50, 0, 60, static_cast<int32_t>(pixels)};
    EXPECT_EQ(0, lfclip(h.get(), window));
    EXPECT_EQ(0, lfcheck(h.get()));
    EXPECT_EQ(zfillbuf, h->fillbuf);
    for (int32_t i = 0; i < 10; ++i)
        EXPECT_EQ(runs_of(static_cast<uint32_t>(50 + i), 2), read(h, i));
}

using DeflateReadingDeathTest = DeflateReading;

TEST_F(DeflateReadingDeathTest, FillWithoutATrackEndsTheProcess) {
    VorBytes file(VT_FW8 | VT_DEFLATED, 2, 10);
    file.track({{4, 0}, {6, 1}});
    file.blank(0);
    file.seek_table();
    const Handle h = checked(file);
    for (const int32_t track : {-1, 1, 2, 1000}) {
        h->track = track;
        EXPECT_DEATH(zbuf_setpos(h.get()), "") << track;
    }
}

} // namespace
} // namespace vor::test
