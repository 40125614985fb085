// Small files with every section, damaged in every way there is room for: cut at each length, each
// byte of the header turned over, each of its words at the ends of its range, sections on top of
// one another. Whatever a file says, calls succeed or fail with a report, and a track that reads
// adds up.
#include <algorithm>
#include <array>
#include <numeric>
#include <string>
#include <tuple>

#include "support/native_test.h"
#include "vor/vor.h"

namespace {

using namespace vor::test;

constexpr uint32_t pixels = 300;
constexpr int32_t most_tracks = 16; // that are read of a file that claims more

struct Outcome {
    bool whole = true; // everything succeeded
    std::vector<Runs> tracks;
};

class DamagedFile : public NativeTest,
                    public ::testing::WithParamInterface<std::tuple<uint32_t, uint32_t, bool>> {
protected:
    static VorBytes make_file() {
        const auto [format, compression, swapped] = GetParam();
        VorBytes file(format | compression, 4, pixels, swapped);
        file.set_float(VorBytes::xpitch_at, 0.05F);
        file.set_float(VorBytes::yresf_at, 20);
        file.set(NativeFile::version_at, 2);
        file.track({{100, 0}, {100, 1}, {100, 0}});
        file.track({{1, 1}, {100, 0}, {100, 1}, {99, 0}});
        file.blank(0);
        file.track({{127, 0}, {73, 1}, {100, 0}});
        file.stops({1, 0x80000002});
        file.seek_table();
        VorBytes::Table table;
        std::iota(table.begin(), table.end(), uint16_t{0});
        file.colour_tables({table});
        file.colour_info(Bytes(256, 1));
        file.tag_list(1);
        file.tag("note", {1, 2, 3, 4});
        return file;
    }

    Bytes make_bytes() {
        make_file().write(name);
        return read_bytes(name);
    }

    // The result of a call, which must have told of a failure.
    bool succeeds(int32_t result) {
        const bool told = !reports.take().empty();
        EXPECT_TRUE(result >= 0 || told) << "a failure without a report";
        return result >= 0;
    }

    void read_tracks(xvor_t *h, Outcome *outcome) {
        const int32_t room = std::clamp(h->ysize, 1, 4096);
        for (int32_t n = 0; n < std::min(h->xsize, most_tracks); ++n) {
            Track track(static_cast<uint32_t>(room));
            const int32_t result = lfread(h, track.get(), n);
            if (!succeeds(result)) outcome->whole = false;
            if (result < 1) continue;
            uint64_t sum = 0;
            for (const auto &run : track.runs())
                sum += run.first;
            EXPECT_EQ(sum, static_cast<uint64_t>(h->ysize));
            outcome->tracks.push_back(track.runs());
        }
    }

    Outcome use(const Bytes &bytes) {
        write_bytes(name, bytes);
        Outcome outcome;
        reports.take();
        const Handle h = open();
        if (!h) {
            EXPECT_FALSE(reports.take().empty()) << "a failed open without a report";
            outcome.whole = false;
            return outcome;
        }
        if (!succeeds(lfcheck(h.get()))) {
            outcome.whole = false;
            return outcome;
        }
        read_tracks(h.get(), &outcome);
        vor_tagreq tag = {"note", nullptr};
        if (lfspecial(h.get(), LFS_FIND_TAG, &tag) < 0) outcome.whole = false;
        uint8_t hash[16];
        if (lfspecial(h.get(), LFS_IMAGE_HASH, hash) < 0) outcome.whole = false;
        reports.take();
        return outcome;
    }

    void check(const Bytes &bytes) {
        write_bytes(name, bytes);
        ckvor_t record = {};
        record.filename = name.c_str();
        record.progress = [](int32_t, ckvor_t *, int32_t) { return int32_t{0}; };
        const int32_t result = ckvor(&record, 1);
        EXPECT_EQ(result, record.status > 0 ? -1 : 0);
    }

    void use_and_check(const Bytes &bytes) {
        use(bytes);
        check(bytes);
    }
};

TEST_P(DamagedFile, IsWholeUndamaged) {
    const Outcome outcome = use(make_bytes());
    EXPECT_TRUE(outcome.whole);
    EXPECT_EQ(outcome.tracks.size(), 4u);
}

TEST_P(DamagedFile, CutAtAnyLengthFailsSomewhereAndMisreadsNothing) {
    const Bytes bytes = make_bytes();
    const std::vector<Runs> tracks = use(bytes).tracks;
    for (size_t size = 0; size < bytes.size(); ++size) {
        const Bytes cut(bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(size));
        const Outcome outcome = use(cut);
        EXPECT_FALSE(outcome.whole) << size;
        for (const Runs &track : outcome.tracks)
            EXPECT_NE(std::find(tracks.begin(), tracks.end(), track), tracks.end()) << size;
        check(cut);
    }
}

TEST_P(DamagedFile, WithAnyByteOfTheHeaderTurnedOver) {
    const Bytes good = make_bytes();
    for (size_t at = 0; at < VOR_HDRSIZE; ++at) {
        for (const int mask : {0x01, 0x80, 0xFF}) {
            Bytes bytes = good;
            bytes[at] = static_cast<uint8_t>(bytes[at] ^ mask);
            use_and_check(bytes);
        }
    }
}

TEST_P(DamagedFile, WithAnyWordOfTheHeaderAtTheEndsOfItsRange) {
    const VorBytes good = make_file();
    for (size_t at = 0; at < VOR_HDRSIZE; at += 4) {
        for (const uint32_t value : {0u, 1u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
            VorBytes file = good;
            file.set(at, value);
            file.write(name);
            use_and_check(read_bytes(name));
        }
    }
}

TEST_P(DamagedFile, WithSectionsOnTopOfOneAnother) {
    constexpr std::array<size_t, 5> offsets = {VorBytes::stopoff_at, NativeFile::seekoff_at,
                                               VorBytes::ctaboff_at, NativeFile::cinfooff_at,
                                               NativeFile::tagoff_at};
    const VorBytes good = make_file();
    for (const size_t moved : offsets) {
        for (const size_t onto : offsets) {
            VorBytes file = good;
            file.set(moved, good.get(onto));
            file.write(name);
            use_and_check(read_bytes(name));
        }
        for (const uint32_t place : {255u, 256u, 257u, 260u}) {
            VorBytes file = good;
            file.set(moved, place);
            file.write(name);
            use_and_check(read_bytes(name));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(EveryKind, DamagedFile,
                         ::testing::Combine(::testing::Values(VT_FW16, VT_FW8, VT_FW88),
                                            ::testing::Values(0u, VT_DEFLATED), ::testing::Bool()));

} // namespace
