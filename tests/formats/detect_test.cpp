// Recognition of a file by the rows of the table.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "formats/formats.h"
#include "platform/kel.h"
#include "support/byte_file.h"
#include "support/owned_handles.h"
#include "support/report_log.h"
#include "support/temp_dir.h"
#include "trackfile/lf.h"

namespace vor::test {
namespace {

// Three formats in a row of the table, the one in the middle unable to read. They know a file only
// while a test has set them up.
struct Plan {
    int32_t first_result = 1;
    int32_t last_result = 1;
    std::vector<std::string> asked;
    std::vector<std::vector<uint8_t>> heads;
    std::vector<int64_t> positions;
};
Plan *plan = nullptr;

int32_t answer(xvor_t *h, const uint8_t *head, int32_t size, const char *name, int32_t result) {
    plan->asked.emplace_back(name);
    plan->heads.emplace_back(head, head + size);
    plan->positions.push_back(kel_lseek(h->fd, 0, KEL_SEEK_CUR));
    return result;
}

int32_t first_detect(xvor_t *h, const uint8_t *head, int32_t size) {
    return plan ? answer(h, head, size, "first", plan->first_result) : 1;
}

int32_t last_detect(xvor_t *h, const uint8_t *head, int32_t size) {
    return plan ? answer(h, head, size, "last", plan->last_result) : 1;
}

int32_t registered(const char *name, int32_t (*detect)(xvor_t *, const uint8_t *, int32_t)) {
    auto *format = new lffmt_t{};
    format->name = name;
    format->detect = detect;
    const int32_t row = lfregisterfmt(format);
    if (lfdescriptor(row) != format) delete format;
    return row;
}

class Detection : public ::testing::Test {
protected:
    ReportLog log;
    TempDir dir;
    std::string name = dir.file("image");
    Plan rows;
    lfinfo info = {};
    int32_t first_row = registered("detect first", first_detect);
    int32_t middle_row = registered("detect never", nullptr);
    int32_t last_row = registered("detect last", last_detect);

    Detection() {
        plan = &rows;
        write_text(name, "some bytes");
    }
    ~Detection() override { plan = nullptr; }

    Handle open() { return Handle(lfopen(name.c_str(), LF_READ, 0, &info)); }
};

TEST_F(Detection, AsksTheRowsInTableOrderAndPassesOverThoseThatCannotRead) {
    ASSERT_LT(first_row, middle_row);
    ASSERT_LT(middle_row, last_row);
    EXPECT_FALSE(open());
    EXPECT_EQ(rows.asked, (Lines{"first", "last"}));
}

TEST_F(Detection, StopsAtTheFirstFormatThatKnowsTheFile) {
    rows.first_result = 0;
    const Handle h = open();
    ASSERT_TRUE(h);
    EXPECT_EQ(h->fmt, first_row);
    EXPECT_EQ(rows.asked, Lines{"first"});
    EXPECT_TRUE(log.empty());
}

TEST_F(Detection, GoesOnToALaterFormat) {
    rows.last_result = 0;
    const Handle h = open();
    ASSERT_TRUE(h);
    EXPECT_EQ(h->fmt, last_row);
}

TEST_F(Detection, AnyResultButZeroAndMinusOneMeansAnotherFormat) {
    for (const int32_t result : {1, 2, -2, 1000, -1000}) {
        rows.asked.clear();
        rows.first_result = result;
        rows.last_result = 0;
        const Handle h = open();
        ASSERT_TRUE(h) << result;
        EXPECT_EQ(h->fmt, last_row);
    }
}

TEST_F(Detection, FailureOfAFormatStopsTheSearch) {
    rows.first_result = -1;
    rows.last_result = 0;
    EXPECT_FALSE(open());
    EXPECT_EQ(rows.asked, Lines{"first"});
    EXPECT_EQ(log.take(), Lines{"vor_detect_format: last os error"});
    EXPECT_EQ(info.error, LFE_OS);
    EXPECT_EQ(info.major, first_row);
}

TEST_F(Detection, FileThatNoFormatKnowsIsCode11) {
    EXPECT_FALSE(open());
    EXPECT_EQ(log.take(), Lines{"vor_detect_format: unknown file format"});
    EXPECT_EQ(info.error, LFE_FORMAT);
}

TEST_F(Detection, WithoutAFileFailsSilently) {
    EXPECT_EQ(lfdopen(-1, "x", LF_READ, 0, &info), nullptr);
    EXPECT_EQ(rows.asked, (Lines{"first", "last"}));
    EXPECT_TRUE(log.empty());
}

TEST_F(Detection, AllFormatsSeeTheSameBytesAndTheFileStaysWhereItIs) {
    EXPECT_FALSE(open());
    ASSERT_EQ(rows.heads.size(), 2u);
    EXPECT_EQ(rows.heads[0], rows.heads[1]);
    EXPECT_EQ(std::string(rows.heads[0].begin(), rows.heads[0].end()), "some bytes");
    EXPECT_EQ(rows.positions[0], rows.positions[1]);
}

TEST_F(Detection, NativeFormatComesFirst) {
    std::vector<uint8_t> header(256);
    header[0] = 1;   // a track
    header[16] = 2;  // of bytes
    header[20] = 10; // and ten pixels
    write_bytes(name, header);
    rows.first_result = 0;
    const Handle h = open();
    ASSERT_TRUE(h);
    EXPECT_EQ(h->fmt, 0);
    EXPECT_TRUE(rows.asked.empty());
}

} // namespace
} // namespace vor::test
