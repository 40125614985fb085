// The modules as a program finds them: shared objects that export one record each.

#include <dlfcn.h>

#include <cstdio>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "formats/formats.h"

namespace {

struct Plugin {
    const char *name;
    const char *suffix;
};
constexpr Plugin plugins[] = {{"tif", ".tif"}, {"png", ".png"}, {"fw32", ".fw32"}};

std::string record_of(const Plugin &plugin) {
    return std::string(plugin.name) + "_cvtformat";
}

std::string path_of(const Plugin &plugin) {
    return std::string(VOR_PLUGINS) + "/" + record_of(plugin) + ".so";
}

std::string output_of(const std::string &command) {
    const std::unique_ptr<FILE, int (*)(FILE *)> pipe(popen(command.c_str(), "r"), pclose);
    std::string text;
    char line[256];
    while (pipe && std::fgets(line, sizeof line, pipe.get()))
        text += line;
    return text;
}

TEST(Plugins, EachModuleExportsItsRecordAndNothingElse) {
    for (const Plugin &plugin : plugins) {
        const std::string command =
            "nm --dynamic --defined-only --format=posix '" + path_of(plugin) + "' | cut -d' ' -f1";
        EXPECT_EQ(output_of(command), record_of(plugin) + "\n");
    }
}

TEST(Plugins, TheRecordBearsTheNameThatTheModuleIsFoundBy) {
    for (const Plugin &plugin : plugins) {
        void *module = dlopen(path_of(plugin).c_str(), RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(module, nullptr) << dlerror();
        auto *record = static_cast<lffmt_t *>(dlsym(module, record_of(plugin).c_str()));
        ASSERT_NE(record, nullptr);
        EXPECT_STREQ(record->name, plugin.name);
        EXPECT_STREQ(record->suffix, plugin.suffix);
        const int32_t row = lfregisterfmt(record);
        EXPECT_GT(row, 0);
        EXPECT_EQ(lfdescriptor(row), record);
    }
}

} // namespace
