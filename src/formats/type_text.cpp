// The short texts by which users name the type of a file to be written.

#include <cstring>

#include "formats/format_setup.h"
#include "formats/formats.h"
#include "util/numbers.h"
#include "vor/vor.h"

namespace vor {
namespace {

constexpr size_t text_room = 255; // of a text with a format's name in it

// A word of its own, in any case of its letters. All of them mean native files.
struct TypeWord {
    const char *word;
    uint32_t minor_number;
};
constexpr TypeWord type_words[] = {
    {"3d", VT_FW88},
    {"ct", VT_FW88},
    {"2d", VT_FW16},
    {"lw", VT_FW16},
    {"2s", VT_FW8},
    {"bw", VT_FW8},
    {"bi", VT_FW8},
    {"zbi", VT_DEFLATED | VT_FW8},
    {"gray", VT_FW88},
    {"grey", VT_FW88},
    {"zgray", VT_DEFLATED | VT_FW88},
    {"zgrey", VT_DEFLATED | VT_FW88},
};

struct Type {
    int32_t row;
    int32_t minor_number;
};

const TypeWord *find_word(const char *text) {
    for (const TypeWord &known : type_words)
        if (equal_ignoring_case(text, known.word)) return &known;
    return nullptr;
}

// A number that begins with a digit, decimal, octal or hexadecimal, up to the text's end.
bool parse_number(const char *text, int32_t *number) {
    if (!is_digit(*text)) return false;
    const char *end = nullptr;
    *number = text_to_int32(text, &end, 0);
    return *end == '\0';
}

bool parse_named(const char *text, Type *type) {
    const size_t length = std::strlen(text);
    char name[text_room];
    if (length >= sizeof name) return false;
    std::memcpy(name, text, length + 1);
    if (char *const colon = std::strchr(name, ':')) {
        *colon = '\0';
        if (!parse_number(colon + 1, &type->minor_number)) return false;
    }
    if (*name) type->row = lfloadfmt(std::strcmp(name, "FIFO") == 0 ? "fw32" : name);
    return true;
}

// Puts what the text tells in the place of what stands in `type`.
bool parse(const char *text, Type *type) {
    const bool colon = *text == ':';
    if (const TypeWord *const word = find_word(colon ? text + 1 : text)) {
        if (!colon) type->row = lfloadfmt(vor_cvtformat.name);
        type->minor_number = static_cast<int32_t>(word->minor_number);
        return true;
    }
    return is_digit(*text) ? parse_number(text, &type->minor_number) : parse_named(text, type);
}

} // namespace
} // namespace vor

using namespace vor;

int32_t lf_parse_type(const char *text, int32_t row, int32_t minor_number) {
    lf_fmt_setup();
    Type type = {row, minor_number};
    if (text && *text && !parse(text, &type)) return -1;
    if (type.row < 0 || type.minor_number < 0 || type.minor_number > UINT8_MAX) return -1;
    if (!deflate_enabled() && type.row == 0) {
        type.minor_number &= ~static_cast<int32_t>(VT_COMPRESSION);
    }
    return lffdev(type.row, type.minor_number);
}
