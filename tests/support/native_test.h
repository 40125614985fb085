// What the tests of the native format start from: a directory, the reports, and short ways to open,
// write and read files.
#ifndef VOR_TESTS_NATIVE_TEST_H
#define VOR_TESTS_NATIVE_TEST_H

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "codecs/codecs.h"
#include "formats/formats.h"
#include "support/owned_handles.h"
#include "support/report_log.h"
#include "support/temp_dir.h"
#include "support/vor_bytes.h"
#include "trackfile/lf.h"
#include "vor/driver.h"

namespace vor::test {

class NativeTest : public ::testing::Test {
protected:
    // The tables of the process are made here, so that tests can count allocations.
    NativeTest() {
        lfregisterfmt(nullptr);
        rle_cvtregister(nullptr);
    }

    Handle open(uint32_t mode = LF_READ) { return Handle(lfopen(name.c_str(), mode, 0, &info)); }
    Handle open(const NativeFile &file, uint32_t mode = LF_READ) {
        file.write(name);
        return open(mode);
    }
    // Open and checked.
    Handle checked(const NativeFile &file, uint32_t mode = LF_READ) {
        Handle h = open(file, mode);
        EXPECT_TRUE(h);
        EXPECT_EQ(0, lfcheck(h.get()));
        return h;
    }

    // A file to be written, with its size set.
    Handle create(uint32_t type, int32_t tracks, int32_t pixels, uint32_t mode = 0) {
        Handle h(
            lfopen(name.c_str(), LF_WRITE | mode, lffdev(0, static_cast<int32_t>(type)), nullptr));
        EXPECT_TRUE(h);
        EXPECT_EQ(0, lfsetsize(h.get(), tracks, pixels));
        return h;
    }

    static int32_t write(const Handle &h, int32_t n, const Runs &runs) {
        Track track(static_cast<uint32_t>(runs.size()) + 1);
        track.put(runs);
        return lfwrite(h.get(), track.get(), n);
    }

    // A track read, or nothing if that failed.
    static Runs read(const Handle &h, int32_t n) {
        Track track(static_cast<uint32_t>(h->ysize) + 2);
        return lfread(h.get(), track.get(), n) < 0 ? Runs() : track.runs();
    }
    static std::vector<Runs> read_all(const Handle &h) {
        std::vector<Runs> tracks;
        for (int32_t i = 0; i < h->xsize; ++i)
            tracks.push_back(read(h, i));
        return tracks;
    }

    VorView view(bool swapped = false) const { return VorView(read_bytes(name), swapped); }

    static bool has_flag(const Handle &h, uint32_t flag) { return (h->flags & flag) != 0; }

    TempDir dir;
    ReportLog reports;
    std::string name = dir.file("a.vor");
    lfinfo info = {};
};

inline Lines lines(std::initializer_list<const char *> texts) {
    return {texts.begin(), texts.end()};
}

} // namespace vor::test

#endif
