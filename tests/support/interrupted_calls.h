// Makes a file call of the library fail, or end the process. The test program is linked so that
// these calls come through here; those of a test itself go round it.
#ifndef VOR_TESTS_INTERRUPTED_CALLS_H
#define VOR_TESTS_INTERRUPTED_CALLS_H

namespace vor::test {

enum class FileCall { access, chmod, close, open, read, rename, stat, unlink, utime, write, any };

enum class Interruption {
    failure, // with EIO; a file is closed all the same
    death    // before the call does anything, and without any clean-up; see interrupted_exit_code
};

constexpr int interrupted_exit_code = 86;

// While the object lives, `count` such calls from the n-th on, the first being 1, are interrupted.
// One object at a time.
class InterruptedCall {
public:
    InterruptedCall(FileCall call, long nth, Interruption how = Interruption::failure,
                    long count = 1);
    ~InterruptedCall();
    InterruptedCall(const InterruptedCall &) = delete;
    InterruptedCall &operator=(const InterruptedCall &) = delete;

    // Whether the n-th call has been made.
    bool reached() const;
};

} // namespace vor::test

#endif
