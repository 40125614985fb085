// Runs a harness on files, or on all files of directories, where there is no fuzzing engine: old
// finds and the corpus stay tests with every compiler. Prints each name before its turn.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "harness.h"

namespace {

using Path = std::filesystem::path;

std::vector<Path> files_of(const Path &place) {
    if (!std::filesystem::is_directory(place)) return {place};
    std::vector<Path> files;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(place)) {
        if (entry.is_regular_file()) files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

bool replay(const Path &name) {
    std::ifstream file(name, std::ios::binary);
    if (!file) {
        std::fprintf(stderr, "cannot read %s\n", name.string().c_str());
        return false;
    }
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file),
                                  std::istreambuf_iterator<char>()};
    std::printf("%s\n", name.string().c_str());
    std::fflush(stdout);
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
    return true;
}

} // namespace

int main(int argc, char **argv) {
    size_t count = 0;
    for (int i = 1; i < argc; ++i) {
        for (const Path &name : files_of(argv[i])) {
            if (!replay(name)) return 1;
            ++count;
        }
    }
    std::printf("%zu inputs\n", count);
    return count > 0 ? 0 : 1;
}
