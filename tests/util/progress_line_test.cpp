#include <gtest/gtest.h>

#include <ctime>
#include <string>

#include "platform/kel.h"
#include "support/capture.h"
#include "support/comma_locale.h"
#include "util/services.h"

namespace {

using vor::test::captured_stderr;

// Ends any line that a test has left.
class Progress : public ::testing::Test {
protected:
    void TearDown() override {
        captured_stderr([] { tty_simple_progress(INT64_MAX); });
    }
};

TEST_F(Progress, BeforeAStartIsRefusedInSilence) {
    int64_t result = 0;
    EXPECT_EQ(captured_stderr([&] { result = tty_simple_progress(5); }), "");
    EXPECT_EQ(result, -1);
    EXPECT_EQ(tty_simple_progress(0), -1);
}

TEST_F(Progress, StartPrintsNothingDoneAndGivesTheTime) {
    int64_t result = 0;
    const std::time_t before = std::time(nullptr);
    EXPECT_EQ(captured_stderr([&] { result = tty_simple_progress(-200); }), "\r  0.00% ");
    EXPECT_GE(result, before - 1);
    EXPECT_LE(result, std::time(nullptr) + 1);
}

TEST_F(Progress, BelowTheTotalPrintsThePercentage) {
    struct Row {
        int64_t value;
        const char *text;
    };
    captured_stderr([] { tty_simple_progress(-300); });
    for (const Row &row :
         {Row{0, "\r  0.00%"}, Row{1, "\r  0.33%"}, Row{50, "\r 16.67%"}, Row{299, "\r 99.67%"}}) {
        int64_t result = -2;
        EXPECT_EQ(captured_stderr([&] { result = tty_simple_progress(row.value); }), row.text);
        EXPECT_EQ(result, 0);
    }
}

TEST_F(Progress, PercentageHasAPointInEveryLocale) {
    const vor::test::CommaLocale comma;
    captured_stderr([] { tty_simple_progress(-2); });
    EXPECT_EQ(captured_stderr([] { tty_simple_progress(1); }), "\r 50.00%");
}

TEST_F(Progress, TotalsBeyond32BitsKeepTheirPercentage) {
    captured_stderr([] { tty_simple_progress(-(int64_t{1} << 40)); });
    EXPECT_EQ(captured_stderr([] { tty_simple_progress(int64_t{1} << 39); }), "\r 50.00%");
    captured_stderr([] { tty_simple_progress(INT64_MIN); });
    EXPECT_EQ(captured_stderr([] { tty_simple_progress(int64_t{1} << 62); }), "\r 50.00%");
}

TEST_F(Progress, AtTheTotalPrintsTheTimeAndEndsTheLine) {
    captured_stderr([] { tty_simple_progress(-200); });
    kel_sleep(1);
    int64_t result = -2;
    const std::string text = captured_stderr([&] { result = tty_simple_progress(200); });
    EXPECT_GE(result, 1);
    EXPECT_LT(result, 10);
    EXPECT_EQ(text, "\r100.00% -- 0 min 0" + std::to_string(result) + " sec\n");
    EXPECT_EQ(tty_simple_progress(5), -1);
}

TEST_F(Progress, BeyondTheTotalEndsTheLineToo) {
    captured_stderr([] { tty_simple_progress(-200); });
    const std::string text = captured_stderr([] { EXPECT_GE(tty_simple_progress(201), 0); });
    EXPECT_EQ(text.rfind("\r100.00% -- 0 min 0", 0), 0u);
    EXPECT_EQ(tty_simple_progress(0), -1);
}

TEST_F(Progress, AnotherStartBeginsAnew) {
    captured_stderr([] { tty_simple_progress(-10); });
    captured_stderr([] { tty_simple_progress(-1000); });
    EXPECT_EQ(captured_stderr([] { tty_simple_progress(10); }), "\r  1.00%");
}

} // namespace
