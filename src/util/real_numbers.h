// Real numbers out of texts, read the same in every locale.
#ifndef VOR_UTIL_REAL_NUMBERS_H
#define VOR_UTIL_REAL_NUMBERS_H

namespace vor {

// Reads a real number as strtod does in the "C" locale: white space, a sign, then decimal or "0x"
// digits with an exponent, "inf", "infinity" or "nan" in any case, "nan(...)" too. A value beyond
// the range gives an infinity, one too small a zero; errno is left alone. `end`, which may be
// NULL, gets the first character not used; text that is no number gives 0 and uses none.
double text_to_double(const char *text, const char **end);

} // namespace vor

#endif
