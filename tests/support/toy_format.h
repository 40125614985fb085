// A format of the tests' own. Its rows stand in the format table for good, but recognise a file
// only while a Toy lives; the Toy's fields say what the functions answer and count their calls.
//
// Two codings: Toy::memory() has its tracks in memory and needs no file. Toy::bytes() codes a run
// as a byte, the length in bits 0 to 6 and the colour in bit 7, and ends a track with a zero byte.
#ifndef VOR_TESTS_TOY_FORMAT_H
#define VOR_TESTS_TOY_FORMAT_H

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "formats/formats.h"
#include "support/owned_handles.h"
#include "trackfile/lf.h"

namespace vor::test {

class Toy {
public:
    static Toy memory() { return Toy(false); }
    static Toy bytes() { return Toy(true); }
    ~Toy() { current() = outer_; }
    Toy(const Toy &) = delete;
    Toy &operator=(const Toy &) = delete;

    // Rows: the whole format, and forms of it that lack a function. Those with a gap must be
    // forced.
    static int32_t row() { return registered(whole_format()); }
    static int32_t row_without_detect() { return registered(blind_format()); }
    static int32_t row_without_wrsetup() { return registered(read_only_format()); }
    // Neither whdr nor close nor seektabfn.
    static int32_t bare_row() { return registered(bare_format()); }
    static lffmt_t &record() { return whole_format(); }

    // A type number of the whole format.
    static int32_t type(int32_t minor_number = 0) { return lffdev(row(), minor_number); }

    // What detect tells of a file.
    int32_t tracks = 10;
    int32_t pixels = 100;
    double xres = 10;
    double yres = 20;
    int32_t subtype = 3;
    int32_t bits = 1;
    int32_t maxruns = 0;
    int64_t dataoff = 0;
    uint32_t flags = 0; // or-ed into those of the handle

    // Results of the format's functions.
    int32_t detect_result = 0;
    int32_t wrsetup_result = 0;
    int32_t whdr_result = 0;
    int32_t close_result = 0;
    int32_t check_result = 0;
    int32_t seektab_result = 0;

    // Called by the function of that name, before it gives its result.
    std::function<void(xvor_t *)> on_detect, on_wrsetup, on_whdr, on_close, on_check, on_seektab;

    // What check puts into the handle.
    lf_readtrack_fn readtrack = nullptr;
    lf_skiptrack_fn skiptrack = nullptr;
    lf_writetrack_fn writetrack = nullptr;
    lf_special_fn special = nullptr;
    lf_seek_fn seekfn = nullptr;
    lf_fill_fn fillbuf = nullptr;
    lf_flush_fn flushbuf = nullptr;

    // Names of the format's functions in the order of their calls.
    std::vector<std::string> calls;
    std::vector<uint8_t> head; // what detect was given last

    int64_t count(const std::string &name) const {
        return std::count(calls.begin(), calls.end(), name);
    }

    // The codec. A result of 0 stands for the natural one; a skip fails when fail_skip reaches 0.
    int32_t read_result = 0;
    int32_t write_result = 0;
    int fail_skip = -1;
    int reads = 0;
    int skips = 0;
    std::map<int32_t, int32_t> seek_results; // of tracks whose seek does not give 0
    std::vector<int32_t> seeks;
    std::map<int32_t, Runs> image; // of image tracks that are not {pixels, number}
    std::vector<Runs> written;

    // ---- the byte coding's files ----

    // Track i has i % 3 + 1 codes, the first of the length i + 1.
    static std::vector<uint8_t> coded_track(int32_t i) {
        std::vector<uint8_t> codes(static_cast<size_t>(i % 3) + 2, uint8_t{0x81});
        codes.front() = static_cast<uint8_t>(i + 1);
        codes.back() = 0;
        return codes;
    }

    static constexpr int64_t data_offset = 32;

    // A head of `data_offset` bytes that no other format takes for its own, and the tracks.
    static std::vector<uint8_t> coded_file(int32_t tracks) {
        std::vector<uint8_t> file(static_cast<size_t>(data_offset), uint8_t{'T'});
        for (int32_t i = 0; i < tracks; ++i) {
            const std::vector<uint8_t> codes = coded_track(i);
            file.insert(file.end(), codes.begin(), codes.end());
        }
        return file;
    }

    static int64_t offset_of(int32_t track) {
        int64_t offset = data_offset;
        for (int32_t i = 0; i < track; ++i)
            offset += static_cast<int64_t>(coded_track(i).size());
        return offset;
    }

    // ---- codec functions ----

    static int32_t read_memory(xvor_t *h, trackbuf *t) {
        Toy &toy = now();
        ++toy.reads;
        if (toy.read_result != 0) return toy.read_result;
        const auto found = toy.image.find(h->imgtrk);
        const Runs natural = {{static_cast<uint32_t>(h->ysize), static_cast<uint32_t>(h->imgtrk)}};
        return put_runs(t, found == toy.image.end() ? natural : found->second);
    }

    static int32_t seek_memory(xvor_t *, int32_t track) {
        Toy &toy = now();
        toy.seeks.push_back(track);
        const auto found = toy.seek_results.find(track);
        return found == toy.seek_results.end() ? 0 : found->second;
    }

    static int32_t write_memory(xvor_t *, trackbuf *t) {
        Toy &toy = now();
        Runs runs;
        for (int32_t i = 0; i < t->nruns; ++i)
            runs.emplace_back(t->data[i].length, t->data[i].colour);
        toy.written.push_back(runs);
        return toy.write_result;
    }

    static int32_t read_bytes(xvor_t *h, trackbuf *t) {
        Toy &toy = now();
        ++toy.reads;
        Runs runs;
        for (;;) {
            const int32_t code = next_byte(h);
            if (code < 0) return lferror(h, "toy_read", LFE_EOF, 0, nullptr);
            if (code == 0) break;
            runs.emplace_back(code & 0x7F, h->ctable[code & 0x80 ? 255 : 0]);
        }
        return toy.read_result != 0 ? toy.read_result : put_runs(t, runs);
    }

    static int32_t skip_bytes(xvor_t *h, int32_t) {
        Toy &toy = now();
        ++toy.skips;
        if (toy.fail_skip >= 0 && toy.fail_skip-- == 0) {
            return lferror(h, "toy_skip", LFE_CORRUPT, 0, nullptr);
        }
        for (int32_t codes = 1;; ++codes) {
            const int32_t code = next_byte(h);
            if (code < 0) return lferror(h, "toy_skip", LFE_EOF, 0, nullptr);
            if (code == 0) return codes;
        }
    }

    static int32_t write_bytes(xvor_t *h, trackbuf *t) {
        for (int32_t i = 0; i <= t->nruns; ++i) {
            if (h->bufptr == h->bufend && lfflush(h) < 0) return -1;
            const lfrun run = i < t->nruns ? t->data[i] : lfrun{0, 0};
            *h->bufptr++ = static_cast<uint8_t>(run.length | (run.colour ? 0x80u : 0u));
        }
        return now().write_result;
    }

private:
    explicit Toy(bool by_bytes) : outer_(current()) {
        current() = this;
        row();
        row_without_detect();
        row_without_wrsetup();
        bare_row();
        if (by_bytes) {
            dataoff = data_offset;
            readtrack = read_bytes;
            skiptrack = skip_bytes;
            writetrack = write_bytes;
        } else {
            readtrack = read_memory;
            writetrack = write_memory;
            seekfn = seek_memory;
        }
    }

    static Toy *&current() {
        static Toy *toy = nullptr;
        return toy;
    }

    static Toy &now() {
        if (!current()) throw std::logic_error("a toy file is open without its Toy");
        return *current();
    }

    static int32_t registered(lffmt_t &format) {
        const int32_t row = lfregisterfmt(&format);
        if (row < 0) throw std::runtime_error("the toy format is not registered");
        return row;
    }

    static int32_t put_runs(trackbuf *t, const Runs &runs) {
        if (runs.size() > t->size) return -1;
        t->data = t->base + 1;
        for (size_t i = 0; i < runs.size(); ++i)
            t->data[i] = {runs[i].first, runs[i].second};
        t->nruns = static_cast<int32_t>(runs.size());
        return t->nruns;
    }

    static int32_t next_byte(xvor_t *h) {
        if (h->bufptr == h->bufend && h->fillbuf(h) <= 0) return -1;
        return *h->bufptr++;
    }

    static int32_t answer(const char *name, const std::function<void(xvor_t *)> &hook, xvor_t *h,
                          int32_t result) {
        now().calls.emplace_back(name);
        if (hook) hook(h);
        return result;
    }

    // ---- functions of the format ----

    static int32_t detect(xvor_t *h, const uint8_t *bytes, int32_t size) {
        Toy *toy = current();
        if (!toy) return 1;
        toy->head.assign(bytes, bytes + size);
        const int32_t result = answer("detect", toy->on_detect, h, toy->detect_result);
        if (result != 0) return result;
        h->fxsize = toy->tracks;
        h->fysize = toy->pixels;
        h->fxres = toy->xres;
        h->fyres = toy->yres;
        h->dataoff = toy->dataoff;
        h->subtype = toy->subtype;
        h->bits = toy->bits;
        h->maxruns = toy->maxruns;
        h->flags |= toy->flags;
        return 0;
    }

    static int32_t detect_forced(xvor_t *h, const uint8_t *bytes, int32_t size) {
        const bool forced = (h->flags & LF_FORCETYPE) && h->fmt > row();
        return forced ? detect(h, bytes, size) : 1;
    }

    static int32_t wrsetup(xvor_t *h) {
        Toy &toy = now();
        h->dataoff = toy.dataoff;
        h->bits = toy.bits;
        return answer("wrsetup", toy.on_wrsetup, h, toy.wrsetup_result);
    }

    static int32_t whdr(xvor_t *h) { return answer("whdr", now().on_whdr, h, now().whdr_result); }

    static int32_t close(xvor_t *h) {
        return answer("close", now().on_close, h, now().close_result);
    }

    static int32_t check(xvor_t *h) {
        Toy &toy = now();
        h->readtrack = toy.readtrack;
        h->skiptrack = toy.skiptrack;
        h->writetrack = toy.writetrack;
        h->special = toy.special;
        h->seekfn = toy.seekfn;
        h->fillbuf = toy.fillbuf;
        h->flushbuf = toy.flushbuf;
        return answer("check", toy.on_check, h, toy.check_result);
    }

    static int32_t seektab(xvor_t *h) {
        return answer("seektab", now().on_seektab, h, now().seektab_result);
    }

    static lffmt_t make(const char *name, const char *suffix) {
        lffmt_t format = {};
        format.name = name;
        format.suffix = suffix;
        format.detect = detect_forced;
        format.wrsetup = wrsetup;
        format.whdr = whdr;
        format.close = close;
        format.check = check;
        format.seektabfn = seektab;
        return format;
    }

    static lffmt_t &whole_format() {
        static lffmt_t format = [] {
            lffmt_t whole = make("toy", ".toy");
            whole.detect = detect;
            return whole;
        }();
        return format;
    }

    static lffmt_t &blind_format() {
        static lffmt_t format = [] {
            lffmt_t blind = make("toy-blind", ".toyblind");
            blind.detect = nullptr;
            return blind;
        }();
        return format;
    }

    static lffmt_t &read_only_format() {
        static lffmt_t format = [] {
            lffmt_t read_only = make("toy-readonly", ".toyreadonly");
            read_only.wrsetup = nullptr;
            return read_only;
        }();
        return format;
    }

    static lffmt_t &bare_format() {
        static lffmt_t format = [] {
            lffmt_t bare = make("toy-bare", ".toybare");
            bare.whdr = nullptr;
            bare.close = nullptr;
            bare.seektabfn = nullptr;
            return bare;
        }();
        return format;
    }

    Toy *outer_;
};

} // namespace vor::test

#endif
