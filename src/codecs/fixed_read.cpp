// The twelve fixed-width readers: three codes, scaled or one-to-one, forward or reversed.
//
// One template makes them all. Codes are decoded in blocks of which it is known beforehand that the
// buffer holds them and that the track buffer has room for as many runs, so that the inner loop has
// no other ends than a zero code and the end of the window. Where the room is used up, each code is
// tested: those that still join the last run do no harm.

#include "codecs/codec_functions.h"
#include "codecs/fixed_decoder.h"

namespace vor {
namespace {

template <class Code>
constexpr int32_t (*go_to_window)(xvor_t *) = nullptr;
template <>
constexpr auto go_to_window<Fw8> = goto8bol;
template <>
constexpr auto go_to_window<Fw16> = goto16bol;
template <>
constexpr auto go_to_window<Fw88> = goto88bol;

// Decodes one by one, in registers.
template <Room room, class D>
Stop decode_singly(D *state, const uint8_t *&position, const uint8_t *end) {
    D decoder = *state;
    const uint8_t *at = position;
    const Stop stop = decoder.template decode<room>(at, end);
    position = at;
    *state = decoder;
    return stop;
}

// Decodes from `at` to `end`, for which there is room: in bulk as far as that goes, and what bulk
// does not take code by code, first of all the one that begins the first run.
template <class D>
Stop decode_with_room(D *decoder, const uint8_t *&at, const uint8_t *end) {
    static const BulkDecode<D> bulk = bulk_decode<D>();
    if (!bulk || !bulk_allowed) return decode_singly<Room::known>(decoder, at, end);
    for (ptrdiff_t codes = decoder->runs.pieces_to_aligned();; codes = 32) {
        const ptrdiff_t stretch = std::min(codes * ptrdiff_t{D::Unit::bytes}, end - at);
        const Stop stop = decode_singly<Room::known>(decoder, at, at + stretch);
        if (stop != Stop::at_end || at == end || decoder->passed >= decoder->window) return stop;
        bulk(decoder, at, end);
    }
}

// Decodes codes that stand in the buffer.
template <class D>
Stop decode_block(xvor_t *h, D *decoder) {
    const uint8_t *at = h->bufptr;
    const size_t bytes = bytes_of_codes<typename D::Unit>(h);
    const size_t room = decoder->runs.room();
    const Stop stop =
        room != 0 ? decode_with_room(decoder, at, at + std::min(bytes, room * D::Unit::bytes))
                  : decode_singly<Room::tested>(decoder, at, at + bytes);
    h->bufptr += at - h->bufptr;
    return stop;
}

// Looks ahead to the code behind the block. Behind the window's end none is needed, but a fill that
// fails is a failure there too. False after a report.
template <class D>
bool next_code(xvor_t *h, const D &decoder, const char *name) {
    const Data data = look_ahead(h, D::Unit::bytes);
    if (data == Data::there) return true;
    if (data == Data::ended && decoder.passed >= decoder.window) return true;
    report_end_of_data(h, name);
    return false;
}

// Decodes up to the window's end; a zero code in the window ends it early. False after a report.
template <class D>
bool decode_window(xvor_t *h, D *decoder, const char *name) {
    while (decoder->passed < decoder->window) {
        const Stop stop = decode_block(h, decoder);
        if (stop == Stop::zero_code) break;
        if (stop == Stop::no_room) {
            report_no_room(h, name);
            return false;
        }
        if (!next_code(h, *decoder, name)) return false;
    }
    if (decoder->runs.finish()) return true;
    report_no_room(h, name);
    return false;
}

template <class Code, class Scale, Order order>
int32_t read_track(xvor_t *h, trackbuf *t, const char *name) {
    const int32_t first = go_to_window<Code>(h);
    if (first < 0) return -1;
    Decoder<Code, Scale, order> decoder(h, t);
    decoder.passed = first - int64_t{Code::length(h->bufptr)};
    const bool decoded = decode_window(h, &decoder, name);
    decoder.runs.publish(t);
    if (!decoded) return -1;
    const int64_t missing = int64_t{h->ysize} - decoder.runs.pixels();
    if (!accept_missing(h, t, missing, name)) return -1;
    // The window's last code may reach beyond it: that is where the file stands.
    if (h->skiptrack(h, clamp_int32(window_begin(h) + decoder.passed)) < 0) return -1;
    return t->nruns;
}

} // namespace

int32_t read_fw8(xvor_t *h, trackbuf *t) {
    return read_track<Fw8, Rescaled, Order::forward>(h, t, "read_fw8");
}
int32_t read_fw8_ns(xvor_t *h, trackbuf *t) {
    return read_track<Fw8, OneToOne, Order::forward>(h, t, "read_fw8_ns");
}
int32_t rev_read_fw8(xvor_t *h, trackbuf *t) {
    return read_track<Fw8, Rescaled, Order::reversed>(h, t, "rev_read_fw8");
}
int32_t rev_read_fw8_ns(xvor_t *h, trackbuf *t) {
    return read_track<Fw8, OneToOne, Order::reversed>(h, t, "rev_read_fw8_ns");
}

int32_t read_fw16(xvor_t *h, trackbuf *t) {
    return read_track<Fw16, Rescaled, Order::forward>(h, t, "read_fw16");
}
int32_t read_fw16_ns(xvor_t *h, trackbuf *t) {
    return read_track<Fw16, OneToOne, Order::forward>(h, t, "read_fw16_ns");
}
int32_t rev_read_fw16(xvor_t *h, trackbuf *t) {
    return read_track<Fw16, Rescaled, Order::reversed>(h, t, "rev_read_fw16");
}
int32_t rev_read_fw16_ns(xvor_t *h, trackbuf *t) {
    return read_track<Fw16, OneToOne, Order::reversed>(h, t, "rev_read_fw16_ns");
}

int32_t read_fw88(xvor_t *h, trackbuf *t) {
    return read_track<Fw88, Rescaled, Order::forward>(h, t, "read_fw88");
}
int32_t read_fw88_ns(xvor_t *h, trackbuf *t) {
    return read_track<Fw88, OneToOne, Order::forward>(h, t, "read_fw88_ns");
}
int32_t rev_read_fw88(xvor_t *h, trackbuf *t) {
    return read_track<Fw88, Rescaled, Order::reversed>(h, t, "rev_read_fw88");
}
int32_t rev_read_fw88_ns(xvor_t *h, trackbuf *t) {
    return read_track<Fw88, OneToOne, Order::reversed>(h, t, "rev_read_fw88_ns");
}

} // namespace vor
