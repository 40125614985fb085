// Opening: what a handle starts out as, and what is left of one that does not open.

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "formats/formats.h"
#include "platform/kel.h"
#include "support/byte_file.h"
#include "support/failing_malloc.h"
#include "support/in_child.h"
#include "support/owned_handles.h"
#include "support/report_log.h"
#include "support/temp_dir.h"
#include "support/toy_format.h"
#include "trackfile/lf.h"

namespace vor::test {
namespace {

constexpr uint32_t access_3 = LF_BADACCESS;

// The lowest descriptor that is free: the same number again means that nothing was left open.
int32_t next_descriptor(const std::string &existing_file) {
    const int32_t fd = kel_open(existing_file.c_str(), KEL_O_RDONLY, 0);
    kel_close(fd);
    return fd;
}

bool is_open(int32_t fd) {
    kel_stat_t status;
    return kel_fstat(fd, &status) == 0;
}

class OpenTest : public ::testing::Test {
protected:
    ReportLog log;
    TempDir dir;
    std::string name = dir.file("image.toy");
    lfinfo info = {};

    void make_file(int32_t tracks = 10) { write_bytes(name, Toy::coded_file(tracks)); }
    xvor_t *open(uint32_t mode, int32_t type = 0) {
        return lfopen(name.c_str(), mode, type, &info);
    }
    bool file_exists() const { return kel_access(name.c_str(), KEL_F_OK) == 0; }
};

using OpenToRead = OpenTest;
using OpenToWrite = OpenTest;
using OpenToUpdate = OpenTest;
using OpenWithoutFile = OpenTest;
using OpenWithAccessThree = OpenTest;
using OpenDescriptor = OpenTest;
using OpenForcedType = OpenTest;
using OpenCallbacks = OpenTest;
using OpenMode = OpenTest;

// ---- read road ------------------------------------------------------------------------------

TEST_F(OpenToRead, InfoTellsSizeAndResolutionWithNoFurtherCall) {
    Toy toy = Toy::bytes();
    toy.maxruns = 7;
    toy.bits = 8;
    make_file();
    const Handle h(open(LF_READ));
    ASSERT_TRUE(h);
    EXPECT_EQ(info.xsize, 10);
    EXPECT_EQ(info.ysize, 100);
    EXPECT_EQ(info.xres, 10.0);
    EXPECT_EQ(info.yres, 20.0);
    EXPECT_EQ(info.bits, 8);
    EXPECT_EQ(info.nctab, 1);
    EXPECT_STREQ(info.type_name, "toy");
    EXPECT_EQ(info.major, Toy::row());
    EXPECT_EQ(info.minor, 3);
    EXPECT_EQ(info.maxruns, 7);
    EXPECT_EQ(info.error, LFE_NONE);
    EXPECT_TRUE(log.empty());
}

TEST_F(OpenToRead, InfoMayBeAbsent) {
    Toy toy = Toy::bytes();
    make_file();
    const Handle h(lfopen(name.c_str(), LF_READ, 0, nullptr));
    EXPECT_TRUE(h);
}

TEST_F(OpenToRead, HandleStartsInFrontOfTheFirstTrackWithTheWholeImageAsWindow) {
    Toy toy = Toy::bytes();
    make_file();
    const Handle h(open(LF_READ));
    ASSERT_TRUE(h);
    EXPECT_EQ(std::memcmp(&h->magic, LF_MAGIC, 4), 0);
    EXPECT_EQ(h->track, -1);
    EXPECT_EQ(h->imgtrk, 0);
    EXPECT_EQ(h->xa, 0);
    EXPECT_EQ(h->ya, 0);
    EXPECT_EQ(h->xe, 10);
    EXPECT_EQ(h->ye, 100);
    EXPECT_EQ(h->xsize, 10);
    EXPECT_EQ(h->ysize, 100);
    EXPECT_EQ(h->xres, 10.0);
    EXPECT_EQ(h->yres, 20.0);
    EXPECT_EQ(h->clipoff, -1);
    EXPECT_EQ(h->bufpos, Toy::data_offset);
    EXPECT_EQ(kel_lseek(h->fd, 0, KEL_SEEK_CUR), Toy::data_offset);
    EXPECT_EQ(h->flags & LF_CHECKED, 0u);
}

TEST_F(OpenToRead, BufferHas16384BytesAndIsEmpty) {
    Toy toy = Toy::bytes();
    make_file();
    const Handle h(open(LF_READ));
    ASSERT_TRUE(h);
    EXPECT_EQ(h->bufsize, 16384u);
    EXPECT_NE(h->buf, nullptr);
    EXPECT_EQ(h->bufptr, h->buf);
    EXPECT_EQ(h->bufend, h->buf);
}

TEST_F(OpenToRead, NothingIsAllocatedForTablesYet) {
    Toy toy = Toy::bytes();
    make_file();
    const Handle h(open(LF_READ));
    ASSERT_TRUE(h);
    EXPECT_EQ(h->seektab, nullptr);
    EXPECT_EQ(h->otrack, nullptr);
    EXPECT_EQ(h->stoptab, nullptr);
    EXPECT_EQ(toy.count("check"), 0);
}

TEST_F(OpenToRead, ColourTableStartsAsTheIdentity) {
    Toy toy = Toy::bytes();
    make_file();
    const Handle h(open(LF_READ));
    ASSERT_TRUE(h);
    for (int i = 0; i < LF_NCOLORS; ++i)
        EXPECT_EQ(h->ctable[i], i);
}

TEST_F(OpenToRead, Entry256OfTheIdentityFillShowsAtTheStartOfColorinfo) {
    Toy toy = Toy::bytes();
    make_file();
    const Handle h(open(LF_READ));
    ASSERT_TRUE(h);
    EXPECT_EQ(h->colorinfo[0], 0x00);
    EXPECT_EQ(h->colorinfo[1], 0x01);
    EXPECT_TRUE(
        std::all_of(h->colorinfo + 2, h->colorinfo + 256, [](uint8_t b) { return b == 0; }));
}

TEST_F(OpenToRead, NameIsCopied) {
    Toy toy = Toy::bytes();
    make_file();
    std::string passed = name;
    const Handle h(lfopen(passed.c_str(), LF_READ, 0, nullptr));
    ASSERT_TRUE(h);
    passed.assign(passed.size(), 'x');
    EXPECT_EQ(lffilename(h.get()), name);
}

TEST_F(OpenToRead, DeviceOfTheFileIsKept) {
    Toy toy = Toy::bytes();
    make_file();
    kel_stat_t status;
    ASSERT_EQ(kel_stat(name.c_str(), &status), 0);
    const Handle h(open(LF_READ));
    ASSERT_TRUE(h);
    EXPECT_EQ(h->fdev, static_cast<uint32_t>(status.dev));
}

TEST_F(OpenToRead, DetectIsGivenTheFirst1024BytesOfALongerFile) {
    Toy toy = Toy::bytes();
    std::vector<uint8_t> bytes(3000);
    for (size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<uint8_t>(i * 7 + 13);
    write_bytes(name, bytes);
    const Handle h(open(LF_READ));
    ASSERT_TRUE(h);
    bytes.resize(1024);
    EXPECT_EQ(toy.head, bytes);
}

TEST_F(OpenToRead, DetectIsGivenAllBytesOfAShorterFile) {
    Toy toy = Toy::bytes();
    write_bytes(name, {1, 2, 3, 4, 5});
    const Handle h(open(LF_READ));
    EXPECT_EQ(toy.head, (std::vector<uint8_t>{1, 2, 3, 4, 5}));
}

TEST_F(OpenToRead, NegativeDataOffsetLeavesThePositionWhereDetectLeftIt) {
    Toy toy = Toy::bytes();
    toy.dataoff = -1;
    toy.on_detect = [](xvor_t *h) { kel_lseek(h->fd, 7, KEL_SEEK_SET); };
    make_file();
    const Handle h(open(LF_READ));
    ASSERT_TRUE(h);
    EXPECT_EQ(h->bufpos, -1);
    EXPECT_EQ(kel_lseek(h->fd, 0, KEL_SEEK_CUR), 7);
}

TEST_F(OpenToRead, TypeArgumentIsNotLookedAt) {
    Toy toy = Toy::bytes();
    make_file();
    const Handle h(open(LF_READ, lffdev(12345, 9)));
    ASSERT_TRUE(h);
    EXPECT_EQ(h->fmt, Toy::row());
    EXPECT_EQ(h->subtype, 3);
}

TEST_F(OpenToRead, MissingFileIsReportedUnderItsNameWithoutAHandle) {
    EXPECT_EQ(open(LF_READ), nullptr);
    EXPECT_EQ(info.error, LFE_OPEN);
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0].handle, nullptr);
    EXPECT_EQ(log[0].text, name + ": open failed: last os error: " + std::strerror(ENOENT) + "\n");
    EXPECT_FALSE(log[0].extra.has_value());
}

TEST_F(OpenToRead, DirectoryDoesNotOpen) {
    EXPECT_EQ(lfopen(dir.path().c_str(), LF_READ, 0, &info), nullptr);
    EXPECT_EQ(info.error, LFE_OPEN);
    EXPECT_EQ(log.take(), Lines{dir.path() + ": open failed: last os error"});
}

TEST_F(OpenToRead, UnknownFileIsReportedByTheDetectionAndStays) {
    write_text(name, "no format knows this");
    const int32_t before = next_descriptor(name);
    EXPECT_EQ(open(LF_READ), nullptr);
    EXPECT_EQ(info.error, LFE_FORMAT);
    EXPECT_EQ(log.take(), Lines{"vor_detect_format: unknown file format"});
    EXPECT_EQ(read_text(name), "no format knows this");
    EXPECT_EQ(next_descriptor(name), before) << "the descriptor was left open";
}

TEST_F(OpenToRead, EmptyFileIsUnknown) {
    write_text(name, "");
    EXPECT_EQ(open(LF_READ), nullptr);
    EXPECT_EQ(info.error, LFE_FORMAT);
}

TEST_F(OpenToRead, FailedDetectIsReportedAndLeavesTheFile) {
    Toy toy = Toy::bytes();
    toy.detect_result = -1;
    make_file();
    const int32_t before = next_descriptor(name);
    EXPECT_EQ(open(LF_READ), nullptr);
    EXPECT_EQ(info.error, LFE_OS);
    EXPECT_EQ(log.take(), Lines{"vor_detect_format: last os error"});
    EXPECT_TRUE(file_exists());
    EXPECT_EQ(next_descriptor(name), before);
}

TEST_F(OpenToRead, InfoOfAFailedOpenTellsWhatWasKnownByThen) {
    Toy toy = Toy::bytes();
    toy.detect_result = -1;
    toy.on_detect = [](xvor_t *h) {
        h->bits = 8;
        h->nctab = 4;
    };
    make_file();
    info.xsize = 77;
    EXPECT_EQ(open(LF_READ), nullptr);
    EXPECT_EQ(info.bits, 8);
    EXPECT_EQ(info.nctab, 4);
    EXPECT_EQ(info.xsize, 0);
    EXPECT_STREQ(info.type_name, "toy");
    EXPECT_EQ(info.major, Toy::row());
}

// ---- modes ----------------------------------------------------------------------------------

TEST_F(OpenMode, StateBitsOfTheArgumentAreCleared) {
    Toy toy = Toy::memory();
    const Handle h(lfdopen(
        -1, "x", LF_READ | LF_NEEDSEEKTAB | LF_INTERLEAVED | LF_EOF | LF_CHECKED | LF_BADHDRCRC, 0,
        nullptr));
    ASSERT_TRUE(h);
    EXPECT_EQ(h->flags, 0u);
}

TEST_F(OpenMode, EveryOtherBitStands) {
    Toy toy = Toy::memory();
    const uint32_t others = ~(LF_STATEBITS | LF_ACCMODE | LF_GROW | LF_RAWFW32 | LF_FORCETYPE);
    const Handle h(lfdopen(-1, "x", LF_READ | others, 0, nullptr));
    ASSERT_TRUE(h);
    EXPECT_EQ(h->flags, others);
}

TEST_F(OpenMode, GrowIsClearedOnTheReadAndTheUpdateRoad) {
    Toy toy = Toy::memory();
    for (const uint32_t access : {LF_READ, LF_UPDATE}) {
        const Handle h(lfdopen(-1, "x", access | LF_GROW, 0, nullptr));
        ASSERT_TRUE(h);
        EXPECT_EQ(h->flags & LF_GROW, 0u);
        EXPECT_EQ(h->seekcap, 0);
    }
}

TEST_F(OpenMode, AsIsImpliesNoColorForWriteAndUpdateAlone) {
    Toy toy = Toy::memory();
    const struct {
        uint32_t access;
        uint32_t expected;
    } rows[] = {{LF_READ, 0}, {LF_WRITE, LF_NOCOLOR}, {LF_UPDATE, LF_NOCOLOR}};
    for (const auto &row : rows) {
        const Handle h(lfdopen(-1, "x", row.access | LF_ASIS, Toy::type(), nullptr));
        ASSERT_TRUE(h);
        EXPECT_EQ(h->flags & LF_NOCOLOR, row.expected) << "access " << row.access;
        EXPECT_NE(h->flags & LF_ASIS, 0u);
    }
}

TEST_F(OpenMode, LfiswriteGivesTheAccessBits) {
    Toy toy = Toy::memory();
    for (const uint32_t access : {LF_READ, LF_WRITE, LF_UPDATE, LF_BADACCESS}) {
        const Handle h(lfdopen(-1, "x", access, Toy::type(), nullptr));
        ASSERT_TRUE(h);
        EXPECT_EQ(lfiswrite(h.get()), static_cast<int32_t>(access));
    }
}

// ---- write road -----------------------------------------------------------------------------

TEST_F(OpenToWrite, TypeArgumentNamesFormatAndMinorType) {
    Toy toy = Toy::bytes();
    const Handle h(open(LF_WRITE, Toy::type(0x42)));
    ASSERT_TRUE(h);
    EXPECT_EQ(h->fmt, Toy::row());
    EXPECT_EQ(h->subtype, 0x42);
    EXPECT_EQ(info.major, Toy::row());
    EXPECT_EQ(info.minor, 0x42);
    EXPECT_EQ(toy.calls, Lines{"wrsetup"});
}

TEST_F(OpenToWrite, ResolutionStartsAtTwentyPixelsAMillimetre) {
    Toy toy = Toy::bytes();
    const Handle h(open(LF_WRITE, Toy::type()));
    ASSERT_TRUE(h);
    EXPECT_EQ(info.xres, 20.0);
    EXPECT_EQ(info.yres, 20.0);
}

TEST_F(OpenToWrite, BufferIsReadyForTheFirstTrack) {
    Toy toy = Toy::bytes();
    toy.on_wrsetup = [](xvor_t *h) { h->flags |= LF_DIRTY; };
    const Handle h(open(LF_WRITE, Toy::type()));
    ASSERT_TRUE(h);
    EXPECT_EQ(h->bufpos, Toy::data_offset);
    EXPECT_EQ(h->bufptr, h->buf);
    EXPECT_EQ(h->bufend, h->buf + 16384);
    EXPECT_EQ(h->track, 0);
    EXPECT_EQ(h->flags & LF_DIRTY, 0u);
}

TEST_F(OpenToWrite, GrowStartsWithRoomForAThousandTracks) {
    Toy toy = Toy::bytes();
    const Handle growing(open(LF_WRITE | LF_GROW, Toy::type()));
    ASSERT_TRUE(growing);
    EXPECT_EQ(growing->seekcap, 1000);
    const Handle fixed(lfdopen(-1, "x", LF_WRITE, Toy::type(), nullptr));
    ASSERT_TRUE(fixed);
    EXPECT_EQ(fixed->seekcap, 0);
}

TEST_F(OpenToWrite, AnExistingFileIsEmptied) {
    Toy toy = Toy::bytes();
    write_text(name, "older contents");
    const Handle h(open(LF_WRITE, Toy::type()));
    ASSERT_TRUE(h);
    EXPECT_EQ(read_text(name), "");
}

TEST_F(OpenToWrite, TheFileIsMadeWithThePermissionsOfAnyNewFile) {
    Toy toy = Toy::bytes();
    const Handle h(open(LF_WRITE, Toy::type()));
    ASSERT_TRUE(h);
    const std::string other = dir.file("other");
    kel_close(kel_creat(other.c_str(), 0666));
    kel_stat_t status, other_status;
    ASSERT_EQ(kel_stat(name.c_str(), &status), 0);
    ASSERT_EQ(kel_stat(other.c_str(), &other_status), 0);
    EXPECT_EQ(status.mode, other_status.mode);
}

TEST_F(OpenToWrite, UnknownFormatGivesCode11AndLeavesNoFile) {
    EXPECT_EQ(open(LF_WRITE, lffdev(9999, 0)), nullptr);
    EXPECT_EQ(info.error, LFE_FORMAT);
    EXPECT_EQ(log.take(), Lines{"lfdopen: unknown file format"});
    EXPECT_FALSE(file_exists());
}

TEST_F(OpenToWrite, NegativeTypeIsAnUnknownFormat) {
    EXPECT_EQ(open(LF_WRITE, -1), nullptr);
    EXPECT_EQ(info.error, LFE_FORMAT);
    EXPECT_FALSE(file_exists());
}

TEST_F(OpenToWrite, FormatWithoutWriteSetUpGivesCode10AndLeavesNoFile) {
    Toy toy = Toy::bytes();
    EXPECT_EQ(open(LF_WRITE, lffdev(Toy::row_without_wrsetup(), 0)), nullptr);
    EXPECT_EQ(info.error, LFE_NOWRITE);
    EXPECT_EQ(log.take(), Lines{"lfdopen: write not supported"});
    EXPECT_FALSE(file_exists());
}

TEST_F(OpenToWrite, FailedSetUpIsReportedTwiceAndLeavesNoFile) {
    Toy toy = Toy::bytes();
    toy.wrsetup_result = -1;
    toy.on_wrsetup = [](xvor_t *) { errno = ENOSPC; };
    EXPECT_EQ(open(LF_WRITE, Toy::type()), nullptr);
    EXPECT_EQ(info.error, LFE_OS);
    ASSERT_EQ(log.size(), 2u);
    EXPECT_EQ(log[0].text, log[1].text);
    EXPECT_NE(log[0].text.find(std::strerror(ENOSPC)), std::string::npos);
    EXPECT_EQ(log.take(), (Lines{"lfdopen: last os error", "lfdopen: last os error"}));
    EXPECT_FALSE(file_exists());
}

TEST_F(OpenToWrite, AFileThatCannotBeMadeIsReportedUnderItsName) {
    Toy toy = Toy::bytes();
    const std::string nowhere = dir.file("no/such/folder");
    toy.wrsetup_result = -1;
    EXPECT_EQ(lfopen(nowhere.c_str(), LF_WRITE, Toy::type(), &info), nullptr);
    EXPECT_EQ(info.error, LFE_OS);
    EXPECT_EQ(log.take().back(), nowhere + ": open failed: last os error");
}

// ---- update road ----------------------------------------------------------------------------

TEST_F(OpenToUpdate, KeepsTheContentsAndReadsAndWritesThem) {
    Toy toy = Toy::bytes();
    make_file();
    const std::string before = read_text(name);
    {
        const Handle h(open(LF_UPDATE));
        ASSERT_TRUE(h);
        EXPECT_EQ(read_text(name), before);
        EXPECT_EQ(kel_write(h->fd, "x", 1), 1);
        char byte = 0;
        EXPECT_EQ(kel_read(h->fd, &byte, 1), 1);
    }
    EXPECT_EQ(read_text(name)[static_cast<size_t>(Toy::data_offset)], 'x');
}

TEST_F(OpenToUpdate, HasTheGeometryOfTheFile) {
    Toy toy = Toy::bytes();
    make_file();
    const Handle h(open(LF_UPDATE));
    ASSERT_TRUE(h);
    EXPECT_EQ(info.xsize, 10);
    EXPECT_EQ(info.ysize, 100);
    EXPECT_EQ(h->track, -1);
    EXPECT_EQ(toy.calls, Lines{"detect"});
}

TEST_F(OpenToUpdate, AMissingFileIsNotMade) {
    EXPECT_EQ(open(LF_UPDATE), nullptr);
    EXPECT_EQ(info.error, LFE_OPEN);
    EXPECT_FALSE(file_exists());
}

TEST_F(OpenToUpdate, AFailedOpenLeavesTheFile) {
    write_text(name, "no format knows this");
    EXPECT_EQ(open(LF_UPDATE), nullptr);
    EXPECT_EQ(read_text(name), "no format knows this");
}

// ---- access 3 -------------------------------------------------------------------------------

TEST_F(OpenWithAccessThree, GivesAHandleWithNoFormatSetUp) {
    Toy toy = Toy::bytes();
    make_file();
    const Handle h(open(access_3));
    ASSERT_TRUE(h);
    EXPECT_TRUE(toy.calls.empty());
    EXPECT_EQ(h->fmtdata, nullptr);
    EXPECT_EQ(h->xsize, 0);
    EXPECT_TRUE(log.empty());
}

TEST_F(OpenWithAccessThree, LfcheckRefusesItWithoutAReport) {
    make_file();
    const Handle h(open(access_3));
    ASSERT_TRUE(h);
    EXPECT_EQ(lfcheck(h.get()), -1);
    EXPECT_TRUE(log.empty());
}

TEST_F(OpenWithAccessThree, LfcheckTellsItsReasonBehindAStoredCode) {
    make_file();
    const Handle h(open(access_3));
    ASSERT_TRUE(h);
    h->error = LFE_REPEAT;
    EXPECT_EQ(lfcheck(h.get()), -1);
    EXPECT_EQ(log.take(), Lines{"lfcheck: no track to repeat | invalid access mode (3)"});
}

TEST_F(OpenWithAccessThree, OpensForReadingOnlyAndLeavesTheFileAsItWas) {
    make_file();
    const std::string before = read_text(name);
    Handle h(open(access_3));
    ASSERT_TRUE(h);
    EXPECT_EQ(kel_write(h->fd, "x", 1), -1);
    EXPECT_EQ(close_now(&h), -1);
    EXPECT_EQ(read_text(name), before);
}

TEST_F(OpenWithAccessThree, AMissingFileDoesNotOpenButAHandleComesAllTheSame) {
    const Handle h(open(access_3));
    ASSERT_TRUE(h) << "the descriptor may be negative, and no format is asked";
    EXPECT_LT(h->fd, 0);
    EXPECT_FALSE(file_exists());
}

// ---- no file --------------------------------------------------------------------------------

TEST_F(OpenWithoutFile, AFormatThatNeedsNoneOpensUnderAnyName) {
    Toy toy = Toy::memory();
    const Handle h(open(LF_READ));
    ASSERT_TRUE(h);
    EXPECT_LT(h->fd, 0);
    EXPECT_TRUE(toy.head.empty());
    EXPECT_TRUE(log.empty());
    EXPECT_EQ(info.error, LFE_NONE);
    EXPECT_EQ(lffilename(h.get()), name);
    EXPECT_EQ(h->fdev, 0u);
}

TEST_F(OpenWithoutFile, NoNameAndNoDescriptorGiveNothingAndNoReport) {
    info.error = 99;
    EXPECT_EQ(lfdopen(-1, nullptr, LF_READ, 0, &info), nullptr);
    EXPECT_TRUE(log.empty());
    EXPECT_EQ(info.error, 0) << "the record is cleared first";
}

TEST_F(OpenWithoutFile, DetectionFailsSilentlyWithoutADescriptor) {
    EXPECT_EQ(lfdopen(-1, "nothing.xyz", LF_READ, 0, &info), nullptr);
    EXPECT_TRUE(log.empty());
}

// ---- lfdopen --------------------------------------------------------------------------------

TEST_F(OpenDescriptor, NoNameStandsForInfile) {
    Toy toy = Toy::bytes();
    make_file();
    const int32_t fd = kel_open(name.c_str(), KEL_O_RDONLY, 0);
    const Handle h(lfdopen(fd, nullptr, LF_READ, 0, nullptr));
    ASSERT_TRUE(h);
    EXPECT_STREQ(lffilename(h.get()), "%%infile%%");
}

TEST_F(OpenDescriptor, LfcloseClosesIt) {
    Toy toy = Toy::bytes();
    make_file();
    const int32_t fd = kel_open(name.c_str(), KEL_O_RDONLY, 0);
    Handle h(lfdopen(fd, name.c_str(), LF_READ, 0, nullptr));
    ASSERT_TRUE(h);
    EXPECT_TRUE(is_open(fd));
    EXPECT_EQ(close_now(&h), 0);
    EXPECT_FALSE(is_open(fd));
}

TEST_F(OpenDescriptor, AFailedOpenLeavesItOpen) {
    write_text(name, "no format knows this");
    const int32_t fd = kel_open(name.c_str(), KEL_O_RDONLY, 0);
    EXPECT_EQ(lfdopen(fd, name.c_str(), LF_READ, 0, nullptr), nullptr);
    EXPECT_TRUE(is_open(fd));
    kel_close(fd);
}

TEST_F(OpenDescriptor, AFailedOpenToWriteLeavesItOpenAndTheFileThere) {
    Toy toy = Toy::bytes();
    toy.wrsetup_result = -1;
    const int32_t fd = kel_creat(name.c_str(), 0666);
    EXPECT_EQ(lfdopen(fd, name.c_str(), LF_WRITE, Toy::type(), nullptr), nullptr);
    EXPECT_TRUE(is_open(fd));
    kel_close(fd);
    EXPECT_TRUE(file_exists());
}

TEST_F(OpenDescriptor, ADescriptorThatAFormatPutInItsPlaceIsClosedByAFailedOpen) {
    Toy toy = Toy::bytes();
    make_file();
    const int32_t fd = kel_open(name.c_str(), KEL_O_RDONLY, 0);
    int32_t other = -1;
    toy.detect_result = -1;
    toy.on_detect = [&](xvor_t *h) {
        other = kel_open(name.c_str(), KEL_O_RDONLY, 0);
        h->fd = other;
    };
    EXPECT_EQ(lfdopen(fd, name.c_str(), LF_READ, 0, nullptr), nullptr);
    EXPECT_TRUE(is_open(fd));
    EXPECT_FALSE(is_open(other));
    kel_close(fd);
}

TEST_F(OpenDescriptor, AReadErrorCountsAsAnEmptyFile) {
    Toy toy = Toy::bytes();
    make_file();
    const int32_t fd = kel_open(name.c_str(), KEL_O_WRONLY, 0);
    const Handle h(lfdopen(fd, name.c_str(), LF_READ, 0, nullptr));
    ASSERT_TRUE(h);
    EXPECT_TRUE(toy.head.empty());
    EXPECT_EQ(toy.count("detect"), 1);
}

TEST_F(OpenDescriptor, TheHeadIsReadFromTheDescriptorsPosition) {
    Toy toy = Toy::bytes();
    write_text(name, "abcdef");
    const int32_t fd = kel_open(name.c_str(), KEL_O_RDONLY, 0);
    kel_lseek(fd, 2, KEL_SEEK_SET);
    const Handle h(lfdopen(fd, name.c_str(), LF_READ, 0, nullptr));
    ASSERT_TRUE(h);
    EXPECT_EQ(toy.head, (std::vector<uint8_t>{'c', 'd', 'e', 'f'}));
}

TEST(OpenFreshProcess, StartsTheFormatTable) {
    GTEST_FLAG_SET(death_test_style, "threadsafe"); // a process of its own
    EXPECT_EXIT(
        {
            const bool absent = lffmtindex("vor") == -1 && !lfdescriptor(0);
            lfdopen(-1, nullptr, LF_READ, 0, nullptr);
            std::exit(absent && lffmtindex("vor") == 0 ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

// ---- forced type ----------------------------------------------------------------------------

TEST_F(OpenForcedType, TakesTheArgumentAndAsksNoOtherFormat) {
    Toy toy = Toy::bytes();
    toy.subtype = 0x17;
    make_file();
    int32_t minor_seen = -1;
    toy.on_detect = [&](xvor_t *h) { minor_seen = h->subtype; };
    const Handle h(open(LF_READ | LF_FORCETYPE, lffdev(Toy::bare_row(), 5)));
    ASSERT_TRUE(h);
    EXPECT_EQ(h->fmt, Toy::bare_row());
    EXPECT_EQ(minor_seen, 5);
    EXPECT_EQ(h->subtype, 0x17) << "detect has the last word";
    EXPECT_EQ(toy.calls, Lines{"detect"});
}

TEST_F(OpenForcedType, UnknownFormatGivesCode11) {
    make_file();
    EXPECT_EQ(open(LF_READ | LF_FORCETYPE, lffdev(9999, 0)), nullptr);
    EXPECT_EQ(info.error, LFE_FORMAT);
    EXPECT_EQ(log.take(), Lines{"lfdopen: unknown file format"});
    EXPECT_TRUE(file_exists());
}

TEST_F(OpenForcedType, FormatWithoutDetectGivesCode9) {
    Toy toy = Toy::bytes();
    make_file();
    EXPECT_EQ(open(LF_READ | LF_FORCETYPE, lffdev(Toy::row_without_detect(), 0)), nullptr);
    EXPECT_EQ(info.error, LFE_NOREAD);
    EXPECT_EQ(log.take(), Lines{"lfdopen: read not supported"});
}

TEST_F(OpenForcedType, NegativeDetectGivesCode2) {
    Toy toy = Toy::bytes();
    toy.detect_result = -1;
    make_file();
    EXPECT_EQ(open(LF_READ | LF_FORCETYPE, Toy::type()), nullptr);
    EXPECT_EQ(info.error, LFE_OS);
    EXPECT_EQ(log.take(), Lines{"lfdopen: last os error"});
}

TEST_F(OpenForcedType, PositiveDetectGivesCode11) {
    Toy toy = Toy::bytes();
    toy.detect_result = 1;
    make_file();
    EXPECT_EQ(open(LF_READ | LF_FORCETYPE, Toy::type()), nullptr);
    EXPECT_EQ(info.error, LFE_FORMAT);
    EXPECT_EQ(log.take(), Lines{"lfdopen: unknown file format"});
}

TEST_F(OpenForcedType, NativeTypeOnAForeignFileIsAnUnknownFormat) {
    write_text(name, std::string(600, 'x'));
    EXPECT_EQ(open(LF_READ | LF_FORCETYPE, lffdev(0, 1)), nullptr);
    EXPECT_EQ(info.error, LFE_FORMAT);
}

TEST_F(OpenForcedType, RawFw32TakesThatFormatWithMinorTypeZero) {
    EXPECT_EQ(in_child([&] {
                  Toy toy = Toy::bytes();
                  static lffmt_t fw32 = *lfdescriptor(Toy::bare_row());
                  fw32.name = "fw32";
                  const int32_t row = lfregisterfmt(&fw32);
                  int32_t minor_seen = -1;
                  toy.on_detect = [&](xvor_t *h) { minor_seen = h->subtype; };
                  make_file();
                  const Handle reading(open(LF_READ | LF_RAWFW32, lffdev(0, 9)));
                  std::string seen = reading && reading->fmt == row && minor_seen == 0 &&
                                             (reading->flags & LF_FORCETYPE)
                                         ? "read "
                                         : "bad ";
                  const Handle writing(open(LF_WRITE | LF_RAWFW32, lffdev(0, 9)));
                  seen += writing && writing->fmt == row && writing->subtype == 0 ? "write" : "bad";
                  return seen;
              }),
              "read write");
}

TEST_F(OpenForcedType, RawFw32WithoutThatFormatGivesCode11) {
    make_file();
    ASSERT_EQ(lffmtindex("fw32"), -1);
    EXPECT_EQ(open(LF_READ | LF_RAWFW32), nullptr);
    EXPECT_EQ(info.error, LFE_FORMAT);
    EXPECT_EQ(log.take(), Lines{"lfdopen: unknown file format"});
}

// ---- open callbacks -------------------------------------------------------------------------

// The callbacks of this program stay for good; they act only while a test has set them up.
struct CallbackPlan {
    std::vector<std::string> heard;
    int32_t first_result = 0;
    int32_t second_result = 0;
    std::function<void(xvor_t *)> look;
};
CallbackPlan *plan = nullptr;

int32_t first_callback(xvor_t *h) {
    if (!plan) return 0;
    plan->heard.emplace_back("first");
    if (plan->look) plan->look(h);
    return plan->first_result;
}

int32_t second_callback(xvor_t *) {
    if (!plan) return 0;
    plan->heard.emplace_back("second");
    return plan->second_result;
}

class WithCallbacks {
public:
    WithCallbacks() {
        static const bool added =
            lfsetopencb(first_callback) == 0 && lfsetopencb(second_callback) == 0;
        EXPECT_TRUE(added);
        plan = &plan_;
    }
    ~WithCallbacks() { plan = nullptr; }
    CallbackPlan *operator->() { return &plan_; }

private:
    CallbackPlan plan_;
};

TEST_F(OpenCallbacks, TheLastOneAddedRunsFirst) {
    Toy toy = Toy::memory();
    WithCallbacks callbacks;
    const Handle h(open(LF_READ));
    ASSERT_TRUE(h);
    EXPECT_EQ(callbacks->heard, (Lines{"second", "first"}));
}

TEST_F(OpenCallbacks, RunOnEveryRoad) {
    Toy toy = Toy::memory();
    WithCallbacks callbacks;
    for (const uint32_t access : {LF_READ, LF_WRITE, LF_UPDATE, LF_BADACCESS}) {
        const Handle h(lfdopen(-1, "x", access, Toy::type(), nullptr));
        ASSERT_TRUE(h);
    }
    EXPECT_EQ(callbacks->heard.size(), 8u);
}

TEST_F(OpenCallbacks, SeeAFinishedHandleAndInfoIsFilledByThen) {
    Toy toy = Toy::memory();
    WithCallbacks callbacks;
    bool finished = false;
    callbacks->look = [&](xvor_t *h) {
        finished = std::memcmp(&h->magic, LF_MAGIC, 4) == 0 && h->xsize == 10 && info.xsize == 10;
    };
    const Handle h(open(LF_READ));
    EXPECT_TRUE(finished);
}

TEST_F(OpenCallbacks, ANegativeResultStopsTheRowAndFailsTheOpen) {
    Toy toy = Toy::memory();
    WithCallbacks callbacks;
    callbacks->second_result = -1;
    EXPECT_EQ(lfdopen(-1, "x", LF_READ, 0, &info), nullptr);
    EXPECT_EQ(callbacks->heard, Lines{"second"});
    EXPECT_EQ(info.error, LFE_OPEN);
    EXPECT_EQ(log.take(), Lines{"lfdopen: open failed: last os error | open callback failed"});
}

TEST_F(OpenCallbacks, APositiveResultIsNoFailure) {
    Toy toy = Toy::memory();
    WithCallbacks callbacks;
    callbacks->second_result = 5;
    const Handle h(open(LF_READ));
    EXPECT_TRUE(h);
    EXPECT_EQ(callbacks->heard.size(), 2u);
}

TEST_F(OpenCallbacks, AFailureClosesTheFormatIfItHasAPrivateRecord) {
    Toy toy = Toy::memory();
    WithCallbacks callbacks;
    callbacks->first_result = -1;
    toy.on_detect = [](xvor_t *h) { h->fmtdata = h; };
    EXPECT_EQ(lfdopen(-1, "x", LF_READ, 0, nullptr), nullptr);
    EXPECT_EQ(toy.calls, (Lines{"detect", "close"}));
}

TEST_F(OpenCallbacks, AFailureDoesNotCloseAFormatWithoutAPrivateRecord) {
    Toy toy = Toy::memory();
    WithCallbacks callbacks;
    callbacks->first_result = -1;
    EXPECT_EQ(lfdopen(-1, "x", LF_READ, 0, nullptr), nullptr);
    EXPECT_EQ(toy.calls, Lines{"detect"});
}

TEST_F(OpenCallbacks, AFailureOnTheWriteRoadLeavesNoFile) {
    Toy toy = Toy::bytes();
    WithCallbacks callbacks;
    callbacks->first_result = -1;
    EXPECT_EQ(open(LF_WRITE, Toy::type()), nullptr);
    EXPECT_EQ(info.error, LFE_OPEN);
    EXPECT_FALSE(file_exists());
}

TEST_F(OpenCallbacks, AddingOneWithoutMemoryFails) {
    const FailingMalloc no_memory(1);
    EXPECT_EQ(lfsetopencb(first_callback), -1);
}

// ---- no memory ------------------------------------------------------------------------------

TEST(OpenMemory, RunningOutForRecordBufferOrNameGivesCode5AndNoHandle) {
    ReportLog log;
    Toy toy = Toy::memory();
    for (long nth = 1; nth <= 3; ++nth) {
        lfinfo info = {};
        xvor_t *h = nullptr;
        {
            const FailingMalloc no_memory(nth);
            h = lfdopen(-1, "x", LF_READ, 0, &info);
        }
        EXPECT_EQ(h, nullptr) << nth;
        EXPECT_EQ(info.error, LFE_MEMORY) << nth;
        ASSERT_EQ(log.size(), 1u) << nth;
        EXPECT_EQ(log[0].handle, nullptr);
        EXPECT_EQ(log.take(), Lines{"lfdopen: out of memory"});
    }
    EXPECT_TRUE(toy.calls.empty());
}

TEST_F(OpenToWrite, WithoutMemoryTheNewFileGoesAgain) {
    Toy toy = Toy::bytes();
    {
        const FailingMalloc no_memory(1);
        EXPECT_EQ(open(LF_WRITE, Toy::type()), nullptr);
    }
    EXPECT_EQ(info.error, LFE_MEMORY);
    EXPECT_FALSE(file_exists());
}

} // namespace
} // namespace vor::test
