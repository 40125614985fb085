/* The read road of a format of pixel rows. The format's record of an open file is a
 *
 *     struct File : RowReading {
 *         static constexpr const char *reader = "...";  // names it in reports
 *         int32_t tracks() const;                       // of the file
 *         bool deliver(xvor_t *h, int32_t track);       // puts rowbytes bytes into h->buf
 *         const char *reason() const;                   // why the last one was not delivered
 *     };
 *
 * in the handle's fmtdata.
 */
#ifndef VOR_SHARED_ROW_READING_H
#define VOR_SHARED_ROW_READING_H

#include <cerrno>

#include "shared/row_format.h"

namespace vor::raster {

struct RowReading {
    int32_t next = 0; // the track to be read next
    lf_readtrack_fn decode = nullptr;
};

template <class File>
File *file_of(const xvor_t *h) {
    return static_cast<File *>(h->fmtdata);
}

template <class File>
int32_t read_track(xvor_t *h, trackbuf *t) {
    File *file = file_of<File>(h);
    if (has(h, LF_EOF) || file->next < 0 || file->next >= file->tracks()) {
        errno = 0; // the text of an older failure would mislead
        return lferror(h, File::reader, LFE_EOF, 0, nullptr);
    }
    return guarded(h, File::reader, [=] {
        if (!file->deliver(h, file->next)) {
            return lferror(h, File::reader, LFE_CORRUPT, 0, file->reason());
        }
        h->bufptr = h->buf;
        h->bufend = h->buf + h->rowbytes;
        ++file->next;
        return file->decode(h, t);
    });
}

template <class File>
int32_t skip_track(xvor_t *h, int32_t) {
    ++file_of<File>(h)->next;
    return 1;
}

// Nothing is decoded before the track is really wanted.
template <class File>
int32_t seek_track(xvor_t *h, int32_t track) {
    file_of<File>(h)->next = h->otrack ? h->otrack[track] : h->xa + track;
    return 0;
}

// The format's check, for a handle that reads.
template <class File>
int32_t check_read(xvor_t *h, const char *where) {
    if (take_row_codec(h, where) < 0) return -1;
    file_of<File>(h)->decode = h->readtrack;
    h->readtrack = read_track<File>;
    h->skiptrack = skip_track<File>;
    h->writetrack = nullptr;
    h->seekfn = seek_track<File>;
    return 0;
}

} // namespace vor::raster

#endif
