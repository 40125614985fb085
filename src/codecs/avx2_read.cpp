// The readers' inner loop in vectors of 256 bits.
//
// A group of eight codes becomes eight positions: the sums of their lengths, scaled. A piece begins
// where the one before it ends, pieces that came out empty fall away, and of the others those that
// change the colour complete a run. The positions where that happens are moved together by a
// permutation that a table gives for each set of lanes; a run's length is the distance of two of
// them. No branch depends on the data.
//
// Where no code is scaled away and all neighbours differ, which is the rule in most tracks, each
// code is a run of its own: then whole blocks are spread out as they stand.
//
// Runs are stored by vectors, so that some places behind the last run are written to as well: the
// caller has room for them.

#include "codecs/fixed_decoder.h"

#include <type_traits>

#include "platform/cpu.h"

#ifdef VOR_AVX2_KERNELS

#include "codecs/avx2_blocks.h"

namespace vor {
namespace {

// Output positions of window positions.
struct VectorOneToOne {
    explicit VectorOneToOne(const OneToOne &) {}
    static bool serves(const OneToOne &) { return true; }
};

// In double precision: floor((n * s + c) / w) is the whole number next to
// n * (s / w) + (c + 1/2) / w - 1/2, which lies at least 1 / 2w off the middle between two. What is
// rounded on the way adds up to less than that for n * w up to 2^49. Whole numbers become doubles,
// and doubles whole numbers, by the addition of 2^52, where a double has no bits for fractions;
// that takes a processor that rounds to the nearest, as programs seldom change.
struct VectorRescaled {
    VOR_AVX2_INLINE explicit VectorRescaled(const Rescaled &scale) {
        const auto window = static_cast<double>(scale.window());
        const int64_t half = scale.window() > 1 ? scale.window() - scale.window() / 2 : 0;
        slope = _mm256_set1_pd(static_cast<double>(scale.output()) / window);
        offset = _mm256_set1_pd((static_cast<double>(half) + 0.5) / window - 0.5);
    }
    static bool serves(const Rescaled &scale) {
        return scale.output() <= (INT64_C(1) << 49) / scale.window() &&
               _MM_GET_ROUNDING_MODE() == _MM_ROUND_NEAREST;
    }
    VOR_AVX2_INLINE __m256i at(__m256i passed) const {
        const __m256i exponent = every(0x43300000); // of doubles from 2^52 on
        const __m256 low = four(_mm256_unpacklo_epi32(passed, exponent));
        const __m256 high = four(_mm256_unpackhi_epi32(passed, exponent));
        return _mm256_castps_si256(_mm256_shuffle_ps(low, high, 0x88));
    }

private:
    VOR_AVX2_INLINE __m256 four(__m256i passed) const {
        const __m256d whole = _mm256_set1_pd(0x1p52);
        const __m256d number = _mm256_sub_pd(_mm256_castsi256_pd(passed), whole);
        return _mm256_castpd_ps(_mm256_add_pd(_mm256_fmadd_pd(number, slope, offset), whole));
    }

    __m256d slope, offset;
};

template <bool one_to_one>
using VectorScale = std::conditional_t<one_to_one, VectorOneToOne, VectorRescaled>;

template <class D>
class BulkDecoder {
    using Code = typename D::Unit;
    static constexpr Order order = D::run_order;
    static constexpr ptrdiff_t block_codes = Block<Code>::codes;
    static constexpr ptrdiff_t block_bytes = block_codes * Code::bytes;
    static constexpr bool two_colours = std::is_base_of_v<TwoColours, Code>;
    using Scale = VectorScale<D::one_to_one>;
    // Blocks that are worked on together. In those that are no turns the next may be.
    static constexpr ptrdiff_t most_blocks = two_colours && D::one_to_one ? 1 : 8;

public:
    // What may be written behind the runs that count.
    static constexpr size_t spare = 8;

    // What is worked with in memory.
    struct Room {
        static constexpr auto begins = static_cast<size_t>(most_blocks * block_codes + 1);

        uint32_t turns[16]; // the two colours in turn
        // Where runs begin in the output, and their colours: the one at hand, and those behind it.
        uint32_t begin[begins + spare];
        uint32_t colour[two_colours ? 1 : begins + spare];
        uint32_t looked_up[two_colours ? 1 : begins]; // of the codes and the one before them
    };

    VOR_AVX2_INLINE explicit BulkDecoder(D *decoder, Room *room)
        : scale_(decoder->scale), decoder_(decoder), palette_(decoder->palette),
          slot_(decoder->runs.next_slot()), passed_(static_cast<uint32_t>(decoder->passed)),
          window_(static_cast<uint32_t>(decoder->window)), room_(room) {
        const auto hand = decoder->runs.at_hand();
        begin_ = hand.begin;
        ends_ = every(hand.end);
        colour_ = hand.colour;
        if constexpr (two_colours) {
            second_ = hand.colour == palette_.set ? 1 : 0;
            for (uint32_t i = 0; i < 16; ++i) {
                const uint32_t colour = (i & 1) != 0 ? palette_.set : palette_.clear;
                room->turns[i] = colour & colour_code_mask;
            }
        } else {
            identity_ = is_identity(palette_.table);
        }
    }

    VOR_AVX2_INLINE void decode(const uint8_t *&position, const uint8_t *end) {
        const uint8_t *at = position;
        while (end - at >= block_bytes) {
            ptrdiff_t bytes = 0;
            if constexpr (D::one_to_one) bytes = take_turns(at, end);
            if (bytes == 0) bytes = take_blocks(at, end);
            if (bytes == 0) break;
            at += bytes;
        }
        position = at;
        decoder_->passed = passed_;
        decoder_->runs.added(completed_, {begin_, end_at_hand(), colour_at_hand()});
    }

private:
    VOR_AVX2_INLINE uint32_t colour_at_hand() const {
        if constexpr (two_colours)
            return second_ != 0 ? palette_.set : palette_.clear;
        else
            return colour_;
    }

    VOR_AVX2_INLINE uint32_t end_at_hand() const {
        if constexpr (D::one_to_one)
            return passed_;
        else
            return last_lane(ends_);
    }

    VOR_AVX2_INLINE lfrun *slot() const {
        const auto completed = static_cast<ptrdiff_t>(completed_);
        return order == Order::forward ? slot_ + completed : slot_ - completed;
    }

    // ---- blocks in which all codes are runs ----

    // Blocks whose lengths are summed before the sum is held against the window.
    static constexpr ptrdiff_t most_turns = 8;

    // Takes blocks in which each code has another colour than the one before it. The run at hand is
    // completed, and each code becomes a run; the last of them is the one at hand from then on.
    // Gives their bytes: 0, and nothing has happened, if there are none or they go beyond the
    // window.
    VOR_AVX2_INLINE ptrdiff_t take_turns(const uint8_t *at, const uint8_t *end) {
        if (!two_colours && !identity_) return 0;
        const __m256i bits = Turns<Code>::colour_bits(second_ == 0);
        __m256i colours = _mm256_setzero_si256();
        if constexpr (two_colours) colours = load256(room_->turns + (second_ ^ 1));
        lfrun *const first = slot();
        lfrun *next = order == Order::forward ? first + 1 : first - 1;
        const ptrdiff_t most = std::min((end - at) / block_bytes, most_turns);
        __m256i sums = _mm256_setzero_si256(); // in lanes of 64 bits
        ptrdiff_t taken = 0;
        for (; taken < most; ++taken) {
            const Turns<Code> turns(at + taken * block_bytes, bits);
            if (!turns.hold()) break;
            sums = _mm256_add_epi64(sums, turns.sums());
            turns.template store<order>(next, colours);
            next += order == Order::forward ? block_codes : -block_codes;
        }
        const uint32_t length = sum_of(sums);
        if (taken == 0 || length > window_ - passed_) return 0;
        *first = {end_at_hand() - begin_, colour_at_hand() & colour_code_mask};
        const ptrdiff_t bytes = taken * block_bytes;
        const uint8_t *const last = at + bytes - Code::bytes;
        passed_ += length;
        begin_ = passed_ - Code::length(last);
        if constexpr (!two_colours) colour_ = Code::colour(last, palette_);
        completed_ += static_cast<size_t>(taken * block_codes);
        return bytes;
    }

    // ---- groups of eight codes ----

    // Takes blocks, up to the first that holds a zero code or goes beyond the window. It notes
    // where runs begin, and makes runs of that at the end. Gives the blocks' bytes.
    VOR_AVX2_INLINE ptrdiff_t take_blocks(const uint8_t *at, const uint8_t *end) {
        const uint32_t first_second = second_;
        begun_ = 0;
        room_->begin[0] = begin_;
        const ptrdiff_t most = std::min((end - at) / block_bytes, most_blocks);
        if constexpr (!two_colours) {
            room_->colour[0] = colour_;
            look_up(at, most * block_codes);
        }
        ptrdiff_t taken = 0;
        while (taken < most &&
               take_block(at + taken * block_bytes,
                          room_->looked_up + (two_colours ? 0 : taken * block_codes)))
            ++taken;
        if constexpr (!two_colours && D::one_to_one)
            colour_ = room_->looked_up[taken * block_codes];
        make_runs(first_second);
        return taken * block_bytes;
    }

    // `colours`, which begin with the one before the block, have been looked up. False, and nothing
    // happens, if the block at `at` is not to be taken.
    VOR_AVX2_INLINE bool take_block(const uint8_t *at, const uint32_t *colours) {
        const Block<Code> block(at);
        if (block.has_zero()) return false;
        const uint32_t length = block.sum();
        if (length > window_ - passed_) return false;
        __m256i passed = every(passed_);
        passed_ += length;
        if constexpr (D::one_to_one) {
            if (continues(block, colours)) return true;
        }
        for (uint32_t i = 0; i < block.codes; i += 8) {
            const uint8_t *eight = at + i * Code::bytes;
            if constexpr (two_colours)
                take_two_colours(eight, block.seconds >> i & 0xFF, &passed);
            else
                take_colours(eight, colours + i, &passed);
        }
        return true;
    }

    // Whether all codes of a block belong to the run at hand.
    VOR_AVX2_INLINE bool continues(const Block<Code> &block, const uint32_t *colours) const {
        if constexpr (two_colours) {
            return (block.seconds ^ (block.seconds << 1 | second_)) == 0;
        } else {
            const __m256i first = _mm256_xor_si256(load256(colours), load256(colours + 1));
            const __m256i second = _mm256_xor_si256(load256(colours + 8), load256(colours + 9));
            const __m256i changes = _mm256_or_si256(first, second);
            return _mm256_testz_si256(changes, changes) != 0;
        }
    }

    // The positions in the output that eight codes begin at; `pieces` gets the set of those that do
    // not come out empty.
    VOR_AVX2_INLINE __m256i begins_of(__m256i lengths, __m256i *passed, uint32_t *pieces) {
        const __m256i sums = _mm256_add_epi32(running_sums(lengths), *passed);
        *passed = last_lane_everywhere(sums);
        *pieces = 0xFF;
        if constexpr (D::one_to_one) {
            return _mm256_sub_epi32(sums, lengths);
        } else {
            const __m256i ends = scale_.at(sums);
            const __m256i begins = shift_in(ends, ends_);
            ends_ = ends;
            *pieces ^= equal_lanes(begins, ends);
            return begins;
        }
    }

    // The runs' colours alternate: only where they change needs to be known.
    VOR_AVX2_INLINE void take_two_colours(const uint8_t *at, uint32_t seconds, __m256i *passed) {
        uint32_t pieces;
        const __m256i begins = begins_of(Block<Code>::eight_lengths(at), passed, &pieces);
        uint32_t changes;
        if constexpr (D::one_to_one) {
            changes = (seconds ^ (seconds << 1 | second_)) & 0xFF;
            second_ = seconds >> 7;
        } else {
            const uint32_t packed = _pext_u32(seconds, pieces);
            const uint32_t with_last = packed << 1 | second_;
            changes = _pdep_u32(packed ^ with_last, pieces);
            second_ = with_last >> lanes_in(pieces) & 1;
        }
        store256(room_->begin + 1 + begun_, gather_lanes(begins, changes));
        begun_ += lanes_in(changes);
    }

    // `before` are the colours of the eight codes that begin one code before these.
    VOR_AVX2_INLINE void take_colours(const uint8_t *at, const uint32_t *before, __m256i *passed) {
        uint32_t pieces;
        const __m256i begins = begins_of(Block<Code>::eight_lengths(at), passed, &pieces);
        const __m256i colours = load256(before + 1);
        uint32_t changes;
        if constexpr (D::one_to_one)
            changes = ~equal_lanes(colours, load256(before)) & 0xFF;
        else
            changes = changes_of_pieces(colours, pieces);
        const __m256i changed = lanes_of(changes);
        store256(room_->begin + 1 + begun_, _mm256_permutevar8x32_epi32(begins, changed));
        store256(room_->colour + 1 + begun_, _mm256_permutevar8x32_epi32(colours, changed));
        begun_ += lanes_in(changes);
    }

    // The pieces that have another colour than the piece before.
    VOR_AVX2_INLINE uint32_t changes_of_pieces(__m256i colours, uint32_t pieces) {
        const __m256i packed = gather_lanes(colours, pieces);
        const __m256i before = shift_in(packed, every(colour_));
        uint32_t lanes[9];
        lanes[0] = colour_;
        store256(lanes + 1, packed);
        colour_ = lanes[lanes_in(pieces)];
        return _pdep_u32(~equal_lanes(packed, before), pieces);
    }

    // Notes the colours of `count` codes, a multiple of 16, behind the one at hand.
    VOR_AVX2_INLINE void look_up(const uint8_t *at, ptrdiff_t count) {
        constexpr ptrdiff_t size = Code::bytes;
        uint32_t *const to = room_->looked_up;
        to[0] = colour_;
        if (identity_) {
            for (ptrdiff_t i = 0; i < count; i += 8) {
                const void *eight = at + i * size;
                const __m128i codes = _mm_loadu_si128(static_cast<const __m128i *>(eight));
                store256(to + 1 + i, _mm256_cvtepu16_epi32(_mm_srli_epi16(codes, 8)));
            }
            return;
        }
        // One by one, which is quicker than a gathering load.
        for (ptrdiff_t i = 0; i < count; ++i)
            to[1 + i] = palette_.table[at[i * size + 1]];
    }

    // Each run but the last of those begun ends where the next one begins. `first_second`: of two
    // colours, the first run has the second.
    VOR_AVX2_INLINE void make_runs(uint32_t first_second) {
        const uint32_t *const begin = room_->begin;
        lfrun *to = slot();
        for (uint32_t i = 0; i < begun_; i += 8, to += order == Order::forward ? 8 : -8) {
            const __m256i lengths = _mm256_sub_epi32(load256(begin + i + 1), load256(begin + i));
            __m256i colours;
            if constexpr (two_colours)
                colours = load256(room_->turns + first_second);
            else
                colours = load256(room_->colour + i);
            store_runs<order>(to, lengths, colours);
        }
        begin_ = begin[begun_];
        completed_ += begun_;
    }

    Scale scale_;
    // The run at hand: where it begins in the output and, if that is not what has passed, where it
    // ends; and its colour, of two colours whether it is the second.
    __m256i ends_; // in the highest lane
    uint32_t colour_;
    uint32_t begin_;
    uint32_t second_ = 0;

    D *decoder_;
    typename Code::Palette palette_;
    lfrun *slot_;
    size_t completed_ = 0;
    uint32_t passed_;
    uint32_t window_;
    Room *room_;
    uint32_t begun_ = 0;    // runs noted in the room, the one at hand not counted
    bool identity_ = false; // every number is its own colour
};

template <class D>
VOR_AVX2 void decode_avx2(D *decoder, const uint8_t *&at, const uint8_t *end) {
    const auto hand = decoder->runs.at_hand();
    const size_t room = decoder->runs.room();
    if (hand.begin == hand.end || room <= BulkDecoder<D>::spare) return;
    if (!VectorScale<D::one_to_one>::serves(decoder->scale)) return;
    const size_t bytes = (room - BulkDecoder<D>::spare) * D::Unit::bytes;
    if (static_cast<size_t>(end - at) > bytes) end = at + bytes;
    typename BulkDecoder<D>::Room memory;
    BulkDecoder<D>(decoder, &memory).decode(at, end);
}

} // namespace

template <class D>
BulkDecode<D> bulk_decode() {
    return os::cpu_has_avx2() ? decode_avx2<D> : nullptr;
}

} // namespace vor

#else

namespace vor {

template <class D>
BulkDecode<D> bulk_decode() {
    return nullptr;
}

} // namespace vor

#endif

namespace vor {

bool bulk_allowed = true;

#define VOR_BULK(Code, Scale)                                                                      \
    template BulkDecode<Decoder<Code, Scale, Order::forward>> bulk_decode();                       \
    template BulkDecode<Decoder<Code, Scale, Order::reversed>> bulk_decode();
VOR_BULK(Fw8, OneToOne)
VOR_BULK(Fw8, Rescaled)
VOR_BULK(Fw16, OneToOne)
VOR_BULK(Fw16, Rescaled)
VOR_BULK(Fw88, OneToOne)
VOR_BULK(Fw88, Rescaled)
#undef VOR_BULK

} // namespace vor
