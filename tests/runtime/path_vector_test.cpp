#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/kel.h"
#include "runtime/owned_path_vector.h"
#include "runtime/path_search.h"
#include "support/byte_file.h"
#include "support/failing_malloc.h"
#include "support/temp_dir.h"

namespace {

using vor::owned_path_vector;
using vor::test::FailingMalloc;
using vor::test::TempDir;
using vor::test::write_text;

using Texts = std::vector<std::string>;

owned_path_vector build(const std::string &text, int32_t flags = 0, char separator = 0) {
    return owned_path_vector(build_pv(text.c_str(), flags, separator));
}

Texts texts_of(const owned_path_vector &vector) {
    Texts texts;
    for (int32_t i = 0; i < vector->count; ++i)
        texts.emplace_back(vector->entries[i].text);
    return texts;
}

TEST(PathVector, EmptyTextHasNoEntries) {
    const owned_path_vector vector = build("");
    ASSERT_NE(vector, nullptr);
    EXPECT_EQ(vector->count, 0);
    EXPECT_EQ(build("", PV_DOT | PV_MTIME)->count, 0);
}

TEST(PathVector, DestroyTakesNull) {
    destroy_pv(nullptr);
    SUCCEED();
}

TEST(PathVector, ListIsTakenApart) {
    struct Case {
        const char *text;
        Texts texts;
    };
    const std::vector<Case> cases = {
        {"one", {"one"}},
        {"one:two", {"one", "two"}},
        {":", {""}},
        {"one:", {"one"}},
        {"::", {"", ""}},
        {":.vor", {"", ".vor"}},
        {":.vor:.kel", {"", ".vor", ".kel"}},
        {"one::two::", {"one", "", "two", ""}},
        {" one ;two: three", {" one ;two", " three"}},
    };
    for (const Case &c : cases)
        EXPECT_EQ(texts_of(build(c.text)), c.texts) << c.text;
}

TEST(PathVector, SeparatorIsTheCallersOrAColon) {
    EXPECT_EQ(texts_of(build("a:b;c", 0, ';')), (Texts{"a:b", "c"}));
    EXPECT_EQ(texts_of(build("a:b;c", 0, ':')), (Texts{"a", "b;c"}));
    EXPECT_EQ(texts_of(build("a\xE4"
                             "b",
                             0, '\xE4')),
              (Texts{"a", "b"}));
}

TEST(PathVector, EmptyElementBecomesADotWhenAskedFor) {
    EXPECT_EQ(texts_of(build(":lib::", PV_DOT)), (Texts{".", "lib", "."}));
    EXPECT_EQ(texts_of(build(":lib", PV_MTIME)), (Texts{"", "lib"}));
}

TEST(PathVector, EntriesAreTheirOwn) {
    std::string text = "one:two";
    const owned_path_vector vector = build(text);
    text.assign(text.size(), 'x');
    vector->entries[0].text[0] = 'O';
    EXPECT_EQ(texts_of(vector), (Texts{"One", "two"}));
}

TEST(PathVector, ListOfAnyLengthIsHeld) {
    for (const int32_t count : {39, 40, 41, 296, 297, 1000}) {
        std::string text;
        Texts texts;
        for (int32_t i = 0; i < count; ++i) {
            texts.push_back("e" + std::to_string(i));
            text += texts.back() + ":";
        }
        EXPECT_EQ(texts_of(build(text)), texts);
    }
}

class PathVectorTimes : public ::testing::Test {
protected:
    void SetUp() override {
        for (const char *name : {"first", "last"}) {
            write_text(dir_.file(name), "");
            ASSERT_EQ(kel_utime(dir_.file(name).c_str(), 1000, 1234567890), 0);
        }
    }
    int32_t time_of(const std::string &name, int64_t mtime) const {
        EXPECT_EQ(kel_utime(dir_.file(name).c_str(), 0, mtime), 0);
        return build(dir_.file(name), PV_MTIME)->entries[0].mtime;
    }
    const TempDir dir_;
};

TEST_F(PathVectorTimes, TimeIsFilledInWhenAskedFor) {
    EXPECT_EQ(build(dir_.file("last"), PV_MTIME)->entries[0].mtime, 1234567890);
    EXPECT_EQ(build(dir_.file("last"))->entries[0].mtime, 0);
    EXPECT_EQ(build(dir_.file("last"), PV_DOT)->entries[0].mtime, 0);
    EXPECT_EQ(build(dir_.file("none"), PV_MTIME)->entries[0].mtime, 0);
    EXPECT_NE(build(dir_.path(), PV_MTIME)->entries[0].mtime, 0) << "a directory has a time too";
}

TEST_F(PathVectorTimes, OnlyTheLastElementCanHaveATime) {
    const std::string list = dir_.file("first") + ":" + dir_.file("last");
    const owned_path_vector vector = build(list, PV_MTIME);
    ASSERT_EQ(vector->count, 2);
    EXPECT_EQ(vector->entries[0].mtime, 0);
    EXPECT_EQ(vector->entries[1].mtime, 1234567890);
    EXPECT_EQ(build(dir_.file("last") + ":", PV_MTIME)->entries[0].mtime, 0)
        << "the separator is part of the name that is looked at";
}

TEST_F(PathVectorTimes, RestOfTheListIsTheNameLookedAt) {
    // A file whose name holds the separator.
    write_text(dir_.file("first:last"), "");
    ASSERT_EQ(kel_utime(dir_.file("first:last").c_str(), 0, 77), 0);
    const owned_path_vector vector = build(dir_.file("first:last"), PV_MTIME);
    EXPECT_EQ(vector->entries[0].mtime, 77);
    EXPECT_EQ(vector->entries[1].mtime, 0);
}

TEST_F(PathVectorTimes, TimeBeyond32BitsIsTheNearest) {
    EXPECT_EQ(time_of("last", INT32_MAX), INT32_MAX);
    EXPECT_EQ(time_of("last", int64_t{1} << 32), INT32_MAX);
}

TEST(PathVector, WithoutMemoryNothingIsLeft) {
    std::string text = "::one:";
    for (int32_t i = 0; i < 45; ++i)
        text += "e:";
    long failures = 0;
    for (long nth = 1;; ++nth) {
        const FailingMalloc failing(nth);
        path_vector *const vector = build_pv(text.c_str(), PV_DOT, ':');
        if (!failing.reached()) {
            destroy_pv(vector);
            break;
        }
        EXPECT_EQ(vector, nullptr) << nth;
        ++failures;
    }
    EXPECT_EQ(failures, 1 + 48 + 1) << "the vector, its texts, and its growth";
}

} // namespace
