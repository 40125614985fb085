/* The settings of the machine: one record, `gd`, that g_init fills from the rc file when a program
 * starts, and the small calls that serve it.
 *
 * g_init runs once, on the main thread, before any other thread and before any other call of
 * importance. From then on `gd` and the lists are read, by any thread, and changed by nobody. */
#ifndef VOR_CONFIG_GD_H
#define VOR_CONFIG_GD_H

#include <stdint.h>

#include "vor_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* What g_init does about an unset or an illegal setting. */
enum {
    G_NOMSGS = 1, /* load no message catalogue; so it is whether this is given or not */
    G_WARN = 2,   /* report unset keys; also on while the environment has FORCEWARNINGS */
    G_QUIET = 4,  /* cancels G_WARN */
    G_NOEXIT = 8  /* illegal settings are reported, and stand, but do not end the process */
};

/* How an encoder's count was given: the modes of `gencoder_mode` and `sencoder_mode`. */
enum {
    G_ENCODER_COUNT = 0,       /* "cnt=" and a number; also unset and not understood */
    G_ENCODER_NUMBER = 1,      /* a plain number */
    G_ENCODER_VAR = 2,         /* "var", or "var:" and a number */
    G_ENCODER_VAR_ASSIGNED = 3 /* "var=" and a number */
};

/* What the words of the setting GRAV_WAY mean as `grav_way`. A number there stands as it is. */
enum {
    G_WAY_ANILOX = 0, /* "ANILOX" */
    G_WAY_ZAK = 1,    /* "ZAK" */
    G_WAY_SPEC = 2,   /* "ROL8", "SPEC" */
    G_WAY_NZAK = 3    /* "NZAK" */
};

/* The room of the texts that `gd` holds itself, their final zero byte included. */
enum { G_WORD_ROOM = 16 };

/* The longest text that check_path gives. */
enum { CHECK_PATH_MAX = 1023 };

/* A size of paper. The table of them ends with a row whose name is NULL. */
typedef struct papersize_t {
    const char *name;
    double width;  /* millimetres */
    double height; /* millimetres */
} papersize_t;

/* The settings. The key of a field is its name in upper case, unless another is told; where it is
 * unset, or its text is no value of the field's kind, the field has the default. But of a boolean
 * any text counts, a word that rc_parsebool does not know as 0, and of a bit pattern the bits that
 * its text begins with, none being 0.
 *
 * Texts named as expanded have been through check_path: blocks of their own, which stay as long as
 * the process. The others belong to the library, to the rc table, to the environment or to the
 * caller of g_init, and stay while those leave them. */
typedef struct gd_t {
    uint32_t reserved; /* 0; the library neither reads nor writes it */

    /* Directories, and lists of directories as vorsearch takes them. */
    const char *topdir;  /* kel_runtime_topdir() */
    const char *homedir; /* local_home_path() */
    /* Key QUORVENTATMP; default the environment's TMP, then its TEMP, then "c:/temp". Expanded, but
     * for "*". */
    const char *tmpdir;
    const char *defaultdir; /* default "c:/files"; expanded, but for "*" */
    const char *vorpath;    /* list for raster files; default ";*"; expanded */
    /* List for colour files; default the current directory, then lib below homedir and below
     * defaultdir. Expanded. */
    const char *colorpath;
    const char *execdir;    /* default "!/bin"; expanded */
    const char *path;       /* the environment's PATH, or NULL */
    const char *rasterdir;  /* default raster below defaultdir; expanded */
    const char *patterndir; /* default pattern below defaultdir; expanded */

    /* Words for yes and no, as yesno_setup takes them, cut to 15 characters. Where both are empty
     * they are German if the language is "deu", otherwise empty, and the library's words stay. */
    char yescode[G_WORD_ROOM];
    char nocode[G_WORD_ROOM];

    int32_t verbosity;       /* default 2 */
    uint8_t motor_altway;    /* key MOTOR.ALTWAY; 1 or the default, 0 */
    uint8_t motor_blockadv;  /* key MOTOR.BLOCKADV; 1 or the default, 0 */
    const char *sfifodevice; /* device of the scanning data stream; default "\\.\sfifo" */
    const char *gfifodevice; /* device of the engraving data stream; default "\\.\gfifo" */

    /* Keys STEP.0 to STEP.4, STEP standing for STEP.0 too; each above 0 and at most 1. Defaults:
     * [0] is GSTEP; [1] is SSTEP, or [0] where that is not above 0; [2] is 0.01. FSTEP, default
     * 0.01, takes the place of the one that gfocus points to, or if that is negative sfocus. [3]
     * and [4] are [0], as it is in the end. */
    double step[5];

    int32_t defaultcolor; /* default 0 */

    /* Counts of the encoders, and how they were given, a G_ENCODER_ mode each; default 0. gencoder
     * must be above 0. */
    int32_t sencoder;
    int32_t sencoder_mode; /* key SENCODER */
    int32_t gencoder;
    int32_t gencoder_mode; /* key GENCODER */

    int32_t maxdrehzahl; /* greatest speed, 1 to 30000 revolutions per minute; default 2500 */
    int32_t autoenabled; /* default 65535 */
    int32_t anilox_opt;  /* options, plus 256 times a mode, which is 1 or else ANILOXMODE */
    int32_t anilox30;    /* a boolean; default 0 */
    float standbyfreq;   /* 100 to 30000; default 2500 */
    float atimescale;    /* 0.01 to 1000; default 2 */
    int32_t gfocus;      /* index into `step`, -1 to 4; default 2; -1 if NOFOCUS is on */
    int32_t sfocus;      /* index into `step`, -1 to 4; default 2; -1 unless SCANFOCUS is on */

    /* The printable part of the paper in millimetres: the sheet of PAPERSIZE, default "a4", less 10
     * in width and 15 in height; or PAPERWIDTH and PAPERHEIGHT in its place. PAPERXMARGIN and
     * PAPERYMARGIN, default 0, go off in both cases. */
    double paperwidth;
    double paperheight;

    int32_t gravonly; /* a boolean; default 0; not together with scanonly */
    int32_t scanonly; /* a boolean; default 0 */
    int32_t grav_way; /* a G_WAY_ word, or any number; default G_WAY_NZAK */

    /* Decimals of a printed length. The setting, 0 to 6 and 3 by default, is for millimetres, the
     * field for the unit in force. */
    int32_t displayprecision;

    /* Bit patterns, written with "0" and "1", the highest first, and "." to group them. */
    uint32_t ilm_sstart; /* default 33 */
    uint32_t ilm_srun;   /* default 33 */
    uint32_t ilm_gstart; /* default 185 */
    uint32_t ilm_grun;   /* default 191 */
    uint32_t ilm_fstart; /* default ilm_gstart */
    uint32_t ilm_frun;   /* default ilm_grun */

    int32_t motorsencoder;      /* at least 1; default a quarter of sencoder, rounded down */
    int32_t motorgencoder;      /* at least 1; default a quarter of gencoder, rounded down */
    const char *motordevice;    /* default "//./mctl" */
    const char *firstmessage;   /* NULL, as g_init loads no messages */
    const char **messages;      /* NULL, too */
    char language[G_WORD_ROOM]; /* default "eng"; cut to 15 characters */
    const char *progname;       /* the program's name */
    const papersize_t *papertable;
    int32_t imperial; /* a boolean; default isimperial() of the units in force */
} gd_t;

extern VOR_API gd_t gd;

/* The texts of the keys ALLOW, DENY and OPTIONS, set by g_init; NULL where the key is unset. */
extern VOR_API const char *include_list;
extern VOR_API const char *exclude_list;
extern VOR_API const char *options_list;

/* Starts a program: names it in the log, reads the rc file, and fills `gd`, the lists above and
 * text_basedir; sets the units, the yes and no words, and the search list of vorsearch. The result
 * is the address of `gd`.
 *
 * `argv0` is the program's path. Its base name is the program's name from now on, so the text must
 * live as long as the process; a final ".exe", in capitals or not, is taken off the text itself.
 * The log has the program as "anonymous" if `argv0` is NULL, or the name longer than 255 bytes.
 * `flags` are G_ flags.
 *
 * Reported to the log, and the process then ends with the exit code, unless `flags` has G_NOEXIT:
 *
 * - "STEP.%d=%f (illegal)", LOGMESG_FATAL, 1: a step not above 0, or above 1.
 *   Without GSTEP, the first needs a setting of its own, and the second that or SSTEP; but one that
 *   is the step of the focus has FSTEP.
 * - "GENCODER=%d, SENCODER=%d, illegal value!", LOGMESG_FATAL, 1: `gencoder` is not above 0.
 * - "One of SCANONLY and GRAVONLY should be set, only", LOGMESG_FATAL, 99.
 * - "MOTORGENCODER=%d, MOTORSENCODER=%d, illegal", LOGMESG_FATAL, 1: one is below 1. SENCODER or
 *   MOTORSENCODER must be set.
 *
 * Reported, and the process goes on: what readrcfile reports of an unusable rc file, the settings
 * then being those of the environment; "GRAV_WAY=%s (illegal, using NZAK)", LOGMESG_WARNING; "bad
 * %s=%s setting (not supported)\n" for an encoder, LOGMESG_ERROR; "EEPROM is not longer supported,
 * use MOTOR.*", LOGMESG_WARNING. For an operator to read it, either of the first two makes g_init
 * pause for 2 seconds at its end, and both for 5. check_path ends the process where it says so,
 * whatever the flags. */
VOR_API gd_t *g_init(char *argv0, uint32_t flags);

/* Sets `paperwidth` and `paperheight` of `gd` to the size of that name, in any case, less the
 * margins in millimetres. 0; or -1 if there is no such size or `name` is NULL, and then the sheet
 * is 209.9 wide and 297.0 high. */
VOR_API int32_t paperselect(const char *name, double xmargin, double ymargin);

/* A copy of `text` in which the marks stand for directories of `gd`: "!" for `topdir`, "~" for
 * `homedir`, "*" for `defaultdir`. One of these is a mark, wherever it stands, if the text's end, a
 * "/" or a ":" follows it; it stays while its directory is NULL. The caller frees the copy.
 *
 * A copy of more than CHECK_PATH_MAX characters ends before the character or directory that does
 * not fit, with "(warning) check_path: argument string too long!\n" on the standard error stream.
 * Without memory for it the process ends with exit code 1, after "check_path: low memory, fatal\n".
 */
VOR_API char *check_path(const char *text);

/* The version in a revision keyword such as "$Name: rel-6-1 $": the word behind the first blank,
 * cut to 79 characters, which may be empty. "Beta" if there is no blank. For "$" alone, the word
 * that the last call gave, or "6.1" if there was none. The text belongs to the library, and the
 * next call may overwrite it. */
VOR_API const char *make_vstring(const char *keyword);

#ifdef __cplusplus
}
#endif

#endif
