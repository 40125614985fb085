// Generations of a file. The file is moved last, each name is freed before it is taken, and what is
// copied replaces its target in one step, so that the file's content is always under its own name
// or a backup's.
#include "runtime/backup.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "platform/file_io.h"
#include "platform/kel.h"
#include "runtime/copy_raw.h"
#include "util/owned.h"

namespace {

using vor::malloc_ptr;

static_assert(sizeof ".~2147483647~" == BACKUP_SUFFIX_ROOM);

int32_t generations = 4;
int32_t keep = 1;

bool exists(const char *name) {
    return kel_access(name, KEL_F_OK) == 0;
}

void put_number(char *suffix, uint32_t number) {
    std::snprintf(suffix, BACKUP_SUFFIX_ROOM, ".~%u~", number);
}

void put_single(char *suffix) {
    std::memcpy(suffix, "~", sizeof "~");
}

// Room for a backup's name; NULL if there is no memory.
malloc_ptr<char[]> backup_room(const char *name) {
    return malloc_ptr<char[]>(vor::allocate_array<char>(std::strlen(name) + BACKUP_SUFFIX_ROOM));
}

// The name of a file and, by turns, of its backups.
class BackupName {
public:
    // False if there is no memory.
    bool set(const char *name) {
        const size_t length = std::strlen(name);
        text_ = backup_room(name);
        if (!text_) return false;
        std::memcpy(text_.get(), name, length);
        suffix_ = text_.get() + length;
        return true;
    }
    const char *numbered(uint32_t number) {
        put_number(suffix_, number);
        return text_.get();
    }
    const char *single() {
        put_single(suffix_);
        return text_.get();
    }

private:
    malloc_ptr<char[]> text_;
    char *suffix_ = nullptr;
};

// Renames `source` to `target`, whatever bears that name.
bool rename_over(const char *source, const char *target) {
    // Of two names of one file the system keeps both, and a write to the one would change the
    // other.
    if (vor::same_file(source, target)) return kel_unlink(source) == 0;
    if (kel_rename(source, target) == 0) return true;
    // A directory replaces no file by itself.
    return kel_unlink(target) == 0 && kel_rename(source, target) == 0;
}

int32_t move_backup(const char *source, const char *target, uint32_t flags) {
    if (!(flags & BACKUP_COPY) && rename_over(source, target)) return 0;
    return vor::replace_by_copy(source, target, true) == vor::Copied::whole ? 0 : -1;
}

// The generation that the shift ends at: the first that does not exist, or the one to be lost.
uint32_t top_of_shift(BackupName *backup, int32_t count, uint32_t flags) {
    const auto oldest = static_cast<uint32_t>(count);
    for (uint32_t i = 1; i <= oldest; ++i)
        if (!exists(backup->numbered(i))) return i;
    if (flags & BACKUP_DROP_OLDEST) return oldest;
    return static_cast<uint32_t>(std::clamp(count - keep, 1, count));
}

int32_t save_numbered(const char *name, int32_t count, uint32_t flags) {
    BackupName source;
    BackupName target;
    if (!source.set(name) || !target.set(name)) return -1;
    for (uint32_t k = top_of_shift(&target, count, flags); k > 1; --k)
        move_backup(source.numbered(k - 1), target.numbered(k), flags);
    return move_backup(name, target.numbered(1), flags);
}

int32_t save_single(const char *name, uint32_t flags) {
    BackupName target;
    if (!target.set(name)) return -1;
    return move_backup(name, target.single(), flags);
}

} // namespace

extern "C" {

int32_t config_backup(int32_t what, int32_t value) {
    switch (what) {
    case BACKUP_SET_GENERATIONS:
        if (value < 0) return -1;
        return generations = value;
    case BACKUP_GET_GENERATIONS:
        return generations;
    case BACKUP_SET_KEEP:
        if (value < 0 || value >= generations) return -1;
        return keep = value;
    case BACKUP_GET_KEEP:
        return keep;
    default:
        return -1;
    }
}

int32_t savebackup(const char *name, uint32_t flags) {
    if (!name || !*name) return -1;
    if (!exists(name)) return errno == ENAMETOOLONG ? -1 : 1;
    const int32_t wanted = static_cast<int32_t>(flags & BACKUP_COUNT_MASK);
    const int32_t count = wanted != 0 ? wanted : generations;
    const bool single = count < 2 || (flags & BACKUP_SINGLE);
    return single ? save_single(name, flags) : save_numbered(name, count, flags);
}

int32_t find_backup_ext(char *buffer, const char *name, int32_t limit) {
    const size_t length = std::strlen(name);
    std::memmove(buffer, name, length + 1);
    char *const suffix = buffer + length;
    const auto last = static_cast<uint32_t>(limit < 0 ? generations : limit);
    for (uint32_t i = 1; i <= last; ++i) {
        put_number(suffix, i);
        if (exists(buffer)) return static_cast<int32_t>(i);
    }
    put_single(suffix);
    return exists(buffer) ? 0 : -1;
}

int32_t restorebackup(const char *name, int32_t limit) {
    const malloc_ptr<char[]> backup = backup_room(name);
    if (!backup) return -1;
    const int32_t found = find_backup_ext(backup.get(), name, limit);
    if (found < 0) return -1;
    // A copy that fails leaves the file: its present content is in no backup.
    const vor::Copied copied = vor::replace_by_copy(backup.get(), name, true);
    return copied == vor::Copied::whole ? found : -1;
}

} // extern "C"
