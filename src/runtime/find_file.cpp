// The search for a file. One buffer holds the name that is being tried, first the directory, then
// the name, then a suffix; each step writes behind what it keeps and so undoes the steps before.
#include <cstdint>
#include <cstring>
#include <string_view>

#include "platform/kel.h"
#include "runtime/owned_path_vector.h"
#include "runtime/path_search.h"
#include "util/paths.h"

namespace {

// A directory that holds links to itself under the names searched for has no deepest place, and the
// ways into it multiply with each step: a search goes no more than this many.
constexpr int32_t most_inner_directories = 256;

constexpr uint32_t owner_may_write = 0200;
constexpr uint32_t owner_may_execute = 0100;

// What probe_file tells: one of these, or for a regular file an or of the PROBE_MAY_ bits.
enum {
    PROBE_NO_NAME = -2,
    PROBE_MISSING = -1,
    PROBE_MAY_EXECUTE = 1,
    PROBE_MAY_WRITE = 2,
    PROBE_MAY_READ = 4, // taken for granted
    PROBE_DIRECTORY = 16,
    PROBE_OTHER = 32
};

int32_t probe_file(const char *name) {
    if (!name || !*name) return PROBE_NO_NAME;
    kel_stat_t status;
    if (kel_stat(name, &status) != 0) return PROBE_MISSING;
    const uint32_t type = status.mode & KEL_S_IFMT;
    if (type == KEL_S_IFDIR) return PROBE_DIRECTORY;
    if (type != KEL_S_IFREG) return PROBE_OTHER;
    return PROBE_MAY_READ | (status.mode & owner_may_write ? PROBE_MAY_WRITE : 0) |
           (status.mode & owner_may_execute ? PROBE_MAY_EXECUTE : 0);
}

bool is_separator(char c) {
    return c == '/' || c == '\\';
}

// Whether a name is "." or "..", or starts with one of them as a directory.
bool starts_with_dots(const char *name) {
    const size_t dots = std::strspn(name, ".");
    return (dots == 1 || dots == 2) && (name[dots] == 0 || is_separator(name[dots]));
}

using vor::owned_path_vector;

// The suffixes to try, and whether the file is to be executable.
struct Suffixes {
    explicit Suffixes(const char *text) {
        if (!text) text = "";
        exec_only = *text == '*';
        if (exec_only) ++text;
        list.reset(build_pv(*text ? text : ":", 0, ':'));
    }

    owned_path_vector list;
    bool exec_only;
};

// The name being tried, in the caller's buffer.
class Trial {
public:
    explicit Trial(char *text) : text_(text) {}

    const char *text() const { return text_; }
    size_t length() const { return length_; }
    bool ends_in_separator() const { return length_ > 0 && is_separator(text_[length_ - 1]); }

    void cut(size_t length) { length_ = length; }
    // False, with nothing added, if `more` does not fit.
    bool add(std::string_view more) {
        if (more.size() >= FINDFILE_ROOM - length_) return false;
        std::memcpy(text_ + length_, more.data(), more.size());
        length_ += more.size();
        text_[length_] = 0;
        return true;
    }

private:
    char *text_;
    size_t length_ = 0;
};

// The search for a name in the directory that the Trial holds, in one after the other.
class Search {
public:
    Search(Trial *trial, std::string_view base, const Suffixes &suffixes)
        : trial_(trial), base_(base), suffixes_(suffixes) {}

    bool try_suffixes() {
        if (!trial_->add(base_)) return false;
        const size_t length = trial_->length();
        for (int32_t i = 0; i < suffixes_.list->count; ++i) {
            trial_->cut(length);
            if (trial_->add(suffixes_.list->entries[i].text) && try_name()) return true;
        }
        return false;
    }

private:
    bool try_name() {
        const int32_t found = probe_file(trial_->text());
        if (found == PROBE_DIRECTORY) return try_inside();
        if (found <= 0 || found > PROBE_DIRECTORY) return false;
        return !suffixes_.exec_only || (found & PROBE_MAY_EXECUTE);
    }

    // Without a base name the directory would be its own inside.
    bool try_inside() {
        if (base_.empty() || inner_directories_ == most_inner_directories) return false;
        ++inner_directories_;
        return trial_->add("/") && try_suffixes();
    }

    Trial *trial_;
    std::string_view base_;
    const Suffixes &suffixes_;
    int32_t inner_directories_ = 0;
};

// Writes a directory of the list and the name's own directory, which ends in a separator.
bool enter(Trial *trial, const char *directory, std::string_view own) {
    trial->cut(0);
    if (!trial->add(directory)) return false;
    if (*directory && !trial->ends_in_separator() && !trial->add("/")) return false;
    return own.empty() || (trial->add(own.substr(0, own.size() - 1)) && trial->add("/"));
}

bool search_directories(Trial *trial, const char *name, const char *path,
                        const Suffixes &suffixes) {
    const owned_path_vector directories(build_pv(path, 0, ';'));
    if (!directories) return false;
    const char *const base = kel_basename(name);
    const std::string_view own(name, static_cast<size_t>(base - name));
    Search search(trial, base, suffixes);
    for (int32_t i = 0; i < directories->count; ++i) {
        if (enter(trial, directories->entries[i].text, own) && search.try_suffixes()) return true;
    }
    return false;
}

bool find(Trial *trial, const char *name, const char *path, const Suffixes &suffixes) {
    if (!suffixes.list) return false;
    const bool in_directories = path && *path && !starts_with_dots(name) && !isabs_path(name);
    if (in_directories) return search_directories(trial, name, path, suffixes);
    return trial->add(name) && Search(trial, "", suffixes).try_suffixes();
}

} // namespace

extern "C" int32_t findfile(char *result, const char *name, const char *path,
                            const char *suffixes) {
    const size_t length = std::strlen(name);
    if (length >= FINDFILE_ROOM) {
        if (result != name) *result = 0;
        return -1;
    }
    char copy[FINDFILE_ROOM]; // `result` may be `name`
    std::memcpy(copy, name, length + 1);
    Trial trial(result);
    if (length < FINDFILE_ROOM - 1 && find(&trial, copy, path, Suffixes(suffixes))) return 0;
    std::memcpy(result, copy, length + 1);
    return -1;
}
