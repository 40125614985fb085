// A directory of catalogues, and the tables that come of them.
#ifndef VOR_TESTS_CATALOGUE_FIXTURE_H
#define VOR_TESTS_CATALOGUE_FIXTURE_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "runtime/catalogue.h"
#include "runtime/catalogue_load.h"
#include "support/byte_file.h"
#include "support/capture.h"
#include "support/temp_dir.h"

namespace vor::test {

// Frees all that has been loaded, which the library keeps.
inline void forget_catalogues() {
    for (int32_t module = 0; module < CATALOGUE_MODULES; ++module) {
        std::free(mystrings[module]);
        mystrings[module] = nullptr;
        textbuf_sizes[module] = 0;
        while (CatalogueImage *const image = textbufs[module]) {
            textbufs[module] = image->older;
            std::free(image);
        }
    }
}

class CatalogueTest : public ::testing::Test {
protected:
    void SetUp() override { text_basedir = dir_.path().c_str(); }
    void TearDown() override {
        forget_catalogues();
        text_basedir = nullptr;
    }

    std::string path(const std::string &name, const std::string &language = "eng") const {
        return dir_.file(language + "/" + name);
    }
    // Writes a file as it is.
    void write(const std::string &name, const std::string &content,
               const std::string &language = "eng") const {
        std::filesystem::create_directories(dir_.file(language));
        write_text(path(name, language), content);
    }
    // Writes a file with its header before the lines.
    void write_module(const std::string &name, const std::string &lines,
                      const std::string &language = "eng") const {
        write(name, "{[" + name + "]}\n" + lines, language);
    }

    // readstrings; what it prints is in `printed`.
    int32_t load(int32_t maxmsg = 10, int32_t version = 0, const char *language = "eng",
                 const char *name = "prog") {
        int32_t result = 0;
        printed = captured_stderr([&] { result = readstrings(name, language, version, maxmsg); });
        return result;
    }
    // Loads a file with these lines behind the header, which must go well.
    void load_lines(const std::string &lines, int32_t maxmsg = 10) {
        write_module("prog", lines);
        ASSERT_EQ(load(maxmsg), 0);
        ASSERT_EQ(printed, "");
    }
    // The one message of a file with this behind its number.
    std::string text_of(const std::string &coded) {
        write_module("prog", "5:" + coded + "\\C\n");
        EXPECT_EQ(load(), 0) << coded;
        return mystrings[0][5];
    }

    const TempDir dir_;
    std::string printed;
};

} // namespace vor::test

#endif
