// The program that the tests of spawning start. Its first argument says what it does; what it finds
// goes to the standard output, a line each.
#include <dirent.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

extern char **environ;

namespace {

int show_arguments(int count, char **arguments) {
    for (int i = 0; i < count; ++i)
        std::printf("[%s]\n", arguments[i]);
    return 0;
}

int show_environment() {
    for (char **text = environ; *text; ++text)
        std::printf("%s\n", *text);
    return 0;
}

// Lists the open descriptors and what they stand for in a file.
int list_descriptors(const char *name) {
    DIR *const directory = ::opendir("/proc/self/fd");
    if (!directory) return 1;
    std::map<int, std::string> targets;
    const std::string own = std::to_string(::dirfd(directory));
    while (const dirent *const entry = ::readdir(directory)) {
        if (entry->d_name[0] == '.' || own == entry->d_name) continue;
        char target[4096] = "";
        const std::string link = std::string("/proc/self/fd/") + entry->d_name;
        if (::readlink(link.c_str(), target, sizeof target - 1) < 0) return 1;
        targets[std::atoi(entry->d_name)] = target;
    }
    ::closedir(directory);
    std::FILE *const list = std::fopen(name, "w");
    if (!list) return 1;
    for (const auto &[descriptor, target] : targets)
        std::fprintf(list, "%d %s\n", descriptor, target.c_str());
    return std::fclose(list) == 0 ? 0 : 1;
}

int show_signals() {
    sigset_t blocked;
    ::sigprocmask(SIG_SETMASK, nullptr, &blocked);
    for (int number = 1; number < SIGSYS; ++number) {
        struct sigaction action = {};
        ::sigaction(number, nullptr, &action);
        if (::sigismember(&blocked, number)) std::printf("%d blocked\n", number);
        if (action.sa_handler == SIG_IGN) std::printf("%d ignored\n", number);
    }
    return 0;
}

int write_in_turn() {
    const bool written = ::write(STDOUT_FILENO, "ab", 2) == 2 &&
                         ::write(STDERR_FILENO, "CD", 2) == 2 &&
                         ::write(STDOUT_FILENO, "ef", 2) == 2;
    return written ? 0 : 1;
}

int show_input() {
    char byte = 0;
    std::printf("%zd\n", ::read(STDIN_FILENO, &byte, 1));
    return 0;
}

int copy_file(const char *name) {
    std::FILE *const file = std::fopen(name, "r");
    if (!file) return 1;
    for (int c = std::getc(file); c != EOF; c = std::getc(file))
        std::putchar(c);
    std::fclose(file);
    return 0;
}

int make_file_later(const char *milliseconds, const char *name) {
    ::usleep(static_cast<useconds_t>(std::atoi(milliseconds)) * 1000);
    std::FILE *const file = std::fopen(name, "w");
    return file && std::fclose(file) == 0 ? 0 : 1;
}

} // namespace

int main(int argc, char **argv) {
    const std::string what = argc > 1 ? argv[1] : "";
    if (what == "arguments") return show_arguments(argc - 2, argv + 2);
    if (what == "environment") return show_environment();
    if (what == "descriptors" && argc > 2) return list_descriptors(argv[2]);
    if (what == "signals") return show_signals();
    if (what == "session") return std::printf("%d\n", ::getsid(0) == ::getpid()) < 0;
    if (what == "write") return write_in_turn();
    if (what == "input") return show_input();
    if (what == "copy" && argc > 2) return copy_file(argv[2]);
    if (what == "later" && argc > 3) return make_file_later(argv[2], argv[3]);
    if (what == "exit" && argc > 2) ::_exit(std::atoi(argv[2]));
    if (what == "raise" && argc > 2) return ::raise(std::atoi(argv[2]));
    if (what == "sleep" && argc > 2)
        return static_cast<int>(::sleep(static_cast<unsigned>(std::atoi(argv[2]))));
    return 99;
}
