#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "platform/kel.h"
#include "support/byte_file.h"
#include "support/in_child.h"
#include "support/temp_dir.h"

namespace {

using vor::test::in_child;
using vor::test::read_text;
using vor::test::TempDir;
using vor::test::write_text;

class Files : public ::testing::Test {
protected:
    void SetUp() override { write_text(name_, "text"); }
    bool exists(const std::string &name) const { return kel_access(name.c_str(), KEL_F_OK) == 0; }

    TempDir dir_;
    std::string name_ = dir_.file("data");
    std::string other_ = dir_.file("other");
};

TEST_F(Files, OpensForReading) {
    char text[8] = {};
    const int32_t fd = kel_open(name_.c_str(), KEL_O_RDONLY | KEL_O_BINARY | KEL_O_SEQUENTIAL, 0);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(kel_read(fd, text, sizeof text), 4);
    EXPECT_STREQ(text, "text");
    EXPECT_EQ(kel_read(fd, text, sizeof text), 0);
    EXPECT_EQ(kel_close(fd), 0);
}

TEST_F(Files, OpenWithoutCreateNeedsTheFile) {
    EXPECT_EQ(kel_open(other_.c_str(), KEL_O_RDWR, 0), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(Files, OpenWithCreateMakesTheFileWithThePermissionsGiven) {
    const int32_t fd = kel_open(other_.c_str(), KEL_O_WRONLY | KEL_O_CREAT, 0600);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(kel_write(fd, "abc", 3), 3);
    kel_close(fd);
    kel_stat_t record;
    ASSERT_EQ(kel_stat(other_.c_str(), &record), 0);
    EXPECT_EQ(record.mode & 0777u, 0600u);
    EXPECT_EQ(read_text(other_), "abc");
}

TEST_F(Files, OpenWithTruncateEmptiesTheFile) {
    kel_close(kel_open(name_.c_str(), KEL_O_WRONLY | KEL_O_TRUNC, 0));
    EXPECT_EQ(read_text(name_), "");
}

TEST_F(Files, OpenWithAppendWritesAtTheEnd) {
    const int32_t fd = kel_open(name_.c_str(), KEL_O_RDWR | KEL_O_APPEND, 0);
    kel_lseek(fd, 0, KEL_SEEK_SET);
    EXPECT_EQ(kel_write(fd, "+", 1), 1);
    kel_close(fd);
    EXPECT_EQ(read_text(name_), "text+");
}

TEST_F(Files, ExclusiveCreateRefusesWhatIsThere) {
    constexpr int32_t flags = KEL_O_WRONLY | KEL_O_CREAT | KEL_O_EXCL;
    EXPECT_EQ(kel_open(name_.c_str(), flags, 0666), -1);
    EXPECT_EQ(errno, EEXIST);
    EXPECT_EQ(kel_open(dir_.path().c_str(), flags, 0666), -1);
    EXPECT_EQ(errno, EEXIST);
    const int32_t fd = kel_open(other_.c_str(), flags, 0666);
    EXPECT_GE(fd, 0);
    kel_close(fd);
}

TEST_F(Files, OpenWithTwoAccessesFails) {
    EXPECT_EQ(kel_open(name_.c_str(), KEL_O_WRONLY | KEL_O_RDWR, 0), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(Files, OpenRefusesADirectoryInEveryMode) {
    constexpr int32_t modes[] = {KEL_O_RDONLY, KEL_O_WRONLY, KEL_O_RDWR, KEL_O_RDWR | KEL_O_CREAT,
                                 KEL_O_WRONLY | KEL_O_CREAT | KEL_O_TRUNC};
    for (const int32_t flags : modes) {
        errno = 0;
        EXPECT_EQ(kel_open(dir_.path().c_str(), flags, 0666), -1) << flags;
        EXPECT_EQ(errno, EACCES) << flags;
    }
}

TEST_F(Files, CreatEmptiesAnExistingFileForWriting) {
    const int32_t fd = kel_creat(name_.c_str(), 0666);
    ASSERT_GE(fd, 0);
    char byte = 0;
    EXPECT_EQ(kel_read(fd, &byte, 1), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(kel_write(fd, "new", 3), 3);
    kel_close(fd);
    EXPECT_EQ(read_text(name_), "new");
}

TEST_F(Files, CloseOfWhatIsNotOpenFails) {
    EXPECT_EQ(kel_close(-1), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(kel_write(-1, "a", 1), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST_F(Files, FopenReadsAndWrites) {
    FILE *stream = kel_fopen(other_.c_str(), "wb");
    ASSERT_NE(stream, nullptr);
    std::fputs("line\n", stream);
    EXPECT_EQ(kel_fclose(stream), 0);
    stream = kel_fopen(other_.c_str(), "r");
    ASSERT_NE(stream, nullptr);
    char line[16] = {};
    EXPECT_NE(std::fgets(line, sizeof line, stream), nullptr);
    EXPECT_STREQ(line, "line\n");
    kel_fclose(stream);
}

TEST_F(Files, FopenModesDifferInWhatTheyDoToTheFile) {
    struct Row {
        const char *mode;
        const char *after; // of a file "text" when "+" has been written
    };
    for (const Row &row : {Row{"w", "+"}, Row{"w+", "+"}, Row{"wb", "+"}, Row{"a", "text+"},
                           Row{"a+b", "text+"}, Row{"r+", "+ext"}, Row{"rb+", "+ext"}}) {
        write_text(name_, "text");
        FILE *const stream = kel_fopen(name_.c_str(), row.mode);
        ASSERT_NE(stream, nullptr) << row.mode;
        std::fputs("+", stream);
        kel_fclose(stream);
        EXPECT_EQ(read_text(name_), row.after) << row.mode;
    }
}

TEST_F(Files, FopenForAppendingStartsAtTheEnd) {
    FILE *const stream = kel_fopen(name_.c_str(), "a");
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(kel_ftello(stream), 4);
    kel_fclose(stream);
}

TEST_F(Files, FopenForReadingNeedsTheFile) {
    EXPECT_EQ(kel_fopen(other_.c_str(), "r"), nullptr);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(exists(other_));
}

TEST_F(Files, FopenExclusiveRefusesAnExistingFile) {
    EXPECT_EQ(kel_fopen(name_.c_str(), "wx"), nullptr);
    EXPECT_EQ(errno, EEXIST);
    EXPECT_EQ(read_text(name_), "text");
}

TEST_F(Files, FopenRefusesAMalformedMode) {
    for (const char *mode : {"", "q", "+r"}) {
        errno = 0;
        EXPECT_EQ(kel_fopen(name_.c_str(), mode), nullptr) << mode;
        EXPECT_EQ(errno, EINVAL) << mode;
    }
}

TEST_F(Files, FopenRefusesADirectoryInEveryMode) {
    for (const char *mode : {"r", "r+", "w", "w+", "a", "a+"}) {
        errno = 0;
        EXPECT_EQ(kel_fopen(dir_.path().c_str(), mode), nullptr) << mode;
        EXPECT_EQ(errno, EACCES) << mode;
    }
}

TEST_F(Files, FcloseReportsDataThatCouldNotBeWritten) {
    FILE *const stream = kel_fopen("/dev/full", "w");
    ASSERT_NE(stream, nullptr);
    std::fputs("abc", stream);
    EXPECT_EQ(kel_fclose(stream), EOF);
    EXPECT_EQ(errno, ENOSPC);
}

TEST_F(Files, FreopenPutsAnotherFileBehindTheStream) {
    write_text(other_, "other");
    FILE *const stream = kel_fopen(name_.c_str(), "r");
    ASSERT_EQ(kel_freopen(other_.c_str(), "r", stream), stream);
    EXPECT_EQ(std::getc(stream), 'o');
    kel_fclose(stream);
}

TEST_F(Files, FreopenModesDifferInWhatTheyDoToTheFile) {
    struct Row {
        const char *mode;
        const char *after; // of a file "text" when "+" has been written
    };
    for (const Row &row : {Row{"w", "+"}, Row{"wb+", "+"}, Row{"a", "text+"}, Row{"r+b", "+ext"}}) {
        write_text(name_, "text");
        FILE *stream = kel_fopen(other_.c_str(), "w");
        stream = kel_freopen(name_.c_str(), row.mode, stream);
        ASSERT_NE(stream, nullptr) << row.mode;
        std::fputs("+", stream);
        EXPECT_EQ(kel_fclose(stream), 0) << row.mode;
        EXPECT_EQ(read_text(name_), row.after) << row.mode;
    }
}

TEST_F(Files, FreopenExclusiveRefusesAnExistingFileOnly) {
    FILE *const stream = kel_fopen(name_.c_str(), "r");
    ASSERT_EQ(kel_freopen(other_.c_str(), "wx", stream), stream);
    EXPECT_EQ(kel_freopen(name_.c_str(), "wx", stream), nullptr);
    EXPECT_EQ(errno, EEXIST);
    EXPECT_EQ(read_text(name_), "text");
}

TEST_F(Files, FreopenOfStandardOutputTakesWhatIsPrinted) {
    EXPECT_EQ(in_child([&] {
                  if (kel_freopen(other_.c_str(), "w", stdout) != stdout) return "failed";
                  std::printf("printed");
                  return ::fileno(stdout) == STDOUT_FILENO && kel_fclose(stdout) == 0 ? "ok"
                                                                                      : "lost";
              }),
              "ok");
    EXPECT_EQ(read_text(other_), "printed");
}

TEST_F(Files, FreopenFailsForAMissingFileADirectoryAndTooLongAName) {
    struct Row {
        std::string name;
        const char *mode;
        int error;
    };
    for (const Row &row :
         {Row{other_, "r", ENOENT}, Row{dir_.path(), "r", EACCES}, Row{dir_.path(), "w", EACCES},
          Row{std::string(1024, 'x'), "r", ENAMETOOLONG}}) {
        FILE *const stream = kel_fopen(name_.c_str(), "r");
        const int fd = ::fileno(stream);
        EXPECT_EQ(kel_freopen(row.name.c_str(), row.mode, stream), nullptr) << row.name;
        EXPECT_EQ(errno, row.error) << row.name;
        EXPECT_EQ(kel_close(fd), -1) << "the stream is closed on failure";
    }
}

TEST_F(Files, FreopenWithoutANameChangesTheMode) {
    FILE *const stream = kel_fopen(name_.c_str(), "r");
    ASSERT_EQ(kel_freopen(nullptr, "a", stream), stream);
    EXPECT_GE(std::fputs("+", stream), 0);
    kel_fclose(stream);
    EXPECT_EQ(read_text(name_), "text+");
}

TEST_F(Files, MkdirMakesADirectoryOnce) {
    EXPECT_EQ(kel_mkdir(other_.c_str()), 0);
    kel_stat_t record;
    ASSERT_EQ(kel_stat(other_.c_str(), &record), 0);
    EXPECT_EQ(record.mode & KEL_S_IFMT, static_cast<uint32_t>(KEL_S_IFDIR));
    EXPECT_EQ(kel_mkdir(other_.c_str()), -1);
    EXPECT_EQ(errno, EEXIST);
}

TEST_F(Files, ChdirAndGetcwdAgree) {
    EXPECT_EQ(in_child([&] {
                  char where[1024];
                  if (kel_chdir(dir_.path().c_str()) != 0) return std::string("chdir failed");
                  return std::string(kel_getcwd(where, sizeof where));
              }),
              dir_.path());
}

TEST_F(Files, ChdirToAFileFails) {
    EXPECT_EQ(kel_chdir(name_.c_str()), -1);
    EXPECT_EQ(errno, ENOTDIR);
}

TEST_F(Files, GetcwdRefusesTooSmallABuffer) {
    char where[1];
    EXPECT_EQ(kel_getcwd(where, sizeof where), nullptr);
    EXPECT_EQ(errno, ERANGE);
}

TEST_F(Files, GetcwdLeavesABackslashOfANameAlone) {
    const std::string odd = dir_.file("a\\b");
    ASSERT_EQ(kel_mkdir(odd.c_str()), 0);
    EXPECT_EQ(in_child([&] {
                  char where[1024];
                  if (kel_chdir(odd.c_str()) != 0) return std::string("chdir failed");
                  return std::string(kel_getcwd(where, sizeof where));
              }),
              odd);
}

TEST_F(Files, StatTellsTypeSizeAndTimes) {
    kel_stat_t record;
    ASSERT_EQ(kel_chmod(name_.c_str(), 0640), 0);
    ASSERT_EQ(kel_stat(name_.c_str(), &record), 0);
    EXPECT_EQ(record.mode, static_cast<uint32_t>(KEL_S_IFREG) | 0640u);
    EXPECT_EQ(record.size, 4);
    kel_timeval now;
    kel_timeofday(&now);
    EXPECT_NEAR(static_cast<double>(record.mtime), now.sec, 60);
    EXPECT_NEAR(static_cast<double>(record.atime), now.sec, 60);
}

TEST_F(Files, StatOfSizesBeyond32Bits) {
    constexpr int64_t size = int64_t{5} << 30;
    const int32_t fd = kel_open(name_.c_str(), KEL_O_RDWR, 0);
    ASSERT_EQ(kel_truncate(fd, size), 0);
    kel_stat_t by_name, by_descriptor;
    EXPECT_EQ(kel_stat(name_.c_str(), &by_name), 0);
    EXPECT_EQ(kel_fstat(fd, &by_descriptor), 0);
    EXPECT_EQ(by_name.size, size);
    EXPECT_EQ(by_descriptor.size, size);
    EXPECT_EQ(by_name.dev, by_descriptor.dev);
    kel_close(fd);
}

TEST_F(Files, StatFailureLeavesTheRecordAlone) {
    kel_stat_t record;
    std::memset(&record, 0x5A, sizeof record);
    EXPECT_EQ(kel_stat(other_.c_str(), &record), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(kel_fstat(-1, &record), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(record.mode, 0x5A5A5A5Au);
}

TEST_F(Files, AccessTellsWhetherAFileIsThereAndUsable) {
    EXPECT_EQ(kel_access(name_.c_str(), KEL_F_OK), 0);
    EXPECT_EQ(kel_access(name_.c_str(), KEL_R_OK | KEL_W_OK), 0);
    EXPECT_EQ(kel_access(other_.c_str(), KEL_F_OK), -1);
    EXPECT_EQ(errno, ENOENT);
    ASSERT_EQ(kel_chmod(name_.c_str(), 0600), 0);
    EXPECT_EQ(kel_access(name_.c_str(), KEL_X_OK), -1);
    EXPECT_EQ(errno, EACCES);
}

TEST_F(Files, ChmodOfAMissingFileFails) {
    EXPECT_EQ(kel_chmod(other_.c_str(), 0600), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(Files, UtimeSetsBothTimes) {
    for (const int64_t time : {int64_t{0}, int64_t{1000000000}, int64_t{2000000000}}) {
        ASSERT_EQ(kel_utime(name_.c_str(), time, time + 7), 0) << time;
        kel_stat_t record;
        ASSERT_EQ(kel_stat(name_.c_str(), &record), 0);
        EXPECT_EQ(record.atime, time);
        EXPECT_EQ(record.mtime, time + 7);
    }
}

TEST_F(Files, UtimeOfAMissingFileFails) {
    EXPECT_EQ(kel_utime(other_.c_str(), 0, 0), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(Files, UnlinkDeletesAFile) {
    EXPECT_EQ(kel_unlink(name_.c_str()), 0);
    EXPECT_FALSE(exists(name_));
    EXPECT_EQ(kel_unlink(name_.c_str()), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(Files, UnlinkDeletesAReadOnlyFile) {
    ASSERT_EQ(kel_chmod(name_.c_str(), 0444), 0);
    EXPECT_EQ(kel_unlink(name_.c_str()), 0);
    EXPECT_FALSE(exists(name_));
}

TEST_F(Files, UnlinkLeavesOtherNamesOfAReadOnlyFileReadOnly) {
    ASSERT_EQ(::link(name_.c_str(), other_.c_str()), 0);
    ASSERT_EQ(kel_chmod(name_.c_str(), 0444), 0);
    EXPECT_EQ(kel_unlink(name_.c_str()), 0);
    kel_stat_t record;
    ASSERT_EQ(kel_stat(other_.c_str(), &record), 0);
    EXPECT_EQ(record.mode & 0777u, 0444u);
}

TEST_F(Files, UnlinkRefusesADirectory) {
    ASSERT_EQ(kel_mkdir(other_.c_str()), 0);
    ASSERT_EQ(kel_chmod(other_.c_str(), 0555), 0);
    EXPECT_EQ(kel_unlink(other_.c_str()), -1);
    EXPECT_TRUE(exists(other_));
}

TEST_F(Files, RenameReplacesAnExistingFile) {
    write_text(other_, "old");
    EXPECT_EQ(kel_rename(name_.c_str(), other_.c_str()), 0);
    EXPECT_EQ(read_text(other_), "text");
    EXPECT_FALSE(exists(name_));
}

TEST_F(Files, RenameOfAMissingFileFails) {
    EXPECT_EQ(kel_rename(other_.c_str(), name_.c_str()), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(read_text(name_), "text");
}

TEST_F(Files, NativePathIsACopy) {
    char target[32];
    EXPECT_EQ(unix_to_native_path(target, "a/b\\c"), 0);
    EXPECT_STREQ(target, "a/b\\c");
    EXPECT_EQ(unix_to_native_path(target, target), 0);
    EXPECT_STREQ(target, "a/b\\c");
}

struct NameCall {
    const char *call;
    bool (*fails)(const char *name);
};

constexpr NameCall name_calls[] = {
    {"kel_fopen", [](const char *name) { return !kel_fopen(name, "w"); }},
    {"kel_open", [](const char *name) { return kel_open(name, KEL_O_CREAT, 0666) == -1; }},
    {"kel_creat", [](const char *name) { return kel_creat(name, 0666) == -1; }},
    {"kel_mkdir", [](const char *name) { return kel_mkdir(name) == -1; }},
    {"kel_chdir", [](const char *name) { return kel_chdir(name) == -1; }},
    {"kel_stat",
     [](const char *name) {
         kel_stat_t record;
         return kel_stat(name, &record) == -1;
     }},
    {"kel_access", [](const char *name) { return kel_access(name, KEL_F_OK) == -1; }},
    {"kel_chmod", [](const char *name) { return kel_chmod(name, 0666) == -1; }},
    {"kel_utime", [](const char *name) { return kel_utime(name, 0, 0) == -1; }},
    {"kel_unlink", [](const char *name) { return kel_unlink(name) == -1; }},
    {"kel_rename from", [](const char *name) { return kel_rename(name, "x") == -1; }},
    {"kel_rename to", [](const char *name) { return kel_rename("x", name) == -1; }},
};

TEST_F(Files, NameThatFillsTheBufferIsRefused) {
    const std::string too_long(1024, 'x');
    for (const NameCall &row : name_calls) {
        errno = 0;
        EXPECT_TRUE(row.fails(too_long.c_str())) << row.call;
        EXPECT_EQ(errno, ENAMETOOLONG) << row.call;
    }
}

TEST_F(Files, MissingNameIsRefused) {
    for (const NameCall &row : name_calls) {
        errno = 0;
        EXPECT_TRUE(row.fails(nullptr)) << row.call;
        EXPECT_EQ(errno, EFAULT) << row.call;
    }
}

TEST_F(Files, LongestNameIsTaken) {
    std::string name = dir_.path() + "/";
    while (name.size() < 1023 - 4)
        name += "./";
    name.resize(1023 - 4, '/');
    name += "data";
    ASSERT_EQ(name.size(), 1023u);
    EXPECT_EQ(kel_access(name.c_str(), KEL_F_OK), 0);
}

TEST_F(Files, SuccessLeavesErrnoAlone) {
    errno = ENOSPC;
    EXPECT_EQ(kel_access(name_.c_str(), KEL_F_OK), 0);
    EXPECT_EQ(errno, ENOSPC);
}

} // namespace
