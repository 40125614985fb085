// Tests of the rc file begin and end as a process does: nothing is read, keys are in the
// environment, no warnings. The file lies in a directory of the test's own, and the log is heard.
#ifndef VOR_TESTS_RC_FIXTURE_H
#define VOR_TESTS_RC_FIXTURE_H

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "config/rc.h"
#include "config/rc_table.h"
#include "runtime/settings_source.h"
#include "support/byte_file.h"
#include "support/log_hearer.h"
#include "support/scoped_env.h"
#include "support/temp_dir.h"

namespace vor::test {

class RcTest : public LogHearer {
protected:
    RcTest() { restore(); }
    ~RcTest() override { restore(); }

    std::string path(const std::string &name = ".gravurrc") const { return dir_.file(name); }
    void write(const std::string &name, std::string_view text) const {
        write_text(path(name), text);
    }

    // Reads a file of that text; the result is that of the reading.
    int32_t read(std::string_view text, uint32_t flags = 0) const {
        write(".gravurrc", text);
        return readrcfile(nullptr, flags);
    }

    // Whether the keys are looked for in the environment, and the table is empty.
    static bool uses_environment() {
        const ScopedEnv variable("VOR_TEST_KEY", "from the environment");
        return table().empty() &&
               rc_string("VOR_TEST_KEY", "") == std::string("from the environment");
    }

    // Reads a text that has a fault. The result is what the log tells, but for the line that says
    // so of every fault.
    Texts fault(std::string_view text, uint32_t flags = 0) {
        take_log();
        EXPECT_EQ(read(text, flags), -1) << text;
        EXPECT_TRUE(uses_environment()) << text;
        Texts log = take_log();
        if (log.empty() || log.back() != "[Warning]: error(s) on '.gravurrc', using environment") {
            ADD_FAILURE() << "no closing line for: " << text;
            return log;
        }
        log.pop_back();
        return log;
    }

    // What the log tells of a fault in the line of that number.
    Texts at_line(int line, const std::string &text, const std::string &name = ".gravurrc") const {
        return {"[Error]: " + path(name) + ": line " + std::to_string(line) + ": " + text};
    }

    // What the log tells of a file that is missing or that is none to be read.
    Texts missing(const std::string &name) const {
        return {"[Error]: " + path(name) + ": not found (or invalid file)"};
    }

    // All entries in the order of the walk, "KEY=value", with the letters of the flags in front:
    // "*" sticky, ":" locked, "!" replaced.
    static Texts table() {
        Texts entries;
        rc_entry_t entry = {RC_ENTRY_SIZE, 0, 0, nullptr, nullptr};
        while (rc_entry(&entry, RC_ENTRY_NEXT) == 0) {
            EXPECT_TRUE(entry.flags & RCE_SET);
            std::string text;
            if (entry.flags & RCE_STICKY) text += "*";
            if (entry.flags & RCE_LOCKED) text += ":";
            if (entry.flags & RCE_REPLACED) text += "!";
            entries.push_back(text + entry.key + "=" + entry.value);
        }
        return entries;
    }

    // The entries of a text that has no fault.
    Texts entries_of(std::string_view text, uint32_t flags = 0) const {
        EXPECT_EQ(read(text, flags), 0) << text;
        return table();
    }

private:
    static void restore() {
        rchash_clear();
        rc_flags = 0;
        setting_lookup = setting_of_environment;
    }

    TempDir dir_;
    ScopedEnv directory_{"RCDIR", dir_.path().c_str()};
    ScopedEnv name_{"GRAVURRC", nullptr};
};

} // namespace vor::test

#endif
