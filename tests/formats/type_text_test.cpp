// The short texts by which users name a type.

#include "formats/module_fixture.h"

namespace vor::test {
namespace {

struct Parsed {
    const char *text;
    int32_t type;
};

class TypeText : public ModuleTest {
protected:
    TypeText() { install("fw32_cvtformat_like", "fw32_cvtformat"); }

    // The type as "row/minor"; nothing stands by itself but -1.
    std::string parse(const char *text, int32_t row = 5, int32_t minor_number = 9) const {
        return program([&] { return shown(lf_parse_type(text, row, minor_number)); });
    }
    static std::string shown(int32_t type) {
        if (type == -1) return "-1";
        return std::to_string(lffmajor(type)) + "/" + std::to_string(lffminor(type));
    }
    static std::string missing(const std::string &name) {
        return "-1\nlfloadfmt: last os error | no such format: " + name;
    }
};

struct Case {
    const char *text;
    const char *type; // with a default of 5/9
};

TEST_F(TypeText, WordsMeanNativeTypes) {
    const Case cases[] = {
        {"3d", "0/3"},   {"ct", "0/3"},   {"2d", "0/1"},     {"lw", "0/1"},
        {"2s", "0/2"},   {"bw", "0/2"},   {"bi", "0/2"},     {"zbi", "0/66"},
        {"gray", "0/3"}, {"grey", "0/3"}, {"zgray", "0/67"}, {"zgrey", "0/67"},
    };
    for (const auto &[text, type] : cases)
        EXPECT_EQ(parse(text), type) << text;
}

TEST_F(TypeText, WordsMayBeInAnyCase) {
    const Case cases[] = {{"3D", "0/3"}, {"ZBI", "0/66"}, {"Grey", "0/3"}, {":BW", "5/2"}};
    for (const auto &[text, type] : cases)
        EXPECT_EQ(parse(text), type) << text;
}

TEST_F(TypeText, WordsBehindAColonTellTheMinorNumberAlone) {
    const Case cases[] = {{":zbi", "5/66"}, {":3d", "5/3"}, {":lw", "5/1"}, {":zgrey", "5/67"}};
    for (const auto &[text, type] : cases)
        EXPECT_EQ(parse(text), type) << text;
}

TEST_F(TypeText, NoTextMeansTheDefaults) {
    EXPECT_EQ(parse(nullptr), "5/9");
    EXPECT_EQ(parse(""), "5/9");
    EXPECT_EQ(parse("", 0, 0), "0/0");
    EXPECT_EQ(parse("", 0, 255), "0/255");
}

TEST_F(TypeText, NumbersTellTheMinorNumberAlone) {
    const Case cases[] = {
        {"16", "5/16"},   {"0x10", "5/16"}, {"0X1f", "5/31"},  {"020", "5/16"},  {"0", "5/0"},
        {"255", "5/255"}, {":16", "5/16"},  {":0x10", "5/16"}, {":020", "5/16"},
    };
    for (const auto &[text, type] : cases)
        EXPECT_EQ(parse(text), type) << text;
}

TEST_F(TypeText, NumbersThatDoNotEndTheTextAreWrong) {
    for (const char *const text : {"12a", "12 ", "0x", "0xg", "08", "1:2", ":12a", ":1:2", "vor:1a",
                                   "vor:1 ", "vor:0x", "12:vor"})
        EXPECT_EQ(parse(text), "-1") << text;
}

TEST_F(TypeText, WhatStandsBehindAColonBeginsWithADigit) {
    for (const char *const text :
         {":", "vor:", "vor:x", "vor: 1", "vor:+1", "vor:-1", ":-1", "::1", ":vor", "vor:3d"})
        EXPECT_EQ(parse(text), "-1") << text;
}

TEST_F(TypeText, MinorNumbersHaveEightBits) {
    for (const char *const text : {"256", "0x100", ":256", "vor:256", "99999999999999999999"})
        EXPECT_EQ(parse(text), "-1") << text;
}

TEST_F(TypeText, DefaultsThatAreNoTypeAreWrong) {
    EXPECT_EQ(parse("", -1, 0), "-1");
    EXPECT_EQ(parse("", 0, -1), "-1");
    EXPECT_EQ(parse("", 0, 256), "-1");
    EXPECT_EQ(parse("1", -1, 0), "-1");
    EXPECT_EQ(parse("vor", 0, 256), "-1");
}

TEST_F(TypeText, DefaultsThatAreReplacedNeedNotBeAType) {
    EXPECT_EQ(parse("3d", -1, -1), "0/3");
    EXPECT_EQ(parse("7", 5, -1), "5/7");
    EXPECT_EQ(parse("vor", -1, 9), "0/9");
}

TEST_F(TypeText, FormatsAreLoadedByName) {
    install("good_cvtformat");
    EXPECT_EQ(parse("vor"), "0/9");
    EXPECT_EQ(parse("vor:2"), "0/2");
    EXPECT_EQ(parse("good"), "2/9") << "behind the native one and \"fw32\"";
    EXPECT_EQ(parse("good:0x12"), "2/18");
}

TEST_F(TypeText, AFormatThatCannotBeLoadedIsWrong) {
    EXPECT_EQ(parse("tif:2"), missing("tif"));
    EXPECT_EQ(parse("tif"), missing("tif"));
    install("tif_cvtformat_like", "tif_cvtformat");
    EXPECT_EQ(parse("tif:2"), "2/2");
}

TEST_F(TypeText, NothingIsLoadedForAWrongNumber) {
    EXPECT_EQ(parse("absent:x"), "-1");
}

TEST_F(TypeText, NamesOfFormatsAreComparedWithCase) {
    EXPECT_EQ(parse("VOR"), missing("VOR"));
}

TEST_F(TypeText, TheStreamFormatHasAnotherNameInCapitals) {
    EXPECT_EQ(parse("FIFO"), "1/9");
    EXPECT_EQ(parse("FIFO:3"), "1/3");
    EXPECT_EQ(parse("fw32"), "1/9");
    EXPECT_EQ(parse("fifo"), missing("fifo"));
    EXPECT_EQ(parse("Fifo:3"), missing("Fifo"));
}

TEST_F(TypeText, NamesOf255CharactersAreWrong) {
    const std::string name(254, 'x');
    EXPECT_EQ(parse(name.c_str()), missing(name));
    EXPECT_EQ(parse((name + "x").c_str()), "-1");
    EXPECT_EQ(parse(std::string(100000, 'x').c_str()), "-1");
    EXPECT_EQ(parse((std::string(300, '0') + "7").c_str()), "5/7") << "a number may be longer";
}

TEST_F(TypeText, WhereTracksMayNotBeCompressedNativeTypesLoseTheBits) {
    set("VOR_DEFLATE_ENABLED", "off");
    EXPECT_EQ(parse("zgray"), "0/3");
    EXPECT_EQ(parse("zbi"), "0/2");
    EXPECT_EQ(parse("vor:0xF3"), "0/3");
    EXPECT_EQ(parse("", 0, 0x43), "0/3");
    EXPECT_EQ(parse("gray"), "0/3");
    EXPECT_EQ(parse(":zgray"), "5/67") << "other formats keep them";
    EXPECT_EQ(parse("fw32:0x43"), "1/67");
}

} // namespace
} // namespace vor::test
