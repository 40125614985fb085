// Texts of machine settings that are neither plain numbers nor plain texts.
#ifndef VOR_CONFIG_MACHINE_WORDS_H
#define VOR_CONFIG_MACHINE_WORDS_H

#include <cstdint>
#include <optional>

namespace vor {

struct Encoder {
    int32_t count;
    int32_t mode; // G_ENCODER_
};

// Each of the first two gives nothing for a text that it does not understand.
std::optional<Encoder> read_encoder(const char *text);
std::optional<int32_t> read_grav_way(const char *text); // a G_WAY_ word, or any number

// The value of the field: `mode` is the text of the mode's own key, or NULL.
int32_t join_anilox(int32_t options, const char *mode);

uint32_t read_bit_pattern(const char *text);

} // namespace vor

#endif
