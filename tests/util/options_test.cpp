#include "util/options.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/capture.h"
#include "support/scoped_env.h"

namespace {

using vor::test::captured_stderr;
using vor::test::ScopedEnv;
using Words = std::vector<std::string>;

int flag_value = 0;

const struct option table[] = {
    {"all", no_argument, nullptr, 'A'},        {"almost", no_argument, nullptr, 'A'},
    {"file", required_argument, nullptr, 'F'}, {"level", optional_argument, nullptr, 'L'},
    {"mark", no_argument, &flag_value, 77},    {"x", no_argument, nullptr, 'X'},
    {"xy", no_argument, nullptr, 'Y'},         {nullptr, 0, nullptr, 0},
};

// The words behind the program's name, as main gets them.
class Arguments {
public:
    explicit Arguments(Words words) : words_(std::move(words)) {
        words_.insert(words_.begin(), "prog");
        for (std::string &word : words_)
            pointers_.push_back(word.data());
        pointers_.push_back(nullptr);
    }
    int count() const { return static_cast<int>(words_.size()); }
    char *const *pointers() const { return pointers_.data(); }

    // What the scan left, from optind on.
    std::string rest() const {
        std::string text = "|";
        for (int i = optind; i < count(); ++i)
            text += std::string(" ") + pointers_[static_cast<size_t>(i)];
        return text;
    }

private:
    Words words_;
    std::vector<char *> pointers_;
};

std::string shown(int result) {
    std::string text =
        result > ' ' ? std::string(1, static_cast<char>(result)) : std::to_string(result);
    if (optarg) text += std::string("=") + optarg;
    return text + " ";
}

using Call = int (*)(int, char *const *, const char *, const struct option *, int *);

int short_call(int argc, char *const *argv, const char *options, const struct option *, int *) {
    return getopt(argc, argv, options);
}

// All results of a scan, "c" or "c=argument" each, and behind "|" what it left.
std::string scan(const Words &words, const char *options, Call call = short_call) {
    const Arguments arguments(words);
    std::string text;
    optind = 0;
    for (;;) {
        const int result = call(arguments.count(), arguments.pointers(), options, table, nullptr);
        if (result == -1) return text + arguments.rest();
        text += shown(result);
    }
}

class Options : public ::testing::Test {
protected:
    void SetUp() override {
        optind = 0;
        opterr = 1;
        optopt = '?';
        flag_value = 0;
    }
    void TearDown() override { SetUp(); }

private:
    const ScopedEnv not_posix_{"POSIXLY_CORRECT", nullptr};
};

// As they are before anything is called.
const struct {
    const char *argument = optarg;
    int index = optind;
    int errors = opterr;
    int culprit = optopt;
    const struct option *table = _getopt_long_options;
} at_start;

TEST(OptionVariables, HaveTheirStartValues) {
    EXPECT_EQ(at_start.argument, nullptr);
    EXPECT_EQ(at_start.index, 0);
    EXPECT_EQ(at_start.errors, 1);
    EXPECT_EQ(at_start.culprit, 63);
    EXPECT_EQ(at_start.table, nullptr);
}

struct Row {
    Words words;
    const char *options;
    const char *expected;
};

TEST_F(Options, ShortOptionsAndTheirArguments) {
    const Row rows[] = {
        {{}, "ab", "|"},
        {{"-a", "-b"}, "ab", "a b |"},
        {{"-ab"}, "ab", "a b |"},
        {{"-abfx"}, "abf:", "a b f=x |"},
        {{"-f", "x", "-a"}, "af:", "f=x a |"},
        {{"-f", "-a"}, "af:", "f=-a |"},
        {{"-f", "--", "-a"}, "af:", "f=-- a |"},
        {{"-fx=y"}, "f:", "f=x=y |"},
        {{"-a", "-b", "x", "y"}, "ab", "a b | x y"},
    };
    for (const Row &row : rows)
        EXPECT_EQ(scan(row.words, row.options), row.expected);
}

TEST_F(Options, OptionalArgumentCountsOnlyIfAttached) {
    EXPECT_EQ(scan({"-lx", "-l", "y"}, "l::"), "l=x l | y");
    EXPECT_EQ(scan({"-al", "-l"}, "al::"), "a l l |");
}

TEST_F(Options, NonOptionsAreMovedBehindTheOptions) {
    EXPECT_EQ(scan({"x", "-a", "y", "-f", "z", "w"}, "af:"), "a f=z | x y w");
}

TEST_F(Options, TwoDashesEndTheOptionsAndNonOptionsStandTogether) {
    EXPECT_EQ(scan({"x", "-a", "y", "--", "-b", "z"}, "ab"), "a | x y -b z");
    EXPECT_EQ(scan({"--", "-a"}, "a"), "| -a");
    EXPECT_EQ(scan({"-a", "--"}, "a"), "a |");
    EXPECT_EQ(scan({"x", "--"}, "a"), "| x");
    EXPECT_EQ(scan({"x", "--", "--"}, "a"), "| x --");
}

TEST_F(Options, DashAloneIsNoOption) {
    EXPECT_EQ(scan({"-", "-a"}, "a"), "a | -");
    EXPECT_EQ(scan({"-", "-a"}, "+a"), "| - -a");
    EXPECT_EQ(scan({"-", "-a"}, "-a"), "1=- a |");
}

TEST_F(Options, PlusStopsAtTheFirstNonOption) {
    EXPECT_EQ(scan({"-a", "x", "-b"}, "+ab"), "a | x -b");
    EXPECT_EQ(scan({"-a", "--", "-b"}, "+ab"), "a | -b");
}

TEST_F(Options, MinusGivesNonOptionsInTheirPlace) {
    EXPECT_EQ(scan({"x", "-a", "y", "--", "z", "-b"}, "-ab"), "1=x a 1=y | z -b");
}

TEST_F(Options, PosixlyCorrectStopsAtTheFirstNonOption) {
    const ScopedEnv posix("POSIXLY_CORRECT", "");
    EXPECT_EQ(scan({"-a", "x", "-b"}, "ab"), "a | x -b");
    EXPECT_EQ(scan({"-a", "x", "-b"}, "-ab"), "a 1=x b |"); // the sign wins
}

TEST_F(Options, OptindOfZeroRestartsAndReadsTheEnvironmentAgain) {
    const Arguments arguments({"-ab", "x", "-c"});
    const auto next = [&] { return getopt(arguments.count(), arguments.pointers(), "abc"); };
    EXPECT_EQ(next(), 'a');
    optind = 0; // in the middle of a cluster
    EXPECT_EQ(next(), 'a');
    EXPECT_EQ(next(), 'b');
    {
        const ScopedEnv posix("POSIXLY_CORRECT", "1");
        EXPECT_EQ(next(), 'c'); // decided when the scan started
        EXPECT_EQ(next(), -1);
    }
    const Arguments again({"-a", "x", "-c"});
    const ScopedEnv posix("POSIXLY_CORRECT", "1");
    optind = 0;
    EXPECT_EQ(getopt(again.count(), again.pointers(), "abc"), 'a');
    EXPECT_EQ(getopt(again.count(), again.pointers(), "abc"), -1);
    EXPECT_EQ(optind, 2);
}

TEST_F(Options, ArgumentOfTheLastOptionIsGone) {
    const Arguments arguments({"-fx", "-a"});
    EXPECT_EQ(getopt(arguments.count(), arguments.pointers(), "af:"), 'f');
    EXPECT_STREQ(optarg, "x");
    EXPECT_EQ(getopt(arguments.count(), arguments.pointers(), "af:"), 'a');
    EXPECT_EQ(optarg, nullptr);
}

TEST_F(Options, UnknownShortOptionIsPrintedAndKept) {
    EXPECT_EQ(captured_stderr([] { EXPECT_EQ(scan({"-xa"}, "a"), "? a |"); }),
              "prog: unrecognized option `-x'\n");
    EXPECT_EQ(optopt, 'x');
}

TEST_F(Options, UnprintableShortOptionIsPrintedAsACode) {
    struct Code {
        const char *word;
        const char *message;
        int code;
    };
    const Code rows[] = {
        {"-\x1F", "prog: unrecognized option, character code 0x1f\n", 0x1F},
        {"- ", "prog: unrecognized option `- '\n", ' '},
        {"-~", "prog: unrecognized option `-~'\n", '~'},
        {"-\x7F", "prog: unrecognized option, character code 0x7f\n", 0x7F},
        {"-\xE4", "prog: unrecognized option, character code 0xe4\n", 0xE4},
        {"-\xFF", "prog: unrecognized option, character code 0xff\n", 0xFF},
    };
    for (const Code &row : rows) {
        EXPECT_EQ(captured_stderr([&] { EXPECT_EQ(scan({row.word}, "a"), "? |"); }), row.message);
        EXPECT_EQ(optopt, row.code);
    }
}

TEST_F(Options, ByteAbove127MayBeAnOption) {
    const Arguments arguments({"-\xFF"});
    EXPECT_EQ(getopt(arguments.count(), arguments.pointers(), "\xFF"), 0xFF);
}

TEST_F(Options, MissingArgumentOfAShortOptionIsPrintedAndKept) {
    EXPECT_EQ(captured_stderr([] { EXPECT_EQ(scan({"-af"}, "af:"), "a ? |"); }),
              "prog: option `-f' requires an argument\n");
    EXPECT_EQ(optopt, 'f');
}

TEST_F(Options, ColonIsNeverAnOption) {
    EXPECT_EQ(captured_stderr([] {
                  EXPECT_EQ(scan({"-:", "-a"}, "a:"), "? ? |");
              }),
              "prog: unrecognized option `-:'\nprog: option `-a' requires an argument\n");
}

TEST_F(Options, ColonAtTheStartMeansNothing) {
    EXPECT_EQ(captured_stderr([] { EXPECT_EQ(scan({"-a"}, ":a:"), "? |"); }),
              "prog: option `-a' requires an argument\n");
    EXPECT_EQ(captured_stderr([] { EXPECT_EQ(scan({"--file"}, ":a", getopt_long), "? |"); }),
              "prog: option `--file' requires an argument\n");
}

TEST_F(Options, NothingIsPrintedWithOpterrZero) {
    opterr = 0;
    EXPECT_EQ(
        captured_stderr([] {
            EXPECT_EQ(scan({"-x", "-\x01", "-f"}, "f:"), "? ? ? |");
            EXPECT_EQ(scan({"--no", "--al", "--all=1", "--file"}, "", getopt_long), "? ? ? ? |");
        }),
        "");
}

TEST_F(Options, LongOptionsAndTheirArguments) {
    const Row rows[] = {
        {{"--all", "--x"}, "", "A X |"},
        {{"--file=a=b", "--file", "c"}, "", "F=a=b F=c |"},
        {{"--file="}, "", "F= |"},
        {{"--file", "--all"}, "", "F=--all |"},
        {{"--level=3", "--level", "4"}, "", "L=3 L | 4"},
        {{"-a", "--all", "-bx"}, "ab:", "a A b=x |"},
        {{"n", "--all", "m"}, "", "A | n m"},
        {{"n", "--all", "m"}, "+", "| n --all m"},
        {{"n", "--all", "m"}, "-", "1=n A 1=m |"},
        {{"--", "--all"}, "", "| --all"},
    };
    for (const Row &row : rows)
        EXPECT_EQ(scan(row.words, row.options, getopt_long), row.expected);
}

TEST_F(Options, LongNamesMayBeAbbreviatedAndAnExactMatchWins) {
    EXPECT_EQ(scan({"--fi=1", "--l", "--alm", "--x", "--xy"}, "", getopt_long), "F=1 L A X Y |");
}

TEST_F(Options, PartialMatchesAreAmbiguousEvenIfTheyMeanTheSame) {
    EXPECT_EQ(captured_stderr([] { EXPECT_EQ(scan({"--al"}, "", getopt_long), "? |"); }),
              "prog: option `--al' is ambiguous\n");
    EXPECT_EQ(captured_stderr([] { EXPECT_EQ(scan({"--al=1"}, "", getopt_long), "? |"); }),
              "prog: option `--al=1' is ambiguous\n");
}

TEST_F(Options, PlusIntroducesALongOptionInAllModes) {
    for (const char *options : {"a", "+a", "-a"})
        EXPECT_EQ(scan({"+all", "-a", "+file=1", "+file", "2", "+x"}, options, getopt_long),
                  "A a F=1 F=2 X |");
    EXPECT_EQ(scan({"+all"}, "", getopt_long_only), "A |");
}

TEST_F(Options, PlusIsNotPassedOverAmongNonOptions) {
    EXPECT_EQ(scan({"n", "+all", "+", "m"}, "", getopt_long), "A | n + m");
}

TEST_F(Options, PlusMeansNothingWithoutLongOptions) {
    EXPECT_EQ(scan({"+a", "-a"}, "a"), "a | +a");
}

TEST_F(Options, UnknownLongOptionIsPrintedAsItWasWritten) {
    struct Message {
        const char *word;
        const char *message;
    };
    const Message rows[] = {
        {"--none", "prog: unrecognized option `--none'\n"},
        {"--none=1", "prog: unrecognized option `--none=1'\n"},
        {"+none=1", "prog: unrecognized option `+none=1'\n"},
        {"--all=1", "prog: option `--all=1' doesn't allow an argument\n"},
        {"+all=", "prog: option `+all=' doesn't allow an argument\n"},
        {"--file", "prog: option `--file' requires an argument\n"},
        {"+fi", "prog: option `+fi' requires an argument\n"},
    };
    for (const Message &row : rows) {
        EXPECT_EQ(captured_stderr([&] { EXPECT_EQ(scan({row.word}, "", getopt_long), "? |"); }),
                  row.message);
        EXPECT_EQ(optopt, '?') << "stays as it was";
    }
}

TEST_F(Options, ErrorInALongOptionLeavesOptoptAlone) {
    opterr = 0;
    EXPECT_EQ(scan({"-z", "--none", "--file"}, "", getopt_long), "? ? ? |");
    EXPECT_EQ(optopt, 'z');
}

TEST_F(Options, FlagOfALongOptionGetsItsValue) {
    EXPECT_EQ(scan({"--mark"}, "", getopt_long), "0 |");
    EXPECT_EQ(flag_value, 77);
}

TEST_F(Options, IndexIsTheRowOfTheOptionFound) {
    const Arguments arguments({"--file=1", "-a", "--none", "--x=2", "--mark"});
    int index = -5;
    const auto next = [&] {
        return getopt_long(arguments.count(), arguments.pointers(), "a", table, &index);
    };
    opterr = 0;
    EXPECT_EQ(next(), 'F');
    EXPECT_EQ(index, 2);
    index = -5;
    EXPECT_EQ(next(), 'a');
    EXPECT_EQ(next(), '?');
    EXPECT_EQ(next(), '?');
    EXPECT_EQ(index, -5);
    EXPECT_EQ(next(), 0);
    EXPECT_EQ(index, 4);
}

TEST_F(Options, LongOnlyTakesOneDash) {
    EXPECT_EQ(scan({"-all", "-file", "1", "--xy", "-lev=2"}, "", getopt_long_only),
              "A F=1 Y L=2 |");
}

TEST_F(Options, LongOnlyLooksUpASingleLetterAsALongOptionFirst) {
    EXPECT_EQ(scan({"-x", "-f", "1"}, "xf:", getopt_long_only), "X F=1 |");
}

TEST_F(Options, LongOnlyFallsBackToShortOptionsIfTheFirstIsOne) {
    EXPECT_EQ(scan({"-bc", "-cb"}, "bc", getopt_long_only), "b c c b |");
    EXPECT_EQ(captured_stderr([] {
                  EXPECT_EQ(scan({"-zb", "--bc", "-bz"}, "bc", getopt_long_only), "? ? b ? |");
              }),
              "prog: unrecognized option `-zb'\nprog: unrecognized option `--bc'\n"
              "prog: unrecognized option `-z'\n");
}

TEST_F(Options, TableInUseIsPutBack) {
    const struct option own[] = {{"own", no_argument, nullptr, 'o'}, {nullptr, 0, nullptr, 0}};
    _getopt_long_options = own;
    EXPECT_EQ(scan({"--all"}, "", getopt_long), "A |");
    EXPECT_EQ(_getopt_long_options, own);
    EXPECT_EQ(scan({"--own", "+own"}, ""), "o o |"); // getopt looks at it too
    _getopt_long_options = nullptr;
    EXPECT_EQ(scan({"-o"}, "o", getopt_long_only), "o |");
    EXPECT_EQ(_getopt_long_options, nullptr);
    // The switch for one dash is put back as well.
    _getopt_long_options = own;
    EXPECT_EQ(scan({"-own"}, "nwo"), "o w n |");
    _getopt_long_options = nullptr;
}

TEST_F(Options, ProgramWithoutANameOrArguments) {
    char *const nothing[] = {nullptr};
    EXPECT_EQ(getopt(0, nothing, "a"), -1);
    Arguments arguments({"-z"});
    const_cast<char **>(arguments.pointers())[0] = nullptr;
    optind = 0;
    EXPECT_EQ(captured_stderr([&] { getopt(arguments.count(), arguments.pointers(), "a"); }),
              ": unrecognized option `-z'\n");
}

TEST_F(Options, OptindBeyondTheArgumentsEndsTheScan) {
    const Arguments arguments({"x", "-a", "y"});
    EXPECT_EQ(getopt(arguments.count(), arguments.pointers(), "a"), 'a');
    optind = 100;
    EXPECT_EQ(getopt(arguments.count(), arguments.pointers(), "a"), -1);
}

TEST_F(Options, OptindMayBeMovedBack) {
    const Arguments arguments({"x", "-a", "y", "-b"});
    const auto next = [&] { return getopt(arguments.count(), arguments.pointers(), "ab"); };
    EXPECT_EQ(next(), 'a');
    EXPECT_EQ(next(), 'b');
    optind = 1;
    EXPECT_EQ(next(), 'a');
    EXPECT_EQ(next(), 'b');
    EXPECT_EQ(next(), -1);
    EXPECT_EQ(arguments.rest(), "| x y");
}

} // namespace
