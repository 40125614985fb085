#include <fcntl.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <signal.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <thread>

#include "platform/kel.h"
#include "platform/os.h"
#include "support/byte_file.h"
#include "support/in_child.h"
#include "support/temp_dir.h"

namespace {

namespace os = vor::os;
using vor::test::in_child;
using vor::test::TempDir;
using vor::test::write_text;

bool closes_on_exec(int fd) {
    return (::fcntl(fd, F_GETFD) & FD_CLOEXEC) != 0;
}

class Descriptors : public ::testing::Test {
protected:
    void SetUp() override { write_text(name_, "text"); }

    TempDir dir_;
    std::string name_ = dir_.file("data");
};

TEST_F(Descriptors, AreNotInheritedByChildPrograms) {
    const int32_t opened = kel_open(name_.c_str(), KEL_O_RDONLY, 0);
    EXPECT_TRUE(closes_on_exec(opened));
    kel_close(opened);
    const int32_t created = kel_creat(name_.c_str(), 0666);
    EXPECT_TRUE(closes_on_exec(created));
    kel_close(created);
    FILE *stream = kel_fopen(name_.c_str(), "r");
    EXPECT_TRUE(closes_on_exec(::fileno(stream)));
    stream = kel_freopen(name_.c_str(), "a", stream);
    ASSERT_NE(stream, nullptr);
    EXPECT_TRUE(closes_on_exec(::fileno(stream)));
    kel_fclose(stream);
}

TEST_F(Descriptors, StandardStreamReopenedStaysOneForChildren) {
    EXPECT_EQ(in_child([&] {
                  if (!kel_freopen(name_.c_str(), "w", stdout)) return std::string("failed");
                  return std::string(closes_on_exec(STDOUT_FILENO) ? "lost" : "kept");
              }),
              "kept");
}

TEST_F(Descriptors, RefusedDirectoryLeavesNoneOpen) {
    const int next = ::dup(STDERR_FILENO);
    ::close(next);
    EXPECT_EQ(kel_open(dir_.path().c_str(), KEL_O_RDONLY, 0), -1);
    EXPECT_EQ(kel_fopen(dir_.path().c_str(), "r"), nullptr);
    const int again = ::dup(STDERR_FILENO);
    ::close(again);
    EXPECT_EQ(next, again);
}

volatile sig_atomic_t alarms = 0;

// Sends the process one alarm a few milliseconds from now, handled so that it cuts system calls
// short.
class Alarm {
public:
    Alarm() {
        alarms = 0;
        struct sigaction action = {};
        action.sa_handler = [](int) { alarms = alarms + 1; };
        ::sigaction(SIGALRM, &action, &old_);
        struct itimerval timer = {};
        timer.it_value.tv_usec = 20000;
        ::setitimer(ITIMER_REAL, &timer, nullptr);
    }
    ~Alarm() { ::sigaction(SIGALRM, &old_, nullptr); }

private:
    struct sigaction old_ = {};
};

// The writer is a process of its own, so that the alarm meets the reading thread.
TEST(Signals, DoNotCutAReadShort) {
    EXPECT_EQ(in_child([] {
                  int ends[2];
                  if (::pipe(ends) != 0) return std::string("no pipe");
                  if (::fork() == 0) {
                      mt_delay(80);
                      ::_exit(::write(ends[1], "x", 1) == 1 ? 0 : 1);
                  }
                  const Alarm alarm;
                  char byte = 0;
                  const int64_t got = kel_read(ends[0], &byte, 1);
                  if (alarms != 1) return std::string("no alarm");
                  return std::string(got == 1 && byte == 'x' ? "whole" : "short");
              }),
              "whole");
}

TEST(Signals, DoNotCutASleepShort) {
    EXPECT_EQ(in_child([] {
                  const Alarm alarm;
                  const int64_t start = os::clock_milliseconds();
                  mt_delay(80);
                  const int64_t passed = os::clock_milliseconds() - start;
                  if (alarms != 1) return std::string("no alarm");
                  return std::string(passed >= 79 ? "whole" : "short");
              }),
              "whole");
}

TEST(Process, KnowsItsProgram) {
    char path[4096];
    ASSERT_TRUE(os::program_path(path, sizeof path));
    EXPECT_EQ(std::string(path), std::filesystem::read_symlink("/proc/self/exe").string());
}

TEST(Process, ProgramNameThatDoesNotFitFails) {
    char path[4] = "abc";
    EXPECT_FALSE(os::program_path(path, sizeof path));
}

TEST(Process, KnowsItsUser) {
    const struct passwd *const entry = ::getpwuid(::geteuid());
    char name[1024];
    if (!entry) {
        EXPECT_FALSE(os::user_name(name, sizeof name));
        return;
    }
    const std::string expected = entry->pw_name;
    ASSERT_TRUE(os::user_name(name, sizeof name));
    EXPECT_EQ(name, expected);
    EXPECT_TRUE(os::user_name(name, expected.size() + 1));
    EXPECT_FALSE(os::user_name(name, expected.size()));
}

TEST(Process, KnowsItsNumber) {
    EXPECT_EQ(os::process_id(), ::getpid());
}

TEST(TickCounter, GoesForward) {
    const uint64_t start = os::tick_counter();
    mt_delay(2);
    EXPECT_GT(os::tick_counter(), start);
}

} // namespace
