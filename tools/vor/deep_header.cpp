// The header against itself, against what this library writes, and against the tracks.

#include <algorithm>
#include <bit>
#include <cinttypes>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>

#include "deep_parts.h"
#include "report.h"

namespace vor::tool {
namespace {

constexpr uint32_t late_flags = HF_SEEK64 | HF_OFF64 | HF_RES64; // from version 2 on
constexpr uint32_t narrow_limit = 0x7FFFFFFF;                    // the largest offset in 31 bits

class HeaderCheck {
public:
    HeaderCheck(const NativeLayout &layout, const TrackFacts &facts, FindingList *findings)
        : layout_(layout), h_(layout.header), facts_(facts), findings_(findings) {}

    void run() {
        check_checksum();
        check_identity();
        check_flags();
        check_reserved();
        check_geometry();
        check_values();
        check_longest();
        check_sections();
        check_offset_width();
    }

private:
    void add(FindingId id, size_t offset, std::string found, std::string expected) {
        findings_->add(
            {id, {}, static_cast<int64_t>(offset), std::move(found), std::move(expected)});
    }

    void check_checksum();
    void check_identity();
    void check_flags();
    void check_reserved();
    void check_geometry();
    void check_pitches();
    void check_lengths();
    void check_values();
    void check_longest();
    void check_sections();
    void check_offset_width();

    void expect_pitch(const char *name, double value, size_t offset);
    void expect_size(const char *name, uint32_t value, size_t offset);
    void expect_clear(const char *flag_name, uint32_t flag, uint64_t value, size_t offset);
    void expect_absent(const char *flag_name, uint32_t flag, size_t offset);
    uint32_t word_at(size_t offset) const;

    const NativeLayout &layout_;
    const vorhdr &h_;
    const TrackFacts &facts_;
    FindingList *findings_;
};

std::string hex(uint32_t value) {
    return format("0x%08" PRIX32, value);
}

// The digits that tell one float from the next.
std::string short_number(float value) {
    return format("%.9g", static_cast<double>(value));
}

float to_float(double value) {
    constexpr double largest = std::numeric_limits<float>::max();
    constexpr float infinite = std::numeric_limits<float>::infinity();
    if (value > largest) return infinite;
    if (value < -largest) return -infinite;
    return static_cast<float>(value);
}

bool is_size(double value) {
    return std::isfinite(value) && value > 0;
}

// ---- checksum, type, version, flags

void HeaderCheck::check_checksum() {
    if (h_.hcrc == 0 && (h_.hflags & HF_CRC) == 0) return;
    const uint32_t expected = header_checksum(layout_.bytes);
    if (h_.hcrc == expected) return;
    add(FindingId::header_checksum, offsetof(vorhdr, hcrc), hex(h_.hcrc), hex(expected));
}

void HeaderCheck::check_identity() {
    if (!is_lawful_type(h_.type)) {
        add(FindingId::type, offsetof(vorhdr, type), hex(h_.type), "1, 2, 3, 0x41, 0x42 or 0x43");
    }
    if ((h_.hflags & HF_BYTEORDER) != 0 && h_.byteorder != VOR_BYTEORDER) {
        add(FindingId::byte_order, offsetof(vorhdr, byteorder), hex(h_.byteorder),
            hex(VOR_BYTEORDER));
    }
    const auto version = static_cast<int32_t>(h_.version);
    if (version < 0 || version > VOR_VERSION) {
        add(FindingId::version, offsetof(vorhdr, version), format("%d", version),
            format("%d or less", VOR_VERSION));
    }
    if (std::memcmp(h_.letters, VOR_LETTERS, sizeof h_.letters) != 0) {
        add(FindingId::letters, offsetof(vorhdr, letters),
            hex(number_at<uint32_t>(layout_.bytes.data() + offsetof(vorhdr, letters),
                                    ByteOrder::big)),
            "0x4B454C00 (\"KEL\")");
    }
}

void HeaderCheck::check_flags() {
    if ((h_.hflags & ~known_flags) != 0) {
        add(FindingId::unknown_flags, offsetof(vorhdr, hflags), hex(h_.hflags & ~known_flags), "0");
    }
    if ((h_.hflags & HF_TILED) != 0) {
        add(FindingId::tiled, offsetof(vorhdr, hflags), "HF_TILED", "no such flag");
    }
    const uint32_t meaningless = h_.hflags & ~layout_.flags & late_flags;
    if (meaningless != 0) {
        add(FindingId::version_flags, offsetof(vorhdr, hflags), hex(meaningless),
            format("0 in version %d", static_cast<int32_t>(h_.version)));
    }
}

void HeaderCheck::check_reserved() {
    for (const HeaderField &field : header_fields()) {
        if (std::strncmp(field.name, "reserved", std::strlen("reserved")) != 0) continue;
        const auto *begin = layout_.bytes.data() + field.offset;
        const auto *end = begin + field.bytes;
        const auto *at = std::find_if(begin, end, [](uint8_t byte) { return byte != 0; });
        if (at == end) continue;
        const auto others = std::count_if(at, end, [](uint8_t byte) { return byte != 0; }) - 1;
        add(FindingId::reserved_bytes, static_cast<size_t>(at - layout_.bytes.data()),
            format("0x%02X%s", *at,
                   others > 0 ? format(" and %d more", static_cast<int>(others)).c_str() : ""),
            "0");
    }
}

// ---- sizes and pitches

void HeaderCheck::expect_size(const char *name, uint32_t value, size_t offset) {
    if (value >= 1 && value <= INT32_MAX) return;
    add(FindingId::image_size, offset, format("%" PRIu32 " %s", value, name), "1 to 2147483647");
}

void HeaderCheck::expect_pitch(const char *name, double value, size_t offset) {
    if (is_size(value)) return;
    add(FindingId::pitch_range, offset, format("%s %g", name, value), "a number above 0");
}

void HeaderCheck::check_geometry() {
    expect_size("tracks", h_.tracks, offsetof(vorhdr, tracks));
    expect_size("pixels", h_.pixels, offsetof(vorhdr, pixels));
    if (layout_.has(HF_RES64)) {
        expect_pitch("xpitch64", h_.xpitch64, offsetof(vorhdr, xpitch64));
        expect_pitch("ypitch64", h_.ypitch64, offsetof(vorhdr, ypitch64));
        check_pitches();
    } else {
        expect_pitch("xpitch", double{h_.xpitch}, offsetof(vorhdr, xpitch));
        expect_pitch("yresf", double{h_.yresf}, offsetof(vorhdr, yresf));
    }
    check_lengths();
}

// The resolutions of which a pitch may be the reciprocal: a double has no more than one or two.
// `visit` sees them and ends the search by true.
template <class Visit>
bool any_resolution(double pitch, Visit visit) {
    constexpr int around = 2;
    double value = 1 / pitch;
    if (visit(value)) return true;
    for (int i = 0; i < around; ++i)
        value = std::nextafter(value, 0.0);
    for (int i = 0; i < 2 * around; ++i) {
        value = std::nextafter(value, std::numeric_limits<double>::max());
        if (1 / value == pitch && visit(value)) return true;
    }
    return false;
}

bool same_bits(float one, float other) {
    return std::bit_cast<uint32_t>(one) == std::bit_cast<uint32_t>(other);
}

void HeaderCheck::check_pitches() {
    if (!is_size(h_.xpitch64) || !is_size(h_.ypitch64)) return;
    const float xpitch = to_float(h_.xpitch64);
    if (!same_bits(h_.xpitch, xpitch)) {
        add(FindingId::pitch_pair, offsetof(vorhdr, xpitch), "xpitch " + short_number(h_.xpitch),
            short_number(xpitch) + ", as xpitch64 has it");
    }
    const bool fits = any_resolution(
        h_.ypitch64, [&](double yres) { return same_bits(h_.yresf, to_float(yres)); });
    if (!fits) {
        add(FindingId::pitch_pair, offsetof(vorhdr, yresf), "yresf " + short_number(h_.yresf),
            short_number(to_float(1 / h_.ypitch64)) + ", as ypitch64 has it");
    }
}

// A length comes from the resolution as it was before it became a pitch.
void HeaderCheck::check_lengths() {
    const bool wide = layout_.has(HF_RES64);
    const double xpitch = wide ? h_.xpitch64 : double{h_.xpitch};
    const double ypitch = wide ? h_.ypitch64 : 1 / double{h_.yresf};
    if (!is_size(xpitch) || !is_size(ypitch)) return;
    const auto expect = [&](const char *name, float length, double count, double pitch,
                            size_t offset) {
        const bool fits = any_resolution(
            pitch, [&](double res) { return same_bits(length, to_float(count / res)); });
        if (fits) return;
        add(FindingId::image_length, offset, format("%s ", name) + short_number(length),
            short_number(to_float(count * pitch)) + " mm");
    };
    expect("xlength", h_.xlength, h_.tracks, xpitch, offsetof(vorhdr, xlength));
    expect("ylength", h_.ylength, h_.pixels, ypitch, offsetof(vorhdr, ylength));
}

// ---- values and their flags

void HeaderCheck::expect_clear(const char *flag_name, uint32_t flag, uint64_t value,
                               size_t offset) {
    if (value == 0 || layout_.has(flag)) return;
    add(FindingId::value_without_flag, offset, format("0x%" PRIX64, value),
        format("0 without %s", flag_name));
}

void HeaderCheck::check_values() {
    const auto bits = [](auto value) {
        if constexpr (sizeof value == sizeof(uint32_t)) {
            return uint64_t{std::bit_cast<uint32_t>(value)};
        } else {
            return std::bit_cast<uint64_t>(value);
        }
    };
    expect_clear("HF_PARAM_A", HF_PARAM_A, bits(h_.param_a), offsetof(vorhdr, param_a));
    expect_clear("HF_PARAM_B", HF_PARAM_B, bits(h_.param_b), offsetof(vorhdr, param_b));
    expect_clear("HF_PARAM_C", HF_PARAM_C, bits(h_.param_c), offsetof(vorhdr, param_c));
    expect_clear("HF_PARAM_D", HF_PARAM_D, bits(h_.param_d), offsetof(vorhdr, param_d));
    expect_clear("HF_PARAM_E", HF_PARAM_E, bits(h_.param_e), offsetof(vorhdr, param_e));
    expect_clear("HF_PARAM_F", HF_PARAM_F, bits(h_.param_f), offsetof(vorhdr, param_f));
    expect_clear("HF_BYTEORDER", HF_BYTEORDER, h_.byteorder, offsetof(vorhdr, byteorder));
    expect_clear("HF_MAXRUNS", HF_MAXRUNS, h_.hmaxruns, offsetof(vorhdr, hmaxruns));
    expect_clear("HF_RES64", HF_RES64, bits(h_.xpitch64), offsetof(vorhdr, xpitch64));
    expect_clear("HF_RES64", HF_RES64, bits(h_.ypitch64), offsetof(vorhdr, ypitch64));
}

// Of blank tracks alone, writers store 0 or 1.
void HeaderCheck::check_longest() {
    if (!layout_.has(HF_MAXRUNS) || !facts_.all_good || h_.hmaxruns == facts_.longest) return;
    if (facts_.longest == 0 && h_.hmaxruns == 1) return;
    add(FindingId::longest_track, offsetof(vorhdr, hmaxruns),
        format("%" PRIu32 " codes", h_.hmaxruns),
        format("%lld", static_cast<long long>(facts_.longest)));
}

// ---- sections

// A section that has no flag has no place either.
void HeaderCheck::expect_absent(const char *flag_name, uint32_t flag, size_t offset) {
    const uint32_t word = word_at(offset);
    if (word == 0 || layout_.has(flag)) return;
    add(FindingId::section_flag, offset, hex(word), format("0 without %s", flag_name));
}

void HeaderCheck::check_sections() {
    expect_absent("HF_STOPS", HF_STOPS, offsetof(vorhdr, stopoff_lo));
    expect_absent("HF_STOPS", HF_STOPS, offsetof(vorhdr, stopcount));
    expect_absent("HF_SEEKTAB", HF_SEEKTAB, offsetof(vorhdr, seekoff_lo));
    expect_absent("HF_CTABS", HF_CTABS, offsetof(vorhdr, ctaboff_lo));
    expect_absent("HF_CTABS", HF_CTABS, offsetof(vorhdr, ctabcount));
    expect_absent("HF_CINFO", HF_CINFO, offsetof(vorhdr, cinfooff_lo));
    if (layout_.has(HF_STOPS) && h_.stopcount == 0) {
        add(FindingId::section_flag, offsetof(vorhdr, stopcount), "0 stops",
            "1 or more under HF_STOPS");
    }
    const auto tags = static_cast<int32_t>(h_.tagcount);
    const bool has_place = layout_.find(SectionKind::tags) != nullptr;
    if (tags > 0 && !has_place) {
        add(FindingId::section_place, offsetof(vorhdr, tagoff_lo), hex(h_.tagoff_lo),
            format("a place for %d tags", tags));
    }
    if (tags < 0 || (tags == 0 && h_.tagoff_lo != 0)) {
        add(FindingId::section_flag, offsetof(vorhdr, tagcount), format("%d tags", tags),
            h_.tagoff_lo != 0 ? "1 or more, since the list has a place" : "0 or more");
    }
}

uint32_t HeaderCheck::word_at(size_t offset) const {
    return number_at<uint32_t>(layout_.bytes.data() + offset, layout_.order);
}

void HeaderCheck::check_offset_width() {
    const bool wide = layout_.has(HF_OFF64);
    bool wanted = layout_.has(HF_SEEK64);
    for (const OffsetWords &words : offset_words) {
        const uint32_t high = word_at(words.high);
        wanted = wanted || word_at(words.low) > narrow_limit || (wide && high != 0);
        if (wide || high == 0) continue;
        add(FindingId::offset_width, words.high, hex(high), "0 without HF_OFF64");
    }
    if (layout_.has(HF_SEEK64) && !layout_.has(HF_SEEKTAB)) {
        add(FindingId::offset_width, offsetof(vorhdr, hflags), "HF_SEEK64", "HF_SEEKTAB with it");
    }
    if (wanted == wide) return;
    add(FindingId::offset_width, offsetof(vorhdr, hflags), wide ? "HF_OFF64" : "no HF_OFF64",
        wide ? "none, since all offsets are small" : "HF_OFF64, since there are large offsets");
}

} // namespace

void check_header(const NativeLayout &layout, const TrackFacts &facts, FindingList *findings) {
    HeaderCheck(layout, facts, findings).run();
}

} // namespace vor::tool
