#include <gtest/gtest.h>

#include "support/scoped_env.h"
#include "util/services.h"

namespace {

using vor::test::ScopedEnv;

constexpr int64_t mib = 1048576;

TEST(Meminfo, WithoutTheVariableGivesTheDefault) {
    const ScopedEnv memory("MEMORY", nullptr);
    const ScopedEnv available("MEMAVAIL", nullptr);
    const ScopedEnv page("MEMPAGESIZE", nullptr);
    EXPECT_EQ(meminfo(KEL_MEM_TOTAL), 64 * mib);
    EXPECT_EQ(meminfo(KEL_MEM_AVAILABLE), 64 * mib);
    EXPECT_EQ(meminfo(KEL_MEM_FREE), 64 * mib);
    EXPECT_EQ(meminfo(KEL_MEM_PAGESIZE), 4096);
}

TEST(Meminfo, EachNumberAsksForItsVariable) {
    const ScopedEnv memory("MEMORY", "100");
    const ScopedEnv available("MEMAVAIL", "200");
    const ScopedEnv page("MEMPAGESIZE", "300");
    struct Row {
        int32_t which;
        int64_t size;
    };
    constexpr Row rows[] = {{1, 200}, {9, 200}, {2, 300}, {0, 100}, {3, 100}, {-1, 100}, {10, 100}};
    for (const Row &row : rows)
        EXPECT_EQ(meminfo(row.which), row.size) << row.which;
}

TEST(Meminfo, ReadsNumbersAndUnits) {
    struct Row {
        const char *value;
        int64_t size;
    };
    constexpr Row rows[] = {
        {"2M", 2 * mib},
        {"2m", 2 * mib},
        {"3K", 3072},
        {"3k", 3072},
        {"12345", 12345},
        {"0x10", 16},
        {"0x10k", 16384},
        {"010", 8},
        {" 7", 7},
        {"-5", -5},
        {"5G", 5},
        {"5 M", 5},
        {"5MB", 5 * mib},
        {"0", 0},
        {"abc", 64 * mib},
        {"", 64 * mib},
        {"K", 64 * mib},
        {"2047M", 2047 * mib},
        {"4096M", 4096 * mib},
        {"99999999999", INT32_MAX},
        {"99999999999M", INT32_MAX * mib},
    };
    for (const Row &row : rows) {
        const ScopedEnv available("MEMAVAIL", row.value);
        EXPECT_EQ(meminfo(1), row.size) << row.value;
    }
}

} // namespace
