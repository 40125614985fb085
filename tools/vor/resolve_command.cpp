// vor resolve: what becomes of a name on the road of a program that opens a raster: the search, and
// on request the conversion by the user's rules.

#include <algorithm>
#include <cstring>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "colour/autoconvert.h"
#include "commands.h"
#include "platform/kel.h"
#include "report.h"
#include "runtime/config_file.h"
#include "runtime/path_search.h"

namespace vor::tool {
namespace {

using Json = nlohmann::ordered_json;

struct Options {
    std::string name;
    std::string path = ".";
    bool convert = false;
    bool json = false;
};

struct Search {
    std::string file; // empty if there is none of the name
    std::optional<lfinfo> image;
};

struct Conversion {
    int32_t result = 0;
    std::string name;
    Search search;
};

struct Findings {
    Search search;
    std::string rules; // the rule file; empty if there is none
    std::optional<Conversion> conversion;
};

// What others print to the standard output stream goes to the error stream meanwhile, so that it
// does not get into a report. No command inherits the stream.
class OutputToErrors {
public:
    OutputToErrors() : saved_(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0)) {
        std::cout.flush();
        if (saved_ >= 0) ::dup2(STDERR_FILENO, STDOUT_FILENO);
    }
    ~OutputToErrors() {
        if (saved_ < 0) return;
        ::dup2(saved_, STDOUT_FILENO);
        ::close(saved_);
    }
    OutputToErrors(const OutputToErrors &) = delete;
    OutputToErrors &operator=(const OutputToErrors &) = delete;

private:
    int saved_;
};

// ---- looking ----

Search search(const std::string &name) {
    std::vector<char> buffer(name.begin(), name.end());
    buffer.resize(std::max<size_t>(name.size() + 1, FINDFILE_ROOM));
    lfinfo info;
    std::memset(&info, 0, sizeof info);
    const KeepReports silence;
    Search result;
    const bool opens = vorsearch(buffer.data(), nullptr, &info, VORSEARCH_RENAME) == 0;
    if (kel_access(buffer.data(), KEL_F_OK) == 0) result.file = buffer.data();
    if (opens) result.image = info;
    return result;
}

std::string rule_file() {
    config_file_t file;
    if (init_config_file(&file, ".autoconvert", CF_CLOSE) < 0) return "";
    std::string path = file.path;
    close_config_file(&file);
    return path;
}

Conversion convert(const std::string &name) {
    std::string buffer = name;
    buffer.resize(name.size() + sizeof ".vor");
    Conversion conversion;
    {
        const OutputToErrors redirected;
        conversion.result = autoconvert(buffer.data());
    }
    buffer.resize(std::strlen(buffer.data()));
    conversion.name = buffer;
    if (conversion.result == 0) conversion.search = search(conversion.name);
    return conversion;
}

Findings look(const Options &options) {
    vorsearch(nullptr, options.path.c_str(), nullptr, 0);
    Findings findings;
    findings.search = search(options.name);
    findings.rules = rule_file();
    if (options.convert) findings.conversion = convert(options.name);
    return findings;
}

// ---- printing ----

const char *meaning_of(int32_t result) {
    switch (result) {
    case 0:
        return "converted";
    case AUTOCONVERT_FAILED:
        return "the command failed, or the rule has none";
    case AUTOCONVERT_NO_FILE:
        return "no such file";
    default:
        return "no rule serves it";
    }
}

void line(const char *label, const std::string &value) {
    std::cout << format("  %-10s %s\n", label, value.c_str());
}

void print_search(const Search &search) {
    line("found", search.file.empty() ? "nothing" : search.file);
    if (search.image) {
        line("image", format("%s, %d tracks x %d pixels", search.image->type_name,
                             search.image->xsize, search.image->ysize));
    } else if (!search.file.empty()) {
        line("image", "none that can be opened");
    }
}

void print_text(const Options &options, const Findings &findings) {
    std::cout << options.name << "\n";
    print_search(findings.search);
    line("rules", findings.rules.empty() ? "none" : findings.rules);
    if (!findings.conversion) return;
    line("conversion", meaning_of(findings.conversion->result));
    if (findings.conversion->result != 0) return;
    std::cout << findings.conversion->name << "\n";
    print_search(findings.conversion->search);
}

Json text_or_null(const std::string &text) {
    return text.empty() ? Json() : Json(text);
}

Json json_search(const Search &search) {
    Json json = {{"found", text_or_null(search.file)}, {"opens", search.image.has_value()}};
    if (search.image) {
        json["format"] = search.image->type_name;
        json["tracks"] = search.image->xsize;
        json["pixels"] = search.image->ysize;
    }
    return json;
}

void print_json(const Options &options, const Findings &findings) {
    Json json = {{"name", options.name}, {"path", options.path}};
    json.update(json_search(findings.search));
    json["rules"] = text_or_null(findings.rules);
    if (findings.conversion) {
        const Conversion &conversion = *findings.conversion;
        Json &part = json["conversion"];
        part = {{"result", conversion.result}, {"name", conversion.name}};
        if (conversion.result == 0) part.update(json_search(conversion.search));
    }
    std::cout << json.dump(2, ' ', false, Json::error_handler_t::replace) << "\n";
}

int run(const Options &options) {
    start_reports(true);
    if (options.name.empty()) throw WrongUsage("NAME is empty");
    const Findings findings = look(options);
    if (options.json) {
        print_json(options, findings);
    } else {
        print_text(options, findings);
    }
    const Search &last = findings.conversion ? findings.conversion->search : findings.search;
    return last.image ? good : failed;
}

} // namespace

void add_resolve(CLI::App *app, Job *job) {
    auto options = std::make_shared<Options>();
    CLI::App *command =
        app->add_subcommand("resolve", "Shows which file a name means, and converts it by rule");
    command->add_option("NAME", options->name, "Of a raster, or of a job: job.ps:M")->required();
    command
        ->add_option("--path", options->path,
                     "Directories to search, separated by ;, an empty one being the current one")
        ->capture_default_str();
    command->add_flag("--convert", options->convert,
                      "Run the rule of .autoconvert for NAME, as it stands; what its command "
                      "prints goes to the standard error stream");
    command->add_flag("--json", options->json, "Print an object");
    command->footer("The status is 1 if there is no image to open, with --convert no converted "
                    "one.\nExample:\n  vor resolve job.ps:M --convert");
    command->callback([=] { *job = [=] { return run(*options); }; });
}

} // namespace vor::tool
