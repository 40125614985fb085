// libtiff's words and its dealings with the file.

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include "platform/kel.h"
#include "support/byte_file.h"
#include "support/report_log.h"
#include "support/temp_dir.h"
#include "tif/raw_tiff.h"
#include "tif/tif_file.h"
#include "tif/tiff_maker.h"

namespace {

using namespace vor::test;

class TifStream : public testing::Test {
protected:
    Handle open(const RawTiff &file) {
        write_bytes(name_, file.bytes());
        return open_tif(name_);
    }

    TempDir dir_;
    std::string name_ = dir_.file("a.tif");
    ReportLog log_;
};

RawTiff small_gray() {
    return RawTiff(4, 2, 8, COMPRESSION_NONE, {1, 2, 3, 4, 5, 6, 7, 8});
}

TEST_F(TifStream, AWarningIsReportedAndTheFileIsRead) {
    const Handle h = open(small_gray().set(65000, 1)); // a tag that libtiff does not know
    ASSERT_TRUE(h);
    ASSERT_EQ(log_.size(), 1u);
    EXPECT_EQ(log_[0].text.substr(0, 5), "tif: ");
    ASSERT_TRUE(log_[0].extra);
    EXPECT_NE(log_[0].extra->find("65000"), std::string::npos) << *log_[0].extra;
    EXPECT_EQ(h->error, 0u);
}

TEST_F(TifStream, AFailureIsReportedOnceWithWhatLibtiffSays) {
    const Handle h = open(small_gray().set(TIFFTAG_COMPRESSION, COMPRESSION_LZW));
    ASSERT_TRUE(h);
    ASSERT_EQ(lfcheck(h.get()), 0);
    Track track;
    EXPECT_EQ(lfread(h.get(), track.get(), 0), -1);
    EXPECT_EQ(h->error, static_cast<uint32_t>(LFE_CORRUPT));
    ASSERT_EQ(log_.size(), 1u);
    EXPECT_EQ(log_[0].brief().substr(0, 32), "tif_readtrack: file corrupted | ") << log_[0].brief();
    EXPECT_GT(log_[0].extra->size(), 5u);
}

TEST_F(TifStream, TheFilesNameIsNotRepeatedInTheFurtherText) {
    write_text(name_, std::string("II*\0\1\0\0\0", 8));
    EXPECT_FALSE(open_tif(name_));
    ASSERT_GT(log_.size(), 0u);
    EXPECT_NE(log_[0].text.find(name_), std::string::npos);
    ASSERT_TRUE(log_[0].extra);
    EXPECT_EQ(log_[0].extra->find(name_), std::string::npos) << *log_[0].extra;
}

TEST_F(TifStream, TheDescriptorIsClosedByTheCloseOfTheHandle) {
    Handle h = open(small_gray());
    ASSERT_TRUE(h);
    const int32_t fd = h->fd;
    EXPECT_EQ(close_now(&h), 0);
    EXPECT_EQ(kel_lseek(fd, 0, KEL_SEEK_CUR), -1);
}

TEST_F(TifStream, TheSizeOfTheFileIsTold) {
    const Handle h = open(small_gray());
    ASSERT_TRUE(h);
    EXPECT_EQ(vor::tif::file_bytes(h.get()), static_cast<int64_t>(small_gray().bytes().size()));
}

TEST_F(TifStream, AFileWithoutPositionsIsAFailure) {
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    const std::vector<uint8_t> bytes = small_gray().bytes();
    ASSERT_EQ(kel_write(ends[1], bytes.data(), bytes.size()), static_cast<int64_t>(bytes.size()));
    kel_close(ends[1]);
    lfregisterfmt(&tif_cvtformat);
    EXPECT_FALSE(lfdopen(ends[0], "pipe", LF_READ, 0, nullptr));
    EXPECT_EQ(log_.take().front(), "tif_detect: file corrupted");
    kel_close(ends[0]);
}

} // namespace
