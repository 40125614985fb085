#include "platform/file_io.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>

#include "platform/kel.h"
#include "support/byte_file.h"
#include "support/temp_dir.h"

namespace {

using vor::test::read_text;
using vor::test::TempDir;
using vor::test::write_text;

class FileIo : public ::testing::Test {
protected:
    int32_t open_with(const std::string &text) {
        write_text(name_, text);
        return fd_ = kel_open(name_.c_str(), KEL_O_RDWR | KEL_O_BINARY, 0);
    }
    void TearDown() override {
        if (fd_ != -1) kel_close(fd_);
    }

    TempDir dir_;
    std::string name_ = dir_.file("data");
    int32_t fd_ = -1;
};

TEST_F(FileIo, ReadsExactlyWhatIsAskedFor) {
    char text[4] = {};
    ASSERT_TRUE(vor::read_exact(open_with("abcdef"), text, 3));
    EXPECT_STREQ(text, "abc");
    EXPECT_EQ(kel_lseek(fd_, 0, KEL_SEEK_CUR), 3);
}

TEST_F(FileIo, ReadOfNothingSucceedsAtTheEnd) {
    EXPECT_TRUE(vor::read_exact(open_with(""), nullptr, 0));
}

TEST_F(FileIo, ShortReadFailsWithoutAStaleError) {
    char text[8];
    open_with("abc");
    errno = ENOSPC;
    EXPECT_FALSE(vor::read_exact(fd_, text, 4));
    EXPECT_EQ(errno, 0);
}

TEST_F(FileIo, ReadErrorFailsWithItsCause) {
    char text[8];
    EXPECT_FALSE(vor::read_exact(-1, text, 1));
    EXPECT_EQ(errno, EBADF);
}

TEST_F(FileIo, ReadGoesOnBehindAShortOne) {
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    std::thread writer([&] {
        EXPECT_EQ(::write(ends[1], "ab", 2), 2);
        mt_delay(20);
        EXPECT_EQ(::write(ends[1], "cd", 2), 2);
    });
    char text[5] = {};
    EXPECT_TRUE(vor::read_exact(ends[0], text, 4));
    EXPECT_STREQ(text, "abcd");
    writer.join();
    ::close(ends[0]);
    ::close(ends[1]);
}

TEST_F(FileIo, WritesEverything) {
    const std::string text(100000, 'x');
    ASSERT_TRUE(vor::write_all(open_with(""), text.data(), text.size()));
    EXPECT_EQ(read_text(name_), text);
}

TEST_F(FileIo, WriteGoesOnBehindShortOnes) {
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    const std::string text(300000, 'y'); // several times what a pipe holds
    std::string received;
    std::thread reader([&] {
        char block[1000];
        ssize_t got = 0;
        while ((got = ::read(ends[0], block, sizeof block)) > 0)
            received.append(block, static_cast<size_t>(got));
    });
    EXPECT_TRUE(vor::write_all(ends[1], text.data(), text.size()));
    ::close(ends[1]);
    reader.join();
    ::close(ends[0]);
    EXPECT_EQ(received, text);
}

TEST_F(FileIo, WriteErrorFailsWithItsCause) {
    const int32_t full = kel_open("/dev/full", KEL_O_WRONLY, 0);
    ASSERT_NE(full, -1);
    EXPECT_FALSE(vor::write_all(full, "abc", 3));
    EXPECT_EQ(errno, ENOSPC);
    kel_close(full);
}

TEST_F(FileIo, TwoNamesOfOneFileAreTheSame) {
    const std::string other = dir_.file("other");
    write_text(name_, "text");
    write_text(other, "text");
    EXPECT_TRUE(vor::same_file(name_.c_str(), name_.c_str()));
    EXPECT_FALSE(vor::same_file(name_.c_str(), other.c_str()));
    std::filesystem::remove(other);
    EXPECT_FALSE(vor::same_file(name_.c_str(), other.c_str()));
    std::filesystem::create_hard_link(name_, other);
    EXPECT_TRUE(vor::same_file(name_.c_str(), other.c_str()));
    std::filesystem::remove(other);
    std::filesystem::create_symlink(name_, other);
    EXPECT_FALSE(vor::same_file(name_.c_str(), other.c_str())) << "a link is a file of its own";
}

TEST(LastOsErrorText, IsTheTextOfErrno) {
    errno = ENOENT;
    EXPECT_STREQ(vor::last_os_error_text(), std::strerror(ENOENT));
}

TEST(LastOsErrorText, UnknownNumberGivesTheNumber) {
    errno = 9999;
    EXPECT_STREQ(vor::last_os_error_text(), "error #9999");
}

} // namespace
