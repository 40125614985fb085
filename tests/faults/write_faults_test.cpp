// Files that are written while a call fails.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "faults/scenario.h"
#include "faults/tag_record.h"
#include "faults/test_image.h"
#include "platform/kel.h"

namespace vor::test {
namespace {

std::array<uint16_t, 256> other_colours() {
    std::array<uint16_t, 256> table;
    for (size_t i = 0; i < table.size(); ++i)
        table[i] = static_cast<uint16_t>(5 * i + 1);
    return table;
}

// A file with every section. A caller gives up at the first track that is refused, and closes.
class WriteEverything : public Scenario {
public:
    WriteEverything(int32_t type, uint32_t mode) : type_(type), mode_(mode) {}

    void prepare() override {
        kel_unlink(name.c_str());
        info_ = {};
        opened_ = checked_ = colours_set_ = small_added_ = large_added_ = false;
        written_ = 0;
        close_result_ = 1;
        stops_.clear();
    }

    void run() override {
        xvor_t *h = lfopen(name.c_str(), LF_WRITE | LF_STOPS | mode_, lffdev(0, type_), &info_);
        opened_ = h != nullptr;
        if (!opened_) return;
        lfsetsize(h, TestImage::tracks, TestImage::pixels);
        lfscale(h, 25, 50);
        checked_ = lfcheck(h) == 0;
        if (checked_) fill(h);
        close_result_ = lfclose(h);
    }

    void verify(bool faulted) override {
        const bool exists = kel_access(name.c_str(), KEL_F_OK) == 0;
        EXPECT_EQ(exists, opened_) << "a file that did not open leaves nothing behind";
        if (!opened_) {
            EXPECT_TRUE(faulted);
            EXPECT_NE(info_.error, LFE_NONE);
        } else if (close_result_ == 0) {
            EXPECT_EQ(written_, TestImage::tracks) << "the close hides a failure";
            expect_whole(name, TestImage::tracks);
            expect_sections();
        } else {
            EXPECT_TRUE(faulted);
            EXPECT_EQ(close_result_, -1);
            expect_no_false_image(name, TestImage::tracks);
        }
        if (!faulted) {
            EXPECT_EQ(close_result_, 0);
            EXPECT_TRUE(colours_set_ && small_added_ && large_added_);
        }
    }

private:
    void fill(xvor_t *h) {
        vor_ctabreq request = {1, 1, colours_.data()};
        colours_set_ = lfspecial(h, LFS_SET_CTAB, &request) == 0;
        small_added_ = small_.add_to(h);
        large_added_ = large_.add_to(h);
        for (; written_ < TestImage::tracks; ++written_) {
            if (written_ % 5 == 0) set_stop(h);
            track.put(TestImage::track(written_));
            if (lfwrite(h, track.get(), written_) < 0) {
                EXPECT_NE(h->error, 0u) << "the handle does not tell why";
                return;
            }
        }
    }

    void set_stop(xvor_t *h) {
        EXPECT_EQ(lfsetstop(h, -1, LF_STOP_SINGLE), 0);
        stops_.push_back(LF_STOP_SINGLE | static_cast<uint32_t>(written_));
    }

    void expect_sections() {
        const Handle h(lfopen(name.c_str(), LF_READ, 0, nullptr));
        ASSERT_TRUE(h);
        ASSERT_EQ(lfcheck(h.get()), 0);
        EXPECT_EQ(h->xres, 25.0);
        EXPECT_EQ(h->yres, 50.0);
        const uint32_t *stops = lfstoptable(h.get());
        EXPECT_EQ(std::vector<uint32_t>(stops, stops + lfstoptablesize(h.get())), stops_);
        EXPECT_EQ(small_.stands_in(h.get()), small_added_);
        EXPECT_EQ(large_.stands_in(h.get()), large_added_);
        int32_t second = 1;
        EXPECT_EQ(lfspecial(h.get(), LFS_SELECT_CTAB, &second), colours_set_ ? 0 : 1);
        if (colours_set_) {
            EXPECT_TRUE(std::equal(colours_.begin(), colours_.end(), lfctable(h.get())));
        }
    }

    int32_t type_;
    uint32_t mode_;
    lfinfo info_ = {};
    bool opened_ = false, checked_ = false;
    bool colours_set_ = false, small_added_ = false, large_added_ = false;
    int32_t written_ = 0;
    int32_t close_result_ = 1;
    std::vector<uint32_t> stops_;
    std::array<uint16_t, 256> colours_ = other_colours();
    TagRecord small_ = TagRecord("small", 8, 0x11);
    TagRecord large_ = TagRecord("large", 3000, 0x22);
};

// A file whose number of tracks is not known, with blank tracks before the table grows. The header
// counts the tracks up to the one that made it grow.
class WriteGrowing : public Scenario {
public:
    explicit WriteGrowing(int32_t type) : type_(type) {}

    void prepare() override {
        kel_unlink(name.c_str());
        close_result_ = 1;
        written_ = 0;
    }

    void run() override {
        xvor_t *h = lfopen(name.c_str(), LF_WRITE | LF_GROW, lffdev(0, type_), nullptr);
        if (!h) return;
        lfsetsize(h, first_room, TestImage::pixels);
        for (; written_ < asked; ++written_) {
            track.put(TestImage::track(written_));
            if (lfwrite(h, track.get(), written_) < 0) break;
        }
        close_result_ = lfclose(h);
    }

    void verify(bool faulted) override {
        if (!faulted) {
            EXPECT_EQ(close_result_, 0);
        }
        if (close_result_ == 0) {
            EXPECT_EQ(written_, asked) << "the close hides a failure";
            expect_whole(name, first_room + 1);
        } else if (close_result_ < 0) {
            expect_no_false_image(name, first_room + 1);
        }
    }

private:
    static constexpr int32_t first_room = 10;
    static constexpr int32_t asked = 12;

    int32_t type_;
    int32_t written_ = 0;
    int32_t close_result_ = 1;
};

using WriteFaults = FaultTest;

TEST_P(WriteFaults, PlainFile) {
    WriteEverything scenario(TestImage::plain, 0);
    run_with_every_fault(&scenario);
}

TEST_P(WriteFaults, DeflatedFile) {
    WriteEverything scenario(TestImage::deflated, 0);
    run_with_every_fault(&scenario);
}

TEST_P(WriteFaults, SwappedFile) {
    WriteEverything scenario(TestImage::plain, LF_SWAPPED);
    run_with_every_fault(&scenario);
}

TEST_P(WriteFaults, GrowingPlainFile) {
    WriteGrowing scenario(TestImage::plain);
    run_with_every_fault(&scenario);
}

TEST_P(WriteFaults, GrowingDeflatedFile) {
    WriteGrowing scenario(TestImage::deflated);
    run_with_every_fault(&scenario);
}

VOR_INSTANTIATE_FAULTS(WriteFaults);

} // namespace
} // namespace vor::test
