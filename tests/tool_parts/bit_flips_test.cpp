// Every single bit of small files is flipped, and each depth of the check is asked whether it sees
// that. What the deep check calls protected must be: a flip there is found, or the file says the
// same in other words. The counts are those of the table in docs/checking.md.

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cctype>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include <zlib.h>

#include "check_file.h"
#include "formats/formats.h"
#include "native_layout.h"
#include "report.h"
#include "support/temp_dir.h"
#include "trackfile/lf.h"

namespace vor::tool {
namespace {

using Bytes = std::vector<uint8_t>;
using Rows = std::vector<std::vector<lfrun>>;

constexpr uint32_t short_track = 300;
constexpr uint32_t long_track = 100000; // its runs take many codes, which deflate says in more ways

struct Kind {
    const char *name; // as the table has it
    uint32_t type;
    ByteOrder order;
    bool summed = false;  // bears a checksum of its header
    bool colours = false; // has colour tables and a colour info
    uint32_t pixels = short_track;
};

const Kind kinds[] = {
    {"fw16, little-endian", VT_FW16, ByteOrder::little, false, true},
    {"fw16, big-endian", VT_FW16, ByteOrder::big},
    {"fw16 deflated, little-endian", VT_FW16 | VT_DEFLATED, ByteOrder::little},
    {"fw8, little-endian", VT_FW8, ByteOrder::little},
    {"fw8 deflated, big-endian", VT_FW8 | VT_DEFLATED, ByteOrder::big},
    {"fw88, little-endian", VT_FW88, ByteOrder::little, false, true},
    {"fw88, big-endian", VT_FW88, ByteOrder::big},
    {"fw88 deflated, little-endian", VT_FW88 | VT_DEFLATED, ByteOrder::little},
    {"fw8, big-endian, with a checksum", VT_FW8, ByteOrder::big, true},
    {"fw16, little-endian, with a checksum", VT_FW16, ByteOrder::little, true},
    {"fw88 deflated, big-endian, with a checksum", VT_FW88 | VT_DEFLATED, ByteOrder::big, true},
    {"fw8 deflated, long runs", VT_FW8 | VT_DEFLATED, ByteOrder::little, false, false, long_track},
    {"fw88 deflated, long runs", VT_FW88 | VT_DEFLATED, ByteOrder::little, false, false,
     long_track}};

struct Counts {
    int64_t bits = 0;
    int64_t quick = 0;
    int64_t full = 0;
    int64_t deep = 0;
    int64_t guarded = 0; // bits of protected bytes
    int64_t guarded_found = 0;
    int64_t harmless = 0; // bits of these that were not found, and change nothing
};

// ---- making

// Coded tracks begin with a run that fills them up to their pixels.
Rows rows_of(const Kind &kind) {
    const uint32_t other = (kind.type & VT_FORMAT) == VT_FW88 ? 7 : 0;
    const uint32_t more = kind.pixels - short_track;
    Rows rows = {{{200 + more, 0}, {100, 255}},
                 {{kind.pixels, 255}},
                 {{1 + more, 255}, {298, 0}, {1, 255}},
                 {{29 + more, 0}},
                 {{kind.pixels, 0}},
                 {{128 + more, 255}, {44, other}, {128, 255}}};
    for (uint32_t i = 0; i < 28; ++i)
        rows[3].push_back({i % 4 + 8, i % 2 == 0 ? 255 : other});
    rows[3].push_back({5, 255});
    return rows;
}

void add_tag(xvor_t *h, const std::string &name, uint32_t payload) {
    std::vector<uint32_t> block((VOR_TAGHEAD + payload) / 4);
    vortag head{};
    head.tagsize = VOR_TAGNAME + payload;
    name.copy(head.tagname, sizeof head.tagname - 1);
    std::memcpy(block.data(), &head, sizeof head);
    std::fill(block.begin() + VOR_TAGHEAD / 4, block.end(), 0x31303130);
    ASSERT_EQ(lfspecial(h, LFS_ADD_TAG, block.data()), 0);
}

void add_colour_tables(xvor_t *h) {
    uint16_t table[LF_NCOLORS];
    for (uint16_t i = 0; i < LF_NCOLORS; ++i)
        table[i] = i;
    for (int32_t index = 0; index < 2; ++index) {
        vor_ctabreq request{.index = index, .create = 1, .table = table};
        ASSERT_EQ(lfspecial(h, LFS_SET_CTAB, &request), 0);
    }
}

void write_rows(xvor_t *h, const Rows &rows) {
    trackbuf track;
    ASSERT_EQ(gtgrow(&track, short_track, 1, 0), 0);
    for (size_t n = 0; n < rows.size(); ++n) {
        std::copy(rows[n].begin(), rows[n].end(), track.data);
        track.nruns = static_cast<int32_t>(rows[n].size());
        ASSERT_EQ(lfwrite(h, &track, static_cast<int32_t>(n)), 0);
    }
    gtfree(&track);
}

void make_file(const Kind &kind, const std::string &name) {
    const bool swapped =
        (kind.order == ByteOrder::little) != (std::endian::native == std::endian::little);
    const uint32_t mode =
        LF_WRITE | LF_STOPS | (swapped ? LF_SWAPPED : 0) | (kind.colours ? 0 : LF_NOCOLOR);
    const Rows rows = rows_of(kind);
    xvor_t *h = lfopen(name.c_str(), mode, static_cast<int32_t>(kind.type), nullptr);
    ASSERT_NE(h, nullptr);
    ASSERT_EQ(lfsetsize(h, static_cast<int32_t>(rows.size()), static_cast<int32_t>(kind.pixels)),
              0);
    ASSERT_EQ(lfcheck(h), 0);
    ASSERT_EQ(lfsetstop(h, 0, LF_STOP_FIRST), 0);
    ASSERT_EQ(lfsetstop(h, 1, LF_STOP_LAST), 0);
    ASSERT_EQ(lfsetstop(h, 4, LF_STOP_SINGLE), 0);
    if (kind.colours) add_colour_tables(h);
    add_tag(h, "Job", 8);
    add_tag(h, "A name of one and thirty bytes.", 4);
    write_rows(h, rows);
    ASSERT_EQ(lfclose(h), 0);
}

Bytes read_file(const std::string &name) {
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void write_byte(std::fstream *file, int64_t offset, uint8_t byte) {
    file->seekp(offset);
    file->put(static_cast<char>(byte));
    file->flush();
}

// Puts the checksum of the header where it belongs.
void sum_header(const Kind &kind, const std::string &name) {
    const Bytes bytes = read_file(name);
    uLong sum = crc32(0, bytes.data(), 144);
    sum = crc32(sum, bytes.data() + 148, 256 - 148);
    std::fstream file(name, std::ios::binary | std::ios::in | std::ios::out);
    for (int32_t i = 0; i < 4; ++i) {
        const int32_t shift = kind.order == ByteOrder::little ? 8 * i : 24 - 8 * i;
        write_byte(&file, 144 + i, static_cast<uint8_t>(sum >> shift));
    }
}

// ---- flipping

// Do the tracks hold the codes that were written? (For a file that the deep check finds good.)
bool holds_rows(const std::string &name, const Rows &rows) {
    xvor_t *h = lfopen(name.c_str(), LF_READ | LF_NOCOLOR, 0, nullptr);
    trackbuf track;
    gtgrow(&track, short_track, 1, 0);
    bool same = h && lfcheck(h) == 0;
    for (int32_t n = 0; same && n < static_cast<int32_t>(rows.size()); ++n) {
        const auto &row = rows[static_cast<size_t>(n)];
        same = lfread(h, &track, n) >= 0 && track.nruns == static_cast<int32_t>(row.size());
        for (size_t i = 0; same && i < row.size(); ++i) {
            const bool set = track.data[i].colour != 0;
            const bool gray = h->bits > 1;
            same = track.data[i].length == row[i].length &&
                   (gray ? track.data[i].colour == row[i].colour : set == (row[i].colour != 0));
        }
    }
    if (h) lfclose(h);
    gtfree(&track);
    return same;
}

CheckOptions at_depth(Depth depth) {
    CheckOptions options;
    options.depth = depth;
    options.quiet = true;
    options.share = false;
    return options;
}

bool is_found(Depth depth, const std::string &name) {
    const Verdict verdict = check_file(at_depth(depth), name);
    return !verdict.fault.empty() || (verdict.deep && verdict.deep->findings.total() > 0);
}

// Which bytes the deep check calls protected.
std::vector<bool> guarded_bytes(const std::string &name, DeepReport *report) {
    FileBytes file(name);
    std::vector<bool> guarded(static_cast<size_t>(file.size()));
    const auto layout = read_layout(file);
    DeepOptions options;
    options.quiet = true;
    options.watch = [&](int64_t offset, int64_t bytes, Cover) {
        for (int64_t i = offset; i < offset + bytes; ++i) {
            EXPECT_FALSE(guarded[static_cast<size_t>(i)]) << "byte " << i << " is counted twice";
            guarded[static_cast<size_t>(i)] = true;
        }
    };
    if (layout) check_deeply(file, *layout, options, report);
    return guarded;
}

class BitFlips : public testing::TestWithParam<Kind> {
protected:
    void SetUp() override {
        start_reports(true);
        make_file(GetParam(), name_);
        if (GetParam().summed) sum_header(GetParam(), name_);
        bytes_ = read_file(name_);
        file_.open(name_, std::ios::binary | std::ios::in | std::ios::out);
    }

    void count_flip(size_t place, bool guarded) {
        const bool found = is_found(Depth::deep, name_);
        counts_.bits += 1;
        counts_.quick += is_found(Depth::quick, name_) ? 1 : 0;
        counts_.full += is_found(Depth::full, name_) ? 1 : 0;
        counts_.deep += found ? 1 : 0;
        if (!guarded) return;
        counts_.guarded += 1;
        counts_.guarded_found += found ? 1 : 0;
        if (found) return;
        counts_.harmless += 1;
        EXPECT_GE(place, size_t{VOR_HDRSIZE}) << "a flip in the header is missed";
        EXPECT_TRUE(GetParam().type & VT_DEFLATED) << "a flip in byte " << place << " is missed";
        EXPECT_TRUE(holds_rows(name_, rows_of(GetParam())))
            << "a flip in byte " << place << " is missed";
    }

    void flip_all(const std::vector<bool> &guarded) {
        for (size_t place = 0; place < bytes_.size(); ++place) {
            for (int32_t bit = 0; bit < 8; ++bit) {
                const auto flipped = static_cast<uint8_t>(bytes_[place] ^ (1U << bit));
                write_byte(&file_, static_cast<int64_t>(place), flipped);
                count_flip(place, guarded[place]);
            }
            write_byte(&file_, static_cast<int64_t>(place), bytes_[place]);
        }
    }

    std::string row() const {
        std::ostringstream text;
        text << "| " << GetParam().name << " | " << counts_.bits << " | " << counts_.quick << " | "
             << counts_.full << " | " << counts_.deep << " | " << counts_.guarded << " | "
             << counts_.guarded_found << " | " << counts_.harmless << " |";
        return text.str();
    }

    vor::test::TempDir dir_;
    std::string name_ = dir_.file("a.vor");
    Bytes bytes_;
    std::fstream file_;
    Counts counts_;
};

std::string table_row(const std::string &kind) {
    std::ifstream page(VOR_DOCS "/checking.md");
    for (std::string line; std::getline(page, line);) {
        if (line.starts_with("| " + kind + " |")) return line;
    }
    return "";
}

TEST_P(BitFlips, AreFoundInEachProtectedByteAsTheTableTells) {
    DeepReport report(100);
    const std::vector<bool> guarded = guarded_bytes(name_, &report);
    ASSERT_EQ(report.findings.total(), 0) << kind_of(report.findings.kept().front().id).name;
    ASSERT_TRUE(report.share);
    ASSERT_FALSE(is_found(Depth::deep, name_));
    flip_all(guarded);
    EXPECT_EQ(report.share->by_checksum + report.share->by_structure, counts_.guarded / 8);
    EXPECT_EQ(counts_.guarded_found + counts_.harmless, counts_.guarded);
    EXPECT_EQ(read_file(name_), bytes_);
    std::cout << row() << "\n";
    EXPECT_EQ(row(), table_row(GetParam().name));
}

TEST_P(BitFlips, LeaveAFileGoodThatHasNone) {
    EXPECT_EQ(check_file(at_depth(Depth::quick), name_).fault, "");
    EXPECT_EQ(check_file(at_depth(Depth::full), name_).fault, "");
    EXPECT_TRUE(holds_rows(name_, rows_of(GetParam())));
}

INSTANTIATE_TEST_SUITE_P(Kinds, BitFlips, testing::ValuesIn(kinds), [](const auto &kind) {
    std::string name;
    for (const char *c = kind.param.name; *c != '\0'; ++c) {
        if (std::isalnum(static_cast<unsigned char>(*c)) != 0) name += *c;
    }
    return name;
});

} // namespace
} // namespace vor::tool
