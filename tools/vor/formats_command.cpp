// vor formats: the formats that are there and those that could be loaded. All of them are loaded,
// so that it is told what they can do, and which of them cannot be had.

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include <strings.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "commands.h"
#include "formats/formats.h"
#include "platform/directories.h"
#include "platform/kel.h"
#include "report.h"
#include "runtime/config_file.h"
#include "safe_output.h"
#include "track_source.h"
#include "util/install.h"
#include "vor/vor.h"

namespace vor::tool {
namespace {

using Json = nlohmann::ordered_json;
using Names = std::vector<std::string>;

struct Options {
    bool json = false;
};

// A row of the file ".formats".
struct ListedFormat {
    std::string name;
    Names suffixes;
};

struct Facts {
    std::string name;
    bool built_in = false;
    bool reads = false;
    bool writes = false;
    bool updates = false;
    Names suffixes; // that the format calls its own
    Names loaded_for;
    std::string fault; // why it cannot be had
};

struct Findings {
    std::string table; // the file ".formats"; empty if there is none
    std::vector<ListedFormat> listed;
    std::vector<Facts> formats;
};

Names split(const std::string &list) {
    Names items;
    std::istringstream text(list);
    for (std::string item; std::getline(text, item, ':');)
        if (!item.empty()) items.push_back(item);
    return items;
}

// ---- looking ----

// Fields end where the library has them end.
std::string take_field(std::string_view *line) {
    const auto ends = [](char c) {
        return static_cast<unsigned char>(c) <= ' ' || c == '\x7F' || c == '#';
    };
    const auto end = std::find_if(line->begin(), line->end(), ends);
    std::string field(line->begin(), end);
    line->remove_prefix(field.size());
    return field;
}

void read_table(Findings *findings) {
    config_file_t file;
    if (init_config_file(&file, ".formats", 0) < 0) return;
    findings->table = file.path;
    while (read_config_line(&file) >= 0) {
        std::string_view line = trim_config_line(&file);
        const std::string name = take_field(&line);
        line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
        const std::string suffixes = take_field(&line);
        if (!name.empty() && suffixes.starts_with('.')) {
            findings->listed.push_back({name, split(suffixes)});
        }
    }
    close_config_file(&file);
}

// The names of the modules beside this program, in order.
std::set<std::string> modules() {
    constexpr std::string_view mark = "_cvtformat";
    std::set<std::string> names;
    const std::string directory = kel_runtime_topdir() + std::string("/plugins");
    kel_DIR *const stream = kel_opendir(directory.c_str());
    if (!stream) return names;
    while (const kel_dirent *const entry = kel_readdir(stream)) {
        const std::string file = entry->d_name;
        const size_t at = file.find(mark);
        if (at == std::string::npos || at == 0) continue;
        const std::string rest = file.substr(at + mark.size());
        if (rest.empty() || rest.starts_with('.')) names.insert(file.substr(0, at));
    }
    kel_closedir(stream);
    return names;
}

// Writes a small file of a format under a name of its own. False if that fails.
bool write_small_file(SafeOutput *file, int32_t type) {
    const int32_t fd = file->take();
    Handle h(lfdopen(fd, file->temporary().c_str(), LF_WRITE, type, nullptr));
    if (!h) {
        kel_close(fd);
        return false;
    }
    constexpr int32_t size = 8;
    trackbuf track;
    if (lfsetsize(h.get(), size, size) < 0 || gtgrow(&track, 1, 1, 0) < 0) return false;
    bool good = lffill(&track, size, 0) == 1;
    for (int32_t n = 0; n < size; ++n)
        good = good && lfwrite(h.get(), &track, n) >= 0;
    gtfree(&track);
    return good && lfclose(h.release()) == 0;
}

// Only a file tells whether a format takes one for an update.
bool can_update(int32_t row) {
    const KeepReports silence;
    const int32_t type = lffdev(row, VT_FW88);
    const std::string name = format("vor-formats-%ld", static_cast<long>(getpid()));
    try {
        SafeOutput file((std::filesystem::temp_directory_path() / name).string());
        if (!write_small_file(&file, type)) return false;
        const Handle h(lfopen(file.temporary().c_str(), LF_UPDATE | LF_FORCETYPE, type, nullptr));
        return h != nullptr;
    } catch (const Failure &) {
        return false;
    }
}

bool lists(const ListedFormat &row, const std::string &suffix) {
    return std::any_of(row.suffixes.begin(), row.suffixes.end(), [&](const std::string &item) {
        return ::strcasecmp(item.c_str(), suffix.c_str()) == 0;
    });
}

// Of the rows that list a suffix the first one counts.
Names loaded_by_table(const std::vector<ListedFormat> &rows, const std::string &name) {
    Names suffixes;
    for (auto row = rows.begin(); row != rows.end(); ++row) {
        if (row->name != name) continue;
        for (const std::string &suffix : row->suffixes)
            if (std::none_of(rows.begin(), row,
                             [&](const ListedFormat &earlier) { return lists(earlier, suffix); })) {
                suffixes.push_back(suffix);
            }
    }
    return suffixes;
}

// The suffixes that make lfopen load a format: those of the table or, without one, its name, which
// is looked for in small letters.
Names loaded_for(const Findings &findings, const std::string &name) {
    if (std::getenv("KEL_NO_AUTOLOAD")) return {};
    if (!findings.table.empty()) return loaded_by_table(findings.listed, name);
    const bool has_capitals =
        std::any_of(name.begin(), name.end(), [](char c) { return c >= 'A' && c <= 'Z'; });
    return has_capitals ? Names{} : Names{"." + name};
}

Facts facts_of(int32_t row) {
    const lffmt_t *const format = lfdescriptor(row);
    const char *const suffixes = lffmtsuffixlist(row);
    Facts facts;
    facts.name = format->name;
    facts.built_in = row == 0;
    facts.reads = format->detect != nullptr;
    facts.writes = format->wrsetup != nullptr;
    facts.updates = facts.reads && facts.writes && can_update(row);
    if (suffixes) facts.suffixes = split(suffixes);
    return facts;
}

void load(const std::string &name, Findings *findings) {
    const LoadingFormats loading;
    const KeepReports reports;
    if (lfloadfmt(name.c_str()) >= 0) return;
    Facts facts;
    facts.name = name;
    facts.fault = reports.first("cannot be loaded");
    findings->formats.push_back(facts);
}

Findings look() {
    Findings findings;
    read_table(&findings);
    lfregisterfmt(nullptr);
    std::set<std::string> names = modules();
    for (const ListedFormat &listed : findings.listed)
        names.insert(listed.name);
    for (const std::string &name : names)
        load(name, &findings);
    std::vector<Facts> good;
    for (int32_t row = 0; lfdescriptor(row); ++row)
        good.push_back(facts_of(row));
    findings.formats.insert(findings.formats.begin(), good.begin(), good.end());
    for (Facts &facts : findings.formats)
        if (!facts.built_in) facts.loaded_for = loaded_for(findings, facts.name);
    return findings;
}

// ---- printing ----

std::string joined(const Names &names) {
    std::string text;
    for (const std::string &name : names)
        text += (text.empty() ? "" : " ") + name;
    return text;
}

std::string abilities(const Facts &facts) {
    Names words;
    if (facts.reads) words.emplace_back("read");
    if (facts.writes) words.emplace_back("write");
    if (facts.updates) words.emplace_back("update");
    return joined(words);
}

void print_text(const Findings &findings) {
    for (const Facts &facts : findings.formats) {
        std::cout << facts.name << "\n";
        if (!facts.fault.empty()) {
            std::cout << "  cannot be had: " << facts.fault << "\n";
            continue;
        }
        std::cout << "  can:      " << abilities(facts) << "\n";
        std::cout << "  suffixes: " << joined(facts.suffixes) << "\n";
        std::cout << "  loaded:   ";
        if (facts.built_in) {
            std::cout << "always\n";
        } else {
            std::cout << (facts.loaded_for.empty() ? "by name" : "for " + joined(facts.loaded_for))
                      << "\n";
        }
    }
}

Json json_facts(const Facts &facts) {
    if (!facts.fault.empty()) return {{"name", facts.name}, {"error", facts.fault}};
    return {{"name", facts.name},
            {"built_in", facts.built_in},
            {"read", facts.reads},
            {"write", facts.writes},
            {"update", facts.updates},
            {"suffixes", facts.suffixes},
            {"loaded_for", facts.loaded_for}};
}

void print_json(const Findings &findings) {
    Json list = Json::array();
    for (const Facts &facts : findings.formats)
        list.push_back(json_facts(facts));
    const Json json = {{"suffix_table", findings.table.empty() ? Json() : Json(findings.table)},
                       {"formats", list}};
    std::cout << json.dump(2, ' ', false, Json::error_handler_t::replace) << "\n";
}

int run(const Options &options) {
    start_reports(true);
    const Findings findings = look();
    if (options.json) {
        print_json(findings);
    } else {
        print_text(findings);
    }
    const bool all_good = std::all_of(findings.formats.begin(), findings.formats.end(),
                                      [](const Facts &facts) { return facts.fault.empty(); });
    return all_good ? good : failed;
}

} // namespace

void add_formats(CLI::App *app, Job *job) {
    auto options = std::make_shared<Options>();
    CLI::App *command = app->add_subcommand("formats", "Lists the formats and what they can do");
    command->add_flag("--json", options->json, "Print an object");
    command->footer(
        "Formats other than vor are modules in the directory plugins beside that of the "
        "program. They are\nloaded for the suffix of a file: the parameter file .formats "
        "tells which or, without one, the suffix\nis the name. The status is 1 if one "
        "cannot be had.\n"
        "Example:\n  vor formats --json");
    command->callback([=] { *job = [=] { return run(*options); }; });
}

} // namespace vor::tool
