// When a large log is moved out of the way, and when it is not.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "runtime/log.h"
#include "runtime/log_home.h"
#include "support/byte_file.h"
#include "support/scoped_env.h"

namespace {

namespace fs = std::filesystem;
using vor::test::log_text;
using vor::test::read_text;
using vor::test::ScopedEnv;
using vor::test::texts_of;
using vor::test::write_text;

constexpr uintmax_t default_limit = 16777216;

class LogRotation : public vor::test::LogHome {
protected:
    void make_log(uintmax_t size) const {
        write_text(log_, "old ");
        fs::resize_file(log_, size);
    }
    // "rotated" if the old log of that size is the old generation, "kept" if it stands.
    std::string fate_of_log(uintmax_t size) const {
        if (fs::exists(old_)) return fs::file_size(old_) == size ? "rotated" : "mixed";
        return fs::file_size(log_) > size || read_text(log_).rfind("old ", 0) == 0 ? "kept"
                                                                                   : "lost";
    }
};

TEST_F(LogRotation, FirstProcessMovesALargeLogAway) {
    const ScopedEnv limit("MESGLOG_SIZE", nullptr);
    make_log(default_limit);
    in_process([] { log_text("new"); });
    EXPECT_EQ(fate_of_log(default_limit), "rotated");
    EXPECT_EQ(logged(), "new ");
}

TEST_F(LogRotation, FirstProcessAppendsToALogOneByteSmaller) {
    const ScopedEnv limit("MESGLOG_SIZE", nullptr);
    make_log(default_limit - 1);
    in_process([] { log_text("new"); });
    EXPECT_EQ(fate_of_log(default_limit - 1), "kept");
    EXPECT_GT(fs::file_size(log_), default_limit - 1);
}

TEST_F(LogRotation, LimitComesFromTheEnvironmentIfItBeginsWithADigit) {
    struct Row {
        const char *value;
        uintmax_t limit; // 0: none
    };
    constexpr Row rows[] = {{"100", 100},
                            {"100k", 100},
                            {"0100", 100},
                            {"0", 0},
                            {"0x100", 0},
                            {"abc", default_limit},
                            {"", default_limit},
                            {" 100", default_limit},
                            {"-1", default_limit},
                            {"+100", default_limit},
                            {"99999999999999", INT32_MAX}};
    for (const Row &row : rows) {
        const ScopedEnv limit("MESGLOG_SIZE", row.value);
        const uintmax_t enough = row.limit ? row.limit : default_limit * 2;
        clear();
        make_log(enough);
        in_process([] { log_text("new"); });
        EXPECT_EQ(fate_of_log(enough), row.limit ? "rotated" : "kept") << row.value;
        if (!row.limit) continue;
        clear();
        make_log(row.limit - 1);
        in_process([] { log_text("new"); });
        EXPECT_EQ(fs::exists(old_), false) << row.value;
    }
}

TEST_F(LogRotation, FirstProcessMayNameItselfBefore) {
    const ScopedEnv limit("MESGLOG_SIZE", "100");
    make_log(200);
    in_process([] {
        logmesg_set_program("prog");
        log_text("new");
    });
    EXPECT_EQ(fate_of_log(200), "rotated");
}

TEST_F(LogRotation, SecondProcessDoesNotRotateWhateverTheSize) {
    const ScopedEnv limit("MESGLOG_SIZE", "100");
    make_log(200);
    in_second_process([] { log_text("new"); });
    EXPECT_EQ(fate_of_log(200), "kept");
}

TEST_F(LogRotation, SecondProcessDoesNotRotateAfterNamingItselfEither) {
    const ScopedEnv limit("MESGLOG_SIZE", "100");
    make_log(200);
    in_second_process([] {
        logmesg_set_program("prog");
        log_text("new");
    });
    EXPECT_EQ(fate_of_log(200), "kept");
}

TEST_F(LogRotation, ProcessWithoutTheMutexDoesNotRotateByItself) {
    const ScopedEnv limit("MESGLOG_SIZE", "100");
    make_log(200);
    fs::create_directory(dir_.file("KEL_LOGGER_MUTEX"));
    in_process([] {
        log_text("new");
        log_text("newer");
    });
    EXPECT_EQ(fate_of_log(200), "kept");
}

TEST_F(LogRotation, IsNotRotatedWhileItIsOpen) {
    const ScopedEnv limit("MESGLOG_SIZE", "100");
    in_process([] {
        for (int i = 0; i < 10; ++i)
            log_text("line");
    });
    EXPECT_FALSE(fs::exists(old_));
    EXPECT_GT(fs::file_size(log_), 200u);
}

TEST_F(LogRotation, NamingItAgainHasItsSizeLookedAt) {
    const ScopedEnv limit("MESGLOG_SIZE", "100");
    for (const bool second : {false, true}) {
        clear();
        const auto code = [] {
            for (int i = 0; i < 10; ++i)
                log_text("line");
            logmesg_set_file("mesg.log");
            log_text("new");
        };
        if (second) {
            in_second_process(code);
        } else {
            in_process(code);
        }
        EXPECT_TRUE(fs::exists(old_)) << second;
        EXPECT_EQ(logged(), "new ") << second;
    }
}

TEST_F(LogRotation, NamingItInTheCallThatFindsTheMutexDoesNotRotate) {
    const ScopedEnv limit("MESGLOG_SIZE", "100");
    make_log(200);
    in_second_process([] {
        logmesg_set_file(nullptr);
        log_text("new");
    });
    EXPECT_EQ(fate_of_log(200), "kept");
    in_process([] { logmesg_set_file(nullptr); });
    EXPECT_TRUE(fs::exists(old_));
}

TEST_F(LogRotation, ThereIsOneOldGeneration) {
    const ScopedEnv limit("MESGLOG_SIZE", "1");
    for (const char *const text : {"one", "two", "three"})
        in_process([&] { log_text(text); });
    EXPECT_EQ(texts_of(read_text(old_)), "two ");
    EXPECT_EQ(logged(), "three ");
    EXPECT_EQ(std::distance(fs::directory_iterator(home_), fs::directory_iterator()), 2);
}

TEST_F(LogRotation, OldGenerationThatCannotGoLeavesTheLogInPlace) {
    const ScopedEnv limit("MESGLOG_SIZE", "100");
    make_log(200);
    fs::create_directory(old_);
    in_process([] { log_text("new"); });
    EXPECT_TRUE(fs::is_directory(old_));
    EXPECT_GT(fs::file_size(log_), 200u);
}

} // namespace
