// Locks between processes that come and go, many of them by force. What they do is seen by a
// witness that knows nothing of files: a word of shared memory that names the one in the guarded
// section.
#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <climits>
#include <cstdio>
#include <new>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "runtime/lock.h"
#include "support/in_child.h"
#include "support/scoped_env.h"
#include "support/temp_dir.h"

namespace {

using vor::test::in_child;
using vor::test::ScopedEnv;
using vor::test::TempDir;

// Shared by all processes of a test.
struct Witness {
    std::atomic<pid_t> inside;    // the process in the section, or 0
    std::atomic<pid_t> condemned; // the process that is being ended by force
    std::atomic<long> entries;
    std::atomic<long> clashes;
    std::atomic<bool> over; // all are to end by themselves

    void enter() {
        const pid_t before = inside.exchange(::getpid());
        // One that was ended in the section never said that it left.
        if (before != 0 && before != condemned) ++clashes;
        ++entries;
    }
    void leave() {
        pid_t own = ::getpid();
        if (!inside.compare_exchange_strong(own, 0)) ++clashes;
    }
};

class SharedWitness {
public:
    SharedWitness() {
        void *const place = ::mmap(nullptr, sizeof(Witness), PROT_READ | PROT_WRITE,
                                   MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (place == MAP_FAILED) throw std::runtime_error("no shared memory");
        witness_ = new (place) Witness{};
    }
    ~SharedWitness() { ::munmap(witness_, sizeof(Witness)); }
    SharedWitness(const SharedWitness &) = delete;
    SharedWitness &operator=(const SharedWitness &) = delete;

    Witness *operator->() const { return witness_; }

private:
    Witness *witness_;
};

template <class Code>
pid_t fork_to(Code code) {
    const pid_t child = ::fork();
    if (child == -1) throw std::runtime_error("no child");
    if (child == 0) {
        code();
        ::_exit(0);
    }
    return child;
}

int end_of(pid_t child) {
    int status = -1;
    ::waitpid(child, &status, 0);
    return status;
}

int kill_and_reap(pid_t child) {
    ::kill(child, SIGKILL);
    return end_of(child);
}

// Takes and releases the lock until the witness has seen enough.
void come_and_go(const SharedWitness &witness, long enough) {
    while (!witness->over && witness->entries < enough) {
        if (win32_lock("lock") != 0) {
            ::sched_yield();
            continue;
        }
        witness->enter();
        if (witness->entries % 3 == 0) ::sched_yield();
        witness->leave();
        win32_unlock(0);
    }
}

class LockProcesses : public ::testing::Test {
protected:
    void sleep_at_most(unsigned microseconds) {
        ::usleep(static_cast<useconds_t>(random_() % microseconds));
    }

    TempDir dir_;
    ScopedEnv lock_directory_{"LOCKDIR", dir_.path().c_str()};
    std::mt19937 random_{20240607};
};

TEST_F(LockProcesses, TableIsEmptyBeforeTheFirstLockAndHas80SlotsWith17) {
    FILE *const pipe = ::popen(VOR_LOCK_PROGRAM, "r");
    ASSERT_NE(pipe, nullptr);
    std::string output;
    for (int c = 0; (c = std::getc(pipe)) != EOF;)
        output += static_cast<char>(c);
    EXPECT_EQ(::pclose(pipe), 0);
    EXPECT_EQ(output, "untouched -1 -1 -1\n"
                      "bad name -1 -1\n"
                      "empty name -1 0 0 -1\n"
                      "16 locks 1 -1\n"
                      "17 locks 0 1 0 -1\n"
                      "again 16 3\n"
                      "given up 0 0\n");
}

TEST_F(LockProcesses, HolderKilledAtAnyMomentNeverBlocksTheNext) {
    const SharedWitness witness;
    for (int round = 0; round < 200; ++round) {
        const long before = witness->entries;
        const pid_t holder = fork_to([&] { come_and_go(witness, LONG_MAX); });
        while (witness->entries == before)
            ::sched_yield();
        sleep_at_most(500);
        witness->condemned = holder;
        ASSERT_TRUE(WIFSIGNALED(kill_and_reap(holder)));
        ASSERT_EQ(win32_lock("lock"), 0) << "round " << round;
        ASSERT_EQ(win32_islocked(0), 1);
        ASSERT_EQ(win32_unlock(0), 0);
        witness->inside = 0;
    }
    EXPECT_EQ(witness->clashes, 0);
}

TEST_F(LockProcesses, ProcessesThatComeAndGoAreNeverInsideTogether) {
    constexpr long enough = 20000;
    const SharedWitness witness;
    std::vector<pid_t> children;
    for (int i = 0; i < 4; ++i)
        children.push_back(fork_to([&] { come_and_go(witness, enough); }));
    for (const pid_t child : children)
        EXPECT_EQ(end_of(child), 0);
    EXPECT_GE(witness->entries, enough);
    EXPECT_EQ(witness->clashes, 0);
    EXPECT_EQ(win32_lock("lock"), 0);
    EXPECT_EQ(win32_unlock(0), 0);
}

TEST_F(LockProcesses, ProcessesAreNeverInsideTogetherWhileSomeAreKilled) {
    const SharedWitness witness;
    const auto start = [&] { return fork_to([&] { come_and_go(witness, LONG_MAX); }); };
    std::vector<pid_t> children;
    for (int i = 0; i < 4; ++i)
        children.push_back(start());
    for (int round = 0; round < 200; ++round) {
        const long before = witness->entries;
        const auto patience = std::chrono::steady_clock::now() + std::chrono::seconds(5);
        while (witness->entries < before + 20 && std::chrono::steady_clock::now() < patience)
            ::usleep(200);
        ASSERT_GE(witness->entries, before + 20) << "nobody gets in any more, round " << round;
        sleep_at_most(300);
        pid_t &victim = children[random_() % children.size()];
        witness->condemned = victim;
        EXPECT_TRUE(WIFSIGNALED(kill_and_reap(victim)));
        victim = start();
    }
    witness->over = true;
    for (const pid_t child : children)
        EXPECT_EQ(end_of(child), 0);
    EXPECT_EQ(witness->clashes, 0);
    EXPECT_EQ(win32_lock("lock"), 0);
    EXPECT_EQ(win32_unlock(0), 0);
}

// A lock that is no lock must be caught, or the tests above say nothing.
TEST_F(LockProcesses, WitnessSeesTwoInside) {
    const SharedWitness witness;
    witness->enter();
    EXPECT_EQ(end_of(fork_to([&] {
                  witness->enter();
                  witness->leave();
              })),
              0);
    EXPECT_EQ(witness->clashes, 1);
    witness->leave();
    EXPECT_EQ(witness->clashes, 2);
}

TEST_F(LockProcesses, ChildThatOutlivesAKilledHolderDoesNotKeepTheLock) {
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    const pid_t holder = fork_to([&] {
        if (win32_lock("lock") != 0) return;
        fork_to([&] {
            const pid_t own = ::getpid();
            if (::write(ends[1], &own, sizeof own) == sizeof own) ::sleep(20);
        });
        ::pause();
    });
    pid_t grandchild = 0;
    ASSERT_EQ(::read(ends[0], &grandchild, sizeof grandchild), ssize_t{sizeof grandchild});
    EXPECT_EQ(win32_lock("lock"), -1);
    EXPECT_TRUE(WIFSIGNALED(kill_and_reap(holder)));
    EXPECT_EQ(win32_lock("lock"), 0);
    EXPECT_EQ(win32_unlock(0), 0);
    EXPECT_EQ(::kill(grandchild, SIGKILL), 0) << "it was there all the time";
    ::close(ends[0]);
    ::close(ends[1]);
}

TEST_F(LockProcesses, DeletedFileLetsNobodyHoldTheOldOne) {
    // The one that opened the old file before its release must not take it for the lock.
    for (int round = 0; round < 200; ++round) {
        const SharedWitness witness;
        const pid_t first = fork_to([&] { come_and_go(witness, 20); });
        const pid_t second = fork_to([&] { come_and_go(witness, 20); });
        ASSERT_EQ(end_of(first), 0);
        ASSERT_EQ(end_of(second), 0);
        ASSERT_EQ(witness->clashes, 0) << "round " << round;
        ASSERT_NE(::access(dir_.file("lock").c_str(), F_OK), 0) << "round " << round;
    }
}

// Mounts a volume of one page and few files on the directory, for this process alone.
bool mount_small_volume(const std::string &directory) {
    return ::unshare(CLONE_NEWNS) == 0 &&
           ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           ::mount("none", directory.c_str(), "tmpfs", 0, "size=4k,nr_inodes=3") == 0;
}

TEST_F(LockProcesses, FullVolumeRefusesANewFileAndLetsAnOldOneBeHeld) {
    const std::string results = in_child([&]() -> std::string {
        if (!mount_small_volume(dir_.path())) return "not allowed";
        FILE *const filler = std::fopen(dir_.file("filler").c_str(), "w");
        if (!filler) return "no filler";
        for (int i = 0; i < 4096; ++i)
            std::putc('x', filler);
        std::fclose(filler);
        // Room for one more file, and for none of its bytes.
        std::vector<int32_t> found = {win32_lock("held"), win32_lock("refused")};
        const std::string elsewhere = in_child([] { return std::to_string(win32_lock("held")); });
        found.push_back(win32_unlock(0));
        found.push_back(win32_lock("now"));
        std::string text = elsewhere + ":";
        for (const int32_t result : found)
            text += " " + std::to_string(result);
        return text;
    });
    if (results == "not allowed") GTEST_SKIP() << "no right to mount a volume";
    EXPECT_EQ(results, "-1: 0 -1 0 0");
}

} // namespace
