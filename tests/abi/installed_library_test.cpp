// What a user's program sees: linked with the installed shared library and nothing else of the
// project. Written files are read back in every coding of the native format.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include <libvor.h>

#include "support/temp_dir.h"

namespace {

using Runs = std::vector<std::pair<uint32_t, uint32_t>>;

constexpr int32_t pixels = 1000;
constexpr double resolution = 100.0;

const std::vector<Runs> image = {
    {{400, 0}, {600, 255}},
    {{pixels, 0}},
    {{1, 255}, {998, 0}, {1, 255}},
    {{pixels, 255}},
};

// A track in memory that frees itself.
class Track {
public:
    Track() { EXPECT_EQ(gtgrow(&buffer_, pixels, 1, 0), 0); }
    ~Track() { gtfree(&buffer_); }
    Track(const Track &) = delete;
    Track &operator=(const Track &) = delete;

    trackbuf *buffer() { return &buffer_; }

    void set(const Runs &runs) {
        buffer_.nruns = static_cast<int32_t>(runs.size());
        for (size_t i = 0; i < runs.size(); ++i)
            buffer_.data[i] = {runs[i].first, runs[i].second};
    }

    Runs runs() const {
        Runs found;
        for (int32_t i = 0; i < buffer_.nruns; ++i) {
            found.emplace_back(buffer_.data[i].length, buffer_.data[i].colour);
        }
        return found;
    }

private:
    trackbuf buffer_;
};

void write_image(const std::string &name, uint32_t subtype) {
    Track track;
    const int32_t type = lffdev(0, static_cast<int32_t>(subtype));
    xvor_t *file = lfopen(name.c_str(), LF_WRITE, type, nullptr);
    ASSERT_NE(file, nullptr);
    ASSERT_EQ(lfsetsize(file, static_cast<int32_t>(image.size()), pixels), 0);
    ASSERT_EQ(lfscale(file, resolution, resolution), 0);
    for (size_t n = 0; n < image.size(); ++n) {
        track.set(image[n]);
        ASSERT_EQ(lfwrite(file, track.buffer(), static_cast<int32_t>(n)), 0) << "track " << n;
    }
    ASSERT_EQ(lfclose(file), 0);
}

void expect_image(const std::string &name) {
    Track track;
    lfinfo info = {};
    xvor_t *file = lfopen(name.c_str(), LF_READ, 0, &info);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(info.xsize, static_cast<int32_t>(image.size()));
    EXPECT_EQ(info.ysize, pixels);
    EXPECT_EQ(info.xres, resolution);
    for (size_t n = 0; n < image.size(); ++n) {
        EXPECT_GT(lfread(file, track.buffer(), static_cast<int32_t>(n)), 0);
        EXPECT_EQ(track.runs(), image[n]) << "track " << n;
    }
    EXPECT_EQ(lfclose(file), 0);
}

class InstalledLibrary : public testing::TestWithParam<uint32_t> {};

TEST_P(InstalledLibrary, ReadsBackWhatItWrote) {
    const vor::test::TempDir directory;
    const std::string name = directory.file("image.vor");
    ASSERT_NO_FATAL_FAILURE(write_image(name, GetParam()));
    expect_image(name);
}

TEST_P(InstalledLibrary, FindsItsOwnFileGood) {
    const vor::test::TempDir directory;
    const std::string name = directory.file("image.vor");
    ASSERT_NO_FATAL_FAILURE(write_image(name, GetParam()));
    ckvor_t check = {};
    check.filename = name.c_str();
    check.progress = [](int32_t, ckvor_t *, int32_t) { return 0; };
    EXPECT_EQ(ckvor(&check, 1), 0);
    EXPECT_EQ(check.status, CKV_GOOD);
    EXPECT_EQ(check.tracks, static_cast<int32_t>(image.size()));
}

INSTANTIATE_TEST_SUITE_P(Codings, InstalledLibrary,
                         testing::Values(VT_FW16, VT_FW8, VT_FW88, VT_FW16 | VT_DEFLATED,
                                         VT_FW8 | VT_DEFLATED, VT_FW88 | VT_DEFLATED));

} // namespace
