// Files that are read while a call fails: what a call gives is right, or it tells of the failure.

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "faults/scenario.h"
#include "faults/tag_record.h"
#include "faults/test_image.h"
#include "support/vor_bytes.h"

namespace vor::test {
namespace {

// What the first run, in which nothing fails, has found at some place, for the later ones to
// compare with.
template <class T>
class Remembered {
public:
    void expect(const T &found) {
        if (value_) {
            EXPECT_EQ(found, *value_);
        } else {
            value_ = found;
        }
    }

private:
    std::optional<T> value_;
};

VorBytes image_file(uint32_t type, bool swapped = false) {
    VorBytes file(type, TestImage::tracks, TestImage::pixels, swapped);
    for (int32_t i = 0; i < TestImage::tracks; ++i) {
        const Runs runs = TestImage::track(i);
        if (runs.size() == 1) {
            file.blank(static_cast<uint8_t>(i));
        } else {
            file.track(runs);
        }
    }
    return file;
}

VorBytes whole_file(uint32_t type, bool swapped = false) {
    VorBytes file = image_file(type, swapped);
    file.stops({3, 5 | LF_STOP_LAST, 9 | LF_STOP_SINGLE});
    file.seek_table();
    VorBytes::Table identity, reversed;
    for (size_t i = 0; i < identity.size(); ++i) {
        identity[i] = static_cast<uint16_t>(i);
        reversed[i] = static_cast<uint16_t>(255 - i);
    }
    file.colour_tables({identity, reversed});
    file.colour_info(Bytes(256, 1));
    return file;
}

// Without a table every track has its bytes, and the file is walked.
VorBytes walked_file() {
    VorBytes file(VT_FW88, TestImage::tracks, TestImage::pixels);
    for (int32_t i = 0; i < TestImage::tracks; ++i) {
        Runs runs = TestImage::track(i);
        if (runs.size() == 1) runs = TestImage::track(i + 1);
        file.track(runs);
    }
    return file;
}

class ReadTracks : public Scenario {
public:
    using SetUp = std::function<void(xvor_t *)>;

    explicit ReadTracks(const VorBytes &file, uint32_t mode = 0, SetUp set_up = nullptr)
        : mode_(mode), set_up_(std::move(set_up)) {
        file.write(name);
    }

    void prepare() override {
        info_ = {};
        complete_ = false;
        track->imgtrk = -1;
    }

    void run() override {
        xvor_t *h = lfopen(name.c_str(), LF_READ | mode_, 0, &info_);
        if (!h) {
            EXPECT_NE(info_.error, LFE_NONE) << "the record does not tell why";
            return;
        }
        if (set_up_) set_up_(h);
        expected_.resize(static_cast<size_t>(h->xsize));
        complete_ = read_forward(h) && read_backward(h);
        lfclose(h);
    }

    void verify(bool faulted) override {
        if (!faulted) {
            EXPECT_TRUE(complete_);
        }
    }

private:
    bool read(xvor_t *h, int32_t i) {
        if (lfread(h, track.get(), i) < 0) {
            EXPECT_NE(h->error, 0u) << "the handle does not tell why";
            return false;
        }
        expected_[static_cast<size_t>(i)].expect(track.runs());
        return true;
    }
    bool read_forward(xvor_t *h) {
        for (int32_t i = 0; i < h->xsize; ++i)
            if (!read(h, i)) return false;
        return true;
    }
    bool read_backward(xvor_t *h) {
        if (h->flags & LF_SEQUENTIAL) return true; // a jump back is not exact
        for (int32_t i = h->xsize - 1; i >= 0; i -= 7)
            if (!read(h, i)) return false;
        return true;
    }

    uint32_t mode_;
    SetUp set_up_;
    lfinfo info_ = {};
    bool complete_ = false;
    std::vector<Remembered<Runs>> expected_;
};

// Everything but the tracks.
class ReadSections : public Scenario {
public:
    explicit ReadSections(const VorBytes &file) { file.write(name); }

    void run() override {
        complete_ = false;
        xvor_t *h = lfopen(name.c_str(), LF_READ, 0, nullptr);
        if (!h) return;
        stops_.expect({lfstoptable(h), lfstoptable(h) + lfstoptablesize(h)});
        complete_ = lfcheck(h) == 0 && ask(h) && lfrevertstoptable(h) == 0;
        if (complete_) {
            reverted_.expect({lfstoptable(h), lfstoptable(h) + lfstoptablesize(h)});
        }
        lfclose(h);
    }

    void verify(bool faulted) override {
        if (!faulted) {
            EXPECT_TRUE(complete_);
        }
    }

private:
    bool ask(xvor_t *h) {
        int32_t second = 1;
        if (lfspecial(h, LFS_SELECT_CTAB, &second) != 0) return false;
        colours_.expect({lfctable(h), lfctable(h) + LF_NCOLORS});
        std::vector<uint8_t> hash(16);
        if (lfspecial(h, LFS_IMAGE_HASH, hash.data()) != 0) return false;
        hash_.expect(hash);
        vor_colorinfo colour_info = {VOR_COLORINFO_MAGIC, 0, {}};
        if (lfspecial(h, LFS_GET_COLOR_INFO, &colour_info) != 0) return false;
        colour_info_.expect({colour_info.bytes, colour_info.bytes + colour_info.count});
        return true;
    }

    bool complete_ = false;
    Remembered<std::vector<uint32_t>> stops_, reverted_;
    Remembered<std::vector<uint16_t>> colours_;
    Remembered<std::vector<uint8_t>> hash_, colour_info_;
};

class AskFileType : public Scenario {
public:
    AskFileType() { whole_file(VT_FW88).write(name); }

    void run() override {
        result_ = lffiletype(name.c_str(), &info_);
        if (result_ == 0) size_.expect(info_.xsize);
        EXPECT_STREQ(info_.type_name, "vor") << "known by its suffix at least";
    }

    void verify(bool faulted) override {
        if (!faulted) {
            EXPECT_EQ(result_, 0);
        }
    }

private:
    lfinfo info_ = {};
    int32_t result_ = 1;
    Remembered<int32_t> size_;
};

using ReadFaults = FaultTest;

TEST_P(ReadFaults, PlainFile) {
    ReadTracks scenario(whole_file(VT_FW88));
    run_with_every_fault(&scenario);
}

TEST_P(ReadFaults, SwappedFileOfWords) {
    VorBytes file(VT_FW16, 8, 9000, true);
    for (uint32_t i = 0; i < 8; ++i) {
        Codes codes;
        for (uint32_t j = 0; j < 1500; ++j)
            codes.emplace_back(6, (i + j) % 2);
        file.track(codes);
    }
    file.wide_seek_table();
    ReadTracks scenario(file);
    run_with_every_fault(&scenario);
}

TEST_P(ReadFaults, DeflatedFile) {
    ReadTracks scenario(whole_file(VT_FW88 | VT_DEFLATED));
    run_with_every_fault(&scenario);
}

TEST_P(ReadFaults, FileThatIsWalked) {
    ReadTracks scenario(walked_file());
    run_with_every_fault(&scenario);
}

TEST_P(ReadFaults, FileThatIsSkippedThrough) {
    ReadTracks scenario(walked_file(), LF_SEQUENTIAL);
    run_with_every_fault(&scenario);
}

TEST_P(ReadFaults, FileThatIsMeasured) {
    ReadTracks scenario(whole_file(VT_FW88), LF_MEASURE);
    run_with_every_fault(&scenario);
}

TEST_P(ReadFaults, ClippedScaledAndMirrored) {
    ReadTracks scenario(whole_file(VT_FW88), LF_XMIRROR | LF_YMIRROR, [](xvor_t *h) {
        int32_t window[4] = {5, 100, 31, 1700};
        EXPECT_EQ(lfclip(h, window), 0);
        EXPECT_EQ(lfsetsize(h, 60, 1100), 0);
    });
    run_with_every_fault(&scenario);
}

TEST_P(ReadFaults, Sections) {
    ReadSections scenario(whole_file(VT_FW88));
    run_with_every_fault(&scenario);
}

TEST_P(ReadFaults, SwappedSections) {
    ReadSections scenario(whole_file(VT_FW88, true));
    run_with_every_fault(&scenario);
}

TEST_P(ReadFaults, FileType) {
    AskFileType scenario;
    run_with_every_fault(&scenario);
}

VOR_INSTANTIATE_FAULTS(ReadFaults);

} // namespace
} // namespace vor::test
