// The readers' inner loop in vectors of 256 bits.
//
// A group of eight codes becomes eight positions: the sums of their lengths, scaled. A piece begins
// where the one before it ends, pieces that came out empty fall away, and of the others those that
// change the colour complete a run. The positions where that happens are moved together by a
// permutation that a table gives for each set of lanes; a run's length is the distance of two of
// them. No branch depends on the data.
//
// Where no code is scaled away and all neighbours differ, which is the rule in most tracks, each
// code is a run of its own: then the codes are spread out as they stand (avx2_turns.h).
//
// Runs are stored by vectors, so that some places behind the last run are written to as well: the
// caller has room for them.

#include "codecs/fixed_decoder.h"

#include <type_traits>

#include "platform/cpu.h"

#ifdef VOR_AVX2_KERNELS

#include "codecs/avx2_blocks.h"
#include "codecs/avx2_turns.h"

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
    static constexpr ptrdiff_t unit = Code::bytes;
    static constexpr ptrdiff_t block_codes = Block<Code>::codes;
    static constexpr ptrdiff_t block_bytes = block_codes * unit;
    static constexpr bool two_colours = std::is_base_of_v<TwoColours, Code>;
    using Scale = VectorScale<D::one_to_one>;
    // Whether lengths and colours have 16 bits each from the code to the run.
    static constexpr bool in_words = !two_colours && D::one_to_one;
    // Blocks that are worked on together. In those that are no turns the next may be.
    static constexpr ptrdiff_t most_blocks = in_words ? 16 : 8;

public:
    // What may be written behind the runs that count.
    static constexpr size_t spare = D::one_to_one ? size_t{Turns<Code>::codes} : 8;

    // What is worked with in memory.
    struct Room {
        static constexpr auto begins = static_cast<size_t>(most_blocks * block_codes + 1);

        uint32_t turns[16]; // the two colours in turn
        // What four codes of turns differ by from runs, by the colour before them.
        uint64_t differences[2][4];
        // Where runs begin in the output, and their colours: the one at hand, and those behind it.
        uint32_t begin[begins + 8];
        uint32_t colour[two_colours ? 1 : begins + 8];
        // The colours of the codes and of the one before them.
        std::conditional_t<in_words, uint16_t, uint32_t> looked_up[two_colours ? 1 : begins];
    };

    VOR_AVX2_INLINE explicit BulkDecoder(D *decoder, Room *room)
        : scale_(decoder->scale), decoder_(decoder), palette_(decoder->palette),
          slot_(decoder->runs.next_slot()), passed_(static_cast<uint32_t>(decoder->passed)),
          window_(static_cast<uint32_t>(decoder->window)), room_(room) {
        const auto hand = decoder->runs.at_hand();
        begin_ = hand.begin;
        ends_ = every(hand.end);
        colour_ = hand.colour;
        note_differences();
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
        while (at != end) {
            ptrdiff_t bytes = 0;
            if constexpr (D::one_to_one) bytes = take_turns(at, end);
            if (bytes == 0) bytes = take_blocks(at, end);
            if constexpr (D::one_to_one)
                if (bytes == 0) bytes = take_last_turns(at, end);
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

    // The colours stand above the lengths; the second one has its bit there too.
    VOR_AVX2_INLINE void note_differences() {
        __m256i first_clear = _mm256_setzero_si256(), first_set = first_clear;
        if constexpr (two_colours) {
            const int clear = palette_.clear & colour_code_mask;
            const int set = palette_.set & colour_code_mask;
            constexpr int bit = Code::limit + 1;
            first_clear = _mm256_setr_epi32(0, clear, bit, set, 0, clear, bit, set);
            first_set = _mm256_setr_epi32(bit, set, 0, clear, bit, set, 0, clear);
        }
        constexpr size_t forward = order == Order::forward;
        store256(room_->differences[1 - forward], first_set);
        store256(room_->differences[forward], first_clear);
    }

    VOR_AVX2_INLINE lfrun *slot() const {
        const auto completed = static_cast<ptrdiff_t>(completed_);
        return order == Order::forward ? slot_ + completed : slot_ - completed;
    }

    // The place behind the run at hand.
    VOR_AVX2_INLINE lfrun *slot_behind() const {
        return order == Order::forward ? slot() + 1 : slot() - 1;
    }

    // ---- codes that are all runs ----

    // How many times 64 bytes of turns are summed before the sum is held against the window. Where
    // they went beyond it, it is once from then on.
    static constexpr ptrdiff_t most_turns = 16;

    // Takes codes each of which has another colour than the one before it. The run at hand is
    // completed, and each code becomes a run; the last of them is the one at hand from then on.
    // Gives their bytes: 0, and nothing has happened, if there are none or they go beyond the
    // window.
    VOR_AVX2_INLINE ptrdiff_t take_turns(const uint8_t *at, const uint8_t *end) {
        if (end - at < Turns<Code>::bytes) return take_last_turns(at, end);
        if (!two_colours && !identity_) return 0;
        const __m256i bits = TurnVector<Code>::colour_bits(second_ == 0);
        const __m256i differences = load256(room_->differences[second_]);
        lfrun *next = slot_behind();
        const ptrdiff_t most = std::min((end - at) / Turns<Code>::bytes, most_turns_);
        __m256i sums = _mm256_setzero_si256();
        ptrdiff_t taken = 0;
        for (; taken < most; ++taken) {
            const uint8_t *const from = at + taken * Turns<Code>::bytes;
            const Turns<Code> turns(from, bits);
            if (!turns.hold()) break;
            sums = _mm256_add_epi32(sums, turns.sums());
            store_turns<Code, order>(next, from, differences);
            next += order == Order::forward ? turns.codes : -turns.codes;
        }
        if (taken == 0) return 0;
        const uint32_t length = sum_of(sums);
        if (length > window_ - passed_) {
            most_turns_ = 1;
            return 0;
        }
        return took_turns(at, taken * Turns<Code>::codes, length);
    }

    // Takes the turns in front of a zero code or of the end, if those are less than 64 bytes.
    VOR_AVX2_INLINE ptrdiff_t take_last_turns(const uint8_t *at, const uint8_t *end) {
        if (!two_colours && !identity_) return 0;
        uint8_t copy[unit + Turns<Code>::bytes] = {};
        const uint8_t *codes = at;
        if (end - at < Turns<Code>::bytes) {
            std::memcpy(copy, at - unit, static_cast<size_t>(end - at + unit));
            codes = copy + unit;
        }
        const Turns<Code> turns(codes, TurnVector<Code>::colour_bits(second_ == 0));
        const ptrdiff_t count = turns.holding();
        if (count == 0 || count == turns.codes || Code::length(codes + count * unit) != 0) return 0;
        const uint32_t length = sum_of(turns.sums_of_first(count));
        if (length > window_ - passed_) return 0;
        store_turns<Code, order>(slot_behind(), codes, load256(room_->differences[second_]));
        return took_turns(at, count, length);
    }

    VOR_AVX2_INLINE bool are_turns(const uint8_t *at, const uint8_t *end) const {
        if constexpr (!D::one_to_one) return false;
        if (!two_colours && !identity_) return false;
        return end - at >= Turns<Code>::bytes &&
               Turns<Code>(at, TurnVector<Code>::colour_bits(second_ == 0)).hold();
    }

    // `count` turns at `at`, `length` pixels together, have been stored behind the run at hand,
    // which has yet to be.
    VOR_AVX2_INLINE ptrdiff_t took_turns(const uint8_t *at, ptrdiff_t count, uint32_t length) {
        *slot() = {end_at_hand() - begin_, colour_at_hand() & colour_code_mask};
        const ptrdiff_t bytes = count * unit;
        const uint8_t *const last = at + bytes - unit;
        passed_ += length;
        begin_ = passed_ - Code::length(last);
        if constexpr (two_colours)
            second_ ^= static_cast<uint32_t>(count) & 1;
        else
            colour_ = Code::colour(last, palette_);
        completed_ += static_cast<size_t>(count);
        return bytes;
    }

    // ---- blocks of any codes ----

    // Takes blocks, up to the first that holds a zero code, goes beyond the window or is one of
    // turns. Gives their bytes.
    VOR_AVX2_INLINE ptrdiff_t take_blocks(const uint8_t *at, const uint8_t *end) {
        const ptrdiff_t most = std::min((end - at) / block_bytes, most_blocks);
        if (most == 0) return 0;
        begin_blocks(at, most);
        ptrdiff_t taken = 0;
        while (taken < most && (taken == 0 || !are_turns(at + taken * block_bytes, end)) &&
               take_block(at + taken * block_bytes, taken))
            ++taken;
        make_runs();
        return taken * block_bytes;
    }

    // Where runs begin is noted, and runs are made of that at the end.
    VOR_AVX2_INLINE void begin_blocks(const uint8_t *at, ptrdiff_t count) {
        begun_ = 0;
        start_ = passed_;
        first_second_ = second_;
        room_->begin[0] = in_words ? colour_ : begin_;
        if constexpr (!two_colours) {
            room_->colour[0] = colour_;
            look_up(at, count * block_codes);
        }
    }

    // False, and nothing happens, if the block at `at`, the number `index` of those begun, is not
    // to be taken.
    VOR_AVX2_INLINE bool take_block(const uint8_t *at, ptrdiff_t index) {
        const Block<Code> block(at);
        if (block.has_zero()) return false;
        if constexpr (in_words) {
            return take_words(block, room_->looked_up + index * block_codes);
        } else {
            const uint32_t length = block.sum();
            if (length > window_ - passed_) return false;
            __m256i passed = every(passed_);
            passed_ += length;
            if constexpr (two_colours)
                take_two_colours(at, block.seconds, &passed);
            else
                take_colours(at, room_->looked_up + index * block_codes + 1, &passed);
            return true;
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
        if constexpr (D::one_to_one) {
            // All of them may belong to the run at hand.
            if ((seconds ^ (seconds << 1 | second_)) == 0) return;
        }
        for (uint32_t i = 0; i < block_codes; i += 8) {
            uint32_t pieces;
            const __m256i lengths = Block<Code>::eight_lengths(at + i * Code::bytes);
            const __m256i begins = begins_of(lengths, passed, &pieces);
            note_begins(begins, changes_of_two(seconds >> i & 0xFF, pieces));
        }
    }

    // The pieces that have another colour than the piece before.
    VOR_AVX2_INLINE uint32_t changes_of_two(uint32_t seconds, uint32_t pieces) {
        if constexpr (D::one_to_one) {
            const uint32_t changes = (seconds ^ (seconds << 1 | second_)) & 0xFF;
            second_ = seconds >> 7;
            return changes;
        }
        const uint32_t packed = _pext_u32(seconds, pieces);
        const uint32_t with_last = packed << 1 | second_;
        second_ = with_last >> lanes_in(pieces) & 1;
        return _pdep_u32(packed ^ with_last, pieces);
    }

    VOR_AVX2_INLINE void note_begins(__m256i begins, uint32_t changes) {
        store256(room_->begin + 1 + begun_, gather_lanes(begins, changes));
        begun_ += lanes_in(changes);
    }

    template <class Colour>
    VOR_AVX2_INLINE void take_colours(const uint8_t *at, const Colour *looked_up, __m256i *passed) {
        for (uint32_t i = 0; i < block_codes; i += 8) {
            uint32_t pieces;
            const __m256i lengths = Block<Code>::eight_lengths(at + i * Code::bytes);
            const __m256i begins = begins_of(lengths, passed, &pieces);
            const __m256i colours = load256(looked_up + i);
            const uint32_t changes = changes_of_pieces(colours, pieces);
            store256(room_->colour + 1 + begun_, gather_lanes(colours, changes));
            note_begins(begins, changes);
        }
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
        auto *const to = room_->looked_up;
        to[0] = static_cast<uint16_t>(colour_);
        if (identity_) {
            for (ptrdiff_t i = 0; i < count; i += 8) {
                const void *eight = at + i * unit;
                const __m128i codes = _mm_loadu_si128(static_cast<const __m128i *>(eight));
                const __m128i colours = _mm_srli_epi16(codes, 8);
                if constexpr (in_words)
                    _mm_storeu_si128(reinterpret_cast<__m128i *>(to + 1 + i), colours);
                else
                    store256(to + 1 + i, _mm256_cvtepu16_epi32(colours));
            }
            return;
        }
        // One by one, which is quicker than a gathering load.
        for (ptrdiff_t i = 0; i < count; ++i)
            to[1 + i] = palette_.table[at[i * unit + 1]];
    }

    // Each run but the last of those begun ends where the next one begins.
    VOR_AVX2_INLINE void make_runs() {
        if constexpr (in_words) return make_runs_of_words();
        const uint32_t *const begin = room_->begin;
        lfrun *to = slot();
        for (uint32_t i = 0; i < begun_; i += 8, to += order == Order::forward ? 8 : -8) {
            const __m256i lengths = _mm256_sub_epi32(load256(begin + i + 1), load256(begin + i));
            __m256i colours;
            if constexpr (two_colours)
                colours = load256(room_->turns + first_second_);
            else
                colours = load256(room_->colour + i);
            store_runs<order>(to, lengths, colours);
        }
        begin_ = begin[begun_];
        completed_ += begun_;
    }

    // ---- blocks of many colours, one to one ----

    // Begins are counted from the first of the blocks, which keeps them below 2^16: a lane of 32
    // bits holds the begin of a run above its colour. `before`: the colours, from the code before
    // the block on.
    VOR_AVX2_INLINE bool take_words(const Block<Code> &block, const uint16_t *before) {
        static_assert(!in_words || most_blocks * block_codes * Code::limit <= UINT16_MAX);
        const __m256i ends = running_word_sums(block.lengths);
        const auto length = static_cast<uint32_t>(_mm256_extract_epi16(ends, 15));
        if (length > window_ - passed_) return false;
        const __m256i colours = load256(before + 1);
        const uint32_t changes = ~equal_words(colours, load256(before)) & 0xFFFF;
        const auto passed = static_cast<int16_t>(passed_ - start_);
        passed_ += length;
        if (changes == 0) return true;
        const __m256i begins =
            _mm256_add_epi16(_mm256_sub_epi16(ends, block.lengths), _mm256_set1_epi16(passed));
        const __m256i low = _mm256_permute4x64_epi64(colours, 0xD8);
        const __m256i high = _mm256_permute4x64_epi64(begins, 0xD8);
        note_begins(_mm256_unpacklo_epi16(low, high), changes & 0xFF);
        note_begins(_mm256_unpackhi_epi16(low, high), changes >> 8);
        return true;
    }

    VOR_AVX2_INLINE void make_runs_of_words() {
        if (begun_ == 0) return;
        const uint32_t *const begin = room_->begin;
        lfrun *const first = slot();
        lfrun *to = first;
        for (uint32_t i = 0; i < begun_; i += 8, to += order == Order::forward ? 8 : -8) {
            const __m256i here = load256(begin + i), next = load256(begin + i + 1);
            const __m256i lengths =
                _mm256_sub_epi32(_mm256_srli_epi32(next, 16), _mm256_srli_epi32(here, 16));
            store_runs<order>(to, lengths, _mm256_and_si256(here, every(colour_code_mask)));
        }
        first->length += start_ - begin_;
        begin_ = start_ + (begin[begun_] >> 16);
        colour_ = begin[begun_] & colour_code_mask;
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
    ptrdiff_t most_turns_ = most_turns;
    // Of the blocks being taken: where they begin in the window; of two colours, whether the run
    // at hand then had the second; runs noted in the room, the one at hand not counted.
    uint32_t start_ = 0;
    uint32_t first_second_ = 0;
    uint32_t begun_ = 0;
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
