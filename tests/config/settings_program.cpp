// Calls g_init as a program would, and prints what it finds, a line "name=value" each:
//
//     settings_program FLAGS NAME [FILE [N]]
//
// FLAGS is a number, NAME the program's path. FILE, unless empty, is a name for vorsearch. The N-th
// allocation of g_init fails.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>

#include "config/gd.h"
#include "config/units.h"
#include "platform/os.h"
#include "runtime/catalogue.h"
#include "runtime/path_search.h"
#include "support/failing_malloc.h"
#include "util/text.h"

// The linker sends calls of kel_sleep here, so that a pause shows and takes no time.
extern "C" {
void __wrap_kel_sleep(uint32_t seconds);

void __wrap_kel_sleep(uint32_t seconds) {
    std::printf("pause=%u\n", seconds);
}
}

namespace {

void show(const char *name, const char *text) {
    std::printf("%s=%s\n", name, text ? text : "(none)");
}
void show(const char *name, double number) {
    std::printf("%s=%.9g\n", name, number);
}
void show(const char *name, int32_t number) {
    std::printf("%s=%d\n", name, number);
}
void show(const char *name, uint32_t number) {
    std::printf("%s=%u\n", name, number);
}

#define SHOW(field) show(#field, gd.field)

void show_places() {
    SHOW(reserved);
    SHOW(topdir);
    SHOW(homedir);
    SHOW(tmpdir);
    SHOW(defaultdir);
    SHOW(vorpath);
    SHOW(colorpath);
    SHOW(execdir);
    SHOW(path);
    SHOW(rasterdir);
    SHOW(patterndir);
    SHOW(yescode);
    SHOW(nocode);
    SHOW(language);
    SHOW(progname);
    SHOW(firstmessage);
    show("messages", gd.messages ? "some" : nullptr);
    show("papertable", gd.papertable ? gd.papertable->name : nullptr);
    show("text_basedir", text_basedir);
    show("include_list", include_list);
    show("exclude_list", exclude_list);
    show("options_list", options_list);
}

void show_numbers() {
    SHOW(verbosity);
    show("motor_altway", static_cast<int32_t>(gd.motor_altway));
    show("motor_blockadv", static_cast<int32_t>(gd.motor_blockadv));
    for (int i = 0; i < 5; ++i)
        std::printf("step.%d=%.9g\n", i, gd.step[i]);
    SHOW(defaultcolor);
    SHOW(sencoder);
    SHOW(sencoder_mode);
    SHOW(gencoder);
    SHOW(gencoder_mode);
    SHOW(maxdrehzahl);
    SHOW(autoenabled);
    SHOW(anilox_opt);
    SHOW(anilox30);
    show("standbyfreq", static_cast<double>(gd.standbyfreq));
    show("atimescale", static_cast<double>(gd.atimescale));
    SHOW(gfocus);
    SHOW(sfocus);
    SHOW(paperwidth);
    SHOW(paperheight);
    SHOW(gravonly);
    SHOW(scanonly);
    SHOW(grav_way);
    SHOW(displayprecision);
    SHOW(ilm_sstart);
    SHOW(ilm_srun);
    SHOW(ilm_gstart);
    SHOW(ilm_grun);
    SHOW(ilm_fstart);
    SHOW(ilm_frun);
    SHOW(motorsencoder);
    SHOW(motorgencoder);
    SHOW(sfifodevice);
    SHOW(gfifodevice);
    SHOW(motordevice);
    SHOW(imperial);
}

// What other families of calls have been told.
void show_effects(const char *file) {
    show("unit.size", unitname(UNIT_SIZE));
    show("unit.raster", unitname(UNIT_RASTER));
    show("unit.speed", unitname(UNIT_SPEED));
    show("unit.advance", unitname(UNIT_ADVANCE));
    char number[400];
    mm2unit(number, 1, -1, -1, UNIT_SIZE);
    show("one.millimetre", number);
    for (const char *word : {"yes", "no", "ja", "aus", "y"})
        std::printf("means.%s=%d\n", word, ytoi(word));
    if (!*file) return;
    char found[FINDFILE_ROOM];
    std::snprintf(found, sizeof found, "%s", file);
    vorsearch(found, nullptr, nullptr, VORSEARCH_RENAME);
    show("found", found);
}

} // namespace

int main(int argc, char **argv) {
    if (argc < 3) return 98;
    vor::os::mutex_directory = std::getenv("QUORVENTAHOME"); // a log that no other process knows
    const char *const file = argc > 3 ? argv[3] : "";
    const auto flags = static_cast<uint32_t>(std::atoi(argv[1]));
    std::optional<vor::test::FailingMalloc> failing;
    if (argc > 4) failing.emplace(std::atol(argv[4]));
    const gd_t *const result = g_init(*argv[2] ? argv[2] : nullptr, flags);
    const bool reached = failing && failing->reached();
    failing.reset();
    if (result != &gd) return 97;
    show("failed", reached ? 1 : 0);
    show("argv0", argv[2]);
    show_places();
    show_numbers();
    show_effects(file);
    return std::fflush(stdout) == 0 ? 0 : 96;
}
