// Any three lines as a name, a list of directories and a list of suffixes, "@" in them standing for
// a directory that has files, directories of the files' names, and links to itself. A list taken
// apart can be put together again. What is found is a file that is there; what is not leaves the
// name as it was.
#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "harness.h"
#include "libvor.h"

namespace vor::fuzz {
namespace {

namespace fs = std::filesystem;

class Directory {
public:
    Directory() {
        fs::create_directories(path("dir/dir/dir"));
        for (const char *file : {"file", "file.vor", "dir/dir/file", "dir/dir/dir/dir"})
            std::ofstream(path(file)) << file;
        for (const char *link : {"loop", "loop.vor", "dir/loop"})
            fs::create_directory_symlink(".", path(link));
        fs::permissions(path("file.vor"), fs::perms::owner_exec, fs::perm_options::add);
    }
    ~Directory() { fs::remove_all(name_.name()); }
    Directory(const Directory &) = delete;
    Directory &operator=(const Directory &) = delete;

    std::string name() const { return name_.name(); }

private:
    fs::path path(const char *name) const { return fs::path(name_.name()) / name; }
    ScratchFile name_{".dir"};
};

// The next line, with the directory put in.
std::string take_line(std::string *rest, const std::string &directory) {
    const size_t end = rest->find('\n');
    std::string line;
    for (const char c : rest->substr(0, end))
        line += c == '@' ? directory : std::string(1, c);
    rest->erase(0, end == std::string::npos ? end : end + 1);
    line.resize(std::strlen(line.c_str())); // up to a zero byte
    return line;
}

void check_vector(const std::string &list, int32_t flags, char separator) {
    path_vector *const vector = build_pv(list.c_str(), flags, separator);
    require(vector != nullptr, "a list can be taken apart");
    std::string joined;
    for (int32_t i = 0; i < vector->count; ++i) {
        const char *const text = vector->entries[i].text;
        require(!std::strchr(text, separator), "no separator is part of an element");
        require(!(flags & PV_DOT) || *text, "a dot stands for an empty element");
        require((flags & PV_MTIME) || vector->entries[i].mtime == 0, "times are asked for");
        joined += text;
        joined += separator;
    }
    destroy_pv(vector);
    if (flags & PV_DOT) return;
    require(joined == list || joined == list + separator, "the elements make up the list");
}

void check_search(const std::string &name, const std::string &path, const std::string &suffixes) {
    std::array<char, FINDFILE_ROOM + 1> result;
    result.fill('#');
    const char *const list = path.empty() ? nullptr : path.c_str();
    if (findfile(result.data(), name.c_str(), list, suffixes.c_str()) == 0) {
        kel_stat_t status;
        require(kel_stat(result.data(), &status) == 0, "a file that is found is there");
        require((status.mode & KEL_S_IFMT) == KEL_S_IFREG, "only regular files are found");
        require(suffixes[0] != '*' || (status.mode & 0100), "it can be executed if it must be");
    } else {
        const bool fits = name.size() < FINDFILE_ROOM;
        require(result.data() == (fits ? name : ""), "a name not found comes back");
    }
    require(result[FINDFILE_ROOM] == '#', "the result stays in its room");
}

} // namespace
} // namespace vor::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    using namespace vor::fuzz;
    static const Directory directory;
    Choices draw(data, size);
    const int32_t flags = draw.below(8);
    std::string rest(data, data + size);
    const std::string name = take_line(&rest, directory.name());
    const std::string path = take_line(&rest, directory.name());
    const std::string suffixes = take_line(&rest, directory.name());
    check_vector(path, flags, ';');
    check_vector(suffixes, flags, ':');
    check_search(name, path, suffixes);
    return 0;
}
