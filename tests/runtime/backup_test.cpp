#include "runtime/backup.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <climits>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/kel.h"
#include "support/byte_file.h"
#include "support/directory.h"
#include "support/failing_malloc.h"
#include "support/in_child.h"
#include "support/interrupted_calls.h"
#include "support/temp_dir.h"

namespace {

using vor::test::Contents;
using vor::test::contents_of;
using vor::test::FailingMalloc;
using vor::test::FileCall;
using vor::test::InterruptedCall;
using vor::test::Interruption;
using vor::test::read_text;
using vor::test::run_in_child;
using vor::test::set_contents;
using vor::test::TempDir;
using vor::test::write_text;

// "data" with all four generations, the oldest last.
const Contents full = {
    {"data", "new"}, {"data.~1~", "1"}, {"data.~2~", "2"}, {"data.~3~", "3"}, {"data.~4~", "4"}};

class Backups : public ::testing::Test {
protected:
    void TearDown() override {
        config_backup(BACKUP_SET_GENERATIONS, 4);
        config_backup(BACKUP_SET_KEEP, 1);
    }
    // What saving makes of a directory with these files; the result must be 0.
    Contents saved(const Contents &before, uint32_t flags = 0) {
        set_contents(dir_.path(), before);
        EXPECT_EQ(savebackup(name_.c_str(), flags), 0);
        return contents();
    }
    Contents contents() const { return contents_of(dir_.path()); }
    void make_directory(const std::string &name) const {
        std::filesystem::create_directory(dir_.file(name));
        write_text(dir_.file(name + "/inside"), "");
    }
    int32_t find(int32_t limit, std::string *found = nullptr) const {
        std::vector<char> buffer(name_.size() + BACKUP_SUFFIX_ROOM);
        const int32_t result = find_backup_ext(buffer.data(), name_.c_str(), limit);
        if (found) *found = buffer.data() + dir_.path().size() + 1;
        return result;
    }

    TempDir dir_;
    std::string name_ = dir_.file("data");
};

TEST_F(Backups, SettingsStartAtFourGenerationsAndOneKept) {
    EXPECT_EQ(config_backup(BACKUP_GET_GENERATIONS, 99), 4);
    EXPECT_EQ(config_backup(BACKUP_GET_KEEP, 99), 1);
}

TEST_F(Backups, SettingsGiveTheValueSet) {
    EXPECT_EQ(config_backup(BACKUP_SET_GENERATIONS, 9), 9);
    EXPECT_EQ(config_backup(BACKUP_GET_GENERATIONS, 0), 9);
    EXPECT_EQ(config_backup(BACKUP_SET_KEEP, 8), 8);
    EXPECT_EQ(config_backup(BACKUP_GET_KEEP, 0), 8);
    EXPECT_EQ(config_backup(BACKUP_SET_GENERATIONS, 0), 0);
    EXPECT_EQ(config_backup(BACKUP_GET_KEEP, 0), 8) << "the other setting stays";
}

TEST_F(Backups, BadValuesAreRefusedAndChangeNothing) {
    EXPECT_EQ(config_backup(BACKUP_SET_GENERATIONS, -1), -1);
    EXPECT_EQ(config_backup(BACKUP_SET_GENERATIONS, INT32_MIN), -1);
    EXPECT_EQ(config_backup(BACKUP_SET_KEEP, -1), -1);
    EXPECT_EQ(config_backup(BACKUP_SET_KEEP, 5), -1);
    EXPECT_EQ(config_backup(BACKUP_GET_GENERATIONS, 0), 4);
    EXPECT_EQ(config_backup(BACKUP_GET_KEEP, 0), 1);
}

TEST_F(Backups, KeepingAsManyAsThereAreIsRefused) {
    EXPECT_EQ(config_backup(BACKUP_SET_KEEP, 4), -1);
    EXPECT_EQ(config_backup(BACKUP_SET_KEEP, 3), 3);
}

TEST_F(Backups, UnknownSettingIsRefused) {
    for (const int32_t what : {4, 5, INT32_MAX, -1, INT32_MIN})
        EXPECT_EQ(config_backup(what, 1), -1) << what;
}

TEST_F(Backups, MissingFileGivesOneAndTouchesNothing) {
    Contents before = full;
    before.erase("data");
    set_contents(dir_.path(), before);
    for (const uint32_t flags : {0u, 1u, 0x100u, 0x200u, 0x400u})
        EXPECT_EQ(savebackup(name_.c_str(), flags), 1) << flags;
    EXPECT_EQ(savebackup(dir_.file("missing/data").c_str(), 0), 1);
    EXPECT_EQ(contents(), before);
}

TEST_F(Backups, EmptyNameFails) {
    EXPECT_EQ(savebackup("", 0), -1);
    EXPECT_EQ(savebackup(nullptr, 0), -1);
}

TEST_F(Backups, TooLongANameFails) {
    EXPECT_EQ(savebackup(std::string(1024, 'a').c_str(), 0), -1);
    // The file's own name fits, its backups' do not.
    write_text(name_, "new");
    const std::string longest = dir_.path() + std::string(1023 - name_.size(), '/') + "/data";
    ASSERT_EQ(kel_access(longest.c_str(), KEL_F_OK), 0);
    for (const uint32_t flags : {0u, 0x100u, 0x200u})
        EXPECT_EQ(savebackup(longest.c_str(), flags), -1) << flags;
    EXPECT_EQ(contents(), (Contents{{"data", "new"}}));
}

TEST_F(Backups, FileBecomesGenerationOne) {
    EXPECT_EQ(saved({{"data", "new"}}), (Contents{{"data.~1~", "new"}}));
}

TEST_F(Backups, GenerationsMakeRoom) {
    EXPECT_EQ(saved({{"data", "new"}, {"data.~1~", "1"}, {"data.~2~", "2"}}),
              (Contents{{"data.~1~", "new"}, {"data.~2~", "1"}, {"data.~3~", "2"}}));
}

TEST_F(Backups, FirstContentIsGenerationFourAfterFiveSavesAndForGood) {
    for (const char *const content : {"a", "b", "c", "d", "e"}) {
        write_text(name_, content);
        EXPECT_EQ(savebackup(name_.c_str(), 0), 0);
    }
    EXPECT_EQ(
        contents(),
        (Contents{{"data.~1~", "e"}, {"data.~2~", "d"}, {"data.~3~", "c"}, {"data.~4~", "a"}}));
    write_text(name_, "f");
    EXPECT_EQ(savebackup(name_.c_str(), 0), 0);
    EXPECT_EQ(read_text(name_ + ".~4~"), "a");
}

TEST_F(Backups, OldestGoesWithTheFlag) {
    EXPECT_EQ(
        saved(full, BACKUP_DROP_OLDEST),
        (Contents{{"data.~1~", "new"}, {"data.~2~", "1"}, {"data.~3~", "2"}, {"data.~4~", "3"}}));
}

TEST_F(Backups, FlagToDropTheOldestIsIdleWhileANumberIsFree) {
    EXPECT_EQ(saved({{"data", "new"}, {"data.~1~", "1"}}, BACKUP_DROP_OLDEST),
              (Contents{{"data.~1~", "new"}, {"data.~2~", "1"}}));
}

TEST_F(Backups, AsManyOfTheOldestAreKeptAsTheSettingSays) {
    config_backup(BACKUP_SET_KEEP, 2);
    EXPECT_EQ(
        saved(full),
        (Contents{{"data.~1~", "new"}, {"data.~2~", "1"}, {"data.~3~", "3"}, {"data.~4~", "4"}}));
    config_backup(BACKUP_SET_KEEP, 0);
    EXPECT_EQ(
        saved(full),
        (Contents{{"data.~1~", "new"}, {"data.~2~", "1"}, {"data.~3~", "2"}, {"data.~4~", "3"}}));
}

TEST_F(Backups, NewestGivesWayWhenAllOthersAreKept) {
    config_backup(BACKUP_SET_KEEP, 3);
    Contents expected = full;
    expected.erase("data");
    expected["data.~1~"] = "new";
    EXPECT_EQ(saved(full), expected);
    // More are kept than this call knows.
    EXPECT_EQ(saved(full, 2), expected);
}

TEST_F(Backups, GapShiftsOnlyTheGenerationsBelowIt) {
    EXPECT_EQ(
        saved({{"data", "new"}, {"data.~1~", "1"}, {"data.~3~", "3"}, {"data.~4~", "4"}}),
        (Contents{{"data.~1~", "new"}, {"data.~2~", "1"}, {"data.~3~", "3"}, {"data.~4~", "4"}}));
}

TEST_F(Backups, FlagsSayHowManyGenerationsThereAre) {
    EXPECT_EQ(saved({{"data", "new"}, {"data.~1~", "1"}, {"data.~2~", "2"}}, 2),
              (Contents{{"data.~1~", "new"}, {"data.~2~", "2"}}));
    Contents before = {{"data", "new"}};
    for (int i = 1; i <= 30; ++i)
        before["data.~" + std::to_string(i) + "~"] = std::to_string(i);
    const Contents after = saved(before, 31);
    EXPECT_EQ(after.at("data.~31~"), "30");
    EXPECT_EQ(after.at("data.~1~"), "new");
}

TEST_F(Backups, SettingMayBeAboveWhatTheFlagsCanSay) {
    config_backup(BACKUP_SET_GENERATIONS, 40);
    Contents before = {{"data", "new"}};
    for (int i = 1; i <= 35; ++i)
        before["data.~" + std::to_string(i) + "~"] = std::to_string(i);
    EXPECT_EQ(saved(before).at("data.~36~"), "35");
    config_backup(BACKUP_SET_GENERATIONS, INT32_MAX);
    EXPECT_EQ(saved(before).at("data.~36~"), "35");
}

TEST_F(Backups, OneGenerationIsTheSingleBackup) {
    const Contents before = {{"data", "new"}, {"data~", "old"}, {"data.~1~", "1"}};
    const Contents after = {{"data~", "new"}, {"data.~1~", "1"}};
    EXPECT_EQ(saved(before, 1), after);
    EXPECT_EQ(saved(before, 1 | BACKUP_DROP_OLDEST), after);
    config_backup(BACKUP_SET_GENERATIONS, 1);
    EXPECT_EQ(saved(before), after);
    config_backup(BACKUP_SET_GENERATIONS, 0);
    EXPECT_EQ(saved(before), after);
}

TEST_F(Backups, FlagForTheSingleBackupComesBeforeTheNumber) {
    const Contents before = {{"data", "new"}, {"data.~1~", "1"}};
    const Contents after = {{"data~", "new"}, {"data.~1~", "1"}};
    EXPECT_EQ(saved(before, BACKUP_SINGLE), after);
    EXPECT_EQ(saved(before, BACKUP_SINGLE | 31), after);
}

TEST_F(Backups, CopyLeavesTheFileInPlace) {
    EXPECT_EQ(saved({{"data", "new"}}, BACKUP_COPY),
              (Contents{{"data", "new"}, {"data.~1~", "new"}}));
    EXPECT_EQ(saved({{"data", "new"}}, BACKUP_COPY | BACKUP_SINGLE),
              (Contents{{"data", "new"}, {"data~", "new"}}));
    EXPECT_EQ(saved(full, BACKUP_COPY), (Contents{{"data", "new"},
                                                  {"data.~1~", "new"},
                                                  {"data.~2~", "1"},
                                                  {"data.~3~", "2"},
                                                  {"data.~4~", "4"}}));
}

TEST_F(Backups, CopyTakesTimesAndPermissions) {
    write_text(name_, "new");
    ::chmod(name_.c_str(), 0640);
    kel_utime(name_.c_str(), 1000000000, 1000000007);
    EXPECT_EQ(savebackup(name_.c_str(), BACKUP_COPY), 0);
    kel_stat_t status = {};
    ASSERT_EQ(kel_stat((name_ + ".~1~").c_str(), &status), 0);
    EXPECT_EQ(status.mtime, 1000000007);
    EXPECT_EQ(status.atime, 1000000000);
    EXPECT_EQ(status.mode & 07777u, 0640u);
}

TEST_F(Backups, FileThatCannotBeRenamedIsCopied) {
    set_contents(dir_.path(), {{"data", "new"}});
    {
        const InterruptedCall interrupted(FileCall::rename, 1);
        EXPECT_EQ(savebackup(name_.c_str(), 0), 0);
    }
    EXPECT_EQ(contents(), (Contents{{"data", "new"}, {"data.~1~", "new"}}));
    set_contents(dir_.path(), {{"data", "new"}, {"data~", "old"}});
    {
        const InterruptedCall interrupted(FileCall::rename, 1, Interruption::failure, 2);
        EXPECT_EQ(savebackup(name_.c_str(), 1), 0);
    }
    EXPECT_EQ(contents(), (Contents{{"data", "new"}, {"data~", "new"}}));
}

TEST_F(Backups, BackupThatIsALinkToTheFileStandsAlone) {
    for (const bool hard : {true, false}) {
        set_contents(dir_.path(), {{"data", "new"}});
        const std::string backup = dir_.file("data~");
        if (hard) {
            std::filesystem::create_hard_link(name_, backup);
        } else {
            std::filesystem::create_symlink(name_, backup);
        }
        EXPECT_EQ(savebackup(name_.c_str(), BACKUP_SINGLE), 0);
        EXPECT_EQ(contents(), (Contents{{"data~", "new"}})) << hard;
    }
}

TEST_F(Backups, GenerationThatCannotBeMovedDoesNotStopTheShift) {
    Contents before = full;
    before.erase("data.~3~");
    set_contents(dir_.path(), before);
    make_directory("data.~3~");
    EXPECT_EQ(savebackup(name_.c_str(), 0), 0);
    EXPECT_EQ(
        contents(),
        (Contents{
            {"data.~1~", "new"}, {"data.~2~", "1"}, {"data.~3~", "directory"}, {"data.~4~", "4"}}));
}

TEST_F(Backups, DirectoryAmongTheGenerationsMovesLikeAFile) {
    Contents before = full;
    before.erase("data.~2~");
    set_contents(dir_.path(), before);
    make_directory("data.~2~");
    EXPECT_EQ(savebackup(name_.c_str(), 0), 0);
    EXPECT_EQ(
        contents(),
        (Contents{
            {"data.~1~", "new"}, {"data.~2~", "1"}, {"data.~3~", "directory"}, {"data.~4~", "4"}}));
}

TEST_F(Backups, FileThatCannotBeMovedIsAFailure) {
    set_contents(dir_.path(), {{"data", "new"}});
    make_directory("data~");
    for (const uint32_t flags : {1u, 1u | BACKUP_COPY})
        EXPECT_EQ(savebackup(name_.c_str(), flags), -1) << flags;
    EXPECT_EQ(contents(), (Contents{{"data", "new"}, {"data~", "directory"}}));
}

TEST_F(Backups, CopyThatFailsLeavesTheBackup) {
    set_contents(dir_.path(), {{"data", "new"}, {"data~", "old"}});
    const InterruptedCall interrupted(FileCall::write, 1);
    EXPECT_EQ(savebackup(name_.c_str(), BACKUP_SINGLE | BACKUP_COPY), -1);
    EXPECT_EQ(contents(), (Contents{{"data", "new"}, {"data~", "old"}}));
}

TEST_F(Backups, OutOfMemoryFailsAndTouchesNothing) {
    set_contents(dir_.path(), full);
    for (const uint32_t flags : {0u, 1u}) {
        const long blocks = flags == 0 ? 2 : 1;
        for (long nth = 1; nth <= blocks; ++nth) {
            const FailingMalloc failing(nth);
            EXPECT_EQ(savebackup(name_.c_str(), flags), -1) << flags << ' ' << nth;
            EXPECT_TRUE(failing.reached());
        }
    }
    EXPECT_EQ(contents(), full);
}

// Whether the content stands whole under the file's name or a backup's.
bool is_found(const Contents &contents, const std::string &content) {
    for (const auto &[name, found] : contents)
        if (name.starts_with("data") && found == content) return true;
    return false;
}

struct Scenario {
    const char *name;
    Contents before;
    uint32_t flags;
};

// Contents are longer than a block, so that a part of one shows.
Contents lengthened(Contents contents) {
    for (auto &[name, content] : contents)
        content += std::string(10000, '.');
    return contents;
}

const std::vector<Scenario> scenarios = {
    {"no backup", {{"data", "new"}}, 0},
    {"some", {{"data", "new"}, {"data.~1~", "1"}, {"data.~2~", "2"}}, 0},
    {"all", full, 0},
    {"all, oldest goes", full, BACKUP_DROP_OLDEST},
    {"gap", {{"data", "new"}, {"data.~1~", "1"}, {"data.~3~", "3"}}, 0},
    {"single", {{"data", "new"}, {"data~", "old"}}, BACKUP_SINGLE},
    {"no backup, copy", {{"data", "new"}}, BACKUP_COPY},
    {"some, copy", {{"data", "new"}, {"data.~1~", "1"}, {"data.~2~", "2"}}, BACKUP_COPY},
    {"all, copy", full, BACKUP_COPY},
    {"single, copy", {{"data", "new"}, {"data~", "old"}}, BACKUP_SINGLE | BACKUP_COPY},
};

class InterruptedBackups : public Backups {
protected:
    // What is lost if all goes well may be lost before its time; nothing else may.
    void expect_nothing_lost(const Contents &before, const Contents &finished,
                             const std::string &where) const {
        const Contents now = contents();
        for (const auto &[name, content] : before) {
            if (is_found(finished, content)) {
                EXPECT_TRUE(is_found(now, content)) << where << ": " << content.substr(0, 3);
            }
        }
        // And nothing that is there is a part of something.
        for (const auto &[name, content] : now) {
            if (name.starts_with("data")) {
                EXPECT_TRUE(is_found(before, content)) << where;
            }
        }
    }
};

TEST_F(InterruptedBackups, ContentsAreFoundWheneverTheProcessDies) {
    for (const Scenario &scenario : scenarios) {
        const Contents before = lengthened(scenario.before);
        const Contents finished = saved(before, scenario.flags);
        long deaths = 0;
        for (;; ++deaths) {
            const std::string where = std::string(scenario.name) + ", " + std::to_string(deaths);
            set_contents(dir_.path(), before);
            const int status = run_in_child([&] {
                                   const InterruptedCall interrupted(FileCall::any, deaths + 1,
                                                                     Interruption::death);
                                   return std::to_string(savebackup(name_.c_str(), scenario.flags));
                               }).status;
            expect_nothing_lost(before, finished, where);
            if (status == 0) break;
            ASSERT_EQ(WEXITSTATUS(status), vor::test::interrupted_exit_code);
            // The next save goes on from there.
            if (kel_access(name_.c_str(), KEL_F_OK) == 0) {
                EXPECT_EQ(savebackup(name_.c_str(), scenario.flags), 0) << where;
                EXPECT_TRUE(is_found(contents(), before.at("data"))) << where;
            }
            ASSERT_LT(deaths, 200);
        }
        EXPECT_EQ(contents(), finished) << scenario.name;
        EXPECT_GE(deaths, 2) << scenario.name;
    }
}

TEST_F(InterruptedBackups, FilesContentIsFoundWhicheverCallFails) {
    for (const Scenario &scenario : scenarios) {
        const Contents before = lengthened(scenario.before);
        for (long nth = 1;; ++nth) {
            set_contents(dir_.path(), before);
            bool reached = false;
            int32_t result = 0;
            {
                const InterruptedCall interrupted(FileCall::any, nth);
                result = savebackup(name_.c_str(), scenario.flags);
                reached = interrupted.reached();
            }
            if (!reached) break;
            const Contents after = contents();
            EXPECT_TRUE(is_found(after, before.at("data"))) << scenario.name << ", " << nth;
            EXPECT_TRUE(result != -1 || after.count("data") == 1) << scenario.name << ", " << nth;
            for (const auto &[name, content] : after)
                EXPECT_TRUE(name.starts_with("data")) << scenario.name << ", " << nth;
            ASSERT_LT(nth, 200);
        }
    }
}

TEST_F(Backups, FindGivesTheNewest) {
    std::string found;
    set_contents(dir_.path(), full);
    EXPECT_EQ(find(BACKUP_ALL, &found), 1);
    EXPECT_EQ(found, "data.~1~");
    set_contents(dir_.path(), {{"data.~3~", "3"}, {"data.~4~", "4"}, {"data~", "old"}});
    EXPECT_EQ(find(BACKUP_ALL, &found), 3);
    EXPECT_EQ(found, "data.~3~");
    EXPECT_EQ(find(INT32_MIN), 3);
}

TEST_F(Backups, FindGivesZeroForTheSingleBackup) {
    std::string found;
    set_contents(dir_.path(), {{"data~", "old"}});
    EXPECT_EQ(find(BACKUP_ALL, &found), 0);
    EXPECT_EQ(found, "data~");
}

TEST_F(Backups, FindWithoutABackupLeavesTheNameOfTheSingleOne) {
    std::string found;
    set_contents(dir_.path(), {{"data", "new"}});
    EXPECT_EQ(find(BACKUP_ALL, &found), -1);
    EXPECT_EQ(found, "data~");
}

TEST_F(Backups, FindLooksForNoMoreThanTheLimit) {
    set_contents(dir_.path(), {{"data.~3~", "3"}, {"data.~6~", "6"}});
    EXPECT_EQ(find(2), -1);
    EXPECT_EQ(find(3), 3);
    set_contents(dir_.path(), {{"data.~6~", "6"}});
    EXPECT_EQ(find(BACKUP_ALL), -1);
    EXPECT_EQ(find(6), 6);
    config_backup(BACKUP_SET_GENERATIONS, 6);
    EXPECT_EQ(find(BACKUP_ALL), 6);
}

TEST_F(Backups, FindWithALimitOfZeroLooksForTheSingleBackupAlone) {
    set_contents(dir_.path(), full);
    EXPECT_EQ(find(0), -1);
    write_text(name_ + "~", "old");
    EXPECT_EQ(find(0), 0);
}

TEST_F(Backups, FindWorksInPlace) {
    set_contents(dir_.path(), {{"data.~2~", "2"}});
    std::vector<char> buffer(name_.size() + BACKUP_SUFFIX_ROOM);
    std::memcpy(buffer.data(), name_.c_str(), name_.size() + 1);
    EXPECT_EQ(find_backup_ext(buffer.data(), buffer.data(), BACKUP_ALL), 2);
    EXPECT_EQ(buffer.data(), name_ + ".~2~");
}

TEST_F(Backups, RestoreGivesTheNumberAndKeepsTheBackup) {
    set_contents(dir_.path(), {{"data", "new"}, {"data.~2~", "2"}, {"data.~3~", "3"}});
    EXPECT_EQ(restorebackup(name_.c_str(), BACKUP_ALL), 2);
    EXPECT_EQ(contents(), (Contents{{"data", "2"}, {"data.~2~", "2"}, {"data.~3~", "3"}}));
}

TEST_F(Backups, RestoreOfTheSingleBackupGivesZero) {
    set_contents(dir_.path(), {{"data~", "old"}});
    EXPECT_EQ(restorebackup(name_.c_str(), BACKUP_ALL), 0);
    EXPECT_EQ(contents(), (Contents{{"data", "old"}, {"data~", "old"}}));
}

TEST_F(Backups, RestoreLooksAsFarAsFindDoes) {
    set_contents(dir_.path(), {{"data", "new"}, {"data.~1~", "1"}, {"data~", "old"}});
    EXPECT_EQ(restorebackup(name_.c_str(), 0), 0);
    EXPECT_EQ(read_text(name_), "old");
}

TEST_F(Backups, RestoreWithoutABackupFailsAndTouchesNothing) {
    set_contents(dir_.path(), {{"data", "new"}});
    EXPECT_EQ(restorebackup(name_.c_str(), BACKUP_ALL), -1);
    EXPECT_EQ(contents(), (Contents{{"data", "new"}}));
}

TEST_F(Backups, RestoreTakesPermissionsOfTheBackup) {
    set_contents(dir_.path(), {{"data", "new"}, {"data~", "old"}});
    ::chmod(dir_.file("data~").c_str(), 0600);
    EXPECT_EQ(restorebackup(name_.c_str(), 0), 0);
    kel_stat_t status = {};
    ASSERT_EQ(kel_stat(name_.c_str(), &status), 0);
    EXPECT_EQ(status.mode & 07777u, 0600u);
}

TEST_F(Backups, RestoreThatFailsLeavesTheFile) {
    const Contents before = {{"data", "new"}, {"data.~1~", "1"}};
    set_contents(dir_.path(), before);
    for (const FileCall call :
         {FileCall::open, FileCall::read, FileCall::write, FileCall::rename}) {
        const InterruptedCall interrupted(call, 1);
        EXPECT_EQ(restorebackup(name_.c_str(), BACKUP_ALL), -1);
        EXPECT_TRUE(interrupted.reached());
        EXPECT_EQ(contents(), before);
    }
    for (long nth = 1; nth <= 2; ++nth) {
        const FailingMalloc failing(nth);
        EXPECT_EQ(restorebackup(name_.c_str(), BACKUP_ALL), -1);
        EXPECT_TRUE(failing.reached());
    }
    EXPECT_EQ(contents(), before);
}

TEST_F(Backups, RestoredFileIsWholeWheneverTheProcessDies) {
    const Contents before = lengthened({{"data", "new"}, {"data.~1~", "1"}});
    long deaths = 0;
    for (;; ++deaths) {
        set_contents(dir_.path(), before);
        const int status =
            run_in_child([&] {
                const InterruptedCall interrupted(FileCall::any, deaths + 1, Interruption::death);
                return std::to_string(restorebackup(name_.c_str(), BACKUP_ALL));
            }).status;
        const Contents after = contents();
        EXPECT_EQ(after.at("data.~1~"), before.at("data.~1~")) << deaths;
        if (status == 0) break;
        EXPECT_TRUE(is_found(before, after.at("data"))) << deaths;
        ASSERT_LT(deaths, 100);
    }
    EXPECT_EQ(read_text(name_), before.at("data.~1~"));
    EXPECT_GT(deaths, 8);
}

} // namespace
