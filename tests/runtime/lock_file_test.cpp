// Locks of one process. A process that needs a table of its own, or a rival, is a child or a
// program of tests/processes/.
#include "runtime/lock.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "support/byte_file.h"
#include "support/directory.h"
#include "support/failing_malloc.h"
#include "support/in_child.h"
#include "support/scoped_env.h"
#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;
using vor::test::Contents;
using vor::test::contents_of;
using vor::test::FailingMalloc;
using vor::test::in_child;
using vor::test::read_text;
using vor::test::ScopedEnv;
using vor::test::TempDir;
using vor::test::write_text;

const std::string own_id = std::to_string(::getpid()) + "\n";

// Slots in the table, which grows and never shrinks.
int32_t table_size() {
    int32_t count = 0;
    while (win32_islocked(count) != -1)
        ++count;
    return count;
}

// What another process gets that takes the lock and ends with it.
std::string taken_elsewhere(const std::string &name) {
    return in_child([&] { return std::to_string(win32_lock(name.c_str())); });
}

class Locks : public ::testing::Test {
protected:
    void TearDown() override {
        for (int32_t slot = table_size(); slot-- > 0;)
            win32_unlock(slot);
    }
    std::string path(const std::string &name) const { return dir_.file(name); }
    Contents contents() const { return contents_of(dir_.path()); }

    TempDir dir_;
    ScopedEnv lock_directory_{"LOCKDIR", dir_.path().c_str()};
    ScopedEnv tmp_{"TMP", nullptr};
    ScopedEnv temp_{"TEMP", nullptr};
};

TEST_F(Locks, FreshLockGivesZeroWhateverItsSlotIsAndARepeatedOneTheSlot) {
    EXPECT_EQ(win32_lock("a"), 0);
    EXPECT_EQ(win32_lock("b"), 0);
    EXPECT_EQ(win32_lock("c"), 0);
    EXPECT_EQ(win32_lock("c"), 2);
    EXPECT_EQ(win32_lock("b"), 1);
    EXPECT_EQ(win32_lock("a"), 0);
}

TEST_F(Locks, HeldFileHoldsTheProcessId) {
    EXPECT_EQ(win32_lock("engine"), 0);
    EXPECT_EQ(contents(), (Contents{{"engine", own_id}}));
}

TEST_F(Locks, RepeatedLockWritesNothing) {
    ASSERT_EQ(win32_lock("a"), 0);
    ASSERT_EQ(win32_lock("b"), 0);
    write_text(path("b"), "somebody's text");
    EXPECT_EQ(win32_lock("b"), 1);
    EXPECT_EQ(read_text(path("b")), "somebody's text");
}

TEST_F(Locks, UnlockDeletesTheFile) {
    ASSERT_EQ(win32_lock("a"), 0);
    EXPECT_EQ(win32_unlock(0), 0);
    EXPECT_EQ(contents(), Contents{});
    EXPECT_EQ(win32_islocked(0), 0);
    EXPECT_EQ(win32_lock("a"), 0);
}

TEST_F(Locks, ReaderOfAReleasedFileFindsThatItIs) {
    ASSERT_EQ(win32_lock("a"), 0);
    std::ifstream reader(path("a"));
    ASSERT_TRUE(reader.is_open());
    EXPECT_EQ(win32_unlock(0), 0);
    const std::string text{std::istreambuf_iterator<char>(reader), {}};
    EXPECT_EQ(text, own_id + "released\n");
}

TEST_F(Locks, ReleaseWritesBehindTheIdLine) {
    write_text(path("a"), std::string(40, '#'));
    ASSERT_EQ(win32_lock("a"), 0);
    std::ifstream reader(path("a"));
    EXPECT_EQ(win32_unlock(0), 0);
    const std::string text{std::istreambuf_iterator<char>(reader), {}};
    EXPECT_EQ(text, own_id + "released\n" + std::string(31 - own_id.size(), '#'));
}

TEST_F(Locks, SlotsThatAreFreeOrOutsideCannotBeUnlocked) {
    ASSERT_EQ(win32_lock("a"), 0);
    EXPECT_EQ(win32_unlock(0), 0);
    EXPECT_EQ(win32_unlock(0), -1);
    for (const int32_t slot : {1, table_size(), -1, INT_MAX, INT_MIN})
        EXPECT_EQ(win32_unlock(slot), -1) << slot;
}

TEST_F(Locks, IslockedTellsHeldFreeAndOutside) {
    ASSERT_EQ(win32_lock("a"), 0);
    EXPECT_EQ(win32_islocked(0), 1);
    EXPECT_EQ(win32_islocked(1), 0);
    for (const int32_t slot : {table_size(), -1, INT_MAX, INT_MIN})
        EXPECT_EQ(win32_islocked(slot), -1) << slot;
}

TEST_F(Locks, LowestFreeSlotIsTaken) {
    for (const char *const name : {"a", "b", "c"})
        ASSERT_EQ(win32_lock(name), 0);
    EXPECT_EQ(win32_unlock(1), 0);
    EXPECT_EQ(win32_lock("d"), 0);
    EXPECT_EQ(win32_lock("d"), 1);
}

TEST_F(Locks, NamesAreComparedExactly) {
    EXPECT_EQ(win32_lock("lock"), 0);
    EXPECT_EQ(win32_lock("Lock"), 0);
    EXPECT_EQ(win32_lock("lock "), 0);
    EXPECT_EQ(win32_lock("loc"), 0);
    EXPECT_EQ(win32_lock("Lock"), 1);
    EXPECT_EQ(contents().size(), 4u);
}

TEST_F(Locks, NameOf127BytesIsAcceptedAndOf128Refused) {
    const std::string longest(127, 'n');
    EXPECT_EQ(win32_lock((longest + "n").c_str()), -1);
    EXPECT_EQ(contents(), Contents{});
    EXPECT_EQ(win32_lock(longest.c_str()), 0);
    EXPECT_EQ(contents(), (Contents{{longest, own_id}}));
    EXPECT_EQ(win32_unlock(0), 0);
    EXPECT_EQ(contents(), Contents{});
}

TEST_F(Locks, NameWithASeparatorIsRefusedAndTouchesNothing) {
    fs::create_directory(path("sub"));
    for (const char *const name : {"sub/a", "/a", "a/", "sub\\a", "\\", "../a"})
        EXPECT_EQ(win32_lock(name), -1) << name;
    EXPECT_EQ(win32_lock(nullptr), -1);
    EXPECT_EQ(contents(), (Contents{{"sub", "directory"}}));
    EXPECT_TRUE(fs::is_empty(path("sub")));
}

TEST_F(Locks, EmptyNameAndTheDotsFailAtTheOpening) {
    for (const char *const name : {"", ".", ".."})
        EXPECT_EQ(win32_lock(name), -1) << name;
    EXPECT_EQ(win32_islocked(0), 0);
    EXPECT_EQ(contents(), Contents{});
}

TEST_F(Locks, FileLeftBehindIsTakenOverAsItIs) {
    ASSERT_EQ(taken_elsewhere("a"), "0");
    const std::string left = read_text(path("a"));
    EXPECT_NE(left, own_id);
    EXPECT_EQ(left.back(), '\n');
    EXPECT_EQ(win32_lock("a"), 0);
    EXPECT_EQ(read_text(path("a")).substr(0, own_id.size()), own_id);
}

TEST_F(Locks, ShorterIdLeavesTheEndOfTheOldLine) {
    write_text(path("a"), "123456789012345\nreleased\n");
    EXPECT_EQ(win32_lock("a"), 0);
    EXPECT_EQ(read_text(path("a")),
              own_id + std::string("123456789012345\nreleased\n").substr(own_id.size()));
}

TEST_F(Locks, LockHeldElsewhereIsRefusedAndLeftAlone) {
    ASSERT_EQ(win32_lock("a"), 0);
    EXPECT_EQ(taken_elsewhere("a"), "-1");
    EXPECT_EQ(taken_elsewhere("b"), "0");
    EXPECT_EQ(read_text(path("a")), own_id);
    EXPECT_EQ(win32_islocked(0), 1);
    EXPECT_EQ(taken_elsewhere("a"), "-1");
    EXPECT_EQ(win32_unlock(0), 0);
    EXPECT_EQ(taken_elsewhere("a"), "0");
}

TEST_F(Locks, ForkedChildHoldsNoneOfItsParentsLocks) {
    ASSERT_EQ(win32_lock("a"), 0);
    EXPECT_EQ(in_child([] {
                  std::string results = std::to_string(win32_islocked(0)) + " ";
                  results += std::to_string(win32_unlock(0)) + " ";
                  return results + std::to_string(win32_lock("a"));
              }),
              "0 -1 -1");
    EXPECT_EQ(contents(), (Contents{{"a", own_id}}));
    EXPECT_EQ(win32_lock("a"), 0);
    EXPECT_EQ(win32_unlock(0), 0);
}

TEST_F(Locks, LocksAreNotInheritedByChildPrograms) {
    ASSERT_EQ(win32_lock("a"), 0);
    int found = 0;
    for (int fd = 0; fd < 256; ++fd) {
        std::error_code none;
        const fs::path target = fs::read_symlink("/proc/self/fd/" + std::to_string(fd), none);
        if (none || target != path("a")) continue;
        ++found;
        EXPECT_TRUE((::fcntl(fd, F_GETFD) & FD_CLOEXEC) != 0);
    }
    EXPECT_EQ(found, 1);
}

TEST_F(Locks, TableGrowsBy64AndKeepsItsLocks) {
    const int32_t before = table_size();
    const int32_t slots = before == -1 || before == 0 ? 16 : before;
    for (int32_t i = 0; i <= slots; ++i)
        ASSERT_EQ(win32_lock(("lock" + std::to_string(i)).c_str()), 0) << i;
    EXPECT_EQ(table_size(), slots + 64);
    for (int32_t i = 0; i <= slots; ++i)
        EXPECT_EQ(win32_lock(("lock" + std::to_string(i)).c_str()), i);
    for (int32_t i = slots + 1; i < slots + 64; ++i)
        EXPECT_EQ(win32_islocked(i), 0) << i;
    EXPECT_EQ(taken_elsewhere("lock3"), "-1");
}

TEST_F(Locks, OutOfMemoryRefusesALockWithoutASlot) {
    ASSERT_EQ(win32_lock("first"), 0);
    const int32_t slots = table_size();
    for (int32_t i = 1; i < slots; ++i)
        ASSERT_EQ(win32_lock(std::to_string(i).c_str()), 0);
    {
        const FailingMalloc failing(1);
        EXPECT_EQ(win32_lock("last"), -1);
        EXPECT_TRUE(failing.reached());
    }
    EXPECT_EQ(table_size(), slots);
    EXPECT_FALSE(fs::exists(path("last")));
    EXPECT_EQ(win32_islocked(slots - 1), 1);
    EXPECT_EQ(win32_lock("last"), 0);
}

TEST_F(Locks, MissingDirectoryIsRefused) {
    const ScopedEnv missing("LOCKDIR", path("missing").c_str());
    EXPECT_EQ(win32_lock("a"), -1);
    EXPECT_EQ(win32_islocked(0), 0);
    EXPECT_FALSE(fs::exists(path("missing")));
}

TEST_F(Locks, PathTooLongIsRefused) {
    const std::string longest = dir_.path() + std::string(1021 - dir_.path().size(), '/');
    {
        const ScopedEnv fits("LOCKDIR", longest.c_str());
        EXPECT_EQ(win32_lock("ab"), 0);
        EXPECT_EQ(win32_lock("abc"), -1);
        EXPECT_EQ(contents(), (Contents{{"ab", own_id}}));
        EXPECT_EQ(win32_unlock(0), 0);
        EXPECT_EQ(contents(), Contents{});
    }
    const ScopedEnv too_long("LOCKDIR", std::string(5000, '/').c_str());
    EXPECT_EQ(win32_lock("a"), -1);
}

TEST_F(Locks, DirectoryMayEndInASeparator) {
    const ScopedEnv ended("LOCKDIR", (dir_.path() + "/").c_str());
    EXPECT_EQ(win32_lock("a"), 0);
    EXPECT_EQ(contents(), (Contents{{"a", own_id}}));
}

// Where the lock goes with these variables; the directories are those of the rows.
TEST_F(Locks, DirectoryIsThatOfTheFirstVariable) {
    for (const char *const name : {"1", "2", "3"})
        fs::create_directory(path(name));
    const std::string one = path("1");
    const std::string two = path("2");
    const std::string three = path("3");
    const struct {
        const char *lock_directory;
        const char *tmp;
        const char *temp;
        std::string expected;
    } rows[] = {{one.c_str(), two.c_str(), three.c_str(), one},
                {nullptr, two.c_str(), three.c_str(), two},
                {"", two.c_str(), three.c_str(), two},
                {"", nullptr, three.c_str(), three},
                {nullptr, nullptr, three.c_str(), three}};
    for (const auto &row : rows) {
        const ScopedEnv lock_directory("LOCKDIR", row.lock_directory);
        const ScopedEnv tmp("TMP", row.tmp);
        const ScopedEnv temp("TEMP", row.temp);
        EXPECT_EQ(win32_lock("a"), 0);
        EXPECT_TRUE(fs::exists(row.expected + "/a")) << row.expected;
        EXPECT_EQ(win32_unlock(0), 0);
        EXPECT_FALSE(fs::exists(row.expected + "/a")) << row.expected;
    }
}

TEST_F(Locks, DirectoryIsTmpWithoutAnyVariable) {
    const ScopedEnv lock_directory("LOCKDIR", nullptr);
    const std::string name = "vor_lock_test_" + std::to_string(::getpid());
    EXPECT_EQ(win32_lock(name.c_str()), 0);
    EXPECT_TRUE(fs::exists("/tmp/" + name));
    EXPECT_EQ(win32_unlock(0), 0);
    EXPECT_FALSE(fs::exists("/tmp/" + name));
}

TEST_F(Locks, EmptyTmpCountsAsSetAndIsTheRoot) {
    const ScopedEnv lock_directory("LOCKDIR", nullptr);
    const ScopedEnv tmp("TMP", "");
    const ScopedEnv temp("TEMP", dir_.path().c_str());
    const std::string name = "vor_lock_test_" + std::to_string(::getpid());
    const bool may_write = ::access("/", W_OK) == 0;
    EXPECT_EQ(win32_lock(name.c_str()), may_write ? 0 : -1);
    EXPECT_EQ(fs::exists("/" + name), may_write);
    EXPECT_EQ(win32_unlock(0), may_write ? 0 : -1);
    EXPECT_FALSE(fs::exists("/" + name));
    EXPECT_EQ(contents(), Contents{});
}

TEST_F(Locks, DirectoryOfTheReleaseIsThatOfItsTime) {
    // The file of another place that bears the name is somebody else's.
    fs::create_directory(path("other"));
    write_text(path("other/a"), "theirs");
    ASSERT_EQ(win32_lock("a"), 0);
    {
        const ScopedEnv moved("LOCKDIR", path("other").c_str());
        EXPECT_EQ(win32_unlock(0), 0);
    }
    EXPECT_EQ(read_text(path("other/a")), "theirs");
    EXPECT_EQ(read_text(path("a")), own_id + "released\n");
    EXPECT_EQ(taken_elsewhere("a"), "0");
}

TEST_F(Locks, FilePutInThePlaceOfAHeldOneIsNotDeleted) {
    ASSERT_EQ(win32_lock("a"), 0);
    write_text(path("new"), "theirs");
    fs::rename(path("new"), path("a"));
    EXPECT_EQ(win32_unlock(0), 0);
    EXPECT_EQ(contents(), (Contents{{"a", "theirs"}}));
}

TEST_F(Locks, FailedWriteDoesNotUndoTheLock) {
    EXPECT_EQ(in_child([&]() -> std::string {
                  ::signal(SIGXFSZ, SIG_IGN);
                  const struct rlimit nothing = {0, 0};
                  if (::setrlimit(RLIMIT_FSIZE, &nothing) != 0) return "no limit";
                  std::string results = std::to_string(win32_lock("a")) + " ";
                  results += std::to_string(win32_islocked(0)) + " ";
                  results += std::to_string(fs::file_size(path("a"))) + " ";
                  results += taken_elsewhere("a") + " ";
                  return results + std::to_string(win32_unlock(0));
              }),
              "0 1 0 -1 0");
    EXPECT_EQ(contents(), Contents{});
}

// Things in the place of a lock file that must stay as they are.

TEST_F(Locks, LinkIsRefusedAndNotFollowed) {
    write_text(path("target"), "precious");
    fs::create_symlink(path("target"), path("link"));
    fs::create_symlink(path("missing"), path("dangling"));
    fs::create_symlink("/dev/full", path("full"));
    for (const char *const name : {"link", "dangling", "full"})
        EXPECT_EQ(win32_lock(name), -1) << name;
    EXPECT_EQ(read_text(path("target")), "precious");
    EXPECT_TRUE(fs::is_symlink(path("link")));
    EXPECT_TRUE(fs::is_symlink(path("dangling")));
    EXPECT_FALSE(fs::exists(path("missing")));
    EXPECT_EQ(win32_islocked(0), 0);
}

TEST_F(Locks, FileOfTwoNamesIsRefused) {
    write_text(path("target"), "precious");
    fs::create_hard_link(path("target"), path("a"));
    EXPECT_EQ(win32_lock("a"), -1);
    EXPECT_EQ(contents(), (Contents{{"a", "precious"}, {"target", "precious"}}));
}

TEST_F(Locks, PipeIsRefusedWithoutWakingItsReader) {
    const std::string pipe = path("pipe");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(win32_lock("pipe"), -1);
    // A reader waits for a writer, and must not take the attempt for one.
    const pid_t reader = ::fork();
    if (reader == 0) ::_exit(::open(pipe.c_str(), O_RDONLY) == -1);
    ::usleep(30000);
    EXPECT_EQ(win32_lock("pipe"), -1);
    ::usleep(10000);
    EXPECT_EQ(::waitpid(reader, nullptr, WNOHANG), 0) << "the reader went on";
    const int writer = ::open(pipe.c_str(), O_WRONLY);
    EXPECT_EQ(::waitpid(reader, nullptr, 0), reader);
    ::close(writer);
    EXPECT_TRUE(fs::is_fifo(pipe));
}

TEST_F(Locks, DirectoryInThePlaceIsRefused) {
    fs::create_directory(path("a"));
    EXPECT_EQ(win32_lock("a"), -1);
    EXPECT_TRUE(fs::is_directory(path("a")));
}

TEST_F(Locks, DeviceIsRefused) {
    const ScopedEnv devices("LOCKDIR", "/dev");
    EXPECT_EQ(win32_lock("full"), -1);
    EXPECT_EQ(win32_lock("null"), -1);
    EXPECT_TRUE(fs::is_character_file("/dev/full"));
}

TEST_F(Locks, FileOfAnotherUserIsRefusedAndLeftAlone) {
    write_text(path("a"), "theirs");
    const bool privileged = ::geteuid() == 0;
    ASSERT_EQ(::chmod(path("a").c_str(), privileged ? 0644 : 0000), 0);
    ASSERT_EQ(::chmod(dir_.path().c_str(), privileged ? 0777 : 0700), 0);
    EXPECT_EQ(in_child([&]() -> std::string {
                  if (privileged && ::setuid(65534) != 0) return "no other user";
                  std::string results = std::to_string(win32_lock("a"));
                  return results + " " + std::to_string(win32_lock("own"));
              }),
              "-1 0");
    ASSERT_EQ(::chmod(path("a").c_str(), 0600), 0);
    EXPECT_EQ(read_text(path("a")), "theirs");
}

TEST_F(Locks, FileThatAllMayWriteIsTakenOverFromAnotherUserEvenIfItCannotBeDeleted) {
    if (::geteuid() != 0) GTEST_SKIP() << "needs a second user";
    write_text(path("a"), "");
    ASSERT_EQ(::chmod(path("a").c_str(), 0666), 0);
    ASSERT_EQ(::chmod(dir_.path().c_str(), 01777), 0);
    EXPECT_EQ(in_child([&]() -> std::string {
                  if (::setuid(65534) != 0) return "no other user";
                  std::string results = std::to_string(win32_lock("a")) + " ";
                  results += taken_elsewhere("a") + " ";
                  results += std::to_string(win32_unlock(0)) + " ";
                  return results + taken_elsewhere("a");
              }),
              "0 -1 0 0");
    EXPECT_TRUE(fs::exists(path("a")));
}

TEST_F(Locks, DirectoryWithoutPermissionIsRefused) {
    ASSERT_EQ(::chmod(dir_.path().c_str(), 0555), 0);
    EXPECT_EQ(in_child([&]() -> std::string {
                  if (::geteuid() == 0 && ::setuid(65534) != 0) return "no other user";
                  return std::to_string(win32_lock("a"));
              }),
              "-1");
    ASSERT_EQ(::chmod(dir_.path().c_str(), 0700), 0);
    EXPECT_EQ(contents(), Contents{});
}

} // namespace
