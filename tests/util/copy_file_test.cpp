#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "platform/kel.h"
#include "support/byte_file.h"
#include "support/temp_dir.h"
#include "util/services.h"

namespace {

using vor::test::read_text;
using vor::test::TempDir;
using vor::test::write_text;

using Steps = std::vector<std::pair<int64_t, int64_t>>;

int32_t note_step(void *data, int64_t done, int64_t size) {
    static_cast<Steps *>(data)->emplace_back(done, size);
    return 0;
}

class CopyFile : public ::testing::Test {
protected:
    int32_t copy_of(const std::string &text, kel_progress_fn progress = nullptr,
                    void *data = nullptr) {
        write_text(from_, text);
        return fcopyfile(from_.c_str(), to_.c_str(), progress, data);
    }

    TempDir dir_;
    std::string from_ = dir_.file("from");
    std::string to_ = dir_.file("to");
};

TEST_F(CopyFile, CopiesEverySizeAroundABlock) {
    for (const size_t size : {1u, 4095u, 4096u, 4097u, 8192u, 10000u}) {
        const std::string text(size, static_cast<char>('a' + size % 26));
        EXPECT_EQ(copy_of(text), 0) << size;
        EXPECT_EQ(read_text(to_), text) << size;
    }
}

TEST_F(CopyFile, EmptyFileIsCopiedWithoutProgress) {
    Steps steps;
    EXPECT_EQ(copy_of("", note_step, &steps), 0);
    EXPECT_TRUE(steps.empty());
    EXPECT_EQ(read_text(to_), "");
}

TEST_F(CopyFile, ProgressIsToldAfterEachBlock) {
    Steps steps;
    EXPECT_EQ(copy_of(std::string(10000, 'x'), note_step, &steps), 0);
    EXPECT_EQ(steps, (Steps{{4096, 10000}, {8192, 10000}, {10000, 10000}}));
}

TEST_F(CopyFile, NegativeProgressEndsTheCopyAndLeavesAPartThere) {
    int calls = 0;
    const auto stop_at_second = [](void *data, int64_t, int64_t) -> int32_t {
        return ++*static_cast<int *>(data) == 2 ? -1 : 1;
    };
    EXPECT_EQ(copy_of(std::string(20000, 'x'), stop_at_second, &calls), -1);
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(read_text(to_).size(), 8192u);
}

TEST_F(CopyFile, TargetIsTruncated) {
    write_text(to_, std::string(100, 'o'));
    EXPECT_EQ(copy_of("new"), 0);
    EXPECT_EQ(read_text(to_), "new");
}

TEST_F(CopyFile, MissingSourceFailsAndMakesNoTarget) {
    EXPECT_EQ(fcopyfile(from_.c_str(), to_.c_str(), nullptr, nullptr), -1);
    EXPECT_EQ(kel_access(to_.c_str(), KEL_F_OK), -1);
}

TEST_F(CopyFile, TargetThatCannotBeMadeFails) {
    write_text(from_, "text");
    EXPECT_EQ(fcopyfile(from_.c_str(), dir_.file("no/to").c_str(), nullptr, nullptr), -1);
}

TEST_F(CopyFile, WriteErrorFails) {
    write_text(from_, "text");
    EXPECT_EQ(fcopyfile(from_.c_str(), "/dev/full", nullptr, nullptr), -1);
}

// Pairs of descriptors for fdcopyfile.
class CopyDescriptor : public CopyFile {
protected:
    void SetUp() override {
        write_text(from_, "0123456789");
        source_ = kel_open(from_.c_str(), KEL_O_RDWR, 0);
        target_ = kel_creat(to_.c_str(), 0666);
    }
    void TearDown() override {
        kel_close(source_);
        kel_close(target_);
    }

    int32_t source_ = -1;
    int32_t target_ = -1;
};

TEST_F(CopyDescriptor, CopiesAndLeavesBothOpen) {
    EXPECT_EQ(fdcopyfile(source_, target_, nullptr, nullptr), 0);
    EXPECT_EQ(kel_lseek(source_, 0, KEL_SEEK_CUR), 10);
    EXPECT_EQ(kel_lseek(target_, 0, KEL_SEEK_CUR), 10);
    EXPECT_EQ(read_text(to_), "0123456789");
}

TEST_F(CopyDescriptor, SourceNotAtItsStartGivesFewerBytesThanItsSize) {
    kel_lseek(source_, 4, KEL_SEEK_SET);
    EXPECT_EQ(fdcopyfile(source_, target_, nullptr, nullptr), -1);
    EXPECT_EQ(read_text(to_), "456789");
}

TEST_F(CopyDescriptor, SourceThatGrowsMeanwhileFails) {
    const auto grow = [](void *data, int64_t, int64_t) -> int32_t {
        return kel_truncate(*static_cast<int32_t *>(data), 100);
    };
    EXPECT_EQ(fdcopyfile(source_, target_, grow, &source_), -1);
}

TEST_F(CopyDescriptor, SourceWithoutAnEndFails) {
    const int32_t endless = kel_open("/dev/zero", KEL_O_RDONLY, 0);
    EXPECT_EQ(fdcopyfile(endless, target_, nullptr, nullptr), -1);
    kel_close(endless);
}

TEST_F(CopyDescriptor, ReadErrorAndUnknownDescriptorsFail) {
    EXPECT_EQ(fdcopyfile(target_, source_, nullptr, nullptr), -1)
        << "target is open for writing only";
    EXPECT_EQ(fdcopyfile(-1, target_, nullptr, nullptr), -1);
    EXPECT_EQ(fdcopyfile(source_, -1, nullptr, nullptr), -1);
}

} // namespace
