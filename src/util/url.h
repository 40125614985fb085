/* URLs: taken apart, put together, escaped and unescaped. The parser is forgiving: a text without a
 * protocol, such as a plain file name or a drive path, is a URL with a default protocol and host.
 * The syntax is that of RFC 1738, as far as it goes. Nothing here keeps a state. */
#ifndef VOR_UTIL_URL_H
#define VOR_UTIL_URL_H

#include <stddef.h>
#include <stdint.h>

#include "vor_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The flags word of a URL. The high 16 bits are the caller's options. */
#define URL_NOPROTO UINT32_C(0x1)   /* the text named no protocol: `proto` is the default */
#define URL_NOHOST UINT32_C(0x2)    /* it named no host: `host` is "127.0.0.1" */
#define URL_NOPORT UINT32_C(0x4)    /* it named no port */
#define URL_NOPATH UINT32_C(0x8)    /* it had no path */
#define URL_FRAGMENT UINT32_C(0x80) /* `query` stood behind a "#" */
#define URL_SEPARATOR                                                                              \
    UINT32_C(0xFF00)                     /* mask: query separator for url_encode; 0: the usual one \
                                          */
#define URL_OPTIONS UINT32_C(0xFFFF0000) /* mask of the options, kept by url_parse */
#define URL_DOSPATH UINT32_C(0x10000)    /* option: url_encode takes "\" in `path` as a separator */

/* A URL taken apart. The texts lie in `buffer` or are constants; they hold until url_destroy. */
typedef struct url_t {
    char *buffer;   /* owned */
    uint32_t flags; /* URL_ values */
    const char *proto;
    const char *user;     /* unescaped, or NULL */
    const char *password; /* unescaped, or NULL */
    const char *host;     /* unescaped */
    int32_t port;         /* 0 if none was given */
    const char *path;     /* unescaped, or NULL; without its first "/" if a host stands before it */
    const char *query;    /* as it stood behind the separator or "#", or NULL */
} url_t;

/* Takes `text` apart. Of the record only the options in `flags` count on entry, and only if the
 * word is positive as a signed number. Result: the flags word, or -1: `text` starts with ":", the
 * host is empty, or memory ran out. The record goes to url_destroy in every case. */
VOR_API int32_t url_parse(url_t *url, const char *text);

/* Frees `buffer` and clears the record. Result: 0. */
VOR_API int32_t url_destroy(url_t *url);

/* Writes the URL's text into the `size` bytes of `buffer`. Result: 0, or -1 if it does not fit. */
VOR_API int32_t url_encode(const url_t *url, char *buffer, size_t size);

/* Length of the protocol that starts `text`, letters, digits, ".", "+", "-" up to a ":", or 0. */
VOR_API int32_t url_protolen(const char *text);

/* 0 if `text` may stand in a URL; -1 if it starts with ":" or holds an unsafe character. "|" and
 * "%" pass. */
VOR_API int32_t url_syntax(const char *text);

/* Which characters url_escape_ex escapes beside the unsafe ones: those with a meaning in that part
 * of a URL. */
enum {
    URL_ESCAPE_SLASHES = 0x01, /* first make each "\" a "/" */
    URL_ESCAPE_ALL = 0x00,
    URL_ESCAPE_USER = 0x10,
    URL_ESCAPE_HOST = 0x20,
    URL_ESCAPE_PATH = 0x30,  /* "/" passes */
    URL_ESCAPE_QUERY = 0x40, /* "/", "=" and "&" pass */
    URL_ESCAPE_FRAGMENT = 0x50,
    URL_ESCAPE_CLASS = 0xF0 /* mask */
};

/* Escapes `text` into the `size` bytes of `buffer`, as "%" and two hexadecimal digits. Result: the
 * size needed with the final zero byte, whether it fitted or not; the text is ended only if it
 * fitted. `buffer` may be NULL, to count. A class above URL_ESCAPE_FRAGMENT is told on the standard
 * error stream and taken as URL_ESCAPE_ALL. */
VOR_API size_t url_escape_ex(const char *text, int32_t flags, char *buffer, size_t size);

/* url_escape_ex with flags 0. */
VOR_API size_t url_escape(const char *text, char *buffer, size_t size);

/* Decodes `text` in place: "%" with two hexadecimal digits, "%%", "+" for a blank, "\" for "/".
 * Result: the new length. */
VOR_API size_t url_unescape(char *text);

#ifdef __cplusplus
}
#endif

#endif
