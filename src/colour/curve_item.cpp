// An item's form shows in what can be read of it: a keyword, "@" and one or two real numbers, or
// real numbers and integers with ":" and "=" between them, the longest form first. What stands
// behind these is not looked at.
#include "colour/curve_item.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <string_view>

#include "util/numbers.h"
#include "util/real_numbers.h"

namespace vor {
namespace {

constexpr CurveKeyword keywords[] = {
    {"normal", false, 0},    {"standard", false, 0}, {"positive", false, 0}, {"invert", true, 0},
    {"negative", true, 0},   {"reverse", true, 0},   {"light", false, 0.9F}, {"dim", false, 0.9F},
    {"bright", false, 1.1F}, {"brite", false, 1.1F},
};

bool is_separator(char c) {
    return is_blank(c) || c == ',';
}

bool is_quote(char c) {
    return c == '"' || c == '\'';
}

// Numbers read one after the other; the first that is not there, and all behind it, are not.
class NumberReader {
public:
    explicit NumberReader(const char *text) : at_(text) {}

    bool separator(char c) {
        good_ = good_ && *at_ == c;
        if (good_) ++at_;
        return good_;
    }
    bool integer(int32_t *number) {
        const char *end = nullptr;
        const int32_t read = text_to_int32(at_, &end, 0);
        return store(read, end, number);
    }
    bool real(double *number) {
        const char *end = nullptr;
        const double read = text_to_double(at_, &end);
        return store(read, end, number);
    }

private:
    template <class T>
    bool store(T number, const char *end, T *place) {
        good_ = good_ && end != at_;
        if (!good_) return false;
        at_ = end;
        *place = number;
        return true;
    }

    const char *at_;
    bool good_ = true;
};

bool read_keyword(CurveItem *item, int32_t size) {
    const CurveKeyword *const keyword = ctab_keyword(item->text);
    if (!keyword) return false;
    if (keyword->exponent > 0) {
        item->form = CurveForm::gamma;
        item->exponent = static_cast<double>(keyword->exponent);
        return true;
    }
    item->form = CurveForm::linear;
    item->low = keyword->down ? size - 1 : 0;
    item->high = keyword->down ? 0 : size - 1;
    return true;
}

bool read_gamma(CurveItem *item) {
    NumberReader reader(item->text);
    double divisor = 0;
    if (!reader.separator('@') || !reader.real(&item->exponent)) return false;
    const bool divided = reader.separator(':') && reader.real(&divisor) && divisor > 0;
    if (divided) item->exponent /= divisor;
    item->form = CurveForm::gamma;
    return true;
}

float to_float(double number) {
    constexpr auto largest = static_cast<double>(std::numeric_limits<float>::max());
    return static_cast<float>(std::clamp(number, -largest, largest));
}

bool read_points(CurveItem *item) {
    NumberReader reader(item->text);
    for (float &point : item->points) {
        double number = 0;
        if (&point != item->points && !reader.separator(':')) return false;
        if (!reader.real(&number)) return false;
        point = to_float(number);
    }
    item->form = CurveForm::points;
    return true;
}

bool read_constant(CurveItem *item) {
    NumberReader reader(item->text);
    int32_t from = 0;
    int32_t to = 0;
    if (!reader.integer(&from) || !reader.separator(':') || !reader.integer(&to) ||
        !reader.separator('=') || !reader.integer(&item->value)) {
        return false;
    }
    item->from = from;
    item->to = to;
    item->form = CurveForm::constant;
    return true;
}

// A staircase has three numbers, a ramp four.
bool read_steps_or_ramp(CurveItem *item) {
    NumberReader reader(item->text);
    int32_t from = 0;
    int32_t to = 0;
    int32_t third = 0;
    if (!reader.integer(&from) || !reader.separator(':') || !reader.integer(&to) ||
        !reader.separator(':') || !reader.integer(&third)) {
        return false;
    }
    item->from = from;
    item->to = to;
    const bool ramp = reader.separator(':') && reader.integer(&item->high);
    item->form = ramp ? CurveForm::linear : CurveForm::steps;
    (ramp ? item->low : item->steps) = third;
    return true;
}

} // namespace

const CurveKeyword *ctab_keyword(const char *text) {
    const char *end = text;
    while (is_alphanumeric(*end))
        ++end;
    const std::string_view word(text, static_cast<size_t>(end - text));
    if (word.empty()) return nullptr;
    const CurveKeyword *candidate = nullptr;
    for (const CurveKeyword &keyword : keywords) {
        const std::string_view name(keyword.name);
        if (name == word) return &keyword;
        if (!name.starts_with(word)) continue;
        if (candidate) return nullptr;
        candidate = &keyword;
    }
    return candidate;
}

CurveItem parse_curve_item(const char *text, int32_t size) {
    CurveItem item{};
    item.fill = true;
    for (; *text == '~' || *text == '='; ++text) {
        if (*text == '~') item.fill = false;
        if (*text == '=') item.absolute = true;
    }
    item.text = text;
    item.from = 0;
    item.to = size - 1;
    const bool read = read_keyword(&item, size) || read_gamma(&item) || read_points(&item) ||
                      read_constant(&item) || read_steps_or_ramp(&item);
    if (!read) item.form = CurveForm::file;
    return item;
}

const char *skip_curve_separators(const char *text) {
    while (is_separator(*text))
        ++text;
    return text;
}

const char *skip_curve_item(const char *text) {
    if (is_quote(*text)) {
        const char *const quote = std::strchr(text + 1, *text);
        text = quote ? quote + 1 : text + std::strlen(text);
    }
    while (*text && !is_separator(*text))
        ++text;
    return text;
}

} // namespace vor
