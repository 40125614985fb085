// Curve files: a text of integers, decimal or with the prefixes "0" and "0x", and of comments from
// "#" to the end of the line. A comment in the first line may tell how many there are:
//
//     #KEL gray response curve, SIZE=256
//       0   1   2   3   4   5   6   7   8   9  10  11  12  13  14  15 #0 .. 15
//
// One that tells nothing takes the whole second line with it, too.
#include "colour/curve_file.h"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "colour/colour.h"
#include "platform/kel.h"
#include "util/numbers.h"

namespace vor {
namespace {

// Room for a file's name, as much as kel_fopen takes.
constexpr size_t name_room = 1024;

constexpr int32_t no_digit = 99;

int32_t digit_value(int c) {
    const char digit = to_lower(static_cast<char>(c));
    if (is_digit(digit)) return digit - '0';
    return is_letter(digit) ? digit - 'a' + 10 : no_digit;
}

// The text goes by one character at a time, so that a line may be of any length.
class CurveReader {
public:
    explicit CurveReader(FILE *file) : file_(file) {}

    // Stores up to `size` values and gives their number. What is no value ends the reading.
    int32_t read(uint16_t *table, int32_t size);
    // The number of values that the file tells, or 0.
    int32_t declared() const { return declared_; }

private:
    int next();
    void put_back(int c) { std::ungetc(c, file_); }
    void skip_line();
    void skip_comment();
    void find_declared();
    bool read_digits(int32_t base, int64_t *number);
    bool read_magnitude(int64_t *number);
    bool read_value(uint16_t *value);

    FILE *file_;
    bool in_first_line_ = true;
    int32_t declared_ = 0;
};

int CurveReader::next() {
    const int c = std::getc(file_);
    if (c == '\n') in_first_line_ = false;
    return c;
}

void CurveReader::skip_line() {
    for (int c = next(); c != '\n' && c != EOF;)
        c = next();
}

void CurveReader::skip_comment() {
    if (in_first_line_) find_declared();
    skip_line();
}

// Reads up to the end of the number behind the first "=" that has one, or else all of the line.
void CurveReader::find_declared() {
    bool behind_equals = false;
    for (int c = next(); c != '\n' && c != EOF; c = next()) {
        if (behind_equals && is_digit(static_cast<char>(c))) {
            int64_t number = 0;
            put_back(c);
            read_digits(10, &number);
            declared_ = static_cast<int32_t>(std::min<int64_t>(number, INT32_MAX));
            return;
        }
        behind_equals = c == '=';
    }
}

// Adds digits to a number, which stops growing where it leaves 32 bits. False if there are none.
bool CurveReader::read_digits(int32_t base, int64_t *number) {
    bool found = false;
    int c = next();
    for (; digit_value(c) < base; c = next()) {
        if (*number <= INT32_MAX) *number = *number * base + digit_value(c);
        found = true;
    }
    put_back(c);
    return found;
}

bool CurveReader::read_magnitude(int64_t *number) {
    const int first = next();
    if (first != '0') {
        put_back(first);
        return read_digits(10, number);
    }
    const int second = next();
    if (second == 'x' || second == 'X') return read_digits(16, number);
    put_back(second);
    read_digits(8, number);
    return true;
}

bool CurveReader::read_value(uint16_t *value) {
    const int sign = next();
    if (sign != '-' && sign != '+') put_back(sign);
    int64_t number = 0;
    if (!read_magnitude(&number)) return false;
    if (sign == '-') number = -number;
    *value = static_cast<uint16_t>(std::clamp<int64_t>(number, INT32_MIN, INT32_MAX) & 0xFFFF);
    return true;
}

int32_t CurveReader::read(uint16_t *table, int32_t size) {
    int32_t count = 0;
    while (count < size) {
        const int c = next();
        if (c == EOF) break;
        if (c == '#') {
            skip_comment();
        } else if (c != ' ' && c != '\t' && c != '\r' && c != '\n') {
            put_back(c);
            if (!read_value(&table[count])) break;
            ++count;
        }
    }
    return count;
}

// The name at the start of `text`; false if it has none, or no closing quote.
bool find_name(const char *text, std::string_view *name) {
    const bool quoted = *text == '"' || *text == '\'';
    const char *const end = quoted ? std::strchr(text + 1, *text) : text + std::strcspn(text, ",");
    if (!end) return false;
    const char *const start = quoted ? text + 1 : text;
    *name = {start, static_cast<size_t>(end - start)};
    return !name->empty();
}

FILE *open_curve(std::string_view name) {
    char path[name_room];
    if (name.size() >= sizeof path) return nullptr;
    name.copy(path, name.size());
    path[name.size()] = 0;
    return kel_fopen(path, "r");
}

bool is_power_of_two(int32_t count) {
    return std::has_single_bit(static_cast<uint32_t>(count));
}

// How the values stand in a file.
struct LineForm {
    int32_t width;  // characters of a value
    int32_t values; // in a line
};

LineForm line_form(int32_t size) {
    return size <= 256 ? LineForm{3, 16} : LineForm{4, 10};
}

void write_values(FILE *file, const uint16_t *table, int32_t size) {
    const LineForm form = line_form(size);
    int32_t first = 0;
    while (first < size) {
        const int32_t end = first + std::min(form.values, size - first);
        for (int32_t i = first; i < end; ++i)
            std::fprintf(file, "%s%*d", i > first ? " " : "", form.width, table[i]);
        // The last line's first index is one too low, and files are compared as they are.
        std::fprintf(file, " #%d .. %d\n", end == size ? first - 1 : first, end - 1);
        first = end;
    }
}

} // namespace

int32_t ctab_load(const char *text, uint16_t *table, int32_t size) {
    std::string_view name;
    if (!find_name(text, &name)) return CURVE_INVALID;
    FILE *const file = open_curve(name);
    if (!file) return CURVE_NO_FILE;
    CurveReader reader(file);
    const int32_t count = reader.read(table, size);
    kel_fclose(file);
    std::fill(table + count, table + size, uint16_t{0});
    return count == reader.declared() || is_power_of_two(count) ? count : CURVE_INVALID;
}

} // namespace vor

extern "C" int32_t write_ctab(const char *filename, const uint16_t *table, int32_t size) {
    if (size == 0) size = NCOLORS_DEFAULT;
    FILE *const file = kel_fopen(filename, "w");
    if (!file) return CURVE_NO_FILE;
    std::fprintf(file, "#KEL gray response curve, SIZE=%d\n", size);
    vor::write_values(file, table, size);
    const bool written = std::ferror(file) == 0;
    return kel_fclose(file) == 0 && written ? 0 : CURVE_NO_FILE;
}
