/* The native driver's private record and the operations that its files share. */
#ifndef VOR_VOR_DRIVER_H
#define VOR_VOR_DRIVER_H

#include <zlib.h>

#include "trackfile/handle.h"
#include "vor/tag_index.h"
#include "vor/vor.h"

namespace vor {

constexpr int zbuf_size = 4096;

// What a compressed file needs beyond a plain one, so that a plain one does not pay for it.
struct DeflateLayer {
    lf_writetrack_fn codecwrite; // the codec's writetrack while the layer stands in its place
    z_stream zs;                 // for deflate or inflate, by the access
    uint8_t zbuf[zbuf_size];     // compressed data on their way to or from the file
    int64_t zbufpos;             // file offset of zbuf's first byte, on read
    int32_t zbuflen;             // bytes held in zbuf, on read
    int32_t zfills;              // fills since the last seek, on read
    bool zinit;                  // zs has been started and is to be ended
};

// The handle's fmtdata. Its head is the header image, always in the machine's byte order, so that
// it can be changed in place and written as it stands.
struct vorpriv {
    vorhdr hdr;
    uint16_t *ctabs;   // 256 words a table, owned; null when there are none
    int32_t ntagslots; // slots in tags
    bool tagsfailed;   // the tags could not be loaded: an update writes nothing
    vortag **tags;     // owned, and so are the records; null before the first load
    int64_t seekoff;   // offsets of the sections, 0 if none
    int64_t tagoff;
    int64_t cinfooff;
    int64_t stopoff;
    int64_t ctaboff;

    // Behind the fields of the record, for this implementation alone:
    DeflateLayer *z;    // of a compressed file, from vor_check on; owned
    int32_t ctabroom;   // tables that ctabs has room for
    uint32_t filectabs; // ctabcount as the file has it: an update leaves the section as it is
    TagIndex tagindex;  // finds slots of tags
};

static_assert(sizeof(vorhdr) == VOR_HDRSIZE);

inline vorpriv *priv(const xvor_t *h) {
    return static_cast<vorpriv *>(h->fmtdata);
}

inline DeflateLayer *layer(const xvor_t *h) {
    return priv(h)->z;
}

inline bool is_swapped(const xvor_t *h) {
    return (h->flags & LF_SWAPPED) != 0;
}

// Where-texts and failure handling are told at the definitions. Results 0 and -1 unless told.

// header.cpp: the header's bytes.
uint32_t vor_hdrcrc(const uint8_t *bytes); // CRC of the 256 bytes but for the word hcrc
bool type_is_swapped(const vorhdr &hdr);   // the type word stands in the other byte order
void swap_header(vorhdr *hdr);             // between the machine's byte order and the other
int64_t join_offset(const vorhdr &hdr, uint32_t lo, uint32_t hi); // hi counts under HF_OFF64
float to_float(double value); // to the nearest; infinite beyond the range

// sections.cpp: the parts of the file that are found by an offset.
int64_t data_size(const xvor_t *h); // bytes of the file, also of a device; -1 for a pipe
bool section_in_file(const xvor_t *h, int64_t offset, uint64_t count, uint32_t width);
bool read_section(const xvor_t *h, int64_t offset, void *to, size_t size);

// reader.cpp
int32_t vor_rdsetup(xvor_t *h, const uint8_t *head, int32_t size); // 0, 1 not native, -1
int32_t vor_check(xvor_t *h);
int32_t vor_free(xvor_t *h);

// ctabs.cpp
int32_t vor_readctabs(xvor_t *h, vorpriv *p);
int32_t vor_selectctab(xvor_t *h, int32_t index); // 1: the file has no tables
int32_t vor_setctab(xvor_t *h, const vor_ctabreq *request);

// seektab.cpp
int32_t vor_seektab(xvor_t *h); // 1 loaded, 0 no table in the file, -1
int32_t gen_seektab32(xvor_t *h);
int32_t gen_seektab64(xvor_t *h);
int32_t vor_putseek32(xvor_t *h, const int64_t *table, int32_t count);
int32_t vor_putseek64(xvor_t *h, const int64_t *table, int32_t count);

// tags.cpp, tag_files.cpp
int32_t vor_loadtags(xvor_t *h);
int32_t vor_savetags(xvor_t *h); // 1 list written or emptied, 0 nothing changed, -1
int32_t vor_addtag(xvor_t *h, const vortag *record);
vortag **vor_findtag(xvor_t *h, const char *name); // the slot, or null
int32_t vor_deltag(xvor_t *h, const char *name);
int32_t vor_growtags(vorpriv *p);
int32_t vor_copytags(xvor_t *h, xvor_t *other);
void free_tags(vorpriv *p);
int32_t tag_request(xvor_t *h, int32_t request, void *arg); // requests 12 to 16

// deflate_write.cpp, deflate_read.cpp
int32_t setwrite(xvor_t *h);
int32_t vor_setread(xvor_t *h);
int32_t zwritetrack(xvor_t *h, trackbuf *t);
int32_t zflushbuf(xvor_t *h);
int32_t zflushbuf_sw(xvor_t *h);
int32_t zfillbuf(xvor_t *h);
int32_t zfillbuf_sw(xvor_t *h);
int32_t zbuf_setpos(xvor_t *h);
int32_t zseek(xvor_t *h, int32_t n); // k + 1 for a blank track of colour k
void zerror(xvor_t *h);
void end_stream(DeflateLayer *z, uint32_t access); // if it has been started
const char *zlib_message(const z_stream &zs);      // its text, or "<unknown error>"

// writer.cpp
int32_t vor_wrsetup(xvor_t *h);
int32_t vor_whdr(xvor_t *h);
int32_t vor_wopts(xvor_t *h); // 1 something written, 0 not, -1

// requests.cpp
int32_t vor_special(xvor_t *h, int32_t request, void *arg);

} // namespace vor

#endif
