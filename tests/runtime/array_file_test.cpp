#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>

#include "runtime/arrays.h"
#include "runtime/log.h"
#include "support/byte_file.h"
#include "support/failing_malloc.h"
#include "support/in_child.h"
#include "support/scoped_env.h"
#include "support/temp_dir.h"
#include "util/install.h"

namespace {

using vor::test::FailingMalloc;
using vor::test::in_child;
using vor::test::ScopedEnv;
using vor::test::TempDir;
using vor::test::write_text;

std::string *heard = nullptr;

void hear(const char *line) {
    const std::string text = line;
    *heard += ' ';
    *heard += text.substr(text.find('['), text.size() - text.find('[') - 1);
}

// The elements and the lines of the log that the list file gives, in a process whose home it is in.
std::string list_of(std::string_view content, const std::string &name = "@list") {
    const TempDir home;
    std::filesystem::create_directory(home.file(".par"));
    write_text(home.file(".par/list"), content);
    const ScopedEnv place("QUORVENTAHOME", home.path().c_str());
    return in_child([&] {
        std::string log;
        heard = &log;
        logmesg_set_hook(hear);
        double *data = nullptr;
        int32_t size = 0;
        std::string text =
            std::to_string(xget_double_array_ex(name.c_str(), &data, &size, 0)) + ":";
        for (int32_t i = 0; i < size; ++i) {
            text += ' ';
            text += std::to_string(data[i]).substr(0, 4);
        }
        if (!data) text += " none";
        std::free(data);
        return text + log;
    });
}

TEST(ListFile, HoldsNumbersInLines) {
    EXPECT_EQ(list_of("1.5 2\n3;4,\t5x2\n"), "6: 1.50 2.00 3.00 4.00 5.00 5.00");
    EXPECT_EQ(list_of(""), "0:");
    EXPECT_EQ(list_of("1"), "1: 1.00");
    EXPECT_EQ(list_of("0x2\n"), "2: 0.00 0.00");
}

TEST(ListFile, CommentsAndCarriageReturnsAreIgnored) {
    EXPECT_EQ(list_of("# all\r\n1 # 2 3\r\n\r4#5\n#6"), "2: 1.00 4.00");
    EXPECT_EQ(list_of("1\r2\n"), "2: 1.00 2.00");
    EXPECT_EQ(list_of(std::string_view("1 # a\0b\n2", 9)), "2: 1.00 2.00");
}

TEST(ListFile, MessageCountsLinesAndThoseOfComments) {
    EXPECT_EQ(list_of("1\n# comment\n\n2 x\n"),
              "-1: 1.00 2.00 0.00 [Error]: list line 4: invalid number");
    EXPECT_EQ(list_of("a"), "-1: 0.00 [Error]: list line 1: invalid number");
}

TEST(ListFile, BracketsAreNoPartOfIt) {
    EXPECT_EQ(list_of("[1]"), "-1: 0.00 [Error]: list line 1: invalid number");
    EXPECT_EQ(list_of("1]"), "-1: 1.00 0.00 [Error]: list line 1: invalid number");
}

TEST(ListFile, ZeroByteIsNoNumber) {
    EXPECT_EQ(list_of(std::string_view("1\0 2", 4)),
              "-1: 1.00 0.00 [Error]: list line 1: invalid number");
}

TEST(ListFile, BadRepeatCountFails) {
    EXPECT_EQ(list_of("1*0"), "-1: 1.00 [Warning]: array_add_rep: bad repeat count=0");
}

TEST(ListFile, MayBeLong) {
    std::string content;
    for (int i = 0; i < 40000; ++i)
        content += "1\n";
    EXPECT_EQ(list_of(content).substr(0, 7), "40000: ");
}

TEST(ListFile, ThatIsNotThereFreesTheBlock) {
    EXPECT_EQ(list_of("1", "@other"), "-1: none [Error]: cannot find file \"other\"");
    EXPECT_EQ(list_of("1", "@../list"), "-1: none [Error]: cannot find file \"../list\"");
    EXPECT_EQ(list_of("1", "@"), "-1: none [Error]: cannot find file \"\"");
}

TEST(ListFile, LongNameIsCutInTheLog) {
    const std::string name(5000, 'n');
    EXPECT_EQ(list_of("1", "@" + name),
              "-1: none [Error]: cannot find file \"" + name.substr(0, 1023) + "\"");
}

TEST(ListFile, ThatIsNotThereLeavesAFixedBlockToItsCaller) {
    const TempDir home;
    const ScopedEnv place("QUORVENTAHOME", home.path().c_str());
    EXPECT_EQ(in_child([] {
                  std::string log;
                  heard = &log;
                  logmesg_set_hook(hear);
                  int32_t room[2] = {7, 8};
                  int32_t *data = room;
                  int32_t size = 2;
                  const int32_t result = xget_int_array("@list", &data, &size);
                  return std::to_string(result) + (data == room ? " kept " : " lost ") +
                         std::to_string(room[0]) + " " + std::to_string(size) + log;
              }),
              "-1 kept 7 0 [Error]: cannot find file \"list\"");
}

TEST(ListFile, EveryAllocationThatFailsFailsTheRead) {
    const TempDir home;
    std::filesystem::create_directory(home.file(".par"));
    write_text(home.file(".par/list"), "1 2 3");
    const ScopedEnv place("QUORVENTAHOME", home.path().c_str());
    EXPECT_EQ(in_child([]() -> std::string {
                  std::string log;
                  heard = &log;
                  logmesg_set_hook([](const char *) {});
                  local_home_path(); // looked for once, and then kept
                  for (long nth = 1; nth < 100; ++nth) {
                      int32_t *data = nullptr;
                      int32_t size = 0;
                      int32_t result = 0;
                      bool reached = false;
                      {
                          const FailingMalloc failing(nth);
                          result = xget_int_array_ex("@list", &data, &size, 0);
                          reached = failing.reached();
                      }
                      std::free(data);
                      if (!reached) return nth > 2 && result == 3 ? "good" : "bad end";
                      if (result != -1) return std::to_string(nth) + " went unseen";
                  }
                  return "no end";
              }),
              "good");
}

} // namespace
