#include "tag_text.h"

#include <algorithm>

#include "report.h"

namespace vor::tool {
namespace {

constexpr size_t word = 4; // payloads are whole words

// The first bytes of printable characters above ASCII, and what may come second; every further byte
// is 0x80 to 0xBF. Left out: overlong forms, surrogates, and the control characters behind 0xC2.
struct Utf8Row {
    uint8_t first_low, first_high;
    uint8_t second_low, second_high;
    size_t bytes;
};
constexpr Utf8Row utf8_rows[] = {
    {0xC2, 0xC2, 0xA0, 0xBF, 2}, {0xC3, 0xDF, 0x80, 0xBF, 2}, {0xE0, 0xE0, 0xA0, 0xBF, 3},
    {0xE1, 0xEC, 0x80, 0xBF, 3}, {0xED, 0xED, 0x80, 0x9F, 3}, {0xEE, 0xEF, 0x80, 0xBF, 3},
    {0xF0, 0xF0, 0x90, 0xBF, 4}, {0xF1, 0xF3, 0x80, 0xBF, 4}, {0xF4, 0xF4, 0x80, 0x8F, 4},
};

bool lies(uint8_t byte, uint8_t low, uint8_t high) {
    return byte >= low && byte <= high;
}

// Bytes of the printable character in front, 0 if there is none.
size_t character_bytes(std::span<const uint8_t> bytes) {
    if (bytes.empty()) return 0;
    if (lies(bytes[0], 0x20, 0x7E)) return 1;
    const auto *row = std::find_if(std::begin(utf8_rows), std::end(utf8_rows), [&](auto &r) {
        return lies(bytes[0], r.first_low, r.first_high);
    });
    if (row == std::end(utf8_rows) || bytes.size() < row->bytes) return 0;
    if (!lies(bytes[1], row->second_low, row->second_high)) return 0;
    const auto rest = bytes.subspan(2, row->bytes - 2);
    const bool good =
        std::all_of(rest.begin(), rest.end(), [](uint8_t b) { return lies(b, 0x80, 0xBF); });
    return good ? row->bytes : 0;
}

bool is_blank_control(uint8_t byte) {
    return byte == '\t' || byte == '\n' || byte == '\r' || byte == '\f';
}

std::span<const uint8_t> bytes_of(std::string_view text) {
    return {reinterpret_cast<const uint8_t *>(text.data()), text.size()};
}

} // namespace

std::string shown_name(std::string_view name) {
    std::string shown;
    while (!name.empty()) {
        const bool at_end = name[0] == ' ' && (shown.empty() || name.size() == 1);
        const size_t bytes = at_end ? 0 : character_bytes(bytes_of(name));
        if (bytes == 0) {
            shown += format("\\x%02X", static_cast<uint8_t>(name[0]));
        } else {
            shown += name[0] == '\\' ? "\\\\" : std::string(name.substr(0, bytes));
        }
        name.remove_prefix(std::max<size_t>(bytes, 1));
    }
    return shown;
}

const char *kind_name(PayloadKind kind) {
    switch (kind) {
    case PayloadKind::empty:
        return "empty";
    case PayloadKind::text:
        return "text";
    default:
        return "binary";
    }
}

PayloadKind guess_kind(std::span<const uint8_t> payload) {
    if (payload.empty()) return PayloadKind::empty;
    auto text = bytes_of(text_of(payload));
    const auto zeros = payload.subspan(text.size());
    if (text.empty() || zeros.empty() || zeros.size() > word) return PayloadKind::binary;
    if (std::any_of(zeros.begin(), zeros.end(), [](uint8_t b) { return b != 0; })) {
        return PayloadKind::binary;
    }
    while (!text.empty()) {
        const size_t bytes = is_blank_control(text[0]) ? 1 : character_bytes(text);
        if (bytes == 0) return PayloadKind::binary;
        text = text.subspan(bytes);
    }
    return PayloadKind::text;
}

std::string_view text_of(std::span<const uint8_t> payload) {
    const auto zero = std::find(payload.begin(), payload.end(), uint8_t{0});
    return {reinterpret_cast<const char *>(payload.data()),
            static_cast<size_t>(zero - payload.begin())};
}

std::vector<uint8_t> payload_of_text(std::span<const uint8_t> text) {
    std::vector<uint8_t> payload((text.size() + word) / word * word);
    std::copy(text.begin(), text.end(), payload.begin());
    return payload;
}

} // namespace vor::tool
