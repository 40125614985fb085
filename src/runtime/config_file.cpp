// Parameter files: a short name becomes a path, the path an open file, which the line reader reads.
#include "runtime/config_file.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/kel.h"
#include "runtime/backup.h"
#include "util/install.h"
#include "util/owned.h"
#include "util/paths.h"
#include "util/text.h"

namespace {

using Path = vor::malloc_ptr<char[]>;

bool is_separator(char c) {
    return c == '/' || c == '\\';
}

bool is_end_or_separator(char c) {
    return c == 0 || is_separator(c);
}

// Whether a name says itself where its file lies.
bool has_own_path(const char *name) {
    if (isabs_path(name)) return true;
    if (name[0] != '.') return false;
    return is_separator(name[1]) || (name[1] == '.' && is_separator(name[2]));
}

bool is_below_home(const char *name) {
    return name[0] == '~' && is_separator(name[1]);
}

// Whether the first ".." of a name leads a directory up; what follows it is not looked at.
bool leads_up(const char *name) {
    const char *const dots = std::strstr(name, "..");
    if (!dots || !is_end_or_separator(dots[2])) return false;
    return dots == name || is_separator(dots[-1]);
}

// The texts one behind the other, with room for a backup's suffix and one character more.
Path join(const char *first, const char *second, const char *third) {
    const size_t length = std::strlen(first) + std::strlen(second) + std::strlen(third);
    const size_t room = length + 1 + BACKUP_SUFFIX_ROOM;
    Path path(vor::allocate_array<char>(room));
    if (path) std::snprintf(path.get(), room, "%s%s%s", first, second, third);
    return path;
}

// The path of a file in the user's directory, which is made if it is missing.
Path path_in_user_directory(const char *name) {
    const Path directory = join(local_home_path(), "/.par", "");
    if (!directory) return nullptr;
    if (kel_access(directory.get(), KEL_F_OK) != 0) kel_mkdir(directory.get());
    return join(directory.get(), "/", name);
}

// The path that a name means, or NULL for one that is refused and without memory. A name with a
// place of its own has no default: that flag is set.
Path path_of(const char *name, uint32_t *flags) {
    if ((*flags & CF_PATHOK) && has_own_path(name)) {
        *flags |= CF_NODEFAULT;
        return join(name, "", "");
    }
    if (isabs_path(name) || leads_up(name)) return nullptr;
    if (is_below_home(name)) {
        *flags |= CF_NODEFAULT;
        return join(local_home_path(), "/", name + 2);
    }
    return path_in_user_directory(name);
}

bool is_change(uint32_t flags) {
    return flags & (CF_WRITE | CF_DELETE);
}

const char *mode_of(uint32_t flags) {
    const bool binary = flags & CF_BINARY;
    if (!is_change(flags)) return binary ? "rb" : "r";
    if (flags & CF_APPEND) return binary ? "ab" : "a";
    return binary ? "wb" : "w";
}

bool save(const char *path, uint32_t flags) {
    if (!(flags & CF_SAVE)) return true;
    return savebackup(path, flags & CF_SAVEALL ? BACKUP_DROP_OLDEST : 0) >= 0;
}

// Puts the name of the newest backup in the place of a path. Where there is none the path gets a
// name that stands for no backup, and opening it fails like any other.
void turn_into_backup(char *path) {
    if (find_backup_ext(path, path, BACKUP_ALL) < 0) std::memcpy(path + std::strlen(path), "~", 2);
}

// Opens the newest backup and leaves its name in `path`.
FILE *open_backup(char *path, const char *mode) {
    const bool found = find_backup_ext(path, path, BACKUP_ALL) >= 0;
    return found ? kel_fopen(path, mode) : nullptr;
}

// Opens what is there of the file itself, its newest backup and the default, in this order, as far
// as the flags of `how` allow; `path` and the record's flags come to tell which it is.
FILE *open_first(config_file_t *config, const char *name, uint32_t how, Path *path) {
    const char *const mode = mode_of(how);
    if (!(how & CF_DEFAULT)) {
        if (FILE *const file = kel_fopen(path->get(), mode)) return file;
        if (how & CF_WRITE) return nullptr;
        if ((how & CF_TRYBACKUP) && !(how & CF_BACKUP)) {
            if (FILE *const backup = open_backup(path->get(), mode)) {
                config->flags |= CF_BACKUP;
                return backup;
            }
        }
        if (how & CF_NODEFAULT) return nullptr;
    }
    *path = join(kel_runtime_topdir(), "/lib/", name);
    FILE *const standard = *path ? kel_fopen(path->get(), mode) : nullptr;
    if (standard) config->flags = (config->flags & ~uint32_t{CF_BACKUP}) | CF_DEFAULT;
    return standard;
}

int32_t fail(config_file_t *config) {
    config->error = 1;
    return -1;
}

// Sends what the stream of a written file holds back to the file.
bool flush(const config_file_t *config) {
    FILE *const stream = config->reader.stream;
    return !stream || !(config->flags & CF_WRITE) || std::fflush(stream) == 0;
}

} // namespace

extern "C" {

int32_t init_config_file(config_file_t *config, const char *name, uint32_t flags) {
    *config = {};
    config->flags = flags;
    if ((flags & (CF_BACKUP | CF_DEFAULT)) && is_change(flags)) return -1;
    uint32_t how = flags;
    Path path = path_of(name, &how);
    if (!path) return -1;
    if (flags & CF_BACKUP) turn_into_backup(path.get());
    if (!(flags & CF_WRITE) || !(flags & CF_CLOSE)) {
        if (is_change(flags) && !save(path.get(), flags)) return -1;
        if (flags & CF_DELETE) return kel_unlink(path.get());
        FILE *const stream = open_first(config, name, how, &path);
        if (!stream) return -1;
        if (flags & CF_CLOSE) {
            kel_fclose(stream);
        } else {
            attach_getaline(&config->reader, stream);
        }
    }
    config->path = path.release();
    return 0;
}

int32_t read_config_line(config_file_t *config) {
    getaline_t *const reader = &config->reader;
    const int32_t flags = config->flags & CF_CONTINUE ? GETALINE_CONTINUE : 0;
    if (getaline_r(reader, flags | GETALINE_QUIET)) return reader->length;
    const bool at_end = reader->length == 0 && !std::ferror(reader->stream);
    return at_end ? -1 : fail(config);
}

char *trim_config_line(config_file_t *config) {
    return trim_input_line(config->reader.line);
}

int32_t write_config_line(config_file_t *config, const char *text) {
    FILE *const stream = config->reader.stream;
    if (!stream) return fail(config);
    if (!text) text = config->reader.line;
    if (!text) return -1;
    return std::fputs(text, stream) >= 0 ? 0 : fail(config);
}

int32_t close_config_file(config_file_t *config) {
    if (!flush(config)) config->error = 1;
    free_getaline(&config->reader);
    std::free(config->path);
    config->path = nullptr;
    return config->error > 0 ? -1 : 0;
}

FILE *find_config_file(const char *name, uint32_t flags, char **path) {
    config_file_t config;
    init_config_file(&config, name, flags);
    if (path) {
        *path = config.path;
    } else {
        std::free(config.path);
    }
    return config.reader.stream;
}

int32_t restore_config_file(const char *name) {
    config_file_t config;
    if (init_config_file(&config, name, CF_WRITE | CF_CLOSE) != 0) return -1;
    const int32_t result = restorebackup(config.path, BACKUP_ALL);
    close_config_file(&config);
    return result;
}

} // extern "C"
