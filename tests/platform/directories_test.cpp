#include "platform/directories.h"

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <string>

#include "support/byte_file.h"
#include "support/failing_malloc.h"
#include "support/in_child.h"
#include "support/temp_dir.h"

namespace {

// What the system tells of a volume, if a test makes it up.
const struct statvfs *told = nullptr;

} // namespace

// The linker sends calls of statvfs here, under either of its names.
extern "C" {
int __real_statvfs(const char *path, struct statvfs *record);
int __wrap_statvfs(const char *path, struct statvfs *record);
int __real_statvfs64(const char *path, struct statvfs *record);
int __wrap_statvfs64(const char *path, struct statvfs *record);

int __wrap_statvfs(const char *path, struct statvfs *record) {
    if (!told) return __real_statvfs(path, record);
    *record = *told;
    return 0;
}

int __wrap_statvfs64(const char *path, struct statvfs *record) {
    if (!told) return __real_statvfs64(path, record);
    *record = *told;
    return 0;
}
}

namespace {

namespace fs = std::filesystem;
using vor::test::FailingMalloc;
using vor::test::in_child;
using vor::test::TempDir;
using vor::test::write_text;

using Stream = std::unique_ptr<kel_DIR, decltype(&kel_closedir)>;

Stream open_stream(const std::string &name) {
    return {kel_opendir(name.c_str()), kel_closedir};
}

std::multiset<std::string> names_in(kel_DIR *stream) {
    std::multiset<std::string> names;
    while (const kel_dirent *const entry = kel_readdir(stream))
        names.insert(entry->d_name);
    return names;
}

size_t open_descriptors() {
    size_t count = 0;
    for (const auto &entry : fs::directory_iterator("/proc/self/fd"))
        count += !entry.path().empty();
    return count;
}

TEST(Directories, EveryEntryComesOnceWithDotAndDotDot) {
    const TempDir dir;
    write_text(dir.file("one"), "");
    write_text(dir.file(".hidden"), "");
    fs::create_directory(dir.file("two"));
    const Stream stream = open_stream(dir.path());
    ASSERT_TRUE(stream);
    EXPECT_EQ(names_in(stream.get()),
              (std::multiset<std::string>{".", "..", ".hidden", "one", "two"}));
}

TEST(Directories, FirstEntryIsReadByTheOpening) {
    const TempDir dir;
    const Stream stream = open_stream(dir.path());
    ASSERT_TRUE(stream);
    EXPECT_EQ(stream->first, 0x1234u);
    const std::string first = stream->entry.d_name;
    EXPECT_TRUE(first == "." || first == "..") << first;
    kel_DIR without_a_search = *stream;
    without_a_search.handle = KEL_DIR_CLOSED;
    const kel_dirent *const entry = kel_readdir(&without_a_search);
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->d_name, first);
    EXPECT_EQ(entry->d_ino, 1);
    EXPECT_EQ(without_a_search.first, 0u);
}

TEST(Directories, EntriesAreCountedFromOneAndStandInTheStream) {
    const TempDir dir;
    write_text(dir.file("one"), "");
    const Stream stream = open_stream(dir.path());
    ASSERT_TRUE(stream);
    for (int32_t count = 1; count <= 3; ++count) {
        const kel_dirent *const entry = kel_readdir(stream.get());
        ASSERT_EQ(entry, &stream->entry);
        EXPECT_EQ(entry->d_ino, count);
    }
}

TEST(Directories, EndComesAgainAndLeavesTheErrorNumber) {
    const TempDir dir;
    const Stream stream = open_stream(dir.path());
    ASSERT_TRUE(stream);
    names_in(stream.get());
    errno = 0;
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(kel_readdir(stream.get()), nullptr);
    EXPECT_EQ(errno, 0);
}

TEST(Directories, NamesAreInAnyBytes) {
    const TempDir dir;
    std::multiset<std::string> expected = {".", "..", std::string(255, 'n')};
    for (int byte = 1; byte < 256; ++byte)
        if (byte != '/') expected.insert("x" + std::string(1, static_cast<char>(byte)));
    for (const std::string &name : expected)
        if (name[0] != '.') write_text(dir.file(name), "");
    const Stream stream = open_stream(dir.path());
    ASSERT_TRUE(stream);
    EXPECT_EQ(names_in(stream.get()), expected);
}

TEST(Directories, VeryManyEntriesAllCome) {
    const TempDir dir;
    constexpr int count = 3000;
    for (int i = 0; i < count; ++i)
        ::close(::creat(dir.file("entry number " + std::to_string(i)).c_str(), 0600));
    const Stream stream = open_stream(dir.path());
    ASSERT_TRUE(stream);
    const std::multiset<std::string> names = names_in(stream.get());
    EXPECT_EQ(names.size(), count + 2u);
    EXPECT_EQ(std::set<std::string>(names.begin(), names.end()).size(), count + 2u);
    EXPECT_EQ(stream->entry.d_ino, count + 2);
}

TEST(Directories, TwoStreamsOfOneDirectoryKeepApart) {
    const TempDir dir;
    write_text(dir.file("one"), "");
    const Stream first = open_stream(dir.path());
    const Stream second = open_stream(dir.path());
    ASSERT_TRUE(first && second);
    EXPECT_EQ(names_in(first.get()).size(), 3u);
    EXPECT_EQ(names_in(second.get()).size(), 3u);
}

TEST(Directories, OpeningLeavesTheErrorNumber) {
    const TempDir dir;
    errno = EDOM;
    const Stream stream = open_stream(dir.path());
    EXPECT_EQ(errno, EDOM);
    EXPECT_TRUE(stream);
}

TEST(Directories, MissingNameGivesNull) {
    const TempDir dir;
    errno = 0;
    EXPECT_EQ(kel_opendir(dir.file("missing").c_str()), nullptr);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(kel_opendir(""), nullptr);
}

TEST(Directories, WhatIsNoDirectoryGivesNull) {
    const TempDir dir;
    write_text(dir.file("file"), "");
    ASSERT_EQ(::mkfifo(dir.file("pipe").c_str(), 0600), 0);
    for (const char *const name : {"file", "pipe"}) {
        errno = 0;
        EXPECT_EQ(kel_opendir(dir.file(name).c_str()), nullptr) << name;
        EXPECT_EQ(errno, ENOTDIR) << name;
    }
}

TEST(Directories, UnreadableDirectoryGivesNull) {
    const TempDir dir;
    ASSERT_EQ(::chmod(dir.path().c_str(), 0000), 0);
    EXPECT_EQ(in_child([&]() -> std::string {
                  if (::geteuid() == 0 && ::setuid(65534) != 0) return "no other user";
                  errno = 0;
                  return kel_opendir(dir.path().c_str()) ? "opened" : std::to_string(errno);
              }),
              std::to_string(EACCES));
    ::chmod(dir.path().c_str(), 0700);
}

TEST(Directories, DirectoryWithoutAnyEntryGivesNull) {
    // One that is gone holds not even the two dots.
    const TempDir dir;
    fs::create_directory(dir.file("gone"));
    EXPECT_EQ(in_child([&]() -> std::string {
                  if (::chdir(dir.file("gone").c_str()) != 0) return "not there";
                  fs::remove(dir.file("gone"));
                  const size_t before = open_descriptors();
                  if (kel_opendir(".")) return "opened";
                  const int cause = errno;
                  if (open_descriptors() != before) return "left open";
                  return std::to_string(cause);
              }),
              std::to_string(ENOENT));
}

TEST(Directories, DirectoryDeletedWhileOpenEnds) {
    const TempDir dir;
    fs::create_directory(dir.file("going"));
    Stream stream = open_stream(dir.file("going"));
    ASSERT_TRUE(stream);
    fs::remove(dir.file("going"));
    EXPECT_NE(kel_readdir(stream.get()), nullptr) << "read before";
    while (kel_readdir(stream.get())) {
    }
    EXPECT_EQ(kel_readdir(stream.get()), nullptr);
    EXPECT_EQ(kel_closedir(stream.release()), 0);
}

TEST(Directories, NameIsBoundedAt1023Bytes) {
    const TempDir dir;
    const std::string longest = dir.path() + std::string(1023 - dir.path().size(), '/');
    EXPECT_TRUE(open_stream(longest));
    errno = 0;
    EXPECT_EQ(kel_opendir((longest + "/").c_str()), nullptr);
    EXPECT_EQ(errno, ENAMETOOLONG);
    EXPECT_EQ(kel_opendir(nullptr), nullptr);
    EXPECT_EQ(errno, EFAULT);
}

TEST(Directories, ClosingGivesTheDescriptorBack) {
    const TempDir dir;
    const size_t before = open_descriptors();
    kel_DIR *const stream = kel_opendir(dir.path().c_str());
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(open_descriptors(), before + 1);
    EXPECT_EQ(kel_closedir(stream), 0);
    EXPECT_EQ(open_descriptors(), before);
}

TEST(Directories, ClosingAStreamWithoutASearchFailsAndDoesNothing) {
    kel_DIR closed = {};
    closed.handle = KEL_DIR_CLOSED;
    closed.entry.d_ino = 7;
    EXPECT_EQ(kel_closedir(&closed), -1);
    EXPECT_EQ(closed.entry.d_ino, 7);
    EXPECT_EQ(kel_closedir(nullptr), -1);
}

TEST(Directories, OutOfMemoryGivesNullAndLeavesNothingOpen) {
    const TempDir dir;
    const size_t before = open_descriptors();
    {
        const FailingMalloc failing(1);
        EXPECT_EQ(kel_opendir(dir.path().c_str()), nullptr);
        EXPECT_EQ(errno, ENOMEM);
        EXPECT_TRUE(failing.reached());
    }
    EXPECT_EQ(open_descriptors(), before);
}

TEST(Directories, StreamIsNotInheritedByChildPrograms) {
    const TempDir dir;
    const Stream stream = open_stream(dir.path());
    ASSERT_TRUE(stream);
    const int fd = ::dirfd(reinterpret_cast<DIR *>(stream->handle));
    EXPECT_TRUE((::fcntl(fd, F_GETFD) & FD_CLOEXEC) != 0);
}

// The type of the last file system that is mounted on a directory without blanks in its name.
std::string mounted_on(const std::string &directory) {
    std::ifstream table("/proc/self/mounts");
    std::string found;
    std::string device;
    std::string place;
    std::string type;
    for (std::string rest; table >> device >> place >> type && std::getline(table, rest);)
        if (place == directory) found = type;
    return found;
}

struct statvfs made_up(uint64_t blocks, uint64_t free, uint64_t available, unsigned long unit) {
    struct statvfs record = {};
    record.f_bsize = 65536; // not what the blocks are counted in
    record.f_frsize = unit;
    record.f_blocks = blocks;
    record.f_bfree = free;
    record.f_bavail = available;
    record.f_files = 11;
    record.f_ffree = 12;
    record.f_favail = 13;
    record.f_fsid = 0x12345678;
    record.f_namemax = 143;
    return record;
}

kel_statvfs_t volume_of(const struct statvfs &record) {
    kel_statvfs_t volume = {};
    told = &record;
    EXPECT_EQ(kel_statvfs("/", &volume), 0);
    told = nullptr;
    return volume;
}

TEST(Volumes, RootIsTold) {
    kel_statvfs_t volume = {};
    struct statvfs expected = {};
    ASSERT_EQ(kel_statvfs("/", &volume), 0);
    ASSERT_EQ(::statvfs("/", &expected), 0);
    EXPECT_EQ(volume.f_bsize, 4096u);
    EXPECT_EQ(volume.f_frsize, 4096u);
    EXPECT_EQ(volume.f_blocks, expected.f_blocks * expected.f_frsize / 4096);
    EXPECT_GT(volume.f_blocks, 0u);
    EXPECT_LE(volume.f_bfree, volume.f_blocks);
    EXPECT_EQ(volume.f_namemax, expected.f_namemax);
    EXPECT_EQ(volume.f_basetype, mounted_on("/"));
}

TEST(Volumes, PathIsThatOfItsVolume) {
    kel_statvfs_t volume = {};
    const std::string shared = mounted_on("/dev/shm");
    if (shared.empty()) GTEST_SKIP() << "nothing is mounted there";
    ASSERT_EQ(kel_statvfs("/dev/shm", &volume), 0);
    EXPECT_EQ(volume.f_basetype, shared);
    ASSERT_EQ(kel_statvfs("/proc/self/status", &volume), 0);
    EXPECT_STREQ(volume.f_basetype, "proc");
    EXPECT_EQ(volume.f_blocks, 0u);
}

TEST(Volumes, LinksAreFollowed) {
    const TempDir dir;
    fs::create_symlink("/proc/self", dir.file("link"));
    kel_statvfs_t volume = {};
    ASSERT_EQ(kel_statvfs(dir.file("link").c_str(), &volume), 0);
    EXPECT_STREQ(volume.f_basetype, "proc");
}

TEST(Volumes, RelativePathIsThatOfTheCurrentDirectory) {
    EXPECT_EQ(in_child([]() -> std::string {
                  kel_statvfs_t volume = {};
                  if (::chdir("/proc") != 0 || kel_statvfs("self", &volume) != 0) return "failed";
                  return volume.f_basetype;
              }),
              "proc");
}

TEST(Volumes, EveryFieldHasItsSource) {
    const kel_statvfs_t volume = volume_of(made_up(1000, 300, 200, 4096));
    EXPECT_EQ(volume.f_bsize, 4096u);
    EXPECT_EQ(volume.f_frsize, 4096u);
    EXPECT_EQ(volume.f_blocks, 1000u);
    EXPECT_EQ(volume.f_bfree, 300u);
    EXPECT_EQ(volume.f_bavail, 200u);
    EXPECT_EQ(volume.f_files, 1000u);
    EXPECT_EQ(volume.f_ffree, 300u);
    EXPECT_EQ(volume.f_favail, 200u);
    EXPECT_EQ(volume.f_fsid, 0x12345678u);
    EXPECT_EQ(volume.f_namemax, 143u);
}

TEST(Volumes, BlocksAreOf4096BytesWhateverTheSystemCountsIn) {
    const kel_statvfs_t small = volume_of(made_up(1001, 17, 7, 512));
    EXPECT_EQ(small.f_blocks, 125u);
    EXPECT_EQ(small.f_bfree, 2u);
    EXPECT_EQ(small.f_bavail, 0u);
    const kel_statvfs_t large = volume_of(made_up(10, 3, 2, 1 << 20));
    EXPECT_EQ(large.f_blocks, 2560u);
    EXPECT_EQ(large.f_bfree, 768u);
    EXPECT_EQ(large.f_bavail, 512u);
}

TEST(Volumes, LargeVolumesDoNotOverflow) {
    // 16 TiB, 8 EiB, and more than 64 bits can tell.
    EXPECT_EQ(volume_of(made_up(UINT64_C(1) << 32, 0, 0, 4096)).f_blocks, UINT64_C(1) << 32);
    EXPECT_EQ(volume_of(made_up(UINT64_C(1) << 51, 0, 0, 4096)).f_blocks, UINT64_C(1) << 51);
    EXPECT_EQ(volume_of(made_up(UINT64_C(1) << 60, 0, 0, 4096)).f_blocks, UINT64_MAX / 4096);
    EXPECT_EQ(volume_of(made_up(5, 5, 5, 0)).f_blocks, 0u);
}

TEST(Volumes, FailuresLeaveTheRecordAlone) {
    const TempDir dir;
    const std::string missing = dir.file("missing");
    const std::string too_long(1024, 'a');
    const struct {
        const char *path;
        int cause;
    } rows[] = {{nullptr, EINVAL},
                {"", EINVAL},
                {missing.c_str(), ENOENT},
                {too_long.c_str(), ENAMETOOLONG}};
    for (const auto &row : rows) {
        kel_statvfs_t volume;
        std::memset(&volume, 0x5A, sizeof volume);
        const kel_statvfs_t before = volume;
        errno = 0;
        EXPECT_EQ(kel_statvfs(row.path, &volume), -1);
        EXPECT_EQ(errno, row.cause);
        EXPECT_EQ(std::memcmp(&volume, &before, sizeof volume), 0);
    }
}

TEST(Volumes, VolumeMountedOnADirectoryWithBlanksIsFound) {
    const TempDir dir;
    const std::string place = dir.file("a b\tc");
    fs::create_directory(place);
    const std::string found = in_child([&]() -> std::string {
        const bool mounted = ::unshare(CLONE_NEWNS) == 0 &&
                             ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                             ::mount("none", place.c_str(), "tmpfs", 0, "size=5t") == 0;
        if (!mounted) return "not allowed";
        kel_statvfs_t volume = {};
        if (kel_statvfs(place.c_str(), &volume) != 0) return "failed";
        return volume.f_basetype + std::string(" ") + std::to_string(volume.f_blocks);
    });
    if (found == "not allowed") GTEST_SKIP() << "no right to mount a volume";
    EXPECT_EQ(found, "tmpfs " + std::to_string(UINT64_C(5) << 28));
}

} // namespace
