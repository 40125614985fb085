#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "platform/kel.h"
#include "support/capture.h"
#include "support/failing_calls.h"
#include "support/failing_malloc.h"
#include "support/in_child.h"
#include "support/native_file.h"
#include "support/owned_handles.h"
#include "support/report_log.h"
#include "support/temp_dir.h"
#include "support/toy_format.h"
#include "trackfile/lf.h"
#include "vor/vor.h"

namespace {

using vor::test::Bytes;
using vor::test::Call;
using vor::test::captured_stderr;
using vor::test::FailingCall;
using vor::test::FailingMalloc;
using vor::test::Handle;
using vor::test::header_word;
using vor::test::in_child;
using vor::test::NativeFile;
using vor::test::read_bytes;
using vor::test::ReportLog;
using vor::test::Runs;
using vor::test::TempDir;
using vor::test::Toy;
using vor::test::Track;
using vor::test::write_bytes;

constexpr uint32_t fw16 = 1, fw8 = 2, fw88 = 3, fw511 = 4;

// What a progress reporter has heard, and when it is to stop the walk.
struct Heard {
    int32_t stage;
    int32_t value;
    bool operator==(const Heard &) const = default;
};
std::vector<Heard> heard;
int32_t stop_at = -1;

void PrintTo(const Heard &call, std::ostream *out) {
    *out << "{" << call.stage << ", " << call.value << "}";
}

int32_t listen(int32_t stage, ckvor_t *, int32_t value) {
    heard.push_back({stage, value});
    return stage == CKV_TRACK && value == stop_at ? -1 : 0;
}

class Checker : public ::testing::Test {
protected:
    void SetUp() override {
        heard.clear();
        stop_at = -1;
        record_.filename = name_.c_str();
        record_.progress = listen;
        record_.ncolors = static_cast<int32_t>(colors_.size());
    }

    int32_t check(int32_t full = 1) { return ckvor(&record_, full); }
    int32_t check(const NativeFile &file, int32_t full = 1) {
        file.write(name_);
        return check(full);
    }
    // Also counts the pixels of each colour.
    int32_t count(const NativeFile &file) {
        record_.colors = colors_.data();
        return check(file);
    }
    // The colours with pixels.
    std::vector<std::pair<int, uint32_t>> used() const {
        std::vector<std::pair<int, uint32_t>> result;
        for (size_t i = 0; i < colors_.size(); ++i)
            if (colors_[i] != 0) result.emplace_back(static_cast<int>(i), colors_[i]);
        return result;
    }

    TempDir dir_;
    std::string name_ = dir_.file("image.vor");
    std::vector<uint32_t> colors_ = std::vector<uint32_t>(2048, 7);
    ckvor_t record_ = {};
    ReportLog log_;
};

// Two tracks of 100 pixels: 3 codes, 60 of colour 0 and 40 of 255; 2 codes, 100 of colour 255.
NativeFile two_tracks(bool swapped = false) {
    NativeFile file(fw8, 2, 100, swapped);
    return file.put({60, 0x80 | 40, 0}).put({0x80 | 100, 0});
}

using Pairs = std::vector<std::pair<int, uint32_t>>;

// ---- decoders -----------------------------------------------------------------------------------

TEST_F(Checker, WalksByteCodes) {
    EXPECT_EQ(count(two_tracks()), 0);
    EXPECT_EQ(record_.status, CKV_GOOD);
    EXPECT_EQ(record_.tracks, 2);
    EXPECT_EQ(record_.pixels, 100);
    EXPECT_EQ(record_.swapped, 0);
    EXPECT_EQ(record_.fwmax, 3);
    EXPECT_EQ(record_.avgruns, 3); // 2.5, rounded up
    EXPECT_EQ(record_.mincolor, 0);
    EXPECT_EQ(record_.maxcolor, 255);
    EXPECT_EQ(used(), (Pairs{{0, 60}, {255, 140}}));
}

TEST_F(Checker, WalksWordCodesInBothByteOrders) {
    for (const bool swapped : {false, true}) {
        SCOPED_TRACE(swapped);
        NativeFile file(fw16, 2, 33000, swapped);
        file.put16({32767, 0x8000 | 233, 0}).put16({0x8000 | 30000, 0x8000 | 3000, 0});
        EXPECT_EQ(count(file), 0);
        EXPECT_EQ(record_.swapped, swapped ? 1 : 0);
        EXPECT_EQ(record_.tracks, 2);
        EXPECT_EQ(record_.pixels, 33000);
        EXPECT_EQ(record_.fwmax, 3);
        EXPECT_EQ(used(), (Pairs{{0, 32767}, {255, 33233}}));
    }
}

TEST_F(Checker, NeverSwapsByteCodes) {
    EXPECT_EQ(count(two_tracks(true)), 0);
    EXPECT_EQ(record_.swapped, 1);
    EXPECT_EQ(used(), (Pairs{{0, 60}, {255, 140}}));
}

TEST_F(Checker, WalksColourPairsInBothByteOrders) {
    for (const bool swapped : {false, true}) {
        SCOPED_TRACE(swapped);
        NativeFile file(fw88, 2, 300, swapped);
        file.put({255, 9, 45, 200, 0, 0}).put({100, 9, 100, 9, 100, 3, 0, 77});
        EXPECT_EQ(count(file), 0);
        EXPECT_EQ(record_.swapped, swapped ? 1 : 0);
        EXPECT_EQ(record_.fwmax, 4);
        EXPECT_EQ(record_.mincolor, 3);
        EXPECT_EQ(record_.maxcolor, 200);
        EXPECT_EQ(used(), (Pairs{{3, 100}, {9, 455}, {200, 45}}));
    }
}

TEST_F(Checker, WalksWideColoursInBothByteOrders) {
    for (const bool swapped : {false, true}) {
        SCOPED_TRACE(swapped);
        // The first track starts at 20 * tracks and the header word at 84.
        NativeFile file(fw511, 2, 1031, swapped);
        file.put(Bytes(44)).set(NativeFile::fw511_base_at, 300 - 40);
        file.put16({2047 << 5, 1000, 5 << 5 | 31, 0, 0}).put16({300 << 5, 1031, 0, 0});
        file.seek_table32({0, 0});
        EXPECT_EQ(count(file), 0);
        EXPECT_EQ(record_.fwmax, 3); // a long run is one code
        EXPECT_EQ(record_.mincolor, 5);
        EXPECT_EQ(record_.maxcolor, 2047);
        EXPECT_EQ(used(), (Pairs{{5, 31}, {300, 1031}, {2047, 1000}}));
    }
}

// A zero code with the colour bit set is still a zero code.
TEST_F(Checker, TellsTheEndOfATrackByTheLengthAlone) {
    EXPECT_EQ(count(NativeFile(fw8, 1, 5).put({5, 0x80})), 0);
    EXPECT_EQ(used(), (Pairs{{0, 5}}));
    EXPECT_EQ(count(NativeFile(fw16, 1, 5).put16({0x8005, 0x8000})), 0);
    EXPECT_EQ(used(), (Pairs{{255, 5}}));
}

// Plain decoders, a code at a time.
struct Code {
    uint32_t length;
    uint32_t colour;
};
void put_code(NativeFile &file, uint32_t type, const Code &code) {
    const uint32_t top = code.colour != 0 ? 1 : 0;
    switch (type) {
    case fw16:
        file.put16({static_cast<uint16_t>(code.length | top << 15)});
        break;
    case fw8:
        file.put({static_cast<uint8_t>(code.length | top << 7)});
        break;
    case fw88:
        file.put({static_cast<uint8_t>(code.length), static_cast<uint8_t>(code.colour)});
        break;
    default:
        if (code.length == 0) {
            file.put16({0, 0});
        } else if (code.length > 31) {
            file.put16(
                {static_cast<uint16_t>(code.colour << 5), static_cast<uint16_t>(code.length)});
        } else {
            file.put16({static_cast<uint16_t>(code.colour << 5 | code.length)});
        }
    }
}

// Tracks of every small number of codes and some large ones, at all places in the buffer.
TEST_F(Checker, CountsTheSameAsOneCodeAtATime) {
    constexpr uint32_t pixels = 40000, most[] = {0, 32767, 127, 255, 65535};
    std::mt19937 random(1);
    for (const uint32_t type : {fw16, fw8, fw88, fw511}) {
        for (const bool swapped : {false, true}) {
            SCOPED_TRACE("format " + std::to_string(type) + (swapped ? " swapped" : ""));
            std::vector<int32_t> lengths;
            for (int32_t codes = 400; codes < 480; ++codes)
                lengths.push_back(codes);
            lengths.insert(lengths.end(), {5000, 12000, 40000, 400, 8191, 8192, 8193});

            NativeFile file(type, static_cast<uint32_t>(lengths.size()), pixels, swapped);
            if (type == fw511) file.put(Bytes(20 * lengths.size() - 256));
            std::vector<uint32_t> expected(2048);
            int64_t codes_written = 0;
            for (const int32_t codes : lengths) {
                uint32_t left = pixels;
                for (int32_t i = codes; i > 0; --i, ++codes_written) {
                    // Enough is left for the codes behind, and no more than they can take.
                    const auto behind = static_cast<uint32_t>(i - 1);
                    const uint64_t room = uint64_t{behind} * most[type];
                    const uint32_t low = left > room ? static_cast<uint32_t>(left - room) : 1;
                    const uint32_t high = std::min(
                        {left - behind, most[type], low + 2 * left / static_cast<uint32_t>(i)});
                    const uint32_t length =
                        std::uniform_int_distribution<uint32_t>(low, high)(random);
                    const uint32_t colour = type == fw511  ? random() % 2048
                                            : type == fw88 ? random() % 256
                                                           : random() % 2 * 255;
                    put_code(file, type, {length, colour});
                    expected[colour] += length;
                    left -= length;
                }
                ASSERT_EQ(left, 0u);
                put_code(file, type, {0, 0});
                ++codes_written;
            }
            if (type == fw511) file.seek_table32(std::vector<int64_t>(lengths.size()));

            ASSERT_EQ(count(file), 0) << record_.status;
            EXPECT_EQ(colors_, expected);
            EXPECT_EQ(record_.fwmax, 40001);
            EXPECT_EQ(record_.avgruns,
                      static_cast<int32_t>(static_cast<double>(codes_written) /
                                               static_cast<double>(lengths.size()) +
                                           0.5));
        }
    }
}

// ---- header -------------------------------------------------------------------------------------

TEST_F(Checker, RecognisesTheOtherByteOrderByTheMagicToo) {
    // The type word is in no order.
    NativeFile file(0, 2, 100, true);
    file.set(NativeFile::byteorder_at, 0x12345678);
    EXPECT_EQ(check(file), -1);
    EXPECT_EQ(record_.swapped, 0); // a foreign file has no byte order
    EXPECT_EQ(record_.status, CKV_FORMAT);

    NativeFile swapped = two_tracks(true);
    swapped.set(NativeFile::byteorder_at, 0x12345678);
    EXPECT_EQ(check(swapped), 0);
    EXPECT_EQ(record_.swapped, 1);
}

TEST_F(Checker, EmptyFileGivesStatus7) {
    write_bytes(name_, {});
    EXPECT_EQ(check(), -1);
    EXPECT_EQ(record_.status, CKV_EMPTY);
    EXPECT_TRUE(heard.empty());
}

TEST_F(Checker, ShortHeaderGivesStatus4) {
    for (const size_t size : {1u, 100u, 255u}) {
        write_bytes(name_, Bytes(size, 'x'));
        EXPECT_EQ(check(), -1);
        EXPECT_EQ(record_.status, CKV_READ) << size;
    }
}

TEST_F(Checker, MissingFileGivesStatus1) {
    record_.filename = "/nowhere/at/all";
    EXPECT_EQ(check(), -1);
    EXPECT_EQ(record_.status, CKV_NOTOPEN);
}

TEST_F(Checker, DirectoryGivesStatus1) {
    record_.filename = dir_.path().c_str();
    EXPECT_EQ(check(), -1);
    EXPECT_EQ(record_.status, CKV_NOTOPEN);
}

// ---- parameters ---------------------------------------------------------------------------------

TEST_F(Checker, FewColoursAreRefusedWithStatus12) {
    two_tracks().write(name_);
    std::vector<uint32_t> colors(100, 3);
    for (const int32_t ncolors : {100, 255, 0, -1}) {
        record_ = {};
        record_.filename = name_.c_str();
        record_.colors = colors.data();
        record_.ncolors = ncolors;
        record_.tracks = 5;
        EXPECT_EQ(captured_stderr([&] { EXPECT_EQ(check(), -1); }), "bad color array size\n");
        EXPECT_EQ(record_.status, CKV_PARAMETER);
        EXPECT_EQ(record_.tracks, 5); // nothing else is touched
        EXPECT_EQ(colors, std::vector<uint32_t>(100, 3));
    }
}

TEST_F(Checker, SizeOfTheArrayDoesNotMatterWithoutOne) {
    record_.ncolors = 0;
    EXPECT_EQ(check(two_tracks()), 0);
}

TEST_F(Checker, AbsentFileNameIsRefusedWithStatus12) {
    record_.filename = nullptr;
    EXPECT_EQ(captured_stderr([&] { EXPECT_EQ(check(), -1); }),
              "bad filename/save_fwmax parameter\n");
    EXPECT_EQ(record_.status, CKV_PARAMETER);
}

TEST_F(Checker, OtherValuesOfSaveAreRefusedWithStatus12) {
    two_tracks().write(name_);
    for (const int32_t save : {2, -1, 100}) {
        record_.save_fwmax = save;
        record_.status = 0;
        EXPECT_EQ(captured_stderr([&] { EXPECT_EQ(check(), -1); }),
                  "bad filename/save_fwmax parameter\n");
        EXPECT_EQ(record_.status, CKV_PARAMETER);
    }
}

TEST_F(Checker, ColourArrayIsLookedAtBeforeTheName) {
    record_.filename = nullptr;
    record_.colors = colors_.data();
    record_.ncolors = 1;
    EXPECT_EQ(captured_stderr([&] { check(); }), "bad color array size\n");
}

TEST_F(Checker, ResultsOfAnEarlierCallAreCleared) {
    record_.tracks = record_.pixels = record_.swapped = record_.status = 9;
    record_.filename = "/nowhere/at/all";
    check();
    EXPECT_EQ(record_.tracks, 0);
    EXPECT_EQ(record_.pixels, 0);
    EXPECT_EQ(record_.swapped, 0);
    EXPECT_EQ(record_.status, CKV_NOTOPEN);
    EXPECT_EQ(record_.mincolor, 2047);
    EXPECT_EQ(record_.maxcolor, 0);
}

// ---- estimate -----------------------------------------------------------------------------------

TEST_F(Checker, TrustedHeaderIsEstimatedFromTheFileSize) {
    struct Row {
        uint32_t type;
        uint32_t hflags;
        uint32_t hmaxruns;
        size_t body; // bytes behind the header
        int32_t average;
        int32_t fwmax;
    };
    const Row rows[] = {
        {fw8, 0x400, 50, 400, 40, 50},           // a byte a code
        {fw16, 0x400, 50, 400, 20, 50},          // two bytes a code
        {fw88, 0x400, 50, 400, 20, 50},          //
        {fw511, 0x400, 50, 400, 20, 50},         //
        {fw8, 0x400 | 0x800, 50, 400, 36, 50},   // 4 bytes of track table a track
        {fw16, 0x400 | 0x800, 50, 400, 18, 50},  //
        {fw8, 0x400 | 0x10800, 50, 400, 36, 50}, // also where its entries have 8
        {fw8, 0x400, 30, 400, 30, 30},           // cut to the longest track
        {fw8, 0x400, 0, 400, 40, 0},             // which is not known
        {fw8, 0, 30, 400, 40, 0},                // nor here
        {fw8, 0, 0, 0, 0, 0},                    //
        {fw8, 0x400, 40, 409, 40, 40},           // divided without a rest
    };
    for (const Row &row : rows) {
        NativeFile file(row.type, 10, 100);
        file.flag(row.hflags).set(NativeFile::hmaxruns_at, row.hmaxruns).put(Bytes(row.body));
        record_.avgruns = record_.fwmax = -5;
        EXPECT_EQ(check(file, 0), 0);
        EXPECT_EQ(record_.status, CKV_GOOD);
        EXPECT_EQ(record_.avgruns, row.average) << "row " << (&row - rows);
        EXPECT_EQ(record_.fwmax, row.fwmax) << "row " << (&row - rows);
        EXPECT_EQ(record_.tracks, 10);
        EXPECT_EQ(record_.pixels, 100);
    }
    EXPECT_TRUE(heard.empty());
}

TEST_F(Checker, LongestTrackOfAllPixelsIsNotTrusted) {
    NativeFile file = two_tracks();
    file.flag(0x400).set(NativeFile::hmaxruns_at, 100);
    EXPECT_EQ(check(file, 0), 0);
    EXPECT_EQ(record_.fwmax, 3);
    EXPECT_FALSE(heard.empty());
}

TEST_F(Checker, FullForcesTheWalk) {
    NativeFile file = two_tracks();
    file.flag(0x400).set(NativeFile::hmaxruns_at, 7);
    EXPECT_EQ(check(file, 0), 0);
    EXPECT_EQ(record_.fwmax, 7);
    EXPECT_EQ(check(file, 1), 0);
    EXPECT_EQ(record_.fwmax, 3);
}

TEST_F(Checker, ColourArrayForcesTheWalk) {
    two_tracks().write(name_);
    record_.colors = colors_.data();
    EXPECT_EQ(check(0), 0);
    EXPECT_EQ(record_.fwmax, 3);
}

TEST_F(Checker, EstimateOfAVeryLargeFileStaysWithin32Bits) {
    NativeFile(fw8, 1, 100).write(name_);
    ASSERT_EQ(::truncate(name_.c_str(), int64_t{5} << 30), 0);
    EXPECT_EQ(check(0), 0);
    EXPECT_EQ(record_.avgruns, INT32_MAX);
}

// ---- walk ---------------------------------------------------------------------------------------

TEST_F(Checker, HeaderAloneEndsWithStatus2) {
    EXPECT_EQ(check(NativeFile(fw8, 3, 100)), -1);
    EXPECT_EQ(record_.status, CKV_BADWALK);
    EXPECT_EQ(record_.fwmax, 0);
    EXPECT_EQ(record_.avgruns, 0);
    EXPECT_EQ(record_.mincolor, 2047);
    EXPECT_EQ(record_.maxcolor, 0);
}

TEST_F(Checker, FileThatEndsEarlyGivesStatus2AndWhatWasWalked) {
    NativeFile file(fw8, 3, 100);
    file.put({60, 0x80 | 40, 0}).put({100, 0});
    EXPECT_EQ(count(file), -1);
    EXPECT_EQ(record_.status, CKV_BADWALK);
    EXPECT_EQ(record_.fwmax, 3);
    EXPECT_EQ(record_.avgruns, 3);
    EXPECT_EQ(record_.mincolor, 0);
    EXPECT_EQ(record_.maxcolor, 255);
    EXPECT_EQ(used(), (Pairs{{0, 160}, {255, 40}}));
    EXPECT_EQ(heard.back(), (Heard{CKV_END, 0}));
}

TEST_F(Checker, FileThatEndsWithinATrackOrACodeGivesStatus2) {
    const Bytes bodies[] = {{60, 0x80 | 40}, {60}};
    for (const Bytes &body : bodies) {
        EXPECT_EQ(check(NativeFile(fw8, 1, 100).put(body)), -1);
        EXPECT_EQ(record_.status, CKV_BADWALK);
    }
    EXPECT_EQ(check(NativeFile(fw88, 1, 100).put({100, 5, 0})), -1);
    EXPECT_EQ(record_.status, CKV_BADWALK);
    EXPECT_EQ(check(NativeFile(fw16, 1, 100).put16({100}).put({0})), -1);
    EXPECT_EQ(record_.status, CKV_BADWALK);
    NativeFile wide(fw511, 1, 100);
    wide.set(NativeFile::fw511_base_at, 240).seek_table32({0}).put16({5 << 5});
    EXPECT_EQ(check(wide), -1);
    EXPECT_EQ(record_.status, CKV_BADWALK);
}

TEST_F(Checker, TrackThatDoesNotAddUpGivesStatus11) {
    const Bytes bad_tracks[] = {{60, 0x80 | 41, 0}, {60, 0x80 | 39, 0}, {0}};
    for (const Bytes &bad : bad_tracks) {
        NativeFile file(fw8, 3, 100);
        file.put({100, 0}).put(bad).put({100, 0});
        EXPECT_EQ(check(file), -1);
        EXPECT_EQ(record_.status, CKV_BADLENGTH);
        EXPECT_EQ(record_.fwmax, 2); // the bad one is not counted
        EXPECT_EQ(record_.avgruns, 2);
        EXPECT_EQ(heard.back(), (Heard{CKV_END, 0}));
    }
}

TEST_F(Checker, BadLastTrackGivesStatus11) {
    EXPECT_EQ(check(NativeFile(fw8, 2, 100).put({100, 0}).put({99, 0})), -1);
    EXPECT_EQ(record_.status, CKV_BADLENGTH);
}

// The sum is 100 modulo 2 to the 32nd.
TEST_F(Checker, SumOfATrackDoesNotWrapAround) {
    NativeFile file(fw511, 1, 100);
    std::vector<uint16_t> codes;
    for (uint32_t i = 0; i < 65537; ++i)
        codes.insert(codes.end(), {uint16_t{1 << 5}, uint16_t{65535}});
    codes.insert(codes.end(), {uint16_t{1 << 5}, uint16_t{101}, uint16_t{0}, uint16_t{0}});
    file.set(NativeFile::fw511_base_at, 236).put16(codes).seek_table32({0});
    EXPECT_EQ(count(file), -1);
    EXPECT_EQ(record_.status, CKV_BADLENGTH);
    EXPECT_EQ(used(), (Pairs{{1, 0x7FFFFFFF}}));
}

// ---- track table --------------------------------------------------------------------------------

TEST_F(Checker, BlankTracksOfTheTableCountTheirColour) {
    for (const bool wide : {false, true}) {
        for (const bool swapped : {false, true}) {
            NativeFile file(fw8, 3, 100, swapped);
            file.put({60, 0x80 | 40, 0});
            const std::vector<int64_t> entries = {~300, 256, ~2047};
            if (wide) {
                file.seek_table64(entries);
            } else {
                file.seek_table32(entries);
            }
            EXPECT_EQ(count(file), 0);
            EXPECT_EQ(used(), (Pairs{{0, 60}, {255, 40}, {300, 100}, {2047, 100}}));
            EXPECT_EQ(record_.maxcolor, 2047);
            EXPECT_EQ(record_.fwmax, 3);
            EXPECT_EQ(record_.avgruns, 1); // no codes for the blank ones
        }
    }
}

TEST_F(Checker, FileOfBlankTracksHasNoCodes) {
    EXPECT_EQ(count(NativeFile(fw88, 2, 100).seek_table32({~5, ~6})), 0);
    EXPECT_EQ(record_.fwmax, 0);
    EXPECT_EQ(record_.avgruns, 0);
    EXPECT_EQ(used(), (Pairs{{5, 100}, {6, 100}}));
}

TEST_F(Checker, BlankColourBeyondTheCountedOnesEndsTheWalk) {
    for (const int64_t entry : {~int64_t{2048}, INT64_MIN}) {
        NativeFile file(fw8, 2, 100);
        EXPECT_EQ(check(file.seek_table64({~int64_t{1}, entry})), -1);
        EXPECT_EQ(record_.status, CKV_BADWALK);
    }
}

TEST_F(Checker, TableOrdersTheTracks) {
    NativeFile file(fw8, 4, 100);
    file.put({100, 0}).put({0x80 | 50, 50, 0});
    // The same track twice, an earlier one, and a zero entry: where the last track ended.
    EXPECT_EQ(count(file.seek_table32({258, 258, 256, 0})), 0);
    EXPECT_EQ(used(), (Pairs{{0, 250}, {255, 150}}));
}

TEST_F(Checker, TableReachesFarAndNear) {
    NativeFile file(fw8, 3, 100);
    file.put({100, 0}).put(Bytes(20000, 1)).put({50, 50, 0});
    const auto far = static_cast<int64_t>(file.end()) - 3;
    EXPECT_EQ(check(file.seek_table64({far, 256, far})), 0);
    EXPECT_EQ(record_.fwmax, 3);
}

TEST_F(Checker, EntryBehindTheFileEndsTheWalk) {
    NativeFile file(fw8, 2, 100);
    file.put({100, 0});
    EXPECT_EQ(check(file.seek_table32({256, 0x7FFFFFFF})), -1);
    EXPECT_EQ(record_.status, CKV_BADWALK);
}

TEST_F(Checker, TableOffsetCountsItsHighWordUnderItsFlagAlone) {
    NativeFile file(fw8, 1, 100);
    file.put({100, 0}).seek_table32({256}).set(NativeFile::seekoff_hi_at, 1);
    EXPECT_EQ(check(file), 0);
    EXPECT_EQ(check(file.flag(0x20000)), -1);
    EXPECT_EQ(record_.status, CKV_READ);
}

TEST_F(Checker, TableBeyondTheFileGivesStatus4) {
    NativeFile file(fw8, 0x7FFFFFFF, 100);
    EXPECT_EQ(check(file.seek_table64({256})), -1);
    EXPECT_EQ(record_.status, CKV_READ);
    EXPECT_EQ(heard, (std::vector<Heard>{{CKV_START, 0x7FFFFFFF}, {CKV_END, 0}}));
    NativeFile negative(fw8, 1, 100);
    negative.seek_table32({256}).flag(0x20000).set(NativeFile::seekoff_hi_at, 0x80000000);
    EXPECT_EQ(check(negative), -1);
    EXPECT_EQ(record_.status, CKV_READ);
}

// The flag of the track table is clear in both.
TEST_F(Checker, FormatOfWideColoursAlwaysHasATable) {
    NativeFile file(fw511, 1, 100);
    file.set(NativeFile::fw511_base_at, 260 - 20).put32({0}).put16({7 << 5, 100, 0, 0});
    file.set(NativeFile::seekoff_at, 8000);
    EXPECT_EQ(check(file), -1);
    EXPECT_EQ(record_.status, CKV_READ);
    file.set(NativeFile::seekoff_at, 256);
    EXPECT_EQ(count(file), 0);
    EXPECT_EQ(used(), (Pairs{{7, 100}}));
}

// ---- progress -----------------------------------------------------------------------------------

NativeFile many_tracks(uint32_t tracks) {
    NativeFile file(fw8, tracks, 100);
    for (uint32_t i = 0; i < tracks; ++i)
        file.put({100, 0});
    return file;
}

TEST_F(Checker, ReporterHearsEachSixtyFourthTrack) {
    EXPECT_EQ(check(many_tracks(130)), 0);
    EXPECT_EQ(heard, (std::vector<Heard>{{CKV_START, 130},
                                         {CKV_TRACK, 0},
                                         {CKV_TRACK, 0},
                                         {CKV_TRACK, 64},
                                         {CKV_TRACK, 128},
                                         {CKV_TRACK, 130},
                                         {CKV_END, 0}}));
}

TEST_F(Checker, ReporterStopsTheWalkWithStatus6) {
    stop_at = 64;
    EXPECT_EQ(check(many_tracks(130)), -1);
    EXPECT_EQ(record_.status, CKV_STOPPED);
    EXPECT_EQ(record_.fwmax, 2);
    EXPECT_EQ(heard, (std::vector<Heard>{{CKV_START, 130},
                                         {CKV_TRACK, 0},
                                         {CKV_TRACK, 0},
                                         {CKV_TRACK, 64},
                                         {CKV_TRACK, 64},
                                         {CKV_END, 0}}));
}

TEST_F(Checker, ReporterThatAlwaysRefusesStopsAtTheFirstTrack) {
    stop_at = 0;
    EXPECT_EQ(check(many_tracks(130)), -1);
    EXPECT_EQ(record_.status, CKV_STOPPED);
    EXPECT_EQ(record_.avgruns, 0);
}

TEST_F(Checker, FirstFailureIsTheOneTold) {
    // Track 0 is bad as well.
    stop_at = 0;
    EXPECT_EQ(check(NativeFile(fw8, 2, 100).put({99, 0})), -1);
    EXPECT_EQ(record_.status, CKV_STOPPED);
}

TEST_F(Checker, DefaultReporterWritesToTheErrorStream) {
    many_tracks(66).write(name_);
    record_.progress = nullptr;
    EXPECT_EQ(captured_stderr([&] { EXPECT_EQ(check(), 0); }),
              "Checking image.vor:\n"
              "\r0        of 66 tracks\r0        of 66 tracks\r64       of 66 tracks"
              "\r66       of 66 tracks\n");
}

TEST_F(Checker, ReporterHearsTheEndOfAWalkThatFails) {
    for (const NativeFile &file : {NativeFile(fw8, 1, 100), NativeFile(fw8, 1, 100).put({99, 0}),
                                   NativeFile(fw511, 1, 100)}) {
        heard.clear();
        EXPECT_EQ(check(file), -1);
        EXPECT_EQ(heard.front(), (Heard{CKV_START, 1}));
        EXPECT_EQ(heard.back(), (Heard{CKV_END, 0}));
    }
}

// ---- colours ------------------------------------------------------------------------------------

TEST_F(Checker, ColoursBehindTheCountedOnesAreZeroed) {
    colors_.assign(4096, 7);
    record_.ncolors = 4096;
    EXPECT_EQ(count(two_tracks()), 0);
    EXPECT_EQ(colors_[255], 140u);
    EXPECT_EQ(std::count(colors_.begin() + 2048, colors_.end(), 0u), 2048);
}

TEST_F(Checker, ShortColourArrayIsFilledToItsEndAlone) {
    colors_.assign(300, 7);
    record_.ncolors = 256;
    EXPECT_EQ(count(two_tracks()), 0);
    EXPECT_EQ(colors_[255], 140u);
    EXPECT_EQ(colors_[254], 0u);
    EXPECT_EQ(colors_[256], 7u);
}

TEST_F(Checker, LargeCountsShowAs7FFFFFFF) {
    NativeFile file(fw88, 3, 0x40000000);
    EXPECT_EQ(count(file.seek_table32({~1, ~2, ~2})), 0);
    EXPECT_EQ(used(), (Pairs{{1, 0x40000000}, {2, 0x7FFFFFFF}}));
    NativeFile exact(fw88, 1, 0x7FFFFFFF);
    EXPECT_EQ(count(exact.seek_table32({~1})), 0);
    EXPECT_EQ(used(), (Pairs{{1, 0x7FFFFFFF}}));
    NativeFile beyond(fw88, 5, 0x7FFFFFFF); // a sum beyond 32 bits
    EXPECT_EQ(count(beyond.seek_table32({~1, ~1, ~1, ~1, ~1})), 0);
    EXPECT_EQ(used(), (Pairs{{1, 0x7FFFFFFF}}));
}

// ---- storing ------------------------------------------------------------------------------------

TEST_F(Checker, StoresTheLongestTrack) {
    record_.save_fwmax = 1;
    const NativeFile file = two_tracks();
    EXPECT_EQ(check(file), 0);
    EXPECT_EQ(header_word(name_, NativeFile::hmaxruns_at), 3u);
    EXPECT_EQ(header_word(name_, NativeFile::hflags_at), 0x400u);
    NativeFile expected = file;
    expected.flag(0x400).set(NativeFile::hmaxruns_at, 3);
    EXPECT_EQ(read_bytes(name_), expected.bytes());
    // The next check believes it.
    heard.clear();
    EXPECT_EQ(check(0), 0);
    EXPECT_EQ(record_.fwmax, 3);
    EXPECT_TRUE(heard.empty());
}

TEST_F(Checker, LeavesTheFileAloneUnlessAsked) {
    const NativeFile file = two_tracks();
    EXPECT_EQ(check(file), 0);
    EXPECT_EQ(read_bytes(name_), file.bytes());
}

TEST_F(Checker, EstimateStoresNothing) {
    record_.save_fwmax = 1;
    const NativeFile file = two_tracks();
    EXPECT_EQ(check(file, 0), 0);
    EXPECT_EQ(read_bytes(name_), file.bytes());
}

TEST_F(Checker, BadFileIsNotWrittenTo) {
    record_.save_fwmax = 1;
    NativeFile file(fw8, 2, 100);
    file.put({100, 0}).put({99, 0});
    EXPECT_EQ(check(file), -1);
    EXPECT_EQ(read_bytes(name_), file.bytes());
}

TEST_F(Checker, SwappedFileIsReadButNotWrittenTo) {
    record_.save_fwmax = 1;
    const NativeFile file = two_tracks(true);
    EXPECT_EQ(check(file), 0);
    EXPECT_EQ(record_.fwmax, 3);
    EXPECT_EQ(read_bytes(name_), file.bytes());
}

TEST_F(Checker, AppendsTheColoursInUseToColourPairs) {
    record_.save_fwmax = 1;
    NativeFile file(fw88, 2, 100);
    file.put({100, 7, 0, 0}).put({50, 0, 50, 255, 0, 0});
    EXPECT_EQ(check(file), 0);

    Bytes info(256);
    info[0] = info[7] = info[255] = 1;
    NativeFile expected = file;
    expected.set(NativeFile::cinfooff_at, static_cast<uint32_t>(file.end())).put(info);
    expected.flag(0x400 | 0x4000).set(NativeFile::hmaxruns_at, 3);
    EXPECT_EQ(read_bytes(name_), expected.bytes());

    // A file that has the section gets no other.
    EXPECT_EQ(check(), 0);
    EXPECT_EQ(read_bytes(name_), expected.bytes());
}

TEST_F(Checker, TwoColourFilesGetNoColourInfo) {
    record_.save_fwmax = 1;
    const NativeFile file = two_tracks();
    EXPECT_EQ(check(file), 0);
    EXPECT_EQ(read_bytes(name_).size(), file.end());
    EXPECT_EQ(header_word(name_, NativeFile::hflags_at) & 0x4000, 0u);
}

TEST_F(Checker, ColourInfoFarOutSetsTheFlagOfHighWords) {
    record_.save_fwmax = 1;
    struct Row {
        int64_t size;
        uint32_t lo, hi, off64;
    };
    const Row rows[] = {{INT64_C(0x7FFFFFFF), 0x7FFFFFFF, 0, 0},
                        {INT64_C(0x80000000), 0x80000000, 0, 0x20000},
                        {INT64_C(0x123456789), 0x23456789, 1, 0x20000}};
    for (const Row &row : rows) {
        NativeFile file(fw88, 1, 100);
        // High words that do not count so far must not begin to.
        file.put({100, 7, 0, 0}).set(NativeFile::tagoff_hi_at, 77).write(name_);
        ASSERT_EQ(::truncate(name_.c_str(), row.size), 0);
        EXPECT_EQ(check(), 0);
        std::vector<uint8_t> head(256);
        const int32_t fd = kel_open(name_.c_str(), KEL_O_RDONLY, 0);
        kel_read(fd, head.data(), head.size());
        kel_close(fd);
        const std::string copy = dir_.file("head");
        write_bytes(copy, head);
        EXPECT_EQ(header_word(copy, NativeFile::cinfooff_at), row.lo);
        EXPECT_EQ(header_word(copy, NativeFile::cinfooff_hi_at), row.hi);
        EXPECT_EQ(header_word(copy, NativeFile::hflags_at), 0x4400 | row.off64);
        EXPECT_EQ(header_word(copy, NativeFile::tagoff_hi_at), row.off64 ? 0u : 77u);
    }
}

// The table stands in the header, so that the file has no byte behind it.
TEST_F(Checker, FileOfAHeaderAloneGetsNoColourInfo) {
    record_.save_fwmax = 1;
    NativeFile file(fw88, 1, 100);
    file.flag(0x800).set(NativeFile::seekoff_at, 180).set(180, static_cast<uint32_t>(~7));
    EXPECT_EQ(check(file), 0);
    NativeFile expected = file;
    expected.flag(0x400);
    EXPECT_EQ(read_bytes(name_), expected.bytes());
}

TEST_F(Checker, ChecksumOfTheHeaderIsLeftAlone) {
    record_.save_fwmax = 1;
    NativeFile file = two_tracks();
    file.flag(0x40).set(NativeFile::hcrc_at, 0x11223344);
    EXPECT_EQ(check(file), 0);
    EXPECT_EQ(header_word(name_, NativeFile::hcrc_at), 0x11223344u);
    EXPECT_EQ(header_word(name_, NativeFile::hflags_at), 0x440u);
}

TEST_F(Checker, ReadOnlyFileIsCheckedAndNotStored) {
    if (::geteuid() == 0) {
        // The superuser may write anything, so another user does the check.
        const NativeFile file = two_tracks();
        file.write(name_);
        ::chmod(dir_.path().c_str(), 0755);
        ::chmod(name_.c_str(), 0444);
        const std::string result = in_child([&] {
            if (::setuid(65534) != 0) return std::string("no setuid");
            record_.save_fwmax = 1;
            return std::to_string(check()) + "/" + std::to_string(record_.status);
        });
        EXPECT_EQ(result, "0/0");
        EXPECT_EQ(read_bytes(name_), file.bytes());
        return;
    }
    const NativeFile file = two_tracks();
    file.write(name_);
    ::chmod(name_.c_str(), 0444);
    record_.save_fwmax = 1;
    EXPECT_EQ(check(), 0);
    EXPECT_EQ(read_bytes(name_), file.bytes());
}

// Runs a check that may not make a file longer than `limit` bytes.
std::string check_under_limit(ckvor_t record, rlim_t limit) {
    return in_child([&] {
        ::signal(SIGXFSZ, SIG_IGN);
        const rlimit cut = {limit, RLIM_INFINITY};
        if (::setrlimit(RLIMIT_FSIZE, &cut) != 0) return std::string("no limit");
        const int32_t result = ckvor(&record, 1);
        return std::to_string(result) + "/" + std::to_string(record.status) + "/" +
               std::to_string(record.fwmax);
    });
}

TEST_F(Checker, StoreThatFailsGivesStatus3) {
    record_.save_fwmax = 1;
    two_tracks().write(name_);
    EXPECT_EQ(check_under_limit(record_, 100), "-1/3/3"); // the header cannot be written whole
    NativeFile pairs(fw88, 1, 100);
    pairs.put({100, 7, 0, 0}).write(name_);
    EXPECT_EQ(check_under_limit(record_, 300), "-1/3/2"); // nor the colour info
    // Then the header is as it was.
    const Bytes left = read_bytes(name_);
    EXPECT_TRUE(std::equal(pairs.bytes().begin(), pairs.bytes().end(), left.begin()));
}

TEST_F(Checker, WriteFailureGivesStatus3) {
    record_.save_fwmax = 1;
    const NativeFile file = NativeFile(fw88, 1, 100).put({100, 7, 0, 0});
    for (long nth = 1; nth <= 2; ++nth) { // the colour info, the header
        const FailingCall fail(Call::write, nth);
        EXPECT_EQ(check(file), -1);
        EXPECT_EQ(record_.status, CKV_NOTSTORED);
        EXPECT_EQ(record_.fwmax, 2);
    }
    for (long nth = 2; nth <= 3; ++nth) { // behind the one to the first track
        const FailingCall fail(Call::seek, nth);
        EXPECT_EQ(check(file), -1);
        EXPECT_EQ(record_.status, CKV_NOTSTORED);
    }
}

// ---- failing reads ------------------------------------------------------------------------------

TEST_F(Checker, ReadFailureGivesStatus4) {
    NativeFile file(fw8, 2, 100);
    file.put({100, 0}).put({100, 0}).seek_table32({256, 258});
    for (long nth = 1; nth <= 3; ++nth) { // the header, the table, the tracks
        const FailingCall fail(Call::read, nth);
        EXPECT_EQ(check(file), -1);
        EXPECT_EQ(record_.status, CKV_READ) << nth;
    }
    for (long nth = 1; nth <= 2; ++nth) { // to the table, to the first track
        const FailingCall fail(Call::seek, nth);
        EXPECT_EQ(check(file), -1);
        EXPECT_EQ(record_.status, CKV_READ) << nth;
    }
    EXPECT_EQ(check(file), 0);
}

TEST_F(Checker, SeekFailureToATrackGivesStatus4AndWhatWasWalked) {
    NativeFile file(fw8, 2, 100);
    file.put({100, 0}).put(Bytes(20000)).put({100, 0});
    const auto far = static_cast<int64_t>(file.end()) - 2;
    const FailingCall fail(Call::seek, 3); // to the table, to the first track, to the far one
    EXPECT_EQ(count(file.seek_table32({256, far})), -1);
    EXPECT_EQ(record_.status, CKV_READ);
    EXPECT_EQ(record_.avgruns, 2);
    EXPECT_EQ(used(), (Pairs{{0, 100}}));
    EXPECT_EQ(heard.back(), (Heard{CKV_END, 0}));
}

// ---- foreign files ------------------------------------------------------------------------------

TEST_F(Checker, UnknownFormatGivesStatus9) {
    write_bytes(name_, Bytes(1000, 'x'));
    EXPECT_EQ(check(), -1);
    EXPECT_EQ(record_.status, CKV_FORMAT);
    EXPECT_TRUE(heard.empty());
}

TEST_F(Checker, ForeignFileIsWalkedAndNotWrittenTo) {
    Toy toy = Toy::memory();
    toy.tracks = 3;
    toy.image = {{0, {{60, 0}, {40, 7}}}, {1, {{100, 300}}}, {2, {{10, 1}, {20, 2}, {70, 2047}}}};
    toy.bits = 8;
    const Bytes content(300, 'x');
    write_bytes(name_, content);
    record_.save_fwmax = 1;
    record_.colors = colors_.data();
    EXPECT_EQ(check(0), 0);
    EXPECT_EQ(record_.tracks, 3);
    EXPECT_EQ(record_.pixels, 100);
    EXPECT_EQ(record_.fwmax, 3);
    EXPECT_EQ(record_.avgruns, 2); // (2 + 0 + 3) / 3: a track of one run has none
    EXPECT_EQ(record_.mincolor, 0);
    EXPECT_EQ(record_.maxcolor, 2047);
    EXPECT_EQ(used(), (Pairs{{0, 60}, {1, 10}, {2, 20}, {7, 40}, {300, 100}, {2047, 70}}));
    EXPECT_EQ(read_bytes(name_), content);
    EXPECT_EQ(toy.count("close"), 1);
    EXPECT_EQ(toy.count("whdr"), 0);
}

TEST_F(Checker, ForeignFileWithoutFullGivesStatus9) {
    Toy toy = Toy::memory();
    toy.maxruns = 50;
    write_bytes(name_, Bytes(300, 'x'));
    EXPECT_EQ(check(0), -1);
    EXPECT_EQ(record_.status, CKV_FORMAT);
    EXPECT_EQ(record_.tracks, 10);
    EXPECT_EQ(record_.fwmax, 0); // its own word on the longest track is not taken
    EXPECT_EQ(record_.avgruns, 4);
    EXPECT_EQ(toy.count("close"), 1);
    EXPECT_TRUE(heard.empty());
}

TEST_F(Checker, ForeignFormatThatDoesNotCheckGivesStatus9) {
    Toy toy = Toy::memory();
    toy.check_result = -1;
    write_bytes(name_, Bytes(300, 'x'));
    EXPECT_EQ(check(), -1);
    EXPECT_EQ(record_.status, CKV_FORMAT);
    EXPECT_EQ(toy.count("close"), 1);
}

TEST_F(Checker, ImageWithoutASizeGivesStatus8) {
    Toy toy = Toy::memory();
    write_bytes(name_, Bytes(300, 'x'));
    toy.pixels = 0;
    EXPECT_EQ(check(), -1);
    EXPECT_EQ(record_.status, CKV_NOSIZE);
    toy.pixels = 100;
    toy.tracks = 0;
    EXPECT_EQ(check(), -1);
    EXPECT_EQ(record_.status, CKV_NOSIZE);
    EXPECT_TRUE(heard.empty());
}

TEST_F(Checker, NativeFileWithoutASizeIsNotGood) {
    for (const auto &[tracks, pixels] : std::vector<std::pair<uint32_t, uint32_t>>{
             {0, 100}, {2, 0}, {0x80000000, 100}, {2, 0xFFFFFFFF}}) {
        EXPECT_EQ(check(NativeFile(fw8, tracks, pixels).put({100, 0})), -1);
        EXPECT_TRUE(record_.status == CKV_NOSIZE || record_.status == CKV_FORMAT) << record_.status;
    }
}

TEST_F(Checker, TwoLevelImageShowsAs0And255) {
    Toy toy = Toy::memory();
    toy.tracks = 1;
    write_bytes(name_, Bytes(300, 'x'));
    for (const int32_t bits : {1, 8}) {
        toy.bits = bits;
        toy.readtrack = [](xvor_t *h, trackbuf *t) -> int32_t {
            t->data = t->base + 1;
            t->data[0] = {40, h->ctable[0]};
            t->data[1] = {30, h->ctable[1]};
            t->data[2] = {30, h->ctable[200]};
            return t->nruns = 3;
        };
        record_.colors = colors_.data();
        EXPECT_EQ(check(), 0);
        EXPECT_EQ(used(),
                  bits == 1 ? (Pairs{{0, 40}, {255, 60}}) : (Pairs{{0, 40}, {1, 30}, {200, 30}}));
    }
}

TEST_F(Checker, ColourCodeBeyondTheCountedOnesGivesStatus10) {
    Toy toy = Toy::memory();
    toy.tracks = 3;
    toy.image = {{0, {{100, 5}}}, {1, {{60, 2048}, {40, 7}}}, {2, {{100, 5}}}};
    write_bytes(name_, Bytes(300, 'x'));
    EXPECT_EQ(captured_stderr([&] { EXPECT_EQ(check(), -1); }),
              "\nckvor: bad color code: 2048 (line=1)\n");
    EXPECT_EQ(record_.status, CKV_BADCOLOR);
    EXPECT_EQ(heard.back(), (Heard{CKV_END, 0}));
}

TEST_F(Checker, ForeignTrackThatDoesNotAddUpGivesStatus11) {
    Toy toy = Toy::memory();
    toy.image = {{1, {{60, 2}, {41, 7}}}};
    write_bytes(name_, Bytes(300, 'x'));
    EXPECT_EQ(check(), -1);
    EXPECT_EQ(record_.status, CKV_BADLENGTH);
}

TEST_F(Checker, ForeignTrackThatCannotBeReadGivesStatus2) {
    Toy toy = Toy::memory();
    write_bytes(name_, Bytes(300, 'x'));
    toy.read_result = -1;
    EXPECT_EQ(check(), -1);
    EXPECT_EQ(record_.status, CKV_BADWALK);
}

TEST_F(Checker, RepeatedTrackTakesThePixelsOfTheTrackBefore) {
    Toy toy = Toy::memory();
    toy.tracks = 3;
    // The buffer claims to hold the next track already.
    toy.readtrack = [](xvor_t *h, trackbuf *t) -> int32_t {
        t->data = t->base + 1;
        t->data[0] = {40, 1};
        t->data[1] = {60, 2};
        if (h->imgtrk == 0) t->imgtrk = 1;
        return t->nruns = 2;
    };
    write_bytes(name_, Bytes(300, 'x'));
    record_.colors = colors_.data();
    EXPECT_EQ(captured_stderr([&] { EXPECT_EQ(check(), 0); }), "\nRepeated track: 1\n");
    EXPECT_EQ(used(), (Pairs{{1, 80}, {2, 120}})); // its runs are not counted again
    EXPECT_EQ(record_.avgruns, 1);                 // nor are its codes
}

TEST_F(Checker, BlankForeignTracksAreOneColour) {
    Toy toy = Toy::memory();
    toy.tracks = 2;
    toy.bits = 8;
    toy.seek_results = {{0, 9}};
    toy.image = {{1, {{50, 3}, {50, 4}}}};
    write_bytes(name_, Bytes(300, 'x'));
    record_.colors = colors_.data();
    EXPECT_EQ(check(), 0);
    EXPECT_EQ(used(), (Pairs{{3, 50}, {4, 50}, {8, 100}}));
    EXPECT_EQ(record_.avgruns, 1);
}

// ---- compressed native files --------------------------------------------------------------------

// Writes an image of `tracks` tracks with a run of colour 0 and one of 255 each, and a blank one.
void write_image(const std::string &name, int32_t subtype, int32_t tracks) {
    Handle h(lfopen(name.c_str(), LF_WRITE, lffdev(0, subtype), nullptr));
    ASSERT_TRUE(h);
    ASSERT_EQ(lfsetsize(h.get(), tracks, 1000), 0);
    Track track;
    for (int32_t i = 0; i < tracks; ++i) {
        const auto cut = static_cast<uint32_t>(i + 1);
        track.put(i == 0 ? Runs{{1000, 255}} : Runs{{cut, 0}, {1000 - cut, 255}});
        ASSERT_EQ(lfwrite(h.get(), track.get(), i), 0);
    }
    ASSERT_EQ(vor::test::close_now(&h), 0);
}

TEST_F(Checker, CompressedFileShowsThePixelsOfItsPlainTwin) {
    for (const int32_t format : {1, 2, 3}) {
        SCOPED_TRACE(format);
        record_.colors = colors_.data();
        write_image(name_, format, 20);
        EXPECT_EQ(check(), 0);
        const Pairs plain = used();
        EXPECT_EQ(plain.size(), 2u);
        write_image(name_, format | 0x40, 20);
        const Bytes before = read_bytes(name_);
        record_.save_fwmax = 1;
        EXPECT_EQ(check(), 0) << record_.status;
        EXPECT_EQ(used(), plain);
        EXPECT_EQ(record_.tracks, 20);
        EXPECT_EQ(record_.fwmax, 2);
        EXPECT_EQ(read_bytes(name_), before);
        record_.save_fwmax = 0;
    }
}

TEST_F(Checker, CompressedFileWithoutFullGivesStatus9) {
    write_image(name_, 3 | 0x40, 20);
    EXPECT_EQ(check(0), -1);
    EXPECT_EQ(record_.status, CKV_FORMAT);
    EXPECT_GT(record_.fwmax, 0); // the native format's word on the longest track is taken
}

TEST_F(Checker, WrittenFileIsFoundGoodAndStored) {
    for (const int32_t format : {1, 2, 3}) {
        SCOPED_TRACE(format);
        write_image(name_, format, 200);
        record_.save_fwmax = 1;
        EXPECT_EQ(check(), 0) << record_.status;
        EXPECT_EQ(record_.tracks, 200);
        EXPECT_EQ(record_.pixels, 1000);
        EXPECT_EQ(record_.mincolor, 0);
        EXPECT_EQ(record_.maxcolor, 255);
        Handle h(lfopen(name_.c_str(), LF_READ, 0, nullptr));
        ASSERT_TRUE(h);
        EXPECT_EQ(h->maxruns, record_.fwmax);
        EXPECT_EQ(lfcheck(h.get()), 0);
    }
}

// ---- exhaustion ---------------------------------------------------------------------------------

TEST_F(Checker, NoMemoryForTheTableGivesStatus5) {
    NativeFile file(fw8, 1, 100);
    file.put({100, 0}).seek_table32({256}).write(name_);
    {
        const FailingMalloc fail(1);
        EXPECT_EQ(check(), -1);
        EXPECT_TRUE(fail.reached());
    }
    EXPECT_EQ(record_.status, CKV_MEMORY);
    EXPECT_EQ(heard, (std::vector<Heard>{{CKV_START, 1}, {CKV_END, 0}}));
}

TEST_F(Checker, NoMemoryForATrackOfAForeignFileGivesStatus5) {
    Toy toy = Toy::memory();
    write_bytes(name_, Bytes(300, 'x'));
    bool seen = false;
    for (long nth = 1; nth < 100; ++nth) {
        const FailingMalloc fail(nth);
        const int32_t result = check();
        if (!fail.reached()) break;
        EXPECT_EQ(result, -1);
        EXPECT_TRUE(record_.status == CKV_FORMAT || record_.status == CKV_MEMORY);
        seen = seen || record_.status == CKV_MEMORY;
    }
    EXPECT_TRUE(seen);
}

TEST_F(Checker, PlainFileNeedsNoMemory) {
    two_tracks().write(name_);
    const FailingMalloc fail(1, true);
    EXPECT_EQ(check(), 0);
    EXPECT_FALSE(fail.reached());
}

} // namespace
