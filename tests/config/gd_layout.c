/* Programs share the record `gd` with the library: its fields stand in this order, each of this
 * width, and each where the one before it ends and its own alignment allows. Nothing here runs. */
#include <stddef.h>

#include "config/gd.h"

#define HOLDS(condition) _Static_assert(condition, #condition)
#define WIDTH(field) sizeof(((gd_t *)0)->field)
#define END(field) (offsetof(gd_t, field) + WIDTH(field))
#define UP(offset, unit) (((offset) + (unit)-1) / (unit) * (unit))

/* Where a compiler puts a field of that type behind a single byte is its alignment. */
struct pointer_behind_byte {
    char byte;
    void *field;
};
struct real_behind_byte {
    char byte;
    double field;
};
enum {
    bytes = 1,
    words = 4,
    pointers = (int)offsetof(struct pointer_behind_byte, field),
    reals = (int)offsetof(struct real_behind_byte, field)
};

#define FOLLOWS(field, before, alignment, width)                                                   \
    HOLDS(offsetof(gd_t, field) == UP(END(before), alignment));                                    \
    HOLDS(WIDTH(field) == (width))
#define TEXT(field, before) FOLLOWS(field, before, pointers, sizeof(char *))
#define WORD(field, before) FOLLOWS(field, before, words, 4)
#define REAL(field, before) FOLLOWS(field, before, reals, 8)

HOLDS(offsetof(gd_t, reserved) == 0);
HOLDS(WIDTH(reserved) == 4);
TEXT(topdir, reserved);
TEXT(homedir, topdir);
TEXT(tmpdir, homedir);
TEXT(defaultdir, tmpdir);
TEXT(vorpath, defaultdir);
TEXT(colorpath, vorpath);
TEXT(execdir, colorpath);
TEXT(path, execdir);
TEXT(rasterdir, path);
TEXT(patterndir, rasterdir);
FOLLOWS(yescode, patterndir, bytes, 16);
FOLLOWS(nocode, yescode, bytes, 16);
WORD(verbosity, nocode);
FOLLOWS(motor_altway, verbosity, bytes, 1);
FOLLOWS(motor_blockadv, motor_altway, bytes, 1);
TEXT(sfifodevice, motor_blockadv);
TEXT(gfifodevice, sfifodevice);
FOLLOWS(step, gfifodevice, reals, 40);
WORD(defaultcolor, step);
WORD(sencoder, defaultcolor);
WORD(sencoder_mode, sencoder);
WORD(gencoder, sencoder_mode);
WORD(gencoder_mode, gencoder);
WORD(maxdrehzahl, gencoder_mode);
WORD(autoenabled, maxdrehzahl);
WORD(anilox_opt, autoenabled);
WORD(anilox30, anilox_opt);
WORD(standbyfreq, anilox30);
WORD(atimescale, standbyfreq);
WORD(gfocus, atimescale);
WORD(sfocus, gfocus);
REAL(paperwidth, sfocus);
REAL(paperheight, paperwidth);
WORD(gravonly, paperheight);
WORD(scanonly, gravonly);
WORD(grav_way, scanonly);
WORD(displayprecision, grav_way);
WORD(ilm_sstart, displayprecision);
WORD(ilm_srun, ilm_sstart);
WORD(ilm_gstart, ilm_srun);
WORD(ilm_grun, ilm_gstart);
WORD(ilm_fstart, ilm_grun);
WORD(ilm_frun, ilm_fstart);
WORD(motorsencoder, ilm_frun);
WORD(motorgencoder, motorsencoder);
TEXT(motordevice, motorgencoder);
TEXT(firstmessage, motordevice);
TEXT(messages, firstmessage);
FOLLOWS(language, messages, bytes, 16);
TEXT(progname, language);
TEXT(papertable, progname);
WORD(imperial, papertable);

/* The same in numbers, where pointers have 8 bytes. */
HOLDS(sizeof(void *) != 8 || offsetof(gd_t, step) == 144);
HOLDS(sizeof(void *) != 8 || offsetof(gd_t, paperwidth) == 240);
HOLDS(sizeof(void *) != 8 || sizeof(gd_t) == 368);

/* The kinds of numbers, which a width alone does not tell. */
#define KIND(field, type) HOLDS(_Generic(((gd_t *)0)->field, type : 1, default : 0))
KIND(standbyfreq, float);
KIND(atimescale, float);
KIND(paperwidth, double);
KIND(step[0], double);
KIND(ilm_sstart, uint32_t);
KIND(ilm_frun, uint32_t);
KIND(grav_way, int32_t);
KIND(motor_altway, uint8_t);

HOLDS(offsetof(papersize_t, name) == 0);
HOLDS(offsetof(papersize_t, width) == UP(sizeof(char *), reals));
HOLDS(offsetof(papersize_t, height) == UP(sizeof(char *), reals) + 8);
