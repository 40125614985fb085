// vor check: proves that the tracks of files add up.

#include <algorithm>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "commands.h"
#include "interrupt.h"
#include "progress.h"
#include "report.h"
#include "track_source.h"
#include "vor/vor.h"

namespace vor::tool {
namespace {

using Json = nlohmann::ordered_json;

constexpr uint32_t most_counted = 0x7FFFFFFF; // pixels of a colour; more show as this

struct Options {
    std::vector<std::string> files;
    bool full = false;
    bool store = false;
    bool colours = false;
    bool json = false;
    bool quiet = false;
};

struct ColourCount {
    int32_t colour = 0;
    uint32_t pixels = 0;
};

struct Nature {
    bool foreign = false;
    bool header_tells = false;          // the checker can do without a walk
    const char *not_storable = nullptr; // why the result may not be stored
};

struct Verdict {
    std::string file;
    ckvor_t record{};
    bool walked = false;
    std::string fault; // empty: good
    std::optional<int32_t> bad_track;
    std::vector<ColourCount> colours;
};

// The reporter of the checker gets no pointer of ours, so its job lies here.
struct Walk {
    std::string label;
    bool quiet = false;
    std::optional<Progress> progress;
};
Walk walk;

int32_t follow_walk(int32_t stage, ckvor_t *record, int32_t value) {
    switch (stage) {
    case CKV_START:
        walk.progress.emplace(walk.label, record->tracks, walk.quiet);
        return 0;
    case CKV_TRACK:
        if (walk.progress) walk.progress->reach(value);
        return interrupted() ? -1 : 0;
    default:
        walk.progress.reset();
        return 0;
    }
}

const char *status_text(int32_t status) {
    switch (status) {
    case CKV_NOTOPEN:
        return "the file cannot be opened";
    case CKV_BADWALK:
        return "the tracks end too soon, or the last one has a wrong length";
    case CKV_NOTSTORED:
        return "the result cannot be stored";
    case CKV_READ:
        return "the file cannot be read";
    case CKV_MEMORY:
        return "out of memory";
    case CKV_STOPPED:
        return "stopped";
    case CKV_EMPTY:
        return "the file is empty";
    case CKV_NOSIZE:
        return "the image has no size";
    case CKV_FORMAT:
        return "the format cannot be checked";
    case CKV_BADCOLOR:
        return "a colour code is out of range";
    case CKV_BADLENGTH:
        return "the pixels of a track do not add up";
    default:
        return "the check failed";
    }
}

bool is_track_fault(int32_t status) {
    return status == CKV_BADWALK || status == CKV_READ || status == CKV_BADLENGTH ||
           status == CKV_BADCOLOR;
}

// Why the result may not be stored in a file, or null. A checksum would no longer match behind it,
// and the checker stores nothing in deflated files.
const char *storing_hindered(xvor_t *h) {
    vorhdr header;
    if (h->fmt != 0) return "not a native file, nothing is stored";
    if (lfspecial(h, LFS_VOR_HEADER, &header) != 0) return "has no header, nothing is stored";
    if ((header.hflags & HF_CRC) != 0) return "has a header checksum, nothing is stored";
    if ((header.type & VT_COMPRESSION) != 0) return "has deflated tracks, nothing is stored";
    return nullptr;
}

// Opens the file and looks at its header, sections and tables. The result is a fault, or empty.
std::string look_at_sections(const std::string &file, Nature *nature) {
    const AboutFile about(file);
    const KeepReports reports;
    const Handle h(lfopen(file.c_str(), LF_READ | LF_SEQUENTIAL, 0, nullptr));
    if (!h || lfcheck(h.get()) < 0) return reports.first("cannot be read");
    const bool native = h->fmt == 0;
    nature->foreign = !native;
    nature->header_tells = native && (static_cast<uint32_t>(h->subtype) & VT_COMPRESSION) == 0;
    nature->not_storable = storing_hindered(h.get());
    if (has(h.get(), LF_BADHDRCRC)) return "the header checksum does not match";
    vor_tagslot slot{0, nullptr};
    return native && lfspecial(h.get(), LFS_NTH_TAG, &slot) < 0 ? reports.first("bad tags") : "";
}

// Reads the tracks one by one up to the first bad one, which goes into the verdict with the reason.
void read_tracks(Verdict *verdict,
                 const std::function<void(const xvor_t *, const TrackBuffer &)> &visit) {
    const AboutFile about(verdict->file);
    KeepReports reports;
    const Handle h(lfopen(verdict->file.c_str(), LF_READ | LF_SEQUENTIAL, 0, nullptr));
    TrackBuffer buffer;
    if (!h || lfcheck(h.get()) < 0 || buffer.fit(h.get()) < 0) return;
    for (int32_t n = 0; n < h->xsize && !interrupted(); ++n) {
        reports.clear();
        if (lfread(h.get(), buffer.get(), n) < 0) {
            verdict->bad_track = n;
            verdict->fault = reports.first(format("track %d: cannot be read", n));
            return;
        }
        visit(h.get(), buffer);
    }
}

void take_colours(const std::vector<uint32_t> &counts, Verdict *verdict) {
    for (size_t i = 0; i < counts.size(); ++i) {
        if (counts[i] != 0) verdict->colours.push_back({static_cast<int32_t>(i), counts[i]});
    }
}

// A picture smaller than a native header, which the checker cannot even begin with.
bool is_small_picture(const Nature &nature, const Verdict &verdict) {
    return nature.foreign && verdict.record.status == CKV_READ &&
           size_of_file(verdict.file) < VOR_HDRSIZE;
}

void check_small_picture(const Options &options, Verdict *verdict) {
    std::vector<uint32_t> counts(CKV_COLORS);
    ckvor_t &r = verdict->record;
    int64_t codes = 0;
    r.status = CKV_GOOD;
    verdict->fault.clear();
    read_tracks(verdict, [&](const xvor_t *h, const TrackBuffer &track) {
        r.tracks = h->xsize;
        r.pixels = h->ysize;
        r.fwmax = std::max(r.fwmax, static_cast<int32_t>(track.runs().size()));
        codes += static_cast<int64_t>(track.runs().size());
        for (const lfrun &run : track.runs())
            counts[run.colour % CKV_COLORS] += run.length;
    });
    if (r.tracks > 0)
        r.avgruns = static_cast<int32_t>((2 * codes + r.tracks) / (int64_t{2} * r.tracks));
    if (options.colours) take_colours(counts, verdict);
}

void run_checker(const Options &options, const Nature &nature, Verdict *verdict) {
    std::vector<uint32_t> counts(options.colours ? CKV_COLORS : 0);
    ckvor_t &record = verdict->record;
    record.filename = verdict->file.c_str();
    record.save_fwmax = options.store && !nature.not_storable ? 1 : 0;
    record.ncolors = static_cast<int32_t>(counts.size());
    record.colors = counts.empty() ? nullptr : counts.data();
    record.progress = follow_walk;
    walk.label = verdict->file;
    walk.quiet = options.quiet;
    const bool full = options.full || options.store || !nature.header_tells;
    const KeepReports reports;
    if (ckvor(&record, full ? 1 : 0) < 0) {
        verdict->fault = status_text(record.status);
    } else {
        take_colours(counts, verdict);
    }
    verdict->walked = full || options.colours;
    record.filename = nullptr;
    record.colors = nullptr;
}

Verdict check_file(const Options &options, const std::string &file) {
    Verdict verdict;
    verdict.file = file;
    Nature nature;
    verdict.fault = look_at_sections(file, &nature);
    if (!verdict.fault.empty()) return verdict;
    run_checker(options, nature, &verdict);
    stop_if_interrupted();
    if (is_small_picture(nature, verdict)) {
        check_small_picture(options, &verdict);
    } else if (is_track_fault(verdict.record.status)) {
        read_tracks(&verdict, [](const xvor_t *, const TrackBuffer &) {});
    }
    stop_if_interrupted();
    if (options.store && nature.not_storable && !options.quiet) {
        complain(file, std::string("warning: ") + nature.not_storable);
    }
    return verdict;
}

void print_text(const Verdict &verdict) {
    const ckvor_t &r = verdict.record;
    if (!verdict.fault.empty()) {
        std::cout << verdict.file << ": bad: " << verdict.fault << "\n";
        return;
    }
    std::cout << verdict.file
              << format(": good: %d tracks of %d pixels, longest %d codes, average %d%s\n",
                        r.tracks, r.pixels, r.fwmax, r.avgruns,
                        verdict.walked ? "" : " (by the header)");
    for (const ColourCount &count : verdict.colours)
        std::cout << format("  colour %4d: %s%u pixels\n", count.colour,
                            count.pixels >= most_counted ? "at least " : "", count.pixels);
}

Json json_verdict(const Options &options, const Verdict &verdict) {
    const ckvor_t &r = verdict.record;
    Json json = {{"file", verdict.file},     {"good", verdict.fault.empty()},
                 {"fault", nullptr},         {"bad_track", nullptr},
                 {"status", r.status},       {"walked", verdict.walked},
                 {"tracks", r.tracks},       {"pixels", r.pixels},
                 {"longest_track", r.fwmax}, {"average_codes", r.avgruns}};
    if (!verdict.fault.empty()) json["fault"] = verdict.fault;
    if (verdict.bad_track) json["bad_track"] = *verdict.bad_track;
    if (!options.colours) return json;
    json["colours"] = Json::array();
    for (const ColourCount &count : verdict.colours)
        json["colours"].push_back({{"colour", count.colour}, {"pixels", count.pixels}});
    return json;
}

int run(const Options &options) {
    start_reports(options.quiet);
    Json list = Json::array();
    int status = good;
    for (const std::string &file : options.files) {
        const Verdict verdict = check_file(options, file);
        if (!verdict.fault.empty()) status = failed;
        if (options.json) {
            list.push_back(json_verdict(options, verdict));
        } else if (!options.quiet || !verdict.fault.empty()) {
            print_text(verdict);
        }
    }
    if (options.json) std::cout << list.dump(2, ' ', false, Json::error_handler_t::replace) << "\n";
    return status;
}

} // namespace

void add_check(CLI::App *app, Job *job) {
    auto options = std::make_shared<Options>();
    CLI::App *command = app->add_subcommand("check", "Proves that the tracks of files add up");
    command->add_option("FILE", options->files, "Track files or pictures")->required();
    command->add_flag("--full", options->full,
                      "Read every track, also where the header can be trusted");
    command->add_flag("--store", options->store,
                      "Store the longest track in the file (implies --full)");
    command->add_flag("--colours", options->colours,
                      "Count the pixels of each colour (implies --full)");
    command->add_flag("--json", options->json, "Print an array of objects, one a file");
    command->add_flag("-q,--quiet", options->quiet, "No progress, no lines for good files");
    command->footer("Deflated files and other formats are always read whole.\n"
                    "Example:\n  vor check --full label.vor");
    command->callback([=] { *job = [=] { return run(*options); }; });
}

} // namespace vor::tool
