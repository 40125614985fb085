// Files copied byte by byte. The copy grows in a file of its own in the directory of its target,
// ".~PROCESS.NUMBER~", and takes the target's name when it is whole: whoever looks, and whenever
// the process ends, finds the old content there or the new, and never a part.
#include "runtime/copy_raw.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "platform/kel.h"
#include "platform/os.h"
#include "runtime/backup.h"
#include "util/owned.h"
#include "util/paths.h"

namespace vor {
namespace {

constexpr size_t block_size = 8192;
constexpr int32_t permission_bits = 07777;
constexpr int32_t most_leftovers = 100; // of processes that were killed and had this one's id

// What the copy takes over. A source that tells nothing has been made just now by a program that
// asked for nothing in particular.
kel_stat_t status_of(const char *name) {
    kel_stat_t status = {};
    if (kel_stat(name, &status) == 0) return status;
    kel_timeval now = {};
    kel_timeofday(&now);
    status.mode = KEL_DEFAULT_PERMISSIONS;
    status.atime = now.sec;
    status.mtime = now.sec;
    return status;
}

// An open file, closed at the end.
class OpenFile {
public:
    OpenFile() = default;
    ~OpenFile() {
        if (is_open()) kel_close(fd_);
    }
    OpenFile(const OpenFile &) = delete;
    OpenFile &operator=(const OpenFile &) = delete;

    bool open(const char *name, int32_t flags, int32_t mode) {
        fd_ = kel_open(name, flags | KEL_O_BINARY, mode);
        return is_open();
    }
    bool is_open() const { return fd_ != -1; }
    int32_t fd() const { return fd_; }
    // What was written may be found not to fit as late as here.
    bool close() {
        const int32_t fd = fd_;
        fd_ = -1;
        return kel_close(fd) == 0;
    }

private:
    int32_t fd_ = -1;
};

// The file in which a copy grows. It goes with the object, unless it has taken its target's name.
class Draft {
public:
    ~Draft() {
        if (made_) kel_unlink(name_.get());
    }

    // Makes the file in the directory of `target`.
    bool make(const char *target, int32_t mode) {
        const size_t directory = static_cast<size_t>(kel_basename(target) - target);
        const size_t room = directory + 32;
        name_.reset(allocate_array<char>(room));
        if (!name_) return false;
        std::memcpy(name_.get(), target, directory);
        for (int32_t i = 0; i < most_leftovers && !made_; ++i) {
            std::snprintf(name_.get() + directory, room - directory, ".~%d.%d~", os::process_id(),
                          i);
            made_ = file_.open(name_.get(), KEL_O_WRONLY | KEL_O_CREAT | KEL_O_EXCL, mode);
            if (!made_ && errno != EEXIST) break;
        }
        return made_;
    }
    OpenFile &file() { return file_; }
    void take_over(const kel_stat_t &status) {
        kel_utime(name_.get(), status.atime, status.mtime);
        kel_chmod(name_.get(), static_cast<int32_t>(status.mode) & permission_bits);
    }
    bool replace(const char *target) {
        made_ = kel_rename(name_.get(), target) != 0;
        return !made_;
    }

private:
    malloc_ptr<char[]> name_;
    OpenFile file_;
    bool made_ = false;
};

// A write that takes less than it was given has met the end of the volume.
bool copy_all(int32_t source, int32_t target) {
    char block[block_size];
    for (;;) {
        const int64_t got = kel_read(source, block, sizeof block);
        if (got <= 0) return got == 0;
        if (kel_write(target, block, static_cast<size_t>(got)) != got) return false;
    }
}

} // namespace

Copied replace_by_copy(const char *from, const char *to, bool keep_times) {
    const kel_stat_t status = status_of(from);
    OpenFile source;
    if (!source.open(from, KEL_O_RDONLY | KEL_O_SEQUENTIAL, 0)) return Copied::not_begun;
    // A copy of a private file is private from its first byte on.
    const uint32_t mode = keep_times ? status.mode : uint32_t{KEL_DEFAULT_PERMISSIONS};
    Draft draft;
    if (!draft.make(to, static_cast<int32_t>(mode & KEL_DEFAULT_PERMISSIONS))) {
        return Copied::not_begun;
    }
    const bool whole = copy_all(source.fd(), draft.file().fd());
    if (!draft.file().close() || !whole) return Copied::broken_off;
    if (keep_times) draft.take_over(status);
    return draft.replace(to) ? Copied::whole : Copied::not_begun;
}

} // namespace vor

extern "C" int32_t copyraw(const char *from, const char *to, int32_t keep_times) {
    const vor::Copied copied = vor::replace_by_copy(from, to, keep_times != 0);
    if (copied == vor::Copied::broken_off) kel_unlink(to);
    return copied == vor::Copied::whole ? 0 : -1;
}
