// What a file tells about itself without its tracks being read.
#ifndef VOR_TOOL_FILE_FACTS_H
#define VOR_TOOL_FILE_FACTS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "trackfile/lf.h"

namespace vor::tool {

struct Section {
    std::string name;
    int64_t offset = 0;
    int64_t entries = 0;
};

struct Tag {
    std::string name;
    int64_t bytes = 0; // of payload
};

struct Stop {
    int32_t track = 0;
    std::string kind; // "first", "last" or "single"
};

struct Parameter {
    std::string name;
    double value = 0;
};

// What only native files have.
struct NativeFacts {
    int32_t version = 0;
    int32_t seek_entry_bits = 0; // 0 without a seek table
    int32_t colour_tables = 0;
    std::vector<Section> sections; // in the order of the file's offsets
    std::vector<Tag> tags;
    std::vector<Stop> stops;
    std::vector<Parameter> parameters;
    std::string checksum; // "none", "good" or "bad"
    std::string image_hash;
};

struct FileFacts {
    std::string name;
    std::string format;
    std::string coding;
    std::string compression;
    std::string byte_order;
    int32_t bits = 0;
    int32_t tracks = 0;
    int32_t pixels = 0;
    double xres = 0; // pixels per mm, 0 if the file tells none
    double yres = 0;
    int32_t longest_track = 0; // codes, 0 if unknown
    int64_t file_bytes = 0;
    int64_t plain_bytes = 0; // of the same pixels, at 1 or 8 bits each
    std::optional<NativeFacts> native;
};

// Reports, and throws Told, if the file cannot be read.
FileFacts gather_facts(const std::string &name);

// Those that are set, of a native handle that has passed lfcheck.
std::vector<Parameter> parameters_of(xvor_t *h);

// The kind of a stop table entry, as in Stop.
const char *stop_kind(uint32_t entry);

} // namespace vor::tool

#endif
