/* Older contents of a file, kept beside it: as numbered generations, the newest being NAME.~1~, or
 * as the single backup NAME~. Nothing here prints. The two settings are the process's own, and
 * nothing is locked: who lets several threads or processes save one file orders them. */
#ifndef VOR_RUNTIME_BACKUP_H
#define VOR_RUNTIME_BACKUP_H

#include <stdint.h>

#include "vor_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* What config_backup reads or sets. */
enum {
    BACKUP_SET_GENERATIONS = 0,
    BACKUP_GET_GENERATIONS = 1,
    BACKUP_SET_KEEP = 2,
    BACKUP_GET_KEEP = 3
};

/* Flags of savebackup. */
enum {
    BACKUP_COUNT_MASK = 0x1F,  /* generations to keep by this call; 0: as set */
    BACKUP_COPY = 0x100,       /* every move is a copy, and the file stays in place */
    BACKUP_SINGLE = 0x200,     /* no generations, but the single backup */
    BACKUP_DROP_OLDEST = 0x400 /* when all generations exist none is left alone */
};

/* A limit of find_backup_ext and restorebackup: as many generations as the setting says. */
enum { BACKUP_ALL = -1 };

/* Bytes that a backup's name may need beyond those of the file's, a zero byte included. */
enum { BACKUP_SUFFIX_ROOM = 14 };

/* Reads or sets a setting of the process:
 *
 * - generations, 4 at the start: how many numbered backups a file has, 0 or more. Below 2 there is
 *   the single backup alone.
 * - keep, 1 at the start: how many of the oldest generations savebackup leaves alone once all
 *   exist; 0 or more, and less than generations when it is set.
 *
 * The result is the setting's value. -1 for a `value` out of range and for any other `what`. */
VOR_API int32_t config_backup(int32_t what, int32_t value);

/* Saves the file `name`, which is then no longer there: it becomes generation 1, and generations 1
 * up to the first number that is free make room by moving up. If all exist, the oldest ones that
 * the setting keep protects stay for good, and the one below them is dropped. With fewer than 2
 * generations, or BACKUP_SINGLE, the file replaces the single backup and nothing else moves. A file
 * that cannot be renamed is copied, and stays in place.
 *
 * At every moment the file's content is whole under its own name or a backup's. 0; 1 if there is no
 * such file; -1 for NULL, an empty or too long a name, without memory, and if the file itself could
 * not be moved. A generation that could not be moved up is no failure. */
VOR_API int32_t savebackup(const char *name, uint32_t flags);

/* Looks for the newest backup of `name`: generations 1 to `limit`, none for a `limit` of 0, then
 * the single backup. The result is the generation's number; 0 for the single backup; -1 if there is
 * none. `buffer`, which may be `name` and needs room for BACKUP_SUFFIX_ROOM bytes more, gets the
 * backup's name; without one, that which the single backup would have. */
VOR_API int32_t find_backup_ext(char *buffer, const char *name, int32_t limit);

/* Copies the newest backup of `name` over it, times and permissions included; the backup stays. The
 * result is that of find_backup_ext with the same `limit`, or -1 if the copy failed, and then
 * `name` is as it was, or without memory. */
VOR_API int32_t restorebackup(const char *name, int32_t limit);

/* Copies a file byte by byte; `to` comes to be in one step, with the whole content. With
 * `keep_times` not 0 it takes the times, to the second, and the permissions of `from`. 0 or -1. If
 * `from` cannot be opened, or no file can be made beside `to`, a file `to` stays as it was; after
 * an error of reading or writing it is deleted. */
VOR_API int32_t copyraw(const char *from, const char *to, int32_t keep_times);

#ifdef __cplusplus
}
#endif

#endif
