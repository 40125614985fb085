#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>
#include <thread>
#include <vector>

#include "platform/kel.h"
#include "runtime/log.h"
#include "support/byte_file.h"
#include "support/capture.h"
#include "support/failing_malloc.h"
#include "support/in_child.h"
#include "support/scoped_env.h"
#include "support/temp_dir.h"

namespace {

using vor::test::captured_stderr;
using vor::test::FailingMalloc;
using vor::test::in_child;
using vor::test::read_text;
using vor::test::run_in_child;
using vor::test::ScopedEnv;
using vor::test::TempDir;

// The calls as a program makes them that passes controls in the place of the format.
int32_t (*const unchecked)(int32_t, const char *, ...) = logmesg;

// Each test starts and leaves the logger as a program finds it.
class LogLine : public ::testing::Test {
protected:
    void SetUp() override { reset(); }
    void TearDown() override { reset(); }

private:
    static void reset() {
        logmesg_set_program(nullptr);
        logmesg_set_hook(nullptr);
    }
};

// What stands behind the prefix of a line, or all of it if it has none.
std::string text_of(const std::string &line) {
    const size_t at = line.find("]: ");
    return at == std::string::npos ? line : line.substr(at + 3);
}

// "program.process[level]" of a line.
std::string origin_of(const std::string &line) {
    const size_t end = line.find("]: ");
    const size_t start = line.find(' ', line.find(' ') + 1);
    return end == std::string::npos ? line : line.substr(start + 1, end - start);
}

// The text with every digit as a 0.
std::string shape_of(std::string text) {
    for (char &c : text)
        if (c >= '0' && c <= '9') c = '0';
    return text;
}

std::string own_pid() {
    return std::to_string(::getpid());
}

TEST_F(LogLine, HasDateTimeProgramProcessAndLevelBeforeTheText) {
    logmesg_set_program("engraver");
    const std::string line = captured_stderr([] { logmesg(LOGMESG_NOTE, "%d tracks", 5); });
    EXPECT_EQ(shape_of(line.substr(0, line.find(" engraver"))), "00.00.0000 00:00:00.000") << line;
    EXPECT_EQ(line.substr(line.find(" engraver")), " engraver." + own_pid() + "[Note]: 5 tracks\n");
}

TEST_F(LogLine, TimeIsLocalAndTheDayComesFirst) {
    const ScopedEnv zone("TZ", "XYZ-5:30");
    const auto stamp = [] {
        char text[32];
        kel_timeval time; // std::time may lag behind it
        kel_timeofday(&time);
        const std::time_t now = time.sec;
        std::strftime(text, sizeof text, "%d.%m.%Y %H:%M:%S", std::localtime(&now));
        return std::string(text);
    };
    std::string line, before, after;
    do { // until both sides fall into one second
        before = stamp();
        line = captured_stderr([] { logmesg(LOGMESG_NOTE, "x"); });
        after = stamp();
    } while (before != after);
    EXPECT_EQ(line.substr(0, before.size()), before);
}

TEST_F(LogLine, UnnamedProgramIsAnonymous) {
    const std::string line = captured_stderr([] { logmesg(LOGMESG_NOTE, "x"); });
    EXPECT_EQ(origin_of(line), "anonymous." + own_pid() + "[Note]");
}

TEST_F(LogLine, ProgramIsNamedByAMissingFormatAtAnyLevel) {
    for (const int32_t level : {0, 3, 255, 0x303}) {
        const std::string named = "program" + std::to_string(level);
        EXPECT_EQ(captured_stderr([&] { unchecked(level, nullptr, named.c_str()); }), "");
        const std::string line = captured_stderr([] { logmesg(LOGMESG_NOTE, "x"); });
        EXPECT_EQ(origin_of(line), named + "." + own_pid() + "[Note]");
        logmesg_set_program(nullptr);
    }
}

TEST_F(LogLine, ProgramNameIsKeptByPointer) {
    char name[] = "first";
    logmesg_set_program(name);
    std::strcpy(name, "later");
    const std::string line = captured_stderr([] { logmesg(LOGMESG_NOTE, "x"); });
    EXPECT_EQ(origin_of(line), "later." + own_pid() + "[Note]");
}

TEST_F(LogLine, ProcessIdIsReadAgainOnlyWithTheProgramName) {
    captured_stderr([] { logmesg(LOGMESG_NOTE, "x"); });
    const std::string parent = own_pid();
    EXPECT_EQ(
        in_child([] { return origin_of(captured_stderr([] { logmesg(LOGMESG_NOTE, "x"); })); }),
        "anonymous." + parent + "[Note]");
    EXPECT_EQ(in_child([] {
                  logmesg_set_program("child");
                  const std::string line = captured_stderr([] { logmesg(LOGMESG_NOTE, "x"); });
                  return std::string(origin_of(line) == "child." + own_pid() + "[Note]" ? "own"
                                                                                        : line);
              }),
              "own");
}

TEST_F(LogLine, LevelPicksTheWord) {
    struct Row {
        int32_t level;
        const char *word;
    };
    constexpr Row rows[] = {{0, "FATAL"},     {1, "Error"},      {2, "Warning"}, {3, "Note"},
                            {4, "Info"},      {200, "Info"},     {255, "Info"},  {0x103, "Note"},
                            {0x100, "FATAL"}, {0x10401, "Error"}};
    for (const Row &row : rows) {
        const std::string line = captured_stderr([&] { logmesg(row.level, "x"); });
        EXPECT_EQ(origin_of(line), "anonymous." + own_pid() + "[" + row.word + "]") << row.level;
    }
}

TEST_F(LogLine, FatalDoesNotEndTheProgram) {
    EXPECT_EQ(text_of(captured_stderr([] { logmesg(LOGMESG_FATAL, "on we go"); })), "on we go\n");
}

TEST_F(LogLine, NoFileFlagLeavesTheStandardErrorStream) {
    EXPECT_EQ(text_of(captured_stderr([] { logmesg(0x103, "x"); })), "x\n");
}

TEST_F(LogLine, NoStderrFlagKeepsTheLineFromBothSecondOutputs) {
    static int calls;
    calls = 0;
    EXPECT_EQ(captured_stderr([] { logmesg(0x203, "x"); }), "");
    logmesg_set_hook([](const char *) { ++calls; });
    EXPECT_EQ(captured_stderr([] { logmesg(0x203, "x"); }), "");
    EXPECT_EQ(captured_stderr([] { logmesg(0x303, "x"); }), "");
    EXPECT_EQ(calls, 0);
}

TEST_F(LogLine, NewlineIsAddedUnlessTheFormatEndsInOne) {
    const char *const empty = "";
    EXPECT_EQ(text_of(captured_stderr([&] { unchecked(LOGMESG_NOTE, empty); })), "\n");
    EXPECT_EQ(text_of(captured_stderr([] { logmesg(LOGMESG_NOTE, "text\n"); })), "text\n");
    EXPECT_EQ(text_of(captured_stderr([] { logmesg(LOGMESG_NOTE, "text\n\n"); })), "text\n\n");
    EXPECT_EQ(text_of(captured_stderr([] { logmesg(LOGMESG_NOTE, "%s", "text\n"); })), "text\n\n");
    EXPECT_EQ(text_of(captured_stderr([] { logmesg(LOGMESG_NOTE, "%s\n", ""); })), "\n");
}

TEST_F(LogLine, OtherNegativeLevelsDoNothing) {
    for (const int32_t level : {-3, -100, INT32_MIN}) {
        EXPECT_EQ(captured_stderr([&] { unchecked(level, "text"); }), "") << level;
        EXPECT_EQ(captured_stderr([&] { unchecked(level, nullptr, "name"); }), "") << level;
    }
    const std::string line = captured_stderr([] { logmesg(LOGMESG_NOTE, "x"); });
    EXPECT_EQ(origin_of(line), "anonymous." + own_pid() + "[Note]");
}

std::vector<std::string> hooked;
void keep_line(const char *line) {
    hooked.emplace_back(line);
}

TEST_F(LogLine, HookGetsTheWholeLineInPlaceOfStandardError) {
    hooked.clear();
    logmesg_set_hook(keep_line);
    EXPECT_EQ(captured_stderr([] { logmesg(LOGMESG_WARNING, "text"); }), "");
    ASSERT_EQ(hooked.size(), 1u);
    EXPECT_EQ(origin_of(hooked[0]), "anonymous." + own_pid() + "[Warning]");
    EXPECT_EQ(text_of(hooked[0]), "text\n");
}

TEST_F(LogLine, HookIsSetByTheControlLevelAndPrintsNothing) {
    hooked.clear();
    const char *as_format;
    void (*const hook)(const char *) = keep_line;
    std::memcpy(&as_format, &hook, sizeof as_format);
    EXPECT_EQ(captured_stderr([&] { unchecked(LOGMESG_SET_HOOK, as_format); }), "");
    logmesg(LOGMESG_NOTE, "x");
    EXPECT_EQ(hooked.size(), 1u);
}

TEST_F(LogLine, MissingHookGoesBackToStandardError) {
    hooked.clear();
    logmesg_set_hook(keep_line);
    EXPECT_EQ(captured_stderr([] { unchecked(LOGMESG_SET_HOOK, nullptr); }), "");
    EXPECT_EQ(text_of(captured_stderr([] { logmesg(LOGMESG_NOTE, "x"); })), "x\n");
    EXPECT_TRUE(hooked.empty());
}

TEST_F(LogLine, HookMayLogItself) {
    hooked.clear();
    logmesg_set_hook([](const char *line) {
        if (text_of(line) == "outer\n") logmesg(LOGMESG_NOTE, "inner");
        hooked.emplace_back(line);
    });
    logmesg(LOGMESG_NOTE, "outer");
    ASSERT_EQ(hooked.size(), 2u);
    EXPECT_EQ(text_of(hooked[0]), "inner\n");
    EXPECT_EQ(text_of(hooked[1]), "outer\n");
}

int32_t log_list(int32_t level, const char *format, ...) VOR_PRINTF(2, 3);
int32_t log_list(int32_t level, const char *format, ...) {
    va_list args;
    va_start(args, format);
    const int32_t result = vlogmesg(level, format, args);
    va_end(args);
    return result;
}

TEST_F(LogLine, ArgumentsMayComeInAList) {
    int32_t result = -1;
    EXPECT_EQ(text_of(captured_stderr([&] { result = log_list(LOGMESG_NOTE, "%s-%d", "a", 7); })),
              "a-7\n");
    EXPECT_EQ(result, 0);
}

// Datagrams keep the bounds of writes.
TEST_F(LogLine, OneLineIsOneWrite) {
    int ends[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_DGRAM, 0, ends), 0);
    const int saved = ::dup(STDERR_FILENO);
    ::dup2(ends[1], STDERR_FILENO);
    logmesg(LOGMESG_NOTE, "%s", std::string(3000, 'x').c_str());
    logmesg(LOGMESG_NOTE, "last");
    ::dup2(saved, STDERR_FILENO);
    char first[8192], second[8192];
    const ssize_t first_size = ::recv(ends[0], first, sizeof first, MSG_DONTWAIT);
    const ssize_t second_size = ::recv(ends[0], second, sizeof second, MSG_DONTWAIT);
    for (const int fd : {ends[0], ends[1], saved})
        ::close(fd);
    ASSERT_GT(first_size, 3000);
    EXPECT_EQ(first[first_size - 1], '\n');
    ASSERT_GT(second_size, 0);
    EXPECT_EQ(text_of(std::string(second, static_cast<size_t>(second_size))), "last\n");
}

TEST_F(LogLine, LinesOfThreadsDoNotMix) {
    const std::string output = captured_stderr([] {
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i)
            threads.emplace_back([] {
                for (int j = 0; j < 50; ++j)
                    logmesg(LOGMESG_NOTE, "%s", "some text of a line");
            });
        for (std::thread &thread : threads)
            thread.join();
    });
    size_t lines = 0;
    for (size_t at = 0; at < output.size(); ++lines) {
        const size_t end = output.find('\n', at);
        ASSERT_NE(end, std::string::npos);
        ASSERT_EQ(text_of(output.substr(at, end - at)), "some text of a line");
        at = end + 1;
    }
    EXPECT_EQ(lines, 200u);
}

// The length of all that stands around the text of a line of this process.
size_t overhead() {
    return captured_stderr([] { logmesg(LOGMESG_NOTE, "x"); }).size() - 1;
}

TEST_F(LogLine, LongestLineIsWrittenAndTheProgramGoesOn) {
    const std::string text(LOGMESG_MAX_LINE - overhead(), 'x');
    const std::string line = captured_stderr([&] { logmesg(LOGMESG_NOTE, "%s", text.c_str()); });
    EXPECT_EQ(line.size(), static_cast<size_t>(LOGMESG_MAX_LINE));
    EXPECT_EQ(text_of(line), text + "\n");
}

// Logs in a child, whose standard error stream goes to a file, and gives what is in that file.
class Overrun : public LogLine {
protected:
    template <class Code>
    std::string output_of(Code code) {
        status_ = run_in_child([&] {
                      if (!kel_freopen(name_.c_str(), "a", stderr)) return std::string("no file");
                      code();
                      return std::string();
                  }).status;
        return read_text(name_);
    }
    bool aborted() const { return WIFSIGNALED(status_) && WTERMSIG(status_) == SIGABRT; }

    TempDir dir_;
    std::string name_ = dir_.file("stderr");
    int status_ = 0;
};

constexpr const char *corruption = "anonymous: STACK CORRUPTION DETECTED -- ABORTING\n";

TEST_F(Overrun, LineOneByteTooLongIsWrittenInFullAndAborts) {
    const std::string text(LOGMESG_MAX_LINE + 1 - overhead(), 'x');
    const std::string output = output_of([&] { logmesg(LOGMESG_NOTE, "%s", text.c_str()); });
    EXPECT_TRUE(aborted());
    EXPECT_EQ(text_of(output), text + "\n" + corruption);
}

TEST_F(Overrun, MuchTooLongALineIsWrittenInFullAndAborts) {
    const std::string text(100000, 'x');
    const std::string output = output_of([&] { logmesg(LOGMESG_NOTE, "%s\n", text.c_str()); });
    EXPECT_TRUE(aborted());
    EXPECT_EQ(text_of(output), text + "\n" + corruption);
}

TEST_F(Overrun, FlagsSilenceTheLineButNotTheCorruption) {
    const std::string text(5000, 'x');
    for (const int32_t level : {0x203, 0x303}) {
        vor::test::write_text(name_, "");
        EXPECT_EQ(output_of([&] { logmesg(level, "%s", text.c_str()); }), corruption) << level;
        EXPECT_TRUE(aborted()) << level;
    }
}

TEST_F(Overrun, HookGetsTheLineAndTheCorruption) {
    const std::string text(5000, 'x');
    const std::string output = output_of([&] {
        logmesg_set_hook([](const char *line) {
            std::fprintf(stderr, "hook %s", line);
            std::fflush(stderr);
        });
        logmesg(LOGMESG_NOTE, "%s", text.c_str());
    });
    EXPECT_TRUE(aborted());
    EXPECT_EQ(output.rfind("hook ", 0), 0u);
    EXPECT_EQ(text_of(output), text + "\nhook " + corruption);
}

TEST_F(Overrun, ProgramNameAloneMayBeTooLong) {
    static const std::string name(6000, 'p');
    const std::string output = output_of([] {
        logmesg_set_program(name.c_str());
        logmesg(LOGMESG_NOTE, "text");
    });
    EXPECT_TRUE(aborted());
    EXPECT_NE(output.find(name), std::string::npos);
    EXPECT_NE(output.find("]: text\n"), std::string::npos);
}

TEST_F(Overrun, WithoutMemoryTheLineIsCutAndStillAborts) {
    const std::string text(5000, 'x');
    const std::string output = output_of([&] {
        const FailingMalloc failing(1, true);
        logmesg(LOGMESG_NOTE, "%s", text.c_str());
    });
    EXPECT_TRUE(aborted());
    EXPECT_EQ(output.size(), LOGMESG_MAX_LINE + std::strlen(corruption));
    EXPECT_EQ(output.substr(LOGMESG_MAX_LINE), corruption);
}

} // namespace
