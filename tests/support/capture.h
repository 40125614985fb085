// What a piece of code writes to the standard error stream, by way of a real file.
#ifndef VOR_TESTS_CAPTURE_H
#define VOR_TESTS_CAPTURE_H

#include <unistd.h>

#include <cstdio>
#include <stdexcept>
#include <string>

namespace vor::test {

// Sends a descriptor into a temporary file for as long as the object lives.
class CapturedDescriptor {
public:
    explicit CapturedDescriptor(int fd) : fd_(fd), saved_(::dup(fd)), file_(std::tmpfile()) {
        if (saved_ < 0 || !file_) throw std::runtime_error("cannot capture");
        ::dup2(::fileno(file_), fd_);
    }
    ~CapturedDescriptor() {
        ::dup2(saved_, fd_);
        ::close(saved_);
        std::fclose(file_);
    }
    CapturedDescriptor(const CapturedDescriptor &) = delete;
    CapturedDescriptor &operator=(const CapturedDescriptor &) = delete;

    // All that has been written so far.
    std::string text() const {
        std::string result;
        char block[4096];
        off_t at = 0;
        for (;;) {
            const ssize_t got = ::pread(::fileno(file_), block, sizeof block, at);
            if (got <= 0) return result;
            result.append(block, static_cast<size_t>(got));
            at += got;
        }
    }

private:
    int fd_;
    int saved_;
    std::FILE *file_;
};

template <class Code>
std::string captured_stderr(Code code) {
    std::fflush(stderr);
    const CapturedDescriptor capture(STDERR_FILENO);
    code();
    std::fflush(stderr);
    return capture.text();
}

template <class Code>
std::string captured_stdout(Code code) {
    std::fflush(stdout);
    const CapturedDescriptor capture(STDOUT_FILENO);
    code();
    std::fflush(stdout);
    return capture.text();
}

} // namespace vor::test

#endif
