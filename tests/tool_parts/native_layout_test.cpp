#include "native_layout.h"

#include <gtest/gtest.h>

#include <zlib.h>

#include "native_sample.h"

namespace vor::tool {
namespace {

using test::Bytes;
using test::NativeSample;
using test::VorBytes;

// ---- numbers

TEST(NumberAt, ReadsEitherOrder) {
    const uint8_t bytes[] = {0x01, 0x02, 0x03, 0x04, 0x85, 0x06, 0x07, 0x08};
    EXPECT_EQ(number_at<uint8_t>(bytes, ByteOrder::big), 0x01);
    EXPECT_EQ(number_at<uint16_t>(bytes, ByteOrder::big), 0x0102);
    EXPECT_EQ(number_at<uint16_t>(bytes, ByteOrder::little), 0x0201);
    EXPECT_EQ(number_at<uint32_t>(bytes, ByteOrder::big), 0x01020304U);
    EXPECT_EQ(number_at<uint32_t>(bytes, ByteOrder::little), 0x04030201U);
    EXPECT_EQ(number_at<int32_t>(bytes + 4, ByteOrder::big), -2063202552);
    EXPECT_EQ(number_at<uint64_t>(bytes, ByteOrder::big), 0x0102030485060708U);
    EXPECT_EQ(number_at<uint64_t>(bytes, ByteOrder::little), 0x0807068504030201U);
}

// ---- fields

TEST(HeaderFields, CoverTheHeader) {
    int32_t at = 0;
    for (const HeaderField &field : header_fields()) {
        EXPECT_EQ(field.offset, at);
        EXPECT_STRNE(field.meaning, "") << field.name;
        at += field.bytes;
    }
    EXPECT_EQ(at, VOR_HDRSIZE);
}

TEST(HeaderFlags, AreTheLowestFirst) {
    uint32_t last = 0;
    for (const HeaderFlag &flag : header_flags()) {
        EXPECT_GT(flag.bit, last) << flag.name;
        last = flag.bit;
    }
    EXPECT_EQ(last, HF_RES64);
}

// ---- recognition

TEST(NativeType, HasSixValues) {
    for (uint32_t type = 0; type < 0x200; ++type) {
        const bool lawful =
            type == 1 || type == 2 || type == 3 || type == 0x41 || type == 0x42 || type == 0x43;
        EXPECT_EQ(is_lawful_type(type), lawful) << type;
    }
    EXPECT_FALSE(is_lawful_type(0x01000000));
}

TEST(NativeByteOrder, IsThatOfTheTypeWord) {
    const struct {
        Bytes type;
        std::optional<ByteOrder> order;
    } rows[] = {{{1, 0, 0, 0}, ByteOrder::little},    {{0, 0, 0, 3}, ByteOrder::big},
                {{0x43, 0, 0, 0}, ByteOrder::little}, {{0, 0, 0, 0x42}, ByteOrder::big},
                {{0x21, 0, 0, 0}, ByteOrder::little}, {{0, 0, 0, 0}, std::nullopt},
                {{4, 0, 0, 0}, std::nullopt},         {{0x40, 0, 0, 0}, std::nullopt},
                {{1, 1, 0, 0}, std::nullopt},         {{1, 0, 0, 1}, std::nullopt},
                {{0, 1, 0, 0}, std::nullopt},         {{0xFF, 0xFF, 0xFF, 0xFF}, std::nullopt}};
    for (const auto &row : rows) {
        Bytes head(16);
        head.insert(head.end(), row.type.begin(), row.type.end());
        EXPECT_EQ(native_byte_order(head), row.order) << testing::PrintToString(row.type);
        head.pop_back();
        EXPECT_EQ(native_byte_order(head), std::nullopt);
    }
}

TEST(NativeLayout, OfAForeignOrEmptyFileIsNone) {
    EXPECT_FALSE(read_layout(NativeSample(Bytes{}).file()));
    EXPECT_FALSE(read_layout(NativeSample(Bytes(300)).file()));
    EXPECT_FALSE(read_layout(NativeSample(Bytes(19, 1)).file()));
}

// ---- header

TEST(NativeLayout, ShowsTheHeaderInTheMachinesOrder) {
    for (const bool swapped : test::byte_orders) {
        VorBytes bytes(VT_FW88, 7, 9, swapped);
        bytes.set_float(VorBytes::param_a_at, 2.5F);
        bytes.set_double(VorBytes::xpitch64_at, 0.125);
        bytes.flag(HF_PARAM_A | HF_RES64);
        NativeSample sample(bytes);
        const NativeLayout layout = sample.layout();
        EXPECT_EQ(layout.order, test::order_of(swapped));
        EXPECT_EQ(layout.header.tracks, 7U);
        EXPECT_EQ(layout.header.pixels, 9U);
        EXPECT_EQ(layout.header.type, VT_FW88);
        EXPECT_EQ(layout.header.byteorder, VOR_BYTEORDER);
        EXPECT_EQ(layout.header.param_a, 2.5F);
        EXPECT_EQ(layout.header.xpitch64, 0.125);
        EXPECT_STREQ(layout.header.letters, "KEL");
        EXPECT_TRUE(layout.has(HF_PARAM_A));
        EXPECT_FALSE(layout.two_colours());
        EXPECT_FALSE(layout.deflated());
        EXPECT_EQ(Bytes(layout.bytes.begin(), layout.bytes.end()), bytes.bytes());
    }
}

TEST(NativeLayout, OldVersionsKnowNoWideNumbers) {
    VorBytes bytes(VT_FW8, 1, 1);
    bytes.flag(HF_SEEK64 | HF_OFF64 | HF_RES64 | HF_SEEKTAB).set(VorBytes::seekoff_at, 300);
    bytes.set(VorBytes::seekoff_hi_at, 1);
    NativeSample today(bytes);
    EXPECT_EQ(today.layout().find(SectionKind::seek_table)->offset, (int64_t{1} << 32) + 300);
    EXPECT_EQ(seek_entry_bytes(today.layout()), 8);
    for (const uint32_t version : {1U, 0U, 0xFFFFFFFFU}) {
        NativeSample sample(bytes.set(VorBytes::version_at, version));
        const NativeLayout layout = sample.layout();
        EXPECT_FALSE(layout.has(HF_SEEK64 | HF_OFF64 | HF_RES64));
        EXPECT_EQ(layout.find(SectionKind::seek_table)->offset, 300);
        EXPECT_EQ(seek_entry_bytes(layout), 4);
    }
}

TEST(NativeLayout, ACutHeaderIsFilledWithZeros) {
    Bytes bytes = VorBytes(VT_FW16, 5, 6).bytes();
    bytes.resize(30);
    NativeSample sample(bytes);
    const NativeLayout layout = sample.layout();
    EXPECT_EQ(layout.header.tracks, 5U);
    EXPECT_EQ(layout.header.pixels, 6U);
    EXPECT_EQ(layout.header.version, 0U);
    EXPECT_EQ(layout.file_bytes, 30);
    EXPECT_EQ(layout.tracks_begin, 256);
    EXPECT_EQ(layout.tracks_end, 256);
}

TEST(HeaderChecksum, IsThatOfAllBytesButItsOwn) {
    for (const bool swapped : test::byte_orders) {
        VorBytes bytes(VT_FW16, 3, 12, swapped);
        const Bytes &image = bytes.bytes();
        uLong crc = crc32(0, image.data(), 144);
        crc = crc32(crc, image.data() + 148, 108);
        bytes.set(VorBytes::hcrc_at, static_cast<uint32_t>(crc));
        NativeSample sample(bytes);
        const NativeLayout layout = sample.layout();
        EXPECT_EQ(header_checksum(layout.bytes), layout.header.hcrc);
        EXPECT_TRUE(checksum_counts(layout.header));
    }
}

TEST(HeaderChecksum, CountsUnderItsFlagAndInNewFilesThatHoldOne) {
    const struct {
        uint32_t version, hcrc, flags;
        bool counts;
    } rows[] = {{2, 0, 0, false},         {2, 1, 0, true},      {1, 1, 0, false},
                {1, 0, HF_CRC, true},     {2, 0, HF_CRC, true}, {3, 7, 0, true},
                {0xFFFFFFFF, 1, 0, false}};
    for (const auto &row : rows) {
        vorhdr header{};
        header.version = row.version;
        header.hcrc = row.hcrc;
        header.hflags = row.flags;
        EXPECT_EQ(checksum_counts(header), row.counts) << row.version << " " << row.hcrc;
    }
}

// ---- sections

VorBytes file_with_sections(bool swapped) {
    VorBytes bytes(VT_FW16, 3, 12, swapped);
    bytes.track({{12, 0}});
    bytes.blank(255);
    bytes.track({{6, 1}, {6, 0}});
    bytes.stops({0, LF_STOP_LAST | 1, LF_STOP_SINGLE | 2});
    bytes.seek_table();
    VorBytes::Table table{};
    table[17] = 0x1234;
    bytes.colour_tables({VorBytes::Table{}, table});
    Bytes info(256);
    info[5] = 9;
    bytes.colour_info(info);
    bytes.tag_list(2).tag("Job", {1, 2, 3, 4}).tag("Empty", {});
    return bytes;
}

TEST(NativeLayout, ListsTheSectionsInTheOrderOfTheirOffsets) {
    for (const bool swapped : test::byte_orders) {
        NativeSample sample(file_with_sections(swapped));
        const NativeLayout layout = sample.layout();
        const struct {
            SectionKind kind;
            const char *name;
            int64_t bytes, entries;
            int32_t field;
        } rows[] = {{SectionKind::stops, "stop table", 12, 3, 60},
                    {SectionKind::seek_table, "seek table", 12, 3, 72},
                    {SectionKind::colour_tables, "colour tables", 1024, 2, 92},
                    {SectionKind::colour_info, "colour info", 256, 256, 96},
                    {SectionKind::tags, "tag list", 76, 2, 108}};
        ASSERT_EQ(layout.sections.size(), std::size(rows));
        int64_t at = 256 + 4 + 6;
        EXPECT_EQ(layout.tracks_end, at);
        for (size_t i = 0; i < std::size(rows); ++i) {
            const NativeSection &section = layout.sections[i];
            EXPECT_EQ(section.kind, rows[i].kind);
            EXPECT_STREQ(section.name, rows[i].name);
            EXPECT_EQ(section.offset, at) << section.name;
            EXPECT_EQ(section.bytes, rows[i].bytes) << section.name;
            EXPECT_EQ(section.entries, rows[i].entries) << section.name;
            EXPECT_EQ(section.offset_field, rows[i].field) << section.name;
            EXPECT_TRUE(layout.lies_in_file(section)) << section.name;
            at = section.end();
        }
        EXPECT_EQ(at, layout.file_bytes);
        EXPECT_TRUE(unused_ranges(layout).empty());
    }
}

TEST(NativeLayout, AFileWithoutSectionsIsTracksToItsEnd) {
    VorBytes bytes(VT_FW8, 1, 100);
    bytes.track({{100, 0}});
    NativeSample sample(bytes);
    EXPECT_TRUE(sample.layout().sections.empty());
    EXPECT_EQ(sample.layout().tracks_end, 258);
    EXPECT_EQ(sample.layout().find(SectionKind::tags), nullptr);
}

TEST(NativeLayout, NamesWhatBelongsToNoSection) {
    VorBytes bytes(VT_FW8, 1, 100);
    bytes.track({{100, 0}});
    bytes.seek_table();
    bytes.put(Bytes(10));
    bytes.stops({LF_STOP_SINGLE});
    bytes.put(Bytes(3));
    NativeSample sample(bytes);
    const auto ranges = unused_ranges(sample.layout());
    ASSERT_EQ(ranges.size(), 2U);
    EXPECT_EQ(ranges[0].begin, 262);
    EXPECT_EQ(ranges[0].end, 272);
    EXPECT_EQ(ranges[1].begin, 276);
    EXPECT_EQ(ranges[1].end, 279);
}

TEST(NativeLayout, TakesImpossibleClaimsAsTheyAre) {
    VorBytes bytes(VT_FW88, 0xFFFFFFFF, 0xFFFFFFFF);
    bytes.flag(HF_STOPS | HF_SEEKTAB | HF_SEEK64 | HF_OFF64 | HF_CTABS | HF_CINFO);
    bytes.set(VorBytes::stopcount_at, 0xFFFFFFFF).set(VorBytes::stopoff_at, 100);
    bytes.set(VorBytes::seekoff_at, 0xFFFFFFFF).set(VorBytes::seekoff_hi_at, 0x7FFFFFFF);
    bytes.set(VorBytes::ctaboff_at, 0).set(VorBytes::ctaboff_hi_at, 0x80000000);
    bytes.set(VorBytes::ctabcount_at, 0xFFFFFFFF);
    bytes.set(VorBytes::cinfooff_at, 300);
    bytes.tag_list(5);
    NativeSample sample(bytes);
    const NativeLayout layout = sample.layout();
    EXPECT_EQ(layout.find(SectionKind::stops)->bytes, int64_t{0xFFFFFFFF} * 4);
    EXPECT_EQ(layout.find(SectionKind::seek_table)->end(), INT64_MAX);
    EXPECT_LT(layout.find(SectionKind::colour_tables)->offset, 0);
    EXPECT_EQ(layout.find(SectionKind::tags)->bytes, 0);
    for (const NativeSection &section : layout.sections)
        EXPECT_EQ(layout.lies_in_file(section), section.kind == SectionKind::tags) << section.name;
    EXPECT_EQ(seek_entry(sample.file(), layout, 0), std::nullopt);
    EXPECT_EQ(seek_entry(sample.file(), layout, 0xFFFFFFFE), std::nullopt);
    EXPECT_EQ(colour_table_word(sample.file(), layout, 0, 0), std::nullopt);
    EXPECT_EQ(colour_info_byte(sample.file(), layout, 0), std::nullopt);
    EXPECT_TRUE(stop_entry(sample.file(), layout, 0));
    EXPECT_EQ(stop_entry(sample.file(), layout, 1000), std::nullopt);
}

TEST(NativeLayout, ATagListIsThereWithACountAndAnOffset) {
    const struct {
        uint32_t count, offset;
        bool there;
    } rows[] = {{0, 300, false}, {0x80000000, 300, false}, {1, 255, false}, {1, 256, true}};
    for (const auto &row : rows) {
        VorBytes bytes(VT_FW8, 1, 1);
        bytes.set(VorBytes::tagcount_at, row.count).set(VorBytes::tagoff_at, row.offset);
        NativeSample sample(bytes);
        EXPECT_EQ(sample.layout().find(SectionKind::tags) != nullptr, row.there) << row.count;
    }
}

TEST(NativeLayout, AStopTableOfNoEntriesIsNone) {
    VorBytes bytes(VT_FW8, 1, 1);
    bytes.stops({});
    NativeSample sample(bytes);
    EXPECT_EQ(sample.layout().find(SectionKind::stops), nullptr);
}

TEST(NativeLayout, OverlapsAreSharedBytes) {
    const auto section = [](int64_t offset, int64_t bytes) {
        NativeSection s;
        s.offset = offset;
        s.bytes = bytes;
        return s;
    };
    EXPECT_TRUE(sections_overlap(section(300, 10), section(309, 10)));
    EXPECT_TRUE(sections_overlap(section(309, 10), section(300, 10)));
    EXPECT_TRUE(sections_overlap(section(300, 100), section(310, 1)));
    EXPECT_FALSE(sections_overlap(section(300, 10), section(310, 10)));
    EXPECT_FALSE(sections_overlap(section(300, 10), section(305, 0)));
    EXPECT_TRUE(sections_overlap(section(INT64_MAX - 5, 100), section(INT64_MAX - 3, 1)));
}

TEST(TrackLimit, IsTheNextSectionOrTheEnd) {
    NativeSample sample(file_with_sections(false));
    const NativeLayout layout = sample.layout();
    EXPECT_EQ(track_limit(layout, 256), layout.tracks_end);
    EXPECT_EQ(track_limit(layout, layout.tracks_end + 1), layout.sections[1].offset);
    EXPECT_EQ(track_limit(layout, layout.file_bytes - 1), layout.file_bytes);
}

// ---- entries

TEST(SectionEntries, AreReadInTheFilesOrder) {
    for (const bool swapped : test::byte_orders) {
        NativeSample sample(file_with_sections(swapped));
        const NativeLayout layout = sample.layout();
        FileBytes &file = sample.file();
        EXPECT_EQ(seek_entry(file, layout, 0), 256);
        EXPECT_EQ(seek_entry(file, layout, 1), -256);
        EXPECT_EQ(seek_entry(file, layout, 2), 260);
        EXPECT_EQ(seek_entry(file, layout, 3), std::nullopt);
        EXPECT_EQ(seek_entry(file, layout, -1), std::nullopt);
        EXPECT_EQ(stop_entry(file, layout, 1), LF_STOP_LAST | 1);
        EXPECT_EQ(stop_entry(file, layout, 3), std::nullopt);
        EXPECT_EQ(colour_table_word(file, layout, 1, 17), 0x1234);
        EXPECT_EQ(colour_table_word(file, layout, 0, 17), 0);
        EXPECT_EQ(colour_table_word(file, layout, 2, 0), std::nullopt);
        EXPECT_EQ(colour_table_word(file, layout, 0, 256), std::nullopt);
        EXPECT_EQ(colour_info_byte(file, layout, 5), 9);
        EXPECT_EQ(colour_info_byte(file, layout, 256), std::nullopt);
    }
}

TEST(SeekEntries, MayBeWide) {
    for (const bool swapped : test::byte_orders) {
        VorBytes bytes(VT_FW8, 3, 10, swapped);
        bytes.entries = {int64_t{1} << 40, -1, INT64_MIN};
        bytes.wide_seek_table();
        NativeSample sample(bytes);
        const NativeLayout layout = sample.layout();
        EXPECT_EQ(seek_entry(sample.file(), layout, 0), int64_t{1} << 40);
        EXPECT_EQ(seek_entry(sample.file(), layout, 1), -1);
        EXPECT_EQ(seek_entry(sample.file(), layout, 2), INT64_MIN);
    }
}

TEST(SeekEntries, ThatTheFileCutsOffAreNone) {
    VorBytes bytes(VT_FW8, 2, 10);
    bytes.entries = {-1, -2};
    bytes.seek_table();
    Bytes cut = bytes.bytes();
    cut.pop_back();
    NativeSample sample(cut);
    EXPECT_EQ(seek_entry(sample.file(), sample.layout(), 0), -1);
    EXPECT_EQ(seek_entry(sample.file(), sample.layout(), 1), std::nullopt);
}

TEST(SeekEntries, ArePlacesOrMarks) {
    EXPECT_TRUE(is_blank_mark(-1));
    EXPECT_TRUE(is_blank_mark(-256));
    EXPECT_FALSE(is_blank_mark(-257));
    EXPECT_FALSE(is_blank_mark(0));
    EXPECT_TRUE(is_track_place(256));
    EXPECT_FALSE(is_track_place(255));
    EXPECT_EQ(blank_colour(-1), 0);
    EXPECT_EQ(blank_colour(-256), 255);
}

TEST(ColourTables, OfTheOldFormHaveWordsOfFourBytes) {
    for (const bool swapped : test::byte_orders) {
        std::array<VorBytes::Table, 16> tables{};
        tables[3][200] = 0xABCD;
        VorBytes bytes(VT_FW88, 1, 10, swapped);
        bytes.old_colour_tables(tables, 0x7777);
        NativeSample sample(bytes);
        const NativeLayout layout = sample.layout();
        EXPECT_EQ(layout.find(SectionKind::colour_tables)->entries, 16);
        EXPECT_EQ(layout.find(SectionKind::colour_tables)->bytes, 16384);
        EXPECT_EQ(colour_table_word(sample.file(), layout, 3, 200), 0xABCD);
        EXPECT_EQ(colour_table_word(sample.file(), layout, 16, 0), std::nullopt);
    }
}

TEST(StopKinds, AreTheTwoUpperBits) {
    EXPECT_STREQ(stop_kind_name(5), "first");
    EXPECT_STREQ(stop_kind_name(0x80000005), "last");
    EXPECT_STREQ(stop_kind_name(0x7FFFFFFF), "single");
    EXPECT_STREQ(stop_kind_name(0xC0000000), "none");
}

} // namespace
} // namespace vor::tool
