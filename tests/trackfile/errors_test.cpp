// Failure reports: the code that is stored, the text that is built, and who hears it.

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "platform/kel.h"
#include "runtime/log.h"
#include "support/byte_file.h"
#include "support/owned_handles.h"
#include "support/report_log.h"
#include "support/temp_dir.h"
#include "support/toy_format.h"
#include "trackfile/lf.h"

namespace vor::test {
namespace {

// A handle of a name alone, with no file.
struct BareHandle : xvor_t {
    explicit BareHandle(const char *file_name = nullptr)
        : xvor_t(), name_(file_name ? file_name : "") {
        fd = -1;
        fmt = -1;
        name = file_name ? name_.data() : nullptr;
    }
    std::string name_;
};

class LferrorTest : public ::testing::Test {
protected:
    ReportLog log;

    std::string text_of(xvor_t *h, int32_t code, int32_t arg, int os_error = 0) {
        log.take();
        errno = os_error;
        lferror(h, "place", code, arg, nullptr);
        return log.empty() ? "" : log[0].text;
    }
};

using LferrorText = LferrorTest;
using LferrorCode = LferrorTest;
using LferrorName = LferrorTest;
using LferrorContext = LferrorTest;
using LferrorReporter = LferrorTest;

// ---- text of the codes ----------------------------------------------------------------------

TEST_F(LferrorText, OfEachCode) {
    const std::string os = std::strerror(ENOENT);
    const struct {
        int32_t code;
        std::string text;
    } rows[] = {
        {1, "error count: 42"},
        {2, "last os error: " + os},
        {3, "invalid track number: 42"},
        {4, "no track to repeat"},
        {5, "out of memory"},
        {6, "no buffer allocated"},
        {7, "request not supported"},
        {8, "open failed: last os error: " + os},
        {9, "read not supported"},
        {10, "write not supported"},
        {11, "unknown file format"},
        {12, "invalid begin of track"},
        {13, "invalid end of track"},
        {14, "file corrupted"},
        {15, "invalid argument"},
        {16, "unexpected EOF: last os error: " + os},
        {17, ""},
        {18, "error code #18"},
        {4711, "error code #4711"},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(text_of(nullptr, row.code, 42, ENOENT), "place: " + row.text + "\n");
    }
}

TEST_F(LferrorText, NegativeArgumentShowsItsSign) {
    EXPECT_EQ(text_of(nullptr, LFE_TRACK, -7), "place: invalid track number: -7\n");
    EXPECT_EQ(text_of(nullptr, LFE_COUNT, -1), "place: error count: -1\n");
}

TEST_F(LferrorText, NegativeCodeWithoutAHandleIsPrintedAsItStands) {
    EXPECT_EQ(text_of(nullptr, -3, 0), "place: error code #-3\n");
}

TEST_F(LferrorText, AnOverlongPlaceIsCutAndDoesNoHarm) {
    const std::string place(5000, 'p');
    EXPECT_EQ(lferror(nullptr, place.c_str(), LFE_MEMORY, 0, nullptr), -1);
    ASSERT_EQ(log.size(), 1u);
    EXPECT_LT(log[0].text.size(), 1024u);
    EXPECT_EQ(log[0].text.substr(0, 1000), std::string(1000, 'p'));
}

// ---- codes and results ----------------------------------------------------------------------

TEST_F(LferrorCode, IsStoredInTheHandleAndTheResultIsMinusOne) {
    BareHandle h("x");
    EXPECT_EQ(lferror(&h, "place", LFE_CORRUPT, 0, nullptr), -1);
    EXPECT_EQ(h.error, static_cast<uint32_t>(LFE_CORRUPT));
}

TEST_F(LferrorCode, ZeroIsNoFailure) {
    EXPECT_EQ(lferror(nullptr, "place", LFE_NONE, 0, "extra"), 0);
    EXPECT_TRUE(log.empty());
}

TEST_F(LferrorCode, ZeroClearsTheHandlesCode) {
    BareHandle h("x");
    h.error = LFE_CORRUPT;
    EXPECT_EQ(lferror(&h, "place", LFE_NONE, 0, nullptr), 0);
    EXPECT_EQ(h.error, 0u);
    EXPECT_TRUE(log.empty());
}

TEST_F(LferrorCode, WarningIsReportedButNotStored) {
    BareHandle h("x");
    h.error = LFE_TRACK;
    EXPECT_EQ(lferror(&h, "place", LFE_WARNING, 0, "odd"), -1);
    EXPECT_EQ(h.error, static_cast<uint32_t>(LFE_TRACK));
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0].text, "place: \"x\": \n");
    EXPECT_EQ(log[0].extra, "odd");
}

TEST_F(LferrorCode, NegativeCodePrintsTheStoredOneAgain) {
    BareHandle h("x");
    h.error = LFE_MEMORY;
    EXPECT_EQ(lferror(&h, "place", LFE_STORED, 0, "format check failed"), -1);
    EXPECT_EQ(log.take(), Lines{"place: out of memory | format check failed"});
    EXPECT_EQ(h.error, static_cast<uint32_t>(LFE_MEMORY));
}

TEST_F(LferrorCode, NegativeCodeIsSilentWhenNoneIsStored) {
    BareHandle h("x");
    EXPECT_EQ(lferror(&h, "place", LFE_STORED, 0, "format check failed"), 0);
    EXPECT_TRUE(log.empty());
}

TEST_F(LferrorCode, SwitchedOffReportsAreStillStored) {
    BareHandle h("x");
    vorerror = 0;
    const int32_t result = lferror(&h, "place", LFE_ARGUMENT, 0, nullptr);
    const int32_t without_handle = lferror(nullptr, "place", LFE_ARGUMENT, 0, nullptr);
    const int32_t none = lferror(nullptr, "place", LFE_NONE, 0, nullptr);
    vorerror = 1;
    EXPECT_EQ(result, -1);
    EXPECT_EQ(without_handle, -1);
    EXPECT_EQ(none, 0);
    EXPECT_EQ(h.error, static_cast<uint32_t>(LFE_ARGUMENT));
    EXPECT_TRUE(log.empty());
}

TEST_F(LferrorCode, SwitchIsOnFromTheStart) {
    EXPECT_EQ(vorerror, 1);
}

// ---- file name ------------------------------------------------------------------------------

TEST_F(LferrorName, IsQuotedBehindThePlace) {
    BareHandle h("a/b.vor");
    EXPECT_EQ(text_of(&h, LFE_MEMORY, 0), "place: \"a/b.vor\": out of memory\n");
}

TEST_F(LferrorName, IsLeftOutWhenTheHandleHasNone) {
    BareHandle h;
    EXPECT_EQ(text_of(&h, LFE_MEMORY, 0), "place: out of memory\n");
}

TEST_F(LferrorName, OfUpTo255CharactersIsPrintedWhole) {
    for (const size_t length : {254u, 255u}) {
        const std::string name = "b" + std::string(length - 2, 'm') + "e";
        BareHandle h(name.c_str());
        EXPECT_EQ(text_of(&h, LFE_MEMORY, 0), "place: \"" + name + "\": out of memory\n");
    }
}

TEST_F(LferrorName, OfMoreThan255CharactersIsShownByItsLast252) {
    for (const size_t length : {256u, 257u, 3000u}) {
        const std::string name = std::string(length - 252, 'f') + "b" + std::string(250, 'm') + "e";
        BareHandle h(name.c_str());
        EXPECT_EQ(text_of(&h, LFE_MEMORY, 0),
                  "place: \"..." + name.substr(length - 252) + "\": out of memory\n");
    }
}

// ---- context --------------------------------------------------------------------------------

class OpenToyFile {
public:
    OpenToyFile() {
        const std::string name = dir_.file("a.toy");
        write_bytes(name, Toy::coded_file(10));
        handle_.reset(lfopen(name.c_str(), LF_READ, 0, nullptr));
    }
    xvor_t *operator->() { return handle_.get(); }
    xvor_t *get() { return handle_.get(); }
    std::string name() const { return dir_.file("a.toy"); }

private:
    TempDir dir_;
    Toy toy_ = Toy::bytes();
    Handle handle_;
};

TEST_F(LferrorContext, TellsTrackTypeAndPositions) {
    OpenToyFile h;
    h->track = 5;
    h->imgtrk = 7;
    h->bufpos = 100;
    h->bufptr = h->buf + 11;
    kel_lseek(h->fd, 44, KEL_SEEK_SET);
    EXPECT_EQ(text_of(h.get(), LFE_CORRUPT, 0),
              "place: \"" + h.name() +
                  "\": file corrupted\n"
                  "\tcurrent track: 5 (imgtrk=7), type toy[3], curpos: 111, filpos: 44\n");
    h->bufptr = h->buf;
}

TEST_F(LferrorContext, OffsetsAreShownIn64Bits) {
    OpenToyFile h;
    h->bufpos = INT64_C(0x123456789AB);
    EXPECT_NE(text_of(h.get(), LFE_CORRUPT, 0).find("curpos: 1250999896491,"), std::string::npos);
}

TEST_F(LferrorContext, FormatThatIsNotInTheTableIsShownByNumber) {
    OpenToyFile h;
    const int32_t row = h->fmt;
    h->fmt = 12345;
    EXPECT_NE(text_of(h.get(), LFE_CORRUPT, 0).find(", type 12345/3, curpos:"), std::string::npos);
    h->fmt = row;
}

TEST_F(LferrorContext, PositionsComeFromTheBufferAloneUnderASeekOfTheFormat) {
    OpenToyFile h;
    h->bufpos = 100;
    h->bufptr = h->buf + 11;
    h->seekfn = Toy::seek_memory;
    EXPECT_NE(text_of(h.get(), LFE_CORRUPT, 0).find("curpos: 100,"), std::string::npos);
    h->seekfn = nullptr;
    h->bufptr = h->buf;
}

TEST_F(LferrorContext, IsLeftOutOfAWarning) {
    OpenToyFile h;
    EXPECT_EQ(text_of(h.get(), LFE_WARNING, 0), "place: \"" + h.name() + "\": \n");
}

TEST_F(LferrorContext, IsLeftOutWhenTheFileIsClosed) {
    OpenToyFile h;
    const int32_t fd = h->fd;
    h->fd = -1;
    EXPECT_EQ(text_of(h.get(), LFE_CORRUPT, 0), "place: \"" + h.name() + "\": file corrupted\n");
    h->fd = fd;
}

TEST_F(LferrorContext, DescriptorZeroIsAnOpenFile) {
    BareHandle h("x");
    h.fd = 0;
    EXPECT_NE(
        text_of(&h, LFE_CORRUPT, 0).find("\n\tcurrent track: 0 (imgtrk=0), type -1/0, curpos: 0"),
        std::string::npos);
}

TEST_F(LferrorContext, TakesTheSystemsTextBeforeItAsksForThePosition) {
    OpenToyFile h;
    const std::string text = text_of(h.get(), LFE_OS, 0, ENOSPC);
    EXPECT_NE(text.find(std::strerror(ENOSPC)), std::string::npos);
}

// ---- reporters ------------------------------------------------------------------------------

struct Heard {
    xvor_t *handle;
    const char *extra;
    int count;
} heard;

int32_t listen(xvor_t *h, const char *, const char *extra) {
    heard = {h, extra, heard.count + 1};
    return 1234; // of no consequence
}

TEST_F(LferrorReporter, HearsHandleTextAndExtraAsTheyAre) {
    heard = {};
    BareHandle h("x");
    const char *const extra = "more";
    EXPECT_EQ(lfsetperror(listen), 0);
    const int32_t result = lferror(&h, "place", LFE_MEMORY, 0, extra);
    EXPECT_EQ(heard.handle, &h);
    EXPECT_EQ(heard.extra, extra);
    EXPECT_EQ(result, -1);
    lferror(nullptr, "place", LFE_MEMORY, 0, nullptr);
    EXPECT_EQ(heard.handle, nullptr);
    EXPECT_EQ(heard.extra, nullptr);
    EXPECT_EQ(heard.count, 2);
    EXPECT_EQ(lfsetperror(nullptr), 0);
}

std::vector<std::string> lines;

void keep_line(const char *line) {
    lines.emplace_back(line);
}

// The line that the default reporter logs, without the prefix up to the level.
std::string logged(xvor_t *h, const char *extra) {
    lines.clear();
    lfsetperror(nullptr);
    logmesg_set_hook(keep_line);
    lferror(h, "place", LFE_MEMORY, 0, extra);
    logmesg_set_hook(nullptr);
    if (lines.size() != 1) return "not one line";
    return lines[0].substr(lines[0].find('['));
}

TEST(LferrorDefaultReporter, LogsTheTextAsAnError) {
    BareHandle h("x");
    EXPECT_EQ(logged(&h, nullptr), "[Error]: place: \"x\": out of memory\n\n");
}

TEST(LferrorDefaultReporter, PutsTheExtraTextOnALineOfItsOwnBehindATab) {
    EXPECT_EQ(logged(nullptr, "more"), "[Error]: place: out of memory\n\n\tmore\n");
}

TEST(LferrorDefaultReporter, TakesPercentSignsAsTheyAre) {
    EXPECT_EQ(logged(nullptr, "100%s %n"), "[Error]: place: out of memory\n\n\t100%s %n\n");
}

} // namespace
} // namespace vor::test
