/* Message catalogues: the texts of a program's messages, read by their numbers from text files,
 * one directory of files a language. A file fills a table of texts, and may name further files for
 * further tables; a program reads the tables by itself. Tables and texts live as long as the
 * process. They are loaded at start-up, from one thread.
 *
 * The lines of a file:
 *
 *   {[VERSION number               only before the header, where all else is ignored
 *   {[name]}                       the header, with the name of the file
 *   number:text\C                  a message; a "," serves as well
 *   @MODUL=name:module,maxmsg      another file to load; "*" stands for the present module, and
 *                                  without maxmsg it has 128 messages; {KEY} in the name stands for
 *                                  the setting of that name
 *   {[                             the end
 *
 * and any other line is a comment. A text may go on over several lines, whose ends are no part of
 * it, up to "\C". In it "\n", "\r" and "\t" are what they are in C; "\" with up to three octal
 * digits and "\x" with up to two hexadecimal ones are bytes; a line's end and a zero byte behind
 * "\" are dropped, byte 3 ends the text as "\C" does, and any other character is taken as it is.
 * Bytes above 127 and control characters other than the tab count only in these forms, and an octal
 * digit behind three is lost. */
#ifndef VOR_RUNTIME_CATALOGUE_H
#define VOR_RUNTIME_CATALOGUE_H

#include <stdint.h>

#include "vor_api.h"

#ifdef __cplusplus
extern "C" {
#endif

enum {
    CATALOGUE_MODULES = 32,           /* tables there are */
    CATALOGUE_FILE_LIMIT = 100000,    /* bytes of a file */
    CATALOGUE_MESSAGE_LIMIT = 1 << 20 /* messages of a table */
};

/* Directory of all catalogues: NAME in LANGUAGE is the file text_basedir/LANGUAGE/NAME. g_init sets
 * it; readstrings, if it is NULL, to the directory "msgs" in the user's home (local_home_path). */
extern VOR_API const char *text_basedir;

/* The table of each module, or NULL: texts by their numbers, NULL behind the last. A number that
 * no file has given a text reads as "???", or as "+ ???" if the table has grown to hold it. A load
 * into the module may move the table, not the texts. */
extern VOR_API const char **mystrings[CATALOGUE_MODULES];

/* The texts in each table, without the NULL. */
extern VOR_API int32_t textbuf_sizes[CATALOGUE_MODULES];

/* Loads the catalogue `name` of `language`, or of "eng" if there is none, into module 0: messages 0
 * to maxmsg - 1. `version`, unless 0, is the least that the file should have. A table that is there
 * is kept, grows to `maxmsg` if it is smaller, and keeps the texts that the file does not give.
 *
 * The result is 0, also if `name` is NULL or empty; 1 for a load with a warning: an older version,
 * no header that bears the file's name, or a last message without an end; -1 on a failure, and then
 * the messages read before it stand in the table:
 *
 * - `maxmsg` below 2, and in a file an invalid module, 0 to 31 being valid
 * - no such file; a file that is none, that is empty or larger than CATALOGUE_FILE_LIMIT, or that
 *   cannot be read; a path of 1024 bytes or more
 * - no memory, and a `maxmsg` above CATALOGUE_MESSAGE_LIMIT
 * - a message number of `maxmsg` or more
 * - a malformed inclusion, and one that fails; inclusions that nest deeper than 32, or more than
 *   1000 of them in all
 *
 * Each warning and failure is told on the standard error stream. */
VOR_API int32_t readstrings(const char *name, const char *language, int32_t version,
                            int32_t maxmsg);

#ifdef __cplusplus
}
#endif

#endif
