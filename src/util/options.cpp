// Option parsing. One parser serves the three calls: it looks at long options if a table of them is
// set, and two switches tell it how.
//
// While arguments are permuted, argv has four parts: options that are done with, non-options that
// were passed over (first_nonoption to last_nonoption), options that are done with since then (up
// to optind), and what is still to come. The two in the middle change places before the scan moves
// on.
#include "util/options.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

char *optarg = nullptr;
int optind = 0;
int opterr = 1;
int optopt = '?';
const struct option *_getopt_long_options = nullptr;

namespace {

constexpr int error_result = '?';
constexpr int end_of_options = -1;
constexpr int non_option = 1;

enum class Ordering { permute, stop_at_non_option, return_in_order };

Ordering ordering = Ordering::permute;
int first_nonoption = 1;
int last_nonoption = 1;
const char *next_character = nullptr; // within a cluster of short options
bool long_only = false;
int found_index = -1; // row of the long option taken last

struct Scan {
    int argc;
    char **argv;
    const char *options; // behind the sign that tells the ordering

    const char *program() const { return argc > 0 && argv[0] ? argv[0] : ""; }
    bool at_end() const { return optind >= argc; }
    char *argument() const { return argv[optind]; }
};

bool is_ordering_sign(char c) {
    return c == '-' || c == '+';
}

void start_scan(const char *options) {
    first_nonoption = last_nonoption = optind = 1;
    next_character = nullptr;
    if (*options == '-') {
        ordering = Ordering::return_in_order;
    } else if (*options == '+' || std::getenv("POSIXLY_CORRECT")) {
        ordering = Ordering::stop_at_non_option;
    } else {
        ordering = Ordering::permute;
    }
}

bool is_option(const char *argument) {
    if (argument[0] == '\0' || argument[1] == '\0') return false;
    return argument[0] == '-' || (argument[0] == '+' && _getopt_long_options);
}

// Brings the options that were found last in front of the non-options before them.
void bring_forward(const Scan &scan) {
    if (first_nonoption == last_nonoption) {
        first_nonoption = optind;
    } else if (last_nonoption != optind) {
        std::rotate(scan.argv + first_nonoption, scan.argv + last_nonoption, scan.argv + optind);
        first_nonoption += optind - last_nonoption;
    }
    last_nonoption = optind;
}

void pass_non_options(const Scan &scan) {
    // A program may have moved optind back.
    last_nonoption = std::min(last_nonoption, optind);
    first_nonoption = std::min(first_nonoption, last_nonoption);
    bring_forward(scan);
    while (!scan.at_end() && !is_option(scan.argument()))
        ++optind;
    last_nonoption = optind;
}

// "--": all that follows is non-options.
void end_options(const Scan &scan) {
    ++optind;
    if (ordering == Ordering::permute) {
        bring_forward(scan);
        last_nonoption = scan.argc;
        optind = first_nonoption;
    }
}

int complain(const Scan &scan, const char *before, const char *argument, const char *behind) {
    if (opterr) {
        std::fprintf(stderr, "%s: %s `%s'%s\n", scan.program(), before, argument, behind);
    }
    return error_result;
}

struct Match {
    const struct option *option;
    bool ambiguous;
};

// The long option that the first `length` characters of `name` stand for. An exact match wins over
// any number of others.
Match find_long(const char *name, size_t length) {
    Match match = {nullptr, false};
    for (const struct option *o = _getopt_long_options; o->name; ++o) {
        if (std::strncmp(o->name, name, length) != 0) continue;
        if (o->name[length] == '\0') return {o, false};
        if (match.option) match.ambiguous = true;
        if (!match.option) match.option = o;
    }
    return match;
}

int take_long(const Scan &scan, const struct option *found, const char *value) {
    const char *argument = scan.argv[optind++];
    if (value) {
        if (found->has_arg == no_argument) {
            return complain(scan, "option", argument, " doesn't allow an argument");
        }
        optarg = const_cast<char *>(value);
    } else if (found->has_arg == required_argument) {
        if (scan.at_end()) return complain(scan, "option", argument, " requires an argument");
        optarg = scan.argv[optind++];
    }
    found_index = static_cast<int>(found - _getopt_long_options);
    if (!found->flag) return found->val;
    *found->flag = found->val;
    return 0;
}

// Whether an argument that matches no long option is a cluster of short ones.
bool may_be_short(const Scan &scan, const char *argument) {
    return argument[0] == '-' && argument[1] != '-' && std::strchr(scan.options, argument[1]);
}

bool introduces_long(const char *argument) {
    if (!_getopt_long_options) return false;
    return argument[0] == '+' || argument[1] == '-' || long_only;
}

// True, with the result, unless the argument is to be read as short options.
bool parse_long(const Scan &scan, int *result) {
    const char *argument = scan.argument();
    if (!introduces_long(argument)) return false;
    const char *name = argument + (argument[0] == '-' && argument[1] == '-' ? 2 : 1);
    const size_t length = std::strcspn(name, "=");
    const Match match = find_long(name, length);
    if (match.ambiguous) {
        ++optind;
        *result = complain(scan, "option", argument, " is ambiguous");
    } else if (match.option) {
        *result = take_long(scan, match.option, name[length] == '=' ? name + length + 1 : nullptr);
    } else if (may_be_short(scan, argument)) {
        return false;
    } else {
        ++optind;
        *result = complain(scan, "unrecognized option", argument, "");
    }
    return true;
}

int unknown_short(const Scan &scan, char c) {
    optopt = static_cast<unsigned char>(c);
    const bool printable = optopt >= 32 && optopt < 127;
    if (opterr && printable) {
        std::fprintf(stderr, "%s: unrecognized option `-%c'\n", scan.program(), c);
    } else if (opterr) {
        std::fprintf(stderr, "%s: unrecognized option, character code 0x%x\n", scan.program(),
                     static_cast<unsigned>(optopt));
    }
    return error_result;
}

// The argument of a short option: the rest of the cluster, or the next element of argv.
int take_short_argument(const Scan &scan, char c, bool required) {
    if (*next_character) {
        optarg = const_cast<char *>(next_character);
        ++optind;
    } else if (required && scan.at_end()) {
        optopt = static_cast<unsigned char>(c);
        if (opterr) {
            std::fprintf(stderr, "%s: option `-%c' requires an argument\n", scan.program(), c);
        }
        next_character = nullptr;
        return error_result;
    } else if (required) {
        optarg = scan.argv[optind++];
    }
    next_character = nullptr;
    return static_cast<unsigned char>(c);
}

int parse_short(const Scan &scan) {
    const char c = *next_character++;
    if (!*next_character) ++optind;
    const char *row = c == ':' ? nullptr : std::strchr(scan.options, c);
    if (!row) return unknown_short(scan, c);
    if (row[1] != ':') return static_cast<unsigned char>(c);
    return take_short_argument(scan, c, row[2] != ':');
}

// Parses the next argument, or the next character of the cluster at hand.
int parse(const Scan &scan) {
    if (next_character && *next_character) return parse_short(scan);
    if (ordering == Ordering::permute) pass_non_options(scan);
    if (!scan.at_end() && std::strcmp(scan.argument(), "--") == 0) {
        end_options(scan);
        return end_of_options;
    }
    if (scan.at_end()) {
        if (first_nonoption != last_nonoption) optind = first_nonoption;
        return end_of_options;
    }
    if (!is_option(scan.argument())) {
        if (ordering != Ordering::return_in_order) return end_of_options;
        optarg = scan.argv[optind++];
        return non_option;
    }
    int result = 0;
    if (parse_long(scan, &result)) return result;
    next_character = scan.argument() + 1;
    return parse_short(scan);
}

int parse_with_table(int argc, char *const *argv, const char *options,
                     const struct option *long_options, int *index, bool only) {
    const struct option *const old_table = _getopt_long_options;
    const bool old_only = long_only;
    _getopt_long_options = long_options;
    long_only = only;
    found_index = -1;
    const int result = getopt(argc, argv, options);
    if (index && found_index >= 0) *index = found_index;
    _getopt_long_options = old_table;
    long_only = old_only;
    return result;
}

} // namespace

int getopt(int argc, char *const *argv, const char *options) noexcept {
    optarg = nullptr;
    if (optind <= 0) start_scan(options);
    if (optind > argc) return end_of_options; // nothing of argv is left, nor of another one before
    if (is_ordering_sign(*options)) ++options;
    return parse({argc, const_cast<char **>(argv), options});
}

int getopt_long(int argc, char *const *argv, const char *options, const struct option *long_options,
                int *index) noexcept {
    return parse_with_table(argc, argv, options, long_options, index, false);
}

int getopt_long_only(int argc, char *const *argv, const char *options,
                     const struct option *long_options, int *index) noexcept {
    return parse_with_table(argc, argv, options, long_options, index, true);
}
