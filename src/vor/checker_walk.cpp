// A track is a row of codes, each a length and a colour, and ends with a code of length 0:
//
//   fw16   a 16-bit word: 15 bits of length, the colour in the top bit
//   fw8    a byte: 7 bits of length, the colour in the top bit
//   fw88   two bytes: the length, the colour code
//   fw511  a 16-bit word: 5 bits of length, 11 bits of colour code above them; a length of 0 is
//          followed by a word with the length, and a 0 there ends the track
//
// The 16-bit words are in the file's byte order. The bulk of the codes of the first three goes by
// eight bytes at a time: in one 64-bit number each code has a lane, and since the sums do not
// depend on the order of the lanes, neither do they on the machine's byte order.

#include "vor/checker_walk.h"

#include <algorithm>
#include <cstring>

#include "platform/kel.h"
#include "vor/checker_avx2.h"

namespace vor {
namespace {

template <class Word>
Word load(const uint8_t *from) {
    Word word;
    std::memcpy(&word, from, sizeof word);
    return word;
}

uint16_t swap_word(uint16_t word) {
    return static_cast<uint16_t>(word << 8 | word >> 8);
}

uint64_t swap_words(uint64_t words) {
    constexpr uint64_t low_bytes = UINT64_C(0x00FF00FF00FF00FF);
    return (words >> 8 & low_bytes) | (words & low_bytes) << 8;
}

// Reads on behind the bytes not decoded yet. False at the end of the file and on an error.
bool refill(TrackBytes *in) {
    const auto left = static_cast<size_t>(in->end - in->next);
    std::memmove(in->bytes, in->next, left);
    in->next = in->bytes;
    in->end = in->bytes + left;
    const int64_t got = kel_read(in->fd, in->bytes + left, TrackBytes::room - left);
    if (got <= 0) {
        in->failed = got < 0;
        return false;
    }
    in->end += got;
    in->endpos += got;
    return true;
}

// The two-colour codes: a word with the colour in its top bit and the length below.
template <class Word, bool swapped>
struct TwoColours {
    static constexpr size_t size = sizeof(Word);
    static constexpr unsigned bits = 8 * sizeof(Word);
    static constexpr unsigned lanes = 64 / bits;

    static constexpr uint64_t top = ~UINT64_C(0) / ((UINT64_C(1) << bits) - 1) << (bits - 1);
    static constexpr uint64_t lengths = ~top;
    // Every other lane: sums are kept in lanes of twice the width, for `burst` words before they
    // can overflow.
    static constexpr uint64_t wide_lane = (UINT64_C(1) << 2 * bits) - 1;
    static constexpr uint64_t even = ~UINT64_C(0) / wide_lane * ((UINT64_C(1) << bits) - 1);
    static constexpr size_t burst = 128;
    static_assert(2 * burst * ((1u << (bits - 1)) - 1) <= wide_lane);

    static Word code(const uint8_t *from) {
        const Word word = load<Word>(from);
        if constexpr (swapped) return swap_word(word);
        return word;
    }
    static uint64_t codes(const uint8_t *from) {
        const auto words = load<uint64_t>(from);
        if constexpr (swapped) return swap_words(words);
        return words;
    }
    static uint64_t pairwise(uint64_t narrow) { return (narrow & even) + (narrow >> bits & even); }
    static uint64_t across(uint64_t wide) {
        uint64_t sum = 0;
        for (; wide != 0; wide >>= 2 * bits)
            sum += wide & wide_lane;
        return sum;
    }

    // Sums up to `burst` groups of lanes without a zero code; gives the codes passed.
    static size_t add_burst(const uint8_t *from, size_t groups, uint64_t *all, uint64_t *ones) {
        uint64_t sum = 0, sum_ones = 0;
        size_t i = 0;
        for (; i < groups; ++i) {
            const uint64_t word = codes(from + i * 8);
            const uint64_t length = word & lengths;
            if ((~(length + lengths) & top) != 0) break; // a lane without a carry has length 0
            const uint64_t colour = word & top;
            sum += pairwise(length);
            sum_ones += pairwise(length & (colour - (colour >> (bits - 1))));
        }
        *all += across(sum);
        *ones += across(sum_ones);
        return i * lanes;
    }

    static size_t add(const uint8_t *from, size_t count, ColourCounts *colours, uint64_t *pixels) {
        constexpr auto length_mask = static_cast<Word>(lengths);
        uint64_t all = 0, ones = 0;
        size_t done = 0, passed = 0;
        do {
            const size_t groups = std::min((count - done) / lanes, burst);
            passed = add_burst(from + done * size, groups, &all, &ones);
            done += passed;
        } while (passed == burst * lanes);
        for (; done < count; ++done) {
            const Word word = code(from + done * size);
            const unsigned length = word & length_mask;
            if (length == 0) break;
            all += length;
            if (word != length) ones += length;
        }
        colours->pixels[255] += ones;
        colours->pixels[0] += all - ones;
        *pixels += all;
        return done;
    }
};

size_t add_byte_pairs(const uint8_t *from, size_t count, ColourCounts *colours, uint64_t *pixels) {
    constexpr size_t ways = ColourCounts::ways, size = 2;
    uint64_t sum = 0;
    size_t done = 0;
    const uint8_t *p = from;
    for (; count - done >= ways && ((p[0] != 0) & (p[2] != 0) & (p[4] != 0) & (p[6] != 0));
         done += ways, p += ways * size) {
        for (size_t way = 0; way < ways; ++way)
            colours->pairs[way][p[way * size + 1]] += p[way * size];
        sum += static_cast<unsigned>(p[0] + p[2] + p[4] + p[6]);
    }
    for (; done < count && p[0] != 0; ++done, p += size) {
        colours->pairs[0][p[1]] += p[0];
        sum += p[0];
    }
    *pixels += sum;
    return done;
}

bool count_codes(const TrackDecoder &decoder, TrackBytes *in, ColourCounts *colours,
                 TrackCount *track) {
    for (;;) {
        const size_t count = static_cast<size_t>(in->end - in->next) / decoder.code_bytes;
        const size_t done = decoder.add(in->next, count, colours, &track->pixels);
        track->codes += done;
        in->next += done * decoder.code_bytes;
        if (done < count) break;
        if (!refill(in)) return false;
    }
    in->next += decoder.code_bytes;
    ++track->codes;
    return true;
}

template <bool swapped>
bool next_word(TrackBytes *in, unsigned *word) {
    while (in->end - in->next < 2) {
        if (!refill(in)) return false;
    }
    const auto raw = load<uint16_t>(in->next);
    *word = swapped ? swap_word(raw) : raw;
    in->next += 2;
    return true;
}

template <bool swapped>
bool count_fw511(TrackBytes *in, ColourCounts *colours, TrackCount *track) {
    for (;;) {
        unsigned code = 0;
        if (!next_word<swapped>(in, &code)) return false;
        unsigned length = code & 0x1F;
        if (length == 0 && !next_word<swapped>(in, &length)) return false;
        ++track->codes;
        if (length == 0) return true;
        colours->pixels[code >> 5] += length;
        track->pixels += length;
    }
}

constexpr TrackDecoder decoders[][2] = {
    {{2, TwoColours<uint16_t, false>::add, false}, {2, TwoColours<uint16_t, true>::add, true}},
    {{1, TwoColours<uint8_t, false>::add, false}, {1, TwoColours<uint8_t, false>::add, true}},
    {{2, add_byte_pairs, false}, {2, add_byte_pairs, true}},
    {{2, nullptr, false}, {2, nullptr, true}},
};
static_assert(VT_FW16 == 1 && VT_FW8 == 2 && VT_FW88 == 3 && vt_fw511 == 4);

} // namespace

uint64_t ColourCounts::total(uint32_t colour) const {
    uint64_t sum = pixels[colour];
    if (colour >= 256) return sum;
    for (const auto &way : pairs)
        sum += way[colour];
    return sum;
}

void start_bytes(TrackBytes *in, int32_t fd) {
    in->fd = fd;
    in->failed = false;
    in->endpos = -1;
    in->next = in->end = in->bytes;
    std::fill_n(in->bytes, sizeof in->bytes, uint8_t{0});
}

bool go_to(TrackBytes *in, int64_t offset) {
    const int64_t start = in->endpos - (in->end - in->bytes);
    if (offset >= start && offset <= in->endpos) {
        in->next = in->bytes + (offset - start);
        return true;
    }
    in->failed = kel_lseek(in->fd, offset, KEL_SEEK_SET) != offset;
    in->endpos = offset;
    in->next = in->end = in->bytes;
    return !in->failed;
}

TrackDecoder find_decoder(uint32_t format, bool swapped) {
    TrackDecoder decoder = decoders[format - 1][swapped];
    if (const add_codes_fn add = find_vector_adder(format, swapped)) decoder.add = add;
    return decoder;
}

bool count_track(const TrackDecoder &decoder, TrackBytes *in, ColourCounts *colours,
                 TrackCount *track) {
    *track = {};
    if (decoder.add) return count_codes(decoder, in, colours, track);
    return decoder.swapped ? count_fw511<true>(in, colours, track)
                           : count_fw511<false>(in, colours, track);
}

} // namespace vor
