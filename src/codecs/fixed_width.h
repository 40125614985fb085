// The codes of the fixed-width track forms. A track is a series of codes, each one run; a code of
// length 0 marks a track's beginning or end.
//
//   fw8    one byte             bits 0 to 6 length, bit 7 colour
//   fw16   word, machine order  bits 0 to 14 length, bit 15 colour
//   fw88   two bytes            length, colour number
//
// A colour bit of 0 stands for entry 0 of the colour table and 1 for entry 255. A colour number is
// looked up in the table on the way in and on the way out.
#ifndef VOR_CODECS_FIXED_WIDTH_H
#define VOR_CODECS_FIXED_WIDTH_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "codecs/track_runs.h"
#include "trackfile/lf.h"

namespace vor {

// What fw8 and fw16 have in common, their two colours.
struct TwoColours {
    // The colours of a read track. Bit 16 keeps runs of different bits apart even if the table
    // gives both the same colour.
    struct Palette {
        explicit Palette(const xvor_t *h) : clear(h->ctable[0]), set(h->ctable[255] | 0x10000u) {}
        uint32_t of_bit(uint32_t bit) const { return bit != 0 ? set : clear; }

        uint32_t clear;
        uint32_t set;
    };

    // The bit that a run of this colour is written with.
    static uint32_t file_colour(const xvor_t *h, uint32_t colour) {
        return colour_entry(h, colour) != 0 ? 1 : 0;
    }
    static void note_colour(xvor_t *, uint32_t) {}
    // The colour code of a blank track.
    static int64_t blank_code(uint32_t file_colour) { return file_colour != 0 ? 255 : 0; }
};

struct Fw8 : TwoColours {
    static constexpr size_t bytes = 1;
    static constexpr uint32_t limit = 127;

    static uint32_t length(const uint8_t *code) { return *code & limit; }
    static uint32_t colour(const uint8_t *code, const Palette &palette) {
        return palette.of_bit(*code & 0x80);
    }
    static void put(uint8_t *code, uint32_t length, uint32_t file_colour) {
        *code = static_cast<uint8_t>(file_colour << 7 | length);
    }
};

struct Fw16 : TwoColours {
    static constexpr size_t bytes = 2;
    static constexpr uint32_t limit = 32767;

    static uint32_t length(const uint8_t *code) { return word(code) & limit; }
    static uint32_t colour(const uint8_t *code, const Palette &palette) {
        return palette.of_bit(word(code) & 0x8000);
    }
    static void put(uint8_t *code, uint32_t length, uint32_t file_colour) {
        const uint16_t word = static_cast<uint16_t>(file_colour << 15 | length);
        std::memcpy(code, &word, sizeof word);
    }

private:
    static uint32_t word(const uint8_t *code) {
        uint16_t word;
        std::memcpy(&word, code, sizeof word);
        return word;
    }
};

struct Fw88 {
    static constexpr size_t bytes = 2;
    static constexpr uint32_t limit = 255;

    struct Palette {
        explicit Palette(const xvor_t *h) : table(h->ctable) {}
        const uint16_t *table;
    };

    static uint32_t length(const uint8_t *code) { return code[0]; }
    static uint32_t colour(const uint8_t *code, const Palette &palette) {
        return palette.table[code[1]];
    }
    static void put(uint8_t *code, uint32_t length, uint32_t file_colour) {
        code[0] = static_cast<uint8_t>(length);
        code[1] = static_cast<uint8_t>(file_colour);
    }

    static uint32_t file_colour(const xvor_t *h, uint32_t colour) {
        return colour_entry(h, colour) & 0xFF;
    }
    static void note_colour(xvor_t *h, uint32_t file_colour) { h->colorinfo[file_colour] = 1; }
    static int64_t blank_code(uint32_t file_colour) { return file_colour; }
};

// The bytes of the whole codes that stand at the read position.
template <class Code>
size_t bytes_of_codes(const xvor_t *h) {
    return static_cast<size_t>(h->bufend - h->bufptr) / Code::bytes * Code::bytes;
}

} // namespace vor

#endif
