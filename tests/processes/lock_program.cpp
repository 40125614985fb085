// Shows the table of locks from its first moment, which only a process of its own can: a line for
// each step, with the results.
#include <cstdio>
#include <initializer_list>

#include "runtime/lock.h"

namespace {

void show(const char *step, std::initializer_list<int32_t> results) {
    std::printf("%s", step);
    for (const int32_t result : results)
        std::printf(" %d", result);
    std::printf("\n");
}

void take_locks(int count) {
    for (int i = 0; i < count; ++i) {
        char name[16];
        std::snprintf(name, sizeof name, "lock%d", i);
        const int32_t result = win32_lock(name);
        if (result != 0) std::printf("%s gave %d\n", name, result);
    }
}

} // namespace

int main() {
    show("untouched", {win32_islocked(0), win32_islocked(-1), win32_unlock(0)});
    show("bad name", {win32_lock("a/b"), win32_islocked(0)});
    show("empty name", {win32_lock(""), win32_islocked(0), win32_islocked(15), win32_islocked(16)});
    take_locks(16);
    show("16 locks", {win32_islocked(15), win32_islocked(16)});
    show("17 locks",
         {win32_lock("lock16"), win32_islocked(16), win32_islocked(79), win32_islocked(80)});
    show("again", {win32_lock("lock16"), win32_lock("lock3")});
    show("given up", {win32_unlock(16), win32_islocked(16)});
    return 0;
}
