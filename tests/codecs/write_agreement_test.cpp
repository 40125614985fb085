// The writers with and without vectors: codes, colours noted, longest track, reports and positions
// are the same, and the codes are those of a plain model.

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "codecs/bulk.h"
#include "codecs/fixed_readers.h"
#include "support/owned_handles.h"
#include "support/report_log.h"

namespace vor::test {
namespace {

struct FixedWriter {
    const char *name;
    Form form;
    lf_writetrack_fn write;
};
constexpr FixedWriter writers[] = {{"write_fw8", Form::fw8, write_fw8},
                                   {"write_fw16", Form::fw16, write_fw16},
                                   {"write_fw88", Form::fw88, write_fw88}};

struct Setting {
    Runs runs;
    uint32_t flags = 0;
    uint32_t bufsize = LF_BUFSIZE;
    int flushes_allowed = INT32_MAX;
    bool noted = false; // all colours were written before
    bool other_table = false;
};

struct Outcome {
    int32_t result = 0;
    std::vector<uint8_t> bytes;
    int32_t maxruns = 0;
    std::vector<uint8_t> colours;
    Lines reports;
    bool operator==(const Outcome &) const = default;
};

void set_table(xvor_t *h, const Setting &s) {
    std::memset(h->colorinfo, s.noted ? 1 : 0, 256);
    if (!s.other_table) return;
    for (int i = 0; i < LF_NCOLORS; ++i)
        h->ctable[i] = static_cast<uint16_t>(i / 3);
}

// What a two-colour form keeps of a colour, or fw88.
uint32_t file_colour(Form form, const Setting &s, uint32_t colour) {
    const uint32_t entry = colour < 256 && s.other_table ? colour / 3 : colour;
    return form == Form::fw88 ? entry & 0xFF : entry != 0 ? 1 : 0;
}

Codes model(Form form, const Setting &s) {
    Runs joined;
    for (const auto &[length, colour] : s.runs) {
        const uint32_t file = file_colour(form, s, colour);
        if (joined.empty() || joined.back().second != file) joined.emplace_back(0, file);
        joined.back().first += length;
    }
    Codes codes;
    if ((s.flags & LF_TRKBEGIN) != 0) codes.push_back({0, 0});
    for (const auto &[length, colour] : joined) {
        for (uint32_t left = length; left > 0;) {
            const uint32_t piece = std::min(left, longest_code(form));
            codes.push_back({piece, colour});
            left -= piece;
        }
    }
    if ((s.flags & LF_TRKEND) != 0) codes.push_back({0, 0});
    return codes;
}

class WriteAgreement : public ::testing::TestWithParam<FixedWriter> {
protected:
    ~WriteAgreement() override { bulk_allowed = true; }

    Outcome writing(const Setting &s, bool vectors) {
        bulk_allowed = vectors;
        CodecHandle h({}, s.bufsize);
        h.begin_writing();
        h->flags |= s.flags;
        h.flushes_allowed = s.flushes_allowed;
        set_table(h.get(), s);
        Track track(static_cast<uint32_t>(s.runs.size() + 1));
        track.put(s.runs);
        Outcome outcome;
        outcome.result = GetParam().write(h.get(), track.get());
        outcome.bytes = h.written();
        outcome.maxruns = h->maxruns;
        outcome.colours.assign(h->colorinfo, h->colorinfo + 256);
        outcome.reports = log.take();
        return outcome;
    }

    void expect_agreement(const Setting &s) {
        const Outcome plain = writing(s, false);
        ASSERT_EQ(writing(s, true), plain) << s.runs.size() << " runs, flags " << s.flags;
        if (plain.result == 0) {
            ASSERT_EQ(decoded(GetParam().form, plain.bytes), model(GetParam().form, s));
        }
    }

    ReportLog log;
};

std::string writer_name(const ::testing::TestParamInfo<FixedWriter> &info) {
    return info.param.name;
}
INSTANTIATE_TEST_SUITE_P(Writers, WriteAgreement, ::testing::ValuesIn(writers), writer_name);

class RandomRuns {
public:
    explicit RandomRuns(uint64_t start) : random_(start) {}

    uint32_t below(uint64_t limit) { return static_cast<uint32_t>(random_() % limit); }

    Setting next(Form form) {
        Setting s;
        const uint32_t count = below(below(3) == 0 ? 700 : 60);
        const uint32_t longest = below(3) == 0 ? longest_code(form) : 20;
        const uint32_t surprises = below(3) == 0 ? 0 : 40;
        const bool two = below(2) == 0;
        uint32_t colour = 0;
        for (uint32_t i = 0; i < count; ++i) {
            colour = two ? (colour != 0 ? 0 : 255) : below(256);
            uint32_t length = 1 + below(longest);
            if (surprises != 0 && below(surprises) == 0) surprise(&length, &colour, longest);
            s.runs.emplace_back(length, colour);
        }
        constexpr uint32_t flags[] = {0, LF_TRKEND, LF_TRKBEGIN | LF_TRKEND, LF_YMIRROR};
        s.flags = flags[below(4)] & ~(s.runs.empty() ? LF_YMIRROR : 0);
        s.bufsize = 2 * (1 + below(below(2) == 0 ? 40 : 1000));
        s.flushes_allowed = below(4) == 0 ? static_cast<int>(below(4)) : INT32_MAX;
        s.noted = below(3) != 0;
        s.other_table = below(4) == 0;
        return s;
    }

private:
    void surprise(uint32_t *length, uint32_t *colour, uint32_t longest) {
        switch (below(5)) {
        case 0:
            *length = 0;
            break;
        case 1:
            *length += longest + below(longest);
            break;
        case 2:
            *length = 0x10000 * (1 + below(3));
            break;
        case 3:
            *colour = below(0x20000);
            break;
        default:
            *colour = below(2) * 255;
            break;
        }
    }

    std::mt19937_64 random_;
};

TEST_P(WriteAgreement, OnRandomRuns) {
    RandomRuns random(41);
    for (int i = 0; i < 10000; ++i) {
        Setting s = random.next(GetParam().form);
        if ((s.flags & LF_YMIRROR) != 0) {
            // The model knows one direction only.
            const Outcome plain = writing(s, false);
            ASSERT_EQ(writing(s, true), plain);
            continue;
        }
        ASSERT_NO_FATAL_FAILURE(expect_agreement(s));
    }
}

// A code longer or shorter than one may be, at each place of a long row of good ones.
TEST_P(WriteAgreement, OnOneOddRunAtEveryPlace) {
    const uint32_t longest = longest_code(GetParam().form);
    for (const uint32_t odd : {0u, longest, longest + 1, 3 * longest}) {
        for (size_t place = 0; place < 100; ++place) {
            Setting s;
            s.noted = true;
            for (uint32_t i = 0; i < 100; ++i)
                s.runs.emplace_back(i == place ? odd : 1 + i % 9, i % 2 * 255);
            ASSERT_NO_FATAL_FAILURE(expect_agreement(s)) << odd << " at " << place;
        }
    }
}

} // namespace
} // namespace vor::test
