// Makes a file operation or a zlib call of the library fail. The test program is linked so that
// these calls come through here.
#ifndef VOR_TESTS_FAILING_CALLS_H
#define VOR_TESTS_FAILING_CALLS_H

namespace vor::test {

enum class Call {
    seek,
    read,
    write,
    deflate_init,
    deflate_reset,
    deflate,
    inflate_init,
    inflate_reset,
    inflate,
    count
};

// While the object lives, the n-th such call from now on, the first being 1, fails: a file
// operation with EIO, a zlib call with Z_MEM_ERROR and `message` in the stream. One object at a
// time.
class FailingCall {
public:
    FailingCall(Call call, long nth, const char *message = nullptr);
    ~FailingCall();
    FailingCall(const FailingCall &) = delete;
    FailingCall &operator=(const FailingCall &) = delete;
};

// Such calls since the program's start.
long calls_of(Call call);

} // namespace vor::test

#endif
