// The command is read along as it grows, as the shell will read it, so that the place of the next
// byte is known: bare, in single or in double quotes. Data is quoted with single quotes, in which
// the shell, in whatever character set, sees nothing but their end. Data in double quotes leaves
// them for that time. So do the quotes in data, with the single ones:
//
//     bare              a b    'a b'
//     in double quotes  a b    "'a b'"
//     in single quotes  a b    a b
//     in each of them   '      '\''
//
// What opens a text with rules of its own, such as a comment or a command in backquotes, is not
// followed to its end: from there on the place is unknown. So it is where shells that have arrays
// calculate: they take a text for an expression although it is quoted, and run the commands in it.
#include "colour/shell_command.h"

#include <algorithm>
#include <cstring>

namespace vor {
namespace {

constexpr std::string_view letters_and_digits =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
constexpr std::string_view digits = "0123456789";
constexpr std::string_view plain_marks = "_./:@%+,=-";
constexpr std::string_view ends_of_words = " \t|&;()<>`";

bool is_one_of(std::string_view set, char c) {
    return set.find(c) != std::string_view::npos;
}

bool is_plain(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) {
        return is_one_of(letters_and_digits, c) || is_one_of(plain_marks, c);
    });
}

// Whether two characters outside single quotes open what is not followed: a substitution, or quotes
// with escapes of their own.
bool opens_substitution(char first, char second) {
    return first == '$' && is_one_of("({['\"", second);
}

// Whether two bare characters may open what calculates: "((", "[[", the list of an array's elements
// or the index of one.
bool opens_arithmetic(char first, char second) {
    if (second == '(') return first == '(' || first == '=';
    return second == '[' && (first == '[' || first == '_' || is_one_of(letters_and_digits, first));
}

// Whether two bare characters open what is not followed: arithmetic, a here-document.
bool opens_other_grammar(char first, char second) {
    return opens_arithmetic(first, second) || (first == '<' && second == '<');
}

} // namespace

bool ShellCommand::append(std::string_view text) {
    if (text.size() > most_bytes - length_) return false;
    for (const char c : text) {
        text_[length_++] = c;
        note(c);
    }
    return true;
}

bool ShellCommand::write(char c) {
    // A number right before a redirection is the descriptor that it is about.
    if ((c == '<' || c == '>') && ends_in_number_of_data()) {
        if (place_ == Place::unknown) return false;
        if (place_ == Place::bare && !append("''")) return false;
    }
    return append({&c, 1});
}

bool ShellCommand::write_data(std::initializer_list<std::string_view> parts) {
    const bool plain = std::all_of(parts.begin(), parts.end(), is_plain);
    const bool written = plain ? std::all_of(parts.begin(), parts.end(),
                                             [this](std::string_view part) { return append(part); })
                               : write_quoted(parts);
    data_end_ = length_;
    return written;
}

bool ShellCommand::write_quoted(std::initializer_list<std::string_view> parts) {
    if (place_ == Place::unknown || before_ == '\\' || before_ == '$') return false;
    std::string_view open;
    std::string_view close;
    if (place_ == Place::bare) open = close = "'";
    if (place_ == Place::double_quotes) {
        open = "\"'";
        close = "'\"";
    }
    return append(open) &&
           std::all_of(
               parts.begin(), parts.end(),
               [this](std::string_view part) { return append_with_quotes_escaped(part); }) &&
           append(close);
}

// In single quotes.
bool ShellCommand::append_with_quotes_escaped(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [this](const char &c) {
        return append(c == '\'' ? "'\\''" : std::string_view(&c, 1));
    });
}

// Whether the word so far is digits alone, the last of which is data.
bool ShellCommand::ends_in_number_of_data() const {
    const std::string_view text(text_.data(), length_);
    if (data_end_ != length_ || text.empty() || !is_one_of(digits, text.back())) return false;
    const size_t before = text.find_last_not_of(digits);
    return before == std::string_view::npos || is_one_of(ends_of_words, text[before]);
}

void ShellCommand::note(char c) {
    if (place_ == Place::unknown) return;
    if (place_ == Place::single_quotes) {
        if (c == '\'') place_ = Place::bare;
        return;
    }
    note_unquoted(c);
}

// Outside single quotes.
void ShellCommand::note_unquoted(char c) {
    const bool bare = place_ == Place::bare;
    if (before_ == '\\') {
        before_ = 0;
        return;
    }
    if (c == '`' || opens_substitution(before_, c) ||
        (bare && (c == '#' || opens_other_grammar(before_, c)))) {
        place_ = Place::unknown;
    } else if (c == '"') {
        place_ = bare ? Place::double_quotes : Place::bare;
    } else if (bare && c == '\'') {
        place_ = Place::single_quotes;
    }
    before_ = place_ == Place::single_quotes ? '\0' : c;
}

} // namespace vor
