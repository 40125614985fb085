// Hears the lines of the log in the place of the standard error stream. They go to the
// process's own log file as well, which is open before a test begins.
#ifndef VOR_TESTS_LOG_HEARER_H
#define VOR_TESTS_LOG_HEARER_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "runtime/log.h"

namespace vor::test {

using Texts = std::vector<std::string>;

class LogHearer : public ::testing::Test {
public:
    // The lines since the last call, "[Error]: text" each.
    static Texts take_log() {
        Texts lines;
        lines.swap(heard());
        return lines;
    }

protected:
    void SetUp() override {
        logmesg_set_hook(hear);
        logmesg(LOGMESG_INFO, "%s", "a test begins");
        heard().clear();
    }
    void TearDown() override { logmesg_set_hook(nullptr); }

private:
    static Texts &heard() {
        static Texts lines;
        return lines;
    }
    static void hear(const char *line) {
        const std::string text = line;
        const size_t at = text.find('[');
        heard().push_back(text.substr(at, text.size() - at - 1));
    }
};

} // namespace vor::test

#endif
