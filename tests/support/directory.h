// What a directory holds, as names with their contents.
#ifndef VOR_TESTS_DIRECTORY_H
#define VOR_TESTS_DIRECTORY_H

#include <filesystem>
#include <map>
#include <string>

#include "support/byte_file.h"

namespace vor::test {

using Contents = std::map<std::string, std::string>;

// The files of a directory; a directory in it counts with the content "directory".
inline Contents contents_of(const std::string &directory) {
    Contents contents;
    for (const auto &entry : std::filesystem::directory_iterator(directory)) {
        contents[entry.path().filename().string()] =
            entry.is_directory() ? "directory" : read_text(entry.path().string());
    }
    return contents;
}

// Makes the directory hold these files and nothing else.
inline void set_contents(const std::string &directory, const Contents &contents) {
    for (const auto &entry : std::filesystem::directory_iterator(directory))
        std::filesystem::remove_all(entry.path());
    for (const auto &[name, content] : contents)
        write_text(directory + "/" + name, content);
}

} // namespace vor::test

#endif
