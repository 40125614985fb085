// Updates of a file while a call fails: its tracks are never lost.

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

// Of the three tags in the file one is replaced, one goes and one stays; a fourth is added.
class UpdateTags : public Scenario {
public:
    UpdateTags(int32_t type, uint32_t mode) {
        write_file(type, mode);
        before_ = read_bytes(name);
    }

    void prepare() override {
        write_bytes(name, before_);
        checked_ = replaced_ = deleted_ = added_ = false;
        close_result_ = 1;
    }

    void run() override {
        xvor_t *h = lfopen(name.c_str(), LF_UPDATE, 0, nullptr);
        if (!h) return;
        checked_ = lfcheck(h) == 0;
        if (checked_) {
            replaced_ = new_replaced_tag_.add_to(h);
            std::string going = going_tag_.name();
            deleted_ = lfspecial(h, LFS_DELETE_TAG, going.data()) == 0;
            added_ = added_tag_.add_to(h);
        }
        close_result_ = lfclose(h);
    }

    void verify(bool faulted) override {
        expect_whole(name, TestImage::tracks);
        if (close_result_ == 0) {
            expect_tags();
        } else {
            EXPECT_TRUE(faulted);
            expect_no_foreign_tags();
        }
        if (!faulted) {
            EXPECT_TRUE(replaced_ && deleted_ && added_);
        }
    }

private:
    void write_file(int32_t type, uint32_t mode) {
        Handle h(lfopen(name.c_str(), LF_WRITE | mode, lffdev(0, type), nullptr));
        ASSERT_TRUE(h);
        ASSERT_EQ(lfsetsize(h.get(), TestImage::tracks, TestImage::pixels), 0);
        ASSERT_EQ(lfcheck(h.get()), 0);
        for (TagRecord *tag : {&staying_tag_, &replaced_tag_, &going_tag_})
            ASSERT_TRUE(tag->add_to(h.get()));
        for (int32_t i = 0; i < TestImage::tracks; ++i) {
            track.put(TestImage::track(i));
            ASSERT_EQ(lfwrite(h.get(), track.get(), i), 0);
        }
        ASSERT_EQ(close_now(&h), 0);
    }

    void expect_tags() {
        const Handle h(lfopen(name.c_str(), LF_READ, 0, nullptr));
        ASSERT_TRUE(h);
        ASSERT_EQ(lfcheck(h.get()), 0);
        EXPECT_TRUE(staying_tag_.stands_in(h.get()));
        EXPECT_TRUE((replaced_ ? new_replaced_tag_ : replaced_tag_).stands_in(h.get()));
        EXPECT_EQ(going_tag_.stands_in(h.get()), !deleted_);
        EXPECT_EQ(added_tag_.stands_in(h.get()), added_);
    }

    // A tag that is found is the old one or the new one.
    void expect_no_foreign_tags() {
        const Handle h(lfopen(name.c_str(), LF_READ, 0, nullptr));
        ASSERT_TRUE(h);
        ASSERT_EQ(lfcheck(h.get()), 0);
        if (replaced_tag_.is_named_in(h.get())) {
            EXPECT_TRUE(replaced_tag_.stands_in(h.get()) || new_replaced_tag_.stands_in(h.get()));
        }
        for (const TagRecord *tag : {&staying_tag_, &going_tag_, &added_tag_})
            EXPECT_EQ(tag->is_named_in(h.get()), tag->stands_in(h.get())) << tag->name();
    }

    std::vector<uint8_t> before_;
    bool checked_ = false, replaced_ = false, deleted_ = false, added_ = false;
    int32_t close_result_ = 1;
    TagRecord staying_tag_ = TagRecord("staying", 1200, 1);
    TagRecord replaced_tag_ = TagRecord("replaced", 40, 2);
    TagRecord new_replaced_tag_ = TagRecord("replaced", 400, 3);
    TagRecord going_tag_ = TagRecord("going", 8, 4);
    TagRecord added_tag_ = TagRecord("added", 3000, 5);
};

// A parameter of the header is changed and no tag touched; lfcheck is left to the close.
class UpdateUnchecked : public Scenario {
public:
    explicit UpdateUnchecked(int32_t type) {
        Handle h(lfopen(name.c_str(), LF_WRITE, lffdev(0, type), nullptr));
        lfsetsize(h.get(), TestImage::tracks, TestImage::pixels);
        for (int32_t i = 0; i < TestImage::tracks; ++i) {
            track.put(TestImage::track(i));
            EXPECT_EQ(lfwrite(h.get(), track.get(), i), 0);
        }
        EXPECT_TRUE(tag_.add_to(h.get()));
        EXPECT_EQ(close_now(&h), 0);
        before_ = read_bytes(name);
    }

    void prepare() override {
        write_bytes(name, before_);
        close_result_ = 1;
    }

    void run() override {
        xvor_t *h = lfopen(name.c_str(), LF_UPDATE, 0, nullptr);
        if (h) close_result_ = lfclose(h);
    }

    void verify(bool faulted) override {
        expect_whole(name, TestImage::tracks);
        if (!faulted) {
            EXPECT_EQ(close_result_, 0);
        }
        if (close_result_ != 0) return;
        const Handle h(lfopen(name.c_str(), LF_READ, 0, nullptr));
        ASSERT_TRUE(h);
        ASSERT_EQ(lfcheck(h.get()), 0);
        EXPECT_TRUE(tag_.stands_in(h.get()));
    }

private:
    std::vector<uint8_t> before_;
    int32_t close_result_ = 1;
    TagRecord tag_ = TagRecord("kept", 2000, 7);
};

using UpdateFaults = FaultTest;

TEST_P(UpdateFaults, TagsOfAPlainFile) {
    UpdateTags scenario(TestImage::plain, 0);
    run_with_every_fault(&scenario);
}

TEST_P(UpdateFaults, TagsOfADeflatedFile) {
    UpdateTags scenario(TestImage::deflated, 0);
    run_with_every_fault(&scenario);
}

TEST_P(UpdateFaults, TagsOfASwappedFile) {
    UpdateTags scenario(TestImage::plain, LF_SWAPPED);
    run_with_every_fault(&scenario);
}

TEST_P(UpdateFaults, HandleThatIsClosedUnchecked) {
    UpdateUnchecked scenario(TestImage::plain);
    run_with_every_fault(&scenario);
}

// The injection itself: an update makes every kind of call.
TEST_P(UpdateFaults, EveryKindOfCallIsMet) {
    UpdateTags scenario(TestImage::plain, 0);
    scenario.prepare();
    const auto [kind, from_then_on] = GetParam();
    const Injection injection(kind, 1, from_then_on);
    scenario.run();
    EXPECT_TRUE(injection.reached());
}

VOR_INSTANTIATE_FAULTS(UpdateFaults);

} // namespace
} // namespace vor::test
