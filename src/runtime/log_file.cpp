// The log file is shared by all processes that log, each with a descriptor of its own that appends.
// It is looked at for its size only where it gets its name, so it is not moved away while this
// process writes to it. A line goes past all buffers: one that does not get through is gone.
#include "runtime/log_file.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/file_io.h"
#include "platform/kel.h"
#include "platform/os.h"
#include "runtime/log.h"
#include "runtime/log_turn.h"
#include "util/install.h"
#include "util/numbers.h"
#include "util/owned.h"
#include "util/paths.h"

namespace {

constexpr const char *default_name = "mesg.log";
constexpr size_t longest_in_home = 1020; // the home's name and the file's
constexpr int32_t closed = -1;

char *log_path = nullptr; // from malloc; NULL: not named yet
int32_t log_descriptor = closed;

int32_t size_limit() {
    const char *const value = std::getenv("MESGLOG_SIZE");
    if (!value || !vor::is_digit(*value)) return LOGMESG_SIZE_LIMIT;
    return vor::text_to_int32(value, nullptr, 10);
}

bool is_large(const char *name) {
    kel_stat_t status;
    if (kel_stat(name, &status) != 0) return false;
    const uint32_t type = status.mode & KEL_S_IFMT;
    if (type != 0 && type != KEL_S_IFREG) return false;
    const int32_t limit = size_limit();
    return limit != 0 && status.size >= limit;
}

void rotate_log() {
    if (!is_large(log_path)) return;
    char old_name[1024]; // no file has a longer one
    const int length = std::snprintf(old_name, sizeof old_name, "%s.~", log_path);
    if (length < 0 || static_cast<size_t>(length) >= sizeof old_name) return;
    kel_unlink(old_name);
    kel_rename(log_path, old_name);
}

void open_log() {
    if (!log_path) vor::set_log_file(nullptr, vor::first_to_log());
    if (!log_path) return;
    constexpr int32_t flags = KEL_O_WRONLY | KEL_O_CREAT | KEL_O_APPEND;
    log_descriptor = vor::open_regular(log_path, flags, KEL_DEFAULT_PERMISSIONS);
}

// Takes the start of a line that did not get through away again, so that the next line does not
// join it; only while no other process can have written behind it.
void cut_off(int64_t written) {
    if (written == 0 || !vor::keeps_processes_out()) return;
    const int64_t end = kel_lseek(log_descriptor, 0, KEL_SEEK_CUR);
    if (end >= written) vor::os::set_length(log_descriptor, end - written);
}

} // namespace

namespace vor {

void set_log_file(const char *name, bool rotate) {
    if (log_descriptor != closed) kel_close(log_descriptor);
    log_descriptor = closed;
    if (!name) name = default_name;
    const bool absolute = isabs_path(name) != 0;
    const char *const home = absolute ? "" : local_home_path();
    const size_t length = std::strlen(home) + std::strlen(name);
    if (!absolute && length > longest_in_home) return;
    const size_t room = length + 2;
    std::free(log_path);
    log_path = allocate_array<char>(room);
    if (!log_path) return;
    std::snprintf(log_path, room, "%s%s%s", home, absolute ? "" : "/", name);
    if (rotate) rotate_log();
}

void write_to_log_file(const char *line, size_t length) {
    if (log_descriptor == closed) open_log();
    write_to_open_log_file(line, length);
}

void write_to_open_log_file(const char *line, size_t length) {
    if (log_descriptor == closed) return;
    const auto wanted = static_cast<int64_t>(length);
    int64_t written = 0;
    while (written < wanted) {
        const int64_t put =
            kel_write(log_descriptor, line + written, static_cast<size_t>(wanted - written));
        if (put <= 0) break;
        written += put;
    }
    if (written < wanted) cut_off(written);
}

} // namespace vor
