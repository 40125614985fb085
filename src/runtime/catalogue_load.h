// The two halves of loading a catalogue, which take turns where a file includes another: one finds
// the file and provides image and table, the other reads the image.
#ifndef VOR_RUNTIME_CATALOGUE_LOAD_H
#define VOR_RUNTIME_CATALOGUE_LOAD_H

#include <cstddef>
#include <cstdint>

#include "runtime/catalogue.h"

namespace vor {

// Room for a file's path, a zero byte included; the platform takes no longer one.
constexpr size_t catalogue_path_room = 1024;

// What is to be loaded.
struct Catalogue {
    const char *name;
    const char *language;
    int32_t version; // the least demanded, or 0
    int32_t module;
    int32_t maxmsg;
};

// The inclusions that one call of readstrings is in and has made, so that files that include each
// other come to an end.
struct Inclusions {
    int32_t depth = 0;
    int32_t count = 0;
};

// The bytes of a file, three zero bytes behind them. Images are kept for good, the latest of a
// module first, since the tables point into them.
struct CatalogueImage {
    CatalogueImage *older;
    char bytes[1];
};
extern CatalogueImage *textbufs[CATALOGUE_MODULES];

// Each tells on the standard error stream what is wrong, and gives what readstrings does.
int32_t load_catalogue(Catalogue catalogue, Inclusions *inclusions);
int32_t read_catalogue(const Catalogue &catalogue, const char *path, char *image, size_t size,
                       Inclusions *inclusions);

} // namespace vor

#endif
