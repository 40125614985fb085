// What the files of the library share about a handle.
#ifndef VOR_TRACKFILE_HANDLE_H
#define VOR_TRACKFILE_HANDLE_H

#include <cstddef>
#include <cstdint>

#include "trackfile/lf.h"

namespace vor {

inline uint32_t access_of(const xvor_t *h) {
    return h->flags & LF_ACCMODE;
}

inline bool has(const xvor_t *h, uint32_t flag) {
    return (h->flags & flag) != 0;
}

// open.cpp: frees the record and all that the handle owns, but neither closes the file nor the
// format.
void free_handle(xvor_t *h);

// Size of the handle's file in bytes, or -1 if it has none: a pipe, a device, no file.
int64_t file_size(const xvor_t *h);

// Empties the buffer.
inline void forget_buffer(xvor_t *h) {
    h->bufptr = h->bufend = h->buf;
}

// Bytes in the buffer that wait to be written, none after a blank track. The buffer counts as
// written from now on.
inline size_t take_written(xvor_t *h) {
    const ptrdiff_t size = h->bufptr - h->buf;
    h->bufptr = h->buf;
    return size > 0 ? static_cast<size_t>(size) : 0;
}

// A number that no handle had before. A track buffer remembers it, so that a new handle at the
// address of a closed one, or a new geometry, is never taken for the old one.
uint32_t next_serial();

// statistics.cpp: one buffer transfer, or one track, that began at `start` (rdtsc).
void reset_statistics(xvor_t *h);
void count_transfer(xvor_t *h, uint64_t start);
void count_track(xvor_t *h, uint64_t start);
void log_statistics(const xvor_t *h);

// seek_table.cpp: builds seektab from the file's own table or by walking. 0, or -1 after a report.
int32_t build_seek_table(xvor_t *h);
void drop_seek_table(xvor_t *h);
// Holds the window against the file before a table is made for its tracks: a header that claims
// more than `density` tracks a byte of the file lies. 0, or -1 after a report under `name`.
int32_t check_window(xvor_t *h, const char *name, int64_t density);
// Positions the file at `offset` with an empty buffer. 0, or -1 without a report.
int32_t seek_data(xvor_t *h, int64_t offset);
// The image track that an output track shows; `track` lies within the tables in force.
int32_t image_track(const xvor_t *h, int32_t track);
// Output tracks that the tables in force know, at most xsize.
int32_t tracks_known(const xvor_t *h);

// otrack.cpp: builds the table from output tracks to image tracks. 0, or -1 after a report.
int32_t build_otrack(xvor_t *h);

// stops.cpp: entries of the stop table that exist.
uint32_t stop_room(const xvor_t *h);

} // namespace vor

#endif
