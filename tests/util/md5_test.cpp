#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "util/checksum.h"

namespace {

std::string hex(const uint8_t *digest) {
    std::string text;
    for (int i = 0; i < KEL_MD5_DIGEST_SIZE; ++i) {
        char two[3];
        std::snprintf(two, sizeof two, "%02x", digest[i]);
        text += two;
    }
    return text;
}

// Feeds a message in pieces of one size.
std::string digest_of(const void *message, size_t size, size_t piece) {
    kel_MD5Context context;
    kel_MD5Init(&context);
    const char *const bytes = static_cast<const char *>(message);
    for (size_t at = 0; at < size; at += piece)
        kel_MD5Update(&context, bytes + at, std::min(piece, size - at));
    uint8_t digest[KEL_MD5_DIGEST_SIZE];
    kel_MD5Final(digest, &context);
    return hex(digest);
}

TEST(Md5, EmptyMessage) {
    EXPECT_EQ(digest_of("", 0, 1), "d41d8cd98f00b204e9800998ecf8427e");
}

TEST(Md5, MessagesOfTheStandard) {
    struct Row {
        const char *message;
        const char *digest;
    };
    constexpr Row rows[] = {
        {"a", "0cc175b9c0f1b6a831c399e269772661"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"},
        {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
        {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
         "d174ab98d277d9f5a5611c2c9f419d9f"},
        {"123456789012345678901234567890123456789012345678901234567890123456789012345678"
         "90",
         "57edf4a22be3c955ac49da2e2107b67a"},
    };
    for (const Row &row : rows) {
        const size_t size = std::strlen(row.message);
        EXPECT_EQ(digest_of(row.message, size, size), row.digest) << row.message;
    }
}

// Around the sizes at which the padding takes another block. Byte i of a message of n bytes is 7i +
// n.
TEST(Md5, PaddingOfEverySizeNearABlock) {
    struct Row {
        size_t size;
        const char *digest;
    };
    constexpr Row rows[] = {
        {55, "f1289732253518750e22b62a571a1748"},  {56, "179e3b9fa272a23e2a8b32bde1015414"},
        {57, "d5f0a59aa9d6d8164d3754fb91f67809"},  {63, "dd785945d1d6b87eca0d276dbb8756fd"},
        {64, "e3ab394ce4eb7da020a27d2e2443143c"},  {65, "28a6b0f918d9aea03e979a1657d8d0f6"},
        {119, "d49720530a386a3191eac0dc840dd1bd"}, {120, "8a440004b569286a42c722295ce1c5a6"},
        {128, "52cc29caecfd9380a2261a80c58e6787"}, {1000, "c3b2968d34e038455d14c8827156e193"},
    };
    for (const Row &row : rows) {
        std::vector<uint8_t> message(row.size);
        for (size_t i = 0; i < row.size; ++i)
            message[i] = static_cast<uint8_t>(7 * i + row.size);
        for (const size_t piece : {row.size, size_t{1}, size_t{13}, size_t{64}})
            EXPECT_EQ(digest_of(message.data(), row.size, piece), row.digest)
                << row.size << " bytes in pieces of " << piece;
    }
}

TEST(Md5, InitSetsTheChainingValuesAndClearsTheCount) {
    kel_MD5Context context;
    std::memset(&context, 0xFF, sizeof context);
    kel_MD5Init(&context);
    EXPECT_EQ(context.state[0], 0x67452301u);
    EXPECT_EQ(context.state[1], 0xEFCDAB89u);
    EXPECT_EQ(context.state[2], 0x98BADCFEu);
    EXPECT_EQ(context.state[3], 0x10325476u);
    EXPECT_EQ(context.count[0], 0u);
    EXPECT_EQ(context.count[1], 0u);
}

TEST(Md5, CountsBitsLowWordFirst) {
    kel_MD5Context context;
    kel_MD5Init(&context);
    kel_MD5Update(&context, "abc", 3);
    EXPECT_EQ(context.count[0], 24u);
    context.count[0] = 0xFFFFFFF8u;
    kel_MD5Update(&context, "d", 1);
    EXPECT_EQ(context.count[0], 0u);
    EXPECT_EQ(context.count[1], 1u);
}

TEST(Md5, UpdateWithNothingChangesNothing) {
    kel_MD5Context context, before;
    kel_MD5Init(&context);
    kel_MD5Update(&context, "abc", 3);
    std::memcpy(context.buffer + 3, "rest", 4);
    before = context;
    kel_MD5Update(&context, nullptr, 0);
    EXPECT_EQ(std::memcmp(context.state, before.state, sizeof before.state), 0);
    EXPECT_EQ(std::memcmp(context.count, before.count, sizeof before.count), 0);
    EXPECT_EQ(std::memcmp(context.buffer, before.buffer, 7), 0);
}

TEST(Md5, FinalClearsTheFirstWordOfTheStateAlone) {
    kel_MD5Context context;
    kel_MD5Init(&context);
    uint8_t digest[KEL_MD5_DIGEST_SIZE];
    kel_MD5Final(digest, &context);
    EXPECT_EQ(context.state[0], 0u);
    for (size_t i = 1; i < 4; ++i) {
        uint32_t word = 0; // of the digest, low byte first
        for (size_t j = 4; j-- > 0;)
            word = word << 8 | digest[4 * i + j];
        EXPECT_EQ(context.state[i], word) << i;
    }
    EXPECT_EQ(context.buffer[0], 0x80);
}

} // namespace
