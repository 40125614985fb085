// The reader of rc files. A file is a frame on a stack whose next is the file that includes it; one
// line reader goes from file to file. The first fault anywhere ends the reading of all.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "config/rc.h"
#include "config/rc_table.h"
#include "platform/kel.h"
#include "runtime/getaline.h"
#include "runtime/log.h"
#include "runtime/settings_source.h"
#include "util/install.h"
#include "util/numbers.h"
#include "util/owned.h"
#include "util/paths.h"

namespace {

constexpr int64_t largest_file = 1048576; // keeps a raster that was named by mistake out
constexpr int32_t deepest_level = 16;     // of the includes below the first file
constexpr int64_t largest_sum = 67108864; // ends files that include each other many times over

struct GetalineDeleter {
    void operator()(getaline_t *reader) const { free_getaline(reader); }
};
using Reader = std::unique_ptr<getaline_t, GetalineDeleter>;

struct StreamDeleter {
    void operator()(FILE *stream) const { kel_fclose(stream); }
};
using Stream = std::unique_ptr<FILE, StreamDeleter>;

// A file being read.
struct RcFile {
    const RcFile *parent; // the file that includes it, or NULL
    int32_t level;        // how many files stand above it
    vor::malloc_ptr<char[]> name;
    Stream stream;
    int32_t line; // physical lines read
    bool fold;    // keys become upper-case
    bool sticky;  // all entries that follow are
};

// What all files of one call share.
struct Reading {
    getaline_t *reader;
    int64_t bytes; // of the files so far
};

// Logs a fault, and from where the file was included. A path stands for a file that could not be
// read; any other text is told with the place that `file` has come to. Always false.
bool rcerror(const char *text, const RcFile *file) {
    if (isabs_path(text)) {
        logmesg(LOGMESG_ERROR, RC_SHOWN ": not found (or invalid file)", text);
    } else if (file) {
        logmesg(LOGMESG_ERROR, "%s: line %d: " RC_SHOWN, file->name.get(), file->line, text);
    } else {
        logmesg(LOGMESG_ERROR, RC_SHOWN " (reading startup file)", text);
    }
    if (!file) return false;
    for (const RcFile *above = file->parent; above; above = above->parent)
        logmesg(LOGMESG_NOTE, "included from %s, line %d\n", above->name.get(), above->line);
    return false;
}

// The bytes of a file, or 0 for one that is none to be read.
int64_t readable_size(const char *path) {
    kel_stat_t status;
    if (kel_stat(path, &status) != 0 || (status.mode & KEL_S_IFMT) != KEL_S_IFREG) return 0;
    return status.size <= largest_file ? status.size : 0;
}

bool open_file(Reading *reading, const char *name, RcFile *file) {
    char path[RC_PATH_ROOM];
    rcfullpath(path, name);
    const int64_t size = readable_size(path);
    if (size == 0) return rcerror(*path ? path : name, nullptr);
    reading->bytes += size;
    if (reading->bytes > largest_sum) return rcerror("included files too large", file->parent);
    file->name.reset(vor::copy_text(path));
    if (!file->name) return rcerror("no memory (pushrcfile)", file->parent);
    file->stream.reset(kel_fopen(path, "rb"));
    return file->stream || rcerror(path, file);
}

// Cuts a text that begins with a quote at the next such quote and gives what stands between them;
// NULL if there is no second one.
char *unquote(char *text) {
    char *const end = std::strchr(text + 1, *text);
    if (!end) return nullptr;
    *end = 0;
    return text + 1;
}

bool is_quote(char c) {
    return c == '"' || c == '\'';
}

char *skip_blanks(char *text) {
    while (vor::is_blank(*text))
        ++text;
    return text;
}

// Ends a text at `end` or before the blanks and tabs that stand there; none is cut before `start`.
void trim(const char *start, char *end) {
    while (end > start && vor::is_blank(end[-1]))
        --end;
    *end = 0;
}

void fold(char *key) {
    for (; *key; ++key)
        *key = vor::to_upper(*key);
}

vor::RcOperator operator_of(char c) {
    if (c == ':') return vor::RcOperator::lock;
    if (c == '+') return vor::RcOperator::append;
    return vor::RcOperator::set;
}

// The value that starts at `text`, or NULL if its closing quote is missing.
char *value_of(char *text) {
    text = skip_blanks(text);
    if (is_quote(*text)) return unquote(text);
    trim(text, text + std::strcspn(text, "#"));
    return text;
}

// A line of key and value. The first character of the key is known to be one.
bool assign(char *line, uint32_t flags, const RcFile &file) {
    char *const equals = std::strchr(line, '=');
    if (!equals) return false; // the log tells no more than that the file is not used
    const vor::RcOperator how = operator_of(equals[-1]);
    char *const value = value_of(equals + 1);
    if (!value) return rcerror("closing quote missing", &file);
    trim(line + 1, how == vor::RcOperator::set ? equals : equals - 1);
    if (file.fold) fold(line);
    switch (vor::rchash_add(line, how, value, flags)) {
    case vor::RcAdded::locked:
        return rcerror("duplicate entry", &file);
    case vor::RcAdded::no_memory:
        return rcerror("rchash_add: out of memory", &file);
    default:
        return true;
    }
}

bool read_assignment(char *line, const RcFile &file) {
    const bool marked = *line == '*';
    if (marked) ++line;
    if (!vor::is_letter(*line) && *line != '_') return rcerror("invalid rcline", &file);
    return assign(line, marked || file.sticky ? uint32_t{RCE_STICKY} : 0, file);
}

bool starts_with(const char *text, const char *start) {
    return std::strncmp(text, start, std::strlen(start)) == 0;
}

// Whether a comment opens a sticky section. The bracket may be closed anywhere behind the shorter
// of the two forms, less its last letter.
bool opens_sticky_section(const char *line) {
    constexpr size_t first_place_of_bracket = 8;
    if (!starts_with(line, "## [sticky") && !starts_with(line, "##[sticky")) return false;
    return std::strchr(line + first_place_of_bracket, ']') != nullptr;
}

bool read_file(Reading *reading, const char *name, const RcFile *parent);

// The name behind "@include", or NULL if there is none.
char *included_name(char *text) {
    if (!vor::is_blank(*text)) return nullptr;
    char *name = skip_blanks(text);
    if (is_quote(*name)) {
        name = unquote(name);
    } else {
        char *end = name;
        while (static_cast<unsigned char>(*end) > ' ')
            ++end;
        *end = 0;
    }
    return name && *name ? name : nullptr;
}

bool include(Reading *reading, char *text, const RcFile &file) {
    const char *const name = included_name(text);
    if (!name) return rcerror("syntax error @include", &file);
    if (!read_file(reading, name, &file)) return false;
    reading->reader->stream = file.stream.get();
    return true;
}

bool read_pseudo_operation(Reading *reading, char *line, RcFile *file) {
    static constexpr const char *include_word = "@include";
    if (std::strcmp(line, "@case-fold") == 0) {
        file->fold = true;
    } else if (std::strcmp(line, "@no-case-fold") == 0) {
        file->fold = false;
    } else if (starts_with(line, include_word)) {
        return include(reading, line + std::strlen(include_word), *file);
    } else {
        return rcerror("bad pseudo op", file);
    }
    return true;
}

bool read_line(Reading *reading, char *line, RcFile *file) {
    switch (*line) {
    case '@':
        if (vor::rc_flags & RCF_NOPSEUDO) break;
        return read_pseudo_operation(reading, line, file);
    case '#':
        if (opens_sticky_section(line)) file->sticky = true;
        return true;
    case 0:
    case '[':
    case '-':
        return true;
    default:
        break;
    }
    return read_assignment(line, *file);
}

bool read_lines(Reading *reading, RcFile *file) {
    getaline_t *const reader = reading->reader;
    reader->stream = file->stream.get();
    while (char *const line = getaline_r(reader, GETALINE_SKIP_LEADING | GETALINE_CONTINUE)) {
        file->line += reader->lines;
        if (!read_line(reading, line, file)) return false;
    }
    if (std::ferror(file->stream.get())) return rcerror("read error", file);
    return reader->length == 0;
}

bool read_file(Reading *reading, const char *name, const RcFile *parent) {
    RcFile file = {};
    file.parent = parent;
    file.level = parent ? parent->level + 1 : 0;
    file.fold = parent ? parent->fold : !(vor::rc_flags & RCF_NOFOLD);
    if (file.level > deepest_level) return rcerror("include nesting limit exceeded", parent);
    return open_file(reading, name, &file) && read_lines(reading, &file);
}

bool read_all(const char *name) {
    const Reader reader(alloc_getaline(nullptr));
    if (!reader) {
        logmesg(LOGMESG_ERROR, "readrc: out of memory");
        return false;
    }
    if (!(vor::rc_flags & RCF_KEEP)) vor::rchash_clear();
    Reading reading = {reader.get(), 0};
    return read_file(&reading, name, nullptr);
}

} // namespace

extern "C" {

const char *rcfilename(void) {
    const char *const name = std::getenv("GRAVURRC");
    return name ? name : ".gravurrc";
}

void rcfullpath(char *buf, const char *name) {
    if (!name) name = rcfilename();
    const bool own_place =
        isabs_path(name) || (name[0] == '.' && (name[1] == '/' || name[1] == '\\'));
    const char *directory = "";
    if (!own_place) {
        directory = std::getenv("RCDIR");
        if (!directory) directory = local_home_path();
    }
    const int length =
        std::snprintf(buf, RC_PATH_ROOM, "%s%s%s", directory, own_place ? "" : "/", name);
    if (length < 0 || length >= RC_PATH_ROOM) *buf = 0;
}

int32_t readrcfile(const char *name, uint32_t flags) {
    if (!name) name = rcfilename();
    vor::rc_flags = flags;
    vor::setting_lookup = vor::setting_of_environment;
    if (read_all(name)) {
        vor::setting_lookup = vor::rchash_find;
        vor::rclist_init();
        return 0;
    }
    vor::rchash_clear();
    logmesg(LOGMESG_WARNING, "error(s) on '" RC_SHOWN "', using environment", name);
    return -1;
}

} // extern "C"
