#include "file_facts.h"

#include <algorithm>

#include "descriptions.h"
#include "track_source.h"
#include "vor/vor.h"

namespace vor::tool {
namespace {

int64_t offset_of(const vorhdr &header, uint32_t low, uint32_t high) {
    const uint64_t upper = (header.hflags & HF_OFF64) != 0 ? high : 0;
    return static_cast<int64_t>(upper << 32 | low);
}

std::vector<Section> sections_of(const vorhdr &h, const NativeFacts &facts) {
    std::vector<Section> sections;
    if ((h.hflags & HF_STOPS) != 0) {
        sections.push_back({"stops", offset_of(h, h.stopoff_lo, h.stopoff_hi), h.stopcount});
    }
    if ((h.hflags & HF_SEEKTAB) != 0) {
        sections.push_back({"seek table", offset_of(h, h.seekoff_lo, h.seekoff_hi), h.tracks});
    }
    if ((h.hflags & HF_CTABS) != 0) {
        sections.push_back(
            {"colour tables", offset_of(h, h.ctaboff_lo, h.ctaboff_hi), facts.colour_tables});
    }
    if ((h.hflags & HF_CINFO) != 0) {
        sections.push_back({"colour info", offset_of(h, h.cinfooff_lo, h.cinfooff_hi), 256});
    }
    if (static_cast<int32_t>(h.tagcount) > 0) {
        sections.push_back({"tags", offset_of(h, h.tagoff_lo, h.tagoff_hi), h.tagcount});
    }
    std::sort(sections.begin(), sections.end(),
              [](const Section &a, const Section &b) { return a.offset < b.offset; });
    return sections;
}

std::vector<Tag> tags_of(xvor_t *h) {
    std::vector<Tag> tags;
    for (vor_tagslot slot{0, nullptr}; lfspecial(h, LFS_NTH_TAG, &slot) == 0; ++slot.index) {
        if (!slot.record) continue;
        tags.push_back({slot.record->tagname, int64_t{slot.record->tagsize} - VOR_TAGNAME});
    }
    return tags;
}

std::vector<Stop> stops_of(const xvor_t *h) {
    std::vector<Stop> stops;
    const uint32_t *table = lfstoptable(h);
    for (uint32_t i = 0; i < lfstoptablesize(h); ++i) {
        stops.push_back({static_cast<int32_t>(table[i] & LF_STOP_TRACK), stop_kind(table[i])});
    }
    return stops;
}

template <class Value>
void add_parameter(xvor_t *h, const char *name, int32_t request, std::vector<Parameter> *to) {
    Value value{};
    if (lfspecial(h, request, &value) == 0) to->push_back({name, static_cast<double>(value)});
}

std::string checksum_state(const xvor_t *h, const vorhdr &header) {
    if (has(h, LF_BADHDRCRC)) return "bad";
    return (header.hflags & HF_CRC) != 0 ? "good" : "none";
}

std::string image_hash(xvor_t *h) {
    uint8_t hash[16] = {};
    if (lfspecial(h, LFS_IMAGE_HASH, hash) != 0) return "";
    std::string text;
    for (const uint8_t byte : hash)
        text += format("%02x", byte);
    return text;
}

NativeFacts native_facts(xvor_t *h, const AboutFile &about) {
    vorhdr header;
    if (lfspecial(h, LFS_VOR_HEADER, &header) != 0) about.give_up("has no header");
    NativeFacts facts;
    facts.version = static_cast<int32_t>(header.version);
    if ((header.hflags & HF_SEEKTAB) != 0) {
        facts.seek_entry_bits = (header.hflags & HF_SEEK64) != 0 ? 64 : 32;
    }
    if ((header.hflags & HF_CTABS) != 0) facts.colour_tables = h->nctab;
    facts.sections = sections_of(header, facts);
    facts.tags = tags_of(h);
    facts.stops = stops_of(h);
    facts.parameters = parameters_of(h);
    facts.checksum = checksum_state(h, header);
    facts.image_hash = image_hash(h);
    return facts;
}

int64_t plain_size(const FileFacts &facts) {
    const int64_t pixels = int64_t{facts.tracks} * facts.pixels;
    return facts.bits == 1 ? pixels / 8 + (pixels % 8 != 0 ? 1 : 0) : pixels;
}

} // namespace

std::vector<Parameter> parameters_of(xvor_t *h) {
    std::vector<Parameter> parameters;
    add_parameter<double>(h, "a", LFS_GET_PARAM_A, &parameters);
    add_parameter<double>(h, "b", LFS_GET_PARAM_B, &parameters);
    add_parameter<double>(h, "c", LFS_GET_PARAM_C, &parameters);
    add_parameter<uint32_t>(h, "d", LFS_GET_PARAM_D, &parameters);
    add_parameter<int32_t>(h, "e", LFS_GET_PARAM_E, &parameters);
    add_parameter<double>(h, "f", LFS_GET_PARAM_F, &parameters);
    return parameters;
}

const char *stop_kind(uint32_t entry) {
    if ((entry & LF_STOP_SINGLE) != 0) return "single";
    return (entry & LF_STOP_LAST) != 0 ? "last" : "first";
}

FileFacts gather_facts(const std::string &name) {
    const AboutFile about(name);
    // Sequentially: a file without a seek table is not walked for one.
    const Handle h = open_source(name, LF_SEQUENTIAL);
    if (lfcheck(h.get()) < 0) about.give_up("cannot be read");
    FileFacts facts;
    facts.name = name;
    facts.format = format_name(h.get());
    facts.coding = coding_name(h.get());
    facts.compression = compression_name(h.get());
    facts.byte_order = byte_order_name(h.get());
    facts.bits = h->bits;
    facts.tracks = h->fxsize;
    facts.pixels = h->fysize;
    facts.xres = h->fxres;
    facts.yres = h->fyres;
    facts.longest_track = h->maxruns > 1 ? h->maxruns : 0;
    facts.file_bytes = size_of_file(name);
    facts.plain_bytes = plain_size(facts);
    if (is_native(h.get())) facts.native = native_facts(h.get(), about);
    return facts;
}

} // namespace vor::tool
