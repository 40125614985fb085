// The linker sends calls of malloc to __wrap_malloc, and __real_malloc is the true one; so for its
// kin.
#include "support/failing_malloc.h"

#include <cerrno>
#include <cstddef>

namespace {

bool counting = false;
bool failing_on = false;
long countdown = 0;

bool next_fails() {
    if (!counting) return false;
    if (countdown > 0) --countdown;
    if (countdown > 0) return false;
    counting = failing_on;
    errno = ENOMEM;
    return true;
}

} // namespace

namespace vor::test {

FailingMalloc::FailingMalloc(long nth, bool all_after) {
    countdown = nth;
    failing_on = all_after;
    counting = true;
}

FailingMalloc::~FailingMalloc() {
    counting = false;
}

bool FailingMalloc::reached() const {
    return countdown == 0;
}

} // namespace vor::test

extern "C" {

void *__real_malloc(size_t size);
void *__real_calloc(size_t count, size_t size);
void *__real_realloc(void *block, size_t size);

void *__wrap_malloc(size_t size);
void *__wrap_calloc(size_t count, size_t size);
void *__wrap_realloc(void *block, size_t size);

void *__wrap_malloc(size_t size) {
    return next_fails() ? nullptr : __real_malloc(size);
}

void *__wrap_calloc(size_t count, size_t size) {
    return next_fails() ? nullptr : __real_calloc(count, size);
}

void *__wrap_realloc(void *block, size_t size) {
    return next_fails() ? nullptr : __real_realloc(block, size);
}

} // extern "C"
