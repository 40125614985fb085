// A program with two option parsers: its own calls are this library's, those of a second library
// the C library's. Neither sees the other's variables. Ends with 0 if that is so.
#include <cstdio>
#include <cstring>

#include "util/options.h"

extern "C" void plain_scan(int argc, char **argv, char *found, int *index);

namespace {

int faults = 0;

void expect(bool kept, const char *what) {
    if (kept) return;
    std::printf("not so: %s\n", what);
    ++faults;
}

} // namespace

int main() {
    char words[][8] = {"prog", "-b", "+all", "-a"};
    char *argv[] = {words[0], words[1], words[2], words[3], nullptr};
    const struct option table[] = {{"all", no_argument, nullptr, 'A'}, {nullptr, 0, nullptr, 0}};
    expect(optind == 0 && opterr == 1, "the variables have this library's start values");
    expect(getopt_long(4, argv, ":a:b", table, nullptr) == 'b', "the first option is found");

    char found[8];
    int index = 0;
    plain_scan(4, argv, found, &index);
    expect(std::strcmp(found, "b:") == 0, "the second library's colon means what it does there");
    expect(index == 3, "the second library has an index of its own");
    expect(optind == 2 && opterr == 1, "this library's variables have not moved");

    char fresh[][8] = {"prog", "-b", "+all", "-a"};
    char *again[] = {fresh[0], fresh[1], fresh[2], fresh[3], nullptr};
    expect(getopt_long(4, again, ":a:b", table, nullptr) == 'A', "the scan goes on where it was");
    opterr = 0;
    expect(getopt_long(4, again, ":a:b", table, nullptr) == '?', "the colon means nothing here");
    expect(optopt == 'a', "the culprit is this library's");
    return faults == 0 ? 0 : 1;
}
