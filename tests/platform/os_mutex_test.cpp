#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "platform/os.h"
#include "support/byte_file.h"
#include "support/in_child.h"
#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;
namespace os = vor::os;
using vor::test::in_child;
using vor::test::read_text;
using vor::test::TempDir;
using vor::test::write_text;

constexpr const char *name = "TEST_MUTEX";

class NamedMutex : public ::testing::Test {
protected:
    void SetUp() override { os::mutex_directory = dir_.path().c_str(); }
    void TearDown() override { os::mutex_directory = before_; }

    // "created", "found" or "failed"; the mutex stays open.
    static std::string opened() {
        bool created = false;
        mutex_ = os::open_mutex(name, &created);
        if (mutex_ == os::no_mutex) return "failed";
        return created ? "created" : "found";
    }
    static os::Mutex mutex_;

    TempDir dir_;
    std::string file_ = dir_.file(name);

private:
    const char *before_ = os::mutex_directory;
};

os::Mutex NamedMutex::mutex_ = os::no_mutex;

// A process that does something, tells so with a byte, and then waits for its end.
class Companion {
public:
    template <class Code>
    explicit Companion(Code code) {
        int ends[2];
        if (::pipe(ends) != 0) throw std::runtime_error("no pipe");
        child_ = ::fork();
        if (child_ == 0) {
            ::close(ends[0]);
            code();
            if (::write(ends[1], "x", 1) == 1) ::pause();
            ::_exit(0);
        }
        ::close(ends[1]);
        end_ = ends[0];
    }
    ~Companion() {
        kill();
        ::close(end_);
    }
    Companion(const Companion &) = delete;
    Companion &operator=(const Companion &) = delete;

    // Whether the byte comes within the time.
    bool is_done_in(int milliseconds) const {
        struct pollfd waiting = {end_, POLLIN, 0};
        char byte = 0;
        return ::poll(&waiting, 1, milliseconds) == 1 && ::read(end_, &byte, 1) == 1;
    }
    void kill() {
        if (child_ <= 0) return;
        ::kill(child_, SIGKILL);
        ::waitpid(child_, nullptr, 0);
        child_ = -1;
    }

private:
    pid_t child_ = -1;
    int end_ = -1;
};

constexpr int soon = 5000;

TEST_F(NamedMutex, IsCreatedByTheFirstAndFoundByOthersWhileItIsOpen) {
    EXPECT_EQ(opened(), "created");
    EXPECT_EQ(in_child(opened), "found");
    EXPECT_EQ(in_child(opened), "found");
    const os::Mutex first = mutex_;
    EXPECT_EQ(opened(), "found");
    os::close_mutex(first);
    EXPECT_EQ(in_child(opened), "found");
    os::close_mutex(mutex_);
}

TEST_F(NamedMutex, IsCreatedAgainWhenNobodyHasItOpen) {
    EXPECT_EQ(in_child(opened), "created");
    EXPECT_EQ(in_child(opened), "created");
    Companion other([] { opened(); });
    ASSERT_TRUE(other.is_done_in(soon));
    EXPECT_EQ(in_child(opened), "found");
    other.kill();
    EXPECT_EQ(in_child(opened), "created");
}

TEST_F(NamedMutex, IsLockedByOneProcessAtATime) {
    ASSERT_EQ(opened(), "created");
    ASSERT_TRUE(os::lock_mutex(mutex_));
    const Companion other([] {
        opened();
        os::lock_mutex(mutex_);
    });
    EXPECT_FALSE(other.is_done_in(100));
    EXPECT_TRUE(os::unlock_mutex(mutex_));
    EXPECT_TRUE(other.is_done_in(soon));
    os::close_mutex(mutex_);
}

TEST_F(NamedMutex, IsReleasedByTheEndOfItsHolder) {
    Companion holder([] {
        opened();
        os::lock_mutex(mutex_);
    });
    ASSERT_TRUE(holder.is_done_in(soon));
    const Companion next([] {
        opened();
        os::lock_mutex(mutex_);
    });
    EXPECT_FALSE(next.is_done_in(100));
    holder.kill();
    EXPECT_TRUE(next.is_done_in(soon));
}

TEST_F(NamedMutex, IsForEveryUserWhateverTheMaskOfItsCreator) {
    EXPECT_EQ(in_child([] {
                  ::umask(077);
                  return opened();
              }),
              "created");
    EXPECT_EQ(fs::status(file_).permissions(), static_cast<fs::perms>(0666));
}

TEST_F(NamedMutex, ModeOfAFileThatWasThereIsLeftAlone) {
    write_text(file_, "");
    fs::permissions(file_, static_cast<fs::perms>(0600));
    EXPECT_EQ(in_child(opened), "created");
    EXPECT_EQ(fs::status(file_).permissions(), static_cast<fs::perms>(0600));
}

TEST_F(NamedMutex, IsNotInheritedByChildPrograms) {
    ASSERT_EQ(opened(), "created");
    EXPECT_NE(::fcntl(static_cast<int>(mutex_), F_GETFD) & FD_CLOEXEC, 0);
    os::close_mutex(mutex_);
}

TEST_F(NamedMutex, LinkInItsPlaceIsNotFollowed) {
    for (const char *const target : {"there", "missing"}) {
        write_text(dir_.file("there"), "text");
        fs::create_symlink(dir_.file(target), file_);
        EXPECT_EQ(in_child(opened), "failed") << target;
        EXPECT_TRUE(fs::is_symlink(file_));
        fs::remove(file_);
    }
    EXPECT_EQ(read_text(dir_.file("there")), "text");
    EXPECT_FALSE(fs::exists(dir_.file("missing")));
}

TEST_F(NamedMutex, OnlyARegularFileWillDo) {
    fs::create_directory(file_);
    EXPECT_EQ(in_child(opened), "failed");
    fs::remove(file_);
    ASSERT_EQ(::mkfifo(file_.c_str(), 0666), 0);
    EXPECT_EQ(in_child(opened), "failed");
    os::mutex_directory = "/dev";
    EXPECT_EQ(in_child([] {
                  bool created = false;
                  return std::string(os::open_mutex("null", &created) == os::no_mutex ? "failed"
                                                                                      : "opened");
              }),
              "failed");
}

TEST_F(NamedMutex, NeedsItsDirectoryAndANameThatFits) {
    const std::string missing = dir_.file("missing");
    os::mutex_directory = missing.c_str();
    EXPECT_EQ(in_child(opened), "failed");
    const std::string longest(2000, 'd');
    os::mutex_directory = longest.c_str();
    EXPECT_EQ(in_child(opened), "failed");
}

TEST_F(NamedMutex, FailureLeavesNoDescriptorOpen) {
    ASSERT_EQ(::mkfifo(file_.c_str(), 0666), 0);
    const int next = ::dup(0);
    ::close(next);
    EXPECT_EQ(opened(), "failed");
    const int again = ::dup(0);
    ::close(again);
    EXPECT_EQ(next, again);
}

TEST_F(NamedMutex, LiesInThePlaceOfTheMachineUnlessATestSaysOtherwise) {
    os::mutex_directory = nullptr;
    const std::string own = "vor_test_mutex_" + std::to_string(::getpid());
    bool created = false;
    const os::Mutex mutex = os::open_mutex(own.c_str(), &created);
    ASSERT_NE(mutex, os::no_mutex);
    EXPECT_TRUE(created);
    os::close_mutex(mutex);
    const std::string place = fs::is_directory("/dev/shm") ? "/dev/shm/" : "/tmp/";
    EXPECT_TRUE(fs::remove(place + own));
}

std::string told;

TEST(ForkWatch, TellsBothSidesInTheirOrder) {
    EXPECT_EQ(in_child([] {
                  os::watch_forks([] { told += "before "; }, [] { told += "parent "; },
                                  [] { told += "child "; });
                  const std::string in_grandchild = in_child([] { return told; });
                  return in_grandchild + "| " + told;
              }),
              "before child | before parent ");
}

} // namespace
