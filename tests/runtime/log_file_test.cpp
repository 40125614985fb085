#include "runtime/log_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "platform/kel.h"
#include "platform/os.h"
#include "runtime/log.h"
#include "runtime/log_home.h"
#include "support/byte_file.h"
#include "support/capture.h"
#include "support/failing_malloc.h"
#include "support/in_child.h"
#include "support/scoped_env.h"
#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;
using vor::test::FailingMalloc;
using vor::test::log_text;
using vor::test::read_text;
using vor::test::run_in_child;
using vor::test::ScopedEnv;
using vor::test::TempDir;
using vor::test::texts_of;
using vor::test::write_text;

class LogFile : public vor::test::LogHome {};

// ---- name and lines ----

TEST_F(LogFile, LinesAreAppendedToTheLogInTheHome) {
    write_text(log_, "there before\n");
    in_process([] {
        log_text("one");
        log_text("two");
    });
    EXPECT_EQ(logged(), "torn one two ");
    in_process([] { log_text("three"); });
    EXPECT_EQ(logged(), "torn one two three ");
}

TEST_F(LogFile, LineIsTheOneOfTheSecondOutput) {
    std::string shown;
    in_process([&] {
        write_text(dir_.file("shown"),
                   vor::test::captured_stderr([] { logmesg(LOGMESG_WARNING, "%d", 7); }));
    });
    EXPECT_EQ(read_text(log_), read_text(dir_.file("shown")));
    EXPECT_NE(read_text(log_).find("[Warning]: 7\n"), std::string::npos);
}

TEST_F(LogFile, FlagsSayWhichOutputGetsALine) {
    in_process([&] {
        write_text(dir_.file("shown"), vor::test::captured_stderr([] {
                       logmesg(0x203, "file");
                       logmesg(0x103, "second");
                       logmesg(0x303, "none");
                       logmesg(3, "both");
                   }));
    });
    EXPECT_EQ(logged(), "file both ");
    EXPECT_EQ(texts_of(read_text(dir_.file("shown"))), "second both ");
}

TEST_F(LogFile, IsNotMadeBeforeALineGoesToIt) {
    in_process([] {
        logmesg_set_program("prog");
        logmesg_set_file(nullptr);
        logmesg(0x303, "none");
    });
    EXPECT_FALSE(fs::exists(log_));
}

TEST_F(LogFile, GetsTheLineBeforeTheHook) {
    static std::string name;
    static std::string seen;
    name = log_;
    in_process([&] {
        logmesg_set_hook([](const char *) { seen = read_text(name); });
        logmesg(LOGMESG_NOTE, "line");
        write_text(dir_.file("seen"), seen);
    });
    EXPECT_EQ(texts_of(read_text(dir_.file("seen"))), "line ");
}

TEST_F(LogFile, LineOfAHookComesBehindItsOwn) {
    in_process([] {
        logmesg_set_hook([](const char *line) {
            if (texts_of(line) == "outer ") logmesg(LOGMESG_NOTE, "inner");
        });
        logmesg(LOGMESG_NOTE, "outer");
        logmesg(LOGMESG_NOTE, "next");
    });
    EXPECT_EQ(logged(), "outer inner next ");
}

TEST_F(LogFile, RelativeNameLiesInTheHomeAndNotInTheCurrentDirectory) {
    const TempDir current;
    in_process([&] {
        kel_chdir(current.path().c_str());
        logmesg_set_file("other.log");
        log_text("line");
    });
    EXPECT_EQ(texts_of(read_text(home_ + "/other.log")), "line ");
    EXPECT_TRUE(fs::is_empty(current.path()));
    EXPECT_FALSE(fs::exists(log_));
}

TEST_F(LogFile, AbsoluteNameIsUsedAsItIs) {
    const TempDir current;
    in_process([&] {
        kel_chdir(current.path().c_str());
        logmesg_set_file(dir_.file("a.log").c_str());
        log_text("root");
        logmesg_set_file("c:b.log"); // a drive counts as well
        log_text("drive");
    });
    EXPECT_EQ(texts_of(read_text(dir_.file("a.log"))), "root ");
    EXPECT_EQ(texts_of(read_text(current.file("c:b.log"))), "drive ");
}

TEST_F(LogFile, NameOfNothingGoesBackToTheDefault) {
    in_process([] {
        logmesg_set_file("other.log");
        log_text("one");
        logmesg_set_file(nullptr);
        log_text("two");
    });
    EXPECT_EQ(texts_of(read_text(home_ + "/other.log")), "one ");
    EXPECT_EQ(logged(), "two ");
}

TEST_F(LogFile, SettingItPrintsNothing) {
    in_process([&] {
        write_text(dir_.file("shown"), vor::test::captured_stderr([] {
                       logmesg_set_file("other.log");
                       logmesg_set_file(nullptr);
                   }));
    });
    EXPECT_EQ(read_text(dir_.file("shown")), "");
    EXPECT_TRUE(fs::is_empty(home_));
}

TEST_F(LogFile, NameIsCopied) {
    in_process([] {
        char name[] = "other.log";
        logmesg_set_file(name);
        name[0] = 'X';
        log_text("line");
    });
    EXPECT_EQ(texts_of(read_text(home_ + "/other.log")), "line ");
}

TEST_F(LogFile, HomeAndNameOfMoreThan1020BytesLeaveItAsItWas) {
    in_process([&] {
        logmesg_set_file("other.log");
        log_text("one");
        logmesg_set_file(std::string(1021 - home_.size(), 'n').c_str());
        log_text("two");
    });
    EXPECT_EQ(texts_of(read_text(home_ + "/other.log")), "one two ");
    // A path of 1021 bytes in all, of directories that the system takes.
    std::string path(home_);
    while (path.size() < 900)
        path += "/" + std::string(99, 'd');
    fs::create_directories(path);
    path += "/";
    path.append(1021 - path.size(), 'n');
    in_process([&] {
        logmesg_set_file(path.c_str() + home_.size() + 1);
        log_text("line");
    });
    EXPECT_EQ(texts_of(read_text(path)), "line ");
}

TEST_F(LogFile, StaysOpenBetweenLinesAndIsClosedForChildPrograms) {
    in_process([&] {
        log_text("one");
        fs::rename(log_, dir_.file("moved"));
        log_text("two");
    });
    EXPECT_EQ(texts_of(read_text(dir_.file("moved"))), "one two ");
    EXPECT_FALSE(fs::exists(log_));
}

TEST_F(LogFile, ItAndTheMutexAreNotInheritedByChildPrograms) {
    in_process([&] {
        log_text("line");
        int closing = 0;
        for (int fd = 0; fd < 100; ++fd) {
            std::error_code not_open;
            const fs::path file = fs::read_symlink("/proc/self/fd/" + std::to_string(fd), not_open);
            const bool ours = file == log_ || file == dir_.file("KEL_LOGGER_MUTEX");
            closing += ours && (::fcntl(fd, F_GETFD) & FD_CLOEXEC) != 0;
        }
        if (closing != 2) std::abort();
    });
}

TEST_F(LogFile, NamingItAgainOpensItAgain) {
    in_process([&] {
        log_text("one");
        fs::rename(log_, dir_.file("moved"));
        logmesg_set_file(nullptr);
        log_text("two");
    });
    EXPECT_EQ(texts_of(read_text(dir_.file("moved"))), "one ");
    EXPECT_EQ(logged(), "two ");
}

// ---- other things in the place of the log ----

// What stands in the place of the log costs the file's line alone, and stays as it is.
#define EXPECT_LINE_TO_SECOND_OUTPUT_ONLY()                                                        \
    in_process([&] {                                                                               \
        write_text(dir_.file("shown"),                                                             \
                   vor::test::captured_stderr([] { logmesg(LOGMESG_NOTE, "line"); }));             \
    });                                                                                            \
    EXPECT_EQ(texts_of(read_text(dir_.file("shown"))), "line ")

TEST_F(LogFile, DirectoryInItsPlaceIsLeftAlone) {
    const ScopedEnv limit("MESGLOG_SIZE", "1");
    fs::create_directory(log_);
    EXPECT_LINE_TO_SECOND_OUTPUT_ONLY();
    EXPECT_TRUE(fs::is_directory(log_));
    EXPECT_FALSE(fs::exists(old_));
}

TEST_F(LogFile, DeviceIsNoLog) {
    const ScopedEnv limit("MESGLOG_SIZE", "1");
    for (const char *const device : {"/dev/null", "/dev/full", "/dev/tty"}) {
        in_process([&] {
            write_text(dir_.file("shown"), vor::test::captured_stderr([&] {
                           logmesg_set_file(device);
                           logmesg(LOGMESG_NOTE, "line");
                       }));
        });
        EXPECT_EQ(texts_of(read_text(dir_.file("shown"))), "line ") << device;
        EXPECT_TRUE(fs::is_character_file(device));
        EXPECT_FALSE(fs::exists(std::string(device) + ".~"));
    }
}

TEST_F(LogFile, FifoNeverBlocksAndGetsNothing) {
    const ScopedEnv limit("MESGLOG_SIZE", "1");
    ASSERT_EQ(::mkfifo(log_.c_str(), 0666), 0);
    EXPECT_LINE_TO_SECOND_OUTPUT_ONLY();
    const int reader = ::open(log_.c_str(), O_RDONLY | O_NONBLOCK);
    EXPECT_LINE_TO_SECOND_OUTPUT_ONLY();
    char byte = 0;
    EXPECT_EQ(::read(reader, &byte, 1), 0);
    ::close(reader);
    EXPECT_TRUE(fs::is_fifo(log_));
}

TEST_F(LogFile, LinkOfTheUsersOwnIsFollowed) {
    const std::string target = dir_.file("target.log");
    fs::create_symlink(target, log_);
    in_process([] { log_text("one"); }); // also to a file that is not there yet
    in_process([] { log_text("two"); });
    EXPECT_EQ(texts_of(read_text(target)), "one two ");
    EXPECT_TRUE(fs::is_symlink(log_));
}

TEST_F(LogFile, LinkToSomethingElseIsLeftAlone) {
    const std::string fifo = dir_.file("fifo");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0666), 0);
    for (const std::string &target : {fifo, dir_.path(), std::string("/dev/full"), log_}) {
        fs::create_symlink(target, log_);
        EXPECT_LINE_TO_SECOND_OUTPUT_ONLY() << target;
        EXPECT_TRUE(fs::is_symlink(log_));
        fs::remove(log_);
    }
}

TEST_F(LogFile, LineThatCannotBeWrittenIsLostAndTheNextOneTriesAgain) {
    fs::remove(home_);
    in_process([&] {
        log_text("lost");
        fs::create_directory(home_);
        log_text("found");
    });
    EXPECT_EQ(logged(), "found ");
}

// Lets files grow to so many bytes and no more.
void limit_files(rlim_t size) {
    struct rlimit limit = {};
    ::getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = size;
    ::setrlimit(RLIMIT_FSIZE, &limit);
}

TEST_F(LogFile, LineForWhichThereIsHalfTheRoomLeavesNothingBehind) {
    in_process([&] {
        ::signal(SIGXFSZ, SIG_IGN);
        log_text("one");
        const auto size = static_cast<rlim_t>(fs::file_size(log_));
        limit_files(size + size / 2);
        log_text("two");
        if (fs::file_size(log_) != size) std::abort();
        log_text("three");
        limit_files(size * 10);
        log_text("four");
    });
    EXPECT_EQ(logged(), "one four ");
}

TEST_F(LogFile, WithoutTheMutexAHalfLineStaysSinceOthersMayHaveWrittenBehindIt) {
    fs::create_directory(dir_.file("KEL_LOGGER_MUTEX"));
    in_process([&] {
        ::signal(SIGXFSZ, SIG_IGN);
        log_text("one");
        const auto size = static_cast<rlim_t>(fs::file_size(log_));
        limit_files(size + size / 2);
        log_text("two");
        limit_files(size * 10);
        if (fs::file_size(log_) != size + size / 2) std::abort();
    });
}

TEST_F(LogFile, WithoutMemoryForItsNameLinesAreLostUntilThereIsSome) {
    in_process([&] {
        logmesg_set_file("other.log");
        log_text("one");
        {
            const FailingMalloc failing(1, true);
            logmesg_set_file("third.log");
            log_text("lost");
        }
        log_text("two");
    });
    EXPECT_EQ(texts_of(read_text(home_ + "/other.log")), "one ");
    EXPECT_FALSE(fs::exists(home_ + "/third.log"));
    EXPECT_EQ(logged(), "two ");
}

TEST_F(LogFile, ItsNameIsTheOnlyAllocation) {
    in_process([] {
        log_text("first");
        const FailingMalloc failing(1, true);
        log_text("second");
        if (failing.reached()) std::abort();
    });
    EXPECT_EQ(logged(), "first second ");
}

// ---- overlong lines ----

TEST_F(LogFile, OverlongLineIsWrittenInFullBeforeTheCorruption) {
    const std::string text(10000, 'x');
    for (const bool open : {false, true}) {
        clear();
        const int status = run_in_child([&] {
                               ::setenv("QUORVENTAHOME", home_.c_str(), 1);
                               vor::os::mutex_directory = dir_.path().c_str();
                               if (open) log_text("first");
                               logmesg_set_hook([](const char *) {});
                               logmesg(open ? 0x303 : 3, "%s", text.c_str());
                               return std::string();
                           }).status;
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT);
        const std::string log = read_text(log_);
        const std::string corruption = "anonymous: STACK CORRUPTION DETECTED -- ABORTING\n";
        EXPECT_EQ(texts_of(log.substr(0, log.size() - corruption.size())),
                  open ? "first " : text + " ");
        EXPECT_EQ(log.substr(log.size() - corruption.size()), corruption);
    }
}

TEST_F(LogFile, CorruptionDoesNotOpenIt) {
    const int status = run_in_child([&] {
                           ::setenv("QUORVENTAHOME", home_.c_str(), 1);
                           vor::os::mutex_directory = dir_.path().c_str();
                           logmesg_set_hook([](const char *) {});
                           logmesg(0x303, "%s", std::string(5000, 'x').c_str());
                           return std::string();
                       }).status;
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT);
    EXPECT_FALSE(fs::exists(log_));
}

} // namespace
