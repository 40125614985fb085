// A directory of a test's own, gone with all that is in it when the test ends.
#ifndef VOR_TESTS_TEMP_DIR_H
#define VOR_TESTS_TEMP_DIR_H

#include <stdlib.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

namespace vor::test {

class TempDir {
public:
    TempDir() {
        std::string name = (std::filesystem::temp_directory_path() / "vor_test_XXXXXX").string();
        if (!::mkdtemp(name.data())) throw std::runtime_error("no temporary directory");
        path_ = std::filesystem::canonical(name).string();
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempDir(const TempDir &) = delete;
    TempDir &operator=(const TempDir &) = delete;

    // Absolute, without links in it.
    const std::string &path() const { return path_; }

    // The name of a file in it.
    std::string file(const std::string &name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

} // namespace vor::test

#endif
