// What salvaging a file came to, as text and as JSON.
#ifndef VOR_TOOL_SALVAGE_REPORT_H
#define VOR_TOOL_SALVAGE_REPORT_H

#include <string>

#include "file_bytes.h"
#include "salvage_header.h"
#include "salvage_places.h"
#include "salvage_sections.h"
#include "salvage_writer.h"

namespace vor::tool {

struct Salvage {
    std::string input;
    std::string output;
    MendedHeader header;
    PlacedTracks tracks;
    SavedSections sections;
    Filling filling;

    // Every track was kept, and every section.
    bool nothing_lost() const;
};

// Both go to the standard output. The file is looked into once more, for the words of its faults.
void print_salvage(FileBytes &file, const Salvage &salvage);
void print_salvage_json(FileBytes &file, const Salvage &salvage);

} // namespace vor::tool

#endif
