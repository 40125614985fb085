#include "platform/posix/mount_table.h"

#include <gtest/gtest.h>

#include <string>

#include "support/byte_file.h"
#include "support/temp_dir.h"

namespace {

using vor::test::TempDir;
using vor::test::write_text;

class MountTable : public ::testing::Test {
protected:
    std::string found(const std::string &path, size_t size = 128) const {
        std::string name(size, 'x');
        vor::os::find_file_system(table_.c_str(), path.c_str(), name.data(), size);
        return name.c_str();
    }

    TempDir dir_;
    std::string table_ = dir_.file("mounts");
};

TEST_F(MountTable, LongestDirectoryOnThePathCounts) {
    write_text(table_, "/dev/b /mnt/a/deep two rw 0 0\n"
                       "/dev/a / one rw 0 0\n"
                       "/dev/c /mnt/a three rw 0 0\n"
                       "/dev/d /etc/file four rw 0 0\n");
    const struct {
        const char *path;
        const char *name;
    } rows[] = {{"/", "one"},           {"/mnt", "one"},          {"/mnt/ab", "one"},
                {"/mnt/a", "three"},    {"/mnt/a/file", "three"}, {"/mnt/a/deeper", "three"},
                {"/mnt/a/deep", "two"}, {"/mnt/a/deep/f", "two"}, {"/home/user", "one"},
                {"/etc/file", "four"},  {"/etc/file2", "one"}};
    for (const auto &row : rows)
        EXPECT_EQ(found(row.path), row.name) << row.path;
}

TEST_F(MountTable, LastOfEqualDirectoriesCoversTheOthers) {
    write_text(table_, "a / one rw 0 0\nb /mnt two rw 0 0\nc /mnt three rw 0 0\nd / four rw 0 0\n");
    EXPECT_EQ(found("/mnt/file"), "three");
    EXPECT_EQ(found("/file"), "four");
}

TEST_F(MountTable, EscapedBytesInADirectoryAreUnderstood) {
    write_text(table_, "a / one rw 0 0\n"
                       "b /mnt/a\\040b two rw 0 0\n"
                       "c /mnt/t\\011n\\012b\\134 three rw 0 0\n");
    EXPECT_EQ(found("/mnt/a b/file"), "two");
    EXPECT_EQ(found("/mnt/a\\040b/file"), "one");
    EXPECT_EQ(found("/mnt/t\tn\nb\\/file"), "three");
}

TEST_F(MountTable, LongNameIsCutToTheRoom) {
    const std::string name = "fuse." + std::string(300, 'n');
    write_text(table_, "a / " + name + " rw 0 0\n");
    EXPECT_EQ(found("/file"), name.substr(0, 127));
    EXPECT_EQ(found("/file", 1000), name);
    EXPECT_EQ(found("/file", 1), "");
}

TEST_F(MountTable, LongLineLosesNothingButOptions) {
    write_text(table_, "a / one rw 0 0\n"
                       "overlay /mnt two rw,lowerdir=" +
                           std::string(20000, 'd') + " 0 0\nb /mnt/c three rw 0 0\n");
    EXPECT_EQ(found("/mnt/file"), "two");
    EXPECT_EQ(found("/mnt/c/file"), "three");
}

TEST_F(MountTable, NameIsEmptyIfTheTableDoesNotTell) {
    EXPECT_EQ(found("/file"), "") << "no table";
    for (const char *const text : {"", "\n", "# a /\n", "a /mnt one rw 0 0\n", "garbage"}) {
        write_text(table_, text);
        EXPECT_EQ(found("/file"), "") << text;
    }
}

} // namespace
