// Holds docs/vor-format.md against the library: its hex dumps are read out of the document and
// written to files, and its tables of offsets and flags are compared with the public header.
#include <gtest/gtest.h>
#include <zlib.h>

#include <bit>
#include <cctype>
#include <cstddef>
#include <cstring>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "formats/formats.h"
#include "support/byte_file.h"
#include "support/temp_dir.h"
#include "trackfile/lf.h"
#include "vor/vor.h"

namespace {

using Bytes = std::vector<uint8_t>;
using vor::test::TempDir;

const std::string &document() {
    static const std::string text = vor::test::read_text(VOR_FORMAT_DOCUMENT);
    return text;
}

// The bytes of the block "```hex NAME". Its lines are "offset  bytes | comment".
Bytes dump(const std::string &name) {
    const std::string head = "```hex " + name + "\n";
    const size_t begin = document().find(head);
    if (begin == std::string::npos) throw std::runtime_error("no dump " + name);
    const size_t end = document().find("```", begin + head.size());
    std::istringstream lines(document().substr(begin + head.size(), end - begin - head.size()));
    Bytes bytes;
    for (std::string line; std::getline(lines, line);) {
        std::istringstream columns(line.substr(0, line.find('|')));
        std::string column;
        columns >> column;
        EXPECT_EQ(bytes.size(), std::stoul(column, nullptr, 16)) << line;
        while (columns >> column)
            bytes.push_back(static_cast<uint8_t>(std::stoul(column, nullptr, 16)));
    }
    return bytes;
}

// Cells of the table rows that name something in backticks in their cell `name_at`.
std::map<std::string, std::vector<std::string>> rows_by_name(size_t name_at) {
    std::map<std::string, std::vector<std::string>> rows;
    std::istringstream lines(document());
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("| ", 0) != 0) continue;
        std::istringstream cut(line.substr(2));
        std::vector<std::string> cells;
        for (std::string cell; std::getline(cut, cell, '|');) {
            const size_t first = cell.find_first_not_of(' ');
            const size_t last = cell.find_last_not_of(' ');
            cells.push_back(first == std::string::npos ? "" : cell.substr(first, last - first + 1));
        }
        if (cells.size() <= name_at || cells[name_at].size() < 3) continue;
        if (cells[name_at].front() != '`' || cells[name_at].back() != '`') continue;
        rows.emplace(cells[name_at].substr(1, cells[name_at].size() - 2), cells);
    }
    return rows;
}

// The dumps have their least significant byte first: how a handle has to be told to write that.
uint32_t byte_order_of_dumps() {
    return std::endian::native == std::endian::little ? 0 : LF_SWAPPED;
}

struct Buffer : trackbuf {
    explicit Buffer(uint32_t runs) : trackbuf() { gtgrow(this, runs, 1, 0); }
    ~Buffer() { gtfree(this); }
    Buffer(const Buffer &) = delete;
    Buffer &operator=(const Buffer &) = delete;

    void set(const std::vector<lfrun> &runs) {
        nruns = static_cast<int32_t>(runs.size());
        std::copy(runs.begin(), runs.end(), data);
    }
    std::string text() const {
        std::string result;
        for (int32_t i = 0; i < nruns; ++i)
            result += std::to_string(data[i].length) + "x" + std::to_string(data[i].colour) + " ";
        return result;
    }
};

// What a file holds behind its header when one track of 300 pixels is written.
Bytes coded_track(const std::string &name, int32_t type, uint32_t mode, uint32_t second_colour) {
    xvor_t *const h = lfopen(name.c_str(), LF_WRITE | LF_NOCOLOR | mode, lffdev(0, type), nullptr);
    EXPECT_EQ(0, lfsetsize(h, 1, 300));
    Buffer track(2);
    track.set({{200, 0}, {100, second_colour}});
    EXPECT_EQ(0, lfwrite(h, &track, 0));
    EXPECT_EQ(0, lfclose(h));
    const Bytes file = vor::test::read_bytes(name);
    return {file.begin() + VOR_HDRSIZE, file.end() - 4}; // the table of one entry is cut off
}

TEST(FormatDocument, TheWholeFileReadsAsTold) {
    const TempDir dir;
    vor::test::write_bytes(dir.file("a.vor"), dump("whole-file"));
    lfinfo info;
    xvor_t *const h = lfopen(dir.file("a.vor").c_str(), LF_READ, 0, &info);
    ASSERT_TRUE(h);
    EXPECT_EQ(3, info.xsize);
    EXPECT_EQ(12, info.ysize);
    EXPECT_EQ(100.0, info.xres);
    EXPECT_EQ(50.0, info.yres);
    EXPECT_EQ(1, info.bits);
    EXPECT_EQ(static_cast<int32_t>(VT_FW16), info.minor);
    EXPECT_EQ(4, info.maxruns);

    Buffer track(12);
    EXPECT_EQ(3, lfread(h, &track, 0));
    EXPECT_EQ("4x0 3x255 5x0 ", track.text());
    EXPECT_EQ(1, lfread(h, &track, 1));
    EXPECT_EQ("12x255 ", track.text());
    EXPECT_EQ(2, lfread(h, &track, 2));
    EXPECT_EQ("6x255 6x0 ", track.text());

    ASSERT_EQ(1u, lfstoptablesize(h));
    EXPECT_EQ(LF_STOP_SINGLE | 2u, lfstoptable(h)[0]);
    vor_tagreq tag = {"Job", nullptr};
    ASSERT_EQ(0, lfspecial(h, LFS_FIND_TAG, &tag));
    EXPECT_EQ(40u, tag.record->tagsize);
    EXPECT_STREQ("Demo 1", reinterpret_cast<const char *>(tag.record) + VOR_TAGHEAD);
    EXPECT_EQ(0, lfclose(h));
}

TEST(FormatDocument, TheLibraryWritesTheWholeFileByteForByte) {
    const TempDir dir;
    const std::string name = dir.file("a.vor");
    xvor_t *const h = lfopen(name.c_str(), LF_WRITE | LF_NOCOLOR | LF_STOPS | byte_order_of_dumps(),
                             lffdev(0, VT_FW16), nullptr);
    ASSERT_TRUE(h);
    EXPECT_EQ(0, lfsetsize(h, 3, 12));
    EXPECT_EQ(0, lfscale(h, 100, 50));
    EXPECT_EQ(0, lfcheck(h));
    Buffer track(3);
    track.set({{4, 0}, {3, 1}, {5, 0}});
    EXPECT_EQ(0, lfwrite(h, &track, 0));
    track.set({{12, 1}});
    EXPECT_EQ(0, lfwrite(h, &track, 1));
    EXPECT_EQ(0, lfsetstop(h, 2, LF_STOP_SINGLE));
    track.set({{6, 1}, {6, 0}});
    EXPECT_EQ(0, lfwrite(h, &track, 2));
    struct {
        vortag head;
        char payload[8];
    } tag = {{40, "Job"}, "Demo 1"};
    EXPECT_EQ(0, lfspecial(h, LFS_ADD_TAG, &tag));
    EXPECT_EQ(0, lfclose(h));
    EXPECT_EQ(dump("whole-file"), vor::test::read_bytes(name));
}

TEST(FormatDocument, TheCheckerProvesTheWholeFile) {
    const TempDir dir;
    const std::string name = dir.file("a.vor");
    vor::test::write_bytes(name, dump("whole-file"));
    uint32_t colours[256] = {};
    ckvor_t check = {};
    check.filename = name.c_str();
    check.colors = colours;
    check.ncolors = 256;
    check.progress = [](int32_t, ckvor_t *, int32_t) { return int32_t{0}; };
    EXPECT_EQ(0, ckvor(&check, 1));
    EXPECT_EQ(CKV_GOOD, check.status);
    EXPECT_EQ(4, check.fwmax);
    EXPECT_EQ(15u, colours[0]);
    EXPECT_EQ(21u, colours[255]);
}

TEST(FormatDocument, TheChecksumToldFitsTheWholeFile) {
    const std::string phrase = "would bear 0x";
    const size_t at = document().find(phrase);
    ASSERT_NE(std::string::npos, at);
    const unsigned long crc = std::stoul(document().substr(at + phrase.size(), 8), nullptr, 16);
    const TempDir dir;
    for (const bool fits : {true, false}) {
        Bytes file = dump("whole-file");
        for (size_t i = 0; i < 4; ++i)
            file[offsetof(vorhdr, hcrc) + i] = static_cast<uint8_t>(crc >> (8 * i));
        if (!fits) file[offsetof(vorhdr, reserved4)] ^= 1;
        vor::test::write_bytes(dir.file("a.vor"), file);
        xvor_t *const h = lfopen(dir.file("a.vor").c_str(), LF_READ, 0, nullptr);
        ASSERT_TRUE(h);
        EXPECT_EQ(fits ? 0u : LF_BADHDRCRC, h->flags & LF_BADHDRCRC);
        EXPECT_EQ(0, lfclose(h));
    }
}

TEST(FormatDocument, TheCodedTracksAreThoseThatTheLibraryWrites) {
    const TempDir dir;
    const uint32_t lsb = byte_order_of_dumps();
    const struct {
        const char *name;
        uint32_t type;
        uint32_t mode;
        uint32_t second_colour;
    } examples[] = {{"fw16-lsb", VT_FW16, lsb, 1},
                    {"fw16-msb", VT_FW16, lsb ^ LF_SWAPPED, 1},
                    {"fw8", VT_FW8, 0, 1},
                    {"fw88", VT_FW88, 0, 1}};
    for (const auto &example : examples) {
        EXPECT_EQ(dump(example.name),
                  coded_track(dir.file(example.name), static_cast<int32_t>(example.type),
                              example.mode, example.second_colour))
            << example.name;
    }
}

TEST(FormatDocument, TheDeflatedTrackHoldsThePlainOne) {
    const Bytes stream = dump("deflated");
    Bytes plain(300);
    uLongf size = plain.size();
    ASSERT_EQ(Z_OK, uncompress(plain.data(), &size, stream.data(), stream.size()));
    plain.resize(size);
    EXPECT_EQ(dump("fw8"), plain);
}

TEST(FormatDocument, HeaderFieldsStandAtTheOffsetsTold) {
    const auto rows = rows_by_name(2);
    const struct {
        const char *name;
        size_t offset;
    } fields[] = {
        {"tracks", offsetof(vorhdr, tracks)},
        {"xpitch", offsetof(vorhdr, xpitch)},
        {"xlength", offsetof(vorhdr, xlength)},
        {"ylength", offsetof(vorhdr, ylength)},
        {"type", offsetof(vorhdr, type)},
        {"pixels", offsetof(vorhdr, pixels)},
        {"param_a", offsetof(vorhdr, param_a)},
        {"hflags", offsetof(vorhdr, hflags)},
        {"param_b", offsetof(vorhdr, param_b)},
        {"param_c", offsetof(vorhdr, param_c)},
        {"param_d", offsetof(vorhdr, param_d)},
        {"param_e", offsetof(vorhdr, param_e)},
        {"param_f", offsetof(vorhdr, param_f)},
        {"yresf", offsetof(vorhdr, yresf)},
        {"byteorder", offsetof(vorhdr, byteorder)},
        {"stopoff_lo", offsetof(vorhdr, stopoff_lo)},
        {"stopcount", offsetof(vorhdr, stopcount)},
        {"hmaxruns", offsetof(vorhdr, hmaxruns)},
        {"seekoff_lo", offsetof(vorhdr, seekoff_lo)},
        {"ctaboff_lo", offsetof(vorhdr, ctaboff_lo)},
        {"cinfooff_lo", offsetof(vorhdr, cinfooff_lo)},
        {"ctabcount", offsetof(vorhdr, ctabcount)},
        {"version", offsetof(vorhdr, version)},
        {"tagoff_lo", offsetof(vorhdr, tagoff_lo)},
        {"tagcount", offsetof(vorhdr, tagcount)},
        {"stopoff_hi", offsetof(vorhdr, stopoff_hi)},
        {"seekoff_hi", offsetof(vorhdr, seekoff_hi)},
        {"ctaboff_hi", offsetof(vorhdr, ctaboff_hi)},
        {"cinfooff_hi", offsetof(vorhdr, cinfooff_hi)},
        {"tagoff_hi", offsetof(vorhdr, tagoff_hi)},
        {"hcrc", offsetof(vorhdr, hcrc)},
        {"xpitch64", offsetof(vorhdr, xpitch64)},
        {"ypitch64", offsetof(vorhdr, ypitch64)},
        {"letters", offsetof(vorhdr, letters)},
    };
    for (const auto &field : fields) {
        const auto row = rows.find(field.name);
        ASSERT_NE(rows.end(), row) << field.name;
        EXPECT_EQ(std::to_string(field.offset), row->second[0]) << field.name;
    }
}

TEST(FormatDocument, FlagsHaveTheValuesTold) {
    const auto rows = rows_by_name(1);
    const struct {
        const char *name;
        uint32_t value;
    } flags[] = {
        {"HF_PARAM_A", HF_PARAM_A}, {"HF_PARAM_C", HF_PARAM_C},     {"HF_PARAM_B", HF_PARAM_B},
        {"HF_PARAM_D", HF_PARAM_D}, {"HF_PARAM_F", HF_PARAM_F},     {"HF_PARAM_E", HF_PARAM_E},
        {"HF_CRC", HF_CRC},         {"HF_BYTEORDER", HF_BYTEORDER}, {"HF_STOPS", HF_STOPS},
        {"HF_MAXRUNS", HF_MAXRUNS}, {"HF_SEEKTAB", HF_SEEKTAB},     {"HF_CTABS", HF_CTABS},
        {"HF_CINFO", HF_CINFO},     {"HF_TILED", HF_TILED},         {"HF_SEEK64", HF_SEEK64},
        {"HF_OFF64", HF_OFF64},     {"HF_RES64", HF_RES64},
    };
    for (const auto &flag : flags) {
        const auto row = rows.find(flag.name);
        ASSERT_NE(rows.end(), row) << flag.name;
        EXPECT_EQ(flag.value, std::stoul(row->second[0], nullptr, 16)) << flag.name;
    }
}

} // namespace
