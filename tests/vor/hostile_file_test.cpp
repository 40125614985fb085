// Files, and uses of them, that were once found to lead a handle astray.
#include <fstream>
#include <string>

#include "support/native_test.h"
#include "vor/vor.h"

namespace {

using namespace vor::test;

using HostileFile = NativeTest;

// The most address space that this process has had, in kB.
long peak_memory() {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        long size = 0;
        if (word == "VmPeak:" && status >> size) return size;
    }
    throw std::runtime_error("the system does not tell its memory");
}

TEST_F(HostileFile, ASeekAfterAFailedCheckFails) {
    VorBytes file(VT_FW16 | VT_DEFLATED, 2, 300);
    file.track({{200, 0}, {100, 1}});
    file.track({{300, 1}}); // and no seek table
    const Handle h = open(file);
    ASSERT_TRUE(h);
    EXPECT_EQ(-1, lfcheck(h.get()));
    EXPECT_EQ(-1, lfseek(h.get(), 1, LF_SEEK_SET));
}

TEST_F(HostileFile, TracksWithoutCodesAreNotSkippedForEver) {
    VorBytes file(VT_FW8, 0x7FFFFFFF, 0);
    file.raw_track({0x11, 0x22, 0x33});
    const Handle h = open(file, LF_SEQUENTIAL | LF_LAXTRACK);
    ASSERT_TRUE(h);
    Track track;
    EXPECT_EQ(-1, lfread(h.get(), track.get(), 0x7FFFFFF0));
}

TEST_F(HostileFile, ALateWindowOfMoreTracksIsReadAfterItsCheckAlone) {
    VorBytes file(VT_FW8, 3, 100);
    for (uint32_t i = 1; i < 4; ++i)
        file.track({{i, 0}, {100 - i, 1}});
    file.set_float(VorBytes::xpitch_at, 0.05F);
    file.set_float(VorBytes::yresf_at, 20);
    const Handle h = open(file);
    ASSERT_TRUE(h);
    ASSERT_EQ(0, lfscale(h.get(), 0.1, 0)); // rounds to no tracks, so that no table is made
    ASSERT_EQ(0, lfcheck(h.get()));
    ASSERT_EQ(0, h->xsize);
    ASSERT_EQ(0, lfclip(h.get(), nullptr));
    EXPECT_EQ(-1, lfseek(h.get(), 1, LF_SEEK_SET));
    EXPECT_EQ(0, lfcheck(h.get()));
    EXPECT_EQ((Runs{{2, 0}, {98, 255}}), read(h, 1));
}

TEST_F(HostileFile, TheCheckerTakesNoMemoryForPixelsThatTheFileCannotHold) {
    // The type word and byteorder tell different orders: no format takes the header as it stands
    // for the checker, and the tracks come through the library.
    VorBytes file(VT_FW16, 1, 0x7FFFFFF0);
    file.clear_flag(VorBytes::f_byteorder);
    file.set(VorBytes::byteorder_at, 0x78563412);
    file.track({{100, 1}});
    file.write(name);
    ckvor_t check = {};
    check.filename = name.c_str();
    check.progress = [](int32_t, ckvor_t *, int32_t) { return int32_t{0}; };
    const long before = peak_memory();
    EXPECT_EQ(-1, ckvor(&check, 1));
    EXPECT_EQ(CKV_BADWALK, check.status);
    EXPECT_LT(peak_memory() - before, 1 << 18);
}

} // namespace
