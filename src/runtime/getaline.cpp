// The line reader. A line stands in a block of capacity + 16 bytes, from the second byte on: a
// front mark 0x55, the characters, a zero byte, a back mark 0xAA. The marks are for whoever looks
// at a corrupted buffer in a debugger; nothing reads them.
#include "runtime/getaline.h"

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "platform/kel.h"
#include "util/numbers.h"
#include "util/owned.h"

namespace {

constexpr uint32_t start_capacity = 240;
constexpr uint32_t growth = 1024;
constexpr uint32_t spare = 16; // block beyond capacity: the marks and the zero byte, rounded up
constexpr char front_mark = 0x55;
constexpr char back_mark = static_cast<char>(0xAA);

// The reader behind getaline.
getaline_t *hidden = nullptr;

void complain(int32_t flags, const char *text) {
    if (!(flags & GETALINE_QUIET)) std::perror(text);
}

// Gives the line `capacity` characters of room; false, with all as it was, if there is no memory.
bool set_capacity(getaline_t *reader, uint32_t capacity) {
    char *const old = reader->line ? reader->line - 1 : nullptr;
    char *const block = vor::reallocate_array(old, size_t{capacity} + spare);
    if (!block) return false;
    reader->line = block + 1;
    reader->capacity = capacity;
    return true;
}

// A line's length is 32 bits and signed, so that is where memory ends at the latest.
bool grow(getaline_t *reader) {
    if (reader->capacity > INT32_MAX - growth) {
        errno = ENOMEM;
        return false;
    }
    return set_capacity(reader, reader->capacity + growth);
}

void skip_blanks(FILE *stream) {
    int c = std::getc(stream);
    while (c == ' ' || c == '\t')
        c = std::getc(stream);
    std::ungetc(c, stream);
}

enum class Ending { line, file, memory };

// Reads characters up to the end of a line and tells how many there are.
Ending collect(getaline_t *reader, int32_t flags, uint32_t *length) {
    bool escaped = false; // the last character taken was a backslash
    *length = 0;
    for (;;) {
        int c = std::getc(reader->stream);
        if (c == EOF) return Ending::file;
        if (c == '\r' && !(flags & GETALINE_KEEP_CR)) continue;
        if (c == 0 && !(flags & GETALINE_KEEP_NUL)) c = ' ';
        if (c == '\n' || c == '\f') {
            ++reader->lines;
            ++reader->lineno;
            if (!escaped || !(flags & GETALINE_CONTINUE)) return Ending::line;
            --*length;
            escaped = false;
            skip_blanks(reader->stream);
            continue;
        }
        if (*length == reader->capacity && !grow(reader)) return Ending::memory;
        reader->line[(*length)++] = static_cast<char>(c);
        escaped = c == '\\';
    }
}

char *finish(getaline_t *reader, int32_t flags, uint32_t length) {
    char *const line = reader->line;
    if (!(flags & GETALINE_KEEP_TRAILING))
        while (length > 0 && vor::is_blank(line[length - 1]))
            --length;
    line[length] = 0;
    line[length + 1] = back_mark;
    reader->length = static_cast<int32_t>(length);
    return line;
}

char *end_of_file(getaline_t *reader) {
    reader->line[0] = 0;
    reader->length = 0;
    reader->lines = 0;
    return nullptr;
}

// Makes the hidden reader one of `stream`; false if there is no memory for it.
bool switch_hidden(FILE *stream) {
    if (!hidden) hidden = alloc_getaline(stream);
    if (!hidden) return false;
    hidden->owner &= ~uint32_t{GETALINE_OWNS_STREAM};
    if (hidden->stream != stream) {
        hidden->stream = stream;
        hidden->lineno = 0;
    }
    return true;
}

} // namespace

extern "C" {

char *getaline_r(getaline_t *reader, int32_t flags) {
    reader->length = -1;
    reader->lines = 0;
    if (!reader->stream) {
        if (!(flags & GETALINE_QUIET)) std::fputs("getaline: NULL file\n", stderr);
        return nullptr;
    }
    if (!reader->line && !set_capacity(reader, start_capacity)) {
        complain(flags, "getaline: malloc");
        return nullptr;
    }
    if (flags & GETALINE_SKIP_LEADING) skip_blanks(reader->stream);
    reader->line[-1] = front_mark;
    uint32_t length = 0;
    switch (collect(reader, flags, &length)) {
    case Ending::memory:
        complain(flags, "getaline: realloc");
        return nullptr;
    case Ending::file:
        if (length == 0) return end_of_file(reader);
        break;
    case Ending::line:
        break;
    }
    return finish(reader, flags, length);
}

int32_t attach_getaline(getaline_t *reader, FILE *stream) {
    *reader = {};
    reader->stream = stream;
    if (stream && stream != stdin) reader->owner = GETALINE_OWNS_STREAM;
    return 0;
}

getaline_t *alloc_getaline(FILE *stream) {
    getaline_t *const reader = vor::allocate_array<getaline_t>(1);
    if (!reader) return nullptr;
    attach_getaline(reader, stream);
    reader->owner |= GETALINE_OWNS_RECORD;
    return reader;
}

int32_t free_getaline(getaline_t *reader) {
    if (!reader) return 0;
    if ((reader->owner & GETALINE_OWNS_STREAM) && reader->stream) kel_fclose(reader->stream);
    if (reader->line) std::free(reader->line - 1);
    if (reader->owner & GETALINE_OWNS_RECORD) {
        std::free(reader);
    } else {
        *reader = {}; // the caller's record holds nothing stale
    }
    return 0;
}

getaline_t *push_getaline(getaline_t *top, FILE *stream) {
    getaline_t *const reader = alloc_getaline(stream);
    if (reader) reader->next = top;
    return reader;
}

getaline_t *pop_getaline(getaline_t *top) {
    if (!top) return nullptr;
    getaline_t *const below = top->next;
    free_getaline(top);
    return below;
}

char *getaline(FILE *stream, int32_t flags, int32_t *length) {
    int32_t unused = 0;
    if (!length) {
        length = &unused;
        flags &= ~GETALINE_KEEP_NUL;
    }
    if (!stream) {
        free_getaline(hidden);
        hidden = nullptr;
        *length = 0;
        return nullptr;
    }
    if (!switch_hidden(stream)) {
        complain(flags, "getaline: initial malloc");
        *length = -1;
        return nullptr;
    }
    char *const line = getaline_r(hidden, flags);
    *length = hidden->length;
    return line;
}

} // extern "C"
