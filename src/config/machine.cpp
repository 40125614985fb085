// The start of a program. The settings are read in a fixed order, in which each default finds the
// fields that it comes from, and reports come before the process ends over one of them.
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <type_traits>

#include "config/gd.h"
#include "config/machine_words.h"
#include "config/paper.h"
#include "config/rc.h"
#include "config/rc_table.h"
#include "config/units.h"
#include "platform/kel.h"
#include "runtime/catalogue.h"
#include "runtime/log.h"
#include "runtime/path_search.h"
#include "util/install.h"
#include "util/numbers.h"
#include "util/paths.h"
#include "util/text.h"

gd_t gd;
const char *include_list;
const char *exclude_list;
const char *options_list;

namespace {

struct Start {
    uint32_t flags;
    int32_t soft_faults; // what an operator should see, but does not end the process
};

constexpr int32_t steps = std::extent_v<decltype(gd_t::step)>;

// Exit codes over an illegal setting.
constexpr int illegal_value = 1;
constexpr int illegal_combination = 99;

// Ends the process over a setting that could do harm, unless G_NOEXIT keeps it alive.
void refuse(const Start &start, int exit_code) {
    if (!(start.flags & G_NOEXIT)) std::exit(exit_code);
}

// ---- program and rc file ----

// A name that leaves room in each line of the log.
constexpr size_t longest_log_name = 255;

void cut_exe(char *name) {
    const char *const dot = std::strrchr(name, '.');
    if (dot && vor::equal_ignoring_case(dot, ".exe")) setsuffix(name, nullptr);
}

void name_program(char *argv0) {
    if (argv0) {
        char *const name = argv0 + (kel_basename(argv0) - argv0);
        cut_exe(name);
        gd.progname = name;
    }
    const bool fits = gd.progname && std::strlen(gd.progname) <= longest_log_name;
    logmesg_set_program(fits ? gd.progname : nullptr);
}

void read_file(Start *start) {
    const bool warn = (start->flags & G_WARN) && !(start->flags & G_QUIET);
    if (warn) rc_warn(1);
    if (readrcfile(nullptr, warn ? RCF_WARN : 0) != 0) ++start->soft_faults;
}

// ---- directories and lists ----

const char *default_tmpdir() {
    for (const char *variable : {"TMP", "TEMP"})
        if (const char *const value = std::getenv(variable)) return value;
    return "c:/temp";
}

// A "*" needs the default directory, and stays in what is expanded before that.
void read_directories() {
    struct Directory {
        const char **field;
        const char *key;
        const char *fallback;
    };
    static constexpr Directory directories[] = {
        {&text_basedir, "TEXTDIR", "!/msgs"},
        {&gd.defaultdir, "DEFAULTDIR", "c:/files"},
        {&gd.vorpath, "VORPATH", ";*"},
        {&gd.colorpath, "COLORPATH", ";~/lib;*/lib"},
        {&gd.execdir, "EXECDIR", "!/bin"},
        {&gd.rasterdir, "RASTERDIR", "*/raster"},
        {&gd.patterndir, "PATTERNDIR", "*/pattern"},
    };
    gd.tmpdir = check_path(rc_string("QUORVENTATMP", default_tmpdir()));
    for (const Directory &directory : directories)
        *directory.field = check_path(rc_string(directory.key, directory.fallback));
}

void read_lists() {
    include_list = rc_strval("ALLOW");
    exclude_list = rc_strval("DENY");
    options_list = rc_strval("OPTIONS");
}

// ---- motor, focus, steps, encoders ----

uint8_t read_switch(const char *key) {
    return rc_boolean(key, 0) > 0 ? 1 : 0;
}

void read_motor() {
    if (rc_strval("EEPROM"))
        logmesg(LOGMESG_WARNING, "EEPROM is not longer supported, use MOTOR.*");
    gd.motor_altway = read_switch("MOTOR.ALTWAY");
    gd.motor_blockadv = read_switch("MOTOR.BLOCKADV");
}

int32_t read_focus(const char *key) {
    return rc_intval(key, 2, -1, steps - 1);
}

void read_devices() {
    gd.gfifodevice = rc_string("GFIFODEVICE", R"(\\.\gfifo)");
    gd.sfifodevice = rc_string("SFIFODEVICE", R"(\\.\sfifo)");
}

void read_focuses() {
    gd.gfocus = rc_boolean("NOFOCUS", 0) ? -1 : read_focus("GFOCUS");
    gd.sfocus = rc_boolean("SCANFOCUS", 0) ? read_focus("SFOCUS") : -1;
}

void read_default_steps() {
    gd.step[0] = rc_double("GSTEP", 0);
    gd.step[1] = rc_double("SSTEP", 0);
    if (gd.step[1] <= 0) gd.step[1] = gd.step[0];
    gd.step[2] = 0.01;
    const int32_t focus = gd.gfocus >= 0 ? gd.gfocus : gd.sfocus;
    if (focus >= 0) gd.step[focus] = rc_double("FSTEP", 0.01);
}

// The number reads as "%f" prints it, with a point in every locale.
void report_step(int32_t index, double step) {
    char text[320]; // a sign, 309 digits, the point and 6 decimals
    *std::to_chars(text, text + sizeof text - 1, step, std::chars_format::fixed, 6).ptr = 0;
    logmesg(LOGMESG_FATAL, "STEP.%d=%s (illegal)", index, text);
}

// The last two take the first as it is by then, even where one of them is the step of the focus.
void read_steps(const Start &start) {
    read_default_steps();
    for (int32_t i = 0; i < steps; ++i) {
        const double fallback = gd.step[i < 3 ? i : 0];
        const double step = rc_nthdouble("STEP", i, fallback);
        gd.step[i] = step;
        if (step > 0 && step <= 1) continue;
        report_step(i, step);
        refuse(start, illegal_value);
    }
}

vor::Encoder encoder_of(const char *key) {
    const char *const text = rc_strval(key);
    if (!text) return {};
    const std::optional<vor::Encoder> encoder = vor::read_encoder(text);
    if (!encoder)
        logmesg(LOGMESG_ERROR, "bad %s=" RC_SHOWN " setting (not supported)\n", key, text);
    return encoder.value_or(vor::Encoder{});
}

void read_encoders(const Start &start) {
    const vor::Encoder engraving = encoder_of("GENCODER");
    const vor::Encoder scanning = encoder_of("SENCODER");
    gd.gencoder = engraving.count;
    gd.gencoder_mode = engraving.mode;
    gd.sencoder = scanning.count;
    gd.sencoder_mode = scanning.mode;
    // The scanning encoder may be missing.
    if (gd.gencoder > 0) return;
    logmesg(LOGMESG_FATAL, "GENCODER=%d, SENCODER=%d, illegal value!", gd.gencoder, gd.sencoder);
    refuse(start, illegal_value);
}

void read_motor_encoders(const Start &start) {
    gd.motorgencoder = rc_integer("MOTORGENCODER", gd.gencoder >> 2);
    gd.motorsencoder = rc_integer("MOTORSENCODER", gd.sencoder >> 2);
    if (gd.motorgencoder >= 1 && gd.motorsencoder >= 1) return;
    logmesg(LOGMESG_FATAL, "MOTORGENCODER=%d, MOTORSENCODER=%d, illegal", gd.motorgencoder,
            gd.motorsencoder);
    refuse(start, illegal_value);
}

// ---- ways of working ----

int32_t grav_way_of(const char *text, Start *start) {
    if (!text) return G_WAY_NZAK;
    if (const std::optional<int32_t> way = vor::read_grav_way(text)) return *way;
    logmesg(LOGMESG_WARNING, "GRAV_WAY=" RC_SHOWN " (illegal, using NZAK)", text);
    ++start->soft_faults;
    return G_WAY_NZAK;
}

void read_engraving(Start *start) {
    gd.maxdrehzahl = rc_intval("MAXDREHZAHL", 2500, 1, 30000);
    gd.grav_way = grav_way_of(rc_strval("GRAV_WAY"), start);
    gd.anilox_opt = vor::join_anilox(rc_integer("ANILOX_OPT", 0), rc_strval("ANILOXMODE"));
}

void read_parts_of_machine(const Start &start) {
    gd.scanonly = rc_boolean("SCANONLY", 0);
    gd.gravonly = rc_boolean("GRAVONLY", 0);
    if (!gd.scanonly || !gd.gravonly) return;
    logmesg(LOGMESG_FATAL, "One of SCANONLY and GRAVONLY should be set, only");
    refuse(start, illegal_combination);
}

void read_scales() {
    gd.anilox30 = rc_boolean("ANILOX30", 0);
    gd.standbyfreq = static_cast<float>(rc_value("STANDBYFREQ", 2500, 100, 30000));
    gd.atimescale = static_cast<float>(rc_value("ATIMESCALE", 2, 0.01, 1000));
    gd.displayprecision = rc_intval("DISPLAYPRECISION", 3, 0, 6);
}

uint32_t pattern_of(const char *key, uint32_t fallback) {
    const char *const text = rc_strval(key);
    return text ? vor::read_bit_pattern(text) : fallback;
}

void read_patterns() {
    gd.ilm_sstart = pattern_of("ILM_SSTART", 33);
    gd.ilm_srun = pattern_of("ILM_SRUN", 33);
    gd.ilm_gstart = pattern_of("ILM_GSTART", 185);
    gd.ilm_grun = pattern_of("ILM_GRUN", 191);
    gd.ilm_fstart = pattern_of("ILM_FSTART", gd.ilm_gstart);
    gd.ilm_frun = pattern_of("ILM_FRUN", gd.ilm_grun);
}

// ---- units, paper, words ----

void set_units() {
    const char *const size = rc_strval("USRUNITS");
    const char *const advance = rc_strval("ADVUNITS");
    initunits(UNIT_ADVANCE, advance ? advance : size);
    initunits(UNIT_SIZE, size);
    initunits(UNIT_RASTER, rc_strval("ANIUNITS"));
    initunits(UNIT_FORMAT, nullptr);
    gd.imperial = rc_boolean("IMPERIAL", isimperial());
    gd.displayprecision = resetscale(gd.displayprecision);
}

// The margins 10 and 15 are those of a sheet from the table; a width or height of the file's own
// replaces what they left.
void read_paper() {
    paperselect(rc_string("PAPERSIZE", "a4"), 10, 15);
    gd.paperwidth = rc_double("PAPERWIDTH", gd.paperwidth);
    gd.paperwidth -= rc_double("PAPERXMARGIN", 0);
    gd.paperheight = rc_double("PAPERHEIGHT", gd.paperheight);
    gd.paperheight -= rc_double("PAPERYMARGIN", 0);
}

// Cuts a text to the field's room.
void set_word(char (&field)[G_WORD_ROOM], const char *text) {
    std::snprintf(field, sizeof field, "%s", text);
}

void read_yes_and_no() {
    set_word(gd.yescode, rc_string("YESCODE", ""));
    set_word(gd.nocode, rc_string("NOCODE", ""));
    if (!*gd.yescode && !*gd.nocode && std::strcmp(gd.language, "deu") == 0) {
        set_word(gd.nocode, "nein:n:aus");
        set_word(gd.yescode, "ja:j:ein");
    }
    yesno_setup(gd.yescode, gd.nocode);
}

void read_settings(Start *start) {
    read_directories();
    read_motor();
    read_lists();
    gd.verbosity = rc_integer("VERBOSITY", 2);
    gd.autoenabled = rc_integer("AUTOENABLED", 65535);
    read_devices();
    read_focuses();
    read_steps(*start);
    gd.defaultcolor = rc_integer("DEFAULTCOLOR", 0);
    read_encoders(*start);
    read_engraving(start);
    if (const char *const speed = rc_strval("SPEEDMODE")) initunits(UNIT_SPEED, speed);
    set_word(gd.language, rc_string("LANGUAGE", "eng"));
    read_parts_of_machine(*start);
    read_scales();
    read_patterns();
    set_units();
    read_paper();
    read_motor_encoders(*start);
    gd.motordevice = rc_string("MOTORDEVICE", "//./mctl");
    read_yes_and_no();
}

// Gives an operator the time to read the reports.
void pause_over(int32_t soft_faults) {
    if (soft_faults > 0) kel_sleep(soft_faults == 1 ? 2 : 5);
}

} // namespace

extern "C" {

gd_t *g_init(char *argv0, uint32_t flags) {
    gd = {};
    gd.papertable = vor::paper_table;
    // No message catalogue is loaded, whatever the flags say: programs load theirs by themselves.
    Start start = {flags, 0};
    if (std::getenv("FORCEWARNINGS")) start.flags |= G_WARN;
    name_program(argv0);
    gd.homedir = local_home_path();
    gd.topdir = kel_runtime_topdir();
    gd.path = std::getenv("PATH");
    read_file(&start);
    read_settings(&start);
    pause_over(start.soft_faults);
    vorsearch(nullptr, gd.vorpath, nullptr, 0);
    return &gd;
}

} // extern "C"
