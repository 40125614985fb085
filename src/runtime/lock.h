/* Locks between programs that share a resource, known by a name. Behind a name stands a file of the
 * lock directory that its holder has open, and that nobody else can open for writing meanwhile;
 * reading is free to all. The call never waits: while another process has the lock, it fails. When
 * a process ends, in whatever way, its locks are free again; their files stay, for the next holder
 * to take over.
 *
 * The environment tells the lock directory: LOCKDIR, which counts only with a text in it, goes
 * before TMP, and TMP before TEMP; without any of them it is "/tmp" or "C:\". The file holds its
 * holder's process id and a newline, and behind what an older and longer one left there.
 *
 * A process's locks stand in a table of slots, for one thread at a time. A forked child holds none
 * of its parent's locks. Nothing here prints or logs. */
#ifndef VOR_RUNTIME_LOCK_H
#define VOR_RUNTIME_LOCK_H

#include <stdint.h>

#include "vor_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Room for a lock's name, the final zero byte included. */
enum { LOCK_NAME_SIZE = 128 };

/* Takes the lock `name`, of less than LOCK_NAME_SIZE bytes and without "/" and "\". The results are
 * not alike:
 *
 * - 0: the lock was taken now, whatever its slot;
 * - the slot's number, from 0: this process held the lock before; nothing was done;
 * - -1: refused. Another process holds the lock; or the name is bad, there is no memory, or the
 *   file cannot be opened. A link, and anything else in the lock's place that is no plain file of
 *   one name, is refused too and left as it is.
 *
 * Slots are given out from 0, the lowest free one first. */
VOR_API int32_t win32_lock(const char *name);

/* Frees the slot and its lock. The file is deleted, if it can still be found: the lock directory
 * must be that of the taking, and the name there must still stand for the file that was held. A
 * line "released" is added before, which tells those who go on reading it. 0, or -1 for a slot that
 * is free or not in the table. */
VOR_API int32_t win32_unlock(int32_t slot);

/* 1 if this process holds the slot's lock, 0 if the slot is free, -1 if it is not in the table,
 * which has no slots before the first lock, then 16, and grows by 64. Tells nothing of the locks of
 * other processes. */
VOR_API int32_t win32_islocked(int32_t slot);

#ifdef __cplusplus
}
#endif

#endif
