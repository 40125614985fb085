// Opening native files: what counts as one, what the header and the sections give, what is refused.
#include <unistd.h>

#include <climits>
#include <cmath>
#include <cstring>

#include "support/failing_calls.h"
#include "support/failing_malloc.h"
#include "support/native_test.h"

namespace vor::test {
namespace {

// A file of three tracks of ten pixels, of the plainest kind.
VorBytes plain_file(uint32_t type = VT_FW8, bool swapped = false) {
    VorBytes file(type, 3, 10, swapped);
    file.track({{4, 0}, {6, 1}});
    file.track({{10, 1}});
    file.track({{1, 0}, {2, 1}, {7, 0}});
    return file;
}

// vor_rdsetup on its own, with a handle of its own.
class Probe {
public:
    explicit Probe(uint32_t mode = LF_READ) : handle_() {
        handle_.fd = -1;
        handle_.flags = mode;
    }
    ~Probe() {
        vor_free(&handle_);
        lfassignstoptable(&handle_, nullptr, 0);
    }
    Probe(const Probe &) = delete;
    Probe &operator=(const Probe &) = delete;

    int32_t setup(const Bytes &head) {
        return vor_rdsetup(&handle_, head.data(), static_cast<int32_t>(head.size()));
    }
    xvor_t *operator->() { return &handle_; }
    Bytes image() const {
        Bytes bytes(sizeof handle_);
        std::memcpy(bytes.data(), &handle_, sizeof handle_);
        return bytes;
    }

private:
    xvor_t handle_;
};

class Detection : public NativeTest {};
class HeaderReading : public NativeTest {};
class HeaderChecksum : public NativeTest {};
class SectionReading : public NativeTest {};
class NativeCheck : public NativeTest {};

// ---- what is native ----

TEST_F(Detection, FileBelow256BytesIsNotNative) {
    Bytes bytes = plain_file().bytes();
    bytes.resize(255);
    Probe probe;
    EXPECT_EQ(1, probe.setup(bytes));
    EXPECT_EQ(1, vor_rdsetup(probe.operator->(), nullptr, 0));
    write_bytes(name, bytes);
    EXPECT_FALSE(open());
    EXPECT_EQ(LFE_FORMAT, info.error);
}

TEST_F(Detection, HeaderOfZerosIsNotNative) {
    Probe probe;
    EXPECT_EQ(1, probe.setup(Bytes(1024)));
}

TEST_F(Detection, HeaderAloneOf256BytesIsEnough) {
    Probe probe;
    EXPECT_EQ(0, probe.setup(VorBytes(VT_FW8, 0, 0).bytes()));
}

TEST_F(Detection, WithoutItsFlagByteorderWordDoesNotCount) {
    for (const uint32_t type : {1u, 2u, 3u, 0x41u, 0xF2u}) {
        VorBytes file(type, 3, 10);
        file.clear_flag(VorBytes::f_byteorder);
        file.set(VorBytes::byteorder_at, 0xDEADBEEF);
        for (size_t i = 0; i < 4; ++i)
            file.set_byte(VorBytes::letters_at + i, static_cast<uint8_t>('w' + i));
        Probe probe;
        EXPECT_EQ(0, probe.setup(file.bytes())) << type;
    }
}

TEST_F(Detection, ByteorderWordMustFitUnderItsFlag) {
    VorBytes file = plain_file();
    file.set(VorBytes::byteorder_at, 0x78563412);
    Probe probe;
    EXPECT_EQ(1, probe.setup(file.bytes()));
}

TEST_F(Detection, OnlyTrackFormatsOneToThreeAreNative) {
    const struct {
        uint32_t type;
        int32_t result;
    } rows[] = {{0x0, 1},   {0x1, 0},   {0x2, 0},     {0x3, 0},        {0x4, 1},
                {0xF, 1},   {0x40, 1},  {0x43, 0},    {0x44, 1},       {0xF1, 0},
                {0x101, 1}, {0x141, 1}, {0x10001, 1}, {0x80000001, 1}, {0x04000000, 1}};
    for (const auto &row : rows) {
        Probe probe;
        EXPECT_EQ(row.result, probe.setup(VorBytes(row.type, 1, 1).bytes()))
            << std::hex << row.type;
    }
}

TEST_F(Detection, ForeignFileLeavesTheHandleAsItWas) {
    VorBytes file(VT_FW8, 3, 10, true);
    file.set(VorBytes::hcrc_at, 1).set(VorBytes::byteorder_at, 0);
    Probe probe;
    const Bytes before = probe.image();
    EXPECT_EQ(1, probe.setup(file.bytes()));
    EXPECT_EQ(before, probe.image());
}

TEST_F(Detection, ForcedNativeTypeOnForeignFileIsAnUnknownFormat) {
    write_bytes(name, Bytes(300));
    const Handle h(lfopen(name.c_str(), LF_READ | LF_FORCETYPE, lffdev(0, 1), &info));
    EXPECT_FALSE(h);
    EXPECT_EQ(LFE_FORMAT, info.error);
}

TEST_F(Detection, FormatRowHasTheNamesAndFunctionsOfTheDriver) {
    EXPECT_STREQ("vor", vor_cvtformat.name);
    EXPECT_STREQ(".vor", vor_cvtformat.suffix);
    EXPECT_STREQ(".vor:", vor_cvtformat.suffixlist);
    EXPECT_EQ(nullptr, vor_cvtformat.module);
    EXPECT_EQ(nullptr, vor_cvtformat.init);
    EXPECT_EQ(vor_rdsetup, vor_cvtformat.detect);
    EXPECT_EQ(vor_wrsetup, vor_cvtformat.wrsetup);
    EXPECT_EQ(vor_whdr, vor_cvtformat.whdr);
    EXPECT_EQ(vor_free, vor_cvtformat.close);
    EXPECT_EQ(vor_check, vor_cvtformat.check);
    EXPECT_EQ(vor_seektab, vor_cvtformat.seektabfn);
}

// ---- what the header gives ----

TEST_F(HeaderReading, GeometryIsThereAfterTheOpen) {
    VorBytes file = plain_file(VT_FW88);
    file.set_float(VorBytes::xpitch_at, 0.25f);
    file.set_float(VorBytes::yresf_at, 12.5f);
    const Handle h = open(file);
    ASSERT_TRUE(h);
    EXPECT_EQ(3, info.xsize);
    EXPECT_EQ(10, info.ysize);
    EXPECT_EQ(4.0, info.xres);
    EXPECT_EQ(12.5, info.yres);
    EXPECT_EQ(8, info.bits);
    EXPECT_EQ(3, info.minor);
    EXPECT_EQ(256, h->dataoff);
    EXPECT_EQ(1, info.nctab);
}

TEST_F(HeaderReading, FloatPitchIsTurnedOverInDoublePrecision) {
    VorBytes file = plain_file();
    file.set_float(VorBytes::xpitch_at, 0.05f);
    file.set_float(VorBytes::yresf_at, 0.1f);
    ASSERT_TRUE(open(file));
    EXPECT_EQ(1.0 / double{0.05f}, info.xres);
    EXPECT_EQ(double{0.1f}, info.yres);
}

TEST_F(HeaderReading, DoublePitchesCountUnderTheirFlag) {
    VorBytes file = plain_file();
    file.set_double(VorBytes::xpitch64_at, 0.1);
    file.set_double(VorBytes::ypitch64_at, 0.3);
    ASSERT_TRUE(open(file));
    EXPECT_EQ(20.0, info.yres);
    file.flag(VorBytes::f_res64);
    ASSERT_TRUE(open(file));
    EXPECT_EQ(1 / 0.1, info.xres);
    EXPECT_EQ(1 / 0.3, info.yres);
}

TEST_F(HeaderReading, PitchOfZeroGivesAnInfiniteResolution) {
    VorBytes file = plain_file();
    file.set_float(VorBytes::xpitch_at, 0);
    const Handle h = open(file);
    ASSERT_TRUE(h);
    EXPECT_TRUE(std::isinf(info.xres));
    EXPECT_EQ(0, lfcheck(h.get()));
    EXPECT_EQ((Runs{{4, 0}, {6, 255}}), read(h, 0));
}

TEST_F(HeaderReading, BitsFollowTheTrackFormat) {
    const struct {
        uint32_t type;
        int32_t bits;
    } rows[] = {{0x1, 1}, {0x2, 1}, {0x3, 8}, {0x41, 1}, {0x42, 1}, {0x43, 8}};
    for (const auto &row : rows) {
        ASSERT_TRUE(open(VorBytes(row.type, 0, 0)));
        EXPECT_EQ(row.bits, info.bits) << row.type;
    }
}

TEST_F(HeaderReading, FileOfTheOtherByteOrderReadsAsItsTwin) {
    for (const uint32_t type : {1u, 2u, 3u, 0x41u, 0x42u, 0x43u}) {
        std::vector<Runs> tracks[2];
        lfinfo infos[2];
        for (const bool swapped : {false, true}) {
            VorBytes file = plain_file(type, swapped);
            file.set_double(VorBytes::xpitch64_at, 0.125);
            file.set_double(VorBytes::ypitch64_at, 0.0625);
            file.flag(VorBytes::f_res64);
            file.stops({1, 0x80000002});
            file.seek_table();
            const Handle h = checked(file);
            EXPECT_EQ(swapped, has_flag(h, LF_SWAPPED));
            EXPECT_EQ(swapped && (type & 0xF) == 1, has_flag(h, LF_SWAP16)) << type;
            EXPECT_EQ(2u, lfstoptablesize(h.get()));
            EXPECT_EQ(0x80000002, lfstoptable(h.get())[1]);
            tracks[swapped] = read_all(h);
            infos[swapped] = info;
        }
        EXPECT_EQ((Runs{{4, 0}, {6, type % 16 == 3 ? 1u : 255u}}), tracks[0][0]);
        EXPECT_EQ(tracks[0], tracks[1]) << type;
        EXPECT_EQ(0, std::memcmp(&infos[0], &infos[1], sizeof info)) << type;
    }
    EXPECT_TRUE(reports.empty());
}

TEST_F(HeaderReading, ByteOrderComesFromTheFileNotFromTheCaller) {
    const Handle h = open(plain_file(VT_FW16), LF_READ | LF_SWAPPED);
    ASSERT_TRUE(h);
    EXPECT_FALSE(has_flag(h, LF_SWAPPED));
    EXPECT_EQ((Runs{{4, 0}, {6, 255}}), read(h, 0));
}

TEST_F(HeaderReading, VersionBelowTwoKnowsNoWideFields) {
    for (const uint32_t version : {0u, 1u, 0xFFFFFFFFu}) {
        VorBytes file = plain_file();
        file.stops({2});
        file.seek_table();
        file.flag(VorBytes::f_seek64 | VorBytes::f_off64 | VorBytes::f_res64);
        file.set(VorBytes::version_at, version);
        file.set(VorBytes::seekoff_hi_at, 7).set(VorBytes::stopoff_hi_at, 7);
        file.set_double(VorBytes::xpitch64_at, 0.001);
        const Handle h = checked(file);
        EXPECT_EQ(1 / double{0.05f}, info.xres);
        EXPECT_EQ(2u, lfstoptable(h.get())[0]);
        EXPECT_EQ(file.entries, std::vector<int64_t>(h->seektab, h->seektab + 3));
    }
}

TEST_F(HeaderReading, SeekTableRightBehindTheHeaderIsNotAskedFor) {
    VorBytes empty(VT_FW8, 0, 10);
    empty.seek_table();
    ASSERT_EQ(256u, empty.get(VorBytes::seekoff_at));
    EXPECT_FALSE(has_flag(open(empty), LF_NEEDSEEKTAB));

    VorBytes one_more(VT_FW8, 0, 10);
    one_more.put({0});
    one_more.seek_table();
    ASSERT_EQ(257u, one_more.get(VorBytes::seekoff_at));
    EXPECT_TRUE(has_flag(open(one_more), LF_NEEDSEEKTAB));

    one_more.clear_flag(VorBytes::f_seektab);
    EXPECT_FALSE(has_flag(open(one_more), LF_NEEDSEEKTAB));
}

TEST_F(HeaderReading, MaxrunsIsTakenUnderItsFlagIfItCanBe) {
    const struct {
        uint32_t value;
        bool flag;
        uint32_t mode;
        int32_t maxruns;
    } rows[] = {{5, true, 0, 5},          {10, true, 0, 10},        {11, true, 0, 1},
                {0x80000000, true, 0, 1}, {0xFFFFFFFF, true, 0, 1}, {5, false, 0, 0},
                {5, true, LF_MEASURE, 0}, {0, true, 0, 0}};
    for (const auto &row : rows) {
        VorBytes file = plain_file();
        file.set(VorBytes::hmaxruns_at, row.value);
        if (row.flag) file.flag(VorBytes::f_maxruns);
        const Handle h = open(file, LF_READ | row.mode);
        ASSERT_TRUE(h);
        EXPECT_EQ(row.maxruns, h->maxruns) << row.value;
    }
}

TEST_F(HeaderReading, TiledFileIsRefused) {
    VorBytes file = plain_file();
    file.seek_table();
    file.flag(VorBytes::f_tiled | VorBytes::f_maxruns).set(VorBytes::hmaxruns_at, 7);
    EXPECT_FALSE(open(file));
    EXPECT_EQ("vor_rdsetup: invalid argument | tiled vor not supported, use vortile to convert",
              reports.take().at(0));
    EXPECT_EQ(LFE_OS, info.error); // of the detection, which reports last

    Probe probe;
    EXPECT_EQ(-1, probe.setup(file.bytes()));
    EXPECT_EQ(static_cast<uint32_t>(LFE_ARGUMENT), probe->error);
    EXPECT_TRUE(probe->flags & LF_NEEDSEEKTAB);
    EXPECT_EQ(7, probe->maxruns);
    EXPECT_EQ(nullptr, probe->fmtdata);
}

TEST_F(HeaderReading, SizesBeyond31BitsOpenAndReadNothing) {
    for (const uint32_t type : {2u, 0x42u}) {
        for (const auto &[tracks, pixels] :
             std::initializer_list<std::pair<uint32_t, uint32_t>>{{0x80000000, 10},
                                                                  {0xFFFFFFFF, 10},
                                                                  {3, 0x80000000},
                                                                  {3, 0xFFFFFFFF},
                                                                  {0, 0},
                                                                  {0x7FFFFFFF, 0x7FFFFFFF},
                                                                  {3, 0}}) {
            VorBytes file = plain_file(type);
            file.set(VorBytes::tracks_at, tracks).set(VorBytes::pixels_at, pixels);
            file.seek_table();
            const Handle h = open(file);
            ASSERT_TRUE(h);
            EXPECT_EQ(static_cast<int32_t>(tracks), info.xsize);
            EXPECT_EQ(static_cast<int32_t>(pixels), info.ysize);
            lfcheck(h.get());
            Track track(16);
            EXPECT_LE(lfread(h.get(), track.get(), 0), 0);
        }
    }
}

// ---- checksum ----

TEST_F(HeaderChecksum, IsComparedAsVersionAndFlagTell) {
    enum Stored { zero, right, wrong };
    const struct {
        uint32_t version;
        bool flag;
        Stored stored;
        uint32_t mode;
        bool bad;
    } rows[] = {
        {2, false, right, 0, false},       {2, false, wrong, 0, true},
        {2, true, right, 0, false},        {2, true, wrong, 0, true},
        {2, false, zero, 0, false},        {2, true, zero, 0, true},
        {1, false, right, 0, false},       {1, false, wrong, 0, false},
        {1, true, right, 0, false},        {1, true, wrong, 0, true},
        {1, true, zero, 0, true},          {2, false, right, LF_NOCRC, true},
        {2, false, wrong, LF_NOCRC, true}, {2, false, zero, LF_NOCRC, false},
        {2, true, zero, LF_NOCRC, false},  {1, false, right, LF_NOCRC, false},
    };
    for (const bool swapped : {false, true}) {
        for (const auto &row : rows) {
            VorBytes file = plain_file(VT_FW8, swapped);
            file.set(VorBytes::version_at, row.version);
            if (row.flag) file.flag(VorBytes::f_crc);
            const uint32_t crc = vor_hdrcrc(file.bytes().data());
            if (row.stored != zero) {
                file.set(VorBytes::hcrc_at, row.stored == right ? crc : crc ^ 1);
            }
            const Handle h = open(file, LF_READ | row.mode);
            ASSERT_TRUE(h);
            EXPECT_EQ(row.bad, has_flag(h, LF_BADHDRCRC))
                << row.version << row.flag << row.stored << row.mode << swapped;
        }
    }
}

TEST_F(HeaderChecksum, BadOneIsNoFailure) {
    VorBytes file = plain_file();
    file.set(VorBytes::hcrc_at, 0x12345);
    const Handle h = checked(file);
    EXPECT_TRUE(has_flag(h, LF_BADHDRCRC));
    EXPECT_EQ((Runs{{10, 255}}), read(h, 1));
    EXPECT_TRUE(reports.empty());
    EXPECT_EQ(0, info.error);
}

// ---- sections ----

TEST_F(SectionReading, StopTableIsReadUnderItsFlag) {
    VorBytes file = plain_file();
    file.stops({0, 0x80000001, 0x40000002});
    Handle h = open(file);
    ASSERT_TRUE(h);
    EXPECT_TRUE(has_flag(h, LF_STOPS));
    ASSERT_EQ(3u, lfstoptablesize(h.get()));
    EXPECT_EQ(0x40000002u, lfstoptable(h.get())[2]);

    file.clear_flag(VorBytes::f_stops);
    h = open(file);
    EXPECT_FALSE(has_flag(h, LF_STOPS));
    EXPECT_EQ(nullptr, lfstoptable(h.get()));

    file.flag(VorBytes::f_stops).set(VorBytes::stopcount_at, 0);
    h = open(file);
    EXPECT_EQ(nullptr, lfstoptable(h.get()));
}

TEST_F(SectionReading, StopTableBeyondTheFileIsNeverMadeRoomFor) {
    const struct {
        uint32_t offset, high, count;
    } rows[] = {{300, 0, 0xFFFFFFFF}, {300, 0, 1000}, {0xFFFFFF00, 0, 1}, {300, 0x7FFFFFFF, 1}};
    for (const auto &row : rows) {
        VorBytes file = plain_file();
        file.stops({1, 2, 3});
        file.flag(VorBytes::f_off64).set(VorBytes::stopoff_at, row.offset);
        file.set(VorBytes::stopoff_hi_at, row.high).set(VorBytes::stopcount_at, row.count);
        file.write(name);
        // The fourth allocation would be the table's, behind those of the handle.
        const FailingMalloc fails(4);
        EXPECT_FALSE(open());
        EXPECT_EQ("stop table: last os error", reports.take().at(0)) << row.offset;
        EXPECT_FALSE(fails.reached());
    }
}

TEST_F(SectionReading, StopTableThatCannotBeReachedOrReadFails) {
    VorBytes file = plain_file();
    file.stops({1, 2, 3});
    file.write(name);
    {
        const FailingCall fails(Call::seek, 1);
        EXPECT_FALSE(open());
    }
    EXPECT_EQ("stop table: last os error", reports.take().at(0));
    {
        const FailingCall fails(Call::read, 3); // two take the head, up to the file's end
        EXPECT_FALSE(open());
    }
    EXPECT_EQ("stop table: last os error", reports.take().at(0));
}

TEST_F(SectionReading, NoMemoryForTheStopTable) {
    VorBytes file = plain_file();
    file.stops({1, 2, 3});
    file.write(name);
    const FailingMalloc fails(4);
    EXPECT_FALSE(open());
    EXPECT_EQ("stop table: out of memory", reports.take().at(0));
}

TEST_F(SectionReading, NoMemoryForThePrivateRecord) {
    plain_file().write(name);
    const FailingMalloc fails(4);
    EXPECT_FALSE(open());
    EXPECT_EQ("vor_rdsetup: last os error", reports.take().at(0));
}

TEST_F(SectionReading, UnreadableColoursFailTheOpen) {
    for (const bool tables : {true, false}) {
        VorBytes file = plain_file();
        if (tables) {
            file.colour_tables({VorBytes::Table{}});
        } else {
            file.colour_info(Bytes(256, 1));
        }
        Bytes bytes = file.bytes();
        bytes.pop_back();
        write_bytes(name, bytes);
        EXPECT_FALSE(open());
        EXPECT_EQ(lines({"vor_rdsetup: last os error", "vor_detect_format: last os error"}),
                  reports.take());

        file.write(name);
        const FailingCall fails(Call::read, 3);
        EXPECT_FALSE(open());
        EXPECT_EQ("vor_rdsetup: last os error", reports.take().at(0));
    }
}

TEST_F(SectionReading, ColourInfoIsReadEvenIfColoursAreToBeLeftAlone) {
    Bytes block(256);
    block[7] = 9;
    VorBytes file = plain_file();
    file.colour_info(block);
    for (const uint32_t mode : {LF_READ + 0u, LF_NOCOLOR}) {
        const Handle h = open(file, mode);
        ASSERT_TRUE(h);
        EXPECT_EQ(block, Bytes(h->colorinfo, h->colorinfo + 256));
    }
}

TEST_F(SectionReading, ColourInfoInsideTheHeaderIsNone) {
    VorBytes file = plain_file();
    file.colour_info(Bytes(256, 5));
    file.set(VorBytes::cinfooff_at, 255);
    const Handle h = checked(file);
    EXPECT_EQ(0x00, h->colorinfo[0]);
    EXPECT_EQ(0x01, h->colorinfo[1]);
    vor_colorinfo request = {VOR_COLORINFO_MAGIC, 77, {}};
    EXPECT_EQ(0, lfspecial(h.get(), LFS_GET_COLOR_INFO, &request));
    EXPECT_EQ(0u, request.count);
}

TEST_F(SectionReading, OffsetsBeyond32BitsNeedTheirFlag) {
    VorBytes file = plain_file();
    file.colour_info(Bytes(256, 5));
    file.set(VorBytes::cinfooff_hi_at, 1);
    EXPECT_TRUE(open(file));
    file.flag(VorBytes::f_off64);
    EXPECT_FALSE(open(file));
}

TEST_F(SectionReading, PipeIsReadUpToWhereItMustBeSought) {
    // A pipe holds a plain file, and one with a stop table, which cannot be reached.
    for (const bool with_stops : {false, true}) {
        VorBytes file = plain_file();
        if (with_stops) file.stops({1, 2});
        int ends[2];
        ASSERT_EQ(0, ::pipe(ends));
        const Bytes &bytes = file.bytes();
        ASSERT_EQ(static_cast<ssize_t>(bytes.size()), ::write(ends[1], bytes.data(), bytes.size()));
        ::close(ends[1]);
        const Handle h(lfdopen(ends[0], nullptr, LF_READ, 0, &info));
        EXPECT_EQ(!with_stops, h != nullptr);
        if (!h) {
            EXPECT_EQ("stop table: last os error", reports.take().at(0));
            ::close(ends[0]);
        }
    }
}

// ---- check ----

TEST_F(NativeCheck, SetsTrackEndsAndTheSwapOfWordsAlone) {
    for (const bool swapped : {false, true}) {
        for (const uint32_t type : {1u, 2u, 3u}) {
            const Handle h = checked(plain_file(type, swapped), LF_READ | LF_TRKBEGIN);
            EXPECT_FALSE(has_flag(h, LF_TRKBEGIN));
            EXPECT_TRUE(has_flag(h, LF_TRKEND));
            EXPECT_EQ(swapped && type == 1, has_flag(h, LF_SWAP16));
        }
    }
}

TEST_F(NativeCheck, ReadsTracksOfEveryFormat) {
    for (const uint32_t type : {1u, 2u, 3u, 0x41u, 0x42u, 0x43u}) {
        VorBytes file = plain_file(type);
        file.seek_table();
        const Handle h = checked(file);
        const uint32_t one = type % 16 == 3 ? 1 : 255;
        EXPECT_EQ((std::vector<Runs>{{{4, 0}, {6, one}}, {{10, one}}, {{1, 0}, {2, one}, {7, 0}}}),
                  read_all(h))
            << type;
    }
}

TEST_F(NativeCheck, BadTrackFormatIsReported) {
    const Handle h = open(plain_file());
    ASSERT_TRUE(h);
    h->subtype = 5;
    EXPECT_EQ(-1, lfcheck(h.get()));
    EXPECT_EQ(lines({"assign_rw: invalid argument | bad file type",
                     "lfcheck: invalid argument | format check failed"}),
              reports.take());
}

TEST_F(NativeCheck, FileWithASeekTableIsNotReadBySkipping) {
    for (const bool table : {false, true}) {
        VorBytes file = plain_file();
        if (table) file.seek_table();
        const Handle h = checked(file, LF_READ | LF_SEQUENTIAL);
        EXPECT_EQ(!table, has_flag(h, LF_SEQUENTIAL));
        EXPECT_EQ(table, lfseektable(h.get()) != nullptr);
        EXPECT_EQ((Runs{{4, 0}, {6, 255}}), read(h, 0));
        EXPECT_EQ((Runs{{10, 255}}), read(h, 1));
    }
}

TEST_F(NativeCheck, BufferOfCompressedFileHoldsOneTrack) {
    const struct {
        uint32_t type, pixels, size;
    } rows[] = {{0x42, 6, 16},        {0x42, 14, 16},       {0x42, 15, 32},
                {0x42, 10000, 10016}, {0x41, 6, 16},        {0x41, 7, 32},
                {0x43, 7, 32},        {0x41, 10000, 20016}, {0x43, 9999, 20016}};
    for (const auto &row : rows) {
        VorBytes file(row.type, 1, row.pixels);
        file.blank(0);
        file.seek_table();
        const Handle h = checked(file);
        EXPECT_EQ(row.size, h->bufsize) << row.type << " " << row.pixels;
    }
}

TEST_F(NativeCheck, BufferOfCompressedFileStaysWithinWhatTheFileCanHold) {
    VorBytes file(0x41, 1, 0x3FFFFFF0);
    file.blank(255);
    file.seek_table();
    const Handle h = checked(file);
    EXPECT_LE(h->bufsize, 1033u * file.bytes().size());
    Track track(4);
    EXPECT_EQ(1, lfread(h.get(), track.get(), 0));
    EXPECT_EQ((Runs{{0x3FFFFFF0, 255}}), track.runs());
}

TEST_F(NativeCheck, BufferBeyond31BitsIsOutOfMemory) {
    for (const uint32_t type : {0x41u, 0x42u, 0x43u}) {
        VorBytes file(type, 1, 0x7FFFFFFF);
        file.blank(0);
        file.seek_table();
        const Handle h = open(file);
        ASSERT_TRUE(h);
        EXPECT_EQ(-1, lfcheck(h.get()));
        EXPECT_EQ(
            lines({"vor_check: out of memory", "lfcheck: out of memory | format check failed"}),
            reports.take());
    }
}

TEST_F(NativeCheck, NoMemoryForTheTrackBuffer) {
    VorBytes file = plain_file(0x42);
    file.seek_table();
    const Handle h = open(file);
    ASSERT_TRUE(h);
    lfrw_functions(h.get(), "fw8"); // sets the codec table up
    {
        const FailingMalloc fails(1);
        EXPECT_EQ(-1, lfcheck(h.get()));
    }
    EXPECT_EQ("vor_check: out of memory", reports.take().at(0));
    EXPECT_EQ(0, lfcheck(h.get())); // the handle is as usable as before
    EXPECT_EQ((Runs{{10, 255}}), read(h, 1));
}

TEST_F(NativeCheck, UpdateLoadsTheTags) {
    VorBytes file = plain_file();
    file.tag_list(1).tag("Job", {1, 2, 3, 4});
    const Handle h = checked(file, LF_UPDATE);
    EXPECT_NE(nullptr, priv(h.get())->tags);

    VorBytes bad = plain_file();
    bad.tag_list(1).tag_record(33, "Job", {1, 2, 3, 4});
    const Handle damaged = open(bad, LF_UPDATE);
    ASSERT_TRUE(damaged);
    EXPECT_EQ(-1, lfcheck(damaged.get()));
}

TEST_F(NativeCheck, FreeIsSafeWithoutARecord) {
    xvor_t h = {};
    EXPECT_EQ(0, vor_free(&h));
}

TEST_F(NativeCheck, LateChangeOfTheWindowReadsTheRightTracks) {
    for (const uint32_t type : {2u, 0x42u}) {
        VorBytes file(type, 6, 10);
        for (uint32_t i = 0; i < 6; ++i)
            file.track({{i + 1, 0}, {9 - i, 1}});
        file.seek_table();
        const Handle h = checked(file);
        EXPECT_EQ((Runs{{2, 0}, {8, 255}}), read(h, 1));
        int32_t window[4] = {3, 0, 5, 10};
        EXPECT_EQ(0, lfclip(h.get(), window));
        EXPECT_EQ(0, lfcheck(h.get()));
        EXPECT_EQ((std::vector<Runs>{{{4, 0}, {6, 255}}, {{5, 0}, {5, 255}}}), read_all(h)) << type;
        EXPECT_EQ(0, lfclip(h.get(), nullptr));
        EXPECT_EQ(0, lfscale(h.get(), h->fxres * 2, h->fyres));
        EXPECT_EQ(0, lfcheck(h.get()));
        ASSERT_EQ(12, h->xsize);
        EXPECT_EQ((Runs{{6, 0}, {4, 255}}), read(h, 11)) << type;
        EXPECT_EQ((Runs{{1, 0}, {9, 255}}), read(h, 1)) << type;
    }
}

TEST_F(NativeCheck, SeekBeforeTheCheckDoesNotMisreadACompressedFile) {
    VorBytes file = plain_file(0x42);
    file.seek_table();
    const Handle h = open(file);
    ASSERT_TRUE(h);
    EXPECT_EQ(0, lfseek(h.get(), 1, LF_SEEK_SET));
    EXPECT_EQ((Runs{{1, 0}, {2, 255}, {7, 0}}), read(h, 2));
}

// No allocation, read or seek may fail on the way without the call telling, or leave something
// behind.
TEST_F(NativeCheck, EveryFailureOnTheWayIsTold) {
    VorBytes file = plain_file(0x42);
    file.stops({1, 0x80000002});
    file.seek_table();
    file.colour_tables({VorBytes::Table{}, VorBytes::Table{}});
    file.colour_info(Bytes(256, 3));
    file.write(name);
    Track track(16);
    const auto read_whole = [&] {
        const Handle h = open();
        return h && lfcheck(h.get()) == 0 && lfread(h.get(), track.get(), 0) > 0 &&
               lfread(h.get(), track.get(), 2) > 0;
    };
    ASSERT_TRUE(read_whole());
    int failures = 0;
    for (const Call call : {Call::read, Call::inflate, Call::inflate_reset, Call::inflate_init}) {
        const long before = calls_of(call);
        ASSERT_TRUE(read_whole());
        const long count = calls_of(call) - before;
        ASSERT_GT(count, 0);
        for (long n = 1; n <= count; ++n, ++failures) {
            const FailingCall fails(call, n);
            EXPECT_FALSE(read_whole()) << static_cast<int>(call) << " " << n;
        }
    }
    for (long n = 1;; ++n, ++failures) {
        const FailingMalloc fails(n);
        const bool good = read_whole();
        if (!fails.reached()) {
            EXPECT_TRUE(good);
            break;
        }
    }
    EXPECT_GT(failures, 15);
}

} // namespace
} // namespace vor::test
