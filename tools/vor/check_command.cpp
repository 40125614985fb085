// vor check: proves that files are sound, as far as one of three depths goes.

#include <cinttypes>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "check_file.h"
#include "commands.h"
#include "report.h"

namespace vor::tool {
namespace {

using Json = nlohmann::ordered_json;

constexpr uint32_t most_counted = 0x7FFFFFFF; // pixels of a colour; more show as this

struct Options {
    std::vector<std::string> files;
    CheckOptions check;
    bool full = false;
    bool deep = false;
    bool list = false;
    bool json = false;
};

void print_json(const Json &json) {
    std::cout << json.dump(2, ' ', false, Json::error_handler_t::replace) << "\n";
}

// ---- text

std::string finding_text(const Finding &finding) {
    const FindingKind &kind = kind_of(finding.id);
    std::string text = format("  %s %s", severity_name(kind.severity), kind.name);
    if (finding.offset) text += format(" at byte %" PRId64, *finding.offset);
    if (finding.track) {
        text += format("%s track %" PRId64, finding.offset ? "," : " in", *finding.track);
    }
    return text + ": " + finding.found + ", expected " + finding.expected;
}

void print_share(const char *what, int64_t bytes, int64_t all) {
    const double percent =
        all == 0 ? 0 : 100 * static_cast<double>(bytes) / static_cast<double>(all);
    std::cout << format("  protected by %s: %" PRId64 " of %" PRId64 " bytes (%.1f %%)\n", what,
                        bytes, all, percent);
}

void print_findings(const DeepReport &report) {
    for (const Finding &finding : report.findings.kept())
        std::cout << finding_text(finding) << "\n";
    const int64_t more =
        report.findings.total() - static_cast<int64_t>(report.findings.kept().size());
    if (more > 0) std::cout << format("  ... %" PRId64 " more\n", more);
    if (!report.share) return;
    print_share("a checksum", report.share->by_checksum, report.share->file_bytes);
    print_share("structure", report.share->by_structure, report.share->file_bytes);
}

std::string warnings_text(const Verdict &verdict) {
    if (!verdict.deep || verdict.deep->findings.warnings() == 0) return "";
    const int64_t count = verdict.deep->findings.warnings();
    return format(", %" PRId64 " warning%s", count, count == 1 ? "" : "s");
}

void print_text(const Verdict &verdict) {
    const ckvor_t &r = verdict.record;
    if (!verdict.fault.empty()) {
        std::cout << verdict.file << ": bad: " << verdict.fault << "\n";
    } else {
        std::cout << verdict.file
                  << format(": good: %d tracks of %d pixels, longest %d codes, average %d%s",
                            r.tracks, r.pixels, r.fwmax, r.avgruns,
                            verdict.walked ? "" : " (by the header)")
                  << warnings_text(verdict) << "\n";
    }
    if (verdict.deep) print_findings(*verdict.deep);
    if (!verdict.fault.empty()) return;
    for (const ColourCount &count : verdict.colours)
        std::cout << format("  colour %4d: %s%u pixels\n", count.colour,
                            count.pixels >= most_counted ? "at least " : "", count.pixels);
}

// ---- JSON

Json json_or_null(const std::optional<int64_t> &value) {
    return value ? Json(*value) : Json(nullptr);
}

Json json_finding(const Finding &finding) {
    const FindingKind &kind = kind_of(finding.id);
    return {{"id", kind.name},
            {"severity", severity_name(kind.severity)},
            {"track", json_or_null(finding.track)},
            {"offset", json_or_null(finding.offset)},
            {"found", finding.found},
            {"expected", finding.expected}};
}

void add_report(const DeepReport &report, Json *json) {
    (*json)["faults"] = report.findings.faults();
    (*json)["warnings"] = report.findings.warnings();
    Json &findings = (*json)["findings"] = Json::array();
    for (const Finding &finding : report.findings.kept())
        findings.push_back(json_finding(finding));
    (*json)["protected"] = nullptr;
    if (!report.share) return;
    (*json)["protected"] = {{"file_bytes", report.share->file_bytes},
                            {"by_checksum", report.share->by_checksum},
                            {"by_structure", report.share->by_structure}};
}

Json json_verdict(const Options &options, const Verdict &verdict) {
    const ckvor_t &r = verdict.record;
    Json json = {{"file", verdict.file},     {"good", verdict.fault.empty()},
                 {"fault", nullptr},         {"bad_track", json_or_null(verdict.bad_track)},
                 {"status", r.status},       {"walked", verdict.walked},
                 {"tracks", r.tracks},       {"pixels", r.pixels},
                 {"longest_track", r.fwmax}, {"average_codes", r.avgruns}};
    if (!verdict.fault.empty()) json["fault"] = verdict.fault;
    if (verdict.deep) add_report(*verdict.deep, &json);
    if (!options.check.colours) return json;
    json["colours"] = Json::array();
    for (const ColourCount &count : verdict.colours)
        json["colours"].push_back({{"colour", count.colour}, {"pixels", count.pixels}});
    return json;
}

// ---- jobs

int list_findings(const Options &options) {
    Json list = Json::array();
    for (const FindingKind &kind : finding_kinds()) {
        const char *severity = severity_name(kind.severity);
        if (options.json) {
            list.push_back({{"id", kind.name}, {"severity", severity}, {"meaning", kind.meaning}});
        } else {
            std::cout << format("%-19s %-8s %s\n", kind.name, severity, kind.meaning);
        }
    }
    if (options.json) print_json(list);
    return good;
}

CheckOptions depth_of(const Options &options) {
    CheckOptions check = options.check;
    check.depth = options.deep ? Depth::deep : options.full ? Depth::full : Depth::quick;
    return check;
}

int check_files(const Options &options) {
    const CheckOptions check = depth_of(options);
    start_reports(check.quiet);
    Json list = Json::array();
    int status = good;
    for (const std::string &file : options.files) {
        const Verdict verdict = check_file(check, file);
        if (!verdict.fault.empty()) status = failed;
        if (options.json) {
            list.push_back(json_verdict(options, verdict));
        } else if (!check.quiet || !verdict.fault.empty()) {
            print_text(verdict);
        }
        std::cout.flush();
        check_output();
    }
    if (options.json) print_json(list);
    return status;
}

int run(const Options &options) {
    if (options.list) return list_findings(options);
    if (options.files.empty()) throw WrongUsage("FILE is required");
    return check_files(options);
}

void add_deep_options(CLI::App *command, Options *options) {
    CLI::Option *deep =
        command->add_flag("--deep", options->deep,
                          "Hold every byte against the others, list all that is found, and tell "
                          "which share of the file is protected (implies --full)");
    command
        ->add_option("--findings", options->check.most_findings,
                     "Findings to print of a file; all are counted")
        ->capture_default_str()
        ->check(CLI::Range(0, INT32_MAX))
        ->needs(deep);
    command->add_flag("--list-findings", options->list,
                      "List what --deep can find: name, severity, meaning");
}

} // namespace

void add_check(CLI::App *app, Job *job) {
    auto options = std::make_shared<Options>();
    CLI::App *command = app->add_subcommand("check", "Proves that the tracks of files add up");
    command->add_option("FILE", options->files, "Track files or pictures");
    command->add_flag("--full", options->full,
                      "Read every track, also where the header can be trusted");
    add_deep_options(command, options.get());
    command->add_flag("--store", options->check.store,
                      "Store the longest track in the file (implies --full)");
    command->add_flag("--colours", options->check.colours,
                      "Count the pixels of each colour (implies --full)");
    command->add_flag("--json", options->json, "Print an array of objects, one a file");
    command->add_flag("-q,--quiet", options->check.quiet, "No progress, no lines for good files");
    command->footer("Deflated files and other formats are always read whole. A file with faults "
                    "is bad; one with warnings alone is good. With --deep, nothing is stored in "
                    "a file with faults, and colours are counted in files without.\n"
                    "Example:\n  vor check --full label.vor\n"
                    "  vor check --deep --json label.vor");
    command->callback([=] { *job = [=] { return run(*options); }; });
}

} // namespace vor::tool
