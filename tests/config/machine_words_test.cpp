#include "config/machine_words.h"

#include <gtest/gtest.h>

#include <string>

#include "config/gd.h"

namespace {

TEST(ReadEncoder, TellsTheFormsApart) {
    struct Row {
        const char *text;
        int32_t count;
        int32_t mode;
    };
    constexpr Row rows[] = {
        {"cnt=4096", 4096, G_ENCODER_COUNT},
        {"CNT=4096", 4096, G_ENCODER_COUNT},
        {"cnt= 4096", 4096, G_ENCODER_COUNT},
        {"cnt=-5", -5, G_ENCODER_COUNT},
        {"cnt=0x10", 16, G_ENCODER_COUNT},
        {"4096", 4096, G_ENCODER_NUMBER},
        {"0x1000", 4096, G_ENCODER_NUMBER},
        {"010", 8, G_ENCODER_NUMBER},
        {"0", 0, G_ENCODER_NUMBER},
        {"4096 lines", 4096, G_ENCODER_NUMBER},
        {"99999999999", INT32_MAX, G_ENCODER_NUMBER},
        {"var", 360000, G_ENCODER_VAR},
        {"VAR", 360000, G_ENCODER_VAR},
        {"var:", 360000, G_ENCODER_VAR},
        {"var:1000", 1000, G_ENCODER_VAR},
        {"var: \t1000", 1000, G_ENCODER_VAR},
        {"var 1000", 1000, G_ENCODER_VAR},
        {"var1000", 1000, G_ENCODER_VAR},
        {"var:0x10", 16, G_ENCODER_VAR},
        {"var:0", 0, G_ENCODER_VAR},
        {"var:many", 360000, G_ENCODER_VAR},
        {"variable", 360000, G_ENCODER_VAR},
        {"var=", 360000, G_ENCODER_VAR_ASSIGNED},
        {"var=1000", 1000, G_ENCODER_VAR_ASSIGNED},
        {"VAR= \t1000", 1000, G_ENCODER_VAR_ASSIGNED},
        {"var==1", 360000, G_ENCODER_VAR_ASSIGNED},
    };
    for (const Row &row : rows) {
        const auto encoder = vor::read_encoder(row.text);
        ASSERT_TRUE(encoder) << row.text;
        EXPECT_EQ(encoder->count, row.count) << row.text;
        EXPECT_EQ(encoder->mode, row.mode) << row.text;
    }
}

TEST(ReadEncoder, UnderstandsNoOtherText) {
    for (const char *text : {"", "-4096", "+4096", " 4096", "Var", "vAR=1", "Cnt=1", "cnt", "cnt:1",
                             "cnt=", "cnt=x", "va", "none", ".5"})
        EXPECT_FALSE(vor::read_encoder(text)) << text;
}

TEST(ReadGravWay, TakesNumbersAsTheyAreAndWordsByTheirStart) {
    struct Row {
        const char *text;
        int32_t way;
    };
    constexpr Row rows[] = {
        {"2", 2},
        {"0", 0},
        {"17", 17},
        {"-1", -1},
        {"0x11", 17},
        {"011", 9},
        {"1ANILOX", 1},
        {"ZAK", G_WAY_ZAK},
        {"ZAKX", G_WAY_ZAK},
        {"NZAK", G_WAY_NZAK},
        {"ANILOX", G_WAY_ANILOX},
        {"ANILOX30", G_WAY_ANILOX},
        {"ROL8", G_WAY_SPEC},
        {"ROL80", G_WAY_SPEC},
        {"SPEC", G_WAY_SPEC},
        {"SPECIAL", G_WAY_SPEC},
    };
    for (const Row &row : rows)
        EXPECT_EQ(vor::read_grav_way(row.text), row.way) << row.text;
    EXPECT_EQ(G_WAY_ANILOX, 0);
    EXPECT_EQ(G_WAY_ZAK, 1);
    EXPECT_EQ(G_WAY_SPEC, 2);
    EXPECT_EQ(G_WAY_NZAK, 3);
}

TEST(ReadGravWay, UnderstandsNoOtherText) {
    for (const char *text : {"", "zak", "ZA", "ANILO", "XZAK", "ROL", "-", "x2"})
        EXPECT_FALSE(vor::read_grav_way(text)) << text;
}

TEST(JoinAnilox, OptionsBelow256GetMode1) {
    struct Row {
        int32_t options;
        int32_t joined;
    };
    constexpr Row rows[] = {
        {0, 256},   {5, 261},           {255, 511}, {256, 256},
        {512, 512}, {0x12345, 0x12345}, {-1, -1},   {-512, -256},
    };
    for (const Row &row : rows)
        EXPECT_EQ(vor::join_anilox(row.options, nullptr), row.joined) << row.options;
}

TEST(JoinAnilox, ModeTakesTheSecondByteAndClearsTheRest) {
    struct Row {
        int32_t options;
        const char *mode;
        int32_t joined;
    };
    constexpr Row rows[] = {
        {5, "2", 0x205},   {5, "0", 5},      {0x12345, "2", 0x245}, {0, "0x1FF", 0xFF00},
        {0, "-1", 0xFF00}, {-1, "3", 0x3FF}, {5, "010", 0x805},     {5, "2nd", 0x205},
    };
    for (const Row &row : rows)
        EXPECT_EQ(vor::join_anilox(row.options, row.mode), row.joined) << row.mode;
}

TEST(JoinAnilox, ModeThatIsNoNumberCountsAsNone) {
    for (const char *mode : {"", "on", "-", "x2"})
        EXPECT_EQ(vor::join_anilox(5, mode), 261) << mode;
}

TEST(ReadBitPattern, ShiftsDigitsIn) {
    struct Row {
        const char *text;
        uint32_t pattern;
    };
    constexpr Row rows[] = {
        {"1011.1111", 191}, {"0", 0},        {"", 0},          {"1", 1},    {"10", 2},
        {".", 0},           {"..1..0..", 2}, {"00100001", 33}, {"10 1", 2}, {"12", 1},
        {"x1", 0},          {"1,1", 1},      {" 1", 0},        {"1\t1", 1},
    };
    for (const Row &row : rows)
        EXPECT_EQ(vor::read_bit_pattern(row.text), row.pattern) << row.text;
}

TEST(ReadBitPattern, EndsBeforeThe34thDigit) {
    const std::string zeros(32, '0');
    EXPECT_EQ(vor::read_bit_pattern(("1" + zeros).c_str()), 0u) << "the 33rd is taken";
    EXPECT_EQ(vor::read_bit_pattern((zeros + "1").c_str()), 1u);
    EXPECT_EQ(vor::read_bit_pattern((zeros + "01").c_str()), 0u) << "the 34th is not";
    EXPECT_EQ(vor::read_bit_pattern((zeros + "1." + "1").c_str()), 1u);
    EXPECT_EQ(vor::read_bit_pattern(std::string(32, '1').c_str()), 0xFFFFFFFFu);
    EXPECT_EQ(vor::read_bit_pattern(std::string(100000, '1').c_str()), 0xFFFFFFFFu);
}

} // namespace
