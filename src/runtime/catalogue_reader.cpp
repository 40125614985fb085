// Reads the image of a catalogue:
//
//   anything, {[VERSION number     before the header
//   {[name]}                       the header, which bears the file's name
//   number:text\C                  a message; its text may go on over several lines
//   @MODUL=name:module,maxmsg      another file, for the same or another table
//   {[                             the end; lines of any other kind are comments
//
// A text is written over the image, from the start of its line on, and so needs no memory of its
// own: it never grows by being read.
#include <cstdio>
#include <cstring>
#include <string_view>

#include "runtime/catalogue_load.h"
#include "runtime/settings_source.h"
#include "util/numbers.h"

namespace vor {
namespace {

constexpr int32_t usual_maxmsg = 128;
constexpr int32_t deepest_inclusion = 32;
constexpr int32_t most_inclusions = 1000;
constexpr size_t reference_room = 80; // of a key, a zero byte included

uint8_t byte_of(char c) {
    return static_cast<uint8_t>(c);
}

bool is_octal(char c) {
    return c >= '0' && c <= '7';
}

// The value of a hexadecimal digit, or -1.
int32_t hex_value(char c) {
    if (is_digit(c)) return c - '0';
    const char lower = to_lower(c);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

const char *skip_blanks(const char *at) {
    while (is_blank(*at))
        ++at;
    return at;
}

// ---- inclusions ----

// An inclusion line taken apart, from behind its "=". Each step moves `at_` on, and is false if the
// line is wrong there.
class InclusionLine {
public:
    explicit InclusionLine(const char *at) : at_(skip_blanks(at)) {}

    bool read(int32_t present_module) {
        if (!read_name()) return false;
        ++at_;
        module_ = present_module;
        if (*at_ == '*') {
            ++at_;
        } else if (!read_number(&module_)) {
            return false;
        }
        if (*at_ != ',') return true;
        ++at_;
        return read_number(&maxmsg_);
    }

    const char *name() const { return name_; }
    int32_t module() const { return module_; }
    int32_t maxmsg() const { return maxmsg_; }

private:
    static bool is_name_byte(char c) { return byte_of(c) >= '0' && byte_of(c) <= 0x7F && c != ':'; }

    bool read_name() {
        while (is_name_byte(*at_)) {
            if (*at_ == '{' ? !read_reference() : !add({at_++, 1})) return false;
        }
        return length_ > 0 && (*at_ == ':' || *at_ == ',');
    }

    // A setting in braces stands for its value, and one that is not set for its name in lower case,
    // but for the first letter.
    bool read_reference() {
        at_ = skip_blanks(at_ + 1);
        const size_t length = std::strcspn(at_, "}\n");
        if (at_[length] != '}' || length == 0 || length >= reference_room) return false;
        char key[reference_room];
        std::memcpy(key, at_, length);
        key[length] = 0;
        at_ += length + 1;
        if (const char *const value = setting_lookup(key)) return add(value);
        for (char *c = key + 1; *c; ++c)
            *c = to_lower(*c);
        return add(key);
    }

    bool add(std::string_view more) {
        if (more.size() >= sizeof name_ - length_) return false;
        std::memcpy(name_ + length_, more.data(), more.size());
        length_ += more.size();
        name_[length_] = 0;
        return true;
    }

    // A number of this line, not of the next.
    bool read_number(int32_t *number) {
        at_ = skip_blanks(at_);
        if (is_space(*at_)) return false;
        const char *const start = at_;
        *number = text_to_int32(start, &at_, 10);
        return at_ != start;
    }

    const char *at_;
    char name_[catalogue_path_room] = {};
    size_t length_ = 0;
    int32_t module_ = 0;
    int32_t maxmsg_ = usual_maxmsg;
};

// ---- the image ----

class Reader {
public:
    Reader(const Catalogue &catalogue, const char *path, char *image, size_t size,
           Inclusions *inclusions)
        : catalogue_(catalogue), path_(path), at_(image), end_(image + size),
          inclusions_(inclusions) {}

    int32_t read() {
        if (!find_header()) return warn_of_end("no messages");
        while (at_ < end_ && !line_starts_with("{[")) {
            const Line line = read_line();
            if (line == Line::failed) return -1;
            if (line == Line::without_end) return warn_of_end("no terminator");
        }
        return warned_ ? 1 : 0;
    }

private:
    enum class Line { good, without_end, failed };
    enum class Escape { nothing, byte, end_of_text };

    std::string_view rest() const { return {at_, static_cast<size_t>(end_ - at_)}; }
    bool line_starts_with(std::string_view text) const { return rest().starts_with(text); }

    void skip_line() {
        while (at_ < end_ && *at_ != '\n')
            ++at_;
        if (at_ == end_) return;
        ++at_;
        ++line_;
    }

    int32_t warn_of_end(const char *what) const {
        std::fprintf(stderr, "%s: check file (%s)\n", path_, what);
        return 1;
    }

    // ---- before the header ----

    bool find_header() {
        for (; at_ < end_; skip_line()) {
            if (line_starts_with(version_mark)) {
                check_version();
            } else if (is_header()) {
                skip_line();
                return true;
            }
        }
        return false;
    }

    void check_version() {
        const int32_t version = text_to_int32(at_ + version_mark.size(), nullptr, 0);
        if (catalogue_.version == 0 || version >= catalogue_.version) return;
        std::fprintf(stderr, "%s: version: %08d, excpected: %08d\n", path_, version,
                     catalogue_.version);
        warned_ = true;
    }

    bool is_header() const {
        if (!line_starts_with("{[")) return false;
        const std::string_view name = catalogue_.name;
        const std::string_view line = rest().substr(2);
        return line.starts_with(name) && line.substr(name.size()).starts_with("]}");
    }

    // ---- within the module ----

    Line read_line() {
        if (is_digit(*at_)) return read_message();
        const bool good = !line_starts_with(inclusion_mark) || include();
        skip_line();
        return good ? Line::good : Line::failed;
    }

    Line read_message() {
        char *const start = at_;
        const char *behind = nullptr;
        const int32_t number = text_to_int32(start, &behind, 10);
        if (*behind != ',' && *behind != ':') {
            skip_line();
            return Line::good;
        }
        if (number >= catalogue_.maxmsg) {
            std::fprintf(stderr, "%s: line %d: invalid index(%d)\n", path_, line_, number);
            return Line::failed;
        }
        mystrings[catalogue_.module][number] = start;
        at_ = start + (behind - start) + 1;
        if (!read_text(start)) return Line::without_end;
        skip_line();
        return Line::good;
    }

    // False if the image ends first; the text then runs on into what it was read from.
    bool read_text(char *to) {
        while (at_ < end_) {
            char c = *at_++;
            if (c == '\\') {
                const Escape escape = read_escape(&c);
                if (escape == Escape::byte) *to++ = c;
                if (escape == Escape::end_of_text) {
                    *to = 0;
                    return true;
                }
            } else if (c == '\n') {
                ++line_;
            } else if (c == '\t' || (byte_of(c) >= ' ' && byte_of(c) <= 0x7F)) {
                *to++ = c;
            }
        }
        return false;
    }

    // Reads what stands behind a backslash.
    Escape read_escape(char *byte) {
        if (at_ == end_) return Escape::nothing;
        const char c = *at_++;
        *byte = c;
        switch (c) {
        case 'C':
        case '\x03':
            return Escape::end_of_text;
        case '\n':
            ++line_;
            return Escape::nothing;
        case '\r':
        case 0:
            return Escape::nothing;
        case 'n':
            *byte = '\n';
            break;
        case 'r':
            *byte = '\r';
            break;
        case 't':
            *byte = '\t';
            break;
        case 'x':
            *byte = read_hex();
            break;
        default:
            if (is_octal(c)) *byte = read_octal(c);
        }
        return Escape::byte;
    }

    // Without a digit it is a byte 0, at which the text ends for who reads it.
    char read_hex() {
        int32_t value = 0;
        for (int32_t i = 0; i < 2 && hex_value(*at_) >= 0; ++i)
            value = 16 * value + hex_value(*at_++);
        return static_cast<char>(value);
    }

    // A digit behind three is lost, which catalogues are written around.
    char read_octal(char first) {
        int32_t value = first - '0';
        int32_t digits = 1;
        for (; digits < 3 && is_octal(*at_); ++digits)
            value = 8 * value + (*at_++ - '0');
        if (digits == 3 && is_octal(*at_)) ++at_;
        return static_cast<char>(value & 0xFF);
    }

    bool include() {
        InclusionLine line(at_ + inclusion_mark.size());
        const char *fault = nullptr;
        if (!line.read(catalogue_.module)) {
            fault = "syntax error";
        } else if (!load(line)) {
            fault = "load error";
        }
        if (fault) std::fprintf(stderr, "%s: %s, line %d\n", path_, fault, line_);
        return !fault;
    }

    bool load(const InclusionLine &line) {
        if (inclusions_->depth == deepest_inclusion) return false;
        if (inclusions_->count == most_inclusions) return false;
        ++inclusions_->count;
        ++inclusions_->depth;
        const Catalogue included = {line.name(), catalogue_.language, 0, line.module(),
                                    line.maxmsg()};
        const int32_t result = load_catalogue(included, inclusions_);
        --inclusions_->depth;
        return result >= 0;
    }

    static constexpr std::string_view version_mark = "{[VERSION ";
    static constexpr std::string_view inclusion_mark = "@MODUL=";

    const Catalogue &catalogue_;
    const char *path_;
    char *at_;
    char *end_;
    int32_t line_ = 1;
    bool warned_ = false;
    Inclusions *inclusions_;
};

} // namespace

int32_t read_catalogue(const Catalogue &catalogue, const char *path, char *image, size_t size,
                       Inclusions *inclusions) {
    return Reader(catalogue, path, image, size, inclusions).read();
}

} // namespace vor
