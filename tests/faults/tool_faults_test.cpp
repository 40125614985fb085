// The checker and the files of tags while a call fails.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "faults/scenario.h"
#include "faults/tag_record.h"
#include "faults/test_image.h"
#include "support/byte_file.h"

namespace vor::test {
namespace {

int32_t write_image(const std::string &name, int32_t type, Track *track) {
    Handle h(lfopen(name.c_str(), LF_WRITE, lffdev(0, type), nullptr));
    lfsetsize(h.get(), TestImage::tracks, TestImage::pixels);
    for (int32_t i = 0; i < TestImage::tracks; ++i) {
        track->put(TestImage::track(i));
        EXPECT_EQ(lfwrite(h.get(), track->get(), i), 0);
    }
    return close_now(&h);
}

int32_t silent(int32_t, ckvor_t *, int32_t) {
    return 0;
}

// A good file never comes out as a bad one: the status tells of the failed call.
class CheckFile : public Scenario {
public:
    CheckFile(int32_t type, int32_t store) : store_(store) {
        EXPECT_EQ(write_image(name, type, &track), 0);
        before_ = read_bytes(name);
    }

    void prepare() override { write_bytes(name, before_); }

    void run() override {
        record_ = {};
        record_.filename = name.c_str();
        record_.save_fwmax = store_;
        record_.progress = silent;
        result_ = ckvor(&record_, 1);
    }

    void verify(bool faulted) override {
        if (!faulted) {
            EXPECT_EQ(result_, 0);
        }
        if (result_ == 0) {
            EXPECT_EQ(record_.status, CKV_GOOD);
            EXPECT_EQ(record_.tracks, TestImage::tracks);
            EXPECT_EQ(record_.pixels, TestImage::pixels);
        } else {
            EXPECT_EQ(result_, -1);
            EXPECT_GT(record_.status, CKV_GOOD);
        }
        expect_whole(name, TestImage::tracks);
    }

private:
    int32_t store_;
    std::vector<uint8_t> before_;
    ckvor_t record_ = {};
    int32_t result_ = 1;
};

// Tags go from a file into a handle and on into another file.
class CarryTags : public Scenario {
public:
    CarryTags() {
        std::string text;
        for (int i = 0; i < tags / 2; ++i) {
            const std::string number = std::to_string(i);
            text += "text " + number + "\nline one\nline " + std::string(400, 'x') + "\n\n";
            text += ":8:binary " + number + "\n12345678";
        }
        write_text(source_, text);
    }

    void prepare() override {
        write_text(target_, "");
        added_ = -1;
        dumped_ = -1;
    }

    void run() override {
        xvor_t *h = lfopen(name.c_str(), LF_WRITE, lffdev(0, TestImage::plain), nullptr);
        if (!h) return;
        lfsetsize(h, 1, 100);
        if (lfcheck(h) == 0) {
            added_ = lfadd_ftags(h, source_.c_str());
            dumped_ = lfdump_ftags(h, target_.c_str());
        }
        lfclose(h);
    }

    void verify(bool faulted) override {
        if (!faulted) {
            EXPECT_EQ(added_, 0);
        }
        if (added_ == 0 && dumped_ >= 0) {
            EXPECT_EQ(dumped_, tags);
            if (expected_.empty()) expected_ = read_text(target_);
            EXPECT_EQ(read_text(target_), expected_);
        }
    }

private:
    static constexpr int tags = 20; // more than one group of slots

    std::string source_ = dir.file("source");
    std::string target_ = dir.file("target");
    std::string expected_;
    int32_t added_ = -1;
    int32_t dumped_ = -1;
};

using ToolFaults = FaultTest;

TEST_P(ToolFaults, CheckOfAPlainFile) {
    CheckFile scenario(TestImage::plain, 0);
    run_with_every_fault(&scenario);
}

TEST_P(ToolFaults, CheckOfAPlainFileThatStoresItsResult) {
    CheckFile scenario(TestImage::plain, 1);
    run_with_every_fault(&scenario);
}

TEST_P(ToolFaults, CheckOfADeflatedFile) {
    CheckFile scenario(TestImage::deflated, 0);
    run_with_every_fault(&scenario);
}

TEST_P(ToolFaults, FilesOfTags) {
    CarryTags scenario;
    run_with_every_fault(&scenario);
}

VOR_INSTANTIATE_FAULTS(ToolFaults);

} // namespace
} // namespace vor::test
