// vor settings: what programs make of an rc file. They read it in g_init, and so does this; what
// g_init reports is a fault here, but ends nothing, and leaves no trace in the machine's log.

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "captured_errors.h"
#include "commands.h"
#include "config/gd.h"
#include "config/rc.h"
#include "config/units.h"
#include "report.h"
#include "runtime/catalogue.h"
#include "runtime/log.h"
#include "settings_keys.h"
#include "util/paths.h"

namespace vor::tool {
namespace {

using Json = nlohmann::ordered_json;

struct Options {
    std::string file;    // empty: that of the environment
    std::string explain; // a key
    bool keys = false;
    bool json = false;
};

struct Fault {
    std::string level;
    std::string text;
};

struct Setting {
    std::string key;
    std::string value;
    uint32_t flags = 0; // RCE_ values; 0 in the environment
};

struct Findings {
    std::string file;
    bool usable = false; // otherwise the settings are those of the environment
    std::vector<Setting> settings;
    std::vector<Fault> faults;
};

// ---- reports ----

// The hook of the log gets no pointer of ours, so what it hears lies here.
std::vector<Fault> heard;

// Behind the time and the program, a line has its level in brackets. A note tells more of the fault
// before it: from where the file was included.
void hear(const char *line) {
    const std::string_view text = line;
    const size_t open = text.find('[');
    const size_t close = text.find("]: ", open);
    if (close == std::string_view::npos) return;
    Fault fault{std::string(text.substr(open + 1, close - open - 1)),
                std::string(text.substr(close + 3))};
    while (fault.text.ends_with('\n'))
        fault.text.pop_back();
    if (fault.level == "Info") return;
    if (fault.level != "Note") {
        heard.push_back(fault);
    } else if (!heard.empty()) {
        heard.back().text += ", " + fault.text;
    }
}

// For the life of the object, the log is heard by this program alone. It stays without a file,
// since naming the machine's own, if that is large, would move it away.
class PrivateLog {
public:
    PrivateLog() {
        heard.clear();
        logmesg_set_file("/dev/null"); // no log goes to what is no regular file
        logmesg_set_hook(hear);
    }
    ~PrivateLog() { logmesg_set_hook(nullptr); }
    PrivateLog(const PrivateLog &) = delete;
    PrivateLog &operator=(const PrivateLog &) = delete;
};

// ---- what is set ----

// A bare name would be looked for in the home directory, and the user means this one.
void name_file(const std::string &file) {
    if (file.empty()) return;
    const bool has_place = isabs_path(file.c_str()) || file.starts_with("./");
    const std::string path = has_place ? file : "./" + file;
    ::setenv("GRAVURRC", path.c_str(), 1);
}

std::string full_path() {
    char path[RC_PATH_ROOM];
    rcfullpath(path, nullptr);
    return path;
}

bool is_read(const std::string &name) {
    const SettingKey *key = find_setting_key(name);
    return key && key->source == KeySource::settings;
}

std::vector<Setting> settings_of_file() {
    std::vector<Setting> settings;
    rc_entry_t entry{};
    entry.size = RC_ENTRY_SIZE;
    while (rc_entry(&entry, RC_ENTRY_NEXT) == 0)
        settings.push_back({entry.key, entry.value, entry.flags});
    return settings;
}

std::vector<Setting> settings_of_environment() {
    std::vector<Setting> settings;
    const auto look_up = [&](const std::string &name) {
        if (const char *value = std::getenv(name.c_str())) settings.push_back({name, value});
    };
    for (const SettingKey &key : setting_keys()) {
        if (key.name == "STEP.0") look_up("STEP"); // its other name
        if (key.source == KeySource::settings) look_up(std::string(key.name));
    }
    return settings;
}

// ---- the record ----

Json text_or_null(const char *text) {
    return text ? Json(text) : Json();
}

// A float as short as it was written.
double as_written(float value) {
    return std::strtod(format("%.6g", static_cast<double>(value)).c_str(), nullptr);
}

// A number, or what there is none for in JSON as a text.
Json number_or_text(double value) {
    return std::isfinite(value) ? Json(value) : Json(format("%g", value));
}

void add_places(Json *record) {
    Json &json = *record;
    json["topdir"] = text_or_null(gd.topdir);
    json["homedir"] = text_or_null(gd.homedir);
    json["tmpdir"] = text_or_null(gd.tmpdir);
    json["defaultdir"] = text_or_null(gd.defaultdir);
    json["vorpath"] = text_or_null(gd.vorpath);
    json["colorpath"] = text_or_null(gd.colorpath);
    json["execdir"] = text_or_null(gd.execdir);
    json["path"] = text_or_null(gd.path);
    json["rasterdir"] = text_or_null(gd.rasterdir);
    json["patterndir"] = text_or_null(gd.patterndir);
}

void add_motion(Json *record) {
    Json &json = *record;
    json["yescode"] = gd.yescode;
    json["nocode"] = gd.nocode;
    json["verbosity"] = gd.verbosity;
    json["motor_altway"] = gd.motor_altway;
    json["motor_blockadv"] = gd.motor_blockadv;
    json["sfifodevice"] = text_or_null(gd.sfifodevice);
    json["gfifodevice"] = text_or_null(gd.gfifodevice);
    for (const double step : gd.step)
        json["step"].push_back(number_or_text(step));
    json["defaultcolor"] = gd.defaultcolor;
    json["sencoder"] = gd.sencoder;
    json["sencoder_mode"] = gd.sencoder_mode;
    json["gencoder"] = gd.gencoder;
    json["gencoder_mode"] = gd.gencoder_mode;
    json["maxdrehzahl"] = gd.maxdrehzahl;
    json["autoenabled"] = gd.autoenabled;
    json["anilox_opt"] = gd.anilox_opt;
    json["anilox30"] = gd.anilox30;
    json["standbyfreq"] = as_written(gd.standbyfreq);
    json["atimescale"] = as_written(gd.atimescale);
    json["gfocus"] = gd.gfocus;
    json["sfocus"] = gd.sfocus;
}

void add_work(Json *record) {
    Json &json = *record;
    json["paperwidth"] = number_or_text(gd.paperwidth);
    json["paperheight"] = number_or_text(gd.paperheight);
    json["gravonly"] = gd.gravonly;
    json["scanonly"] = gd.scanonly;
    json["grav_way"] = gd.grav_way;
    json["displayprecision"] = gd.displayprecision;
    json["ilm_sstart"] = gd.ilm_sstart;
    json["ilm_srun"] = gd.ilm_srun;
    json["ilm_gstart"] = gd.ilm_gstart;
    json["ilm_grun"] = gd.ilm_grun;
    json["ilm_fstart"] = gd.ilm_fstart;
    json["ilm_frun"] = gd.ilm_frun;
    json["motorsencoder"] = gd.motorsencoder;
    json["motorgencoder"] = gd.motorgencoder;
    json["motordevice"] = text_or_null(gd.motordevice);
    json["language"] = gd.language;
    json["imperial"] = gd.imperial;
}

void add_surroundings(Json *record) {
    Json &json = *record;
    json["include_list"] = text_or_null(include_list);
    json["exclude_list"] = text_or_null(exclude_list);
    json["options_list"] = text_or_null(options_list);
    json["text_basedir"] = text_or_null(text_basedir);
    json["unit_size"] = unitname(UNIT_SIZE);
    json["unit_raster"] = unitname(UNIT_RASTER);
    json["unit_speed"] = unitname(UNIT_SPEED);
    json["unit_advance"] = unitname(UNIT_ADVANCE);
}

// The record in its order, but for what every program finds the same or has of its own, and then
// what else g_init sets.
Json record_of_program() {
    Json record;
    add_places(&record);
    add_motion(&record);
    add_work(&record);
    add_surroundings(&record);
    return record;
}

// ---- looking ----

Findings look(const Options &options) {
    static char program[] = "vor";
    name_file(options.file);
    Findings findings;
    findings.file = full_path();
    CapturedErrors errors;
    {
        const PrivateLog log;
        findings.usable = readrcfile(nullptr, 0) == 0;
        heard.clear(); // g_init reports it again
        g_init(program, G_NOEXIT | G_QUIET);
        findings.faults = heard;
    }
    for (const std::string &line : errors.lines())
        findings.faults.push_back({"Warning", line});
    findings.settings = findings.usable ? settings_of_file() : settings_of_environment();
    return findings;
}

// ---- printing ----

std::string dumped(const Json &json, int indent = -1) {
    return json.dump(indent, ' ', false, Json::error_handler_t::replace);
}

// A text in one line, as it stands but for control characters.
std::string in_one_line(const std::string &text) {
    std::string line;
    for (const char c : text)
        line += static_cast<unsigned char>(c) < ' ' ? format("\\x%02x", c) : std::string(1, c);
    return line;
}

std::string shown(const Json &value) {
    if (value.is_null()) return "(none)";
    if (value.is_string()) return in_one_line(value.get<std::string>());
    if (!value.is_array()) return dumped(value);
    std::string text;
    for (const Json &element : value)
        text += (text.empty() ? "" : " ") + shown(element);
    return text;
}

std::string remarks(const Setting &setting) {
    std::string text;
    const auto add = [&](bool holds, const char *word) {
        if (holds) text += (text.empty() ? "  (" : ", ") + std::string(word);
    };
    add(setting.flags & RCE_STICKY, "sticky");
    add(setting.flags & RCE_LOCKED, "locked");
    add(setting.flags & RCE_REPLACED, "replaced");
    add(!is_read(setting.key), "not a key of the library");
    return text.empty() ? text : text + ")";
}

void print_text(const Findings &findings) {
    std::cout << "rc file: " << in_one_line(findings.file)
              << (findings.usable ? "" : ": cannot be used, the environment is") << "\n";
    std::cout << "set:\n";
    for (const Setting &setting : findings.settings)
        std::cout << "  " << in_one_line(setting.key) << " = " << in_one_line(setting.value)
                  << remarks(setting) << "\n";
    std::cout << "programs find:\n";
    const Json record = record_of_program();
    for (const auto &[name, value] : record.items())
        std::cout << "  " << name << " = " << shown(value) << "\n";
    std::cout << (findings.faults.empty() ? "no faults\n" : "faults:\n");
    for (const Fault &fault : findings.faults)
        std::cout << "  " << fault.level << ": " << in_one_line(fault.text) << "\n";
}

Json json_settings(const Findings &findings) {
    Json list = Json::array();
    for (const Setting &setting : findings.settings) {
        list.push_back({{"key", setting.key},
                        {"value", setting.value},
                        {"sticky", (setting.flags & RCE_STICKY) != 0},
                        {"locked", (setting.flags & RCE_LOCKED) != 0},
                        {"replaced", (setting.flags & RCE_REPLACED) != 0},
                        {"known", is_read(setting.key)}});
    }
    return list;
}

void print_json(const Findings &findings) {
    Json faults = Json::array();
    for (const Fault &fault : findings.faults)
        faults.push_back({{"level", fault.level}, {"text", fault.text}});
    const Json json = {{"file", findings.file},
                       {"source", findings.usable ? "file" : "environment"},
                       {"settings", json_settings(findings)},
                       {"record", record_of_program()},
                       {"faults", faults}};
    std::cout << dumped(json, 2) << "\n";
}

const char *source_name(const SettingKey &key) {
    return key.source == KeySource::environment ? "environment" : "rc file";
}

Json json_key(const SettingKey &key) {
    return {{"key", key.name},
            {"meaning", key.meaning},
            {"default", key.fallback},
            {"values", key.values.empty() ? Json() : Json(key.values)},
            {"source", source_name(key)}};
}

int explain(const Options &options) {
    std::string name = options.explain;
    for (char &c : name)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    const SettingKey *key = find_setting_key(name);
    if (!key) throw WrongUsage("no such key: " + options.explain);
    if (options.json) {
        std::cout << dumped(json_key(*key), 2) << "\n";
        return good;
    }
    std::cout << key->name << ": " << key->meaning << "\n  default: " << key->fallback << "\n";
    if (!key->values.empty()) std::cout << "  values: " << key->values << "\n";
    std::cout << "  from: the " << source_name(*key) << "\n";
    return good;
}

int list_keys(const Options &options) {
    Json list = Json::array();
    for (const SettingKey &key : setting_keys()) {
        list.push_back(json_key(key));
        if (options.json) continue;
        const bool outside = key.source == KeySource::environment;
        std::cout << key.name << ": " << key.meaning << (outside ? " (environment)" : "") << "\n";
    }
    if (options.json) std::cout << dumped(list, 2) << "\n";
    return good;
}

int run(const Options &options) {
    if (options.keys) return list_keys(options);
    if (!options.explain.empty()) return explain(options);
    const Findings findings = look(options);
    if (options.json) {
        print_json(findings);
    } else {
        print_text(findings);
    }
    return findings.faults.empty() ? good : failed;
}

} // namespace

void add_settings(CLI::App *app, Job *job) {
    auto options = std::make_shared<Options>();
    CLI::App *command = app->add_subcommand("settings", "Shows what programs make of an rc file");
    CLI::Option *file =
        command
            ->add_option("--file", options->file, "The rc file; otherwise that of the environment")
            ->type_name("FILE");
    CLI::Option *explain = command->add_option("--explain", options->explain, "Tell about a key");
    command->add_flag("--keys", options->keys, "List the keys that the library reads")
        ->excludes(file)
        ->excludes(explain);
    explain->excludes(file);
    command->add_flag("--json", options->json, "Print an object, with --keys an array of them");
    command->footer("Faults are what a program would report; the status is then 1. A program that "
                    "finds a bad\nfile waits for some seconds, and so does this.\n"
                    "Example:\n  vor settings --file gravurrc");
    command->callback([=] { *job = [=] { return run(*options); }; });
}

} // namespace vor::tool
