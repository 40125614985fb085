// The rows of tracks: a code each, of a deflated track its stream and then the codes that come out
// of it. A track is decoded twice, first for what is to be said of it as a whole, so that the codes
// of a long one need not be held.

#include "explain_tracks.h"

#include <algorithm>

#include "interrupt.h"
#include "report.h"

namespace vor::tool {
namespace {

std::vector<uint8_t> image_of(const TrackShape &shape, const TrackCode &code) {
    const auto length = static_cast<uint32_t>(code.length);
    const auto bit = code.colour != 0 ? 1U : 0U;
    if (shape.coding == VT_FW8) return {static_cast<uint8_t>(length | bit << 7U)};
    if (shape.coding == VT_FW88) {
        return {static_cast<uint8_t>(length), static_cast<uint8_t>(code.colour)};
    }
    const uint32_t word = length | bit << 15U;
    const auto low = static_cast<uint8_t>(word);
    const auto high = static_cast<uint8_t>(word >> 8U);
    if (shape.order == ByteOrder::little) return {low, high};
    return {high, low};
}

std::string track_text(const DecodedTrack &track) {
    return counted(track.codes, "code", "codes") + ", " + counted(track.pixels, "pixel", "pixels");
}

// The rows of a track's codes, of many the first and the last.
class CodeRows {
public:
    CodeRows(RowWriter *writer, const TrackShape &shape, RowAmount amount, int64_t codes)
        : writer_(writer), shape_(shape), codes_(codes), told_(first_of(amount, codes)) {}

    void add(const TrackCode &code) {
        stop_if_interrupted();
        if (number_ < told_ || number_ + 1 == codes_) writer_->row_of(row_of(code));
        if (++number_ == told_) writer_->more(codes_ - told_ - 1, "codes");
        pixels_ += code.length;
    }

private:
    static int64_t first_of(RowAmount amount, int64_t codes) {
        return std::max<int64_t>(amount.of(codes - 1), 0);
    }

    Row row_of(const TrackCode &code) const {
        Row row(code.offset, code_bytes(shape_.coding),
                format("code %lld", static_cast<long long>(number_)));
        row.image = image_of(shape_, code);
        if (code.length == 0) {
            row.value = std::string("end");
            row.meaning = format("of %lld pixels", static_cast<long long>(pixels_));
            row.damaged = pixels_ != shape_.pixels;
            return row;
        }
        row.value = format("%d of %d", code.length, code.colour);
        const auto first = static_cast<long long>(pixels_);
        row.meaning = code.length == 1
                          ? format("pixel %lld", first)
                          : format("pixels %lld to %lld", first, first + code.length - 1);
        row.damaged = pixels_ + code.length > shape_.pixels;
        return row;
    }

    RowWriter *writer_;
    const TrackShape &shape_;
    int64_t codes_;
    int64_t told_; // at the front
    int64_t number_ = 0;
    int64_t pixels_ = 0;
};

// Of the codes that a visitor sees.
int64_t seen_codes(const DecodedTrack &track) {
    return track.fault_code < 0 ? track.codes : track.fault_code + 1;
}

void add_stream_head(RowWriter *writer, const DecodedTrack &track) {
    const auto head = writer->file().at(track.offset, 2);
    if (head.size() < 2) return;
    Row row(track.offset, 2, "head", track.words, track.fault == TrackFault::stream_head);
    if (!row.damaged) {
        row.meaning = format("deflate, window of %d bytes, level %d of 0 to 3",
                             256 << (head[0] >> 4), head[1] >> 6);
    }
    const int value = head[0] << 8 | head[1];
    row.value = int64_t{value};
    row.shown = format("0x%04X", value);
    writer->row(std::move(row));
}

void add_checksum(RowWriter *writer, const DecodedTrack &track) {
    Row row(track.end() - 4, 4, "checksum", "Adler-32, fits");
    row.value = int64_t{track.adler_found};
    row.shown = format("0x%08X", track.adler_found);
    row.damaged = track.adler_found != track.adler_expected;
    if (row.damaged) {
        row.meaning = format("Adler-32, does not fit: the data has 0x%08X", track.adler_expected);
    }
    writer->row(std::move(row));
}

void add_stream(RowWriter *writer, const DecodedTrack &track) {
    add_stream_head(writer, track);
    const int64_t data = track.ended ? track.data_bytes : track.bytes - 2;
    if (data > 0) {
        writer->row({track.offset + 2, data, "data",
                     counted(data, "byte", "bytes") + " of deflate data, unpacked " +
                         counted(track.unpacked, "byte", "bytes"),
                     !track.ended});
    }
    if (track.ended) add_checksum(writer, track);
}

// The stream's head and its checksum tell of themselves.
bool has_told_itself(TrackFault fault) {
    return fault == TrackFault::none || fault == TrackFault::stream_head ||
           fault == TrackFault::stream_checksum;
}

} // namespace

TrackExplainer::TrackExplainer(RowWriter *writer, bool quiet)
    : writer_(writer), places_(writer->file(), writer->layout(), quiet),
      shape_(shape_of(writer->layout())), decoder_(writer->file(), shape_) {}

bool TrackExplainer::explain(int64_t number, RowAmount amount) {
    const TrackPlace place = places_.find(number);
    switch (place.kind) {
    case TrackPlace::Kind::data:
        explain_data(number, place.offset, amount);
        return true;
    case TrackPlace::Kind::blank:
        writer_->begin_part(
            {"track", std::nullopt, 0, format("blank, of colour %d", place.colour), number});
        return true;
    default:
        writer_->begin_part({"track", std::nullopt, 0, "cannot be found", number});
        writer_->remark(place.offset, "fault", place.why);
        return place.kind == TrackPlace::Kind::unknown;
    }
}

// Gives where the track's data ends.
int64_t TrackExplainer::explain_data(int64_t number, int64_t offset, RowAmount amount) {
    if (told_.holds(offset)) {
        writer_->begin_part({"track", offset, 0, "in the data of a track above", number});
        writer_->remark(offset, "overlap", "has bytes in common with a track above");
        return offset;
    }
    const int64_t limit = std::min(writer_->layout().file_bytes, told_.next(offset));
    const DecodedTrack track = decoder_.decode(offset, limit);
    if (track.bytes > 0) told_.add(offset, track.end());
    writer_->begin_part({"track", offset, track.bytes, track_text(track), number});
    if (shape_.deflated) add_stream(writer_, track);
    if (!shape_.deflated) add_codes(offset, limit, amount, track);
    tell_fault(track, limit);
    if (shape_.deflated && track.codes > 0 && !writer_->only()) {
        writer_->begin_part({"unpacked track", 0, track.unpacked, "", number, true});
        add_codes(offset, limit, amount, track);
    }
    return track.end();
}

void TrackExplainer::add_codes(int64_t offset, int64_t limit, RowAmount amount,
                               const DecodedTrack &track) {
    CodeRows rows(writer_, shape_, amount, seen_codes(track));
    decoder_.decode(offset, limit, [&](const TrackCode &code) { rows.add(code); });
}

void TrackExplainer::tell_fault(const DecodedTrack &track, int64_t limit) {
    if (!track.ended && track.end() == limit && limit < writer_->layout().file_bytes) {
        writer_->remark(limit, "overlap", "runs into the data of a track above");
    } else if (!has_told_itself(track.fault)) {
        writer_->remark(track.fault_offset, "fault", track_fault_text(track));
    }
    const int64_t border = track_limit(writer_->layout(), track.offset);
    if (track.end() > border) {
        writer_->remark(border, "overlap", "the track goes beyond the begin of a section");
    }
}

void TrackExplainer::explain_around(int64_t offset) {
    const TrackAround around = places_.around(offset);
    int64_t begin = around.begin;
    if (around.track) begin = explain_data(*around.track, begin, {true});
    if (writer_->told() || offset >= writer_->layout().tracks_end) return;
    writer_->begin_part({"unused", begin, around.next - begin});
    writer_->row(
        {begin, around.next - begin, "",
         around.all_known ? "belongs to no track" : "belongs to no track that can be found",
         !around.all_known});
}

} // namespace vor::tool
