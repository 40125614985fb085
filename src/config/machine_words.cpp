// Texts are told apart by how they start: what follows a number or a word is not looked at, so that
// "ANILOX30" is a form of "ANILOX".
#include "config/machine_words.h"

#include <cstring>
#include <string_view>

#include "config/gd.h"
#include "util/numbers.h"

namespace {

using vor::Encoder;

// What an encoder counts whose count is told by "var" alone.
constexpr int32_t var_count = 360000;

bool starts_with(const char *text, const char *prefix) {
    return std::string_view(text).starts_with(prefix);
}

// A number at the start of a text, decimal, octal or hexadecimal as in C, whatever follows it.
std::optional<int32_t> leading_number(const char *text) {
    const char *end = nullptr;
    const int32_t number = vor::text_to_int32(text, &end, 0);
    if (end == text) return std::nullopt;
    return number;
}

// Behind "var" only a "=" or ":" is looked at, and then a number; no other text is refused.
Encoder read_var_encoder(const char *rest) {
    const bool assigned = *rest == '=';
    if (assigned || *rest == ':') ++rest;
    const int32_t mode = assigned ? G_ENCODER_VAR_ASSIGNED : G_ENCODER_VAR;
    return {leading_number(rest).value_or(var_count), mode};
}

} // namespace

namespace vor {

std::optional<Encoder> read_encoder(const char *text) {
    if (starts_with(text, "var") || starts_with(text, "VAR")) return read_var_encoder(text + 3);
    const bool counted = starts_with(text, "cnt=") || starts_with(text, "CNT=");
    if (!counted && !is_digit(*text)) return std::nullopt;
    const std::optional<int32_t> count = leading_number(counted ? text + 4 : text);
    if (!count) return std::nullopt;
    return Encoder{*count, counted ? G_ENCODER_COUNT : G_ENCODER_NUMBER};
}

std::optional<int32_t> read_grav_way(const char *text) {
    static constexpr struct {
        const char *prefix;
        int32_t way;
    } words[] = {
        {"ZAK", G_WAY_ZAK},   {"NZAK", G_WAY_NZAK}, {"ANILOX", G_WAY_ANILOX},
        {"ROL8", G_WAY_SPEC}, {"SPEC", G_WAY_SPEC},
    };
    if (const std::optional<int32_t> number = leading_number(text)) return number;
    for (const auto &word : words)
        if (starts_with(text, word.prefix)) return word.way;
    return std::nullopt;
}

int32_t join_anilox(int32_t options, const char *mode) {
    // Mode 1, unless there are bits beyond the options, or a mode of its own.
    if (options < 0x100) options |= 0x100;
    const std::optional<int32_t> number = mode ? leading_number(mode) : std::nullopt;
    return number ? (options & 0xFF) | (*number & 0xFF) << 8 : options;
}

uint32_t read_bit_pattern(const char *text) {
    // One digit more than there are bits is taken: the first of 33 falls off the high end.
    int32_t room = 33;
    uint32_t pattern = 0;
    for (; *text == '0' || *text == '1' || *text == '.'; ++text) {
        if (*text == '.') continue;
        if (room-- == 0) break;
        pattern = pattern << 1 | (*text == '1' ? 1u : 0u);
    }
    return pattern;
}

} // namespace vor
