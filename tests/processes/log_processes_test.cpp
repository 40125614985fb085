// Many processes write to one log: programs that are started, and children that are forked and
// killed. The process of the tests itself does not log.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <random>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "platform/os.h"
#include "runtime/log.h"
#include "support/byte_file.h"
#include "support/capture.h"
#include "support/in_child.h"
#include "support/scoped_env.h"
#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;
using vor::test::in_child;
using vor::test::read_text;
using vor::test::ScopedEnv;
using vor::test::TempDir;
using vor::test::write_text;

constexpr int32_t to_file = LOGMESG_NOTE | LOGMESG_NO_STDERR;
constexpr int soon = 10000; // milliseconds
constexpr uid_t other_user = 65534;

struct Pipe {
    Pipe() {
        if (::pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    }
    ~Pipe() {
        close_end(0);
        close_end(1);
    }
    Pipe(const Pipe &) = delete;
    Pipe &operator=(const Pipe &) = delete;

    void close_end(int which) {
        if (ends[which] >= 0) ::close(ends[which]);
        ends[which] = -1;
    }
    int ends[2];
};

// A child process with pipes to its standard input and from its output.
class Child {
public:
    template <class Code>
    explicit Child(Code code) {
        std::fflush(nullptr);
        id_ = ::fork();
        if (id_ == 0) {
            ::dup2(to_.ends[0], STDIN_FILENO);
            ::dup2(from_.ends[1], STDOUT_FILENO);
            to_.close_end(1);
            code();
            ::_exit(0);
        }
        to_.close_end(0);
        from_.close_end(1);
    }
    ~Child() {
        kill();
        end();
    }
    Child(const Child &) = delete;
    Child &operator=(const Child &) = delete;

    bool says_something() const {
        struct pollfd waiting = {from_.ends[0], POLLIN, 0};
        char byte = 0;
        return ::poll(&waiting, 1, soon) == 1 && ::read(from_.ends[0], &byte, 1) == 1;
    }
    bool is_silent_for(int milliseconds) const {
        struct pollfd waiting = {from_.ends[0], POLLIN, 0};
        return ::poll(&waiting, 1, milliseconds) == 0;
    }
    void kill() const {
        if (id_ > 0) ::kill(id_, SIGKILL);
    }
    // Ends its input and waits for it; gives what waitpid tells.
    int end() {
        to_.close_end(1);
        int status = -1;
        if (id_ > 0) ::waitpid(id_, &status, 0);
        id_ = -1;
        return status;
    }

private:
    Pipe to_;
    Pipe from_;
    pid_t id_ = -1;
};

void say_something() {
    if (::write(STDOUT_FILENO, "x", 1) != 1) ::_exit(1);
}

// The lines of a log by the first word of their text: the numbers behind it.
using Numbers = std::map<std::string, std::vector<int>>;

// Fails if a line is not whole.
Numbers numbers_in(const std::string &log) {
    static const std::regex whole(
        R"(\d\d\.\d\d\.\d{4} \d\d:\d\d:\d\d\.\d{3} \w+\.\d+\[\w+\]: (\w+) (\d+))");
    Numbers numbers;
    std::istringstream stream(read_text(log));
    std::string line;
    while (std::getline(stream, line)) {
        // The front of a line is looked at for a few, the rest for all: expressions take their
        // time.
        std::smatch parts;
        const size_t text = line.find("]: ");
        const bool is_whole = line.size() < 100 && std::count(line.begin(), line.end(), ':') == 3 &&
                              text != std::string::npos;
        EXPECT_TRUE(is_whole) << line;
        if (!is_whole) continue;
        if (numbers.size() < 20 && numbers[""].size() < 200) {
            EXPECT_TRUE(std::regex_match(line, parts, whole)) << line;
            numbers[""].push_back(0);
        }
        std::istringstream words(line.substr(text + 3));
        std::string name;
        int number = -1;
        words >> name >> number;
        numbers[name].push_back(number);
    }
    numbers.erase("");
    return numbers;
}

std::vector<int> up_to(int count) {
    std::vector<int> numbers;
    for (int i = 0; i < count; ++i)
        numbers.push_back(i);
    return numbers;
}

class LogProcesses : public ::testing::Test {
protected:
    void SetUp() override {
        fs::create_directory(home_);
        fs::permissions(dir_.path(), fs::perms::all); // some children are other users
        fs::permissions(home_, fs::perms::all);
    }

    std::unique_ptr<Child> start_writer(const std::string &name, int count, bool stay = false) {
        return std::make_unique<Child>([&] {
            const std::string text = std::to_string(count);
            ::setenv("QUORVENTAHOME", home_.c_str(), 1);
            ::execl(VOR_LOG_WRITER, "log_writer", dir_.path().c_str(), name.c_str(), text.c_str(),
                    stay ? "stay" : nullptr, nullptr);
        });
    }
    template <class Code>
    std::unique_ptr<Child> fork_logger(Code code) {
        return std::make_unique<Child>([&] {
            set_up_logger();
            code();
        });
    }
    void set_up_logger() const {
        ::setenv("QUORVENTAHOME", home_.c_str(), 1);
        vor::os::mutex_directory = dir_.path().c_str();
    }
    // What a process shows on its second output that logs one line, as another user if the tests
    // are the administrator's.
    std::string shown_by_another() {
        const std::string shown = dir_.file("shown");
        write_text(shown, "");
        fs::permissions(shown, fs::perms::all);
        const auto logger = fork_logger([&] {
            if (::geteuid() == 0 && ::setuid(other_user) != 0) ::_exit(1);
            write_text(shown, vor::test::captured_stderr([] { logmesg(LOGMESG_NOTE, "one 0"); }));
            say_something();
        });
        EXPECT_TRUE(logger->says_something());
        const std::string line = read_text(shown);
        return line.substr(std::min(line.find("]: "), line.size()));
    }
    // Makes a file that only the administrator can open, or nobody if the tests are not his.
    static void make_foreign(const std::string &name, const std::string &text) {
        write_text(name, text);
        fs::permissions(name, ::geteuid() == 0 ? fs::perms::owner_all : fs::perms::none);
    }
    static std::string own_text(const std::string &name) {
        fs::permissions(name, fs::perms::owner_all);
        return read_text(name);
    }

    TempDir dir_;
    std::string home_ = dir_.file("home");
    std::string log_ = home_ + "/mesg.log";
    std::string old_ = log_ + ".~";
    std::string mutex_ = dir_.file("KEL_LOGGER_MUTEX");
};

TEST_F(LogProcesses, TearLoseAndReorderNoLine) {
    constexpr int writers = 16;
    constexpr int lines = 5000;
    std::vector<std::unique_ptr<Child>> children;
    Numbers expected;
    for (int i = 0; i < writers; ++i) {
        const std::string name = "writer" + std::to_string(i);
        children.push_back(start_writer(name, lines));
        expected[name] = up_to(lines);
    }
    for (const auto &child : children)
        EXPECT_EQ(child->end(), 0);
    EXPECT_TRUE(numbers_in(log_) == expected);
    EXPECT_EQ(fs::file_size(mutex_), 0u);
}

TEST_F(LogProcesses, FirstOfThemRotatesAndNoOther) {
    const ScopedEnv limit("MESGLOG_SIZE", "100");
    const std::string old_text(200, '\n');
    for (int round = 0; round < 10; ++round) {
        write_text(log_, old_text);
        std::vector<std::unique_ptr<Child>> children;
        Numbers expected;
        for (int i = 0; i < 8; ++i) {
            const std::string name = "writer" + std::to_string(i);
            children.push_back(start_writer(name, 5, true));
            expected[name] = up_to(5);
        }
        for (const auto &child : children)
            ASSERT_TRUE(child->says_something());
        // One that comes late, when the new log has long grown above the limit.
        EXPECT_EQ(start_writer("late", 1)->end(), 0);
        expected["late"] = up_to(1);
        for (const auto &child : children)
            EXPECT_EQ(child->end(), 0);
        // The creator may come behind others that append to the old log.
        const std::string old_lines = read_text(old_);
        EXPECT_EQ(old_lines.rfind(old_text, 0), 0u);
        write_text(dir_.file("all"),
                   old_lines.substr(old_text.size()) + (fs::exists(log_) ? read_text(log_) : ""));
        EXPECT_TRUE(numbers_in(dir_.file("all")) == expected);
        fs::remove(old_);
        fs::remove(log_);
    }
}

TEST_F(LogProcesses, FirstRotatesAgainWhenAllOthersAreGone) {
    const ScopedEnv limit("MESGLOG_SIZE", "100");
    EXPECT_EQ(start_writer("one", 10)->end(), 0);
    const auto second = start_writer("two", 10, true);
    ASSERT_TRUE(second->says_something());
    EXPECT_EQ(start_writer("three", 10)->end(), 0);
    EXPECT_EQ(numbers_in(old_), (Numbers{{"one", up_to(10)}}));
    EXPECT_EQ(numbers_in(log_), (Numbers{{"three", up_to(10)}, {"two", up_to(10)}}));
}

TEST_F(LogProcesses, KilledAtAnyMomentBlockNobody) {
    std::minstd_rand random(1);
    for (int round = 0; round < 200; ++round) {
        const auto child = fork_logger([] {
            for (int i = 0;; ++i) {
                logmesg(to_file, "line %d", i);
                if (i == 0) say_something();
            }
        });
        ASSERT_TRUE(child->says_something()) << round; // its first line got through
        ::usleep(static_cast<useconds_t>(random() % 1000));
        child->kill();
    }
    EXPECT_EQ(start_writer("last", 3)->end(), 0);
    EXPECT_NE(read_text(log_).find("]: last 2\n"), std::string::npos);
}

TEST_F(LogProcesses, WaitWhileOneIsInTheMiddleOfALine) {
    const auto holder = fork_logger([] {
        logmesg_set_hook([](const char *) {
            say_something();
            ::pause();
        });
        logmesg(LOGMESG_NOTE, "held 0");
    });
    ASSERT_TRUE(holder->says_something());
    const auto next = start_writer("next", 1, true);
    EXPECT_TRUE(next->is_silent_for(200));
    EXPECT_EQ(numbers_in(log_), (Numbers{{"held", {0}}}));
    holder->kill();
    EXPECT_TRUE(next->says_something());
    EXPECT_EQ(numbers_in(log_), (Numbers{{"held", {0}}, {"next", {0}}}));
}

// The child has all that its parent had open, and would keep it locked.
TEST_F(LogProcesses, ChildForkedInTheMiddleOfALineDoesNotKeepItsParentsLock) {
    const auto parent = fork_logger([] {
        logmesg_set_hook([](const char *) {
            if (::fork() == 0) ::execlp("sleep", "sleep", "2", nullptr);
            if (::fork() == 0) {
                ::sleep(2);
                ::_exit(0);
            }
            say_something();
            ::pause();
        });
        logmesg(LOGMESG_NOTE, "held 0");
    });
    ASSERT_TRUE(parent->says_something());
    parent->kill();
    const auto next = start_writer("next", 1, true);
    EXPECT_TRUE(next->says_something());
}

TEST_F(LogProcesses, ChildForkedInTheMiddleOfALineMayLog) {
    const auto parent = fork_logger([] {
        logmesg_set_hook([](const char *line) {
            if (!std::strstr(line, "outer")) return;
            const pid_t child = ::fork();
            if (child == 0) {
                logmesg(to_file,
                        "child 0"); // alone in its process, though its parent holds the mutex
                ::_exit(0);
            }
            say_something();
        });
        logmesg(LOGMESG_NOTE, "outer 0");
        logmesg(LOGMESG_NOTE, "outer 1");
        while (::wait(nullptr) > 0) {
        }
        say_something();
    });
    for (int i = 0; i < 3; ++i)
        ASSERT_TRUE(parent->says_something());
    EXPECT_EQ(numbers_in(log_), (Numbers{{"child", {0, 0}}, {"outer", {0, 1}}}));
}

TEST_F(LogProcesses, ForkedChildIsOneOfTheirOwn) {
    const auto parent = fork_logger([] {
        logmesg(to_file, "parent 0");
        for (int i = 0; i < 4; ++i) {
            if (::fork() > 0) continue;
            const std::string name = "child" + std::to_string(i);
            for (int line = 0; line < 500; ++line)
                logmesg(to_file, "%s %d", name.c_str(), line);
            ::_exit(0);
        }
        for (int line = 1; line < 500; ++line)
            logmesg(to_file, "parent %d", line);
        while (::wait(nullptr) > 0) {
        }
        say_something();
    });
    ASSERT_TRUE(parent->says_something());
    Numbers expected = {{"parent", up_to(500)}};
    for (int i = 0; i < 4; ++i)
        expected["child" + std::to_string(i)] = up_to(500);
    EXPECT_TRUE(numbers_in(log_) == expected);
}

TEST_F(LogProcesses, ChildForkedWhileAnotherThreadLogsMayLog) {
    const auto parent = fork_logger([] {
        std::atomic<bool> goes_on = true;
        std::thread thread([&] {
            for (int i = 0; goes_on; ++i)
                logmesg(to_file, "thread %d", i);
        });
        for (int i = 0; i < 50; ++i) {
            const pid_t child = ::fork();
            if (child == 0) {
                logmesg(to_file, "child %d", i);
                ::_exit(0);
            }
            ::waitpid(child, nullptr, 0);
        }
        goes_on = false;
        thread.join();
        say_something();
    });
    ASSERT_TRUE(parent->says_something());
    EXPECT_EQ(numbers_in(log_)["child"], up_to(50));
}

TEST_F(LogProcesses, OfTwoUsersShareTheMutexOfOne) {
    ASSERT_EQ(start_writer("first", 1)->end(), 0);
    fs::permissions(log_, static_cast<fs::perms>(0666));
    EXPECT_EQ(shown_by_another(), "]: one 0\n");
    EXPECT_EQ(numbers_in(log_), (Numbers{{"first", {0}}, {"one", {0}}}));
}

TEST_F(LogProcesses, LogWithoutAMutexThatTheyMayNotOpen) {
    make_foreign(mutex_, "");
    EXPECT_EQ(shown_by_another(), "]: one 0\n");
    EXPECT_EQ(numbers_in(log_), (Numbers{{"one", {0}}}));
}

TEST_F(LogProcesses, LogWhateverIsInThePlaceOfTheMutex) {
    const std::string target = dir_.file("target");
    fs::create_symlink(target, mutex_);
    EXPECT_EQ(start_writer("link", 2)->end(), 0);
    EXPECT_FALSE(fs::exists(target));
    fs::remove(mutex_);
    fs::create_directory(mutex_);
    EXPECT_EQ(start_writer("directory", 2)->end(), 0);
    fs::remove(mutex_);
    ASSERT_EQ(::mkfifo(mutex_.c_str(), 0666), 0);
    EXPECT_EQ(start_writer("fifo", 2)->end(), 0);
    EXPECT_EQ(numbers_in(log_),
              (Numbers{{"directory", {0, 1}}, {"fifo", {0, 1}}, {"link", {0, 1}}}));
}

TEST_F(LogProcesses, TryAgainForTheMutexAtEveryCall) {
    fs::create_directory(mutex_);
    const auto logger = fork_logger([&] {
        logmesg(to_file, "line 0");
        fs::remove(mutex_);
        logmesg(to_file, "line 1");
        if (fs::is_regular_file(mutex_)) say_something();
    });
    EXPECT_TRUE(logger->says_something());
}

TEST_F(LogProcesses, ShowTheLinesOfALogThatTheyMayNotWrite) {
    make_foreign(log_, "text");
    EXPECT_EQ(shown_by_another(), "]: one 0\n");
    EXPECT_EQ(own_text(log_), "text");
}

TEST_F(LogProcesses, FollowNoLinkThatAnotherUserHasMade) {
    const std::string target = dir_.file("target");
    write_text(target, "text");
    fs::create_symlink(target, log_);
    if (::geteuid() == 0) { // who alone can make it another's
        ASSERT_EQ(::lchown(log_.c_str(), other_user, other_user), 0);
        EXPECT_EQ(start_writer("one", 1)->end(), 0);
        EXPECT_EQ(read_text(target), "text");
        EXPECT_TRUE(fs::is_symlink(log_));
        ASSERT_EQ(::lchown(log_.c_str(), 0, 0), 0);
    }
    EXPECT_EQ(start_writer("one", 1)->end(), 0);
    EXPECT_NE(read_text(target).find("one 0\n"), std::string::npos);
}

TEST_F(LogProcesses, AreNotHeldUpByAFifoInThePlaceOfTheLog) {
    ASSERT_EQ(::mkfifo(log_.c_str(), 0666), 0);
    EXPECT_EQ(start_writer("one", 3)->end(), 0);
    fs::remove(log_);
    EXPECT_EQ(start_writer("two", 3)->end(), 0);
    EXPECT_EQ(numbers_in(log_), (Numbers{{"two", up_to(3)}}));
}

} // namespace
