/* Parameter files: small text files of the user, with a default of the system's for those that the
 * user has not written yet. A plain name means the file in ".par" in the user's home
 * (local_home_path), which is made if it is missing; "~/name" a file in the home itself. The
 * system's default is the file of that name in "lib" in the top directory (kel_runtime_topdir).
 * Nothing here prints. A record belongs to one thread. */
#ifndef VOR_RUNTIME_CONFIG_FILE_H
#define VOR_RUNTIME_CONFIG_FILE_H

#include <stdint.h>
#include <stdio.h>

#include "runtime/getaline.h"
#include "vor_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* How a file is looked for and opened. Without CF_WRITE and CF_DELETE it is read. CF_BACKUP and
 * CF_DEFAULT do not go with those two. */
enum {
    CF_BACKUP = 0x0001,    /* read what its newest backup holds */
    CF_WRITE = 0x0002,     /* write the file anew */
    CF_BINARY = 0x0004,    /* no translation of line ends */
    CF_NODEFAULT = 0x0008, /* do not fall back on the system's default */
    CF_TRYBACKUP = 0x0010, /* fall back on the newest backup, before the default */
    CF_CLOSE = 0x0020,     /* only find the file; with CF_WRITE, without any look at it */
    CF_CONTINUE = 0x0040,  /* a line that ends in a backslash goes on in the next */
    CF_APPEND = 0x0080,    /* write at the end of the file, if CF_SAVE leaves one there */
    CF_SAVE = 0x0100,      /* before a write or delete, move the file to its backups */
    CF_SAVEALL = 0x0200,   /* with CF_SAVE: as savebackup with BACKUP_DROP_OLDEST */
    CF_DELETE = 0x0400,    /* delete the file */
    CF_DEFAULT = 0x0800,   /* read the system's default at once */
    CF_PATHOK = 0x1000     /* take an absolute name, or one that starts with "./" or "../", as it
                              is; it has no default to fall back on */
};

/* A parameter file. A caller reads the fields and changes none. */
typedef struct config_file_t {
    char *path;        /* the file's full name; NULL after a failure */
    getaline_t reader; /* `stream` is the open file, `line` the line read last */
    uint32_t flags; /* those of the call, save that CF_BACKUP and CF_DEFAULT tell what was opened */
    int32_t error;  /* 1 once a read or write has failed */
} config_file_t;

/* Fills `config`, and opens the file `name` as `flags` says. 0, and the caller ends with
 * close_config_file; or -1, and nothing is to be freed. With CF_DELETE (and not also CF_WRITE with
 * CF_CLOSE) the result is that of the deletion, and the record stays empty; after CF_SAVE has moved
 * the file away that is -1.
 *
 * Refused are flags that do not go together, an absolute name, also one with a drive prefix,
 * without CF_PATHOK, and a name whose first ".." is a component of it. A write fails if the backup
 * that CF_SAVE asks for fails; that there is no file yet is no failure. */
VOR_API int32_t init_config_file(config_file_t *config, const char *name, uint32_t flags);

/* Reads the next line into the reader's `line`. The result is its length, which may be 0, or -1 at
 * the end of the file. -1 with `error` 1 if reading failed and if no file is open. */
VOR_API int32_t read_config_line(config_file_t *config);

/* trim_input_line of the line read last: NULL if there is none. */
VOR_API char *trim_config_line(config_file_t *config);

/* Writes `text` as it stands; a newline is the caller's to add. A `text` of NULL is the line read
 * last. 0, or -1 if there is no such line; -1 with `error` 1 if no file is open and if writing
 * failed. What the stream holds back may still fail in close_config_file. */
VOR_API int32_t write_config_line(config_file_t *config, const char *text);

/* Closes the file and frees what the record holds. 0, or -1 if this or any earlier read or write
 * failed. */
VOR_API int32_t close_config_file(config_file_t *config);

/* init_config_file without a record: the result is the open file, which the caller closes with
 * kel_fclose, or NULL on failure and where the flags leave no file open. `path`, unless NULL, gets
 * the file's full name, which the caller frees, or NULL on failure. */
VOR_API FILE *find_config_file(const char *name, uint32_t flags, char **path);

/* Puts the newest backup of a parameter file back in its place. The result is that of restorebackup
 * with BACKUP_ALL; -1 also for a name that init_config_file refuses. */
VOR_API int32_t restore_config_file(const char *name);

#ifdef __cplusplus
}
#endif

#endif
