// Writing native files: place holder, sections in their order, header; updates; failures.
#include <unistd.h>

#include <cmath>
#include <cstring>

#include "platform/kel.h"
#include "support/failing_calls.h"
#include "support/failing_malloc.h"
#include "support/native_test.h"

namespace vor::test {
namespace {

class NativeWriting : public NativeTest {
protected:
    // Three tracks of ten pixels, one of them blank, written but not yet closed.
    Handle three_tracks(uint32_t type = VT_FW8, uint32_t mode = 0) {
        Handle h = create(type, 3, 10, mode);
        EXPECT_EQ(0, lfcheck(h.get()));
        EXPECT_EQ(0, write(h, 0, {{4, 0}, {6, 1}}));
        EXPECT_EQ(0, write(h, 1, {{10, 1}}));
        EXPECT_EQ(0, write(h, 2, {{1, 0}, {2, 1}, {7, 0}}));
        return h;
    }

    static void add_tag(const Handle &h, const char *tag_name, uint32_t value) {
        struct {
            vortag head;
            uint32_t value;
        } record = {{VOR_TAGNAME + 4, ""}, value};
        std::strncpy(record.head.tagname, tag_name, sizeof record.head.tagname - 1);
        EXPECT_EQ(0, lfspecial(h.get(), LFS_ADD_TAG, &record));
    }

    // Closes with the n-th call failing.
    int32_t close_failing(Handle *h, Call call, long n) {
        const FailingCall fails(call, n);
        return close_now(h);
    }
};

class NativeUpdate : public NativeWriting {};

// ---- set-up ----

TEST_F(NativeWriting, OpenMakesAPlaceHolderThatIsNotNative) {
    for (const uint32_t type : {1u, 2u, 3u, 0x41u}) {
        Handle h = create(type, 3, 10);
        EXPECT_EQ(256, h->dataoff);
        EXPECT_EQ(type % 16 == 3 ? 8 : 1, h->bits);
        EXPECT_TRUE(has_flag(h, LF_NEEDSEEKTAB));
        EXPECT_EQ(Bytes(256), read_bytes(name));
        EXPECT_FALSE(open());
    }
}

TEST_F(NativeWriting, BadTrackFormatIsRefusedAndLeavesNoFile) {
    for (const int32_t type : {0, 4, 0x40, 0x4F}) {
        EXPECT_EQ(nullptr, lfopen(name.c_str(), LF_WRITE, lffdev(0, type), nullptr));
        EXPECT_EQ(lines({"vor_wrsetup: invalid argument", "lfdopen: last os error",
                         "lfdopen: last os error"}),
                  reports.take());
        EXPECT_NE(0, kel_access(name.c_str(), KEL_F_OK));
    }
}

TEST_F(NativeWriting, NoMemoryForTheSetUp) {
    const FailingMalloc fails(4);
    EXPECT_EQ(nullptr, lfopen(name.c_str(), LF_WRITE, lffdev(0, VT_FW8), nullptr));
    EXPECT_EQ("vor_wrsetup: out of memory", reports.take().at(0));
}

TEST_F(NativeWriting, PlaceHolderThatCannotBeWrittenFailsWithoutAMessageOfItsOwn) {
    const FailingCall fails(Call::write, 1);
    EXPECT_EQ(nullptr, lfopen(name.c_str(), LF_WRITE, lffdev(0, VT_FW8), nullptr));
    EXPECT_EQ(lines({"lfdopen: last os error", "lfdopen: last os error"}), reports.take());
}

// ---- the whole file ----

TEST_F(NativeWriting, HeaderOfAFreshFileTellsAllOfIt) {
    Handle h = three_tracks(VT_FW8);
    EXPECT_EQ(0, close_now(&h));
    const VorView file = view();
    EXPECT_EQ(3u, file.u32(VorBytes::tracks_at));
    EXPECT_EQ(10u, file.u32(VorBytes::pixels_at));
    EXPECT_EQ(2u, file.u32(VorBytes::type_at));
    EXPECT_EQ(2u, file.u32(VorBytes::version_at));
    EXPECT_EQ(0u, file.u32(VorBytes::hcrc_at));
    EXPECT_EQ(0x12345678u, file.u32(VorBytes::byteorder_at));
    EXPECT_EQ(Bytes({'K', 'E', 'L', 0}), file.part(252, 256));
    EXPECT_EQ(VorBytes::f_byteorder | VorBytes::f_maxruns | VorBytes::f_seektab |
                  VorBytes::f_cinfo | VorBytes::f_res64,
              file.flags());
    EXPECT_EQ(4u, file.u32(VorBytes::hmaxruns_at));
    EXPECT_TRUE(reports.empty());
}

TEST_F(NativeWriting, ResolutionsStandInAllTheirForms) {
    Handle h = create(VT_FW8, 3, 10);
    EXPECT_EQ(0, lfscale(h.get(), 40, 8));
    EXPECT_EQ(0, write(h, 0, {{10, 0}}));
    EXPECT_EQ(0, write(h, 1, {{10, 0}}));
    EXPECT_EQ(0, write(h, 2, {{10, 0}}));
    EXPECT_EQ(0, close_now(&h));
    const VorView file = view();
    EXPECT_EQ(0.025f, file.f32(VorBytes::xpitch_at));
    EXPECT_EQ(3 / 40.0f, file.f32(8));
    EXPECT_EQ(10 / 8.0f, file.f32(12));
    EXPECT_EQ(8.0f, file.f32(VorBytes::yresf_at));
    EXPECT_EQ(1 / 40.0, file.f64(VorBytes::xpitch64_at));
    EXPECT_EQ(1 / 8.0, file.f64(VorBytes::ypitch64_at));
    h = open();
    EXPECT_EQ(40.0, info.xres);
    EXPECT_EQ(8.0, info.yres);
}

TEST_F(NativeWriting, UndefinedBytesAreZeroInANewFile) {
    Handle h = three_tracks();
    EXPECT_EQ(0, close_now(&h));
    for (const auto &[from, to] : std::initializer_list<std::pair<size_t, size_t>>{
             {76, 92}, {116, 124}, {148, 160}, {176, 252}}) {
        EXPECT_EQ(Bytes(to - from), view().part(from, to));
    }
}

TEST_F(NativeWriting, SectionsFollowTheTracksInTheirOrder) {
    for (const bool swapped : {false, true}) {
        Handle h = three_tracks(VT_FW88, LF_STOPS | (swapped ? LF_SWAPPED : 0));
        EXPECT_EQ(0, lfsetstop(h.get(), 2, LF_STOP_LAST));
        EXPECT_EQ(0, lfsetstop(h.get(), 0, LF_STOP_FIRST));
        VorBytes::Table table;
        table.fill(0x1234);
        const vor_ctabreq request = {0, 1, table.data()};
        EXPECT_EQ(0, lfspecial(h.get(), LFS_SET_CTAB, const_cast<vor_ctabreq *>(&request)));
        add_tag(h, "Job", 0x01020304);
        EXPECT_EQ(0, close_now(&h));

        NativeFile expected(VT_FW88, 0, 0, swapped);
        expected.put(code_bytes(3, true, {{4, 0}, {6, 1}, {0, 0}}));
        const size_t second = expected.end();
        expected.put(code_bytes(3, true, {{1, 0}, {2, 1}, {7, 0}, {0, 0}}));
        const size_t stops = expected.end();
        expected.put32({0, 0x80000002});
        const size_t seeks = expected.end();
        expected.put32({256, ~uint32_t{1}, static_cast<uint32_t>(second)});
        const size_t tables = expected.end();
        expected.put16({table.begin(), table.end()});
        const size_t block = expected.end();
        Bytes used(256);
        used[0] = 1; // colour 0 is in use
        used[1] = 1; // colour 1 too
        expected.put(used);
        const size_t tags = expected.end();
        expected.put32({36}).put({'J', 'o', 'b'}).put(Bytes(29));
        Bytes bytes = expected.bytes();
        const uint32_t payload = 0x01020304; // stays as the program had it
        bytes.resize(bytes.size() + 4);
        std::memcpy(bytes.data() + bytes.size() - 4, &payload, 4);

        const VorView file = view(swapped);
        EXPECT_EQ(Bytes(bytes.begin() + 256, bytes.end()), file.part(256, file.size())) << swapped;
        EXPECT_EQ(stops, file.u32(VorBytes::stopoff_at));
        EXPECT_EQ(2u, file.u32(VorBytes::stopcount_at));
        EXPECT_EQ(seeks, file.u32(VorBytes::seekoff_at));
        EXPECT_EQ(tables, file.u32(VorBytes::ctaboff_at));
        EXPECT_EQ(1u, file.u32(VorBytes::ctabcount_at));
        EXPECT_EQ(block, file.u32(VorBytes::cinfooff_at));
        EXPECT_EQ(tags, file.u32(VorBytes::tagoff_at));
        EXPECT_EQ(1u, file.u32(VorBytes::tagcount_at));
        EXPECT_TRUE(file.flags() & VorBytes::f_stops);
        EXPECT_TRUE(file.flags() & VorBytes::f_ctabs);
        EXPECT_FALSE(file.flags() & (VorBytes::f_off64 | VorBytes::f_seek64));
    }
}

TEST_F(NativeWriting, FilesReadBackInBothByteOrders) {
    for (const uint32_t type : {1u, 2u, 3u, 0x41u, 0x42u, 0x43u}) {
        for (const uint32_t mode : {0u, LF_SWAPPED}) {
            Handle h = three_tracks(type, mode);
            EXPECT_EQ(0, close_now(&h));
            h = open();
            ASSERT_TRUE(h);
            EXPECT_EQ(mode != 0, has_flag(h, LF_SWAPPED));
            const uint32_t one = type % 16 == 3 ? 1 : 255;
            EXPECT_EQ(
                (std::vector<Runs>{{{4, 0}, {6, one}}, {{10, one}}, {{1, 0}, {2, one}, {7, 0}}}),
                read_all(h))
                << type << mode;
        }
    }
}

TEST_F(NativeWriting, HeaderImageStaysInTheMachinesOrder) {
    const Handle h = three_tracks(VT_FW8, LF_SWAPPED);
    EXPECT_EQ(0, lfflush(h.get()));
    EXPECT_EQ(0, vor_whdr(h.get()));
    vorhdr hdr;
    EXPECT_EQ(0, lfspecial(h.get(), LFS_VOR_HEADER, &hdr));
    EXPECT_EQ(3u, hdr.tracks);
    EXPECT_EQ(VOR_BYTEORDER, hdr.byteorder);
    EXPECT_EQ(3u, view(true).u32(VorBytes::tracks_at));
    EXPECT_TRUE(has_flag(h, LF_NOCRC));
}

TEST_F(NativeWriting, MaxrunsIsStoredBelowTheTracksLengthOnly) {
    const struct {
        int32_t maxruns;
        uint32_t stored;
    } rows[] = {{-1, 0}, {0, 0}, {1, 1}, {9, 9}, {10, 0}, {11, 0}};
    for (const auto &row : rows) {
        Handle h = three_tracks();
        h->maxruns = row.maxruns;
        EXPECT_EQ(0, close_now(&h));
        EXPECT_EQ(row.stored, view().u32(VorBytes::hmaxruns_at)) << row.maxruns;
        EXPECT_EQ(row.stored != 0, (view().flags() & VorBytes::f_maxruns) != 0) << row.maxruns;
    }
}

// ---- sections ----

TEST_F(NativeWriting, StopTableHoldsMarkedTracksOnly) {
    Handle h = three_tracks(VT_FW8, LF_STOPS);
    EXPECT_EQ(0, lfsetstop(h.get(), 1, LF_STOP_SINGLE));
    EXPECT_EQ(0, close_now(&h));
    EXPECT_EQ(1u, view().u32(VorBytes::stopcount_at));
    EXPECT_EQ(0x40000001u, view().u32(view().u32(VorBytes::stopoff_at)));
    h = open();
    EXPECT_EQ(1u, lfstoptablesize(h.get()));
}

TEST_F(NativeWriting, StopTableWithoutMarksIsLeftOut) {
    Handle h = three_tracks(VT_FW8, LF_STOPS);
    EXPECT_EQ(0, close_now(&h));
    EXPECT_FALSE(view().flags() & VorBytes::f_stops);
    EXPECT_EQ(0u, view().u32(VorBytes::stopoff_at));
    EXPECT_EQ(0u, view().u32(VorBytes::stopcount_at));
}

TEST_F(NativeWriting, StopTableStaysUsableAfterASwappedWrite) {
    const Handle h = three_tracks(VT_FW8, LF_STOPS | LF_SWAPPED);
    EXPECT_EQ(0, lfsetstop(h.get(), 1, LF_STOP_SINGLE));
    EXPECT_EQ(0, lfflush(h.get()));
    EXPECT_EQ(1, vor_wopts(h.get()));
    EXPECT_EQ(1u, lfstoptablesize(h.get()));
    EXPECT_EQ(0x40000001u, lfstoptable(h.get())[0]);
}

TEST_F(NativeWriting, StopTableOfAProgramIsNotReadBeyondItsEnd) {
    Handle h = three_tracks(VT_FW8);
    auto *table = static_cast<uint32_t *>(std::malloc(2 * sizeof(uint32_t)));
    table[0] = 1;
    table[1] = 0xFFFFFFFF;
    lfassignstoptable(h.get(), table, 2); // the file has three tracks
    EXPECT_EQ(0, close_now(&h));
    EXPECT_EQ(1u, view().u32(VorBytes::stopcount_at));
}

TEST_F(NativeWriting, ColourInfoOfAnUntouchedHandleIsWritten) {
    Handle h = create(VT_FW16, 1, 10);
    EXPECT_EQ(0, write(h, 0, {{10, 0}}));
    EXPECT_EQ(0, close_now(&h));
    EXPECT_TRUE(view().flags() & VorBytes::f_cinfo);
    Bytes expected(256);
    expected[1] = 1; // of the handle's identity table, which goes one entry too far
    const size_t at = view().u32(VorBytes::cinfooff_at);
    EXPECT_EQ(expected, view().part(at, at + 256));
}

TEST_F(NativeWriting, ClearedColourInfoIsLeftOutUnlessTheByteBehindItIsNot) {
    for (const int32_t xa : {0, 0x1200, 1, 0x12FF}) {
        Handle h = three_tracks();
        vor_colorinfo clear = {VOR_COLORINFO_MAGIC, 0, {}};
        EXPECT_EQ(0, lfspecial(h.get(), LFS_SET_COLOR_INFO, &clear));
        h->xa = xa;
        EXPECT_EQ(0, close_now(&h));
        EXPECT_EQ((xa & 0xFF) != 0, (view().flags() & VorBytes::f_cinfo) != 0) << xa;
    }
}

TEST_F(NativeWriting, ColoursAreLeftAloneOnRequest) {
    for (const uint32_t mode : {LF_NOCOLOR, LF_ASIS}) {
        Handle h = three_tracks(VT_FW88, mode);
        const VorBytes::Table table = {};
        vor_ctabreq request = {0, 1, table.data()};
        EXPECT_EQ(0, lfspecial(h.get(), LFS_SET_CTAB, &request));
        EXPECT_EQ(0, close_now(&h));
        EXPECT_FALSE(view().flags() & (VorBytes::f_ctabs | VorBytes::f_cinfo));
        EXPECT_EQ(0u, view().u32(VorBytes::ctaboff_at));
        EXPECT_EQ(0u, view().u32(VorBytes::cinfooff_at));
    }
}

TEST_F(NativeWriting, WithoutTablesTheHeaderTellsNone) {
    Handle h = three_tracks(VT_FW88);
    EXPECT_EQ(0, close_now(&h));
    EXPECT_FALSE(view().flags() & VorBytes::f_ctabs);
    EXPECT_EQ(0u, view().u32(VorBytes::ctaboff_at));
    EXPECT_EQ(0u, view().u32(VorBytes::ctabcount_at));
}

TEST_F(NativeWriting, ParametersAreWritten) {
    Handle h = three_tracks();
    double value = 2.5;
    EXPECT_EQ(0, lfspecial(h.get(), LFS_SET_PARAM_B, &value));
    EXPECT_EQ(0, close_now(&h));
    EXPECT_EQ(2.5f, view().f32(VorBytes::param_b_at));
    EXPECT_TRUE(view().flags() & HF_PARAM_B);
}

TEST_F(NativeWriting, EnlargedFileShowsTheTracksMissingAsInvalid) {
    Handle h = three_tracks();
    EXPECT_EQ(0, lfsetsize(h.get(), 5000, 10));
    EXPECT_EQ(0, close_now(&h));
    const std::vector<int64_t> table = view().seek_table();
    ASSERT_EQ(5000u, table.size());
    EXPECT_EQ(-256, table[1]);
    EXPECT_EQ(0, table[4999]);
    reports.take();
    h = open();
    EXPECT_EQ(-1, lfcheck(h.get()));
}

// ---- failures ----

TEST_F(NativeWriting, SectionThatCannotBeWrittenIsReportedAndFailsTheClose) {
    // The writes of a close: the tracks, the sections in their order, the header.
    const struct {
        long nth;
        const char *where;
    } rows[] = {{2, "info table: last os error"},
                {4, "color tables: last os error"},
                {5, "color info: last os error"},
                {6, "save tag table: last os error"}};
    for (const auto &row : rows) {
        Handle h = three_tracks(VT_FW8, LF_STOPS);
        EXPECT_EQ(0, lfsetstop(h.get(), 1, LF_STOP_SINGLE));
        const VorBytes::Table table = {};
        vor_ctabreq request = {0, 1, table.data()};
        EXPECT_EQ(0, lfspecial(h.get(), LFS_SET_CTAB, &request));
        add_tag(h, "Job", 1);
        EXPECT_EQ(-1, close_failing(&h, Call::write, row.nth));
        EXPECT_EQ((Lines{row.where, "vor_whdr: last os error",
                         "lfclose: last os error | write error on header(s)"}),
                  reports.take());
        // The header goes out as far as it is known, and shows what is damaged.
        EXPECT_EQ(3u, view().u32(VorBytes::tracks_at));
        h = open();
        vor_tagreq job = {"Job", nullptr};
        EXPECT_FALSE(h && lfcheck(h.get()) == 0 && lfspecial(h.get(), LFS_FIND_TAG, &job) == 0);
        reports.take();
    }
}

TEST_F(NativeWriting, SeekTableThatCannotBeWrittenFailsTheCloseInSilence) {
    for (const uint32_t type : {VT_FW8, VT_FW8 | VT_DEFLATED}) {
        Handle h = three_tracks(type);
        EXPECT_EQ(-1, close_failing(&h, Call::write, type == VT_FW8 ? 2 : 1));
        EXPECT_EQ(
            lines({"vor_whdr: last os error", "lfclose: last os error | write error on header(s)"}),
            reports.take());
        // Its blank tracks are lost: the file must not read as one without a table.
        h = open();
        ASSERT_TRUE(h);
        EXPECT_EQ(-1, lfcheck(h.get()));
        reports.take();
    }
}

TEST_F(NativeWriting, NoMemoryForTheSeekTableFailsTheCloseInSilence) {
    Handle h = three_tracks();
    {
        const FailingMalloc fails(1);
        EXPECT_EQ(-1, close_now(&h));
    }
    EXPECT_EQ("vor_whdr: last os error", reports.take().at(0));
    h = open();
    ASSERT_TRUE(h);
    EXPECT_EQ(-1, lfcheck(h.get()));
}

TEST_F(NativeWriting, NoFailedCloseLeavesAFileThatPassesForGood) {
    for (const uint32_t type : {VT_FW8, VT_FW88, VT_FW16 | VT_DEFLATED}) {
        for (const Call call : {Call::write, Call::seek}) {
            for (long n = 1; n < 30; ++n) {
                Handle h = three_tracks(type, LF_STOPS);
                EXPECT_EQ(0, lfsetstop(h.get(), 1, LF_STOP_SINGLE));
                if (close_failing(&h, call, n) == 0) continue;
                h = open();
                if (!h || lfcheck(h.get()) < 0) continue;
                const uint32_t one = type == VT_FW88 ? 1 : 255;
                EXPECT_EQ((std::vector<Runs>{
                              {{4, 0}, {6, one}}, {{10, one}}, {{1, 0}, {2, one}, {7, 0}}}),
                          read_all(h))
                    << n;
            }
        }
    }
}

TEST_F(NativeWriting, LostTracksKeepTheHeaderBack) {
    Handle h = three_tracks();
    EXPECT_EQ(-1, close_failing(&h, Call::write, 1));
    EXPECT_EQ(Bytes(256), view().part(0, 256));
}

TEST_F(NativeWriting, PositionThatCannotBeToldIsTooLarge) {
    Handle h = three_tracks();
    EXPECT_EQ(0, lfflush(h.get()));
    const long before = calls_of(Call::seek);
    EXPECT_EQ(1, vor_wopts(h.get()));
    const long last = calls_of(Call::seek) - before;
    const FailingCall fails(Call::seek, last);
    EXPECT_EQ(-1, vor_wopts(h.get()));
    EXPECT_EQ(lines({"wopts: last os error | file too large"}), reports.take());
}

TEST_F(NativeWriting, NegativeOffsetKeepsTheHeaderBack) {
    for (int section = 0; section < 2; ++section) {
        Handle h = three_tracks();
        EXPECT_EQ(0, lfflush(h.get()));
        // A position that cannot be told is negative: that of the seek table, of the colour info.
        EXPECT_EQ(-1, close_failing(&h, Call::seek, section + 1));
        EXPECT_EQ(lines({"vor_whdr: last os error | invalid file offset",
                         "lfclose: last os error | write error on header(s)"}),
                  reports.take());
        EXPECT_EQ(Bytes(256), view().part(0, 256));
    }
}

TEST_F(NativeWriting, HeaderThatCannotBeWrittenIsReported) {
    Handle h = three_tracks();
    // Writes: tracks, seek table, colour info, header.
    EXPECT_EQ(-1, close_failing(&h, Call::write, 4));
    EXPECT_EQ(
        lines({"vor_whdr: last os error", "lfclose: last os error | write error on header(s)"}),
        reports.take());
    EXPECT_EQ(Bytes(256), view().part(0, 256));
}

TEST_F(NativeWriting, HeaderNeedsARecordAndAccess) {
    write_bytes(name, Bytes(300, 0x55));
    const Bytes before = read_bytes(name);
    for (const uint32_t mode : {LF_READ + 0u, LF_WRITE + 0u, LF_UPDATE + 0u, LF_BADACCESS + 0u}) {
        xvor_t h = {};
        h.fd = kel_open(name.c_str(), KEL_O_RDWR, 0);
        h.flags = mode;
        EXPECT_EQ(-1, vor_wopts(&h));
        EXPECT_EQ(-1, vor_whdr(&h));
        kel_close(h.fd);
    }
    Handle bad = open(LF_BADACCESS);
    ASSERT_TRUE(bad);
    EXPECT_EQ(-1, close_now(&bad));
    EXPECT_EQ(before, read_bytes(name));
}

TEST_F(NativeWriting, HeaderOfAReadHandleIsNotWritten) {
    Handle h = three_tracks();
    EXPECT_EQ(0, close_now(&h));
    const Bytes before = read_bytes(name);
    h = open();
    EXPECT_EQ(-1, vor_whdr(h.get()));
    EXPECT_EQ(0, close_now(&h));
    EXPECT_EQ(before, read_bytes(name));
}

TEST_F(NativeWriting, PipeTakesNoHeader) {
    int ends[2];
    ASSERT_EQ(0, ::pipe(ends));
    Handle h(lfdopen(ends[1], "pipe", LF_WRITE, lffdev(0, VT_FW8), nullptr));
    ASSERT_TRUE(h);
    EXPECT_EQ(0, lfsetsize(h.get(), 1, 10));
    EXPECT_EQ(0, write(h, 0, {{4, 0}, {6, 1}}));
    EXPECT_EQ(-1, close_now(&h));
    EXPECT_EQ(lines({"wopts: last os error | file too large",
                     "vor_whdr: last os error | invalid file offset",
                     "lfclose: last os error | write error on header(s)"}),
              reports.take());
    ::close(ends[0]);
}

// ---- update ----

// A file with everything in it.
VorBytes full_file(bool swapped = false) {
    VorBytes file(VT_FW88, 3, 10, swapped);
    file.track({{4, 0}, {6, 1}});
    file.blank(7);
    file.track({{1, 0}, {2, 1}, {7, 0}});
    file.stops({1, 0x80000002});
    file.seek_table();
    VorBytes::Table table;
    for (size_t i = 0; i < table.size(); ++i)
        table[i] = static_cast<uint16_t>(i * 3);
    file.colour_tables({table, table});
    file.colour_info(Bytes(256, 9));
    file.set_double(VorBytes::xpitch64_at, 0.05);
    file.set_double(VorBytes::ypitch64_at, 0.05);
    file.flag(VorBytes::f_res64);
    file.tag_list(2).tag("Job", {1, 2, 3, 4}).tag("Empty", {});
    return file;
}

TEST_F(NativeUpdate, WithoutAChangeKeepsAllButTheHeadersWrittenFields) {
    for (const uint32_t mode : {0u, LF_NOCOLOR, LF_ASIS}) {
        for (const bool swapped : {false, true}) {
            VorBytes file = full_file(swapped);
            for (const size_t at : {76u, 120u, 152u, 200u})
                file.set_byte(at, 0x77);
            file.flag(0x1000000);
            Handle h = checked(file, LF_UPDATE | mode);
            EXPECT_EQ(0, close_now(&h));
            const VorView after = view(swapped);
            EXPECT_EQ(Bytes(file.bytes().begin() + 256, file.bytes().end()),
                      after.part(256, after.size()));
            EXPECT_EQ(file.get(VorBytes::hflags_at), after.flags()) << mode;
            for (const size_t at : {0u, 16u, 20u, 60u, 64u, 72u, 76u, 92u, 96u, 100u, 104u, 108u,
                                    112u, 120u, 152u, 200u}) {
                EXPECT_EQ(file.get(at), after.u32(at)) << at << " " << mode;
            }
            h = open();
            ASSERT_TRUE(h);
            EXPECT_EQ(2, info.nctab);
            EXPECT_EQ((Runs{{10, 21}}), read(h, 1));
            EXPECT_EQ(2u, lfstoptablesize(h.get()));
        }
    }
    EXPECT_TRUE(reports.empty());
}

TEST_F(NativeUpdate, ChecksumIsTakenOut) {
    VorBytes file = full_file();
    file.flag(VorBytes::f_crc).set(VorBytes::hcrc_at, 0);
    file.set(VorBytes::hcrc_at, vor_hdrcrc(file.bytes().data()));
    Handle h = checked(file, LF_UPDATE);
    EXPECT_FALSE(has_flag(h, LF_BADHDRCRC));
    EXPECT_EQ(0, close_now(&h));
    EXPECT_EQ(0u, view().u32(VorBytes::hcrc_at));
    EXPECT_FALSE(view().flags() & VorBytes::f_crc);
}

TEST_F(NativeUpdate, OldVersionBecomesTwo) {
    VorBytes file = full_file();
    file.set(VorBytes::version_at, 1).flag(VorBytes::f_seek64);
    Handle h = checked(file, LF_UPDATE);
    EXPECT_EQ(0, close_now(&h));
    EXPECT_EQ(2u, view().u32(VorBytes::version_at));
    EXPECT_FALSE(view().flags() & VorBytes::f_seek64);
    EXPECT_EQ((Runs{{10, 21}}), read(open(), 1));
}

TEST_F(NativeUpdate, TagsAndParametersChangeTheEndAndTheHeader) {
    const VorBytes file = full_file();
    Handle h = checked(file, LF_UPDATE);
    add_tag(h, "New", 5);
    double value = 1.5;
    EXPECT_EQ(0, lfspecial(h.get(), LFS_SET_PARAM_A, &value));
    EXPECT_EQ(0, close_now(&h));
    const VorView after = view();
    EXPECT_EQ(3u, after.u32(VorBytes::tagcount_at));
    EXPECT_EQ(file.get(VorBytes::tagoff_at), after.u32(VorBytes::tagoff_at));
    EXPECT_EQ(file.end() + 40, after.size());
    EXPECT_EQ(1.5f, after.f32(VorBytes::param_a_at));
}

TEST_F(NativeUpdate, FirstTagOfAFileGoesToItsEnd) {
    VorBytes file(VT_FW8, 1, 10);
    file.track({{4, 0}, {6, 1}});
    const size_t end = file.end();
    Handle h = checked(file, LF_UPDATE);
    add_tag(h, "New", 5);
    EXPECT_EQ(0, close_now(&h));
    EXPECT_EQ(end, view().u32(VorBytes::tagoff_at));
    EXPECT_EQ(end + 40, view().size());
}

TEST_F(NativeUpdate, ClosedWithoutACheckKeepsItsTags) {
    const VorBytes file = full_file();
    Handle h = open(file, LF_UPDATE);
    EXPECT_EQ(0, close_now(&h));
    EXPECT_EQ(Bytes(file.bytes().begin() + 256, file.bytes().end()),
              view().part(256, view().size()));
    EXPECT_EQ(2u, view().u32(VorBytes::tagcount_at));
}

TEST_F(NativeUpdate, UnreadableTagsLeaveTheFileAsItIs) {
    VorBytes file = full_file();
    file.set(VorBytes::tagcount_at, 3);
    for (const bool check : {true, false}) {
        Handle h = open(file, LF_UPDATE);
        ASSERT_TRUE(h);
        if (check) {
            EXPECT_EQ(-1, lfcheck(h.get()));
        }
        reports.take();
        EXPECT_EQ(-1, close_now(&h));
        const Lines told = reports.take();
        ASSERT_GE(told.size(), 2u);
        EXPECT_EQ("vor_whdr: last os error", told[told.size() - 2]);
        EXPECT_EQ(file.bytes(), read_bytes(name));
    }
}

TEST_F(NativeUpdate, NegativeOffsetLeavesTheFileAsItIs) {
    VorBytes file = full_file();
    file.flag(VorBytes::f_off64).set(VorBytes::seekoff_hi_at, 0x80000000);
    Handle h = open(file, LF_UPDATE);
    ASSERT_TRUE(h);
    EXPECT_EQ(0, lfcheck(h.get()));
    add_tag(h, "New", 5);
    EXPECT_EQ(-1, close_now(&h));
    EXPECT_EQ("vor_whdr: last os error | invalid file offset", reports.take().at(0));
    EXPECT_EQ(file.bytes(), read_bytes(name));
}

TEST_F(NativeUpdate, SeekToTheTagListThatFailsIsReported) {
    Handle h = checked(full_file(), LF_UPDATE);
    EXPECT_EQ(-1, close_failing(&h, Call::seek, 1));
    EXPECT_EQ(lines({"seek tag offset: last os error", "vor_whdr: last os error",
                     "lfclose: last os error | write error on header(s)"}),
              reports.take());

    VorBytes without_tags(VT_FW8, 1, 10);
    without_tags.track({{4, 0}, {6, 1}});
    h = checked(without_tags, LF_UPDATE);
    EXPECT_EQ(-1, close_failing(&h, Call::seek, 1));
    EXPECT_EQ("seek tag offset: last os error", reports.take().at(0));
}

TEST_F(NativeUpdate, TagListThatCannotBeWrittenIsReported) {
    Handle h = checked(full_file(), LF_UPDATE);
    EXPECT_EQ(-1, close_failing(&h, Call::write, 1));
    EXPECT_EQ(lines({"save tag table: last os error", "vor_whdr: last os error",
                     "lfclose: last os error | write error on header(s)"}),
              reports.take());
}

TEST_F(NativeUpdate, CompressedFileKeepsItsTracks) {
    VorBytes file(VT_FW8 | VT_DEFLATED, 2, 10);
    file.track({{4, 0}, {6, 1}});
    file.blank(255);
    file.seek_table();
    Handle h = checked(file, LF_UPDATE);
    add_tag(h, "New", 5);
    EXPECT_EQ(0, close_now(&h));
    h = open();
    EXPECT_EQ((std::vector<Runs>{{{4, 0}, {6, 255}}, {{10, 255}}}), read_all(h));
}

TEST_F(NativeUpdate, NewColourTablesDoNotChangeWhatTheFileHolds) {
    const VorBytes file = full_file();
    for (const uint32_t mode : {0u, LF_NOCOLOR}) {
        Handle h = checked(file, LF_UPDATE | mode);
        VorBytes::Table table;
        table.fill(5);
        vor_ctabreq request = {6, 1, table.data()};
        EXPECT_EQ(0, lfspecial(h.get(), LFS_SET_CTAB, &request));
        EXPECT_EQ(0, close_now(&h));
        EXPECT_EQ(2u, view().u32(VorBytes::ctabcount_at));
        EXPECT_EQ((Runs{{10, 21}}), read(open(), 1));
    }
}

} // namespace
} // namespace vor::test
