// g_init in programs of their own: what it makes of an rc file and of an environment, what it
// reports, and when it ends the process.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "config/gd.h"
#include "machine_run.h"
#include "runtime/log.h"
#include "support/byte_file.h"
#include "support/comma_locale.h"
#include "support/in_child.h"
#include "support/scoped_env.h"
#include "support/temp_dir.h"

namespace {

using vor::test::in_child;
using vor::test::Machine;
using vor::test::MachineRun;
using vor::test::MachineStart;
using vor::test::read_text;
using vor::test::ScopedEnv;
using vor::test::TempDir;
using vor::test::Texts;
using vor::test::write_text;

// A setting, more of them if need be, and what one field comes to.
struct Row {
    std::string settings;
    const char *field;
    std::string value;
};

class GInit : public ::testing::Test {
protected:
    void expect_fields(std::initializer_list<Row> rows) {
        for (const Row &row : rows) {
            const MachineRun run = machine_.with(row.settings);
            EXPECT_EQ(run.exit_code, 0) << row.settings;
            EXPECT_EQ(run[row.field], row.value) << row.settings << ": " << row.field;
            EXPECT_EQ(run.errors, "") << row.settings;
        }
    }

    // That a setting that must not run is reported, and ends the process unless it may go on; then
    // the field keeps its value.
    void expect_refused(const std::string &settings, const std::string &report, int exit_code,
                        const std::string &field, const std::string &value) {
        const MachineRun ended = machine_.with(settings);
        EXPECT_EQ(ended.exit_code, exit_code) << settings;
        EXPECT_EQ(ended.reports, Texts{report}) << settings;
        EXPECT_TRUE(ended.fields.empty()) << settings;
        const MachineRun went_on = machine_.with(settings, {.flags = G_NOEXIT});
        EXPECT_EQ(went_on.exit_code, 0) << settings;
        EXPECT_EQ(went_on.reports, Texts{report}) << settings;
        EXPECT_EQ(went_on[field], value) << settings;
        EXPECT_EQ(went_on["pause"], "(missing)") << settings;
    }

    Machine machine_;
};

Texts rc_reports(const Machine &machine) {
    return {"Error: " + machine.home() + "/.gravurrc: not found (or invalid file)",
            "Warning: error(s) on '.gravurrc', using environment"};
}

Texts operator+(Texts a, const Texts &b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

bool holds(const Texts &texts, const std::string &text) {
    return std::find(texts.begin(), texts.end(), text) != texts.end();
}

// ---- defaults ----

TEST_F(GInit, FieldsHaveTheirDefaults) {
    const MachineRun run = machine_.with("");
    const struct {
        const char *field;
        std::string value;
    } defaults[] = {
        {"reserved", "0"},
        {"topdir", Machine::top()},
        {"homedir", machine_.home()},
        {"tmpdir", "c:/temp"},
        {"defaultdir", "c:/files"},
        {"vorpath", ";c:/files"},
        {"colorpath", ";" + machine_.home() + "/lib;c:/files/lib"},
        {"execdir", "/top/bin"},
        {"path", "(none)"},
        {"rasterdir", "c:/files/raster"},
        {"patterndir", "c:/files/pattern"},
        {"yescode", ""},
        {"nocode", ""},
        {"verbosity", "2"},
        {"motor_altway", "0"},
        {"motor_blockadv", "0"},
        {"sfifodevice", R"(\\.\sfifo)"},
        {"gfifodevice", R"(\\.\gfifo)"},
        {"step.0", "0.01"},
        {"step.1", "0.01"},
        {"step.2", "0.01"},
        {"step.3", "0.01"},
        {"step.4", "0.01"},
        {"defaultcolor", "0"},
        {"sencoder", "8192"},
        {"sencoder_mode", "1"},
        {"gencoder", "4096"},
        {"gencoder_mode", "1"},
        {"maxdrehzahl", "2500"},
        {"autoenabled", "65535"},
        {"anilox_opt", "256"},
        {"anilox30", "0"},
        {"standbyfreq", "2500"},
        {"atimescale", "2"},
        {"gfocus", "2"},
        {"sfocus", "-1"},
        {"paperwidth", "199.9"},
        {"paperheight", "282"},
        {"gravonly", "0"},
        {"scanonly", "0"},
        {"grav_way", "3"},
        {"displayprecision", "3"},
        {"ilm_sstart", "33"},
        {"ilm_srun", "33"},
        {"ilm_gstart", "185"},
        {"ilm_grun", "191"},
        {"ilm_fstart", "185"},
        {"ilm_frun", "191"},
        {"motorsencoder", "2048"},
        {"motorgencoder", "1024"},
        {"motordevice", "//./mctl"},
        {"firstmessage", "(none)"},
        {"messages", "(none)"},
        {"language", "eng"},
        {"progname", "prog"},
        {"papertable", "letter"},
        {"imperial", "0"},
        {"include_list", "(none)"},
        {"exclude_list", "(none)"},
        {"options_list", "(none)"},
        {"text_basedir", "/top/msgs"},
        {"unit.size", "mm"},
        {"unit.advance", "mm"},
        {"unit.raster", "cm"},
        {"unit.speed", "1/min"},
        {"one.millimetre", "       1.000"},
        {"means.yes", "1"},
        {"means.no", "0"},
        {"means.ja", "-1"},
    };
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(run.errors, "");
    for (const auto &row : defaults)
        EXPECT_EQ(run[row.field], row.value) << row.field;
}

TEST_F(GInit, WithoutAnySettingFailsAtTheFirstStep) {
    const MachineRun run = machine_.without_file({});
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_EQ(run.reports, rc_reports(machine_) + Texts{"FATAL: STEP.0=0.000000 (illegal)"});
}

TEST_F(GInit, WithoutAnySettingGoesOnUnderNoexit) {
    const MachineRun run = machine_.without_file({.flags = G_NOEXIT});
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(run["grav_way"], "3");
    EXPECT_EQ(run["maxdrehzahl"], "2500");
    EXPECT_EQ(run["verbosity"], "2");
    EXPECT_EQ(run["language"], "eng");
    EXPECT_EQ(run["sencoder"], "0");
    EXPECT_EQ(run["gencoder"], "0");
    EXPECT_EQ(run["motorgencoder"], "0");
    const Texts fatal = {"FATAL: STEP.0=0.000000 (illegal)",
                         "FATAL: STEP.1=0.000000 (illegal)",
                         "FATAL: STEP.3=0.000000 (illegal)",
                         "FATAL: STEP.4=0.000000 (illegal)",
                         "FATAL: GENCODER=0, SENCODER=0, illegal value!",
                         "FATAL: MOTORGENCODER=0, MOTORSENCODER=0, illegal"};
    EXPECT_EQ(run.reports, rc_reports(machine_) + fatal);
}

// ---- where settings come from ----

TEST_F(GInit, UnusableRcFileLeavesTheEnvironmentAndPauses) {
    const MachineRun run = machine_.without_file(
        {.environment = {"GENCODER=4096", "SENCODER=4096", "GSTEP=0.25", "VERBOSITY=7"}});
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(run["verbosity"], "7");
    EXPECT_EQ(run["step.0"], "0.25");
    EXPECT_EQ(run["pause"], "2");
    EXPECT_EQ(run.reports, rc_reports(machine_));
}

TEST_F(GInit, RcFileHidesTheEnvironment) {
    const MachineRun run = machine_.with("", {.environment = {"VERBOSITY=7", "ALLOW=x"}});
    EXPECT_EQ(run["verbosity"], "2");
    EXPECT_EQ(run["include_list"], "(none)");
    EXPECT_EQ(run["pause"], "(missing)");
}

TEST_F(GInit, RcFileIsTheOneThatTheEnvironmentNames) {
    const TempDir other;
    write_text(other.file("mine"), std::string(Machine::legal) + "VERBOSITY=9\n");
    const MachineRun run = machine_.with("", {.environment = {"GRAVURRC=" + other.file("mine")}});
    EXPECT_EQ(run["verbosity"], "9");
}

// ---- the program's name ----

TEST_F(GInit, ProgramIsNamedForItsFileWithoutExe) {
    const struct {
        const char *argv0;
        const char *name;
    } rows[] = {
        {"/a/b/prog", "prog"},
        {"prog", "prog"},
        {"C:\\bin\\prog.EXE", "prog"},
        {"c:prog.exe", "prog"},
        {"/a/prog.ExE", "prog"},
        {"prog.exe.exe", "prog.exe"},
        {"prog.exe.x", "prog.exe.x"},
        {"prog.com", "prog.com"},
        {"/a.exe/prog", "prog"},
        {".exe", ".exe"},
        {"/a/", ""},
    };
    for (const auto &row : rows) {
        const MachineRun run = machine_.with("EEPROM=1", {.name = row.argv0});
        EXPECT_EQ(run["progname"], row.name) << row.argv0;
        EXPECT_NE(run.errors.find(std::string(" ") + row.name + "."), std::string::npos)
            << run.errors;
    }
}

TEST_F(GInit, ExeIsCutOffInPlace) {
    EXPECT_EQ(machine_.with("", {.name = "/a/b/prog.exe"})["argv0"], "/a/b/prog");
    EXPECT_EQ(machine_.with("", {.name = "/a/b/prog.com"})["argv0"], "/a/b/prog.com");
}

TEST_F(GInit, ProgramWithoutANameIsAnonymous) {
    const MachineRun run = machine_.with("EEPROM=1", {.name = ""});
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(run["progname"], "(none)");
    EXPECT_NE(run.errors.find(" anonymous."), std::string::npos) << run.errors;
}

TEST_F(GInit, ProgramIsNamedBeforeTheRcFileIsRead) {
    const MachineRun run = machine_.without_file({});
    EXPECT_EQ(run.errors.find("anonymous"), std::string::npos);
    EXPECT_NE(run.errors.find(" prog."), std::string::npos);
}

TEST_F(GInit, LongNameIsNoneInTheLog) {
    const std::string name(255, 'n');
    const MachineRun named = machine_.with("EEPROM=1", {.name = "/a/" + name});
    EXPECT_NE(named.errors.find(" " + name + "."), std::string::npos) << named.errors;
    for (const size_t length : {256u, 5000u}) {
        const std::string longer(length, 'n');
        const MachineRun run = machine_.with("EEPROM=1", {.name = "/a/" + longer});
        EXPECT_EQ(run.exit_code, 0) << length;
        EXPECT_EQ(run["progname"], longer);
        EXPECT_NE(run.errors.find(" anonymous."), std::string::npos) << run.errors;
    }
}

// ---- directories and texts ----

TEST_F(GInit, DirectoriesAreExpanded) {
    const std::string home = machine_.home();
    expect_fields({
        {"QUORVENTATMP=~/tmp", "tmpdir", home + "/tmp"},
        {"QUORVENTATMP=!", "tmpdir", "/top"},
        {"TEXTDIR=~/m", "text_basedir", home + "/m"},
        {"DEFAULTDIR=!/data", "defaultdir", "/top/data"},
        {"DEFAULTDIR=/d", "vorpath", ";/d"},
        {"DEFAULTDIR=/d", "colorpath", ";" + home + "/lib;/d/lib"},
        {"DEFAULTDIR=/d", "rasterdir", "/d/raster"},
        {"DEFAULTDIR=/d", "patterndir", "/d/pattern"},
        {"VORPATH=~/a;!/b;*/c", "vorpath", home + "/a;/top/b;c:/files/c"},
        {"COLORPATH=x~", "colorpath", "x" + home},
        {"EXECDIR=*/bin", "execdir", "c:/files/bin"},
        {"RASTERDIR=/r", "rasterdir", "/r"},
        {"PATTERNDIR=~", "patterndir", home},
        {"PATTERNDIR=", "patterndir", ""},
    });
}

TEST_F(GInit, DefaultDirectoryIsNotKnownBeforeItsOwnTurn) {
    expect_fields({
        {"QUORVENTATMP=*/tmp", "tmpdir", "*/tmp"},
        {"TEXTDIR=*/msgs", "text_basedir", "*/msgs"},
        {"DEFAULTDIR=*/x", "defaultdir", "*/x"},
        {"DEFAULTDIR=*/x", "rasterdir", "*/x/raster"},
    });
}

TEST_F(GInit, TemporaryDirectoryIsThatOfTheEnvironmentUnlessSet) {
    const struct {
        const char *settings;
        Texts environment;
        const char *directory;
    } rows[] = {
        {"", {"TMP=/tmp1", "TEMP=/tmp2"}, "/tmp1"},
        {"", {"TEMP=/tmp2"}, "/tmp2"},
        {"", {"TMP=", "TEMP=/tmp2"}, ""},
        {"", {"TMP=!/t"}, "/top/t"},
        {"TMP=/tmp3", {}, "c:/temp"},
        {"QUORVENTATMP=/own", {"TMP=/tmp1"}, "/own"},
    };
    for (const auto &row : rows) {
        const MachineRun run = machine_.with(row.settings, {.environment = row.environment});
        EXPECT_EQ(run["tmpdir"], row.directory) << row.settings;
    }
}

TEST_F(GInit, PathIsThatOfTheEnvironment) {
    EXPECT_EQ(machine_.with("PATH=/x", {.environment = {"PATH=/a:~/b"}})["path"], "/a:~/b");
}

TEST_F(GInit, LongDirectoryIsCutWithAWarning) {
    const std::string text = "/" + std::string(CHECK_PATH_MAX, 'x');
    const MachineRun run = machine_.with("RASTERDIR=" + text);
    EXPECT_EQ(run["rasterdir"], text.substr(0, CHECK_PATH_MAX));
    EXPECT_EQ(run.errors, "(warning) check_path: argument string too long!\n");
}

TEST_F(GInit, TextsAreThoseOfTheFile) {
    expect_fields({
        {"SFIFODEVICE=/dev/s ~", "sfifodevice", "/dev/s ~"},
        {"GFIFODEVICE=/dev/g", "gfifodevice", "/dev/g"},
        {"MOTORDEVICE=/dev/m", "motordevice", "/dev/m"},
        {"MOTORDEVICE=", "motordevice", ""},
        {"ALLOW=a,b", "include_list", "a,b"},
        {"ALLOW=", "include_list", ""},
        {"DENY=c", "exclude_list", "c"},
        {"OPTIONS=d e", "options_list", "d e"},
    });
}

TEST_F(GInit, ListOfRasterFilesBecomesTheDefault) {
    const TempDir rasters;
    write_text(rasters.file("picture.vor"), "");
    const MachineStart start = {.file = "picture"};
    EXPECT_EQ(machine_.with("VORPATH=/nowhere;" + rasters.path(), start)["found"],
              rasters.file("picture.vor"));
    EXPECT_EQ(machine_.with("DEFAULTDIR=" + rasters.path(), start)["found"],
              rasters.file("picture.vor"));
    EXPECT_EQ(machine_.with("", start)["found"], "picture");
}

// ---- numbers and switches ----

TEST_F(GInit, NumbersAreReadWithinTheirLimits) {
    expect_fields({
        {"VERBOSITY=-3", "verbosity", "-3"},
        {"VERBOSITY=1K", "verbosity", "1000"},
        {"VERBOSITY=loud", "verbosity", "2"},
        {"DEFAULTCOLOR=0xFF", "defaultcolor", "255"},
        {"MAXDREHZAHL=3000", "maxdrehzahl", "3000"},
        {"MAXDREHZAHL=0", "maxdrehzahl", "1"},
        {"MAXDREHZAHL=30001", "maxdrehzahl", "30000"},
        {"AUTOENABLED=0", "autoenabled", "0"},
        {"STANDBYFREQ=99", "standbyfreq", "100"},
        {"STANDBYFREQ=30001", "standbyfreq", "30000"},
        {"STANDBYFREQ=1.5K", "standbyfreq", "1500"},
        {"ATIMESCALE=0.001", "atimescale", "0.00999999978"},
        {"ATIMESCALE=1001", "atimescale", "1000"},
        {"ATIMESCALE=0.5", "atimescale", "0.5"},
        {"DISPLAYPRECISION=-1", "displayprecision", "0"},
        {"DISPLAYPRECISION=7", "displayprecision", "6"},
        {"MOTORGENCODER=1", "motorgencoder", "1"},
        {"MOTORSENCODER=77", "motorsencoder", "77"},
    });
}

TEST_F(GInit, SwitchesOfTheMotorAreZeroOrOne) {
    expect_fields({
        {"MOTOR.ALTWAY=on", "motor_altway", "1"},
        {"MOTOR.ALTWAY=3", "motor_altway", "1"},
        {"MOTOR.ALTWAY=0", "motor_altway", "0"},
        {"MOTOR.ALTWAY=-1", "motor_altway", "0"},
        {"MOTOR.BLOCKADV=yes", "motor_blockadv", "1"},
        {"MOTOR.BLOCKADV=256", "motor_blockadv", "1"},
        {"MOTOR.BLOCKADV=off", "motor_blockadv", "0"},
    });
}

TEST_F(GInit, BooleansKeepTheirNumber) {
    expect_fields({
        {"ANILOX30=on", "anilox30", "1"},
        {"ANILOX30=3", "anilox30", "3"},
        {"GRAVONLY=true", "gravonly", "1"},
        {"SCANONLY=2", "scanonly", "2"},
        {"SCANONLY=off\nGRAVONLY=on", "gravonly", "1"},
        {"IMPERIAL=on", "imperial", "1"},
        {"IMPERIAL=off\nUSRUNITS=inch", "imperial", "0"},
    });
}

TEST_F(GInit, EepromIsNotSupportedAnyLonger) {
    for (const char *setting : {"EEPROM=1", "EEPROM=", "EEPROM=off"}) {
        const MachineRun run = machine_.with(setting);
        EXPECT_EQ(run.exit_code, 0);
        EXPECT_EQ(run.reports, Texts{"Warning: EEPROM is not longer supported, use MOTOR.*"});
        EXPECT_EQ(run["pause"], "(missing)");
    }
}

TEST_F(GInit, FocusIsAnIndexIntoTheSteps) {
    expect_fields({
        {"GFOCUS=-1", "gfocus", "-1"},
        {"GFOCUS=-2", "gfocus", "-1"},
        {"GFOCUS=4", "gfocus", "4"},
        {"GFOCUS=5", "gfocus", "4"},
        {"NOFOCUS=on\nGFOCUS=1", "gfocus", "-1"},
        {"NOFOCUS=off\nGFOCUS=1", "gfocus", "1"},
        {"SFOCUS=1", "sfocus", "-1"},
        {"SCANFOCUS=on", "sfocus", "2"},
        {"SCANFOCUS=on\nSFOCUS=1", "sfocus", "1"},
        {"SCANFOCUS=on\nSFOCUS=9", "sfocus", "4"},
        {"SCANFOCUS=off\nSFOCUS=1", "sfocus", "-1"},
    });
}

// ---- steps ----

TEST_F(GInit, StepsTakeTheirDefaultsFromEachOther) {
    expect_fields({
        {"GSTEP=0.02", "step.0", "0.02"},
        {"GSTEP=0.02", "step.1", "0.02"},
        {"GSTEP=0.02", "step.2", "0.01"},
        {"GSTEP=0.02", "step.3", "0.02"},
        {"GSTEP=0.02", "step.4", "0.02"},
        {"SSTEP=0.5", "step.1", "0.5"},
        {"SSTEP=-0.5", "step.1", "0.01"},
        {"SSTEP=0", "step.1", "0.01"},
        {"STEP.0=0.5", "step.3", "0.5"},
        {"STEP.0=0.5", "step.4", "0.5"},
        {"STEP.0=0.5", "step.1", "0.01"},
        {"STEP.3=0.5", "step.3", "0.5"},
        {"STEP.3=0.5", "step.4", "0.01"},
    });
}

TEST_F(GInit, PlainStepIsTheFirst) {
    expect_fields({
        {"STEP=0.5", "step.0", "0.5"},
        {"STEP=0.5", "step.1", "0.01"},
        {"STEP=0.5\nSTEP.0=0.25", "step.0", "0.25"},
        {"STEP.1=0.5", "step.1", "0.5"},
        {"STEP.1=0.5", "step.0", "0.01"},
    });
}

TEST_F(GInit, StepOfTheFocusIsItsOwnSetting) {
    expect_fields({
        {"FSTEP=0.5", "step.2", "0.5"},
        {"GFOCUS=0\nGSTEP=0.02\nFSTEP=0.5", "step.0", "0.5"},
        {"GFOCUS=0\nGSTEP=0.02\nFSTEP=0.5", "step.3", "0.5"},
        {"GFOCUS=0\nGSTEP=0.02\nFSTEP=0.5", "step.1", "0.02"},
        {"GFOCUS=0\nGSTEP=0.02", "step.0", "0.01"},
        {"GFOCUS=1\nFSTEP=0.5", "step.1", "0.5"},
        {"GFOCUS=1\nFSTEP=0.5", "step.2", "0.01"},
        {"GFOCUS=3\nFSTEP=0.5", "step.3", "0.01"},
        {"GFOCUS=4\nFSTEP=0.5", "step.4", "0.01"},
        {"NOFOCUS=on\nSCANFOCUS=on\nSFOCUS=1\nFSTEP=0.5", "step.1", "0.5"},
        {"NOFOCUS=on\nSCANFOCUS=on\nFSTEP=0.5", "step.2", "0.5"},
        {"SCANFOCUS=on\nSFOCUS=1\nFSTEP=0.5", "step.1", "0.01"},
        {"NOFOCUS=on\nFSTEP=0.5", "step.2", "0.01"},
    });
}

TEST_F(GInit, StepIsAtMostOne) {
    expect_fields({
        {"STEP.2=1", "step.2", "1"},
        {"GSTEP=1", "step.0", "1"},
        {"GSTEP=0.00001", "step.0", "1e-05"},
    });
}

TEST_F(GInit, StepOutOfRangeIsRefused) {
    expect_refused("STEP.2=1.5", "FATAL: STEP.2=1.500000 (illegal)", 1, "step.2", "1.5");
    expect_refused("STEP.2=0", "FATAL: STEP.2=0.000000 (illegal)", 1, "step.2", "0");
    expect_refused("STEP.4=-1", "FATAL: STEP.4=-1.000000 (illegal)", 1, "step.4", "-1");
    expect_refused("STEP.1=1e999", "FATAL: STEP.1=inf (illegal)", 1, "step.1", "inf");
}

TEST_F(GInit, EachStepIsReported) {
    const MachineRun run = machine_.with("STEP=2\nSTEP.1=0", {.flags = G_NOEXIT});
    EXPECT_EQ(run.reports,
              (Texts{"FATAL: STEP.0=2.000000 (illegal)", "FATAL: STEP.1=0.000000 (illegal)",
                     "FATAL: STEP.3=2.000000 (illegal)", "FATAL: STEP.4=2.000000 (illegal)"}));
}

TEST_F(GInit, WithoutAStepIsRefused) {
    const char *const others = "GENCODER=4096\nSENCODER=4096\n";
    EXPECT_EQ(machine_.with_file(others).exit_code, 1);
    for (const char *step : {"GSTEP=0.5\n", "STEP=0.5\nSTEP.1=0.5\n", "STEP.0=0.5\nSTEP.1=0.5\n"})
        EXPECT_EQ(machine_.with_file(std::string(others) + step).exit_code, 0) << step;
}

// ---- encoders ----

TEST_F(GInit, EncodersHaveACountAndAMode) {
    const struct {
        const char *text;
        const char *count;
        const char *mode;
    } rows[] = {
        {"var", "360000", "2"},     {"var=1000", "1000", "3"}, {"cnt=4096", "4096", "0"},
        {"4096", "4096", "1"},      {"VAR:0x10", "16", "2"},   {"CNT=010", "8", "0"},
        {"var= 2000", "2000", "3"},
    };
    for (const auto &row : rows) {
        const MachineRun run =
            machine_.with(std::string("GENCODER=") + row.text + "\nSENCODER=" + row.text);
        EXPECT_EQ(run["gencoder"], row.count) << row.text;
        EXPECT_EQ(run["gencoder_mode"], row.mode) << row.text;
        EXPECT_EQ(run["sencoder"], row.count) << row.text;
        EXPECT_EQ(run["sencoder_mode"], row.mode) << row.text;
    }
}

TEST_F(GInit, EncoderThatIsNotUnderstoodIsReportedAndZero) {
    const MachineRun run = machine_.with("SENCODER=fine\nMOTORSENCODER=5");
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(run.reports, Texts{"Error: bad SENCODER=fine setting (not supported)"});
    EXPECT_EQ(run["sencoder"], "0");
    EXPECT_EQ(run["sencoder_mode"], "0");
    EXPECT_EQ(run["pause"], "(missing)");
}

TEST_F(GInit, EngravingEncoderMustCount) {
    const std::string fatal = "FATAL: GENCODER=0, SENCODER=8192, illegal value!";
    expect_refused("GENCODER=0\nMOTORGENCODER=5", fatal, 1, "gencoder", "0");
    expect_refused("GENCODER=cnt=-4\nMOTORGENCODER=5",
                   "FATAL: GENCODER=-4, SENCODER=8192, illegal value!", 1, "gencoder", "-4");
    const MachineRun run = machine_.with("GENCODER=-5\nMOTORGENCODER=5");
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_EQ(run.reports, (Texts{"Error: bad GENCODER=-5 setting (not supported)", fatal}));
}

TEST_F(GInit, BothEncodersAreReadBeforeOneIsRefused) {
    const MachineRun run = machine_.with("GENCODER=x\nSENCODER=y");
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_EQ(run.reports, (Texts{"Error: bad GENCODER=x setting (not supported)",
                                  "Error: bad SENCODER=y setting (not supported)",
                                  "FATAL: GENCODER=0, SENCODER=0, illegal value!"}));
}

TEST_F(GInit, ScanningEncoderMayBeNoneIfTheMotorHasOne) {
    expect_fields({
        {"SENCODER=0\nMOTORSENCODER=1", "sencoder", "0"},
        {"SENCODER=cnt=-8\nMOTORSENCODER=1", "sencoder", "-8"},
    });
}

TEST_F(GInit, EncodersOfTheMotorAreAQuarterByDefault) {
    expect_fields({
        {"GENCODER=4096", "motorgencoder", "1024"},
        {"GENCODER=7", "motorgencoder", "1"},
        {"SENCODER=15", "motorsencoder", "3"},
        {"GENCODER=var", "motorgencoder", "90000"},
    });
    const MachineRun run = machine_.with("SENCODER=cnt=-7", {.flags = G_NOEXIT});
    EXPECT_EQ(run["motorsencoder"], "-2") << "rounded down";
}

TEST_F(GInit, EncodersOfTheMotorMustCount) {
    expect_refused("SENCODER=3", "FATAL: MOTORGENCODER=1024, MOTORSENCODER=0, illegal", 1,
                   "motorsencoder", "0");
    expect_refused("MOTORGENCODER=0", "FATAL: MOTORGENCODER=0, MOTORSENCODER=2048, illegal", 1,
                   "motorgencoder", "0");
    expect_refused("MOTORSENCODER=-1", "FATAL: MOTORGENCODER=1024, MOTORSENCODER=-1, illegal", 1,
                   "motorsencoder", "-1");
    const MachineRun unset = machine_.with_file("GSTEP=0.01\nGENCODER=4096\n");
    EXPECT_EQ(unset.exit_code, 1);
    EXPECT_EQ(unset.reports, Texts{"FATAL: MOTORGENCODER=1024, MOTORSENCODER=0, illegal"});
}

// ---- ways of working ----

TEST_F(GInit, WayIsANumberOrAWord) {
    expect_fields({
        {"GRAV_WAY=2", "grav_way", "2"},
        {"GRAV_WAY=99", "grav_way", "99"},
        {"GRAV_WAY=ZAK", "grav_way", "1"},
        {"GRAV_WAY=NZAK", "grav_way", "3"},
        {"GRAV_WAY=ANILOX30", "grav_way", "0"},
        {"GRAV_WAY=ROL8", "grav_way", "2"},
        {"GRAV_WAY=SPEC", "grav_way", "2"},
    });
}

TEST_F(GInit, IllegalWayIsReportedAndPauses) {
    for (const std::string way : {"zak", "XZAK", ""}) {
        const MachineRun run = machine_.with("GRAV_WAY=" + way);
        EXPECT_EQ(run.exit_code, 0) << way;
        EXPECT_EQ(run["grav_way"], "3") << way;
        EXPECT_EQ(run.reports, Texts{"Warning: GRAV_WAY=" + way + " (illegal, using NZAK)"});
        EXPECT_EQ(run["pause"], "2") << way;
    }
}

TEST_F(GInit, TwoSoftFaultsPauseForLonger) {
    const MachineRun run = machine_.without_file(
        {.environment = {"GSTEP=0.5", "GENCODER=4096", "SENCODER=4096", "GRAV_WAY=x"}});
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(run["pause"], "5");
    EXPECT_EQ(run.reports,
              rc_reports(machine_) + Texts{"Warning: GRAV_WAY=x (illegal, using NZAK)"});
}

TEST_F(GInit, AniloxJoinsOptionsAndMode) {
    expect_fields({
        {"ANILOX_OPT=5", "anilox_opt", "261"},
        {"ANILOX_OPT=512", "anilox_opt", "512"},
        {"ANILOXMODE=2", "anilox_opt", "512"},
        {"ANILOX_OPT=5\nANILOXMODE=2", "anilox_opt", "517"},
        {"ANILOX_OPT=5\nANILOXMODE=0", "anilox_opt", "5"},
        {"ANILOX_OPT=0x12345\nANILOXMODE=0x1FF", "anilox_opt", "65349"},
        {"ANILOXMODE=fine", "anilox_opt", "256"},
    });
}

TEST_F(GInit, ScanOnlyAndGravOnlyExcludeEachOther) {
    expect_refused("SCANONLY=on\nGRAVONLY=on",
                   "FATAL: One of SCANONLY and GRAVONLY should be set, only", 99, "scanonly", "1");
}

TEST_F(GInit, PatternsAreReadBitByBit) {
    expect_fields({
        {"ILM_SSTART=1", "ilm_sstart", "1"},
        {"ILM_SRUN=10", "ilm_srun", "2"},
        {"ILM_GRUN=1011.1111", "ilm_grun", "191"},
        {"ILM_GRUN=0", "ilm_grun", "0"},
        {"ILM_GRUN=", "ilm_grun", "0"},
        {"ILM_GRUN=101", "ilm_frun", "5"},
        {"ILM_GRUN=101\nILM_FRUN=11", "ilm_frun", "3"},
        {"ILM_GSTART=111", "ilm_gstart", "7"},
        {"ILM_GSTART=111", "ilm_fstart", "7"},
        {"ILM_FSTART=1", "ilm_fstart", "1"},
        {"ILM_FSTART=1", "ilm_gstart", "185"},
    });
}

TEST_F(GInit, LongTextsAreCutInTheLog) {
    const std::string text(5000, 'x');
    const std::string shown = text.substr(0, 1023);
    const struct {
        std::string settings;
        std::string report;
    } rows[] = {
        {"GENCODER=" + text, "Error: bad GENCODER=" + shown + " setting (not supported)"},
        {"SENCODER=" + text, "Error: bad SENCODER=" + shown + " setting (not supported)"},
        {"GRAV_WAY=" + text, "Warning: GRAV_WAY=" + shown + " (illegal, using NZAK)"},
    };
    for (const auto &row : rows) {
        const MachineRun run = machine_.with(row.settings, {.flags = G_NOEXIT});
        EXPECT_EQ(run.exit_code, 0) << row.report;
        EXPECT_TRUE(holds(run.reports, row.report)) << run.errors;
    }
}

// ---- units and paper ----

TEST_F(GInit, UnitsAreSet) {
    expect_fields({
        {"USRUNITS=inch", "unit.size", "inch"},
        {"USRUNITS=inch", "unit.advance", "inch"},
        {"USRUNITS=inch\nADVUNITS=um", "unit.advance", "um"},
        {"USRUNITS=inch\nADVUNITS=um", "unit.size", "inch"},
        {"ADVUNITS=um", "unit.size", "mm"},
        {"ANIUNITS=1/cm", "unit.raster", "1/cm"},
        {"ANIUNITS=lpi", "unit.raster", "lpi"},
        {"SPEEDMODE=m/min", "unit.speed", "m/min"},
        {"USRUNITS=inch", "imperial", "1"},
        {"USRUNITS=inch", "displayprecision", "4"},
        {"USRUNITS=um\nDISPLAYPRECISION=2", "displayprecision", "0"},
        {"USRUNITS=inch", "one.millimetre", "      0.0394"},
    });
}

TEST_F(GInit, UnknownUnitsAreToldOnTheStandardErrorStream) {
    const MachineRun run = machine_.with("SPEEDMODE=fast\nADVUNITS=yard");
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(run.errors, "illegal SPEEDMODE=fast, using 1/min !\n"
                          "(warning) unit name 'yard' unknown; scaling 1:1 [mm]!\n");
    EXPECT_EQ(run["unit.advance"], "mm");
}

TEST_F(GInit, PaperIsASheetLessMargins) {
    expect_fields({
        {"PAPERSIZE=A3", "paperwidth", "287"},
        {"PAPERSIZE=A3", "paperheight", "404.8"},
        {"PAPERSIZE=unknown", "paperwidth", "199.9"},
        {"PAPERSIZE=unknown", "paperheight", "282"},
        {"PAPERWIDTH=300", "paperwidth", "300"},
        {"PAPERWIDTH=300", "paperheight", "282"},
        {"PAPERHEIGHT=300", "paperheight", "300"},
        {"PAPERXMARGIN=5", "paperwidth", "194.9"},
        {"PAPERXMARGIN=5", "paperheight", "282"},
        {"PAPERYMARGIN=5", "paperheight", "277"},
        {"PAPERWIDTH=300\nPAPERXMARGIN=5", "paperwidth", "295"},
        {"PAPERHEIGHT=300\nPAPERYMARGIN=-5", "paperheight", "305"},
        {"PAPERWIDTH=300\nUSRUNITS=inch", "paperwidth", "300"},
    });
}

// ---- words ----

TEST_F(GInit, LanguageIsCutTo15Characters) {
    expect_fields({
        {"LANGUAGE=fra", "language", "fra"},
        {"LANGUAGE=", "language", ""},
        {"LANGUAGE=123456789012345", "language", "123456789012345"},
        {"LANGUAGE=1234567890123456", "language", "123456789012345"},
    });
}

TEST_F(GInit, GermanHasWordsOfItsOwn) {
    expect_fields({
        {"LANGUAGE=deu", "yescode", "ja:j:ein"},
        {"LANGUAGE=deu", "nocode", "nein:n:aus"},
        {"LANGUAGE=deu", "means.ja", "1"},
        {"LANGUAGE=deu", "means.aus", "0"},
        {"LANGUAGE=deu", "means.yes", "-1"},
        {"LANGUAGE=deu2", "yescode", ""},
        {"LANGUAGE=DEU", "yescode", ""},
        {"LANGUAGE=deu\nYESCODE=y", "yescode", "y"},
        {"LANGUAGE=deu\nYESCODE=y", "nocode", ""},
        {"LANGUAGE=deu\nNOCODE=n", "yescode", ""},
        {"LANGUAGE=deu\nYESCODE=\nNOCODE=", "yescode", "ja:j:ein"},
    });
}

TEST_F(GInit, WordsForYesAndNoAreSet) {
    expect_fields({
        {"YESCODE=ja", "means.ja", "1"},
        {"YESCODE=ja", "means.no", "0"},
        {"NOCODE=aus", "means.aus", "0"},
        {"NOCODE=aus", "means.yes", "1"},
        {"YESCODE=1234567890:ja:longer", "yescode", "1234567890:ja:l"},
        {"NOCODE=1234567890:ja:longer", "nocode", "1234567890:ja:l"},
    });
}

// ---- warnings about unset keys ----

// In the order of reading. STEP is set, GSTEP is not.
constexpr const char *keys_with_defaults[][2] = {
    {"QUORVENTATMP", "c:/temp"},
    {"TEXTDIR", "!/msgs"},
    {"DEFAULTDIR", "c:/files"},
    {"VORPATH", ";*"},
    {"COLORPATH", ";~/lib;*/lib"},
    {"EXECDIR", "!/bin"},
    {"RASTERDIR", "*/raster"},
    {"PATTERNDIR", "*/pattern"},
    {"MOTOR.ALTWAY", "OFF"},
    {"MOTOR.BLOCKADV", "OFF"},
    {"VERBOSITY", "2"},
    {"AUTOENABLED", "65535"},
    {"GFIFODEVICE", R"(\\.\gfifo)"},
    {"SFIFODEVICE", R"(\\.\sfifo)"},
    {"NOFOCUS", "OFF"},
    {"GFOCUS", "2"},
    {"SCANFOCUS", "OFF"},
    {"GSTEP", "0"},
    {"SSTEP", "0"},
    {"FSTEP", "0.01"},
    {"STEP.1", "0"},
    {"STEP.2", "0.01"},
    {"STEP.3", "0.5"},
    {"STEP.4", "0.5"},
    {"DEFAULTCOLOR", "0"},
    {"MAXDREHZAHL", "2500"},
    {"ANILOX_OPT", "0"},
    {"LANGUAGE", "eng"},
    {"SCANONLY", "OFF"},
    {"GRAVONLY", "OFF"},
    {"ANILOX30", "OFF"},
    {"STANDBYFREQ", "2500"},
    {"ATIMESCALE", "2"},
    {"DISPLAYPRECISION", "3"},
    {"IMPERIAL", "OFF"},
    {"PAPERSIZE", "a4"},
    {"PAPERWIDTH", "199.9"},
    {"PAPERXMARGIN", "0"},
    {"PAPERHEIGHT", "282"},
    {"PAPERYMARGIN", "0"},
    {"MOTORGENCODER", "1024"},
    {"MOTORSENCODER", "2048"},
    {"MOTORDEVICE", "//./mctl"},
    {"YESCODE", ""},
    {"NOCODE", ""},
};

// Keys that say something by being unset.
constexpr const char *other_keys[] = {
    "ALLOW",     "DENY",       "OPTIONS",  "GENCODER",   "SENCODER", "GRAV_WAY",   "ANILOXMODE",
    "SPEEDMODE", "ILM_SSTART", "ILM_SRUN", "ILM_GSTART", "ILM_GRUN", "ILM_FSTART", "ILM_FRUN",
    "ADVUNITS",  "USRUNITS",   "ANIUNITS", "SFOCUS",     "STEP.0",
};

TEST_F(GInit, UnsetKeysAreReportedOnRequest) {
    const std::string report = "Warning: VERBOSITY unset, using 2";
    const struct {
        uint32_t flags;
        Texts environment;
        bool reported;
    } rows[] = {
        {0, {}, false},
        {G_WARN, {}, true},
        {G_WARN | G_QUIET, {}, false},
        {0, {"FORCEWARNINGS="}, true},
        {G_QUIET, {"FORCEWARNINGS=1"}, false},
        {G_NOMSGS, {}, false},
    };
    for (const auto &row : rows) {
        const MachineRun run =
            machine_.with("", {.flags = row.flags, .environment = row.environment});
        EXPECT_EQ(run.exit_code, 0);
        EXPECT_EQ(holds(run.reports, report), row.reported) << row.flags;
        EXPECT_EQ(run.errors.empty(), !row.reported) << row.flags;
    }
}

TEST_F(GInit, UnsetKeysAreReportedInTheOrderOfReading) {
    Texts expected;
    for (const auto &[key, value] : keys_with_defaults)
        expected.push_back(std::string("Warning: ") + key + " unset, using " + value);
    MachineRun run = machine_.with_file("STEP=0.5\nGENCODER=4096\nSENCODER=8192\n",
                                        {.flags = G_WARN | G_NOEXIT});
    std::erase(run.reports, "FATAL: STEP.1=0.000000 (illegal)");
    EXPECT_EQ(run.reports, expected);
}

TEST_F(GInit, NoMessagesAreLoadedWhateverTheFlags) {
    for (const uint32_t flags : {0u, uint32_t{G_NOMSGS}, uint32_t{G_NOMSGS | G_NOEXIT}}) {
        const MachineRun run = machine_.with("TEXTDIR=/nowhere", {.flags = flags});
        EXPECT_EQ(run.exit_code, 0);
        EXPECT_EQ(run.errors, "");
        EXPECT_EQ(run["messages"], "(none)");
    }
}

// ---- again ----

TEST(GInitAgain, ReadsEverythingAnew) {
    const TempDir dir;
    const std::string file = dir.file("rc");
    const std::string result = in_child([&] {
        const ScopedEnv name("GRAVURRC", file.c_str());
        write_text(file, std::string(Machine::legal) + "VERBOSITY=5\nALLOW=x\n");
        g_init(nullptr, 0);
        gd.reserved = 1;
        write_text(file, Machine::legal);
        g_init(nullptr, 0);
        return std::to_string(gd.reserved) + " " + std::to_string(gd.verbosity) +
               (include_list ? " listed" : " unlisted");
    });
    EXPECT_EQ(result, "0 2 unlisted");
}

// ---- locales ----

TEST(GInitLocale, StepInTheLogHasAPointInEveryLocale) {
    const TempDir dir;
    const std::string file = dir.file("rc");
    write_text(file, std::string(Machine::legal) + "STEP.2=1.5\n");
    const ScopedEnv name("GRAVURRC", file.c_str());
    const vor::test::CommaLocale comma;
    const std::string log = in_child([] {
        static std::string heard;
        logmesg_set_file("/dev/null");
        logmesg_set_hook([](const char *line) { heard += line; });
        g_init(nullptr, G_NOEXIT);
        return heard;
    });
    EXPECT_NE(log.find("[FATAL]: STEP.2=1.500000 (illegal)\n"), std::string::npos) << log;
}

// ---- the example ----

TEST_F(GInit, ExampleHoldsTheDefaults) {
    const MachineRun example = machine_.with_file(read_text(VOR_EXAMPLE_RC));
    EXPECT_EQ(example.exit_code, 0);
    EXPECT_EQ(example.errors, "");
    MachineRun defaults = machine_.with("");
    EXPECT_EQ(example.fields, defaults.fields);
}

TEST(ExampleRcFile, ShowsEveryKey) {
    const std::string text = "\n" + read_text(VOR_EXAMPLE_RC);
    const auto shows = [&](const std::string &key) {
        return text.find("\n" + key + " =") != std::string::npos ||
               text.find("\n#" + key + " =") != std::string::npos;
    };
    for (const auto &[key, value] : keys_with_defaults)
        EXPECT_TRUE(shows(key)) << key;
    for (const char *key : other_keys)
        EXPECT_TRUE(shows(key)) << key;
}

// ---- memory ----

// Without memory the rc file, a directory, or nothing at all is lost, and the process says so.
TEST_F(GInit, EveryFailingAllocationIsReportedOrHarmless) {
    bool reached = true;
    int last = 0;
    for (long nth = 1; reached; ++nth) {
        ASSERT_LT(nth, 1000);
        const MachineRun run = machine_.with("", {.flags = G_NOEXIT, .failing = nth});
        if (run.exit_code == 1) {
            EXPECT_TRUE(holds(run.reports, "check_path: low memory, fatal")) << nth;
            last = 1;
            continue;
        }
        ASSERT_EQ(run.exit_code, 0) << nth << "\n" << run.errors;
        reached = run["failed"] == "1";
        const bool rc_lost = run["pause"] == "2";
        EXPECT_EQ(rc_lost, holds(run.reports, rc_reports(machine_)[1])) << nth;
        EXPECT_EQ(run["gencoder"], rc_lost ? "0" : "4096") << nth;
        EXPECT_EQ(run["defaultdir"], "c:/files") << nth;
    }
    EXPECT_EQ(last, 1) << "a directory was among them";
}

} // namespace
