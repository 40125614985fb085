// Makes an allocation of the library fail. Every test program is linked so that malloc, calloc and
// realloc, as the library and the tests call them, come through here; those of shared libraries
// and of operator new do not.
#ifndef VOR_TESTS_FAILING_MALLOC_H
#define VOR_TESTS_FAILING_MALLOC_H

namespace vor::test {

// While the object lives, the n-th allocation from now on, the first being 1, fails with ENOMEM;
// with `all_after`, those behind it fail too. One object at a time, on one thread.
class FailingMalloc {
public:
    explicit FailingMalloc(long nth, bool all_after = false);
    ~FailingMalloc();
    FailingMalloc(const FailingMalloc &) = delete;
    FailingMalloc &operator=(const FailingMalloc &) = delete;

    // Whether the n-th allocation has been asked for.
    bool reached() const;
};

} // namespace vor::test

#endif
