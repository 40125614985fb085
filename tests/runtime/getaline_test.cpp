#include "runtime/getaline.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include "platform/kel.h"
#include "support/byte_file.h"
#include "support/capture.h"
#include "support/failing_malloc.h"
#include "support/temp_dir.h"

namespace {

using vor::test::captured_stderr;
using vor::test::FailingMalloc;
using vor::test::TempDir;
using vor::test::write_text;

constexpr uint32_t start_capacity = 240;
constexpr const char *out_of_memory = "Cannot allocate memory\n";

class LineReader : public ::testing::Test {
protected:
    FILE *file_with(const std::string &text, const char *name = "text") {
        const std::string path = dir_.file(name);
        write_text(path, text);
        return kel_fopen(path.c_str(), "rb");
    }
    void attach(const std::string &text) {
        free_getaline(&reader_);
        attach_getaline(&reader_, file_with(text));
    }
    // All lines of a text, read with the same flags.
    std::vector<std::string> lines_of(const std::string &text, int32_t flags = 0) {
        attach(text);
        std::vector<std::string> lines;
        while (char *const line = getaline_r(&reader_, flags))
            lines.emplace_back(line, static_cast<size_t>(reader_.length));
        return lines;
    }
    void TearDown() override { free_getaline(&reader_); }

    TempDir dir_;
    getaline_t reader_ = {};
};

using Lines = std::vector<std::string>;

TEST_F(LineReader, EmptyFileGivesNothingAtOnce) {
    attach("");
    EXPECT_EQ(getaline_r(&reader_, 0), nullptr);
    EXPECT_EQ(reader_.length, 0);
    EXPECT_EQ(reader_.lines, 0);
    EXPECT_EQ(reader_.lineno, 0u);
    EXPECT_STREQ(reader_.line, "");
}

TEST_F(LineReader, EmptyLineIsAnEmptyText) {
    attach("\nx");
    const char *const line = getaline_r(&reader_, 0);
    ASSERT_NE(line, nullptr);
    EXPECT_STREQ(line, "");
    EXPECT_EQ(line, reader_.line);
    EXPECT_EQ(reader_.length, 0);
    EXPECT_EQ(reader_.lines, 1);
}

TEST_F(LineReader, LastLineWithoutANewlineIsDeliveredAndNotCounted) {
    attach("one\ntwo");
    EXPECT_STREQ(getaline_r(&reader_, 0), "one");
    EXPECT_EQ(reader_.lineno, 1u);
    EXPECT_STREQ(getaline_r(&reader_, 0), "two");
    EXPECT_EQ(reader_.lineno, 1u);
    EXPECT_EQ(reader_.lines, 0);
    EXPECT_EQ(reader_.length, 3);
    EXPECT_EQ(getaline_r(&reader_, 0), nullptr);
    EXPECT_EQ(reader_.length, 0);
    EXPECT_EQ(getaline_r(&reader_, 0), nullptr) << "the end stays the end";
}

TEST_F(LineReader, LineOf240CharactersNeedsNoGrowth) {
    const std::string text(start_capacity, 'x');
    attach(text + "\n");
    EXPECT_EQ(getaline_r(&reader_, 0), text);
    EXPECT_EQ(reader_.capacity, start_capacity);
}

TEST_F(LineReader, LineOf241CharactersGrowsTheBufferBy1024) {
    const std::string text(start_capacity + 1, 'x');
    attach(text + "\n");
    EXPECT_EQ(getaline_r(&reader_, 0), text);
    EXPECT_EQ(reader_.capacity, start_capacity + 1024);
}

TEST_F(LineReader, LinesOfAnyLengthComeWhole) {
    for (const size_t size : {1263u, 1264u, 1265u, 100000u}) {
        const std::string text(size, 'x');
        EXPECT_EQ(lines_of(text + "\nrest"), (Lines{text, "rest"})) << size;
    }
}

TEST_F(LineReader, MarksStandAroundAFinishedLine) {
    attach("abc\n");
    const char *const line = getaline_r(&reader_, 0);
    ASSERT_NE(line, nullptr);
    EXPECT_EQ(line[-1], 0x55);
    EXPECT_EQ(line[3], 0);
    EXPECT_EQ(static_cast<unsigned char>(line[4]), 0xAA);
}

TEST_F(LineReader, CarriageReturnsAreDroppedWhereverTheyStand) {
    EXPECT_EQ(lines_of("one\r\nt\rwo\r\r\n\r"), (Lines{"one", "two"}));
}

TEST_F(LineReader, CarriageReturnsMayBeKept) {
    EXPECT_EQ(lines_of("one\r\nt\rwo \r\n", GETALINE_KEEP_CR), (Lines{"one\r", "t\rwo \r"}));
}

TEST_F(LineReader, TrailingBlanksAndTabsAreCut) {
    EXPECT_EQ(lines_of(" a b \t \n\t\nc \r\n"), (Lines{" a b", "", "c"}));
}

TEST_F(LineReader, TrailingBlanksMayBeKept) {
    EXPECT_EQ(lines_of("a \t\n  \n", GETALINE_KEEP_TRAILING), (Lines{"a \t", "  "}));
}

TEST_F(LineReader, LineOfBlanksIsEmptyAndNoEnd) {
    EXPECT_EQ(lines_of("   \nx\n"), (Lines{"", "x"}));
    EXPECT_EQ(lines_of("   "), (Lines{""}));
}

TEST_F(LineReader, FormFeedEndsALine) {
    attach("one\ftwo\n");
    EXPECT_STREQ(getaline_r(&reader_, 0), "one");
    EXPECT_EQ(reader_.lineno, 1u);
    EXPECT_EQ(reader_.lines, 1);
    EXPECT_STREQ(getaline_r(&reader_, 0), "two");
    EXPECT_EQ(reader_.lineno, 2u);
}

TEST_F(LineReader, NulBytesAreReadAsBlanks) {
    EXPECT_EQ(lines_of(std::string("a\0b\0\n", 5)), (Lines{"a b"}));
}

TEST_F(LineReader, NulBytesMayBeKept) {
    EXPECT_EQ(lines_of(std::string("a\0b\0\n", 5), GETALINE_KEEP_NUL),
              (Lines{std::string("a\0b\0", 4)}));
}

TEST_F(LineReader, LeadingBlanksStayUnlessTheyAreToBeSkipped) {
    EXPECT_EQ(lines_of(" \ta\n"), (Lines{" \ta"}));
    EXPECT_EQ(lines_of(" \ta b\n\n  \n b", GETALINE_SKIP_LEADING), (Lines{"a b", "", "", "b"}));
    EXPECT_EQ(lines_of("   ", GETALINE_SKIP_LEADING), Lines{});
}

TEST_F(LineReader, BackslashBeforeTheEndContinuesTheLine) {
    attach("one \\\n \ttwo\\\fthree\nfour\n");
    EXPECT_STREQ(getaline_r(&reader_, GETALINE_CONTINUE), "one twothree");
    EXPECT_EQ(reader_.lines, 3);
    EXPECT_EQ(reader_.lineno, 3u);
    EXPECT_STREQ(getaline_r(&reader_, GETALINE_CONTINUE), "four");
    EXPECT_EQ(reader_.lines, 1);
    EXPECT_EQ(reader_.lineno, 4u);
}

TEST_F(LineReader, BackslashIsACharacterWithoutTheFlag) {
    EXPECT_EQ(lines_of("one\\\ntwo\n"), (Lines{"one\\", "two"}));
}

TEST_F(LineReader, BackslashWithABlankBehindItIsNoContinuation) {
    EXPECT_EQ(lines_of("one\\ \ntwo\n", GETALINE_CONTINUE), (Lines{"one\\", "two"}));
}

TEST_F(LineReader, CarriageReturnBetweenBackslashAndNewlineCountsOnlyIfKept) {
    EXPECT_EQ(lines_of("a\\\r\nb\n", GETALINE_CONTINUE), (Lines{"ab"}));
    EXPECT_EQ(lines_of("a\\\r\nb\n", GETALINE_CONTINUE | GETALINE_KEEP_CR), (Lines{"a\\\r", "b"}));
}

TEST_F(LineReader, OnlyABackslashOfTheSamePhysicalLineContinues) {
    EXPECT_EQ(lines_of("a\\\\\n\nb\n", GETALINE_CONTINUE), (Lines{"a\\", "b"}));
}

TEST_F(LineReader, ContinuationAtTheEndOfTheFileDeliversWhatThereIs) {
    EXPECT_EQ(lines_of("one\\\n", GETALINE_CONTINUE), (Lines{"one"}));
    EXPECT_EQ(lines_of("one\\", GETALINE_CONTINUE), (Lines{"one\\"}));
    attach("\\\n");
    EXPECT_EQ(getaline_r(&reader_, GETALINE_CONTINUE), nullptr);
    EXPECT_EQ(reader_.length, 0);
    EXPECT_EQ(reader_.lines, 0);
}

TEST_F(LineReader, BackslashThatFilledTheBufferGoesToo) {
    const std::string text(start_capacity - 1, 'x');
    EXPECT_EQ(lines_of(text + "\\\nyy\n", GETALINE_CONTINUE), (Lines{text + "yy"}));
}

TEST_F(LineReader, ReaderWithoutAStreamFails) {
    attach_getaline(&reader_, nullptr);
    EXPECT_EQ(captured_stderr([&] { EXPECT_EQ(getaline_r(&reader_, 0), nullptr); }),
              "getaline: NULL file\n");
    EXPECT_EQ(reader_.length, -1);
    EXPECT_EQ(reader_.lines, 0);
    EXPECT_EQ(captured_stderr([&] { EXPECT_EQ(getaline_r(&reader_, GETALINE_QUIET), nullptr); }),
              "");
}

TEST_F(LineReader, NoMemoryForTheBufferFailsAndTheReaderStaysUsable) {
    attach("one\n");
    for (const int32_t flags : {0, int32_t{GETALINE_QUIET}}) {
        const std::string message = captured_stderr([&] {
            const FailingMalloc failing(1);
            EXPECT_EQ(getaline_r(&reader_, flags), nullptr);
        });
        EXPECT_EQ(message, flags ? "" : std::string("getaline: malloc: ") + out_of_memory);
        EXPECT_EQ(reader_.length, -1);
    }
    EXPECT_STREQ(getaline_r(&reader_, 0), "one");
}

TEST_F(LineReader, NoMemoryForAGrowingLineFailsAndTheReaderStaysUsable) {
    for (const int32_t flags : {0, int32_t{GETALINE_QUIET}}) {
        attach("first\n" + std::string(start_capacity + 1, 'x') + "\nlast\n");
        EXPECT_STREQ(getaline_r(&reader_, 0), "first");
        const std::string message = captured_stderr([&] {
            const FailingMalloc failing(1);
            EXPECT_EQ(getaline_r(&reader_, flags), nullptr);
        });
        EXPECT_EQ(message, flags ? "" : std::string("getaline: realloc: ") + out_of_memory);
        EXPECT_EQ(reader_.length, -1);
        EXPECT_EQ(reader_.capacity, start_capacity);
        EXPECT_NE(getaline_r(&reader_, 0), nullptr) << "the rest of the long line";
        EXPECT_STREQ(getaline_r(&reader_, 0), "last");
    }
}

TEST_F(LineReader, AttachClearsTheRecordAndOwnsTheStream) {
    getaline_t reader;
    std::memset(&reader, 0x5A, sizeof reader);
    FILE *const stream = file_with("x\n");
    EXPECT_EQ(attach_getaline(&reader, stream), 0);
    EXPECT_EQ(reader.stream, stream);
    EXPECT_EQ(reader.next, nullptr);
    EXPECT_EQ(reader.line, nullptr);
    EXPECT_EQ(reader.lineno, 0u);
    EXPECT_EQ(reader.owner, static_cast<uint32_t>(GETALINE_OWNS_STREAM));
    const int fd = ::fileno(stream);
    EXPECT_EQ(free_getaline(&reader), 0);
    EXPECT_EQ(kel_close(fd), -1) << "the stream was closed";
    EXPECT_EQ(free_getaline(&reader), 0) << "a freed record of the caller's is harmless";
}

TEST_F(LineReader, AttachOfStandardInputNeverClosesIt) {
    EXPECT_EQ(attach_getaline(&reader_, stdin), 0);
    EXPECT_EQ(reader_.owner, 0u);
    free_getaline(&reader_);
    EXPECT_NE(::fcntl(STDIN_FILENO, F_GETFD), -1) << "still open";
}

TEST_F(LineReader, AttachOfNoStreamOwnsNothing) {
    EXPECT_EQ(attach_getaline(&reader_, nullptr), 0);
    EXPECT_EQ(reader_.owner, 0u);
}

TEST_F(LineReader, AllocGivesAReaderThatFreesItself) {
    getaline_t *const reader = alloc_getaline(file_with("one\n"));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->owner, uint32_t{GETALINE_OWNS_RECORD | GETALINE_OWNS_STREAM});
    EXPECT_STREQ(getaline_r(reader, 0), "one");
    EXPECT_EQ(free_getaline(reader), 0);
}

TEST_F(LineReader, AllocWithoutMemoryLeavesTheStreamToTheCaller) {
    FILE *const stream = file_with("one\n");
    {
        const FailingMalloc failing(1);
        EXPECT_EQ(alloc_getaline(stream), nullptr);
    }
    EXPECT_EQ(std::getc(stream), 'o');
    kel_fclose(stream);
}

TEST_F(LineReader, FreeOfNothingIsAllowed) {
    EXPECT_EQ(free_getaline(nullptr), 0);
}

TEST_F(LineReader, StackReadsTheNewestFileFirst) {
    getaline_t *top = push_getaline(nullptr, file_with("outer 1\nouter 2\n", "outer"));
    ASSERT_NE(top, nullptr);
    EXPECT_EQ(top->next, nullptr);
    EXPECT_STREQ(getaline_r(top, 0), "outer 1");
    getaline_t *const bottom = top;
    top = push_getaline(top, file_with("inner\n", "inner"));
    ASSERT_NE(top, nullptr);
    EXPECT_EQ(top->next, bottom);
    EXPECT_STREQ(getaline_r(top, 0), "inner");
    top = pop_getaline(top);
    EXPECT_EQ(top, bottom);
    EXPECT_STREQ(getaline_r(top, 0), "outer 2");
    EXPECT_EQ(pop_getaline(top), nullptr);
    EXPECT_EQ(pop_getaline(nullptr), nullptr);
}

TEST_F(LineReader, StackBottomMayBeTheCallersRecord) {
    attach("outer\n");
    getaline_t *top = push_getaline(&reader_, file_with("inner\n", "inner"));
    top = pop_getaline(top);
    EXPECT_EQ(top, &reader_);
    EXPECT_STREQ(getaline_r(top, 0), "outer");
    EXPECT_EQ(pop_getaline(top), nullptr);
}

TEST_F(LineReader, PushWithoutMemoryLeavesTheStackAsItWas) {
    attach("outer\n");
    FILE *const stream = file_with("inner\n", "inner");
    {
        const FailingMalloc failing(1);
        EXPECT_EQ(push_getaline(&reader_, stream), nullptr);
    }
    EXPECT_EQ(reader_.next, nullptr);
    EXPECT_STREQ(getaline_r(&reader_, 0), "outer");
    kel_fclose(stream);
}

// The reader hidden in getaline, gone at the end of each test.
class HiddenReader : public LineReader {
protected:
    void TearDown() override {
        getaline(nullptr, 0, nullptr);
        LineReader::TearDown();
    }
};

TEST_F(HiddenReader, ReadsLinesAndStoresTheirLength) {
    FILE *const stream = file_with("one\ntwo 2\n");
    int32_t length = -2;
    EXPECT_STREQ(getaline(stream, 0, &length), "one");
    EXPECT_EQ(length, 3);
    EXPECT_STREQ(getaline(stream, 0, &length), "two 2");
    EXPECT_EQ(length, 5);
    EXPECT_EQ(getaline(stream, 0, &length), nullptr);
    EXPECT_EQ(length, 0);
    kel_fclose(stream);
}

TEST_F(HiddenReader, KeepsNulBytesOnlyForACallerWithALength) {
    FILE *const stream = file_with(std::string("a\0b\na\0b\n", 8));
    int32_t length = 0;
    const char *const line = getaline(stream, GETALINE_KEEP_NUL, &length);
    ASSERT_NE(line, nullptr);
    EXPECT_EQ(std::string(line, static_cast<size_t>(length)), std::string("a\0b", 3));
    EXPECT_STREQ(getaline(stream, GETALINE_KEEP_NUL, nullptr), "a b");
    kel_fclose(stream);
}

TEST_F(HiddenReader, NeverClosesAStream) {
    FILE *const first = file_with("a1\na2\n", "a");
    FILE *const second = file_with("b1\nb2\n", "b");
    EXPECT_STREQ(getaline(first, 0, nullptr), "a1");
    EXPECT_STREQ(getaline(second, 0, nullptr), "b1");
    EXPECT_STREQ(getaline(first, 0, nullptr), "a2");
    EXPECT_EQ(getaline(nullptr, 0, nullptr), nullptr);
    EXPECT_STREQ(getaline(second, 0, nullptr), "b2");
    EXPECT_EQ(kel_fclose(first), 0);
    EXPECT_EQ(kel_fclose(second), 0);
}

TEST_F(HiddenReader, KeepsItsBufferFromStreamToStream) {
    FILE *const first = file_with("a\n", "a");
    FILE *const second = file_with("b\n", "b");
    const char *const line = getaline(first, 0, nullptr);
    EXPECT_EQ(getaline(second, 0, nullptr), line);
    EXPECT_STREQ(line, "b");
    kel_fclose(first);
    kel_fclose(second);
}

TEST_F(HiddenReader, MissingStreamGivesNothing) {
    int32_t length = -2;
    EXPECT_EQ(captured_stderr([&] { EXPECT_EQ(getaline(nullptr, 0, &length), nullptr); }), "");
    EXPECT_EQ(length, 0);
}

TEST_F(HiddenReader, NoMemoryForTheReaderFails) {
    FILE *const stream = file_with("one\n");
    for (const int32_t flags : {0, int32_t{GETALINE_QUIET}}) {
        int32_t length = 0;
        const std::string message = captured_stderr([&] {
            const FailingMalloc failing(1);
            EXPECT_EQ(getaline(stream, flags, &length), nullptr);
        });
        EXPECT_EQ(message, flags ? "" : std::string("getaline: initial malloc: ") + out_of_memory);
        EXPECT_EQ(length, -1);
    }
    EXPECT_STREQ(getaline(stream, 0, nullptr), "one");
    kel_fclose(stream);
}

TEST_F(HiddenReader, NoMemoryForTheBufferStoresTheFailure) {
    FILE *const stream = file_with("one\n");
    int32_t length = 0;
    const std::string message = captured_stderr([&] {
        const FailingMalloc failing(2);
        EXPECT_EQ(getaline(stream, 0, &length), nullptr);
    });
    EXPECT_EQ(message, std::string("getaline: malloc: ") + out_of_memory);
    EXPECT_EQ(length, -1);
    kel_fclose(stream);
}

} // namespace
