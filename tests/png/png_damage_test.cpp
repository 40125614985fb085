// Files that are cut short or altered: a track comes out right or not at all, and nothing else
// happens.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "png/png_maker.h"
#include "support/picture_damage.h"
#include "support/report_log.h"
#include "support/temp_dir.h"

namespace {

using namespace vor::test;

struct Sample {
    Image image;
    Bytes bytes;
    std::string what;
};

std::vector<Sample> samples() {
    std::vector<Sample> list;
    for (const int bits : {1, 8}) {
        const Image image = sample_image(23, 11, bits);
        list.push_back({image, png_of(image, bits).resolution(20000, 20000).bytes(),
                        std::to_string(bits) + " bits"});
        list.push_back({image, png_of(image, bits).interlace().bytes(),
                        std::to_string(bits) + " bits, interlaced"});
    }
    return list;
}

class PngDamage : public testing::Test {
protected:
    TempDir dir_;
    std::string name_ = dir_.file("a.png");
    ReportLog log_;
};

TEST_F(PngDamage, AFileCutAnywhereFailsAndShowsNoWrongPixel) {
    for (const Sample &sample : samples()) {
        for (size_t size = 0; size < sample.bytes.size(); ++size) {
            rewrite(name_,
                    {sample.bytes.begin(), sample.bytes.begin() + static_cast<ptrdiff_t>(size)});
            log_.take();
            const Handle h = open_png(name_);
            const Outcome outcome = h ? read_all(h.get(), sample.image) : Outcome{0, 1};
            EXPECT_EQ(outcome.wrong, 0) << sample.what << ", " << size << " bytes";
            EXPECT_GT(outcome.failed, 0) << sample.what << ", " << size << " bytes";
            EXPECT_FALSE(log_.empty()) << sample.what << ", " << size << " bytes";
        }
    }
}

TEST_F(PngDamage, AnAlteredByteShowsNoWrongPixel) {
    for (const Sample &sample : samples()) {
        for (size_t at = 0; at < sample.bytes.size(); ++at) {
            for (const uint8_t flip :
                 {uint8_t{0x01}, uint8_t{0x20}, uint8_t{0x80}, uint8_t{0xFF}}) {
                Bytes altered = sample.bytes;
                altered[at] = static_cast<uint8_t>(altered[at] ^ flip);
                rewrite(name_, altered);
                const Handle h = open_png(name_);
                if (h) {
                    EXPECT_EQ(read_all(h.get(), sample.image).wrong, 0)
                        << sample.what << ", byte " << at;
                }
                log_.take();
            }
        }
    }
}

TEST_F(PngDamage, ATrackThatFailedFailsAgainInAnotherBuffer) {
    Bytes bytes = png_of(sample_image(23, 11, 8), 8).bytes();
    bytes.resize(bytes.size() - 40);
    rewrite(name_, bytes);
    const Handle h = open_png(name_);
    ASSERT_TRUE(h);
    for (int i = 0; i < 3; ++i) {
        Track track;
        EXPECT_EQ(lfread(h.get(), track.get(), 10), -1);
        EXPECT_EQ(h->error, static_cast<uint32_t>(LFE_CORRUPT));
    }
}

TEST_F(PngDamage, MoreRowsThanThereAreFailAndFewerAreReadToTheEnd) {
    const Image image = sample_image(23, 11, 8);
    rewrite(name_, png_of(image, 8).claim(23, 12).bytes());
    const Handle more = open_png(name_);
    ASSERT_TRUE(more);
    EXPECT_EQ(read_all(more.get(), image).failed, 12);
    rewrite(name_, png_of(image, 8).claim(23, 10).bytes());
    const Handle fewer = open_png(name_);
    ASSERT_TRUE(fewer);
    EXPECT_EQ(read_all(fewer.get(), image).wrong, 0);
}

} // namespace
