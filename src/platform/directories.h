/* What a directory holds, and how much room a volume has. The calls are used as opendir, readdir,
 * closedir and statvfs of IEEE Std 1003.1; the records differ. A failure is told by the result, and
 * by errno as the system sets it; nothing here prints or logs. */
#ifndef VOR_PLATFORM_DIRECTORIES_H
#define VOR_PLATFORM_DIRECTORIES_H

#include <stdint.h>

#include "vor_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Values in a directory stream. */
enum {
    KEL_DIR_CLOSED = -1,          /* handle: no search */
    KEL_DIR_FIRST_WAITS = 0x1234, /* first: the entry has not been given out */
    KEL_DIR_FIRST_GIVEN = 0       /* first: it has */
};

/* Room for an entry's name, the final zero byte included. */
enum { KEL_DIRENT_NAME_SIZE = 260 };

/* Room for the name of a file system, the final zero byte included. */
enum { KEL_BASETYPE_SIZE = 128 };

/* An entry of a directory. */
typedef struct kel_dirent {
    int32_t d_ino; /* 1 for the first entry read, 2 for the next: not an inode */
    char d_name[KEL_DIRENT_NAME_SIZE]; /* in any bytes */
} kel_dirent;

/* A directory that is being read. */
typedef struct kel_DIR {
    intptr_t handle;  /* the system's search, or KEL_DIR_CLOSED */
    uint32_t first;   /* KEL_DIR_FIRST_ value of the entry that kel_opendir read */
    kel_dirent entry; /* the entry read last */
} kel_DIR;

/* How much room a volume has, in blocks of `f_bsize` bytes. There is no count of files: its fields
 * repeat those of the blocks. */
typedef struct kel_statvfs_t {
    uint64_t f_bsize;                   /* bytes */
    uint64_t f_frsize;                  /* as f_bsize */
    uint64_t f_blocks;                  /* size of the volume */
    uint64_t f_bfree;                   /* free blocks */
    uint64_t f_bavail;                  /* free blocks that the caller may use */
    uint64_t f_files;                   /* as f_blocks */
    uint64_t f_ffree;                   /* as f_bfree */
    uint64_t f_favail;                  /* as f_bavail */
    uint32_t f_fsid;                    /* the volume's serial number, 0 if it has none */
    char f_basetype[KEL_BASETYPE_SIZE]; /* name of the file system, cut to fit; empty: not known */
    uint32_t f_namemax;                 /* bytes of the longest file name */
} kel_statvfs_t;

/* Opens a directory and reads its first entry. The caller closes the stream with kel_closedir. NULL
 * if `name` is no directory that can be read, holds no entry at all, is NULL (EFAULT) or has 1024
 * bytes or more (ENAMETOOLONG), and if there is no memory. */
VOR_API kel_DIR *kel_opendir(const char *name);

/* The next entry, or NULL at the end and after it. The entry belongs to the stream and is good
 * until the next call. Entries come in the system's order, "." and ".." among them. A name that is
 * too long for the record is passed over. */
VOR_API kel_dirent *kel_readdir(kel_DIR *stream);

/* Closes and frees a stream. 0, or -1 with nothing done for NULL and a stream of KEL_DIR_CLOSED. */
VOR_API int32_t kel_closedir(kel_DIR *stream);

/* Fills `record` for the volume that holds `path`; on a system of drives only a drive prefix of
 * `path` counts, and the current drive without one. Blocks are of 4096 bytes where the system tells
 * the room in bytes; a rest below a block is dropped. 0, or -1 with `record` left alone: NULL or an
 * empty `path` (EINVAL), one of 1024 bytes or more (ENAMETOOLONG), one that does not exist or
 * cannot be reached. */
VOR_API int32_t kel_statvfs(const char *path, kel_statvfs_t *record);

#ifdef __cplusplus
}
#endif

#endif
