// The program that the tests of the log start side by side. It logs lines "NAME 0", "NAME 1" and so
// on to the log in its home, and no further than that:
//
//     log_writer MUTEX_DIRECTORY NAME COUNT [STAY]
//
// With STAY it says by an "x" on its standard output that it is done, and runs on until its input
// ends, so that it counts as one that logs.
#include <unistd.h>

#include <cstdlib>

#include "platform/os.h"
#include "runtime/log.h"

int main(int argc, char **argv) {
    if (argc < 4) return 99;
    vor::os::mutex_directory = argv[1];
    logmesg_set_program("log_writer");
    const int count = std::atoi(argv[3]);
    for (int i = 0; i < count; ++i)
        logmesg(LOGMESG_NOTE | LOGMESG_NO_STDERR, "%s %d", argv[2], i);
    if (argc == 4) return 0;
    char byte = 0;
    return ::write(STDOUT_FILENO, "x", 1) == 1 && ::read(STDIN_FILENO, &byte, 1) == 0 ? 0 : 1;
}
