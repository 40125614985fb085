// Names and payloads of tags for people: what can be printed, and what is taken for a text.
#ifndef VOR_TOOL_TAG_TEXT_H
#define VOR_TOOL_TAG_TEXT_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vor::tool {

// A name for a line of output: whatever is no printable UTF-8 shows as \xHH, and so does a blank at
// either end; a backslash shows as two.
std::string shown_name(std::string_view name);

enum class PayloadKind { empty, text, binary };

const char *kind_name(PayloadKind kind);

// A guess: a text is printable UTF-8 of at least one character, line ends and tabs included, with
// one to four zero bytes behind it and nothing else.
PayloadKind guess_kind(std::span<const uint8_t> payload);

// The bytes before the first zero byte.
std::string_view text_of(std::span<const uint8_t> payload);

// A text as a payload: a zero byte behind it, and zero bytes up to a multiple of 4.
std::vector<uint8_t> payload_of_text(std::span<const uint8_t> text);

} // namespace vor::tool

#endif
