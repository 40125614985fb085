// Catalogues are found and brought into memory here, each as one block, into which the table of its
// module points.
#include "runtime/catalogue.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include "platform/kel.h"
#include "runtime/catalogue_load.h"
#include "util/install.h"
#include "util/owned.h"

const char *text_basedir = nullptr;
const char **mystrings[CATALOGUE_MODULES] = {};
int32_t textbuf_sizes[CATALOGUE_MODULES] = {};

namespace vor {

CatalogueImage *textbufs[CATALOGUE_MODULES] = {};

namespace {

using Image = malloc_ptr<CatalogueImage>;

constexpr const char *last_language = "eng";
constexpr const char *missing_text = "???";
constexpr const char *missing_text_of_growth = "+ ???";
constexpr size_t bytes_behind_image = 3;

bool provide_base_directory() {
    if (text_basedir) return true;
    const char *const home = local_home_path();
    const size_t room = std::strlen(home) + sizeof "/msgs";
    char *const directory = allocate_array<char>(room);
    if (!directory) return false;
    std::snprintf(directory, room, "%s/msgs", home);
    text_basedir = directory;
    return true;
}

// Leaves in `path` what has been looked for; one that does not fit is cut, and there is no such
// file.
bool find_in(const char *language, const char *name, char *path, kel_stat_t *status) {
    const int length =
        std::snprintf(path, catalogue_path_room, "%s/%s/%s", text_basedir, language, name);
    const bool fits = length >= 0 && static_cast<size_t>(length) < catalogue_path_room;
    return fits && kel_stat(path, status) == 0;
}

// Finds the file, and with it the language that is in force from here on.
bool find(Catalogue *catalogue, char *path, kel_stat_t *status) {
    if (find_in(catalogue->language, catalogue->name, path, status)) return true;
    if (std::strcmp(catalogue->language, last_language) != 0) {
        catalogue->language = last_language;
        if (find_in(last_language, catalogue->name, path, status)) return true;
    }
    std::fprintf(stderr, "no message file %s\n", path);
    return false;
}

// Anything but a plain file is refused before it is opened, which might wait for ever.
bool is_legal(const char *path, const kel_stat_t &status) {
    const bool plain = (status.mode & KEL_S_IFMT) == KEL_S_IFREG;
    if (plain && status.size <= CATALOGUE_FILE_LIMIT) return true;
    std::fprintf(stderr, "illegal message file (%s)!\n", path);
    return false;
}

Image allocate_image(const char *name, size_t size) {
    const size_t room = offsetof(CatalogueImage, bytes) + size + bytes_behind_image;
    Image image(static_cast<CatalogueImage *>(std::malloc(std::max(room, sizeof(CatalogueImage)))));
    if (!image) {
        std::fprintf(stderr, "%s no memory for %ld bytes\n", name, static_cast<long>(size));
    }
    return image;
}

// Reads the file, of which there may be less than `*size` by now.
bool read_file(const char *path, char *bytes, size_t *size) {
    const int32_t fd = kel_open(path, KEL_O_RDONLY | KEL_O_BINARY, 0);
    if (fd == -1) {
        std::fprintf(stderr, "%s: can't open\n", path);
        return false;
    }
    const int64_t got = kel_read(fd, bytes, *size);
    kel_close(fd);
    if (got < 1) {
        std::fprintf(stderr, "%s: read error\n", path);
        return false;
    }
    *size = static_cast<size_t>(got);
    std::memset(bytes + *size, 0, bytes_behind_image);
    return true;
}

// Makes the module's table hold `maxmsg` texts at least.
bool provide_table(const Catalogue &catalogue) {
    const char **const table = mystrings[catalogue.module];
    const int32_t present = table ? textbuf_sizes[catalogue.module] : 0;
    const char *const text = table ? missing_text_of_growth : missing_text;
    if (present >= catalogue.maxmsg) return true;
    const char **grown = nullptr;
    if (catalogue.maxmsg <= CATALOGUE_MESSAGE_LIMIT) {
        grown = reallocate_array(table, static_cast<size_t>(catalogue.maxmsg) + 1);
    }
    if (!grown) {
        std::fprintf(stderr, "no memory for module %s\n", catalogue.name);
        return false;
    }
    std::fill(grown + present, grown + catalogue.maxmsg, text);
    grown[catalogue.maxmsg] = nullptr;
    mystrings[catalogue.module] = grown;
    textbuf_sizes[catalogue.module] = catalogue.maxmsg;
    return true;
}

} // namespace

int32_t load_catalogue(Catalogue catalogue, Inclusions *inclusions) {
    const int32_t module = catalogue.module;
    if (module < 0 || module >= CATALOGUE_MODULES || catalogue.maxmsg < 2) {
        std::fprintf(stderr, "%s: invalid: modul %d, maxmsg %d\n", catalogue.name, module,
                     catalogue.maxmsg);
        return -1;
    }
    char path[catalogue_path_room];
    kel_stat_t status;
    if (!find(&catalogue, path, &status) || !is_legal(path, status)) return -1;
    size_t size = static_cast<size_t>(status.size);
    Image image = allocate_image(catalogue.name, size);
    if (!image || !read_file(path, image->bytes, &size) || !provide_table(catalogue)) return -1;
    image->older = textbufs[module];
    textbufs[module] = image.release();
    return read_catalogue(catalogue, path, textbufs[module]->bytes, size, inclusions);
}

} // namespace vor

extern "C" int32_t readstrings(const char *name, const char *language, int32_t version,
                               int32_t maxmsg) {
    if (!vor::provide_base_directory()) return -1;
    if (!name || !*name) return 0;
    vor::Inclusions inclusions;
    return vor::load_catalogue({name, language, version, 0, maxmsg}, &inclusions);
}
