/* A format module in one source: 8-bit gray pictures of the PGM family, with the header
 *
 *     P5<blank>WIDTH<blank>HEIGHT<blank>255<one blank>
 *
 * where a blank may be several, and then a byte a pixel, row by row. A row is a track. The library
 * finds the shared object pgm_cvtformat in its plugins by the name of the format, and in it the
 * record of the same name. */
#include <ctype.h>
#include <stdio.h>
#include <string.h>

#include "libvor.h"

/* A header that is written has one length, whatever the numbers, so that it can be written last. */
#define HEADER "P5\n%10d %10d\n255\n"
enum { HEADER_BYTES = 29, DEEPEST = 255, LARGEST = 1 << 28 };

/* A number and the blanks in front of it, one at least; the bytes end with a zero. -1 for none, and
 * for more digits than a sensible one has. */
static int32_t take_number(const char **at) {
    int32_t number = 0;
    const char *begin;

    if (!isspace((unsigned char)**at)) return -1;
    while (isspace((unsigned char)**at))
        ++*at;
    begin = *at;
    while (isdigit((unsigned char)**at) && number <= LARGEST / 10)
        number = number * 10 + (*(*at)++ - '0');
    return *at > begin && !isdigit((unsigned char)**at) ? number : -1;
}

/* The file is this format's if it begins like one. What is wrong behind that is an error. */
static int32_t detect(xvor_t *h, const uint8_t *head, int32_t size) {
    char text[LF_HEADSIZE + 1];
    const char *at = text + 2;
    int32_t deepest;

    if (size < 3 || memcmp(head, "P5", 2) != 0 || !isspace(head[2])) return 1;
    if ((h->flags & LF_ACCMODE) != LF_READ) {
        return lferror(h, "pgm_detect", LFE_NOWRITE, 0, "a PGM file is not updated in place");
    }
    memcpy(text, head, (size_t)size);
    text[size] = '\0';
    h->fysize = take_number(&at);
    h->fxsize = take_number(&at);
    deepest = take_number(&at);
    if (h->fysize < 1 || h->fxsize < 1 || deepest != DEEPEST || !isspace((unsigned char)*at)) {
        return lferror(h, "pgm_detect", LFE_CORRUPT, 0, "no header of an 8-bit picture");
    }
    h->bits = 8;
    h->dataoff = at + 1 - text;
    return 0;
}

/* Makes room for the header. */
static int32_t wrsetup(xvor_t *h) {
    static const char blank[HEADER_BYTES];

    if (kel_write(h->fd, blank, sizeof blank) != sizeof blank) {
        return lferror(h, "pgm_wrsetup", LFE_OS, 0, NULL);
    }
    h->bits = 8;
    h->dataoff = HEADER_BYTES;
    return 0;
}

/* The library's codec for rows of bytes, the library's buffer: nothing else is needed. */
static int32_t check(xvor_t *h) {
    h->rowbytes = h->fysize;
    return lfrw_functions(h, "bm8");
}

/* Goes out last, so that an unfinished file is none. */
static int32_t whdr(xvor_t *h) {
    char header[HEADER_BYTES + 1];

    if (h->track < 1) return lferror(h, "pgm_whdr", LFE_ARGUMENT, 0, "no track was written");
    if (snprintf(header, sizeof header, HEADER, (int)h->fysize, (int)h->track) != HEADER_BYTES ||
        kel_lseek(h->fd, 0, KEL_SEEK_SET) != 0 ||
        kel_write(h->fd, header, HEADER_BYTES) != HEADER_BYTES) {
        return lferror(h, "pgm_whdr", LFE_OS, 0, NULL);
    }
    return 0;
}

VOR_MODULE_EXPORT lffmt_t pgm_cvtformat = {
    .name = "pgm",
    .suffix = ".pgm",
    .detect = detect,
    .wrsetup = wrsetup,
    .whdr = whdr,
    .check = check,
};
