// The quick readers and walkers against the plain one: results, runs, reports and positions are the
// same on good tracks and on bad ones, with the vector forms and without.

#include "codecs/fixed_agreement.h"

#include <gtest/gtest.h>

#include <cfenv>
#include <random>
#include <vector>

namespace vor::test {
namespace {

class FixedAgreement : public ::testing::TestWithParam<FixedReader> {
protected:
    ~FixedAgreement() override { bulk_allowed = true; }

    FixedReader reader = GetParam();
    Form form = reader.kind.form;
    size_t unit = code_bytes(form);
    ReportLog log;

    // The one-to-one readers stand only where both lengths are equal.
    void expect_same_reading(Setting s) {
        if (!reader.kind.scaled) s.ysize = s.ye - s.ya;
        const Outcome plain = plain_reading(reader, s);
        for (const bool vectors : {true, false}) {
            bulk_allowed = vectors;
            const Outcome quick = quick_reading(reader, s, &log);
            ASSERT_EQ(quick, plain) << s << ", vectors " << vectors;
        }
    }
    void expect_same_skip(const Setting &s, int32_t y) {
        const Outcome plain = plain_skip(reader, s, y);
        const Outcome quick = quick_skip(reader, s, y, &log);
        ASSERT_EQ(quick, plain) << s << ", from " << y;
    }
};

std::string reader_name(const ::testing::TestParamInfo<FixedReader> &info) {
    return info.param.kind.name;
}

INSTANTIATE_TEST_SUITE_P(Readers, FixedAgreement, ::testing::ValuesIn(fixed_readers), reader_name);

constexpr uint32_t flag_sets[] = {
    0, LF_TRKEND, LF_TRKBEGIN, LF_TRKBEGIN | LF_TRKEND, LF_LAXTRACK, LF_TRKEND | LF_LAXTRACK,
};

// All tracks of up to three codes, out of lengths 0 to 2 and both colours, in every window of a
// file of four pixels a track.
TEST_P(FixedAgreement, OnAllSmallTracks) {
    const Codes alphabet = {{0, 0}, {1, 0}, {1, 1}, {2, 0}, {2, 1}};
    std::vector<Codes> tracks = {{}};
    for (size_t i = 0; i < tracks.size(); ++i) {
        if (tracks[i].size() == 3) continue;
        for (const Code &code : alphabet) {
            Codes longer = tracks[i];
            longer.push_back(code);
            tracks.push_back(longer);
        }
    }
    uint32_t turn = 0;
    for (const Codes &track : tracks) {
        for (const uint32_t flags : flag_sets) {
            for (const int32_t ysize : {1, 2, 3, 5}) {
                Setting s;
                s.data = coded(form, track);
                s.flags = flags;
                s.fysize = 4;
                s.ya = static_cast<int32_t>(turn % 3);
                s.ye = s.ya + 1 + static_cast<int32_t>(turn / 3 % 4);
                s.ysize = ysize;
                s.bufsize = static_cast<uint32_t>((1 + turn % 4) * unit);
                s.room = 1 + turn % 5;
                s.hook = turn % 7 == 0;
                s.fills_allowed = turn % 5 == 0 ? 1 : INT32_MAX;
                ++turn;
                ASSERT_NO_FATAL_FAILURE(expect_same_reading(s));
                if (reader.kind.scaled && !reader.kind.reversed) {
                    ASSERT_NO_FATAL_FAILURE(expect_same_skip(s, static_cast<int32_t>(turn % 6)));
                }
            }
        }
    }
}

class RandomTracks {
public:
    RandomTracks(Form form, uint64_t start) : form_(form), random_(start) {}

    uint32_t below(uint64_t limit) { return static_cast<uint32_t>(random_() % limit); }

    // A well-formed track, with its zero codes as the flags ask for.
    Setting good() {
        Setting s;
        s.flags = flag_sets[below(4)];
        Codes codes;
        if ((s.flags & LF_TRKBEGIN) != 0) codes.push_back({0, below(2)});
        constexpr uint32_t most[] = {12, 12, 12, 12, 12, 12, 300, 1500};
        const uint32_t count = 1 + below(most[below(8)]);
        const uint32_t longest = below(3) == 0 ? longest_code(form_) : 9;
        repeats_ = below(4);
        for (uint32_t i = 0; i < count; ++i) {
            codes.push_back({1 + below(longest), colour()});
            s.fysize += static_cast<int32_t>(codes.back().length);
        }
        if ((s.flags & LF_TRKEND) != 0) codes.push_back({0, below(2)});
        for (uint32_t i = below(4); i > 0; --i)
            codes.push_back({1 + below(9), colour()}); // of the next track
        s.data = coded(form_, codes);
        choose_window(&s);
        s.bufsize =
            static_cast<uint32_t>(code_bytes(form_)) * (1 + below(below(2) == 0 ? 6 : 2000));
        s.room = count + 1 + (below(2) == 0 ? 40 : 0);
        constexpr Colours colours[] = {Colours::of_pairs, Colours::same_at_ends, Colours::own};
        s.colours = colours[below(3)];
        return s;
    }

    // The same with something wrong.
    Setting bad() {
        Setting s = good();
        switch (below(8)) {
        case 0:
            s.fysize += static_cast<int32_t>(below(9)) - 4;
            break;
        case 1:
            s.data[below(s.data.size())] = 0;
            break;
        case 2:
            s.data[below(s.data.size())] = static_cast<uint8_t>(below(256));
            break;
        case 3:
            s.data.resize(below(s.data.size()));
            break;
        case 4:
            s.fills_allowed = static_cast<int>(below(4));
            break;
        case 5:
            s.room = 1 + below(s.room);
            break;
        case 6:
            s.chunk = 1 + below(uint64_t{2} * s.bufsize);
            break;
        default:
            s.ye += static_cast<int32_t>(below(20));
            break;
        }
        if (below(3) == 0) s.flags ^= flag_sets[below(6)];
        s.hook = below(4) == 0;
        s.hook_result = below(2) == 0 ? 0 : -1;
        return s;
    }

private:
    // Neighbours of one colour never, seldom, often or nearly always.
    uint32_t colour() {
        constexpr uint32_t in_64[] = {0, 1, 30, 62};
        if (below(64) < in_64[repeats_]) return colour_;
        colour_ = form_ == Form::fw88 ? below(256) : colour_ ^ 1;
        return colour_;
    }

    void choose_window(Setting *s) {
        s->ye = s->fysize;
        if (below(2) == 0) {
            s->ya = static_cast<int32_t>(below(static_cast<uint64_t>(s->fysize)));
            s->ye =
                s->ya + 1 + static_cast<int32_t>(below(static_cast<uint64_t>(s->fysize - s->ya)));
        }
        const uint64_t w = static_cast<uint64_t>(s->ye - s->ya);
        const uint64_t longest[] = {w, 2 * w + 3, 7, 5000000};
        s->ysize = static_cast<int32_t>(1 + below(longest[below(4)]));
    }

    Form form_;
    std::mt19937_64 random_;
    uint32_t repeats_ = 0;
    uint32_t colour_ = 0;
};

TEST_P(FixedAgreement, OnRandomGoodTracks) {
    RandomTracks tracks(form, 31);
    for (int i = 0; i < 10000; ++i) {
        const Setting s = tracks.good();
        ASSERT_NO_FATAL_FAILURE(expect_same_reading(s));
        ASSERT_NO_FATAL_FAILURE(expect_same_skip(s, 0));
    }
}

TEST_P(FixedAgreement, OnRandomBadTracks) {
    RandomTracks tracks(form, 32);
    for (int i = 0; i < 20000; ++i) {
        const Setting s = tracks.bad();
        ASSERT_NO_FATAL_FAILURE(expect_same_reading(s));
        ASSERT_NO_FATAL_FAILURE(expect_same_skip(s, 0));
    }
}

// A program may have told the processor to round otherwise.
TEST_P(FixedAgreement, WhateverTheRoundingMode) {
    RandomTracks tracks(form, 34);
    for (const int mode : {FE_DOWNWARD, FE_UPWARD, FE_TOWARDZERO}) {
        for (int i = 0; i < 500; ++i) {
            const Setting s = tracks.good();
            ASSERT_EQ(std::fesetround(mode), 0);
            expect_same_reading(s);
            std::fesetround(FE_TONEAREST);
            if (HasFatalFailure()) return;
        }
    }
}

// Bytes at random are tracks too.
TEST_P(FixedAgreement, OnRandomBytes) {
    RandomTracks random(form, 33);
    for (int i = 0; i < 10000; ++i) {
        Setting s = random.bad();
        s.data.resize(random.below(40));
        for (uint8_t &byte : s.data)
            byte = static_cast<uint8_t>(random.below(4) == 0 ? 0 : random.below(256));
        ASSERT_NO_FATAL_FAILURE(expect_same_reading(s));
        ASSERT_NO_FATAL_FAILURE(expect_same_skip(s, static_cast<int32_t>(random.below(50))));
    }
}

} // namespace
} // namespace vor::test
