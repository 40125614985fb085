// A command line for the POSIX shell, put together from text that is the shell's to read and from
// data that it must take as it is.
#ifndef VOR_COLOUR_SHELL_COMMAND_H
#define VOR_COLOUR_SHELL_COMMAND_H

#include <array>
#include <cstddef>
#include <initializer_list>
#include <string_view>

namespace vor {

class ShellCommand {
public:
    static constexpr size_t most_bytes = 511;

    // A character of the command itself. False if it does not fit, and for one that would change
    // what the data before it means.
    bool write(char c);

    // The bytes of all parts as data, within the word that is being written. What the shell has no
    // mind to change goes in as it is; else it is quoted for its place. False if it does not fit,
    // and for bytes in need of quotes where these could mean something else.
    bool write_data(std::initializer_list<std::string_view> parts);

    const char *text() const { return text_.data(); }
    bool empty() const { return length_ == 0; }

private:
    enum class Place { bare, single_quotes, double_quotes, unknown };

    bool append(std::string_view text);
    bool append_with_quotes_escaped(std::string_view text);
    bool write_quoted(std::initializer_list<std::string_view> parts);
    bool ends_in_number_of_data() const;
    void note(char c);
    void note_unquoted(char c);

    std::array<char, most_bytes + 1> text_ = {};
    size_t length_ = 0;
    size_t data_end_ = 0; // where the latest data ends
    Place place_ = Place::bare;
    char before_ = 0; // the character before, if the shell may read it together with the next
};

} // namespace vor

#endif
