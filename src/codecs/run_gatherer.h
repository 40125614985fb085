// Joins the pieces that a reader decodes to runs in a track buffer.
//
// A piece is told by the output pixel it ends at, so one that came out empty changes nothing. The
// run at hand stays in registers until a piece of another colour begins. Forward readers fill the
// units 1 to `size` of the storage, behind the front guard; reversed ones go from unit size - 1
// down to 0, so that the finished list reads in mirrored order.
#ifndef VOR_CODECS_RUN_GATHERER_H
#define VOR_CODECS_RUN_GATHERER_H

#include <cstddef>
#include <cstdint>

#include "trackfile/lf.h"

namespace vor {

enum class Order { forward, reversed };

// What a caller knows about the room: enough for this piece, or nothing.
enum class Room { known, tested };

// A colour of a piece: the colour code in the low 16 bits; what stands above only keeps runs apart.
constexpr uint32_t colour_code_mask = 0xFFFF;

template <Order order>
class RunGatherer {
public:
    explicit RunGatherer(const trackbuf *t) : base_(t->base), room_(t->base ? t->size : 0) {}

    // Pieces that surely find room.
    size_t room() const { return room_ - count_; }

    // Output pixels taken so far.
    uint32_t pixels() const { return end_; }

    // Takes the piece up to output pixel `end`. False if it completes a run that has no room; then
    // nothing has changed.
    template <Room room = Room::tested>
    bool add(uint32_t end, uint32_t colour) {
        return take<room>(end, colour, (end != end_) & (colour != colour_));
    }

    // Takes a piece that begins a run, whatever its colour.
    bool start(uint32_t end, uint32_t colour) {
        return take<Room::tested>(end, colour, end != end_);
    }

    // Completes the last run. False if it has no room.
    bool finish() { return take<Room::tested>(end_, 0, true); }

    // For those that make many runs at a time: the run at hand, from output pixel `begin` to `end`;
    // where the next completed run goes; and what was added. Forward runs follow upwards from
    // next_slot, reversed ones downwards.
    struct AtHand {
        uint32_t begin;
        uint32_t end;
        uint32_t colour;
    };
    AtHand at_hand() const { return {begin_, end_, colour_}; }
    lfrun *next_slot() const { return base_ + slot(); }
    // Pieces to take, 1 to 4, so that of those behind them, if all are runs, every four fill 32
    // aligned bytes: stores across cache lines take three times as long.
    ptrdiff_t pieces_to_aligned() const {
        const auto at = reinterpret_cast<uintptr_t>(next_slot()) / sizeof(lfrun);
        const bool any_at_hand = begin_ != end_;
        const auto pieces =
            order == Order::forward ? 4 - (at + any_at_hand) % 4 : 1 + (at - any_at_hand) % 4;
        return static_cast<ptrdiff_t>(pieces);
    }
    void added(size_t completed, const AtHand &now) {
        count_ += completed;
        begin_ = now.begin;
        end_ = now.end;
        colour_ = now.colour;
    }

    // Hands the completed runs over.
    void publish(trackbuf *t) const {
        t->nruns = static_cast<int32_t>(count_);
        t->data = base_;
        if (base_) t->data += order == Order::forward ? 1 : room_ - count_;
    }

private:
    template <Room room>
    bool take(uint32_t end, uint32_t colour, bool begins) {
        const bool completes = begins & (end_ != begin_);
        if (room == Room::known || count_ != room_) {
            // Stored at every piece, completed or not: that is cheaper than to guess which.
            base_[slot()] = {end_ - begin_, colour_ & colour_code_mask};
        } else if (completes) {
            return false;
        }
        count_ += completes;
        begin_ = begins ? end_ : begin_;
        colour_ = begins ? colour : colour_;
        end_ = end;
        return true;
    }

    size_t slot() const { return order == Order::forward ? 1 + count_ : room_ - 1 - count_; }

    lfrun *base_;
    size_t room_;
    size_t count_ = 0;
    uint32_t begin_ = 0; // the run at hand, in output pixels
    uint32_t end_ = 0;
    uint32_t colour_ = 0;
};

} // namespace vor

#endif
