// The library's version, and when this file, and with it the library, was built. The compiler gives
// the day as "Mmm dd yyyy", dd without a leading zero, and the time as "hh:mm:ss", in English in
// every locale; the weekday is worked out from them.
#include <array>
#include <cstddef>
#include <string_view>

#include "util/services.h"

namespace {

constexpr char built_on[] = __DATE__;
constexpr char built_at[] = __TIME__;
static_assert(sizeof built_on == 12 && sizeof built_at == 9);

constexpr int number(const char *text, int digits) {
    int value = 0;
    for (int i = 0; i < digits; ++i)
        if (text[i] != ' ') value = value * 10 + (text[i] - '0');
    return value;
}

// 0 for January.
constexpr int month(std::string_view name) {
    constexpr std::string_view names = "JanFebMarAprMayJunJulAugSepOctNovDec";
    return static_cast<int>(names.find(name) / 3);
}

// 0 for Sunday. January and February count as the end of the year before, so that a leap day is the
// last day of a year.
constexpr int weekday(int year, int month_index, int day) {
    constexpr int shift[] = {0, 3, 2, 5, 0, 3, 5, 1, 4, 6, 2, 4};
    if (month_index < 2) --year;
    return (year + year / 4 - year / 100 + year / 400 + shift[month_index] + day) % 7;
}
static_assert(weekday(2007, 2, 7) == 3 && weekday(2000, 1, 29) == 2);

constexpr std::array<char, 25> build_date() {
    constexpr char names[] = "SunMonTueWedThuFriSat";
    const int day = weekday(number(built_on + 7, 4), month({built_on, 3}), number(built_on + 4, 2));
    std::array<char, 25> text{};
    for (size_t i = 0; i < 3; ++i)
        text[i] = names[3 * static_cast<size_t>(day) + i];
    text[3] = ' ';
    for (size_t i = 0; i < 7; ++i)
        text[4 + i] = built_on[i];
    for (size_t i = 0; i < 8; ++i)
        text[11 + i] = built_at[i];
    text[19] = ' ';
    for (size_t i = 0; i < 4; ++i)
        text[20 + i] = built_on[7 + i];
    return text;
}

constexpr std::array<char, 25> d = build_date();

} // namespace

extern "C" {

const char KEL_libversion[] = "6.0";

const char KEL_date_libversion[] = {d[0],  d[1],  d[2],  d[3],  d[4],  d[5],  d[6],  d[7],  d[8],
                                    d[9],  d[10], d[11], d[12], d[13], d[14], d[15], d[16], d[17],
                                    d[18], d[19], d[20], d[21], d[22], d[23], d[24]};

} // extern "C"
