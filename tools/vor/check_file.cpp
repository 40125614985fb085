#include "check_file.h"

#include <algorithm>
#include <functional>

#include "interrupt.h"
#include "progress.h"
#include "report.h"
#include "track_source.h"

namespace vor::tool {
namespace {

struct Nature {
    bool foreign = false;
    bool header_tells = false;          // the checker can do without a walk
    const char *not_storable = nullptr; // why the result may not be stored
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

void check_small_picture(const CheckOptions &options, Verdict *verdict) {
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

void run_checker(const CheckOptions &options, const Nature &nature, Verdict *verdict) {
    std::vector<uint32_t> counts(options.colours ? CKV_COLORS : 0);
    ckvor_t &record = verdict->record;
    record.filename = verdict->file.c_str();
    record.save_fwmax = options.store && !nature.not_storable ? 1 : 0;
    record.ncolors = static_cast<int32_t>(counts.size());
    record.colors = counts.empty() ? nullptr : counts.data();
    record.progress = follow_walk;
    walk.label = verdict->file;
    walk.quiet = options.quiet;
    const bool full = options.depth != Depth::quick || options.store || !nature.header_tells;
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

// By the library alone.
Verdict check_by_library(const CheckOptions &options, const std::string &file, Nature *nature) {
    Verdict verdict;
    verdict.file = file;
    verdict.fault = look_at_sections(file, nature);
    if (!verdict.fault.empty()) return verdict;
    run_checker(options, *nature, &verdict);
    stop_if_interrupted();
    if (is_small_picture(*nature, verdict)) {
        check_small_picture(options, &verdict);
    } else if (is_track_fault(verdict.record.status)) {
        read_tracks(&verdict, [](const xvor_t *, const TrackBuffer &) {});
    }
    stop_if_interrupted();
    if (options.store && nature->not_storable && !options.quiet) {
        complain(file, std::string("warning: ") + nature->not_storable);
    }
    return verdict;
}

// ---- deep

std::string counted(int64_t count, const char *noun) {
    return format("%lld %s%s", static_cast<long long>(count), noun, count == 1 ? "" : "s");
}

std::string counts_text(const FindingList &findings) {
    std::string text = counted(findings.faults(), "fault");
    if (findings.warnings() > 0) text += ", " + counted(findings.warnings(), "warning");
    return text;
}

// The first track with a fault, among the findings that are kept.
std::optional<int64_t> first_bad_track(const FindingList &findings) {
    for (const Finding &finding : findings.kept()) {
        if (kind_of(finding.id).severity == Severity::fault && finding.track) return finding.track;
    }
    return std::nullopt;
}

void look_at_bytes(const CheckOptions &options, const std::string &file, Verdict *verdict) {
    DeepReport &report = *verdict->deep;
    FileBytes bytes(file);
    const std::optional<NativeLayout> layout = read_layout(bytes);
    if (!layout) return;
    check_deeply(bytes, *layout, {.quiet = options.quiet, .share = options.share}, &report);
    verdict->record.tracks = static_cast<int32_t>(layout->header.tracks);
    verdict->record.pixels = static_cast<int32_t>(layout->header.pixels);
    verdict->record.fwmax = static_cast<int32_t>(report.longest_track);
    verdict->walked = true;
}

// A fault without the track that it begins with, which a finding tells by itself.
std::string without_track(const std::string &fault, const std::optional<int64_t> &track) {
    const std::string words =
        track ? format("track %lld: ", static_cast<long long>(*track)) : std::string();
    return fault.starts_with(words) ? fault.substr(words.size()) : fault;
}

// A file in which nothing was found is read by the library too, which has the last word. Only such
// a one: in it no byte is read twice, while a faulty one could keep a reader busy.
void add_words_of_library(const CheckOptions &options, Verdict *verdict) {
    Nature nature;
    Verdict read = check_by_library(options, verdict->file, &nature);
    read.deep = std::move(verdict->deep);
    *verdict = std::move(read);
    FindingList &findings = verdict->deep->findings;
    if (!verdict->fault.empty()) {
        findings.add({FindingId::unreadable,
                      verdict->bad_track,
                      {},
                      without_track(verdict->fault, verdict->bad_track),
                      "a sound file"});
        verdict->deep->share.reset();
    }
    if (nature.foreign) {
        findings.add({FindingId::foreign_format, {}, {}, "another format", "a native file"});
    }
}

Verdict check_all(const CheckOptions &options, const std::string &file) {
    Verdict verdict;
    verdict.file = file;
    verdict.deep.emplace(options.most_findings);
    const FindingList &findings = verdict.deep->findings;
    try {
        look_at_bytes(options, file, &verdict);
    } catch (const Failure &failure) {
        verdict.deep->findings.add({FindingId::unreadable, {}, {}, failure.what(), "a sound file"});
    }
    if (findings.faults() == 0) add_words_of_library(options, &verdict);
    const FindingList &all = verdict.deep->findings;
    if (all.faults() == 0) return verdict;
    verdict.fault = counts_text(all);
    verdict.bad_track = first_bad_track(all);
    if (options.store && !options.quiet) complain(file, "warning: has faults, nothing is stored");
    return verdict;
}

} // namespace

Verdict check_file(const CheckOptions &options, const std::string &file) {
    if (options.depth == Depth::deep) return check_all(options, file);
    Nature nature;
    return check_by_library(options, file, &nature);
}

} // namespace vor::tool
