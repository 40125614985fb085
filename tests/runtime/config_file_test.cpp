#include "runtime/config_file.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/kel.h"
#include "runtime/backup.h"
#include "support/byte_file.h"
#include "support/directory.h"
#include "support/failing_malloc.h"
#include "support/in_child.h"
#include "support/temp_dir.h"
#include "util/install.h"

namespace {

using vor::test::Contents;
using vor::test::contents_of;
using vor::test::FailingMalloc;
using vor::test::in_child;
using vor::test::read_text;
using vor::test::set_contents;
using vor::test::TempDir;
using vor::test::write_text;

namespace fs = std::filesystem;

// The user's home and the top directory, which the library asks for once a process.
class Installation {
public:
    Installation() {
        ::setenv("QUORVENTAHOME", home().c_str(), 1);
        ::setenv("QUORVENTATOP", top().c_str(), 1);
        fs::create_directory(home());
        fs::create_directories(top() + "/lib");
    }
    std::string home() const { return dir_.file("home"); }
    std::string top() const { return dir_.file("top"); }

private:
    TempDir dir_;
};

const Installation &installation() {
    static const Installation only;
    return only;
}

class ConfigFile : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(local_home_path(), home_);
        ASSERT_EQ(kel_runtime_topdir(), installation().top());
        set_contents(home_, {});
        set_contents(lib_, {});
    }
    void TearDown() override { close_config_file(&config_); }

    void make_user_file(const std::string &text, const std::string &name = "job") const {
        fs::create_directory(par_);
        write_text(par_ + "/" + name, text);
    }
    void make_default(const std::string &text, const std::string &name = "job") const {
        write_text(lib_ + "/" + name, text);
    }
    int32_t open(const std::string &name, uint32_t flags = 0) {
        close_config_file(&config_);
        return init_config_file(&config_, name.c_str(), flags);
    }
    // The path that a name means; "" for one that is refused.
    std::string path_of(const std::string &name, uint32_t flags = 0) {
        if (open(name, CF_WRITE | CF_CLOSE | flags) != 0) return "";
        return config_.path;
    }
    // The first line of what is opened, with where it came from; "" for a failure.
    std::string opened(const std::string &name, uint32_t flags = 0) {
        if (open(name, flags) != 0) {
            EXPECT_EQ(config_.path, nullptr);
            EXPECT_EQ(config_.reader.stream, nullptr);
            return "";
        }
        EXPECT_GE(read_config_line(&config_), 0);
        std::string result = config_.reader.line;
        EXPECT_EQ(read_text(config_.path), result);
        if (config_.flags & CF_BACKUP) result += ", backup";
        if (config_.flags & CF_DEFAULT) result += ", default";
        return result;
    }
    void write(const std::string &name, uint32_t flags, const char *text) {
        ASSERT_EQ(open(name, CF_WRITE | flags), 0);
        EXPECT_EQ(write_config_line(&config_, text), 0);
        EXPECT_EQ(close_config_file(&config_), 0);
    }
    Contents user_files() const { return contents_of(par_); }

    const std::string home_ = installation().home();
    const std::string par_ = home_ + "/.par";
    const std::string lib_ = installation().top() + "/lib";
    config_file_t config_ = {};
};

TEST_F(ConfigFile, PlainNameLiesInTheUsersDirectory) {
    EXPECT_EQ(path_of("job"), par_ + "/job");
    EXPECT_EQ(path_of("sub/job"), par_ + "/sub/job");
    EXPECT_EQ(path_of("~job"), par_ + "/~job");
    EXPECT_EQ(path_of("./job"), par_ + "/./job");
    EXPECT_EQ(path_of(""), par_ + "/");
}

TEST_F(ConfigFile, UsersDirectoryIsMadeWhenItIsMissing) {
    ASSERT_FALSE(fs::exists(par_));
    EXPECT_EQ(open("job"), -1);
    EXPECT_TRUE(fs::is_directory(par_));
    write("job", 0, "one\n");
    EXPECT_EQ(user_files(), (Contents{{"job", "one\n"}}));
}

TEST_F(ConfigFile, NameBehindATildeLiesInTheHomeItself) {
    EXPECT_EQ(path_of("~/job"), home_ + "/job");
    EXPECT_EQ(path_of("~\\job"), home_ + "/job");
    EXPECT_FALSE(fs::exists(par_));
}

TEST_F(ConfigFile, NameBehindATildeHasNoDefault) {
    make_default("default");
    fs::create_directory(lib_ + "/~");
    make_default("default", "~/job");
    EXPECT_EQ(opened("~/job"), "");
    write_text(home_ + "/job", "mine");
    EXPECT_EQ(opened("~/job"), "mine");
    EXPECT_EQ(config_.flags, 0u) << "the record tells the flags of the call";
}

TEST_F(ConfigFile, AbsoluteNameIsRefused) {
    const TempDir other;
    write_text(other.file("job"), "text");
    for (const std::string &name : {other.file("job"), std::string("/job"), std::string("\\job"),
                                    std::string("c:/job"), std::string("c:job")}) {
        EXPECT_EQ(open(name), -1) << name;
        EXPECT_EQ(config_.path, nullptr);
        EXPECT_EQ(path_of(name), "") << name;
    }
    EXPECT_FALSE(fs::exists(par_));
}

TEST_F(ConfigFile, NameWithAParentDirectoryInItIsRefused) {
    for (const char *const name : {"..", "../job", "..\\job", "a/..", "a/../job", "a\\..\\job",
                                   "a/..\\job", "~/..", "~/../job", "./../job"})
        EXPECT_EQ(path_of(name), "") << name;
}

TEST_F(ConfigFile, DotsInsideAWordAreNoParentDirectory) {
    for (const std::string name : {"a..b", "a..", "..a", "...", "a/..b/c", "a../b", "a/.../b"})
        EXPECT_EQ(path_of(name), par_ + "/" + name);
}

TEST_F(ConfigFile, OnlyTheFirstDotsOfANameAreLookedAt) {
    EXPECT_EQ(path_of("a..b/../job"), par_ + "/a..b/../job");
    EXPECT_EQ(path_of("a/../b..c"), "");
    EXPECT_EQ(path_of("a/../b/../c"), "");
}

TEST_F(ConfigFile, NameWithAPathOfItsOwnIsTakenIfAllowed) {
    for (const std::string name :
         {"/tmp/a/../job", "\\job", "c:job", "./job", ".\\job", "../job", "..\\job"})
        EXPECT_EQ(path_of(name, CF_PATHOK), name);
    // These have none.
    EXPECT_EQ(path_of("job", CF_PATHOK), par_ + "/job");
    EXPECT_EQ(path_of(".job", CF_PATHOK), par_ + "/.job");
    EXPECT_EQ(path_of("..job", CF_PATHOK), par_ + "/..job");
    EXPECT_EQ(path_of("..", CF_PATHOK), "");
    EXPECT_EQ(path_of("a/../job", CF_PATHOK), "");
    EXPECT_EQ(path_of("~/job", CF_PATHOK), home_ + "/job");
}

TEST_F(ConfigFile, NameWithAPathOfItsOwnHasNoDefault) {
    const TempDir other;
    fs::create_directories(lib_ + other.path());
    make_default("default", other.file("job"));
    EXPECT_EQ(opened(other.file("job"), CF_PATHOK), "");
    EXPECT_EQ(opened(other.file("job"), CF_PATHOK | CF_DEFAULT), "default, default")
        << "unless it is asked for";
    write_text(other.file("job"), "mine");
    EXPECT_EQ(opened(other.file("job"), CF_PATHOK), "mine");
}

TEST_F(ConfigFile, SourceAndChangeDoNotGoTogether) {
    make_user_file("text");
    for (const uint32_t from : {0u | CF_BACKUP, 0u | CF_DEFAULT}) {
        for (const uint32_t to : {0u | CF_WRITE, 0u | CF_DELETE, 0u | CF_WRITE | CF_CLOSE}) {
            EXPECT_EQ(open("job", from | to), -1) << from << ' ' << to;
            EXPECT_EQ(config_.path, nullptr);
            EXPECT_EQ(config_.flags, from | to);
        }
    }
    EXPECT_EQ(user_files(), (Contents{{"job", "text"}}));
}

TEST_F(ConfigFile, ReadTakesTheUsersFile) {
    make_user_file("mine");
    make_default("default");
    EXPECT_EQ(opened("job"), "mine");
    EXPECT_STREQ(config_.path, (par_ + "/job").c_str());
    EXPECT_EQ(opened("job", CF_BINARY), "mine");
}

TEST_F(ConfigFile, ReadWithoutAUsersFileTakesTheDefault) {
    make_default("default");
    EXPECT_EQ(opened("job"), "default, default");
    EXPECT_STREQ(config_.path, (lib_ + "/job").c_str());
}

TEST_F(ConfigFile, DefaultMayBeRefused) {
    make_default("default");
    EXPECT_EQ(opened("job", CF_NODEFAULT), "");
}

TEST_F(ConfigFile, ReadOfNothingFails) {
    EXPECT_EQ(opened("job"), "");
    EXPECT_EQ(opened("job", CF_TRYBACKUP), "");
    EXPECT_EQ(opened("job", CF_BACKUP), "");
    EXPECT_EQ(opened("job", CF_DEFAULT), "");
    EXPECT_EQ(opened(""), "") << "a directory is no file";
}

TEST_F(ConfigFile, DefaultMayBeAskedFor) {
    make_user_file("mine");
    make_default("default");
    EXPECT_EQ(opened("job", CF_DEFAULT), "default, default");
    fs::remove(lib_ + "/job");
    EXPECT_EQ(opened("job", CF_DEFAULT), "");
}

TEST_F(ConfigFile, NewestBackupComesBeforeTheDefaultIfTried) {
    make_user_file("single", "job~");
    make_default("default");
    EXPECT_EQ(opened("job"), "default, default");
    EXPECT_EQ(opened("job", CF_TRYBACKUP), "single, backup");
    make_user_file("third", "job.~3~");
    make_user_file("fourth", "job.~4~");
    EXPECT_EQ(opened("job", CF_TRYBACKUP), "third, backup");
    EXPECT_STREQ(config_.path, (par_ + "/job.~3~").c_str());
    make_user_file("mine");
    EXPECT_EQ(opened("job", CF_TRYBACKUP), "mine");
}

TEST_F(ConfigFile, DefaultComesAfterBackupsThatAreNotThere) {
    make_default("default");
    EXPECT_EQ(opened("job", CF_TRYBACKUP), "default, default");
    EXPECT_EQ(opened("job", CF_TRYBACKUP | CF_NODEFAULT), "");
    make_user_file("of a backup", "job~~");
    EXPECT_EQ(opened("job", CF_TRYBACKUP), "default, default") << "a backup's backup is none";
}

TEST_F(ConfigFile, BackupMayBeAskedFor) {
    make_user_file("mine");
    make_user_file("second", "job.~2~");
    EXPECT_EQ(opened("job", CF_BACKUP), "second, backup");
    EXPECT_EQ(opened("job", CF_BACKUP | CF_TRYBACKUP), "second, backup");
}

TEST_F(ConfigFile, MissingBackupGivesWayToTheDefault) {
    make_user_file("mine");
    EXPECT_EQ(opened("job", CF_BACKUP), "");
    EXPECT_EQ(opened("job", CF_BACKUP | CF_TRYBACKUP), "");
    make_default("default");
    EXPECT_EQ(opened("job", CF_BACKUP), "default, default");
    EXPECT_EQ(opened("job", CF_BACKUP | CF_NODEFAULT), "");
}

TEST_F(ConfigFile, FileMayBeFoundOnly) {
    make_user_file("mine");
    EXPECT_EQ(open("job", CF_CLOSE), 0);
    EXPECT_STREQ(config_.path, (par_ + "/job").c_str());
    EXPECT_EQ(config_.reader.stream, nullptr);
    EXPECT_EQ(open("other", CF_CLOSE), -1);
    make_default("default", "other");
    EXPECT_EQ(open("other", CF_CLOSE), 0);
    EXPECT_STREQ(config_.path, (lib_ + "/other").c_str());
    EXPECT_EQ(config_.flags, CF_CLOSE | uint32_t{CF_DEFAULT});
}

TEST_F(ConfigFile, FileToBeWrittenIsNotLookedAtIfFoundOnly) {
    make_user_file("mine");
    for (const uint32_t flags : {0u, 0u | CF_SAVE, 0u | CF_DELETE, 0u | CF_SAVE | CF_DELETE}) {
        EXPECT_EQ(open("job", CF_WRITE | CF_CLOSE | flags), 0) << flags;
        EXPECT_STREQ(config_.path, (par_ + "/job").c_str());
        EXPECT_EQ(config_.reader.stream, nullptr);
    }
    EXPECT_EQ(user_files(), (Contents{{"job", "mine"}}));
}

TEST_F(ConfigFile, WriteMakesTheUsersOwnFile) {
    make_default("default");
    write("job", 0, "mine\n");
    EXPECT_EQ(user_files(), (Contents{{"job", "mine\n"}}));
    EXPECT_EQ(read_text(lib_ + "/job"), "default");
    write("job", CF_BINARY, "anew\n");
    EXPECT_EQ(user_files(), (Contents{{"job", "anew\n"}}));
}

TEST_F(ConfigFile, WriteMayAppend) {
    make_user_file("one\n");
    write("job", CF_APPEND, "two\n");
    write("job", CF_APPEND | CF_BINARY, "three\n");
    EXPECT_EQ(user_files(), (Contents{{"job", "one\ntwo\nthree\n"}}));
}

TEST_F(ConfigFile, WriteThatCannotBeOpenedFails) {
    make_default("default", "sub");
    make_default("default", "job");
    for (const char *const name : {"missing/job", ""}) {
        EXPECT_EQ(open(name, CF_WRITE), -1) << name;
        EXPECT_EQ(config_.path, nullptr);
        EXPECT_EQ(open(name, CF_WRITE | CF_TRYBACKUP), -1) << name;
    }
}

TEST_F(ConfigFile, WriteMaySaveFirst) {
    make_user_file("one");
    write("job", CF_SAVE, "two");
    EXPECT_EQ(user_files(), (Contents{{"job", "two"}, {"job.~1~", "one"}}));
    write("new", CF_SAVE, "text");
    EXPECT_EQ(read_text(par_ + "/new"), "text");
    write("job", CF_SAVE | CF_APPEND, "three");
    EXPECT_EQ(read_text(par_ + "/job"), "three") << "there is nothing left to append to";
}

TEST_F(ConfigFile, SavingProtectsTheOldestGenerationUnlessToldNotTo) {
    const Contents before = {
        {"job", "new"}, {"job.~1~", "1"}, {"job.~2~", "2"}, {"job.~3~", "3"}, {"job.~4~", "4"}};
    fs::create_directory(par_);
    set_contents(par_, before);
    write("job", CF_SAVE, "");
    EXPECT_EQ(read_text(par_ + "/job.~4~"), "4");
    EXPECT_EQ(read_text(par_ + "/job.~3~"), "2");
    set_contents(par_, before);
    write("job", CF_SAVE | CF_SAVEALL, "");
    EXPECT_EQ(read_text(par_ + "/job.~4~"), "3");
    set_contents(par_, before);
    write("job", CF_SAVEALL, "");
    EXPECT_EQ(read_text(par_ + "/job.~1~"), "1") << "alone it saves nothing";
}

TEST_F(ConfigFile, WriteFailsIfTheFileCannotBeSaved) {
    make_user_file("one");
    fs::create_directory(par_ + "/job~");
    config_backup(BACKUP_SET_GENERATIONS, 1);
    EXPECT_EQ(open("job", CF_WRITE | CF_SAVE), -1);
    EXPECT_EQ(config_.path, nullptr);
    EXPECT_EQ(open("job", CF_DELETE | CF_SAVE), -1);
    config_backup(BACKUP_SET_GENERATIONS, 4);
    EXPECT_EQ(read_text(par_ + "/job"), "one");
}

TEST_F(ConfigFile, DeleteGivesTheResultOfTheDeletion) {
    make_user_file("one");
    make_default("default");
    EXPECT_EQ(open("job", CF_DELETE), 0);
    EXPECT_EQ(config_.path, nullptr);
    EXPECT_EQ(config_.reader.stream, nullptr);
    EXPECT_EQ(user_files(), Contents{});
    EXPECT_EQ(open("job", CF_DELETE), -1);
    EXPECT_EQ(read_text(lib_ + "/job"), "default");
}

TEST_F(ConfigFile, DeleteOfASavedFileFindsNothingToDelete) {
    make_user_file("one");
    EXPECT_EQ(open("job", CF_DELETE | CF_SAVE), -1);
    EXPECT_EQ(user_files(), (Contents{{"job.~1~", "one"}}));
}

TEST_F(ConfigFile, DeleteComesBeforeAWrite) {
    make_user_file("one");
    EXPECT_EQ(open("job", CF_DELETE | CF_WRITE), 0);
    EXPECT_EQ(config_.reader.stream, nullptr);
    EXPECT_EQ(user_files(), Contents{});
}

TEST_F(ConfigFile, LinesAreReadOneByOne) {
    make_user_file("one  \n\n \tthree\r\nno\\\nend");
    ASSERT_EQ(open("job"), 0);
    EXPECT_EQ(read_config_line(&config_), 3);
    EXPECT_STREQ(config_.reader.line, "one");
    EXPECT_EQ(read_config_line(&config_), 0);
    EXPECT_EQ(read_config_line(&config_), 7);
    EXPECT_STREQ(config_.reader.line, " \tthree");
    EXPECT_EQ(read_config_line(&config_), 3);
    EXPECT_STREQ(config_.reader.line, "no\\");
    EXPECT_EQ(read_config_line(&config_), 3);
    EXPECT_EQ(read_config_line(&config_), -1);
    EXPECT_EQ(config_.error, 0);
    EXPECT_EQ(close_config_file(&config_), 0);
}

TEST_F(ConfigFile, BackslashContinuesALineIfAsked) {
    make_user_file("one\\\n  two\\\n three\nfour");
    ASSERT_EQ(open("job", CF_CONTINUE), 0);
    EXPECT_EQ(read_config_line(&config_), 11);
    EXPECT_STREQ(config_.reader.line, "onetwothree");
    EXPECT_EQ(read_config_line(&config_), 4);
}

TEST_F(ConfigFile, ZeroByteIsReadAsABlank) {
    make_user_file(std::string("a\0b\n", 4));
    ASSERT_EQ(open("job"), 0);
    EXPECT_EQ(read_config_line(&config_), 3);
    EXPECT_STREQ(config_.reader.line, "a b");
}

TEST_F(ConfigFile, ReadWithoutAnOpenFileFails) {
    make_user_file("text");
    ASSERT_EQ(open("job", CF_CLOSE), 0);
    EXPECT_EQ(read_config_line(&config_), -1);
    EXPECT_EQ(config_.error, 1);
    EXPECT_EQ(close_config_file(&config_), -1);
}

TEST_F(ConfigFile, ReadErrorIsNotTheEndOfTheFile) {
    ASSERT_EQ(open("job", CF_WRITE), 0);
    EXPECT_EQ(read_config_line(&config_), -1);
    EXPECT_EQ(config_.error, 1);
    EXPECT_EQ(close_config_file(&config_), -1);
}

TEST_F(ConfigFile, ReadWithoutMemoryFails) {
    make_user_file("text");
    ASSERT_EQ(open("job"), 0);
    {
        const FailingMalloc failing(1);
        EXPECT_EQ(read_config_line(&config_), -1);
    }
    EXPECT_EQ(config_.error, 1);
    EXPECT_EQ(read_config_line(&config_), 4) << "the reader stays usable";
    EXPECT_EQ(close_config_file(&config_), -1) << "the failure is not forgotten";
}

TEST_F(ConfigFile, ReadPrintsNothing) {
    make_user_file("text");
    ASSERT_EQ(open("job", CF_CLOSE), 0);
    ::testing::internal::CaptureStderr();
    read_config_line(&config_);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

TEST_F(ConfigFile, TrimGivesTheLineWithoutBlanksAndComments) {
    make_user_file("  key = 1 \t\n # comment\nplain\n");
    ASSERT_EQ(open("job"), 0);
    EXPECT_EQ(trim_config_line(&config_), nullptr) << "nothing read yet";
    read_config_line(&config_);
    EXPECT_STREQ(trim_config_line(&config_), "key = 1");
    read_config_line(&config_);
    EXPECT_STREQ(trim_config_line(&config_), "");
    read_config_line(&config_);
    EXPECT_STREQ(trim_config_line(&config_), "plain");
}

TEST_F(ConfigFile, WriteAddsNoLineEnd) {
    ASSERT_EQ(open("job", CF_WRITE), 0);
    EXPECT_EQ(write_config_line(&config_, "one"), 0);
    EXPECT_EQ(write_config_line(&config_, ""), 0);
    EXPECT_EQ(write_config_line(&config_, "two\n"), 0);
    EXPECT_EQ(close_config_file(&config_), 0);
    EXPECT_EQ(user_files(), (Contents{{"job", "onetwo\n"}}));
}

TEST_F(ConfigFile, WriteOfNothingWritesTheLineReadLast) {
    make_user_file("first\nsecond\n");
    // A file that is read and written alike: the record takes any stream.
    config_ = {};
    attach_getaline(&config_.reader, kel_fopen((par_ + "/job").c_str(), "r+"));
    ASSERT_EQ(read_config_line(&config_), 5);
    kel_fseeko(config_.reader.stream, 0, KEL_SEEK_END);
    EXPECT_EQ(write_config_line(&config_, nullptr), 0);
    EXPECT_EQ(close_config_file(&config_), 0);
    EXPECT_EQ(user_files(), (Contents{{"job", "first\nsecond\nfirst"}}));
}

TEST_F(ConfigFile, WriteOfNothingBeforeAnyReadFails) {
    ASSERT_EQ(open("job", CF_WRITE), 0);
    EXPECT_EQ(write_config_line(&config_, nullptr), -1);
    EXPECT_EQ(config_.error, 0);
    EXPECT_EQ(close_config_file(&config_), 0);
}

TEST_F(ConfigFile, WriteWithoutAnOpenFileFails) {
    for (const char *const text : {"text", static_cast<const char *>(nullptr)}) {
        ASSERT_EQ(open("job", CF_WRITE | CF_CLOSE), 0);
        EXPECT_EQ(write_config_line(&config_, text), -1);
        EXPECT_EQ(config_.error, 1);
        EXPECT_EQ(close_config_file(&config_), -1);
    }
}

// The results of writing and of closing where a file may have no more than 100 bytes.
std::string write_with_limit(size_t size) {
    return in_child([&] {
        ::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit = {100, 100};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        config_file_t config;
        if (init_config_file(&config, "job", CF_WRITE) != 0) return std::string("not opened");
        const int32_t written = write_config_line(&config, std::string(size, 'a').c_str());
        const int32_t error = config.error;
        const int32_t closed = close_config_file(&config);
        return std::to_string(written) + " " + std::to_string(error) + " " + std::to_string(closed);
    });
}

TEST_F(ConfigFile, WriteErrorIsToldAtOnceOrAtTheClose) {
    EXPECT_EQ(write_with_limit(100), "0 0 0");
    EXPECT_EQ(write_with_limit(101), "0 0 -1") << "the stream held it back";
    EXPECT_EQ(write_with_limit(100000), "-1 1 -1");
}

TEST_F(ConfigFile, CloseOfARecordThatWasNotOpenedIsGood) {
    EXPECT_EQ(open("missing"), -1);
    EXPECT_EQ(close_config_file(&config_), 0);
    EXPECT_EQ(close_config_file(&config_), 0);
}

TEST_F(ConfigFile, FindGivesTheOpenFileAndItsName) {
    make_user_file("mine\n");
    char *path = nullptr;
    FILE *const file = find_config_file("job", 0, &path);
    ASSERT_TRUE(file);
    char line[16] = "";
    EXPECT_STREQ(std::fgets(line, sizeof line, file), "mine\n");
    EXPECT_EQ(path, par_ + "/job");
    kel_fclose(file);
    std::free(path);
}

TEST_F(ConfigFile, FindWithoutAPlaceForTheNameFreesIt) {
    make_default("default");
    FILE *const file = find_config_file("job", 0, nullptr);
    ASSERT_TRUE(file);
    kel_fclose(file);
    EXPECT_EQ(find_config_file("missing", 0, nullptr), nullptr);
}

TEST_F(ConfigFile, FindThatFailsGivesNoName) {
    for (const char *const name : {"missing", "/missing", "../missing"}) {
        char text[] = "as before";
        char *path = text;
        EXPECT_EQ(find_config_file(name, 0, &path), nullptr) << name;
        EXPECT_EQ(path, nullptr) << name;
    }
}

TEST_F(ConfigFile, FindOfANameAloneGivesNoFile) {
    char *path = nullptr;
    EXPECT_EQ(find_config_file("job", CF_WRITE | CF_CLOSE, &path), nullptr);
    ASSERT_TRUE(path);
    EXPECT_EQ(path, par_ + "/job");
    std::free(path);
}

TEST_F(ConfigFile, RestorePutsTheNewestBackupBack) {
    make_user_file("bad");
    make_user_file("second", "job.~2~");
    EXPECT_EQ(restore_config_file("job"), 2);
    EXPECT_EQ(user_files(), (Contents{{"job", "second"}, {"job.~2~", "second"}}));
    write_text(home_ + "/job~", "single");
    EXPECT_EQ(restore_config_file("~/job"), 0);
    EXPECT_EQ(read_text(home_ + "/job"), "single");
}

TEST_F(ConfigFile, RestoreWithoutABackupFails) {
    make_user_file("mine");
    EXPECT_EQ(restore_config_file("job"), -1);
    EXPECT_EQ(user_files(), (Contents{{"job", "mine"}}));
}

TEST_F(ConfigFile, RestoreOfANameThatIsRefusedFails) {
    const TempDir other;
    write_text(other.file("job~"), "backup");
    EXPECT_EQ(restore_config_file(other.file("job").c_str()), -1);
    EXPECT_EQ(restore_config_file("../job"), -1);
    EXPECT_FALSE(fs::exists(other.file("job")));
}

TEST_F(ConfigFile, NameThatDoesNotFitIsRefused) {
    const std::string longest(1100, 'a');
    EXPECT_EQ(open(longest), -1);
    EXPECT_EQ(open(longest, CF_TRYBACKUP), -1);
    EXPECT_EQ(open(longest, CF_BACKUP), -1);
    EXPECT_EQ(open(longest, CF_WRITE), -1);
    EXPECT_EQ(open(longest, CF_WRITE | CF_SAVE), -1);
    EXPECT_EQ(open(longest, CF_DELETE), -1);
    EXPECT_EQ(restore_config_file(longest.c_str()), -1);
}

TEST_F(ConfigFile, OutOfMemoryFailsAndLeaksNothing) {
    const struct {
        const char *name;
        uint32_t flags;
    } rows[] = {{"job", 0}, {"~/job", 0}, {"./job", CF_PATHOK}, {"other", 0}};
    make_user_file("mine");
    make_default("default", "other");
    const fs::path old = fs::current_path();
    fs::current_path(par_);
    write_text(home_ + "/job", "mine");
    for (const auto &row : rows) {
        long nth = 1;
        for (;; ++nth) {
            const FailingMalloc failing(nth);
            config_file_t config;
            const int32_t result = init_config_file(&config, row.name, row.flags);
            if (!failing.reached()) {
                EXPECT_EQ(result, 0) << row.name;
                close_config_file(&config);
                break;
            }
            EXPECT_EQ(result, -1) << row.name << ' ' << nth;
            EXPECT_EQ(config.path, nullptr);
            close_config_file(&config);
        }
        EXPECT_GT(nth, 1) << row.name;
    }
    fs::current_path(old);
}

} // namespace
