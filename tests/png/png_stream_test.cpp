// libpng's words and its dealings with the file.

#include "png/png_stream.h"

#include <string>

#include <gtest/gtest.h>

#include "png/png_maker.h"
#include "support/byte_file.h"
#include "support/report_log.h"
#include "support/temp_dir.h"

namespace {

using namespace vor::test;

class PngStreamTest : public testing::Test {
protected:
    Handle open(const Bytes &bytes) {
        write_bytes(name_, bytes);
        return open_png(name_);
    }

    TempDir dir_;
    std::string name_ = dir_.file("a.png");
    ReportLog log_;
};

TEST_F(PngStreamTest, AWarningIsReportedAndTheFileIsRead) {
    Bytes bytes = png_of(sample_image(4, 4, 8), 8).resolution(20000, 20000).bytes();
    bytes[8 + 25 + 8] ^= 1; // the first byte of the resolution, whose checksum does not fit then
    const Handle h = open(bytes);
    ASSERT_TRUE(h);
    ASSERT_EQ(log_.size(), 1u);
    EXPECT_EQ(log_[0].text.substr(0, 5), "png: ");
    EXPECT_EQ(h->fxres, 0);
    EXPECT_EQ(read_image(h.get()), sample_image(4, 4, 8));
    EXPECT_EQ(h->error, 0u);
}

TEST_F(PngStreamTest, TextsAndProfilesArePassedOver) {
    const Bytes nonsense(100, 0xEE);
    const Bytes bytes = png_of(sample_image(4, 4, 8), 8)
                            .chunk("iCCP", nonsense)
                            .chunk("zTXt", nonsense)
                            .chunk("tEXt", nonsense)
                            .chunk("puRe", nonsense)
                            .last_chunk("iTXt", nonsense)
                            .bytes();
    const Handle h = open(bytes);
    ASSERT_TRUE(h);
    EXPECT_EQ(read_image(h.get()), sample_image(4, 4, 8));
    EXPECT_TRUE(log_.empty());
}

TEST_F(PngStreamTest, AnUnknownChunkThatMustBeUnderstoodIsAFailure) {
    EXPECT_FALSE(open(png_of(sample_image(4, 4, 8), 8).chunk("PURE", {1}).bytes()));
    EXPECT_EQ(log_.take().front().substr(0, 29), "png_detect: file corrupted | ");
}

TEST_F(PngStreamTest, AChecksumAtTheVeryEndCountsForEveryTrack) {
    Bytes bytes = png_of(sample_image(30, 30, 8), 8).bytes();
    bytes[bytes.size() - 12 - 4 - 1] ^= 1; // the last byte of the compressed data
    const Handle h = open(bytes);
    ASSERT_TRUE(h);
    Track track;
    EXPECT_EQ(lfread(h.get(), track.get(), 0), -1);
    EXPECT_EQ(h->error, static_cast<uint32_t>(LFE_CORRUPT));
}

TEST_F(PngStreamTest, AStreamThatFailedHasAReasonUntilItIsBegunAnew) {
    write_text(name_, "\x89PNG\r\n\x1A\n and then a text, which is no chunk");
    const Handle other = open(png_of(sample_image(4, 4, 8), 8).bytes());
    ASSERT_TRUE(other);
    vor::png::PngStream stream(other.get());
    EXPECT_FALSE(stream.is_open());
    EXPECT_TRUE(stream.open_reading());
    const auto give_up = +[](png_struct *png, png_info *, const char *why) { png_error(png, why); };
    EXPECT_FALSE(stream.run(give_up, "for a test"));
    EXPECT_STREQ(stream.reason(), "for a test");
    EXPECT_TRUE(stream.open_reading());
    EXPECT_EQ(stream.reason(), nullptr);
}

} // namespace
