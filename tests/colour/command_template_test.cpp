#include "colour/command_template.h"

#include <array>
#include <cstdlib>
#include <optional>
#include <random>
#include <vector>

#include "colour/autoconvert.h"
#include "platform/kel.h"
#include "rule_home.h"

namespace {

using vor::JobName;
using vor::test::read_text;
using vor::test::RuleHome;
using vor::test::write_text;

constexpr JobName plain_name = {"job", "ps", "M"};

struct Expansion {
    int32_t result = 0;
    std::string command;
};

Expansion expand(const std::string &rule, const JobName &name = plain_name) {
    vor::ShellCommand command;
    const int32_t result = vor::expand_rule(rule.c_str(), name, &command);
    return {result, command.text()};
}

TEST(CommandTemplate, Escapes) {
    const JobName without = {"dir/job", "ps", ""};
    const struct {
        const char *rule;
        const char *with_separation;
        const char *without_separation;
    } rows[] = {
        {"%i", "dir/job.ps", "dir/job.ps"},
        {"%i %o", "dir/job.ps dir/job.V.vor", "dir/job.ps dir/job.vor"},
        {"%i[%S]", "dir/job.ps[Varnish]", "dir/job.ps[]"},
        {"%i[%C]", "dir/job.ps[Varnish]", "dir/job.ps[]"},
        {"%i[%c]", "dir/job.ps[V]", "dir/job.ps[]"},
        {"%i%%", "dir/job.ps%", "dir/job.ps%"},
        {"%i%%%%i", "dir/job.ps%%i", "dir/job.ps%%i"},
        {"%i%I%s %xy", "dir/job.ps%% %y", "dir/job.ps%% %y"},
        {"%i%i", "dir/job.psdir/job.ps", "dir/job.psdir/job.ps"},
        {"@%i %o", "dir/job dir/job.V.vor", "dir/job dir/job.vor"},
        {"a %i\tb", "a dir/job.ps\tb", "a dir/job.ps\tb"},
    };
    const JobName with = {"dir/job", "ps", "Varnish"};
    for (const auto &row : rows) {
        EXPECT_EQ(expand(row.rule, with).command, row.with_separation) << row.rule;
        EXPECT_EQ(expand(row.rule, with).result, 0) << row.rule;
        EXPECT_EQ(expand(row.rule, without).command, row.without_separation) << row.rule;
        EXPECT_EQ(expand(row.rule, without).result, 0) << row.rule;
    }
}

TEST(CommandTemplate, InksAreKnownByTheirFirstCharacter) {
    const struct {
        const char *separation;
        const char *expected;
    } rows[] = {
        {"0", "Cyan 0"},    {"C", "Cyan 0"},     {"c", "Cyan 0"},    {"cyan", "Cyan 0"},
        {"1", "Magenta 1"}, {"M", "Magenta 1"},  {"m", "Magenta 1"}, {"2", "Yellow 2"},
        {"Y", "Yellow 2"},  {"y", "Yellow 2"},   {"3", "Black 3"},   {"B", "Black 3"},
        {"b", "Black 3"},   {"Blue", "Black 3"}, {"4", "4 4"},       {"K", "K K"},
        {"k", "k k"},       {"12", "Magenta 1"}, {"Spot", "Spot S"}, {"47", "47 4"},
    };
    for (const auto &row : rows) {
        const JobName name = {"a", "ps", row.separation};
        EXPECT_EQ(expand("%C %c %i", name).command, std::string(row.expected) + " a.ps")
            << row.separation;
    }
}

TEST(CommandTemplate, Prefixes) {
    const JobName without = {"job", "ps", ""};
    for (const char *const prefixes : {"@!", "!@", "@@!!@"}) {
        EXPECT_EQ(expand(std::string(" \t") + prefixes + "rip %i").command, "rip job") << prefixes;
        EXPECT_EQ(expand(std::string(prefixes) + "rip %i", without).result, AUTOCONVERT_NO_RULE);
    }
    EXPECT_EQ(expand("@@rip %i", without).command, "rip job");
    EXPECT_EQ(expand("! rip %i").command, " rip job.ps") << "a blank behind a prefix stays";
    EXPECT_EQ(expand("! @rip %i").command, " @rip job.ps");
    EXPECT_EQ(expand("rip @ ! %i", without).command, "rip @ ! job.ps");
}

TEST(CommandTemplate, RuleThatCannotBeRun) {
    EXPECT_EQ(expand("rip").result, AUTOCONVERT_FAILED);
    EXPECT_EQ(expand("rip %o %S").result, AUTOCONVERT_FAILED);
    EXPECT_EQ(expand("").result, AUTOCONVERT_FAILED);
    EXPECT_EQ(expand(" \t").result, AUTOCONVERT_FAILED);
    EXPECT_EQ(expand("rip %i %").result, AUTOCONVERT_NO_RULE);
    EXPECT_EQ(expand("%").result, AUTOCONVERT_NO_RULE);
    EXPECT_EQ(expand("rip %").result, AUTOCONVERT_NO_RULE) << "whatever else it lacks";
}

TEST(CommandTemplate, PlainNamesComeOutAsTheyAreInAnyPlace) {
    const std::string file = "/az_AZ/09.:@%+,=-.ps";
    const JobName name = {"/az_AZ/09.:@%+,=-", "ps", "M"};
    const struct {
        std::string before;
        std::string after;
    } rows[] = {
        {"x ", " y"},  {"x \"", "\""}, {"x '", "'"},   {"x `y ", "`"}, {"x $(y ", ")"},
        {"x \\", ""},  {"x $", ""},    {"x # ", ""},   {"x ${y", "}"}, {"x <<", ""},
        {"x \"'", ""}, {"x '\"", ""},  {"x ((", "))"}, {"x $'", "'"},  {"x --", ""},
    };
    for (const auto &[before, after] : rows) {
        const Expansion expansion = expand(before + "%i" + after, name);
        EXPECT_EQ(expansion.command, before + file + after);
        EXPECT_EQ(expansion.result, 0);
    }
}

TEST(CommandTemplate, OtherNamesAreQuotedForTheirPlace) {
    const JobName name = {"it's", "ps", "a b"};
    const struct {
        const char *rule;
        const char *expected;
    } rows[] = {
        {"rip %i", R"(rip 'it'\''s.ps')"},
        {"rip x%i.y", R"(rip x'it'\''s.ps'.y)"},
        {"rip \"%i\"", R"(rip ""'it'\''s.ps'"")"},
        {"rip \"x %i y\"", R"(rip "x "'it'\''s.ps'" y")"},
        {"rip '%i'", R"(rip 'it'\''s.ps')"},
        {"rip 'x %i y'", R"(rip 'x it'\''s.ps y')"},
        {"rip '%S'\"%S\"%S %i", R"(rip 'a b'""'a b'""'a b' 'it'\''s.ps')"},
        {"rip '\"%S' %i", R"(rip '"a b' 'it'\''s.ps')"},
        {"rip \"'%S\" %i", R"(rip "'"'a b'"" 'it'\''s.ps')"},
        {"rip \"\\\"%S\" %i", R"(rip "\""'a b'"" 'it'\''s.ps')"},
        {"rip \\\"%S %i", R"(rip \"'a b' 'it'\''s.ps')"},
        {"rip \\\\%S %i", R"(rip \\'a b' 'it'\''s.ps')"},
        {"rip '\\'%S %i", R"(rip '\''a b' 'it'\''s.ps')"},
        {"rip '$%S' %i", R"(rip '$a b' 'it'\''s.ps')"},
        {"rip '`#%S' %i", R"(rip '`#a b' 'it'\''s.ps')"},
        {"rip \"#((<<%S\" %i", R"(rip "#((<<"'a b'"" 'it'\''s.ps')"},
        {"rip $x%S %i", R"(rip $x'a b' 'it'\''s.ps')"},
        {"rip \\$%S %i", R"(rip \$'a b' 'it'\''s.ps')"},
        {"rip \\# %S %i", R"(rip \# 'a b' 'it'\''s.ps')"},
        {"(rip %i) <%S", R"((rip 'it'\''s.ps') <'a b')"},
        {"[ %S = x ] && rip %i", R"([ 'a b' = x ] && rip 'it'\''s.ps')"},
        {"rip .[%S] \\[[%S %i", R"(rip .['a b'] \[['a b' 'it'\''s.ps')"},
        {"rip '[['%S\"a[%S\" %i", R"(rip '[[''a b'"a["'a b'"" 'it'\''s.ps')"},
        {"rip =%S \"=(%S\" %i", R"(rip ='a b' "=("'a b'"" 'it'\''s.ps')"},
        {"rip %i ( ( <x < y", R"(rip 'it'\''s.ps' ( ( <x < y)"},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(expand(row.rule, name).command, row.expected);
        EXPECT_EQ(expand(row.rule, name).result, 0) << row.rule;
    }
}

TEST(CommandTemplate, WholeNameIsQuotedAtOnce) {
    EXPECT_EQ(expand("x %i %o", {"a", "p s", "\xc3\xa9"}).command, "x 'a.p s' 'a.\xc3.vor'");
    EXPECT_EQ(expand("@x %i %o", {"a", "p s", "M"}).command, "x a a.M.vor");
}

TEST(CommandTemplate, OtherNamesAreRefusedWhereTheirPlaceIsUnknown) {
    const JobName other = {"job", "ps", "a b"};
    for (const char *const rule :
         {"x `%S` %i",        "x \"`%S`\" %i",    "x `y` %S %i",   "x $(y %S) %i",
          "x \"$(y)\" %S %i", "x $(y) '%S' %i",   "x ${y} %S %i",  "x \"${y%%%S}\" %i",
          "x $[%S] %i",       "x $'%S' %i",       "x $\"%S\" %i",  "x ((%S)) %i",
          "x <<%S %i",        "x <<-y %S %i",     "x <<<%S %i",    "x # %S %i",
          "x#%S %i",          "x \\%S %i",        "x \"\\%S\" %i", "x $%S %i",
          "x \"$%S\" %i",     "x $$%S %i",        "x $((%S)) %i",  "[[ %S = 1 ]]; x %i",
          "x [[%S %i",        "a[%S]=1 x %i",     "Z_[%S]=1 x %i", "a9[%S]=1 x %i",
          "a[0]=%S x %i",     "a=([%S]=1); x %i", "a+=(%S); x %i", "a[\"%S\"]=1; x %i"}) {
        EXPECT_EQ(expand(rule, other).result, AUTOCONVERT_NO_RULE) << rule;
        EXPECT_EQ(expand(rule).result, 0) << rule;
    }
}

TEST(CommandTemplate, EmptyNamesLeaveWhatStandsAroundThemTogether) {
    // Of the base alone, which is in need of quotes, with an empty separation before it.
    for (const char *const rule : {"x $%S(y) %i", "x $%S%i", "x \\%S%i", "x <%S< %i", "x (%S( %i"})
        EXPECT_EQ(expand(rule, {"a b", "ps", ""}).result, AUTOCONVERT_NO_RULE) << rule;
}

TEST(CommandTemplate, NumberBeforeARedirectionStaysAnArgument) {
    const JobName name = {"job", "ps2", "2"};
    EXPECT_EQ(expand("x %i %c>%o", name).command, "x job.ps2 2''>job.2.vor");
    EXPECT_EQ(expand("x %i 1%S<y", name).command, "x job.ps2 12''<y");
    EXPECT_EQ(expand("x %i;%S>y", name).command, "x job.ps2;2''>y");
    EXPECT_EQ(expand("%S>y %i", name).command, "2''>y job.ps2");
    // Where it cannot be taken for a descriptor, nothing is added.
    EXPECT_EQ(expand("x %i>y", name).command, "x job.ps2>y");
    EXPECT_EQ(expand("x %i %S >y", name).command, "x job.ps2 2 >y");
    EXPECT_EQ(expand("x %i %S2>y", name).command, "x job.ps2 22>y");
    EXPECT_EQ(expand("x %i \"%S>y\"", name).command, "x job.ps2 \"2>y\"");
    EXPECT_EQ(expand("x %i %S2>y", {"job", "ps", ""}).command, "x job.ps 2>y");
    // Where it could, and nothing can be added, it is refused.
    EXPECT_EQ(expand("x $(y) %i %c>%o", name).result, AUTOCONVERT_NO_RULE);
    EXPECT_EQ(expand("x %i `%c>%o`", name).result, AUTOCONVERT_NO_RULE);
    EXPECT_EQ(expand("x %i `y`%c>%o", name).result, AUTOCONVERT_NO_RULE);
    EXPECT_EQ(expand("x $(y) %i %c >%o", name).command, "x $(y) job.ps2 2 >job.2.vor");
}

TEST(CommandTemplate, LongestCommandIsOf511Bytes) {
    const JobName name = {"a b", "ps", ""};
    const std::string quoted = "'a b.ps'";
    const std::string longest(511 - quoted.size(), 'x');
    EXPECT_EQ(expand(longest + "%i", name).command, longest + quoted);
    EXPECT_EQ(expand(longest + "%i", name).result, 0);
    EXPECT_EQ(expand(longest + "x%i", name).result, AUTOCONVERT_NO_RULE);
    EXPECT_EQ(expand(longest + "%ix", name).result, AUTOCONVERT_NO_RULE);
    EXPECT_EQ(expand(std::string(505, 'x') + "%i%i", {"a", "p", ""}).result, 0);
    EXPECT_EQ(expand(std::string(506, 'x') + "%i%i", {"a", "p", ""}).result, AUTOCONVERT_NO_RULE);
}

TEST(CommandTemplate, LongNamesAreRefused) {
    const std::string base(1000, 'a');
    EXPECT_EQ(expand("x %i", {base, "ps", ""}).result, AUTOCONVERT_NO_RULE);
    const std::string quotes(200, '\'');
    EXPECT_EQ(expand("x %i", {quotes, "ps", ""}).result, AUTOCONVERT_NO_RULE);
}

// ---- what reaches the command

// Pieces that mean something to a shell or to a program; a byte of any value but zero stands in for
// the empty one.
constexpr std::array hostile_pieces = {
    " ",
    "'",
    "\"",
    ";touch owned;",
    "$(touch owned)",
    "`touch owned`",
    "\n",
    "\\",
    "$HOME",
    "%i",
    "|",
    "&",
    "(",
    ")",
    "<",
    ">",
    "*",
    "?",
    "[a-z]",
    "~",
    "!",
    "#",
    "{",
    "}",
    "=",
    "-",
    "--",
    "\t",
    "\r",
    "%",
    "%s",
    "$",
    "^",
    "\x81",
    "\xc3\xa9",
    "\xff",
    "a",
    "2",
    "'\\''",
    "",
};

class HostileNames : public RuleHome {
protected:
    // Without "/" and ".", which would make a name of another shape.
    std::string draw_name(size_t pieces) {
        std::string name;
        while (pieces-- > 0) {
            const std::string piece = hostile_pieces[random_() % hostile_pieces.size()];
            name += piece.empty() ? std::string(1, draw_byte()) : piece;
        }
        return name;
    }
    char draw_byte() {
        for (;;) {
            const auto byte = static_cast<char>(1 + random_() % 255);
            if (byte != '/' && byte != '.' && byte != '\\') return byte;
        }
    }
    static std::string without_backslashes(std::string name) {
        std::erase(name, '\\');
        return name;
    }
    size_t draw(size_t count) { return random_() % count; }

    std::mt19937 random_{20};
};

std::vector<std::string> split_at_zeros(const std::string &text) {
    std::vector<std::string> parts;
    size_t from = 0;
    for (size_t end = 0; (end = text.find('\0', from)) != std::string::npos; from = end + 1)
        parts.push_back(text.substr(from, end - from));
    return parts;
}

TEST_F(HostileNames, ReachTheCommandAsTheyAreInEveryKindOfQuotes) {
    set_rules("ps = " VOR_ARGUMENT_PRINTER " %i \"%i\" '%i' =%S=\"%S\"'%S' 'a'\"b %o c\" >args\n");
    for (int round = 0; round < 200; ++round) {
        const std::string base = "a" + draw_name(1 + draw(4)) + "b";
        const std::string separation = "x" + without_backslashes(draw_name(draw(4)));
        const std::string input = base + ".ps";
        write_text(input, "");
        std::string name = input + ":" + separation;
        name.resize(name.size() + 3);
        ASSERT_EQ(autoconvert(name.data()), 0) << input << ":" << separation;
        EXPECT_EQ(name.c_str(), base + "." + separation + ".vor");
        const std::vector<std::string> expected = {input, input, input,
                                                   "=" + separation + "=" + separation + separation,
                                                   "ab " + base + ".x.vor c"};
        EXPECT_EQ(split_at_zeros(read_text("args")), expected);
        ASSERT_FALSE(std::filesystem::exists("owned")) << input << ":" << separation;
        std::filesystem::remove(input);
    }
}

TEST_F(HostileNames, MayHoldBackslashes) {
    set_rules("ps = " VOR_ARGUMENT_PRINTER " %i \"%i\" '%i' >args\n");
    for (const std::string before : {"\\", "\\\\", "a\\", "\\n", "\\'", "\\\"", "'\\''", "a\\$"}) {
        std::string name = before + "a.ps";
        const std::string input = name;
        write_text(input, "");
        name.resize(name.size() + 3);
        ASSERT_EQ(autoconvert(name.data()), 0);
        EXPECT_EQ(split_at_zeros(read_text("args")),
                  (std::vector<std::string>{input, input, input}));
    }
}

// Each runs a command where a shell reads it in one of its ways.
constexpr std::array attacks = {
    "`touch owned`",     "$(touch owned)",    "(touch owned)",     "';touch owned;'",
    "\";touch owned;\"", "'`touch owned`'",   "\"`touch owned`\"", "'\"`touch owned`\"'",
    "\ntouch owned\n",   ";touch owned;",     "\\`touch owned`",   "\\';touch owned;\\'",
    "x[`touch owned`]",  "x[$(touch owned)]", "{`touch owned`}",   ");touch owned;#",
    "}`touch owned`{",
};

// How a rule may wrap what stands in it; every other one is the end of the one before it.
constexpr std::array wraps = {
    "\"", "\"",  "'",    "'",    "`echo ", "`",     "$(echo ",   ")",      "${x:-",
    "}",  "$((", "))",   "$'",   "'",      "$\"",   "\"",        "\\",     "",
    "$",  "",    "\\\"", "",     "\\'",    "",      "# ",        "",       "a ",
    " b", "a",   "b",    "; a[", "]=1",    "; [[ ", " -eq 1 ]]", "; a=([", "]=1)",
};

class RandomRules : public HostileNames {
protected:
    std::string draw_rule(int depth) {
        if (depth == 0) return "%S";
        const size_t wrap = draw(wraps.size() / 2) * 2;
        std::string rule = wraps[wrap] + draw_rule(depth - 1) + wraps[wrap + 1];
        if (draw(3) == 0) rule += draw_rule(depth - 1);
        return rule;
    }
    // Runs a command away from the terminal, also in a shell with arrays if there is one. Whether
    // it is a good one does not matter.
    static void run(const std::string &command) {
        write_text("script", "exec </dev/null >out 2>&1\n" + command);
        static_cast<void>(std::system("sh ./script; exec bash ./script 2>>out"));
    }
};

TEST_F(RandomRules, LetNoNameRunACommand) {
    int run_commands = 0;
    for (int round = 0; round < 800; ++round) {
        const std::string rule = "echo %i " + draw_rule(1 + static_cast<int>(draw(3)));
        const Expansion expansion = expand(rule, {"a", "ps", attacks[draw(attacks.size())]});
        if (expansion.result != 0) continue;
        ++run_commands;
        run(expansion.command);
        ASSERT_FALSE(std::filesystem::exists("owned")) << rule << '\n' << expansion.command;
    }
    EXPECT_GT(run_commands, 50);
}

// What the test above is worth: the same names do harm where nothing quotes them.
TEST_F(RandomRules, WouldRunACommandWithoutQuotes) {
    for (const char *const attack : attacks) {
        bool harmful = false;
        for (size_t wrap = 0; wrap < wraps.size() && !harmful; wrap += 2) {
            run(std::string("echo ") + wraps[wrap] + attack + wraps[wrap + 1]);
            harmful = std::filesystem::remove("owned");
        }
        EXPECT_TRUE(harmful) << attack;
    }
}

} // namespace
