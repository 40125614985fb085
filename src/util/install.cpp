// Three questions about the installation, each answered by the first of several sources that knows.
// Where memory runs out a source knows nothing, and the next is asked.
#include "util/install.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/kel.h"
#include "platform/os.h"
#include "util/owned.h"
#include "util/paths.h"

namespace {

namespace os = vor::os;
using vor::malloc_ptr;

malloc_ptr<char[]> environment_copy(const char *variable) {
    const char *const value = std::getenv(variable);
    return malloc_ptr<char[]>(value ? vor::copy_text(value) : nullptr);
}

malloc_ptr<char[]> join(const char *first, const char *second) {
    const size_t room = std::strlen(first) + std::strlen(second) + 1;
    malloc_ptr<char[]> joined(vor::allocate_array<char>(room));
    if (joined) std::snprintf(joined.get(), room, "%s%s", first, second);
    return joined;
}

// The program's own name without its last two components.
malloc_ptr<char[]> directory_above_program() {
    char path[4096];
    if (!os::program_path(path, sizeof path)) return nullptr;
    for (char *at = path; *at; ++at)
        if (*at == os::path_separator) *at = '/';
    kel_dirname(path, path);
    kel_dirname(path, path);
    return malloc_ptr<char[]>(vor::copy_text(path));
}

const char *find_top() {
    malloc_ptr<char[]> top = environment_copy("QUORVENTATOP");
    if (!top) top = directory_above_program();
    return top ? top.release() : os::default_top_directory;
}

malloc_ptr<char[]> home_of_environment() {
    if (std::getenv("HOME")) return environment_copy("HOME");
    const char *const drive = std::getenv("HOMEDRIVE");
    const char *const path = std::getenv("HOMEPATH");
    if (!drive || !path) return nullptr;
    return join(drive, path);
}

bool has_rc_file(const char *directory) {
    const malloc_ptr<char[]> name = join(directory, "/.gravurrc");
    return name && kel_access(name.get(), KEL_F_OK) == 0;
}

// Tries it with a file, since permissions alone do not tell of a read-only volume. The file is
// neither truncated nor required to be new: whatever bears the name keeps its contents until it
// goes.
bool is_writable(const char *directory) {
    char test_name[32];
    std::snprintf(test_name, sizeof test_name, "/rwtest_%d.txt", os::process_id());
    const malloc_ptr<char[]> name = join(directory, test_name);
    if (!name) return false;
    const int32_t fd =
        kel_open(name.get(), KEL_O_WRONLY | KEL_O_CREAT | KEL_O_BINARY, KEL_DEFAULT_PERMISSIONS);
    if (fd == -1) return false;
    kel_close(fd);
    kel_unlink(name.get());
    return true;
}

const char *find_home() {
    if (malloc_ptr<char[]> own = environment_copy("QUORVENTAHOME")) return own.release();
    malloc_ptr<char[]> home = home_of_environment();
    if (home && has_rc_file(home.get())) return home.release();
    malloc_ptr<char[]> run = join(kel_runtime_topdir(), "/run");
    if (run && is_writable(run.get())) return run.release();
    return home ? home.release() : os::default_home_directory;
}

const char *find_system_user() {
    static char name[1024];
    return os::user_name(name, sizeof name) ? name : "nobody";
}

const char *system_user() {
    static const char *const answer = find_system_user();
    return answer;
}

// The first variable that is set decides, even if it is empty and so says nothing.
const char *find_user_of_environment() {
    for (const char *variable : {"USER", "LOGNAME", "USERNAME"}) {
        const char *const value = std::getenv(variable);
        if (!value) continue;
        const char *const copy = *value ? vor::copy_text(value) : nullptr;
        return copy ? copy : system_user();
    }
    return system_user();
}

} // namespace

extern "C" {

const char *kel_runtime_topdir(void) {
    static const char *const answer = find_top();
    return answer;
}

const char *local_home_path(void) {
    static const char *const answer = find_home();
    return answer;
}

const char *local_user_name(int32_t prefer_environment) {
    if (!prefer_environment) return system_user();
    static const char *const answer = find_user_of_environment();
    return answer;
}

} // extern "C"
