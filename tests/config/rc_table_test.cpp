#include "config/rc_table.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "config/rc_fixture.h"
#include "support/capture.h"
#include "support/failing_malloc.h"

namespace {

using vor::test::captured_stderr;
using vor::test::FailingMalloc;
using vor::test::ScopedEnv;
using vor::test::Texts;

class RcTable : public vor::test::RcTest {
protected:
    rc_entry_t entry_ = {RC_ENTRY_SIZE, 0, 0, nullptr, nullptr};

    // Reads a text without the memory to sort its entries, which is the last that is asked for.
    void read_unsorted(const std::string &text) {
        write(".gravurrc", text);
        int32_t result = -1;
        bool sorted = false;
        for (long n = 1; result != 0 || sorted; ++n) {
            ASSERT_LT(n, 2000);
            captured_stderr([&] {
                const FailingMalloc failing(n);
                result = readrcfile(nullptr, 0);
                ASSERT_TRUE(failing.reached());
            });
            entry_ = {RC_ENTRY_SIZE, 0, 0, "", nullptr};
            sorted = rc_entry(&entry_, RC_ENTRY_FIND) == 0;
        }
        entry_ = {RC_ENTRY_SIZE, 0, 0, nullptr, nullptr};
    }
};

// ---- the lookup ----

TEST_F(RcTable, NoKeyIsNotFound) {
    ASSERT_EQ(read("A=1\n"), 0);
    EXPECT_EQ(vor::rchash_find(nullptr), nullptr);
    EXPECT_EQ(vor::rchash_find(""), nullptr);
    EXPECT_EQ(rc_strval(nullptr), nullptr);
    EXPECT_EQ(rc_strval(""), nullptr);
}

TEST_F(RcTable, KeysOfTheSameLettersAreToldApart) {
    ASSERT_EQ(read("ABC=1\nACB=2\nBCA=3\nCBA=4\nABCD=5\n"), 0);
    EXPECT_STREQ(vor::rchash_find("ABC"), "1");
    EXPECT_STREQ(vor::rchash_find("ACB"), "2");
    EXPECT_STREQ(vor::rchash_find("BCA"), "3");
    EXPECT_STREQ(vor::rchash_find("CBA"), "4");
    EXPECT_STREQ(vor::rchash_find("ABCD"), "5");
    EXPECT_EQ(vor::rchash_find("AB"), nullptr);
    EXPECT_EQ(vor::rchash_find("CAB"), nullptr);
}

TEST_F(RcTable, ThousandsOfKeysAreFound) {
    constexpr int count = 5000;
    std::string text;
    for (int i = 0; i < count; ++i)
        text += "K" + std::to_string(i) + "=v" + std::to_string(i) + "\n";
    ASSERT_EQ(read(text), 0);
    for (int i = 0; i < count; ++i)
        EXPECT_EQ(rc_strval(("K" + std::to_string(i)).c_str()), "v" + std::to_string(i));
    EXPECT_EQ(rc_strval("K5000"), nullptr);
    EXPECT_EQ(table().size(), size_t{count});
}

TEST_F(RcTable, TextsStayWhereTheyAreWhileOthersAreMergedIn) {
    ASSERT_EQ(read("A=1\n"), 0);
    const char *const value = rc_strval("A");
    std::string text;
    for (int i = 0; i < 1000; ++i)
        text += "K" + std::to_string(i) + "=1\n";
    ASSERT_EQ(read(text, RCF_KEEP), 0);
    EXPECT_EQ(rc_strval("A"), value);
}

// ---- rc_entry ----

TEST_F(RcTable, RecordOfAnotherSizeIsRefused) {
    ASSERT_EQ(read("A=1\n"), 0);
    for (const uint32_t size : {0u, 19u, 21u, 32u}) {
        rc_entry_t entry = {size, 0, 0, nullptr, nullptr};
        for (const int32_t mode : {0 + RC_ENTRY_NEXT, 0 + RC_ENTRY_COUNT, 0 + RC_ENTRY_FIND, 7}) {
            EXPECT_EQ(rc_entry(&entry, mode), -1);
            EXPECT_EQ(take_log(), (Texts{"[Warning]: rc_entry(): bad magic"}));
            EXPECT_EQ(entry.index, 0);
        }
    }
}

TEST_F(RcTable, CheckWordIsTwenty) {
    EXPECT_EQ(RC_ENTRY_SIZE, 20);
}

TEST_F(RcTable, CountClearsTheRest) {
    ASSERT_EQ(read("A=1\nB=2\nC=3\n"), 0);
    entry_ = {RC_ENTRY_SIZE, 17, 5, "key", "value"};
    EXPECT_EQ(rc_entry(&entry_, RC_ENTRY_COUNT), 0);
    EXPECT_EQ(entry_.index, 3);
    EXPECT_EQ(entry_.flags, 0u);
    EXPECT_EQ(entry_.key, nullptr);
    EXPECT_EQ(entry_.value, nullptr);
    EXPECT_EQ(rc_entry(&entry_, RC_ENTRY_NEXT), -1) << "the index is behind the last entry";
}

TEST_F(RcTable, CountIsZeroWhileTheEnvironmentIsUsed) {
    EXPECT_EQ(rc_entry(&entry_, RC_ENTRY_COUNT), 0);
    EXPECT_EQ(entry_.index, 0);
    EXPECT_EQ(fault("A=1\n?\n"), at_line(2, "invalid rcline"));
    EXPECT_EQ(rc_entry(&entry_, RC_ENTRY_COUNT), 0);
    EXPECT_EQ(entry_.index, 0);
}

TEST_F(RcTable, WalkDeliversTheEntriesSortedByTheBytesOfTheKeys) {
    ASSERT_EQ(read("b=1\nB=2\na\xE4=3\nab=4\na=5\n_=6\n", RCF_NOFOLD), 0);
    EXPECT_EQ(table(), (Texts{"B=2", "_=6", "a=5", "ab=4", "a\xE4=3", "b=1"}));
}

TEST_F(RcTable, WalkFillsTheRecord) {
    ASSERT_EQ(read("*B:=1\nA=2\n"), 0);
    ASSERT_EQ(rc_entry(&entry_, RC_ENTRY_NEXT), 0);
    EXPECT_EQ(entry_.size, 20u);
    EXPECT_EQ(entry_.index, 1);
    EXPECT_EQ(entry_.flags, uint32_t{RCE_SET});
    EXPECT_STREQ(entry_.key, "A");
    EXPECT_STREQ(entry_.value, "2");
    ASSERT_EQ(rc_entry(&entry_, RC_ENTRY_NEXT), 0);
    EXPECT_EQ(entry_.index, 2);
    EXPECT_EQ(entry_.flags, uint32_t{RCE_SET | RCE_LOCKED | RCE_STICKY});
    EXPECT_STREQ(entry_.key, "B");
    EXPECT_EQ(entry_.value, rc_strval("B")) << "the text is the table's";
}

TEST_F(RcTable, FlagsHaveTheirNumbers) {
    ASSERT_EQ(read("*A=1\nA=2\n*B:=1\n"), 0);
    ASSERT_EQ(rc_entry(&entry_, RC_ENTRY_NEXT), 0);
    EXPECT_EQ(entry_.flags, 1u | 4 | 8);
    ASSERT_EQ(rc_entry(&entry_, RC_ENTRY_NEXT), 0);
    EXPECT_EQ(entry_.flags, 1u | 2 | 8);
}

TEST_F(RcTable, IndexOutsideTheTableLeavesTheRecordAlone) {
    ASSERT_EQ(read("A=1\n"), 0);
    for (const int32_t index : {-1, 1, INT32_MIN, INT32_MAX}) {
        for (const int32_t mode : {RC_ENTRY_NEXT, RC_ENTRY_FIND}) {
            entry_ = {RC_ENTRY_SIZE, index, 3, "A", "value"};
            EXPECT_EQ(rc_entry(&entry_, mode), -1) << index;
            EXPECT_EQ(entry_.index, index);
            EXPECT_EQ(entry_.flags, 3u);
            EXPECT_STREQ(entry_.key, "A");
            EXPECT_STREQ(entry_.value, "value");
        }
    }
    EXPECT_EQ(take_log(), Texts{});
}

TEST_F(RcTable, OtherModesAreRefused) {
    ASSERT_EQ(read("A=1\n"), 0);
    for (const int32_t mode : {-1, 3, 255})
        EXPECT_EQ(rc_entry(&entry_, mode), -1) << mode;
    EXPECT_EQ(entry_.index, 0);
}

TEST_F(RcTable, SearchFindsATextAnywhereInAKey) {
    ASSERT_EQ(read("STEP.1=a\nMOTOR.STEP=b\nGAP=c\nXSTEPS=d\n"), 0);
    Texts found;
    entry_.key = "STEP";
    while (rc_entry(&entry_, RC_ENTRY_FIND) == 0) {
        found.push_back(std::string(entry_.key) + "=" + entry_.value + " " +
                        std::to_string(entry_.index));
        entry_.key = "STEP";
    }
    EXPECT_EQ(found, (Texts{"MOTOR.STEP=b 2", "STEP.1=a 3", "XSTEPS=d 4"}));
}

TEST_F(RcTable, SearchGoesOnForTheKeyItFoundUnlessTheTextIsPutBack) {
    ASSERT_EQ(read("STEP=1\nSTEPA=2\nASTEP=3\n"), 0);
    entry_.key = "STEP";
    ASSERT_EQ(rc_entry(&entry_, RC_ENTRY_FIND), 0);
    EXPECT_STREQ(entry_.key, "ASTEP");
    EXPECT_EQ(rc_entry(&entry_, RC_ENTRY_FIND), -1);
}

TEST_F(RcTable, SearchThatFindsNothingFails) {
    ASSERT_EQ(read("STEP=1\n"), 0);
    for (const char *const text : {"step", "STEPS", "1"}) {
        entry_.key = text;
        EXPECT_EQ(rc_entry(&entry_, RC_ENTRY_FIND), -1) << text;
    }
    entry_.key = nullptr;
    EXPECT_EQ(rc_entry(&entry_, RC_ENTRY_FIND), -1);
}

TEST_F(RcTable, SearchForTheEmptyTextFindsEveryKey) {
    ASSERT_EQ(read("B=1\nA=1\n"), 0);
    entry_.key = "";
    ASSERT_EQ(rc_entry(&entry_, RC_ENTRY_FIND), 0);
    EXPECT_STREQ(entry_.key, "A");
}

TEST_F(RcTable, WithoutMemoryToSortTheWalkGoesInTheOrderOfTheFile) {
    std::string text = "Z=1\n";
    Texts expected = {"Z=1"};
    for (int i = 300; i > 0; --i) {
        const std::string line = "K" + std::to_string(i) + "=1";
        text += line + "\n";
        expected.push_back(line);
    }
    ASSERT_NO_FATAL_FAILURE(read_unsorted(text));
    EXPECT_EQ(table(), expected);
    entry_.key = "Z";
    EXPECT_EQ(rc_entry(&entry_, RC_ENTRY_FIND), -1) << "nothing can be searched";
    EXPECT_STREQ(rc_strval("K1"), "1") << "but all is found";
}

} // namespace
