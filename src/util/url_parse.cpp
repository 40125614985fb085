// A URL taken apart, in a copy that is cut up in place.
#include <cstring>

#include "util/numbers.h"
#include "util/owned.h"
#include "util/url.h"

namespace {

constexpr const char *loopback = "127.0.0.1";
constexpr int32_t longest_protocol = 1023;

bool is_protocol_character(char c) {
    return vor::is_alphanumeric(c) || c == '.' || c == '+' || c == '-';
}

bool is_drive(const char *text) {
    return vor::is_letter(text[0]) && (text[1] == ':' || text[1] == '|') &&
           (text[2] == 0 || text[2] == '/');
}

// Cuts `text` at the first `c` and gives what stands behind it, or null if there is none.
char *cut_behind(char *text, char c) {
    char *at = std::strchr(text, c);
    if (!at) return nullptr;
    *at = 0;
    return at + 1;
}

class Parser {
public:
    Parser(url_t *url, const char *text) : url_(url), rest_(url->buffer) { take_protocol(text); }

    // False if the host is empty.
    bool parse() {
        find_host();
        if (host_) {
            split_path();
            split_user();
            split_port();
            url_unescape(host_);
            url_->host = host_;
            if (!*host_) return false;
        } else {
            url_->host = loopback;
            url_->flags |= URL_NOHOST | URL_NOPORT;
            path_ = rest_;
        }
        finish_path();
        return true;
    }

private:
    // Copies the text, the protocol as a text of its own.
    void take_protocol(const char *text) {
        std::memcpy(rest_, text, std::strlen(text) + 1);
        const int32_t length = url_protolen(text);
        if (length == 0 || length > longest_protocol) {
            url_->flags |= URL_NOPROTO;
            return;
        }
        url_->proto = rest_;
        rest_ += length;
        *rest_++ = 0; // in the place of the colon
    }

    bool protocol_is(const char *name) const { return vor::equal_ignoring_case(url_->proto, name); }

    // The number of slashes in front tells whether a host follows, and stands for a protocol too.
    void find_host() {
        const size_t slashes = std::strspn(rest_, "/");
        const bool odd = slashes % 2 != 0;
        rest_ += slashes;
        if (!url_->proto) url_->proto = odd ? "file" : "http";
        if (odd) {
            if (protocol_is("file")) --rest_;
        } else if (slashes == 0) {
            if (protocol_is("http") || protocol_is("https")) host_ = rest_;
        } else if (!protocol_is("file") || !is_drive(rest_)) {
            host_ = rest_;
        }
    }

    void split_path() {
        path_ = cut_behind(host_, '/');
        if (!path_) split_query(host_);
    }

    // A fragment is looked for in `text`, a query in the host at all times: a "?" in a path belongs
    // to the path, and file names that hold one are used as they are.
    void split_query(char *text) {
        if (char *fragment = cut_behind(text, '#')) {
            url_->query = fragment;
            url_->flags |= URL_FRAGMENT;
        } else if (host_) {
            char *query = cut_behind(host_, protocol_is("ftp") ? ';' : '?');
            if (query) url_->query = query;
        }
    }

    void split_user() {
        char *behind = cut_behind(host_, '@');
        if (!behind) return;
        char *password = cut_behind(host_, ':');
        url_unescape(host_);
        url_->user = host_;
        if (password) url_unescape(password);
        url_->password = password;
        host_ = behind;
    }

    void split_port() {
        url_->flags |= URL_NOPORT;
        char *port = nullptr;
        char *bracket = *host_ == '[' ? std::strchr(host_, ']') : nullptr;
        if (bracket) {
            ++host_;
            *bracket = 0;
            if (bracket[1] == ':') port = bracket + 2;
        } else {
            port = cut_behind(host_, ':');
        }
        if (!port) return;
        url_unescape(port);
        if (!vor::is_digit(*port)) return;
        url_->port = vor::text_to_int32(port, nullptr, 10);
        url_->flags &= ~URL_NOPORT;
    }

    void finish_path() {
        if (!path_) {
            url_->flags |= URL_NOPATH;
            return;
        }
        split_query(path_);
        char *drive = path_ + (*path_ == '/' || *path_ == '\\');
        if (vor::is_letter(drive[0]) && drive[1] == '|') drive[1] = ':';
        url_unescape(path_);
        if (protocol_is("file")) strip_slashes();
        url_->path = path_;
    }

    // "/c:" is a drive; several slashes are one.
    void strip_slashes() {
        if (path_[0] == '/' && vor::is_letter(path_[1]) && path_[2] == ':') {
            ++path_;
            return;
        }
        while (path_[0] == '/' && path_[1] == '/')
            ++path_;
    }

    url_t *url_;
    char *rest_;           // what is not yet taken apart
    char *host_ = nullptr; // null: none
    char *path_ = nullptr;
};

} // namespace

extern "C" {

int32_t url_protolen(const char *text) {
    size_t length = 0;
    while (is_protocol_character(text[length]))
        ++length;
    return text[length] == ':' && length <= INT32_MAX ? static_cast<int32_t>(length) : 0;
}

int32_t url_parse(url_t *url, const char *text) {
    const uint32_t options = static_cast<int32_t>(url->flags) > 0 ? url->flags & URL_OPTIONS : 0;
    *url = {};
    url->flags = options;
    if (*text == ':') return -1;
    url->buffer = vor::allocate_array<char>(std::strlen(text) + 3);
    if (!url->buffer) return -1;
    Parser parser(url, text);
    return parser.parse() ? static_cast<int32_t>(url->flags) : -1;
}

int32_t url_destroy(url_t *url) {
    std::free(url->buffer);
    *url = {};
    return 0;
}

} // extern "C"
