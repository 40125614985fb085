// The finder and the hook, and the module as a program finds it.

#include "vortobm/vortobm.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <deque>
#include <memory>
#include <string>

#include "codecs/codecs.h"
#include "support/codec_handle.h"
#include "support/in_child.h"
#include "support/report_log.h"

namespace vor::test {
namespace {

std::string assign(const char *name) {
    CodecHandle h;
    h->flags = LF_BITMAP;
    return std::to_string(lfrw_functions(h.get(), name));
}

class BitmapCodecsOfModule : public ::testing::Test {
protected:
    BitmapCodecsOfModule() { EXPECT_EQ(vortobm_init(), 0); }
    ReportLog log;
};

TEST_F(BitmapCodecsOfModule, AreThereForAllBuiltInNames) {
    for (const char *const name : {"fw8", "fw16", "fw88", "bm1", "bm8"}) {
        CodecHandle runs;
        CodecHandle pixels;
        pixels->flags = LF_BITMAP;
        EXPECT_EQ(lfrw_functions(runs.get(), name), 0) << name;
        EXPECT_EQ(lfrw_functions(pixels.get(), name), 0) << name;
        EXPECT_NE(pixels->readtrack, runs->readtrack) << name;
        EXPECT_NE(pixels->writetrack, runs->writetrack) << name;
        EXPECT_EQ(pixels->skiptrack, runs->skiptrack) << name;
    }
}

TEST_F(BitmapCodecsOfModule, AreNotThereForOtherNames) {
    EXPECT_EQ(assign("fw9"), "-1");
    EXPECT_EQ(log.take(), Lines{"fw9: invalid argument | Cannot find r/w functions for format"});
}

int32_t read_nothing(xvor_t *, trackbuf *) {
    return 0;
}

// The table keeps the names.
rle_row codec_called(const std::string &name) {
    static std::deque<std::string> names;
    rle_row row = {};
    row.name = names.emplace_back(name).c_str();
    row.read = row.read_ns = read_nothing;
    return row;
}

TEST_F(BitmapCodecsOfModule, AreThereForCodecsThatAreRegistered) {
    EXPECT_EQ(in_child([] {
                  const rle_row row = codec_called("new");
                  const std::string before = assign("new");
                  rle_cvtregister(&row);
                  return before + assign("new");
              }),
              "-10");
}

TEST_F(BitmapCodecsOfModule, LackWhatTheRunCodecLacks) {
    EXPECT_EQ(in_child([] {
                  ReportLog warnings;
                  const rle_row row = codec_called("forward");
                  rle_cvtregister(&row);
                  CodecHandle h;
                  h->flags = LF_BITMAP | LF_YMIRROR;
                  lfrw_functions(h.get(), "forward");
                  return std::string(h->writetrack ? "writes" : "reads") + "\n" +
                         warnings.take().at(0);
              }),
              "reads\nforward: warning | lfrw_functions: YMIRROR not supported");
}

TEST_F(BitmapCodecsOfModule, AreMadeSureOfByTheHook) {
    EXPECT_EQ(in_child([] {
                  const rle_row row = codec_called("heard");
                  std::string results = std::to_string(lfcvt_register(&row, "heard"));
                  results += " " + std::to_string(lfcvt_register(&row, "heard"));
                  results += " " + std::to_string(lfcvt_register(nullptr, "fw8"));
                  return results + " " + assign("heard");
              }),
              "0 1 0 0");
}

TEST_F(BitmapCodecsOfModule, OfANameThatNoCodecHasAreRefusedByTheHook) {
    EXPECT_EQ(lfcvt_register(nullptr, "unheard-of"), -1);
    EXPECT_EQ(log.take(), Lines{"unheard-of: invalid argument | no codec for bitmaps"});
}

TEST_F(BitmapCodecsOfModule, HaveTheirRoom) {
    EXPECT_EQ(in_child([] {
                  ReportLog aside;
                  std::string results;
                  for (int i = 1; i <= VORTOBM_ROOM; ++i) {
                      const rle_row row = codec_called("codec " + std::to_string(i));
                      rle_cvtregister(&row);
                      results = assign(row.name);
                  }
                  for (const char *const name : {"codec 1", "fw8", "bm8"})
                      results += " " + assign(name);
                  return results;
              }),
              "-1 0 0 0")
        << "the five built-in ones have taken places";
}

TEST_F(BitmapCodecsOfModule, StayWhenTheyAreInstalledAgain) {
    CodecHandle first;
    first->flags = LF_BITMAP;
    ASSERT_EQ(lfrw_functions(first.get(), "fw8"), 0);
    EXPECT_EQ(vortobm_init(), 0);
    CodecHandle second;
    second->flags = LF_BITMAP;
    ASSERT_EQ(lfrw_functions(second.get(), "fw8"), 0);
    EXPECT_EQ(first->readtrack, second->readtrack);
}

TEST(BitmapModuleAsFound, IsLoadedForABitmapHandle) {
    EXPECT_EQ(in_child([] {
                  ::setenv("QUORVENTATOP", VOR_TOP, 1);
                  ::unsetenv("KEL_NO_AUTOLOAD");
                  lfbmsetup(nullptr, nullptr);
                  return assign("fw88");
              }),
              "0");
}

TEST(BitmapModuleAsFound, ExportsItsStartAndNothingElse) {
    const char *const command = "nm --dynamic --defined-only --format=posix '" VOR_TOP
                                "/plugins/vortobm.so' | cut -d' ' -f1";
    const std::unique_ptr<FILE, int (*)(FILE *)> pipe(popen(command, "r"), pclose);
    ASSERT_TRUE(pipe);
    std::string names;
    char line[256];
    while (std::fgets(line, sizeof line, pipe.get()))
        names += line;
    EXPECT_EQ(names, "vortobm_init\n");
}

} // namespace
} // namespace vor::test
