// Coded tracks of the fixed-width forms, written down as lists of codes.
#ifndef VOR_TESTS_CODED_TRACK_H
#define VOR_TESTS_CODED_TRACK_H

#include <cstdint>
#include <cstring>
#include <vector>

namespace vor::test {

enum class Form { fw8, fw16, fw88 };

// One code: a length, and a colour bit or number. {0, 0} is the writer's zero code.
struct Code {
    uint32_t length;
    uint32_t colour;
    bool operator==(const Code &) const = default;
};
using Codes = std::vector<Code>;

inline size_t code_bytes(Form form) {
    return form == Form::fw8 ? 1 : 2;
}

inline uint32_t longest_code(Form form) {
    return form == Form::fw8 ? 127 : form == Form::fw16 ? 32767 : 255;
}

// fw16 stands in the machine's byte order, as in a handle's buffer.
inline std::vector<uint8_t> coded(Form form, const Codes &codes) {
    std::vector<uint8_t> bytes;
    for (const Code &code : codes) {
        uint8_t unit[2] = {};
        if (form == Form::fw16) {
            const uint16_t word = static_cast<uint16_t>(code.colour << 15 | code.length);
            std::memcpy(unit, &word, 2);
        } else if (form == Form::fw88) {
            unit[0] = static_cast<uint8_t>(code.length);
            unit[1] = static_cast<uint8_t>(code.colour);
        } else {
            unit[0] = static_cast<uint8_t>(code.colour << 7 | code.length);
        }
        for (size_t i = 0; i < code_bytes(form); ++i)
            bytes.push_back(unit[i]);
    }
    return bytes;
}

inline Code decode(Form form, const uint8_t *at) {
    if (form == Form::fw8) return {*at & 0x7Fu, uint32_t{*at} >> 7};
    if (form == Form::fw88) return {at[0], at[1]};
    uint16_t word = 0;
    std::memcpy(&word, at, 2);
    return {word & 0x7FFFu, uint32_t{word} >> 15};
}

inline Codes decoded(Form form, const std::vector<uint8_t> &bytes) {
    Codes codes;
    for (size_t at = 0; at + code_bytes(form) <= bytes.size(); at += code_bytes(form))
        codes.push_back(decode(form, bytes.data() + at));
    return codes;
}

} // namespace vor::test

#endif
