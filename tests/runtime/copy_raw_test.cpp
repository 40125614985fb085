#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <filesystem>
#include <string>

#include "platform/kel.h"
#include "runtime/backup.h"
#include "support/byte_file.h"
#include "support/directory.h"
#include "support/failing_malloc.h"
#include "support/in_child.h"
#include "support/interrupted_calls.h"
#include "support/temp_dir.h"

namespace {

using vor::test::Contents;
using vor::test::contents_of;
using vor::test::FailingMalloc;
using vor::test::FileCall;
using vor::test::in_child;
using vor::test::InterruptedCall;
using vor::test::Interruption;
using vor::test::read_text;
using vor::test::run_in_child;
using vor::test::set_contents;
using vor::test::TempDir;
using vor::test::write_text;

constexpr int64_t old_time = 1000000000;

std::string pattern(size_t size) {
    std::string text(size, 0);
    for (size_t i = 0; i < size; ++i)
        text[i] = static_cast<char>(i * 7 + i / 256);
    return text;
}

kel_stat_t status_of(const std::string &name) {
    kel_stat_t status = {};
    EXPECT_EQ(kel_stat(name.c_str(), &status), 0);
    return status;
}

class CopyRaw : public ::testing::Test {
protected:
    void SetUp() override {
        old_mask_ = ::umask(022);
        write_text(from_, "content");
    }
    void TearDown() override { ::umask(old_mask_); }

    int32_t copy(int32_t keep_times = 0) { return copyraw(from_.c_str(), to_.c_str(), keep_times); }
    Contents contents() const { return contents_of(dir_.path()); }

    TempDir dir_;
    std::string from_ = dir_.file("from");
    std::string to_ = dir_.file("to");

private:
    mode_t old_mask_ = 0;
};

TEST_F(CopyRaw, CopiesFilesOfEverySizeAroundABlock) {
    for (const size_t size : {0u, 1u, 8191u, 8192u, 8193u, 16384u, 100000u}) {
        const std::string text = pattern(size);
        write_text(from_, text);
        EXPECT_EQ(copy(), 0) << size;
        EXPECT_EQ(contents(), (Contents{{"from", text}, {"to", text}})) << size;
    }
}

TEST_F(CopyRaw, ReplacesALongerFile) {
    write_text(to_, pattern(9000));
    EXPECT_EQ(copy(), 0);
    EXPECT_EQ(read_text(to_), "content");
}

TEST_F(CopyRaw, ReplacesAReadOnlyFile) {
    write_text(to_, "old");
    ::chmod(to_.c_str(), 0444);
    EXPECT_EQ(copy(), 0);
    EXPECT_EQ(read_text(to_), "content");
}

TEST_F(CopyRaw, ReplacesALinkAndNotWhatItLeadsTo) {
    write_text(dir_.file("elsewhere"), "other");
    std::filesystem::create_symlink(dir_.file("elsewhere"), to_);
    EXPECT_EQ(copy(), 0);
    EXPECT_EQ(read_text(to_), "content");
    EXPECT_EQ(read_text(dir_.file("elsewhere")), "other");
}

TEST_F(CopyRaw, FileCopiedOntoItselfStays) {
    EXPECT_EQ(copyraw(from_.c_str(), from_.c_str(), 1), 0);
    EXPECT_EQ(contents(), (Contents{{"from", "content"}}));
}

TEST_F(CopyRaw, TargetWithoutADirectoryLiesInTheCurrentOne) {
    const std::filesystem::path old = std::filesystem::current_path();
    std::filesystem::current_path(dir_.path());
    EXPECT_EQ(copyraw("from", "to", 0), 0);
    std::filesystem::current_path(old);
    EXPECT_EQ(read_text(to_), "content");
}

TEST_F(CopyRaw, KeepsTimesAndPermissionsIfAsked) {
    ::chmod(from_.c_str(), 04751);
    ASSERT_EQ(kel_utime(from_.c_str(), old_time, old_time + 5), 0);
    EXPECT_EQ(copy(1), 0);
    const kel_stat_t status = status_of(to_);
    EXPECT_EQ(status.atime, old_time);
    EXPECT_EQ(status.mtime, old_time + 5);
    EXPECT_EQ(status.mode & 07777u, 04751u);
}

TEST_F(CopyRaw, OtherwiseIsAFileLikeAnyNewOne) {
    ::chmod(from_.c_str(), 0751);
    ASSERT_EQ(kel_utime(from_.c_str(), old_time, old_time), 0);
    write_text(to_, "old");
    ::chmod(to_.c_str(), 0600);
    EXPECT_EQ(copy(0), 0);
    const kel_stat_t status = status_of(to_);
    EXPECT_GT(status.mtime, old_time);
    EXPECT_EQ(status.mode & 07777u, 0644u);
}

TEST_F(CopyRaw, SourceWithoutAStatusIsTakenForANewOne) {
    ::chmod(from_.c_str(), 0600);
    ASSERT_EQ(kel_utime(from_.c_str(), old_time, old_time), 0);
    const int64_t before = std::time(nullptr) - 1;
    {
        const InterruptedCall interrupted(FileCall::stat, 1);
        EXPECT_EQ(copy(1), 0);
        EXPECT_TRUE(interrupted.reached());
    }
    const kel_stat_t status = status_of(to_);
    EXPECT_GE(status.mtime, before);
    EXPECT_GE(status.atime, before);
    EXPECT_EQ(status.mode & 07777u, 0666u);
}

TEST_F(CopyRaw, TimesAndPermissionsThatCannotBeSetAreNoFailure) {
    for (const FileCall call : {FileCall::utime, FileCall::chmod}) {
        const InterruptedCall interrupted(call, 1);
        EXPECT_EQ(copy(1), 0);
        EXPECT_TRUE(interrupted.reached());
        EXPECT_EQ(read_text(to_), "content");
    }
}

TEST_F(CopyRaw, SourceThatCannotBeOpenedLeavesTheTarget) {
    write_text(to_, "old");
    const std::string missing = dir_.file("missing");
    EXPECT_EQ(copyraw(missing.c_str(), to_.c_str(), 0), -1);
    EXPECT_EQ(copyraw(dir_.path().c_str(), to_.c_str(), 0), -1);
    EXPECT_EQ(copyraw("", to_.c_str(), 0), -1);
    EXPECT_EQ(contents(), (Contents{{"from", "content"}, {"to", "old"}}));
}

TEST_F(CopyRaw, TargetThatCannotBeMadeFails) {
    const Contents before = contents();
    const std::string targets[] = {dir_.file("missing/to"), dir_.path(), "",
                                   dir_.file(std::string(300, 'a')),
                                   dir_.path() + std::string(1100, '/') + "to"};
    for (const std::string &target : targets) {
        EXPECT_EQ(copyraw(from_.c_str(), target.c_str(), 0), -1) << target;
        EXPECT_EQ(contents(), before) << target;
    }
}

TEST_F(CopyRaw, ErrorOfReadingOrWritingDeletesTheTarget) {
    write_text(from_, pattern(20000));
    const std::pair<FileCall, long> errors[] = {{FileCall::read, 1},
                                                {FileCall::read, 3},
                                                {FileCall::write, 1},
                                                {FileCall::write, 3},
                                                {FileCall::close, 1}};
    for (const auto &[call, nth] : errors) {
        write_text(to_, "old");
        const InterruptedCall interrupted(call, nth);
        EXPECT_EQ(copy(), -1) << nth;
        EXPECT_TRUE(interrupted.reached());
        EXPECT_EQ(contents(), (Contents{{"from", pattern(20000)}})) << nth;
    }
}

TEST_F(CopyRaw, ShortWriteIsAnError) {
    write_text(from_, pattern(20000));
    EXPECT_EQ(in_child([&] {
                  ::signal(SIGXFSZ, SIG_IGN);
                  rlimit limit = {10000, 10000};
                  ::setrlimit(RLIMIT_FSIZE, &limit);
                  return std::to_string(copy());
              }),
              "-1");
    EXPECT_EQ(contents(), (Contents{{"from", pattern(20000)}}));
}

TEST_F(CopyRaw, OutOfMemoryLeavesTheTarget) {
    write_text(to_, "old");
    const FailingMalloc failing(1);
    EXPECT_EQ(copy(), -1);
    EXPECT_TRUE(failing.reached());
    EXPECT_EQ(contents(), (Contents{{"from", "content"}, {"to", "old"}}));
}

TEST_F(CopyRaw, EachCallThatFailsLeavesNothingBehind) {
    for (long nth = 1;; ++nth) {
        set_contents(dir_.path(), {{"from", "content"}, {"to", "old"}});
        const InterruptedCall interrupted(FileCall::any, nth);
        const int32_t result = copy(1);
        if (!interrupted.reached()) break;
        Contents after = contents();
        EXPECT_EQ(after["from"], "content") << nth;
        if (result == 0) {
            EXPECT_EQ(after["to"], "content") << nth;
        } else {
            EXPECT_TRUE(after.count("to") == 0 || after["to"] == "old") << nth;
        }
        after.erase("from");
        after.erase("to");
        EXPECT_EQ(after, Contents{}) << nth;
        ASSERT_LT(nth, 100);
    }
}

// The files that copies grow in, after a process has died.
std::string drafts(const Contents &contents) {
    std::string names;
    for (const auto &[name, content] : contents)
        if (name.starts_with(".~")) names += name;
    return names;
}

TEST_F(CopyRaw, TargetIsWholeWheneverTheProcessDies) {
    const std::string text = pattern(20000);
    long deaths = 0;
    for (;; ++deaths) {
        set_contents(dir_.path(), {{"from", text}, {"to", "old"}});
        ::chmod(from_.c_str(), 0600);
        const int status =
            run_in_child([&] {
                const InterruptedCall interrupted(FileCall::any, deaths + 1, Interruption::death);
                return std::to_string(copy(1));
            }).status;
        Contents after = contents();
        EXPECT_EQ(after["from"], text) << deaths;
        if (status == 0) break;
        ASSERT_EQ(WEXITSTATUS(status), vor::test::interrupted_exit_code);
        EXPECT_TRUE(after["to"] == "old" || after["to"] == text) << deaths;
        if (const std::string draft = drafts(after); !draft.empty()) {
            EXPECT_EQ(status_of(dir_.file(draft)).mode & 077u, 0u) << "all may read it";
        }
        ASSERT_LT(deaths, 100);
    }
    EXPECT_EQ(contents(), (Contents{{"from", text}, {"to", text}}));
    EXPECT_GT(deaths, 10);
}

TEST_F(CopyRaw, WhatADeadProcessLeftBehindIsNoHindrance) {
    const std::string prefix = dir_.file(".~" + std::to_string(::getpid()) + ".");
    write_text(prefix + "0~", "left");
    write_text(prefix + "1~", "left");
    EXPECT_EQ(copy(), 0);
    EXPECT_EQ(read_text(to_), "content");
    EXPECT_EQ(read_text(prefix + "0~"), "left");
    EXPECT_EQ(contents().size(), 4u);
}

} // namespace
