// Small files of every kind, damaged in every way that one fault can be: what is not damaged stays.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <random>

#include "report.h"
#include "salvage_sample.h"

namespace vor::test {
namespace {

using Numbers = std::vector<int32_t>;

Pixels whole_pixels(const TempDir &dir, const Sample &sample) {
    write_bytes(dir.file("whole.vor"), sample.bytes);
    return read_pixels(dir.file("whole.vor"));
}

// Every track but `spared` is kept at its number, with its pixels.
void expect_kept(const Outcome &outcome, const Pixels &whole, const Numbers &spared) {
    ASSERT_EQ(outcome.pixels.size(), whole.size());
    for (int32_t n = 0; n < static_cast<int32_t>(whole.size()); ++n) {
        if (std::find(spared.begin(), spared.end(), n) != spared.end()) continue;
        EXPECT_TRUE(outcome.kept(n)) << "track " << n;
        EXPECT_EQ(outcome.pixels[static_cast<size_t>(n)], whole[static_cast<size_t>(n)])
            << "track " << n;
    }
}

bool is_closing(const Kind &kind, const Sample &sample, int64_t offset) {
    const auto width = tool::code_bytes(kind.type & VT_FORMAT);
    for (int64_t at = offset + 1; at <= offset + width; ++at) {
        const bool is_begin =
            std::find(sample.entries.begin(), sample.entries.end(), at) != sample.entries.end();
        if (is_begin || at == sample.data_end) return true;
    }
    return false;
}

// All bytes of a track lie before a size.
bool is_within(const Sample &sample, int32_t n, size_t size) {
    int64_t end = sample.data_end;
    for (size_t later = static_cast<size_t>(n) + 1; later < sample.entries.size(); ++later) {
        if (sample.entries[later] < 0) continue;
        end = sample.entries[later];
        break;
    }
    return end <= static_cast<int64_t>(size);
}

// One byte of another value: one bit more or less, the other end of the range, all bits.
Bytes with_change(Bytes bytes, int64_t at) {
    constexpr uint8_t changes[] = {0x01, 0x80, 0xFF};
    bytes[static_cast<size_t>(at)] ^= changes[at % 3];
    return bytes;
}

// A closing code that is gone takes the next track with it where no table tells its place.
Numbers hit_by(const Kind &kind, const Sample &sample, int64_t offset) {
    const int32_t n = track_at(sample, offset);
    if (kind.table || !is_closing(kind, sample, offset)) return {n};
    return {n, n + 1};
}

} // namespace

TEST(SalvageDamage, WholeFilesLoseNothing) {
    const TempDir dir;
    for (const Kind &kind : kinds) {
        SCOPED_TRACE(kind.name);
        const Sample sample = make_sample(kind);
        const Pixels whole = whole_pixels(dir, sample);
        ASSERT_EQ(whole.size(), static_cast<size_t>(sample_tracks));
        const Outcome outcome = salvage(dir, sample.bytes);
        expect_kept(outcome, whole, {});
        EXPECT_TRUE(outcome.header.guesses.empty());
        EXPECT_TRUE(outcome.tracks.losses.empty());
        EXPECT_EQ(outcome.sections.fates.size(), 3U);
        for (const tool::SectionFate &fate : outcome.sections.fates)
            EXPECT_TRUE(fate.whole()) << fate.name << fate.fault;
    }
}

TEST(SalvageDamage, OneChangedByteCostsNoOtherTrack) {
    const TempDir dir;
    for (const Kind &kind : kinds) {
        const Sample sample = make_sample(kind);
        const Pixels whole = whole_pixels(dir, sample);
        for (int64_t at = VOR_HDRSIZE; at < sample.data_end; ++at) {
            const Outcome outcome = salvage(dir, with_change(sample.bytes, at));
            SCOPED_TRACE(std::string(kind.name) + ", byte " + std::to_string(at));
            expect_kept(outcome, whole, hit_by(kind, sample, at));
            if (HasFailure()) return;
        }
    }
}

TEST(SalvageDamage, OneChangedByteOfTheHeaderCostsNoTrack) {
    const TempDir dir;
    for (const Kind &kind : kinds) {
        const Sample sample = make_sample(kind);
        const Pixels whole = whole_pixels(dir, sample);
        for (int64_t at = 0; at < static_cast<int64_t>(offsetof(vorhdr, reserved4)); ++at) {
            SCOPED_TRACE(std::string(kind.name) + ", byte " + std::to_string(at));
            // Without a seek table nothing but the header tells how many tracks there are.
            if (!kind.table && at < 4) continue;
            try {
                expect_kept(salvage(dir, with_change(sample.bytes, at)), whole, {});
            } catch (const tool::Failure &failure) {
                ADD_FAILURE() << failure.what();
            }
        }
    }
}

// Tracks before the first blank one have their numbers whatever is left of the table; behind it the
// tracks that are there come in their order.
TEST(SalvageDamage, CutFilesKeepWhatIsThere) {
    const TempDir dir;
    for (const Kind &kind : kinds) {
        const Sample sample = make_sample(kind);
        const Pixels whole = whole_pixels(dir, sample);
        const auto first_end = static_cast<size_t>(sample.entries[1]);
        const auto dense = static_cast<size_t>(sample.data_end) + 16 + 4 * sample_tracks;
        for (size_t size = first_end; size < sample.bytes.size(); size += size < dense ? 1 : 29) {
            SCOPED_TRACE(std::string(kind.name) + ", " + std::to_string(size) + " bytes");
            const Outcome outcome = salvage(
                dir, {sample.bytes.begin(), sample.bytes.begin() + static_cast<ptrdiff_t>(size)});
            ASSERT_EQ(outcome.pixels.size(), whole.size());
            int32_t next = 0;
            for (int32_t n = 0; n < sample_tracks; ++n) {
                const auto i = static_cast<size_t>(n);
                if (is_blank_sample(kind, n) || !is_within(sample, n, size)) continue;
                while (next < sample_tracks &&
                       outcome.pixels[static_cast<size_t>(next)] != whole[i])
                    ++next;
                EXPECT_LT(next, sample_tracks) << "track " << n << " is gone";
                const bool is_told = !kind.table || n < 3;
                EXPECT_TRUE(!is_told || next == n) << "track " << n << " is at " << next;
            }
            if (HasFailure()) return;
        }
    }
}

// Entries that the cut leaves have their say.
TEST(SalvageDamage, HalfATableTellsItsHalfOfTheNumbers) {
    const TempDir dir;
    for (const Kind &kind : kinds) {
        if (!kind.table) continue;
        SCOPED_TRACE(kind.name);
        const Sample sample = make_sample(kind);
        const Pixels whole = whole_pixels(dir, sample);
        Bytes bad = sample.bytes;
        bad.resize(static_cast<size_t>(sample.data_end) + 3 * 4 + 4 * 9); // entries 0 to 8
        const Outcome outcome = salvage(dir, bad);
        expect_kept(outcome, whole, {9, 10, 11});
        EXPECT_EQ(outcome.pixels[9], whole[9]);
    }
}

TEST(SalvageDamage, OneWrongEntryCostsNothingButABlankTrack) {
    const TempDir dir;
    for (const Kind &kind : kinds) {
        if (!kind.table) continue;
        const Sample sample = make_sample(kind);
        const Pixels whole = whole_pixels(dir, sample);
        const size_t table = static_cast<size_t>(sample.data_end) + 3 * 4; // behind the stops
        for (int32_t n = 0; n < sample_tracks; ++n) {
            for (const uint32_t wrong : {0U, 5U, 256U, 270U, 0x7FFFFFFFU, 0x80000000U}) {
                SCOPED_TRACE(std::string(kind.name) + ", entry " + std::to_string(n) + " is " +
                             std::to_string(wrong));
                NativeFile numbers(0, 0, 0, kind.swapped);
                numbers.put32({wrong});
                Bytes bad = sample.bytes;
                std::copy(numbers.bytes().begin() + 256, numbers.bytes().end(),
                          bad.begin() + static_cast<ptrdiff_t>(table) + 4 * n);
                if (sample.entries[static_cast<size_t>(n)] == wrong) continue;
                const Outcome outcome = salvage(dir, bad);
                const bool blank = is_blank_sample(kind, n);
                // A mark that leads to data which belongs to another track stays unnoticed.
                expect_kept(outcome, whole, blank ? Numbers{n} : Numbers{});
                if (HasFailure()) return;
            }
        }
    }
}

TEST(SalvageDamage, TablesOverwrittenAreMadeAnew) {
    const TempDir dir;
    for (const Kind &kind : kinds) {
        if (!kind.table) continue;
        for (const uint8_t filling : {uint8_t{0x00}, uint8_t{0xFF}, uint8_t{0x5A}}) {
            SCOPED_TRACE(std::string(kind.name) + " with " + std::to_string(filling));
            const Sample sample = make_sample(kind);
            const Pixels whole = whole_pixels(dir, sample);
            Bytes bad = sample.bytes;
            const auto table = bad.begin() + static_cast<ptrdiff_t>(sample.data_end) + 3 * 4;
            std::fill(table, table + 4 * sample_tracks, filling);
            const Outcome outcome = salvage(dir, bad);
            // The blank tracks are gone, so that the others stand at the front, in their order.
            Pixels found;
            for (int32_t n = 0; n < sample_tracks; ++n) {
                if (!is_blank_sample(kind, n)) found.push_back(whole[static_cast<size_t>(n)]);
            }
            ASSERT_GE(outcome.tracks.kept, static_cast<int64_t>(found.size()));
            for (size_t n = 0; n < found.size(); ++n)
                EXPECT_EQ(outcome.pixels[n], found[n]) << n;
            EXPECT_FALSE(outcome.tracks.doubtful.empty());
        }
    }
}

// Whatever its order, a table that leads to good tracks and leaves none out is what readers go by.
TEST(SalvageDamage, AReversedTableIsReadAsItStands) {
    const TempDir dir;
    const Kind kind = kinds[0];
    const Sample sample = make_sample(kind);
    Bytes bad = sample.bytes;
    const auto at = static_cast<size_t>(sample.data_end) + 3 * 4;
    for (size_t n = 0; n < sample_tracks; ++n)
        std::copy_n(sample.bytes.begin() + static_cast<ptrdiff_t>(at + 4 * n), 4,
                    bad.begin() + static_cast<ptrdiff_t>(at + 4 * (sample_tracks - 1 - n)));
    Pixels whole = whole_pixels(dir, sample);
    std::reverse(whole.begin(), whole.end());
    expect_kept(salvage(dir, bad), whole, {});
}

TEST(SalvageDamage, AZeroedHeaderNeedsNothingButWhatIsSaid) {
    const TempDir dir;
    for (const Kind &kind : kinds) {
        SCOPED_TRACE(kind.name);
        const Sample sample = make_sample(kind);
        const Pixels whole = whole_pixels(dir, sample);
        Bytes bad = sample.bytes;
        std::fill_n(bad.begin(), VOR_HDRSIZE, uint8_t{0});
        const tool::ByteOrder order = (std::endian::native == std::endian::little) != kind.swapped
                                          ? tool::ByteOrder::little
                                          : tool::ByteOrder::big;
        const tool::HeaderWishes wishes{.tracks = sample_tracks,
                                        .pixels = sample_pixels,
                                        .coding = kind.type & VT_FORMAT,
                                        .deflated = (kind.type & VT_DEFLATED) != 0,
                                        .order = order,
                                        .resolution = {}};
        const Outcome outcome = salvage(dir, bad, wishes);
        expect_kept(outcome, whole, {});
        EXPECT_EQ(outcome.tracks.table, kind.table ? tool::PlacedTracks::SeekTable::found
                                                   : tool::PlacedTracks::SeekTable::none);
    }
}

// Bytes that have gone move everything behind them, by an odd number of bytes too.
TEST(SalvageDamage, MissingBytesCostTheirTrack) {
    const TempDir dir;
    for (const Kind &kind : kinds) {
        if (kind.table) continue;
        const Sample sample = make_sample(kind);
        const Pixels whole = whole_pixels(dir, sample);
        for (int64_t at = sample.entries[4]; at < sample.entries[5]; ++at) {
            SCOPED_TRACE(std::string(kind.name) + ", without byte " + std::to_string(at));
            Bytes bad = sample.bytes;
            bad.erase(bad.begin() + static_cast<ptrdiff_t>(at));
            const Outcome outcome = salvage(dir, bad);
            expect_kept(outcome, whole, {4, 5});
            if (HasFailure()) return;
        }
    }
}

// `salvage` proves what it makes; here it must come back from anything.
TEST(SalvageDamage, ManyDamagesAtOnceMakeAGoodFileOrNone) {
    const TempDir dir;
    std::mt19937 random(1);
    const auto below = [&](size_t bound) { return static_cast<size_t>(random()) % bound; };
    for (const Kind &kind : kinds) {
        const Sample sample = make_sample(kind);
        for (int round = 0; round < 60; ++round) {
            SCOPED_TRACE(std::string(kind.name) + ", round " + std::to_string(round));
            Bytes bad = sample.bytes;
            for (size_t hits = 1 + below(12); hits > 0; --hits)
                bad[below(bad.size())] = static_cast<uint8_t>(random());
            const size_t hole = below(bad.size());
            const size_t end = std::min(bad.size(), hole + below(40));
            if (round % 3 == 0) std::fill(bad.data() + hole, bad.data() + end, uint8_t{0xFF});
            if (round % 4 == 0) bad.resize(256 + below(bad.size() - 256));
            const tool::HeaderWishes wishes{.tracks = sample_tracks,
                                            .pixels = sample_pixels,
                                            .coding = {},
                                            .deflated = {},
                                            .order = {},
                                            .resolution = {}};
            try {
                salvage(dir, bad, wishes);
            } catch (const tool::Failure &) {
                continue; // nothing can be made of it
            }
        }
    }
}

TEST(SalvageDamage, LostTracksAreFilledAsAsked) {
    const TempDir dir;
    const Sample sample = make_sample(kinds[4]);
    const Pixels whole = whole_pixels(dir, sample);
    Bytes bad = sample.bytes;
    for (const int32_t n : {0, 6})
        ++bad[static_cast<size_t>(sample.entries[static_cast<size_t>(n)])];
    const std::vector<uint16_t> gray(sample_pixels, 77);
    const Outcome coloured = salvage(dir, bad, {}, {.colour = 77, .neighbour = false});
    EXPECT_EQ(coloured.lost(), (Numbers{0, 6}));
    EXPECT_EQ(coloured.pixels[0], gray);
    EXPECT_EQ(coloured.pixels[6], gray);
    const Outcome repeated = salvage(dir, bad, {}, {.colour = 255, .neighbour = true});
    EXPECT_EQ(repeated.pixels[0], whole[1]);
    EXPECT_EQ(repeated.pixels[6], whole[5]);
}

} // namespace vor::test
