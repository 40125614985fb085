// Linked into every test program: a home for the process, where its log goes, and log mutexes that
// no other process knows. Programs in which the library is a shared one have the home alone.
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace vor::os {
extern const char *mutex_directory __attribute__((weak));
} // namespace vor::os

namespace {

char home[] = "/tmp/vor_test_home_XXXXXX";
pid_t owner = 0;

void remove_home() {
    if (::getpid() != owner) return; // a forked child
    std::error_code ignored;
    std::filesystem::remove_all(home, ignored);
}

// Before all objects of the tests, which may set the environment in their turn.
__attribute__((constructor(101))) void make_home() {
    if (!::mkdtemp(home)) {
        std::perror(home);
        std::abort();
    }
    owner = ::getpid();
    ::setenv("QUORVENTAHOME", home, 1);
    if (&vor::os::mutex_directory) vor::os::mutex_directory = home;
    std::atexit(remove_home);
}

} // namespace
