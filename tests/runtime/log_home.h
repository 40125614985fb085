// Processes that log, each with a home, a log and a log mutex of the test's own.
#ifndef VOR_TESTS_LOG_HOME_H
#define VOR_TESTS_LOG_HOME_H

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <string>

#include "platform/os.h"
#include "runtime/log.h"
#include "support/byte_file.h"
#include "support/in_child.h"
#include "support/temp_dir.h"

namespace vor::test {

namespace fs = std::filesystem;

constexpr int32_t to_file = LOGMESG_NOTE | LOGMESG_NO_STDERR;

inline void log_text(const char *text) {
    logmesg(to_file, "%s", text);
}

// The texts of the lines of a log, each with a blank behind it; "torn" for a line without a prefix.
inline std::string texts_of(const std::string &log) {
    std::string texts;
    for (size_t at = 0; at < log.size();) {
        const size_t end = std::min(log.find('\n', at), log.size());
        const std::string line = log.substr(at, end - at);
        const size_t text = line.find("]: ");
        texts += (text == std::string::npos ? "torn" : line.substr(text + 3)) + " ";
        at = end + 1;
    }
    return texts;
}

class LogHome : public ::testing::Test {
protected:
    void SetUp() override { fs::create_directory(home_); }

    // Runs code in a process that has not logged before; it must end in good order.
    template <class Code>
    void in_process(Code code) const {
        EXPECT_EQ(in_child([&] {
                      ::setenv("QUORVENTAHOME", home_.c_str(), 1);
                      os::mutex_directory = dir_.path().c_str();
                      ::alarm(20); // nothing may wait for long
                      code();
                      return std::string("done");
                  }),
                  "done");
    }
    // The same while another process has the mutex, as all but the first do.
    template <class Code>
    void in_second_process(Code code) const {
        bool created = false;
        const char *const before = os::mutex_directory;
        os::mutex_directory = dir_.path().c_str();
        const os::Mutex mutex = os::open_mutex("KEL_LOGGER_MUTEX", &created);
        os::mutex_directory = before;
        ASSERT_NE(mutex, os::no_mutex);
        in_process(code);
        os::close_mutex(mutex);
    }

    void clear() const {
        fs::remove(log_);
        fs::remove(old_);
    }
    std::string logged() const { return texts_of(read_text(log_)); }

    TempDir dir_;
    std::string home_ = dir_.file("home");
    std::string log_ = home_ + "/mesg.log";
    std::string old_ = log_ + ".~";
};

} // namespace vor::test

#endif
