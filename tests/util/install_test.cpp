#include "util/install.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <initializer_list>
#include <string>

#include "support/byte_file.h"
#include "support/failing_malloc.h"
#include "support/in_child.h"
#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;
using vor::test::FailingMalloc;
using vor::test::in_child;
using vor::test::TempDir;
using vor::test::write_text;

struct Variable {
    const char *name;
    const char *value; // null: not set
};

void set_environment(std::initializer_list<Variable> variables) {
    for (const char *name : {"QUORVENTATOP", "QUORVENTAHOME", "HOME", "HOMEDRIVE", "HOMEPATH",
                             "USER", "LOGNAME", "USERNAME"})
        ::unsetenv(name);
    for (const Variable &variable : variables)
        if (variable.value) ::setenv(variable.name, variable.value, 1);
}

// The answers are kept for the life of a process, so each is asked for in a child, with these of
// the variables that matter and no others.
std::string top_with(std::initializer_list<Variable> variables) {
    return in_child([&] {
        set_environment(variables);
        return std::string(kel_runtime_topdir());
    });
}

std::string home_with(std::initializer_list<Variable> variables) {
    return in_child([&] {
        set_environment(variables);
        return std::string(local_home_path());
    });
}

std::string user_with(std::initializer_list<Variable> variables, int32_t prefer_environment) {
    return in_child([&] {
        set_environment(variables);
        return std::string(local_user_name(prefer_environment));
    });
}

std::string system_user() {
    const struct passwd *const entry = ::getpwuid(::geteuid());
    return entry ? entry->pw_name : "nobody";
}

TEST(RuntimeTopdir, IsTheVariableAsItStands) {
    EXPECT_EQ(top_with({{"QUORVENTATOP", "C:\\some\\where/"}}), "C:\\some\\where/");
}

TEST(RuntimeTopdir, IsTheDirectoryAboveThatOfTheProgram) {
    const fs::path program = fs::read_symlink("/proc/self/exe");
    EXPECT_EQ(top_with({}), program.parent_path().parent_path().string());
}

TEST(RuntimeTopdir, ProgramInBinFindsTheTopWithoutAVariable) {
    const TempDir top;
    fs::create_directory(top.file("bin"));
    fs::copy_file(VOR_INSTALL_ANSWERS, top.file("bin/answers"));
    const std::string output = in_child([&] {
        set_environment({});
        FILE *const pipe = ::popen(top.file("bin/answers").c_str(), "r");
        std::string text;
        for (int c = 0; pipe && (c = std::getc(pipe)) != EOF;)
            text += static_cast<char>(c);
        return pipe && ::pclose(pipe) == 0 ? text : "failed";
    });
    EXPECT_EQ(output, top.path() + "\n/\n" + system_user() + "\n");
}

TEST(RuntimeTopdir, OutOfMemoryIsTheConstant) {
    EXPECT_EQ(in_child([] {
                  set_environment({{"QUORVENTATOP", "/somewhere"}});
                  const FailingMalloc failing(1, true);
                  return std::string(kel_runtime_topdir());
              }),
              "/opt/kel");
}

TEST(RuntimeTopdir, OutOfMemoryForTheVariableAsksForTheProgram) {
    const fs::path program = fs::read_symlink("/proc/self/exe");
    EXPECT_EQ(in_child([] {
                  set_environment({{"QUORVENTATOP", "/somewhere"}});
                  const FailingMalloc failing(1);
                  return std::string(kel_runtime_topdir());
              }),
              program.parent_path().parent_path().string());
}

TEST(RuntimeTopdir, AnswerIsKept) {
    EXPECT_EQ(in_child([] {
                  set_environment({{"QUORVENTATOP", "/first"}});
                  const char *const first = kel_runtime_topdir();
                  set_environment({{"QUORVENTATOP", "/second"}});
                  return std::string(kel_runtime_topdir()) +
                         (kel_runtime_topdir() == first ? " same" : " other");
              }),
              "/first same");
}

// A top directory and a home of the environment.
class HomePath : public ::testing::Test {
protected:
    void make_run() { fs::create_directory(top_.file("run")); }
    void make_rc_file() { write_text(home_.file(".gravurrc"), ""); }
    std::string found(const char *own = nullptr) const {
        return home_with({{"QUORVENTAHOME", own},
                          {"QUORVENTATOP", top_.path().c_str()},
                          {"HOME", home_.path().c_str()}});
    }

    TempDir top_;
    TempDir home_;
};

TEST_F(HomePath, IsTheVariableAsItStands) {
    make_run();
    make_rc_file();
    EXPECT_EQ(found("not/there\\"), "not/there\\");
}

TEST_F(HomePath, HomeWithAnRcFileComesBeforeRun) {
    make_run();
    make_rc_file();
    EXPECT_EQ(found(), home_.path());
}

TEST_F(HomePath, WritableRunComesBeforeHomeWithoutAnRcFile) {
    make_run();
    EXPECT_EQ(found(), top_.file("run"));
    EXPECT_TRUE(fs::is_empty(top_.file("run"))) << "the test file is deleted again";
}

TEST_F(HomePath, WithoutRunHomeNeedsNoRcFile) {
    EXPECT_EQ(found(), home_.path());
}

TEST_F(HomePath, RunThatIsNoDirectoryDoesNotCount) {
    write_text(top_.file("run"), "");
    EXPECT_EQ(found(), home_.path());
}

TEST_F(HomePath, RunTestLeavesAFileThatALinkNamesAlone) {
    make_run();
    const std::string precious = home_.file("precious");
    write_text(precious, "text");
    EXPECT_EQ(in_child([&] {
                  set_environment({{"QUORVENTATOP", top_.path().c_str()}});
                  const std::string name = "run/rwtest_" + std::to_string(::getpid()) + ".txt";
                  fs::create_symlink(precious, top_.file(name));
                  return std::string(local_home_path());
              }),
              top_.file("run"));
    EXPECT_EQ(vor::test::read_text(precious), "text");
    EXPECT_TRUE(fs::is_empty(top_.file("run")));
}

TEST_F(HomePath, DriveAndPathAreJoinedWhereHomeIsNotSet) {
    EXPECT_EQ(home_with({{"QUORVENTATOP", top_.path().c_str()},
                         {"HOMEDRIVE", "C:"},
                         {"HOMEPATH", "\\users\\me"}}),
              "C:\\users\\me");
}

TEST_F(HomePath, HomeComesBeforeDriveAndPath) {
    EXPECT_EQ(home_with({{"QUORVENTATOP", top_.path().c_str()},
                         {"HOME", "/my/home"},
                         {"HOMEDRIVE", "C:"},
                         {"HOMEPATH", "\\users\\me"}}),
              "/my/home");
}

TEST_F(HomePath, DriveOrPathAloneIsNoHome) {
    EXPECT_EQ(home_with({{"QUORVENTATOP", top_.path().c_str()}, {"HOMEDRIVE", "C:"}}), "/");
    EXPECT_EQ(home_with({{"QUORVENTATOP", top_.path().c_str()}, {"HOMEPATH", "/p"}}), "/");
}

TEST_F(HomePath, WithoutAnythingIsTheConstant) {
    EXPECT_EQ(home_with({{"QUORVENTATOP", top_.path().c_str()}}), "/");
}

TEST_F(HomePath, OutOfMemoryIsTheConstant) {
    make_run();
    make_rc_file();
    EXPECT_EQ(in_child([&] {
                  set_environment({{"QUORVENTAHOME", "/own"}, {"HOME", home_.path().c_str()}});
                  const FailingMalloc failing(1, true);
                  return std::string(local_home_path());
              }),
              "/");
}

TEST_F(HomePath, EachFailingAllocationTakesANextStep) {
    make_run();
    make_rc_file();
    // The copy of QUORVENTAHOME; that of HOME; the name of the rc file.
    struct Row {
        const char *own;
        long failing;
        std::string expected;
    };
    for (const Row &row : {Row{"/own", 1, home_.path()}, Row{nullptr, 1, top_.file("run")},
                           Row{nullptr, 2, top_.file("run")}}) {
        EXPECT_EQ(in_child([&] {
                      set_environment({{"QUORVENTAHOME", row.own},
                                       {"QUORVENTATOP", top_.path().c_str()},
                                       {"HOME", home_.path().c_str()}});
                      const FailingMalloc failing(row.failing);
                      return std::string(local_home_path());
                  }),
                  row.expected)
            << row.failing;
    }
}

TEST_F(HomePath, AnswerIsKept) {
    EXPECT_EQ(in_child([] {
                  set_environment({{"QUORVENTAHOME", "/first"}});
                  std::string answers = local_home_path();
                  set_environment({{"QUORVENTAHOME", "/second"}});
                  return answers + " " + local_home_path();
              }),
              "/first /first");
}

TEST(UserName, IsThatOfTheSystem) {
    EXPECT_EQ(user_with({{"USER", "someone"}}, 0), system_user());
}

TEST(UserName, EnvironmentIsAskedInOrder) {
    EXPECT_EQ(user_with({{"USER", "a"}, {"LOGNAME", "b"}, {"USERNAME", "c"}}, 1), "a");
    EXPECT_EQ(user_with({{"LOGNAME", "b"}, {"USERNAME", "c"}}, 1), "b");
    EXPECT_EQ(user_with({{"USERNAME", "c"}}, -1), "c");
}

TEST(UserName, WithoutVariablesIsThatOfTheSystem) {
    EXPECT_EQ(user_with({}, 1), system_user());
}

TEST(UserName, FirstVariableSetDecidesEvenIfEmpty) {
    EXPECT_EQ(user_with({{"USER", ""}, {"LOGNAME", "b"}}, 1), system_user());
}

TEST(UserName, OutOfMemoryIsThatOfTheSystem) {
    EXPECT_EQ(in_child([] {
                  set_environment({{"USER", "someone"}});
                  const FailingMalloc failing(1, true);
                  return std::string(local_user_name(1));
              }),
              system_user());
}

TEST(UserName, BothAnswersAreKept) {
    EXPECT_EQ(in_child([] {
                  set_environment({{"USER", "first"}});
                  std::string answers = local_user_name(1);
                  set_environment({{"USER", "second"}});
                  answers += std::string(" ") + local_user_name(1);
                  return answers + " " + local_user_name(0);
              }),
              "first first " + system_user());
}

} // namespace
