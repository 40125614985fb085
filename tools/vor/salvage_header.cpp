#include "salvage_header.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <span>
#include <utility>

#include "report.h"
#include "salvage_walk.h"

namespace vor::tool {
namespace {

using HeaderBytes = std::array<uint8_t, VOR_HDRSIZE>;

// A sum of pixels that one damaged track may have by chance.
constexpr int32_t convincing_count = 2;

// The header's number of pixels stands unless another sum is found so many times as often.
constexpr int32_t outvoted = 2;

// How much of a file is read in each possible coding.
constexpr int64_t compared_bytes = 1 << 24;

uint32_t word_at(const HeaderBytes &bytes, size_t offset, ByteOrder order) {
    return number_at<uint32_t>(bytes.data() + offset, order);
}

bool is_size(uint32_t value) {
    return value >= 1 && value <= INT32_MAX;
}

struct Evidence {
    TrackShape shape;
    int64_t best_sum = 0;
    int32_t best = 0;    // tracks of that sum
    int32_t claimed = 0; // tracks of the sum in the header
    int64_t bytes = 0;   // of the tracks of the best sum
    int64_t claimed_bytes = 0;

    // What is read in a wrong coding falls to pieces, few of which add up to the same.
    int64_t rank() const { return std::max(bytes, outvoted * claimed_bytes); }
};

// Puts one header right, field by field.
class Mender {
public:
    Mender(FileBytes &file, const HeaderWishes &wishes) : file_(file), wishes_(wishes) {
        if (file.copy(0, bytes_) < bytes_.size()) {
            throw Failure(file.name(), "is too short for a native file");
        }
    }

    MendedHeader mend();

private:
    std::optional<ByteOrder> order_of_type() const;
    std::optional<ByteOrder> order_of_witness() const;
    void settle_order();
    void settle_shape();
    void settle_pixels();
    void settle_tracks();
    void settle_resolution();

    uint32_t claimed_type() const { return word_at(bytes_, offsetof(vorhdr, type), order_); }
    uint32_t claimed(size_t offset) const { return word_at(bytes_, offset, order_); }
    Evidence examine(TrackShape shape, int64_t least_bytes, int64_t end) const;
    Evidence examine(const TrackShape &shape, int64_t least_bytes) const;
    std::vector<TrackShape> possible_shapes() const;
    bool convinces(const Evidence &evidence) const;
    void take_shape(const Evidence &evidence, bool guessed);
    NativeLayout layout() const { return layout_of(file_, bytes_, order_); }
    std::optional<int64_t> tracks_by_seek_table(bool claim_is_possible) const;
    int64_t tracks_by_walk() const;
    void guess(const char *field, const std::string &value, const std::string &reason) {
        mended_.guesses.push_back({field, value, reason});
    }
    [[noreturn]] void give_up(const std::string &text) const { throw Failure(file_.name(), text); }

    FileBytes &file_;
    const HeaderWishes &wishes_;
    HeaderBytes bytes_{};
    ByteOrder order_ = ByteOrder::little;
    Evidence evidence_;
    MendedHeader mended_;
};

std::optional<ByteOrder> Mender::order_of_type() const {
    for (const ByteOrder order : {ByteOrder::little, ByteOrder::big}) {
        if (is_lawful_type(word_at(bytes_, offsetof(vorhdr, type), order))) return order;
    }
    return std::nullopt;
}

std::optional<ByteOrder> Mender::order_of_witness() const {
    for (const ByteOrder order : {ByteOrder::little, ByteOrder::big}) {
        if (word_at(bytes_, offsetof(vorhdr, byteorder), order) == VOR_BYTEORDER) return order;
    }
    return std::nullopt;
}

void Mender::settle_order() {
    const std::optional<ByteOrder> by_type = order_of_type();
    const std::optional<ByteOrder> by_witness = order_of_witness();
    order_ = wishes_.order.value_or(by_type.value_or(by_witness.value_or(ByteOrder::little)));
}

Evidence Mender::examine(TrackShape shape, int64_t least_bytes, int64_t end) const {
    shape.pixels = 0;
    TrackWalker walker(file_, shape);
    const TrackWalker::Sums sums = walker.survey(VOR_HDRSIZE, end, least_bytes);
    Evidence evidence{.shape = shape};
    for (const auto &[sum, tally] : sums) {
        if (tally.bytes <= evidence.bytes || sum > INT32_MAX) continue;
        evidence.best = tally.tracks;
        evidence.best_sum = sum;
        evidence.bytes = tally.bytes;
    }
    const uint32_t pixels = wishes_.pixels.value_or(claimed(offsetof(vorhdr, pixels)));
    const auto at_claim = sums.find(int64_t{pixels});
    if (at_claim != sums.end()) {
        evidence.claimed = at_claim->second.tracks;
        evidence.claimed_bytes = at_claim->second.bytes;
    }
    return evidence;
}

// Sections are left out as the header tells them, since bytes of theirs may look like short tracks.
Evidence Mender::examine(const TrackShape &shape, int64_t least_bytes) const {
    const int64_t told = layout().tracks_end;
    if (told > VOR_HDRSIZE && told < file_.size()) {
        const Evidence evidence = examine(shape, least_bytes, told);
        if (evidence.claimed > 0 || evidence.best >= convincing_count) return evidence;
    }
    return examine(shape, least_bytes, file_.size());
}

std::vector<TrackShape> Mender::possible_shapes() const {
    const ByteOrder other = order_ == ByteOrder::little ? ByteOrder::big : ByteOrder::little;
    std::vector<TrackShape> shapes;
    for (const bool deflated : {false, true}) {
        if (wishes_.deflated.value_or(deflated) != deflated) continue;
        for (const uint32_t coding : {VT_FW16, VT_FW8, VT_FW88}) {
            if (wishes_.coding.value_or(coding) != coding) continue;
            shapes.push_back({coding, deflated, order_, 0});
            if (coding == VT_FW16 && !wishes_.order) {
                shapes.push_back({coding, deflated, other, 0});
            }
        }
    }
    return shapes;
}

// A stream whose checksum is right is no chance, a plain track may be one.
bool Mender::convinces(const Evidence &evidence) const {
    return evidence.claimed > 0 || evidence.best >= convincing_count ||
           (evidence.shape.deflated && evidence.best > 0);
}

void Mender::take_shape(const Evidence &evidence, bool guessed) {
    const TrackShape &shape = evidence.shape;
    const uint32_t type = shape.coding | (shape.deflated ? VT_DEFLATED : 0);
    const std::string why = "its tracks add up so";
    if (guessed && !wishes_.coding) guess("coding", coding_word(shape.coding), why);
    if (guessed && !wishes_.deflated) guess("deflated", shape.deflated ? "yes" : "no", why);
    const bool order_unknown = !wishes_.order && !order_of_type() && !order_of_witness();
    if (order_unknown || shape.order != order_) {
        guess("byte order", shape.order == ByteOrder::little ? "little-endian" : "big-endian",
              shape.order != order_ ? why : "nothing tells it");
    }
    order_ = shape.order;
    put_number(bytes_.data() + offsetof(vorhdr, type), type, order_);
    evidence_ = evidence;
}

// The type as the header and the user have it is kept where no track speaks against it: a file may
// have blank tracks alone.
void Mender::settle_shape() {
    const bool lawful = is_lawful_type(claimed_type());
    const bool told = (lawful || wishes_.coding) && (lawful || wishes_.deflated);
    std::optional<Evidence> by_header;
    if (told) {
        const bool deflated = lawful && (claimed_type() & VT_COMPRESSION) != 0;
        by_header = examine({wishes_.coding.value_or(claimed_type() & VT_FORMAT),
                             wishes_.deflated.value_or(deflated), order_, 0},
                            0);
        if (by_header->claimed > 0 || by_header->best >= convincing_count) {
            return take_shape(*by_header, false);
        }
    }
    std::optional<Evidence> best;
    for (const TrackShape &shape : possible_shapes()) {
        const Evidence evidence = examine(shape, compared_bytes);
        if (convinces(evidence) && (!best || evidence.rank() > best->rank())) best = evidence;
    }
    if (best) return take_shape(*best, true);
    if (!told) give_up("nothing tells how its tracks are coded; say it with --coding");
    take_shape(*by_header, false);
}

void Mender::settle_pixels() {
    const uint32_t told = claimed(offsetof(vorhdr, pixels));
    uint32_t pixels = wishes_.pixels.value_or(told);
    const bool outvoted_by_tracks = evidence_.claimed == 0
                                        ? evidence_.best >= convincing_count || !is_size(told)
                                        : evidence_.best >= outvoted * evidence_.claimed;
    if (!wishes_.pixels && outvoted_by_tracks && evidence_.best > 0) {
        pixels = static_cast<uint32_t>(evidence_.best_sum);
        guess("pixels", format("%u", pixels),
              format("tracks add up to it, where the header says %u", told));
    }
    if (!is_size(pixels))
        give_up("nothing tells how many pixels a track has; say it with --pixels");
    put_number(bytes_.data() + offsetof(vorhdr, pixels), pixels, order_);
}

// Whether a section behind the seek table stands where the header says: a tag list can be walked
// over, the others end where something begins.
bool is_borne_out(FileBytes &file, const NativeLayout &layout, const NativeSection &section) {
    if (section.kind == SectionKind::tags) {
        const TagWalk walk = walk_tags(file, layout, {});
        return walk.fault == TagFault::none && walk.records == section.entries;
    }
    const auto begins_there = [&](const NativeSection &s) { return s.offset == section.end(); };
    return section.end() == file.size() ||
           std::any_of(layout.sections.begin(), layout.sections.end(), begins_there);
}

// As many entries as lie between the seek table's begin and what follows it. Before the end of the
// file they are believed only if the header claims what cannot be: the file may have been cut.
std::optional<int64_t> Mender::tracks_by_seek_table(bool claim_is_possible) const {
    NativeLayout now = layout();
    const NativeSection *table = now.find(SectionKind::seek_table);
    if (!table || table->offset < VOR_HDRSIZE || table->offset >= file_.size()) return std::nullopt;
    int64_t next = file_.size();
    for (const NativeSection &section : now.sections) {
        const bool behind = section.offset > table->offset && section.offset < next;
        if (behind && is_borne_out(file_, now, section)) next = section.offset;
    }
    const int64_t bytes = next - table->offset;
    const int64_t width = seek_entry_bytes(now);
    const int64_t count = bytes / width;
    if (bytes % width != 0 || count < 1 || count > INT32_MAX) return std::nullopt;
    const bool cut = next == file_.size() && count < int64_t{now.header.tracks};
    if (cut && claim_is_possible) return std::nullopt;
    HeaderBytes counted = bytes_;
    put_number(counted.data() + offsetof(vorhdr, tracks), static_cast<uint32_t>(count), order_);
    now = layout_of(file_, counted, order_);
    for (int64_t n = 0; n < count; ++n) {
        const std::optional<int64_t> entry = seek_entry(file_, now, n);
        if (!entry || !is_plausible_entry(now, *entry)) return std::nullopt;
    }
    return count;
}

int64_t Mender::tracks_by_walk() const {
    TrackWalker walker(file_, shape_of(layout()));
    int64_t count = 0;
    for (const Stretch &stretch : walker.walk(VOR_HDRSIZE, file_.size()))
        count += stretch.good() ? 1 : 0;
    return count;
}

void Mender::settle_tracks() {
    const uint32_t told = claimed(offsetof(vorhdr, tracks));
    const bool possible = is_size(told) && int64_t{told} <= file_.size();
    uint32_t tracks = wishes_.tracks.value_or(told);
    if (!wishes_.tracks) {
        const std::optional<int64_t> held = tracks_by_seek_table(possible);
        if (held && *held != int64_t{told}) {
            tracks = static_cast<uint32_t>(*held);
            guess("tracks", format("%u", tracks),
                  format("entries of the seek table, where the header says %u", told));
        } else if (told == 0) {
            tracks = static_cast<uint32_t>(std::min<int64_t>(tracks_by_walk(), INT32_MAX));
            guess("tracks", format("%u", tracks), "found, where the header says 0");
        } else if (!possible) {
            give_up(format("%u tracks are more than the file can hold; say with --tracks how many "
                           "there are",
                           told));
        }
    }
    if (!is_size(tracks)) give_up("no track can be found");
    put_number(bytes_.data() + offsetof(vorhdr, tracks), tracks, order_);
}

bool is_resolution(double value) {
    return std::isfinite(value) && value > 0 && value < 1e9;
}

void Mender::settle_resolution() {
    const vorhdr &header = mended_.layout.header;
    Resolution found{1 / double{header.xpitch}, double{header.yresf}};
    const Resolution fine{1 / header.xpitch64, 1 / header.ypitch64};
    const auto known = [](const Resolution &r) { return is_resolution(r.x) && is_resolution(r.y); };
    if (mended_.layout.has(HF_RES64) && known(fine)) found = fine;
    if (wishes_.resolution) {
        mended_.resolution = *wishes_.resolution;
    } else if (known(found)) {
        mended_.resolution = found;
    }
}

MendedHeader Mender::mend() {
    settle_order();
    settle_shape();
    settle_pixels();
    settle_tracks();
    mended_.layout = layout();
    settle_resolution();
    return std::move(mended_);
}

} // namespace

bool is_plausible_entry(const NativeLayout &layout, int64_t entry) {
    if (is_track_place(entry)) return entry < layout.file_bytes;
    if (!is_blank_mark(entry)) return false;
    const int32_t colour = blank_colour(entry);
    return !layout.two_colours() || colour == 0 || colour == LF_NCOLORS - 1;
}

NativeLayout with_seek_table(FileBytes &file, const NativeLayout &layout, int64_t offset,
                             bool wide) {
    HeaderBytes bytes = layout.bytes;
    const auto low = static_cast<uint32_t>(offset);
    const auto high = static_cast<uint32_t>(static_cast<uint64_t>(offset) >> 32);
    uint32_t flags = layout.flags | HF_SEEKTAB | (high != 0 ? HF_OFF64 : 0);
    flags = wide ? flags | HF_SEEK64 : flags & ~HF_SEEK64;
    put_number(bytes.data() + offsetof(vorhdr, hflags), flags, layout.order);
    put_number(bytes.data() + offsetof(vorhdr, version), VOR_VERSION, layout.order);
    put_number(bytes.data() + offsetof(vorhdr, seekoff_lo), low, layout.order);
    put_number(bytes.data() + offsetof(vorhdr, seekoff_hi), high, layout.order);
    return layout_of(file, bytes, layout.order);
}

const char *coding_word(uint32_t coding) {
    return coding == VT_FW16 ? "fw16" : coding == VT_FW8 ? "fw8" : "fw88";
}

MendedHeader mend_header(FileBytes &file, const HeaderWishes &wishes) {
    return Mender(file, wishes).mend();
}

} // namespace vor::tool
