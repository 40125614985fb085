// Escapes, and a URL put together from its parts.
#include <cstdio>
#include <cstring>

#include "util/numbers.h"
#include "util/url.h"

namespace {

constexpr const char *unsafe_characters = "<>\"%{}|\\^~[]'` ";
constexpr const char *reserved_characters = "/#?:;@=&";
constexpr const char *reserved_in_path = "#?:;@=&";
constexpr const char *reserved_in_query = "#?:;@";

bool is_unsafe(char c) {
    const unsigned char byte = static_cast<unsigned char>(c);
    return byte < 32 || byte >= 127 || std::strchr(unsafe_characters, c);
}

const char *reserved_set(int32_t flags) {
    const int32_t part = flags & URL_ESCAPE_CLASS;
    if (part == URL_ESCAPE_PATH) return reserved_in_path;
    if (part == URL_ESCAPE_QUERY) return reserved_in_query;
    if (part > URL_ESCAPE_FRAGMENT) {
        std::fprintf(stderr, "url_escape_ex: bogous flags: 0x%x\n", static_cast<unsigned>(flags));
    }
    return reserved_characters;
}

// The value of a hexadecimal digit, or -1.
int hex_value(char c) {
    if (vor::is_digit(c)) return c - '0';
    const char letter = vor::to_lower(c);
    return letter >= 'a' && letter <= 'f' ? letter - 'a' + 10 : -1;
}

// Text that grows in a buffer of fixed size. What does not fit is counted, and the pieces behind it
// are not written either.
class Output {
public:
    Output(char *buffer, size_t size) : buffer_(buffer), size_(buffer ? size : 0) {}

    void put(const char *piece, size_t length) {
        if (needed_ + length <= size_) std::memcpy(buffer_ + needed_, piece, length);
        needed_ += length;
    }
    void put(const char *piece) { put(piece, std::strlen(piece)); }
    void put(char c) { put(&c, 1); }

    void put_escaped(const char *text, int32_t flags) {
        const char *reserved = reserved_set(flags);
        for (; *text; ++text) {
            const char c = (flags & URL_ESCAPE_SLASHES) && *text == '\\' ? '/' : *text;
            if (is_unsafe(c) || std::strchr(reserved, c)) {
                char escape[4];
                std::snprintf(escape, sizeof escape, "%%%02x", static_cast<unsigned char>(c));
                put(escape, 3);
            } else {
                put(c);
            }
        }
    }

    // Ends the text if it fits. The size needed, final zero byte included.
    size_t finish() {
        put("", 1);
        return needed_;
    }

private:
    char *buffer_;
    size_t size_;
    size_t needed_ = 0;
};

void put_host(Output *out, const url_t *url) {
    out->put("//");
    if (url->user) {
        out->put_escaped(url->user, URL_ESCAPE_USER);
        if (url->password) {
            out->put(':');
            out->put_escaped(url->password, URL_ESCAPE_USER);
        }
        out->put('@');
    }
    out->put_escaped(url->host, URL_ESCAPE_HOST);
    if (url->port > 0) {
        char port[16];
        std::snprintf(port, sizeof port, ":%d", url->port);
        out->put(port);
    }
    out->put('/');
}

// Behind a host an absolute path keeps its slash as an escape, since the parser drops the "/" that
// ends the host. A drive gets the form that stands in a URL.
void put_path(Output *out, const url_t *url, bool behind_host) {
    const bool dos = (url->flags & URL_DOSPATH) != 0;
    const char *path = url->path;
    if (behind_host && (*path == '/' || (dos && *path == '\\'))) {
        out->put("%2F");
        ++path;
    } else if (vor::is_letter(path[0]) && path[1] == ':') {
        out->put("///");
        out->put(path[0]);
        out->put('|');
        path += 2;
    }
    out->put_escaped(path, URL_ESCAPE_PATH | (dos ? URL_ESCAPE_SLASHES : 0));
}

void put_query(Output *out, const url_t *url) {
    if (url->flags & URL_FRAGMENT) {
        out->put('#');
        out->put_escaped(url->query, URL_ESCAPE_FRAGMENT);
        return;
    }
    const bool ftp = url->proto && vor::equal_ignoring_case(url->proto, "ftp");
    const char stored = static_cast<char>((url->flags & URL_SEPARATOR) >> 8);
    out->put(stored ? stored : ftp ? ';' : '?');
    out->put_escaped(url->query, URL_ESCAPE_QUERY);
}

} // namespace

extern "C" {

int32_t url_encode(const url_t *url, char *buffer, size_t size) {
    Output out(buffer, size);
    if (url->proto) {
        out.put(url->proto);
        out.put(':');
    }
    const bool has_host = url->host && !(url->flags & URL_NOHOST);
    if (has_host) put_host(&out, url);
    if (url->path) put_path(&out, url, has_host);
    if (url->query) put_query(&out, url);
    return out.finish() <= size ? 0 : -1;
}

int32_t url_syntax(const char *text) {
    if (*text == ':') return -1;
    for (; *text; ++text) {
        if (is_unsafe(*text) && *text != '|' && *text != '%') return -1;
    }
    return 0;
}

size_t url_escape_ex(const char *text, int32_t flags, char *buffer, size_t size) {
    Output out(buffer, size);
    out.put_escaped(text, flags);
    return out.finish();
}

size_t url_escape(const char *text, char *buffer, size_t size) {
    return url_escape_ex(text, URL_ESCAPE_ALL, buffer, size);
}

size_t url_unescape(char *text) {
    char *to = text;
    for (const char *from = text; *from; ++from) {
        char c = *from;
        if (c == '+') {
            c = ' ';
        } else if (c == '\\') {
            c = '/';
        } else if (c == '%' && from[1] == '%') {
            ++from;
        } else if (c == '%') {
            const int high = hex_value(from[1]);
            const int low = high >= 0 ? hex_value(from[2]) : -1;
            if (low >= 0) {
                c = static_cast<char>(high * 16 + low);
                from += 2;
            }
        }
        *to++ = c;
    }
    *to = 0;
    return static_cast<size_t>(to - text);
}

} // extern "C"
