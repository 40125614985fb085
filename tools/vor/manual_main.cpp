// vor_manual DIR: writes the manual pages, vor.1 and one a sub-command, and the completion scripts
// into a directory, each in the folder that it is installed from.

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

#include "argument_line.h"
#include "completion_scripts.h"
#include "manual_pages.h"
#include "manual_texts.h"

namespace {

namespace fs = std::filesystem;
using namespace vor::tool;

bool write(const fs::path &file, const std::string &text) {
    std::error_code ignored; // the file cannot be written then
    fs::create_directories(file.parent_path(), ignored);
    std::ofstream stream(file, std::ios::binary);
    stream << text;
    stream.close();
    if (!stream) std::fprintf(stderr, "vor_manual: cannot write %s\n", file.string().c_str());
    return !stream.fail();
}

bool write_pages(const Command &top, const fs::path &directory) {
    bool good = write(directory / (page_name(top) + ".1"), manual_page(top, top));
    for (const Command &command : top.commands)
        good = write(directory / (page_name(command) + ".1"), manual_page(command, top)) && good;
    return good;
}

bool write_scripts(const Command &top, const fs::path &directory) {
    const bool bash = write(directory / "bash" / "vor", bash_completion(top));
    const bool zsh = write(directory / "zsh" / "_vor", zsh_completion(top));
    return write(directory / "fish" / "vor.fish", fish_completion(top)) && bash && zsh;
}

// A text for no command would be printed nowhere.
bool texts_belong(const Command &top) {
    bool good = true;
    for (const ManualText &text : manual_texts()) {
        bool belongs = false;
        visit_all(top, [&](const Command &command) { belongs |= command.words == text.words; });
        if (!belongs) std::fprintf(stderr, "vor_manual: no command %s\n", text.words.data());
        good = good && belongs;
    }
    return good;
}

} // namespace

int main(int count, char **arguments) {
    if (count != 2) {
        std::fprintf(stderr, "usage: vor_manual DIR\n");
        return 2;
    }
    Job none;
    const Command top = describe(*make_command_line(&none));
    const fs::path directory = arguments[1];
    const bool good = texts_belong(top) && write_pages(top, directory / "man1") &&
                      write_scripts(top, directory / "completions");
    return good ? 0 : 1;
}
