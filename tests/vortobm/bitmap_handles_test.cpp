// Files that are opened with LF_BITMAP: their rows are, pixel for pixel, the tracks of runs.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "codecs/codecs.h"
#include "formats/formats.h"
#include "support/codec_handle.h"
#include "support/gray_image.h"
#include "support/owned_handles.h"
#include "support/report_log.h"
#include "support/temp_dir.h"
#include "vor/vor.h"
#include "vortobm/vortobm.h"

namespace vor::test {
namespace {

using Rows = std::vector<std::vector<uint8_t>>;
using Prepare = std::function<void(xvor_t *)>;

constexpr auto bitmap_mode = static_cast<int32_t>(GT_BITMAP);

Rows rows_of(const Image &image) {
    Rows rows;
    for (int32_t y = 0; y < image.height; ++y)
        rows.push_back(pixels_of(runs_of_row(image, y)));
    return rows;
}

// Rows of runs of random lengths, some of them blank.
Rows random_rows(uint32_t start, int32_t tracks, int32_t pixels, int bits) {
    std::mt19937 random(start);
    Rows rows(static_cast<size_t>(tracks));
    for (auto &row : rows) {
        const uint32_t longest = random() % 4 == 0 ? static_cast<uint32_t>(pixels) : 20;
        while (row.size() < static_cast<size_t>(pixels)) {
            const uint8_t colour =
                static_cast<uint8_t>(bits == 1 ? 255 * (random() & 1) : random());
            row.insert(row.end(), 1 + random() % longest, colour);
        }
        row.resize(static_cast<size_t>(pixels));
    }
    return rows;
}

Runs runs_of(const std::vector<uint8_t> &row) {
    Runs runs;
    for (const uint8_t pixel : row) {
        if (runs.empty() || runs.back().second != pixel) runs.emplace_back(0, pixel);
        ++runs.back().first;
    }
    return runs;
}

std::string bytes_of(const std::string &name) {
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

class BitmapHandles : public ::testing::Test {
protected:
    BitmapHandles() { vortobm_init(); }

    void write_runs(const std::string &name, int32_t type, const Rows &rows, uint32_t mode = 0) {
        Handle h = create(name, type, rows, mode);
        Track track(static_cast<uint32_t>(rows[0].size()));
        for (size_t i = 0; i < rows.size(); ++i) {
            track.put(runs_of(rows[i]));
            ASSERT_EQ(lfwrite(h.get(), track.get(), static_cast<int32_t>(i)), 0);
        }
        ASSERT_EQ(close_now(&h), 0);
    }

    void write_pixels(const std::string &name, int32_t type, const Rows &rows, uint32_t mode = 0) {
        Handle h = create(name, type, rows, mode | LF_BITMAP);
        Track track(static_cast<uint32_t>(rows[0].size()), bitmap_mode);
        for (size_t i = 0; i < rows.size(); ++i) {
            std::memcpy(track->data, rows[i].data(), rows[i].size());
            track->nruns = static_cast<int32_t>(rows[i].size());
            ASSERT_EQ(lfwrite(h.get(), track.get(), static_cast<int32_t>(i)), 0);
        }
        ASSERT_EQ(close_now(&h), 0);
    }

    // The output tracks, read as runs and laid out here.
    static Rows read_runs(const std::string &name, uint32_t mode, const Prepare &prepare) {
        const Handle h = open(name, mode, prepare);
        Track track(static_cast<uint32_t>(h->ysize));
        Rows rows;
        for (int32_t n = 0; n < h->xsize; ++n) {
            EXPECT_GE(lfread(h.get(), track.get(), n), 0);
            rows.push_back(pixels_of(track.runs()));
        }
        return rows;
    }

    // The output tracks, read as pixels.
    static Rows read_pixels(const std::string &name, uint32_t mode, const Prepare &prepare) {
        const Handle h = open(name, mode | LF_BITMAP, prepare);
        Track track(static_cast<uint32_t>(h->ysize), bitmap_mode);
        Rows rows;
        for (int32_t n = 0; n < h->xsize; ++n) {
            EXPECT_GE(lfread(h.get(), track.get(), n), 0);
            EXPECT_EQ(track->nruns, h->ysize);
            const auto *bytes = reinterpret_cast<const uint8_t *>(track->data);
            rows.emplace_back(bytes, bytes + track->nruns);
        }
        return rows;
    }

    // All the forms in which a file may be read.
    static void expect_same(const std::string &name) {
        struct Form {
            const char *name;
            Prepare prepare;
        };
        const Form forms[] = {
            {"whole", [](xvor_t *) {}},
            {"clipped", [](xvor_t *h) { clip(h, 2, 13, 9, 71); }},
            {"smaller", [](xvor_t *h) { EXPECT_EQ(lfsetsize(h, 7, 31), 0); }},
            {"larger", [](xvor_t *h) { EXPECT_EQ(lfsetsize(h, 29, 331), 0); }},
            {"clipped and larger",
             [](xvor_t *h) {
                 clip(h, 1, 3, 8, 50);
                 EXPECT_EQ(lfsetsize(h, 9, 200), 0);
             }},
        };
        for (const uint32_t mode : {uint32_t{0}, LF_YMIRROR, LF_XMIRROR, LF_XMIRROR | LF_YMIRROR}) {
            for (const Form &form : forms) {
                const Rows runs = read_runs(name, mode, form.prepare);
                EXPECT_EQ(read_pixels(name, mode, form.prepare), runs) << form.name << " " << mode;
                EXPECT_FALSE(runs.empty());
            }
        }
    }

    ReportLog log;
    TempDir dir;

private:
    static void clip(xvor_t *h, int32_t xa, int32_t ya, int32_t xe, int32_t ye) {
        int32_t window[4] = {xa, ya, xe, ye};
        EXPECT_EQ(lfclip(h, window), 0);
    }
    static Handle open(const std::string &name, uint32_t mode, const Prepare &prepare) {
        Handle h(lfopen(name.c_str(), LF_READ | mode, 0, nullptr));
        if (!h) throw std::runtime_error("does not open");
        prepare(h.get());
        EXPECT_EQ(lfcheck(h.get()), 0);
        return h;
    }
    static Handle create(const std::string &name, int32_t type, const Rows &rows, uint32_t mode) {
        Handle h(lfopen(name.c_str(), LF_WRITE | mode, type, nullptr));
        if (!h) throw std::runtime_error("cannot be written");
        EXPECT_EQ(lfsetsize(h.get(), static_cast<int32_t>(rows.size()),
                            static_cast<int32_t>(rows[0].size())),
                  0);
        return h;
    }
};

struct Coding {
    uint32_t minor_number;
    int bits;
};
constexpr Coding native_codings[] = {
    {VT_FW8, 1},
    {VT_FW16, 1},
    {VT_FW88, 8},
    {VT_FW8 | VT_DEFLATED, 1},
    {VT_FW16 | VT_DEFLATED, 1},
    {VT_FW88 | VT_DEFLATED, 8},
};

TEST_F(BitmapHandles, ReadNativeFilesAsRunsDo) {
    for (const auto &[minor_number, bits] : native_codings) {
        SCOPED_TRACE(minor_number);
        const std::string name = dir.file("a.vor");
        write_runs(name, lffdev(0, static_cast<int32_t>(minor_number)),
                   random_rows(minor_number, 12, 100, bits));
        expect_same(name);
    }
}

TEST_F(BitmapHandles, ReadRowsOfPixelsAsTheyWere) {
    const std::string name = dir.file("a.vor");
    const Rows rows = random_rows(1, 20, 300, 8);
    write_runs(name, lffdev(0, VT_FW88), rows);
    EXPECT_EQ(read_pixels(name, 0, [](xvor_t *) {}), rows);
}

TEST_F(BitmapHandles, ReadTracksThroughTheColourTable) {
    const std::string name = dir.file("a.vor");
    write_runs(name, lffdev(0, VT_FW88), {{1, 1, 2, 3}});
    const Handle h(lfopen(name.c_str(), LF_BITMAP, 0, nullptr));
    ASSERT_EQ(lfcheck(h.get()), 0);
    lfctable(h.get())[2] = 77;
    Track track(4, bitmap_mode);
    ASSERT_EQ(lfread(h.get(), track.get(), 0), 4);
    const auto *bytes = reinterpret_cast<const uint8_t *>(track->data);
    EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + 4), (std::vector<uint8_t>{1, 1, 77, 3}));
}

TEST_F(BitmapHandles, ReadBlankTracks) {
    const std::string name = dir.file("a.vor");
    const Rows rows = {std::vector<uint8_t>(50, 9), std::vector<uint8_t>(50, 0)};
    write_runs(name, lffdev(0, VT_FW88), rows);
    const Handle h(lfopen(name.c_str(), LF_BITMAP, 0, nullptr));
    Track track(50, bitmap_mode);
    EXPECT_EQ(lfread(h.get(), track.get(), 0), 1);
    EXPECT_EQ(track->nruns, 50);
    EXPECT_EQ(read_pixels(name, 0, [](xvor_t *) {}), rows);
}

TEST_F(BitmapHandles, TellThatTheBufferHoldsTheTrack) {
    const std::string name = dir.file("a.vor");
    write_runs(name, lffdev(0, VT_FW88), {{1, 2, 3}});
    const Handle h(lfopen(name.c_str(), LF_BITMAP, 0, nullptr));
    Track track(3, bitmap_mode);
    EXPECT_EQ(lfread(h.get(), track.get(), 0), 3);
    EXPECT_EQ(lfread(h.get(), track.get(), 0), 0);
}

TEST_F(BitmapHandles, WriteTheFileThatRunsDo) {
    for (const auto &[minor_number, bits] : native_codings) {
        SCOPED_TRACE(minor_number);
        for (const uint32_t mode : {uint32_t{0}, LF_YMIRROR, LF_SWAPPED, LF_ASIS}) {
            const Rows rows = random_rows(minor_number + mode, 12, 1000, bits);
            const int32_t type = lffdev(0, static_cast<int32_t>(minor_number));
            write_runs(dir.file("runs.vor"), type, rows, mode);
            write_pixels(dir.file("pixels.vor"), type, rows, mode);
            EXPECT_EQ(bytes_of(dir.file("pixels.vor")), bytes_of(dir.file("runs.vor"))) << mode;
        }
    }
}

// ---- formats of modules -----------------------------------------------------------------------

TEST_F(BitmapHandles, ReadPicturesAsRunsDo) {
    for (const char *const suffix : {".tif", ".png"}) {
        for (const int bits : {1, 8}) {
            SCOPED_TRACE(suffix + std::to_string(bits));
            const std::string name = dir.file(std::string("a") + suffix);
            const int32_t row = lfloadfmt(suffix + 1);
            ASSERT_GT(row, 0);
            write_runs(name, lffdev(row, bits == 1 ? VT_FW16 : VT_FW88),
                       rows_of(sample_image(101, 12, bits)));
            expect_same(name);
        }
    }
}

TEST_F(BitmapHandles, WriteThePictureThatRunsDo) {
    for (const char *const suffix : {".tif", ".png"}) {
        for (const int bits : {1, 8}) {
            SCOPED_TRACE(suffix + std::to_string(bits));
            const int32_t row = lfloadfmt(suffix + 1);
            const int32_t type = lffdev(row, bits == 1 ? VT_FW16 : VT_FW88);
            const Rows rows = rows_of(sample_image(101, 12, bits));
            const std::string runs = dir.file(std::string("runs") + suffix);
            const std::string pixels = dir.file(std::string("pixels") + suffix);
            write_runs(runs, type, rows);
            write_pixels(pixels, type, rows);
            EXPECT_EQ(bytes_of(pixels), bytes_of(runs));
            EXPECT_EQ(read_pixels(pixels, 0, [](xvor_t *) {}), rows);
        }
    }
}

TEST_F(BitmapHandles, ReadAndWriteStreams) {
    const std::string name = dir.file("a.fw32");
    const int32_t type = lffdev(lfloadfmt("fw32"), 0);
    const Rows rows = random_rows(3, 5, 40, 8);
    write_pixels(name, type, rows);
    const Handle h(lfopen(name.c_str(), LF_BITMAP | LF_FORCETYPE, type, nullptr));
    int32_t window[4] = {0, 0, 5, 40};
    ASSERT_EQ(lfclip(h.get(), window), 0);
    Track track(40, bitmap_mode);
    for (int32_t n = 0; n < 5; ++n) {
        ASSERT_GT(lfread(h.get(), track.get(), n), 0);
        const auto *bytes = reinterpret_cast<const uint8_t *>(track->data);
        EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + 40), rows[static_cast<size_t>(n)]);
    }
}

// ---- the codecs of rows -----------------------------------------------------------------------

struct RowForm {
    const char *codec;
    int32_t ya, ye, ysize;
    uint32_t flags;
};

// One row of a handle put together by hand, as runs or as pixels.
std::vector<uint8_t> read_row(const RowForm &form, const std::vector<uint8_t> &data, bool pixels) {
    CodecHandle h(data, 64);
    h->flags = form.flags | (pixels ? LF_BITMAP : 0);
    h->nctab = 2;
    h->ctabno = 1;
    h->rowbytes = static_cast<int32_t>(data.size()) - 1; // the next row has begun
    h.set_window(form.ya, form.ye, form.ysize);
    if (lfrw_functions(h.get(), form.codec) < 0) throw std::runtime_error("no codec");
    h->fillbuf(h.get());
    Track track(256, pixels ? bitmap_mode : 0);
    if (h->readtrack(h.get(), track.get()) < 0) throw std::runtime_error("not read");
    if (!pixels) return pixels_of(track.runs());
    const auto *bytes = reinterpret_cast<const uint8_t *>(track->data);
    return {bytes, bytes + track->nruns};
}

TEST_F(BitmapHandles, ReadRowsOfBitsAndBytesAsRunsDo) {
    std::mt19937 random(7);
    for (int i = 0; i < 300; ++i) {
        const bool bits = random() % 2 == 0;
        const bool interleaved = random() % 3 == 0;
        const size_t bytes = bits ? 24 : 60; // all within the handle's buffer
        std::vector<uint8_t> data(bytes + 1);
        for (uint8_t &byte : data)
            byte = static_cast<uint8_t>(random() % 3 == 0 ? random() : random() % 2 * 255);
        const int32_t width =
            static_cast<int32_t>((bits ? 8 * bytes : bytes) / (interleaved ? 2 : 1));
        const int32_t ya = static_cast<int32_t>(random()) & 7;
        const int32_t ye = width - (static_cast<int32_t>(random()) & 7) - 1;
        const int32_t sizes[] = {ye - ya, (ye - ya) / 2 + 1, (ye - ya) + 13};
        const RowForm form = {bits ? "bm1" : "bm8", ya, ye, sizes[random() % 3],
                              (random() % 2 == 0 ? LF_YMIRROR : 0) |
                                  (interleaved ? LF_INTERLEAVED : 0)};
        EXPECT_EQ(read_row(form, data, true), read_row(form, data, false)) << i;
    }
}

TEST_F(BitmapHandles, WriteRowsOfBytes) {
    CodecHandle h;
    h.begin_writing(1);
    h->flags |= LF_BITMAP;
    h->rowbytes = 5;
    h.set_window(0, 5, 5);
    ASSERT_EQ(lfrw_functions(h.get(), "bm8"), 0);
    Track track(5, bitmap_mode);
    const std::vector<uint8_t> row = {1, 2, 2, 3, 255};
    std::memcpy(track->data, row.data(), row.size());
    track->nruns = 5;
    EXPECT_EQ(h->writetrack(h.get(), track.get()), 0);
    EXPECT_EQ(h.written(), row);
}

// ---- threads ----------------------------------------------------------------------------------

TEST_F(BitmapHandles, OfDifferentThreadsDoNotMeet) {
    const std::string names[] = {dir.file("a.vor"), dir.file("b.vor")};
    const Rows images[] = {random_rows(1, 40, 500, 8), random_rows(2, 40, 900, 8)};
    for (size_t i = 0; i < 2; ++i)
        write_runs(names[i], lffdev(0, VT_FW88 | VT_DEFLATED), images[i]);
    Rows read[4];
    std::thread threads[4];
    for (size_t i = 0; i < 4; ++i)
        threads[i] =
            std::thread([&, i] { read[i] = read_pixels(names[i % 2], 0, [](xvor_t *) {}); });
    for (std::thread &thread : threads)
        thread.join();
    for (size_t i = 0; i < 4; ++i)
        EXPECT_EQ(read[i], images[i % 2]) << i;
}

} // namespace
} // namespace vor::test
