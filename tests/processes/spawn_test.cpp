// Real programs are started, and looked at from both sides.
#include "runtime/spawn.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "runtime/log.h"
#include "support/byte_file.h"
#include "support/failing_malloc.h"
#include "support/in_child.h"
#include "support/log_hearer.h"
#include "support/scoped_env.h"
#include "support/temp_dir.h"

using vor::test::FailingMalloc;
using vor::test::in_child;
using vor::test::read_text;
using vor::test::ScopedEnv;
using vor::test::TempDir;
using vor::test::Texts;
using vor::test::write_text;

namespace {

bool holding_fails = false;

} // namespace

// The linker sends calls of syscall here.
extern "C" {
long __real_syscall(long number, long a, long b, long c, long d);
long __wrap_syscall(long number, long a, long b, long c, long d);

long __wrap_syscall(long number, long a, long b, long c, long d) {
    if (holding_fails && number == SYS_pidfd_open) {
        errno = EMFILE;
        return -1;
    }
    return __real_syscall(number, a, b, c, d);
}
}

namespace {

const std::string program = VOR_SPAWNED_PROGRAM;

std::string line_of(const std::string &rest) {
    return "\"" + program + "\" " + rest;
}

class Spawn : public vor::test::LogHearer {};

using Process = std::unique_ptr<kel_process, decltype(&kel_process_close)>;

Process hold(kel_process *process) {
    return {process, kel_process_close};
}

int32_t exit_code(kel_process *process) {
    int32_t code = -1;
    EXPECT_EQ(kel_process_wait(process), 0);
    EXPECT_EQ(kel_process_exitcode(process, &code), 0);
    return code;
}

// Pointers to texts, which must live as long, with a null pointer behind them.
std::vector<const char *> pointers(const Texts &texts) {
    std::vector<const char *> result;
    for (const std::string &text : texts)
        result.push_back(text.c_str());
    result.push_back(nullptr);
    return result;
}

// What the program prints when it is started with the arguments.
std::string output_of(Texts arguments, const char *const *environment = nullptr) {
    const TempDir dir;
    arguments.insert(arguments.begin(), program);
    const Process process =
        hold(spawnvx(nullptr, pointers(arguments).data(), environment, dir.file("out").c_str()));
    if (!process) return "not started";
    EXPECT_EQ(exit_code(process.get()), 0);
    return read_text(dir.file("out"));
}

// And with a command line.
std::string output_of_line(const std::string &rest) {
    const TempDir dir;
    const Process process =
        hold(spawnvx(line_of(rest).c_str(), nullptr, nullptr, dir.file("out").c_str()));
    if (!process) return "not started";
    EXPECT_EQ(exit_code(process.get()), 0);
    return read_text(dir.file("out"));
}

size_t open_descriptors() {
    size_t count = 0;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd"))
        count += !entry.path().empty();
    return count;
}

bool has_children() {
    siginfo_t state = {};
    return ::waitid(P_ALL, 0, &state, WEXITED | WNOHANG | WNOWAIT) == 0;
}

// Waits up to ten seconds for something to come true.
template <class Condition>
bool comes_true(Condition condition) {
    for (int i = 0; i < 1000; ++i) {
        if (condition()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

TEST_F(Spawn, ArgumentsReachTheProgram) {
    EXPECT_EQ(output_of({"arguments", "one", "-2", "three"}), "[one]\n[-2]\n[three]\n");
    EXPECT_EQ(take_log(), Texts{});
}

TEST_F(Spawn, ArgumentWithABlankOrATabStaysOne) {
    EXPECT_EQ(output_of({"arguments", "a b", "c\td", " "}), "[a b]\n[c\td]\n[ ]\n");
}

TEST_F(Spawn, DoubleQuoteInAnArgumentIsLost) {
    EXPECT_EQ(output_of({"arguments", "a\"b", "c"}), "[ab c]\n");
    EXPECT_EQ(output_of({"arguments", "a\"b\"c"}), "[abc]\n");
}

TEST_F(Spawn, EmptyArgumentIsLost) {
    EXPECT_EQ(output_of({"arguments", "a", "", "b"}), "[a]\n[b]\n");
}

TEST_F(Spawn, BackslashInAnArgumentStays) {
    EXPECT_EQ(output_of({"arguments", "c:\\dir\\", "a \\\\ b"}), "[c:\\dir\\]\n[a \\\\ b]\n");
}

TEST_F(Spawn, CommandLineIsSplitAtBlanksAndGroupedByQuotes) {
    EXPECT_EQ(output_of_line("arguments  a \"b  c\" d\"e f\"g \"\"\th"),
              "[a]\n[b  c]\n[de fg]\n[]\n[h]\n");
}

TEST_F(Spawn, CommandLineIsNotUsedBesideArguments) {
    const TempDir dir;
    const Texts arguments = {program, "arguments", "x"};
    const Process process = hold(
        spawnvx("no such program", pointers(arguments).data(), nullptr, dir.file("out").c_str()));
    ASSERT_TRUE(process);
    EXPECT_EQ(exit_code(process.get()), 0);
    EXPECT_EQ(read_text(dir.file("out")), "[x]\n");
}

TEST_F(Spawn, NoCommandInterpreterTakesPart) {
    EXPECT_EQ(output_of_line("arguments $HOME * > 'a b'"), "[$HOME]\n[*]\n[>]\n['a]\n[b']\n");
}

TEST_F(Spawn, CommandLineMayBeLong) {
    const std::string word(100000, 'a');
    EXPECT_EQ(output_of_line("arguments " + word), "[" + word + "]\n");
}

TEST_F(Spawn, ArgumentsThatJustFitAreTaken) {
    const std::string filler(1019 - program.size() - sizeof " arguments", 'a');
    EXPECT_EQ(output_of({"arguments", filler + "a"}), "[" + filler + "a]\n");
    EXPECT_EQ(take_log(), Texts{});
}

TEST_F(Spawn, ArgumentsThatComeNearTheBuffersEndAreRefused) {
    const std::string filler(1019 - program.size() - sizeof " arguments", 'a');
    EXPECT_EQ(output_of({"arguments", filler + "aa"}), "not started");
    EXPECT_EQ(take_log(), Texts{"[Error]: spawnvx: Win32 command line too long"});
    EXPECT_EQ(output_of({"arguments", std::string(5000, 'a')}), "not started");
    EXPECT_EQ(take_log(), Texts{"[Error]: spawnvx: Win32 command line too long"});
    EXPECT_FALSE(has_children());
}

TEST_F(Spawn, QuotesAndBlanksThatFillTheBufferFit) {
    // Each argument counts four bytes more than it is long, whatever it takes.
    std::string name(200, 'a');
    name[100] = ' ';
    Texts arguments = {"arguments"};
    std::string expected;
    size_t position = program.size() + sizeof "arguments";
    for (; position + name.size() + 4 < 1024; position += name.size() + 3) {
        arguments.push_back(name);
        expected += "[" + name + "]\n";
    }
    EXPECT_EQ(output_of(arguments), expected);
    arguments.push_back(name);
    EXPECT_EQ(output_of(arguments), "not started");
}

TEST_F(Spawn, EnvironmentIsTheCallersUnlessOneIsGiven) {
    const ScopedEnv marker("VOR_TEST_MARKER", "here");
    EXPECT_NE(output_of({"environment"}).find("VOR_TEST_MARKER=here\n"), std::string::npos);
}

TEST_F(Spawn, GivenEnvironmentIsAllThereIsAndInItsOrder) {
    const ScopedEnv marker("VOR_TEST_MARKER", "here");
    const Texts environment = {"Z=1", "A=two words", "no equals sign", "A=again"};
    EXPECT_EQ(output_of({"environment"}, pointers(environment).data()),
              "Z=1\nA=two words\nno equals sign\nA=again\n");
}

TEST_F(Spawn, GivenEnvironmentMayBeEmpty) {
    const char *const environment[] = {nullptr};
    EXPECT_EQ(output_of({"environment"}, environment), "");
}

TEST_F(Spawn, ProgramIsLookedForInThePath) {
    const TempDir empty;
    const std::filesystem::path place = program;
    const ScopedEnv path("PATH", (empty.path() + ":" + place.parent_path().string()).c_str());
    const std::string line = place.filename().string() + " exit 7";
    EXPECT_EQ(win32_system(line.c_str()), 7);
}

TEST_F(Spawn, InputIsTheNullDevice) {
    EXPECT_EQ(output_of({"input"}), "0\n");
}

TEST_F(Spawn, OutputAndErrorsShareTheFileAndItsPosition) {
    EXPECT_EQ(output_of({"write"}), "abCDef");
}

TEST_F(Spawn, FileBehindAnAtSignGetsTheOutputAlone) {
    const TempDir dir;
    const std::string target = "@" + dir.file("out");
    const Process process =
        hold(spawnvx(line_of("write").c_str(), nullptr, nullptr, target.c_str()));
    ASSERT_TRUE(process);
    EXPECT_EQ(exit_code(process.get()), 0);
    EXPECT_EQ(read_text(dir.file("out")), "abef");
}

TEST_F(Spawn, ExistingFileKeepsItsTail) {
    const TempDir dir;
    write_text(dir.file("out"), "0123456789");
    const Process process =
        hold(spawnvx(line_of("write").c_str(), nullptr, nullptr, dir.file("out").c_str()));
    ASSERT_TRUE(process);
    EXPECT_EQ(exit_code(process.get()), 0);
    EXPECT_EQ(read_text(dir.file("out")), "abCDef6789");
}

// The program's descriptors, which it writes to a file of its own.
std::string descriptors_under(const char *outfile) {
    const TempDir dir;
    const std::string line = line_of("descriptors " + dir.file("list"));
    const Process process = hold(spawnvx(line.c_str(), nullptr, nullptr, outfile));
    if (!process) return "not started";
    EXPECT_EQ(exit_code(process.get()), 0);
    return read_text(dir.file("list"));
}

constexpr const char *nowhere = "0 /dev/null\n1 /dev/null\n2 /dev/null\n";

TEST_F(Spawn, WithoutAFileOutputAndErrorsGoToTheNullDevice) {
    EXPECT_EQ(descriptors_under(nullptr), nowhere);
    EXPECT_EQ(descriptors_under(""), nowhere);
}

TEST_F(Spawn, FileNameThatStartsAbove127MeansTheNullDevice) {
    const TempDir dir;
    const std::filesystem::path old = std::filesystem::current_path();
    std::filesystem::current_path(dir.path());
    EXPECT_EQ(descriptors_under("\x80name"), nowhere);
    EXPECT_EQ(descriptors_under("\xFFname"), nowhere);
    EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
    std::filesystem::current_path(old);
}

TEST_F(Spawn, ProgramInheritsTheThreeStreamsAlone) {
    const int open = ::open("/dev/zero", O_RDONLY); // children would inherit it
    const int high = ::fcntl(open, F_DUPFD, 200);
    EXPECT_EQ(descriptors_under(nullptr), nowhere);
    ::close(open);
    ::close(high);
}

TEST_F(Spawn, CallersStandardStreamsMayBeClosed) {
    const TempDir dir;
    const std::string out = dir.file("out");
    EXPECT_EQ(in_child([&] {
                  for (const int fd : {0, 1, 2})
                      ::close(fd);
                  const Process process =
                      hold(spawnvx(line_of("write").c_str(), nullptr, nullptr, out.c_str()));
                  return std::to_string(process ? exit_code(process.get()) : -1);
              }),
              "0");
    EXPECT_EQ(read_text(out), "abCDef");
}

TEST_F(Spawn, ProgramHasNoSignalBlockedOrIgnoredAndTheCallersMaskStays) {
    sigset_t blocked;
    sigset_t old;
    ::sigemptyset(&blocked);
    ::sigaddset(&blocked, SIGUSR1);
    ::pthread_sigmask(SIG_SETMASK, &blocked, &old);
    void (*const handler)(int) = ::signal(SIGPIPE, SIG_IGN);
    EXPECT_EQ(output_of({"signals"}), "");
    ::signal(SIGPIPE, handler);
    sigset_t after;
    ::pthread_sigmask(SIG_SETMASK, &old, &after);
    for (int number = 1; number < SIGSYS; ++number)
        EXPECT_EQ(::sigismember(&after, number), number == SIGUSR1) << number;
}

TEST_F(Spawn, ProgramHasNoConsole) {
    EXPECT_EQ(output_of({"session"}), "1\n");
}

TEST_F(Spawn, AllStreamsOfTheCallerAreFlushedFirst) {
    const TempDir dir;
    std::FILE *const file = std::fopen(dir.file("in").c_str(), "w");
    ASSERT_TRUE(file);
    std::fputs("not yet written", file);
    EXPECT_EQ(output_of({"copy", dir.file("in")}), "not yet written");
    std::fclose(file);
}

TEST_F(Spawn, FileWithAnEmptyNameFails) {
    EXPECT_FALSE(hold(spawnvx(line_of("exit 0").c_str(), nullptr, nullptr, "@")));
    EXPECT_EQ(take_log(), (Texts{"[Warning]: spawnvx: open outfile=\"\": error=2",
                                 "[Error]: spawnvx: redirect stdio failed"}));
    EXPECT_FALSE(has_children());
}

TEST_F(Spawn, FileThatCannotBeOpenedFails) {
    const TempDir dir;
    const std::string name = dir.file("missing/out");
    const size_t before = open_descriptors();
    EXPECT_FALSE(hold(spawnvx(line_of("exit 0").c_str(), nullptr, nullptr, name.c_str())));
    EXPECT_EQ(take_log(), (Texts{"[Warning]: spawnvx: open outfile=\"" + name + "\": error=2",
                                 "[Warning]: spawnvx: cannot duplicate handle: error=9",
                                 "[Error]: spawnvx: redirect stdio failed"}));
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_FALSE(has_children());
}

TEST_F(Spawn, LongNameOfAFileIsCutInTheLog) {
    const std::string name(5000, 'n');
    EXPECT_FALSE(hold(spawnvx(line_of("exit 0").c_str(), nullptr, nullptr, name.c_str())));
    const Texts log = take_log();
    ASSERT_FALSE(log.empty());
    EXPECT_EQ(log[0], "[Warning]: spawnvx: open outfile=\"" + name.substr(0, 1023) +
                          "\": error=" + std::to_string(ENAMETOOLONG));
}

// The limit of descriptors under which there is room for so many more.
rlim_t limit_with_room_for(int descriptors) {
    int limit = 0;
    for (int free = 0; free <= descriptors; ++limit)
        free += ::fcntl(limit, F_GETFD) == -1 ? 1 : 0;
    return static_cast<rlim_t>(limit - 1);
}

// What is logged when the caller may open only so many descriptors more.
std::string log_with_room_for(int descriptors, const char *outfile) {
    return in_child([&] {
        logmesg(LOGMESG_NOTE, "a child has a log mutex of its own");
        vor::test::LogHearer::take_log();
        struct rlimit limit = {};
        ::getrlimit(RLIMIT_NOFILE, &limit);
        limit.rlim_cur = limit_with_room_for(descriptors);
        ::setrlimit(RLIMIT_NOFILE, &limit);
        if (spawnvx(line_of("exit 0").c_str(), nullptr, nullptr, outfile))
            return std::string("started");
        std::string result;
        for (const std::string &line : vor::test::LogHearer::take_log())
            result += line + "\n";
        return result;
    });
}

TEST_F(Spawn, NullDeviceThatCannotBeOpenedFails) {
    EXPECT_EQ(log_with_room_for(0, nullptr),
              "[Error]: spawnvx: cannot open NUL: error=24\n"
              "[Error]: spawnvx: cannot open NUL: error=24\n"
              "[Warning]: spawnvx: cannot duplicate handle: error=9\n"
              "[Error]: spawnvx: redirect stdio failed\n");
    const TempDir dir;
    EXPECT_EQ(log_with_room_for(2, ("@" + dir.file("out")).c_str()),
              "[Error]: spawnvx: cannot open NUL: error=24\n"
              "[Error]: spawnvx: redirect stdio failed\n");
}

TEST_F(Spawn, OutputThatCannotBeDuplicatedFails) {
    EXPECT_EQ(log_with_room_for(2, nullptr),
              "[Warning]: spawnvx: cannot duplicate handle: error=24\n"
              "[Error]: spawnvx: redirect stdio failed\n");
}

TEST_F(Spawn, LackOfDescriptorsForTheChildFailsToCreateIt) {
    for (const int room : {3, 5, 7, 8}) {
        EXPECT_EQ(log_with_room_for(room, nullptr),
                  "[Error]: spawnvx: CreateProcess failed: error=24\n")
            << room;
    }
}

TEST_F(Spawn, ProgramThatCannotBeStartedFails) {
    const TempDir dir;
    write_text(dir.file("plain"), "exit 0\n");
    const std::string plain = dir.file("plain");
    struct Row {
        std::string line;
        int error;
    };
    const Row rows[] = {
        {"no_such_program_anywhere", ENOENT},
        {dir.file("missing") + " x", ENOENT},
        {plain, EACCES},
        {plain + "/below", ENOTDIR},
        {"", ENOENT},
        {"  \t", ENOENT},
        {"\"\" x", ENOENT},
    };
    for (const Row &row : rows) {
        const size_t before = open_descriptors();
        EXPECT_FALSE(hold(spawnvx(row.line.c_str(), nullptr, nullptr, nullptr))) << row.line;
        EXPECT_EQ(take_log(), Texts{"[Error]: spawnvx: CreateProcess failed: error=" +
                                    std::to_string(row.error)})
            << row.line;
        EXPECT_EQ(open_descriptors(), before);
        EXPECT_FALSE(has_children());
    }
    ASSERT_EQ(::chmod(plain.c_str(), 0755), 0);
    EXPECT_FALSE(hold(spawnvx(plain.c_str(), nullptr, nullptr, nullptr)));
    EXPECT_EQ(take_log(),
              Texts{"[Error]: spawnvx: CreateProcess failed: error=" + std::to_string(ENOEXEC)});
}

TEST_F(Spawn, NeitherLineNorArgumentsFail) {
    EXPECT_FALSE(hold(spawnvx(nullptr, nullptr, nullptr, nullptr)));
    EXPECT_EQ(take_log(), Texts{"[Error]: spawnvx: CreateProcess failed: error=2"});
}

TEST_F(Spawn, EnvironmentThatFindsNoMemoryFails) {
    const char *const environment[] = {"A=1", nullptr};
    kel_process *process = nullptr;
    {
        const FailingMalloc failing(1);
        process = spawnvx("true", nullptr, environment, nullptr);
    }
    EXPECT_EQ(process, nullptr);
    EXPECT_EQ(take_log(), Texts{"[Error]: spawnvx: cannot duplicate environment block"});
}

TEST_F(Spawn, EveryAllocationThatFailsFailsTheCall) {
    const char *const environment[] = {"A=1", nullptr};
    const size_t before = open_descriptors();
    long nth = 2; // the first is the environment block
    for (;; ++nth) {
        bool reached = false;
        Process process = hold(nullptr);
        {
            const FailingMalloc failing(nth);
            process = hold(spawnvx("true", nullptr, environment, nullptr));
            reached = failing.reached();
        }
        if (!reached) {
            ASSERT_TRUE(process);
            EXPECT_EQ(exit_code(process.get()), 0);
            break;
        }
        EXPECT_FALSE(process);
        EXPECT_EQ(take_log(), Texts{"[Error]: spawnvx: CreateProcess failed: error=12"});
    }
    EXPECT_GT(nth, 3);
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(Spawn, ProgramThatCannotBeHeldRunsOnUnheld) {
    const TempDir dir;
    holding_fails = true;
    const std::string line = line_of("later 1 " + dir.file("made"));
    kel_process *const process = spawnvx(line.c_str(), nullptr, nullptr, nullptr);
    holding_fails = false;
    EXPECT_EQ(process, nullptr);
    EXPECT_EQ(take_log(), Texts{"[Error]: spawnvx: re-open of spawned process id failed"});
    EXPECT_TRUE(comes_true([&] { return std::filesystem::exists(dir.file("made")); }));
    // The next calls see to it that it does not stay a zombie.
    EXPECT_TRUE(comes_true([] {
        win32_system("true");
        return !has_children();
    }));
}

TEST_F(Spawn, ProgramThatCannotBeHeldNorStartedFails) {
    holding_fails = true;
    kel_process *const process = spawnvx("no_such_program_anywhere", nullptr, nullptr, nullptr);
    holding_fails = false;
    EXPECT_EQ(process, nullptr);
    EXPECT_EQ(take_log(), Texts{"[Error]: spawnvx: CreateProcess failed: error=2"});
    EXPECT_FALSE(has_children());
}

TEST_F(Spawn, ExitCodeIsThatOfARunningProgramUntilItEnds) {
    const Process process = hold(spawnvx(line_of("sleep 20").c_str(), nullptr, nullptr, nullptr));
    ASSERT_TRUE(process);
    int32_t code = 0;
    EXPECT_EQ(kel_process_exitcode(process.get(), &code), 0);
    EXPECT_EQ(code, KEL_PROCESS_RUNNING);
    EXPECT_EQ(kel_process_terminate(process.get()), 0);
    EXPECT_EQ(exit_code(process.get()), KEL_PROCESS_KILLED);
    EXPECT_EQ(exit_code(process.get()), KEL_PROCESS_KILLED); // remembered
    EXPECT_EQ(kel_process_terminate(process.get()), -1);
}

TEST_F(Spawn, ExitCodeCanBeReadWithoutWaiting) {
    const Process process = hold(spawnvx(line_of("exit 12").c_str(), nullptr, nullptr, nullptr));
    ASSERT_TRUE(process);
    int32_t code = KEL_PROCESS_RUNNING;
    EXPECT_TRUE(comes_true([&] {
        return kel_process_exitcode(process.get(), &code) == 0 && code != KEL_PROCESS_RUNNING;
    }));
    EXPECT_EQ(code, 12);
    EXPECT_FALSE(has_children());
}

TEST_F(Spawn, ClosingNoHandleIsAllowed) {
    EXPECT_EQ(kel_process_close(nullptr), 0);
}

TEST_F(Spawn, ProgramClosedWhileItRunsGoesOnAndLeavesNoZombie) {
    const TempDir dir;
    const std::string line = line_of("later 100 " + dir.file("made"));
    const size_t before = open_descriptors();
    kel_process *const process = spawnvx(line.c_str(), nullptr, nullptr, nullptr);
    ASSERT_TRUE(process);
    EXPECT_EQ(kel_process_close(process), 0);
    EXPECT_TRUE(has_children());
    EXPECT_TRUE(comes_true([&] { return std::filesystem::exists(dir.file("made")); }));
    EXPECT_TRUE(comes_true([] {
        win32_system("true");
        return !has_children();
    }));
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(Spawn, ProgramOutlivesItsParent) {
    const TempDir dir;
    const std::string line = line_of("later 200 " + dir.file("made"));
    EXPECT_EQ(in_child([&]() -> std::string {
                  return spawnvx(line.c_str(), nullptr, nullptr, nullptr) ? "started" : "failed";
              }),
              "started");
    EXPECT_TRUE(comes_true([&] { return std::filesystem::exists(dir.file("made")); }));
}

TEST_F(Spawn, ThreadsStartProgramsSideBySide) {
    constexpr int count = 8;
    int32_t codes[count] = {};
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i) {
        threads.emplace_back([&codes, i] {
            const Process process = hold(
                spawnvx(line_of("exit " + std::to_string(i)).c_str(), nullptr, nullptr, nullptr));
            codes[i] = process ? exit_code(process.get()) : -1;
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    for (int i = 0; i < count; ++i)
        EXPECT_EQ(codes[i], i);
    EXPECT_FALSE(has_children());
}

TEST_F(Spawn, ThousandProgramsLeaveNothingBehind) {
    ASSERT_EQ(win32_system("true"), 0);
    const size_t descriptors = open_descriptors();
    // A block lost with each program would come to more than the slack below.
    const size_t memory = ::mallinfo2().uordblks;
    for (int i = 0; i < 1000; ++i)
        ASSERT_EQ(win32_system("true"), 0) << i;
    EXPECT_EQ(open_descriptors(), descriptors);
    EXPECT_LE(::mallinfo2().uordblks, memory + 16000);
    EXPECT_FALSE(has_children());
}

TEST_F(Spawn, SystemGivesTheExitCode) {
    for (const int code : {0, 1, 42, 128, 254, 255})
        EXPECT_EQ(win32_system(line_of("exit " + std::to_string(code)).c_str()), code);
    EXPECT_FALSE(has_children());
    EXPECT_EQ(take_log(), Texts{});
}

TEST_F(Spawn, SystemGives255ForANegativeExitCode) {
    EXPECT_EQ(win32_system(line_of("exit -1").c_str()), 255);
}

TEST_F(Spawn, SystemGives255ForAProgramEndedByASignal) {
    for (const int number : {SIGTERM, SIGKILL, SIGHUP})
        EXPECT_EQ(win32_system(line_of("raise " + std::to_string(number)).c_str()), 255);
}

TEST_F(Spawn, SystemGivesMinusOneForAProgramThatCannotBeStarted) {
    EXPECT_EQ(win32_system("no_such_program_anywhere"), -1);
    EXPECT_EQ(take_log(), Texts{"[Error]: spawnvx: CreateProcess failed: error=2"});
}

TEST_F(Spawn, SystemGivesMinusOneIfTheEndCannotBeTold) {
    // The system throws away the exit codes of children that nobody wants to hear of.
    void (*const handler)(int) = ::signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(win32_system("true"), -1);
    ::signal(SIGCHLD, handler);
    EXPECT_EQ(win32_system_abort(), -1);
}

TEST_F(Spawn, AbortWithoutAProgramGivesMinusOne) {
    EXPECT_EQ(win32_system_abort(), -1);
    EXPECT_EQ(win32_system("true"), 0);
    EXPECT_EQ(win32_system_abort(), -1);
}

TEST_F(Spawn, AbortFromAnotherThreadEndsTheProgram) {
    bool aborted = false;
    std::thread other([&] { aborted = comes_true([] { return win32_system_abort() == 0; }); });
    EXPECT_EQ(win32_system(line_of("sleep 20").c_str()), 255);
    other.join();
    EXPECT_TRUE(aborted);
    EXPECT_EQ(win32_system_abort(), -1);
    EXPECT_FALSE(has_children());
}

} // namespace
