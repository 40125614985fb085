// The fixed-width writers. Runs of one file colour are joined and cut into codes, the full codes
// first; a track of one run becomes a mark in the seek table.

#include "codecs/bulk.h"
#include "codecs/byte_sink.h"
#include "codecs/codec_functions.h"
#include "codecs/fixed_width.h"
#include "codecs/reading.h"
#include "codecs/track_runs.h"
#include "trackfile/handle.h"

namespace vor {
namespace {

template <class Code>
class CodeWriter {
public:
    CodeWriter(xvor_t *h, const char *name) : h_(h), sink_(h, name) {}

    bool put_zero_code() { return put(0, 0); }

    // Joins the runs of one colour. A colour without pixels leaves no code: its length of 0 would
    // end the track.
    bool put_run(uint64_t length, uint32_t colour) {
        if (colour != colour_) {
            if (!put_gathered()) return false;
            colour_ = colour;
        }
        length_ += length;
        return true;
    }

    // Takes runs in bulk, as far as that goes, and gives their number. The last of them is the run
    // being gathered then; its code stands behind the position and is written over.
    int32_t put_runs(const lfrun *runs, int32_t count) {
        static const BulkEncode encode = bulk_encode<Code>();
        const size_t room = sink_.room() / Code::bytes;
        if (!encode || !bulk_allowed || length_ == 0 || length_ > Code::limit || room < 2) return 0;
        const size_t most = std::min(static_cast<size_t>(count), room - 1);
        const size_t taken = encode(h_, runs, most, colour_, sink_.at() + Code::bytes);
        if (taken == 0) return 0;
        put_gathered();
        sink_.advance((taken - 1) * Code::bytes);
        codes_ += static_cast<int64_t>(taken - 1);
        colour_ = Code::file_colour(h_, runs[taken - 1].colour);
        length_ = runs[taken - 1].length;
        return static_cast<int32_t>(taken);
    }

    bool put_gathered() {
        if (length_ == 0) return true;
        Code::note_colour(h_, colour_);
        for (; length_ > Code::limit; length_ -= Code::limit) {
            if (!put(Code::limit, colour_)) return false;
        }
        const uint32_t rest = static_cast<uint32_t>(length_);
        length_ = 0;
        return put(rest, colour_);
    }

    void finish() {
        h_->maxruns = std::max(h_->maxruns, clamp_int32(codes_));
        sink_.finish();
    }

private:
    bool put(uint32_t length, uint32_t colour) {
        if (!sink_.reserve(Code::bytes)) return false;
        Code::put(sink_.at(), length, colour);
        sink_.advance(Code::bytes);
        ++codes_;
        return true;
    }

    xvor_t *h_;
    ByteSink sink_;
    uint32_t colour_ = 0; // of the run being gathered
    uint64_t length_ = 0;
    int64_t codes_ = 0;
};

// Whether the track can be a mark. A handle without a seek table, or with one that ends before this
// track, gets it coded.
bool is_blank(const xvor_t *h, const trackbuf *t) {
    return t->nruns == 1 && !has(h, LF_ASIS) && int64_t{t->data->length} == h->ysize &&
           h->seektab && h->track >= 0 && h->track < h->seekroom;
}

template <class Code>
void mark_blank(xvor_t *h, uint32_t colour) {
    Code::note_colour(h, colour);
    h->seektab[h->track] = ~Code::blank_code(colour);
}

// Between the runs that are taken in bulk some are put one by one: one, and twice as many each time
// that none is taken.
template <class Code>
bool put_all_runs(CodeWriter<Code> *writer, const xvor_t *h, const trackbuf *t) {
    const bool forward = !has(h, LF_YMIRROR);
    int32_t singles = 1;
    for (int32_t i = 0; i < t->nruns;) {
        const int32_t taken = forward ? writer->put_runs(t->data + i, t->nruns - i) : 0;
        i += taken;
        singles = taken != 0 ? 1 : std::min(2 * singles, 64);
        for (const int32_t upto = i + std::min(singles, t->nruns - i); i < upto; ++i) {
            const lfrun &run = run_to_write(h, t, i);
            if (!writer->put_run(run.length, Code::file_colour(h, run.colour))) return false;
        }
    }
    return true;
}

template <class Code>
bool put_track(CodeWriter<Code> *writer, const xvor_t *h, const trackbuf *t) {
    if (has(h, LF_TRKBEGIN) && !writer->put_zero_code()) return false;
    if (!put_all_runs(writer, h, t) || !writer->put_gathered()) return false;
    return !has(h, LF_TRKEND) || writer->put_zero_code();
}

template <class Code>
int32_t write_track(xvor_t *h, const trackbuf *t, const char *name) {
    if (is_blank(h, t)) {
        mark_blank<Code>(h, Code::file_colour(h, t->data->colour));
        return 0;
    }
    CodeWriter<Code> writer(h, name);
    if (!put_track(&writer, h, t)) return -1;
    writer.finish();
    return 0;
}

} // namespace

int32_t write_fw8(xvor_t *h, trackbuf *t) {
    return write_track<Fw8>(h, t, "write_fw8");
}
int32_t write_fw16(xvor_t *h, trackbuf *t) {
    return write_track<Fw16>(h, t, "write_fw16");
}
int32_t write_fw88(xvor_t *h, trackbuf *t) {
    return write_track<Fw88>(h, t, "write_fw88");
}

} // namespace vor
