// Tags changed in the place of a file while a call fails: the file always has a whole list, the old
// one or the new. Where all calls from one on fail, the file is left as a killed process leaves it.

#include "tag_update.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <iostream>
#include <new>
#include <string>
#include <vector>

#include "faults/scenario.h"
#include "faults/tag_record.h"
#include "faults/test_image.h"
#include "report.h"
#include "support/byte_file.h"

namespace vor::test {
namespace {

// What is complained of is not looked at here.
class SilentErrors {
public:
    SilentErrors() : before_(std::cerr.rdbuf(nullptr)) {}
    ~SilentErrors() {
        std::cerr.rdbuf(before_);
        std::cerr.clear();
    }
    SilentErrors(const SilentErrors &) = delete;
    SilentErrors &operator=(const SilentErrors &) = delete;

private:
    std::streambuf *before_;
};

// One of two tags gets another size, or both go.
class ChangeTags : public Scenario {
public:
    ChangeTags(int32_t type, uint32_t mode, uint32_t old_bytes, uint32_t new_bytes)
        : old_tag_("changed", old_bytes, 2), new_tag_("changed", new_bytes, 3),
          removes_(new_bytes == 0) {
        Handle h(lfopen(name.c_str(), LF_WRITE | mode, lffdev(0, type), nullptr));
        lfsetsize(h.get(), TestImage::tracks, TestImage::pixels);
        EXPECT_EQ(lfcheck(h.get()), 0);
        EXPECT_TRUE(staying_tag_.add_to(h.get()) && old_tag_.add_to(h.get()));
        for (int32_t i = 0; i < TestImage::tracks; ++i) {
            track.put(TestImage::track(i));
            EXPECT_EQ(lfwrite(h.get(), track.get(), i), 0);
        }
        EXPECT_EQ(close_now(&h), 0);
        before_ = read_bytes(name);
        growth_ = removes_ ? -int64_t{2 * VOR_TAGHEAD + staying_bytes + old_bytes}
                           : int64_t{new_bytes} - old_bytes;
    }

    void prepare() override {
        write_bytes(name, before_);
        done_ = false;
    }

    void run() override {
        const SilentErrors silence;
        try {
            tool::update_tags(name, [&](xvor_t *h) { change(h); });
            done_ = true;
        } catch (const tool::Failure &) {
        } catch (const tool::Told &) {
        } catch (const std::bad_alloc &) {
        }
    }

    void verify(bool faulted) override {
        expect_whole(name, TestImage::tracks);
        const Handle h(lfopen(name.c_str(), LF_READ, 0, nullptr));
        ASSERT_TRUE(h);
        ASSERT_EQ(lfcheck(h.get()), 0);
        EXPECT_TRUE(done_ ? has_new(h.get()) : has_old(h.get()));
        if (faulted) return;
        EXPECT_TRUE(done_);
        EXPECT_EQ(static_cast<int64_t>(read_bytes(name).size()),
                  static_cast<int64_t>(before_.size()) + growth_);
    }

private:
    static constexpr uint32_t staying_bytes = 1200;

    void change(xvor_t *h) {
        if (!removes_) {
            if (!new_tag_.add_to(h)) throw std::bad_alloc();
            return;
        }
        for (const TagRecord *tag : {&staying_tag_, &old_tag_}) {
            std::string going = tag->name();
            lfspecial(h, LFS_DELETE_TAG, going.data());
        }
    }

    bool has_old(xvor_t *h) const { return staying_tag_.stands_in(h) && old_tag_.stands_in(h); }
    bool has_new(xvor_t *h) const {
        if (removes_) return !staying_tag_.is_named_in(h) && !old_tag_.is_named_in(h);
        return staying_tag_.stands_in(h) && new_tag_.stands_in(h);
    }

    std::vector<uint8_t> before_;
    TagRecord staying_tag_ = TagRecord("staying", staying_bytes, 1);
    TagRecord old_tag_;
    TagRecord new_tag_;
    bool removes_;
    int64_t growth_ = 0;
    bool done_ = false;
};

using TagUpdateFaults = FaultTest;

TEST_P(TagUpdateFaults, ListThatShrinks) {
    ChangeTags scenario(TestImage::plain, 0, 4000, 40);
    run_with_every_fault(&scenario);
}

TEST_P(TagUpdateFaults, ListThatGrowsBeyondTheOldOnesRoom) {
    ChangeTags scenario(TestImage::deflated, 0, 40, 100000);
    run_with_every_fault(&scenario);
}

TEST_P(TagUpdateFaults, ListOfASwappedFile) {
    ChangeTags scenario(TestImage::plain, LF_SWAPPED, 400, 440);
    run_with_every_fault(&scenario);
}

TEST_P(TagUpdateFaults, AllTagsGo) {
    ChangeTags scenario(TestImage::plain, 0, 400, 0);
    run_with_every_fault(&scenario);
}

VOR_INSTANTIATE_FAULTS(TagUpdateFaults);

} // namespace
} // namespace vor::test
