// The special requests of a native handle, but for those on colour tables and tags.
#include <cstring>
#include <limits>

#include "support/failing_calls.h"
#include "support/failing_malloc.h"
#include "support/native_test.h"
#include "util/checksum.h"

namespace vor::test {
namespace {

class NativeRequests : public NativeTest {
protected:
    static VorBytes small_file(bool swapped = false) {
        VorBytes file(VT_FW8, 2, 10, swapped);
        file.track({{4, 0}, {6, 1}});
        file.track({{1, 0}, {9, 1}});
        return file;
    }
};

TEST_F(NativeRequests, UnlistedOnesAreLeftToTheLibrary) {
    const Handle h = checked(small_file());
    uint8_t block[512] = {};
    for (const int32_t request : {INT32_MIN, -1, 0, 23, 24, 26, 1000, INT32_MAX})
        EXPECT_EQ(LF_UNHANDLED, h->special(h.get(), request, block)) << request;
    uint32_t flags = 0;
    EXPECT_EQ(0, lfspecial(h.get(), LFS_FLAGS, &flags));
    EXPECT_EQ(h->flags, flags);
    EXPECT_EQ(1, lfspecial(h.get(), LFS_RESET_STATISTICS, nullptr));
    EXPECT_EQ(-1, lfspecial(h.get(), 26, block));
    EXPECT_EQ(static_cast<uint32_t>(LFE_REQUEST), h->error);
}

TEST_F(NativeRequests, ListedOnesNeedAnArgument) {
    const Handle h = checked(small_file());
    for (int32_t request = 1; request <= 25; ++request) {
        if (request == 23 || request == 24) continue;
        EXPECT_EQ(-1, h->special(h.get(), request, nullptr)) << request;
    }
}

TEST_F(NativeRequests, AreThereOnceTheHandleIsChecked) {
    const Handle h = open(small_file());
    EXPECT_EQ(nullptr, h->special);
    EXPECT_EQ(0, lfcheck(h.get()));
    EXPECT_EQ(vor_special, h->special);
}

TEST_F(NativeRequests, HeaderIsGivenInTheMachinesOrder) {
    for (const bool swapped : {false, true}) {
        const Handle h = checked(small_file(swapped));
        vorhdr hdr;
        EXPECT_EQ(0, lfspecial(h.get(), LFS_VOR_HEADER, &hdr));
        EXPECT_EQ(2u, hdr.tracks);
        EXPECT_EQ(10u, hdr.pixels);
        EXPECT_EQ(VOR_BYTEORDER, hdr.byteorder);
        EXPECT_EQ(20.0f, hdr.yresf);
        EXPECT_STREQ("KEL", hdr.letters);
    }
}

TEST_F(NativeRequests, TableIsSelected) {
    VorBytes file = small_file();
    VorBytes::Table first = {}, second;
    second.fill(6);
    file.colour_tables({first, second});
    const Handle h = checked(file);
    int32_t index = 1;
    EXPECT_EQ(0, lfspecial(h.get(), LFS_SELECT_CTAB, &index));
    EXPECT_EQ(1, h->ctabno);
    EXPECT_EQ(6, lfctable(h.get())[0]);
    index = 2;
    EXPECT_EQ(-1, lfspecial(h.get(), LFS_SELECT_CTAB, &index));
    const Handle bare = checked(small_file());
    EXPECT_EQ(1, lfspecial(bare.get(), LFS_SELECT_CTAB, &index));
}

// ---- parameters ----

struct NumberRow {
    int32_t set, get;
    uint32_t flag;
    size_t offset;
};
constexpr NumberRow numbers[] = {
    {LFS_SET_PARAM_A, LFS_GET_PARAM_A, 0x1, 24},
    {LFS_SET_PARAM_B, LFS_GET_PARAM_B, 0x4, 32},
    {LFS_SET_PARAM_C, LFS_GET_PARAM_C, 0x2, 36},
    {LFS_SET_PARAM_F, LFS_GET_PARAM_F, 0x10, 48},
};
constexpr NumberRow words[] = {
    {LFS_SET_PARAM_D, LFS_GET_PARAM_D, 0x8, 40},
    {LFS_SET_PARAM_E, LFS_GET_PARAM_E, 0x20, 44},
};

TEST_F(NativeRequests, RequestNumbersAreThoseOfThePrograms) {
    EXPECT_EQ(4, LFS_SET_PARAM_F);
    EXPECT_EQ(5, LFS_SET_PARAM_A);
    EXPECT_EQ(6, LFS_SET_PARAM_E);
    EXPECT_EQ(7, LFS_SET_PARAM_D);
    EXPECT_EQ(8, LFS_GET_PARAM_F);
    EXPECT_EQ(9, LFS_GET_PARAM_A);
    EXPECT_EQ(10, LFS_GET_PARAM_E);
    EXPECT_EQ(11, LFS_GET_PARAM_D);
    EXPECT_EQ(17, LFS_SET_PARAM_C);
    EXPECT_EQ(18, LFS_SET_PARAM_B);
    EXPECT_EQ(19, LFS_GET_PARAM_C);
    EXPECT_EQ(20, LFS_GET_PARAM_B);
}

TEST_F(NativeRequests, ParameterWithoutItsFlagIsNotAnswered) {
    const Handle h = checked(small_file());
    for (const int32_t request : {8, 9, 10, 11, 19, 20}) {
        double value = 77;
        EXPECT_EQ(LF_UNHANDLED, h->special(h.get(), request, &value)) << request;
        EXPECT_EQ(77, value);
        h->error = 0;
        EXPECT_EQ(-1, lfspecial(h.get(), request, &value));
        EXPECT_EQ(static_cast<uint32_t>(LFE_REQUEST), h->error);
    }
}

TEST_F(NativeRequests, NumbersAreStoredAsFloatsUnderTheirFlag) {
    for (const NumberRow &row : numbers) {
        const Handle h = checked(small_file());
        h->flags &= ~LF_DIRTY;
        double value = 0.1;
        EXPECT_EQ(0, lfspecial(h.get(), row.set, &value));
        EXPECT_TRUE(has_flag(h, LF_DIRTY));
        double answer = 0;
        EXPECT_EQ(0, lfspecial(h.get(), row.get, &answer));
        EXPECT_EQ(double{0.1f}, answer);
        Bytes hdr(256);
        EXPECT_EQ(0, lfspecial(h.get(), LFS_VOR_HEADER, hdr.data()));
        const VorView header(hdr);
        EXPECT_EQ(0.1f, header.f32(row.offset));
        EXPECT_EQ(row.flag, header.flags() & 0x3F);
    }
}

TEST_F(NativeRequests, NumberBeyondAFloatIsInfinite) {
    const Handle h = checked(small_file());
    double value = 1e300;
    EXPECT_EQ(0, lfspecial(h.get(), LFS_SET_PARAM_A, &value));
    EXPECT_EQ(0, lfspecial(h.get(), LFS_GET_PARAM_A, &value));
    EXPECT_EQ(std::numeric_limits<double>::infinity(), value);
}

TEST_F(NativeRequests, WordsAreStoredAsTheyAre) {
    for (const NumberRow &row : words) {
        for (const uint32_t value : {0u, 1u, 0x80000000u, 0xFFFFFFFEu}) {
            const Handle h = checked(small_file());
            h->flags &= ~LF_DIRTY;
            uint32_t word = value;
            EXPECT_EQ(0, lfspecial(h.get(), row.set, &word));
            EXPECT_TRUE(has_flag(h, LF_DIRTY));
            uint32_t answer[2] = {7, 0x5A5A5A5A};
            EXPECT_EQ(0, lfspecial(h.get(), row.get, answer));
            EXPECT_EQ(value, answer[0]);
            EXPECT_EQ(0x5A5A5A5Au, answer[1]);
            Bytes hdr(256);
            EXPECT_EQ(0, lfspecial(h.get(), LFS_VOR_HEADER, hdr.data()));
            EXPECT_EQ(value, VorView(hdr).u32(row.offset));
            EXPECT_EQ(row.flag, VorView(hdr).flags() & 0x3F);
        }
    }
}

TEST_F(NativeRequests, ParametersOfTheFileAreGiven) {
    for (const bool swapped : {false, true}) {
        VorBytes file = small_file(swapped);
        file.set_float(VorBytes::param_a_at, 1.25f);
        file.set(VorBytes::param_e_at, 0xFFFFFFF9);
        file.flag(HF_PARAM_A | HF_PARAM_E);
        const Handle h = checked(file);
        double number = 0;
        EXPECT_EQ(0, lfspecial(h.get(), LFS_GET_PARAM_A, &number));
        EXPECT_EQ(1.25, number);
        int32_t word = 0;
        EXPECT_EQ(0, lfspecial(h.get(), LFS_GET_PARAM_E, &word));
        EXPECT_EQ(-7, word);
    }
}

// ---- colour info ----

TEST_F(NativeRequests, ColourInfoNeedsItsMagic) {
    const Handle h = checked(small_file());
    for (const int32_t request : {21, 22}) {
        vor_colorinfo record = {0x10007, 5, {}};
        EXPECT_EQ(LF_UNHANDLED, h->special(h.get(), request, &record));
        EXPECT_EQ(5u, record.count);
        EXPECT_EQ(-1, lfspecial(h.get(), request, &record));
        EXPECT_EQ(static_cast<uint32_t>(LFE_REQUEST), h->error);
    }
    EXPECT_EQ(1, h->colorinfo[1]);
}

TEST_F(NativeRequests, ColourInfoIsSetUpToItsCount) {
    const struct {
        uint32_t count, stored;
    } rows[] = {{0, 0}, {1, 1}, {200, 200}, {256, 256}, {257, 256}, {0xFFFFFFFF, 256}};
    for (const auto &row : rows) {
        const Handle h = checked(small_file());
        h->flags &= ~LF_DIRTY;
        vor_colorinfo record = {VOR_COLORINFO_MAGIC, row.count, {}};
        std::memset(record.bytes, 7, sizeof record.bytes);
        EXPECT_EQ(0, lfspecial(h.get(), LFS_SET_COLOR_INFO, &record));
        EXPECT_TRUE(has_flag(h, LF_DIRTY));
        Bytes expected(256);
        std::fill_n(expected.begin(), row.stored, uint8_t{7});
        EXPECT_EQ(expected, Bytes(h->colorinfo, h->colorinfo + 256));
        EXPECT_EQ(row.stored != 0, (priv(h.get())->hdr.hflags & HF_CINFO) != 0);
        vor_colorinfo got = {VOR_COLORINFO_MAGIC, 3, {}};
        EXPECT_EQ(0, lfspecial(h.get(), LFS_GET_COLOR_INFO, &got));
        EXPECT_EQ(row.stored != 0 ? 256u : 0u, got.count);
        EXPECT_EQ(expected, Bytes(got.bytes, got.bytes + 256));
    }
}

TEST_F(NativeRequests, ColourInfoOfTheFileIsGiven) {
    VorBytes file = small_file();
    file.colour_info(Bytes(256, 3));
    const Handle h = checked(file);
    vor_colorinfo got = {VOR_COLORINFO_MAGIC, 0, {}};
    EXPECT_EQ(0, lfspecial(h.get(), LFS_GET_COLOR_INFO, &got));
    EXPECT_EQ(256u, got.count);
    EXPECT_EQ(Bytes(256, 3), Bytes(got.bytes, got.bytes + 256));
}

// ---- image hash ----

class ImageHash : public NativeRequests {
protected:
    static VorView hash_of(const Handle &h, int32_t expected = 0) {
        Bytes hash(16, 0xEE);
        EXPECT_EQ(expected, lfspecial(h.get(), LFS_IMAGE_HASH, hash.data()));
        return VorView(hash);
    }
};

TEST_F(ImageHash, GoesOverTheRawSeekTable) {
    for (const bool wide : {false, true}) {
        for (const bool swapped : {false, true}) {
            VorBytes file = small_file(swapped);
            const size_t from = file.end();
            wide ? file.wide_seek_table() : file.seek_table();
            const Bytes raw(file.bytes().begin() + static_cast<ptrdiff_t>(from),
                            file.bytes().end());
            const Handle h = checked(file);
            Bytes hash(16);
            EXPECT_EQ(0, lfspecial(h.get(), LFS_IMAGE_HASH, hash.data()));
            const uint32_t parts[] = {0xEFBE00FF, kel_crc32_buffer(raw.data(), raw.size()), 2, 10};
            for (size_t i = 0; i < 16; ++i)
                EXPECT_EQ(static_cast<uint8_t>(parts[i / 4] >> (i % 4 * 8)), hash[i]) << i;
            EXPECT_EQ(1u, h->hashvalid);
        }
    }
}

TEST_F(ImageHash, IsKeptOnceItIsThere) {
    VorBytes file = small_file();
    file.seek_table();
    const Handle h = checked(file);
    const Bytes first = hash_of(h).bytes();
    const long reads = calls_of(Call::read);
    EXPECT_EQ(first, hash_of(h).bytes());
    EXPECT_EQ(reads, calls_of(Call::read));
}

TEST_F(ImageHash, WithoutATableTheHeaderStandsForTheImage) {
    const Handle h = checked(small_file());
    for (int round = 0; round < 2; ++round) {
        const VorView hash = hash_of(h);
        EXPECT_EQ(0u, hash.u32(0));
        EXPECT_EQ(0.05f, hash.f32(4));
        EXPECT_EQ(2u, hash.u32(8));
        EXPECT_EQ(10u, hash.u32(12));
        EXPECT_EQ(0u, h->hashvalid);
    }
}

TEST_F(ImageHash, TracksReadOnBehindIt) {
    VorBytes file = small_file();
    file.seek_table();
    const Handle h = checked(file);
    EXPECT_EQ((Runs{{4, 0}, {6, 255}}), read(h, 0));
    hash_of(h);
    EXPECT_EQ((Runs{{1, 0}, {9, 255}}), read(h, 1));
}

TEST_F(ImageHash, FailuresAreSilent) {
    VorBytes file = small_file();
    file.seek_table();
    const Handle h = checked(file);
    {
        const FailingCall fails(Call::read, 1);
        hash_of(h, -1);
    }
    for (long n = 1; n <= 3; ++n) { // to note the position, to go there, and back
        const FailingCall fails(Call::seek, n);
        hash_of(h, -1);
        h->hashvalid = 0;
    }
    {
        const FailingMalloc fails(1);
        hash_of(h, -1);
    }
    EXPECT_TRUE(reports.empty());
    hash_of(h);
    EXPECT_EQ((Runs{{4, 0}, {6, 255}}), read(h, 0));
}

TEST_F(ImageHash, TableBeyondTheFileIsNeverMadeRoomFor) {
    VorBytes file = small_file();
    file.seek_table();
    file.set(VorBytes::tracks_at, 0xFFFFFFFF);
    const Handle h = open(file, LF_UPDATE);
    ASSERT_TRUE(h);
    h->special = vor_special;
    const FailingMalloc fails(1);
    hash_of(h, -1);
    EXPECT_FALSE(fails.reached());
}

} // namespace
} // namespace vor::test
