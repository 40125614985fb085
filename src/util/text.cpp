// Texts cleaned up, put together and taken apart, in place wherever they shrink.
#include "util/text.h"

#include <cstring>

#include "util/numbers.h"

namespace {

constexpr size_t line_width = 80;
constexpr const char *default_comment = "#";

// Blanks and control characters, whatever the sign of char.
bool is_filler(char c) {
    return static_cast<unsigned char>(c) <= 32;
}

bool is_one_of(char c, const char *set) {
    return c && std::strchr(set, c);
}

const char *skip_blanks(const char *text) {
    while (vor::is_blank(*text))
        ++text;
    return text;
}

const char *skip_digits(const char *text) {
    while (vor::is_digit(*text))
        ++text;
    return text;
}

bool is_sign(char c) {
    return c == '+' || c == '-';
}

// Ends the text at `end`, or before the blanks and tabs that stand there.
void cut_at(const char *text, char *end) {
    while (end > text && vor::is_blank(end[-1]))
        --end;
    *end = 0;
}

// Appends `tail` at `end` and gives the new end.
char *append(char *end, const char *tail) {
    const size_t length = std::strlen(tail);
    std::memcpy(end, tail, length + 1);
    return end + length;
}

// Ends a quoted text at its closing quote, taking backslashes off on the way; null without one.
char *unescape_quoted(char *text) {
    char *to = text;
    for (const char *from = text; *from != '"'; ++from) {
        if (*from == '\\') ++from;
        if (!*from) return nullptr;
        *to++ = *from;
    }
    *to = 0;
    return text;
}

char *end_value_at(char *value, const char *ends) {
    value[std::strcspn(value, ends)] = 0;
    return value;
}

} // namespace

extern "C" {

int32_t strclean(char *text) {
    if (!*text) return 0;
    const char *start = text;
    while (*start && is_filler(*start))
        ++start;
    size_t length = std::strlen(start);
    while (length > 0 && is_filler(start[length - 1]))
        --length;
    std::memmove(text, start, length);
    text[length] = 0;
    return length > 0 ? static_cast<int32_t>(length) : 1; // callers rely on the 1
}

int32_t wordappend(char *buffer, const char *word) {
    if (!buffer) return -1;
    char *end = buffer + std::strlen(buffer);
    if (!word) {
        if (end > buffer) append(end, ".\n");
        return 0;
    }
    if (end == buffer) return static_cast<int32_t>(append(buffer, word) - buffer);
    const char *const newline = std::strrchr(buffer, '\n');
    const size_t column = static_cast<size_t>(end - (newline ? newline + 1 : buffer));
    const size_t sum = column + 2 + std::strlen(word);
    if (column > 0) end = append(end, sum > line_width ? ",\n" : ", ");
    append(end, word);
    return static_cast<int32_t>(sum);
}

int32_t nc_num(const char *text, int32_t flags) {
    const char *at = text;
    if (flags & NC_NUM_BLANKS)
        while (*at == ' ')
            ++at;
    if (is_sign(*at)) ++at;
    if ((flags & NC_NUM_PREFIX) && at[0] == '0' && vor::to_lower(at[1]) == 'x') at += 2;
    const char *const digits = at;
    at = skip_digits(at);
    auto count = at - digits;
    if ((flags & NC_NUM_REAL) && *at == '.') {
        const char *const fraction = ++at;
        at = skip_digits(at);
        count += at - fraction;
    }
    if (count == 0) return 0;
    if ((flags & NC_NUM_REAL) && vor::to_lower(*at) == 'e') {
        ++at;
        if (is_sign(*at)) ++at;
        at = skip_digits(at);
    }
    return static_cast<int32_t>(at - text);
}

char *split_keyval(char *text) {
    char *const equals = std::strchr(text, '=');
    if (!equals) return nullptr;
    char *value = equals + 1;
    value += std::strspn(value, " \t");
    cut_at(text, equals);
    switch (*value) {
    case '\'':
        ++value;
        return std::strchr(value, '\'') ? end_value_at(value, "'") : nullptr;
    case '"':
        return unescape_quoted(value + 1);
    default:
        return end_value_at(value, " \t");
    }
}

int32_t line_empty_p(const char *text, const char *comment) {
    text = skip_blanks(text);
    if (!*text) return 1;
    return is_one_of(*text, comment ? comment : default_comment) ? 2 : 0;
}

int32_t kill_comment(char *text, const char *comment, int32_t first_only) {
    if (!comment || !*comment) comment = default_comment;
    const size_t at = first_only ? std::strspn(text, " \t") : std::strcspn(text, comment);
    if (!is_one_of(text[at], comment)) return 0;
    cut_at(text, text + at);
    return 1;
}

char *trim_input_line(char *text) {
    if (!text) return nullptr;
    size_t length = std::strlen(text);
    while (length > 0 && is_filler(text[length - 1]))
        --length;
    text[length] = 0;
    text += std::strspn(text, " \t");
    kill_comment(text, "#;", 1);
    return text;
}

} // extern "C"
