// Generated command lines through these option calls and through those of the C library, in a copy
// of its own so that the variables of the two keep apart: they agree in all but what is meant.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "util/options.h"

namespace {

using Words = std::vector<std::string>;
using Long = int (*)(int, char *const *, const char *, const struct option *, int *);

// One side: its calls and its variables.
struct Side {
    Long getopt_long;
    Long getopt_long_only;
    char **argument;
    int *index;
    int *errors;
    int *culprit;
};

const Side own = {::getopt_long, ::getopt_long_only, &::optarg, &::optind, &::opterr, &::optopt};

class CLibrary {
public:
    CLibrary() : handle_(::dlmopen(LM_ID_NEWLM, "libc.so.6", RTLD_NOW)) {}
    ~CLibrary() {
        if (handle_) ::dlclose(handle_);
    }
    CLibrary(const CLibrary &) = delete;
    CLibrary &operator=(const CLibrary &) = delete;

    bool open() const { return handle_ != nullptr; }
    template <class T>
    T symbol(const char *name) const {
        return reinterpret_cast<T>(::dlsym(handle_, name));
    }
    Side side() const {
        return {symbol<Long>("getopt_long"), symbol<Long>("getopt_long_only"),
                symbol<char **>("optarg"),   symbol<int *>("optind"),
                symbol<int *>("opterr"),     symbol<int *>("optopt")};
    }

private:
    void *handle_;
};

int flag_value = 0;

const struct option table[] = {
    {"all", no_argument, nullptr, 1001},
    {"alone", no_argument, nullptr, 1002},
    {"file", required_argument, nullptr, 3},
    {"level", optional_argument, nullptr, 1004},
    {"mark", no_argument, &flag_value, 1005},
    {"levels", required_argument, nullptr, 1006},
    {nullptr, 0, nullptr, 0},
};

enum class Way { plain, with_table, only };

// All that a caller sees of a scan.
std::string scan(const Side &side, Way way, Words words, const char *options) {
    words.insert(words.begin(), "prog");
    std::vector<char *> argv;
    for (std::string &word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    const int argc = static_cast<int>(words.size());
    const struct option none[] = {{nullptr, 0, nullptr, 0}};
    *side.index = 0;
    *side.errors = 0;
    std::string text;
    for (int result = 0; result != -1;) {
        int row = -1;
        flag_value = 0;
        *side.culprit = 0;
        result = way == Way::only ? side.getopt_long_only(argc, argv.data(), options, table, &row)
                                  : side.getopt_long(argc, argv.data(), options,
                                                     way == Way::plain ? none : table, &row);
        text += std::to_string(result) + "," + std::to_string(row) + "," +
                std::to_string(flag_value) + "," + std::to_string(*side.index);
        if (*side.argument) text += std::string("=") + *side.argument;
        // After an error in a long option it is no character, or not set.
        if (result == '?' && *side.culprit > ' ' && *side.culprit < 127)
            text += std::string(" at ") + static_cast<char>(*side.culprit);
        text += "; ";
    }
    for (const char *word : argv)
        if (word) text += std::string(" ") + word;
    return text;
}

void restore() {
    *own.errors = 1;
    *own.culprit = '?';
}

std::string joined(const Words &words) {
    std::string text;
    for (const std::string &word : words)
        text += "[" + word + "]";
    return text;
}

// A single letter behind one dash is a long option first here, a short one there.
bool is_apart(const Words &words, Way way) {
    if (way != Way::only) return false;
    for (const std::string &word : words)
        if (word.size() == 2 && word[0] == '-' && word[1] != '-') return true;
    return false;
}

TEST(OptionAgreement, WithTheCLibraryOverGeneratedCommandLines) {
    const CLibrary library;
    ASSERT_TRUE(library.open()) << ::dlerror();
    const Side other = library.side();
    ASSERT_TRUE(other.getopt_long && other.getopt_long_only && other.argument && other.index);
    const char *const pieces[] = {
        "-a",     "-b",      "-f",      "-fx",      "-abf",      "-lx",    "-l",
        "-al",    "-ba",     "-",       "--",       "word",      "other",  "-z",
        "-az",    "",        "x=y",     "--all",    "--al",      "--alo",  "--file",
        "--fi=1", "--file=", "--level", "--lev",    "--level=2", "--none", "--mark",
        "--mar",  "--a",     "--all=1", "--levels", "-all",      "-file",  "-fi=2",
        "-level", "-levels", "-ark",    "-mark",    "--none=3",  "-bad"};
    const char *const strings[] = {"abf:l::", "+abf:l::", "-abf:l::"};
    std::mt19937 random(20);
    int compared = 0;
    for (int i = 0; i < 30000; ++i) {
        Words words(random() % 7);
        for (std::string &word : words)
            word = pieces[random() % std::size(pieces)];
        const char *const options = strings[random() % std::size(strings)];
        const Way way = static_cast<Way>(random() % 3);
        if (is_apart(words, way)) continue;
        ++compared;
        ASSERT_EQ(scan(own, way, words, options), scan(other, way, words, options))
            << joined(words) << " with " << options;
    }
    EXPECT_GT(compared, 10000);
    restore();
}

struct Difference {
    const char *what;
    Way way;
    Words words;
    const char *options;
};

TEST(OptionAgreement, EndsWhereItIsMeantTo) {
    const CLibrary library;
    ASSERT_TRUE(library.open()) << ::dlerror();
    const Difference rows[] = {
        {"a plus introduces a long option", Way::with_table, {"+all"}, "a"},
        {"a colon at the start means nothing", Way::plain, {"-f"}, ":f:"},
        {"a long option of one letter is looked up first", Way::only, {"-m"}, "m"},
    };
    for (const Difference &row : rows)
        EXPECT_NE(scan(own, row.way, row.words, row.options),
                  scan(library.side(), row.way, row.words, row.options))
            << row.what;
    restore();
}

TEST(OptionAgreement, EndsAtMatchesThatMeanTheSame) {
    const CLibrary library;
    ASSERT_TRUE(library.open()) << ::dlerror();
    const struct option same[] = {{"colour", no_argument, nullptr, 'c'},
                                  {"color", no_argument, nullptr, 'c'},
                                  {nullptr, 0, nullptr, 0}};
    char program[] = "prog";
    char word[] = "--col";
    char *const argv[] = {program, word, nullptr};
    const Side sides[] = {own, library.side()};
    const int expected[] = {'?', 'c'};
    for (int i = 0; i < 2; ++i) {
        *sides[i].index = 0;
        *sides[i].errors = 0;
        EXPECT_EQ(sides[i].getopt_long(2, argv, "", same, nullptr), expected[i]);
    }
    restore();
}

TEST(OptionAgreement, EndsAtOptoptOfALongOption) {
    const CLibrary library;
    ASSERT_TRUE(library.open()) << ::dlerror();
    char program[] = "prog";
    char word[] = "--file";
    char *const argv[] = {program, word, nullptr};
    const Side sides[] = {own, library.side()};
    const int expected[] = {'!', 3};
    for (int i = 0; i < 2; ++i) {
        *sides[i].index = 0;
        *sides[i].errors = 0;
        *sides[i].culprit = '!';
        EXPECT_EQ(sides[i].getopt_long(2, argv, "", table, nullptr), '?');
        EXPECT_EQ(*sides[i].culprit, expected[i]);
    }
    *own.errors = 1;
}

} // namespace
