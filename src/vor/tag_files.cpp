// Files of tags. Outside of a tag a line is one of:
//
//   (empty)     skipped
//   :N:name     a binary tag; N bytes of payload stand directly behind the line's end
//   ::name      a text tag named ":name"
//   name        a text tag, ":name" without a second colon too
//
// The lines behind the name of a text tag, up to an empty one or the end of the file, are its
// payload: joined with line feeds, closed with a zero byte, filled up to whole 32-bit words.

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "platform/kel.h"
#include "runtime/getaline.h"
#include "util/numbers.h"
#include "vor/driver.h"
#include "vor/record_block.h"

namespace vor {
namespace {

constexpr size_t first_block = 4096;

enum class Line { nothing, text, binary, malformed };

// What a line outside of a tag opens; `name` points into the line.
struct Opening {
    Line kind;
    const char *name;
    uint32_t payload; // of a binary tag
};

class TagFile {
public:
    TagFile(xvor_t *h, FILE *stream) : h_(h) { attach_getaline(&reader_, stream); }
    ~TagFile() { free_getaline(&reader_); }
    TagFile(const TagFile &) = delete;
    TagFile &operator=(const TagFile &) = delete;

    bool add_all();

private:
    const char *next_line();
    bool add(const Opening &opening);
    bool set_name(const char *name);
    bool add_binary(uint32_t payload);
    bool add_text();
    bool append_line(const char *line, size_t length, size_t *used);
    bool add_record(size_t payload);

    xvor_t *h_;
    getaline_t reader_;
    RecordBlock block_;
    bool failed_ = false; // the reader has ended before the file
};

// The size that a text of that length takes as payload.
constexpr size_t text_payload(size_t length) {
    return (length + 1 + 3) / 4 * 4;
}

bool valid_payload(int32_t size) {
    return size >= 1 && size % 4 == 0 && size <= VOR_MAXTEXTTAG;
}

Opening parse_opening(const char *line) {
    if (line[0] == '\0') return {Line::nothing, nullptr, 0};
    if (line[0] != ':') return {Line::text, line, 0};
    if (line[1] == ':') return {Line::text, line + 1, 0};
    const char *colon = std::strchr(line + 1, ':');
    if (!colon) return {Line::text, line, 0};
    const int32_t size = text_to_int32(line + 1, nullptr, 10);
    if (!valid_payload(size)) return {Line::malformed, nullptr, 0};
    if (colon[1] == '\0') return {Line::nothing, nullptr, 0};
    return {Line::binary, colon + 1, static_cast<uint32_t>(size)};
}

// NULL at the end of the file and on failure.
const char *TagFile::next_line() {
    const char *line = getaline_r(&reader_, GETALINE_QUIET);
    if (!line && (reader_.length < 0 || std::ferror(reader_.stream))) failed_ = true;
    return line;
}

bool TagFile::add_all() {
    if (!block_.reserve(first_block)) return false;
    while (const char *line = next_line()) {
        if (!add(parse_opening(line))) return false;
    }
    return !failed_;
}

bool TagFile::add(const Opening &opening) {
    switch (opening.kind) {
    case Line::nothing:
        return true;
    case Line::text:
        return set_name(opening.name) && add_text();
    case Line::binary:
        return set_name(opening.name) && add_binary(opening.payload);
    default:
        return false;
    }
}

bool TagFile::set_name(const char *name) {
    const size_t length = std::strlen(name);
    if (length >= VOR_TAGNAME) return false;
    std::memset(block_.record()->tagname, 0, VOR_TAGNAME);
    std::memcpy(block_.record()->tagname, name, length);
    return true;
}

bool TagFile::add_binary(uint32_t payload) {
    if (!block_.reserve(VOR_TAGHEAD + size_t{payload})) return false;
    if (std::fread(block_.payload(), 1, payload, reader_.stream) != payload) return false;
    return add_record(payload);
}

// A text tag without lines is not added.
bool TagFile::add_text() {
    size_t lines = 0;
    size_t used = 0;
    for (const char *line = next_line(); line && *line; line = next_line(), ++lines) {
        if (lines > 0) block_.payload()[used++] = '\n';
        if (!append_line(line, static_cast<size_t>(reader_.length), &used)) return false;
    }
    if (failed_) return false;
    if (lines == 0) return true;
    const size_t payload = text_payload(used);
    std::memset(block_.payload() + used, 0, payload - used);
    return add_record(payload);
}

// Leaves room for what closes the payload, which is room for the next line feed too.
bool TagFile::append_line(const char *line, size_t length, size_t *used) {
    if (length > VOR_MAXTEXTTAG) return false;
    const size_t payload = text_payload(*used + length);
    if (payload > VOR_MAXTEXTTAG) return false;
    const size_t needed = VOR_TAGHEAD + payload;
    if (needed > block_.room() && !block_.reserve(std::max(needed, 2 * block_.room()))) {
        return false;
    }
    std::memcpy(block_.payload() + *used, line, length);
    *used += length;
    return true;
}

bool TagFile::add_record(size_t payload) {
    block_.record()->tagsize = static_cast<uint32_t>(payload + VOR_TAGNAME);
    return lfspecial(h_, LFS_ADD_TAG, block_.record()) == 0;
}

// Writes a tag in the binary form.
bool dump_record(FILE *stream, const vortag *record) {
    const uint32_t payload = record->tagsize - VOR_TAGNAME;
    return std::fprintf(stream, ":%" PRIu32 ":%s\n", payload, record->tagname) > 0 &&
           std::fwrite(record + 1, 1, payload, stream) == payload;
}

// The number of tags written, or -1.
int32_t dump_all(xvor_t *h, FILE *stream) {
    int32_t count = 0;
    vor_tagslot slot = {0, nullptr};
    for (; lfspecial(h, LFS_NTH_TAG, &slot) == 0 && slot.index < INT32_MAX; ++slot.index) {
        if (!slot.record || slot.record->tagsize <= VOR_TAGNAME) continue;
        if (!dump_record(stream, slot.record)) return -1;
        ++count;
    }
    return count;
}

} // namespace
} // namespace vor

using namespace vor;

int32_t lfadd_ftags(xvor_t *h, const char *file_name) {
    FILE *stream = kel_fopen(file_name, "rb");
    if (!stream) return -1;
    return TagFile(h, stream).add_all() ? 0 : -1;
}

int32_t lfdump_ftags(xvor_t *h, const char *file_name) {
    FILE *stream = kel_fopen(file_name, "wb");
    if (!stream) return -1;
    const int32_t count = dump_all(h, stream);
    return kel_fclose(stream) != 0 ? -1 : count;
}
