/* Yes/no words, text clean-up and small parsers. Nothing here prints; texts are bytes up to a zero
 * byte, and letters are told by their ASCII codes, whatever the locale. */
#ifndef VOR_UTIL_TEXT_H
#define VOR_UTIL_TEXT_H

#include <stdint.h>

#include "vor_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Sets the lists of words that mean yes and no: words separated by ":", at the start "yes:y:on" and
 * "no:n:off". NULL or an empty text leaves that list as it is. The pointers are kept, not the
 * texts, which must live as long as the lists are used. Always 0. */
VOR_API int32_t yesno_setup(const char *yes, const char *no);

/* A text matches a word if it equals it in full, whatever the case, behind any blanks at its start;
 * blanks at its end do not match. The empty text matches both lists. */

/* 1 if `text` matches a word of the yes list and none of the no list, otherwise 0. */
VOR_API int32_t yn_isyes(const char *text);

/* 1 if `text` matches a word of the no list and none of the yes list, otherwise 0. */
VOR_API int32_t yn_isno(const char *text);

/* 1 for a yes, 0 for a no, -1 for neither. */
VOR_API int32_t ytoi(const char *text);

/* Copies the first word of the yes list, or with a `value` of 0 of the no list, into `buffer`,
 * which needs room for that word and a zero byte. */
VOR_API void itoy(char *buffer, int32_t value);

/* The key that answers yes, or with a `value` of 0 no, at a prompt: the lowest character code from
 * `start` up to 255 that is the first letter, in either case, of a word of that list and of no word
 * of the other. Of `start` the low 8 bits count; a negative one is 0. -1 if there is none. */
VOR_API int32_t itoyc(int32_t value, int32_t start);

/* Removes, in place, all bytes up to 32 from both ends. The result is the new length, save that a
 * text of such bytes alone gives 1 although it is now empty. */
VOR_API int32_t strclean(char *text);

/* Builds a list of words, separated by ", ", in lines of up to 80 characters.
 *
 * A word is added behind what `buffer` holds, after ",\n" where the line would get too long; the
 * result is the length of the line that it was to join, two for the separator and the word's own
 * length included, even if it then opened a new line. The first word of an empty `buffer` gives its
 * own length. A `word` of NULL ends the list: ".\n" is added unless `buffer` is empty, and the
 * result is 0. The caller sees to the room in `buffer`. A `buffer` of NULL gives -1. */
VOR_API int32_t wordappend(char *buffer, const char *word);

/* What nc_num accepts beside a sign and digits. */
enum {
    NC_NUM_BLANKS = 1, /* blanks in front */
    NC_NUM_REAL = 2,   /* a fraction and an exponent */
    NC_NUM_PREFIX = 4  /* "0x" or "0X" behind the sign */
};

/* The length of the number at the start of `text`, everything skipped before it included, and 0 if
 * there is none. `flags` is an or of NC_NUM_ values. Only 0 to 9 are digits, behind a prefix too;
 * an exponent needs none. */
VOR_API int32_t nc_num(const char *text, int32_t flags);

/* Takes a line of the form key=value apart, in place. The key becomes the start of `text`, without
 * the blanks and tabs before the "="; the result points to the value in `text`. A value in single
 * quotes ends at the next one; in double quotes a backslash takes the next character as it is;
 * without quotes a blank or tab ends it. NULL without an "=", and for quotes that are not closed.
 */
VOR_API char *split_keyval(char *text);

/* 1 if `text` holds nothing but blanks and tabs, 2 if the first other character is one of those in
 * `comment`, otherwise 0. A `comment` of NULL stands for "#". */
VOR_API int32_t line_empty_p(const char *text, const char *comment);

/* Cuts `text` at the first of the characters in `comment` and cuts the blanks and tabs before it.
 * With `first_only` not 0, such a character counts only where nothing but blanks and tabs stand
 * before it. NULL or an empty text for `comment` stands for "#". 1 if something was cut, otherwise
 * 0. */
VOR_API int32_t kill_comment(char *text, const char *comment, int32_t first_only);

/* Cuts all bytes up to 32 at the end of a line, and all of a line that is a comment, with "#" or
 * ";" as its first character. The result points behind the blanks and tabs at the start. NULL gives
 * NULL. */
VOR_API char *trim_input_line(char *text);

#ifdef __cplusplus
}
#endif

#endif
