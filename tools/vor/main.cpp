// The command vor: looks at track files, checks, converts, repairs and previews them.

#include <exception>
#include <iostream>

#include "argument_line.h"
#include "interrupt.h"
#include "platform/kel.h"
#include "report.h"

using namespace vor::tool;

namespace {

// A standard descriptor that is closed would go to the first file that is opened, and messages into
// that file. In its place comes one that cannot be written.
void hold_standard_descriptors() {
    constexpr int32_t standard_error = 2;
    int32_t fd = 0;
    do {
        fd = kel_open("/dev/null", KEL_O_RDONLY, 0);
    } while (fd >= 0 && fd <= standard_error);
    if (fd >= 0) kel_close(fd);
}

} // namespace

int main(int count, char **arguments) {
    int status = failed;
    try {
        hold_standard_descriptors();
        catch_signals();
        status = run_command_line(count, arguments);
        std::cout.flush();
        if (!std::cout) {
            print_line("cannot write to the standard output");
            status = failed;
        }
    } catch (const std::exception &error) {
        print_line(error.what());
    }
    if (interrupted()) end_by_signal();
    return status;
}
