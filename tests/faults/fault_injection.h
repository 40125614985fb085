// Makes any one call of the library to the system fail, and counts what it allocates. The program
// is linked so that malloc and its kin, read, write, lseek and ftruncate, as the library, zlib and
// the tests call them, come through here; operator new and the C library's own calls do not.
#ifndef VOR_TESTS_FAULT_INJECTION_H
#define VOR_TESTS_FAULT_INJECTION_H

#include <cstdint>

namespace vor::test {

enum class Fault {
    allocation,  // malloc, calloc and realloc: ENOMEM
    read,        // EIO
    write,       // ENOSPC
    seek,        // EIO
    truncate,    // EIO
    short_read,  // half of what was asked for
    short_write, // half of what was asked for
};

// While it lives, the n-th call of that kind from now on, the first being 1, fails, and with
// `from_then_on` all that follow fail too. One at a time, on one thread.
class Injection {
public:
    Injection(Fault kind, long nth, bool from_then_on);
    ~Injection();
    Injection(const Injection &) = delete;
    Injection &operator=(const Injection &) = delete;

    // Whether the n-th call has been made.
    bool reached() const;
};

// What has been allocated and not been freed.
struct Held {
    int64_t blocks;
    int64_t bytes;
};
Held held();

// Allocations since the program's start, those that failed not counted.
int64_t allocations();

} // namespace vor::test

#endif
