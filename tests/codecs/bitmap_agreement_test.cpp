// The quick bitmap readers against the plain ones: results, runs, reports and positions are the
// same, whatever the buffer, the window and the file.

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "codecs/bitmap_readers.h"

namespace vor::test {
namespace {

struct Setting {
    uint32_t flags = 0;
    int32_t nctab = 1, ctabno = 0, rowbytes = 0;
    int32_t ya = 0, ye = 0, ysize = 0;
    uint32_t bufsize = 64;
    int64_t place = 0;
    bool filled = false;
    uint32_t room = 300;
    bool one_colour = false;
};

struct Outcome {
    int32_t result = 0;
    Runs runs;
    Lines reports;
    int64_t place = 0;
    int64_t buffered = 0;
    bool operator==(const Outcome &) const = default;
};

std::ostream &operator<<(std::ostream &out, const Outcome &o) {
    out << "result " << o.result << ", place " << o.place << " with " << o.buffered << ", runs";
    for (const auto &[length, colour] : o.runs)
        out << " " << length << "x" << colour;
    for (const std::string &line : o.reports)
        out << ", \"" << line << "\"";
    return out;
}

std::ostream &operator<<(std::ostream &out, const Setting &s) {
    return out << "flags " << s.flags << ", planes " << s.nctab << "/" << s.ctabno << ", row "
               << s.rowbytes << ", window " << s.ya << " to " << s.ye << " as " << s.ysize
               << ", buffer " << s.bufsize << ", place " << s.place << (s.filled ? " filled" : "")
               << ", room " << s.room << ", one colour " << s.one_colour;
}

class SetHandle : public RowHandle {
public:
    SetHandle(const std::string &name, const Setting &s) : RowHandle(name, s.bufsize) {
        get()->flags = s.flags;
        get()->nctab = s.nctab;
        get()->ctabno = s.ctabno;
        get()->rowbytes = s.rowbytes;
        set_window(s.ya, s.ye, s.ysize);
        for (int i = 0; i < LF_NCOLORS; ++i)
            get()->ctable[i] = static_cast<uint16_t>(i / 2 + 100); // pairs of bytes share a colour
        if (s.one_colour) get()->ctable[255] = get()->ctable[0];
        s.filled ? fill_at(s.place) : go_to(s.place);
    }
};

class BitmapAgreement : public ::testing::TestWithParam<BitmapReader> {
protected:
    BitmapReader reader = GetParam();
    ReportLog log;
    std::mt19937_64 random{41};

    uint32_t below(uint64_t limit) { return static_cast<uint32_t>(random() % limit); }

    // Bytes in short stretches of one value.
    std::vector<uint8_t> random_bytes(size_t count) {
        std::vector<uint8_t> bytes;
        while (bytes.size() < count) {
            const uint8_t value = static_cast<uint8_t>(below(3) == 0 ? 255 * below(2) : below(256));
            for (uint32_t i = 1 + below(6); i > 0 && bytes.size() < count; --i)
                bytes.push_back(value);
        }
        return bytes;
    }

    Setting random_setting(size_t file_size) {
        Setting s;
        if (below(2) == 0) {
            s.flags = LF_INTERLEAVED;
            s.nctab = static_cast<int32_t>(1 + below(4));
            s.ctabno = static_cast<int32_t>(below(static_cast<uint64_t>(s.nctab)));
        }
        const int32_t pixels = static_cast<int32_t>(1 + below(below(2) == 0 ? 20 : 300));
        s.rowbytes = (reader.kind.bits ? (pixels + 7) / 8 : pixels) * s.nctab;
        s.ya = static_cast<int32_t>(below(static_cast<uint64_t>(pixels)));
        s.ye = s.ya + 1 + static_cast<int32_t>(below(static_cast<uint64_t>(pixels - s.ya)));
        s.ysize = static_cast<int32_t>(1 + below(2 * static_cast<uint64_t>(s.ye - s.ya) + 2));
        if (!reader.kind.scaled) s.ysize = s.ye - s.ya;
        s.bufsize = 16 + below(below(2) == 0 ? 8 : 200);
        s.place = below(file_size + 1);
        s.filled = below(2) == 0;
        if (below(8) == 0) s.room = 1 + below(20);
        s.one_colour = below(3) == 0;
        return s;
    }

    void expect_same(const RowFile &file, const Setting &s) {
        const Outcome plain = plain_reading(file, s);
        const Outcome quick = quick_reading(file, s);
        ASSERT_EQ(quick, plain) << s;
    }

private:
    Outcome quick_reading(const RowFile &file, const Setting &s) {
        SetHandle h(file.name(), s);
        Track track(s.room);
        Outcome outcome;
        outcome.result = reader.read(h.get(), track.get());
        outcome.runs = track.runs();
        outcome.reports = log.take();
        note_place(&h, &outcome);
        EXPECT_GE(h->bufptr, h->buf);
        EXPECT_LE(h->bufptr, h->bufend);
        return outcome;
    }
    Outcome plain_reading(const RowFile &file, const Setting &s) {
        SetHandle h(file.name(), s);
        Track track(1);
        PlainRowReader plain(h.get(), reader.kind, s.room);
        Outcome outcome;
        outcome.result = plain.read(track.get());
        outcome.runs = plain.runs();
        outcome.reports = plain.reports();
        note_place(&h, &outcome);
        return outcome;
    }

    // A row that failed on the way has no place to speak of.
    static void note_place(RowHandle *h, Outcome *outcome) {
        if (outcome->result < 0) return;
        outcome->place = h->place();
        outcome->buffered = h->get()->bufend - h->get()->bufptr;
    }
};

std::string reader_name(const ::testing::TestParamInfo<BitmapReader> &info) {
    return info.param.kind.name;
}

INSTANTIATE_TEST_SUITE_P(Readers, BitmapAgreement, ::testing::ValuesIn(bitmap_readers),
                         reader_name);

TEST_P(BitmapAgreement, OnRandomRows) {
    const RowFile file(random_bytes(4000));
    for (int i = 0; i < 10000; ++i)
        ASSERT_NO_FATAL_FAILURE(expect_same(file, random_setting(2000)));
}

TEST_P(BitmapAgreement, OnFilesThatEndTooSoon) {
    for (const size_t size : {0u, 1u, 3u, 16u, 17u, 50u, 200u}) {
        const RowFile file(random_bytes(size));
        for (int i = 0; i < 400; ++i)
            ASSERT_NO_FATAL_FAILURE(expect_same(file, random_setting(size)));
    }
}

// Every window of a short row, at every phase of the buffer.
TEST_P(BitmapAgreement, OnAllWindowsOfAShortRow) {
    const RowFile file(random_bytes(100));
    for (int32_t ya = 0; ya < 18; ++ya) {
        for (int32_t ye = ya + 1; ye <= 18; ++ye) {
            for (uint32_t bufsize = 16; bufsize <= 19; ++bufsize) {
                Setting s;
                s.rowbytes = reader.kind.bits ? 3 : 18;
                s.ya = ya;
                s.ye = ye;
                s.ysize = reader.kind.scaled ? 1 + (ya * 7 + ye) % 40 : ye - ya;
                s.bufsize = bufsize;
                s.place = ya % 5;
                s.filled = ye % 2 == 0;
                ASSERT_NO_FATAL_FAILURE(expect_same(file, s));
            }
        }
    }
}

} // namespace
} // namespace vor::test
