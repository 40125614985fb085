#include "colour/autoconvert.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <vector>

#include "colour/rule_conversion.h"
#include "platform/kel.h"
#include "rule_home.h"
#include "runtime/config_file.h"
#include "support/failing_malloc.h"

namespace {

using vor::test::FailingMalloc;
using vor::test::read_text;
using vor::test::RuleHome;
using vor::test::write_text;

namespace fs = std::filesystem;

using Commands = std::vector<std::string>;

// What a runner that runs nothing has been given, and the status that it gives.
Commands commands;
int status_of_commands = 0;

int note_command(const char *command) {
    commands.emplace_back(command);
    return status_of_commands;
}

struct Outcome {
    int32_t result = 0;
    std::string name;
    Commands commands;

    bool operator==(const Outcome &) const = default;
};

std::ostream &operator<<(std::ostream &stream, const Outcome &outcome) {
    stream << outcome.result << " '" << outcome.name << "'";
    for (const std::string &command : outcome.commands)
        stream << " {" << command << "}";
    return stream;
}

// The buffer has no byte more than is promised to do.
template <class Call>
Outcome outcome_of(const std::string &name, Call call) {
    const std::unique_ptr<char[]> buffer(new char[name.size() + 4]);
    std::memcpy(buffer.get(), name.c_str(), name.size() + 1);
    commands.clear();
    const int32_t result = call(buffer.get());
    return {result, buffer.get(), commands};
}

class Autoconvert : public RuleHome {
protected:
    Autoconvert() { status_of_commands = 0; }

    static void make_job(const std::string &name) {
        const fs::path folder = fs::path(name).parent_path();
        if (!folder.empty()) fs::create_directories(folder);
        write_text(name, "job\n");
    }
    static Outcome convert(const std::string &name) {
        return outcome_of(name,
                          [](char *buffer) { return vor::convert_by_rule(buffer, note_command); });
    }
    // The command that a job of the name a.ps gets, if it gets one.
    std::optional<std::string> command_by(const std::string &rules) {
        make_job("a.ps");
        set_rules(rules);
        const Outcome outcome = convert("a.ps");
        if (outcome.commands.empty()) return std::nullopt;
        return outcome.commands.front();
    }
};

TEST_F(Autoconvert, NameWithoutASuffixStaysAsItIs) {
    set_rules("a, ps, = conv %i\n");
    for (const char *const name : {"", "job", "job:M", ".ps", "..ps", "dir.ps/job", "dir.ps/"}) {
        const Outcome expected = {AUTOCONVERT_NO_RULE, name, {}};
        EXPECT_EQ(convert(name), expected);
    }
}

TEST_F(Autoconvert, RuleOfASuffixMakesTheNativeName) {
    make_job("a.tiff");
    set_rules("tif,tiff = conv %i %o\n");
    EXPECT_EQ(convert("a.tiff"), (Outcome{0, "a.vor", {"conv a.tiff a.vor"}}));
}

TEST_F(Autoconvert, RuleForSeparationsTakesThePlate) {
    make_job("job.ps");
    set_rules("ps = !rip -p %c -n %C %i %o\n");
    EXPECT_EQ(convert("job.ps:M"),
              (Outcome{0, "job.M.vor", {"rip -p 1 -n Magenta job.ps job.M.vor"}}));
}

TEST_F(Autoconvert, RuleForSeparationsRefusesANameWithoutOne) {
    make_job("job.ps");
    set_rules("ps = !rip -p %c -n %C %i %o\nps = rip %i\n");
    EXPECT_EQ(convert("job.ps"), (Outcome{AUTOCONVERT_NO_RULE, "job", {}}));
    EXPECT_EQ(convert("job.ps:"), (Outcome{AUTOCONVERT_NO_RULE, "job", {}}));
}

TEST_F(Autoconvert, SeparationMayBeADigitBehindAnAt) {
    make_job("job.ps");
    set_rules("ps = rip -p %c -n %C %i %o\n");
    EXPECT_EQ(convert("job.ps@2"),
              (Outcome{0, "job.2.vor", {"rip -p 2 -n Yellow job.ps job.2.vor"}}));
}

TEST_F(Autoconvert, SeparationBeginsAtTheFirstSeparatorOfTheSuffix) {
    make_job("job.ps");
    set_rules("ps = rip %S %i\n");
    EXPECT_EQ(convert("job.ps:a@b:c"), (Outcome{0, "job.a@b:c.vor", {"rip a@b:c job.ps"}}));
    EXPECT_EQ(convert("job.ps@a:b"), (Outcome{0, "job.a:b.vor", {"rip a:b job.ps"}}));
}

TEST_F(Autoconvert, SeparatorWithNothingBehindItIsNoSeparation) {
    make_job("job.ps");
    set_rules("ps = rip %i %o\n");
    EXPECT_EQ(convert("job.ps:"), (Outcome{0, "job.vor", {"rip job.ps job.vor"}}));
}

TEST_F(Autoconvert, LongSeparationIsInTheNameButNotInTheEscape) {
    make_job("job.ps");
    set_rules("ps = rip %i %o\n");
    EXPECT_EQ(convert("job.ps:Varnish"), (Outcome{0, "job.Varnish.vor", {"rip job.ps job.V.vor"}}));
}

TEST_F(Autoconvert, DirectoryOfANameDoesNotMatter) {
    set_rules("ps = rip %i %o\n");
    for (const std::string directory : {"c:ds.x", "a.b:c", "a@b.ps"}) {
        make_job(directory + "/job.ps");
        const std::string output = directory + "/job.M.vor";
        EXPECT_EQ(convert(directory + "/job.ps:M"),
                  (Outcome{0, output, {"rip " + directory + "/job.ps " + output}}));
    }
}

TEST_F(Autoconvert, DotsBeforeTheLastOneBelongToTheBase) {
    make_job("..a:b.c.ps");
    set_rules("ps = rip %i %o\n");
    EXPECT_EQ(convert("..a:b.c.ps"), (Outcome{0, "..a:b.c.vor", {"rip ..a:b.c.ps ..a:b.c.vor"}}));
}

TEST_F(Autoconvert, AtPrefixLeavesTheSuffixOut) {
    make_job("job.ps");
    set_rules("ps = @rip %i %o\n");
    EXPECT_EQ(convert("job.ps"), (Outcome{0, "job.vor", {"rip job job.vor"}}));
}

TEST_F(Autoconvert, MissingInputIsToldWithoutItsSeparation) {
    set_rules("ps = rip %i %o\n");
    EXPECT_EQ(convert("job.ps:M"), (Outcome{AUTOCONVERT_NO_FILE, "job.ps", {}}));
    EXPECT_EQ(convert("job.ps"), (Outcome{AUTOCONVERT_NO_FILE, "job.ps", {}}));
    make_job("job.ps:M"); // is not the file that counts
    EXPECT_EQ(convert("job.ps:M"), (Outcome{AUTOCONVERT_NO_FILE, "job.ps", {}}));
}

TEST_F(Autoconvert, WithoutARuleFileThereIsNoRule) {
    make_job("job.ps");
    EXPECT_EQ(convert("job.ps:M"), (Outcome{AUTOCONVERT_NO_RULE, "job", {}}));
}

TEST_F(Autoconvert, RuleFileThatCannotBeOpenedHasNoRule) {
    make_job("job.ps");
    fs::create_directory(user_rules_);
    EXPECT_EQ(convert("job.ps"), (Outcome{AUTOCONVERT_NO_RULE, "job", {}}));
}

// The memory of the process opens as a file, but none of it is at the address 0.
TEST_F(Autoconvert, RuleFileThatCannotBeReadHasNoRule) {
    make_job("job.ps");
    fs::create_symlink("/proc/self/mem", user_rules_);
    config_file_t rules;
    ASSERT_EQ(init_config_file(&rules, ".autoconvert", 0), 0);
    ASSERT_EQ(read_config_line(&rules), -1);
    ASSERT_EQ(rules.error, 1);
    close_config_file(&rules);
    EXPECT_EQ(convert("job.ps"), (Outcome{AUTOCONVERT_NO_RULE, "job", {}}));
}

TEST_F(Autoconvert, EmptyRuleFileHasNoRule) {
    make_job("job.ps");
    set_rules("");
    EXPECT_EQ(convert("job.ps"), (Outcome{AUTOCONVERT_NO_RULE, "job", {}}));
}

TEST_F(Autoconvert, SystemsRulesServeAUserWithoutRules) {
    make_job("job.ps");
    write_text(default_rules_, "ps = system %i\n");
    EXPECT_EQ(convert("job.ps").commands, Commands{"system job.ps"});
    set_rules("ps = mine %i\n");
    EXPECT_EQ(convert("job.ps").commands, Commands{"mine job.ps"});
    set_rules("tif = mine %i\n");
    EXPECT_EQ(convert("job.ps").result, AUTOCONVERT_NO_RULE);
}

TEST_F(Autoconvert, WordsOfARule) {
    for (const char *const words :
         {"ps", "ps ", "  \tps\t ", "tif ps", "tif,ps", "tif, ps", "tif ,ps", "tif\tps eps", ",ps",
          "tif,,ps", "eps ps,tif", "\x01ps", "a\x7f\x01ps"})
        EXPECT_EQ(command_by(std::string(words) + "= conv %i\n"), "conv a.ps") << words;
    for (const char *const words :
         {"", " ", "p", "pss", "eps", "p s", ".ps", "*", "p\\s", "PS", "Ps", "ps;",
          "\xfe"
          "ps",
          "ps\xfe"})
        EXPECT_EQ(command_by(std::string(words) + "= conv %i\n"), std::nullopt) << words;
}

TEST_F(Autoconvert, WordsEndAtTheFirstEqualsSign) {
    EXPECT_EQ(command_by("tif = ps = conv %i\n"), std::nullopt);
    EXPECT_EQ(command_by("ps = x=%i\n"), "x=a.ps");
}

TEST_F(Autoconvert, CaseOfASuffixCounts) {
    make_job("a.TIF");
    set_rules("tif = conv %i\n");
    EXPECT_EQ(convert("a.TIF"), (Outcome{AUTOCONVERT_NO_RULE, "a", {}}));
}

TEST_F(Autoconvert, EmptySuffixIsTheWordBetweenTwoCommas) {
    make_job("job.");
    set_rules("ps = conv %i\n");
    EXPECT_EQ(convert("job."), (Outcome{AUTOCONVERT_NO_RULE, "job", {}}));
    set_rules("ps,, = conv %i %o\n");
    EXPECT_EQ(convert("job."), (Outcome{0, "job.vor", {"conv job. job.vor"}}));
    EXPECT_EQ(convert("job.:M"), (Outcome{0, "job.M.vor", {"conv job. job.M.vor"}}));
}

TEST_F(Autoconvert, CommentsAndEmptyLinesAreNoRules) {
    EXPECT_EQ(command_by("# ps = one %i\n  ; ps = two %i\n\n   \n\r\nps = three %i"), "three a.ps");
}

TEST_F(Autoconvert, FirstRuleThatFitsDecides) {
    EXPECT_EQ(command_by("tif = one %i\nps = two %i\nps = three %i\n"), "two a.ps");
}

TEST_F(Autoconvert, RuleThatDoesNotServeIsNotPassedOver) {
    make_job("job.ps");
    for (const char *const rule : {"ps", "ps conv %i", "ps = !conv %i", "ps = conv %i %"}) {
        set_rules(std::string(rule) + "\nps = conv %i\n");
        EXPECT_EQ(convert("job.ps"), (Outcome{AUTOCONVERT_NO_RULE, "job", {}})) << rule;
    }
}

TEST_F(Autoconvert, RuleWithoutAnEqualsSignFails) {
    make_job("job.ps");
    set_rules("ps\n");
    EXPECT_EQ(convert("job.ps:M"), (Outcome{AUTOCONVERT_NO_RULE, "job", {}}));
}

TEST_F(Autoconvert, PercentSignAtTheEndFails) {
    make_job("job.ps");
    set_rules("ps = conv %i %\n");
    EXPECT_EQ(convert("job.ps:M"), (Outcome{AUTOCONVERT_NO_RULE, "job", {}}));
}

TEST_F(Autoconvert, CommandWithoutTheInputIsNotRun) {
    make_job("job.ps");
    for (const char *const rule : {"ps = conv %o", "ps = conv %%i", "ps = conv i"}) {
        set_rules(rule);
        EXPECT_EQ(convert("job.ps:M"), (Outcome{AUTOCONVERT_FAILED, "job", {}})) << rule;
    }
}

TEST_F(Autoconvert, EmptyCommandIsNotRun) {
    make_job("job.ps");
    for (const char *const rule : {"ps =", "ps = @!", "ps = %S%C%c"}) {
        set_rules(rule);
        const std::string name = std::string(rule) == "ps = @!" ? "job.ps:M" : "job.ps";
        EXPECT_EQ(convert(name), (Outcome{AUTOCONVERT_FAILED, "job", {}})) << rule;
    }
}

TEST_F(Autoconvert, CommandThatFailsLeavesTheBase) {
    make_job("job.ps");
    set_rules("ps = conv %i\nps = other %i\n");
    for (const int status : {1, 256, -1}) {
        status_of_commands = status;
        EXPECT_EQ(convert("job.ps:M"), (Outcome{AUTOCONVERT_FAILED, "job", {"conv job.ps"}}));
    }
}

TEST_F(Autoconvert, NameInNeedOfQuotesIsQuotedInTheCommandAlone) {
    make_job("my job.ps");
    set_rules("ps = conv %i %o\n");
    EXPECT_EQ(convert("my job.ps"), (Outcome{0, "my job.vor", {"conv 'my job.ps' 'my job.vor'"}}));
}

TEST_F(Autoconvert, NameWithNoSafePlaceInTheCommandIsRefused) {
    make_job("my job.ps");
    make_job("job.ps");
    set_rules("ps = conv `echo %i`\n");
    EXPECT_EQ(convert("my job.ps:M"), (Outcome{AUTOCONVERT_NO_RULE, "my job", {}}));
    EXPECT_EQ(convert("job.ps"), (Outcome{0, "job.vor", {"conv `echo job.ps`"}}));
}

TEST_F(Autoconvert, CommandsHaveALimit) {
    make_job("a.ps");
    const std::string longest(511 - std::strlen(" a.ps"), 'x');
    set_rules("ps = " + longest + " %i\n");
    EXPECT_EQ(convert("a.ps"), (Outcome{0, "a.vor", {longest + " a.ps"}}));
    set_rules("ps = x" + longest + " %i\n");
    EXPECT_EQ(convert("a.ps"), (Outcome{AUTOCONVERT_NO_RULE, "a", {}}));
    set_rules("ps = %i " + std::string(100000, 'x') + "\n");
    EXPECT_EQ(convert("a.ps"), (Outcome{AUTOCONVERT_NO_RULE, "a", {}}));
}

TEST_F(Autoconvert, WithoutMemoryThereIsNoRule) {
    make_job("job.ps");
    set_rules("ps = conv %i\n");
    ASSERT_EQ(convert("job.ps").result, 0);
    int32_t failures = 0;
    for (long nth = 1;; ++nth) {
        char name[] = "job.ps:M\0..";
        commands.clear();
        FailingMalloc failing(nth);
        const int32_t result = vor::convert_by_rule(name, [](const char *) { return 0; });
        if (!failing.reached()) {
            EXPECT_EQ(result, 0);
            break;
        }
        if (result == 0) continue; // the C library makes do without a buffer
        ++failures;
        EXPECT_EQ(result, AUTOCONVERT_NO_RULE);
        EXPECT_STREQ(name, "job");
    }
    EXPECT_GT(failures, 0);
}

TEST_F(Autoconvert, CommandIsRunByTheShellAndWaitedFor) {
    make_job("my job.ps");
    set_rules("ps = in=%i out=%o; sleep 0.1; { cat \"$in\"; echo $((1 + 1)); } >\"$out\"\n");
    EXPECT_EQ(outcome_of("my job.ps:M", autoconvert), (Outcome{0, "my job.M.vor", {}}));
    EXPECT_EQ(vor::test::read_text("my job.M.vor"), "job\n2\n");
}

TEST_F(Autoconvert, OutputIsNotLookedFor) {
    make_job("job.ps");
    set_rules("ps = test -f %i\n");
    EXPECT_EQ(outcome_of("job.ps:M", autoconvert), (Outcome{0, "job.M.vor", {}}));
    EXPECT_NE(kel_access("job.M.vor", KEL_F_OK), 0);
}

TEST_F(Autoconvert, StatusOfTheCommandCounts) {
    make_job("job.ps");
    for (const char *const command :
         {"test -d %i", "exit 3 %i", "kill -9 $$ %i", "no-such-program %i 2>&1 | grep -q %i"}) {
        set_rules(std::string("ps = ") + command + "\n");
        EXPECT_EQ(outcome_of("job.ps:M", autoconvert), (Outcome{AUTOCONVERT_FAILED, "job", {}}))
            << command;
    }
}

} // namespace
