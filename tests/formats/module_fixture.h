// Programs that load modules: each is a child process with an installation and a home of its own,
// since what is loaded stays, and what has been found once is found again.
#ifndef VOR_TESTS_MODULE_FIXTURE_H
#define VOR_TESTS_MODULE_FIXTURE_H

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include "formats/formats.h"
#include "runtime/log.h"
#include "support/in_child.h"
#include "support/report_log.h"
#include "support/temp_dir.h"

// Present in builds that look for leaks; a child leaves too quietly for it to look by itself.
extern "C" int __lsan_do_recoverable_leak_check(void) __attribute__((weak));

namespace vor::test {

class ModuleTest : public ::testing::Test {
protected:
    ModuleTest() { std::filesystem::create_directory(top_.file("plugins")); }

    // The place of a file among the modules.
    std::string plugin(const std::string &file) const { return top_.file("plugins/" + file); }

    // Installs a module of the tests' own as the file `as`.
    void install(const std::string &module, const std::string &as = "") const {
        std::filesystem::create_symlink(VOR_TEST_MODULES "/" + module + ".so",
                                        plugin((as.empty() ? module : as) + ".so"));
    }

    void store(const std::string &path, const std::string &text) const {
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        std::ofstream(path) << text;
    }
    void store_formats(const std::string &text) const { store(home_.file(".par/.formats"), text); }
    void store_default_formats(const std::string &text) const {
        store(top_.file("lib/.formats"), text);
    }

    // Of the programs to come; all of these are unset at the start.
    void set(const std::string &variable, const std::string &value) {
        environment_[variable] = value;
    }

    std::string image(const std::string &name) const { return home_.file(name); }

    // What a program returned and, a line each, what it reported and logged.
    template <class Code>
    std::string program(Code code) const {
        return in_child([&] {
            set_up_environment();
            ReportLog log;
            logmesg_set_hook(hear);
            std::string text = code();
            for (const std::string &line : log.take())
                text += "\n" + line;
            const bool leaks =
                &__lsan_do_recoverable_leak_check && __lsan_do_recoverable_leak_check() != 0;
            return text + heard() + (leaks ? "\nleaks" : "");
        });
    }

    static bool is_loaded(const std::string &path) {
        void *const module = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
        if (module) dlclose(module);
        return module != nullptr;
    }

private:
    void set_up_environment() const {
        for (const char *const name : {"KEL_AUTOLOAD", "KEL_NO_AUTOLOAD", "KEL_PRELOAD",
                                       "VOR_DEFLATE_ENABLED", "DEFAULT_TIFF_ORIENTATION"})
            ::unsetenv(name);
        ::setenv("QUORVENTATOP", top_.path().c_str(), 1);
        ::setenv("QUORVENTAHOME", home_.path().c_str(), 1);
        for (const auto &[name, value] : environment_)
            ::setenv(name.c_str(), value.c_str(), 1);
    }

    static std::string &heard() {
        static std::string lines;
        return lines;
    }
    // "[Warning]: text"
    static void hear(const char *line) {
        const std::string text = line;
        const size_t at = text.find('[');
        heard() += "\n" + text.substr(at, text.size() - at - 1);
    }

    TempDir top_;
    TempDir home_;
    std::map<std::string, std::string> environment_;
};

// The names of the formats in the table, in order.
inline std::string table() {
    std::string names;
    for (int32_t row = 0; lfdescriptor(row); ++row)
        names += (row > 0 ? " " : "") + std::string(lffmtname(row));
    return names;
}

} // namespace vor::test

#endif
