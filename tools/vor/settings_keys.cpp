#include "settings_keys.h"

namespace vor::tool {
namespace {

constexpr std::string_view a_switch = "on or off";
constexpr std::string_view a_path = "path";
constexpr std::string_view path_list = "paths separated by ;";
constexpr std::string_view bits = "bits, grouped by .";
constexpr std::string_view in_mm = "mm";
constexpr std::string_view in_rpm = "revolutions per minute";
constexpr std::string_view step_range = "above 0, at most 1";
constexpr std::string_view word_list = "words separated by :";
constexpr KeySource environment = KeySource::environment;

constexpr SettingKey keys[] = {
    {"DEFAULTDIR", "c:/files", a_path, "where operators keep files; * in other paths"},
    {"QUORVENTATMP", "TMP or TEMP of the environment, or c:/temp", a_path, "temporary files"},
    {"VORPATH", ";*", path_list, "where raster files are searched for"},
    {"COLORPATH", ";~/lib;*/lib", path_list, "where colour files are searched for"},
    {"EXECDIR", "!/bin", a_path, "the programs"},
    {"RASTERDIR", "*/raster", a_path, "raster files"},
    {"PATTERNDIR", "*/pattern", a_path, "pattern files"},
    {"TEXTDIR", "!/msgs", a_path, "the message catalogues"},
    {"LANGUAGE", "eng", "up to 15 characters", "the language of messages"},
    {"YESCODE", "yes:y:on, or ja:j:ein if LANGUAGE is deu and NOCODE unset", word_list,
     "words that mean yes, up to 15 characters"},
    {"NOCODE", "no:n:off, or nein:n:aus if LANGUAGE is deu and YESCODE unset", word_list,
     "words that mean no, up to 15 characters"},
    {"VERBOSITY", "2", "", "how much programs tell"},
    {"ALLOW", "none", "", "the list of what a program allows"},
    {"DENY", "none", "", "the list of what a program denies"},
    {"OPTIONS", "none", "", "the list of a program's options"},
    {"USRUNITS", "mm", "name of a unit of length", "the unit of lengths, shown and typed"},
    {"ADVUNITS", "USRUNITS", "name of a unit of length", "the unit of the advance"},
    {"ANIUNITS", "cm, as the distance of lines", "1/ and a unit of length, or dpi or lpi",
     "the unit of screen rulings"},
    {"SPEEDMODE", "1/min", "name of a unit of speed", "the unit of a cylinder's speed"},
    {"DISPLAYPRECISION", "3", "0 to 6", "decimals of a length in mm"},
    {"IMPERIAL", "whether USRUNITS is of the inch family", a_switch, "a machine of inches"},
    {"PAPERSIZE", "a4", "name of a size", "the sheet, less 10 mm in width and 15 mm in height"},
    {"PAPERWIDTH", "what PAPERSIZE leaves", in_mm, "the printable width, before PAPERXMARGIN"},
    {"PAPERHEIGHT", "what PAPERSIZE leaves", in_mm, "the printable height, before PAPERYMARGIN"},
    {"PAPERXMARGIN", "0", in_mm, "taken off the printable width"},
    {"PAPERYMARGIN", "0", in_mm, "taken off the printable height"},
    {"GSTEP", "none: set this, or both STEP.0 and STEP.1 (or SSTEP)", step_range,
     "the step of engraving"},
    {"SSTEP", "GSTEP", step_range, "the step of scanning"},
    {"GFOCUS", "2", "-1 to 4", "the number of the step of focusing while engraving"},
    {"NOFOCUS", "off", a_switch, "no focusing while engraving"},
    {"SFOCUS", "2", "-1 to 4", "the number of the step of focusing while scanning"},
    {"SCANFOCUS", "off", a_switch, "focusing while scanning"},
    {"FSTEP", "0.01", step_range, "the step of focusing"},
    {"STEP.0", "GSTEP, or FSTEP if it is that of focusing", step_range, "the step of engraving"},
    {"STEP.1", "SSTEP, or FSTEP if it is that of focusing", step_range, "the step of scanning"},
    {"STEP.2", "0.01, or FSTEP if it is that of focusing", step_range, "a step"},
    {"STEP.3", "the step 0", step_range, "a step"},
    {"STEP.4", "the step 0", step_range, "a step"},
    {"GENCODER", "none: has to be set", "marks a turn; cnt=, var, var: or var= in front",
     "the encoder for engraving, above 0"},
    {"SENCODER", "0", "marks a turn; cnt=, var, var: or var= in front",
     "the encoder for scanning; has to be set unless MOTORSENCODER is"},
    {"MOTORGENCODER", "a quarter of GENCODER", "marks a turn",
     "the motor's encoder for engraving, at least 1"},
    {"MOTORSENCODER", "a quarter of SENCODER", "marks a turn",
     "the motor's encoder for scanning, at least 1"},
    {"MAXDREHZAHL", "2500", in_rpm, "the greatest speed, 1 to 30000"},
    {"MOTOR.ALTWAY", "off", a_switch, "a switch of the motor's control"},
    {"MOTOR.BLOCKADV", "off", a_switch, "a switch of the motor's control"},
    {"MOTORDEVICE", "//./mctl", a_path, "the device of the motor's control"},
    {"GFIFODEVICE", R"(\\.\gfifo)", a_path, "the device of the data to engrave"},
    {"SFIFODEVICE", R"(\\.\sfifo)", a_path, "the device of the data scanned"},
    {"GRAV_WAY", "NZAK", "ANILOX, ZAK, ROL8, SPEC, NZAK or a number", "the way of engraving"},
    {"SCANONLY", "off", a_switch, "a machine that only scans; not with GRAVONLY"},
    {"GRAVONLY", "off", a_switch, "a machine that only engraves; not with SCANONLY"},
    {"DEFAULTCOLOR", "0", "", "the colour where none is given"},
    {"AUTOENABLED", "65535", "", "bits of what may start by itself"},
    {"ANILOX_OPT", "0", "0 to 255", "options of anilox rollers"},
    {"ANILOXMODE", "1", "0 to 255", "the mode of anilox rollers"},
    {"ANILOX30", "off", a_switch, "a switch for anilox rollers"},
    {"STANDBYFREQ", "2500", "100 to 30000", "the frequency in standby"},
    {"ATIMESCALE", "2", "0.01 to 1000", "a scale of times"},
    {"ILM_SSTART", "0010.0001", bits, "the pattern at the start of scanning"},
    {"ILM_SRUN", "0010.0001", bits, "the pattern while scanning"},
    {"ILM_GSTART", "1011.1001", bits, "the pattern at the start of engraving"},
    {"ILM_GRUN", "1011.1111", bits, "the pattern while engraving"},
    {"ILM_FSTART", "ILM_GSTART", bits, "the pattern at the start, third of its kind"},
    {"ILM_FRUN", "ILM_GRUN", bits, "the pattern of the run, third of its kind"},
    {"KEL_PRELOAD", "none", "names separated by :", "formats whose modules are loaded"},
    {"VOR_DEFLATE_ENABLED", "on", a_switch, "types of deflated files may be asked for"},
    {"DEFAULT_TIFF_ORIENTATION", "leftbot", "topleft, topright, ... or 1 to 8",
     "the orientation of pictures that are written"},
    {"EEPROM", "unset", "", "a key of earlier machines, which draws a warning"},
    {"GRAVURRC", ".gravurrc", a_path, "the rc file", environment},
    {"RCDIR", "the home directory", a_path, "the directory of rc files", environment},
    {"FORCEWARNINGS", "unset", "any text", "programs report keys that are unset", environment},
    {"QUORVENTATOP", "found by the program's place", a_path,
     "the directory of the installation; ! in paths", environment},
    {"QUORVENTAHOME", "HOME, or HOMEDRIVE and HOMEPATH", a_path, "the home directory; ~ in paths",
     environment},
    {"HOME", "HOMEDRIVE and HOMEPATH", a_path, "the home directory", environment},
    {"HOMEDRIVE", "none", "", "the drive of HOMEPATH", environment},
    {"HOMEPATH", "none", a_path, "the home directory on HOMEDRIVE", environment},
    {"USER", "LOGNAME", "", "the user's name", environment},
    {"LOGNAME", "USERNAME", "", "the user's name", environment},
    {"USERNAME", "the system's", "", "the user's name", environment},
    {"TMP", "TEMP", a_path, "temporary files and lock files", environment},
    {"TEMP", "none", a_path, "temporary files and lock files", environment},
    {"LOCKDIR", "TMP or TEMP", a_path, "lock files", environment},
    {"PATH", "none", "", "handed on to programs", environment},
    {"MESGLOG_SIZE", "16777216", "bytes, 0 for no limit", "how large the log may grow",
     environment},
    {"KEL_AUTOLOAD", "none", "names separated by :", "formats whose modules every program loads",
     environment},
    {"KEL_NO_AUTOLOAD", "unset", "any text", "no module is loaded because of a file's suffix",
     environment},
    {"MEMORY", "64M", "bytes, or with K or M", "memory that programs may use", environment},
    {"MEMAVAIL", "64M", "bytes, or with K or M", "memory that is free", environment},
    {"MEMPAGESIZE", "4096", "bytes, or with K or M", "a page of memory", environment},
    {"POSIXLY_CORRECT", "unset", "any text", "options end at a program's first other argument",
     environment},
};

} // namespace

std::span<const SettingKey> setting_keys() {
    return keys;
}

const SettingKey *find_setting_key(std::string_view name) {
    if (name == "STEP") name = "STEP.0";
    for (const SettingKey &key : keys) {
        if (key.name == name) return &key;
    }
    return nullptr;
}

} // namespace vor::tool
