// Runs code in a child process, for what is found once a process and kept, and for what ends one.
#ifndef VOR_TESTS_IN_CHILD_H
#define VOR_TESTS_IN_CHILD_H

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <stdexcept>
#include <string>

// Present in builds that measure coverage; the child leaves too quietly to report by itself.
extern "C" void __gcov_dump(void) __attribute__((weak));

namespace vor::test {

struct ChildResult {
    std::string text; // what the code returned
    int status;       // as waitpid gives it; 0 if it ended in good order
};

// `code` returns a text, which comes back from the child.
template <class Code>
ChildResult run_in_child(Code code) {
    int ends[2];
    if (::pipe(ends) != 0) throw std::runtime_error("no pipe");
    std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child < 0) throw std::runtime_error("no child");
    if (child == 0) {
        ::close(ends[0]);
        const std::string text = code();
        const bool sent =
            ::write(ends[1], text.data(), text.size()) == static_cast<ssize_t>(text.size());
        if (&__gcov_dump) __gcov_dump();
        ::_exit(sent ? 0 : 1);
    }
    ::close(ends[1]);
    ChildResult result = {};
    char block[4096];
    ssize_t got = 0;
    while ((got = ::read(ends[0], block, sizeof block)) > 0)
        result.text.append(block, static_cast<size_t>(got));
    ::close(ends[0]);
    ::waitpid(child, &result.status, 0);
    return result;
}

// The text alone; a child that did not end in good order gives "child failed".
template <class Code>
std::string in_child(Code code) {
    const ChildResult result = run_in_child(code);
    return result.status == 0 ? result.text : "child failed";
}

} // namespace vor::test

#endif
