#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "config/rc.h"
#include "config/rc_fixture.h"
#include "support/in_child.h"
#include "util/install.h"

namespace {

using vor::test::in_child;
using vor::test::ScopedEnv;
using vor::test::TempDir;
using vor::test::Texts;
using vor::test::write_text;

namespace fs = std::filesystem;

class RcFile : public vor::test::RcTest {
protected:
    static std::string full_path(const char *name) {
        char buffer[RC_PATH_ROOM];
        rcfullpath(buffer, name);
        return buffer;
    }
    // The result of a reading and the lines of the log, where only so many files can be open as are
    // open now and `more`.
    static std::string read_with_files(const char *name, unsigned more) {
        return in_child([&] {
            allow_open_files(more);
            std::string all = std::to_string(readrcfile(name, 0)) + "\n";
            for (const std::string &line : take_log())
                all += line + "\n";
            return all;
        });
    }

private:
    static void allow_open_files(unsigned more) {
        const int lowest = ::dup(STDERR_FILENO);
        ::close(lowest);
        const rlim_t count = static_cast<rlim_t>(lowest) + more;
        const rlimit limit = {count, count};
        ::setrlimit(RLIMIT_NOFILE, &limit);
    }
};

class WorkingDirectory {
public:
    explicit WorkingDirectory(const std::string &path) { fs::current_path(path); }
    ~WorkingDirectory() { fs::current_path(old_); }
    WorkingDirectory(const WorkingDirectory &) = delete;
    WorkingDirectory &operator=(const WorkingDirectory &) = delete;

private:
    fs::path old_ = fs::current_path();
};

// ---- where the file is ----

TEST_F(RcFile, NameIsThatOfTheEnvironmentOrDotGravurrc) {
    EXPECT_STREQ(rcfilename(), ".gravurrc");
    const ScopedEnv name("GRAVURRC", "other");
    EXPECT_STREQ(rcfilename(), "other");
    const ScopedEnv empty("GRAVURRC", "");
    EXPECT_STREQ(rcfilename(), "") << "set is set";
}

TEST_F(RcFile, PathOfARelativeNameLiesInTheDirectoryOfTheEnvironment) {
    EXPECT_EQ(full_path("name"), path("name"));
    EXPECT_EQ(full_path("sub/name"), path("sub/name"));
    EXPECT_EQ(full_path("../name"), path("../name"));
    EXPECT_EQ(full_path(".name"), path(".name"));
    EXPECT_EQ(full_path(nullptr), path(".gravurrc"));
    const ScopedEnv other("GRAVURRC", "other");
    EXPECT_EQ(full_path(nullptr), path("other"));
}

TEST_F(RcFile, PathOfARelativeNameLiesElseInTheHome) {
    const ScopedEnv none("RCDIR", nullptr);
    EXPECT_EQ(full_path("name"), local_home_path() + std::string("/name"));
}

TEST_F(RcFile, NameWithAPlaceOfItsOwnIsItsOwnPath) {
    for (const char *const name : {"/etc/name", "\\name", "c:/name", "c:name", "./name", ".\\name"})
        EXPECT_EQ(full_path(name), name);
}

TEST_F(RcFile, PathThatDoesNotFitIsEmpty) {
    const ScopedEnv directory("RCDIR", "/d");
    EXPECT_EQ(full_path(std::string(1020, 'a').c_str()), "/d/" + std::string(1020, 'a'));
    EXPECT_EQ(full_path(std::string(1021, 'a').c_str()), "");
    EXPECT_EQ(full_path(("/" + std::string(1023, 'a')).c_str()), "");
}

TEST_F(RcFile, AbsoluteNameInTheEnvironmentOpensExactlyThatFile) {
    const TempDir other;
    write_text(other.file("settings"), "A=other");
    write("settings", "A=mine");
    const ScopedEnv name("GRAVURRC", other.file("settings").c_str());
    ASSERT_EQ(readrcfile(nullptr, 0), 0);
    EXPECT_STREQ(rc_strval("A"), "other");
}

TEST_F(RcFile, NameThatBeginsWithADotIsRelativeToTheWorkingDirectory) {
    const TempDir other;
    write_text(other.file("settings"), "A=other");
    write("settings", "A=mine");
    const WorkingDirectory in(other.path());
    const ScopedEnv name("GRAVURRC", "./settings");
    ASSERT_EQ(readrcfile(nullptr, 0), 0);
    EXPECT_STREQ(rc_strval("A"), "other");
}

TEST_F(RcFile, BareNameLiesInTheDirectoryOfTheEnvironment) {
    const TempDir other;
    write_text(other.file("settings"), "A=other");
    write("settings", "A=mine");
    const WorkingDirectory in(other.path());
    const ScopedEnv name("GRAVURRC", "settings");
    ASSERT_EQ(readrcfile(nullptr, 0), 0);
    EXPECT_STREQ(rc_strval("A"), "mine");
}

TEST_F(RcFile, BareNameLiesElseInTheHome) {
    const ScopedEnv none("RCDIR", nullptr);
    const ScopedEnv name("GRAVURRC", "rc_reader_test");
    const std::string file = local_home_path() + std::string("/rc_reader_test");
    write_text(file, "A=home");
    EXPECT_EQ(readrcfile(nullptr, 0), 0);
    EXPECT_STREQ(rc_strval("A"), "home");
    fs::remove(file);
}

TEST_F(RcFile, NameOfTheCallGoesBeforeThatOfTheEnvironment) {
    write("settings", "A=called");
    ASSERT_EQ(readrcfile("settings", 0), 0);
    EXPECT_STREQ(rc_strval("A"), "called");
}

// ---- what cannot be read ----

TEST_F(RcFile, MissingFileLeavesTheEnvironment) {
    EXPECT_EQ(readrcfile(nullptr, 0), -1);
    EXPECT_EQ(take_log(), (Texts{missing(".gravurrc")[0],
                                 "[Warning]: error(s) on '.gravurrc', using environment"}));
    EXPECT_STREQ(rc_string("PATH", "none"), ::getenv("PATH"));
    EXPECT_TRUE(uses_environment());
}

TEST_F(RcFile, EmptyFileLeavesTheEnvironment) {
    EXPECT_EQ(fault(""), missing(".gravurrc"));
    EXPECT_STREQ(rc_string("PATH", "none"), ::getenv("PATH"));
}

TEST_F(RcFile, DirectoryLeavesTheEnvironment) {
    fs::create_directory(path());
    EXPECT_EQ(readrcfile(nullptr, 0), -1);
    EXPECT_EQ(take_log()[0], missing(".gravurrc")[0]);
    EXPECT_STREQ(rc_string("PATH", "none"), ::getenv("PATH"));
    EXPECT_TRUE(uses_environment());
}

TEST_F(RcFile, PipeIsRefusedAtOnce) {
    ASSERT_EQ(::mkfifo(path().c_str(), 0600), 0);
    EXPECT_EQ(readrcfile(nullptr, 0), -1);
    EXPECT_EQ(take_log()[0], missing(".gravurrc")[0]);
}

TEST_F(RcFile, FileOfMoreThanAMebibyteIsRefused) {
    const std::string line = "A=1\n";
    EXPECT_EQ(read(line + std::string(1048576 - line.size(), '\n')), 0);
    EXPECT_EQ(table(), (Texts{"A=1"}));
    EXPECT_EQ(fault(line + std::string(1048577 - line.size(), '\n')), missing(".gravurrc"));
}

TEST_F(RcFile, FileOfOneByteIsRead) {
    EXPECT_EQ(read("\n"), 0);
    EXPECT_EQ(rc_strval("PATH"), nullptr) << "no mix with the environment";
}

TEST_F(RcFile, MissingFileUnderARelativePathIsToldWithItsName) {
    EXPECT_EQ(readrcfile("./no such file", 0), -1);
    EXPECT_EQ(take_log(), (Texts{"[Error]: ./no such file (reading startup file)",
                                 "[Warning]: error(s) on './no such file', using environment"}));
}

TEST_F(RcFile, PathThatIsTooLongIsToldShortened) {
    const std::string name(5000, 'a');
    EXPECT_EQ(readrcfile(name.c_str(), 0), -1);
    const std::string shown = name.substr(0, 1023);
    EXPECT_EQ(take_log(), (Texts{"[Error]: " + shown + " (reading startup file)",
                                 "[Warning]: error(s) on '" + shown + "', using environment"}));
}

TEST_F(RcFile, NameOfTheCallIsToldInTheClosingLine) {
    const ScopedEnv name("GRAVURRC", "settings");
    write("settings", "?");
    EXPECT_EQ(readrcfile(nullptr, 0), -1);
    EXPECT_EQ(take_log().back(), "[Warning]: error(s) on 'settings', using environment");
    EXPECT_EQ(readrcfile("other", 0), -1);
    EXPECT_EQ(take_log().back(), "[Warning]: error(s) on 'other', using environment");
}

TEST_F(RcFile, FileThatCannotBeOpenedIsToldAsMissing) {
    write(".gravurrc", "A=1\n");
    EXPECT_EQ(read_with_files(nullptr, 0),
              "-1\n" + missing(".gravurrc")[0] +
                  "\n[Warning]: error(s) on '.gravurrc', using environment\n");
}

TEST_F(RcFile, IncludedFileThatCannotBeOpenedIsToldWithItsIncluders) {
    write(".gravurrc", "\n@include other\n");
    write("other", "A=1\n");
    EXPECT_EQ(read_with_files(nullptr, 1),
              "-1\n" + missing("other")[0] + "\n[Note]: included from " + path() +
                  ", line 2\n[Warning]: error(s) on '.gravurrc', using environment\n");
}

TEST_F(RcFile, FileUnderARelativePathThatCannotBeOpenedIsToldAsItsOwnFault) {
    write("other", "A=1\n");
    const WorkingDirectory in(fs::path(path()).parent_path().string());
    EXPECT_EQ(read_with_files("./other", 0),
              "-1\n[Error]: ./other: line 0: ./other\n"
              "[Warning]: error(s) on './other', using environment\n");
}

} // namespace
