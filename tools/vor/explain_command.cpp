// vor explain: what the bytes of a native file mean, for those who write programs that read it.

#include <charconv>
#include <memory>
#include <optional>
#include <string>

#include "commands.h"
#include "explain_rows.h"
#include "explain_tracks.h"
#include "interrupt.h"
#include "report.h"
#include "track_range.h"

namespace vor::tool {
namespace {

struct Options {
    std::string file;
    std::string tracks;
    std::string offset;
    bool all = false;
    bool json = false;
    bool quiet = false;
};

// An offset in decimal, or in hexadecimal behind 0x.
std::optional<int64_t> parse_offset(std::string_view text) {
    const bool hex = text.starts_with("0x") || text.starts_with("0X");
    if (hex) text.remove_prefix(2);
    int64_t offset = 0;
    const char *end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, offset, hex ? 16 : 10);
    if (error != std::errc() || rest != end || offset < 0) return std::nullopt;
    return offset;
}

std::string check_offset(const std::string &text) {
    return parse_offset(text) ? "" : "not an offset: " + text;
}

std::string check_range(const std::string &text) {
    return parse_track_range(text) ? "" : "not a range of tracks: " + text;
}

// ---- the whole file

constexpr int64_t most_told = 3; // of tracks, where not all are asked for

void explain_stretch(RowWriter *writer, TrackExplainer *explainer, int64_t first, int64_t end,
                     RowAmount amount) {
    for (int64_t track = first; track < end; ++track) {
        stop_if_interrupted();
        if (explainer->explain(track, amount)) continue;
        writer->more(end - track - 1, "tracks");
        break;
    }
}

// The first and the last track, or all.
void explain_tracks(RowWriter *writer, const Options &options) {
    const NativeLayout &layout = writer->layout();
    const int64_t tracks = layout.header.tracks;
    writer->begin_part(
        {"tracks", layout.tracks_begin, layout.tracks_end - layout.tracks_begin,
         format("%lld tracks of %u pixels", static_cast<long long>(tracks), layout.header.pixels)});
    if (layout.has(HF_TILED)) {
        writer->remark(layout.tracks_begin, "fault", "cut into tiles, which are not explained");
        return;
    }
    if (layout.deflated() && !layout.find(SectionKind::seek_table)) {
        writer->remark(layout.tracks_begin, "fault", "deflated tracks without a seek table");
    }
    TrackExplainer explainer(writer, options.quiet);
    if (options.all || tracks <= most_told) {
        explain_stretch(writer, &explainer, 0, tracks, {options.all});
        return;
    }
    writer->more(tracks - 2, "tracks between the first and the last");
    explainer.explain(0, {});
    explainer.explain(tracks - 1, {});
}

void explain_file(RowWriter *writer, const Options &options) {
    explain_header(writer);
    explain_tracks(writer, options);
    const NativeLayout &layout = writer->layout();
    const auto unused = unused_ranges(layout);
    auto range = unused.begin();
    for (const NativeSection &section : layout.sections) {
        for (; range != unused.end() && range->begin < section.offset; ++range)
            explain_unused(writer, *range);
        explain_section(writer, section, {options.all});
    }
    for (; range != unused.end(); ++range)
        explain_unused(writer, *range);
}

// ---- parts of it

void explain_range(RowWriter *writer, const Options &options) {
    const TrackRange range = *parse_track_range(options.tracks);
    TrackExplainer explainer(writer, options.quiet);
    explain_stretch(writer, &explainer, range.first,
                    range.end.value_or(writer->layout().header.tracks), {true});
}

bool holds(const NativeSection &section, int64_t offset) {
    return offset >= section.offset && offset < section.end();
}

void explain_offset(RowWriter *writer, const Options &options, int64_t offset) {
    const NativeLayout &layout = writer->layout();
    explain_header(writer);
    for (const NativeSection &section : layout.sections) {
        if (holds(section, offset)) explain_section(writer, section, {});
    }
    if (!writer->told()) TrackExplainer(writer, options.quiet).explain_around(offset);
    for (const ByteRange &range : unused_ranges(layout)) {
        if (!writer->told()) explain_unused(writer, range);
    }
}

// Throws a Failure about what the file does not have.
void check_request(const Options &options, const NativeLayout &layout,
                   std::optional<int64_t> offset) {
    const int64_t tracks = layout.header.tracks;
    const auto range = parse_track_range(options.tracks);
    if (range && (range->first > tracks || range->end.value_or(0) > tracks)) {
        throw Failure(options.file, format("has %lld tracks", static_cast<long long>(tracks)));
    }
    if (offset && *offset >= layout.file_bytes) {
        throw Failure(options.file, format("has %lld bytes, none at %s",
                                           static_cast<long long>(layout.file_bytes),
                                           hexadecimal(*offset).c_str()));
    }
}

int run(const Options &options) {
    start_reports(options.quiet);
    FileBytes file(options.file);
    const std::optional<NativeLayout> layout = read_layout(file);
    if (!layout) throw Failure(options.file, "is not a native file");
    const std::optional<int64_t> offset = parse_offset(options.offset);
    check_request(options, *layout, offset);
    const std::unique_ptr<RowSink> sink =
        options.json ? make_json_sink(options.file) : make_text_sink(options.file);
    RowWriter writer(file, *layout, *sink, offset);
    sink->begin(*layout);
    if (offset) {
        explain_offset(&writer, options, *offset);
    } else if (!options.tracks.empty()) {
        explain_range(&writer, options);
    } else {
        explain_file(&writer, options);
    }
    sink->end(writer.damaged());
    return writer.damaged() ? failed : good;
}

} // namespace

void add_explain(CLI::App *app, Job *job) {
    auto options = std::make_shared<Options>();
    CLI::App *command =
        app->add_subcommand("explain", "Tells what the bytes of a native file mean");
    command->add_option("FILE", options->file, "Native track file")->required();
    CLI::Option *tracks =
        command
            ->add_option("--tracks", options->tracks,
                         "A:B: these tracks alone, code by code; B is exclusive, either may be "
                         "left out, one number is one track")
            ->check(check_range);
    CLI::Option *offset = command
                              ->add_option("--offset", options->offset,
                                           "The one field, entry, code or stream that the byte at "
                                           "this offset lies in; decimal or 0x...")
                              ->check(check_offset)
                              ->excludes(tracks);
    command->add_flag("--all", options->all, "Every entry and every track, however many")
        ->excludes(tracks)
        ->excludes(offset);
    command->add_flag("--json", options->json, "Print an object, a line for each row");
    command->add_flag("-q,--quiet", options->quiet, "No progress");
    command->footer("A row has an offset, the first bytes there, their field, its value and what "
                    "it means. Rows "
                    "that begin with ! are damaged; then the exit status is 1.\n"
                    "Example:\n  vor explain label.vor\n"
                    "  vor explain label.vor --tracks 17\n"
                    "  vor explain label.vor --offset 0x1F40");
    command->callback([=] { *job = [=] { return run(*options); }; });
}

} // namespace vor::tool
