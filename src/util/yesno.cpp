// Yes and no as users write them: two lists of words, separated by ":".
#include <algorithm>
#include <cstring>
#include <string_view>

#include "util/numbers.h"
#include "util/text.h"

namespace {

const char *yes_words = "yes:y:on";
const char *no_words = "no:n:off";

// Takes the first word and its separator off a list.
std::string_view take_word(std::string_view *list) {
    const std::string_view word(list->data(), std::min(list->find(':'), list->size()));
    list->remove_prefix(std::min(word.size() + 1, list->size()));
    return word;
}

bool same_word(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (vor::to_lower(a[i]) != vor::to_lower(b[i])) return false;
    return true;
}

// An empty text counts as a word of every list, and so as neither a yes nor a no.
bool is_word_of(std::string_view list, const char *text) {
    while (*text == ' ')
        ++text;
    if (!*text) return true;
    while (!list.empty())
        if (same_word(take_word(&list), text)) return true;
    return false;
}

bool opens_word_of(std::string_view list, char letter) {
    while (!list.empty()) {
        const std::string_view word = take_word(&list);
        if (!word.empty() && vor::to_lower(word[0]) == vor::to_lower(letter)) return true;
    }
    return false;
}

} // namespace

extern "C" {

int32_t yesno_setup(const char *yes, const char *no) {
    if (yes && *yes) yes_words = yes;
    if (no && *no) no_words = no;
    return 0;
}

int32_t yn_isyes(const char *text) {
    return is_word_of(yes_words, text) && !is_word_of(no_words, text);
}

int32_t yn_isno(const char *text) {
    return is_word_of(no_words, text) && !is_word_of(yes_words, text);
}

int32_t ytoi(const char *text) {
    if (yn_isyes(text)) return 1;
    return yn_isno(text) ? 0 : -1;
}

void itoy(char *buffer, int32_t value) {
    std::string_view list = value ? yes_words : no_words;
    const std::string_view word = take_word(&list);
    std::memcpy(buffer, word.data(), word.size());
    buffer[word.size()] = 0;
}

int32_t itoyc(int32_t value, int32_t start) {
    const char *const wanted = value ? yes_words : no_words;
    const char *const other = value ? no_words : yes_words;
    for (int32_t code = start < 0 ? 0 : start & 0xFF; code <= 0xFF; ++code) {
        const char letter = static_cast<char>(code);
        if (opens_word_of(wanted, letter) && !opens_word_of(other, letter)) return code;
    }
    return -1;
}

} // extern "C"
