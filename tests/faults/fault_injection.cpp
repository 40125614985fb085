// The linker sends calls of X to __wrap_X, and __real_X is the true one.
#include "faults/fault_injection.h"

#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <unordered_map>

namespace {

using vor::test::Fault;

bool armed = false;
bool failing_on = false;
Fault failing = Fault::allocation;
long countdown = 0;

int64_t allocation_count = 0;
int64_t bytes_held = 0;

// Never destroyed, since blocks are freed up to the very end.
std::unordered_map<void *, size_t> &blocks() {
    static auto *map = new std::unordered_map<void *, size_t>;
    return *map;
}

bool is_due(Fault kind) {
    if (!armed || kind != failing) return false;
    if (countdown > 0) --countdown;
    if (countdown > 0) return false;
    armed = failing_on;
    return true;
}

bool fails(Fault kind, int error) {
    if (!is_due(kind)) return false;
    errno = error;
    return true;
}

size_t shortened(Fault kind, size_t count) {
    return count > 1 && is_due(kind) ? count / 2 : count;
}

void forget(void *block) {
    const auto found = blocks().find(block);
    if (found == blocks().end()) return;
    bytes_held -= static_cast<int64_t>(found->second);
    blocks().erase(found);
}

void *keep(void *block, size_t size) {
    if (!block) return nullptr;
    ++allocation_count;
    bytes_held += static_cast<int64_t>(size);
    blocks()[block] = size;
    return block;
}

} // namespace

namespace vor::test {

Injection::Injection(Fault kind, long nth, bool from_then_on) {
    failing = kind;
    countdown = nth;
    failing_on = from_then_on;
    armed = true;
}

Injection::~Injection() {
    armed = false;
}

bool Injection::reached() const {
    return countdown == 0;
}

Held held() {
    return {static_cast<int64_t>(blocks().size()), bytes_held};
}

int64_t allocations() {
    return allocation_count;
}

} // namespace vor::test

extern "C" {

void *__real_malloc(size_t size);
void *__real_calloc(size_t count, size_t size);
void *__real_realloc(void *block, size_t size);
void __real_free(void *block);
ssize_t __real_read(int fd, void *buffer, size_t count);
ssize_t __real_write(int fd, const void *buffer, size_t count);
off_t __real_lseek(int fd, off_t offset, int whence);
int __real_ftruncate(int fd, off_t length);

void *__wrap_malloc(size_t size);
void *__wrap_calloc(size_t count, size_t size);
void *__wrap_realloc(void *block, size_t size);
void __wrap_free(void *block);
ssize_t __wrap_read(int fd, void *buffer, size_t count);
ssize_t __wrap_write(int fd, const void *buffer, size_t count);
off_t __wrap_lseek(int fd, off_t offset, int whence);
off_t __wrap_lseek64(int fd, off_t offset, int whence);
int __wrap_ftruncate(int fd, off_t length);
int __wrap_ftruncate64(int fd, off_t length);

void *__wrap_malloc(size_t size) {
    return fails(Fault::allocation, ENOMEM) ? nullptr : keep(__real_malloc(size), size);
}

void *__wrap_calloc(size_t count, size_t size) {
    return fails(Fault::allocation, ENOMEM) ? nullptr
                                            : keep(__real_calloc(count, size), count * size);
}

void *__wrap_realloc(void *block, size_t size) {
    if (fails(Fault::allocation, ENOMEM)) return nullptr;
    const auto found = blocks().find(block);
    const size_t old_size = found == blocks().end() ? 0 : found->second;
    forget(block);
    void *const resized = __real_realloc(block, size);
    if (resized) return keep(resized, size);
    if (block) {
        bytes_held += static_cast<int64_t>(old_size);
        blocks()[block] = old_size;
    }
    return nullptr;
}

void __wrap_free(void *block) {
    forget(block);
    __real_free(block);
}

ssize_t __wrap_read(int fd, void *buffer, size_t count) {
    if (fails(Fault::read, EIO)) return -1;
    return __real_read(fd, buffer, shortened(Fault::short_read, count));
}

ssize_t __wrap_write(int fd, const void *buffer, size_t count) {
    if (fails(Fault::write, ENOSPC)) return -1;
    return __real_write(fd, buffer, shortened(Fault::short_write, count));
}

off_t __wrap_lseek(int fd, off_t offset, int whence) {
    return fails(Fault::seek, EIO) ? -1 : __real_lseek(fd, offset, whence);
}

off_t __wrap_lseek64(int fd, off_t offset, int whence) {
    return __wrap_lseek(fd, offset, whence);
}

int __wrap_ftruncate(int fd, off_t length) {
    return fails(Fault::truncate, EIO) ? -1 : __real_ftruncate(fd, length);
}

int __wrap_ftruncate64(int fd, off_t length) {
    return __wrap_ftruncate(fd, length);
}

} // extern "C"
