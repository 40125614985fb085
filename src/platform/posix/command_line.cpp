#include "platform/posix/command_line.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace vor::os {
namespace {

// Room for `count` texts, the null pointer behind them and `bytes` of text. `*room` is where the
// bytes begin.
Texts allocate_texts(size_t count, size_t bytes, char **room) {
    if (count >= SIZE_MAX / sizeof(char *) - 1) return nullptr;
    const size_t pointers = (count + 1) * sizeof(char *);
    if (bytes > SIZE_MAX - pointers) return nullptr;
    void *const block = std::calloc(1, pointers + bytes);
    if (!block) return nullptr;
    *room = static_cast<char *>(block) + pointers;
    return Texts(static_cast<char **>(block));
}

bool is_separator(char c) {
    return c == ' ' || c == '\t';
}

size_t count_of(const char *text, char wanted) {
    size_t count = 0;
    for (; *text; ++text)
        count += *text == wanted;
    return count;
}

// Copies one argument without its quotes, and gives where the text goes on.
const char *copy_argument(const char *text, char **to) {
    bool quoted = false;
    for (; *text && (quoted || !is_separator(*text)); ++text) {
        if (*text == '"') {
            quoted = !quoted;
        } else {
            *(*to)++ = *text;
        }
    }
    *(*to)++ = 0;
    return text;
}

} // namespace

Texts split_command_line(const char *text) {
    const size_t length = std::strlen(text);
    char *to = nullptr;
    // An argument takes a character and a separator at least; the zero bytes take their places.
    Texts arguments = allocate_texts(length / 2 + 1, length + 1, &to);
    for (size_t i = 0; arguments; ++i) {
        while (is_separator(*text))
            ++text;
        if (!*text) break;
        arguments[i] = to;
        text = copy_argument(text, &to);
    }
    return arguments;
}

Texts split_environment(const char *block) {
    size_t count = 0;
    for (const char *at = block; *at; at += std::strlen(at) + 1)
        ++count;
    char *unused = nullptr;
    Texts texts = allocate_texts(count, 0, &unused);
    for (size_t i = 0; texts && i < count; ++i) {
        texts[i] = const_cast<char *>(block);
        block += std::strlen(block) + 1;
    }
    return texts;
}

Texts program_names(const char *program, const char *path) {
    if (std::strchr(program, '/')) path = "";
    const size_t count = count_of(path, ':') + 1;
    const size_t length = std::strlen(program);
    char *to = nullptr;
    Texts names = allocate_texts(count, std::strlen(path) + count * (length + 2), &to);
    for (size_t i = 0; names && i < count; ++i) {
        const size_t directory = std::strcspn(path, ":");
        names[i] = to;
        std::memcpy(to, path, directory);
        to += directory;
        if (directory > 0) *to++ = '/';
        std::memcpy(to, program, length + 1);
        to += length + 1;
        path += directory + (path[directory] == ':');
    }
    return names;
}

} // namespace vor::os
