// MD5 of RFC 1321. A message is padded by one bit and zeros up to 8 bytes short of a full block,
// then by its length in bits, low byte first; each block of 64 bytes changes the state in 64 steps,
// which the compiler unrolls in full.
#include <bit>
#include <cstring>
#include <utility>

#include "util/checksum.h"

namespace {

constexpr size_t length_size = 8;
constexpr size_t length_at = KEL_MD5_BLOCK_SIZE - length_size;

// The integer part of 4294967296 times abs(sin(i + 1)), for step i.
constexpr uint32_t sines[64] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391,
};

constexpr int rotations[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};

uint32_t load_word(const uint8_t *from) {
    return from[0] | uint32_t{from[1]} << 8 | uint32_t{from[2]} << 16 | uint32_t{from[3]} << 24;
}

void store_word(uint8_t *to, uint32_t word) {
    for (int i = 0; i < 4; ++i)
        to[i] = static_cast<uint8_t>(word >> (8 * i));
}

// The round's mix of three words, and the word of the block that the step takes.
template <size_t Round>
constexpr uint32_t mix(uint32_t b, uint32_t c, uint32_t d) {
    if constexpr (Round == 0) return (b & c) | (~b & d);
    if constexpr (Round == 1) return (b & d) | (c & ~d);
    if constexpr (Round == 2) return b ^ c ^ d;
    if constexpr (Round == 3) return c ^ (b | ~d);
}

template <size_t Step>
constexpr size_t word_of_step() {
    constexpr size_t factor[] = {1, 5, 3, 7};
    constexpr size_t offset[] = {0, 1, 5, 0};
    return (factor[Step / 16] * Step + offset[Step / 16]) % 16;
}

// The four state words change places with every step; here their roles go round instead.
template <size_t Step>
inline void step(uint32_t (&state)[4], const uint32_t (&words)[16]) {
    uint32_t &a = state[(64 - Step) % 4];
    const uint32_t b = state[(65 - Step) % 4];
    const uint32_t c = state[(66 - Step) % 4];
    const uint32_t d = state[(67 - Step) % 4];
    a += mix<Step / 16>(b, c, d) + words[word_of_step<Step>()] + sines[Step];
    a = b + std::rotl(a, rotations[Step / 16][Step % 4]);
}

template <size_t... Steps>
inline void all_steps(uint32_t (&state)[4], const uint32_t (&words)[16],
                      std::index_sequence<Steps...>) {
    (step<Steps>(state, words), ...);
}

void add_block(uint32_t (&chained)[4], const uint8_t *block) {
    uint32_t words[16];
    for (size_t i = 0; i < 16; ++i)
        words[i] = load_word(block + 4 * i);
    uint32_t state[4] = {chained[0], chained[1], chained[2], chained[3]};
    all_steps(state, words, std::make_index_sequence<64>());
    for (size_t i = 0; i < 4; ++i)
        chained[i] += state[i];
}

size_t bytes_waiting(const kel_MD5Context &context) {
    return context.count[0] / 8 % KEL_MD5_BLOCK_SIZE;
}

void count_bytes(kel_MD5Context *context, size_t size) {
    const uint64_t count = context->count[0] | uint64_t{context->count[1]} << 32;
    const uint64_t sum = count + uint64_t{size} * 8;
    context->count[0] = static_cast<uint32_t>(sum);
    context->count[1] = static_cast<uint32_t>(sum >> 32);
}

} // namespace

extern "C" {

void kel_MD5Init(kel_MD5Context *context) {
    static constexpr uint32_t start[4] = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
    std::memcpy(context->state, start, sizeof start);
    std::memset(context->count, 0, sizeof context->count);
}

void kel_MD5Update(kel_MD5Context *context, const void *data, size_t size) {
    if (size == 0) return;
    const uint8_t *bytes = static_cast<const uint8_t *>(data);
    const size_t waiting = bytes_waiting(*context);
    count_bytes(context, size);
    if (waiting > 0) {
        const size_t missing = KEL_MD5_BLOCK_SIZE - waiting;
        const size_t taken = size < missing ? size : missing;
        std::memcpy(context->buffer + waiting, bytes, taken);
        if (taken < missing) return;
        add_block(context->state, context->buffer);
        bytes += taken;
        size -= taken;
    }
    for (; size >= KEL_MD5_BLOCK_SIZE; size -= KEL_MD5_BLOCK_SIZE, bytes += KEL_MD5_BLOCK_SIZE)
        add_block(context->state, bytes);
    std::memcpy(context->buffer, bytes, size);
}

void kel_MD5Final(uint8_t *digest, kel_MD5Context *context) {
    static constexpr uint8_t padding[KEL_MD5_BLOCK_SIZE] = {0x80};
    uint8_t length[length_size];
    store_word(length, context->count[0]);
    store_word(length + 4, context->count[1]);
    const size_t waiting = bytes_waiting(*context);
    const size_t end = waiting < length_at ? length_at : KEL_MD5_BLOCK_SIZE + length_at;
    kel_MD5Update(context, padding, end - waiting);
    kel_MD5Update(context, length, sizeof length);
    for (size_t i = 0; i < 4; ++i)
        store_word(digest + 4 * i, context->state[i]);
    context->state[0] = 0;
}

} // extern "C"
