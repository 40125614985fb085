#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "platform/kel.h"
#include "support/byte_file.h"
#include "support/temp_dir.h"

namespace {

using vor::test::read_text;
using vor::test::TempDir;
using vor::test::write_text;

constexpr int64_t beyond_4_gib = int64_t{5} << 30;

class FileOffsets : public ::testing::Test {
protected:
    void SetUp() override { write_text(name_, "0123456789"); }
    void TearDown() override {
        if (fd_ != -1) kel_close(fd_);
        if (stream_) kel_fclose(stream_);
    }
    int32_t open_file(int32_t flags = KEL_O_RDWR) {
        return fd_ = kel_open(name_.c_str(), flags, 0);
    }
    FILE *open_stream(const char *mode = "r+") { return stream_ = kel_fopen(name_.c_str(), mode); }
    int64_t position() const { return kel_lseek(fd_, 0, KEL_SEEK_CUR); }

    TempDir dir_;
    std::string name_ = dir_.file("data");
    int32_t fd_ = -1;
    FILE *stream_ = nullptr;
};

TEST_F(FileOffsets, SeekCountsFromStartHereAndEnd) {
    open_file();
    EXPECT_EQ(kel_lseek(fd_, 4, KEL_SEEK_SET), 4);
    EXPECT_EQ(kel_lseek(fd_, -1, KEL_SEEK_CUR), 3);
    EXPECT_EQ(kel_lseek(fd_, -2, KEL_SEEK_END), 8);
}

TEST_F(FileOffsets, SeekTakesOffsetsBeyond32Bits) {
    open_file();
    EXPECT_EQ(kel_lseek(fd_, beyond_4_gib, KEL_SEEK_SET), beyond_4_gib);
}

TEST_F(FileOffsets, SeekFailureIsMinusOne) {
    open_file();
    EXPECT_EQ(kel_lseek(fd_, -1, KEL_SEEK_SET), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(kel_lseek(fd_, 0, 99), -1);
    EXPECT_EQ(kel_lseek(-1, 0, KEL_SEEK_SET), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST_F(FileOffsets, StreamSeekCountsFromStartHereAndEnd) {
    open_stream();
    EXPECT_EQ(kel_fseeko(stream_, 4, KEL_SEEK_SET), 0);
    EXPECT_EQ(kel_ftello(stream_), 4);
    EXPECT_EQ(kel_fseeko(stream_, 3, KEL_SEEK_CUR), 0);
    EXPECT_EQ(kel_ftello(stream_), 7);
    EXPECT_EQ(kel_fseeko(stream_, -1, KEL_SEEK_END), 0);
    EXPECT_EQ(kel_ftello(stream_), 9);
    EXPECT_EQ(std::getc(stream_), '9');
}

TEST_F(FileOffsets, StreamSeekTakesOffsetsBeyond32Bits) {
    open_stream();
    EXPECT_EQ(kel_fseeko(stream_, beyond_4_gib, KEL_SEEK_SET), 0);
    EXPECT_EQ(kel_ftello(stream_), beyond_4_gib);
}

TEST_F(FileOffsets, StreamSeekToANegativeTargetLeavesThePosition) {
    open_stream();
    ASSERT_EQ(kel_fseeko(stream_, 4, KEL_SEEK_SET), 0);
    EXPECT_EQ(kel_fseeko(stream_, -5, KEL_SEEK_CUR), -1);
    EXPECT_EQ(kel_ftello(stream_), 4);
    EXPECT_EQ(kel_fseeko(stream_, -1, KEL_SEEK_SET), -1);
    EXPECT_EQ(kel_fseeko(stream_, -11, KEL_SEEK_END), -1);
    EXPECT_EQ(kel_ftello(stream_), 4);
    EXPECT_EQ(std::getc(stream_), '4');
}

TEST_F(FileOffsets, StreamSeekBeyond64BitsFails) {
    open_stream();
    ASSERT_EQ(kel_fseeko(stream_, 4, KEL_SEEK_SET), 0);
    EXPECT_EQ(kel_fseeko(stream_, INT64_MAX, KEL_SEEK_CUR), -1);
    EXPECT_EQ(kel_ftello(stream_), 4);
}

TEST_F(FileOffsets, StreamSeekFromAnywhereElseFails) {
    open_stream();
    EXPECT_EQ(kel_fseeko(stream_, 0, 3), -1);
    EXPECT_EQ(kel_fseeko(stream_, 0, -1), -1);
}

TEST_F(FileOffsets, StreamSeekFailsOnAStreamWithoutAPosition) {
    stream_ = ::popen("true", "r");
    ASSERT_NE(stream_, nullptr);
    EXPECT_EQ(kel_fseeko(stream_, 0, KEL_SEEK_CUR), -1);
    EXPECT_EQ(kel_fseeko(stream_, 0, KEL_SEEK_END), -1);
    ::pclose(stream_);
    stream_ = nullptr;
}

TEST_F(FileOffsets, StreamSeekFromTheEndDoesNotCountTheStreamsBuffer) {
    open_stream();
    ASSERT_EQ(kel_fseeko(stream_, 10, KEL_SEEK_SET), 0);
    std::fputs("abc", stream_);
    EXPECT_EQ(kel_fseeko(stream_, 0, KEL_SEEK_END), 0);
    EXPECT_EQ(kel_ftello(stream_), 10);
}

TEST_F(FileOffsets, StreamSeekFromTheEndWritesTheBufferWhereItBelongs) {
    open_stream();
    std::fputs("abc", stream_);
    ASSERT_EQ(kel_fseeko(stream_, 0, KEL_SEEK_END), 0);
    std::fputs("xyz", stream_);
    kel_fclose(stream_);
    stream_ = nullptr;
    EXPECT_EQ(read_text(name_), "abc3456789xyz");
}

TEST_F(FileOffsets, StreamSeekFromTheEndThenReadGoesOnFromThere) {
    open_stream("r");
    ASSERT_EQ(std::getc(stream_), '0');
    ASSERT_EQ(kel_fseeko(stream_, -3, KEL_SEEK_END), 0);
    EXPECT_EQ(std::getc(stream_), '7');
    EXPECT_EQ(std::getc(stream_), '8');
    EXPECT_EQ(std::getc(stream_), '9');
    EXPECT_EQ(std::getc(stream_), EOF);
}

TEST_F(FileOffsets, TruncateBelowThePositionMovesItToTheNewEnd) {
    open_file();
    kel_lseek(fd_, 8, KEL_SEEK_SET);
    EXPECT_EQ(kel_truncate(fd_, 5), 0);
    EXPECT_EQ(position(), 5);
    EXPECT_EQ(read_text(name_), "01234");
}

TEST_F(FileOffsets, TruncateAboveThePositionKeepsIt) {
    open_file();
    kel_lseek(fd_, 3, KEL_SEEK_SET);
    EXPECT_EQ(kel_truncate(fd_, 5), 0);
    EXPECT_EQ(position(), 3);
    EXPECT_EQ(read_text(name_), "01234");
}

TEST_F(FileOffsets, TruncateToThePositionKeepsIt) {
    open_file();
    kel_lseek(fd_, 5, KEL_SEEK_SET);
    EXPECT_EQ(kel_truncate(fd_, 5), 0);
    EXPECT_EQ(position(), 5);
}

TEST_F(FileOffsets, TruncateCanExtendWithZeros) {
    open_file();
    kel_lseek(fd_, 3, KEL_SEEK_SET);
    EXPECT_EQ(kel_truncate(fd_, 12), 0);
    EXPECT_EQ(position(), 3);
    EXPECT_EQ(read_text(name_), std::string("0123456789\0\0", 12));
}

TEST_F(FileOffsets, TruncateToANegativeLengthFails) {
    open_file();
    kel_lseek(fd_, 3, KEL_SEEK_SET);
    EXPECT_EQ(kel_truncate(fd_, -1), -1);
    EXPECT_EQ(kel_truncate(fd_, -2), -1);
    EXPECT_EQ(position(), 3);
    EXPECT_EQ(read_text(name_), "0123456789");
}

TEST_F(FileOffsets, TruncateOfAFileOpenForReadingFailsAndKeepsAPositionWithin) {
    open_file(KEL_O_RDONLY);
    kel_lseek(fd_, 3, KEL_SEEK_SET);
    EXPECT_EQ(kel_truncate(fd_, 5), -1);
    EXPECT_EQ(position(), 3);
    EXPECT_EQ(read_text(name_), "0123456789");
}

TEST_F(FileOffsets, TruncateOfWhatHasNoPositionFails) {
    EXPECT_EQ(kel_truncate(-1, 0), -1);
    EXPECT_EQ(errno, EBADF);
}

} // namespace
