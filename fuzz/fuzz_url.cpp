// Any bytes as a URL: taken apart, put together in every room up to the one it needs, and taken
// apart again. Any bytes as a text to escape, which comes back.
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "harness.h"
#include "util/url.h"

namespace vor::fuzz {
namespace {

std::string text_of(const char *text) {
    return text ? text : "";
}

// A block of just the size, so that a byte too far is seen.
std::string encode(const url_t &url) {
    std::vector<char> room(1 << 16);
    while (url_encode(&url, room.data(), room.size()) != 0)
        room.resize(2 * room.size());
    const size_t length = std::strlen(room.data());
    for (const size_t size : {length + 1, length, length / 2, size_t{0}}) {
        std::vector<char> small(size);
        require((url_encode(&url, small.data(), size) == 0) == (size > length),
                "a URL fits where its text and its end do");
    }
    return room.data();
}

void hold_record(const url_t &url, int32_t result) {
    require(static_cast<uint32_t>(result) == url.flags, "the result is the flags");
    require(url.proto && url.host, "a URL has a protocol and a host");
    // Behind a path the query is looked for in the host that was found not empty.
    require(*url.host || url.query, "a host is not empty, unless all of it was a query");
    require(((url.flags & URL_NOPATH) != 0) == !url.path, "a path is there unless it is flagged");
    require(!(url.flags & URL_NOPORT) || url.port == 0, "a port is there unless it is flagged");
    require(!(url.flags & URL_FRAGMENT) || url.query, "a fragment is in the query");
}

void hold_parser(const std::string &text, uint32_t options) {
    url_t url = {};
    url.flags = options;
    const int32_t result = url_parse(&url, text.c_str());
    if (result != -1) {
        hold_record(url, result);
        const std::string again = encode(url);
        url_t back = {};
        // An empty host cannot be read back.
        if (url_parse(&back, again.c_str()) != -1)
            require(text_of(back.proto) == url.proto, "the protocol comes back");
        url_destroy(&back);
    }
    url_destroy(&url);
    require(!url.buffer && !url.host, "a record is cleared");
}

void hold_escapes(const std::string &text, int32_t flags) {
    const size_t size = url_escape_ex(text.c_str(), flags, nullptr, 0);
    std::vector<char> escaped(size);
    require(url_escape_ex(text.c_str(), flags, escaped.data(), size) == size, "counting is exact");
    require(std::strlen(escaped.data()) == size - 1, "what fits is ended");
    std::vector<char> less(size - 1);
    require(url_escape_ex(text.c_str(), flags, less.data(), size - 1) == size,
            "the size needed does not depend on the room");
    require(url_syntax(escaped.data()) == 0, "an escaped text may stand in a URL");
    require(url_unescape(escaped.data()) == text.size(), "escapes come back");
    std::string expected = text;
    std::replace(expected.begin(), expected.end(), '+', ' ');
    if (flags & URL_ESCAPE_SLASHES) std::replace(expected.begin(), expected.end(), '\\', '/');
    require(expected == escaped.data(), "as they were");
}

} // namespace
} // namespace vor::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    using namespace vor::fuzz;
    Choices draw(data, size);
    const uint32_t options = draw.coin() ? URL_DOSPATH : 0;
    const int32_t part = draw.below(URL_ESCAPE_FRAGMENT / 0x10 + 1) * 0x10;
    const int32_t flags = part | (draw.coin() ? URL_ESCAPE_SLASHES : 0);
    const std::string text(reinterpret_cast<const char *>(data), draw.left());
    const std::string to_zero = text.substr(0, text.find('\0'));
    url_syntax(to_zero.c_str());
    require(url_protolen(to_zero.c_str()) <= static_cast<int32_t>(to_zero.size()),
            "a protocol lies within the text");
    hold_parser(to_zero, options);
    hold_escapes(to_zero, flags);
    return 0;
}
